// A port of its own for a test, made current while it lives, with its
// pixels read back through the platform's public calls.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

#include "QDOffscreen.h"
#include "Quickdraw.h"

namespace tessel::testing {

class OffscreenPort {
 public:
  explicit OffscreenPort(SInt16 width, SInt16 height, int depth = 32, int scale = 1) {
    Rect bounds{0, 0, height, width};
    EXPECT_EQ(platform::quickdraw::open_port(port_, bounds, depth,
                                             platform::quickdraw::PixelMemory::screen, scale),
              0);
    SetPort(&port_);
  }
  ~OffscreenPort() { platform::quickdraw::close_port(port_); }
  OffscreenPort(const OffscreenPort&) = delete;
  OffscreenPort& operator=(const OffscreenPort&) = delete;

  GrafPtr port() { return &port_; }
  const BitMap* bits() { return GetPortBitMapForCopyBits(&port_); }
  UInt32 at(int h, int v) const { return platform::quickdraw::pixel(port_, h, v); }

  // Every pixel of r, or of the port rectangle, row by row.
  std::vector<UInt32> snapshot(const Rect& r) const {
    std::vector<UInt32> pixels;
    for (int v = r.top; v < r.bottom; ++v) {
      for (int h = r.left; h < r.right; ++h) pixels.push_back(at(h, v));
    }
    return pixels;
  }
  std::vector<UInt32> snapshot() const { return snapshot(port_.portRect); }
  // Every device pixel, row by row, each repeated into a magnify x magnify
  // block: what a port of magnify times the scale would hold if it drew by
  // replicating this one.
  std::vector<UInt32> device_snapshot(int magnify = 1) const {
    const int scale = platform::quickdraw::device_scale(port_) * magnify;
    const Rect& r = port_.portRect;
    std::vector<UInt32> pixels;
    for (int v = 0; v < (r.bottom - r.top) * scale; ++v) {
      for (int h = 0; h < (r.right - r.left) * scale; ++h) {
        pixels.push_back(platform::quickdraw::device_pixel(port_, h / magnify, v / magnify));
      }
    }
    return pixels;
  }

 private:
  GrafPort port_{};
};

constexpr UInt32 kWhitePixel = 0xFFFFFF;
constexpr UInt32 kBlackPixel = 0x000000;

struct PixelAt {
  int h, v;
  UInt32 colour;
};

// Rectangles and points as values a failed comparison prints in full.
inline std::vector<int> sides(const Rect& r) { return {r.top, r.left, r.bottom, r.right}; }
inline std::vector<int> sides(const VRect& r) { return {r.top, r.left, r.bottom, r.right}; }
inline std::pair<int, int> hv(Point p) { return {p.h, p.v}; }

// Every listed pixel of the port has its colour; a wrong one is named by place.
inline void expect_pixels(const OffscreenPort& port, std::initializer_list<PixelAt> pixels) {
  for (const PixelAt& p : pixels) EXPECT_EQ(port.at(p.h, p.v), p.colour) << p.h << "," << p.v;
}

}  // namespace tessel::testing
