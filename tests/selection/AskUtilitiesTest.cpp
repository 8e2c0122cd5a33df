#include <gtest/gtest.h>

#include "MacErrors.h"
#include "MacMemory.h"
#include "SelectionTestSupport.h"
#include "TextUtils.h"
#include "platform/OffscreenPort.h"
#include "selection/AskUtilities.h"

namespace {

using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;
using tessel::testing::TestFork;
using tessel::testing::text_of;

// Halves round up, negative results are truncated toward zero after the
// half is added, and the ends map to the ends.
TEST(LinearMap, RoundsHalvesUpAndKeepsTheEnds) {
  const struct {
    SInt32 from, to, value, mapped;
  } cases[] = {{3, 300, 1, 100}, {2, 5, 1, 3},     {4, 10, 3, 8},  {7, 13, 3, 6},
               {10, 13, -1, 0},  {10, 16, -1, -1}, {4, 10, -3, -7}};
  for (const auto& c : cases) EXPECT_EQ(LinearMap(c.from, c.to, c.value), c.mapped) << c.value;
  for (SInt32 n : {1, 3, 49, 50, 700}) {
    EXPECT_EQ(LinearMap(n, 517, 0), 0);
    EXPECT_EQ(LinearMap(n, 517, n), 517);
  }
}

TEST(LinearMap, DividesFirstInSinglePrecision) {
  // 7 / 12 * 54 is 31.5 exactly, but 31.4999981 in single precision; the
  // grid must land where the rest of the dialog computes it.
  EXPECT_EQ(LinearMap(12, 54, 7), 31);
  EXPECT_EQ(LinearMap(12, 438, 7), 255);
}

class ByteCounts : public TestFork {
 protected:
  void SetUp() override {
    TestFork::SetUp();
    add_strings(kByteCountStrings, {"^1 MB", "^1 KB"});
  }
  static std::string text(SInt32 bytes) {
    Str255 out;
    MetricBytesPString(bytes, out);
    return text_of(out);
  }
};

// Kilobytes round up below 1024 of them; megabytes round half up from the
// kilobytes, so 1536 KB less a byte is still 2 MB.
TEST_F(ByteCounts, KilobytesRoundUpAndMegabytesHalfUp) {
  const std::pair<SInt32, const char*> cases[] = {{0, "0 KB"},
                                                  {1, "1 KB"},
                                                  {1024, "1 KB"},
                                                  {1025, "2 KB"},
                                                  {1023 * 1024, "1023 KB"},
                                                  {1023 * 1024 + 1, "1 MB"},
                                                  {1535 * 1024, "1 MB"},
                                                  {1536 * 1024, "2 MB"},
                                                  {1536 * 1024 - 1, "2 MB"},
                                                  {2047 * 1024 * 1024 + 1, "2047 MB"}};
  for (const auto& [bytes, shown] : cases) EXPECT_EQ(text(bytes), shown) << bytes;
}

class Styles : public TestFork {};

TEST_F(Styles, MissingStyleGivesDefaultsInSrcOr) {
  FontState state{-1, -1, -1, -1};
  EXPECT_EQ(GetFontStateFromID(16009, &state), nullptr);
  EXPECT_EQ(state.size, 0);
  EXPECT_EQ(state.face, 0);
  EXPECT_EQ(state.font, 0);
  EXPECT_EQ(state.mode, srcOr);
}

TEST_F(Styles, ANameLongerThanTheResourceIsCutNotOverrun) {
  add(kStyleResourceType, 16001, {0, 12, 0, 0, 200, 'G', 'e'});
  FontState state{};
  EXPECT_NE(GetFontStateFromID(16001, &state), nullptr);
  EXPECT_EQ(state.size, 12);
  EXPECT_EQ(state.font, 0);  // "Ge" names no font
}

// The style's size, face and font by name reach the port, in srcOr.
TEST_F(Styles, SetFontStateFromIDAppliesTheStyleToThePort) {
  add(kStyleResourceType, 16002, {0, 10, 0, bold | italic, 6, 'M', 'o', 'n', 'a', 'c', 'o'});
  OffscreenPort port(8, 8);
  TextMode(srcCopy);
  SetFontStateFromID(16002);
  FontState now{};
  GetFontState(&now);
  SInt16 monaco = 0;
  GetFNum(reinterpret_cast<ConstStringPtr>("\x06Monaco"), &monaco);
  EXPECT_EQ(now.size, 10);
  EXPECT_EQ(now.face, bold | italic);
  EXPECT_NE(monaco, 0);
  EXPECT_EQ(now.font, monaco);
  EXPECT_EQ(now.mode, srcOr);
}

TEST(UprightRect, SwapsOnlyReversedSides) {
  Rect r{50, 80, 10, 20};
  UprightRect(&r);
  EXPECT_EQ((std::vector<SInt16>{r.top, r.left, r.bottom, r.right}),
            (std::vector<SInt16>{10, 20, 50, 80}));
  Rect half{5, 80, 10, 20};
  UprightRect(&half);
  EXPECT_EQ((std::vector<SInt16>{half.top, half.left, half.bottom, half.right}),
            (std::vector<SInt16>{5, 20, 10, 80}));
}

class Offscreens : public ::testing::Test {
 protected:
  void TearDown() override {
    namespace memory = tessel::platform::memory;
    memory::set_zone_budget(ApplicZone(), heapBudget_);
    memory::set_zone_budget(memory::temporary_zone(), tempBudget_);
  }
  std::int64_t heapBudget_ = tessel::platform::memory::zone_budget(ApplicZone());
  std::int64_t tempBudget_ =
      tessel::platform::memory::zone_budget(tessel::platform::memory::temporary_zone());
};

TEST_F(Offscreens, FallsBackToTemporaryMemoryWhenTheHeapIsFull) {
  namespace memory = tessel::platform::memory;
  memory::set_zone_budget(ApplicZone(), memory::zone_used(ApplicZone()) + 1024);
  Rect bounds{0, 0, 200, 200};
  GWorldPtr world = nullptr;
  ASSERT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), noErr);
  ASSERT_NE(world, nullptr);
  EXPECT_NE(world->ownedTempPixels, nullptr);
  DisposeGWorld(world);
}

TEST_F(Offscreens, AskedForTemporaryMemoryTriesOnceAndLeavesTheOutputAlone) {
  namespace memory = tessel::platform::memory;
  memory::set_zone_budget(ApplicZone(), memory::zone_used(ApplicZone()) + 1024);
  memory::set_zone_budget(memory::temporary_zone(),
                          memory::zone_used(memory::temporary_zone()) + 1024);
  Rect bounds{0, 0, 200, 200};
  auto sentinel = reinterpret_cast<GWorldPtr>(0x1234);
  GWorldPtr world = sentinel;
  EXPECT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), memFullErr);
  EXPECT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, useTempMem), memFullErr);
  EXPECT_EQ(world, sentinel);
}

class IconFrame : public TestFork {};

TEST_F(IconFrame, FrameTopIsBrokenAroundTheIconAndTitle) {
  OffscreenPort port(120, 40);
  IconCache cache{};
  Rect r{0, 0, 40, 120};
  DrawIconFrame(&cache, 16000, nullptr, &r);  // no icon resources: only the frame
  EXPECT_EQ(port.at(5, 12), kBlackPixel);
  EXPECT_EQ(port.at(6, 12), kWhitePixel);
  EXPECT_EQ(port.at(25, 12), kWhitePixel);
  EXPECT_EQ(port.at(26, 12), kBlackPixel);
  EXPECT_EQ(port.at(0, 11), kWhitePixel);
  EXPECT_EQ(port.at(0, 20), kBlackPixel);
  EXPECT_EQ(port.at(119, 39), kBlackPixel);

  Str255 title;
  CopyCStringToPascal("Title", title);
  EraseRect(&r);
  DrawIconFrame(&cache, 16000, title, &r);
  SInt16 gapEnd = SInt16(26 + StringWidth(title) + 6);
  EXPECT_EQ(port.at(gapEnd - 1, 12), kWhitePixel);
  EXPECT_EQ(port.at(gapEnd, 12), kBlackPixel);
  bool inked = false;
  for (int h = 28; h < gapEnd - 6; ++h) {
    for (int v = 6; v < 16; ++v) inked = inked || port.at(h, v) != kWhitePixel;
  }
  EXPECT_TRUE(inked) << "the title is drawn on a baseline 16 below the top";
}

}  // namespace
