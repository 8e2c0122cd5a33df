// The selection dialog headless at 2x: its picture is twice as wide and
// tall as at 1x, and the same script, in logical coordinates, chooses the
// same rectangle.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <iterator>

#include "AskForSelectionFixture.h"
#include "ByteOrder.h"

namespace tessel::testing {
namespace {

// Width and height from a PNG's header chunk (PNG, section 11.2.2).
std::pair<UInt32, UInt32> png_size(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<UInt8> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (bytes.size() < 24) return {0, 0};
  std::span<const UInt8> header(bytes);
  return {platform::read_big32(header.subspan(16)), platform::read_big32(header.subspan(20))};
}

class ScaledSelection : public AskForSelectionTest {
 protected:
  void SetUp() override {
    AskForSelectionTest::SetUp();
    open_image("photo.tif", {.width = 512, .height = 384});
  }
  void TearDown() override {
    unsetenv("TESSEL_SCALE");
    AskForSelectionTest::TearDown();
  }

  // The rubber band of AskForSelectionTest, with a picture taken first.
  std::vector<int> select_at(const char* scale, const std::filesystem::path& picture) {
    setenv("TESSEL_SCALE", scale, 1);
    EXPECT_EQ(
        run("wait 30\nsave " + picture.string() + "\ndown 50 100\ndrag 100 150\nup 100 150\n"),
        noErr);
    return selection();
  }
};

TEST_F(ScaledSelection, TwiceTheSizeWithTheSameLayoutAndLogicalScripts) {
  const auto one = select_at("1", root_ / "one.png");
  const auto two = select_at("2", root_ / "two.png");
  EXPECT_EQ(two, one);
  EXPECT_EQ(one, (std::vector<int>{80, 76, 180, 176}));
  const auto [width, height] = png_size(root_ / "one.png");
  ASSERT_GT(width, 200u);
  ASSERT_GT(height, 200u);
  EXPECT_EQ(png_size(root_ / "two.png"), std::make_pair(2 * width, 2 * height));
}

}  // namespace
}  // namespace tessel::testing
