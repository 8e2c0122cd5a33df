// QuickDraw's text calls over the font cache: Mac Roman bytes in, glyphs
// blended into the current port at the pen.
#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "Fonts.h"
#include "MacRoman.h"
#include "QuickdrawInternal.h"
#include "Utf8.h"

namespace qd = tessel::platform::quickdraw;
namespace fonts = tessel::platform::fonts;

namespace {

constexpr int kDefaultSize = 12;

struct NamedFont {
  std::string_view name;
  SInt16 number;
};

// The names the platform answers GetFNum for. The system and application
// fonts and the proportional names draw in DejaVu Sans, the fixed-width
// ones in DejaVu Sans Mono (see fonts::family_for).
constexpr std::array<NamedFont, 11> kFontNames{{{"System", systemFont},
                                                {"Chicago", systemFont},
                                                {"Application", applFont},
                                                {"New York", 2},
                                                {"Geneva", 3},
                                                {"Monaco", 4},
                                                {"Times", 20},
                                                {"Helvetica", 21},
                                                {"Courier", 22},
                                                {"DejaVu Sans", 3},
                                                {"DejaVu Sans Mono", 4}}};

GrafPort* port() { return qd::current_port(); }

int text_size(const GrafPort& p) { return p.txSize > 0 ? p.txSize : kDefaultSize; }

// Widths are measured with the glyphs that will be drawn: in 1-bit ports
// the monochrome hinting may round advances differently. A port on a dense
// screen draws its glyphs at scale times the size, so that text there is
// as sharp as the screen; what callers measure stays the 1x width, the
// layout being the same at every scale.
const fonts::Glyph* glyph_of(const GrafPort& p, char32_t code, int scale = 1) {
  const auto surface = p.portPixMap != nullptr ? qd::surface_of(*p.portPixMap) : std::nullopt;
  const bool oneBit = surface && surface->depth == 1;
  return fonts::glyph(p.txFont, p.txFace, text_size(p) * scale, code,
                      oneBit ? fonts::Rendering::mono : fonts::Rendering::smooth);
}

std::u32string from_mac_roman(const UInt8* bytes, int count) {
  std::u32string codes;
  for (int i = 0; i < count; ++i) codes += tessel::platform::mac_roman_to_unicode(bytes[i]);
  return codes;
}

int width_of(const GrafPort& p, std::u32string_view codes) {
  int width = 0;
  for (char32_t code : codes) {
    const fonts::Glyph* g = glyph_of(p, code);
    if (g != nullptr) width += g->advance;
  }
  return width;
}

int width_of(const GrafPort& p, const UInt8* bytes, int count) {
  return width_of(p, from_mac_roman(bytes, count));
}

// How one pixel of a glyph lands: coverage blended over the destination in
// 32-bit ports; 1-bit ports get monochrome glyphs, all or nothing.
void plot(const qd::Surface& s, int h, int v, UInt8 coverage, qd::Rgb fore, SInt16 mode) {
  if (coverage == 0) return;
  bool solid = coverage >= 128;
  if ((mode & 3) == srcXor) {
    if (solid) qd::invert_pixel(s, h, v);
    return;
  }
  if (s.depth != 32) {
    if (solid) qd::write_rgb(s, h, v, fore);
    return;
  }
  qd::Rgb under = qd::read_rgb(s, h, v, nullptr);
  qd::Rgb mixed = 0;
  for (int shift = 0; shift <= 16; shift += 8) {
    unsigned a = (fore >> shift) & 0xFF, b = (under >> shift) & 0xFF;
    mixed |= ((a * coverage + b * (255u - coverage) + 127) / 255) << shift;
  }
  qd::write_rgb(s, h, v, mixed);
}

// penH and baseline are in device pixels.
void draw_glyph(GrafPort& p, const fonts::Glyph& g, int penH, int baseline) {
  auto surface = qd::surface_of(*p.portPixMap);
  if (!surface || (surface->depth != 1 && surface->depth != 32)) return;
  Rect area = qd::to_device(qd::drawable_area(p), surface->scale);
  qd::Rgb fore = (p.txMode & 3) == srcBic ? qd::rgb_of(p.rgbBkColor) : qd::rgb_of(p.rgbFgColor);
  for (int row = 0; row < g.rows; ++row) {
    int v = baseline - g.top + row;
    if (v < area.top || v >= area.bottom) continue;
    for (int column = 0; column < g.width; ++column) {
      int h = penH + g.left + column;
      if (h < area.left || h >= area.right) continue;
      plot(*surface, h, v, g.coverage[std::size_t(row * g.width + column)], fore, p.txMode);
    }
  }
}

// In srcCopy the text's cell is painted with the back colour first, as a
// line of text replaces what was under it.
void erase_cell(GrafPort& p, int width) {
  FontInfo info = fonts::metrics(p.txFont, p.txFace, text_size(p));
  Rect cell{SInt16(p.pnLoc.v - info.ascent), p.pnLoc.h, SInt16(p.pnLoc.v + info.descent),
            SInt16(p.pnLoc.h + width)};
  qd::paint_pattern(p, cell, kWhitePattern, patCopy);
}

void underline_text(GrafPort& p, int width) {
  Rect line{SInt16(p.pnLoc.v + 1), p.pnLoc.h, SInt16(p.pnLoc.v + 2), SInt16(p.pnLoc.h + width)};
  qd::paint_pattern(p, line, kBlackPattern, patOr);
}

void draw_codes(std::u32string_view codes) {
  GrafPort* p = port();
  if (p == nullptr || p->portPixMap == nullptr || codes.empty()) return;
  int width = width_of(*p, codes);
  if ((p->txMode & 7) == srcCopy) erase_cell(*p, width);
  if ((p->txFace & underline) != 0) underline_text(*p, width);
  const int scale = qd::scale_of(**p->portPixMap);
  int h = p->pnLoc.h * scale;
  for (char32_t code : codes) {
    const fonts::Glyph* g = glyph_of(*p, code, scale);
    if (g == nullptr) continue;
    draw_glyph(*p, *g, h, p->pnLoc.v * scale);
    h += g->advance;
  }
  p->pnLoc.h = SInt16(p->pnLoc.h + width);
}

void draw_bytes(const UInt8* bytes, int count) {
  if (count > 0) draw_codes(from_mac_roman(bytes, count));
}

}  // namespace

namespace tessel::platform::quickdraw {

void draw_utf8(std::string_view text) { draw_codes(decode_utf8(text)); }

int utf8_width(std::string_view text) {
  return port() != nullptr ? width_of(*port(), decode_utf8(text)) : 0;
}

}  // namespace tessel::platform::quickdraw

void TextFont(SInt16 font) {
  if (port() != nullptr) port()->txFont = font;
}

void TextFace(StyleParameter face) {
  if (port() != nullptr) port()->txFace = Style(face);
}

void TextMode(SInt16 mode) {
  if (port() != nullptr) port()->txMode = mode;
}

void TextSize(SInt16 size) {
  if (port() != nullptr) port()->txSize = size;
}

void GetFNum(ConstStringPtr name, SInt16* familyID) {
  std::string_view wanted(reinterpret_cast<const char*>(name + 1), name[0]);
  auto known = std::find_if(kFontNames.begin(), kFontNames.end(),
                            [&](const NamedFont& f) { return f.name == wanted; });
  *familyID = known != kFontNames.end() ? known->number : systemFont;
}

void GetFontName(SInt16 familyID, Str255 name) {
  auto known = std::find_if(kFontNames.begin(), kFontNames.end(),
                            [&](const NamedFont& f) { return f.number == familyID; });
  std::string_view text = known != kFontNames.end() ? known->name : std::string_view();
  name[0] = UInt8(text.size());
  std::memcpy(name + 1, text.data(), text.size());
}

void GetFontInfo(FontInfo* info) {
  if (port() != nullptr) *info = fonts::metrics(port()->txFont, port()->txFace, text_size(*port()));
}

SInt16 CharWidth(SInt16 ch) {
  UInt8 byte = UInt8(ch);
  return port() != nullptr ? SInt16(width_of(*port(), &byte, 1)) : 0;
}

SInt16 StringWidth(ConstStringPtr s) {
  return port() != nullptr ? SInt16(width_of(*port(), s + 1, s[0])) : 0;
}

SInt16 TextWidth(const void* text, SInt16 firstByte, SInt16 byteCount) {
  const auto* bytes = static_cast<const UInt8*>(text) + firstByte;
  return port() != nullptr ? SInt16(width_of(*port(), bytes, byteCount)) : 0;
}

void DrawString(ConstStringPtr s) { draw_bytes(s + 1, s[0]); }

void DrawChar(SInt16 ch) {
  UInt8 byte = UInt8(ch);
  draw_bytes(&byte, 1);
}

void DrawText(const void* text, SInt16 firstByte, SInt16 byteCount) {
  draw_bytes(static_cast<const UInt8*>(text) + firstByte, byteCount);
}
