// Ports with a device scale: whatever is drawn in blocks (lines, frames,
// fills, patterns, icons, pixel copies) must come out as the 1x drawing
// magnified by pixel replication, exactly; text is drawn at the scaled size
// instead, and reading pixels back maps to the 1x picture again.
#include <gtest/gtest.h>

#include <cstring>

#include "MacErrors.h"
#include "OffscreenPort.h"

namespace qd = tessel::platform::quickdraw;
using tessel::testing::OffscreenPort;

namespace {

constexpr SInt16 kWidth = 40, kHeight = 30;
constexpr Pattern kUneven{{0x80, 0x41, 0x22, 0x14, 0x0C, 0x12, 0x21, 0xC0}};

const BitMap* current_bits() {
  GrafPtr port = nullptr;
  GetPort(&port);
  return GetPortBitMapForCopyBits(port);
}

// Copies from a 1x world in which every pixel has its own colour.
void copy_from_world(const Rect& from, const Rect& to, SInt16 mode) {
  const BitMap* target = current_bits();
  GrafPtr targetPort = nullptr;
  GetPort(&targetPort);
  OffscreenPort world(8, 6);
  for (SInt16 v = 0; v < 6; ++v) {
    for (SInt16 h = 0; h < 8; ++h) {
      RGBColor c{UInt16(h * 0x2000), UInt16(v * 0x2800), 0x8000};
      RGBForeColor(&c);
      Rect dot{v, h, SInt16(v + 1), SInt16(h + 1)};
      PaintRect(&dot);
    }
  }
  SetPort(targetPort);
  CopyBits(world.bits(), target, &from, &to, mode, nullptr);
}

// An 8 x 8 arrow with a mask one pixel wider, as icons come.
void draw_icon(Rect to) {
  static UInt8 image[8] = {0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xE0, 0xB0, 0x18};
  static UInt8 mask[8] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFC, 0xF8, 0x3C};
  Rect from{0, 0, 8, 8};
  BitMap imageBits{reinterpret_cast<Ptr>(image), 1, from},
      maskBits{reinterpret_cast<Ptr>(mask), 1, from};
  CopyMask(&imageBits, &maskBits, current_bits(), &from, &from, &to);
}

struct Drawing {
  const char* name;
  void (*draw)();
};

const Drawing kDrawings[] = {
    {"lines with a tall pen",
     [] {
       PenSize(2, 3);
       MoveTo(3, 4);
       LineTo(37, 21);
       LineTo(10, 27);
     }},
    {"frame with a wide patterned pen",
     [] {
       RGBColor red{0xFFFF, 0, 0};
       RGBForeColor(&red);
       PenSize(3, 2);
       PenPat(&kUneven);
       Rect r{4, 5, 26, 35};
       FrameRect(&r);
     }},
    {"xor lines and inversion",
     [] {
       PenMode(patXor);
       PenPat(&kGrayPattern);
       MoveTo(39, 0);
       LineTo(0, 29);
       Rect r{10, 12, 20, 30};
       InvertRect(&r);
     }},
    {"patterned fills, clipped, and erasing",
     [] {
       Rect all{0, 0, kHeight, kWidth}, clip{3, 7, 25, 33}, hole{14, 15, 22, 28};
       FillRect(&all, &kUneven);
       ClipRect(&clip);
       PenPat(&kGrayPattern);
       PaintRect(&all);
       EraseRect(&hole);
     }},
    {"icon, the same size and magnified",
     [] {
       draw_icon(Rect{2, 2, 10, 10});
       draw_icon(Rect{12, 14, 28, 30});
     }},
    {"1x picture copied in, the same size and magnified",
     [] {
       copy_from_world(Rect{0, 0, 6, 8}, Rect{1, 1, 7, 9}, srcCopy);
       copy_from_world(Rect{1, 2, 5, 7}, Rect{10, 12, 26, 32}, notSrcCopy);
     }},
    {"scrolling the port's own pixels",
     [] {
       Rect from{2, 2, 12, 30}, to{9, 7, 19, 35};
       FillRect(&from, &kUneven);
       CopyBits(current_bits(), current_bits(), &from, &to, srcCopy, nullptr);
     }},
};

TEST(ScaledDrawing, BlocksAreTheOneTimesDrawingReplicatedAndReadBackAsIt) {
  const Rect all{0, 0, kHeight, kWidth};
  for (const Drawing& drawing : kDrawings) {
    OffscreenPort one(kWidth, kHeight);
    drawing.draw();
    for (int scale : {2, 3}) {
      OffscreenPort scaled(kWidth, kHeight, 32, scale);
      drawing.draw();
      EXPECT_EQ(scaled.device_snapshot(), one.device_snapshot(scale)) << drawing.name << scale;
      OffscreenPort readBack(kWidth, kHeight);
      CopyBits(scaled.bits(), readBack.bits(), &all, &all, srcCopy, nullptr);
      EXPECT_EQ(readBack.snapshot(), one.snapshot()) << drawing.name << " read back";
    }
  }
}

// At 2x a 12-point string is the 24-point string at the doubled pen, glyph
// for glyph, and not the 12-point one doubled; what callers measure and
// where the pen ends stay those of 1x, so layouts do not move.
TEST(ScaledDrawing, TextIsDrawnAtTheScaledSizeWithTheOneTimesLayout) {
  Str255 text{};
  text[0] = 11;
  std::memcpy(text + 1, "Sharp Wg 42", 11);
  auto draw = [&](SInt16 size, SInt16 h, SInt16 v) {
    TextSize(size);
    MoveTo(h, v);
    DrawString(text);
    Point pen{};
    GetPen(&pen);
    return std::make_pair(pen.h, StringWidth(text));
  };
  OffscreenPort one(120, 30);
  const auto onePen = draw(12, 5, 20);
  OffscreenPort twice(240, 60);
  draw(24, 10, 40);
  OffscreenPort scaled(120, 30, 32, 2);
  EXPECT_EQ(draw(12, 5, 20), onePen);
  EXPECT_EQ(scaled.device_snapshot(), twice.device_snapshot());
  EXPECT_NE(scaled.device_snapshot(), one.device_snapshot(2));
}

TEST(ScaledDrawing, PortsRefuseScalesOutsideOneToFourAndBuffersTheyCannotAddress) {
  struct Case {
    Rect bounds;
    int scale;
    OSErr expected;
  };
  const Case cases[] = {{{0, 0, 10, 10}, 0, paramErr},
                        {{0, 0, 10, 10}, 5, paramErr},
                        {{0, 0, 10, 10}, 4, noErr},
                        {{0, 20000, 10, 20010}, 2, paramErr},
                        {{0, 0, 10, 2048}, 2, paramErr}};  // rows beyond 16 KB
  for (const Case& c : cases) {
    GrafPort port{};
    EXPECT_EQ(qd::open_port(port, c.bounds, 32, qd::PixelMemory::screen, c.scale), c.expected)
        << c.scale << " x " << c.bounds.right;
    EXPECT_EQ(qd::device_scale(port), c.expected == noErr ? c.scale : 1);
    qd::close_port(port);
  }
}

}  // namespace
