// The tile engine's vocabulary: where a box of 8-bit samples lies in memory,
// and the moves between the two layouts that occur, planar (each plane a
// separate run of rows) and chunky (the samples of one pixel side by side).
//
// Address of the sample at row r, column c, plane p of a Tile t, computed in
// 64-bit arithmetic, so that a tile may span more than 2 GB:
//   planar (colBytes 1): data + (p - area.firstPlane) * planeBytes
//                             + (r - area.top) * rowBytes + (c - area.left)
//   chunky (otherwise):  data + (r - area.top) * rowBytes
//                             + (c - area.left) * colBytes + (p - area.firstPlane)
//
// A Tile never owns the memory it describes, and nothing here allocates,
// frees, checks bounds or changes the Tiles and TileAreas it is given.
#pragma once

#include "MacTypes.h"

// A box of samples; ends are exclusive, and a box whose end is not greater
// than its start is empty in that direction.
struct TileArea {
  SInt32 top;
  SInt32 left;
  SInt32 bottom;
  SInt32 right;
  SInt32 firstPlane;
  SInt32 endPlane;
};

// Memory holding the box area. data addresses the sample at (area.top,
// area.left, area.firstPlane). colBytes 1 means planar layout; planeBytes is
// used only there (callers set it to 0 for chunky tiles). A chunky colBytes
// may exceed the number of planes: the extra bytes of a pixel belong to no
// plane and are never touched.
struct Tile {
  UInt8* data;
  TileArea area;
  SInt32 rowBytes;
  SInt32 colBytes;
  SInt32 planeBytes;
};

// The address of the sample at (row, column, plane) of tile by the rule
// above. Nothing is checked: a sample outside the tile gives an address
// outside its memory.
UInt8* TileSampleAddress(const Tile& tile, SInt32 row, SInt32 column, SInt32 plane);

// Copies the box sourceArea of source into destination with its top-left
// sample at (destinationArea.top, destinationArea.left). Rows, columns and
// planes are counted from sourceArea, and plane p of the source lands in
// plane p of the destination. When the two areas differ in their number of
// planes nothing is copied; destinationArea's other fields play no part.
// An empty box copies nothing.
//
// Writes only the bytes of the destination box's samples; padding bytes of a
// pixel or a row keep their values. Where each row is one contiguous run on
// both sides (planar to planar, and whole pixels of equal colBytes) the rows
// move one after another from the top, each as if through a buffer, so such
// boxes may overlap; every other pair of boxes must not overlap in memory.
//
// The caller guarantees that sourceArea lies inside source.area, that the box
// of the same size at the destination position lies inside destination.area,
// and that the planes of sourceArea lie inside both tiles' plane ranges.
void CopyTile(const Tile& source, const TileArea& sourceArea, const Tile& destination,
              const TileArea& destinationArea);

// Replaces every sample x of the box area of tile by 255 - x. Applying it
// twice restores the data.
void InvertTile(const Tile& tile, const TileArea& area);

// Replaces every sample x of the box area of tile by (x + 128) modulo 256,
// turning two's-complement bytes into offset-binary ones and back. Applying it
// twice restores the data.
void ToggleSignTile(const Tile& tile, const TileArea& area);
