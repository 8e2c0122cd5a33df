// The real tessel program and module, run from a test: a scratch folder as
// home and working folder, the module beside the test binary, alerts logged
// to a file instead of shown.
#pragma once

#include <stdlib.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/FormatTestSupport.h"
#include "formats/RasterFormats.h"
#include "host/Document.h"

namespace tessel::testing {

struct ProgramRun {
  int status;  // the exit status; -1 when the program did not exit
  std::string out;
  std::string err;
  std::string alerts;  // what the run logged; the log starts empty for each run
};

// How many samples of the image, read whole through the format layer, differ
// from what expected says.
inline std::size_t samples_differing(const std::filesystem::path& file,
                                     const SampleRule& expected) {
  OpenedImage opened(file);
  EXPECT_EQ(opened.result, noErr) << file;
  SourceImage& image = opened.image;
  const SInt32 channels = image.channels, width = image.width;
  std::vector<UInt8> pixels(std::size_t(width) * image.height * channels);
  const TileArea area{0, 0, image.height, width, 0, channels};
  EXPECT_EQ(RasterFormatGetTile(&image.format,
                                Tile{pixels.data(), area, width * channels, channels, 0}, area),
            noErr);
  std::size_t wrong = 0;
  for (std::size_t i = 0; i < pixels.size(); ++i)
    wrong += pixels[i] != expected(SInt32(i / channels / width), SInt32(i / channels % width),
                                   SInt32(i % channels));
  return wrong;
}

inline std::filesystem::path program_folder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

inline std::filesystem::path module_file() {
  return program_folder().parent_path() / "lib" / "tessel.plugin";
}

// The document the real `tessel extract` cuts from image at rect (a Rect or
// a VRect), written as doc and read back; the tests' documents come the way
// users' do.
template <class AnyRect>
Expected<host::Document> extracted_document(const std::filesystem::path& image, const AnyRect& rect,
                                            const std::filesystem::path& doc) {
  const std::string command = "TESSEL_MODULE='" + module_file().string() + "' timeout -k 5 60 '" +
                              (program_folder() / "tessel").string() + "' extract '" +
                              image.string() + "' --rect " + std::to_string(rect.top) + "," +
                              std::to_string(rect.left) + "," + std::to_string(rect.bottom) + "," +
                              std::to_string(rect.right) + " -o '" + doc.string() +
                              "' --force >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return Expected<host::Document>::failure(ioErr);
  return host::read_document(doc);
}

// The document cut from image at rect, every sample inverted, written as doc.
template <class AnyRect>
host::Document inverted_document(const std::filesystem::path& image, const AnyRect& rect,
                                 const std::filesystem::path& doc) {
  auto cut = extracted_document(image, rect, doc);
  EXPECT_TRUE(cut) << cut.error();
  if (!cut) return {};
  for (UInt8& sample : cut->pixels) sample = UInt8(~sample);
  EXPECT_EQ(host::write_document(doc, *cut), noErr);
  return std::move(*cut);
}

template <class AnyRect>
bool inside(const AnyRect& rect, SInt32 row, SInt32 column) {
  return row >= rect.top && row < rect.bottom && column >= rect.left && column < rect.right;
}

inline std::size_t bytes_differing(const std::vector<UInt8>& before,
                                   const std::vector<UInt8>& after) {
  EXPECT_EQ(after.size(), before.size());
  std::size_t changed = 0;
  for (std::size_t i = 0; i < std::min(after.size(), before.size()); ++i)
    changed += after[i] != before[i];
  return changed;
}

// Whether text names number on its own: not as part of a longer number, nor
// of the negative one.
inline bool mentions(const std::string& text, int number) {
  return std::regex_search(text, std::regex("(^|[^0-9-])" + std::to_string(number) + "([^0-9]|$)"));
}

class ProgramTest : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    setenv("HOME", root_.c_str(), 1);
    setenv("TESSEL_MODULE", module_file().c_str(), 1);
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
    unsetenv("TESSEL_SELECT_FILE");
    unsetenv("TESSEL_TEST_INTERRUPT_AFTER_STRIPS");
    unsetenv("TESSEL_TEST_INTERRUPT_AFTER_BANDS");
    unsetenv("TESSEL_TEST_INTERRUPT_SIGNAL");
  }

  // Runs tessel in the scratch folder; a run that hangs is ended after a minute.
  ProgramRun tessel(const std::string& arguments) {
    const std::string command = "cd " + root_.string() + " && timeout -k 5 60 " +
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
