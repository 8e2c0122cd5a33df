#include <cstring>
#include <span>

#include "ByteOrder.h"
#include "DialogInternal.h"
#include "MacMemory.h"
#include "Resources.h"

namespace tessel::platform::dialogs {
namespace {

constexpr std::size_t kItemHeader = 14;  // placeholder, rectangle, type, length
constexpr SInt16 kIconSize = 32;

bool has_resource_id(SInt16 kind) {
  SInt16 base = kind & ~itemDisable;
  return base == iconItem || base == picItem || base == ctrlItem + resCtrl;
}

bool is_text(SInt16 kind) {
  SInt16 base = kind & ~itemDisable;
  return base == statText || base == editText;
}

Handle text_handle(std::span<const UInt8> text) {
  Handle handle = NewHandle(Size(text.size()));
  if (handle != nullptr && !text.empty()) std::memcpy(*handle, text.data(), text.size());
  return handle;
}

Item read_item(std::span<const UInt8> b, std::span<const UInt8> data) {
  Item item;
  item.box = read_rect(b.subspan(4));
  item.kind = b[12];
  if (has_resource_id(item.kind) && data.size() >= 2) {
    item.resourceID = SInt16(read_big16(data));
    ResType type = (item.kind & ~itemDisable) == picItem ? FourCC("PICT") : FourCC("ICON");
    if ((item.kind & ~itemDisable) != ctrlItem + resCtrl)
      item.handle = GetResource(type, item.resourceID);
  } else {
    item.text.assign(data.begin(), data.end());
    if (is_text(item.kind)) item.handle = text_handle(data);
  }
  return item;
}

// Wraps at blanks; a word wider than the line is cut where it overflows.
std::size_t line_end(const std::string& text, std::size_t start, int width) {
  std::size_t lastBreak = 0;
  for (std::size_t i = start; i < text.size(); ++i) {
    if (text[i] == '\r' || text[i] == '\n') return i;
    if (TextWidth(text.data(), SInt16(start), SInt16(i + 1 - start)) > width) {
      return lastBreak > start ? lastBreak : std::max(i, start + 1);
    }
    if (text[i] == ' ') lastBreak = i;
  }
  return text.size();
}

void draw_text_box(const std::string& text, const Rect& box) {
  RgnHandle saved = NewRgn();
  GetClip(saved);
  ClipRect(&box);
  FontInfo info{};
  GetFontInfo(&info);
  int v = box.top + info.ascent;
  for (std::size_t start = 0; start < text.size() && v - info.ascent < box.bottom;) {
    std::size_t end = line_end(text, start, box.right - box.left);
    MoveTo(box.left, SInt16(v));
    DrawText(text.data(), SInt16(start), SInt16(end - start));
    start = end < text.size() && (text[end] == ' ' || text[end] == '\r' || text[end] == '\n')
                ? end + 1
                : end;
    v += info.ascent + info.descent + info.leading;
  }
  SetClip(saved);
  DisposeRgn(saved);
}

void draw_icon(Handle icon, const Rect& box) {
  if (icon == nullptr || *icon == nullptr || GetHandleSize(icon) < 128) return;
  BitMap bits{*icon, 4, Rect{0, 0, kIconSize, kIconSize}};
  GrafPtr port = nullptr;
  GetPort(&port);
  CopyBits(&bits, GetPortBitMapForCopyBits(port), &bits.bounds, &box, srcCopy, nullptr);
}

void draw_default_outline(DialogPtr dialog) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog, dialog->aDefItem, &kind, &handle, &box);
  if ((kind & ~itemDisable) != ctrlItem + btnCtrl) return;
  PenState pen{};
  GetPenState(&pen);
  PenNormal();
  PenSize(3, 3);
  InsetRect(&box, -4, -4);
  controls::frame_round(box, 8);
  SetPenState(&pen);
}

}  // namespace

Rect read_rect(std::span<const UInt8> b) {
  return Rect{SInt16(read_big16(b)), SInt16(read_big16(b.subspan(2))),
              SInt16(read_big16(b.subspan(4))), SInt16(read_big16(b.subspan(6)))};
}

std::optional<std::vector<UInt8>> resource_bytes(ResType type, SInt16 id) {
  Handle resource = GetResource(type, id);
  if (resource == nullptr || *resource == nullptr) return std::nullopt;
  const auto* data = reinterpret_cast<const UInt8*>(*resource);
  return std::vector<UInt8>(data, data + GetHandleSize(resource));
}

std::optional<std::vector<Item>> read_items(SInt16 itemsID) {
  auto bytes = resource_bytes(FourCC("DITL"), itemsID);
  if (!bytes || bytes->size() < 2) return std::nullopt;
  std::span<const UInt8> b(*bytes);
  std::vector<Item> items;
  std::size_t count = std::size_t(read_big16(b)) + 1;
  for (std::size_t at = 2; items.size() < count;) {
    if (at + kItemHeader > b.size()) return std::nullopt;
    std::size_t length = b[at + 13];
    if (at + kItemHeader + length > b.size()) return std::nullopt;
    items.push_back(read_item(b.subspan(at), b.subspan(at + kItemHeader, length)));
    at += kItemHeader + length + (length & 1);
  }
  return items;
}

void dispose_items(Items& items) {
  for (Item& item : items.list) {
    SInt16 base = item.kind & ~itemDisable;
    if (base >= ctrlItem && base <= ctrlItem + radCtrl) {
      DisposeControl(reinterpret_cast<ControlHandle>(item.handle));
    } else if (is_text(item.kind) && item.handle != nullptr) {
      DisposeHandle(item.handle);
    }
    item.handle = nullptr;
  }
}

std::string item_text(const Item& item) {
  if (!is_text(item.kind)) return {};
  if (item.handle == nullptr || *item.handle == nullptr) return item.text;
  return std::string(*item.handle, std::size_t(GetHandleSize(item.handle)));
}

void draw_item(DialogPtr dialog, SInt16 itemNo) {
  const Item& item = dialog->items->list[std::size_t(itemNo - 1)];
  if (item.hidden) return;
  SInt16 base = item.kind & ~itemDisable;
  if (base >= ctrlItem && base <= ctrlItem + radCtrl) {
    Draw1Control(reinterpret_cast<ControlHandle>(item.handle));
  } else if (base == statText) {
    draw_text_box(fill_parameters(item_text(item)), item.box);
  } else if (base == editText) {
    Rect frame = item.box;
    InsetRect(&frame, -3, -3);
    FrameRect(&frame);
    draw_text_box(item_text(item), item.box);
  } else if (base == iconItem) {
    draw_icon(item.handle, item.box);
  } else if (base == picItem && item.handle != nullptr) {
    DrawPicture(item.handle, &item.box);
  } else if (base == userItem && item.handle != nullptr) {
    UserItemProcedure(item.handle)(dialog, itemNo);
    SetPort(dialog);
  }
  if (dialog->outlineDefault && itemNo == dialog->aDefItem) draw_default_outline(dialog);
}

}  // namespace tessel::platform::dialogs

namespace dialogs = tessel::platform::dialogs;

void GetIText(Handle item, Str255 text) {
  text[0] = 0;
  if (item == nullptr || *item == nullptr) return;
  Size length = std::min<Size>(GetHandleSize(item), 255);
  text[0] = UInt8(length);
  std::memcpy(text + 1, *item, std::size_t(length));
}

void SetIText(Handle item, ConstStringPtr text) {
  if (item == nullptr || text == nullptr) return;
  SetHandleSize(item, text[0]);
  if (MemError() == 0 && text[0] > 0) std::memcpy(*item, text + 1, text[0]);
}

Handle UserItemHandle(UserItemUPP procedure) { return reinterpret_cast<Handle>(procedure); }

UserItemUPP UserItemProcedure(Handle item) { return reinterpret_cast<UserItemUPP>(item); }
