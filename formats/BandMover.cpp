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

// Bytes [first, end) of a run, counted from the run's first byte in the
// file, and where the first of them lies in scratch.
struct Span {
  SInt64 first;
  SInt64 end;
  SInt64 scratch;
};

// Where the box's bytes lie in each block row: slices of width bytes, the
// first at start, the others (one per plane of a planar group) step apart.
// Chunky slices take whole pixels, so they hold bytes of planes outside the
// box, and a pixel's padding, whenever the box has fewer planes than a pixel
// has bytes.
struct RowSlices {
  SInt64 start;
  SInt64 width;
  SInt64 step;
  SInt32 count;
};

RowSlices slicesOf(const BlockGeometry& g, SInt32 blockLeft, SInt32 groupFirst,
                   const TileArea& box) {
  if (g.colBytes > 1) {
    return RowSlices{SInt64(box.left - blockLeft) * g.colBytes,
                     SInt64(box.right - box.left) * g.colBytes, 0, 1};
  }
  return RowSlices{SInt64(box.firstPlane - groupFirst) * g.planeBytes + (box.left - blockLeft),
                   box.right - box.left, g.planeBytes, box.endPlane - box.firstPlane};
}

// Where scratch keeps slice s of row r: r * rowBytes + start + s * step.
// Either the run's block rows as the file stores them (then a gap between
// two slices is the same in both, and a read may take it along), or only
// the box's slices packed together, so that scratch costs what the box
// holds when the box is a narrow window of wide rows.
struct ScratchLayout {
  SInt64 rowBytes;
  SInt64 start;
  SInt64 step;
};

ScratchLayout fileShaped(const BlockGeometry& g, const RowSlices& slices) {
  return ScratchLayout{g.rowBytes, slices.start, slices.step};
}

ScratchLayout packed(const RowSlices& slices) {
  return ScratchLayout{slices.count * slices.width, 0, slices.width};
}

bool slicesHoldOtherBytes(const BlockGeometry& g, const TileArea& box) {
  return g.colBytes > 1 && box.endPlane - box.firstPlane < g.colBytes;
}

// A read takes the gap between two slices along when the gap is shorter
// than a page: every page the gap touches holds the box's bytes too, so the
// disk is asked for nothing more, and a call costs more than copying it.
constexpr SInt64 kReadBridge = 4095;

// Calls move once per span of the box's bytes in the run's rows, in file
// order. Slices that touch in the file and in scratch are one span, so a box
// as wide as its block moves each run in one call; gaps up to bridge bytes
// are spanned too where scratch keeps them.
template <typename Move>
OSErr forEachSpan(const BlockGeometry& g, SInt32 rows, const RowSlices& slices,
                  const ScratchLayout& layout, SInt64 bridge, Move move) {
  Span pending{0, 0, 0};
  for (SInt32 row = 0; row < rows; ++row) {
    for (SInt32 slice = 0; slice < slices.count; ++slice) {
      const SInt64 first = SInt64(row) * g.rowBytes + slices.start + slice * slices.step;
      const SInt64 held = SInt64(row) * layout.rowBytes + layout.start + slice * layout.step;
      const SInt64 gap = first - pending.end;
      if (pending.end > pending.first && gap >= 0 && gap <= bridge &&
          held - (pending.scratch + pending.end - pending.first) == gap) {
        pending.end = first + slices.width;
        continue;
      }
      if (pending.end > pending.first) {
        if (OSErr err = move(pending); err != noErr) return err;
      }
      pending = Span{first, first + slices.width, held};
    }
  }
  return pending.end > pending.first ? move(pending) : noErr;
}

OSErr readSpans(SInt16 refNum, UInt64 position, const BlockGeometry& g, SInt32 rows,
                const RowSlices& slices, const ScratchLayout& layout, SInt64 bridge,
                UInt8* scratch) {
  return forEachSpan(g, rows, slices, layout, bridge, [&](const Span& span) {
    if (OSErr err = SeekToOffset(refNum, position + UInt64(span.first)); err != noErr) return err;
    return ReadBytes(refNum, span.end - span.first, scratch + span.scratch);
  });
}

// Never spans a gap: its bytes were not read, and writing them would need
// their values. A run that reaches past the file's end (a file cut short
// while open) is refused before any of it is written, as its read would
// be, rather than growing the file.
OSErr writeSpans(SInt16 refNum, UInt64 position, const BlockGeometry& g, SInt32 rows,
                 const RowSlices& slices, const ScratchLayout& layout, const UInt8* scratch) {
  const SInt64 end = SInt64(rows - 1) * g.rowBytes + slices.start +
                     SInt64(slices.count - 1) * slices.step + slices.width;
  // The file's length as it is now, not as this process last saw it.
  SInt64 length = 0;
  if (OSErr err = GetFileLength(refNum, &length); err != noErr) return err;
  if (position + UInt64(end) > UInt64(length)) return eofErr;
  return forEachSpan(g, rows, slices, layout, 0, [&](const Span& span) {
    if (OSErr err = SeekToOffset(refNum, position + UInt64(span.first)); err != noErr) return err;
    return WriteBytes(refNum, span.end - span.first, scratch + span.scratch);
  });
}

// One call of MoveBox: what moves, where, and how scratch keeps it.
struct Move {
  SInt16 refNum;
  const BlockGeometry& g;
  const Tile& tile;
  const TileArea& area;
  Boolean write;
  UInt8* scratch;
  SInt32 granted;  // block rows (or packed box rows) scratch holds
  bool packed;     // scratch holds only the box's slices
};

// Scratch as a Tile over the run's rows of the block: whole block rows, or
// the box's columns only (of every plane of the group when chunky, so that
// a pixel keeps the place of its planes).
Tile scratchTile(const Move& m, const Run& run, SInt32 blockLeft, SInt32 firstPlane,
                 const TileArea& box, const ScratchLayout& layout) {
  const BlockGeometry& g = m.g;
  if (!m.packed) {
    return Tile{m.scratch,
                TileArea{run.top, blockLeft, run.bottom, blockLeft + g.blockWidth, firstPlane,
                         firstPlane + g.groupPlanes},
                SInt32(layout.rowBytes), g.colBytes, g.planeBytes};
  }
  if (g.colBytes > 1) {
    return Tile{
        m.scratch,
        TileArea{run.top, box.left, run.bottom, box.right, firstPlane, firstPlane + g.groupPlanes},
        SInt32(layout.rowBytes), g.colBytes, 0};
  }
  return Tile{m.scratch, box, SInt32(layout.rowBytes), 1, SInt32(layout.step)};
}

// One block's rows of the run. Only the box's columns of each row move; a
// write reads them first only when they hold bytes the box does not own,
// which must go back with the values they had.
OSErr moveBlockRows(const Move& m, const Run& run, SInt32 across) {
  const BlockGeometry& g = m.g;
  const SInt32 blockTop = run.down * g.blockHeight;
  const SInt32 blockLeft = across * g.blockWidth;
  const SInt32 firstPlane = run.group * g.groupPlanes;
  const UInt64 position =
      BlockOffset(g, run.group, run.down, across) + UInt64(run.top - blockTop) * UInt64(g.rowBytes);
  const SInt32 rows = run.bottom - run.top;
  const TileArea box{run.top,
                     std::max(m.area.left, blockLeft),
                     run.bottom,
                     SInt32(std::min<SInt64>(m.area.right, SInt64(blockLeft) + g.blockWidth)),
                     std::max(m.area.firstPlane, firstPlane),
                     std::min(m.area.endPlane, firstPlane + g.groupPlanes)};
  const RowSlices slices = slicesOf(g, blockLeft, firstPlane, box);
  const ScratchLayout layout = m.packed ? packed(slices) : fileShaped(g, slices);
  const Tile buffer = scratchTile(m, run, blockLeft, firstPlane, box, layout);
  // Before a write, read just what goes back: each read has its write.
  if (!m.write || slicesHoldOtherBytes(g, box)) {
    const SInt64 bridge = m.write ? 0 : kReadBridge;
    OSErr err = readSpans(m.refNum, position, g, rows, slices, layout, bridge, m.scratch);
    if (err != noErr) return err;
  }
  if (!m.write) {
    convert(g.conversion, buffer, box);
    CopyTile(buffer, box, m.tile, box);
    return noErr;
  }
  CopyTile(m.tile, box, buffer, box);
  convert(g.conversion, buffer, box);
  return writeSpans(m.refNum, position, g, rows, slices, layout, m.scratch);
}

OSErr moveRun(const Move& m, const Run& run) {
  const SInt32 lastAcross = (m.area.right - 1) / m.g.blockWidth;
  for (SInt32 across = m.area.left / m.g.blockWidth; across <= lastAcross; ++across) {
    if (OSErr err = moveBlockRows(m, run, across); err != noErr) return err;
  }
  return noErr;
}

// Runs never cross a block row, the box or the scratch memory.
OSErr moveGroup(const Move& m, SInt32 group) {
  const BlockGeometry& g = m.g;
  const SInt32 lastDown = (m.area.bottom - 1) / g.blockHeight;
  for (SInt32 down = m.area.top / g.blockHeight; down <= lastDown; ++down) {
    const SInt64 blockTop = SInt64(down) * g.blockHeight;
    const SInt32 end = SInt32(std::min<SInt64>(m.area.bottom, blockTop + g.blockHeight));
    for (SInt32 row = SInt32(std::max<SInt64>(m.area.top, blockTop)); row < end;) {
      const Run run{group, down, row, SInt32(std::min<SInt64>(SInt64(row) + m.granted, end))};
      if (OSErr err = moveRun(m, run); err != noErr) return err;
      row = run.bottom;
    }
  }
  return noErr;
}

// The bytes of one row of the box's slices in a block, all planes of the
// group it needs: what packed scratch takes per row.
SInt64 packedRowBytes(const BlockGeometry& g, const TileArea& area) {
  const SInt64 columns = std::min<SInt64>(SInt64(area.right) - area.left, g.blockWidth);
  if (g.colBytes > 1) return columns * g.colBytes;
  return columns * std::min(g.groupPlanes, area.endPlane - area.firstPlane);
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
  // Whole block rows while the box's gaps are ones a read would bridge;
  // beyond that only the box's slices, so that a window of very wide rows
  // costs the window's memory.
  const SInt64 boxRowBytes = packedRowBytes(g, area);
  const bool packedScratch = g.rowBytes > boxRowBytes + kReadBridge;
  const SInt64 unit = packedScratch ? boxRowBytes : g.rowBytes;
  if (unit > INT32_MAX) return memFullErr;
  SInt32 granted = 0;
  Ptr scratch = nullptr;
  const SInt32 wanted = std::min(area.bottom - area.top, g.blockHeight);
  if (OSErr err = gScratch.allocate(SInt32(unit), wanted, &granted, &scratch); err != noErr) {
    return err;
  }
  const Move m{refNum,       g, tile, area, write, reinterpret_cast<UInt8*>(scratch), granted,
               packedScratch};
  OSErr err = noErr;
  const SInt32 lastGroup = (area.endPlane - 1) / g.groupPlanes;
  for (SInt32 group = area.firstPlane / g.groupPlanes; group <= lastGroup && err == noErr;
       ++group) {
    err = moveGroup(m, group);
  }
  gScratch.dispose(scratch);
  return err;
}
