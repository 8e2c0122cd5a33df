// The real tessel program and module, run from a test: a scratch folder as
// home and working folder, the module beside the test binary, alerts logged
// to a file instead of shown.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/RasterFormats.h"

namespace tessel::testing {

struct ProgramRun {
  int status;  // the exit status; -1 when the program did not exit
  std::string out;
  std::string err;
  std::string alerts;  // what the run logged; the log starts empty for each run
};

// Every sample of the image, planes interleaved, through the format layer.
inline std::vector<UInt8> read_image(const std::filesystem::path& file, SInt32& width,
                                     SInt32& channels) {
  auto spec = platform::files::spec_from_path(file);
  EXPECT_TRUE(spec.has_value()) << file;
  SourceImage image{};
  if (spec) image.fileSpec = *spec;
  EXPECT_EQ(RasterFormatOpen(&image), noErr);
  width = image.width;
  channels = image.channels;
  std::vector<UInt8> pixels(std::size_t(image.width) * image.height * image.channels);
  const TileArea area{0, 0, image.height, image.width, 0, image.channels};
  const Tile tile{pixels.data(), area, image.width * image.channels, image.channels, 0};
  EXPECT_EQ(RasterFormatGetTile(&image.format, tile, area), noErr);
  RasterFormatClose(&image.format);
  return pixels;
}

// Whether text names number on its own: not as part of a longer number, nor
// of the negative one.
inline bool mentions(const std::string& text, int number) {
  return std::regex_search(text, std::regex("(^|[^0-9-])" + std::to_string(number) + "([^0-9]|$)"));
}

class ProgramTest : public TempFolder {
 protected:
  static std::filesystem::path program_folder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
  }

  void SetUp() override {
    TempFolder::SetUp();
    setenv("HOME", root_.c_str(), 1);
    setenv("TESSEL_MODULE", (program_folder().parent_path() / "lib" / "tessel.plugin").c_str(), 1);
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
    unsetenv("TESSEL_SELECT_FILE");
    unsetenv("TESSEL_TEST_INTERRUPT_AFTER_STRIPS");
    unsetenv("TESSEL_TEST_INTERRUPT_AFTER_BANDS");
  }

  // Runs tessel in the scratch folder; a run that hangs is ended after a minute.
  ProgramRun tessel(const std::string& arguments) {
    const std::string command = "cd " + root_.string() + " && timeout 60 " +
                                (program_folder() / "tessel").string() + " " + arguments +
                                " >out.txt 2>err.txt";
    const int status = std::system(command.c_str());
    ProgramRun run{WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(path("out.txt")),
                   text_of(path("err.txt")), text_of(path("alerts.log"))};
    std::filesystem::remove(path("alerts.log"));
    return run;
  }

  void write_text(const std::string& name, const std::string& text) {
    write_file(name, std::vector<UInt8>(text.begin(), text.end()));
  }

  static std::string text_of(const std::filesystem::path& file) {
    const std::vector<UInt8> bytes = read_file(file);
    return std::string(bytes.begin(), bytes.end());
  }
};

}  // namespace tessel::testing
