#include "host/ChunkyPlanes.h"

#include <cstring>
#include <type_traits>

namespace tessel::host {

namespace {

// A stride known when compiled lets the loops below be unrolled and
// vectorised; RGB and CMYK are the strides documents nearly always have.
template <typename Step>
void with_stride(std::size_t stride, Step step) {
  switch (stride) {
    case 3: return step(std::integral_constant<std::size_t, 3>{});
    case 4: return step(std::integral_constant<std::size_t, 4>{});
    default: return step(stride);
  }
}

}  // namespace

void copy_planes(const UInt8* source, std::size_t sourcePlanes, PlaneRange range,
                 std::size_t pixels, UInt8* target) {
  const std::size_t count = std::size_t(range.count);
  if (count == sourcePlanes) {
    std::memcpy(target, source, pixels * count);
    return;
  }
  source += std::size_t(range.first);
  if (count == 1) {
    with_stride(sourcePlanes, [&](auto stride) {
      for (std::size_t pixel = 0; pixel < pixels; ++pixel) target[pixel] = source[pixel * stride];
    });
    return;
  }
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
  with_stride(targetPlanes, [&](auto stride) {
    for (std::size_t pixel = 0; pixel < pixels; ++pixel) target[pixel * stride] = samples[pixel];
  });
}

}  // namespace tessel::host
