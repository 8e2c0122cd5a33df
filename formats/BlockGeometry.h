// Where a format keeps its samples, told the same way for every format: the
// image is cut into blocks (TIFF strips or tiles, or one block for the whole
// image), each block holds either all planes (chunky) or one group of them,
// and inside a block a sample lies where a Tile of the block's shape says.
// One band mover reads and writes any box through such a description.
#pragma once

#include "MacTypes.h"
#include "tiles/CopyTile.h"

// The changes between the file's samples and the host's, each its own
// inverse: planes [invertFirst, invertEnd) become 255 - x, planes
// [toggleFirst, toggleEnd) switch between signed and offset binary.
struct SampleConversion {
  SInt32 invertFirst;
  SInt32 invertEnd;
  SInt32 toggleFirst;
  SInt32 toggleEnd;
};

struct BlockGeometry {
  SInt32 width;  // the image
  SInt32 height;
  SInt32 planes;
  SInt32 blockWidth;  // pixels; edge blocks may reach past the image
  SInt32 blockHeight;
  SInt32 blocksAcross;
  SInt32 blocksDown;
  SInt32 groupPlanes;  // planes per block: all of them, or one for planar files
  SInt64 rowBytes;     // a sample's place inside a block, as in a Tile
  SInt32 colBytes;
  SInt32 planeBytes;
  const UInt64* offsets;  // per block, group after group, row after row; null: below
  UInt64 base;            // without offsets, block i starts at base + i * blockStride
  UInt64 blockStride;
  SampleConversion conversion;
};

// The file position of block (group, down, across).
UInt64 BlockOffset(const BlockGeometry& geometry, SInt32 group, SInt32 down, SInt32 across);

// How many blocks the geometry names.
SInt64 BlockCount(const BlockGeometry& geometry);

// Scratch memory for runs of block rows: between 1 and unitCount units of
// unitSize bytes, the number granted in *grantedUnits.
struct ScratchAllocator {
  OSErr (*allocate)(SInt32 unitSize, SInt32 unitCount, SInt32* grantedUnits, Ptr* address);
  OSErr (*dispose)(Ptr address);
};

// The allocator the band mover uses; the plain one until the plug-in hands
// over its own. Null restores the plain one.
void UseScratchAllocator(const ScratchAllocator* allocator);

// Moves the box area between the file and tile. A box reaching outside the
// image is refused with 499 before anything moves; an empty box moves
// nothing. Only the box's columns of each block row are read or written,
// joined into one call where they touch (a box as wide as its block moves a
// run of rows at once; a read also takes along a gap under a page between
// them). A write reads nothing unless the box leaves some of
// a pixel's bytes out (planes outside the box, padding); those are read and
// written back as they were. Every other byte of the file is left alone; a
// write that fails part way leaves each byte of the box either as it was or
// as written.
OSErr MoveBox(SInt16 refNum, const BlockGeometry& geometry, const Tile& tile, const TileArea& area,
              Boolean write);
