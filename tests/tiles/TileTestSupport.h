// Random tiles with guard bytes, and the address rule written out plainly,
// for checking the tile engine against sample-by-sample references.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "tiles/CopyTile.h"

namespace tessel::test {

inline SInt32 pick(std::mt19937& rng, SInt32 low, SInt32 high) {
  return std::uniform_int_distribution<SInt32>(low, high)(rng);
}

// Widths around the engine's 32-pixel blocks as often as small ones.
inline SInt32 pickColumns(std::mt19937& rng) {
  static constexpr SInt32 ranges[][2] = {{0, 5}, {29, 35}, {60, 68}, {90, 200}};
  const auto& range = ranges[pick(rng, 0, 3)];
  return pick(rng, range[0], range[1]);
}

// Memory and a tile over it; a copy gets its own memory.
struct TileBuffer {
  std::vector<UInt8> memory;
  Tile tile{};

  TileBuffer() = default;
  TileBuffer(const TileBuffer& other) : memory(other.memory), tile(other.tile) {
    tile.data = memory.data() + (other.tile.data - other.memory.data());
  }
  TileBuffer& operator=(const TileBuffer&) = delete;
};

struct PlacedTile {
  TileBuffer buffer;
  SInt32 boxTop;
  SInt32 boxLeft;
};

// A tile of random bytes, 48 guard bytes on each side, holding a box of rows
// x columns samples and planes firstPlane..endPlane at (boxTop, boxLeft). It
// has a non-zero origin; unless tight, also margins, extra planes, padded
// pixels and rows, planes interleaved by row, rows stored bottom up.
inline PlacedTile makeTileAround(std::mt19937& rng, bool planar, SInt32 rows, SInt32 columns,
                                 SInt32 firstPlane, SInt32 endPlane, bool tight = false) {
  const auto loose = [&](SInt32 high) { return tight ? 0 : pick(rng, 0, high); };
  const SInt32 above = loose(2), before = loose(3), rowPadding = loose(1) * loose(5);
  const SInt32 height = std::max(1, above + std::max(0, rows) + loose(2));
  const SInt32 width = std::max(1, before + std::max(0, columns) + loose(3));
  const SInt32 tileFirstPlane = std::max(0, firstPlane - loose(1) * loose(1));
  const SInt32 planes =
      std::max(endPlane, tileFirstPlane + 1) + loose(1) * loose(1) - tileFirstPlane;
  PlacedTile placed{};
  Tile& tile = placed.buffer.tile;
  tile.colBytes = planar ? 1 : std::max(2, planes + std::max(0, loose(3) - 1));
  SInt32 bodyBytes = 0;
  if (!planar) {
    tile.rowBytes = width * tile.colBytes + rowPadding;
    bodyBytes = height * tile.rowBytes;
  } else if (loose(3) == 1) {  // planes interleaved row by row
    tile.planeBytes = width + rowPadding;
    tile.rowBytes = planes * tile.planeBytes;
    bodyBytes = height * tile.rowBytes;
  } else {
    tile.rowBytes = width + rowPadding;
    tile.planeBytes = height * tile.rowBytes + loose(7);
    bodyBytes = planes * tile.planeBytes;
  }
  placed.buffer.memory.resize(std::size_t(bodyBytes + 2 * 48));
  for (UInt8& byte : placed.buffer.memory) byte = UInt8(rng());
  tile.data = placed.buffer.memory.data() + 48;
  if (loose(3) == 1) {  // rows bottom up
    tile.data += (height - 1) * tile.rowBytes;
    tile.rowBytes = -tile.rowBytes;
  }
  const SInt32 top = pick(rng, 1, 300), left = pick(rng, 1, 300);
  tile.area = {top, left, top + height, left + width, tileFirstPlane, tileFirstPlane + planes};
  placed.boxTop = top + above;
  placed.boxLeft = left + before;
  return placed;
}

inline UInt8* referenceAddress(const Tile& tile, SInt32 row, SInt32 column, SInt32 plane) {
  if (tile.colBytes == 1) {
    return tile.data + (plane - tile.area.firstPlane) * tile.planeBytes +
           (row - tile.area.top) * tile.rowBytes + (column - tile.area.left);
  }
  return tile.data + (row - tile.area.top) * tile.rowBytes +
         (column - tile.area.left) * tile.colBytes + (plane - tile.area.firstPlane);
}

inline testing::AssertionResult sameBytes(const std::vector<UInt8>& actual,
                                          const std::vector<UInt8>& expected) {
  const auto [a, e] = std::mismatch(actual.begin(), actual.end(), expected.begin());
  if (a == actual.end()) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "bytes differ from offset " << (a - actual.begin()) << ": "
                                     << int(*a) << " instead of " << int(*e);
}

}  // namespace tessel::test
