#include <algorithm>
#include <new>
#include <span>

#include "Backend.h"
#include "ByteOrder.h"
#include "DialogInternal.h"
#include "MacErrors.h"
#include "MacMemory.h"

namespace tessel::platform::dialogs {
namespace {

constexpr UInt8 kReturn = 13;
constexpr UInt8 kEnter = 3;
constexpr UInt8 kEscape = 27;

// "DLOG": bounds, window kind, visible, filler, close box, filler,
// reference constant, item list, title; then, when present, a placement word
// on an even offset.
constexpr std::size_t kDialogTemplateSize = 21;

struct DialogTemplate {
  WindowSpec window;
  SInt16 itemsID = 0;
};

void write_rect(std::span<UInt8> b, const Rect& r) {
  write_big16(b, UInt16(r.top));
  write_big16(b.subspan(2), UInt16(r.left));
  write_big16(b.subspan(4), UInt16(r.bottom));
  write_big16(b.subspan(6), UInt16(r.right));
}

std::optional<DialogTemplate> read_dialog_template(SInt16 dialogID) {
  auto bytes = resource_bytes(FourCC("DLOG"), dialogID);
  if (!bytes || bytes->size() < kDialogTemplateSize) return std::nullopt;
  std::span<const UInt8> b(*bytes);
  DialogTemplate t;
  t.window.bounds = read_rect(b);
  t.window.procID = SInt16(read_big16(b.subspan(8)));
  t.window.visible = b[10] != 0;
  t.window.refCon = SInt32(read_big32(b.subspan(14)));
  t.itemsID = SInt16(read_big16(b.subspan(18)));
  std::size_t titleLength = std::min<std::size_t>(b[20], b.size() - kDialogTemplateSize);
  t.window.title[0] = UInt8(titleLength);
  std::copy_n(b.begin() + kDialogTemplateSize, titleLength, t.window.title + 1);
  // Every placement word asks for the screen's middle: there is one screen,
  // and a dialog is the only window its parent shows at a time.
  std::size_t placement = (kDialogTemplateSize + titleLength + 1) & ~std::size_t(1);
  if (placement + 2 <= b.size() && read_big16(b.subspan(placement)) != 0)
    t.window.bounds = centred(t.window.bounds);
  return t;
}

std::span<UInt8> template_bytes(Handle dialogTemplate) {
  if (dialogTemplate == nullptr || *dialogTemplate == nullptr) return {};
  return {reinterpret_cast<UInt8*>(*dialogTemplate), std::size_t(GetHandleSize(dialogTemplate))};
}

bool is_button(const Item& item) { return (item.kind & ~itemDisable) == ctrlItem + btnCtrl; }
bool is_enabled(const Item& item) { return (item.kind & itemDisable) == 0; }
bool is_control(const Item& item) {
  SInt16 base = item.kind & ~itemDisable;
  return base >= ctrlItem && base <= ctrlItem + radCtrl;
}

void make_controls(DialogPtr dialog) {
  for (Item& item : dialog->items->list) {
    if (!is_control(item)) continue;
    Str255 title{UInt8(std::min<std::size_t>(item.text.size(), 255))};
    std::copy_n(item.text.begin(), title[0], title + 1);
    SInt16 procID = SInt16((item.kind & ~itemDisable) - ctrlItem);
    item.handle = reinterpret_cast<Handle>(
        NewControl(dialog, &item.box, title, !item.hidden, 0, 0, 1, procID, 0));
  }
}

Item* item_at(DialogPtr dialog, SInt16 itemNo) {
  if (dialog == nullptr || dialog->items == nullptr) return nullptr;
  auto& list = dialog->items->list;
  if (itemNo < 1 || std::size_t(itemNo) > list.size()) return nullptr;
  return &list[std::size_t(itemNo - 1)];
}

DialogPtr as_dialog(WindowPtr window) {
  return window != nullptr && window->windowKind == dialogKind ? static_cast<DialogPtr>(window)
                                                               : nullptr;
}

void redraw(WindowPtr window) {
  BeginUpdate(window);
  if (DialogPtr dialog = as_dialog(window)) DrawDialog(dialog);
  EndUpdate(window);
}

bool enabled_item(DialogPtr dialog, SInt16 itemNo) {
  const Item* item = item_at(dialog, itemNo);
  return item != nullptr && is_enabled(*item) && !item->hidden;
}

// A press in the dialog: controls are followed until release and count
// only when released inside; other enabled items count at once.
bool click(DialogPtr dialog, Point where, SInt16* itemHit) {
  Point local{SInt16(where.v - dialog->globalOffset.v), SInt16(where.h - dialog->globalOffset.h)};
  SInt16 itemNo = SInt16(FindDItem(dialog, local) + 1);
  if (itemNo == 0 || !enabled_item(dialog, itemNo)) return false;
  const Item& item = *item_at(dialog, itemNo);
  if (is_control(item) &&
      TrackControl(reinterpret_cast<ControlHandle>(item.handle), local, nullptr) == 0) {
    return false;
  }
  *itemHit = itemNo;
  return true;
}

bool key(DialogPtr dialog, const EventRecord& event, SInt16* itemHit) {
  auto character = UInt8(event.message & charCodeMask);
  bool command = (event.modifiers & cmdKey) != 0;
  SInt16 itemNo = 0;
  if (character == kReturn || character == kEnter) itemNo = dialog->aDefItem;
  if (character == kEscape || (command && character == '.')) itemNo = dialog->cancelItem;
  if (itemNo == 0 || !enabled_item(dialog, itemNo)) return false;
  *itemHit = itemNo;
  return true;
}

// The standard handling of one event for dialog.
bool standard(DialogPtr dialog, const EventRecord& event, SInt16* itemHit) {
  switch (event.what) {
    case updateEvt: redraw(reinterpret_cast<WindowPtr>(event.message)); return false;
    case mouseDown: return click(dialog, event.where, itemHit);
    case keyDown:
    case autoKey: return key(dialog, event, itemHit);
    default: return false;
  }
}

DialogPtr front_dialog() { return as_dialog(FrontWindow()); }

void outline_default(DialogPtr dialog, SInt16 /*item*/) {
  dialog->outlineDefault = 1;
  draw_item(dialog, dialog->aDefItem);
}

}  // namespace

Rect centred(const Rect& bounds) {
  Rect screen = backend::current().screen();
  SInt16 width = SInt16(bounds.right - bounds.left), height = SInt16(bounds.bottom - bounds.top);
  SInt16 left = SInt16(screen.left + (screen.right - screen.left - width) / 2);
  SInt16 top = SInt16(screen.top + (screen.bottom - screen.top - height) / 2);
  return Rect{top, left, SInt16(top + height), SInt16(left + width)};
}

DialogPtr make_dialog(void* storage, const WindowSpec& spec, std::vector<Item> items,
                      WindowPtr behind) {
  DialogPtr dialog =
      storage != nullptr ? new (storage) DialogRecord(spec.refCon) : new DialogRecord(spec.refCon);
  dialog->ownsStorage = storage == nullptr;
  if (windows::open(*dialog, spec.bounds, spec.procID, false, spec.title, spec.refCon, behind) !=
      noErr) {
    if (dialog->ownsStorage) delete dialog;
    Items unused{std::move(items)};
    dispose_items(unused);
    return nullptr;
  }
  dialog->windowKind = dialogKind;
  dialog->items = new Items{std::move(items)};
  const Item* second = item_at(dialog, 2);
  dialog->cancelItem = second != nullptr && is_button(*second) ? 2 : 0;
  make_controls(dialog);
  if (spec.visible) ShowWindow(dialog);
  return dialog;
}

}  // namespace tessel::platform::dialogs

namespace dialogs = tessel::platform::dialogs;

DialogPtr GetNewDialog(SInt16 dialogID, void* dStorage, WindowPtr behind) {
  auto t = dialogs::read_dialog_template(dialogID);
  auto items = t ? dialogs::read_items(t->itemsID) : std::nullopt;
  if (!items) return nullptr;
  return dialogs::make_dialog(dStorage, t->window, std::move(*items), behind);
}

void CloseDialog(DialogPtr dialog) {
  if (dialog == nullptr) return;
  tessel::platform::windows::close(*dialog);
  if (dialog->items != nullptr) {
    dialogs::dispose_items(*dialog->items);
    delete dialog->items;
    dialog->items = nullptr;
  }
}

void DisposeDialog(DialogPtr dialog) {
  if (dialog == nullptr) return;
  CloseDialog(dialog);
  if (dialog->ownsStorage) delete dialog;
}

void DrawDialog(DialogPtr dialog) {
  if (dialog == nullptr || dialog->items == nullptr) return;
  GrafPtr saved = nullptr;
  GetPort(&saved);
  SetPort(dialog);
  EraseRect(&dialog->portRect);
  for (SInt16 i = 1; i <= CountDITL(dialog); ++i) dialogs::draw_item(dialog, i);
  SetPort(saved);
}

CGrafPtr GetDialogPort(DialogPtr dialog) { return dialog; }

void ModalDialog(ModalFilterUPP filterProc, SInt16* itemHit) {
  DialogPtr dialog = dialogs::front_dialog();
  if (dialog == nullptr) return;
  for (;;) {
    EventRecord event{};
    GetNextEvent(everyEvent, &event);
    SInt16 item = 0;
    if ((filterProc != nullptr && filterProc(dialog, &event, &item)) ||
        dialogs::standard(dialog, event, &item)) {
      *itemHit = item;
      return;
    }
  }
}

Boolean DialogSelect(const EventRecord* event, DialogPtr* dialog, SInt16* itemHit) {
  DialogPtr front = dialogs::front_dialog();
  if (front == nullptr) return false;
  SInt16 item = 0;
  if (!dialogs::standard(front, *event, &item)) return false;
  *dialog = front;
  *itemHit = item;
  return true;
}

Boolean IsDialogEvent(const EventRecord* /*event*/) { return dialogs::front_dialog() != nullptr; }

SInt16 CountDITL(DialogPtr dialog) {
  if (dialog == nullptr || dialog->items == nullptr) return 0;
  return SInt16(dialog->items->list.size());
}

void GetDItem(DialogPtr dialog, SInt16 itemNo, SInt16* itemType, Handle* item, Rect* box) {
  const dialogs::Item* found = dialogs::item_at(dialog, itemNo);
  if (found == nullptr) return;
  *itemType = found->kind;
  *item = found->handle;
  *box = found->box;
}

void SetDItem(DialogPtr dialog, SInt16 itemNo, SInt16 itemType, Handle item, const Rect* box) {
  dialogs::Item* found = dialogs::item_at(dialog, itemNo);
  if (found == nullptr) return;
  found->kind = itemType;
  found->handle = item;
  found->box = *box;
  if (dialogs::is_control(*found) && item != nullptr)
    (**reinterpret_cast<ControlHandle>(item)).contrlRect = *box;
}

SInt16 FindDItem(DialogPtr dialog, Point thePt) {
  if (dialog == nullptr || dialog->items == nullptr) return -1;
  const auto& list = dialog->items->list;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!list[i].hidden && PtInRect(thePt, &list[i].box)) return SInt16(i);
  }
  return -1;
}

void HideDItem(DialogPtr dialog, SInt16 itemNo) {
  if (dialogs::Item* item = dialogs::item_at(dialog, itemNo)) {
    item->hidden = true;
    if (dialogs::is_control(*item)) HideControl(reinterpret_cast<ControlHandle>(item->handle));
    InvalRect(&item->box);
  }
}

void ShowDItem(DialogPtr dialog, SInt16 itemNo) {
  if (dialogs::Item* item = dialogs::item_at(dialog, itemNo)) {
    item->hidden = false;
    if (dialogs::is_control(*item)) ShowControl(reinterpret_cast<ControlHandle>(item->handle));
    dialog->needsUpdate = 1;
  }
}

void SetUpMoveableModal(Handle dialogTemplate, UInt32 /*platformData*/) {
  auto bytes = dialogs::template_bytes(dialogTemplate);
  if (bytes.size() >= dialogs::kDialogTemplateSize)
    tessel::platform::write_big16(bytes.subspan(8), movableDBoxProc);
}

void CenterDialog(Handle dialogTemplate) {
  auto bytes = dialogs::template_bytes(dialogTemplate);
  if (bytes.size() < 8) return;
  dialogs::write_rect(bytes, dialogs::centred(dialogs::read_rect(bytes)));
}

void SetOutlineOKHook(DialogPtr dialog, SInt16 item) {
  SInt16 kind = userItem;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog, item, &kind, &handle, &box);
  SetDItem(dialog, item, SInt16(userItem | itemDisable), UserItemHandle(dialogs::outline_default),
           &box);
}

void MoveableModalDialog(DialogPtr dialog, ProcessEventProcPtr processEvent,
                         ModalFilterUPP filterProc, SInt16* itemHit) {
  EventRecord event{};
  GetNextEvent(everyEvent, &event);
  *itemHit = 0;
  auto window = reinterpret_cast<WindowPtr>(event.message);
  if (event.what == updateEvt && dialogs::as_dialog(window) == nullptr) {
    if (processEvent != nullptr) {
      processEvent(&event);
    } else {
      BeginUpdate(window);
      EndUpdate(window);
    }
    return;
  }
  SInt16 item = 0;
  if ((filterProc != nullptr && filterProc(dialog, &event, &item)) ||
      dialogs::standard(dialog, event, &item)) {
    *itemHit = item;
  }
}
