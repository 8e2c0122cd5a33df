#include "Controls.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Events.h"

namespace tessel::platform::controls {
namespace {

constexpr int kButtonRadius = 4;
constexpr int kBoxSize = 12;

// Draws in the control's window and puts the caller's port and pen back.
class OwnerPort {
 public:
  explicit OwnerPort(const ControlRecord& control) {
    GetPort(&saved_);
    SetPort(control.contrlOwner);
    GetPenState(&pen_);
    PenNormal();
  }
  ~OwnerPort() {
    SetPenState(&pen_);
    SetPort(saved_);
  }
  OwnerPort(const OwnerPort&) = delete;
  OwnerPort& operator=(const OwnerPort&) = delete;

 private:
  GrafPtr saved_ = nullptr;
  PenState pen_{};
};

SInt16 centre_v(const Rect& r) { return SInt16((r.top + r.bottom) / 2); }

// The title's baseline centred vertically in r.
SInt16 baseline_in(const Rect& r) {
  FontInfo info{};
  GetFontInfo(&info);
  return SInt16(centre_v(r) + (info.ascent - info.descent) / 2);
}

void draw_push_button(const ControlRecord& c) {
  const Rect& r = c.contrlRect;
  EraseRect(&r);
  frame_round(r, kButtonRadius);
  MoveTo(SInt16((r.left + r.right - StringWidth(c.contrlTitle)) / 2), baseline_in(r));
  DrawString(c.contrlTitle);
  if (c.contrlHilite == inButton) {
    Rect inside = r;
    InsetRect(&inside, 1, 1);
    InvertRect(&inside);
  }
}

Rect box_of(const ControlRecord& c) {
  const Rect& r = c.contrlRect;
  SInt16 top = SInt16(centre_v(r) - kBoxSize / 2);
  return Rect{top, SInt16(r.left + 2), SInt16(top + kBoxSize), SInt16(r.left + 2 + kBoxSize)};
}

void draw_mark(const ControlRecord& c, const Rect& box) {
  if (c.procID == radioButProc) {
    Rect dot = box;
    InsetRect(&dot, 3, 3);
    PaintRect(&dot);
    return;
  }
  MoveTo(box.left, box.top);
  LineTo(SInt16(box.right - 1), SInt16(box.bottom - 1));
  MoveTo(SInt16(box.right - 1), box.top);
  LineTo(box.left, SInt16(box.bottom - 1));
}

void draw_box_control(const ControlRecord& c) {
  EraseRect(&c.contrlRect);
  Rect box = box_of(c);
  if (c.procID == radioButProc) {
    frame_round(box, kBoxSize / 2);
  } else {
    FrameRect(&box);
  }
  if (c.contrlValue != 0) draw_mark(c, box);
  if (c.contrlHilite == inCheckBox) {
    Rect inner = box;
    InsetRect(&inner, 1, 1);
    FrameRect(&inner);
  }
  MoveTo(SInt16(box.right + 5), baseline_in(c.contrlRect));
  DrawString(c.contrlTitle);
}

void draw(const ControlRecord& c) {
  if (!c.contrlVis || c.contrlOwner == nullptr) return;
  OwnerPort port(c);
  if (c.procID == pushButProc) {
    draw_push_button(c);
  } else {
    draw_box_control(c);
  }
}

SInt16 part_of(const ControlRecord& c) { return c.procID == pushButProc ? inButton : inCheckBox; }

void paint_square(int h, int v, int size) {
  Rect dot{SInt16(v), SInt16(h), SInt16(v + size), SInt16(h + size)};
  PaintRect(&dot);
}

}  // namespace

// Straight edges between the corners, and each corner a quarter circle of
// pen-sized squares.
void frame_round(const Rect& r, int radius) {
  PenState pen{};
  GetPenState(&pen);
  int p = std::max<int>(1, pen.pnSize.h);
  Rect edges[] = {
      {r.top, SInt16(r.left + radius), SInt16(r.top + p), SInt16(r.right - radius)},
      {SInt16(r.bottom - p), SInt16(r.left + radius), r.bottom, SInt16(r.right - radius)},
      {SInt16(r.top + radius), r.left, SInt16(r.bottom - radius), SInt16(r.left + p)},
      {SInt16(r.top + radius), SInt16(r.right - p), SInt16(r.bottom - radius), r.right}};
  for (const Rect& edge : edges) PaintRect(&edge);
  for (int t = 0; t <= radius; ++t) {
    int x =
        radius - int(std::lround(std::sqrt(double(radius * radius - (radius - t) * (radius - t)))));
    for (auto [dh, dv] : {std::pair{x, t}, std::pair{t, x}}) {
      paint_square(r.left + dh, r.top + dv, p);
      paint_square(r.right - p - dh, r.top + dv, p);
      paint_square(r.left + dh, r.bottom - p - dv, p);
      paint_square(r.right - p - dh, r.bottom - p - dv, p);
    }
  }
}

}  // namespace tessel::platform::controls

namespace controls = tessel::platform::controls;

ControlHandle NewControl(WindowPtr window, const Rect* boundsRect, ConstStringPtr title,
                         Boolean visible, SInt16 value, SInt16 min, SInt16 max, SInt16 procID,
                         SInt32 refCon) {
  if (procID != pushButProc && procID != checkBoxProc && procID != radioButProc) return nullptr;
  auto* record = new ControlRecord{};
  record->contrlOwner = window;
  record->contrlRect = *boundsRect;
  record->contrlVis = visible;
  record->contrlMin = min;
  record->contrlMax = std::max(min, max);
  record->contrlValue = std::clamp(value, min, record->contrlMax);
  record->procID = procID;
  record->contrlRfCon = refCon;
  if (title != nullptr) std::memcpy(record->contrlTitle, title, std::size_t(title[0]) + 1);
  auto control = new ControlPtr(record);
  Draw1Control(control);
  return control;
}

void DisposeControl(ControlHandle control) {
  if (control == nullptr) return;
  delete *control;
  delete control;
}

void Draw1Control(ControlHandle control) {
  if (control != nullptr) controls::draw(**control);
}

void ShowControl(ControlHandle control) {
  if (control == nullptr) return;
  (**control).contrlVis = 1;
  Draw1Control(control);
}

void HideControl(ControlHandle control) {
  if (control == nullptr) return;
  ControlRecord& c = **control;
  if (c.contrlVis && c.contrlOwner != nullptr) {
    controls::OwnerPort port(c);
    EraseRect(&c.contrlRect);
  }
  c.contrlVis = 0;
}

void HiliteControl(ControlHandle control, SInt16 hiliteState) {
  if (control == nullptr || (**control).contrlHilite == hiliteState) return;
  (**control).contrlHilite = UInt8(hiliteState);
  Draw1Control(control);
}

SInt16 GetCtlValue(ControlHandle control) {
  return control == nullptr ? 0 : (**control).contrlValue;
}

void SetCtlValue(ControlHandle control, SInt16 value) {
  if (control == nullptr) return;
  ControlRecord& c = **control;
  c.contrlValue = std::clamp(value, c.contrlMin, c.contrlMax);
  Draw1Control(control);
}

SInt16 GetControlValue(ControlHandle control) { return GetCtlValue(control); }
void SetControlValue(ControlHandle control, SInt16 value) { SetCtlValue(control, value); }
SInt16 GetCtlMin(ControlHandle control) { return control == nullptr ? 0 : (**control).contrlMin; }
SInt16 GetCtlMax(ControlHandle control) { return control == nullptr ? 0 : (**control).contrlMax; }

SInt16 TestControl(ControlHandle control, Point thePt) {
  if (control == nullptr) return 0;
  const ControlRecord& c = **control;
  if (!c.contrlVis || c.contrlHilite == 255 || !PtInRect(thePt, &c.contrlRect)) return 0;
  return controls::part_of(c);
}

SInt16 TrackControl(ControlHandle control, Point startPt, ControlActionUPP actionProc) {
  SInt16 part = TestControl(control, startPt);
  if (part == 0) return 0;
  GrafPtr saved = nullptr;
  GetPort(&saved);
  SetPort((**control).contrlOwner);
  HiliteControl(control, part);
  Point mouse = startPt;
  // WaitMouseUp takes the release off the queue: the press is over.
  while (WaitMouseUp()) {
    GetMouse(&mouse);
    SInt16 now = TestControl(control, mouse);
    HiliteControl(control, now);
    if (actionProc != nullptr) actionProc(control, now);
  }
  GetMouse(&mouse);
  HiliteControl(control, 0);
  SetPort(saved);
  return TestControl(control, mouse);
}
