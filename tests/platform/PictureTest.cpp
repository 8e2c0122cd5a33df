#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "ByteOrder.h"
#include "MacMemory.h"
#include "OffscreenPort.h"
#include "Quickdraw.h"

using tessel::platform::append_big16;
using tessel::platform::append_big32;
using tessel::testing::expect_pixels;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

namespace {

// Writes version 2 picture data the way the published format lays it out.
class PictureWriter {
 public:
  explicit PictureWriter(Rect frame) {
    append_big16(bytes_, 0);  // the size word is not relied on
    rect(frame);
    op(0x0011);
    append_big16(bytes_, 0x02FF);
    op(0x0C00);
    bytes_.resize(bytes_.size() + 24, 0);
    op(0x0001);
    append_big16(bytes_, 10);
    rect(frame);
  }

  void op(UInt16 code) {
    if (bytes_.size() % 2 != 0) bytes_.push_back(0);
    append_big16(bytes_, code);
  }
  void u16(UInt16 value) { append_big16(bytes_, value); }
  void u16s(std::initializer_list<UInt16> values) {
    for (UInt16 value : values) u16(value);
  }
  void u32(UInt32 value) { append_big32(bytes_, value); }
  void rect(Rect r) {
    for (SInt16 v : {r.top, r.left, r.bottom, r.right}) u16(UInt16(v));
  }
  void raw(std::initializer_list<UInt8> values) { bytes_.insert(bytes_.end(), values); }

  // rowBytes with its marker and bounds, then the fields after them: the
  // version, the packing, its size, 72 dpi both ways, the pixel layout, and
  // the plane, table and reserved words left zero.
  void pixmap(UInt16 rowBytes, Rect bounds, UInt16 packType, UInt16 pixelType, UInt16 pixelSize,
              UInt16 cmpCount, UInt16 cmpSize) {
    u16(UInt16(rowBytes | 0x8000));
    rect(bounds);
    u16s({0, packType, 0, 0, 72, 0, 72, 0, pixelType, pixelSize, cmpCount, cmpSize, 0, 0, 0, 0, 0,
          0});
  }

  void end() { op(0x00FF); }

  Handle handle() const {
    Handle h = NewHandle(Size(bytes_.size()));
    std::memcpy(*h, bytes_.data(), bytes_.size());
    return h;
  }
  std::vector<UInt8>& bytes() { return bytes_; }

 private:
  std::vector<UInt8> bytes_;
};

// An 8 x 2 indexed picture: row 0 four reds then four blues, row 1
// white, red, blue repeating. Row 0 is packed as two runs, row 1 as one
// literal.
void write_indexed_bitmap(PictureWriter& w) {
  w.op(0x0098);
  w.pixmap(8, Rect{0, 0, 2, 8}, 0, 0, 8, 1, 8);
  w.u32(0);  // the colour table: seed, flags, last entry, then value and colour each
  w.u16s({0, 2, 0, 0xFFFF, 0xFFFF, 0xFFFF, 1, 0xFFFF, 0, 0, 2, 0, 0, 0xFFFF});
  w.rect(Rect{0, 0, 2, 8});
  w.rect(Rect{0, 0, 2, 8});
  w.u16(0);
  w.raw({4, 0xFD, 1, 0xFD, 2});
  w.raw({9, 7, 0, 1, 2, 0, 1, 2, 0, 1});
}

// A 4 x 1 direct picture, components packed row by row: red, green, blue,
// grey.
void write_direct_bitmap(PictureWriter& w) {
  w.op(0x009A);
  w.u32(0xFF);
  w.pixmap(16, Rect{0, 0, 1, 4}, 4, 16, 32, 3, 8);
  w.rect(Rect{0, 0, 1, 4});
  w.rect(Rect{0, 0, 1, 4});
  w.u16(0);
  w.raw({13, 11, 0xFF, 0, 0, 0x80, 0, 0xFF, 0, 0x80, 0, 0, 0xFF, 0x80});
}

void draw(const PictureWriter& w, Rect dst) {
  Handle picture = w.handle();
  DrawPicture(picture, &dst);
  DisposeHandle(picture);
}

}  // namespace

TEST(QuickdrawPicture, PackBitsRectLandsScaledInTheDestination) {
  OffscreenPort port(40, 20);
  PictureWriter w(Rect{0, 0, 2, 8});
  write_indexed_bitmap(w);
  w.end();
  draw(w, Rect{10, 10, 14, 26});
  expect_pixels(port, {{10, 10, 0xFF0000}, {17, 11, 0xFF0000}, {18, 10, 0x0000FF}});
  expect_pixels(port, {{25, 11, 0x0000FF}, {11, 12, kWhitePixel}, {12, 13, 0xFF0000}});
  expect_pixels(port, {{14, 12, 0x0000FF}, {9, 10, kWhitePixel}, {26, 10, kWhitePixel}});
}

TEST(QuickdrawPicture, OneBitBitmapTakesThePortColours) {
  OffscreenPort port(16, 4);
  PictureWriter w(Rect{0, 0, 2, 16});
  w.op(0x0098);
  w.u16(2);  // a plain bitmap: no marker, no colour table; short rows unpacked
  w.rect(Rect{0, 0, 2, 16});
  w.rect(Rect{0, 0, 2, 16});
  w.rect(Rect{0, 0, 2, 16});
  w.u16(0);
  w.raw({0xF0, 0x0F, 0x00, 0xFF});
  w.end();
  draw(w, Rect{0, 0, 2, 16});
  expect_pixels(port, {{0, 0, kBlackPixel}, {4, 0, kWhitePixel}, {12, 0, kBlackPixel}});
  expect_pixels(port, {{7, 1, kWhitePixel}, {8, 1, kBlackPixel}});
}

TEST(QuickdrawPicture, DirectBitsRectDecodesComponentPlanes) {
  OffscreenPort port(20, 10);
  PictureWriter w(Rect{0, 0, 1, 4});
  write_direct_bitmap(w);
  w.end();
  draw(w, Rect{5, 5, 6, 9});
  expect_pixels(port, {{5, 5, 0xFF0000}, {6, 5, 0x00FF00}, {7, 5, 0x0000FF}});
  expect_pixels(port, {{8, 5, 0x808080}, {9, 5, kWhitePixel}});
}

TEST(QuickdrawPicture, OpcodesThatDrawNothingAreSteppedOver) {
  OffscreenPort port(20, 10);
  PictureWriter w(Rect{0, 0, 1, 4});
  w.op(0x001A);  // foreground colour
  w.raw({0, 0, 0, 0, 0, 0});
  w.op(0x00A1);  // long comment of odd length: the next opcode is realigned
  w.u16(100);
  w.u16(3);
  w.raw({1, 2, 3});
  w.op(0x0030);  // frame rectangle
  w.rect(Rect{0, 0, 1, 1});
  w.op(0x0098 + 0x0100);  // reserved, two bytes of data
  w.raw({0, 0});
  write_direct_bitmap(w);
  w.end();
  draw(w, Rect{0, 0, 1, 4});
  EXPECT_EQ(port.at(0, 0), 0xFF0000u);
  EXPECT_EQ(port.at(3, 0), 0x808080u);
}

TEST(QuickdrawPicture, DamagedPicturesDrawNothingAtAll) {
  PictureWriter unknown(Rect{0, 0, 1, 4});
  write_direct_bitmap(unknown);
  unknown.op(0x0012);  // a colour pattern, whose length this reader cannot tell
  unknown.raw({0, 1, 0, 0, 0, 0, 0, 0, 0, 0});
  unknown.end();

  PictureWriter truncated(Rect{0, 0, 2, 8});
  write_direct_bitmap(truncated);
  write_indexed_bitmap(truncated);
  truncated.bytes().resize(truncated.bytes().size() - 3);

  PictureWriter badRun(Rect{0, 0, 1, 4});
  write_direct_bitmap(badRun);
  badRun.bytes()[badRun.bytes().size() - 13] = 0x7F;  // a literal run longer than its row
  badRun.end();

  for (PictureWriter* w : {&unknown, &truncated, &badRun}) {
    OffscreenPort port(10, 4);
    draw(*w, Rect{0, 0, 1, 4});
    EXPECT_EQ(port.at(0, 0), kWhitePixel);
    EXPECT_EQ(port.at(1, 0), kWhitePixel);
  }
}
