// Drives a file through the format layer as acquire and export would: open,
// read a corner box of every channel, write it back, close.
#pragma once

#include <algorithm>
#include <vector>

#include "MacErrors.h"
#include "formats/RasterFormats.h"

namespace tessel::fuzz {

// The largest box moved per call keeps one input fast whatever size the
// file claims; both corners are visited so that the last strip is reached.
constexpr SInt32 kBoxSide = 24;

inline void move_box(SourceImage& image, SInt32 top, SInt32 left) {
  TileArea box{top,
               left,
               std::min(top + kBoxSide, image.height),
               std::min(left + kBoxSide, image.width),
               0,
               image.channels};
  SInt32 width = box.right - box.left, height = box.bottom - box.top;
  if (width <= 0 || height <= 0 || image.channels <= 0) return;
  std::vector<UInt8> pixels(std::size_t(width) * std::size_t(height) * std::size_t(image.channels));
  Tile tile{pixels.data(), box, width * image.channels, image.channels, 0};
  if (RasterFormatGetTile(&image.format, tile, box) == noErr) {
    RasterFormatPutTile(&image.format, tile, box);
  }
}

inline void exercise_raster(const FSSpec& file) {
  SourceImage image{};
  image.fileSpec = file;
  if (RasterFormatOpen(&image) == noErr && image.depth == 8) {
    (void)RasterFormatCheckLength(&image.format);
    move_box(image, 0, 0);
    move_box(image, std::max(0, image.height - kBoxSide), std::max(0, image.width - kBoxSide));
  }
  RasterFormatClose(&image.format);
}

}  // namespace tessel::fuzz
