// --script and the options commands share: the real program and module run
// headless, their dialogs answered by script files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>

#include "MacErrors.h"
#include "TempFolder.h"
#include "host/Commands.h"
#include "host/Document.h"
#include "host/ExtractDocument.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

constexpr const char* kMoved = "scene/moved/image.tif";

struct Outcome {
  int status;
  std::string err;
};

class ScriptOption : public testing::TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    const std::filesystem::path bin = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    program_ = bin / "tessel";
    setenv("HOME", root_.c_str(), 1);
    setenv("TESSEL_MODULE", (bin.parent_path() / "lib" / "tessel.plugin").c_str(), 1);
    unsetenv("TESSEL_SELECT_FILE");
    unsetenv("TESSEL_ALERT_LOG");
  }

  Outcome tessel(const std::string& arguments) {
    const std::string command = "cd " + root_.string() + " && timeout 60 " + program_.string() +
                                " " + arguments + " >/dev/null 2>" + path("err.txt").string();
    const int status = std::system(command.c_str());
    const std::vector<UInt8> err = read_file(path("err.txt"));
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, std::string(err.begin(), err.end())};
  }

  std::string script(const std::string& name, const std::string& text) {
    write_file(name, std::vector<UInt8>(text.begin(), text.end()));
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

  std::filesystem::path program_;
};

TEST_F(ScriptOption, AboutBoxFollowsTheScript) {
  const Outcome run = tessel("about" + script("about.txt",
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
    Outcome run = tessel(command + " --script " + path("absent.txt").string());
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
  Outcome run = tessel("export doc.tif" + script("cancel.txt", "save dialog.png\npress escape\n"));
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
