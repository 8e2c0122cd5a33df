#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <utility>
#include <vector>

#include "tiles/CopyTile.h"
#include "tiles/TileTestSupport.h"

namespace tessel::test {
namespace {

// CopyTile as its definition reads: plane by plane, row by row, sample by
// sample, every address from the rule. Each row goes through a buffer, which
// is what the block moves do where source and destination overlap.
void referenceCopy(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                   const TileArea& destinationArea) {
  if (sourceArea.endPlane - sourceArea.firstPlane !=
      destinationArea.endPlane - destinationArea.firstPlane) {
    return;
  }
  std::vector<UInt8> row(std::size_t(std::max(0, sourceArea.right - sourceArea.left)));
  for (SInt32 p = sourceArea.firstPlane; p < sourceArea.endPlane; ++p) {
    for (SInt32 r = 0; r < sourceArea.bottom - sourceArea.top; ++r) {
      for (std::size_t c = 0; c < row.size(); ++c) {
        row[c] = *referenceAddress(source, sourceArea.top + r, sourceArea.left + SInt32(c), p);
      }
      for (std::size_t c = 0; c < row.size(); ++c) {
        *referenceAddress(destination, destinationArea.top + r, destinationArea.left + SInt32(c),
                          p) = row[c];
      }
    }
  }
}

// Mostly real extents, now and then an empty or inverted one.
SInt32 pickExtent(std::mt19937& rng, SInt32 usual) {
  return pick(rng, 0, 9) == 0 ? pick(rng, -2, 0) : usual;
}

}  // namespace

TEST(CopyTile, MatchesSampleBySampleCopyForEveryLayoutPair) {
  std::mt19937 rng(20240611);
  for (const bool sourcePlanar : {true, false}) {
    for (const bool destinationPlanar : {true, false}) {
      for (int trial = 0; trial < 3000; ++trial) {
        const SInt32 rows = pickExtent(rng, pick(rng, 1, 4));
        const SInt32 columns = pickExtent(rng, pickColumns(rng));
        const SInt32 first = pick(rng, 0, 2);
        const SInt32 end = first + pickExtent(rng, pick(rng, 1, 5));
        const bool tight = pick(rng, 0, 7) == 0;  // rows without gaps on both sides
        PlacedTile from = makeTileAround(rng, sourcePlanar, rows, columns, first, end, tight);
        PlacedTile to = makeTileAround(rng, destinationPlanar, rows, columns, first, end, tight);
        const TileArea sourceArea = {
            from.boxTop, from.boxLeft, from.boxTop + rows, from.boxLeft + columns, first, end};
        // Beyond its top-left corner only the destination box's plane count
        // matters; the rest is noise that must play no part.
        const SInt32 shift = pick(rng, 0, 2) == 0 ? pick(rng, -1, 3) : 0;
        const SInt32 otherCount = pick(rng, 0, 7) == 0 ? pick(rng, -1, 1) : 0;
        const TileArea destinationArea = {to.boxTop,        to.boxLeft,
                                          pick(rng, -3, 9), pick(rng, -3, 40),
                                          first + shift,    end + shift + otherCount};

        const TileBuffer sourceBefore = from.buffer;
        TileBuffer expected = to.buffer;
        referenceCopy(from.buffer.tile, sourceArea, expected.tile, destinationArea);
        CopyTile(from.buffer.tile, sourceArea, to.buffer.tile, destinationArea);
        ASSERT_TRUE(sameBytes(to.buffer.memory, expected.memory))
            << (sourcePlanar ? "planar" : "chunky") << " to "
            << (destinationPlanar ? "planar" : "chunky") << ", box " << rows << " x " << columns
            << ", planes " << first << ".." << end << ", colBytes " << from.buffer.tile.colBytes
            << " to " << to.buffer.tile.colBytes << ", trial " << trial;
        ASSERT_TRUE(sameBytes(from.buffer.memory, sourceBefore.memory)) << "source changed";
      }
    }
  }
}

// A tile of a 100000-pixel-wide RGB image, ten thousand rows deep, spans
// 3 GB: its far samples lie past what 32-bit offsets reach, in either layout.
// Only the addresses are computed; nothing there is touched.
TEST(TileSampleAddress, ReachesPastTwoGigabytes) {
  UInt8 base = 0;
  const Tile chunky{&base, TileArea{100, 5, 10100, 100005, 0, 3}, 300000, 3, 0};
  const Tile planar{&base, TileArea{100, 5, 10100, 100005, 1, 3}, 100000, 1, 1000000000};
  const auto offset = [&](const Tile& t, SInt32 r, SInt32 c, SInt32 p) {
    return reinterpret_cast<std::uintptr_t>(TileSampleAddress(t, r, c, p)) -
           reinterpret_cast<std::uintptr_t>(&base);
  };
  EXPECT_EQ(offset(chunky, 10099, 100004, 2), 9999ULL * 300000 + 99999 * 3 + 2);
  EXPECT_EQ(offset(planar, 10099, 100004, 2), 1000000000ULL + 9999ULL * 100000 + 99999);
}

TEST(CopyTile, OverlappingRowsMoveOneAfterAnotherEachAsIfThroughABuffer) {
  // Within one tile whose rows follow each other without gaps: sideways by a
  // sample or pixel, and up or down by a row, where moving the rows one by one
  // from the top repeats the first row downwards.
  std::mt19937 rng(7);
  const std::pair<SInt32, SInt32> shifts[] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
  for (const bool planar : {true, false}) {
    for (const auto& [down, right] : shifts) {
      const SInt32 rows = 4, columns = pickColumns(rng) + 2;
      PlacedTile placed = makeTileAround(rng, planar, rows, columns, 0, planar ? 1 : 3, true);
      const SInt32 top = placed.boxTop + std::max(0, -down);
      const SInt32 left = placed.boxLeft + std::max(0, -right);
      const TileArea from = {
          top, left,          top + rows - std::abs(down), left + columns - std::abs(right),
          0,   planar ? 1 : 3};
      const TileArea to = {top + down, left + right, 0, 0, 0, planar ? 1 : 3};
      TileBuffer expected = placed.buffer;
      referenceCopy(expected.tile, from, expected.tile, to);
      CopyTile(placed.buffer.tile, from, placed.buffer.tile, to);
      EXPECT_TRUE(sameBytes(placed.buffer.memory, expected.memory))
          << (planar ? "planar" : "chunky") << " moved " << down << " down, " << right << " right";
    }
  }
}

TEST(CopyTile, InvertAndToggleSignChangeOnlyTheBoxSamples) {
  std::mt19937 rng(99);
  for (int trial = 0; trial < 2000; ++trial) {
    const bool planar = trial % 2 == 0;
    const SInt32 rows = pickExtent(rng, pick(rng, 1, 3));
    const SInt32 columns = pickExtent(rng, pickColumns(rng));
    const SInt32 first = pick(rng, 0, 2), end = first + pick(rng, 1, 5);
    PlacedTile placed = makeTileAround(rng, planar, rows, columns, first, end);
    const TileArea box = {
        placed.boxTop, placed.boxLeft, placed.boxTop + rows, placed.boxLeft + columns, first, end};
    const UInt8 mask = trial % 4 < 2 ? 0xFF : 0x80;
    TileBuffer expected = placed.buffer;
    for (SInt32 p = first; p < end; ++p) {
      for (SInt32 r = box.top; r < box.bottom; ++r) {
        for (SInt32 c = box.left; c < box.right; ++c)
          *referenceAddress(expected.tile, r, c, p) ^= mask;
      }
    }
    (mask == 0xFF ? InvertTile : ToggleSignTile)(placed.buffer.tile, box);
    ASSERT_TRUE(sameBytes(placed.buffer.memory, expected.memory))
        << (planar ? "planar" : "chunky") << ", colBytes " << placed.buffer.tile.colBytes
        << ", box " << rows << " x " << columns << ", planes " << first << ".." << end;
  }
}

}  // namespace tessel::test
