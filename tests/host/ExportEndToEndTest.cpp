// The tessel program end to end: documents cut from sample files of each
// format, exported back by the real binary and module.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <tuple>

#include "Catalog.h"
#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "TagFields.h"
#include "host/Document.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using samples::sample_value;
using testing::mentions;
using testing::ProgramRun;

constexpr Rect kRect{5, 7, 25, 40};  // 20 rows, 33 columns of a 64 x 48 image

class ExportEndToEnd : public testing::ProgramTest {
 protected:
  Document edited_document(const std::filesystem::path& image) {
    return testing::inverted_document(image, kRect, document());
  }
  // The same of a sample TIFF file written first, RGB unless options say otherwise.
  Document edited_image(const std::string& name = "image.tif",
                        const samples::TiffOptions& options = {.samplesPerPixel = 3,
                                                               .photometric = 2}) {
    EXPECT_EQ(samples::write_tiff(path(name), options), noErr);
    return edited_document(path(name));
  }

  std::filesystem::path document() const { return path("doc.tif"); }
  std::string doc() const { return "export " + document().string(); }

  // Rows [top, top + rows) of the rectangle hold the document; every other
  // sample of the image still holds the formula's.
  void expect_written(const std::filesystem::path& image, const Document& edited, SInt32 rows) {
    const Rect written{kRect.top, kRect.left, SInt16(kRect.top + rows), kRect.right};
    EXPECT_EQ(testing::samples_differing(
                  image,
                  [&](SInt32 r, SInt32 c, SInt32 p) {
                    if (!testing::inside(written, r, c)) return sample_value(0, r, c, p);
                    return edited.pixels[(std::size_t(r - kRect.top) * edited.columns +
                                          std::size_t(c - kRect.left)) *
                                             edited.planes +
                                         p];
                  }),
              0u);
  }

  // Exactly as many bytes of the file differ as the rectangle has samples.
  void expect_changed_bytes(const std::vector<UInt8>& before, const std::filesystem::path& image,
                            std::size_t samples) {
    EXPECT_EQ(testing::bytes_differing(before, read_file(image)), samples);
  }

  // The export run stops with code, shown in the plug-in's alert, exits 1
  // (nobody cancelled) and the image keeps every byte; the run, for a closer
  // look.
  ProgramRun expect_refused(const std::filesystem::path& image, int code,
                            const std::string& options = "") {
    const std::vector<UInt8> before = read_file(image);
    const ProgramRun run = tessel(doc() + options);
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(mentions(run.alerts, code)) << run.alerts;
    EXPECT_EQ(read_file(image), before);
    return run;
  }
  // Refused for a fault of the file, which another file might not have: the
  // host's line names the file and how to point at another.
  void expect_file_refused(const std::filesystem::path& image, int code,
                           const std::string& options = "") {
    const ProgramRun run = expect_refused(image, code, options);
    EXPECT_NE(run.err.find(image.string() + " cannot take " + document().string()),
              std::string::npos)
        << run.err;
    EXPECT_NE(run.err.find("--select PATH"), std::string::npos) << run.err;
  }
  void expect_refused(const Document& changed, int code) {
    ASSERT_EQ(write_document(document(), changed), noErr);
    expect_refused(path("image.tif"), code);
  }
};

TEST_F(ExportEndToEnd, EachFormatTakesBackExactlyTheRectangle) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"),
                                {.samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 7}),
            noErr);
  ASSERT_EQ(samples::write_scitex(path("image.sct"), {}), noErr);
  ASSERT_EQ(samples::write_native(path("image.lmn"), {.channels = 3, .mode = 3}), noErr);
  for (const char* name : {"image.tif", "image.sct", "image.lmn"}) {
    SCOPED_TRACE(name);
    const std::vector<UInt8> before = read_file(path(name));
    const Document edited = edited_document(path(name));
    const ProgramRun run = tessel(doc());
    EXPECT_EQ(run.status, 0) << run.alerts;
    EXPECT_FALSE(run.out.empty());
    expect_written(path(name), edited, kRect.bottom - kRect.top);
    expect_changed_bytes(before, path(name), edited.pixels.size());
    EXPECT_FALSE(read_document(document())->modified());
  }
}

// The command line's own way in: extract, edit elsewhere, export.
TEST_F(ExportEndToEnd, ExtractedDocumentsGoBackWhereTheyCameFrom) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"), {.samplesPerPixel = 3, .photometric = 2}),
            noErr);
  const std::vector<UInt8> before = read_file(path("image.tif"));
  const std::string extract = "extract " + path("image.tif").string() + " --rect 5,7,25,40 -o ";
  ASSERT_EQ(tessel(extract + document().string()).status, 0);
  Expected<Document> edited = read_document(document());
  ASSERT_TRUE(edited);
  ASSERT_EQ(edited->pixels.size(), 20u * 33u * 3u);
  EXPECT_EQ(edited->pixels[0], sample_value(0, 5, 7, 0));
  for (UInt8& sample : edited->pixels) sample = UInt8(sample ^ 0x5A);
  ASSERT_EQ(write_document(document(), *edited), noErr);

  EXPECT_EQ(tessel(doc()).status, 0);
  expect_written(path("image.tif"), *edited, kRect.bottom - kRect.top);
  expect_changed_bytes(before, path("image.tif"), edited->pixels.size());
}

TEST_F(ExportEndToEnd, ExtractRefusesBadRectanglesAndKeepsExistingDocuments) {
  ASSERT_EQ(samples::write_tiff(path("image.tif"), {.samplesPerPixel = 3, .photometric = 2}),
            noErr);
  const std::string extract =
      "extract " + path("image.tif").string() + " -o " + document().string() + " --rect ";
  for (const char* rect : {"0,0,49,10", "5,7,5,40", "-1,0,4,4", "1,2,3", "1,2,3,4,5"}) {
    SCOPED_TRACE(rect);
    EXPECT_EQ(tessel(extract + rect).status, 1);
    EXPECT_FALSE(std::filesystem::exists(document()));
  }
  // Sides up to 2^31 - 1 are numbers --rect takes (this image is too small
  // for them); one more is not a number it takes.
  const ProgramRun huge = tessel(extract + "0,0,2147483647,2147483647");
  EXPECT_EQ(huge.status, 1);
  EXPECT_EQ(huge.err.find("--rect takes"), std::string::npos) << huge.err;
  EXPECT_NE(tessel(extract + "0,0,4,2147483648").err.find("--rect takes"), std::string::npos);
  write_file("doc.tif", {1, 2, 3});
  EXPECT_EQ(tessel(extract + "0,0,4,4").status, 1);
  EXPECT_EQ(read_file(document()), (std::vector<UInt8>{1, 2, 3}));
  EXPECT_EQ(tessel(extract + "0,0,4,4 --force").status, 0);
  EXPECT_EQ(read_document(document())->columns, 4);

  write_file("junk.tif", {'I', 'I', 42, 0, 9, 9});
  EXPECT_EQ(tessel("extract " + path("junk.tif").string() + " --rect 0,0,1,1 -o " +
                   path("other.tif").string())
                .status,
            1);
  EXPECT_FALSE(std::filesystem::exists(path("other.tif")));
}

TEST_F(ExportEndToEnd, DocumentsThatNoLongerMatchTheImageAreRefused) {
  struct Case {
    UInt16 fileSamples, photometric;
    SInt16 documentMode, documentPlanes, columnsLost;
    int code;
  };
  for (const Case& c : {Case{3, 2, kRGBMode, 3, 1, 109}, Case{3, 2, kRGBMode, 4, 0, 110},
                        Case{1, 1, kRGBMode, 3, 0, 111}, Case{3, 2, kGrayMode, 1, 0, 124},
                        Case{4, 5, kRGBMode, 3, 0, 125}, Case{3, 8, kRGBMode, 3, 0, 126}}) {
    SCOPED_TRACE(c.code);
    Document changed =
        edited_image("image.tif", {.samplesPerPixel = c.fileSamples, .photometric = c.photometric});
    changed.mode = c.documentMode;
    changed.planes = c.documentPlanes;
    changed.columns -= c.columnsLost;
    changed.pixels.resize(changed.row_bytes() * std::size_t(changed.rows));
    ASSERT_EQ(write_document(document(), changed), noErr);
    const std::string alerts = expect_refused(path("image.tif"), c.code).alerts;
    if (c.code == 109) {
      EXPECT_TRUE(mentions(alerts, 33) && mentions(alerts, 20)) << alerts;
    }
  }
}

// The file changed under the document: reported, then the file is asked for
// again; headless with nothing pre-selected, that counts as cancelled.
TEST_F(ExportEndToEnd, FilesThatCannotBeWrittenAreReported) {
  struct Case {
    samples::TiffOptions options;
    int code;
  };
  const std::vector<Case> cases{
      {{.fillOrder = 2}, 122},
      {{.tiles = samples::TiffTiles{},
        .extraFields = {{324, samples::tiff_type::kLong, {8}},
                        {325, samples::tiff_type::kLong, {256}}}},
       122},
      {{.compression = 5}, 128},
      {{.bitsPerSample = 16}, 127},
      {{.photometric = 3, .colorMap = samples::sample_color_map(0, 256)}, 129},
      {{.width = 65}, 123},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    edited_image("image.tif", {});
    ASSERT_EQ(samples::write_tiff(path("image.tif"), c.options), noErr);
    expect_file_refused(path("image.tif"), c.code);
  }
}

TEST_F(ExportEndToEnd, TagsThatCannotBeUsedAreRefused) {
  Document edited = edited_image("image.tif", {});
  const PluginResource tag = edited.resources.at(0);
  edited.resources = {};
  expect_refused(edited, 120);
  edited.resources = {tag, tag};
  expect_refused(edited, 120);
  edited.resources = {tag};
  edited.resources[0].data[3] = 4;  // version 4
  expect_refused(edited, 121);
}

TEST_F(ExportEndToEnd, MovedFileIsAskedForAndTheTagRewritten) {
  const Document edited = edited_image();
  std::filesystem::create_directory(path("moved"));
  std::filesystem::rename(path("image.tif"), path("moved/image.tif"));

  const ProgramRun run = tessel(doc() + " --select " + path("moved/image.tif").string());
  EXPECT_EQ(run.status, 0) << run.alerts;
  EXPECT_TRUE(run.alerts.empty()) << run.alerts;  // a missing file asks without an alert
  expect_written(path("moved/image.tif"), edited, kRect.bottom - kRect.top);

  auto reread = read_document(document());
  ASSERT_TRUE(reread);
  ASSERT_EQ(reread->resources.size(), 1u);
  platform::catalog::forget();
  const FSSpec moved = *platform::files::spec_from_path(path("moved/image.tif"));
  const tessel::testing::TagFields tag = tessel::testing::tag_fields(reread->resources[0].data);
  EXPECT_EQ(std::tuple(tag.version, tag.folder, tag.name, tag.rect.top, tag.rect.left,
                       tag.rect.bottom, tag.rect.right, tag.width, tag.height),
            std::tuple(6u, moved.parID, std::string("image.tif"), kRect.top, kRect.left,
                       kRect.bottom, kRect.right, 64, 48));
}

TEST_F(ExportEndToEnd, LockedFileAndReadOnlyFolderAreReported) {
  edited_image("image.tif", {});
  chmod(path("image.tif").c_str(), 0444);
  expect_file_refused(path("image.tif"), 132);
  chmod(path("image.tif").c_str(), 0644);

  std::filesystem::create_directory(path("shut"));
  edited_image("shut/image.tif", {});
  chmod(path("shut").c_str(), 0555);
  expect_file_refused(path("shut/image.tif"), 134);
}

TEST_F(ExportEndToEnd, AnImageInUseOrCutShortIsLeftAsItIs) {
  edited_image("image.tif", {});
  const std::vector<UInt8> before = read_file(path("image.tif"));
  {
    // Another writer, as the File Manager of another export takes it.
    const int held = open(path("image.tif").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(held, 0);
    ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
    const ProgramRun run = tessel(doc());
    close(held);
    EXPECT_EQ(run.status, 1);
    // Busy, and nothing else: no alert of a failure that did not happen.
    EXPECT_TRUE(run.alerts.empty()) << run.alerts;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_NE(run.err.find(path("image.tif").string() + "; nothing was written"), std::string::npos)
        << run.err;
    EXPECT_EQ(read_file(path("image.tif")), before);
  }
  std::filesystem::resize_file(path("image.tif"), before.size() - 64);
  expect_file_refused(path("image.tif"), eofErr);
}

TEST_F(ExportEndToEnd, AnImageThatCannotBeFoundIsNamedWithTheWayToPointAtIt) {
  edited_image("image.tif", {});
  std::filesystem::rename(path("image.tif"), path("elsewhere.tif"));
  const ProgramRun missing = tessel(doc());
  EXPECT_EQ(missing.status, 1);
  EXPECT_TRUE(missing.alerts.empty()) << missing.alerts;
  EXPECT_NE(missing.err.find("is not at " + path("image.tif").string()), std::string::npos)
      << missing.err;
  EXPECT_NE(missing.err.find("--select PATH"), std::string::npos) << missing.err;

  std::filesystem::create_directory(path("folder"));
  for (const char* select : {"nowhere.tif", "folder"}) {
    SCOPED_TRACE(select);
    const ProgramRun run = tessel(doc() + " --select " + select);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find(path(select).string() +
                           (select[0] == 'f' ? " is a folder" : " does not exist")),
              std::string::npos)
        << run.err;
  }
  // The wrong image pointed at: refused, and the way to the right one told.
  ASSERT_EQ(samples::write_tiff(path("other.tif"), {.width = 65}), noErr);
  expect_file_refused(path("other.tif"), 133, " --select " + path("other.tif").string());
}

TEST_F(ExportEndToEnd, DocumentsThatCannotBeReadAreToldInOurWordsNotLibtiffs) {
  std::filesystem::create_directory(path("folder.tif"));
  write_text("text.tif", "not a picture at all\n");
  write_text("empty.tif", "");
  for (const auto& [name, words] : {std::pair{"nothing.tif", " does not exist"},
                                    {"folder.tif", " is a folder"},
                                    {"text.tif", " cannot be read as a TIFF file"},
                                    {"empty.tif", " cannot be read as a TIFF file"}}) {
    SCOPED_TRACE(name);
    const ProgramRun run = tessel(std::string("export ") + name);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.rfind("tessel: ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(words), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  }
}

// Ctrl-C cancels, SIGTERM ends with its own status; both between bands.
TEST_F(ExportEndToEnd, InterruptLeavesTheBandsWrittenSoFar) {
  const Document edited = edited_image();
  setenv("TESSEL_TEST_INTERRUPT_AFTER_BANDS", "2", 1);
  const SInt32 bandBytes = 3 * 33 * 3;  // three rows per band
  for (const auto& [signal, status] : {std::pair{"INT", 3}, std::pair{"TERM", 143}}) {
    SCOPED_TRACE(signal);
    setenv("TESSEL_TEST_INTERRUPT_SIGNAL", signal, 1);
    const ProgramRun run = tessel(doc() + " --memory-limit " + std::to_string(bandBytes));
    EXPECT_EQ(run.status, status);
    EXPECT_NE(run.err.find("stopped"), std::string::npos) << run.err;
    expect_written(path("image.tif"), edited, 6);
    EXPECT_TRUE(read_document(document())->modified());
  }
}

}  // namespace
}  // namespace tessel::host
