#include <gtest/gtest.h>

#include <vector>

#include "OffscreenPort.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"

using tessel::testing::expect_pixels;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

namespace {

RGBColor rgb16(UInt32 rgb) {
  return RGBColor{UInt16(((rgb >> 16) & 0xFF) * 257), UInt16(((rgb >> 8) & 0xFF) * 257),
                  UInt16((rgb & 0xFF) * 257)};
}

void paint(UInt32 rgb, Rect r) {
  RGBColor c = rgb16(rgb);
  RGBForeColor(&c);
  PaintRect(&r);
  ForeColor(blackColor);
}

void copy(const BitMap* from, OffscreenPort& to, Rect src, Rect dst, SInt16 mode = srcCopy) {
  CopyBits(from, to.bits(), &src, &dst, mode, nullptr);
}

// A 4 x 2 source of four colours, each two pixels wide:
//   row 0: red red green green
//   row 1: blue blue grey grey
void paint_quadrants() {
  paint(0xFF0000, Rect{0, 0, 1, 2});
  paint(0x00FF00, Rect{0, 2, 1, 4});
  paint(0x0000FF, Rect{1, 0, 2, 2});
  paint(0x808080, Rect{1, 2, 2, 4});
}

}  // namespace

TEST(QuickdrawCopyBits, ScalesUpByNearestNeighbour) {
  OffscreenPort source(4, 2);
  paint_quadrants();
  OffscreenPort dest(16, 8);
  copy(source.bits(), dest, {0, 0, 2, 4}, {0, 0, 8, 16});
  expect_pixels(dest, {{0, 0, 0xFF0000}, {7, 3, 0xFF0000}, {8, 3, 0x00FF00}});
  expect_pixels(dest, {{7, 4, 0x0000FF}, {15, 7, 0x808080}});
}

TEST(QuickdrawCopyBits, ScalesDownAndOffsetsIntoTheDestination) {
  OffscreenPort source(16, 8);
  paint(0xFF0000, Rect{0, 0, 4, 8});
  paint(0x00FF00, Rect{4, 8, 8, 16});
  OffscreenPort dest(10, 10);
  copy(source.bits(), dest, {0, 0, 8, 16}, {3, 2, 5, 6});
  expect_pixels(dest, {{2, 3, 0xFF0000}, {3, 3, 0xFF0000}, {4, 3, kWhitePixel}});
  expect_pixels(dest, {{5, 4, 0x00FF00}, {6, 4, kWhitePixel}, {2, 5, kWhitePixel}});
}

// srcCopy gives a 1-bit source the port's fore and back colours; srcOr and
// srcXor touch only the pixels under its set bits.
TEST(QuickdrawCopyBits, OneBitSourcesTakeThePortColoursAndOrAndXorTouchOnlyTheirBits) {
  OffscreenPort source(8, 1, 1);
  paint(0x000000, Rect{0, 0, 1, 4});
  OffscreenPort dest(8, 1);
  Rect all{0, 0, 1, 8};
  copy(source.bits(), dest, all, all);
  expect_pixels(dest, {{0, 0, kBlackPixel}, {4, 0, kWhitePixel}});
  paint(0x00FF00, all);
  copy(source.bits(), dest, all, all, srcOr);
  expect_pixels(dest, {{0, 0, kBlackPixel}, {4, 0, 0x00FF00}});
  copy(source.bits(), dest, all, all, srcXor);
  expect_pixels(dest, {{0, 0, kWhitePixel}, {7, 0, 0x00FF00}});
  RGBColor red{0xFFFF, 0, 0}, yellow{0xFFFF, 0xFFFF, 0};
  RGBForeColor(&red);
  RGBBackColor(&yellow);
  copy(source.bits(), dest, all, all);
  expect_pixels(dest, {{1, 0, 0xFF0000}, {5, 0, 0xFFFF00}});
}

TEST(QuickdrawCopyBits, IndexedPixelMapsAreReadThroughTheirColourTable) {
  std::vector<UInt8> pixels{0, 5, 215, 255};
  PixMapHandle map = NewPixMap();
  (**map).baseAddr = reinterpret_cast<Ptr>(pixels.data());
  (**map).rowBytes = SInt16(4 | kPixMapMarker);
  (**map).bounds = Rect{0, 0, 1, 4};
  OffscreenPort dest(4, 1);
  copy(*map, dest, {0, 0, 1, 4}, {0, 0, 1, 4});
  // Entry 5 is FFFF FFFF 0000, entry 215 EEEE 0000 0000.
  expect_pixels(dest, {{0, 0, kWhitePixel}, {1, 0, 0xFFFF00}, {2, 0, 0xEE0000}});
  expect_pixels(dest, {{3, 0, kBlackPixel}});
  DisposePixMap(map);
}

TEST(QuickdrawCopyBits, FourBitPixelMapsUnpackTwoPixelsPerByte) {
  std::vector<UInt8> pixels{0x3F, 0x0C};
  PixMapHandle map = NewPixMap();
  DisposeCTable((**map).pmTable);
  (**map).pmTable = GetCTable(4);
  (**map).pixelSize = 4;
  (**map).baseAddr = reinterpret_cast<Ptr>(pixels.data());
  (**map).rowBytes = SInt16(2 | kPixMapMarker);
  (**map).bounds = Rect{0, 0, 1, 4};
  OffscreenPort dest(4, 1);
  copy(*map, dest, {0, 0, 1, 4}, {0, 0, 1, 4});
  // Entry 3 is red, 15 black, 0 white, 12 light grey.
  expect_pixels(dest, {{0, 0, 0xDD0806}, {1, 0, kBlackPixel}, {2, 0, kWhitePixel}});
  expect_pixels(dest, {{3, 0, 0xC0C0C0}});
  DisposePixMap(map);
  EXPECT_EQ(GetCTable(3), nullptr) << "no standard table of three bits";
}

TEST(QuickdrawCopyBits, CopiesIntoTheCurrentPortStayInsideItsClip) {
  OffscreenPort source(10, 10);
  paint(0xFF0000, Rect{0, 0, 10, 10});
  OffscreenPort dest(10, 10);
  Rect clip{2, 2, 5, 5};
  ClipRect(&clip);
  copy(source.bits(), dest, {0, 0, 10, 10}, {0, 0, 10, 10});
  expect_pixels(dest, {{2, 2, 0xFF0000}, {4, 4, 0xFF0000}});
  expect_pixels(dest, {{5, 4, kWhitePixel}, {1, 2, kWhitePixel}});
}

TEST(QuickdrawCopyBits, CopyMaskDrawsOnlyWhereTheMaskIsSet) {
  OffscreenPort source(8, 2);
  paint(0x0000FF, Rect{0, 0, 2, 8});
  std::vector<UInt8> maskBits{0xF0, 0x0F};
  BitMap mask{reinterpret_cast<Ptr>(maskBits.data()), 1, Rect{0, 0, 2, 8}};
  OffscreenPort dest(16, 4);
  Rect from{0, 0, 2, 8}, to{0, 0, 4, 16};
  CopyMask(source.bits(), &mask, dest.bits(), &from, &from, &to);
  expect_pixels(dest, {{0, 0, 0x0000FF}, {7, 1, 0x0000FF}, {15, 3, 0x0000FF}});
  expect_pixels(dest, {{8, 1, kWhitePixel}, {0, 2, kWhitePixel}});
}
