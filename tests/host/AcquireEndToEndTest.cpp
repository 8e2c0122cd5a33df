// tessel acquire, select and info end to end: the real binary and module,
// dialogs answered by scripts, documents read back with libtiff.
#include <gtest/gtest.h>

#include <regex>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "TagFields.h"
#include "formats/LibtiffWriter.h"
#include "host/Document.h"
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
  static VRect tagged_rect(const Document& document) {
    EXPECT_EQ(document.resources.size(), 1u);
    if (document.resources.empty()) return {};
    return tessel::testing::tag_fields(document.resources[0].data).rect;
  }

  // Every sample of the document is the image's in rect.
  static void expect_samples(const Document& document, const VRect& rect) {
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
    const VRect rect = tagged_rect(*document);
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

// Tiles and planes go out through extract, through another program that
// rewrites the document, and back through export into their places.
TEST_F(AcquireEndToEnd, TiledAndPlanarFilesComeBackFromAnOutsideEditor) {
  if (std::system("command -v convert >/dev/null") != 0) GTEST_SKIP() << "no ImageMagick";
  const samples::TiffOptions rgb{.width = 90, .height = 60, .samplesPerPixel = 3, .photometric = 2};
  auto with = [&](auto change) {
    samples::TiffOptions options = rgb;
    change(options);
    return options;
  };
  const std::pair<const char*, samples::TiffOptions> files[] = {
      {"tiles.tif", with([](auto& o) {
         o.tiles = samples::TiffTiles{32, 16};
       })},
      {"planes.tif", with([](auto& o) {
         o.planarConfiguration = 2;
         o.rowsPerStrip = 7;
         o.littleEndian = true;
       })},
      {"both.tif", with([](auto& o) {
         o.planarConfiguration = 2;
         o.tiles = samples::TiffTiles{16, 32};
       })},
  };
  const VRect rect{9, 13, 47, 71};
  for (const auto& [name, options] : files) {
    SCOPED_TRACE(name);
    ASSERT_EQ(samples::write_tiff(path(name), options), noErr);
    const std::vector<UInt8> before = read_file(path(name));
    fs::remove(path("doc.tif"));
    const ProgramRun extracted =
        tessel(std::string("extract ") + name + " --rect 9,13,47,71 -o doc.tif");
    ASSERT_EQ(extracted.status, 0) << extracted.err << extracted.alerts;
    Expected<Document> document = read_document(path("doc.tif"));
    ASSERT_TRUE(document);
    expect_samples(*document, rect);

    const std::string negate = "timeout -k 5 30 convert '" + path("doc.tif").string() +
                               "' -negate '" + path("doc.tif").string() + "'";
    ASSERT_EQ(std::system(negate.c_str()), 0);
    const ProgramRun exported = tessel("export doc.tif");
    ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
    EXPECT_EQ(testing::samples_differing(path(name),
                                         [&](SInt32 r, SInt32 c, SInt32 p) {
                                           const UInt8 flip =
                                               testing::inside(rect, r, c) ? 0xFF : 0;
                                           return UInt8(sample_value(0, r, c, p) ^ flip);
                                         }),
              0u);
    EXPECT_EQ(testing::bytes_differing(before, read_file(path(name))), std::size_t(38 * 58 * 3));
  }
}

TEST_F(AcquireEndToEnd, WithoutADocumentNameTheTitleNamesItAndNothingIsReplaced) {
  ASSERT_EQ(samples::write_tiff(path("gray.tif"), {.width = 30, .height = 20}), noErr);
  const ProgramRun first = tessel("acquire gray.tif --script ok.txt");
  ASSERT_EQ(first.status, 0) << first.err;
  const fs::path named = path("gray.tif (0,0)-(30,20).tif");
  Expected<Document> document = read_document(named);
  ASSERT_TRUE(document);
  expect_samples(*document, VRect{0, 0, 20, 30});
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
  // Planes and tiles are refused only where their blocks leave samples uncovered.
  const UInt16 kLong = samples::tiff_type::kLong;
  tiff("planar.tif",
       {.samplesPerPixel = 4,
        .photometric = 5,
        .planarConfiguration = 2,
        .extraFields = {{273, kLong, {8}}, {279, kLong, {64 * 48}}}},
       116);
  tiff("predictor.tif", {.predictor = 2}, 117);
  tiff("fill.tif", {.fillOrder = 2}, 118);
  tiff("tiled.tif",
       {.tiles = samples::TiffTiles{}, .extraFields = {{324, kLong, {8}}, {325, kLong, {256}}}},
       119);
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
  // Extract is acquire with the answers given: the same refusal, word for word.
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramRun acquired = tessel(acquire(c.name));
    EXPECT_EQ(acquired.status, 1);
    EXPECT_FALSE(acquired.alerts.empty());
    if (c.code != 0) {
      EXPECT_TRUE(mentions(acquired.alerts, c.code)) << acquired.alerts;
    }
    EXPECT_FALSE(fs::exists(path("doc.tif")));
    const ProgramRun extracted = tessel("extract " + c.name + " --rect 1,1,3,3 -o doc.tif");
    EXPECT_EQ(extracted.status, 1);
    EXPECT_EQ(extracted.alerts, acquired.alerts);
    EXPECT_FALSE(fs::exists(path("doc.tif")));
  }
}

// A TIFF, a Scitex CT and a native file, each cut one byte into its pixels.
class CutShort : public AcquireEndToEnd {
 protected:
  void SetUp() override {
    AcquireEndToEnd::SetUp();
    ASSERT_EQ(samples::write_tiff(path("cut.tif"), {.width = 60, .height = 40, .rowsPerStrip = 4}),
              noErr);
    ASSERT_EQ(samples::write_scitex(path("cut.sct"), {}), noErr);
    ASSERT_EQ(samples::write_native(path("cut.lmn"), {.channels = 3, .mode = 3}), noErr);
    for (const char* name : kNames) fs::resize_file(path(name), fs::file_size(path(name)) - 1);
  }
  static constexpr const char* kNames[] = {"cut.tif", "cut.sct", "cut.lmn"};
  static constexpr const char* kPlainWords = "is cut short: its pixel data ends before";
};

// Refused at start, before the selection dialog: the script would cancel
// that dialog, which would end the run with 3.
TEST_F(CutShort, AcquireRefusesItAtStartInPlainWords) {
  write_text("cancel-selection.txt", "click 1\npress escape\n");
  for (const char* name : kNames) {
    SCOPED_TRACE(name);
    const ProgramRun run = tessel(acquire(name, "cancel-selection.txt"));
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(mentions(run.alerts, eofErr)) << run.alerts;
    EXPECT_TRUE(std::regex_search(run.err, std::regex(std::string(name) + " " + kPlainWords +
                                                      ".*; nothing was acquired \\(code -39\\)")))
        << run.err;
    EXPECT_FALSE(fs::exists(path("doc.tif")));
  }
}

TEST_F(CutShort, InfoSaysAcquireRefusesIt) {
  for (const char* name : kNames) {
    SCOPED_TRACE(name);
    const ProgramRun text = tessel(std::string("info ") + name);
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_TRUE(std::regex_search(
        text.out, std::regex("acquire +refuses it with code -39: .*" + std::string(kPlainWords))))
        << text.out;
    const ProgramRun json = tessel(std::string("info ") + name + " --json");
    EXPECT_TRUE(std::regex_search(
        json.out, std::regex("\"acquire\": \\{\"code\": -39, \"message\": \"[^\"]*" +
                             std::string(kPlainWords))))
        << json.out;
  }
}

// Signed and floating-point samples as libtiff and ImageMagick write them:
// refused at any depth, and the host says which they are.
TEST_F(AcquireEndToEnd, SignedOrFloatingPointSamplesAreRefusedInPlainWords) {
  ASSERT_TRUE(testing::write_with_libtiff(path("float.tif"),
                                          {.bits = 32, .sampleFormat = SAMPLEFORMAT_IEEEFP}));
  ASSERT_TRUE(testing::write_with_libtiff(path("double.tif"),
                                          {.bits = 64, .sampleFormat = SAMPLEFORMAT_IEEEFP}));
  ASSERT_TRUE(testing::write_with_libtiff(path("int8.tif"), {.sampleFormat = SAMPLEFORMAT_INT}));
  std::vector<std::pair<std::string, std::string>> cases = {
      {"float.tif", "holds floating-point samples"},
      {"double.tif", "holds floating-point samples"},
      {"int8.tif", "holds signed integer samples"}};
  if (std::system("command -v convert >/dev/null") == 0) {
    const std::string command =
        "timeout -k 5 30 convert -size 8x4 xc:gray50 -define "
        "quantum:format=signed -depth 8 -compress none '" +
        path("signed.tif").string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    cases.push_back({"signed.tif", "holds signed integer samples"});
  }
  for (const auto& [name, words] : cases) {
    SCOPED_TRACE(name);
    const ProgramRun info = tessel("info " + name);
    EXPECT_EQ(info.status, 1);
    EXPECT_TRUE(std::regex_search(
        info.err, std::regex("^tessel: " + name + " " + words + ".* \\(code 300\\)\n$")))
        << info.err;
    const ProgramRun run = tessel(acquire(name));
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(mentions(run.alerts, 300)) << run.alerts;
    EXPECT_TRUE(std::regex_search(
        run.err, std::regex(name + " " + words + ".*; nothing was acquired \\(code 300\\)")))
        << run.err;
  }
}

TEST_F(AcquireEndToEnd, ExtractMakesTheDocumentAcquireMakesForTheSameRectangle) {
  ASSERT_EQ(
      samples::write_tiff(path("image.tif"),
                          {.width = 90, .height = 60, .samplesPerPixel = 3, .photometric = 2}),
      noErr);
  // The whole image: what the selection dialog answers to OK alone.
  ASSERT_EQ(tessel(acquire("image.tif")).status, 0);
  fs::rename(path("doc.tif"), path("acquired.tif"));
  fs::rename(path("doc.tif.tessel"), path("acquired.tif.tessel"));
  const ProgramRun run = tessel("extract image.tif --rect 0,0,60,90 -o doc.tif");
  ASSERT_EQ(run.status, 0) << run.err << run.alerts;
  EXPECT_EQ(read_file(path("doc.tif")), read_file(path("acquired.tif")));
  EXPECT_EQ(read_file(path("doc.tif.tessel")), read_file(path("acquired.tif.tessel")));
}

TEST_F(AcquireEndToEnd, NoDocumentIsWrittenOverTheImageOrItsSidecarEvenWithForce) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"), {.width = 30, .height = 20}), noErr);
  ASSERT_EQ(samples::write_native(path("native.lmn"), {}), noErr);
  fs::create_hard_link(path("image.tif"), path("hard.tif"));
  fs::create_symlink(path("image.tif"), path("soft.tif"));
  fs::create_hard_link(path("image.tif"), path("side.tif.tessel"));  // the document's sidecar
  const std::vector<UInt8> image = read_file(path("image.tif"));
  const std::vector<UInt8> fork = read_file(path("._native.lmn"));
  struct Case {
    std::string command;
    std::string output;  // as typed
    std::string input;
  };
  for (const Case& c :
       {Case{"extract image.tif --rect 0,0,5,5 -o image.tif", "image.tif", "image.tif"},
        Case{"extract image.tif --rect 0,0,5,5 -o hard.tif", "hard.tif", "image.tif"},
        Case{"extract soft.tif --rect 0,0,5,5 -o image.tif", "image.tif", "soft.tif"},
        Case{"extract image.tif --rect 0,0,5,5 -o side.tif", "side.tif.tessel", "image.tif"},
        Case{"extract native.lmn --rect 0,0,5,5 -o ._native.lmn", "._native.lmn", "._native.lmn"},
        Case{"acquire hard.tif -o image.tif --script ok.txt", "image.tif", "hard.tif"}}) {
    SCOPED_TRACE(c.command);
    const ProgramRun run = tessel(c.command + " --force");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(c.output + " is the same file as " + path(c.input).string()),
              std::string::npos)
        << run.err;
    EXPECT_EQ(read_file(path("image.tif")), image);
    EXPECT_EQ(read_file(path("._native.lmn")), fork);
  }
}

// Nobody cancelled: a file that cannot be an image is told in plain words,
// with the code after them, and the run fails rather than "cancels".
TEST_F(AcquireEndToEnd, FilesThatCannotBeImagesAreToldPlainlyByEveryCommand) {
  fs::create_directory(path("folder.tif"));
  write_text("notes.txt", "not an image\n");
  struct Case {
    const char* name;
    std::string words;
  };
  for (const Case& c : {Case{"nothing.tif", " does not exist (code -43)"},
                        Case{"folder.tif", " is a folder, not a file (code -1302)"},
                        Case{"notes.txt", " is not an image Tessel recognises (code 498)"}}) {
    for (const std::string& command :
         {"extract " + std::string(c.name) + " --rect 0,0,5,5 -o doc.tif", acquire(c.name),
          "info " + std::string(c.name)}) {
      SCOPED_TRACE(command);
      const ProgramRun run = tessel(command);
      EXPECT_EQ(run.status, 1);
      EXPECT_EQ(run.err.rfind("tessel: ", 0), 0u) << run.err;
      EXPECT_NE(run.err.find(std::string(c.name) + c.words), std::string::npos) << run.err;
      EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
      EXPECT_TRUE(run.alerts.empty()) << run.alerts;
    }
  }
  // Without an image and without anyone to choose one, acquire fails.
  const ProgramRun run = tessel("acquire -o doc.tif");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("name the image"), std::string::npos) << run.err;
}

TEST_F(AcquireEndToEnd, ExtractRefusesARectangleOutsideTheImageAndOpensNoDialog) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"), {.width = 90, .height = 60}), noErr);
  for (const char* rect : {"0,0,61,90", "0,0,60,91", "-1,0,10,10", "5,5,5,9", "40000,0,40010,9"}) {
    SCOPED_TRACE(rect);
    const ProgramRun run = tessel(std::string("extract image.tif --rect ") + rect + " -o doc.tif");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(rect), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(path("doc.tif")));
  }
  // The plug-in's own check, with its message, for what the host cannot know.
  const ProgramRun run = tessel("extract image.tif --rect 0,0,61,90 -o doc.tif");
  EXPECT_TRUE(mentions(run.alerts, 135)) << run.alerts;
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
  // Nor the file the strips already went into.
  for (const auto& entry : fs::directory_iterator(path("")))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".tessel-")) << entry.path();
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
  const VRect r{std::stoi(sides[1]), std::stoi(sides[2]), std::stoi(sides[3]), std::stoi(sides[4])};
  EXPECT_LT(r.bottom - r.top, 60);
  expect_samples(*read_document(path("doc.tif")), r);

  write_text("cancel.txt", "press escape\n");
  const ProgramRun cancelled = tessel("select image.tif --script cancel.txt");
  EXPECT_EQ(cancelled.status, 3);
  EXPECT_TRUE(cancelled.out.empty());
}

}  // namespace
}  // namespace tessel::host
