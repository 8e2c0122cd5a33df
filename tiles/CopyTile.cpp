#include "tiles/CopyTile.h"

#include <array>
#include <cstdint>
#include <cstring>

// Whole images pass through here a band at a time, so these are the
// plug-in's hottest loops. Every result is byte for byte that of moving one
// sample at a time in plane, row and column order (boxes that may overlap go
// through memmove, as if through a buffer); only the order and width of the
// moves differ:
//  - the layout conversions go rows outer, planes inner, so that every plane
//    of a row is moved while that row is in cache;
//  - the common pixel shapes (3 or 4 planes filling the pixel) get row loops
//    written as fixed-size blocks plus a tail: GCC's vectoriser at -O2 only
//    takes loops that need no scalar epilogue, and turns these blocks into
//    byte shuffles;
//  - the box loops that hold them are built twice, for AVX2 (whose byte
//    shuffles handle 3-byte pixels) and for plain x86-64, and the loader
//    picks one for the machine. Clang cannot clone templates, so its builds
//    (the fuzz targets) keep one plain version.
#if defined(__x86_64__) && !defined(__clang__)
#define HOT_LOOP_CLONES [[gnu::target_clones("avx2", "default")]]
#else
#define HOT_LOOP_CLONES
#endif

namespace {

// The address rule works in 32 bits; unsigned arithmetic keeps its wrapping
// well defined.
constexpr SInt32 wrapSubtract(SInt32 a, SInt32 b) { return SInt32(UInt32(a) - UInt32(b)); }
constexpr SInt32 wrapMultiply(SInt32 a, SInt32 b) { return SInt32(UInt32(a) * UInt32(b)); }

constexpr bool isPlanar(const Tile& tile) { return tile.colBytes == 1; }

// One side of a box being moved: where its first sample lies and how far
// apart its rows, columns and planes are.
struct BoxSide {
  UInt8* start;
  SInt32 rowStep;
  SInt32 columnStep;
  SInt32 planeStep;
};

struct BoxSize {
  SInt32 rows;
  SInt32 columns;
  SInt32 planes;
};

struct BoxMove {
  BoxSide from;
  BoxSide to;
  BoxSize size;
};

// Pixels per block of the vectorised row loops: 32 one-byte samples fill an
// AVX2 register.
constexpr SInt32 kBlock = 32;

}  // namespace

UInt8* TileSampleAddress(const Tile& tile, SInt32 row, SInt32 column, SInt32 plane) {
  const SInt64 rowTerm = (SInt64(row) - tile.area.top) * tile.rowBytes;
  const SInt64 columnDelta = SInt64(column) - tile.area.left;
  const SInt64 planeDelta = SInt64(plane) - tile.area.firstPlane;
  const SInt64 offset = isPlanar(tile) ? planeDelta * tile.planeBytes + rowTerm + columnDelta
                                       : rowTerm + columnDelta * tile.colBytes + planeDelta;
  return tile.data + offset;
}

// The plane loops count with a signed 16-bit number that starts at the low
// 16 bits of firstPlane and is compared with the 32-bit endPlane. Plane
// numbers stay within 0..32767, so this is the number of planes it visits.
static SInt16 firstPlaneOf(const TileArea& area) { return SInt16(area.firstPlane); }

static BoxSize boxSizeOf(const TileArea& area) {
  const SInt32 first = firstPlaneOf(area);
  return {wrapSubtract(area.bottom, area.top), wrapSubtract(area.right, area.left),
          area.endPlane > first ? wrapSubtract(area.endPlane, first) : 0};
}

static bool isEmpty(const BoxSize& size) {
  return size.rows <= 0 || size.columns <= 0 || size.planes <= 0;
}

static BoxSide boxSideOf(const Tile& tile, SInt32 top, SInt32 left, SInt32 plane) {
  return {TileSampleAddress(tile, top, left, plane), tile.rowBytes, tile.colBytes,
          isPlanar(tile) ? tile.planeBytes : 1};
}

// Every plane of sourceArea, from its first plane on both sides.
static BoxMove boxMoveOf(const Tile& source, const TileArea& sourceArea, const Tile& destination,
                         const TileArea& destinationArea) {
  const SInt16 plane = firstPlaneOf(sourceArea);
  return {boxSideOf(source, sourceArea.top, sourceArea.left, plane),
          boxSideOf(destination, destinationArea.top, destinationArea.left, plane),
          boxSizeOf(sourceArea)};
}

// ---- Row loops. Callers guarantee that the two sides do not overlap, which
// is what the __restrict qualifiers tell the compiler. The helpers they
// inline take plain pointers: restrict on those would only hold per call.

// The planes of a planar row, each on its own pointer so that the compiler
// knows no two of them overlap. A three-plane row repeats its last plane.
template <class Sample>
struct PlaneRows {
  Sample* plane0;
  Sample* plane1;
  Sample* plane2;
  Sample* plane3;
};

template <SInt32 Planes, class Sample>
static PlaneRows<Sample> planeRowsAt(Sample* row, SInt32 planeStep) {
  Sample* plane2 = row + wrapMultiply(2, planeStep);
  return {row, row + planeStep, plane2, Planes == 4 ? row + wrapMultiply(3, planeStep) : plane2};
}

template <SInt32 Planes>
static inline void movePixel(const UInt8* from, UInt8* to) {
  static_assert(Planes >= 2 && Planes <= 4);
  to[0] = from[0];
  to[1] = from[1];
  if constexpr (Planes >= 3) to[2] = from[2];
  if constexpr (Planes == 4) to[3] = from[3];
}

// Planar samples into pixels of exactly Planes bytes.
template <SInt32 Planes>
static inline void interleaveRow(const UInt8* __restrict plane0, const UInt8* __restrict plane1,
                                 const UInt8* __restrict plane2, const UInt8* __restrict plane3,
                                 UInt8* __restrict pixels, SInt32 columns) {
  static_assert(Planes == 3 || Planes == 4);
  SInt32 c = 0;
  for (; c + kBlock <= columns; c += kBlock, pixels += Planes * kBlock) {
    for (SInt32 i = 0; i < kBlock; ++i) {
      pixels[Planes * i] = plane0[c + i];
      pixels[Planes * i + 1] = plane1[c + i];
      pixels[Planes * i + 2] = plane2[c + i];
      if constexpr (Planes == 4) pixels[Planes * i + 3] = plane3[c + i];
    }
  }
  for (; c < columns; ++c, pixels += Planes) {
    pixels[0] = plane0[c];
    pixels[1] = plane1[c];
    pixels[2] = plane2[c];
    if constexpr (Planes == 4) pixels[3] = plane3[c];
  }
}

// Pixels of exactly Planes bytes into planar samples.
template <SInt32 Planes>
static inline void deinterleaveRow(const UInt8* __restrict pixels, UInt8* __restrict plane0,
                                   UInt8* __restrict plane1, UInt8* __restrict plane2,
                                   UInt8* __restrict plane3, SInt32 columns) {
  static_assert(Planes == 3 || Planes == 4);
  SInt32 c = 0;
  for (; c + kBlock <= columns; c += kBlock, pixels += Planes * kBlock) {
    for (SInt32 i = 0; i < kBlock; ++i) {
      plane0[c + i] = pixels[Planes * i];
      plane1[c + i] = pixels[Planes * i + 1];
      plane2[c + i] = pixels[Planes * i + 2];
      if constexpr (Planes == 4) plane3[c + i] = pixels[Planes * i + 3];
    }
  }
  for (; c < columns; ++c, pixels += Planes) {
    plane0[c] = pixels[0];
    plane1[c] = pixels[1];
    plane2[c] = pixels[2];
    if constexpr (Planes == 4) plane3[c] = pixels[3];
  }
}

// Pixels with one byte more than Planes into pixels of exactly Planes bytes:
// an alpha or spare byte dropped. The vectoriser's cost model turns this
// shape down, so it is written with explicit 16-byte shuffles: each output
// vector draws its bytes from two neighbouring input vectors, as DropTable
// records.
using ByteVector = UInt8 __attribute__((vector_size(16)));
constexpr SInt32 kVectorBytes = 16;

template <SInt32 Planes>
struct DropTable {
  std::array<SInt32, Planes> firstInput{};
  std::array<std::array<UInt8, kVectorBytes>, Planes> picks{};
};

template <SInt32 Planes>
constexpr DropTable<Planes> makeDropTable() {
  DropTable<Planes> table;
  for (SInt32 j = 0; j < Planes; ++j) {
    const SInt32 firstOutput = kVectorBytes * j;
    table.firstInput[j] =
        (firstOutput / Planes * (Planes + 1) + firstOutput % Planes) / kVectorBytes;
    for (SInt32 i = 0; i < kVectorBytes; ++i) {
      const SInt32 output = firstOutput + i;
      const SInt32 input = output / Planes * (Planes + 1) + output % Planes;
      table.picks[j][i] = UInt8(input - kVectorBytes * table.firstInput[j]);
    }
  }
  return table;
}

template <SInt32 Planes>
static inline void dropSpareByteRow(const UInt8* __restrict from, UInt8* __restrict to,
                                    SInt32 columns) {
  static constexpr DropTable<Planes> kTable = makeDropTable<Planes>();
  // kVectorBytes pixels make Planes + 1 input vectors and Planes output vectors.
  SInt32 c = 0;
  for (; c + kVectorBytes <= columns;
       c += kVectorBytes, from += kVectorBytes * (Planes + 1), to += kVectorBytes * Planes) {
    ByteVector input[Planes + 1];
#pragma GCC unroll 5
    for (SInt32 k = 0; k <= Planes; ++k) {
      std::memcpy(&input[k], from + kVectorBytes * k, kVectorBytes);
    }
    // Unrolled, so that every shuffle has constant picks.
#pragma GCC unroll 4
    for (SInt32 j = 0; j < Planes; ++j) {
      ByteVector picks;
      std::memcpy(&picks, kTable.picks[j].data(), kVectorBytes);
      const SInt32 first = kTable.firstInput[j];
      const ByteVector output = __builtin_shuffle(input[first], input[first + 1], picks);
      std::memcpy(to + kVectorBytes * j, &output, kVectorBytes);
    }
  }
  for (; c < columns; ++c, from += Planes + 1, to += Planes) movePixel<Planes>(from, to);
}

// Pixels of Planes bytes between any two chunky steps.
template <SInt32 Planes>
static inline void movePixelsRow(const UInt8* __restrict from, SInt32 sourceStep,
                                 UInt8* __restrict to, SInt32 destinationStep, SInt32 columns) {
  for (SInt32 c = 0; c < columns; ++c, from += sourceStep, to += destinationStep) {
    movePixel<Planes>(from, to);
  }
}

// Any shape: each plane of the row with its own column steps.
static inline void moveSamplesRow(const UInt8* from, const BoxSide& source, UInt8* to,
                                  const BoxSide& destination, const BoxSize& size) {
  for (SInt32 k = 0; k < size.planes; ++k) {
    const UInt8* sample = from + wrapMultiply(k, source.planeStep);
    UInt8* target = to + wrapMultiply(k, destination.planeStep);
    for (SInt32 c = 0; c < size.columns; ++c) {
      *target = *sample;
      sample += source.columnStep;
      target += destination.columnStep;
    }
  }
}

// ---- Box loops: one per row shape, so the shape is chosen once per box.

template <class MoveRow>
static inline void forEachRow(const BoxMove& move, MoveRow moveRow) {
  const UInt8* from = move.from.start;
  UInt8* to = move.to.start;
  for (SInt32 r = 0; r < move.size.rows; ++r, from += move.from.rowStep, to += move.to.rowStep) {
    moveRow(from, to);
  }
}

template <SInt32 Planes>
HOT_LOOP_CLONES static void interleaveBox(const BoxMove& move) {
  forEachRow(move, [&move](const UInt8* from, UInt8* to) {
    const auto planes = planeRowsAt<Planes>(from, move.from.planeStep);
    interleaveRow<Planes>(planes.plane0, planes.plane1, planes.plane2, planes.plane3, to,
                          move.size.columns);
  });
}

template <SInt32 Planes>
HOT_LOOP_CLONES static void deinterleaveBox(const BoxMove& move) {
  forEachRow(move, [&move](const UInt8* from, UInt8* to) {
    const auto planes = planeRowsAt<Planes>(to, move.to.planeStep);
    deinterleaveRow<Planes>(from, planes.plane0, planes.plane1, planes.plane2, planes.plane3,
                            move.size.columns);
  });
}

template <SInt32 Planes>
HOT_LOOP_CLONES static void dropSpareByteBox(const BoxMove& move) {
  forEachRow(move, [&move](const UInt8* from, UInt8* to) {
    dropSpareByteRow<Planes>(from, to, move.size.columns);
  });
}

template <SInt32 Planes>
static void movePixelsBox(const BoxMove& move) {
  forEachRow(move, [&move](const UInt8* from, UInt8* to) {
    movePixelsRow<Planes>(from, move.from.columnStep, to, move.to.columnStep, move.size.columns);
  });
}

static void moveSamplesBox(const BoxMove& move) {
  forEachRow(move, [&move](const UInt8* from, UInt8* to) {
    moveSamplesRow(from, move.from, to, move.to, move.size);
  });
}

// Rows of rowLength bytes that are one run on both sides, moved as if through
// a buffer one row after the other. Rows that also follow one another
// without a gap on both sides are moved as one block, which lets memmove use
// its large-copy strategy; that is done only when the two blocks do not
// overlap, where the row order could change the result.
static void moveRows(const UInt8* from, SInt32 sourceRowBytes, UInt8* to,
                     SInt32 destinationRowBytes, SInt32 rows, SInt32 rowLength) {
  const std::size_t length = std::size_t(rowLength);
  if (sourceRowBytes == rowLength && destinationRowBytes == rowLength) {
    const std::size_t total = std::size_t(rows) * length;
    const auto start = reinterpret_cast<std::uintptr_t>(from);
    const auto target = reinterpret_cast<std::uintptr_t>(to);
    if (start + total <= target || target + total <= start) {
      std::memmove(to, from, total);
      return;
    }
  }
  for (SInt32 r = 0; r < rows; ++r, from += sourceRowBytes, to += destinationRowBytes) {
    std::memmove(to, from, length);
  }
}

// ---- The workers of CopyTile.

static void copyPlanarToPlanar(const Tile& source, const TileArea& sourceArea,
                               const Tile& destination, const TileArea& destinationArea,
                               SInt16 plane) {
  const BoxSize size = boxSizeOf(sourceArea);
  if (size.rows <= 0 || size.columns <= 0) return;
  moveRows(TileSampleAddress(source, sourceArea.top, sourceArea.left, plane), source.rowBytes,
           TileSampleAddress(destination, destinationArea.top, destinationArea.left, plane),
           destination.rowBytes, size.rows, size.columns);
}

// The three conversions move every plane of sourceArea, a row at a time.

static void copyPlanarToChunky(const Tile& source, const TileArea& sourceArea,
                               const Tile& destination, const TileArea& destinationArea) {
  const BoxMove move = boxMoveOf(source, sourceArea, destination, destinationArea);
  if (isEmpty(move.size)) return;
  if (move.size.planes == 3 && move.to.columnStep == 3) {
    interleaveBox<3>(move);
  } else if (move.size.planes == 4 && move.to.columnStep == 4) {
    interleaveBox<4>(move);
  } else {
    moveSamplesBox(move);
  }
}

static void copyChunkyToPlanar(const Tile& source, const TileArea& sourceArea,
                               const Tile& destination, const TileArea& destinationArea) {
  const BoxMove move = boxMoveOf(source, sourceArea, destination, destinationArea);
  if (isEmpty(move.size)) return;
  if (move.size.planes == 3 && move.from.columnStep == 3) {
    deinterleaveBox<3>(move);
  } else if (move.size.planes == 4 && move.from.columnStep == 4) {
    deinterleaveBox<4>(move);
  } else {
    moveSamplesBox(move);
  }
}

static void copyChunkyToChunky(const Tile& source, const TileArea& sourceArea,
                               const Tile& destination, const TileArea& destinationArea) {
  const BoxMove move = boxMoveOf(source, sourceArea, destination, destinationArea);
  if (isEmpty(move.size)) return;
  const SInt32 planes = move.size.planes;
  // A spare byte dropped from every pixel is the common case: an alpha
  // channel left out on reading.
  if (planes == 3 && move.to.columnStep == 3 && move.from.columnStep == 4) {
    dropSpareByteBox<3>(move);
  } else if (planes == 4 && move.to.columnStep == 4 && move.from.columnStep == 5) {
    dropSpareByteBox<4>(move);
  } else if (planes == 3) {
    movePixelsBox<3>(move);
  } else if (planes == 4) {
    movePixelsBox<4>(move);
  } else if (planes == 2) {
    movePixelsBox<2>(move);
  } else {
    moveSamplesBox(move);
  }
}

static void copyChunkyToChunkyIdentical(const Tile& source, const TileArea& sourceArea,
                                        const Tile& destination, const TileArea& destinationArea) {
  const BoxSize size = boxSizeOf(sourceArea);
  if (size.rows <= 0 || size.columns <= 0) return;
  // Whole pixels from their first byte: the plane term is zero on both sides.
  moveRows(TileSampleAddress(source, sourceArea.top, sourceArea.left, source.area.firstPlane),
           source.rowBytes,
           TileSampleAddress(destination, destinationArea.top, destinationArea.left,
                             destination.area.firstPlane),
           destination.rowBytes, size.rows, wrapMultiply(size.columns, source.colBytes));
}

void CopyTile(const Tile& source, const TileArea& sourceArea, const Tile& destination,
              const TileArea& destinationArea) {
  const SInt32 planes = wrapSubtract(sourceArea.endPlane, sourceArea.firstPlane);
  if (planes != wrapSubtract(destinationArea.endPlane, destinationArea.firstPlane)) return;

  if (isPlanar(source)) {
    if (isPlanar(destination)) {
      for (SInt16 p = firstPlaneOf(sourceArea); p < sourceArea.endPlane; ++p) {
        copyPlanarToPlanar(source, sourceArea, destination, destinationArea, p);
      }
    } else {
      copyPlanarToChunky(source, sourceArea, destination, destinationArea);
    }
  } else if (isPlanar(destination)) {
    copyChunkyToPlanar(source, sourceArea, destination, destinationArea);
  } else if (source.colBytes == destination.colBytes && planes == destination.colBytes) {
    copyChunkyToChunkyIdentical(source, sourceArea, destination, destinationArea);
  } else {
    copyChunkyToChunky(source, sourceArea, destination, destinationArea);
  }
}

// ---- In-place sample changes. Both are an exclusive or with a fixed mask:
// 255 - x flips every bit, and adding 128 modulo 256 flips the top bit.

static inline void flipRun(UInt8* __restrict run, SInt32 count, UInt8 mask) {
  SInt32 i = 0;
  for (; i + kBlock <= count; i += kBlock) {
    for (SInt32 k = 0; k < kBlock; ++k) run[i + k] = UInt8(run[i + k] ^ mask);
  }
  for (; i < count; ++i) run[i] = UInt8(run[i] ^ mask);
}

static void flipSamples(const Tile& tile, const TileArea& area, UInt8 mask) {
  const BoxSize size = boxSizeOf(area);
  if (isEmpty(size)) return;
  const BoxSide box = boxSideOf(tile, area.top, area.left, firstPlaneOf(area));
  // Each row of a plane, or each row of whole pixels, is one run of bytes.
  if (isPlanar(tile) || size.planes == tile.colBytes) {
    const SInt32 planeRuns = isPlanar(tile) ? size.planes : 1;
    const SInt32 runLength =
        isPlanar(tile) ? size.columns : wrapMultiply(size.columns, tile.colBytes);
    for (SInt32 k = 0; k < planeRuns; ++k) {
      UInt8* row = box.start + wrapMultiply(k, box.planeStep);
      for (SInt32 r = 0; r < size.rows; ++r, row += box.rowStep) flipRun(row, runLength, mask);
    }
    return;
  }
  UInt8* row = box.start;
  for (SInt32 r = 0; r < size.rows; ++r, row += box.rowStep) {
    for (SInt32 k = 0; k < size.planes; ++k) {
      UInt8* sample = row + k;
      for (SInt32 c = 0; c < size.columns; ++c, sample += box.columnStep) {
        *sample = UInt8(*sample ^ mask);
      }
    }
  }
}

void InvertTile(const Tile& tile, const TileArea& area) { flipSamples(tile, area, 0xFF); }

void ToggleSignTile(const Tile& tile, const TileArea& area) { flipSamples(tile, area, 0x80); }
