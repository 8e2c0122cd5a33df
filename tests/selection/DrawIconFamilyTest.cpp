#include <gtest/gtest.h>

#include <cstring>

#include "QDOffscreen.h"
#include "SelectionTestSupport.h"
#include "platform/OffscreenPort.h"
#include "selection/DrawIconFamily.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::testing::expect_pixels;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;
using tessel::testing::TestFork;

constexpr UInt8 kAllKinds = 0x3F;
constexpr UInt8 bit(SInt16 index) { return UInt8(1 << index); }

TEST(ChooseIconKind, DeepestKindTheScreenCanShowWins) {
  EXPECT_EQ(ChooseIconKind(32, 16, 16, kAllKinds), kSmall8);
  EXPECT_EQ(ChooseIconKind(8, 16, 16, kAllKinds), kSmall8);
  EXPECT_EQ(ChooseIconKind(4, 16, 16, kAllKinds), kSmall4);
  EXPECT_EQ(ChooseIconKind(2, 16, 16, kAllKinds), kSmall1);
  EXPECT_EQ(ChooseIconKind(1, 16, 16, kAllKinds), kSmall1);
  EXPECT_EQ(ChooseIconKind(16, 32, 32, kAllKinds), kLarge8);
  EXPECT_EQ(ChooseIconKind(4, 32, 32, kAllKinds), kLarge4);
  EXPECT_EQ(ChooseIconKind(-8, 13, 13, kAllKinds), kSmall8);
}

TEST(ChooseIconKind, SmallRequestsFallBackToLargeThenShallower) {
  EXPECT_EQ(ChooseIconKind(8, 16, 16, bit(kLarge8) | bit(kLarge1)), kLarge8);
  EXPECT_EQ(ChooseIconKind(8, 13, 13, bit(kSmall4) | bit(kLarge1)), kSmall4);
  EXPECT_EQ(ChooseIconKind(4, 16, 16, bit(kSmall8) | bit(kLarge8)), kNoIconKind);
  EXPECT_EQ(ChooseIconKind(1, 16, 16, bit(kLarge1)), kLarge1);
  EXPECT_EQ(ChooseIconKind(8, 16, 16, 0), kNoIconKind);
}

TEST(ChooseIconKind, LargeRequestsNeverTakeSmallKinds) {
  EXPECT_EQ(ChooseIconKind(8, 32, 32, bit(kSmall8) | bit(kSmall4) | bit(kSmall1)), kNoIconKind);
  EXPECT_EQ(ChooseIconKind(8, 17, 16, bit(kSmall8) | bit(kLarge4)), kLarge4);
  EXPECT_EQ(ChooseIconKind(8, 16, 17, bit(kLarge1)), kLarge1);
}

// Families whose kinds are told apart by colour: ics8 index 35, icl8 index
// 5 in its top-left quarter and 200 elsewhere, ics4 index 3, icl4 index 6;
// ics# a checkerboard under a full mask; ICN# solid under a mask that
// leaves out column 0.
class IconFamilies : public TestFork {
 protected:
  static constexpr SInt16 kId = 16100;

  void TearDown() override {
    DisposeIconCache(&cache_);
    TestFork::TearDown();
  }

  void add_kind(SInt16 index) {
    switch (index) {
      case kSmall8: add(IconKindType(index), kId, std::vector<UInt8>(256, 35)); break;
      case kLarge8: add(IconKindType(index), kId, large8()); break;
      case kSmall4: add(IconKindType(index), kId, std::vector<UInt8>(128, 0x33)); break;
      case kLarge4: add(IconKindType(index), kId, std::vector<UInt8>(512, 0x66)); break;
      case kSmall1: add(IconKindType(index), kId, small1()); break;
      case kLarge1: add(IconKindType(index), kId, large1()); break;
    }
  }
  void add_kinds(UInt8 present) {
    for (SInt16 index = 0; index < kIconKindCount; ++index) {
      if ((present >> index) & 1) add_kind(index);
    }
  }

  static UInt32 colour(SInt16 depth, int index) {
    CTabHandle table = GetCTable(depth);
    RGBColor c = (**table).ctTable[index].rgb;
    DisposeCTable(table);
    return (UInt32(c.red >> 8) << 16) | (UInt32(c.green >> 8) << 8) | UInt32(c.blue >> 8);
  }

  IconCache cache_{};

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
  add_kinds(kAllKinds);
  ASSERT_TRUE(qd::set_screen_depth(2));
  OffscreenPort port(40, 40);
  DrawIconFamily(&cache_, kId, 4, 6, 16, 16);
  expect_pixels(port, {{4, 6, kBlackPixel}, {5, 6, kWhitePixel}, {4, 7, kWhitePixel}});
  expect_pixels(port, {{19, 21, kBlackPixel}, {20, 21, kWhitePixel}, {3, 6, kWhitePixel}});
  EXPECT_EQ(cache_.signature, kIconCacheSignature);
}

TEST_F(IconFamilies, SmallRequestOnEightBitsCropsTheLargeIconUnderItsMask) {
  add_kinds(bit(kLarge8) | bit(kLarge1));
  ASSERT_TRUE(qd::set_screen_depth(8));
  OffscreenPort port(40, 40);
  DrawIconFamily(&cache_, kId, 4, 4, 16, 16);
  // Column 0 is outside the mask.
  expect_pixels(port, {{4, 4, kWhitePixel}, {4, 19, kWhitePixel}});
  for (int d = 1; d < 16; ++d) {
    EXPECT_EQ(port.at(4 + d, 4 + d), colour(8, 5)) << d;
    EXPECT_EQ(port.at(4 + d, 4), colour(8, 5)) << d;
  }
  expect_pixels(port, {{20, 10, kWhitePixel}, {10, 20, kWhitePixel}});
}

TEST_F(IconFamilies, ThirteenPixelRequestTakesTheSmallIconAndCropsIt) {
  add_kinds(kAllKinds);
  ASSERT_TRUE(qd::set_screen_depth(8));
  OffscreenPort port(40, 40);
  DrawIconFamily(&cache_, kId, 10, 10, 13, 13);
  expect_pixels(port, {{10, 10, colour(8, 35)}, {22, 22, colour(8, 35)}});
  expect_pixels(port, {{23, 22, kWhitePixel}, {22, 23, kWhitePixel}});
}

TEST_F(IconFamilies, FourBitScreenUsesTheFourBitKindsAndTheirMasks) {
  add_kinds(kAllKinds);
  ASSERT_TRUE(qd::set_screen_depth(4));
  OffscreenPort port(40, 40);
  DrawIconFamily(&cache_, kId, 0, 0, 32, 32);
  expect_pixels(port, {{0, 5, kWhitePixel}, {1, 5, colour(4, 6)}, {31, 31, colour(4, 6)}});
  EXPECT_EQ(port.at(32, 31), kWhitePixel);
  DrawIconFamily(&cache_, kId, 0, 0, 16, 16);
  expect_pixels(port, {{0, 0, colour(4, 3)}, {15, 15, colour(4, 3)}});
}

TEST_F(IconFamilies, ColourIconWithoutAMaskIsCopiedWhole) {
  add_kinds(bit(kSmall4));
  ASSERT_TRUE(qd::set_screen_depth(4));
  OffscreenPort port(20, 20);
  DrawIconFamily(&cache_, kId, 2, 2, 16, 16);
  expect_pixels(port, {{2, 2, colour(4, 3)}, {17, 17, colour(4, 3)}, {18, 17, kWhitePixel}});
}

TEST_F(IconFamilies, FamilyWithoutUsableKindsDrawsNothing) {
  add_kinds(bit(kSmall8) | bit(kSmall4) | bit(kSmall1));
  ASSERT_TRUE(qd::set_screen_depth(8));
  OffscreenPort port(40, 40);
  auto before = port.snapshot();
  DrawIconFamily(&cache_, kId, 0, 0, 32, 32);
  DrawIconFamily(&cache_, SInt16(kId + 1), 0, 0, 16, 16);
  EXPECT_EQ(port.snapshot(), before);
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
