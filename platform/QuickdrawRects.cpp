// Rectangle, point and region arithmetic. Coordinates are 16-bit, as every
// caller stores them; sums are formed wider and truncated on the way back.
#include <algorithm>

#include "QuickdrawInternal.h"

namespace qd = tessel::platform::quickdraw;

static SInt16 clamp16(int value) { return SInt16(value); }

void SetRect(Rect* r, SInt16 left, SInt16 top, SInt16 right, SInt16 bottom) {
  *r = Rect{top, left, bottom, right};
}

void OffsetRect(Rect* r, SInt16 dh, SInt16 dv) {
  *r = Rect{clamp16(r->top + dv), clamp16(r->left + dh), clamp16(r->bottom + dv),
            clamp16(r->right + dh)};
}

void InsetRect(Rect* r, SInt16 dh, SInt16 dv) {
  Rect inset{clamp16(r->top + dv), clamp16(r->left + dh), clamp16(r->bottom - dv),
             clamp16(r->right - dh)};
  *r = EmptyRect(&inset) ? Rect{} : inset;
}

Boolean SectRect(const Rect* a, const Rect* b, Rect* result) {
  Rect section{std::max(a->top, b->top), std::max(a->left, b->left), std::min(a->bottom, b->bottom),
               std::min(a->right, b->right)};
  bool empty = EmptyRect(&section);
  *result = empty ? Rect{} : section;
  return !empty;
}

void UnionRect(const Rect* a, const Rect* b, Rect* result) {
  *result = Rect{std::min(a->top, b->top), std::min(a->left, b->left),
                 std::max(a->bottom, b->bottom), std::max(a->right, b->right)};
}

Boolean EqualRect(const Rect* a, const Rect* b) {
  return a->top == b->top && a->left == b->left && a->bottom == b->bottom && a->right == b->right;
}

Boolean EmptyRect(const Rect* r) { return r->bottom <= r->top || r->right <= r->left; }

Boolean PtInRect(Point pt, const Rect* r) {
  return pt.v >= r->top && pt.v < r->bottom && pt.h >= r->left && pt.h < r->right;
}

void SetPt(Point* pt, SInt16 h, SInt16 v) { *pt = Point{v, h}; }

Boolean EqualPt(Point a, Point b) { return a.v == b.v && a.h == b.h; }

RgnHandle NewRgn() {
  RgnHandle rgn = qd::new_record<Region>();
  (**rgn).rgnSize = 10;
  return rgn;
}

void DisposeRgn(RgnHandle rgn) { qd::dispose_record(rgn); }

void RectRgn(RgnHandle rgn, const Rect* r) { (**rgn).rgnBBox = EmptyRect(r) ? Rect{} : *r; }

void SetRectRgn(RgnHandle rgn, SInt16 left, SInt16 top, SInt16 right, SInt16 bottom) {
  Rect r{top, left, bottom, right};
  RectRgn(rgn, &r);
}

void CopyRgn(RgnHandle source, RgnHandle destination) { **destination = **source; }

Rect* GetRegionBounds(RgnHandle rgn, Rect* bounds) {
  *bounds = (**rgn).rgnBBox;
  return bounds;
}
