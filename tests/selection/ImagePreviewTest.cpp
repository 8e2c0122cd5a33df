// The image preview: what its offscreen shows before the rows arrive, which
// image rows each step draws and where, and how it stops on a bad file.
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "FaultyFileSystem.h"
#include "Files.h"
#include "Resources.h"
#include "TempFolder.h"
#include "formats/FormatTestSupport.h"
#include "host/DisplayPixels.h"
#include "platform/DialogTestSupport.h"
#include "records/ResultCodes.h"
#include "selection/ImagePreview.h"
#include "tools/samples/SampleImages.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::samples::sample_value;
using tessel::samples::SampleThumbnail;
using tessel::samples::TiffOptions;
using tessel::testing::OpenedImage;

constexpr UInt32 kRed = 0xFF0000;
constexpr UInt32 kBlue = 0x0000FF;

struct DisplayCall {
  VRect source;
  SInt32 row;
  SInt32 column;
};
std::vector<DisplayCall> displayCalls;

OSErr recordingDisplay(const DisplayPixelMap* map, const VRect* source, SInt32 row, SInt32 column,
                       void* context) {
  displayCalls.push_back(DisplayCall{*source, row, column});
  return tessel::host::display_pixels(map, source, row, column, context);
}

UInt32 rgbSample(SInt32 row, SInt32 column) {
  return UInt32(sample_value(0, row, column, 0)) << 16 |
         UInt32(sample_value(0, row, column, 1)) << 8 | sample_value(0, row, column, 2);
}

class Preview : public tessel::testing::DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    displayCalls.clear();
    open_compiled(TESSEL_RESOURCE_FORK);
  }
  void TearDown() override {
    FinishImagePreview(&preview_);
    opened_.reset();
    DialogTest::TearDown();
  }

  SourceImage& open(TiffOptions options) {
    options.samplesPerPixel = options.photometric == 2 ? 3 : options.samplesPerPixel;
    opened_.reset();
    return opened(path("image.tif"), tessel::samples::write_tiff(path("image.tif"), options));
  }
  // The native format keeps its channels in planes.
  SourceImage& open_native(SInt16 width, SInt16 height) {
    opened_.reset();
    tessel::samples::NativeOptions options{
        .channels = 3, .rows = height, .columns = width, .mode = kRGBMode};
    return opened(path("image.raw"), tessel::samples::write_native(path("image.raw"), options));
  }
  SourceImage& opened(const std::filesystem::path& file, OSErr written) {
    EXPECT_EQ(written, 0);
    opened_ = std::make_unique<OpenedImage>(file);
    EXPECT_EQ(opened_->result, 0);
    return opened_->image;
  }
  SourceImage& open_rgb(UInt32 width, UInt32 height,
                        std::optional<SampleThumbnail> thumbnail = std::nullopt) {
    return open(
        TiffOptions{.width = width, .height = height, .photometric = 2, .thumbnail = thumbnail});
  }

  OSErr start(SourceImage& image, SInt16 width, SInt16 height) {
    Rect item{30, 40, SInt16(30 + height), SInt16(40 + width)};
    return StartImagePreview(&image, &preview_, &item, recordingDisplay);
  }
  OSErr step(Boolean* changed) { return ContinueImagePreview(&preview_, changed); }

  UInt32 at(int h, int v) const { return qd::pixel(*preview_.offscreen, h, v); }
  // Whether preview row v shows image row imageRow, the preview as wide as
  // the image.
  bool shows_row(int v, SInt32 imageRow, int width) const {
    for (int h = 0; h < width; ++h) {
      if (at(h, v) != rgbSample(imageRow, h)) return false;
    }
    return true;
  }

  ImagePreview preview_{};
  std::unique_ptr<OpenedImage> opened_;
};

TEST_F(Preview, SevenRowsArriveAsFiveThenTwoThenTheBuffersGo) {
  SourceImage& image = open_rgb(40, 70);
  ASSERT_EQ(start(image, 40, 7), 0);
  Boolean changed = false;
  ASSERT_EQ(step(&changed), 0);
  EXPECT_TRUE(changed);
  EXPECT_EQ(preview_.done.bottom, 5);
  for (int v = 0; v < 5; ++v) EXPECT_TRUE(shows_row(v, 10 * v, 40)) << v;
  EXPECT_FALSE(shows_row(5, 50, 40));

  ASSERT_EQ(step(&changed), 0);
  EXPECT_TRUE(changed);
  EXPECT_EQ(preview_.done.bottom, 7);
  EXPECT_TRUE(shows_row(5, 50, 40));
  EXPECT_TRUE(shows_row(6, 60, 40));
  ASSERT_EQ(displayCalls.size(), 2u);
  EXPECT_EQ(displayCalls[1].source.bottom - displayCalls[1].source.top, 2);
  EXPECT_EQ(displayCalls[1].source.right, 40);
  EXPECT_EQ(displayCalls[1].row, 5);
  EXPECT_EQ(displayCalls[1].column, 0);

  ASSERT_EQ(step(&changed), 0);
  EXPECT_FALSE(changed);
  EXPECT_EQ(preview_.rowTile.data, nullptr);
  EXPECT_EQ(preview_.bandTile.data, nullptr);
  ASSERT_NE(preview_.offscreen, nullptr);
  EXPECT_TRUE(shows_row(6, 60, 40));
  EXPECT_EQ(displayCalls.size(), 2u);
}

// 62 rows in 14: row 7 stands for 7 × (62 ÷ 14) = 31 exactly, but in single
// precision the product falls just below and row 30 is read.
TEST_F(Preview, RowsAreTheNearestLowerInSinglePrecisionForEitherLayout) {
  for (bool planar : {false, true}) {
    SourceImage& image = planar ? open_native(16, 62) : open_rgb(16, 62);
    ASSERT_EQ(image.planar, planar ? 1 : 0);
    ASSERT_EQ(start(image, 16, 14), 0);
    Boolean changed = false;
    for (int i = 0; i < 3; ++i) ASSERT_EQ(step(&changed), 0);
    EXPECT_EQ(preview_.done.bottom, 14);
    EXPECT_TRUE(shows_row(0, 0, 16)) << planar;
    EXPECT_TRUE(shows_row(1, 4, 16)) << planar;
    EXPECT_TRUE(shows_row(7, 30, 16)) << planar;
    EXPECT_TRUE(shows_row(13, 57, 16)) << planar;
    FinishImagePreview(&preview_);
  }
}

// A preview of a tiled or planar image reads the row it shows inside each
// tile or plane, never whole tiles: ten rows of a 40 x 1500 image in tiles
// of 16 x 16 cost ten of the image's rows (not the last tile's padding),
// under 1% of the file.
TEST_F(Preview, TiledAndPlanarImagesReadOnlyThePreviewsRows) {
  const TiffOptions layouts[] = {
      {.width = 40, .height = 1500, .photometric = 2, .tiles = tessel::samples::TiffTiles{}},
      {.width = 40,
       .height = 1500,
       .photometric = 2,
       .planarConfiguration = 2,
       .tiles = tessel::samples::TiffTiles{}},
      {.width = 40,
       .height = 1500,
       .photometric = 2,
       .rowsPerStrip = 64,
       .planarConfiguration = 2}};
  for (const TiffOptions& options : layouts) {
    SourceImage& image = open(options);
    ASSERT_EQ(start(image, 40, 10), 0);
    tessel::testing::FaultyFileSystem counting;
    Boolean changed = false;
    {
      tessel::platform::ScopedFileSystem scope(counting);
      for (int i = 0; i < 3; ++i) ASSERT_EQ(step(&changed), 0);
    }
    EXPECT_EQ(preview_.done.bottom, 10);
    for (int v = 0; v < 10; ++v) EXPECT_TRUE(shows_row(v, 150 * v, 40)) << v;
    EXPECT_EQ(counting.bytes_read, std::size_t(10 * 40 * 3));
    EXPECT_LT(counting.bytes_read * 100, std::filesystem::file_size(path("image.tif")));
    FinishImagePreview(&preview_);
  }
}

// A square thumbnail over a 300 x 200 preview of a 600 x 400 image is drawn
// into (-52, 0, 250, 300): d = (400 + 100) / 200 = 2. Its colour change
// halfway down lands on row 99 (row 100 without d).
TEST_F(Preview, SquareThumbnailCoversTheWiderPreviewBeforeRowsArrive) {
  SourceImage& image = open_rgb(600, 400, SampleThumbnail{});
  ASSERT_EQ(start(image, 300, 200), 0);
  EXPECT_EQ(preview_.done.bottom, 0);
  EXPECT_EQ(at(150, 0), kRed);
  EXPECT_EQ(at(150, 98), kRed);
  EXPECT_EQ(at(150, 99), kBlue);
  EXPECT_EQ(at(299, 199), kBlue);
  Boolean changed = false;
  ASSERT_EQ(step(&changed), 0);
  EXPECT_NE(at(150, 4), kRed);
  EXPECT_EQ(at(150, 5), kRed);
}

TEST_F(Preview, ThumbnailOfOtherProportionsFillsThePreview) {
  SourceImage& image = open_rgb(600, 400, SampleThumbnail{.width = 60, .height = 40});
  ASSERT_EQ(start(image, 300, 200), 0);
  EXPECT_EQ(at(0, 99), kRed);
  EXPECT_EQ(at(0, 100), kBlue);
}

TEST_F(Preview, WithoutAUsableThumbnailThePatternWaits) {
  auto shows_pattern = [&] {
    bool light = false, dark = false;
    for (int v = 0; v < 16; ++v) {
      for (int h = 0; h < 16; ++h) {
        UInt32 p = at(h, v);
        if (p != 0xF4F4F4 && p != 0xD4D4D4) return false;
        (p == 0xF4F4F4 ? light : dark) = true;
      }
    }
    return light && dark;
  };
  // No thumbnail, then one of a version this reader does not know.
  for (auto thumbnail :
       {std::optional<SampleThumbnail>(), std::optional(SampleThumbnail{.noteVersion = 2})}) {
    ASSERT_EQ(start(open_rgb(64, 48, thumbnail), 64, 48), 0);
    EXPECT_TRUE(shows_pattern()) << thumbnail.has_value();
    FinishImagePreview(&preview_);
  }

  close_compiled();  // no pattern resource: a blank picture
  SourceImage& blank = open_rgb(64, 48);
  ASSERT_EQ(start(blank, 64, 48), 0);
  EXPECT_EQ(at(0, 0), 0xFFFFFFu);
  EXPECT_EQ(at(7, 3), 0xFFFFFFu);
}

TEST_F(Preview, FileThatBecomesUnreadableStopsThePreviewKeepingItsRows) {
  SourceImage& image = open_rgb(40, 70);
  ASSERT_EQ(start(image, 40, 14), 0);
  Boolean changed = false;
  ASSERT_EQ(step(&changed), 0);
  std::filesystem::resize_file(path("image.tif"), 200);

  changed = true;
  OSErr err = step(&changed);
  EXPECT_NE(err, 0);
  EXPECT_FALSE(changed);
  EXPECT_EQ(preview_.error, err);
  EXPECT_EQ(preview_.done.bottom, 5);
  for (int v = 0; v < 5; ++v) EXPECT_TRUE(shows_row(v, 5 * v, 40)) << v;

  EXPECT_EQ(step(&changed), 0);
  EXPECT_FALSE(changed);
  EXPECT_EQ(displayCalls.size(), 1u);
}

TEST_F(Preview, IndexedImageDoesNotStartAndKeepsNothing) {
  SourceImage& image = open(TiffOptions{.width = 32,
                                        .height = 32,
                                        .photometric = 3,
                                        .colorMap = tessel::samples::sample_color_map(0, 256)});
  ASSERT_EQ(image.mode, kIndexedMode);
  EXPECT_EQ(start(image, 32, 32), 999);
  EXPECT_EQ(preview_.offscreen, nullptr);
  EXPECT_EQ(preview_.rowTile.data, nullptr);
  EXPECT_EQ(preview_.error, 999);
  Boolean changed = true;
  EXPECT_EQ(step(&changed), 0);
  EXPECT_FALSE(changed);
  EXPECT_EQ(FinishImagePreview(&preview_), 0);
  EXPECT_EQ(FinishImagePreview(&preview_), 0);
}

// A row of 800 million RGB pixels fits no buffer: the preview does not
// start, says why, and keeps nothing (the description stands in for such a
// file, which would have to be gigabytes long).
TEST_F(Preview, ARowTooWideForAnyBufferDoesNotStart) {
  for (SInt16 planar : {SInt16(0), SInt16(1)}) {
    SourceImage& image = open_rgb(32, 32);
    image.width = 800000000;
    image.planar = planar;
    EXPECT_EQ(start(image, 32, 32), kRowBeyondMemory) << planar;
    EXPECT_EQ(preview_.offscreen, nullptr);
    EXPECT_EQ(preview_.rowTile.data, nullptr);
    EXPECT_EQ(preview_.error, kRowBeyondMemory);
  }
}

}  // namespace
