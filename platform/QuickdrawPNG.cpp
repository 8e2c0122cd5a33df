// Reading a port's pixels back: one at a time for tests, all at once as a
// PNG for the headless backend and for screenshots.
#include <png.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "MacErrors.h"
#include "QuickdrawInternal.h"

namespace tessel::platform::quickdraw {

int device_scale(const GrafPort& port) {
  return port.portPixMap != nullptr ? scale_of(**port.portPixMap) : 1;
}

UInt32 device_pixel(const GrafPort& port, int h, int v) {
  if (port.portPixMap == nullptr) return 0;
  auto surface = surface_of(*port.portPixMap);
  if (!surface) return 0;
  const Rect& r = surface->bounds;
  if (h < 0 || v < 0 || h >= r.right - r.left || v >= r.bottom - r.top) return 0;
  Rgb palette[256];
  fill_palette(*surface, palette);
  return read_rgb(*surface, r.left + h, r.top + v, palette);
}

UInt32 pixel(const GrafPort& port, int h, int v) {
  if (port.portPixMap == nullptr) return 0;
  const Rect& bounds = (**port.portPixMap).bounds;
  int scale = device_scale(port);
  return device_pixel(port, (h - bounds.left) * scale, (v - bounds.top) * scale);
}

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// A row of RGB, or of RGBA when a mask is given: opaque where the mask is
// black, clear where it is white, as a one-bit icon mask reads.
std::vector<png_byte> rgb_row(const Surface& s, int v, const Rgb* palette,
                              const Surface* mask = nullptr, const Rgb* maskPalette = nullptr) {
  std::vector<png_byte> row;
  for (int h = s.bounds.left; h < s.bounds.right; ++h) {
    Rgb color = read_rgb(s, h, v, palette);
    row.insert(row.end(), {png_byte(color >> 16), png_byte(color >> 8), png_byte(color)});
    if (mask != nullptr) row.push_back(read_rgb(*mask, h, v, maskPalette) == 0 ? 0xFF : 0);
  }
  return row;
}

// libpng reports failures by jumping back here; nothing with a destructor
// lives between the setjmp and the calls that may jump.
bool write_rows(std::FILE* file, const Surface& s, std::vector<std::vector<png_byte>>& rows,
                int colorType) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    return false;
  }
  std::vector<png_bytep> pointers;
  for (auto& row : rows) pointers.push_back(row.data());
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, png_uint_32(s.bounds.right - s.bounds.left),
               png_uint_32(s.bounds.bottom - s.bounds.top), 8, colorType, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_write_image(png, pointers.data());
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return true;
}

OSErr write_png(const Surface& surface, const Surface* mask, const std::filesystem::path& path) {
  Rgb palette[256], maskPalette[256];
  fill_palette(surface, palette);
  if (mask != nullptr) fill_palette(*mask, maskPalette);
  std::vector<std::vector<png_byte>> rows;
  for (int v = surface.bounds.top; v < surface.bounds.bottom; ++v) {
    rows.push_back(rgb_row(surface, v, palette, mask, maskPalette));
  }
  std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
  if (!file) return ioErr;
  const int colorType = mask != nullptr ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB;
  if (!write_rows(file.get(), surface, rows, colorType)) return ioErr;
  return std::fclose(file.release()) == 0 ? noErr : ioErr;
}

std::optional<Surface> port_surface(const GrafPort& port) {
  auto surface = port.portPixMap != nullptr ? surface_of(*port.portPixMap) : std::nullopt;
  if (!surface || EmptyRect(&surface->bounds)) return std::nullopt;
  return surface;
}

}  // namespace

OSErr save_png(const GrafPort& port, const std::filesystem::path& path) {
  auto surface = port_surface(port);
  return surface ? write_png(*surface, nullptr, path) : paramErr;
}

OSErr save_png(const GrafPort& port, const GrafPort& mask, const std::filesystem::path& path) {
  auto surface = port_surface(port);
  auto maskSurface = port_surface(mask);
  if (!surface || !maskSurface || !EqualRect(&surface->bounds, &maskSurface->bounds)) {
    return paramErr;
  }
  return write_png(*surface, &*maskSurface, path);
}

}  // namespace tessel::platform::quickdraw
