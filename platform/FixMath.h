// 16.16 fixed-point arithmetic of the Mathematics utilities.
#pragma once

#include "MacTypes.h"

constexpr Fixed fixed1 = 0x00010000;

// numerator / denominator as 16.16, the last bit truncated toward zero. A zero
// denominator gives the largest value of the numerator's sign.
Fixed FixRatio(SInt16 numerator, SInt16 denominator);

// The 16.16 product, rounded to nearest; saturates instead of wrapping.
Fixed FixMul(Fixed a, Fixed b);
