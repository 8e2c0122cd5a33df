// The selection dialog and the file dialog driven through the real program
// by scripts: a rubber band dragged with the mouse, and a script that runs
// out while a dialog cannot be confirmed.
#include <gtest/gtest.h>

#include <regex>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using testing::ProgramRun;

class ScriptedSelection : public testing::ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    ASSERT_EQ(
        samples::write_tiff(path("image.tif"),
                            {.width = 1200, .height = 900, .samplesPerPixel = 3, .photometric = 2}),
        noErr);
  }

  // The rectangle tessel select prints for a script; empty when it printed
  // none.
  std::string selected(const std::string& script) {
    std::filesystem::remove_all(path("config"));  // no remembered selection
    write_text("script.txt", script);
    const ProgramRun run = tessel("select image.tif --script script.txt");
    EXPECT_EQ(run.status, 0) << run.err;
    std::smatch sides;
    if (!std::regex_match(run.out, sides, std::regex("(\\d+),(\\d+),(\\d+),(\\d+)\n"))) return "";
    return run.out.substr(0, run.out.size() - 1);
  }
};

// The band spans from where the button went down to where it came up,
// however many moves the script made on the way.
TEST_F(ScriptedSelection, RubberBandEndsWhereTheButtonComesUp) {
  const std::string whole = selected("wait 120\n");
  EXPECT_EQ(whole, "0,0,900,1200");
  const std::string band = selected("wait 120\ndown 50 100\ndrag 150 200\nup 150 200\n");
  ASSERT_FALSE(band.empty());
  EXPECT_NE(band, whole);
  int top = 0, left = 0, bottom = 0, right = 0;
  ASSERT_EQ(std::sscanf(band.c_str(), "%d,%d,%d,%d", &top, &left, &bottom, &right), 4);
  // 100 pixels of the preview across, 100 down: the band is square, well
  // inside the image.
  EXPECT_GT(top, 0);
  EXPECT_GT(left, 0);
  EXPECT_LT(bottom, 900);
  EXPECT_LT(right, 1200);
  EXPECT_NEAR(bottom - top, right - left, 8);

  EXPECT_EQ(selected("wait 120\ndown 50 100\ndrag 100 150\nup 150 200\n"), band);
  EXPECT_EQ(selected("wait 120\ndown 50 100\nup 150 200\n"), band);
  EXPECT_EQ(selected("down 50 100\ndrag 70 110\nwait 30\ndrag 10 10\nup 150 200\nclick 1\n"), band);
}

// With no image named and nothing chosen in the file dialog, Return cannot
// confirm it; the run must end as cancelled instead of waiting forever.
TEST_F(ScriptedSelection, FileDialogWithNothingChosenIsCancelledWhenTheScriptRunsOut) {
  write_text("empty.txt", "");
  const ProgramRun run = tessel("acquire -o doc.tif --script empty.txt");
  EXPECT_EQ(run.status, 3) << run.err;
  EXPECT_FALSE(std::filesystem::exists(path("doc.tif")));
}

}  // namespace
}  // namespace tessel::host
