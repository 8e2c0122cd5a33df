// --script and the options commands share: the real program and module run
// headless, their dialogs answered by script files.
#include <gtest/gtest.h>

#include <algorithm>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "host/Commands.h"
#include "host/Document.h"
#include "host/ExtractDocument.h"
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
    auto cut = extract_document(path("scene/image.tif"), Rect{5, 7, 25, 40});
    ASSERT_TRUE(cut);
    for (UInt8& sample : cut->pixels) sample = UInt8(~sample);
    ASSERT_EQ(write_document(path("doc.tif"), *cut), noErr);
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

}  // namespace
}  // namespace tessel::host
