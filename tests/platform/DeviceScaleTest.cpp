#include <gtest/gtest.h>

#include "DeviceScale.h"

namespace tessel::platform::scale {
namespace {

struct Case {
  const char* name;
  Sources sources;
  int expected;
};

// nullptr stands for a variable or resource that is not set.
const Case kCases[] = {
    {"nothing set", {}, 1},
    {"TESSEL_SCALE alone", {"3", nullptr, nullptr}, 3},
    {"TESSEL_SCALE over GDK_SCALE and dpi", {"1", "2", "288"}, 1},
    {"TESSEL_SCALE with blanks", {" 2\n", nullptr, nullptr}, 2},
    {"TESSEL_SCALE above 4 is clamped", {"9", nullptr, nullptr}, 4},
    {"TESSEL_SCALE 0 is clamped", {"0", "3", nullptr}, 1},
    {"TESSEL_SCALE garbage falls to GDK_SCALE", {"2x", "3", nullptr}, 3},
    {"TESSEL_SCALE empty falls to dpi", {"", nullptr, "192"}, 2},
    {"TESSEL_SCALE fraction is garbage", {"1.5", nullptr, "288"}, 3},
    {"GDK_SCALE over dpi", {nullptr, "2", "96"}, 2},
    {"GDK_SCALE beyond any integer is garbage", {nullptr, "99999999999999999999", "192"}, 2},
    {"GDK_SCALE garbage falls to dpi", {nullptr, "two", "144.5"}, 2},
    {"dpi 143 rounds down", {nullptr, nullptr, "143"}, 1},
    {"dpi 144 rounds half up", {nullptr, nullptr, "144"}, 2},
    {"dpi 288.0", {nullptr, nullptr, "288.0"}, 3},
    {"dpi 40 is at least 1", {nullptr, nullptr, "40"}, 1},
    {"dpi 1000 is clamped", {nullptr, nullptr, "1000"}, 4},
    {"dpi 1e308 is clamped", {nullptr, nullptr, "1e308"}, 4},
    {"dpi 0 is garbage", {nullptr, nullptr, "0"}, 1},
    {"dpi nan is garbage", {nullptr, nullptr, "nan"}, 1},
    {"dpi with a unit is garbage", {nullptr, nullptr, "192dpi"}, 1},
};

TEST(DeviceScale, ChoosesFromTheFirstUsableSourceAndClamps) {
  for (const Case& c : kCases) EXPECT_EQ(choose(c.sources), c.expected) << c.name;
}

}  // namespace
}  // namespace tessel::platform::scale
