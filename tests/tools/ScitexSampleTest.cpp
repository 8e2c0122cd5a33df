#include <gtest/gtest.h>

#include <string>

#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

class ScitexSample : public testing::TempFolder {};

std::string textAt(const std::vector<UInt8>& bytes, std::size_t offset, std::size_t count) {
  return std::string(bytes.begin() + std::ptrdiff_t(offset),
                     bytes.begin() + std::ptrdiff_t(offset + count));
}

TEST(ScitexFields, RealAndIntegerTextsFollowTheFixedLayout) {
  EXPECT_EQ(scitex_real_field(100.0), "+.10000000E+03");
  EXPECT_EQ(scitex_real_field(-0.05), "-.50000000E-01");
  EXPECT_EQ(scitex_real_field(25.4), "+.25400000E+02");
  EXPECT_EQ(scitex_real_field(0.0), "+.00000000E+00");
  EXPECT_EQ(scitex_real_field(9.999999999),
            "+.10000000E+02");  // rounding carries into the exponent
  EXPECT_EQ(scitex_real_field(1.0e-100), "+.10000000E-99");
  EXPECT_EQ(scitex_real_field(1.0e99), std::nullopt);
  EXPECT_EQ(scitex_integer_field(2000), "+00000002000");
  EXPECT_EQ(scitex_integer_field(-7), "-00000000007");
  EXPECT_EQ(scitex_integer_field(100000000000), std::nullopt);
}

TEST_F(ScitexSample, HeaderFieldsAndPaddedLinesSitAtTheirOffsets) {
  ScitexOptions o{.width = 5, .height = 3, .channels = 2, .physicalWidth = 10.01};
  o.physicalHeight = 0.254;
  o.seed = 9;
  ASSERT_EQ(write_scitex(path("a.ct"), o), noErr);
  std::vector<UInt8> bytes = read_file(path("a.ct"));
  ASSERT_EQ(bytes.size(), 2048u + 3 * 2 * 6);
  std::vector<UInt8> header(2048, 0);
  header[1024] = 1;
  header[1025] = 2;
  const std::string fields = "+.25400000E+00+.10010000E+02+00000000003+00000000005";
  std::copy(fields.begin(), fields.end(), header.begin() + 1028);
  EXPECT_EQ(std::vector<UInt8>(bytes.begin(), bytes.begin() + 2048), header);
  for (SInt32 line = 0; line < 3; ++line) {
    for (SInt32 channel = 0; channel < 2; ++channel) {
      for (SInt32 x = 0; x < 6; ++x) {  // x = 5 is the pad byte
        EXPECT_EQ(bytes[std::size_t(2048 + (line * 2 + channel) * 6 + x)],
                  sample_value(9, line, x, channel));
      }
    }
  }
}

TEST_F(ScitexSample, OverridesReplaceOnlyTheirField) {
  ScitexOptions o{.width = 254, .height = 127, .units = 0, .pixelsPerInch = 254};
  o.unitsByte = 2;
  o.channelsByte = 17;
  o.heightText = " .10000000E+03";
  o.pixelsPerLineText = "+0000000025";  // one character short: blank-padded
  ASSERT_EQ(write_scitex(path("b.ct"), o), noErr);
  std::vector<UInt8> bytes = read_file(path("b.ct"));
  EXPECT_EQ(bytes[1024], 2);
  EXPECT_EQ(bytes[1025], 17);
  EXPECT_EQ(textAt(bytes, 1028, 14), " .10000000E+03");
  EXPECT_EQ(textAt(bytes, 1042, 14), "+.25400000E+02");  // 254 pixels at 254 per inch, in mm
  EXPECT_EQ(textAt(bytes, 1056, 24), "+00000000127+0000000025 ");
  EXPECT_EQ(bytes.size(), 2048u + 127 * 4 * 254);
}

}  // namespace
}  // namespace tessel::samples
