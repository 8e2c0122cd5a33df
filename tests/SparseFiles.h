// Sparse image files as the big-file tests see them: where the file system
// keeps data, and where libtiff says each sample of a TIFF lies.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "MacTypes.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {

using Extents = std::vector<std::pair<off_t, off_t>>;

// The file's data regions, [start, end) each, as the file system reports them.
inline Extents data_extents(const std::filesystem::path& file) {
  Extents extents;
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return extents;
  for (off_t at = 0;;) {
    const off_t start = ::lseek(fd, at, SEEK_DATA);
    if (start < 0) break;
    const off_t end = ::lseek(fd, start, SEEK_HOLE);
    extents.emplace_back(start, end);
    at = end;
  }
  ::close(fd);
  return extents;
}

inline UInt8 byte_at(int fd, UInt64 offset) {
  UInt8 byte = 0;
  EXPECT_EQ(::pread(fd, &byte, 1, off_t(offset)), 1) << "offset " << offset;
  return byte;
}

inline UInt8 formula(SInt32 row, SInt32 column, SInt32 plane) {
  return tessel::samples::sample_value(0, row, column, plane);
}

using Offset = std::function<UInt64(SInt32 row, SInt32 column, SInt32 plane)>;

// Where libtiff says a sample lies: its own reading of the block tables.
inline Offset libtiff_offsets(const std::filesystem::path& file) {
  std::unique_ptr<TIFF, void (*)(TIFF*)> tif(TIFFOpen(file.c_str(), "r"), &TIFFClose);
  EXPECT_NE(tif, nullptr);
  if (tif == nullptr) return {};
  UInt32 width = 0, blockWidth = 0, blockHeight = 0;
  UInt16 samples = 1, planar = 1;
  TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
  TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PLANARCONFIG, &planar);
  const bool tiled = TIFFIsTiled(tif.get()) != 0;
  if (tiled) {
    TIFFGetField(tif.get(), TIFFTAG_TILEWIDTH, &blockWidth);
    TIFFGetField(tif.get(), TIFFTAG_TILELENGTH, &blockHeight);
  } else {
    blockWidth = width;
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_ROWSPERSTRIP, &blockHeight);
  }
  const UInt32 blocks = tiled ? TIFFNumberOfTiles(tif.get()) : TIFFNumberOfStrips(tif.get());
  uint64_t* table = nullptr;
  TIFFGetField(tif.get(), tiled ? TIFFTAG_TILEOFFSETS : TIFFTAG_STRIPOFFSETS, &table);
  EXPECT_NE(table, nullptr);
  std::vector<UInt64> offsets(table, table + (table != nullptr ? blocks : 0));
  const UInt64 across = (UInt64(width) + blockWidth - 1) / blockWidth;
  const UInt64 perPlane = offsets.size() / (planar == 2 ? samples : 1);
  const UInt64 group = planar == 2 ? 1 : samples;
  return [=](SInt32 row, SInt32 column, SInt32 plane) {
    const UInt64 block = (planar == 2 ? UInt64(plane) * perPlane : 0) +
                         UInt64(row) / blockHeight * across + UInt64(column) / blockWidth;
    const UInt64 inside =
        (UInt64(row) % blockHeight * blockWidth + UInt64(column) % blockWidth) * group;
    return offsets.at(block) + inside + (planar == 2 ? 0 : UInt64(plane));
  };
}

}  // namespace tessel::testing
