#include <gtest/gtest.h>

#include "AppleDouble.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/Lumen2Format.h"
#include "records/ResultCodes.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using tessel::testing::described;
using tessel::testing::OpenedImage;

namespace {

samples::NativeOptions planar_cmyk() {
  return {.channels = 4, .rows = 33, .columns = 51, .mode = 4, .seed = 9};
}

class Lumen2Format : public tessel::testing::TempFolder {
 protected:
  std::filesystem::path sample(const samples::NativeOptions& options,
                               const std::string& name = "native") {
    EXPECT_EQ(samples::write_native(path(name), options), noErr);
    return path(name);
  }
  OSErr open_result(const samples::NativeOptions& options) {
    return OpenedImage(sample(options)).result;
  }
  // Opens planar_cmyk() changed by tweak.
  template <class Tweak>
  OSErr open_with(Tweak tweak) {
    samples::NativeOptions options = planar_cmyk();
    tweak(options);
    return open_result(options);
  }
};

}  // namespace

TEST_F(Lumen2Format, DescribesItselfFromItsResources) {
  samples::NativeOptions options = planar_cmyk();
  OpenedImage plain(sample(options));
  ASSERT_EQ(plain.result, noErr);
  EXPECT_EQ(described(plain.image), std::tuple(kNativeFormat, kCMYKMode, 8, 1, 51, 33, 4));
  EXPECT_FLOAT_EQ(plain.image.hResolution, 72.0f) << "no resolution entry means 72";

  options.horizontalResolution = 0x012C8000;  // 300.5
  options.verticalResolution = 0x00960000;    // 150
  OpenedImage resolved(sample(options, "resolved"));
  ASSERT_EQ(resolved.result, noErr);
  EXPECT_FLOAT_EQ(resolved.image.hResolution, 300.5f);
  EXPECT_FLOAT_EQ(resolved.image.vResolution, 150.0f);

  for (SInt16 stored : {SInt16(12), SInt16(-1)}) {
    options.mode = stored;
    OpenedImage odd(sample(options, "odd"));
    ASSERT_EQ(odd.result, noErr);
    EXPECT_EQ(odd.image.mode, kUnsupportedMode) << stored;
  }
}

TEST_F(Lumen2Format, IndexedAndDuotoneFilesNeedTheirTables) {
  samples::NativeOptions options;
  options.mode = 2;
  OpenedImage indexed(sample(options));
  ASSERT_EQ(indexed.result, noErr);
  ASSERT_NE(indexed.image.colorTable, nullptr);
  options.omitResources = {samples::native_id::kColorTable};
  EXPECT_EQ(open_result(options), kFormatFailure);
  options.mode = 1;
  EXPECT_EQ(open_result(options), noErr) << "grayscale needs no colour table";
  options.mode = 8;
  options.omitResources = {samples::native_id::kDuotone};
  EXPECT_EQ(open_result(options), kFormatFailure);
  options.omitResources = {};
  EXPECT_EQ(open_result(options), noErr);
}

TEST_F(Lumen2Format, MissingOrShortDescriptionsAreRefused) {
  using samples::native_id::kDescription, samples::native_id::kResolution;
  EXPECT_EQ(open_with([](auto& o) { o.omitResourceFork = true; }), kFormatFailure);
  EXPECT_EQ(open_with([](auto& o) { o.omitResources = {kDescription}; }), kFormatFailure);
  // Entries shorter than their layout are refused, not read past their end.
  const std::vector<std::pair<SInt16, std::vector<UInt8>>> entries = {
      {kDescription, {0, 4, 0, 33}},
      {kResolution, {0, 0x48, 0, 0}},
      {kDescription, {0, 4, 0, 0, 0, 51, 0, 8, 0, 4}},  // no rows
  };
  for (const auto& [id, data] : entries) {
    EXPECT_EQ(open_with([&](auto& o) {
                o.extraResources = {{FourCC("LUMN"), id, 0, "", data}};
              }),
              kFormatFailure)
        << id << " of " << data.size() << " bytes";
  }
}

TEST_F(Lumen2Format, BoxesReadAsTheFormulaSays) {
  tessel::testing::expect_boxes_read(sample(planar_cmyk()), [](SInt32 r, SInt32 c, SInt32 p) {
    return samples::sample_value(9, r, c, p);
  });
}

TEST_F(Lumen2Format, WritingChangesExactlyTheBox) {
  tessel::testing::expect_boxes_written(
      sample(planar_cmyk()),
      [](SInt32 r, SInt32 c, SInt32 p) { return std::size_t(p * 33 * 51 + r * 51 + c); },
      [](UInt8 value, SInt32) { return value; });
}

TEST_F(Lumen2Format, AShortDataForkFailsTheRead) {
  auto file = sample(planar_cmyk());
  std::filesystem::resize_file(file, 4 * 33 * 51 - 10);
  OpenedImage opened(file);
  ASSERT_EQ(opened.result, noErr);
  tessel::testing::BoxBuffer buffer(TileArea{30, 0, 33, 51, 3, 4}, true, 4);
  EXPECT_EQ(RasterFormatGetTile(&opened.image.format, buffer.tile, buffer.box), eofErr);
  tessel::testing::BoxBuffer early(TileArea{0, 0, 33, 51, 0, 3}, false, 4);
  EXPECT_EQ(RasterFormatGetTile(&opened.image.format, early.tile, early.box), noErr);
}
