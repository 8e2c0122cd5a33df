#include <gtest/gtest.h>

#include <vector>

#include "ByteOrder.h"
#include "DialogTestSupport.h"
#include "OffscreenPort.h"
#include "Quickdraw.h"

using tessel::platform::append_big16;
using tessel::platform::append_big32;
using tessel::testing::expect_pixels;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

namespace {

// A 'ppat' resource: the pattern record, an 8-bit pixel map record, 8 x 8
// pixels (a green diagonal on white) and a two-entry colour table.
std::vector<UInt8> diagonal_pattern_resource() {
  std::vector<UInt8> r;
  append_big16(r, 1);   // full-colour pattern
  append_big32(r, 28);  // pixel map record
  append_big32(r, 78);  // pixels
  append_big32(r, 0);
  append_big16(r, 0xFFFF);
  append_big32(r, 0);
  r.insert(r.end(), {0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55});
  append_big32(r, 0);  // pixel map: base address
  append_big16(r, 0x8008);
  for (int v : {0, 0, 8, 8, 0, 0}) append_big16(r, UInt16(v));
  append_big32(r, 0);
  append_big32(r, 72u << 16);
  append_big32(r, 72u << 16);
  for (int v : {0, 8, 1, 8}) append_big16(r, UInt16(v));
  append_big32(r, 0);
  append_big32(r, 142);  // colour table
  append_big32(r, 0);
  for (int v = 0; v < 8; ++v) {
    for (int h = 0; h < 8; ++h) r.push_back(h == v ? 1 : 0);
  }
  append_big32(r, 0);
  append_big16(r, 0);
  append_big16(r, 1);
  for (int v : {0, 0xFFFF, 0xFFFF, 0xFFFF, 1, 0, 0xFFFF, 0}) append_big16(r, UInt16(v));
  return r;
}

using PixPatResource = tessel::testing::DialogTest;

}  // namespace

// The pattern keeps to the port's pixels, not to the filled area's corner.
TEST_F(PixPatResource, PatternFromItsResourceFillsAlignedToThePixels) {
  add({FourCC("ppat"), 16000, 0, "", diagonal_pattern_resource()});
  open_resources();
  PixPatHandle pattern = GetPixPat(16000);
  ASSERT_NE(pattern, nullptr);
  OffscreenPort port(24, 24);
  Rect area{2, 5, 24, 24};
  FillCRect(&area, pattern);
  expect_pixels(port, {{5, 5, 0x00FF00},
                       {13, 13, 0x00FF00},
                       {13, 5, 0x00FF00},
                       {8, 5, kWhitePixel},
                       {6, 5, kWhitePixel},
                       {4, 4, kWhitePixel}});  // the last outside the area
  DisposePixPat(pattern);
}

TEST_F(PixPatResource, DamagedOrMissingPatternsGiveNothing) {
  std::vector<UInt8> damaged = diagonal_pattern_resource();
  damaged.resize(120);  // the pixels run past the resource's end
  add({FourCC("ppat"), 16000, 0, "", damaged});
  open_resources();
  EXPECT_EQ(GetPixPat(16000), nullptr);
  EXPECT_EQ(GetPixPat(16001), nullptr);
}
