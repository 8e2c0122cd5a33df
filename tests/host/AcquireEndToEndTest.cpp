// tessel acquire, select and info end to end: the real binary and module,
// dialogs answered by scripts, documents read back with libtiff.
#include <gtest/gtest.h>

#include <regex>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "TagFields.h"
#include "host/Document.h"
#include "host/ExtractDocument.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

namespace fs = std::filesystem;
using samples::sample_value;
using testing::mentions;
using testing::ProgramRun;

// The file dialog confirmed, the grid switched on and one of its cells
// clicked: a rectangle well inside the image, then OK.
constexpr const char* kGridCellScript = "click 1\nclick 7\ndown 60 60\nup 60 60\n";

class AcquireEndToEnd : public testing::ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    write_text("ok.txt", "");
    write_text("grid.txt", kGridCellScript);
  }

  // The selection preferences start afresh for each run.
  ProgramRun tessel(const std::string& arguments) {
    fs::remove_all(path("config"));
    return ProgramTest::tessel(arguments);
  }

  std::string acquire(const std::string& image, const std::string& script = "ok.txt") {
    return "acquire " + image + " -o doc.tif --script " + script;
  }

  // The rectangle the document's tag names.
  static Rect tagged_rect(const Document& document) {
    EXPECT_EQ(document.resources.size(), 1u);
    if (document.resources.empty()) return {};
    return tessel::testing::tag_fields(document.resources[0].data).rect;
  }

  // Every sample of the document is the image's in rect.
  static void expect_samples(const Document& document, const Rect& rect) {
    ASSERT_EQ(document.rows, rect.bottom - rect.top);
    ASSERT_EQ(document.columns, rect.right - rect.left);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < document.pixels.size(); ++i) {
      const SInt32 p = SInt32(i % document.planes),
                   c = SInt32(i / document.planes % document.columns),
                   r = SInt32(i / document.planes / document.columns);
      wrong += document.pixels[i] != sample_value(0, r + rect.top, c + rect.left, p);
    }
    EXPECT_EQ(wrong, 0u);
  }
};

TEST_F(AcquireEndToEnd, EachFormatAcquiresTheCellAndExportWritesOnlyIt) {
  ASSERT_EQ(
      samples::write_tiff(
          path("rgb.tif"),
          {.width = 90, .height = 60, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 7}),
      noErr);
  ASSERT_EQ(samples::write_scitex(path("cmyk.sct"), {.width = 90, .height = 60}), noErr);
  for (auto [name, mode] :
       {std::pair{"rgb.lmn", kRGBMode}, {"cmyk.lmn", kCMYKMode}, {"lab.lmn", kLabMode}}) {
    const UInt16 channels = mode == kCMYKMode ? 4 : 3;
    ASSERT_EQ(samples::write_native(
                  path(name), {.channels = channels, .rows = 60, .columns = 90, .mode = mode}),
              noErr);
  }
  for (auto [name, mode] : {std::pair{"rgb.tif", kRGBMode},
                            {"cmyk.sct", kCMYKMode},
                            {"rgb.lmn", kRGBMode},
                            {"cmyk.lmn", kCMYKMode},
                            {"lab.lmn", kLabMode}}) {
    SCOPED_TRACE(name);
    fs::remove(path("doc.tif"));
    const std::vector<UInt8> before = read_file(path(name));
    const ProgramRun run = tessel(acquire(name, "grid.txt"));
    ASSERT_EQ(run.status, 0) << run.err << run.alerts;
    Expected<Document> document = read_document(path("doc.tif"));
    ASSERT_TRUE(document);
    EXPECT_EQ(document->mode, mode);
    const Rect rect = tagged_rect(*document);
    EXPECT_GT(rect.top, 0);
    EXPECT_LT(rect.right, 90);
    expect_samples(*document, rect);

    for (UInt8& sample : document->pixels) sample = UInt8(~sample);
    ASSERT_EQ(write_document(path("doc.tif"), *document), noErr);
    ASSERT_EQ(tessel("export doc.tif").status, 0);
    EXPECT_EQ(testing::samples_differing(path(name),
                                         [&](SInt32 r, SInt32 c, SInt32 p) {
                                           const UInt8 flip =
                                               testing::inside(rect, r, c) ? 0xFF : 0;
                                           return UInt8(sample_value(0, r, c, p) ^ flip);
                                         }),
              0u);
    EXPECT_EQ(testing::bytes_differing(before, read_file(path(name))), document->pixels.size());
  }
}

TEST_F(AcquireEndToEnd, WithoutADocumentNameTheTitleNamesItAndNothingIsReplaced) {
  ASSERT_EQ(samples::write_tiff(path("gray.tif"), {.width = 30, .height = 20}), noErr);
  const ProgramRun first = tessel("acquire gray.tif --script ok.txt");
  ASSERT_EQ(first.status, 0) << first.err;
  const fs::path named = path("gray.tif (0,0)-(30,20).tif");
  Expected<Document> document = read_document(named);
  ASSERT_TRUE(document);
  expect_samples(*document, Rect{0, 0, 20, 30});
  // 72 pixels per inch, from the acquire record.
  EXPECT_DOUBLE_EQ(document->xResolution, 72.0);

  const std::vector<UInt8> kept = read_file(named);
  EXPECT_EQ(tessel("acquire gray.tif --script ok.txt").status, 1);
  EXPECT_EQ(read_file(named), kept);
  EXPECT_EQ(tessel("acquire gray.tif --script ok.txt --force").status, 0);
}

TEST_F(AcquireEndToEnd, RefusalsShowThePluginsMessageAndLeaveNoDocument) {
  struct Case {
    std::string name;
    int code;
  };
  std::vector<Case> cases;
  auto tiff = [&](const std::string& name, samples::TiffOptions options, int code) {
    ASSERT_EQ(samples::write_tiff(path(name), options), noErr);
    cases.push_back({name, code});
  };
  tiff("rgb16.tif", {.samplesPerPixel = 3, .bitsPerSample = 16, .photometric = 2}, 107);
  tiff("gray16.tif", {.bitsPerSample = 16}, 106);
  tiff("gray4.tif", {.bitsPerSample = 4}, 114);
  tiff("lzw.tif", {.compression = 5}, 115);
  tiff("planar.tif", {.samplesPerPixel = 4, .photometric = 5, .planarConfiguration = 2}, 116);
  tiff("predictor.tif", {.predictor = 2}, 117);
  tiff("fill.tif", {.fillOrder = 2}, 118);
  tiff("tiled.tif", {.tiles = samples::TiffTiles{}}, 119);
  // Modes through the native format, which stores any mode number.
  const std::vector<std::pair<SInt16, int>> modes{
      {0, 100}, {2, 101}, {5, 102}, {6, 103}, {7, 104}, {8, 105}, {10, 106}, {11, 107}, {12, 108}};
  for (const auto& [mode, code] : modes) {
    const std::string name = "mode" + std::to_string(mode) + ".lmn";
    ASSERT_EQ(samples::write_native(path(name), {.mode = mode}), noErr);
    cases.push_back({name, code});
  }
  write_file("junk.tif", {'M', 'M', 0, 42, 0, 0, 0, 200});
  cases.push_back({"junk.tif", 0});
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramRun run = tessel(acquire(c.name));
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(run.alerts.empty());
    if (c.code != 0) {
      EXPECT_TRUE(mentions(run.alerts, c.code)) << run.alerts;
    }
    EXPECT_FALSE(fs::exists(path("doc.tif")));
  }
}

TEST_F(AcquireEndToEnd, AFileCutShortFailsWithoutADocument) {
  ASSERT_EQ(samples::write_tiff(path("cut.tif"), {.width = 60, .height = 40, .rowsPerStrip = 4}),
            noErr);
  fs::resize_file(path("cut.tif"), fs::file_size(path("cut.tif")) - 300);
  const ProgramRun run = tessel(acquire("cut.tif"));
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(mentions(run.alerts, eofErr)) << run.alerts;
  EXPECT_FALSE(fs::exists(path("doc.tif")));
}

TEST_F(AcquireEndToEnd, CancelOrCtrlCLeavesNoDocumentAndNoAlert) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"), {.width = 60, .height = 40}), noErr);
  write_text("cancel-file.txt", "press escape\n");
  write_text("cancel-selection.txt", "click 1\npress escape\n");
  for (const char* script : {"cancel-file.txt", "cancel-selection.txt"}) {
    SCOPED_TRACE(script);
    const ProgramRun run = tessel(acquire("image.tif", script));
    EXPECT_EQ(run.status, 3);
    EXPECT_TRUE(run.alerts.empty()) << run.alerts;
    EXPECT_FALSE(fs::exists(path("doc.tif")));
  }
  setenv("TESSEL_TEST_INTERRUPT_AFTER_STRIPS", "1", 1);
  const ProgramRun run = tessel(acquire("image.tif") + " --memory-limit 1000");
  EXPECT_EQ(run.status, 3);
  EXPECT_TRUE(run.alerts.empty()) << run.alerts;
  EXPECT_FALSE(fs::exists(path("doc.tif")));
}

TEST_F(AcquireEndToEnd, SelectPrintsTheRectangleExtractTakes) {
  ASSERT_EQ(
      samples::write_tiff(path("image.tif"),
                          {.width = 90, .height = 60, .samplesPerPixel = 3, .photometric = 2}),
      noErr);
  write_text("cell.txt", "click 7\ndown 60 60\nup 60 60\n");
  const ProgramRun run = tessel("select image.tif --script cell.txt");
  ASSERT_EQ(run.status, 0) << run.err;
  std::smatch sides;
  ASSERT_TRUE(std::regex_match(run.out, sides, std::regex("(\\d+),(\\d+),(\\d+),(\\d+)\n")));
  const std::string rect = run.out.substr(0, run.out.size() - 1);
  ASSERT_EQ(tessel("extract image.tif --rect " + rect + " -o doc.tif").status, 0);
  const Rect r{SInt16(std::stoi(sides[1])), SInt16(std::stoi(sides[2])),
               SInt16(std::stoi(sides[3])), SInt16(std::stoi(sides[4]))};
  EXPECT_LT(r.bottom - r.top, 60);
  expect_samples(*read_document(path("doc.tif")), r);

  write_text("cancel.txt", "press escape\n");
  const ProgramRun cancelled = tessel("select image.tif --script cancel.txt");
  EXPECT_EQ(cancelled.status, 3);
  EXPECT_TRUE(cancelled.out.empty());
}

TEST_F(AcquireEndToEnd, InfoTellsWhatTheFormatLayerSeesAndWhetherAcquireTakesIt) {
  ASSERT_EQ(samples::write_tiff(path("rgb.tif"), {.samplesPerPixel = 3, .photometric = 2}), noErr);
  ASSERT_EQ(samples::write_scitex(path("cmyk.sct"), {}), noErr);
  ASSERT_EQ(samples::write_native(path("gray.lmn"), {}), noErr);
  ASSERT_EQ(samples::write_tiff(path("lzw.tif"), {.compression = 5}), noErr);
  struct Case {
    const char* name;
    const char* text;  // a line of the plain report
    const char* json;
  };
  for (
      const Case& c :
      {Case{
           "rgb.tif", "format +TIFF\n",
           R"("format": "TIFF", "mode": 3, .*"width": 64, "height": 48, "channels": 3, .*"planar": false.*"acquire": \{"code": 0,)"},
       Case{
           "cmyk.sct", "resolution +300 x 300 ",
           R"("format": "..CT", "mode": 4, .*"channels": 4, "resolution": \[300, 300\], "planar": false.*"code": 0,)"},
       Case{"gray.lmn", "format +LUMN\n",
            R"("format": "LUMN", "mode": 1, .*"planar": true.*"code": 0,)"},
       Case{"lzw.tif", "acquire .*115: .+\n",
            R"("compression": 5, .*"acquire": \{"code": 115, "message": "[^"]+")"}}) {
    SCOPED_TRACE(c.name);
    const ProgramRun json = tessel(std::string("info ") + c.name + " --json");
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_TRUE(std::regex_search(json.out, std::regex(c.json))) << json.out;
    const ProgramRun text = tessel(std::string("info ") + c.name);
    EXPECT_EQ(text.status, 0);
    EXPECT_TRUE(std::regex_search(text.out, std::regex(c.text))) << text.out;
  }
  write_file("junk.tif", {'M', 'M', 0, 42, 0, 0, 0, 200});
  EXPECT_EQ(tessel("info junk.tif").status, 1);
}

}  // namespace
}  // namespace tessel::host
