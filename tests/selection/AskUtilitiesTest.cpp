#include <gtest/gtest.h>

#include "MacErrors.h"
#include "MacMemory.h"
#include "TextUtils.h"
#include "platform/DialogTestSupport.h"
#include "platform/OffscreenPort.h"
#include "selection/AskUtilities.h"

namespace {

using tessel::testing::DialogTest;
using tessel::testing::expect_pixels;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;
using tessel::testing::sides;

// Halves round up, negative results are truncated toward zero after the
// half is added, and the ends map to the ends. The division comes first, in
// single precision: 7 / 12 * 54 is 31.5 exactly but 31.4999981 so, and the
// grid must land where the rest of the dialog computes it.
TEST(LinearMap, RoundsHalvesUpInSinglePrecisionAndKeepsTheEnds) {
  const struct {
    SInt32 from, to, value, mapped;
  } cases[] = {{3, 300, 1, 100}, {2, 5, 1, 3},    {4, 10, 3, 8},
               {7, 13, 3, 6},    {10, 13, -1, 0}, {10, 16, -1, -1},
               {4, 10, -3, -7},  {12, 54, 7, 31}, {12, 438, 7, 255}};
  for (const auto& c : cases) {
    EXPECT_EQ(LinearMap(c.from, c.to, c.value), c.mapped)
        << c.from << " " << c.to << " " << c.value;
  }
  for (SInt32 n : {1, 3, 49, 50, 700}) {
    EXPECT_EQ(LinearMap(n, 517, 0), 0);
    EXPECT_EQ(LinearMap(n, 517, n), 517);
  }
}

// Past 16,777,216 single precision rounds the far end beyond the image (to
// the next even float, or to 2^31 itself); the result stays inside, and the
// steps in between still move with value.
TEST(LinearMap, ClampsIntoTheImagePastSinglePrecision) {
  const struct {
    SInt32 from, to, value, mapped;
  } ends[] = {{3, 16777219, 3, 16777219},
              {400, 2147483647, 400, 2147483647},
              {400, 2147483000, 400, 2147483000},
              {400, 2147483647, 0, 0}};
  for (const auto& c : ends) EXPECT_EQ(LinearMap(c.from, c.to, c.value), c.mapped) << c.to;
  EXPECT_EQ(LinearMap(400, 100000000, 200), 50000000);
  EXPECT_EQ(LinearMap(400, 16777216, 400), 16777216);
}

class ByteCounts : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    add({FourCC("STR#"), kByteCountStrings, 0, "", {0,   3,   5,   '^', '1', ' ', 'M',
                                                    'B', 5,   '^', '1', ' ', 'K', 'B',
                                                    5,   '^', '1', ' ', 'G', 'B'}});
    open_resources();
  }
  static std::string text(SInt64 bytes) {
    Str255 out;
    MetricBytesPString(bytes, out);
    return std::string(reinterpret_cast<const char*>(out + 1), out[0]);
  }
};

// Kilobytes round up below 1024 of them; megabytes round half up from the
// kilobytes, so 1536 KB less a byte is still 2 MB; gigabytes likewise from
// the megabytes, counted in 64 bits far past what 32 bits hold.
TEST_F(ByteCounts, KilobytesRoundUpMegabytesAndGigabytesHalfUp) {
  constexpr SInt64 kMB = 1024 * 1024;
  const std::pair<SInt64, const char*> cases[] = {{0, "0 KB"},
                                                  {1, "1 KB"},
                                                  {1024, "1 KB"},
                                                  {1025, "2 KB"},
                                                  {1023 * 1024, "1023 KB"},
                                                  {1023 * 1024 + 1, "1 MB"},
                                                  {1535 * 1024, "1 MB"},
                                                  {1536 * 1024, "2 MB"},
                                                  {1536 * 1024 - 1, "2 MB"},
                                                  {1023 * kMB, "1023 MB"},
                                                  {1023 * kMB + kMB / 2, "1 GB"},
                                                  {2047 * kMB + 1, "2 GB"},
                                                  {1536 * kMB - 1, "2 GB"},
                                                  {1535 * kMB, "1 GB"},
                                                  {SInt64(100000) * 100000 * 3, "28 GB"}};
  for (const auto& [bytes, shown] : cases) EXPECT_EQ(text(bytes), shown) << bytes;
}

using Styles = DialogTest;
std::vector<int> fields(const FontState& s) { return {s.size, s.face, s.font, s.mode}; }

// The style's size, face and font by name reach the port, always in srcOr; a
// missing style gives the defaults, and a name longer than its resource is
// cut there rather than read past it ("Ge" names no font).
TEST_F(Styles, ReachThePortWithDefaultsForWhatIsMissing) {
  add({kStyleResourceType, 16001, 0, "", {0, 12, 0, 0, 200, 'G', 'e'}});
  add({kStyleResourceType,
       16002,
       0,
       "",
       {0, 10, 0, bold | italic, 6, 'M', 'o', 'n', 'a', 'c', 'o'}});
  open_resources();
  FontState state{-1, -1, -1, -1};
  EXPECT_EQ(GetFontStateFromID(16009, &state), nullptr);
  EXPECT_EQ(fields(state), (std::vector<int>{0, 0, 0, srcOr}));
  EXPECT_NE(GetFontStateFromID(16001, &state), nullptr);
  EXPECT_EQ(fields(state), (std::vector<int>{12, 0, 0, srcOr}));

  OffscreenPort port(8, 8);
  TextMode(srcCopy);
  SetFontStateFromID(16002);
  GetFontState(&state);
  SInt16 monaco = 0;
  GetFNum(reinterpret_cast<ConstStringPtr>("\x06Monaco"), &monaco);
  EXPECT_NE(monaco, 0);
  EXPECT_EQ(fields(state), (std::vector<int>{10, bold | italic, monaco, srcOr}));
}

TEST(UprightRect, SwapsOnlyReversedSides) {
  Rect r{50, 80, 10, 20}, half{5, 80, 10, 20};
  UprightRect(&r);
  UprightRect(&half);
  EXPECT_EQ(sides(r), (std::vector<int>{10, 20, 50, 80}));
  EXPECT_EQ(sides(half), (std::vector<int>{5, 20, 10, 80}));
}

// With the heap full the pixels go to temporary memory; with that full too,
// neither way leaves anything in the output.
TEST(Offscreens, FallBackToTemporaryMemoryAndLeaveTheOutputAloneWhenThatFails) {
  namespace memory = tessel::platform::memory;
  const auto heap = memory::zone_budget(ApplicZone());
  const auto temporary = memory::zone_budget(memory::temporary_zone());
  memory::set_zone_budget(ApplicZone(), memory::zone_used(ApplicZone()) + 1024);
  Rect bounds{0, 0, 200, 200};
  GWorldPtr world = nullptr;
  ASSERT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), noErr);
  ASSERT_NE(world, nullptr);
  EXPECT_NE(world->ownedTempPixels, nullptr);
  DisposeGWorld(world);

  memory::set_zone_budget(memory::temporary_zone(),
                          memory::zone_used(memory::temporary_zone()) + 1024);
  auto sentinel = reinterpret_cast<GWorldPtr>(0x1234);
  world = sentinel;
  EXPECT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), memFullErr);
  EXPECT_EQ(BraveNewGWorld(&world, 32, &bounds, nullptr, nullptr, useTempMem), memFullErr);
  EXPECT_EQ(world, sentinel);
  memory::set_zone_budget(ApplicZone(), heap);
  memory::set_zone_budget(memory::temporary_zone(), temporary);
}

using IconFrame = DialogTest;

TEST_F(IconFrame, FrameTopIsBrokenAroundTheIconAndTitle) {
  open_resources();  // a fork on top without icons: only the frame is drawn
  OffscreenPort port(120, 40);
  IconCache cache{};
  Rect r{0, 0, 40, 120};
  DrawIconFrame(&cache, 16000, nullptr, &r);
  expect_pixels(port, {{5, 12, kBlackPixel},
                       {6, 12, kWhitePixel},
                       {25, 12, kWhitePixel},
                       {26, 12, kBlackPixel},
                       {0, 11, kWhitePixel},
                       {0, 20, kBlackPixel},
                       {119, 39, kBlackPixel}});

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
