// CopyBits and CopyMask: nearest-neighbour copies between bitmaps and pixel
// maps of any depth this layer reads, into 1- or 32-bit destinations.
#include <cstring>

#include "QuickdrawInternal.h"

namespace tessel::platform::quickdraw {
namespace {

// A source pixel as the transfer modes see it: its colour, and whether it
// counts as foreground (a set bit, or anything but white in colour).
struct SourcePixel {
  Rgb color;
  bool foreground;
};

class SourceReader {
 public:
  SourceReader(const Surface& s, const GrafPort* port) : surface_(s) {
    fill_palette(s, palette_);
    if (s.depth == 1 && port != nullptr) {
      palette_[0] = rgb_of(port->rgbBkColor);
      palette_[1] = rgb_of(port->rgbFgColor);
    }
  }
  SourcePixel at(int h, int v) const {
    if (surface_.depth == 1) {
      bool bit = bit_at(surface_, h, v);
      return SourcePixel{palette_[bit ? 1 : 0], bit};
    }
    Rgb color = read_rgb(surface_, h, v, palette_);
    return SourcePixel{color, color != kWhite};
  }

 private:
  const Surface& surface_;
  Rgb palette_[256];
};

void transfer(const Surface& dst, int h, int v, SourcePixel source, SInt16 mode, Rgb back) {
  bool inverse = (mode & 4) != 0;
  bool foreground = source.foreground != inverse;
  switch (mode & 3) {
    case srcCopy: write_rgb(dst, h, v, inverse ? (~source.color & 0xFFFFFF) : source.color); break;
    case srcOr:
      if (foreground) write_rgb(dst, h, v, source.color);
      break;
    case srcXor:
      if (foreground) invert_pixel(dst, h, v);
      break;
    default:
      if (foreground) write_rgb(dst, h, v, back);
      break;
  }
}

// Where the copy may land: the destination rectangle within the
// destination's bounds, the mask region and, for the current port's own
// pixels, the port's drawable area.
bool clip_destination(const BitMap* dstBits, const Rect& dstRect, RgnHandle maskRgn, Rect* clip) {
  Rect area = dstRect;
  if (!SectRect(&area, &dstBits->bounds, &area)) return false;
  if (maskRgn != nullptr && !SectRect(&area, &(**maskRgn).rgnBBox, &area)) return false;
  GrafPtr port = current_port();
  if (port != nullptr && port->portPixMap != nullptr && *port->portPixMap == dstBits) {
    Rect drawable = drawable_area(*port);
    if (!SectRect(&area, &drawable, &area)) return false;
  }
  *clip = area;
  return true;
}

// The source coordinate that destination coordinate d maps onto.
int scale(int d, int dstStart, int dstLength, int srcStart, int srcLength) {
  return srcStart + int(std::int64_t(d - dstStart) * srcLength / dstLength);
}

bool inside(const Rect& r, int h, int v) {
  return v >= r.top && v < r.bottom && h >= r.left && h < r.right;
}

// Visits every destination pixel of clip with the source (and mask)
// coordinates it maps to; pixels whose source lies outside the source's
// bounds are left alone.
template <class Visit>
void for_each_mapped(const Rect& clip, const Rect& srcRect, const Rect& dstRect,
                     const Rect& srcBounds, Visit visit) {
  int dst_width = dstRect.right - dstRect.left, dst_height = dstRect.bottom - dstRect.top;
  int src_width = srcRect.right - srcRect.left, src_height = srcRect.bottom - srcRect.top;
  for (int v = clip.top; v < clip.bottom; ++v) {
    int sv = scale(v, dstRect.top, dst_height, srcRect.top, src_height);
    for (int h = clip.left; h < clip.right; ++h) {
      int sh = scale(h, dstRect.left, dst_width, srcRect.left, src_width);
      if (inside(srcBounds, sh, sv)) visit(h, v, sh, sv);
    }
  }
}

// The common case of the preview and the panes: same size, 32 bits on both
// sides, plain copy. Rows are moved whole.
bool copy_rows_directly(const Surface& src, const Surface& dst, const Rect& srcRect,
                        const Rect& dstRect, const Rect& clip, SInt16 mode) {
  bool same_size = srcRect.right - srcRect.left == dstRect.right - dstRect.left &&
                   srcRect.bottom - srcRect.top == dstRect.bottom - dstRect.top;
  if (mode != srcCopy || src.depth != 32 || dst.depth != 32 || !same_size) return false;
  int dh = srcRect.left - dstRect.left, dv = srcRect.top - dstRect.top;
  Rect from = clip;
  OffsetRect(&from, SInt16(dh), SInt16(dv));
  if (!SectRect(&from, &src.bounds, &from)) return true;
  std::size_t bytes = std::size_t(from.right - from.left) * 4;
  for (int v = from.top; v < from.bottom; ++v) {
    const UInt8* in = src.base + std::ptrdiff_t(v - src.bounds.top) * src.rowBytes +
                      4 * (from.left - src.bounds.left);
    UInt8* out = dst.base + std::ptrdiff_t(v - dv - dst.bounds.top) * dst.rowBytes +
                 4 * (from.left - dh - dst.bounds.left);
    std::memmove(out, in, bytes);
  }
  return true;
}

// Both sides in device pixels: a scaled window's rectangles are mapped
// before any pixel moves, so a 1x picture copied into it is magnified by
// nearest neighbour and one read back from it is sampled from its blocks.
struct Endpoints {
  Surface src;
  Surface dst;
  Rect srcRect;
  Rect dstRect;
  Rect clip;
};

std::optional<Endpoints> prepare(const BitMap* srcBits, const BitMap* dstBits, const Rect* srcRect,
                                 const Rect* dstRect, RgnHandle maskRgn) {
  auto src = surface_of(srcBits);
  auto dst = surface_of(dstBits);
  if (!src || !dst || (dst->depth != 1 && dst->depth != 32)) return std::nullopt;
  if (EmptyRect(srcRect) || EmptyRect(dstRect)) return std::nullopt;
  Rect clip;
  if (!clip_destination(dstBits, *dstRect, maskRgn, &clip)) return std::nullopt;
  return Endpoints{*src, *dst, to_device(*srcRect, src->scale), to_device(*dstRect, dst->scale),
                   to_device(clip, dst->scale)};
}

}  // namespace
}  // namespace tessel::platform::quickdraw

namespace qd = tessel::platform::quickdraw;

void CopyBits(const BitMap* srcBits, const BitMap* dstBits, const Rect* srcRect,
              const Rect* dstRect, SInt16 mode, RgnHandle maskRgn) {
  auto ends = qd::prepare(srcBits, dstBits, srcRect, dstRect, maskRgn);
  if (!ends) return;
  if (qd::copy_rows_directly(ends->src, ends->dst, ends->srcRect, ends->dstRect, ends->clip, mode))
    return;
  const GrafPort* port = qd::current_port();
  qd::SourceReader reader(ends->src, port);
  qd::Rgb back = port != nullptr ? qd::rgb_of(port->rgbBkColor) : qd::kWhite;
  qd::for_each_mapped(ends->clip, ends->srcRect, ends->dstRect, ends->src.bounds,
                      [&](int h, int v, int sh, int sv) {
                        qd::transfer(ends->dst, h, v, reader.at(sh, sv), mode, back);
                      });
}

void CopyMask(const BitMap* srcBits, const BitMap* maskBits, const BitMap* dstBits,
              const Rect* srcRect, const Rect* maskRect, const Rect* dstRect) {
  auto ends = qd::prepare(srcBits, dstBits, srcRect, dstRect, nullptr);
  auto mask = qd::surface_of(maskBits);
  if (!ends || !mask || mask->depth != 1 || EmptyRect(maskRect)) return;
  qd::SourceReader reader(ends->src, qd::current_port());
  const Rect& to = ends->dstRect;
  const Rect from = qd::to_device(*maskRect, mask->scale);
  int dst_width = to.right - to.left, dst_height = to.bottom - to.top;
  int mask_width = from.right - from.left, mask_height = from.bottom - from.top;
  qd::for_each_mapped(ends->clip, ends->srcRect, to, ends->src.bounds,
                      [&](int h, int v, int sh, int sv) {
                        int mh = qd::scale(h, to.left, dst_width, from.left, mask_width);
                        int mv = qd::scale(v, to.top, dst_height, from.top, mask_height);
                        if (!qd::inside(mask->bounds, mh, mv) || !qd::bit_at(*mask, mh, mv)) return;
                        qd::write_rgb(ends->dst, h, v, reader.at(sh, sv).color);
                      });
}
