// What the QuickDraw sources share and nobody else needs: the current port,
// record handles, and pixel access to a bitmap in its own buffer grid.
#pragma once

#include <optional>

#include "QDOffscreen.h"
#include "Quickdraw.h"

namespace tessel::platform::quickdraw {

// Colours inside the rasterizer: 0xRRGGBB.
using Rgb = UInt32;
constexpr Rgb kWhite = 0xFFFFFF;
constexpr Rgb kBlack = 0x000000;

constexpr Rgb rgb_of(const RGBColor& c) {
  return (Rgb(c.red >> 8) << 16) | (Rgb(c.green >> 8) << 8) | Rgb(c.blue >> 8);
}
// One-bit pixels: dark colours become black (1).
constexpr bool is_dark(Rgb c) {
  unsigned luma = 299 * ((c >> 16) & 0xFF) + 587 * ((c >> 8) & 0xFF) + 114 * (c & 0xFF);
  return luma < 128 * 1000;
}

GrafPtr& current_port();

// A record reached through a master pointer, as the Toolbox hands out its
// small records. These are not Memory Manager handles.
template <class T>
T** new_record() {
  return new T*(new T{});
}

template <class T>
void dispose_record(T** handle) {
  if (handle == nullptr) return;
  delete *handle;
  delete handle;
}

// A pixel buffer seen through its bounds in device pixels: the bitmap's
// bounds times its scale, so that (h, v) there is byte row v - bounds.top.
// Every drawing primitive maps its local rectangles with to_device() and
// then works on device pixels alone.
struct Surface {
  UInt8* base = nullptr;
  int rowBytes = 0;
  Rect bounds{};
  int depth = 1;
  const ColorTable* table = nullptr;  // indexed depths above 1
  int scale = 1;
};

// Null base address or a depth this layer cannot read gives nothing.
std::optional<Surface> surface_of(const BitMap* bits);
// Device pixels per local pixel: a pixel map's deviceScale, else 1.
int scale_of(const BitMap& bits);
// The device pixels a rectangle of local pixels covers.
constexpr Rect to_device(const Rect& r, int scale) {
  return Rect{SInt16(r.top * scale), SInt16(r.left * scale), SInt16(r.bottom * scale),
              SInt16(r.right * scale)};
}
// The bitmap's row length: PixMaps keep a marker in the top bits.
int row_bytes_of(const BitMap& bits);

bool bit_at(const Surface& s, int h, int v);
UInt32 raw_pixel(const Surface& s, int h, int v);
Rgb read_rgb(const Surface& s, int h, int v, const Rgb* palette);
void write_rgb(const Surface& s, int h, int v, Rgb color);
void invert_pixel(const Surface& s, int h, int v);
// The 256 colours of an indexed surface's table (white/black for depth 1).
void fill_palette(const Surface& s, Rgb palette[256]);

// The part of the port that drawing may touch, in local coordinates.
Rect drawable_area(const GrafPort& port);
// The device pixels of r (local) that drawing may touch; empty when none.
Rect drawable_device_area(const GrafPort& port, const Rect& r, int scale);
// Paints r (local, clipped here) with the pattern in a pattern mode; the
// pattern is aligned to the pixel buffer.
void paint_pattern(GrafPort& port, const Rect& r, const Pattern& pattern, SInt16 mode);
void paint_pixpat(GrafPort& port, const Rect& r, const PixPat& pattern);

}  // namespace tessel::platform::quickdraw
