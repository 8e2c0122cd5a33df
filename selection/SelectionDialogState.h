// The selection dialog's state: one record for one run of the dialog, shared
// by its set-up, event filter, tracking, grid, ants, panes and preview.
//
// The record is allocated zero-filled and every field starts valid at zero,
// so it holds no constructors. Rectangles and points are in the dialog's
// coordinates unless a field says otherwise.
#pragma once

#include <cstring>

#include "platform/Cursors.h"
#include "platform/Dialogs.h"
#include "platform/MacTypes.h"
#include "platform/QDOffscreen.h"
#include "records/HostRecords.h"
#include "selection/DrawIconFamily.h"
#include "selection/ImagePreview.h"

// Ants modes: the frame drawn in copy mode, or in exclusive-or mode while the
// mouse drags it.
constexpr SInt16 kAntsIdle = 1;
constexpr SInt16 kAntsTracking = 2;

struct SelectionDialogState {
  DialogPtr dialog;
  Ptr dialogStorage;            // the DialogRecord, then the back reference to this state
  const AcquireParams* params;  // the host's display and event routines; may be null
  SourceImage* sourceImage;     // receives the selection, in image pixels, on OK
  ImagePreview preview;
  SInt16 lastPreviewRow;  // bottom of the preview rows already on the screen
  UInt8 selectionExists;
  Rect selection;  // inside the preview rectangle
  SInt16 antsMode;
  SInt16 antsPhase;  // 0..7
  UInt32 lastStepTick;
  Point clickPoint;  // the last mouse-down
  Cursor selectionCursor;
  Cursor moveCursor;
  GWorldPtr infoOffscreen;  // null when the selection pane has none
  IconCache iconCache;
  UInt8 gridOn;
  Point gridClickPoint;
  SInt16 gridColumns;  // 1..50
  SInt16 gridRows;     // 1..50
};

// The dialog storage: the platform's dialog record, then one pointer back
// to the state, so that procedures handed only the dialog can find it.
constexpr SInt32 kSelectionDialogStorageSize =
    SInt32(sizeof(DialogRecord) + sizeof(SelectionDialogState*));

inline void SetSelectionDialogState(Ptr dialogStorage, SelectionDialogState* state) {
  std::memcpy(dialogStorage + sizeof(DialogRecord), &state, sizeof state);
}

// The state of a dialog whose storage SetSelectionDialogState filled.
inline SelectionDialogState* GetSelectionDialogState(DialogPtr dialog) {
  SelectionDialogState* state = nullptr;
  std::memcpy(&state, reinterpret_cast<const char*>(dialog) + sizeof(DialogRecord), sizeof state);
  return state;
}
