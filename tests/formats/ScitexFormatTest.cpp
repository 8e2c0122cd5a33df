#include <gtest/gtest.h>

#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/ScitexFormat.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using tessel::testing::OpenedImage;

namespace {

samples::ScitexOptions odd_cmyk() { return {.width = 101, .height = 37, .channels = 4, .seed = 5}; }

class ScitexFormat : public tessel::testing::TempFolder {
 protected:
  std::filesystem::path sample(const samples::ScitexOptions& options,
                               const std::string& name = "plate.sct") {
    EXPECT_EQ(samples::write_scitex(path(name), options), noErr);
    return path(name);
  }

  // Opens odd_cmyk() changed by tweak.
  template <class Tweak>
  OSErr open_with(Tweak tweak) {
    samples::ScitexOptions options = odd_cmyk();
    tweak(options);
    return OpenedImage(sample(options)).result;
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

}  // namespace

TEST_F(ScitexFormat, DescribesModeSizeAndResolution) {
  samples::ScitexOptions options{.width = 2000,
                                 .height = 10,
                                 .channels = 3,
                                 .units = 0,
                                 .physicalWidth = 169.333,
                                 .physicalHeight = 0.847};
  OpenedImage opened(sample(options));
  ASSERT_EQ(opened.result, noErr);
  EXPECT_EQ(tessel::testing::described(opened.image),
            std::tuple(kScitexFormat, kRGBMode, 8, 0, 2000, 10, 3));
  EXPECT_NEAR(opened.image.hResolution, 300.0, 0.01);

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
  for (auto [text, expected] : {std::pair{"+.10000000E+03", 100.0f},
                                {"-.50000000E-01", -0.05f},
                                {"+.25400000E+02", 25.4f}}) {
    float value = 0;
    ASSERT_EQ(parse_real(text, &value), noErr) << text;
    EXPECT_FLOAT_EQ(value, expected) << text;
  }
  float value = 7;
  for (const char* text : {" .25400000E+02", "+.25400000e+02", "+,25400000E+02", "+.2540000xE+02"})
    EXPECT_EQ(parse_real(text, &value), kFormatFailure) << text;
  EXPECT_EQ(parse_real("+.254000", &value), eofErr);
  EXPECT_EQ(value, 7) << "a failed parse leaves the value";
}

TEST_F(ScitexFormat, HeaderRefusalsHaveTheirCodes) {
  EXPECT_EQ(open_with([](auto& o) { o.unitsByte = 2; }), kScitexBadUnits);
  for (int channels : {0, 17})
    EXPECT_EQ(open_with([&](auto& o) { o.channelsByte = UInt8(channels); }), kScitexBadChannels)
        << channels;
  EXPECT_EQ(open_with([](auto& o) { o.heightText = "+.00000000E+00"; }), kScitexBadSize);
  EXPECT_EQ(open_with([](auto& o) { o.widthText = "-.10000000E+01"; }), kScitexBadSize);
  // Counts that are zero, negative or past 32 bits, and lines (4 channels)
  // whose bytes are no 32-bit count.
  for (const char* lines : {"+00000000000", "-00000000010", "+09999999999"})
    EXPECT_EQ(open_with([&](auto& o) { o.linesText = lines; }), kFormatFailure) << lines;
  for (const char* pixels : {"+09999999999", "+00536870912"})
    EXPECT_EQ(open_with([&](auto& o) { o.pixelsPerLineText = pixels; }), kFormatFailure) << pixels;
  EXPECT_EQ(open_with([](auto& o) { o.pixelsPerLineText = "+00536870910"; }), noErr)
      << "a line of 2^31 - 8 bytes";
}

TEST_F(ScitexFormat, AFileCutInTheHeaderNeverOpens) {
  std::vector<UInt8> whole = tessel::testing::file_bytes(sample(odd_cmyk()));
  for (std::size_t cut : {0, 100, 1024, 1025, 1030, 1050, 1060, 1075, 1079}) {
    write_file("cut.sct", std::vector<UInt8>(whole.begin(), whole.begin() + long(cut)));
    OpenedImage opened(path("cut.sct"));
    EXPECT_EQ(opened.result, eofErr) << cut;
  }
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

TEST_F(ScitexFormat, BoxesReadAsTheFormulaSaysInLargeAndSmallBuffers) {
  const auto file = sample(odd_cmyk());
  const auto formula = [](SInt32 r, SInt32 c, SInt32 p) {
    return samples::sample_value(5, r, c, p);
  };
  tessel::testing::expect_boxes_read(file, formula);
  tessel::testing::ZoneBudgets budgets;
  budgets.leave_free(40000 + 3 * 408 + 1000);  // three lines above the reserve
  tessel::testing::expect_boxes_read(file, formula);
}
