// --script and the options commands share: the real program and module run
// headless, their dialogs answered by script files. The selection dialog's
// rubber band is dragged with the mouse, and a script that runs out while a
// dialog cannot be confirmed ends the run.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "host/Commands.h"
#include "host/Document.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

constexpr const char* kMoved = "scene/moved/image.tif";

using testing::ProgramRun;

class ScriptOption : public testing::ProgramTest {
 protected:
  // Alerts are drawn here, as the user would see them, for the scripts to answer.
  void SetUp() override {
    ProgramTest::SetUp();
    unsetenv("TESSEL_ALERT_LOG");
  }

  std::string script(const std::string& name, const std::string& text) {
    write_text(name, text);
    return " --script " + path(name).string();
  }

  // doc.tif, cut from a 64 x 48 RGB scene/image.tif that then moves to
  // scene/moved/, the one folder of scene/.
  void document_of_moved_image() {
    std::filesystem::create_directories(path("scene/moved"));
    ASSERT_EQ(
        samples::write_tiff(path("scene/image.tif"), {.samplesPerPixel = 3, .photometric = 2}),
        noErr);
    testing::inverted_document(path("scene/image.tif"), Rect{5, 7, 25, 40}, path("doc.tif"));
    std::filesystem::rename(path("scene/image.tif"), path(kMoved));
  }
};

TEST_F(ScriptOption, AboutBoxFollowsTheScript) {
  const ProgramRun run =
      tessel("about" + script("about.txt",
                              "key qzmrt\nsave shown.png\nwait 200\nsave gone.png\n"
                              "key biscuit\nsave never.png\n"));
  EXPECT_EQ(run.status, kExitDone) << run.err;
  ASSERT_TRUE(std::filesystem::exists(path("shown.png")));
  ASSERT_TRUE(std::filesystem::exists(path("gone.png")));
  EXPECT_NE(read_file(path("shown.png")), read_file(path("gone.png")));
  EXPECT_FALSE(std::filesystem::exists(path("never.png")));  // the word closed the box
}

TEST_F(ScriptOption, UnusableScriptsStopTheCommandBeforeItStarts) {
  document_of_moved_image();
  const std::vector<UInt8> before = read_file(path(kMoved));
  const std::string bad = script("bad.txt", "# fine\nwait 3\nclick\n");
  for (const std::string& command : {std::string("about"), std::string("export doc.tif")}) {
    SCOPED_TRACE(command);
    ProgramRun run = tessel(command + " --script " + path("absent.txt").string());
    EXPECT_EQ(run.status, kExitFailed);
    EXPECT_NE(run.err.find("absent.txt"), std::string::npos) << run.err;
    run = tessel(command + bad);
    EXPECT_EQ(run.status, kExitFailed);
    EXPECT_NE(run.err.find("line 3"), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
  EXPECT_EQ(read_file(path(kMoved)), before);
}

// The file dialog that asks for a moved image is answered in its window:
// double-clicks open the folder "moved" (the first row) and choose the image.
TEST_F(ScriptOption, ExportFileDialogFollowsTheScript) {
  document_of_moved_image();
  const std::vector<UInt8> before = read_file(path(kMoved));
  ProgramRun run =
      tessel("export doc.tif" + script("cancel.txt", "save dialog.png\npress escape\n"));
  EXPECT_EQ(run.status, kExitCancelled) << run.err;
  EXPECT_TRUE(std::filesystem::exists(path("dialog.png")));
  EXPECT_EQ(read_file(path(kMoved)), before);

  const std::string twice = "down 60 86\nup 60 86\ndown 60 86\nup 60 86\n";
  run = tessel("export doc.tif" + script("choose.txt", twice + "wait 40\n" + twice));
  EXPECT_EQ(run.status, kExitDone) << run.err;
  EXPECT_NE(read_file(path(kMoved)), before);
}

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

// The image chosen in the file dialog is known only after the run, from the
// document's tag; it is checked then, before the document is written.
TEST_F(ScriptedSelection, ADocumentIsNeverWrittenOverTheImageChosenInTheDialog) {
  const std::vector<UInt8> before = read_file(path("image.tif"));
  // The second row, below the catalog's folder "data".
  write_text("choose.txt", "down 60 101\nup 60 101\ndown 60 101\nup 60 101\nwait 40\n");
  const ProgramRun run = tessel("acquire -o image.tif --force --script choose.txt");
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_NE(run.err.find("image.tif is the same file as " + path("image.tif").string()),
            std::string::npos)
      << run.err;
  EXPECT_EQ(read_file(path("image.tif")), before);
}

}  // namespace
}  // namespace tessel::host
