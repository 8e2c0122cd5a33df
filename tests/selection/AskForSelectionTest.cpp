// The selection dialog end to end, headless: the preview fitted to the image,
// the mouse and keyboard changing the selection, the conversion to image
// pixels on OK, and what is remembered for the next time.
//
// The sample is 512 x 384, so the preview P is (60, 12, 252, 268): 256 x 192
// at half the image's scale. Script coordinates are h, then v.
#include <gtest/gtest.h>

#include <optional>

#include "AskForSelectionFixture.h"
#include "MacMemory.h"
#include "Quickdraw.h"
#include "records/ResultCodes.h"
#include "selection/AskUtilities.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::testing::AskForSelectionTest;
using tessel::testing::sides;

const std::vector<int> kWholeImage{0, 0, 384, 512};
const std::string kRubberBand = "down 50 100\ndrag 100 150\nup 100 150\n";
const std::vector<int> kRubberBandInImage{80, 76, 180, 176};

class SelectionDialog : public AskForSelectionTest {
 protected:
  void SetUp() override {
    AskForSelectionTest::SetUp();
    open_image("photo.tif", {.width = 512, .height = 384});  // grayscale
  }
};

TEST_F(SelectionDialog, PreviewItemFitsTheImageAndIsFramedOutsideP) {
  struct Case {
    SInt32 width, height;
    std::vector<int> item4;
    int item14Top;
  };
  const Case cases[] = {
      {100, 80, {116, 90, 197, 191}, 96},    // smaller: full size, centred
      {3000, 2000, {71, 12, 242, 269}, 51},  // wide: 256 x 170 (170.67 truncated)
      {384, 512, {28, 44, 285, 237}, 8},     // tall: 192 x 256
      {256, 256, {28, 12, 285, 269}, 8},     // as large as the item: scaled, not centred
      {1, 5000, {28, 140, 285, 142}, 8},     // a sliver keeps one column
  };
  for (const Case& c : cases) {
    SourceImage image{};
    image.width = c.width;
    image.height = c.height;
    SelectionDialogState state{};
    state.params = &params_;
    state.sourceImage = &image;
    ASSERT_EQ(SetUpSelectionDialog(&state), noErr);
    Rect item{}, follower{}, preview{};
    GetDItemRect(state.dialog, kPreviewItem, &item);
    GetDItemRect(state.dialog, kFollowsPreviewItem, &follower);
    GetPreviewRect(&state, &preview);
    EXPECT_EQ(sides(item), c.item4) << c.width << " x " << c.height;
    EXPECT_EQ(follower.top, c.item14Top) << c.width << " x " << c.height;
    EXPECT_EQ(sides(state.selection), sides(preview)) << "no memory: the whole preview";
    if (c.width == 3000) {
      ShowWindow(state.dialog);
      DrawDialog(state.dialog);
      const GrafPort& port = *state.dialog;
      for (int h : {11, 140, 268}) EXPECT_EQ(qd::pixel(port, h, 70), 0x000000u) << h;
      for (int v : {71, 150, 241}) EXPECT_EQ(qd::pixel(port, 268, v), 0x000000u) << v;
      EXPECT_EQ(qd::pixel(port, 140, 69), 0xFFFFFFu) << "the frame is one pixel wide";
    }
    EXPECT_EQ(TearDownSelectionDialog(&state, false), noErr);
  }
}

TEST_F(SelectionDialog, RubberBandIsUprightClippedAndAClickSelectsAll) {
  EXPECT_EQ(run(kRubberBand), noErr);
  EXPECT_EQ(selection(), kRubberBandInImage);
  // Up and to the left, far beyond P's top-left corner.
  EXPECT_EQ(run("down 200 200\ndrag 0 0\nup 0 0\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{0, 0, 280, 376}));
  EXPECT_EQ(run("down 100 100\nup 100 100\n"), noErr);
  EXPECT_EQ(selection(), kWholeImage);
}

TEST_F(SelectionDialog, SpaceOrCommandOptionDragsTheSelectionAlongTheEdge) {
  for (std::string keys : {"space", "command option"}) {
    // Grabbed 10 right of and 20 below its corner and pushed past P's right edge.
    EXPECT_EQ(run(kRubberBand + "hold " + keys + "\ndown 60 120\ndrag 300 120\nup 300 120\n" +
                  "release\n"),
              noErr);
    EXPECT_EQ(selection(), (std::vector<int>{80, 412, 180, 512})) << keys;
  }
  // Command alone is no move: the same gesture draws a band with no height.
  EXPECT_EQ(run(kRubberBand + "hold command\ndown 60 120\ndrag 300 120\nup 300 120\nrelease\n"),
            noErr);
  EXPECT_EQ(selection(), kWholeImage);
}

// Row 1 of the cursor: the cross hair's stem, or the move cursor's arrow head.
std::optional<UInt16> cursorRow() {
  auto cursor = tessel::platform::headless::active()->cursor();
  return cursor ? std::optional<UInt16>(cursor->image[1]) : std::nullopt;
}

TEST_F(SelectionDialog, IdleCursorShowsWhatAClickInThePreviewWouldDo) {
  EXPECT_EQ(run(kRubberBand + "wait 2\n"), noErr);
  EXPECT_EQ(cursorRow(), std::optional<UInt16>(0x0100)) << "selection cursor";
  EXPECT_EQ(run(kRubberBand + "down 300 150\nup 300 150\nwait 2\n"), noErr);
  EXPECT_EQ(cursorRow(), std::nullopt) << "arrow outside the preview";
  EXPECT_EQ(run("click 7\ndown 100 150\nup 100 150\nwait 2\n"), noErr);
  EXPECT_EQ(cursorRow(), std::nullopt) << "arrow over the grid";
  std::filesystem::remove(prefs_file());  // the grid is off again
  EXPECT_EQ(run(kRubberBand + "hold space\nwait 2\n"), noErr);
  EXPECT_EQ(cursorRow(), std::optional<UInt16>(0x0380)) << "move cursor";
}

TEST_F(SelectionDialog, ArrowsStopAtTheEdgesAndMinusKeepsOnePixel) {
  EXPECT_EQ(run("press left\npress up\nkey --\npress left\nkey +\n"), noErr);
  // P shrunk twice to (62, 14, 250, 266), one left, grown again within P.
  EXPECT_EQ(selection(), (std::vector<int>{2, 0, 382, 508}));
  EXPECT_EQ(run("down 50 100\ndrag 51 101\nup 51 101\nkey -\npress right\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{80, 78, 82, 80}));
  EXPECT_EQ(run(kRubberBand + "key a\n"), noErr);
  EXPECT_EQ(selection(), kWholeImage);
}

TEST_F(SelectionDialog, GridKeysWalkTheCellsRowByRowAndWrap) {
  // Column lines at 12, 97, 183, 268 and row lines at 60, 124, 188, 252.
  EXPECT_EQ(run("click 7\nkey FNNNN\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{128, 170, 256, 342}));
  std::filesystem::remove(prefs_file());
  EXPECT_EQ(run("click 7\nkey FNNNNNNNNN\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{0, 0, 128, 170}));
  std::filesystem::remove(prefs_file());
  // With the grid on a click picks a cell, Space or not.
  EXPECT_EQ(run("click 7\nhold space\ndown 240 240\nup 240 240\nrelease\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{256, 342, 384, 512}));
}

// P throws away the rows already shown and starts the preview again from
// the top, as after a file was changed behind the dialog's back.
TEST_F(SelectionDialog, PRestartsThePreviewFromTheTop) {
  SelectionDialogState state{};
  state.params = &params_;
  state.sourceImage = &image_;
  ASSERT_EQ(SetUpSelectionDialog(&state), noErr);
  ShowWindow(state.dialog);
  auto row = [&](int v) {
    std::vector<UInt32> pixels;
    for (int h = 0; h < 256; ++h) pixels.push_back(qd::pixel(*state.preview.offscreen, h, v));
    return pixels;
  };
  const std::vector<UInt32> waiting = row(0);
  EventRecord idle{}, p{};
  idle.what = nullEvent;
  p.what = keyDown;
  p.message = 'p';
  SInt16 item = 0;
  for (int step = 0; step < 3; ++step) AskDialogProc(state.dialog, &idle, &item);
  EXPECT_EQ(state.lastPreviewRow, 15);
  ASSERT_NE(row(0), waiting) << "an image row replaced the waiting picture";
  AskDialogProc(state.dialog, &p, &item);
  EXPECT_EQ(state.lastPreviewRow, 0);
  EXPECT_EQ(row(0), waiting);
  AskDialogProc(state.dialog, &idle, &item);
  EXPECT_EQ(state.lastPreviewRow, 5);
  EXPECT_EQ(TearDownSelectionDialog(&state, false), noErr);
}

TEST_F(SelectionDialog, OkRemembersSelectionAndGridCancelWritesNothing) {
  EXPECT_EQ(run("click 7\nkey FN\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{0, 170, 128, 342}));
  // The grid and the cell come back: N goes on from there.
  EXPECT_EQ(run("key N\n"), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{0, 342, 128, 512}));
  std::vector<UInt8> remembered = read_file(prefs_file());
  EXPECT_EQ(run("key F\npress escape\n"), kUserCancelled);
  EXPECT_EQ(read_file(prefs_file()), remembered);
  EXPECT_EQ(run(""), noErr);
  EXPECT_EQ(selection(), (std::vector<int>{0, 342, 128, 512}));

  // A remembered selection reaching outside P gives way to P.
  std::vector<UInt8> outside = remembered;
  const std::vector<UInt8> aboveP{0, 0, 0, 10,  0, 0, 0, 20,  // top 10 < P.top
                                  0, 0, 0, 100, 0, 0, 0, 100};
  std::copy(aboveP.begin(), aboveP.end(), outside.begin() + 4 + 16);
  write_file("config/tessel/Tessel Selections", outside);
  EXPECT_EQ(run(""), noErr);
  EXPECT_EQ(selection(), kWholeImage);
}

TEST_F(SelectionDialog, MissingCursorOrTemplateGives999AndShowsNothing) {
  close_compiled();
  EXPECT_EQ(run(""), kInternalFailure);
  EXPECT_TRUE(tessel::platform::windows::all().empty());

  // Both cursors, but no dialog template.
  for (SInt16 id : {kSelectionCursorID, kMoveCursorID}) {
    add({FourCC("CURS"), id, 0, "", std::vector<UInt8>(sizeof(Cursor))});
  }
  open_resources();
  EXPECT_EQ(run(""), kInternalFailure);
  EXPECT_TRUE(tessel::platform::windows::all().empty());
  EXPECT_FALSE(std::filesystem::exists(prefs_file()));
}

}  // namespace
