// Nearest-neighbour scaling of a box of 8-bit samples into a box of another
// size, converting between planar and chunky layout on the way. The image
// preview scales file rows into its pixel buffers with it.
#pragma once

#include "tiles/CopyTile.h"

// Overwrites every sample of the box destinationArea of destination with a
// sample of the box sourceArea of source; plane p goes to plane p. Sample
// (y, x) of the destination box takes source sample
//   (sourceArea.top + round(y * sourceHeight / destinationHeight),
//    sourceArea.left + round(x * sourceWidth / destinationWidth)),
// the quotient a 16.16 FixRatio and halves rounded upward, so the first row and
// column always take the box's first sample. Where enlarging by two or more
// would round past the box's last row or column, that last one is read
// instead. Nothing is written when the two areas differ in their number of
// planes or the destination box is empty.
//
// A direction whose box sizes or source coordinates pass 32767 (rows and
// columns of images past 16 bits) takes the exact ratio of the two sizes in
// 64-bit arithmetic instead of the 16.16 one, rounded the same way. The
// caller guarantees that the source box is not empty and lies inside
// source.area, that the destination box lies inside destination.area, that
// the planes of sourceArea lie inside both tiles' plane ranges, and that the
// two boxes do not overlap in memory.
void ResampleTile(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                  const TileArea& destinationArea);
