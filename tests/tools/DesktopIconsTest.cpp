// The desktop icons the build draws, read back by ImageMagick and held
// against the bytes of the icon family in the module's compiled resource
// fork: an 8-bit member through the standard colour table, its one-bit
// kind's mask as alpha.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "AppleDouble.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"
#include "ResourceFork.h"

namespace tessel {
namespace {

constexpr SInt16 kFamily = 16000;

std::filesystem::path build_folder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
}

std::optional<std::vector<UInt8>> module_resource(ResType type, SInt16 id) {
  auto bytes = platform::appledouble::read_resource_fork(build_folder() / "lib" / "tessel.plugin");
  if (!bytes) return std::nullopt;
  auto fork = platform::resources::parse_fork(*bytes);
  if (!fork) return std::nullopt;
  for (const auto& resource : fork->resources) {
    if (resource.type == type && resource.id == id) return resource.data;
  }
  return std::nullopt;
}

// The icon as RGBA bytes, row by row, from its 8-bit kind and one-bit kind.
std::vector<UInt8> family_rgba(ResType colour, ResType oneBit, int side) {
  auto pixels = module_resource(colour, kFamily);
  auto bits = module_resource(oneBit, kFamily);
  EXPECT_TRUE(pixels && bits);
  if (!pixels || !bits || pixels->size() < std::size_t(side * side)) return {};
  CTabHandle table = GetCTable(8);
  std::vector<UInt8> rgba;
  const std::size_t maskAt = std::size_t(side * side / 8);
  for (int at = 0; at < side * side; ++at) {
    const RGBColor& rgb = (**table).ctTable[(*pixels)[at]].rgb;
    const bool opaque = ((*bits)[maskAt + at / 8] >> (7 - at % 8)) & 1;
    rgba.insert(rgba.end(), {UInt8(rgb.red >> 8), UInt8(rgb.green >> 8), UInt8(rgb.blue >> 8),
                             UInt8(opaque ? 0xFF : 0)});
  }
  DisposeCTable(table);
  return rgba;
}

// The PNG's pixels as ImageMagick decodes them; empty when it cannot.
std::vector<UInt8> png_rgba(const std::filesystem::path& png) {
  const std::string command = "timeout -k 5 30 convert '" + png.string() + "' -depth 8 rgba:-";
  std::FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {};
  std::vector<UInt8> bytes;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
    bytes.insert(bytes.end(), buffer, buffer + n);
  return pclose(pipe) == 0 ? bytes : std::vector<UInt8>{};
}

struct IconCase {
  int size;
  ResType colour, oneBit;
  int side;  // of the member it is drawn from
};

class DesktopIcon : public testing::TestWithParam<IconCase> {};

// Each pixel of an icon at size is the member's pixel whose square covers
// the pixel's centre.
TEST_P(DesktopIcon, HoldsTheFamilyMemberScaledPixelForPixel) {
  const IconCase& icon = GetParam();
  const std::string folder = std::to_string(icon.size) + "x" + std::to_string(icon.size);
  const std::vector<UInt8> png =
      png_rgba(build_folder() / "share/icons/hicolor" / folder / "apps/tessel.png");
  const std::vector<UInt8> member = family_rgba(icon.colour, icon.oneBit, icon.side);
  ASSERT_EQ(png.size(), std::size_t(icon.size * icon.size * 4));
  ASSERT_FALSE(member.empty());
  int wrong = 0;
  for (int v = 0; v < icon.size; ++v) {
    for (int h = 0; h < icon.size; ++h) {
      const int from = ((2 * v + 1) * icon.side / (2 * icon.size)) * icon.side +
                       (2 * h + 1) * icon.side / (2 * icon.size);
      for (int c = 0; c < 4; ++c) wrong += png[(v * icon.size + h) * 4 + c] != member[from * 4 + c];
    }
  }
  EXPECT_EQ(wrong, 0) << icon.size << " x " << icon.size;
}

INSTANTIATE_TEST_SUITE_P(HicolorSizes, DesktopIcon,
                         testing::Values(IconCase{16, FourCC("ics8"), FourCC("ics#"), 16},
                                         IconCase{32, FourCC("icl8"), FourCC("ICN#"), 32},
                                         IconCase{48, FourCC("icl8"), FourCC("ICN#"), 32},
                                         IconCase{64, FourCC("icl8"), FourCC("ICN#"), 32},
                                         IconCase{128, FourCC("icl8"), FourCC("ICN#"), 32},
                                         IconCase{256, FourCC("icl8"), FourCC("ICN#"), 32}));

}  // namespace
}  // namespace tessel
