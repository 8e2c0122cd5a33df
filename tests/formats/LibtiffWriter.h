// Small TIFF files written by libtiff itself, for layouts our sample writer
// does not make: samples of any SampleFormat, tile sizes, planes apart,
// compression. Uncompressed unless told otherwise; every sample byte is 0x5A.
#pragma once

#include <tiffio.h>

#include <filesystem>
#include <vector>

#include "MacTypes.h"

namespace tessel::testing {

struct LibtiffOptions {
  UInt32 width = 8;
  UInt32 height = 6;
  UInt16 bits = 8;
  UInt16 samples = 1;
  UInt16 sampleFormat = SAMPLEFORMAT_UINT;
  UInt16 planar = PLANARCONFIG_CONTIG;
  UInt16 compression = COMPRESSION_NONE;
  UInt32 rowsPerStrip = 4;
};

// False when libtiff could not write the file.
inline bool write_with_libtiff(const std::filesystem::path& file, const LibtiffOptions& o) {
  TIFF* tif = TIFFOpen(file.c_str(), "w");
  if (tif == nullptr) return false;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, o.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, o.height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, o.bits);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, o.samples);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, o.sampleFormat);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, o.planar);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, o.compression);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, o.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, o.rowsPerStrip);
  const UInt16 planes = o.planar == PLANARCONFIG_SEPARATE ? o.samples : 1;
  std::vector<UInt8> row(std::size_t(TIFFScanlineSize(tif)), 0x5A);
  bool written = true;
  for (UInt16 plane = 0; plane < planes; ++plane)
    for (UInt32 r = 0; r < o.height; ++r)
      written = written && TIFFWriteScanline(tif, row.data(), r, plane) == 1;
  TIFFClose(tif);
  return written;
}

}  // namespace tessel::testing
