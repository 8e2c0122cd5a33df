// The marching ants over the preview, the selection in image pixels, and
// the texts of the two information panes.
#include <gtest/gtest.h>

#include "Backend.h"
#include "Events.h"
#include "platform/OffscreenPort.h"
#include "selection/AskAnts.h"
#include "selection/SelectionDialogFixture.h"

namespace {

using tessel::testing::in_preview;
using tessel::testing::kImagePane;
using tessel::testing::kPreview;
using tessel::testing::kPreviewGray;
using tessel::testing::pixel_at;
using tessel::testing::pixels_in;
using tessel::testing::sides;

constexpr Rect kFirst{50, 60, 120, 160};
constexpr Rect kSecond{80, 100, 180, 260};

void pass_ticks(int ticks) {
  for (int i = 0; i < ticks; ++i) tessel::platform::backend::current().idle();
}

class Ants : public tessel::testing::SelectionDialogFixture {
 protected:
  // Preview pixels that are not the flat gray: {on r's frame, off it}.
  std::pair<int, int> changed_pixels(const Rect& r) {
    std::pair<int, int> counts{0, 0};
    for (int v = kPreview.top; v < kPreview.bottom; ++v) {
      for (int h = kPreview.left; h < kPreview.right; ++h) {
        if (pixel_at(dialog_, h, v) == kPreviewGray) continue;
        bool inside = h >= r.left && h < r.right && v >= r.top && v < r.bottom;
        bool edge = h == r.left || h == r.right - 1 || v == r.top || v == r.bottom - 1;
        ++(inside && edge ? counts.first : counts.second);
      }
    }
    return counts;
  }
  static int frame_length(const Rect& r) { return 2 * (r.right - r.left + r.bottom - r.top) - 4; }
};

TEST_F(Ants, IdleFrameStepsAtMostOnceEverySixTicksAndMovesCleanly) {
  use_flat_preview();
  ChangeAnts(state_.get(), &kFirst);
  EXPECT_EQ(changed_pixels(kFirst), std::pair(frame_length(kFirst), 0));
  state_->lastStepTick = TickCount();
  SInt16 phase = state_->antsPhase;
  std::vector<UInt32> before = pixels_in(dialog_, kPreview);

  pass_ticks(5);
  ChangeAnts(state_.get(), &state_->selection);
  EXPECT_EQ(state_->antsPhase, phase);
  EXPECT_EQ(pixels_in(dialog_, kPreview), before);
  pass_ticks(1);
  ChangeAnts(state_.get(), &state_->selection);
  EXPECT_EQ(state_->antsPhase, phase == 0 ? 7 : phase - 1);
  EXPECT_NE(pixels_in(dialog_, kPreview), before);
  EXPECT_EQ(changed_pixels(kFirst).second, 0);

  ChangeAnts(state_.get(), &kSecond);
  EXPECT_EQ(changed_pixels(kSecond), std::pair(frame_length(kSecond), 0));
}

TEST_F(Ants, ExclusiveOrFrameLeavesNoTraceWhenMovedOrRemoved) {
  use_flat_preview();
  state_->antsMode = kAntsTracking;
  ChangeAnts(state_.get(), &kFirst);
  EXPECT_GT(changed_pixels(kFirst).first, 0);  // the pattern's set bits invert
  EXPECT_EQ(changed_pixels(kFirst).second, 0);

  SInt16 phase = state_->antsPhase;
  ChangeAnts(state_.get(), &kSecond);  // no tick passed: moved, not stepped
  EXPECT_EQ(state_->antsPhase, phase);
  EXPECT_GT(changed_pixels(kSecond).first, 0);
  EXPECT_EQ(changed_pixels(kSecond).second, 0);

  std::vector<UInt32> drawn = pixels_in(dialog_, kPreview);
  ChangeAnts(state_.get(), &kSecond);  // the same rectangle, no step due: nothing
  EXPECT_EQ(pixels_in(dialog_, kPreview), drawn);

  ChangeAnts(state_.get(), nullptr);
  EXPECT_EQ(state_->selectionExists, 0);
  EXPECT_EQ(changed_pixels(kPreview), std::pair(0, 0));
}

TEST_F(Ants, SelectionConvertsToImagePixelsRoundingHalfUp) {
  image_.width = 1000;
  state_->selectionExists = 1;
  state_->selection = in_preview(100, 1, 200, 2);
  SetUpImageSelectionBounds(state_.get());
  // 1000 / 300 is 3.33, twice that 6.67.
  EXPECT_EQ(sides(image_.selection), (std::vector<int>{1000, 3, 2000, 7}));
  state_->selectionExists = 0;
  SetUpImageSelectionBounds(state_.get());
  EXPECT_EQ(sides(image_.selection), (std::vector<int>{0, 0, 2000, 1000}));
}

// An image far wider and taller than 16 bits hold: the corners land in image
// pixels past 32767, and the far corner on the image's own edge.
TEST_F(Ants, SelectionOfAHugeImageReachesPastSixteenBits) {
  image_.width = 100000;
  image_.height = 2000000000;
  state_->selectionExists = 1;
  state_->selection = in_preview(100, 150, 200, 300);
  SetUpImageSelectionBounds(state_.get());
  EXPECT_EQ(sides(image_.selection), (std::vector<int>{1000000000, 50000, 2000000000, 100000}));
}

class Panes : public tessel::testing::SelectionDialogFixture {
 protected:
  // Two lines a line height apart below top, at the left of the pane text
  // rectangle r, in the pane text style on white in a port of the dialog's
  // size: what a pane showing them looks like there.
  static std::vector<UInt32> two_lines(const Rect& r, int top, int depth, const std::string& first,
                                       const std::string& second) {
    GrafPtr dialog = nullptr;
    GetPort(&dialog);
    std::vector<UInt32> pixels;
    {
      tessel::testing::OffscreenPort port(600, 400, depth);
      EraseRect(&r);
      SetFontStateFromID(16000);
      FontInfo font{};
      GetFontInfo(&font);
      for (const std::string& text : {first, second}) {
        Str255 pascal{};
        CopyCStringToPascal(text.c_str(), pascal);
        MoveTo(r.left, SInt16(top += font.ascent + font.descent + font.leading));
        DrawString(pascal);
      }
      pixels = port.snapshot(r);
    }
    SetPort(dialog);
    return pixels;
  }
  std::vector<UInt32> selection_pane(const std::string& first, const std::string& second) {
    Rect t{};
    GetSelectionInfoTextRect(state_.get(), &t);
    return two_lines(t, t.top, 1, first, second);
  }
  std::vector<UInt32> shown_selection_pane() {
    Rect t{};
    GetSelectionInfoTextRect(state_.get(), &t);
    return pixels_in(dialog_, t);
  }
};

TEST_F(Panes, SelectionPaneGivesBytesAndSizeInImagePixelsAndEmptiesWithTheSelection) {
  use_flat_preview();
  image_.channels = 4;  // 3000 x 2000 x 4 = 24,000,000 bytes: 23438 KB, 23 MB
  SetUpSelectionInfo(state_.get());
  ASSERT_NE(state_->infoOffscreen, nullptr);
  ChangeAnts(state_.get(), &kPreview);
  EXPECT_EQ(shown_selection_pane(), selection_pane("23 MB of pixels", "3000 by 2000 pixels"));

  image_.width = 300;  // one preview pixel is one image pixel
  image_.height = 200;
  image_.channels = 3;
  Rect one = in_preview(0, 0, 1, 1);
  ChangeAnts(state_.get(), &one);
  EXPECT_EQ(shown_selection_pane(), selection_pane("1 KB of pixels", "1 by 1 pixels"));

  ChangeAnts(state_.get(), nullptr);
  EXPECT_EQ(shown_selection_pane(), selection_pane("", ""));
  std::vector<UInt32> dialog = pixels_in(dialog_, Rect{0, 0, 300, 520});
  ChangeAnts(state_.get(), nullptr);
  EXPECT_EQ(pixels_in(dialog_, Rect{0, 0, 300, 520}), dialog);
  TearDownSelectionInfo(state_.get());
  EXPECT_EQ(state_->infoOffscreen, nullptr);
}

TEST_F(Panes, ImagePaneGivesTheFileNameBytesAndSize) {
  image_.channels = 4;
  CopyCStringToPascal("Harbour.tif", image_.fileSpec.name);
  ImageInfoProc(dialog_, 5);
  Rect lines{SInt16(kImagePane.top + 20), SInt16(kImagePane.left + 9),
             SInt16(kImagePane.bottom - 1), SInt16(kImagePane.right - 2)};
  EXPECT_EQ(pixels_in(dialog_, lines),
            two_lines(lines, kImagePane.top + 19, 32, "23 MB of pixels", "3000 by 2000 pixels"));
  // The title breaks the frame's top edge right of the icon.
  Rect title{kImagePane.top, SInt16(kImagePane.left + 28), SInt16(kImagePane.top + 18),
             SInt16(kImagePane.left + 90)};
  EXPECT_GT(tessel::testing::dark_pixels(*GetDialogPort(dialog_), title), 20);
}

}  // namespace
