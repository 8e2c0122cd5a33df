#include "selection/AskGrid.h"

#include <cstdlib>

#include "platform/Events.h"
#include "platform/Quickdraw.h"
#include "platform/Resources.h"
#include "selection/AskAnts.h"
#include "selection/AskUtilities.h"
#include "selection/SelectionDialogState.h"
#include "support/PStringUtilities.h"

// Line index of a count: column lines measure across the width, row lines
// down the height; both start at the preview's edge.
static SInt16 gridLine(SInt16 origin, SInt16 extent, SInt16 count, SInt16 index) {
  return SInt16(origin + LinearMap(count, extent, index));
}

static SInt16 columnLine(const Rect& preview, SInt16 columns, SInt16 i) {
  return gridLine(preview.left, SInt16(preview.right - preview.left), columns, i);
}

static SInt16 rowLine(const Rect& preview, SInt16 rows, SInt16 j) {
  return gridLine(preview.top, SInt16(preview.bottom - preview.top), rows, j);
}

// The line of 0..count that snaps coordinate under mode; the first of equal
// distances wins. When no line qualifies the coordinate stays.
static SInt16 fitCoordinate(SInt16 coordinate, SInt16 origin, SInt16 extent, SInt16 count,
                            SInt16 mode) {
  SInt16 best = extent;
  SInt16 fitted = coordinate;
  for (SInt16 i = 0; i <= count; ++i) {
    SInt16 line = gridLine(origin, extent, count, i);
    auto distance = SInt16(mode == kGridFitNearest  ? std::abs(line - coordinate)
                           : mode == kGridFitBefore ? coordinate - line
                                                    : line - coordinate);
    if (distance < 0 || distance >= best) continue;
    best = distance;
    fitted = line;
  }
  return fitted;
}

void GridFitPoint(SelectionDialogState* state, Point* point, SInt16 mode) {
  if (!state->gridOn) return;
  Rect preview{};
  GetPreviewRect(state, &preview);
  point->h = fitCoordinate(point->h, preview.left, SInt16(preview.right - preview.left),
                           state->gridColumns, mode);
  point->v = fitCoordinate(point->v, preview.top, SInt16(preview.bottom - preview.top),
                           state->gridRows, mode);
}

void GridFitAnts(SelectionDialogState* state) {
  if (!state->selectionExists) return;
  Point click = state->gridClickPoint;
  Point topLeft{click.v, click.h};
  Point bottomRight{SInt16(click.v + 1), SInt16(click.h + 1)};
  GridFitPoint(state, &topLeft, kGridFitBefore);
  GridFitPoint(state, &bottomRight, kGridFitAfter);
  Rect cell{topLeft.v, topLeft.h, bottomRight.v, bottomRight.h};
  ChangeAnts(state, &cell);
}

void SetGridPattern() {
  static constexpr Pattern kCheckerboard{{0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA}};
  PenPat(&kCheckerboard);
}

void DisplayGrid(SelectionDialogState* state) {
  if (!state->gridOn) return;
  Rect preview{};
  GetPreviewRect(state, &preview);
  PenNormal();
  SetGridPattern();
  PenMode(patCopy);
  UseBlackOnWhite();
  for (SInt16 i = 1; i < state->gridColumns; ++i) {
    SInt16 x = columnLine(preview, state->gridColumns, i);
    MoveTo(x, preview.top);
    LineTo(x, SInt16(preview.bottom - 1));
  }
  for (SInt16 j = 1; j < state->gridRows; ++j) {
    SInt16 y = rowLine(preview, state->gridRows, j);
    MoveTo(preview.left, y);
    LineTo(SInt16(preview.right - 1), y);
  }
  PenNormal();
}

static void useDialogPort(DialogPtr dialog) { SetPort(GetDialogPort(dialog)); }

void SetUpGrid(SelectionDialogState* state) {
  SetUserHook(state->dialog, kColumnsMoreItem, GridAdjustmentProc);
  SetUserHook(state->dialog, kColumnsFewerItem, GridAdjustmentProc);
  SetUserHook(state->dialog, kRowsMoreItem, GridAdjustmentProc);
  SetUserHook(state->dialog, kRowsFewerItem, GridAdjustmentProc);
  SetUserHook(state->dialog, kColumnsTextItem, GridInfoProc);
  SetUserHook(state->dialog, kRowsTextItem, GridInfoProc);
  SetDItemValue(state->dialog, kGridCheckBoxItem, state->gridOn);
}

void SetGridToggle(SelectionDialogState* state, Boolean on) {
  if (Boolean(state->gridOn) == on) return;
  state->gridOn = on ? 1 : 0;
  SetDItemValue(state->dialog, kGridCheckBoxItem, state->gridOn);
  if (on) {
    GridFitAnts(state);
    DisplayGrid(state);
  } else {
    DisplayPreview(state, nullptr);
  }
}

void TrackGridToggle(SelectionDialogState* state) {
  useDialogPort(state->dialog);
  SetGridToggle(state, !state->gridOn);
}

static Boolean atLimit(const SelectionDialogState* state, SInt16 item) {
  switch (item) {
    case kColumnsMoreItem: return state->gridColumns == kGridMaxCount;
    case kColumnsFewerItem: return state->gridColumns == 1;
    case kRowsMoreItem: return state->gridRows == kGridMaxCount;
    case kRowsFewerItem: return state->gridRows == 1;
    default: return true;
  }
}

// Follows the mouse while the button is held, showing the button pressed
// whenever the mouse is over it. True when released over it.
static Boolean trackButton(SelectionDialogState* state, SInt16 item, const Rect& r) {
  Boolean inside = false;
  do {
    Point mouse{};
    GetMouse(&mouse);
    Boolean now = PtInRect(mouse, &r);
    if (now != inside) DrawGridAdjustment(state, item, now);
    inside = now;
  } while (StillDown());
  return inside;
}

void TrackGridAdjustment(SelectionDialogState* state, SInt16 item) {
  Rect r{};
  GetDItemRect(state->dialog, item, &r);
  if (atLimit(state, item)) {
    while (StillDown()) {
    }
    return;
  }
  if (!trackButton(state, item, r)) return;
  DrawGridAdjustment(state, item, false);
  SInt16 columns = state->gridColumns, rows = state->gridRows;
  if (item == kColumnsMoreItem) ++columns;
  if (item == kColumnsFewerItem) --columns;
  if (item == kRowsMoreItem) ++rows;
  if (item == kRowsFewerItem) --rows;
  ChangeGrid(state, columns, rows);
}

void ChangeGrid(SelectionDialogState* state, SInt16 columns, SInt16 rows) {
  Boolean changed = false;
  if (columns != state->gridColumns) {
    state->gridColumns = columns;
    GridInfoProc(state->dialog, kColumnsTextItem);
    changed = true;
  }
  if (rows != state->gridRows) {
    state->gridRows = rows;
    GridInfoProc(state->dialog, kRowsTextItem);
    changed = true;
  }
  if (!changed) return;
  if (columns == 1 && rows == 1) {
    SetGridToggle(state, false);
  } else if (state->gridOn) {
    DisplayPreview(state, nullptr);
    DisplayGrid(state);
    GridFitAnts(state);
  } else {
    SetGridToggle(state, true);
  }
}

void DrawGridAdjustment(SelectionDialogState* state, SInt16 item, Boolean pressed) {
  Rect r{};
  GetDItemRect(state->dialog, item, &r);
  Boolean more = item == kColumnsMoreItem || item == kRowsMoreItem;
  auto id = SInt16((more ? kGridMoreIcon : kGridFewerIcon) + (pressed ? 1 : 0));
  DrawIconFamily(&state->iconCache, id, r.left, r.top, 13, 13);
}

void GridAdjustmentProc(DialogPtr dialog, SInt16 item) {
  useDialogPort(dialog);
  DrawGridAdjustment(GetSelectionDialogState(dialog), item, false);
}

void GridInfoProc(DialogPtr dialog, SInt16 item) {
  SelectionDialogState* state = GetSelectionDialogState(dialog);
  Rect r{};
  FontState saved{};
  BeginItemDrawing(dialog, item, kGridCountStyle, &r, &saved);
  FontInfo font{};
  GetFontInfo(&font);
  Rect erased = r;
  erased.bottom = SInt16(erased.bottom + font.descent);
  EraseRect(&erased);
  Boolean columns = item == kColumnsTextItem;
  SInt16 n = columns ? state->gridColumns : state->gridRows;
  SInt16 index = SInt16((columns ? 1 : 2) + (n == 1 ? 2 : 0));
  Str255 text{};
  GetIndString(text, kGridCountStrings, index);
  SubstituteNumPString(text, 1, n);
  MoveTo(r.left, r.bottom);
  DrawString(text);
  SetFontState(&saved);
}
