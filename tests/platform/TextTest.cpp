#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "OffscreenPort.h"
#include "Quickdraw.h"

using tessel::testing::hv;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

namespace {

// A Pascal string from a literal.
struct PString {
  explicit PString(const char* text) {
    bytes[0] = UInt8(std::strlen(text));
    std::memcpy(bytes + 1, text, bytes[0]);
  }
  Str255 bytes{};
};

int count_drawn(const OffscreenPort& port, const Rect& r) {
  return int(std::ranges::count_if(port.snapshot(r), [](UInt32 p) { return p != kWhitePixel; }));
}

}  // namespace

TEST(QuickdrawText, StringWidthIsTheSumOfCharacterWidthsAndDrawingAdvancesThePen) {
  OffscreenPort port(200, 40);
  TextSize(14);
  PString text("Tessel 42");
  int sum = 0;
  for (int i = 1; i <= text.bytes[0]; ++i) sum += CharWidth(text.bytes[i]);
  EXPECT_GT(sum, 40);
  EXPECT_EQ(StringWidth(text.bytes), sum);
  MoveTo(10, 25);
  DrawString(text.bytes);
  Point pen;
  GetPen(&pen);
  EXPECT_EQ(hv(pen), std::pair(10 + sum, 25));
}

TEST(QuickdrawText, GlyphsLandInTheirCellAboveTheBaseline) {
  OffscreenPort port(120, 40);
  TextSize(12);
  FontInfo info{};
  GetFontInfo(&info);
  EXPECT_GE(info.ascent, 9);
  EXPECT_LE(info.ascent, 14);
  EXPECT_GT(info.descent, 0);
  EXPECT_LT(info.descent, info.ascent);
  EXPECT_GT(info.widMax, 0);
  PString text("HHH");
  MoveTo(20, 30);
  DrawString(text.bytes);
  int width = StringWidth(text.bytes);
  Rect cell{SInt16(30 - info.ascent), 20, 30, SInt16(20 + width)};
  EXPECT_GT(count_drawn(port, cell), 20);
  Rect all{0, 0, 40, 120};
  // Capital H has no descender: everything drawn lies in the cell.
  EXPECT_EQ(count_drawn(port, all), count_drawn(port, cell));
}

TEST(QuickdrawText, ForeColourAndAntiAliasingShowInColourPorts) {
  OffscreenPort port(80, 30);
  RGBColor red{0xFFFF, 0, 0};
  RGBForeColor(&red);
  TextSize(18);
  MoveTo(5, 22);
  PString text("Wo");
  DrawString(text.bytes);
  bool solid = false, blended = false;
  for (int v = 0; v < 30; ++v) {
    for (int h = 0; h < 80; ++h) {
      UInt32 p = port.at(h, v);
      solid |= p == 0xFF0000u;
      blended |= p != kWhitePixel && p != 0xFF0000u && (p >> 16) == 0xFF;
      ASSERT_EQ(p >> 16, 0xFFu) << "red stays full wherever red is blended over white";
    }
  }
  EXPECT_TRUE(solid);
  EXPECT_TRUE(blended);
}

TEST(QuickdrawText, BoldAndFixedWidthFontsAreDistinctFaces) {
  OffscreenPort port(10, 10);
  TextSize(12);
  PString text("Wide words");
  int plain = StringWidth(text.bytes);
  TextFace(bold);
  EXPECT_GT(StringWidth(text.bytes), plain);
  TextFace(normal);
  SInt16 monaco = -1, unknown = -1;
  PString monacoName("Monaco"), unknownName("No Such Font");
  GetFNum(monacoName.bytes, &monaco);
  GetFNum(unknownName.bytes, &unknown);
  EXPECT_EQ(monaco, 4);
  EXPECT_EQ(unknown, systemFont);
  TextFont(monaco);
  EXPECT_EQ(CharWidth('i'), CharWidth('W'));
  TextFont(applFont);
  EXPECT_LT(CharWidth('i'), CharWidth('W'));
}

TEST(QuickdrawText, BytesAreDecodedAsMacRoman) {
  OffscreenPort port(40, 30);
  TextSize(16);
  MoveTo(5, 20);
  // 0xCA is a no-break space in Mac Roman (a capital E with circumflex in
  // Latin-1): it advances the pen and draws nothing.
  DrawChar(0xCA);
  Point pen;
  GetPen(&pen);
  EXPECT_GT(pen.h, 5);
  Rect all{0, 0, 30, 40};
  EXPECT_EQ(count_drawn(port, all), 0);
  // 0xA5 is a bullet, which draws.
  DrawChar(0xA5);
  EXPECT_GT(count_drawn(port, all), 0);
}

TEST(QuickdrawText, SrcCopyModePaintsTheBackColourBehindTheText) {
  OffscreenPort port(60, 30);
  Rect all{0, 0, 30, 60};
  PaintRect(&all);
  TextMode(srcCopy);
  TextSize(12);
  MoveTo(5, 20);
  PString text("ii");
  DrawString(text.bytes);
  // Between and beside the thin letters the cell is white again.
  EXPECT_EQ(port.at(5, 19), kWhitePixel);
  EXPECT_NE(port.at(5, 25), kWhitePixel);  // below the cell stays black
}
