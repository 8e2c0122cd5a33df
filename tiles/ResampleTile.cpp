#include "tiles/ResampleTile.h"

#include <algorithm>

#include "FixMath.h"

namespace {

enum class Layout { planar, chunky };

// How destination indices of one direction map onto the source box.
struct Axis {
  SInt16 first;  // the box's top or left, as a 16-bit coordinate
  SInt32 last;   // index of the box's last row or column
  Fixed step;    // source samples per destination sample
};

}  // namespace

static Axis axisOf(SInt32 sourceStart, SInt32 sourceEnd, SInt32 destinationStart,
                   SInt32 destinationEnd) {
  const SInt16 sourceSize = SInt16(sourceEnd - sourceStart);
  const SInt16 destinationSize = SInt16(destinationEnd - destinationStart);
  return {SInt16(sourceStart), sourceSize - 1, FixRatio(sourceSize, destinationSize)};
}

// The source coordinate for a destination position (index times step, in
// 16.16): rounded to nearest, halves upward. Enlarging by two or more rounds
// the last positions one sample past the box (1 -> 3 asks for index 1 at the
// third sample); those read the box's last sample, so every read stays inside
// the memory the caller described.
static inline SInt16 sourceCoordinate(const Axis& axis, Fixed position) {
  const SInt32 index = std::min((position + 32768) >> 16, axis.last);
  return SInt16(index + axis.first);
}

template <Layout SourceLayout, Layout DestinationLayout>
static void resamplePlane(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                          const TileArea& destinationArea, SInt16 plane) {
  const Axis rows =
      axisOf(sourceArea.top, sourceArea.bottom, destinationArea.top, destinationArea.bottom);
  const Axis columns =
      axisOf(sourceArea.left, sourceArea.right, destinationArea.left, destinationArea.right);
  const SInt16 height = SInt16(destinationArea.bottom - destinationArea.top);
  const SInt16 width = SInt16(destinationArea.right - destinationArea.left);
  if (height <= 0) return;

  const SInt32 sourceStep = SourceLayout == Layout::planar ? 1 : source.colBytes;
  const SInt32 destinationStep = DestinationLayout == Layout::planar ? 1 : destination.colBytes;
  UInt8* rowStart =
      TileSampleAddress(destination, destinationArea.top, destinationArea.left, plane);
  for (SInt16 y = 0; y < height; ++y, rowStart += destination.rowBytes) {
    // FixMul of an integer in 16.16 and the step is their exact product.
    const SInt16 sy = sourceCoordinate(rows, FixMul(SInt32(y) << 16, rows.step));
    const UInt8* sourceRow = TileSampleAddress(source, sy, source.area.left, plane);
    UInt8* target = rowStart;
    // x times the step, accumulated: the same product without a call per sample.
    Fixed position = 0;
    for (SInt16 x = 0; x < width; ++x, position += columns.step, target += destinationStep) {
      const SInt16 sx = sourceCoordinate(columns, position);
      *target = sourceRow[(sx - source.area.left) * sourceStep];
    }
  }
}

// The workers, one per pair of layouts; each resamples one plane.
using Worker = void(const Tile&, const TileArea&, const Tile&, const TileArea&, SInt16);
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
  for (SInt16 p = SInt16(sourceArea.firstPlane); p < sourceArea.endPlane; ++p) {
    worker(source, sourceArea, destination, destinationArea, p);
  }
}
