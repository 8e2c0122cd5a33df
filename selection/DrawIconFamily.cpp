#include "selection/DrawIconFamily.h"

#include <algorithm>
#include <cstdlib>

#include "platform/MacMemory.h"
#include "platform/Resources.h"

namespace {

constexpr ResType kKinds[kIconKindCount] = {FourCC("ics8"), FourCC("icl8"), FourCC("ics4"),
                                            FourCC("icl4"), FourCC("ics#"), FourCC("ICN#")};

// Geometry of one kind: side in pixels, row bytes of its image, and where
// the mask of a one-bit kind starts.
struct IconShape {
  SInt16 side;
  SInt16 rowBytes;
  SInt16 maskRowBytes;
  Size maskOffset;
};

}  // namespace

static bool isSmall(SInt16 index) { return index % 2 == 0; }
static bool isColour(SInt16 index) { return index <= kLarge4; }
static SInt16 bitsOf(SInt16 index) { return index <= kLarge8 ? 8 : index <= kLarge4 ? 4 : 1; }

static IconShape shapeOf(SInt16 index) {
  SInt16 side = isSmall(index) ? 16 : 32;
  SInt16 maskRowBytes = SInt16(side / 8);
  return IconShape{side, SInt16(side * bitsOf(index) / 8), maskRowBytes, Size(maskRowBytes * side)};
}

// Walks the candidates for the depth and request size; present(index) says
// whether a kind exists. Returns the first that does, or kNoIconKind.
template <typename Present>
static SInt16 searchIconKinds(SInt16 depth, SInt16 width, SInt16 height, Present present) {
  int magnitude = std::abs(int(depth));
  SInt16 start = magnitude >= 8 ? kSmall8 : magnitude == 4 ? kSmall4 : kSmall1;
  bool small = width <= 16 && height <= 16;
  SInt16 step = small ? 1 : 2;
  for (SInt16 index = small ? start : SInt16(start + 1); index < kIconKindCount; index += step) {
    if (present(index)) return index;
  }
  return kNoIconKind;
}

ResType IconKindType(SInt16 index) {
  return index >= 0 && index < kIconKindCount ? kKinds[index] : 0;
}

SInt16 ChooseIconKind(SInt16 depth, SInt16 width, SInt16 height, UInt8 present) {
  return searchIconKinds(depth, width, height,
                         [present](SInt16 index) { return ((present >> index) & 1) != 0; });
}

// The part of the icon a request shows: its top-left corner, never more
// than the icon holds.
static Rect croppedBounds(const IconDrawRequest& request, SInt16 side) {
  return Rect{0, 0, std::min(request.height, side), std::min(request.width, side)};
}

static Rect destinationOf(const IconDrawRequest& request, const Rect& bounds) {
  return Rect{request.v, request.h, SInt16(request.v + bounds.bottom),
              SInt16(request.h + bounds.right)};
}

static const BitMap* currentPortBits() {
  GrafPtr port = nullptr;
  GetPort(&port);
  return port != nullptr ? GetPortBitMapForCopyBits(port) : nullptr;
}

// A resource too short for its kind would be read past its end.
static bool holds(Handle data, Size bytes) {
  return data != nullptr && GetHandleSize(data) >= bytes;
}

static PixMapHandle newIconPixMap(SInt16 bits) {
  PixMapHandle map = NewPixMap();
  if (map == nullptr) return nullptr;
  CTabHandle table = GetCTable(bits);
  if (table == nullptr) {
    DisposePixMap(map);
    return nullptr;
  }
  DisposeCTable((**map).pmTable);
  (**map).pixelType = 0;
  (**map).pixelSize = bits;
  (**map).cmpCount = 1;
  (**map).cmpSize = bits;
  (**map).pmTable = table;
  return map;
}

static PixMapHandle cachedPixMap(IconCache* cache, SInt16 bits) {
  PixMapHandle& slot = bits == 8 ? cache->eightBitMap : cache->fourBitMap;
  if (slot == nullptr) slot = newIconPixMap(bits);
  return slot;
}

// Copies image (a bitmap or pixel map over the icon's data) to the port,
// through the one-bit mask when there is one.
static void copyIcon(const BitMap* image, const BitMap* mask, const Rect& dest) {
  const BitMap* port = currentPortBits();
  if (port == nullptr) return;
  if (mask != nullptr) {
    CopyMask(image, mask, port, &image->bounds, &mask->bounds, &dest);
  } else {
    CopyBits(image, port, &image->bounds, &dest, srcCopy, nullptr);
  }
}

static void drawColourIcon(const IconDrawRequest& request, SInt16 index, Handle data) {
  IconShape shape = shapeOf(index);
  PixMapHandle map = cachedPixMap(request.cache, bitsOf(index));
  if (map == nullptr || !holds(data, Size(shape.rowBytes * shape.side))) return;
  Rect bounds = croppedBounds(request, shape.side);
  HLock(data);
  LockPixels(map);
  (**map).baseAddr = *data;
  (**map).rowBytes = SInt16(shape.rowBytes | kPixMapMarker);
  (**map).bounds = bounds;
  Handle maskData = Get1Resource(isSmall(index) ? kKinds[kSmall1] : kKinds[kLarge1], request.id);
  if (holds(maskData, 2 * shape.maskOffset)) {
    HLock(maskData);
    BitMap mask{*maskData + shape.maskOffset, shape.maskRowBytes, bounds};
    copyIcon(*map, &mask, destinationOf(request, bounds));
    HUnlock(maskData);
  } else {
    copyIcon(*map, nullptr, destinationOf(request, bounds));
  }
  UnlockPixels(map);
  HUnlock(data);
}

static void drawOneBitIcon(const IconDrawRequest& request, SInt16 index, Handle data) {
  IconShape shape = shapeOf(index);
  if (!holds(data, 2 * shape.maskOffset)) return;
  Rect bounds = croppedBounds(request, shape.side);
  HLock(data);
  BitMap image{*data, shape.maskRowBytes, bounds};
  BitMap mask{*data + shape.maskOffset, shape.maskRowBytes, bounds};
  copyIcon(&image, &mask, destinationOf(request, bounds));
  HUnlock(data);
}

void DLDrawIconFamily(SInt16 depth, SInt16, GDHandle, std::intptr_t userData) {
  const auto& request = *reinterpret_cast<const IconDrawRequest*>(userData);
  Handle data = nullptr;
  SInt16 index = searchIconKinds(depth, request.width, request.height, [&](SInt16 candidate) {
    data = Get1Resource(kKinds[candidate], request.id);
    return data != nullptr;
  });
  if (index == kNoIconKind) return;
  if (isColour(index)) {
    drawColourIcon(request, index, data);
  } else {
    drawOneBitIcon(request, index, data);
  }
}

void DrawIconFamily(IconCache* cache, SInt16 id, SInt16 h, SInt16 v, SInt16 width, SInt16 height) {
  if (cache->signature != kIconCacheSignature) {
    cache->signature = kIconCacheSignature;
    cache->fourBitMap = nullptr;
    cache->eightBitMap = nullptr;
  }
  GrafPtr port = nullptr;
  GetPort(&port);
  if (port == nullptr) return;
  IconDrawRequest request{id, h, v, width, height, cache};
  DeviceLoop(port->visRgn, DLDrawIconFamily, reinterpret_cast<std::intptr_t>(&request), 0);
}

void DisposeIconCache(IconCache* cache) {
  if (cache->signature != kIconCacheSignature) return;
  DisposePixMap(cache->fourBitMap);
  DisposePixMap(cache->eightBitMap);
  cache->fourBitMap = nullptr;
  cache->eightBitMap = nullptr;
}
