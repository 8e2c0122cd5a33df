#include "selection/AskAnts.h"

#include "platform/Events.h"
#include "platform/QDOffscreen.h"
#include "platform/Quickdraw.h"
#include "platform/Resources.h"
#include "selection/AskForSelection.h"
#include "selection/AskGrid.h"
#include "selection/AskUtilities.h"
#include "selection/SelectionDialogState.h"
#include "support/PStringUtilities.h"

// The stripes step at most once every six ticks.
constexpr UInt32 kTicksBetweenSteps = 5;

static void useDialogPort(DialogPtr dialog) { SetPort(GetDialogPort(dialog)); }

// ---------------------------------------------------------------------------
// The frame

void SetAntsPattern(SelectionDialogState* state) {
  static constexpr UInt8 kStripes[8] = {0xF0, 0xE1, 0xC3, 0x87, 0x0F, 0x1E, 0x3C, 0x78};
  Pattern pattern{};
  for (int j = 0; j < 8; ++j) pattern.pat[j] = kStripes[(state->antsPhase + j) % 8];
  PenPat(&pattern);
}

void DisplayAnts(SelectionDialogState* state) {
  if (!state->selectionExists) return;
  PenNormal();
  SetAntsPattern(state);
  PenMode(state->antsMode == kAntsTracking ? patXor : patCopy);
  UseBlackOnWhite();
  FrameRect(&state->selection);
  PenNormal();
}

// Redraws the preview and grid under the current selection, which takes its
// frame away.
static void eraseAnts(SelectionDialogState* state) {
  Rect old = state->selection;
  DisplayPreview(state, &old);
  DisplayGrid(state);
}

static void removeSelection(SelectionDialogState* state) {
  if (!state->selectionExists) return;
  eraseAnts(state);
  state->selectionExists = 0;
  DisplaySelectionInfo(state);
}

// While tracking the frame is drawn in exclusive-or: drawing the old frame
// again removes it without touching the preview.
static void changeTrackingAnts(SelectionDialogState* state, const Rect& r, Boolean changed,
                               Boolean step, SInt16 nextPhase) {
  if (!changed && !step) return;
  DisplayAnts(state);
  if (changed) state->selection = r;
  if (step) state->antsPhase = nextPhase;
  state->selectionExists = 1;
  DisplayAnts(state);
  if (changed) DisplaySelectionInfo(state);
}

static void changeIdleAnts(SelectionDialogState* state, const Rect& r, Boolean changed,
                           Boolean step, SInt16 nextPhase) {
  if (!changed) {
    if (!step) return;
    state->antsPhase = nextPhase;
    DisplayAnts(state);
    return;
  }
  eraseAnts(state);
  state->selection = r;
  if (step) state->antsPhase = nextPhase;
  state->selectionExists = 1;
  DisplayAnts(state);
  DisplaySelectionInfo(state);
}

void ChangeAnts(SelectionDialogState* state, const Rect* selection) {
  if (selection == nullptr) {
    removeSelection(state);
    return;
  }
  const Rect r = *selection;  // may be the state's own selection
  Boolean changed = !state->selectionExists || !EqualRect(&r, &state->selection);
  UInt32 now = TickCount();
  Boolean step = now - state->lastStepTick > kTicksBetweenSteps;
  SInt16 nextPhase = state->antsPhase;
  if (step) {
    state->lastStepTick = now;
    nextPhase = SInt16(state->antsPhase == 0 ? 7 : state->antsPhase - 1);
  }
  if (state->antsMode == kAntsTracking) {
    changeTrackingAnts(state, r, changed, step, nextPhase);
  } else {
    changeIdleAnts(state, r, changed, step, nextPhase);
  }
}

// ---------------------------------------------------------------------------
// The preview in the dialog, and the selection in image pixels

void DisplayPreview(SelectionDialogState* state, const Rect* area) {
  Rect preview{};
  GetPreviewRect(state, &preview);
  Rect target = area != nullptr ? *area : preview;
  GWorldPtr offscreen = state->preview.offscreen;
  if (offscreen == nullptr) {
    EraseRect(&target);
    return;
  }
  UseBlackOnWhite();
  PixMapHandle pixels = GetGWorldPixMap(offscreen);
  LockPixels(pixels);
  Rect source = target;
  OffsetRect(&source, SInt16(-preview.left), SInt16(-preview.top));
  CopyBits(*pixels, GetPortBitMapForCopyBits(GetDialogPort(state->dialog)), &source, &target,
           srcCopy, nullptr);
  UnlockPixels(pixels);
}

void SetUpImageSelectionBounds(SelectionDialogState* state) {
  SourceImage* image = state->sourceImage;
  if (!state->selectionExists) {
    image->selection = VRect{0, 0, image->height, image->width};
    return;
  }
  Rect preview{};
  GetPreviewRect(state, &preview);
  auto pw = SInt16(preview.right - preview.left);
  auto ph = SInt16(preview.bottom - preview.top);
  const Rect& s = state->selection;
  image->selection = VRect{LinearMap(ph, image->height, s.top - preview.top),
                           LinearMap(pw, image->width, s.left - preview.left),
                           LinearMap(ph, image->height, s.bottom - preview.top),
                           LinearMap(pw, image->width, s.right - preview.left)};
}

// ---------------------------------------------------------------------------
// The panes

static SInt16 lineHeight() {
  FontInfo font{};
  GetFontInfo(&font);
  return SInt16(font.ascent + font.descent + font.leading);
}

// Template index of list with ^1 replaced by the byte count's text.
static void drawByteLine(SInt16 list, SInt16 index, SInt64 bytes, SInt16 h, SInt16 v) {
  Str255 count{};
  MetricBytesPString(bytes, count);
  Str255 text{};
  GetIndString(text, list, index);
  SubstitutePString(text, 1, count);
  MoveTo(h, v);
  DrawString(text);
}

static void drawSizeLine(SInt16 list, SInt16 index, SInt32 width, SInt32 height, SInt16 h,
                         SInt16 v) {
  Str255 text{};
  GetIndString(text, list, index);
  SubstituteNumPString(text, 1, width);
  SubstituteNumPString(text, 2, height);
  MoveTo(h, v);
  DrawString(text);
}

void GetSelectionInfoTextRect(SelectionDialogState* state, Rect* r) {
  Rect item{};
  GetDItemRect(state->dialog, kSelectionPaneItem, &item);
  *r = Rect{SInt16(item.top + 19), SInt16(item.left + 9), SInt16(item.bottom - 1),
            SInt16(item.right - 1)};
}

// The text rectangle reaching a few pixels further left, still inside the
// frame, so that a first glyph that overhangs the pen is not cut off.
static Rect selectionInfoArea(SelectionDialogState* state) {
  constexpr SInt16 kOverhang = 4;
  Rect area{};
  GetSelectionInfoTextRect(state, &area);
  area.left = SInt16(area.left - kOverhang);
  return area;
}

void SetUpSelectionInfo(SelectionDialogState* state) {
  SetUserHook(state->dialog, kSelectionPaneItem, SelectionInfoProc);
  Rect area = selectionInfoArea(state);
  BraveNewGWorld(&state->infoOffscreen, 1, &area, nullptr, nullptr, 0);
}

void TearDownSelectionInfo(SelectionDialogState* state) {
  if (state->infoOffscreen == nullptr) return;
  DisposeGWorld(state->infoOffscreen);
  state->infoOffscreen = nullptr;
}

// The selection's bytes and size, drawn into the current port at t.
static void drawSelectionText(SelectionDialogState* state, const Rect& t) {
  FontState saved{};
  GetFontState(&saved);
  SetFontStateFromID(kPaneTextStyle);
  SInt16 line = lineHeight();
  SetUpImageSelectionBounds(state);
  const SourceImage* image = state->sourceImage;
  SInt32 w = image->selection.right - image->selection.left;
  SInt32 h = image->selection.bottom - image->selection.top;
  SInt64 bytes = SInt64(w) * h * image->channels;
  drawByteLine(kSelectionPaneStrings, 2, bytes, t.left, SInt16(t.top + line));
  drawSizeLine(kSelectionPaneStrings, 1, w, h, t.left, SInt16(t.top + 2 * line));
  SetFontState(&saved);
}

void DisplaySelectionInfo(SelectionDialogState* state) {
  GWorldPtr offscreen = state->infoOffscreen;
  if (offscreen == nullptr) return;
  PixMapHandle pixels = GetGWorldPixMap(offscreen);
  LockPixels(pixels);
  CGrafPtr savedPort = nullptr;
  GDHandle savedDevice = nullptr;
  GetGWorld(&savedPort, &savedDevice);
  SetGWorld(offscreen, nullptr);
  Rect area = selectionInfoArea(state), t{};
  GetSelectionInfoTextRect(state, &t);
  EraseRect(&area);
  if (state->selectionExists) drawSelectionText(state, t);
  SetGWorld(savedPort, savedDevice);
  useDialogPort(state->dialog);
  CopyBits(*pixels, GetPortBitMapForCopyBits(GetDialogPort(state->dialog)), &area, &area, srcCopy,
           nullptr);
  UnlockPixels(pixels);
}

void SelectionInfoProc(DialogPtr dialog, SInt16 item) {
  SelectionDialogState* state = GetSelectionDialogState(dialog);
  Rect r{};
  FontState saved{};
  BeginItemDrawing(dialog, item, kPaneTextStyle, &r, &saved);
  EraseRect(&r);
  DrawIconFrame(&state->iconCache, kSelectionPaneIcon, nullptr, &r);
  DisplaySelectionInfo(state);
  SetFontState(&saved);
}

void ImageInfoProc(DialogPtr dialog, SInt16 item) {
  SelectionDialogState* state = GetSelectionDialogState(dialog);
  const SourceImage* image = state->sourceImage;
  Rect r{};
  FontState saved{};
  BeginItemDrawing(dialog, item, kPaneTextStyle, &r, &saved);
  EraseRect(&r);
  SInt16 line = lineHeight();
  Str255 title{};
  GetIndString(title, kImagePaneStrings, 1);
  SubstitutePString(title, 1, image->fileSpec.name);
  DrawIconFrame(&state->iconCache, kImagePaneIcon, title, &r);
  SInt64 bytes = SInt64(image->width) * image->height * image->channels;
  auto h = SInt16(r.left + 9);
  drawByteLine(kImagePaneStrings, 3, bytes, h, SInt16(r.top + 19 + line));
  drawSizeLine(kImagePaneStrings, 2, image->width, image->height, h, SInt16(r.top + 19 + 2 * line));
  SetFontState(&saved);
}
