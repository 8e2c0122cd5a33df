// The selection frame's marching ants, the copying of the preview into the
// dialog, and the two information panes (the image's and the selection's
// size in pixels and bytes).
//
// Every change of the selection goes through ChangeAnts: it erases the old
// frame, stores the new rectangle, steps the stripes at most once every six
// ticks, draws the new frame and refreshes the selection pane.
#pragma once

#include "platform/Dialogs.h"
#include "platform/MacTypes.h"

struct SelectionDialogState;

// Pane items 5 (image) and 6 (selection) and the ants modes are named with
// the state record and the dialog.

constexpr SInt16 kImagePaneStrings = 16000;      // 1 title ^1, 2 ^1 by ^2, 3 bytes ^1
constexpr SInt16 kSelectionPaneStrings = 16002;  // 1 ^1 by ^2, 2 bytes ^1
constexpr SInt16 kImagePaneIcon = 16000;
constexpr SInt16 kSelectionPaneIcon = 16001;
constexpr SInt16 kPaneTextStyle = 16000;

// Makes *selection the selection (null removes it) and steps the stripes
// when six ticks or more have passed since the last step.
void ChangeAnts(SelectionDialogState* state, const Rect* selection);
// Draws the frame with the current phase and mode; nothing without a selection.
void DisplayAnts(SelectionDialogState* state);
void SetAntsPattern(SelectionDialogState* state);

// Installs the selection pane's drawing procedure and makes its one-bit
// offscreen; without the offscreen the selection text is never drawn.
void SetUpSelectionInfo(SelectionDialogState* state);
void TearDownSelectionInfo(SelectionDialogState* state);
// Item 6's rectangle less the frame and icon: where the selection text goes.
void GetSelectionInfoTextRect(SelectionDialogState* state, Rect* r);
void SelectionInfoProc(DialogPtr dialog, SInt16 item);
// Redraws the selection pane's text, through the offscreen so it never flickers.
void DisplaySelectionInfo(SelectionDialogState* state);
void ImageInfoProc(DialogPtr dialog, SInt16 item);

// Copies the preview picture into the dialog within *area (all of the
// preview when null); before the picture exists, erases the area.
void DisplayPreview(SelectionDialogState* state, const Rect* area);
// Stores the selection in image pixels in the source image; the whole image
// when there is no selection.
void SetUpImageSelectionBounds(SelectionDialogState* state);
