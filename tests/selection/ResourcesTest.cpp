// The module's compiled resources hold what the selection dialog and the
// about box fetch by number.
#include <gtest/gtest.h>

#include <span>

#include "ByteOrder.h"
#include "Files.h"
#include "MacMemory.h"
#include "QDOffscreen.h"
#include "Resources.h"
#include "Sound.h"
#include "platform/OffscreenPort.h"
#include "selection/AskUtilities.h"
#include "selection/DrawIconFamily.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::platform::read_big16;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

class CompiledResources : public ::testing::Test {
 protected:
  void SetUp() override {
    auto spec = tessel::platform::files::spec_from_path(TESSEL_RESOURCE_FORK);
    ASSERT_TRUE(spec.has_value());
    fork_ = FSpOpenResFile(&*spec, fsRdPerm);
    ASSERT_GT(fork_, 0) << TESSEL_RESOURCE_FORK;
  }
  void TearDown() override {
    if (fork_ > 0) CloseResFile(fork_);
  }
  static std::span<const UInt8> bytes_of(Handle h) {
    return {reinterpret_cast<const UInt8*>(*h), std::size_t(GetHandleSize(h))};
  }

 private:
  SInt16 fork_ = 0;
};

TEST_F(CompiledResources, EveryIconFamilyHasEveryKindAtItsSize) {
  constexpr Size kSizes[kIconKindCount] = {256, 1024, 128, 512, 64, 256};
  for (SInt16 id = 16000; id <= 16006; ++id) {
    for (SInt16 kind = 0; kind < kIconKindCount; ++kind) {
      Handle icon = Get1Resource(IconKindType(kind), id);
      ASSERT_NE(icon, nullptr) << "family " << id << " kind " << kind;
      EXPECT_EQ(GetHandleSize(icon), kSizes[kind]) << "family " << id << " kind " << kind;
    }
  }
}

// The pressed and raised grid buttons replace each other, so each must
// cover its whole 13 x 13 square at every depth.
TEST_F(CompiledResources, GridButtonsCoverTheirWholeSquare) {
  for (int depth : {1, 4, 8}) {
    ASSERT_TRUE(qd::set_screen_depth(depth));
    for (int id : {16002, 16003, 16005, 16006}) {
      OffscreenPort port(13, 13);
      RGBColor red{0xFFFF, 0, 0};
      RGBForeColor(&red);
      Rect all{0, 0, 13, 13};
      PaintRect(&all);
      ForeColor(blackColor);
      IconCache cache{};
      DrawIconFamily(&cache, SInt16(id), 0, 0, 13, 13);
      for (UInt32 pixel : port.snapshot())
        ASSERT_NE(pixel, 0xFF0000u) << id << " at depth " << depth;
      DisposeIconCache(&cache);
    }
  }
}

TEST_F(CompiledResources, StylesNameAFontTheTextCallsKnow) {
  for (SInt16 id = 16000; id <= 16002; ++id) {
    FontState state{};
    ASSERT_NE(GetFontStateFromID(id, &state), nullptr) << id;
    EXPECT_GE(state.size, 9) << id;
    EXPECT_NE(state.font, 0) << id << ": the name is not one the platform maps";
  }
}

TEST_F(CompiledResources, SoundIsAShortSampledSoundThePlatformPlays) {
  Handle sound = Get1Resource(FourCC("snd "), 16000);
  ASSERT_NE(sound, nullptr);
  auto bytes = bytes_of(sound);
  auto decoded = tessel::platform::sound::decode(bytes);
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->rate, 11025.0);
  double seconds = double(decoded->samples.size()) / decoded->rate;
  EXPECT_GT(seconds, 0.1);
  EXPECT_LT(seconds, 1.0);
  EXPECT_EQ(22 + 20 + decoded->samples.size(), bytes.size()) << "every sample is played";
}

TEST_F(CompiledResources, AboutBoxDialogIsHiddenWithItsButtonFirst) {
  Handle dialog = Get1Resource(FourCC("DLOG"), 16000);
  ASSERT_NE(dialog, nullptr);
  auto bytes = bytes_of(dialog);
  ASSERT_GE(bytes.size(), 20u);
  EXPECT_EQ(bytes[10], 0) << "shown only once it is set up";
  EXPECT_EQ(SInt16(read_big16(bytes.subspan(18))), 16000);
  Handle items = Get1Resource(FourCC("DITL"), 16000);
  ASSERT_NE(items, nullptr);
  auto list = bytes_of(items);
  ASSERT_GE(list.size(), 15u);
  EXPECT_GE(read_big16(list) + 1, 2);
  EXPECT_EQ(list[14], 4) << "item 1 is an enabled push button";
}

}  // namespace
