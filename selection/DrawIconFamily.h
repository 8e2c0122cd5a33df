// Icon families drawn at the depth of the screen they land on.
//
// A family is up to six resources sharing one ID: "ics8", "icl8", "ics4",
// "icl4", "ics#" and "ICN#" (16 x 16 and 32 x 32 at 8, 4 and 1 bits; the
// one-bit kinds hold their image then their mask). The drawing picks, per
// screen, the deepest kind that suits the screen and the requested size.
#pragma once

#include "platform/MacTypes.h"
#include "platform/QDOffscreen.h"
#include "platform/Quickdraw.h"

constexpr OSType kIconCacheSignature = FourCC("icon");

// Pixel maps reused for every colour icon drawn through the cache, so that
// redrawing icons allocates nothing. The caller owns it, one per dialog; it
// may start as uninitialised memory: the first draw sets it up.
struct IconCache {
  OSType signature;
  PixMapHandle fourBitMap;
  PixMapHandle eightBitMap;
};

// What DrawIconFamily hands DeviceLoop for each screen.
struct IconDrawRequest {
  SInt16 id;
  SInt16 h;
  SInt16 v;
  SInt16 width;
  SInt16 height;
  IconCache* cache;
};

// The kinds of a family, in the order the search walks them.
enum IconKindIndex : SInt16 {
  kSmall8 = 0,
  kLarge8 = 1,
  kSmall4 = 2,
  kLarge4 = 3,
  kSmall1 = 4,
  kLarge1 = 5,
  kIconKindCount = 6,
  kNoIconKind = -1
};

// The resource type of a kind index (0 to 5).
ResType IconKindType(SInt16 index);

// The kind a screen of the given depth draws for a width x height request
// when the kinds whose bits are set in present (bit i for index i) exist;
// kNoIconKind when none of the candidates does. Requests of at most 16 x 16
// take small kinds first and fall back to the large kind of the same depth,
// then to lower depths; larger requests consider large kinds only.
SInt16 ChooseIconKind(SInt16 depth, SInt16 width, SInt16 height, UInt8 present);

// Draws family id with its top-left at (h, v), cropped to width x height
// (icons are never scaled), on every screen the current port's visible
// region touches.
void DrawIconFamily(IconCache* cache, SInt16 id, SInt16 h, SInt16 v, SInt16 width, SInt16 height);

// The DeviceLoop procedure behind DrawIconFamily: userData is an
// IconDrawRequest. Draws nothing when the family has none of the kinds the
// depth may use, or a colour kind's pixel map cannot be made.
void DLDrawIconFamily(SInt16 depth, SInt16 deviceFlags, GDHandle targetDevice,
                      std::intptr_t userData);

// Releases the cache's pixel maps; the cache may be used again afterwards.
void DisposeIconCache(IconCache* cache);
