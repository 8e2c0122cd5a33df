// Scitex CT sample files: a 2048-byte header of which only the fields at
// 1024..1079 carry anything, then the lines, each holding one segment per
// channel of the width rounded up to an even count.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "MacErrors.h"
#include "tools/samples/FileSink.h"
#include "tools/samples/SampleImages.h"
#include "tools/samples/SampleSupport.h"

namespace tessel::samples {
namespace {

constexpr std::size_t kHeaderBytes = 2048;
constexpr std::size_t kUnitsOffset = 1024, kChannelsOffset = 1025, kHeightOffset = 1028,
                      kWidthOffset = 1042, kLinesOffset = 1056, kPixelsOffset = 1068;
constexpr std::size_t kRealBytes = 14, kIntegerBytes = 12;

void putText(std::vector<UInt8>& header, std::size_t offset, const std::string& text,
             std::size_t width) {
  for (std::size_t i = 0; i < width; ++i) header[offset + i] = i < text.size() ? text[i] : ' ';
}

double physicalSize(std::optional<double> given, UInt32 pixels, const ScitexOptions& o) {
  if (given) return *given;
  const double inches = pixels / o.pixelsPerInch;
  return o.units == 0 ? inches * 25.4 : inches;
}

std::optional<std::vector<UInt8>> makeHeader(const ScitexOptions& o) {
  std::optional<std::string> height =
      scitex_real_field(physicalSize(o.physicalHeight, o.height, o));
  std::optional<std::string> width = scitex_real_field(physicalSize(o.physicalWidth, o.width, o));
  std::optional<std::string> lines = scitex_integer_field(o.height);
  std::optional<std::string> pixels = scitex_integer_field(o.width);
  if (!height || !width || !lines || !pixels) return std::nullopt;
  std::vector<UInt8> header(kHeaderBytes, 0);
  header[kUnitsOffset] = o.unitsByte.value_or(o.units);
  header[kChannelsOffset] = o.channelsByte.value_or(o.channels);
  putText(header, kHeightOffset, o.heightText.value_or(*height), kRealBytes);
  putText(header, kWidthOffset, o.widthText.value_or(*width), kRealBytes);
  putText(header, kLinesOffset, o.linesText.value_or(*lines), kIntegerBytes);
  putText(header, kPixelsOffset, o.pixelsPerLineText.value_or(*pixels), kIntegerBytes);
  return header;
}

}  // namespace

std::optional<std::string> scitex_real_field(double value) {
  if (!std::isfinite(value)) return std::nullopt;
  const char sign = std::signbit(value) ? '-' : '+';
  if (value == 0.0) return std::string(1, sign) + ".00000000E+00";
  // "%.7e" gives d.ddddddde±x: the field's mantissa is those eight digits
  // behind the point, so its exponent is one more.
  char scientific[32];
  std::snprintf(scientific, sizeof scientific, "%.7e", std::fabs(value));
  const std::string text(scientific);
  const std::string digits = text.substr(0, 1) + text.substr(2, 7);
  const long exponent = std::strtol(text.c_str() + 10, nullptr, 10) + 1;
  if (exponent < -99 || exponent > 99) return std::nullopt;
  char field[16];
  std::snprintf(field, sizeof field, "%c.%sE%c%02ld", sign, digits.c_str(),
                exponent < 0 ? '-' : '+', std::labs(exponent));
  return std::string(field);
}

std::optional<std::string> scitex_integer_field(SInt64 value) {
  constexpr SInt64 kLargest = 99999999999;
  if (value < -kLargest || value > kLargest) return std::nullopt;
  char field[16];
  std::snprintf(field, sizeof field, "%c%011lld", value < 0 ? '-' : '+',
                static_cast<long long>(value < 0 ? -value : value));
  return std::string(field);
}

OSErr write_scitex(const std::filesystem::path& file, const ScitexOptions& options) {
  if (options.width == 0 || options.height == 0 || options.units > 1) return paramErr;
  if (options.channels < 1 || options.channels > 16) return paramErr;
  std::optional<std::vector<UInt8>> header = makeHeader(options);
  if (!header) return paramErr;

  FileSink sink(kWriteBufferBytes);
  if (OSErr err = sink.open(file); err != noErr) return err;
  sink.append(*header);
  const std::size_t segment = options.width + (options.width & 1);
  for (UInt32 line = 0; line < options.height; ++line) {
    if (!meets_box(options.sparse, line, line + 1, 0, options.width)) {
      sink.skip(UInt64(segment) * options.channels);
      continue;
    }
    for (SInt32 channel = 0; channel < options.channels; ++channel) {
      fill_bytes(sink.claim(segment), options.seed, SInt32(line), channel);
    }
  }
  if (OSErr err = sink.close(); err != noErr) return err;
  std::optional<platform::resources::ResourceFork> fork;
  if (!options.resources.empty()) fork = platform::resources::ResourceFork{0, options.resources};
  return write_file_sidecar(file, options.fileType, fork);
}

}  // namespace tessel::samples
