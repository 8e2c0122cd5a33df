// The selection dialog's grid: equal columns and rows over the preview to
// which selections snap, its check box, its arrow buttons and count texts.
//
// Column line i lies at P.left + LinearMap(columns, P width, i) and row line
// j at P.top + LinearMap(rows, P height, j), P the preview rectangle; every
// snap and every drawn line uses these positions.
#pragma once

#include "platform/Dialogs.h"
#include "platform/MacTypes.h"

struct SelectionDialogState;

constexpr SInt16 kGridCheckBoxItem = 7;
constexpr SInt16 kColumnsFewerItem = 8;
constexpr SInt16 kColumnsMoreItem = 9;
constexpr SInt16 kColumnsTextItem = 10;
constexpr SInt16 kRowsFewerItem = 11;
constexpr SInt16 kRowsMoreItem = 12;
constexpr SInt16 kRowsTextItem = 13;
constexpr SInt16 kGridMaxCount = 50;
constexpr SInt16 kGridCountStrings = 16003;  // 1 columns, 2 rows, 3 one column, 4 one row
constexpr SInt16 kGridCountStyle = 16001;
constexpr SInt16 kGridMoreIcon = 16002;   // pressed: 16003
constexpr SInt16 kGridFewerIcon = 16005;  // pressed: 16006

// How GridFitPoint snaps: to the nearest line, to the nearest at or before
// the point, to the nearest at or after it.
constexpr SInt16 kGridFitNearest = 1;
constexpr SInt16 kGridFitBefore = 2;
constexpr SInt16 kGridFitAfter = 3;

// Installs the drawing procedures of the buttons and count texts and sets
// the check box to the grid's state.
void SetUpGrid(SelectionDialogState* state);
// The check box was clicked: the grid turns the other way.
void TrackGridToggle(SelectionDialogState* state);
// Turns the grid on (selecting the cell under the grid click point and
// drawing the lines) or off (redrawing the preview without them).
void SetGridToggle(SelectionDialogState* state, Boolean on);
// One of the arrow buttons was clicked: follows the mouse until release and
// applies the button when it was released inside. A button at its limit
// swallows the click without drawing.
void TrackGridAdjustment(SelectionDialogState* state, SInt16 item);
// New counts. 1 x 1 turns the grid off; any other change turns it on.
void ChangeGrid(SelectionDialogState* state, SInt16 columns, SInt16 rows);
void DrawGridAdjustment(SelectionDialogState* state, SInt16 item, Boolean pressed);
void GridAdjustmentProc(DialogPtr dialog, SInt16 item);
void GridInfoProc(DialogPtr dialog, SInt16 item);
// Snaps point to the grid lines (mode kGridFit...); with the grid off the
// point stays. Among lines at equal distance the leftmost (topmost) wins.
void GridFitPoint(SelectionDialogState* state, Point* point, SInt16 mode);
// Makes the cell holding the grid click point the selection.
void GridFitAnts(SelectionDialogState* state);
// Draws the interior lines over the preview when the grid is on.
void DisplayGrid(SelectionDialogState* state);
void SetGridPattern();
