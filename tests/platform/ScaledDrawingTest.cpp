// Ports with a device scale: whatever is drawn in blocks (lines, frames,
// fills, patterns, icons, pixel copies) must come out as the 1x drawing
// magnified by pixel replication, exactly; text is drawn at the scaled size
// instead, and reading pixels back maps to the 1x picture again.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "MacErrors.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"

namespace qd = tessel::platform::quickdraw;

namespace {

constexpr SInt16 kWidth = 40, kHeight = 30;

class ScaledPort {
 public:
  ScaledPort(SInt16 width, SInt16 height, int scale) {
    Rect bounds{0, 0, height, width};
    EXPECT_EQ(qd::open_port(port_, bounds, 32, qd::PixelMemory::screen, scale), noErr);
    SetPort(&port_);
  }
  ~ScaledPort() { qd::close_port(port_); }
  ScaledPort(const ScaledPort&) = delete;
  ScaledPort& operator=(const ScaledPort&) = delete;

  GrafPtr port() { return &port_; }
  const BitMap* bits() { return GetPortBitMapForCopyBits(&port_); }

  // Every device pixel, row by row.
  std::vector<UInt32> device_pixels() const {
    const int scale = qd::device_scale(port_);
    std::vector<UInt32> pixels;
    for (int v = 0; v < (port_.portRect.bottom - port_.portRect.top) * scale; ++v) {
      for (int h = 0; h < (port_.portRect.right - port_.portRect.left) * scale; ++h) {
        pixels.push_back(qd::device_pixel(port_, h, v));
      }
    }
    return pixels;
  }

  // The pixels magnified scale times by replication, row by row.
  std::vector<UInt32> replicated(int scale) const {
    std::vector<UInt32> pixels;
    for (int v = 0; v < (port_.portRect.bottom - port_.portRect.top) * scale; ++v) {
      for (int h = 0; h < (port_.portRect.right - port_.portRect.left) * scale; ++h) {
        pixels.push_back(qd::device_pixel(port_, h / scale, v / scale));
      }
    }
    return pixels;
  }

 private:
  GrafPort port_{};
};

// A picture to copy in, made in a 1x world: every pixel its own colour.
void copy_from_world(const Rect& from, const Rect& to, SInt16 mode) {
  GrafPtr target = nullptr;
  GetPort(&target);
  ScaledPort world(8, 6, 1);
  for (SInt16 v = 0; v < 6; ++v) {
    for (SInt16 h = 0; h < 8; ++h) {
      RGBColor c{UInt16(h * 0x2000), UInt16(v * 0x2800), 0x8000};
      RGBForeColor(&c);
      Rect dot{v, h, SInt16(v + 1), SInt16(h + 1)};
      PaintRect(&dot);
    }
  }
  SetPort(target);
  CopyBits(world.bits(), GetPortBitMapForCopyBits(target), &from, &to, mode, nullptr);
}

void draw_icon(const Rect& to) {
  // An 8 x 8 arrow and a mask one pixel wider, as icons come.
  static const UInt8 image[8] = {0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xE0, 0xB0, 0x18};
  static const UInt8 mask[8] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFC, 0xF8, 0x3C};
  BitMap imageBits{reinterpret_cast<Ptr>(const_cast<UInt8*>(image)), 1, Rect{0, 0, 8, 8}};
  BitMap maskBits{reinterpret_cast<Ptr>(const_cast<UInt8*>(mask)), 1, Rect{0, 0, 8, 8}};
  GrafPtr port = nullptr;
  GetPort(&port);
  Rect from{0, 0, 8, 8};
  CopyMask(&imageBits, &maskBits, GetPortBitMapForCopyBits(port), &from, &from, &to);
}

struct Drawing {
  const char* name;
  void (*draw)();
};

constexpr Pattern kUneven{{0x80, 0x41, 0x22, 0x14, 0x0C, 0x12, 0x21, 0xC0}};

const Drawing kDrawings[] = {
    {"lines with a tall pen",
     [] {
       PenSize(2, 3);
       MoveTo(3, 4);
       LineTo(37, 21);
       LineTo(10, 27);
       Line(0, -20);
     }},
    {"frames with a wide patterned pen",
     [] {
       RGBColor red{0xFFFF, 0, 0};
       RGBForeColor(&red);
       PenSize(3, 2);
       PenPat(&kUneven);
       Rect r{4, 5, 26, 35};
       FrameRect(&r);
       PenNormal();
       InsetRect(&r, 6, 6);
       FrameRect(&r);
     }},
    {"xor lines and inversion",
     [] {
       PenMode(patXor);
       PenPat(&kGrayPattern);
       MoveTo(0, 0);
       LineTo(39, 29);
       MoveTo(39, 0);
       LineTo(0, 29);
       Rect r{10, 12, 20, 30};
       InvertRect(&r);
     }},
    {"patterned fills, clipped, and erasing",
     [] {
       Rect all{0, 0, kHeight, kWidth};
       FillRect(&all, &kUneven);
       Rect clip{3, 7, 25, 33};
       ClipRect(&clip);
       RGBColor blue{0, 0, 0xFFFF};
       RGBForeColor(&blue);
       PenPat(&kGrayPattern);
       Rect wide{-5, -5, 12, 50};
       PaintRect(&wide);
       Rect hole{14, 15, 22, 28};
       EraseRect(&hole);
     }},
    {"icon, the same size and magnified",
     [] {
       draw_icon(Rect{2, 2, 10, 10});
       draw_icon(Rect{12, 14, 28, 30});
     }},
    {"1x picture copied in, same size and magnified",
     [] {
       copy_from_world(Rect{0, 0, 6, 8}, Rect{1, 1, 7, 9}, srcCopy);
       copy_from_world(Rect{1, 2, 5, 7}, Rect{10, 12, 26, 32}, srcCopy);
       copy_from_world(Rect{0, 0, 6, 8}, Rect{20, 2, 26, 10}, notSrcCopy);
     }},
    {"scrolling the port's own pixels",
     [] {
       Rect r{2, 2, 12, 30};
       FillRect(&r, &kUneven);
       GrafPtr port = nullptr;
       GetPort(&port);
       const BitMap* bits = GetPortBitMapForCopyBits(port);
       Rect from{2, 2, 12, 30}, to{9, 7, 19, 35};
       CopyBits(bits, bits, &from, &to, srcCopy, nullptr);
     }},
};

TEST(ScaledDrawing, BlocksAreTheOneTimesDrawingReplicated) {
  for (const Drawing& drawing : kDrawings) {
    ScaledPort one(kWidth, kHeight, 1);
    drawing.draw();
    for (int scale : {2, 3}) {
      ScaledPort scaled(kWidth, kHeight, scale);
      drawing.draw();
      EXPECT_EQ(scaled.device_pixels(), one.replicated(scale)) << drawing.name << " at " << scale;
    }
  }
}

// What the plug-in reads back from a window is its 1x picture.
TEST(ScaledDrawing, CopyingOutOfAScaledPortGivesTheOneTimesPicture) {
  for (const Drawing& drawing : kDrawings) {
    ScaledPort one(kWidth, kHeight, 1);
    drawing.draw();
    ScaledPort scaled(kWidth, kHeight, 2);
    drawing.draw();
    ScaledPort readBack(kWidth, kHeight, 1);
    Rect all{0, 0, kHeight, kWidth};
    CopyBits(scaled.bits(), readBack.bits(), &all, &all, srcCopy, nullptr);
    EXPECT_EQ(readBack.device_pixels(), one.device_pixels()) << drawing.name;
  }
}

struct PString {
  explicit PString(const char* text) {
    bytes[0] = UInt8(std::strlen(text));
    std::memcpy(bytes + 1, text, bytes[0]);
  }
  Str255 bytes{};
};

// At 2x a 12-point string is the 24-point string at the doubled pen, glyph
// for glyph, and not the 12-point one doubled; what callers measure and
// where the pen ends stay those of 1x, so layouts do not move.
TEST(ScaledDrawing, TextIsDrawnAtTheScaledSizeWithTheOneTimesLayout) {
  PString text("Sharp Wg 42");
  ScaledPort one(120, 30, 1);
  TextSize(12);
  MoveTo(5, 20);
  DrawString(text.bytes);
  Point onePen{};
  GetPen(&onePen);
  const SInt16 oneWidth = StringWidth(text.bytes);

  ScaledPort twice(240, 60, 1);
  TextSize(24);
  MoveTo(10, 40);
  DrawString(text.bytes);

  ScaledPort scaled(120, 30, 2);
  TextSize(12);
  MoveTo(5, 20);
  DrawString(text.bytes);
  Point scaledPen{};
  GetPen(&scaledPen);

  EXPECT_EQ(scaled.device_pixels(), twice.device_pixels());
  EXPECT_NE(scaled.device_pixels(), one.replicated(2));
  EXPECT_EQ(StringWidth(text.bytes), oneWidth);
  EXPECT_EQ(scaledPen.h, onePen.h);
  EXPECT_EQ(scaledPen.v, onePen.v);
}

TEST(ScaledDrawing, PortsRefuseScalesOutsideOneToFourAndSizesTheyCannotAddress) {
  struct Case {
    Rect bounds;
    int scale;
    OSErr expected;
  };
  const Case cases[] = {{{0, 0, 10, 10}, 0, paramErr},
                        {{0, 0, 10, 10}, 5, paramErr},
                        {{0, 0, 10, 10}, 4, noErr},
                        {{0, 20000, 10, 20010}, 2, paramErr},
                        {{0, 0, 10, 2048}, 2, paramErr}};  // rows longer than 16 KB
  for (const Case& c : cases) {
    GrafPort port{};
    EXPECT_EQ(qd::open_port(port, c.bounds, 32, qd::PixelMemory::screen, c.scale), c.expected)
        << c.scale << " x " << c.bounds.right;
    if (c.expected == noErr) {
      EXPECT_EQ(qd::device_scale(port), c.scale);
    }
    qd::close_port(port);
  }
}

}  // namespace
