#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "MacErrors.h"
#include "MacMemory.h"
#include "OffscreenPort.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"

namespace qd = tessel::platform::quickdraw;
using tessel::testing::expect_pixels;
using tessel::testing::hv;
using tessel::testing::kBlackPixel;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;
using tessel::testing::sides;
using Sides = std::vector<int>;

namespace {

// Diagonal stripes, each row the one above rotated left by one bit.
constexpr Pattern kAnts{{0xF0, 0xE1, 0xC3, 0x87, 0x0F, 0x1E, 0x3C, 0x78}};
constexpr Pattern kCheckerboard{{0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA}};

bool pattern_bit(const Pattern& p, int row, int column) {
  return (p.pat[row & 7] >> (7 - (column & 7))) & 1;
}

// The pixel a pattern paints at (h, v) of a port whose origin is its buffer's.
UInt32 ink(const Pattern& p, int h, int v) {
  return pattern_bit(p, v, h) ? kBlackPixel : kWhitePixel;
}

bool on_frame(const Rect& r, int h, int v) {
  bool inside = v >= r.top && v < r.bottom && h >= r.left && h < r.right;
  return inside && (v == r.top || v == r.bottom - 1 || h == r.left || h == r.right - 1);
}

// Paints a picture that is not uniform, so inversions and copies show.
void paint_gradient(int width, int height) {
  for (int v = 0; v < height; ++v) {
    for (int h = 0; h < width; ++h) {
      RGBColor c{UInt16(h * 4000), UInt16(v * 3000), UInt16((h + v) * 1000)};
      RGBForeColor(&c);
      Rect dot{SInt16(v), SInt16(h), SInt16(v + 1), SInt16(h + 1)};
      PaintRect(&dot);
    }
  }
  ForeColor(blackColor);
}

}  // namespace

TEST(QuickdrawRects, IntersectionUnionAndInsetFollowTheToolbox) {
  Rect a{10, 10, 50, 60}, b{40, 50, 90, 100}, apart{100, 100, 120, 120}, out{1, 2, 3, 4};
  EXPECT_TRUE(SectRect(&a, &b, &out));
  EXPECT_EQ(sides(out), (Sides{40, 50, 50, 60}));
  EXPECT_FALSE(SectRect(&a, &apart, &out));
  EXPECT_EQ(sides(out), (Sides{0, 0, 0, 0}));
  UnionRect(&a, &b, &out);
  EXPECT_EQ(sides(out), (Sides{10, 10, 90, 100}));
  EXPECT_FALSE(EqualRect(&out, &a));
  Rect thin{0, 0, 2, 10}, zero{};
  InsetRect(&thin, 1, 1);
  EXPECT_TRUE(EqualRect(&thin, &zero));
  EXPECT_TRUE(PtInRect(Point{10, 10}, &a));
  EXPECT_FALSE(PtInRect(Point{50, 20}, &a));
  EXPECT_FALSE(PtInRect(Point{20, 60}, &a));
}

TEST(QuickdrawPen, FrameRectDrawsThePatternInsideTheRectangle) {
  OffscreenPort port(40, 30);
  PenPat(&kAnts);
  Rect r{5, 7, 25, 33};
  FrameRect(&r);
  for (int v = 0; v < 30; ++v) {
    for (int h = 0; h < 40; ++h) {
      ASSERT_EQ(port.at(h, v), on_frame(r, h, v) ? ink(kAnts, h, v) : kWhitePixel) << h << "," << v;
    }
  }
}

TEST(QuickdrawPen, ThickFrameKeepsInsideTheRectangle) {
  OffscreenPort port(20, 20);
  PenSize(3, 2);
  Rect r{4, 4, 16, 16};
  FrameRect(&r);
  // The left side's third column and the top's second row are the last inked.
  expect_pixels(port, {{4, 4, kBlackPixel}, {6, 10, kBlackPixel}, {7, 10, kWhitePixel}});
  expect_pixels(port, {{10, 5, kBlackPixel}, {10, 6, kWhitePixel}});
  expect_pixels(port, {{16, 10, kWhitePixel}, {10, 16, kWhitePixel}});  // right and bottom excluded
}

TEST(QuickdrawPen, XorFrameDrawnTwiceRestoresThePicture) {
  OffscreenPort port(32, 24);
  paint_gradient(32, 24);
  std::vector<UInt32> before = port.snapshot();
  PenPat(&kAnts);
  PenMode(patXor);
  Rect r{3, 2, 20, 30};
  FrameRect(&r);
  std::vector<UInt32> once = port.snapshot();
  EXPECT_NE(once, before);
  // Only frame pixels under a set pattern bit change, and they invert.
  EXPECT_EQ(port.at(2, 3), before[3 * 32 + 2] ^ (pattern_bit(kAnts, 3, 2) ? 0xFFFFFFu : 0u));
  EXPECT_EQ(port.at(10, 10), before[10 * 32 + 10]);
  FrameRect(&r);
  EXPECT_EQ(port.snapshot(), before);
}

TEST(QuickdrawPen, ThickDiagonalXorLineIsPaintedOnceWherePenStampsOverlap) {
  OffscreenPort port(30, 30);
  PenSize(3, 3);
  PenMode(patXor);
  MoveTo(2, 2);
  LineTo(20, 14);
  // An overlap painted twice would cancel out; the line must be solid.
  expect_pixels(port, {{3, 3, kBlackPixel}, {12, 9, kBlackPixel}, {22, 16, kBlackPixel}});
  EXPECT_EQ(port.at(23, 16), kWhitePixel);
  Point pen;
  GetPen(&pen);
  EXPECT_EQ(hv(pen), std::pair(20, 14));
}

TEST(QuickdrawPen, PatternStaysWithThePixelsAfterSetOrigin) {
  std::vector<UInt32> expected;
  for (int v = 0; v < 16; ++v) {
    for (int h = 0; h < 24; ++h) expected.push_back(ink(kAnts, h, v));
  }
  OffscreenPort moved(24, 16);
  SetOrigin(3, 5);
  PenPat(&kAnts);
  Rect shifted{5, 3, 21, 27};
  PaintRect(&shifted);
  // Local (3, 5) is the buffer's first pixel: pattern row 0, bit 0.
  EXPECT_EQ(moved.snapshot(), expected);
}

TEST(QuickdrawPort, GlobalPointsMapThroughThePortsPlaceAndOrigin) {
  OffscreenPort port(24, 16);
  port.port()->globalOffset = Point{100, 200};  // the buffer's corner on the screen
  SetOrigin(3, 5);
  Point pt{105, 203};
  GlobalToLocal(&pt);
  EXPECT_EQ(hv(pt), std::pair(6, 10));
  LocalToGlobal(&pt);
  EXPECT_EQ(hv(pt), std::pair(203, 105));
}

TEST(QuickdrawPen, CheckerboardGridLinesAlternateAndStopAtTheirEnd) {
  OffscreenPort port(20, 20);
  PenPat(&kCheckerboard);
  MoveTo(7, 2);
  LineTo(7, 15);
  MoveTo(1, 11);
  LineTo(18, 11);
  for (int v = 2; v <= 15; ++v) ASSERT_EQ(port.at(7, v), ink(kCheckerboard, 7, v)) << v;
  for (int h = 1; h <= 18; ++h) ASSERT_EQ(port.at(h, 11), ink(kCheckerboard, h, 11)) << h;
  EXPECT_NE(port.at(7, 2), port.at(7, 3));
  EXPECT_EQ(port.at(7, 16), kWhitePixel);
  EXPECT_EQ(port.at(7, 1), kWhitePixel);
}

TEST(QuickdrawPen, ClipRectLimitsPaintingAndEraseUsesTheBackColour) {
  OffscreenPort port(20, 20);
  Rect clip{5, 5, 10, 10};
  ClipRect(&clip);
  Rect all{0, 0, 20, 20};
  PaintRect(&all);
  expect_pixels(port, {{5, 5, kBlackPixel}, {10, 5, kWhitePixel}, {4, 9, kWhitePixel}});
  RGBColor blue{0, 0, 0xFFFF};
  RGBBackColor(&blue);
  EraseRect(&all);
  expect_pixels(port, {{6, 6, 0x0000FF}, {0, 0, kWhitePixel}});
  InvertRect(&all);
  EXPECT_EQ(port.at(6, 6), 0xFFFF00u);
}

TEST(QuickdrawPen, OneBitPortsStoreDarkColoursAsBlack) {
  OffscreenPort port(16, 8, 1);
  RGBColor darkRed{0x6000, 0, 0};
  RGBForeColor(&darkRed);
  Rect left{0, 0, 8, 8};
  PaintRect(&left);
  EXPECT_EQ(port.at(3, 3), kBlackPixel);
  EXPECT_EQ(port.at(12, 3), kWhitePixel);
  const BitMap* bits = port.bits();
  EXPECT_EQ(UInt8(bits->baseAddr[0]), 0xFF);
  EXPECT_EQ(UInt8(bits->baseAddr[1]), 0x00);
}

TEST(QuickdrawOffscreen, NewGWorldRefusesDepthsItCannotDrawAndLeavesTheOutput) {
  GWorldPtr world = reinterpret_cast<GWorldPtr>(0x1234);
  Rect bounds{0, 0, 10, 10};
  EXPECT_EQ(NewGWorld(&world, 8, &bounds, nullptr, nullptr, 0), cDepthErr);
  Rect empty{10, 10, 10, 20};
  EXPECT_EQ(NewGWorld(&world, 32, &empty, nullptr, nullptr, 0), paramErr);
  EXPECT_EQ(world, reinterpret_cast<GWorldPtr>(0x1234));
}

TEST(QuickdrawOffscreen, WorldKeepsItsBoundsAsCoordinatesAndRestoresThePort) {
  OffscreenPort screen(10, 10);
  Rect bounds{100, 200, 110, 230};
  GWorldPtr world = nullptr;
  ASSERT_EQ(NewGWorld(&world, 1, &bounds, nullptr, nullptr, 0), noErr);
  CGrafPtr savedPort = nullptr;
  GDHandle savedDevice = nullptr;
  GetGWorld(&savedPort, &savedDevice);
  SetGWorld(world, nullptr);
  ASSERT_TRUE(LockPixels(GetGWorldPixMap(world)));
  Rect r{102, 205, 104, 207};
  PaintRect(&r);
  EXPECT_EQ(qd::pixel(*world, 205, 102), kBlackPixel);
  EXPECT_EQ(qd::pixel(*world, 207, 102), kWhitePixel);
  UnlockPixels(GetGWorldPixMap(world));
  SetGWorld(savedPort, savedDevice);
  GrafPtr current = nullptr;
  GetPort(&current);
  EXPECT_EQ(current, screen.port());
  DisposeGWorld(world);
}

TEST(QuickdrawOffscreen, FullHeapLeavesTemporaryMemoryAndWindowPorts) {
  THz heap = ApplicZone();
  auto budget = tessel::platform::memory::zone_budget(heap);
  tessel::platform::memory::set_zone_budget(heap, tessel::platform::memory::zone_used(heap) + 100);
  Rect bounds{0, 0, 100, 100};
  GWorldPtr world = nullptr;
  EXPECT_EQ(NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0), memFullErr);
  EXPECT_EQ(world, nullptr);
  EXPECT_EQ(NewGWorld(&world, 32, &bounds, nullptr, nullptr, useTempMem), noErr);
  ASSERT_NE(world, nullptr);
  EXPECT_EQ(qd::pixel(*world, 99, 99), kWhitePixel);
  DisposeGWorld(world);
  GrafPort window{};
  EXPECT_EQ(qd::open_port(window, bounds, 32), noErr);  // a window's pixels are the screen's
  qd::close_port(window);
  tessel::platform::memory::set_zone_budget(heap, budget);
}

TEST(QuickdrawOffscreen, DeviceLoopReportsTheScreenDepthOnce) {
  struct Seen {
    int calls = 0;
    int depth = 0;
  } seen;
  auto proc = [](SInt16 depth, SInt16, GDHandle, std::intptr_t data) {
    auto* s = reinterpret_cast<Seen*>(data);
    ++s->calls;
    s->depth = depth;
  };
  ASSERT_TRUE(qd::set_screen_depth(4));
  EXPECT_FALSE(qd::set_screen_depth(3));
  DeviceLoop(nullptr, proc, reinterpret_cast<std::intptr_t>(&seen), 0);
  EXPECT_EQ(seen.calls, 1);
  EXPECT_EQ(seen.depth, 4);
  RgnHandle empty = NewRgn();
  DeviceLoop(empty, proc, reinterpret_cast<std::intptr_t>(&seen), 0);
  EXPECT_EQ(seen.calls, 1);
  DisposeRgn(empty);
  qd::set_screen_depth(32);
}

TEST(QuickdrawPng, SavingIntoAMissingFolderFailsWithIoErr) {
  OffscreenPort port(21, 13);
  EXPECT_EQ(qd::save_png(*port.port(), "/nonexistent-folder/x.png"), ioErr);
}
