#include <algorithm>

#include "MacErrors.h"
#include "formats/BlockGeometry.h"
#include "formats/FormatCodes.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"

namespace {

// Without the plug-in's big buffer (tests, tools) runs are taken from the
// plain heap, as many rows as fit under a cap that keeps zero-filling cheap.
constexpr SInt64 kPlainScratchCap = 4 << 20;

OSErr allocatePlain(SInt32 unitSize, SInt32 unitCount, SInt32* grantedUnits, Ptr* address) {
  if (unitSize <= 0 || unitCount <= 0) return memFullErr;
  SInt64 units = std::clamp<SInt64>(kPlainScratchCap / unitSize, 1, unitCount);
  for (;; units /= 2) {
    Ptr block = nullptr;
    OSErr err = AllocateMemory(SInt32(units * unitSize), &block);
    if (err == noErr) {
      *grantedUnits = SInt32(units);
      *address = block;
      return noErr;
    }
    if (units == 1) return err;
  }
}

OSErr disposePlain(Ptr address) { return DisposeMemory(address); }

constexpr ScratchAllocator kPlainScratch{allocatePlain, disposePlain};
ScratchAllocator gScratch = kPlainScratch;

// Rows top to bottom of block row down of a plane group, in image rows.
struct Run {
  SInt32 group;
  SInt32 down;
  SInt32 top;
  SInt32 bottom;
};

bool outside(const BlockGeometry& g, const TileArea& a) {
  auto beyond = [](SInt64 first, SInt64 end, SInt64 limit) {
    return first < 0 || end < 0 || first > limit || end > limit;
  };
  return beyond(a.top, a.bottom, g.height) || beyond(a.left, a.right, g.width) ||
         beyond(a.firstPlane, a.endPlane, g.planes);
}

bool empty(const TileArea& a) {
  return a.bottom <= a.top || a.right <= a.left || a.endPlane <= a.firstPlane;
}

void convert(const SampleConversion& c, const Tile& buffer, const TileArea& box) {
  TileArea part = box;
  part.firstPlane = std::max(box.firstPlane, c.invertFirst);
  part.endPlane = std::min(box.endPlane, c.invertEnd);
  if (part.firstPlane < part.endPlane) InvertTile(buffer, part);
  part.firstPlane = std::max(box.firstPlane, c.toggleFirst);
  part.endPlane = std::min(box.endPlane, c.toggleEnd);
  if (part.firstPlane < part.endPlane) ToggleSignTile(buffer, part);
}

// The bytes of a block row that hold columns [left, right) of the box, all
// planes of the group: [first, end) from the row's start.
struct RowSlice {
  SInt32 first;
  SInt32 end;
};

RowSlice sliceOf(const BlockGeometry& g, SInt32 blockLeft, const TileArea& box) {
  const SInt32 planeStep = g.colBytes == 1 ? g.planeBytes : 1;  // as a Tile places planes
  const SInt32 first = (box.left - blockLeft) * g.colBytes;
  const SInt32 last = (box.right - 1 - blockLeft) * g.colBytes + (g.groupPlanes - 1) * planeStep;
  return RowSlice{first, last + 1};
}

// Reads the run's rows of the block into scratch. When the box holds less
// than half of each row (a window of a wide strip), only its slice of each
// row is read; otherwise the whole rows, in one seek and one read. Writes
// always take whole rows, so that a band goes back in one write, whole or
// not at all.
OSErr readRows(SInt16 refNum, UInt64 position, const BlockGeometry& g, const Run& run,
               const RowSlice& slice, UInt8* scratch, Boolean write) {
  const SInt32 sliceBytes = slice.end - slice.first;
  if (write || 2 * SInt64(sliceBytes) >= g.rowBytes) {
    if (OSErr err = SeekToOffset(refNum, position); err != noErr) return err;
    return ReadBytes(refNum, (run.bottom - run.top) * g.rowBytes, scratch);
  }
  for (SInt32 row = 0; row < run.bottom - run.top; ++row) {
    const UInt64 at = position + UInt64(row) * UInt64(g.rowBytes) + UInt64(slice.first);
    if (OSErr err = SeekToOffset(refNum, at); err != noErr) return err;
    OSErr err = ReadBytes(refNum, sliceBytes, scratch + SInt64(row) * g.rowBytes + slice.first);
    if (err != noErr) return err;
  }
  return noErr;
}

// One block's rows of the run: read as readRows does; for a write, one seek
// and one write of the whole block rows.
OSErr moveBlockRows(SInt16 refNum, const BlockGeometry& g, const Run& run, SInt32 across,
                    UInt8* scratch, const Tile& tile, const TileArea& area, Boolean write) {
  const SInt32 blockTop = run.down * g.blockHeight;
  const SInt32 blockLeft = across * g.blockWidth;
  const SInt32 firstPlane = run.group * g.groupPlanes;
  const UInt64 position =
      BlockOffset(g, run.group, run.down, across) + UInt64(run.top - blockTop) * UInt64(g.rowBytes);
  const SInt32 bytes = (run.bottom - run.top) * g.rowBytes;
  const Tile buffer{scratch,
                    TileArea{run.top, blockLeft, run.bottom, blockLeft + g.blockWidth, firstPlane,
                             firstPlane + g.groupPlanes},
                    g.rowBytes, g.colBytes, g.planeBytes};
  const TileArea box{run.top,
                     std::max(area.left, blockLeft),
                     run.bottom,
                     SInt32(std::min<SInt64>(area.right, SInt64(blockLeft) + g.blockWidth)),
                     std::max(area.firstPlane, firstPlane),
                     std::min(area.endPlane, firstPlane + g.groupPlanes)};
  if (OSErr err = readRows(refNum, position, g, run, sliceOf(g, blockLeft, box), scratch, write);
      err != noErr) {
    return err;
  }
  if (!write) {
    convert(g.conversion, buffer, box);
    CopyTile(buffer, box, tile, box);
    return noErr;
  }
  CopyTile(tile, box, buffer, box);
  convert(g.conversion, buffer, box);
  if (OSErr err = SeekToOffset(refNum, position); err != noErr) return err;
  return WriteBytes(refNum, bytes, scratch);
}

OSErr moveRun(SInt16 refNum, const BlockGeometry& g, const Run& run, UInt8* scratch,
              const Tile& tile, const TileArea& area, Boolean write) {
  const SInt32 lastAcross = (area.right - 1) / g.blockWidth;
  for (SInt32 across = area.left / g.blockWidth; across <= lastAcross; ++across) {
    OSErr err = moveBlockRows(refNum, g, run, across, scratch, tile, area, write);
    if (err != noErr) return err;
  }
  return noErr;
}

// Runs never cross a block row, the box or the scratch memory.
OSErr moveGroup(SInt16 refNum, const BlockGeometry& g, SInt32 group, UInt8* scratch, SInt32 granted,
                const Tile& tile, const TileArea& area, Boolean write) {
  const SInt32 lastDown = (area.bottom - 1) / g.blockHeight;
  for (SInt32 down = area.top / g.blockHeight; down <= lastDown; ++down) {
    const SInt64 blockTop = SInt64(down) * g.blockHeight;
    const SInt32 end = SInt32(std::min<SInt64>(area.bottom, blockTop + g.blockHeight));
    for (SInt32 row = SInt32(std::max<SInt64>(area.top, blockTop)); row < end;) {
      const Run run{group, down, row, SInt32(std::min<SInt64>(SInt64(row) + granted, end))};
      if (OSErr err = moveRun(refNum, g, run, scratch, tile, area, write); err != noErr) {
        return err;
      }
      row = run.bottom;
    }
  }
  return noErr;
}

}  // namespace

UInt64 BlockOffset(const BlockGeometry& g, SInt32 group, SInt32 down, SInt32 across) {
  const SInt64 index =
      (SInt64(group) * g.blocksDown + down) * SInt64(g.blocksAcross) + SInt64(across);
  if (g.offsets != nullptr) return g.offsets[index];
  return g.base + UInt64(index) * g.blockStride;
}

SInt64 BlockCount(const BlockGeometry& g) {
  const SInt64 groups =
      g.groupPlanes > 0 ? (SInt64(g.planes) + g.groupPlanes - 1) / g.groupPlanes : 0;
  return groups * g.blocksDown * g.blocksAcross;
}

void UseScratchAllocator(const ScratchAllocator* allocator) {
  gScratch = allocator != nullptr ? *allocator : kPlainScratch;
}

OSErr MoveBox(SInt16 refNum, const BlockGeometry& g, const Tile& tile, const TileArea& area,
              Boolean write) {
  if (outside(g, area)) return kFormatFailure;
  if (empty(area)) return noErr;
  SInt32 granted = 0;
  Ptr scratch = nullptr;
  const SInt32 wanted = std::min(area.bottom - area.top, g.blockHeight);
  if (OSErr err = gScratch.allocate(g.rowBytes, wanted, &granted, &scratch); err != noErr) {
    return err;
  }
  OSErr err = noErr;
  const SInt32 lastGroup = (area.endPlane - 1) / g.groupPlanes;
  for (SInt32 group = area.firstPlane / g.groupPlanes; group <= lastGroup && err == noErr;
       ++group) {
    err =
        moveGroup(refNum, g, group, reinterpret_cast<UInt8*>(scratch), granted, tile, area, write);
  }
  gScratch.dispose(scratch);
  return err;
}
