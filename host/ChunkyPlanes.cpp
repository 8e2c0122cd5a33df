#include "host/ChunkyPlanes.h"

#include <cstring>

namespace tessel::host {

void copy_planes(const UInt8* source, std::size_t sourcePlanes, PlaneRange range,
                 std::size_t pixels, UInt8* target) {
  const std::size_t count = std::size_t(range.count);
  if (count == sourcePlanes) {
    std::memcpy(target, source, pixels * count);
    return;
  }
  source += std::size_t(range.first);
  for (std::size_t pixel = 0; pixel < pixels; ++pixel, source += sourcePlanes) {
    for (std::size_t plane = 0; plane < count; ++plane) *target++ = source[plane];
  }
}

void place_plane(const UInt8* samples, std::size_t pixels, UInt8* target, std::size_t targetPlanes,
                 std::size_t at) {
  if (targetPlanes == 1) {
    std::memcpy(target, samples, pixels);
    return;
  }
  target += at;
  for (std::size_t pixel = 0; pixel < pixels; ++pixel, target += targetPlanes)
    *target = samples[pixel];
}

}  // namespace tessel::host
