#include "FixMath.h"

#include <algorithm>
#include <limits>

namespace {

Fixed saturate(std::int64_t value) {
  return Fixed(std::clamp<std::int64_t>(value, std::numeric_limits<Fixed>::min(),
                                        std::numeric_limits<Fixed>::max()));
}

}  // namespace

Fixed FixRatio(SInt16 numerator, SInt16 denominator) {
  if (denominator == 0) {
    return numerator < 0 ? std::numeric_limits<Fixed>::min() : std::numeric_limits<Fixed>::max();
  }
  return saturate(std::int64_t(numerator) * fixed1 / denominator);
}

Fixed FixMul(Fixed a, Fixed b) {
  std::int64_t product = std::int64_t(a) * b;
  return saturate((product + 0x8000) >> 16);
}
