// rastertool describe FILE
// rastertool read FILE TOP,LEFT,BOTTOM,RIGHT OUT
// rastertool write FILE TOP,LEFT,BOTTOM,RIGHT IN
//
// describe prints one JSON object on one line: "result" (the open's result
// code) and "format" (the four-character format code) always; once the file
// has opened also "mode", "depth", "planar", "width", "height", "channels",
// "hres" and "vres" (pixels per inch) as the format layer describes the image,
// and for TIFF files "compression", "planarConfiguration", "predictor",
// "fillOrder", "tiled" and "bigTIFF".
//
// read and write move a rectangle (bottom and right exclusive) through the
// format layer, all channels interleaved, one byte per sample, row after row;
// IN must hold exactly the rectangle's bytes. Exit status 0 on success, 1
// with the result code on standard error otherwise.
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

int fail(OSErr err, const std::string& what) {
  std::cerr << "rastertool: " << what << " (result " << err << ")\n";
  return 1;
}

void print_tiff_layout(std::ostream& out, const FormatLayout& tiff) {
  out << ",\"compression\":" << tiff.compression
      << ",\"planarConfiguration\":" << tiff.planarConfiguration
      << ",\"predictor\":" << tiff.predictor << ",\"fillOrder\":" << tiff.fillOrder
      << ",\"tiled\":" << (tiff.tiled ? "true" : "false")
      << ",\"bigTIFF\":" << (tiff.bigTIFF ? "true" : "false");
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
      FormatLayout layout{};
      RasterFormatDescribeLayout(&image.format, &layout);
      print_tiff_layout(out, layout);
    }
  }
  std::cout << out.str() << "}\n";
  return err == noErr ? 0 : fail(err, "cannot open " + path);
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

int read_rectangle(SourceImage& image, const Tile& tile, const TileArea& area,
                   const std::string& path, const std::string& out_path,
                   const std::vector<UInt8>& samples) {
  if (OSErr err = RasterFormatGetTile(&image.format, tile, area); err != noErr) {
    return fail(err, "cannot read " + path);
  }
  std::ofstream out(out_path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(samples.data()), std::streamsize(samples.size()));
  return out ? 0 : fail(ioErr, "cannot write " + out_path);
}

// A size other than the rectangle's is a mistake of the caller's, so nothing
// is written then.
int write_rectangle(SourceImage& image, const Tile& tile, const TileArea& area,
                    const std::string& path, const std::string& in_path,
                    std::vector<UInt8>& samples) {
  std::ifstream in(in_path, std::ios::binary);
  const std::string needed = std::to_string(samples.size()) + " bytes";
  if (!in.read(reinterpret_cast<char*>(samples.data()), std::streamsize(samples.size()))) {
    return fail(eofErr, in_path + " holds fewer than " + needed);
  }
  if (in.peek() != std::ifstream::traits_type::eof()) {
    return fail(kUsage, in_path + " holds more than " + needed);
  }
  if (OSErr err = RasterFormatPutTile(&image.format, tile, area); err != noErr) {
    return fail(err, "cannot write into " + path);
  }
  return 0;
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
  if (command == "read") return read_rectangle(image, tile, *area, path, data_path, samples);
  return write_rectangle(image, tile, *area, path, data_path, samples);
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
