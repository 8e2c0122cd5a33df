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

void swap_sample_convention(UInt16 photometric, PlaneRange planes, std::span<UInt8> pixels) {
  if (planes.first < 0 || planes.count <= 0) return;
  const PixelMasks masks = masks_of(photometric);
  const std::size_t step = std::size_t(planes.count);
  for (std::size_t at = 0; at < step; ++at) {
    const std::size_t plane = std::size_t(planes.first) + at;
    if (plane >= masks.size() || masks[plane] == 0) continue;
    for (std::size_t sample = at; sample < pixels.size(); sample += step)
      pixels[sample] ^= masks[plane];
  }
}

}  // namespace tessel::host
