// The selection dialog: the modal dialog in which the user picks the
// rectangle of a large image to acquire, with mouse tracking and keyboard
// commands over a reduced preview.
#pragma once

#include "formats/RasterFormats.h"
#include "platform/Dialogs.h"
#include "platform/Events.h"
#include "platform/MacTypes.h"
#include "records/HostRecords.h"
#include "selection/SelectionDialogState.h"

constexpr SInt16 kSelectionDialogID = 16001;
constexpr SInt16 kSelectionCursorID = 16000;
constexpr SInt16 kMoveCursorID = 16001;

// Dialog items the code relies on (the grid's 7 to 13 are in AskGrid.h).
constexpr SInt16 kSelectionOKItem = 1;
constexpr SInt16 kSelectionCancelItem = 2;
constexpr SInt16 kDefaultOutlineItem = 3;
constexpr SInt16 kImagePaneItem = 5;
constexpr SInt16 kSelectionPaneItem = 6;
constexpr SInt16 kFollowsPreviewItem = 14;

// Shows the dialog for image, which is open and described, with the host's
// display routine, event routine and window data taken from params (which
// may be null). Returns noErr
// when the user confirmed, with the selection (image pixels, bottom and
// right exclusive) in image->selection; 996 when the user cancelled; 999
// when a cursor or the dialog template is missing or the dialog cannot be
// made; the Memory Manager's error when the state or the dialog storage
// cannot be allocated. The last selection and grid of each image are
// remembered on confirmation only.
OSErr AskForSelection(const AcquireParams* params, SourceImage* image);

// Loads the remembered values, the cursors and the dialog, fits and starts
// the preview and checks the selection against it. On failure frees what it
// made (the state itself excepted).
OSErr SetUpSelectionDialog(SelectionDialogState* state);
// Saves the remembered values when save is true, closes the dialog and
// finishes the preview. Always noErr.
OSErr TearDownSelectionDialog(SelectionDialogState* state, Boolean save);

// Fits the preview item to the image: full size and centred when the image
// is smaller than the item both ways, else scaled along its longer side to
// the item's size and centred across. Item 14 follows the item's top edge.
void SizePreviewDItem(SelectionDialogState* state);

// The dialog's event filter: idle work (cursor, preview rows, ants), the
// click point of a mouse-down, and the keyboard commands. Always false, so
// the standard handling follows for every event.
Boolean AskDialogProc(DialogPtr dialog, EventRecord* event, SInt16* item);

// A mouse-down at click (dialog coordinates) in the preview: a grid cell
// that follows the mouse, a drag of the selection (Space, or Command and
// Option, held), or a rubber band. Returns when the button is released.
void TrackSelection(SelectionDialogState* state, Point click);
// Whether a click drags the selection: never with the grid on; otherwise
// with Space, or Command and Option together, held.
Boolean canMoveSelection(SelectionDialogState* state);
void TrackMove(SelectionDialogState* state, Point click);
void TrackGridSelection(SelectionDialogState* state);
// The grid click point becomes the selection's centre (sums halved toward
// zero), so that a later change of the grid picks the cell under it.
void resetGridClick(SelectionDialogState* state);

// Drawing procedure of the preview item: image, grid, ants, and a black
// frame one pixel outside the preview rectangle.
void PreviewProc(DialogPtr dialog, SInt16 item);
