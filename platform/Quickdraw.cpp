// Ports, the pen, colours, lines and rectangles.
#include "Quickdraw.h"

#include <algorithm>
#include <cstdlib>
#include <map>

#include "QuickdrawInternal.h"

namespace qd = tessel::platform::quickdraw;

namespace tessel::platform::quickdraw {

GrafPtr& current_port() {
  static GrafPtr port = nullptr;
  return port;
}

}  // namespace tessel::platform::quickdraw

static GrafPort* port() { return qd::current_port(); }

void SetPort(GrafPtr newPort) { qd::current_port() = newPort; }

void GetPort(GrafPtr* current) { *current = qd::current_port(); }

void SetOrigin(SInt16 h, SInt16 v) {
  GrafPort* p = port();
  if (p == nullptr) return;
  auto dh = SInt16(h - p->portRect.left);
  auto dv = SInt16(v - p->portRect.top);
  OffsetRect(&p->portRect, dh, dv);
  if (p->portPixMap != nullptr) OffsetRect(&(**p->portPixMap).bounds, dh, dv);
  if (p->visRgn != nullptr) OffsetRect(&(**p->visRgn).rgnBBox, dh, dv);
}

void ClipRect(const Rect* r) {
  if (port() != nullptr && port()->clipRgn != nullptr) RectRgn(port()->clipRgn, r);
}

void GetClip(RgnHandle rgn) {
  if (port() != nullptr && port()->clipRgn != nullptr) CopyRgn(port()->clipRgn, rgn);
}

void SetClip(RgnHandle rgn) {
  if (port() != nullptr && port()->clipRgn != nullptr) CopyRgn(rgn, port()->clipRgn);
}

void GlobalToLocal(Point* pt) {
  if (port() == nullptr || port()->portPixMap == nullptr) return;
  const Rect& bounds = (**port()->portPixMap).bounds;
  const Point& offset = port()->globalOffset;
  *pt = Point{SInt16(pt->v - offset.v + bounds.top), SInt16(pt->h - offset.h + bounds.left)};
}

void LocalToGlobal(Point* pt) {
  if (port() == nullptr || port()->portPixMap == nullptr) return;
  const Rect& bounds = (**port()->portPixMap).bounds;
  const Point& offset = port()->globalOffset;
  *pt = Point{SInt16(pt->v - bounds.top + offset.v), SInt16(pt->h - bounds.left + offset.h)};
}

const BitMap* GetPortBitMapForCopyBits(CGrafPtr p) { return *p->portPixMap; }

PixMapHandle GetPortPixMap(CGrafPtr p) { return p->portPixMap; }

Rect* GetPortBounds(CGrafPtr p, Rect* rect) {
  *rect = p->portRect;
  return rect;
}

RgnHandle GetPortVisibleRegion(CGrafPtr p, RgnHandle visRgn) {
  if (p->visRgn != nullptr) CopyRgn(p->visRgn, visRgn);
  return visRgn;
}

// ---- Pen and colours -------------------------------------------------------

void PenNormal() {
  if (port() == nullptr) return;
  port()->pnSize = Point{1, 1};
  port()->pnMode = patCopy;
  port()->pnPat = kBlackPattern;
  port()->pnPixPat = nullptr;
}

void PenSize(SInt16 width, SInt16 height) {
  if (port() != nullptr) port()->pnSize = Point{height, width};
}

void PenPat(ConstPatternParam pattern) {
  if (port() == nullptr) return;
  port()->pnPat = *pattern;
  port()->pnPixPat = nullptr;
}

void PenPixPat(PixPatHandle pattern) {
  if (port() != nullptr) port()->pnPixPat = pattern;
}

void PenMode(SInt16 mode) {
  if (port() != nullptr) port()->pnMode = mode;
}

void GetPenState(PenState* state) {
  const GrafPort* p = port();
  if (p != nullptr) *state = PenState{p->pnLoc, p->pnSize, p->pnMode, p->pnPat};
}

void SetPenState(const PenState* state) {
  if (port() == nullptr) return;
  port()->pnLoc = state->pnLoc;
  port()->pnSize = state->pnSize;
  port()->pnMode = state->pnMode;
  port()->pnPat = state->pnPat;
}

void GetPen(Point* pt) {
  if (port() != nullptr) *pt = port()->pnLoc;
}

void BackPat(ConstPatternParam pattern) {
  if (port() != nullptr) port()->bkPat = *pattern;
}

static RGBColor classic_color(SInt32 color) {
  static const std::map<SInt32, RGBColor> colors{{blackColor, {0, 0, 0}},
                                                 {whiteColor, {0xFFFF, 0xFFFF, 0xFFFF}},
                                                 {redColor, {0xDD6B, 0x08C2, 0x06A2}},
                                                 {greenColor, {0x0000, 0x8000, 0x11B0}},
                                                 {blueColor, {0x0000, 0x0000, 0xD400}},
                                                 {cyanColor, {0x0241, 0xAB54, 0xEAFF}},
                                                 {magentaColor, {0xF2D7, 0x0856, 0x84EC}},
                                                 {yellowColor, {0xFC00, 0xF37D, 0x052F}}};
  auto found = colors.find(color);
  return found != colors.end() ? found->second : RGBColor{0, 0, 0};
}

void ForeColor(SInt32 color) {
  if (port() != nullptr) port()->rgbFgColor = classic_color(color);
}

void BackColor(SInt32 color) {
  if (port() != nullptr) port()->rgbBkColor = classic_color(color);
}

void RGBForeColor(const RGBColor* color) {
  if (port() != nullptr) port()->rgbFgColor = *color;
}

void RGBBackColor(const RGBColor* color) {
  if (port() != nullptr) port()->rgbBkColor = *color;
}

void GetForeColor(RGBColor* color) {
  if (port() != nullptr) *color = port()->rgbFgColor;
}

void GetBackColor(RGBColor* color) {
  if (port() != nullptr) *color = port()->rgbBkColor;
}

// ---- Shapes ------------------------------------------------------------------

// Paints r the way the pen paints: its colour pattern or its pattern and mode.
static void pen_paint(const Rect& r) {
  GrafPort* p = port();
  if (p == nullptr) return;
  if (p->pnPixPat != nullptr && (p->pnMode & 3) == 0) {
    qd::paint_pixpat(*p, r, **p->pnPixPat);
  } else {
    qd::paint_pattern(*p, r, p->pnPat, p->pnMode);
  }
}

void MoveTo(SInt16 h, SInt16 v) {
  if (port() != nullptr) port()->pnLoc = Point{v, h};
}

void Move(SInt16 dh, SInt16 dv) {
  if (port() != nullptr) MoveTo(SInt16(port()->pnLoc.h + dh), SInt16(port()->pnLoc.v + dv));
}

// The rows a line covers, each with the span of columns the pen touches. The
// pen's steps along a line move at most one column, so each row's part of
// the union of pen rectangles is one span; painting spans instead of pen
// stamps keeps patXor from undoing itself where stamps overlap.
static int interpolate(int from, int to, int step, int steps) {
  if (steps == 0) return from;
  int numerator = 2 * (to - from) * step + steps;  // rounds halves up
  int denominator = 2 * steps;
  int quotient = numerator / denominator;
  if (numerator % denominator != 0 && numerator < 0) --quotient;
  return from + quotient;
}

static std::map<int, std::pair<int, int>> line_spans(Point from, Point to, Point pen) {
  std::map<int, std::pair<int, int>> spans;
  int steps = std::max(std::abs(to.h - from.h), std::abs(to.v - from.v));
  for (int i = 0; i <= steps; ++i) {
    int h = interpolate(from.h, to.h, i, steps);
    int v = interpolate(from.v, to.v, i, steps);
    for (int row = v; row < v + pen.v; ++row) {
      auto [it, inserted] = spans.try_emplace(row, h, h + pen.h);
      it->second = {std::min(it->second.first, h), std::max(it->second.second, h + pen.h)};
    }
  }
  return spans;
}

void LineTo(SInt16 h, SInt16 v) {
  GrafPort* p = port();
  if (p == nullptr) return;
  Point from = p->pnLoc;
  p->pnLoc = Point{v, h};
  if (p->pnSize.h <= 0 || p->pnSize.v <= 0) return;
  for (const auto& [row, span] : line_spans(from, p->pnLoc, p->pnSize)) {
    pen_paint(Rect{SInt16(row), SInt16(span.first), SInt16(row + 1), SInt16(span.second)});
  }
}

void Line(SInt16 dh, SInt16 dv) {
  if (port() != nullptr) LineTo(SInt16(port()->pnLoc.h + dh), SInt16(port()->pnLoc.v + dv));
}

void FrameRect(const Rect* r) {
  GrafPort* p = port();
  if (p == nullptr || EmptyRect(r)) return;
  int pw = p->pnSize.h, ph = p->pnSize.v;
  if (pw <= 0 || ph <= 0) return;
  if (2 * pw >= r->right - r->left || 2 * ph >= r->bottom - r->top) {
    pen_paint(*r);
    return;
  }
  auto inner_top = SInt16(r->top + ph), inner_bottom = SInt16(r->bottom - ph);
  pen_paint(Rect{r->top, r->left, inner_top, r->right});
  pen_paint(Rect{inner_bottom, r->left, r->bottom, r->right});
  pen_paint(Rect{inner_top, r->left, inner_bottom, SInt16(r->left + pw)});
  pen_paint(Rect{inner_top, SInt16(r->right - pw), inner_bottom, r->right});
}

void PaintRect(const Rect* r) { pen_paint(*r); }

void EraseRect(const Rect* r) {
  if (port() != nullptr) qd::paint_pattern(*port(), *r, port()->bkPat, patCopy);
}

void FillRect(const Rect* r, ConstPatternParam pattern) {
  if (port() != nullptr) qd::paint_pattern(*port(), *r, *pattern, patCopy);
}

void FillCRect(const Rect* r, PixPatHandle pattern) {
  if (port() != nullptr && pattern != nullptr) qd::paint_pixpat(*port(), *r, **pattern);
}

void InvertRect(const Rect* r) {
  if (port() != nullptr) qd::paint_pattern(*port(), *r, kBlackPattern, patXor);
}
