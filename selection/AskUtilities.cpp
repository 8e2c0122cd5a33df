#include "selection/AskUtilities.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "platform/ByteOrder.h"
#include "platform/MacErrors.h"
#include "platform/MacMemory.h"
#include "platform/Resources.h"
#include "support/PStringUtilities.h"

// The largest integer single precision holds exactly.
static constexpr SInt32 kExactInSingle = 16777216;

SInt32 LinearMap(SInt32 from, SInt32 to, SInt32 value) {
  float q = float(value) / float(from);
  float p = q * float(to);
  double mapped = std::trunc(double(p) + 0.5);
  if (to > kExactInSingle || to < -kExactInSingle) {
    mapped = std::clamp(mapped, double(std::min(0, to)), double(std::max(0, to)));
  }
  return SInt32(mapped);
}

void GetDItemRect(DialogPtr dialog, SInt16 item, Rect* r) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  GetDItem(dialog, item, &kind, &handle, r);
}

void SetDItemRect(DialogPtr dialog, SInt16 item, const Rect* r) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect old{};
  GetDItem(dialog, item, &kind, &handle, &old);
  SetDItem(dialog, item, kind, handle, r);
}

static ControlHandle itemControl(DialogPtr dialog, SInt16 item) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog, item, &kind, &handle, &box);
  return (kind & ctrlItem) != 0 ? reinterpret_cast<ControlHandle>(handle) : nullptr;
}

SInt16 GetDItemValue(DialogPtr dialog, SInt16 item) {
  ControlHandle control = itemControl(dialog, item);
  return control != nullptr ? GetCtlValue(control) : 0;
}

void SetDItemValue(DialogPtr dialog, SInt16 item, SInt16 value) {
  ControlHandle control = itemControl(dialog, item);
  if (control != nullptr) SetCtlValue(control, value);
}

void SetUserHook(DialogPtr dialog, SInt16 item, UserItemUPP procedure) {
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog, item, &kind, &handle, &box);
  SetDItem(dialog, item, kind, UserItemHandle(procedure), &box);
}

void GetPreviewItemRect(DialogPtr dialog, Rect* r) {
  Rect item{};
  GetDItemRect(dialog, kPreviewItem, &item);
  *r = Rect{item.top, item.left, SInt16(item.bottom - 1), SInt16(item.right - 1)};
}

void GetFontState(FontState* state) {
  GrafPtr port = nullptr;
  GetPort(&port);
  if (port == nullptr) return;
  *state = FontState{port->txSize, SInt16(port->txFace), port->txFont, port->txMode};
}

void SetFontState(const FontState* state) {
  TextFont(state->font);
  TextSize(state->size);
  TextFace(state->face);
  TextMode(state->mode);
}

// The style's font name, cut to what the resource really holds.
static void copyStyleFontName(std::span<const UInt8> style, Str255 name) {
  name[0] = 0;
  if (style.size() <= 4) return;
  std::size_t length = std::min<std::size_t>(style[4], style.size() - 5);
  name[0] = UInt8(length);
  BlockMove(style.data() + 5, name + 1, Size(length));
}

// A word of the style, 0 when the resource is too short to hold it.
static SInt16 styleWord(std::span<const UInt8> style, std::size_t offset) {
  return offset + 2 <= style.size() ? SInt16(tessel::platform::read_big16(style.subspan(offset)))
                                    : 0;
}

static FontState decodeStyle(std::span<const UInt8> style) {
  FontState state{styleWord(style, 0), styleWord(style, 2), 0, srcOr};
  Str255 name;
  copyStyleFontName(style, name);
  GetFNum(name, &state.font);
  return state;
}

Handle GetFontStateFromID(SInt16 id, FontState* state) {
  FontState loaded{0, 0, 0, srcOr};
  Handle style = GetResource(kStyleResourceType, id);
  if (style != nullptr) {
    HLock(style);
    loaded =
        decodeStyle({reinterpret_cast<const UInt8*>(*style), std::size_t(GetHandleSize(style))});
    HUnlock(style);
    HPurge(style);
  }
  *state = loaded;
  return style;
}

void SetFontStateFromID(SInt16 id) {
  FontState state;
  GetFontStateFromID(id, &state);
  SetFontState(&state);
}

void BeginItemDrawing(DialogPtr dialog, SInt16 item, SInt16 styleID, Rect* r, FontState* saved) {
  SetPort(GetDialogPort(dialog));
  PenNormal();
  GetDItemRect(dialog, item, r);
  GetFontState(saved);
  SetFontStateFromID(styleID);
}

void UseBlackOnWhite(void) {
  static constexpr RGBColor kBlack{0, 0, 0};
  static constexpr RGBColor kWhite{65535, 65535, 65535};
  RGBForeColor(&kBlack);
  RGBBackColor(&kWhite);
}

static void byteCountText(SInt16 index, SInt64 count, StringPtr out) {
  GetIndString(out, kByteCountStrings, index);
  SubstituteNumPString(out, 1, SInt32(count));
}

void MetricBytesPString(SInt64 bytes, StringPtr out) {
  SInt64 kilobytes = bytes / 1024 + (bytes % 1024 > 0 ? 1 : 0);
  if (kilobytes <= 1023) return byteCountText(2, kilobytes, out);
  SInt64 megabytes = kilobytes / 1024 + (kilobytes % 1024 > 511 ? 1 : 0);
  if (megabytes <= 1023) return byteCountText(1, megabytes, out);
  SInt64 gigabytes = megabytes / 1024 + (megabytes % 1024 > 511 ? 1 : 0);
  byteCountText(3, gigabytes, out);
}

void DrawIconFrame(IconCache* cache, SInt16 id, ConstStringPtr title, const Rect* r) {
  Rect frame{SInt16(r->top + 12), r->left, r->bottom, r->right};
  FrameRect(&frame);
  SInt16 gapRight = SInt16(r->left + 26);
  if (title != nullptr) gapRight = SInt16(gapRight + StringWidth(title) + 6);
  Rect gap{SInt16(r->top + 11), SInt16(r->left + 6), SInt16(r->top + 13), gapRight};
  EraseRect(&gap);
  DrawIconFamily(cache, id, SInt16(r->left + 8), r->top, 16, 16);
  if (title == nullptr) return;
  MoveTo(SInt16(r->left + 28), SInt16(r->top + 16));
  DrawString(title);
}

OSErr BraveNewGWorld(GWorldPtr* offscreen, SInt16 depth, const Rect* bounds, CTabHandle table,
                     GDHandle device, GWorldFlags flags) {
  OSErr err = NewGWorld(offscreen, depth, bounds, table, device, flags);
  if (err == noErr || (flags & useTempMem) != 0) return err;
  return NewGWorld(offscreen, depth, bounds, table, device, flags | useTempMem);
}

void UprightRect(Rect* r) {
  if (r->top > r->bottom) std::swap(r->top, r->bottom);
  if (r->left > r->right) std::swap(r->left, r->right);
}
