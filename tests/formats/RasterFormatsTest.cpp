#include <gtest/gtest.h>

#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/RasterFormats.h"
#include "records/ResultCodes.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using tessel::testing::OpenedImage;

namespace {

class RasterFormats : public tessel::testing::TempFolder {
 protected:
  FormatCode recognise(const std::string& name, OSType type) {
    FSSpec spec{};
    spec.name[0] = UInt8(name.size());
    std::copy(name.begin(), name.end(), spec.name + 1);
    FormatCode code = 0;
    EXPECT_EQ(RasterFormatRecognize(&spec, type, &code), noErr);
    return code;
  }
};

}  // namespace

TEST_F(RasterFormats, NamesDecideOnlyForUninformativeTypes) {
  for (OSType vague : {FourCC("TEXT"), FourCC("????"), FourCC("    ")}) {
    EXPECT_EQ(recognise("scan.tif", vague), kTIFFFormat);
    EXPECT_EQ(recognise("Scan.Tiff", vague), kTIFFFormat);
    EXPECT_EQ(recognise(".TIF", vague), kTIFFFormat);
    EXPECT_EQ(recognise("plate.sct", vague), kScitexFormat);
    EXPECT_EQ(recognise("picture.pct", vague), kUnknownFormat);
    EXPECT_EQ(recognise("TIF", vague), kUnknownFormat);
  }
  EXPECT_EQ(recognise("plate.sct", FourCC("TIFF")), kTIFFFormat);
  EXPECT_EQ(recognise("anything", FourCC("LUMN")), kNativeFormat);
  EXPECT_EQ(recognise("scan.tif", FourCC("JPEG")), kUnknownFormat);
}

TEST_F(RasterFormats, TheTypeListNeedsRoomForSix) {
  OSType types[10];
  std::fill(std::begin(types), std::end(types), FourCC("none"));
  SInt16 count = -1;
  EXPECT_EQ(RasterFormatsMacFileTypes(types, 5, &count), kFormatFailure);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(types[0], FourCC("none"));
  ASSERT_EQ(RasterFormatsMacFileTypes(types, 10, &count), noErr);
  EXPECT_EQ(count, 6);
  EXPECT_EQ(types[6], FourCC("none"));
}

TEST_F(RasterFormats, UnrecognisedAndMissingFilesAreToldApart) {
  write_file("notes.txt", {'h', 'i'});
  OpenedImage text(path("notes.txt"));
  EXPECT_EQ(text.result, kFormatNotRecognised);
  EXPECT_EQ(text.image.format.code, kUnknownFormat);
  EXPECT_EQ(text.image.format.state, nullptr);

  write_file("folder/.keep", {});
  SourceImage missing{};
  missing.fileSpec = spec_of("folder/gone.tif");
  EXPECT_EQ(RasterFormatOpen(&missing), fnfErr);
  EXPECT_EQ(missing.format.code, 0u);
}

TEST_F(RasterFormats, AFailedOpenIsClosedLikeAnOpenOne) {
  samples::ScitexOptions options;
  options.unitsByte = 2;
  ASSERT_EQ(samples::write_scitex(path("bad.sct"), options), noErr);
  SourceImage image{};
  image.fileSpec = spec_of("bad.sct");
  image.selection = VRect{1, 2, 3, 4};
  EXPECT_EQ(RasterFormatOpen(&image), kScitexBadUnits);
  EXPECT_EQ(image.format.code, kScitexFormat);
  EXPECT_NE(image.format.state, nullptr) << "kept for closing";
  EXPECT_EQ(image.selection.right, 4) << "opening touches only the description";
  EXPECT_EQ(RasterFormatClose(&image.format), noErr);
  EXPECT_EQ(image.format.state, nullptr);
  EXPECT_EQ(RasterFormatClose(&image.format), noErr);
}

TEST_F(RasterFormats, TIFFResolutionInCentimetresBecomesInches) {
  samples::TiffOptions options;
  options.xResolution = samples::TiffRational{11811, 100};
  options.yResolution = samples::TiffRational{300, 1};
  options.resolutionUnit = 3;
  ASSERT_EQ(samples::write_tiff(path("cm.tif"), options), noErr);
  OpenedImage cm(path("cm.tif"));
  ASSERT_EQ(cm.result, noErr);
  EXPECT_NEAR(cm.image.hResolution, 300.0, 0.01);
  EXPECT_NEAR(cm.image.vResolution, 762.0, 0.01);
  options.resolutionUnit = 1;
  ASSERT_EQ(samples::write_tiff(path("none.tif"), options), noErr);
  OpenedImage none(path("none.tif"));
  EXPECT_NEAR(none.image.hResolution, 118.11, 0.001);
}

// Every format goes through the same band mover: a box reaching outside the
// image, by however much, is refused before a byte moves either way, and an
// empty one inside it succeeds doing nothing.
TEST_F(RasterFormats, BoxesOutsideTheImageFailAndEmptyOnesDoNothingInEveryFormat) {
  ASSERT_EQ(samples::write_tiff(path("a.tif"), {.width = 20,
                                                .height = 10,
                                                .samplesPerPixel = 3,
                                                .photometric = 2,
                                                .tiles = samples::TiffTiles{}}),
            noErr);
  ASSERT_EQ(samples::write_scitex(path("a.sct"), {.width = 20, .height = 10}), noErr);
  ASSERT_EQ(samples::write_native(path("a.lmn"), {.channels = 3, .rows = 10, .columns = 20}),
            noErr);
  const SInt32 big = INT32_MAX;
  const TileArea outside[] = {
      {-1, 0, 5, 5, 0, 1},        {0, 0, 11, 5, 0, 1},    {0, 15, 5, 21, 0, 1}, {0, 0, 5, 5, 2, 5},
      {big - 1, 0, big, 5, 0, 1}, {0, big, 5, big, 0, 1}, {0, 0, 5, 5, -big, 1}};
  const TileArea empty[] = {{3, 0, 3, 20, 0, 3}, {0, 7, 10, 2, 0, 3}, {0, 0, 10, 20, 2, 2}};
  for (const char* name : {"a.tif", "a.sct", "a.lmn"}) {
    SCOPED_TRACE(name);
    const std::vector<UInt8> before = tessel::testing::file_bytes(path(name));
    OpenedImage opened(path(name));
    ASSERT_EQ(opened.result, noErr);
    // One sample of room: nothing may be written into it.
    UInt8 sample = 0x5A;
    const Tile tile{&sample, TileArea{0, 0, 1, 1, 0, 1}, 1, 1, 0};
    for (const TileArea& box : outside) {
      EXPECT_EQ(RasterFormatGetTile(&opened.image.format, tile, box), kFormatFailure)
          << tessel::testing::box_text(box);
      EXPECT_EQ(RasterFormatPutTile(&opened.image.format, tile, box), kFormatFailure)
          << tessel::testing::box_text(box);
    }
    for (const TileArea& box : empty) {
      EXPECT_EQ(RasterFormatGetTile(&opened.image.format, tile, box), noErr);
      EXPECT_EQ(RasterFormatPutTile(&opened.image.format, tile, box), noErr);
    }
    EXPECT_EQ(sample, 0x5A);
    EXPECT_EQ(tessel::testing::file_bytes(path(name)), before);
  }
}
