#include "tiles/ResampleTile.h"

#include <algorithm>

#include "FixMath.h"

namespace {

enum class Layout { planar, chunky };

// How destination indices of one direction map onto the source box.
struct Axis {
  SInt32 first;  // the box's top or left
  SInt32 last;   // index of the box's last row or column
  Fixed step;    // source samples per destination sample, when narrow
  bool wide;     // a size or coordinate past 16 bits: exact 64-bit ratios
  SInt64 sourceSize;
  SInt64 destinationSize;
};

}  // namespace

static bool fits16(SInt64 value) { return value >= 0 && value <= 32767; }

static Axis axisOf(SInt32 sourceStart, SInt32 sourceEnd, SInt32 destinationStart,
                   SInt32 destinationEnd) {
  const SInt64 sourceSize = SInt64(sourceEnd) - sourceStart;
  const SInt64 destinationSize = SInt64(destinationEnd) - destinationStart;
  const bool wide = !fits16(sourceStart) || !fits16(sourceEnd) || !fits16(destinationSize);
  const Fixed step = wide ? 0 : FixRatio(SInt16(sourceSize), SInt16(destinationSize));
  return {sourceStart, SInt32(sourceSize - 1), step, wide, sourceSize, destinationSize};
}

// The source coordinate for a destination position (index times step, in
// 16.16): rounded to nearest, halves upward. Enlarging by two or more rounds
// the last positions one sample past the box (1 -> 3 asks for index 1 at the
// third sample); those read the box's last sample, so every read stays inside
// the memory the caller described.
static inline SInt32 sourceCoordinate(const Axis& axis, Fixed position) {
  const SInt32 index = std::min((position + 32768) >> 16, axis.last);
  return index + axis.first;
}

// The same for an axis past 16 bits, whose ratio a 16.16 number cannot
// hold: index * sourceSize / destinationSize, rounded the same way.
static inline SInt32 wideCoordinate(const Axis& axis, SInt64 index) {
  const SInt64 twice = 2 * index * axis.sourceSize + axis.destinationSize;
  return SInt32(std::min<SInt64>(twice / (2 * axis.destinationSize), axis.last)) + axis.first;
}

template <Layout SourceLayout, Layout DestinationLayout>
static void resamplePlane(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                          const TileArea& destinationArea, SInt32 plane) {
  const Axis rows =
      axisOf(sourceArea.top, sourceArea.bottom, destinationArea.top, destinationArea.bottom);
  const Axis columns =
      axisOf(sourceArea.left, sourceArea.right, destinationArea.left, destinationArea.right);
  const SInt32 height = destinationArea.bottom - destinationArea.top;
  const SInt32 width = destinationArea.right - destinationArea.left;
  if (height <= 0) return;

  const SInt64 sourceStep = SourceLayout == Layout::planar ? 1 : source.colBytes;
  const SInt32 destinationStep = DestinationLayout == Layout::planar ? 1 : destination.colBytes;
  UInt8* rowStart =
      TileSampleAddress(destination, destinationArea.top, destinationArea.left, plane);
  for (SInt32 y = 0; y < height; ++y, rowStart += destination.rowBytes) {
    // FixMul of an integer in 16.16 and the step is their exact product.
    const SInt32 sy = rows.wide ? wideCoordinate(rows, y)
                                : sourceCoordinate(rows, FixMul(SInt32(y) << 16, rows.step));
    const UInt8* sourceRow = TileSampleAddress(source, sy, source.area.left, plane);
    UInt8* target = rowStart;
    // x times the step, accumulated: the same product without a call per sample.
    Fixed position = 0;
    for (SInt32 x = 0; x < width; ++x, position += columns.step, target += destinationStep) {
      const SInt32 sx =
          columns.wide ? wideCoordinate(columns, x) : sourceCoordinate(columns, position);
      *target = sourceRow[SInt64(sx - source.area.left) * sourceStep];
    }
  }
}

// The workers, one per pair of layouts; each resamples one plane.
using Worker = void(const Tile&, const TileArea&, const Tile&, const TileArea&, SInt32);
static constexpr Worker* resamplePlanarToPlanar = resamplePlane<Layout::planar, Layout::planar>;
static constexpr Worker* resamplePlanarToChunky = resamplePlane<Layout::planar, Layout::chunky>;
static constexpr Worker* resampleChunkyToPlanar = resamplePlane<Layout::chunky, Layout::planar>;
static constexpr Worker* resampleChunkyToChunky = resamplePlane<Layout::chunky, Layout::chunky>;

void ResampleTile(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                  const TileArea& destinationArea) {
  if (sourceArea.endPlane - sourceArea.firstPlane !=
      destinationArea.endPlane - destinationArea.firstPlane) {
    return;
  }
  const bool sourcePlanar = source.colBytes == 1;
  const bool destinationPlanar = destination.colBytes == 1;
  const auto worker = sourcePlanar
                          ? (destinationPlanar ? resamplePlanarToPlanar : resamplePlanarToChunky)
                          : (destinationPlanar ? resampleChunkyToPlanar : resampleChunkyToChunky);
  for (SInt32 p = sourceArea.firstPlane; p < sourceArea.endPlane; ++p) {
    worker(source, sourceArea, destination, destinationArea, p);
  }
}
