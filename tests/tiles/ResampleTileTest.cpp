#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "tiles/ResampleTile.h"
#include "tiles/TileTestSupport.h"

namespace tessel::test {
namespace {

// round(index * source / destination), the quotient truncated to 16.16,
// halves upward, held to the box's last sample.
SInt32 referenceIndex(SInt32 index, SInt32 sourceSize, SInt32 destinationSize) {
  const std::int64_t step = (std::int64_t(sourceSize) << 16) / destinationSize;
  return SInt32(std::min<std::int64_t>((index * step + 32768) >> 16, sourceSize - 1));
}

void referenceResample(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                       const TileArea& destinationArea) {
  if (sourceArea.endPlane - sourceArea.firstPlane !=
      destinationArea.endPlane - destinationArea.firstPlane) {
    return;
  }
  const SInt32 height = destinationArea.bottom - destinationArea.top;
  const SInt32 width = destinationArea.right - destinationArea.left;
  for (SInt32 p = sourceArea.firstPlane; p < sourceArea.endPlane; ++p) {
    for (SInt32 y = 0; y < height; ++y) {
      for (SInt32 x = 0; x < width; ++x) {
        const SInt32 sy = referenceIndex(y, sourceArea.bottom - sourceArea.top, height);
        const SInt32 sx = referenceIndex(x, sourceArea.right - sourceArea.left, width);
        *referenceAddress(destination, destinationArea.top + y, destinationArea.left + x, p) =
            *referenceAddress(source, sourceArea.top + sy, sourceArea.left + sx, p);
      }
    }
  }
}

// The source columns that a one-row resample to width columns reads: the
// three planes of the source spell each column's number, a byte each.
std::vector<SInt32> columnsPicked(SInt32 sourceLeft, SInt32 sourceRight, SInt32 width) {
  std::vector<UInt8> row(std::size_t(3) * std::size_t(sourceRight));
  for (SInt32 c = 0; c < sourceRight; ++c)
    for (SInt32 p = 0; p < 3; ++p) row[std::size_t(p * sourceRight + c)] = UInt8(c >> (8 * p));
  std::vector<UInt8> pixels(std::size_t(3 * width));
  const Tile source = {row.data(), {0, 0, 1, sourceRight, 0, 3}, sourceRight, 1, sourceRight};
  const Tile destination = {pixels.data(), {0, 0, 1, width, 0, 3}, 3 * width, 3, 0};
  ResampleTile(source, {0, sourceLeft, 1, sourceRight, 0, 3}, destination, {0, 0, 1, width, 0, 3});
  std::vector<SInt32> picked;
  for (std::size_t x = 0; x < std::size_t(width); ++x)
    picked.push_back(pixels[3 * x] | pixels[3 * x + 1] << 8 | pixels[3 * x + 2] << 16);
  return picked;
}

}  // namespace

TEST(ResampleTile, MatchesNearestNeighbourReferenceForEveryLayoutPair) {
  std::mt19937 rng(31337);
  for (const bool sourcePlanar : {true, false}) {
    for (const bool destinationPlanar : {true, false}) {
      for (int trial = 0; trial < 1500; ++trial) {
        const SInt32 sourceRows = pick(rng, 1, 4), sourceColumns = std::max(1, pickColumns(rng));
        const SInt32 rows = pick(rng, -1, 9);
        const SInt32 columns = pick(rng, 0, 9) == 0 ? pick(rng, -1, 0) : pickColumns(rng);
        const SInt32 first = pick(rng, 0, 2), end = first + pick(rng, 1, 4);
        PlacedTile from = makeTileAround(rng, sourcePlanar, sourceRows, sourceColumns, first, end);
        PlacedTile to = makeTileAround(rng, destinationPlanar, rows, columns, first, end);
        const TileArea sourceArea = {
            from.boxTop, from.boxLeft, from.boxTop + sourceRows, from.boxLeft + sourceColumns,
            first,       end};
        const TileArea destinationArea = {to.boxTop,
                                          to.boxLeft,
                                          to.boxTop + rows,
                                          to.boxLeft + columns,
                                          first,
                                          end + (pick(rng, 0, 9) == 0 ? 1 : 0)};

        const TileBuffer sourceBefore = from.buffer;
        TileBuffer expected = to.buffer;
        referenceResample(from.buffer.tile, sourceArea, expected.tile, destinationArea);
        ResampleTile(from.buffer.tile, sourceArea, to.buffer.tile, destinationArea);
        ASSERT_TRUE(sameBytes(to.buffer.memory, expected.memory))
            << (sourcePlanar ? "planar" : "chunky") << " to "
            << (destinationPlanar ? "planar" : "chunky") << ", " << sourceRows << " x "
            << sourceColumns << " to " << rows << " x " << columns << ", planes " << first << ".."
            << end << ", trial " << trial;
        ASSERT_TRUE(sameBytes(from.buffer.memory, sourceBefore.memory)) << "source changed";
      }
    }
  }
}

TEST(ResampleTile, PicksColumnsRoundedToNearestFromTheBoxStart) {
  const std::vector<SInt32> byTen = columnsPicked(0, 1000, 100);
  const std::vector<SInt32> byTenFrom200 = columnsPicked(200, 1200, 100);
  for (std::size_t x = 0; x < 100; ++x) {
    EXPECT_EQ(byTen[x], SInt32(10 * x));
    EXPECT_EQ(byTenFrom200[x], SInt32(200 + 10 * x));
  }
  const std::vector<SInt32> toThreeHundred = columnsPicked(0, 1000, 300);
  EXPECT_EQ(toThreeHundred[1], 3);  // 3.33 rounds down
  EXPECT_EQ(toThreeHundred[2], 7);  // 6.67 rounds up
  EXPECT_EQ(toThreeHundred[299], 997);
  EXPECT_EQ(columnsPicked(0, 5, 9), (std::vector<SInt32>{0, 1, 1, 2, 2, 3, 3, 4, 4}));
}

// Rows and columns of images past 16 bits: the ratio is exact, and the
// coordinates reach the rows and columns they name.
TEST(ResampleTile, BoxesPastSixteenBitsTakeTheExactRatio) {
  const std::vector<SInt32> picked = columnsPicked(40000, 140000, 256);
  for (SInt32 x = 0; x < 256; ++x)
    EXPECT_EQ(picked[std::size_t(x)], 40000 + (2 * x * 100000 + 256) / 512) << x;

  std::vector<UInt8> column(10);
  for (std::size_t r = 0; r < column.size(); ++r) column[r] = UInt8(r + 1);
  std::vector<UInt8> pixels(5, 0);
  const Tile source = {column.data(), {99990, 70000, 100000, 70001, 0, 1}, 1, 1, 10};
  const Tile destination = {pixels.data(), {0, 0, 5, 1, 0, 1}, 1, 1, 5};
  ResampleTile(source, source.area, destination, destination.area);
  EXPECT_EQ(pixels, (std::vector<UInt8>{1, 3, 5, 7, 9}));
}

TEST(ResampleTile, EnlargingOneToThreeReadsOnlyTheBoxSample) {
  // The box is the middle sample of a 3 x 3 tile; rounding would reach the
  // samples below and to the right of it.
  std::vector<UInt8> samples = {1, 2, 3, 4, 50, 6, 7, 8, 9};
  std::vector<UInt8> pixels(9, 0);
  const Tile source = {samples.data(), {0, 0, 3, 3, 0, 1}, 3, 1, 9};
  const Tile destination = {pixels.data(), {0, 0, 3, 3, 0, 1}, 3, 1, 9};
  ResampleTile(source, {1, 1, 2, 2, 0, 1}, destination, {0, 0, 3, 3, 0, 1});
  EXPECT_EQ(pixels, std::vector<UInt8>(9, 50));
}

}  // namespace tessel::test
