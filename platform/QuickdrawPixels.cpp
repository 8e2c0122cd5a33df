// Pixel access and pattern fills: the innermost loops of the rasterizer.
#include <algorithm>

#include "QuickdrawInternal.h"

namespace tessel::platform::quickdraw {

int row_bytes_of(const BitMap& bits) { return bits.rowBytes & 0x3FFF; }

static bool is_pixmap(const BitMap& bits) { return (bits.rowBytes & kPixMapMarker) != 0; }

int scale_of(const BitMap& bits) {
  if (!is_pixmap(bits)) return 1;
  int scale = static_cast<const PixMap&>(bits).deviceScale;
  return scale > 1 ? scale : 1;
}

std::optional<Surface> surface_of(const BitMap* bits) {
  if (bits == nullptr || bits->baseAddr == nullptr) return std::nullopt;
  int scale = scale_of(*bits);
  Surface s{reinterpret_cast<UInt8*>(bits->baseAddr),
            row_bytes_of(*bits),
            to_device(bits->bounds, scale),
            1,
            nullptr,
            scale};
  if (is_pixmap(*bits)) {
    const auto& pm = static_cast<const PixMap&>(*bits);
    s.depth = pm.pixelSize;
    s.table = pm.pmTable != nullptr ? *pm.pmTable : nullptr;
  }
  bool known = s.depth == 1 || s.depth == 2 || s.depth == 4 || s.depth == 8 || s.depth == 32;
  if (!known) return std::nullopt;
  return s;
}

static UInt8* row_of(const Surface& s, int v) {
  return s.base + std::ptrdiff_t(v - s.bounds.top) * s.rowBytes;
}

bool bit_at(const Surface& s, int h, int v) {
  int column = h - s.bounds.left;
  return (row_of(s, v)[column >> 3] >> (7 - (column & 7))) & 1;
}

UInt32 raw_pixel(const Surface& s, int h, int v) {
  int column = h - s.bounds.left;
  const UInt8* row = row_of(s, v);
  if (s.depth == 32) {
    const UInt8* p = row + 4 * column;
    return (UInt32(p[1]) << 16) | (UInt32(p[2]) << 8) | p[3];
  }
  int bit = column * s.depth;
  int shift = 8 - s.depth - (bit & 7);
  return (row[bit >> 3] >> shift) & ((1u << s.depth) - 1);
}

Rgb read_rgb(const Surface& s, int h, int v, const Rgb* palette) {
  UInt32 value = raw_pixel(s, h, v);
  return s.depth == 32 ? value : palette[value];
}

void write_rgb(const Surface& s, int h, int v, Rgb color) {
  int column = h - s.bounds.left;
  UInt8* row = row_of(s, v);
  if (s.depth == 32) {
    UInt8* p = row + 4 * column;
    p[0] = 0xFF;
    p[1] = UInt8(color >> 16);
    p[2] = UInt8(color >> 8);
    p[3] = UInt8(color);
    return;
  }
  UInt8 mask = UInt8(0x80 >> (column & 7));
  if (is_dark(color)) {
    row[column >> 3] = UInt8(row[column >> 3] | mask);
  } else {
    row[column >> 3] = UInt8(row[column >> 3] & ~mask);
  }
}

void invert_pixel(const Surface& s, int h, int v) {
  int column = h - s.bounds.left;
  UInt8* row = row_of(s, v);
  if (s.depth == 32) {
    UInt8* p = row + 4 * column;
    for (int i = 1; i < 4; ++i) p[i] = UInt8(~p[i]);
    return;
  }
  row[column >> 3] = UInt8(row[column >> 3] ^ (0x80 >> (column & 7)));
}

void fill_palette(const Surface& s, Rgb palette[256]) {
  std::fill(palette, palette + 256, kBlack);
  palette[0] = kWhite;
  if (s.table == nullptr) return;
  bool device = (s.table->ctFlags & 0x8000) != 0;
  int count = std::clamp(s.table->ctSize + 1, 0, 256);
  for (int i = 0; i < count; ++i) {
    const ColorSpec& entry = s.table->ctTable[i];
    palette[device ? i : (entry.value & 0xFF)] = rgb_of(entry.rgb);
  }
}

Rect drawable_area(const GrafPort& port) {
  Rect area = port.portRect;
  if (port.portPixMap != nullptr) SectRect(&area, &(**port.portPixMap).bounds, &area);
  if (port.clipRgn != nullptr) SectRect(&area, &(**port.clipRgn).rgnBBox, &area);
  if (port.visRgn != nullptr) SectRect(&area, &(**port.visRgn).rgnBBox, &area);
  return area;
}

Rect drawable_device_area(const GrafPort& port, const Rect& r, int scale) {
  Rect area = drawable_area(port);
  if (!SectRect(&area, &r, &area)) return Rect{};
  return to_device(area, scale);
}

// The local pixel offset within the buffer that device pixel offset d lies
// in; d is never negative, drawing being clipped to the buffer.
static int local_offset(int d, const Surface& s) { return d / s.scale; }

// The pattern bit for a pixel, from its place in the pixel buffer, so that
// areas filled one after another join up seamlessly. On a scaled surface
// each pattern bit covers a whole block, as it would look magnified.
static bool pattern_bit(const Pattern& pattern, const Surface& s, int h, int v) {
  int row = local_offset(v - s.bounds.top, s) & 7;
  int column = local_offset(h - s.bounds.left, s) & 7;
  return (pattern.pat[row] >> (7 - column)) & 1;
}

template <class Visit>
static void for_each_pixel(GrafPort& port, const Rect& r, Visit visit) {
  if (port.portPixMap == nullptr) return;
  auto surface = surface_of(*port.portPixMap);
  if (!surface || (surface->depth != 1 && surface->depth != 32)) return;
  Rect area = drawable_device_area(port, r, surface->scale);
  for (int v = area.top; v < area.bottom; ++v) {
    for (int h = area.left; h < area.right; ++h) visit(*surface, h, v);
  }
}

void paint_pattern(GrafPort& port, const Rect& r, const Pattern& pattern, SInt16 mode) {
  Rgb fore = rgb_of(port.rgbFgColor);
  Rgb back = rgb_of(port.rgbBkColor);
  bool inverse = (mode & 4) != 0;
  int operation = mode & 3;
  for_each_pixel(port, r, [&](const Surface& s, int h, int v) {
    bool bit = pattern_bit(pattern, s, h, v) != inverse;
    switch (operation) {
      case 0: write_rgb(s, h, v, bit ? fore : back); break;
      case 1:
        if (bit) write_rgb(s, h, v, fore);
        break;
      case 2:
        if (bit) invert_pixel(s, h, v);
        break;
      default:
        if (bit) write_rgb(s, h, v, back);
        break;
    }
  });
}

void paint_pixpat(GrafPort& port, const Rect& r, const PixPat& pattern) {
  auto image = pattern.patMap != nullptr ? surface_of(*pattern.patMap) : std::nullopt;
  if (pattern.patType == 0 || !image) {
    paint_pattern(port, r, pattern.pat1Data, patCopy);
    return;
  }
  Rgb palette[256];
  fill_palette(*image, palette);
  int height = image->bounds.bottom - image->bounds.top;
  int width = image->bounds.right - image->bounds.left;
  if (height <= 0 || width <= 0) return;
  for_each_pixel(port, r, [&](const Surface& s, int h, int v) {
    int row = local_offset(v - s.bounds.top, s) % height + image->bounds.top;
    int column = local_offset(h - s.bounds.left, s) % width + image->bounds.left;
    write_rgb(s, h, v, read_rgb(*image, column, row, palette));
  });
}

}  // namespace tessel::platform::quickdraw
