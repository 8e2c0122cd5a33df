#include <sys/stat.h>

#include "PluginTestSupport.h"
#include "formats/FormatTestSupport.h"
#include "formats/TIFFBuilder.h"
#include "records/ResultCodes.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {
namespace {

namespace fs = std::filesystem;
using samples::sample_value;

constexpr UInt32 kSeed = 7;

class ExportDriver : public PluginTest {
 protected:
  FakeExportHost& host() { return host_; }

  fs::path write_rgb_tiff(const std::string& name, samples::TiffOptions options = {}) {
    options.samplesPerPixel = 3;
    options.photometric = 2;
    options.rowsPerStrip = 5;
    options.seed = kSeed;
    fs::path file = path(name);
    EXPECT_EQ(samples::write_tiff(file, options), 0);
    return file;
  }

  void tag(const std::string& name, VRect rect) { ASSERT_EQ(host().tag(spec_of(name), rect), 0); }

  // The file must hold the document in rect and the sample formula elsewhere,
  // and be byte for byte what a bare write of the document gives a copy of it.
  void expect_written(const fs::path& file, const fs::path& pristine, VRect rect) {
    const TileArea box{rect.top, rect.left, rect.bottom, rect.right, 0, host().document.planes};
    EXPECT_EQ(file_bytes(file), bytes_after_writing(pristine, file_bytes(pristine), box,
                                                    host().document.pixels.data()));
    expect_boxes_read(file, [&](SInt32 r, SInt32 c, SInt32 p) {
      bool inside = r >= rect.top && r < rect.bottom && c >= rect.left && c < rect.right;
      return inside ? FakeDocument::sample(r - rect.top, c - rect.left, p)
                    : sample_value(kSeed, r, c, p);
    });
  }

  static fs::path copy_with_sidecar(const fs::path& file, const fs::path& copy) {
    fs::copy_file(file, copy);
    fs::path sidecar = file.parent_path() / ("._" + file.filename().string());
    fs::path copySidecar = copy.parent_path() / ("._" + copy.filename().string());
    if (fs::exists(sidecar)) fs::copy_file(sidecar, copySidecar);
    return copy;
  }

 private:
  FakeExportHost host_;
};

TEST_F(ExportDriver, WritesExactlyTheRectangleOfAChunkyTIFFBandByBand) {
  fs::path file = write_rgb_tiff("image.tif");
  fs::path pristine = copy_with_sidecar(file, path("pristine.tif"));
  tag("image.tif", VRect{10, 8, 30, 40});
  Set(host().params, kExportMemoryLimit, 32 * 3 * 6);  // six rows of the document

  ASSERT_EQ(host().run(), 0);

  ASSERT_EQ(host().requests.size(), 4u);
  EXPECT_EQ(host().requests[0].bottom, 6);
  EXPECT_EQ(host().requests[3].top, 18);
  EXPECT_EQ(host().requests[3].bottom, 20);
  EXPECT_EQ(host().requestedPlanes[0], std::make_pair(SInt16(0), SInt16(2)));
  EXPECT_EQ(host().lastDone, 60);
  EXPECT_EQ(host().lastTotal, 60);
  EXPECT_EQ(Get(host().params, kExportModifiedFlag), 0);
  EXPECT_TRUE(alerts().empty());
  expect_written(file, pristine, VRect{10, 8, 30, 40});
}

TEST_F(ExportDriver, WritesANativeFilePlaneByPlane) {
  ASSERT_EQ(samples::write_native(path("image.lumn"), {.channels = 3, .mode = 3, .seed = kSeed}),
            0);
  fs::path pristine = copy_with_sidecar(path("image.lumn"), path("pristine.lumn"));
  tag("image.lumn", VRect{5, 0, 15, 16});
  Set(host().params, kExportMemoryLimit, 16 * 4);  // four rows of one plane

  ASSERT_EQ(host().run(), 0);

  std::vector<SInt16> bands;
  for (const VRect& r : host().requests) bands.push_back(SInt16(r.bottom - r.top));
  EXPECT_EQ(bands, (std::vector<SInt16>{4, 4, 2, 4, 4, 2, 4, 4, 2}));
  EXPECT_EQ(host().requestedPlanes[3], std::make_pair(SInt16(1), SInt16(1)));
  expect_written(path("image.lumn"), pristine, VRect{5, 0, 15, 16});
}

TEST_F(ExportDriver, ADocumentThatNoLongerMatchesEndsTheRunWithoutADialog) {
  write_rgb_tiff("image.tif");
  platform::standard_file::preselect(path("image.tif"));  // a dialog would take it
  tag("image.tif", VRect{0, 0, 20, 32});

  host().document.fill(20, 31, 3);  // cropped by one column
  EXPECT_EQ(host().run(), kDocumentSizeChanged);
  host().document.fill(20, 32, 4);
  EXPECT_EQ(host().run(), kDocumentChannelsDiffer);
  host().document.fill(20, 32, 4);
  host().document.mode = 4;
  EXPECT_EQ(host().run(), kDocumentNotRGB);

  EXPECT_EQ(alerts(), (std::vector<std::string>{alert_line("message 17 [32|20]", 109),
                                                alert_line("message 19 [3|20]", 110),
                                                alert_line("message 22 [3|20]", 124)}));
  EXPECT_EQ(Get(host().params, kExportModifiedFlag), 1);
}

TEST_F(ExportDriver, AFileThatCannotBeWrittenIsReportedAndAskedForAgain) {
  struct Case {
    samples::TiffOptions options;
    std::string alert;
  };
  // Texts no check has filled are empty, and the message's placeholders with them.
  const Case cases[] = {{{.bitsPerSample = 16}, alert_line("message 25 [16|]", 127)},
                        {{.fillOrder = 2}, alert_line("message 20 [|]", 122)},
                        {{.compression = 5}, alert_line("message 26 [|]", 128)}};
  for (const Case& c : cases) {
    FakeExportHost fresh;  // new state record: report texts start empty
    write_rgb_tiff("image.tif", c.options);
    ASSERT_EQ(fresh.tag(spec_of("image.tif"), VRect{0, 0, 4, 4}), 0);
    fs::remove(path("alerts.log"));
    EXPECT_EQ(fresh.run(), kUserCancelled);  // nothing pre-selected: the dialog is cancelled
    EXPECT_EQ(alerts(), std::vector<std::string>{c.alert});
  }
}

// Tile sizes over strip tags make the offsets tile offsets: the rectangle
// lands in the tiles it meets and nothing else changes.
TEST_F(ExportDriver, TileSizesOverStripTagsAreWrittenIntoTheirTiles) {
  const fs::path file = write_file("image.tif", tiles_under_strip_tags(64, 48, 3, 16, 9));
  const fs::path pristine = copy_with_sidecar(file, path("pristine.tif"));
  const VRect rect{5, 7, 30, 40};
  tag("image.tif", rect);

  ASSERT_EQ(host().run(), 0);

  EXPECT_TRUE(alerts().empty());
  const TileArea box{rect.top, rect.left, rect.bottom, rect.right, 0, 3};
  EXPECT_EQ(file_bytes(file), bytes_after_writing(pristine, file_bytes(pristine), box,
                                                  host().document.pixels.data()));
  expect_boxes_read(file, [&](SInt32 r, SInt32 c, SInt32 p) {
    bool inside = r >= rect.top && r < rect.bottom && c >= rect.left && c < rect.right;
    return inside ? FakeDocument::sample(r - rect.top, c - rect.left, p) : UInt8(9);
  });
}

TEST_F(ExportDriver, TiledAndPlanarFilesAreWrittenInPlace) {
  const samples::TiffOptions layouts[] = {
      {.tiles = samples::TiffTiles{}},
      {.planarConfiguration = 2},
      {.littleEndian = true, .planarConfiguration = 2, .tiles = samples::TiffTiles{}},
  };
  for (const samples::TiffOptions& options : layouts) {
    FakeExportHost fresh;
    fs::remove(path("image.tif"));
    fs::remove(path("pristine.tif"));
    const fs::path file = write_rgb_tiff("image.tif", options);
    const fs::path pristine = copy_with_sidecar(file, path("pristine.tif"));
    const VRect rect{3, 9, 41, 50};
    ASSERT_EQ(fresh.tag(spec_of("image.tif"), rect), 0);
    ASSERT_EQ(fresh.run(), 0);
    const TileArea box{rect.top, rect.left, rect.bottom, rect.right, 0, 3};
    EXPECT_EQ(file_bytes(file), bytes_after_writing(pristine, file_bytes(pristine), box,
                                                    fresh.document.pixels.data()));
    expect_boxes_read(file, [&](SInt32 r, SInt32 c, SInt32 p) {
      bool inside = r >= rect.top && r < rect.bottom && c >= rect.left && c < rect.right;
      return inside ? FakeDocument::sample(r - rect.top, c - rect.left, p)
                    : sample_value(kSeed, r, c, p);
    });
  }
}

TEST_F(ExportDriver, ALockedFileIsRefusedAgainWhenChosenAgain) {
  fs::path file = write_rgb_tiff("image.tif");
  fs::path pristine = copy_with_sidecar(file, path("pristine.tif"));
  tag("image.tif", VRect{0, 0, 8, 8});
  chmod(file.c_str(), 0444);
  platform::standard_file::preselect(file);

  EXPECT_EQ(host().run(), kUserCancelled);

  std::string locked = alert_line("message 31 [|]", 132);
  EXPECT_EQ(alerts(), (std::vector<std::string>{locked, locked}));
  EXPECT_EQ(file_bytes(file), file_bytes(pristine));
  EXPECT_EQ(Get(host().params, kExportModifiedFlag), 1);
}

TEST_F(ExportDriver, AFolderThatMayNotChangeIsReported) {
  fs::create_directories(path("locked"));
  write_rgb_tiff("locked/image.tif");
  tag("locked/image.tif", VRect{0, 0, 8, 8});
  chmod(path("locked").c_str(), 0555);

  EXPECT_EQ(host().run(), kUserCancelled);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 29 [|]", 134)});
}

TEST_F(ExportDriver, AMovedFileIsAskedForSilentlyAndTheTagRewritten) {
  write_rgb_tiff("gone.tif");
  tag("gone.tif", VRect{2, 3, 12, 19});
  fs::create_directories(path("moved"));
  fs::rename(path("gone.tif"), path("moved/here.tif"));
  fs::path pristine = copy_with_sidecar(path("moved/here.tif"), path("pristine.tif"));
  platform::standard_file::preselect(path("moved/here.tif"));

  ASSERT_EQ(host().run(), 0);

  EXPECT_TRUE(alerts().empty());
  // The dialog opened where the tagged file was.
  EXPECT_EQ(platform::standard_file::last_shown_folder().dirID, spec_of("gone.tif").parID);
  ASSERT_EQ(host().tags.size(), 1u);
  const TagFields tag = tag_fields(host().tag_bytes());
  EXPECT_EQ(tag.name, "here.tif");
  EXPECT_EQ(tag.folder, spec_of("moved/here.tif").parID);
  EXPECT_EQ(tag.rect.top, 2);  // the old rectangle
  expect_written(path("moved/here.tif"), pristine, VRect{2, 3, 12, 19});
}

TEST_F(ExportDriver, AChosenFileOfAnotherSizeCannotBeUsed) {
  write_rgb_tiff("gone.tif");
  tag("gone.tif", VRect{0, 0, 8, 8});
  fs::remove(path("gone.tif"));
  write_rgb_tiff("other.tif", {.width = 50});
  platform::standard_file::preselect(path("other.tif"));

  EXPECT_EQ(host().run(), kUserCancelled);
  // The size check left the tagged size in the texts.
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 32 [64|48]", 133)});
  EXPECT_EQ(tag_fields(host().tag_bytes()).width, 64);
}

// ---------------------------------------------------------------------------
// Areas wider than 16 bits, and the limits that are left

// The document of an area wider than 16 bits goes back through the 32-bit
// request; a host without the extension is told its limit instead, and the
// file stays as it was.
TEST_F(ExportDriver, AnAreaPastSixteenBitsIsWrittenOnlyThroughTheExtension) {
  ASSERT_EQ(samples::write_tiff(path("wide.tif"),
                                {.width = 40000, .height = 8, .rowsPerStrip = 3, .seed = kSeed}),
            0);
  const fs::path pristine = copy_with_sidecar(path("wide.tif"), path("pristine.tif"));
  const VRect box{2, 100, 6, 40000};
  ASSERT_EQ(host().tag(spec_of("wide.tif"), box, 1, 40000, 8), 0);
  host().document.mode = kGrayscaleMode;

  Set(host().params, kExportBigDocuments, 0u);
  EXPECT_EQ(host().run(), kHostSideLimit);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 34 [39,900|4]", 136)});
  EXPECT_TRUE(host().requests.empty());
  EXPECT_EQ(file_bytes(path("wide.tif")), file_bytes(pristine));

  Set(host().params, kExportBigDocuments, kBigDocumentsVersion);
  Set(host().params, kExportMemoryLimit, 39900 * 3);  // three rows a band
  ASSERT_EQ(host().run(), 0);
  ASSERT_EQ(host().requests.size(), 2u);
  EXPECT_EQ(host().requests[0].right, 39900);
  EXPECT_EQ(host().requests[1].bottom, 4);
  expect_written(path("wide.tif"), pristine, box);
}

TEST_F(ExportDriver, ABudgetBelowOneRowIsToldWithTheRowsSize) {
  write_rgb_tiff("image.tif");
  tag("image.tif", VRect{0, 0, 10, 10});
  Set(host().params, kExportMemoryLimit, 29);  // one row of 10 RGB pixels is 30 bytes
  EXPECT_EQ(host().run(), kRowBeyondMemory);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 35 [10|30]", 137)});
  EXPECT_TRUE(host().requests.empty());
}

}  // namespace
}  // namespace tessel::testing
