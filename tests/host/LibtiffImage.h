// Images as libtiff's own API decodes and encodes them: the reader and the
// editor that are not ours, for checking what other programs see in a
// document and for saving one the way they would.
#pragma once

#include <gtest/gtest.h>
#include <tiffio.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "MacTypes.h"

namespace tessel::testing {

// What a TIFF reader decodes for a sample the plug-in holds: ink counted up
// from 0, CIELab's a* and b* signed, every other sample as it is.
inline UInt8 as_tiff_states_it(UInt16 photometric, std::size_t plane, UInt8 value) {
  if (photometric == PHOTOMETRIC_SEPARATED && plane < 4) return UInt8(255 - value);
  if (photometric == PHOTOMETRIC_CIELAB && (plane == 1 || plane == 2)) return UInt8(value - 128);
  return value;
}

// Chunky 8-bit samples, rows top to bottom, and what the file says of them.
struct LibtiffImage {
  UInt32 width = 0;
  UInt32 height = 0;
  UInt16 planes = 0;
  UInt16 photometric = 0;
  std::vector<UInt8> samples{};
  std::optional<std::vector<UInt8>> block{};  // tag 34377

  UInt8 at(UInt32 row, UInt32 column, UInt16 plane) const {
    return samples[(std::size_t(row) * width + column) * planes + plane];
  }
  // The rectangle of rows [top, bottom) and columns [left, right).
  LibtiffImage crop(UInt32 top, UInt32 left, UInt32 bottom, UInt32 right) const {
    LibtiffImage part{right - left, bottom - top, planes, photometric, {}, std::nullopt};
    for (UInt32 row = top; row < bottom; ++row) {
      const auto first =
          samples.begin() + std::ptrdiff_t((std::size_t(row) * width + left) * planes);
      part.samples.insert(part.samples.end(), first, first + std::ptrdiff_t(part.width * planes));
    }
    return part;
  }
};

// Read a scanline at a time, as the simplest reader does, chunky or planar;
// empty samples when the file cannot be read that way.
inline LibtiffImage read_with_libtiff(const std::filesystem::path& file) {
  LibtiffImage image;
  TIFF* tiff = TIFFOpen(file.c_str(), "r");
  EXPECT_NE(tiff, nullptr) << file;
  if (tiff == nullptr) return image;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &image.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &image.height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &image.planes);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &image.photometric);
  UInt32 count = 0;
  void* data = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_PHOTOSHOP, &count, &data) == 1 && data != nullptr) {
    const auto* bytes = static_cast<const UInt8*>(data);
    image.block = std::vector<UInt8>(bytes, bytes + count);
  }
  UInt16 config = PLANARCONFIG_CONTIG;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &config);
  // Planes stored apart are read a plane at a time and interleaved.
  const std::size_t passes = config == PLANARCONFIG_SEPARATE ? image.planes : 1;
  const std::size_t step = image.planes / passes;
  const std::size_t lineBytes = std::size_t(image.width) * step;
  EXPECT_EQ(std::size_t(TIFFScanlineSize(tiff)), lineBytes) << file;
  image.samples.resize(lineBytes * passes * image.height);
  std::vector<UInt8> line(lineBytes);
  for (std::size_t plane = 0; plane < passes; ++plane) {
    for (UInt32 row = 0; row < image.height; ++row) {
      if (TIFFReadScanline(tiff, line.data(), row, UInt16(plane)) != 1) {
        ADD_FAILURE() << file << ": row " << row;
        image.samples.clear();
        TIFFClose(tiff);
        return image;
      }
      UInt8* target = image.samples.data() + std::size_t(row) * image.width * image.planes + plane;
      for (std::size_t at = 0; at < lineBytes; at += step)
        std::copy_n(line.begin() + std::ptrdiff_t(at), step, target + at / step * image.planes);
    }
  }
  TIFFClose(tiff);
  return image;
}

// How an editor saves: the image's samples under its photometric, with the
// given compression, tag 34377 only when the image has a block.
inline void write_with_libtiff(const std::filesystem::path& file, const LibtiffImage& image,
                               UInt16 compression = COMPRESSION_LZW) {
  TIFF* tiff = TIFFOpen(file.c_str(), "w");
  ASSERT_NE(tiff, nullptr) << file;
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, image.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, image.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, image.planes);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, image.photometric);
  if (image.photometric == PHOTOMETRIC_SEPARATED) TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 3);
  if (image.block) {
    TIFFSetField(tiff, TIFFTAG_PHOTOSHOP, UInt32(image.block->size()), image.block->data());
  }
  const std::size_t rowBytes = std::size_t(image.width) * image.planes;
  std::vector<UInt8> row(rowBytes);
  for (UInt32 y = 0; y < image.height; ++y) {
    std::copy_n(image.samples.begin() + std::ptrdiff_t(y * rowBytes), rowBytes, row.begin());
    EXPECT_EQ(TIFFWriteScanline(tiff, row.data(), y, 0), 1) << file;
  }
  EXPECT_EQ(TIFFWriteDirectory(tiff), 1) << file;
  TIFFClose(tiff);
}

// Where the samples of an uncompressed chunky file in strips lie in it.
struct StripLayout {
  UInt32 width = 0;
  UInt32 rowsPerStrip = 0;
  UInt16 planes = 0;
  std::vector<UInt64> offsets{};

  std::size_t offset(UInt32 row, UInt32 column, UInt16 plane) const {
    return std::size_t(offsets[row / rowsPerStrip]) +
           (std::size_t(row % rowsPerStrip) * width + column) * planes + plane;
  }
};

inline StripLayout strip_layout(const std::filesystem::path& file) {
  StripLayout layout;
  TIFF* tiff = TIFFOpen(file.c_str(), "r");
  EXPECT_NE(tiff, nullptr) << file;
  if (tiff == nullptr) return layout;
  UInt16 compression = 0;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  EXPECT_EQ(compression, COMPRESSION_NONE) << file;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &layout.width);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &layout.planes);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &layout.rowsPerStrip);
  uint64_t* offsets = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_STRIPOFFSETS, &offsets) == 1 && offsets != nullptr)
    layout.offsets.assign(offsets, offsets + TIFFNumberOfStrips(tiff));
  TIFFClose(tiff);
  return layout;
}

}  // namespace tessel::testing
