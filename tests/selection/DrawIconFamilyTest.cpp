#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>

#include "QDOffscreen.h"
#include "platform/DialogTestSupport.h"
#include "platform/OffscreenPort.h"
#include "selection/DrawIconFamily.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::testing::expect_pixels;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

constexpr UInt8 kAllKinds = 0x3F;
constexpr UInt8 bit(SInt16 index) { return UInt8(1 << index); }

// The deepest kind the screen can show wins. A small request (13 pixels
// counts) falls back to the large kinds before shallower ones; a large one
// never takes a small kind.
TEST(ChooseIconKind, DeepestKindOfTheRightSizeTheScreenCanShowWins) {
  EXPECT_EQ(ChooseIconKind(32, 16, 16, kAllKinds), kSmall8);
  EXPECT_EQ(ChooseIconKind(8, 16, 16, kAllKinds), kSmall8);
  EXPECT_EQ(ChooseIconKind(4, 16, 16, kAllKinds), kSmall4);
  EXPECT_EQ(ChooseIconKind(2, 16, 16, kAllKinds), kSmall1);
  EXPECT_EQ(ChooseIconKind(1, 16, 16, kAllKinds), kSmall1);
  EXPECT_EQ(ChooseIconKind(16, 32, 32, kAllKinds), kLarge8);
  EXPECT_EQ(ChooseIconKind(4, 32, 32, kAllKinds), kLarge4);
  EXPECT_EQ(ChooseIconKind(-8, 13, 13, kAllKinds), kSmall8);
  EXPECT_EQ(ChooseIconKind(8, 16, 16, bit(kLarge8) | bit(kLarge1)), kLarge8);
  EXPECT_EQ(ChooseIconKind(8, 13, 13, bit(kSmall4) | bit(kLarge1)), kSmall4);
  EXPECT_EQ(ChooseIconKind(4, 16, 16, bit(kSmall8) | bit(kLarge8)), kNoIconKind);
  EXPECT_EQ(ChooseIconKind(1, 16, 16, bit(kLarge1)), kLarge1);
  EXPECT_EQ(ChooseIconKind(8, 16, 16, 0), kNoIconKind);
  EXPECT_EQ(ChooseIconKind(8, 32, 32, bit(kSmall8) | bit(kSmall4) | bit(kSmall1)), kNoIconKind);
  EXPECT_EQ(ChooseIconKind(8, 17, 16, bit(kSmall8) | bit(kLarge4)), kLarge4);
  EXPECT_EQ(ChooseIconKind(8, 16, 17, bit(kLarge1)), kLarge1);
}

// Families whose kinds are told apart by colour: ics8 index 35, icl8 index
// 5 in its top-left quarter and 200 elsewhere, ics4 index 3, icl4 index 6;
// ics# a checkerboard under a full mask; ICN# solid under a mask that
// leaves out column 0.
class IconFamilies : public tessel::testing::DialogTest {
 protected:
  static constexpr SInt16 kId = 16100;

  void TearDown() override {
    DisposeIconCache(&cache_);
    DialogTest::TearDown();
  }

  // A fork of the kinds in present, on top of the chain.
  void add_kinds(UInt8 present) {
    const std::map<SInt16, std::vector<UInt8>> data = {{kSmall8, std::vector<UInt8>(256, 35)},
                                                       {kLarge8, large8()},
                                                       {kSmall4, std::vector<UInt8>(128, 0x33)},
                                                       {kLarge4, std::vector<UInt8>(512, 0x66)},
                                                       {kSmall1, small1()},
                                                       {kLarge1, large1()}};
    for (const auto& [index, bytes] : data) {
      if ((present >> index) & 1) add({IconKindType(index), kId, 0, "", bytes});
    }
    open_resources();
  }

  // Draws the family, with the kinds in present, on a screen of the given
  // depth into a fresh 40 x 40 port.
  OffscreenPort& draw(UInt8 present, int depth, SInt16 h, SInt16 v, SInt16 size) {
    add_kinds(present);
    EXPECT_TRUE(qd::set_screen_depth(depth));
    port_.emplace(40, 40);
    DrawIconFamily(&cache_, kId, h, v, size, size);
    return *port_;
  }

  static UInt32 colour(SInt16 depth, int index) {
    CTabHandle table = GetCTable(depth);
    RGBColor c = (**table).ctTable[index].rgb;
    DisposeCTable(table);
    return (UInt32(c.red >> 8) << 16) | (UInt32(c.green >> 8) << 8) | UInt32(c.blue >> 8);
  }

  IconCache cache_{};
  std::optional<OffscreenPort> port_;

 private:
  static std::vector<UInt8> large8() {
    std::vector<UInt8> data(1024, 200);
    for (int v = 0; v < 16; ++v) std::memset(&data[std::size_t(v) * 32], 5, 16);
    return data;
  }
  static std::vector<UInt8> small1() {
    std::vector<UInt8> data;
    for (int v = 0; v < 16; ++v)
      data.insert(data.end(), {UInt8(v % 2 ? 0x55 : 0xAA), UInt8(v % 2 ? 0x55 : 0xAA)});
    data.resize(64, 0xFF);
    return data;
  }
  static std::vector<UInt8> large1() {
    std::vector<UInt8> data(128, 0xFF);
    for (int v = 0; v < 32; ++v) data.insert(data.end(), {0x7F, 0xFF, 0xFF, 0xFF});
    return data;
  }
};

TEST_F(IconFamilies, TwoBitScreenDrawsTheOneBitSmallIcon) {
  expect_pixels(draw(kAllKinds, 2, 4, 6, 16), {{4, 6, kBlackPixel},
                                               {5, 6, kWhitePixel},
                                               {4, 7, kWhitePixel},
                                               {19, 21, kBlackPixel},
                                               {20, 21, kWhitePixel},
                                               {3, 6, kWhitePixel}});
  EXPECT_EQ(cache_.signature, kIconCacheSignature);
}

TEST_F(IconFamilies, SmallRequestOnEightBitsCropsTheLargeIconUnderItsMask) {
  OffscreenPort& port = draw(bit(kLarge8) | bit(kLarge1), 8, 4, 4, 16);
  // Column 0 is outside the mask.
  expect_pixels(port, {{4, 4, kWhitePixel}, {4, 19, kWhitePixel}});
  for (int d = 1; d < 16; ++d) {
    EXPECT_EQ(port.at(4 + d, 4 + d), colour(8, 5)) << d;
    EXPECT_EQ(port.at(4 + d, 4), colour(8, 5)) << d;
  }
  expect_pixels(port, {{20, 10, kWhitePixel}, {10, 20, kWhitePixel}});
}

TEST_F(IconFamilies, ThirteenPixelRequestTakesTheSmallIconAndCropsIt) {
  expect_pixels(draw(kAllKinds, 8, 10, 10, 13), {{10, 10, colour(8, 35)},
                                                 {22, 22, colour(8, 35)},
                                                 {23, 22, kWhitePixel},
                                                 {22, 23, kWhitePixel}});
}

TEST_F(IconFamilies, FourBitScreenUsesTheFourBitKindsAndTheirMasks) {
  OffscreenPort& port = draw(kAllKinds, 4, 0, 0, 32);
  expect_pixels(
      port,
      {{0, 5, kWhitePixel}, {1, 5, colour(4, 6)}, {31, 31, colour(4, 6)}, {32, 31, kWhitePixel}});
  DrawIconFamily(&cache_, kId, 0, 0, 16, 16);
  expect_pixels(port, {{0, 0, colour(4, 3)}, {15, 15, colour(4, 3)}});
}

TEST_F(IconFamilies, ColourIconWithoutAMaskIsCopiedWhole) {
  expect_pixels(draw(bit(kSmall4), 4, 2, 2, 16),
                {{2, 2, colour(4, 3)}, {17, 17, colour(4, 3)}, {18, 17, kWhitePixel}});
}

TEST_F(IconFamilies, FamilyWithoutUsableKindsDrawsNothing) {
  OffscreenPort& port = draw(bit(kSmall8) | bit(kSmall4) | bit(kSmall1), 8, 0, 0, 32);
  DrawIconFamily(&cache_, SInt16(kId + 1), 0, 0, 16, 16);
  EXPECT_EQ(port.snapshot(), std::vector<UInt32>(40 * 40, kWhitePixel));
}

TEST_F(IconFamilies, CacheStartsFromGarbageAndKeepsOneMapPerDepth) {
  add_kinds(kAllKinds);
  std::memset(static_cast<void*>(&cache_), 0xA5, sizeof cache_);
  OffscreenPort port(40, 40);
  ASSERT_TRUE(qd::set_screen_depth(8));
  DrawIconFamily(&cache_, kId, 0, 0, 16, 16);
  PixMapHandle eight = cache_.eightBitMap;
  ASSERT_NE(eight, nullptr);
  EXPECT_EQ(cache_.fourBitMap, nullptr);
  DrawIconFamily(&cache_, kId, 20, 0, 32, 32);
  EXPECT_EQ(cache_.eightBitMap, eight);
  ASSERT_TRUE(qd::set_screen_depth(4));
  DrawIconFamily(&cache_, kId, 0, 20, 16, 16);
  PixMapHandle four = cache_.fourBitMap;
  ASSERT_NE(four, nullptr);
  DrawIconFamily(&cache_, kId, 0, 20, 16, 16);
  EXPECT_EQ(cache_.fourBitMap, four);
  EXPECT_EQ(cache_.eightBitMap, eight);
  EXPECT_EQ((**four).pixelSize, 4);
  EXPECT_EQ(port.at(0, 20), colour(4, 3));
  DisposeIconCache(&cache_);
  EXPECT_EQ(cache_.eightBitMap, nullptr);
}

}  // namespace
