// Drawing and dialog-item helpers shared by the selection dialog and the
// about box: the proportional mapping between preview and image, item
// access by number, text settings and their style resources, byte counts as
// text, the framed panes, and offscreens that may come from temporary memory.
#pragma once

#include "platform/Dialogs.h"
#include "platform/MacTypes.h"
#include "platform/QDOffscreen.h"
#include "platform/Quickdraw.h"
#include "selection/DrawIconFamily.h"

// The port's text settings, in the order a style is applied.
struct FontState {
  SInt16 size;
  SInt16 face;
  SInt16 font;
  SInt16 mode;
};

constexpr ResType kStyleResourceType = FourCC("STYL");
// 1 megabytes, 2 kilobytes, 3 gigabytes; each holds ^1
constexpr SInt16 kByteCountStrings = 16001;
constexpr SInt16 kPreviewItem = 4;

// value scaled from 0..from to 0..to: value / from, then times to, both in
// single precision, then + 0.5 in double precision truncated toward zero.
// Grid lines and image coordinates computed anywhere agree to the pixel
// only because they all come through here. from must be greater than 0.
// Single precision is exact only up to 16,777,216: for a larger to, the
// result is clamped into 0..to, so that a rounded step never lands outside
// the image.
SInt32 LinearMap(SInt32 from, SInt32 to, SInt32 value);

// Items by number. An item number the dialog does not have leaves the
// outputs as they were, and reads as value 0.
void GetDItemRect(DialogPtr dialog, SInt16 item, Rect* r);
// Moves the item, keeping its kind and handle.
void SetDItemRect(DialogPtr dialog, SInt16 item, const Rect* r);
// The control value of a control item.
SInt16 GetDItemValue(DialogPtr dialog, SInt16 item);
void SetDItemValue(DialogPtr dialog, SInt16 item, SInt16 value);
// Makes procedure the user item's drawing procedure, keeping its kind and
// rectangle.
void SetUserHook(DialogPtr dialog, SInt16 item, UserItemUPP procedure);

// Dialog item 4's rectangle less its last row and column: the area the
// scaled image covers.
void GetPreviewItemRect(DialogPtr dialog, Rect* r);

// The same for a dialog state record, of which only the first field, the
// dialog, is read.
template <typename DialogState>
void GetPreviewRect(const DialogState* state, Rect* r) {
  GetPreviewItemRect(state->dialog, r);
}

void GetFontState(FontState* state);
// TextFont, TextSize, TextFace, TextMode, in this order.
void SetFontState(const FontState* state);
// Loads "STYL" id (text size, text face, length-prefixed font name) into
// *state with mode srcOr. Returns the resource, left unlocked and
// purgeable; when it is missing returns null and *state has size, face and
// font 0 (the defaults), still with mode srcOr.
Handle GetFontStateFromID(SInt16 id, FontState* state);
void SetFontStateFromID(SInt16 id);

// How a user item starts drawing: the dialog's port made current with a
// normal pen, *r the item's rectangle, "STYL" styleID applied and the
// settings it replaced left in *saved, for SetFontState to put back.
void BeginItemDrawing(DialogPtr dialog, SInt16 item, SInt16 styleID, Rect* r, FontState* saved);

// The pen colours the grid and the ants draw with: black on white, so that
// their patterns look the same whatever the port held before.
void UseBlackOnWhite(void);

// The count as kilobytes (rounded up) while that stays below 1024, else as
// megabytes (rounded half up from the kilobytes) while those stay below
// 1024, else as gigabytes (rounded half up from the megabytes), from string
// list 16001.
void MetricBytesPString(SInt64 bytes, StringPtr out);

// A frame round r whose top edge sits 12 pixels down, broken at the left by
// a 16 x 16 icon of family id and, when title is not null, the title; drawn
// with the current pen and font.
void DrawIconFrame(IconCache* cache, SInt16 id, ConstStringPtr title, const Rect* r);

// NewGWorld, tried once more in temporary memory when the first attempt,
// made without useTempMem, fails. On failure *offscreen is unchanged.
OSErr BraveNewGWorld(GWorldPtr* offscreen, SInt16 depth, const Rect* bounds, CTabHandle table,
                     GDHandle device, GWorldFlags flags);

// Swaps top and bottom, left and right, where they are the wrong way round.
void UprightRect(Rect* r);
