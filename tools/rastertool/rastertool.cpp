// rastertool describe FILE
// rastertool read FILE TOP,LEFT,BOTTOM,RIGHT OUT
// rastertool write FILE TOP,LEFT,BOTTOM,RIGHT IN
//
// Reads and writes rectangles through the format layer, all channels
// interleaved, one byte per sample, row after row. Exit status 0 on success,
// 1 with the result code on standard error otherwise.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "formats/RasterFormats.h"
#include "formats/TIFFFormat.h"

namespace tessel::tools {
namespace {

constexpr OSErr kUsage = paramErr;

std::string four_chars(FourCharCode code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += char((code >> shift) & 0xFF);
  return text;
}

std::string json_string(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') out += '\\';
    if (UInt8(c) < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned(UInt8(c)));
      out += escaped;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

// Opens a file's image through the format layer; closes it on destruction.
class OpenImage {
 public:
  OSErr open(const std::string& path) {
    auto spec = platform::files::spec_from_path(path);
    if (!spec) return spec.error();
    image_.fileSpec = *spec;
    return RasterFormatOpen(&image_);
  }
  ~OpenImage() { RasterFormatClose(&image_.format); }
  SourceImage& image() { return image_; }

 private:
  SourceImage image_{};
};

void print_tiff_layout(std::ostream& out, const TIFFState& tiff) {
  out << ",\"compression\":" << tiff.compression
      << ",\"planarConfiguration\":" << tiff.planarConfiguration
      << ",\"predictor\":" << tiff.predictor << ",\"fillOrder\":" << tiff.fillOrder
      << ",\"tiled\":" << (tiff.tiled ? "true" : "false");
}

int describe(const std::string& path) {
  OpenImage file;
  OSErr err = file.open(path);
  const SourceImage& image = file.image();
  std::ostringstream out;
  out << "{\"result\":" << err << ",\"format\":" << json_string(four_chars(image.format.code));
  if (err == noErr) {
    out << ",\"mode\":" << image.mode << ",\"depth\":" << image.depth
        << ",\"planar\":" << image.planar << ",\"width\":" << image.width
        << ",\"height\":" << image.height << ",\"channels\":" << image.channels
        << ",\"hres\":" << image.hResolution << ",\"vres\":" << image.vResolution;
    if (image.format.code == kTIFFFormat) {
      print_tiff_layout(out, *static_cast<const TIFFState*>(image.format.state));
    }
  }
  std::cout << out.str() << "}\n";
  return err == noErr ? 0 : 1;
}

std::optional<TileArea> parse_rect(const std::string& text, SInt16 channels) {
  SInt32 top = 0, left = 0, bottom = 0, right = 0;
  char tail = 0;
  if (std::sscanf(text.c_str(), "%d,%d,%d,%d%c", &top, &left, &bottom, &right, &tail) != 4) {
    return std::nullopt;
  }
  return TileArea{top, left, bottom, right, 0, channels};
}

// The rectangle must lie inside the image and hold at least one sample.
bool inside(const TileArea& area, const SourceImage& image) {
  return area.top >= 0 && area.left >= 0 && area.top < area.bottom && area.left < area.right &&
         area.bottom <= image.height && area.right <= image.width;
}

Tile chunky_tile(std::vector<UInt8>& bytes, const TileArea& area) {
  SInt32 channels = area.endPlane;
  return Tile{bytes.data(), area, (area.right - area.left) * channels, channels, 0};
}

int fail(OSErr err, const std::string& what) {
  std::cerr << "rastertool: " << what << " (result " << err << ")\n";
  return 1;
}

int move_rectangle(const std::string& command, const std::string& path, const std::string& rect,
                   const std::string& data_path) {
  OpenImage file;
  if (OSErr err = file.open(path); err != noErr) return fail(err, "cannot open " + path);
  SourceImage& image = file.image();
  auto area = parse_rect(rect, image.channels);
  if (!area || !inside(*area, image)) return fail(kUsage, "rectangle outside the image: " + rect);
  std::size_t bytes = std::size_t(area->bottom - area->top) *
                      std::size_t(area->right - area->left) * std::size_t(image.channels);
  std::vector<UInt8> samples(bytes);
  Tile tile = chunky_tile(samples, *area);
  if (command == "read") {
    if (OSErr err = RasterFormatGetTile(&image.format, tile, *area); err != noErr) {
      return fail(err, "cannot read " + path);
    }
    std::ofstream out(data_path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(samples.data()), std::streamsize(bytes));
    return out ? 0 : fail(ioErr, "cannot write " + data_path);
  }
  std::ifstream in(data_path, std::ios::binary);
  if (!in.read(reinterpret_cast<char*>(samples.data()), std::streamsize(bytes))) {
    return fail(eofErr, data_path + " holds fewer than " + std::to_string(bytes) + " bytes");
  }
  if (OSErr err = RasterFormatPutTile(&image.format, tile, *area); err != noErr) {
    return fail(err, "cannot write into " + path);
  }
  return 0;
}

int usage() {
  std::cerr << "usage: rastertool describe FILE\n"
               "       rastertool read FILE TOP,LEFT,BOTTOM,RIGHT OUT\n"
               "       rastertool write FILE TOP,LEFT,BOTTOM,RIGHT IN\n";
  return 1;
}

}  // namespace
}  // namespace tessel::tools

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() == 2 && args[0] == "describe") return tessel::tools::describe(args[1]);
  if (args.size() == 4 && (args[0] == "read" || args[0] == "write")) {
    return tessel::tools::move_rectangle(args[0], args[1], args[2], args[3]);
  }
  return tessel::tools::usage();
}
