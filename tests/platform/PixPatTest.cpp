#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ByteOrder.h"
#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "OffscreenPort.h"
#include "Quickdraw.h"
#include "Resources.h"
#include "TempFolder.h"

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

class PixPatResource : public tessel::testing::TempFolder {
 protected:
  SInt16 open_file_with(const std::vector<UInt8>& bytes) {
    write_file("patterns", {});
    FSSpec spec = spec_of("patterns");
    FSpCreateResFile(&spec, FourCC("TSSL"), FourCC("rsrc"), 0);
    SInt16 ref = FSpOpenResFile(&spec, fsCurPerm);
    Handle h = NewHandle(Size(bytes.size()));
    std::memcpy(*h, bytes.data(), bytes.size());
    AddResource(h, FourCC("ppat"), 16000, nullptr);
    EXPECT_EQ(ResError(), noErr);
    return ref;
  }
};

}  // namespace

TEST_F(PixPatResource, PatternFromItsResourceFillsAlignedToThePixels) {
  SInt16 ref = open_file_with(diagonal_pattern_resource());
  PixPatHandle pattern = GetPixPat(16000);
  ASSERT_NE(pattern, nullptr);
  OffscreenPort port(24, 24);
  Rect area{2, 2, 24, 24};
  FillCRect(&area, pattern);
  // Rows 13 and 5 share a pattern row.
  expect_pixels(port, {{3, 3, 0x00FF00}, {13, 13, 0x00FF00}, {13, 5, 0x00FF00}});
  EXPECT_EQ(port.at(4, 3), kWhitePixel);
  EXPECT_EQ(port.at(1, 1), kWhitePixel);  // outside the area
  DisposePixPat(pattern);
  CloseResFile(ref);
}

TEST_F(PixPatResource, DamagedOrMissingPatternsGiveNothing) {
  std::vector<UInt8> damaged = diagonal_pattern_resource();
  damaged.resize(120);  // the pixels run past the resource's end
  SInt16 ref = open_file_with(damaged);
  EXPECT_EQ(GetPixPat(16000), nullptr);
  EXPECT_EQ(GetPixPat(16001), nullptr);
  CloseResFile(ref);
}
