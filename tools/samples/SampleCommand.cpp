#include "tools/samples/SampleCommand.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

// An option's effect: nullopt when it took the value, else what was wrong.
using Apply = std::function<std::optional<std::string>(std::string_view)>;

struct Option {
  std::string_view name;
  std::string_view argument;  // empty for a flag
  std::string_view help;
  Apply apply;
};

struct Command {
  std::string_view format;
  std::vector<Option> options;
  std::function<OSErr(const std::filesystem::path&)> write;
};

std::optional<SInt64> parseInteger(std::string_view text, SInt64 minimum, SInt64 maximum) {
  SInt64 value = 0;
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value < minimum || value > maximum) return {};
  return value;
}

std::optional<double> parseReal(std::string_view text) {
  double value = 0;
  const char* end = text.data() + text.size();
  auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return {};
  return value;
}

// "A,B,C" split at commas.
std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (std::size_t start = 0;;) {
    std::size_t stop = text.find(separator, start);
    parts.push_back(text.substr(start, stop == text.npos ? text.npos : stop - start));
    if (stop == text.npos) return parts;
    start = stop + 1;
  }
}

std::optional<std::vector<SInt64>> parseList(std::string_view text, char separator, SInt64 minimum,
                                             SInt64 maximum) {
  std::vector<SInt64> values;
  for (std::string_view part : split(text, separator)) {
    std::optional<SInt64> value = parseInteger(part, minimum, maximum);
    if (!value) return {};
    values.push_back(*value);
  }
  return values;
}

// An option whose value parses to a T; needs says what it takes when the
// value does not parse.
template <class T>
Option parsed(std::string_view name, std::string_view argument, std::string_view help,
              std::function<std::optional<T>(std::string_view)> parse, std::string needs,
              std::function<void(const T&)> set) {
  Apply apply = [=](std::string_view text) -> std::optional<std::string> {
    std::optional<T> value = parse(text);
    if (!value) return std::string(name) + " needs " + needs + ", not '" + std::string(text) + "'";
    set(*value);
    return std::nullopt;
  };
  return Option{name, argument, help, std::move(apply)};
}

Option integer(std::string_view name, std::string_view argument, std::string_view help,
               SInt64 minimum, SInt64 maximum, std::function<void(const SInt64&)> set) {
  return parsed<SInt64>(
      name, argument, help,
      [=](std::string_view text) { return parseInteger(text, minimum, maximum); },
      "a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum),
      std::move(set));
}

// A value of count whole numbers from 0 to maximum, separated by separator.
Option list(std::string_view name, std::string_view argument, std::string_view help, char separator,
            std::size_t minCount, std::size_t maxCount, SInt64 maximum,
            std::function<void(const std::vector<SInt64>&)> set) {
  auto parse = [=](std::string_view text) {
    std::optional<std::vector<SInt64>> values = parseList(text, separator, 0, maximum);
    if (values && (values->size() < minCount || values->size() > maxCount)) values.reset();
    return values;
  };
  return parsed<std::vector<SInt64>>(
      name, argument, help, parse,
      std::string(argument) + " (whole numbers up to " + std::to_string(maximum) + ")",
      std::move(set));
}

Option real(std::string_view name, std::string_view argument, std::string_view help, double minimum,
            double maximum, std::function<void(const double&)> set) {
  auto parse = [=](std::string_view text) {
    std::optional<double> value = parseReal(text);
    if (value && (*value < minimum || *value > maximum)) value.reset();
    return value;
  };
  char range[64];
  std::snprintf(range, sizeof range, "a number from %g to %g", minimum, maximum);
  return parsed<double>(name, argument, help, parse, range, std::move(set));
}

Option text(std::string_view name, std::string_view argument, std::string_view help,
            std::function<void(std::string_view)> set) {
  return Option{name, argument, help, [=](std::string_view value) -> std::optional<std::string> {
                  set(value);
                  return std::nullopt;
                }};
}

Option flag(std::string_view name, std::string_view help, std::function<void()> set) {
  return Option{name, {}, help, [=](std::string_view) -> std::optional<std::string> {
                  set();
                  return std::nullopt;
                }};
}

Option fileType(std::optional<OSType>& target) {
  Apply apply = [&target](std::string_view code) -> std::optional<std::string> {
    if (code.size() != 4) {
      return "--file-type needs four characters, not '" + std::string(code) + "'";
    }
    target = (OSType(UInt8(code[0])) << 24) | (OSType(UInt8(code[1])) << 16) |
             (OSType(UInt8(code[2])) << 8) | OSType(UInt8(code[3]));
    return std::nullopt;
  };
  return Option{"--file-type", "CODE", "Finder type, written to the sidecar", std::move(apply)};
}

// The block of tag 34377, taken whole from a file.
Option imageResources(std::optional<std::vector<UInt8>>& target) {
  Apply apply = [&target](std::string_view path) -> std::optional<std::string> {
    std::ifstream in{std::string(path), std::ios::binary};
    if (!in) return "cannot read '" + std::string(path) + "'";
    target = std::vector<UInt8>(std::istreambuf_iterator<char>(in), {});
    return std::nullopt;
  };
  return Option{"--image-resources", "FILE", "tag 34377 holding FILE's bytes", std::move(apply)};
}

// "N" or "N/D".
Option rational(std::string_view name, std::string_view help, std::optional<TiffRational>& target) {
  return list(name, "N[/D]", help, '/', 1, 2, 0xFFFFFFFF, [&target](const auto& v) {
    target = TiffRational{UInt32(v[0]), v.size() == 2 ? UInt32(v[1]) : 1u};
  });
}

constexpr SInt64 kMax16 = 0xFFFF, kMax32 = 0xFFFFFFFF, kMaxSide = 0x7FFFFFFF;

// What --sparse and --sparse-box asked for; the corner needs the image's size.
struct SparseRequest {
  bool corner = false;
  std::optional<SampleBox> box;

  std::optional<SampleBox> resolve(UInt64 width, UInt64 height) const {
    if (box) return box;
    if (corner) return SampleBox{height - 1, width - 1, height, width};
    return std::nullopt;
  }
};

void addSparseOptions(std::vector<Option>& options, SparseRequest& request) {
  options.push_back(flag("--sparse", "a sparse file: only the last blocks hold pixels",
                         [&request] { request.corner = true; }));
  options.push_back(
      list("--sparse-box", "T,L,B,R", "a sparse file: only the blocks meeting this box hold pixels",
           ',', 4, 4, kMaxSide, [&request](const std::vector<SInt64>& v) {
             request.box = SampleBox{UInt64(v[0]), UInt64(v[1]), UInt64(v[2]), UInt64(v[3])};
           }));
}
// Physical sizes may be zero or negative, for files a reader must refuse.
constexpr double kLargestSize = 1e90;

Command tiffCommand(TiffOptions& o, bool& colorMap, SparseRequest& sparse) {
  using V = const std::vector<SInt64>&;
  std::vector<Option> options = {
      integer("--width", "W", "image width in pixels", 1, kMaxSide,
              [&](SInt64 v) { o.width = UInt32(v); }),
      integer("--height", "H", "image height in pixels", 1, kMaxSide,
              [&](SInt64 v) { o.height = UInt32(v); }),
      flag("--bigtiff", "a BigTIFF: 8-byte offsets, files past 4 GiB", [&] { o.bigTiff = true; }),
      integer("--samples", "N", "samples per pixel (1)", 1, kMax16,
              [&](SInt64 v) { o.samplesPerPixel = UInt16(v); }),
      integer("--bits", "B", "bits per sample (8)", 1, 32,
              [&](SInt64 v) { o.bitsPerSample = UInt16(v); }),
      integer("--photometric", "P", "PhotometricInterpretation (1)", 0, kMax16,
              [&](SInt64 v) { o.photometric = UInt16(v); }),
      flag("--no-photometric", "leave PhotometricInterpretation out",
           [&] { o.photometric.reset(); }),
      flag("--little-endian", "byte order II instead of MM", [&] { o.littleEndian = true; }),
      integer("--rows-per-strip", "R", "rows per strip; 0 leaves the tag out (0)", 0, kMax32,
              [&](SInt64 v) { o.rowsPerStrip = UInt32(v); }),
      integer("--compression", "C", "Compression tag value; pixels stay raw (1)", 0, kMax16,
              [&](SInt64 v) { o.compression = UInt16(v); }),
      integer("--predictor", "P", "Predictor tag value", 0, kMax16,
              [&](SInt64 v) { o.predictor = UInt16(v); }),
      integer("--fill-order", "F", "FillOrder tag value", 0, kMax16,
              [&](SInt64 v) { o.fillOrder = UInt16(v); }),
      integer("--planar", "C", "PlanarConfiguration; 2 stores planes apart (1)", 0, kMax16,
              [&](SInt64 v) { o.planarConfiguration = UInt16(v); }),
      list("--tiles", "WxL", "tiles of W x L pixels instead of strips", 'x', 2, 2, kMax32,
           [&](V v) {
             o.tiles = TiffTiles{UInt32(v[0]), UInt32(v[1])};
           }),
      list("--dot-range", "A,B", "DotRange pair", ',', 2, 2, kMax16,
           [&](V v) {
             o.dotRange = std::pair{UInt16(v[0]), UInt16(v[1])};
           }),
      list("--extra-samples", "A[,B...]", "ExtraSamples values", ',', 1, kMax16, kMax16,
           [&](V v) { o.extraSamples.assign(v.begin(), v.end()); }),
      rational("--x-resolution", "XResolution (72/1)", o.xResolution),
      rational("--y-resolution", "YResolution (72/1)", o.yResolution),
      flag("--no-resolution", "leave both resolutions out",
           [&] {
             o.xResolution.reset();
             o.yResolution.reset();
           }),
      integer("--resolution-unit", "U", "ResolutionUnit (2)", 0, kMax16,
              [&](SInt64 v) { o.resolutionUnit = UInt16(v); }),
      flag("--no-resolution-unit", "leave ResolutionUnit out", [&] { o.resolutionUnit.reset(); }),
      flag("--color-map", "a ColorMap of 2^bits formula entries", [&] { colorMap = true; }),
      imageResources(o.imageResources),
      flag("--descending-tags", "directory entries in descending tag order",
           [&] { o.descendingTags = true; }),
      flag("--directory-after-pixels", "the directory after the pixel data",
           [&] { o.directoryAfterPixels = true; }),
      fileType(o.fileType),
      list("--thumbnail", "WxH", "a W x H thumbnail picture in the resource fork", 'x', 2, 2, 4095,
           [&](V v) {
             o.thumbnail = SampleThumbnail{.width = UInt16(v[0]), .height = UInt16(v[1])};
           }),
      integer("--seed", "S", "formula seed (0)", 0, kMax32, [&](SInt64 v) { o.seed = UInt32(v); }),
  };
  addSparseOptions(options, sparse);
  auto write = [&o, &colorMap, &sparse](const std::filesystem::path& file) {
    if (colorMap) {
      o.colorMap = sample_color_map(o.seed, 1u << std::min<UInt16>(o.bitsPerSample, 16));
    }
    o.sparse = sparse.resolve(o.width, o.height);
    return write_tiff(file, o);
  };
  return Command{"tiff", std::move(options), write};
}

Command scitexCommand(ScitexOptions& o, SparseRequest& sparse) {
  std::vector<Option> options = {
      integer("--width", "W", "pixels per line", 1, kMaxSide,
              [&](SInt64 v) { o.width = UInt32(v); }),
      integer("--height", "H", "lines", 1, kMaxSide, [&](SInt64 v) { o.height = UInt32(v); }),
      integer("--channels", "N", "channels, 1 to 16 (4)", 1, 16,
              [&](SInt64 v) { o.channels = UInt8(v); }),
      integer("--units", "U", "0 millimetres, 1 inches (1)", 0, 1,
              [&](SInt64 v) { o.units = UInt8(v); }),
      real("--pixels-per-inch", "X", "gives the physical size when not stated (300)", 1e-6,
           kLargestSize, [&](double v) { o.pixelsPerInch = v; }),
      real("--physical-width", "X", "width in units", -kLargestSize, kLargestSize,
           [&](double v) { o.physicalWidth = v; }),
      real("--physical-height", "Y", "height in units", -kLargestSize, kLargestSize,
           [&](double v) { o.physicalHeight = v; }),
      integer("--units-byte", "B", "write B as the units byte", 0, 255,
              [&](SInt64 v) { o.unitsByte = UInt8(v); }),
      integer("--channels-byte", "B", "write B as the channel count", 0, 255,
              [&](SInt64 v) { o.channelsByte = UInt8(v); }),
      text("--height-text", "TEXT", "write TEXT as the height field",
           [&](std::string_view t) { o.heightText = std::string(t); }),
      text("--width-text", "TEXT", "write TEXT as the width field",
           [&](std::string_view t) { o.widthText = std::string(t); }),
      fileType(o.fileType),
      integer("--seed", "S", "formula seed (0)", 0, kMax32, [&](SInt64 v) { o.seed = UInt32(v); }),
  };
  addSparseOptions(options, sparse);
  return Command{"scitex", std::move(options), [&o, &sparse](const auto& file) {
                   o.sparse = sparse.resolve(o.width, o.height);
                   return write_scitex(file, o);
                 }};
}

Command nativeCommand(NativeOptions& o, SparseRequest& sparse) {
  std::vector<Option> options = {
      integer("--width", "W", "columns", 1, 32767, [&](SInt64 v) { o.columns = SInt16(v); }),
      integer("--height", "H", "rows", 1, 32767, [&](SInt64 v) { o.rows = SInt16(v); }),
      integer("--channels", "N", "channels (1)", 1, kMax16,
              [&](SInt64 v) { o.channels = UInt16(v); }),
      integer("--mode", "M",
              "image mode: 1 grayscale, 2 indexed, 3 RGB, 4 CMYK, 8 duotone, ... (1)", -32768,
              32767, [&](SInt64 v) { o.mode = SInt16(v); }),
      integer("--depth", "D", "depth field of the description (8)", 0, kMax16,
              [&](SInt64 v) { o.depth = UInt16(v); }),
      real("--resolution", "PPI", "a resolution resource, pixels per inch both ways", 0, 32767,
           [&](double v) { o.horizontalResolution = Fixed(v * 65536.0); }),
      integer("--omit-resource", "ID", "leave resource ID out (repeatable)", -32768, 32767,
              [&](SInt64 v) { o.omitResources.push_back(SInt16(v)); }),
      flag("--no-resource-fork", "write no resource fork at all",
           [&] { o.omitResourceFork = true; }),
      integer("--seed", "S", "formula seed (0)", 0, kMax32, [&](SInt64 v) { o.seed = UInt32(v); }),
  };
  addSparseOptions(options, sparse);
  return Command{"native", std::move(options), [&o, &sparse](const auto& file) {
                   o.sparse = sparse.resolve(UInt64(o.columns), UInt64(o.rows));
                   return write_native(file, o);
                 }};
}

void printUsage(std::ostream& out, const std::vector<Command>& commands) {
  out << "usage: tessel-sample FORMAT OUT --width W --height H [options]\n"
         "Writes a sample image whose every sample comes from one formula.\n"
         "FORMAT is tiff, scitex or native. Defaults are in parentheses.\n";
  for (const Command& command : commands) {
    out << "\n" << command.format << " options:\n";
    for (const Option& option : command.options) {
      std::string left = "  " + std::string(option.name);
      if (!option.argument.empty()) left += " " + std::string(option.argument);
      left.resize(std::max<std::size_t>(left.size() + 1, 30), ' ');
      out << left << option.help << "\n";
    }
  }
}

// Applies the arguments after FORMAT OUT; the first problem, or nullopt.
std::optional<std::string> applyOptions(const Command& command,
                                        std::span<const std::string_view> args) {
  std::set<std::string_view> given;
  for (std::size_t i = 0; i < args.size(); ++i) {
    auto known = std::ranges::find(command.options, args[i], &Option::name);
    if (known == command.options.end()) {
      return "unknown option '" + std::string(args[i]) + "' for " + std::string(command.format);
    }
    std::string_view value;
    if (!known->argument.empty()) {
      if (i + 1 == args.size()) return std::string(known->name) + " needs a value";
      value = args[++i];
    }
    if (std::optional<std::string> problem = known->apply(value)) return problem;
    given.insert(known->name);
  }
  for (std::string_view required : {"--width", "--height"}) {
    if (!given.contains(required)) return "missing " + std::string(required);
  }
  return std::nullopt;
}

}  // namespace

int run_sample_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err) {
  TiffOptions tiff;
  bool colorMap = false;
  ScitexOptions scitex;
  NativeOptions native;
  SparseRequest sparse;
  const std::vector<Command> commands = {tiffCommand(tiff, colorMap, sparse),
                                         scitexCommand(scitex, sparse),
                                         nativeCommand(native, sparse)};
  if (std::ranges::find(args, std::string_view("--help")) != args.end()) {
    printUsage(out, commands);
    return 0;
  }
  auto fail = [&err](const std::string& message) {
    err << "tessel-sample: " << message << " (--help lists the options)\n";
    return 1;
  };
  if (args.size() < 2) return fail("needs a format and an output file");
  auto command = std::ranges::find(commands, args[0], &Command::format);
  if (command == commands.end()) {
    return fail("unknown format '" + std::string(args[0]) + "': use tiff, scitex or native");
  }
  if (std::optional<std::string> problem = applyOptions(*command, args.subspan(2))) {
    return fail(*problem);
  }
  const std::filesystem::path file(args[1]);
  if (OSErr result = command->write(file); result != 0) {
    err << "tessel-sample: cannot write " << file.string() << " (error " << result << ")\n";
    return 1;
  }
  return 0;
}

}  // namespace tessel::samples
