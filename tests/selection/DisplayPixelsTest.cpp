// The host's display routine: bands of every mode and layout land in the
// current port where asked, in the colours Little CMS gives them.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <vector>

#include "MacErrors.h"
#include "References.h"
#include "host/DisplayPixels.h"
#include "platform/OffscreenPort.h"

namespace {

using tessel::host::display_pixels;
using tessel::testing::expect_pixels;
using tessel::testing::OffscreenPort;

constexpr UInt32 kUntouched = 0xFFFFFF;

// A band of `columns` pixels a row, interleaved or planar, owning its bytes.
class Band {
 public:
  Band(SInt32 mode, int channels, SInt32 rows, SInt32 columns, bool planar)
      : channels_(channels), planar_(planar) {
    map_.bounds = VRect{0, 0, rows, columns};
    map_.imageMode = mode;
    if (planar) {
      map_.colBytes = 1;
      map_.rowBytes = (columns + 3) / 4 * 4;
      map_.planeBytes = rows * map_.rowBytes;
      bytes_.assign(std::size_t(channels * map_.planeBytes), 0);
    } else {
      map_.colBytes = channels;
      map_.rowBytes = (channels * columns + 3) / 4 * 4;
      map_.planeBytes = 1;
      bytes_.assign(std::size_t(rows * map_.rowBytes), 0);
    }
    map_.baseAddr = NewReference(bytes_.data());
  }
  ~Band() { DisposeReference(map_.baseAddr); }

  void set(SInt32 row, SInt32 column, const std::vector<UInt8>& samples) {
    for (int p = 0; p < channels_; ++p) {
      std::size_t at = planar_ ? std::size_t(p * map_.planeBytes + row * map_.rowBytes + column)
                               : std::size_t(row * map_.rowBytes + column * channels_ + p);
      bytes_[at] = samples[std::size_t(p)];
    }
  }
  const DisplayPixelMap* map() const { return &map_; }

 private:
  int channels_;
  bool planar_;
  DisplayPixelMap map_{};
  std::vector<UInt8> bytes_;
};

// What Little CMS itself makes of one pixel.
UInt32 lcms_rgb(cmsHPROFILE input, cmsUInt32Number format, const std::vector<UInt8>& samples) {
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsUInt32Number intent = format == TYPE_Lab_8 ? INTENT_RELATIVE_COLORIMETRIC : INTENT_PERCEPTUAL;
  cmsHTRANSFORM transform = cmsCreateTransform(input, format, srgb, TYPE_RGB_8, intent, 0);
  UInt8 rgb[3] = {};
  cmsDoTransform(transform, samples.data(), rgb, 1);
  cmsDeleteTransform(transform);
  cmsCloseProfile(srgb);
  return UInt32(rgb[0]) << 16 | UInt32(rgb[1]) << 8 | rgb[2];
}

TEST(DisplayPixels, GrayAndRGBAreShownAsTheyAreAtTheRequestedPlace) {
  for (bool planar : {false, true}) {
    OffscreenPort port(40, 30);
    Band rgb(3, 3, 5, 8, planar);
    rgb.set(1, 2, {0x12, 0x34, 0x56});
    rgb.set(2, 3, {0xFE, 0x01, 0x80});
    VRect source{1, 2, 3, 4};  // rows 1..2, columns 2..3 of the band
    ASSERT_EQ(display_pixels(rgb.map(), &source, 10, 20, nullptr), 0);
    SCOPED_TRACE(planar ? "planar" : "interleaved");
    expect_pixels(port, {{20, 10, 0x123456},
                         {21, 11, 0xFE0180},
                         {21, 10, 0x000000},
                         {22, 10, kUntouched},
                         {20, 12, kUntouched},
                         {19, 10, kUntouched}});

    Band gray(1, 1, 5, 4, planar);
    gray.set(0, 0, {0x9A});
    VRect first{0, 0, 1, 1};
    ASSERT_EQ(display_pixels(gray.map(), &first, 0, 0, nullptr), 0);
    EXPECT_EQ(port.at(0, 0), 0x9A9A9Au);
  }
}

TEST(DisplayPixels, LabGoesThroughLittleCMS) {
  const std::vector<std::vector<UInt8>> samples = {
      {255, 128, 128}, {0, 128, 128}, {140, 200, 90}, {60, 100, 170}, {200, 128, 20}};
  OffscreenPort port(8, 8);
  Band lab(9, 3, 1, 5, true);
  for (SInt32 x = 0; x < 5; ++x) lab.set(0, x, samples[std::size_t(x)]);
  VRect all{0, 0, 1, 5};
  ASSERT_EQ(display_pixels(lab.map(), &all, 0, 0, nullptr), 0);
  cmsHPROFILE profile = cmsCreateLab4Profile(nullptr);
  for (int x = 0; x < 5; ++x) {
    EXPECT_EQ(port.at(x, 0), lcms_rgb(profile, TYPE_Lab_8, samples[std::size_t(x)])) << x;
  }
  cmsCloseProfile(profile);
  EXPECT_EQ(port.at(0, 0) & 0xF0F0F0, 0xF0F0F0u);  // L* 100, neutral: white
  EXPECT_EQ(port.at(1, 0) & 0xF0F0F0, 0u);         // L* 0: black
}

// Samples in the host's convention: 255 is no ink.
TEST(DisplayPixels, CmykGoesThroughTheProfileInUse) {
  const std::vector<std::vector<UInt8>> samples = {
      {255, 255, 255, 255}, {255, 255, 255, 0}, {0, 255, 255, 255}, {200, 90, 160, 230}};
  OffscreenPort port(8, 8);
  Band cmyk(4, 4, 1, 4, false);
  for (SInt32 x = 0; x < 4; ++x) cmyk.set(0, x, samples[std::size_t(x)]);
  VRect all{0, 0, 1, 4};
  ASSERT_EQ(display_pixels(cmyk.map(), &all, 0, 0, nullptr), 0);
  std::string source = tessel::host::cmyk_profile_source();
  if (source != "built-in") {
    cmsHPROFILE profile = cmsOpenProfileFromFile(source.c_str(), "r");
    for (int x = 0; x < 4; ++x) {
      EXPECT_EQ(port.at(x, 0), lcms_rgb(profile, TYPE_CMYK_8_REV, samples[std::size_t(x)])) << x;
    }
    cmsCloseProfile(profile);
  }
  // Any profile: paper is lighter than full black, and cyan takes red away.
  auto channel = [&](int x, int shift) { return (port.at(x, 0) >> shift) & 0xFF; };
  EXPECT_GT(channel(0, 8), 0xE0u);
  EXPECT_LT(channel(1, 8), 0x40u);
  EXPECT_LT(channel(2, 16), channel(2, 0));
}

TEST(DisplayPixels, RefusesWhatItCannotDraw) {
  OffscreenPort port(8, 8);
  Band indexed(2, 1, 2, 2, false);
  VRect all{0, 0, 2, 2};
  EXPECT_EQ(display_pixels(indexed.map(), &all, 0, 0, nullptr), paramErr);
  Band rgb(3, 3, 2, 2, false);
  VRect outside{0, 0, 3, 2};
  EXPECT_EQ(display_pixels(rgb.map(), &outside, 0, 0, nullptr), paramErr);
  VRect empty{1, 1, 1, 2};
  EXPECT_EQ(display_pixels(rgb.map(), &empty, 0, 0, nullptr), paramErr);
  EXPECT_EQ(port.at(0, 0), kUntouched);
}

}  // namespace
