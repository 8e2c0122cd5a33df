#include "host/SampleConventions.h"

#include <tiffio.h>

#include <algorithm>
#include <array>

namespace tessel::host {

namespace {

// What each of the first four samples of a pixel is xor-ed with.
using PixelMasks = std::array<UInt8, 4>;

PixelMasks masks_of(UInt16 photometric) {
  switch (photometric) {
    case PHOTOMETRIC_SEPARATED: return {0xFF, 0xFF, 0xFF, 0xFF};
    case PHOTOMETRIC_CIELAB: return {0x00, 0x80, 0x80, 0x00};
    default: return {};
  }
}

}  // namespace

bool conventions_differ(UInt16 photometric) { return masks_of(photometric) != PixelMasks{}; }

void swap_sample_convention(UInt16 photometric, SInt16 planes, std::span<UInt8> pixels) {
  if (planes <= 0 || !conventions_differ(photometric)) return;
  const PixelMasks masks = masks_of(photometric);
  const std::size_t step = std::size_t(planes);
  const std::size_t touched = std::min<std::size_t>(step, masks.size());
  for (std::size_t at = 0; at + step <= pixels.size(); at += step) {
    for (std::size_t plane = 0; plane < touched; ++plane) pixels[at + plane] ^= masks[plane];
  }
}

void swap_plane_convention(UInt16 photometric, SInt16 plane, std::span<UInt8> samples) {
  const PixelMasks masks = masks_of(photometric);
  if (plane < 0 || std::size_t(plane) >= masks.size() || masks[std::size_t(plane)] == 0) return;
  for (UInt8& sample : samples) sample ^= masks[std::size_t(plane)];
}

}  // namespace tessel::host
