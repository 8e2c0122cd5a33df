// The grid: where its lines fall and are drawn, how points snap to them, and
// how the counts, the buttons and the check box turn it on and off.
#include <gtest/gtest.h>

#include "selection/AskGrid.h"
#include "selection/SelectionDialogFixture.h"

namespace {

using tessel::testing::from_preview;
using tessel::testing::in_preview;
using tessel::testing::kPreview;
using tessel::testing::kPreviewGray;
using tessel::testing::pixels_in;

class Grid : public tessel::testing::SelectionDialogFixture {
 protected:
  // The point (h, v) of P snapped, back relative to P as {h, v}.
  std::pair<int, int> fit(int h, int v, SInt16 mode) {
    Point p = in_preview(h, v);
    GridFitPoint(state_.get(), &p, mode);
    return {p.h - kPreview.left, p.v - kPreview.top};
  }
  // What a column (or row) of the preview shows: a dotted line is all black
  // and white, the bare preview all gray.
  enum class Shows { line, preview, other };
  Shows strip(const Rect& r) {
    std::vector<UInt32> pixels = pixels_in(dialog_, r);
    if (std::ranges::all_of(pixels, [](UInt32 p) { return p == kPreviewGray; })) {
      return Shows::preview;
    }
    bool dotted = std::ranges::all_of(pixels, [](UInt32 p) { return p == 0 || p == 0xFFFFFF; });
    return dotted && pixels[0] != pixels[1] ? Shows::line : Shows::other;
  }
  Shows column(int h) { return strip(in_preview(0, h, 200, h + 1)); }
  Shows row(int v) { return strip(in_preview(v, 0, v + 1, 300)); }
  void select_all() {
    state_->selectionExists = 1;
    state_->selection = kPreview;
  }
};

TEST_F(Grid, SnapsToNearestPreviousOrNextLineWithTiesToTheFirst) {
  state_->gridOn = 1;  // 3 x 3 on 300 x 200: columns at 0, 100, 200, 300
  EXPECT_EQ(fit(50, 0, kGridFitNearest).first, 0);
  EXPECT_EQ(fit(51, 0, kGridFitNearest).first, 100);
  EXPECT_EQ(fit(99, 0, kGridFitBefore).first, 0);
  EXPECT_EQ(fit(100, 0, kGridFitBefore).first, 100);
  EXPECT_EQ(fit(1, 0, kGridFitAfter).first, 100);
  EXPECT_EQ(fit(0, 0, kGridFitAfter).first, 0);
  state_->gridRows = 2;  // rows at 0, 100, 200
  EXPECT_EQ(fit(0, 50, kGridFitNearest).second, 0);
  EXPECT_EQ(fit(0, 151, kGridFitNearest).second, 200);
  EXPECT_EQ(fit(0, 199, kGridFitBefore).second, 100);
  state_->gridOn = 0;
  EXPECT_EQ(fit(57, 33, kGridFitNearest), std::pair(57, 33));
}

TEST_F(Grid, DrawsOnlyTheInteriorLinesWhereLinearMapPutsThem) {
  use_flat_preview();
  state_->gridOn = 1;
  state_->gridColumns = 7;
  state_->gridRows = 1;
  DisplayGrid(state_.get());
  for (int x : {43, 86, 129, 171, 214, 257}) {
    EXPECT_EQ(column(x), Shows::line) << x;
    EXPECT_EQ(column(x + 1), Shows::preview) << x + 1;
    EXPECT_EQ(column(x - 1), Shows::preview) << x - 1;
  }
  EXPECT_EQ(column(0), Shows::preview);
  EXPECT_EQ(column(299), Shows::preview);

  DisplayPreview(state_.get(), nullptr);
  state_->gridColumns = 1;
  state_->gridRows = 3;
  DisplayGrid(state_.get());
  EXPECT_EQ(row(67), Shows::line);
  EXPECT_EQ(row(133), Shows::line);
  EXPECT_EQ(row(66), Shows::preview);
  EXPECT_EQ(row(0), Shows::preview);
  EXPECT_EQ(row(199), Shows::preview);
}

TEST_F(Grid, TogglingSelectsTheCellUnderTheClickPointOrRemovesTheLines) {
  use_flat_preview();
  select_all();
  state_->gridClickPoint = in_preview(100, 150);
  SetGridToggle(state_.get(), true);
  EXPECT_EQ(GetDItemValue(dialog_, kGridCheckBoxItem), 1);
  // A click point on a line selects the cell right of and below it.
  EXPECT_EQ(from_preview(state_->selection), (std::vector<int>{133, 100, 200, 200}));
  EXPECT_EQ(row(67), Shows::line);

  SetGridToggle(state_.get(), false);
  EXPECT_EQ(GetDItemValue(dialog_, kGridCheckBoxItem), 0);
  EXPECT_EQ(row(67), Shows::preview);

  // A user item's handle is its drawing routine, not a control to set.
  SetDItemValue(dialog_, kPreviewItem, 1);
  EXPECT_EQ(GetDItemValue(dialog_, kPreviewItem), 0);
}

TEST_F(Grid, OneByOneTurnsTheGridOffAndAnyOtherCountTurnsItOn) {
  use_flat_preview();
  select_all();
  state_->gridColumns = 2;
  state_->gridRows = 1;
  state_->gridClickPoint = in_preview(10, 150);
  SetGridToggle(state_.get(), true);
  ChangeGrid(state_.get(), 1, 1);
  EXPECT_EQ(state_->gridOn, 0);
  EXPECT_EQ(GetDItemValue(dialog_, kGridCheckBoxItem), 0);
  EXPECT_EQ(column(150), Shows::preview);

  ChangeGrid(state_.get(), 1, 2);
  EXPECT_EQ(state_->gridOn, 1);
  EXPECT_EQ(from_preview(state_->selection), (std::vector<int>{100, 0, 200, 300}));
}

// The mouse goes down on the columns-plus button and comes up on it.
TEST_F(Grid, ButtonAddsAColumnUnlessAtItsLimit) {
  use_flat_preview();
  select_all();
  Rect button{185, 356, 198, 369};
  auto press = [&](SInt16 columns) {
    ShowWindow(dialog_);  // the script acts on a window shown and drawn
    BeginUpdate(dialog_);
    EndUpdate(dialog_);
    ASSERT_NE(tessel::platform::headless::use_script("down 362 190\nwait 2\nup 362 190\n"),
              nullptr);
    EventRecord event{};
    ASSERT_TRUE(GetNextEvent(mDownMask, &event));
    state_->gridColumns = columns;
    TrackGridAdjustment(state_.get(), kColumnsMoreItem);
  };
  std::vector<UInt32> untouched = pixels_in(dialog_, button);
  press(50);
  EXPECT_EQ(state_->gridColumns, 50);
  EXPECT_EQ(state_->gridOn, 0);
  EXPECT_EQ(pixels_in(dialog_, button), untouched);

  press(4);
  EXPECT_EQ(state_->gridColumns, 5);
  EXPECT_EQ(state_->gridOn, 1);
  EXPECT_NE(pixels_in(dialog_, button), untouched);
}

}  // namespace
