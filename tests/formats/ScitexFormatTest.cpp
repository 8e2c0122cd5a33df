#include <gtest/gtest.h>

#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "TempFolder.h"
#include "formats/ScitexFormat.h"
#include "plugin/ResultCodes.h"
#include "support/FileUtilities.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using tessel::testing::OpenedImage;

namespace {

class ScitexFormat : public tessel::testing::TempFolder {
 protected:
  std::filesystem::path sample(const samples::ScitexOptions& options,
                               const std::string& name = "plate.sct") {
    EXPECT_EQ(samples::write_scitex(path(name), options), noErr);
    return path(name);
  }

  OSErr open_result(const samples::ScitexOptions& options) {
    OpenedImage opened(sample(options));
    return opened.result;
  }

  // Parses one real field from a file that holds only its text.
  OSErr parse_real(const std::string& text, float* value) {
    write_file("field", std::vector<UInt8>(text.begin(), text.end()));
    FSSpec spec = spec_of("field");
    SInt16 ref = 0;
    OpenFile(&spec, &ref);
    OSErr err = ParseReal(ref, value);
    CloseFile(ref);
    return err;
  }
};

samples::ScitexOptions odd_cmyk() {
  samples::ScitexOptions options;
  options.width = 101;
  options.height = 37;
  options.channels = 4;
  options.seed = 5;
  return options;
}

}  // namespace

TEST_F(ScitexFormat, DescribesModeSizeAndResolution) {
  samples::ScitexOptions options;
  options.width = 2000;
  options.height = 10;
  options.channels = 3;
  options.units = 0;
  options.physicalWidth = 169.333;
  options.physicalHeight = 0.847;
  OpenedImage opened(sample(options));
  ASSERT_EQ(opened.result, noErr);
  const SourceImage& image = opened.image;
  EXPECT_EQ(image.format.code, kScitexFormat);
  EXPECT_EQ(image.mode, kRGBMode);
  EXPECT_EQ(image.depth, 8);
  EXPECT_EQ(image.planar, 0);
  EXPECT_EQ(image.width, 2000);
  EXPECT_EQ(image.height, 10);
  EXPECT_NEAR(image.hResolution, 300.0, 0.01);

  options.units = 1;
  options.physicalWidth = 6.6667;
  OpenedImage inches(sample(options, "inches.sct"));
  ASSERT_EQ(inches.result, noErr);
  EXPECT_NEAR(inches.image.hResolution, 300.0, 0.01);

  for (UInt8 channels : {UInt8(1), UInt8(2), UInt8(4), UInt8(5), UInt8(16)}) {
    options.channels = channels;
    OpenedImage other(sample(options, "c" + std::to_string(channels) + ".sct"));
    ASSERT_EQ(other.result, noErr) << int(channels);
    SInt16 mode = channels == 1 ? kGrayscaleMode : channels == 4 ? kCMYKMode : kUnsupportedMode;
    EXPECT_EQ(other.image.mode, mode) << int(channels);
  }
}

TEST_F(ScitexFormat, RealFieldsReadAsTheirValues) {
  float value = 0;
  ASSERT_EQ(parse_real("+.10000000E+03", &value), noErr);
  EXPECT_FLOAT_EQ(value, 100.0f);
  ASSERT_EQ(parse_real("-.50000000E-01", &value), noErr);
  EXPECT_FLOAT_EQ(value, -0.05f);
  ASSERT_EQ(parse_real("+.25400000E+02", &value), noErr);
  EXPECT_FLOAT_EQ(value, 25.4f);
  value = 7;
  EXPECT_EQ(parse_real(" .25400000E+02", &value), kFormatFailure);
  EXPECT_EQ(parse_real("+.25400000e+02", &value), kFormatFailure);
  EXPECT_EQ(parse_real("+,25400000E+02", &value), kFormatFailure);
  EXPECT_EQ(parse_real("+.2540000xE+02", &value), kFormatFailure);
  EXPECT_EQ(parse_real("+.254000", &value), eofErr);
  EXPECT_EQ(value, 7) << "a failed parse leaves the value";
}

TEST_F(ScitexFormat, HeaderRefusalsHaveTheirCodes) {
  samples::ScitexOptions options = odd_cmyk();
  options.unitsByte = 2;
  EXPECT_EQ(open_result(options), kScitexBadUnits);
  options = odd_cmyk();
  for (UInt8 channels : {UInt8(0), UInt8(17)}) {
    options.channelsByte = channels;
    EXPECT_EQ(open_result(options), kScitexBadChannels) << int(channels);
  }
  options = odd_cmyk();
  options.heightText = "+.00000000E+00";
  EXPECT_EQ(open_result(options), kScitexBadSize);
  options = odd_cmyk();
  options.widthText = "-.10000000E+01";
  EXPECT_EQ(open_result(options), kScitexBadSize);
  // Pixel counts that are zero, negative or too large for 32-bit offsets.
  for (const char* lines : {"+00000000000", "-00000000010", "+09999999999", "+00100000000"}) {
    options = odd_cmyk();
    options.linesText = lines;
    EXPECT_EQ(open_result(options), kFormatFailure) << lines;
  }
}

TEST_F(ScitexFormat, AFileCutShortNeverOpens) {
  std::vector<UInt8> whole = tessel::testing::file_bytes(sample(odd_cmyk()));
  for (std::size_t cut : {0, 100, 1024, 1025, 1030, 1050, 1060, 1075, 1079}) {
    write_file("cut.sct", std::vector<UInt8>(whole.begin(), whole.begin() + long(cut)));
    OpenedImage opened(path("cut.sct"));
    EXPECT_EQ(opened.result, eofErr) << cut;
  }
  write_file("cut.sct", std::vector<UInt8>(whole.begin(), whole.end() - 1));
  OpenedImage opened(path("cut.sct"));
  ASSERT_EQ(opened.result, noErr);
  std::vector<UInt8> row(101 * 4);
  TileArea last{36, 0, 37, 101, 0, 4};
  Tile tile{row.data(), last, 101 * 4, 4, 0};
  EXPECT_EQ(RasterFormatGetTile(&opened.image.format, tile, last), eofErr);
}

TEST_F(ScitexFormat, BoxesReadAsTheFormulaSays) {
  tessel::testing::expect_boxes_read(sample(odd_cmyk()), [](SInt32 r, SInt32 c, SInt32 p) {
    return samples::sample_value(5, r, c, p);
  });
}

TEST_F(ScitexFormat, WritingChangesExactlyTheBox) {
  const SInt32 padded = 102, channels = 4;
  tessel::testing::expect_boxes_written(
      sample(odd_cmyk()),
      [&](SInt32 r, SInt32 c, SInt32 p) {
        return std::size_t(2048 + (r * channels + p) * padded + c);
      },
      [](UInt8 value, SInt32) { return value; });
}

TEST_F(ScitexFormat, SmallBuffersMoveTheSameSamples) {
  namespace mem = tessel::platform::memory;
  std::int64_t application = mem::zone_budget(ApplicZone());
  std::int64_t temporary = mem::zone_budget(mem::temporary_zone());
  // Room for three lines above the reserve in one heap, none in the other.
  mem::set_zone_budget(ApplicZone(), mem::zone_used(ApplicZone()) + 40000 + 3 * 408 + 1000);
  mem::set_zone_budget(mem::temporary_zone(), mem::zone_used(mem::temporary_zone()));
  tessel::testing::expect_boxes_read(sample(odd_cmyk()), [](SInt32 r, SInt32 c, SInt32 p) {
    return samples::sample_value(5, r, c, p);
  });
  mem::set_zone_budget(ApplicZone(), application);
  mem::set_zone_budget(mem::temporary_zone(), temporary);
}
