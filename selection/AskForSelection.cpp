// The selection dialog: set-up and tear-down, the fitting of the preview to
// the image, the event filter with its keyboard commands, the modal loop, and
// the mouse tracking in the preview.
//
// While the dialog runs the selection is kept in dialog coordinates; it is
// turned into image pixels only when the user confirms.
#include "selection/AskForSelection.h"

#include <algorithm>

#include "platform/MacMemory.h"
#include "platform/Quickdraw.h"
#include "platform/References.h"
#include "platform/Resources.h"
#include "platform/Windows.h"
#include "records/ResultCodes.h"
#include "selection/AskAnts.h"
#include "selection/AskDefaults.h"
#include "selection/AskGrid.h"
#include "selection/AskUtilities.h"
#include "selection/ImagePreview.h"
#include "support/MemoryUtilities.h"

namespace {

constexpr ResType kCursorType = FourCC("CURS");
constexpr ResType kDialogTemplateType = FourCC("DLOG");

constexpr UInt8 kLeftArrowChar = 28;
constexpr UInt8 kRightArrowChar = 29;
constexpr UInt8 kUpArrowChar = 30;
constexpr UInt8 kDownArrowChar = 31;

// The second word of the key map: Space, and Command with Option.
constexpr UInt32 kSpaceKeyBit = 0x200;
constexpr UInt32 kCommandKeyBit = 0x8000;
constexpr UInt32 kOptionKeyBit = 0x0004;

DisplayPixelsProc displayRoutineOf(const SelectionDialogState* state) {
  const AcquireParams* params = state->params;
  if (params == nullptr) return nullptr;
  return ReferenceProcAs<DisplayPixelsProc>(Get(*params, kAcquireDisplayProcs));
}

ProcessEventProcPtr processEventOf(const SelectionDialogState* state) {
  const AcquireParams* params = state->params;
  if (params == nullptr) return nullptr;
  return ReferenceProcAs<ProcessEventProcPtr>(Get(*params, kAcquireProcessEvent));
}

Point topLeft(const Rect& r) { return Point{r.top, r.left}; }
Point bottomRight(const Rect& r) { return Point{r.bottom, r.right}; }
Rect rectOf(Point a, Point b) { return Rect{a.v, a.h, b.v, b.h}; }
bool samePoint(Point a, Point b) { return a.v == b.v && a.h == b.h; }

}  // namespace

// ---- Set-up and tear-down ----------------------------------------------------

// Copies cursor resource id into *cursor. False when it is missing.
static Boolean copyCursor(SInt16 id, Cursor* cursor) {
  Handle resource = GetResource(kCursorType, id);
  if (resource == nullptr) return false;
  Boolean whole = GetHandleSize(resource) >= Size(sizeof(Cursor));
  if (whole) BlockMove(*resource, cursor, sizeof(Cursor));
  ReleaseResource(resource);
  return whole;
}

// Prepares the template as the host's movable modal window, centred.
static Boolean prepareDialogTemplate(const SelectionDialogState* state) {
  Handle dialogTemplate = GetResource(kDialogTemplateType, kSelectionDialogID);
  if (dialogTemplate == nullptr) return false;
  HNoPurge(dialogTemplate);
  const AcquireParams* params = state->params;
  SetUpMoveableModal(dialogTemplate,
                     params != nullptr ? Get(*params, kAcquireDialogPlatformData) : 0);
  CenterDialog(dialogTemplate);
  return true;
}

// Makes the dialog in storage of its own that also leads back to the state.
static OSErr makeSelectionDialog(SelectionDialogState* state) {
  Ptr storage = nullptr;
  if (OSErr err = AllocateMemory(kSelectionDialogStorageSize, &storage); err != noErr) return err;
  DialogPtr dialog = GetNewDialog(kSelectionDialogID, storage, kFirstWindowOfClass);
  if (dialog == nullptr) {
    DisposeMemory(storage);
    return kInternalFailure;
  }
  SetSelectionDialogState(storage, state);
  state->dialog = dialog;
  state->dialogStorage = storage;
  SetPort(dialog);
  return noErr;
}

// A remembered selection counts only when it lies wholly inside the preview.
static void fitSelectionToPreview(SelectionDialogState* state, const Rect* preview) {
  Rect inside{};
  SectRect(&state->selection, preview, &inside);
  if (EmptyRect(&state->selection) || !EqualRect(&inside, &state->selection))
    state->selection = *preview;
}

OSErr SetUpSelectionDialog(SelectionDialogState* state) {
  state->selectionExists = 0;
  if (OSErr err = SetUpSelectionDefaults(state); err != noErr) return err;
  if (!copyCursor(kSelectionCursorID, &state->selectionCursor) ||
      !copyCursor(kMoveCursorID, &state->moveCursor) || !prepareDialogTemplate(state))
    return kInternalFailure;
  if (OSErr err = makeSelectionDialog(state); err != noErr) return err;
  SetOutlineOKHook(state->dialog, kDefaultOutlineItem);
  SetUserHook(state->dialog, kPreviewItem, PreviewProc);
  SetUserHook(state->dialog, kImagePaneItem, ImageInfoProc);
  SetUpSelectionInfo(state);
  SizePreviewDItem(state);
  Rect preview{};
  GetPreviewRect(state, &preview);
  // Without a preview the area is only erased; "P" tries again.
  StartImagePreview(state->sourceImage, &state->preview, &preview, displayRoutineOf(state));
  state->lastPreviewRow = 0;
  fitSelectionToPreview(state, &preview);
  resetGridClick(state);
  SetUpGrid(state);
  return noErr;
}

OSErr TearDownSelectionDialog(SelectionDialogState* state, Boolean save) {
  TearDownSelectionDefaults(state, save);
  TearDownSelectionInfo(state);
  CloseDialog(state->dialog);
  DisposeMemory(state->dialogStorage);
  state->dialog = nullptr;
  state->dialogStorage = nullptr;
  FinishImagePreview(&state->preview);
  DisposeIconCache(&state->iconCache);
  return noErr;
}

// ---- The preview item's size -------------------------------------------------

// Centres a span of the given length on the middle of [*start, *end).
static void centreSpan(SInt16* start, SInt16* end, SInt32 length) {
  *start = SInt16((*start + *end) / 2 - length / 2);
  *end = SInt16(*start + length);
}

// The image's other side scaled as the item's side over the image's side,
// in single precision and in this order, truncated. A sliver of an image
// still gets one pixel: every mapping from the preview divides by its sides.
static SInt32 scaledSide(SInt32 itemSide, SInt32 imageSide, SInt32 otherSide) {
  return std::max(SInt32(float(itemSide) / float(imageSide) * float(otherSide)), SInt32(1));
}

void SizePreviewDItem(SelectionDialogState* state) {
  Rect r{};
  GetDItemRect(state->dialog, kPreviewItem, &r);
  const SInt16 templateTop = r.top;
  const SInt32 width = state->sourceImage->width, height = state->sourceImage->height;
  const SInt32 itemWidth = r.right - r.left, itemHeight = r.bottom - r.top;
  if (width < itemWidth && height < itemHeight) {
    centreSpan(&r.top, &r.bottom, height);
    centreSpan(&r.left, &r.right, width);
  } else if (width > height) {
    centreSpan(&r.top, &r.bottom, scaledSide(itemWidth, width, height));
  } else {
    centreSpan(&r.left, &r.right, scaledSide(itemHeight, height, width));
  }
  // The item keeps the row and column that GetPreviewRect takes off again.
  r.bottom = SInt16(r.bottom + 1);
  r.right = SInt16(r.right + 1);
  SetDItemRect(state->dialog, kPreviewItem, &r);
  Rect follower{};
  GetDItemRect(state->dialog, kFollowsPreviewItem, &follower);
  OffsetRect(&follower, 0, SInt16(r.top - templateTop));
  SetDItemRect(state->dialog, kFollowsPreviewItem, &follower);
}

// ---- The event filter ----------------------------------------------------------

static void adjustCursor(SelectionDialogState* state, const Rect* preview) {
  Point mouse{};
  GetMouse(&mouse);
  if (!PtInRect(mouse, preview))
    InitCursor();
  else if (canMoveSelection(state))
    SetCursor(&state->moveCursor);
  else if (state->gridOn)
    InitCursor();
  else
    SetCursor(&state->selectionCursor);
}

// Copies the rows the preview made since the last look to the screen.
static void showNewPreviewRows(SelectionDialogState* state, const Rect* preview) {
  Boolean changed = false;
  if (ContinueImagePreview(&state->preview, &changed) != noErr || !changed) return;
  const Rect& done = state->preview.done;
  Rect band{state->lastPreviewRow, done.left, done.bottom, done.right};
  OffsetRect(&band, preview->left, preview->top);
  DisplayPreview(state, &band);
  DisplayGrid(state);
  DisplayAnts(state);
  state->lastPreviewRow = done.bottom;
}

static void handleIdle(SelectionDialogState* state, const Rect* preview) {
  adjustCursor(state, preview);
  showNewPreviewRows(state, preview);
  if (state->selectionExists) {
    Rect current = state->selection;
    ChangeAnts(state, &current);
  }
}

static void restartPreview(SelectionDialogState* state, const Rect* preview) {
  FinishImagePreview(&state->preview);
  StartImagePreview(state->sourceImage, &state->preview, preview, displayRoutineOf(state));
  state->lastPreviewRow = 0;
  DisplayPreview(state, nullptr);
  DisplayGrid(state);
  DisplayAnts(state);
}

// The selection moved one step (a cell with the grid on) while it still
// touches nothing in that direction.
static Boolean stepSelection(const Rect& s, const Rect& p, UInt8 character, SInt16 dx, SInt16 dy,
                             Rect* r) {
  switch (character) {
    case kLeftArrowChar:
      if (s.left <= p.left) return false;
      OffsetRect(r, SInt16(-dx), 0);
      return true;
    case kRightArrowChar:
      if (s.right >= p.right) return false;
      OffsetRect(r, dx, 0);
      return true;
    case kUpArrowChar:
      if (s.top <= p.top) return false;
      OffsetRect(r, 0, SInt16(-dy));
      return true;
    default:  // down
      if (s.bottom >= p.bottom) return false;
      OffsetRect(r, 0, dy);
      return true;
  }
}

static Rect firstCell(const Rect& p, SInt16 dx, SInt16 dy) {
  return Rect{p.top, p.left, SInt16(p.top + dy), SInt16(p.left + dx)};
}

// The next cell, row by row, wrapping from the last cell to the first.
static Rect nextCell(const Rect& s, const Rect& p, SInt16 dx, SInt16 dy) {
  Rect first = firstCell(p, dx, dy);
  Rect r = s;
  if (EqualRect(&s, &p)) return first;
  if (s.right < p.right) {
    OffsetRect(&r, dx, 0);
    return r;
  }
  if (s.bottom >= p.bottom) return first;
  OffsetRect(&r, SInt16(p.left - s.left), dy);
  return r;
}

// The selection grown or shrunk by one pixel on every side, within the
// preview; a selection that would vanish stays.
static Boolean resizeSelection(const Rect& p, SInt16 inset, Rect* r) {
  InsetRect(r, inset, inset);
  Rect clipped{};
  if (!SectRect(r, &p, &clipped) || EmptyRect(&clipped)) return false;
  *r = clipped;
  return true;
}

// The selection after a keyboard command, before any snapping to the grid;
// false, and *r untouched, when the key does not apply.
static Boolean selectionForKey(const SelectionDialogState* state, const Rect* preview,
                               UInt8 character, Rect* r) {
  const Rect& s = state->selection;
  const Rect& p = *preview;
  const bool grid = state->gridOn != 0;
  SInt16 dx = 1, dy = 1;
  if (grid) {
    dx = SInt16((p.right - p.left) / state->gridColumns);
    dy = SInt16((p.bottom - p.top) / state->gridRows);
  }
  Rect result = s;
  Boolean applies = false;
  switch (character) {
    case kLeftArrowChar:
    case kRightArrowChar:
    case kUpArrowChar:
    case kDownArrowChar: applies = stepSelection(s, p, character, dx, dy, &result); break;
    case 'N':
    case 'n':
      if ((applies = grid)) result = nextCell(s, p, dx, dy);
      break;
    case 'F':
    case 'f':
      if ((applies = grid)) result = firstCell(p, dx, dy);
      break;
    case '+':
    case '=': applies = !grid && resizeSelection(p, -1, &result); break;
    case '-':
    case '_': applies = !grid && resizeSelection(p, 1, &result); break;
    case 'A':
    case 'a':
    case 'D':
    case 'd':
      applies = true;
      result = p;
      break;
    default: break;
  }
  if (applies) *r = result;
  return applies;
}

static void handleKey(SelectionDialogState* state, const Rect* preview, UInt8 character) {
  if (character == 'P' || character == 'p') {
    restartPreview(state, preview);
    return;
  }
  Rect r{};
  if (!selectionForKey(state, preview, character, &r)) return;
  Point corner = topLeft(r), opposite = bottomRight(r);
  GridFitPoint(state, &corner, kGridFitNearest);
  GridFitPoint(state, &opposite, kGridFitNearest);
  r = rectOf(corner, opposite);
  ChangeAnts(state, &r);
  resetGridClick(state);
}

Boolean AskDialogProc(DialogPtr dialog, EventRecord* event, SInt16* /*item*/) {
  SelectionDialogState* state = GetSelectionDialogState(dialog);
  SetPort(dialog);
  Rect preview{};
  GetPreviewRect(state, &preview);
  switch (event->what) {
    case nullEvent: handleIdle(state, &preview); break;
    case mouseDown:
      state->clickPoint = event->where;
      GlobalToLocal(&state->clickPoint);
      break;
    case keyDown:
    case autoKey: handleKey(state, &preview, UInt8(event->message & charCodeMask)); break;
    default: break;
  }
  return false;
}

// ---- The modal loop ------------------------------------------------------------

// Runs the dialog until OK or Cancel; returns which.
static SInt16 runSelectionDialog(SelectionDialogState* state) {
  ProcessEventProcPtr processEvent = processEventOf(state);
  for (;;) {
    SInt16 item = 0;
    MoveableModalDialog(state->dialog, processEvent, AskDialogProc, &item);
    SetPort(state->dialog);
    switch (item) {
      case kSelectionOKItem:
      case kSelectionCancelItem: return item;
      case kPreviewItem: TrackSelection(state, state->clickPoint); break;
      case kGridCheckBoxItem: TrackGridToggle(state); break;
      case kColumnsFewerItem:
      case kColumnsMoreItem:
      case kRowsFewerItem:
      case kRowsMoreItem: TrackGridAdjustment(state, item); break;
      default: break;
    }
  }
}

OSErr AskForSelection(const AcquireParams* params, SourceImage* image) {
  SelectionDialogState* state = nullptr;
  if (OSErr err = AllocateMemory(SInt32(sizeof(SelectionDialogState)), &state); err != noErr)
    return err;
  state->params = params;
  state->sourceImage = image;
  if (OSErr err = SetUpSelectionDialog(state); err != noErr) {
    DisposeMemory(state);
    return err;
  }
  ShowWindow(state->dialog);
  SInt16 item = runSelectionDialog(state);
  if (item == kSelectionOKItem) SetUpImageSelectionBounds(state);
  TearDownSelectionDialog(state, item == kSelectionOKItem);
  DisposeMemory(state);
  return item == kSelectionOKItem ? noErr : kUserCancelled;
}

// ---- Tracking ------------------------------------------------------------------

Boolean canMoveSelection(SelectionDialogState* state) {
  if (state->gridOn) return false;
  KeyMap keys{};
  GetKeys(keys);
  const UInt32 word = keys[1];
  return (word & kSpaceKeyBit) != 0 ||
         ((word & kCommandKeyBit) != 0 && (word & kOptionKeyBit) != 0);
}

void resetGridClick(SelectionDialogState* state) {
  const Rect& s = state->selection;
  state->gridClickPoint.v = SInt16((s.top + s.bottom) / 2);
  state->gridClickPoint.h = SInt16((s.left + s.right) / 2);
}

// While the mouse rests the ants still march.
static void marchInPlace(SelectionDialogState* state) {
  if (!state->selectionExists) return;
  Rect current = state->selection;
  ChangeAnts(state, &current);
}

// Reads the mouse until the button is released, at least once: each new
// position goes to moved; while the mouse rests the ants still march. The
// button can come up somewhere the loop has not looked yet (a desktop hands
// over the last move and the release together), so the place of release is
// read once more.
template <typename Moved>
static void followMouse(SelectionDialogState* state, Point last, Moved moved) {
  for (bool held = true;;) {
    Point mouse{};
    GetMouse(&mouse);
    if (samePoint(mouse, last)) {
      if (held) marchInPlace(state);
    } else {
      last = mouse;
      moved(mouse);
    }
    if (!held) return;
    held = StillDown();
  }
}

static void trackRubberBand(SelectionDialogState* state, Point anchor) {
  Rect preview{};
  GetPreviewRect(state, &preview);
  ChangeAnts(state, nullptr);
  state->antsMode = kAntsTracking;
  SetCursor(&state->selectionCursor);
  followMouse(state, anchor, [&](Point mouse) {
    Rect r = rectOf(anchor, mouse);
    UprightRect(&r);
    r.left = std::max(r.left, preview.left);
    r.top = std::max(r.top, preview.top);
    r.right = std::min(r.right, preview.right);
    r.bottom = std::min(r.bottom, preview.bottom);
    ChangeAnts(state, &r);
  });
  // A click without a drag selects the whole preview.
  if (!state->selectionExists || EmptyRect(&state->selection)) ChangeAnts(state, &preview);
  state->antsMode = kAntsIdle;
  DisplayAnts(state);
  resetGridClick(state);
}

void TrackSelection(SelectionDialogState* state, Point click) {
  if (state->gridOn)
    TrackGridSelection(state);
  else if (canMoveSelection(state))
    TrackMove(state, click);
  else
    trackRubberBand(state, click);
}

// Pushes r back inside the preview, left and top edges first.
static void keepInside(Rect* r, const Rect& p) {
  if (r->left < p.left) OffsetRect(r, SInt16(p.left - r->left), 0);
  if (r->top < p.top) OffsetRect(r, 0, SInt16(p.top - r->top));
  if (r->right > p.right) OffsetRect(r, SInt16(p.right - r->right), 0);
  if (r->bottom > p.bottom) OffsetRect(r, 0, SInt16(p.bottom - r->bottom));
}

void TrackMove(SelectionDialogState* state, Point click) {
  if (!state->selectionExists) return;
  Rect preview{};
  GetPreviewRect(state, &preview);
  Rect r = state->selection;
  const Point offset{SInt16(r.top - click.v), SInt16(r.left - click.h)};
  const SInt16 height = SInt16(r.bottom - r.top), width = SInt16(r.right - r.left);
  // Erased in copy mode, drawn again in exclusive-or mode for the drag.
  ChangeAnts(state, nullptr);
  state->antsMode = kAntsTracking;
  ChangeAnts(state, &r);
  InitCursor();
  followMouse(state, click, [&](Point mouse) {
    r.top = SInt16(mouse.v + offset.v);
    r.left = SInt16(mouse.h + offset.h);
    r.bottom = SInt16(r.top + height);
    r.right = SInt16(r.left + width);
    keepInside(&r, preview);
    ChangeAnts(state, &r);
  });
  state->antsMode = kAntsIdle;
  DisplayAnts(state);
  resetGridClick(state);
}

void TrackGridSelection(SelectionDialogState* state) {
  Rect preview{};
  GetPreviewRect(state, &preview);
  InitCursor();
  Point mouse{};
  // Once more after the release, at its place.
  for (bool held = true;;) {
    GetMouse(&mouse);
    mouse.h = std::clamp(mouse.h, preview.left, SInt16(preview.right - 1));
    mouse.v = std::clamp(mouse.v, preview.top, SInt16(preview.bottom - 1));
    Point corner = mouse, opposite{SInt16(mouse.v + 1), SInt16(mouse.h + 1)};
    GridFitPoint(state, &corner, kGridFitBefore);
    GridFitPoint(state, &opposite, kGridFitAfter);
    Rect cell = rectOf(corner, opposite);
    ChangeAnts(state, &cell);
    if (!held) break;
    held = StillDown();
  }
  state->gridClickPoint = mouse;
}

// ---- Drawing -------------------------------------------------------------------

void PreviewProc(DialogPtr dialog, SInt16 /*item*/) {
  SelectionDialogState* state = GetSelectionDialogState(dialog);
  SetPort(dialog);
  DisplayPreview(state, nullptr);
  DisplayGrid(state);
  DisplayAnts(state);
  PenNormal();
  // Black even when nothing above set the colour (no picture, no selection).
  const RGBColor black{0, 0, 0};
  RGBForeColor(&black);
  Rect frame{};
  GetPreviewRect(state, &frame);
  InsetRect(&frame, -1, -1);
  FrameRect(&frame);
}
