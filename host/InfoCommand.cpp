#include "host/InfoCommand.h"

#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "Resources.h"
#include "formats/RasterFormats.h"
#include "host/Commands.h"
#include "host/HostOptions.h"
#include "host/ImagePath.h"
#include "host/ImageProblems.h"
#include "host/Messages.h"
#include "host/Module.h"
#include "plugin/ResultMessages.h"
#include "plugin/TesselAcquire.h"
#include "support/FileUtilities.h"

namespace tessel::host {

namespace {

struct InfoArguments {
  std::filesystem::path image{};
  bool json = false;
};

// What acquire would say of the image: the refusing code (0 for none), its
// message, and whether the file could be written back later.
struct Verdict {
  OSErr code = noErr;
  std::string message{};
  bool writeable = true;
};

std::optional<InfoArguments> parse_arguments(std::span<const std::string_view> args,
                                             std::ostream& err) {
  InfoArguments parsed;
  for (const std::string_view arg : args) {
    if (arg == "--json") {
      parsed.json = true;
    } else if (arg.starts_with("-")) {
      tell_unknown_option(arg, CommandOptions{"info", 0}, err);
      return std::nullopt;
    } else if (parsed.image.empty()) {
      parsed.image = std::filesystem::path(arg);
    } else {
      err << message(Text::kExtraArgument, {arg}) << '\n';
      return std::nullopt;
    }
  }
  if (parsed.image.empty()) {
    err << message(Text::kMissingImage, {"describe"}) << '\n';
    return std::nullopt;
  }
  return parsed;
}

// The plug-in's own message for code, from its resources.
std::string acquire_message(OSErr code) {
  Str255 text;
  GetIndString(text, kResultMessageList, ResultMessageIndex(code, ResultSide::acquire));
  return text_from_mac_roman(text);
}

// The plain words for a refusal where there are any, else the plug-in's.
std::string refusal_text(const std::filesystem::path& path, OSErr code) {
  std::string words = describe_refusal(path, code).words;
  return words.empty() ? acquire_message(code) : words;
}

Verdict verdict_of(const std::filesystem::path& path, const SourceImage& image) {
  Verdict verdict;
  SInt16 documentMode = 0;
  verdict.code = CheckAcquirable(&image, &documentMode);
  if (verdict.code != noErr) verdict.message = refusal_text(path, verdict.code);
  verdict.writeable = GetFileWriteable(&image.fileSpec) != vLckdErr;
  return verdict;
}

// Pixels per inch as a person writes them: 72, 118.11.
std::string number_text(float value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

std::string four_chars(UInt32 code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += char((code >> shift) & 0xFF);
  return text;
}

std::string mode_name(SInt16 mode) {
  const std::string names = message(Text::kModeNames);
  std::vector<std::string> list;
  std::istringstream in(names);
  for (std::string name; std::getline(in, name, '|');) list.push_back(name);
  return mode >= 0 && std::size_t(mode) + 1 < list.size() ? list[std::size_t(mode)] : list.back();
}

std::string json_text(std::string_view text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) < 0x20) {
      quoted += ' ';
      continue;
    }
    quoted += c;
  }
  return quoted + '"';
}

FormatLayout layout_of(const SourceImage& image) {
  FormatLayout layout{};
  RasterFormatDescribeLayout(&image.format, &layout);
  return layout;
}

void print_blocks(const FormatLayout& layout, std::ostream& out) {
  if (layout.tiled != 0 && layout.blockWidth > 0) {
    const SInt64 count = SInt64(layout.blocksAcross) * layout.blocksDown;
    out << message(Text::kInfoTiles, {std::to_string(count), std::to_string(layout.blockWidth),
                                      std::to_string(layout.blockHeight)})
        << '\n';
  }
  if (layout.planeGroups > 1) {
    out << message(Text::kInfoPlanes, {std::to_string(layout.planeGroups)}) << '\n';
  }
}

// The bytes of the image's samples, whatever the file's layout.
UInt64 pixel_bytes(const SourceImage& image) {
  return UInt64(image.width) * UInt64(image.height) * UInt64(image.channels) * UInt64(image.depth) /
         8;
}

UInt64 file_bytes(const std::filesystem::path& path) {
  std::error_code error;
  const std::uintmax_t bytes = std::filesystem::file_size(path, error);
  return error ? 0 : UInt64(bytes);
}

struct Sizes {
  UInt64 file;
  UInt64 pixels;
};

void print_text(const SourceImage& image, const Sizes& sizes, const Verdict& verdict,
                std::ostream& out) {
  out << message(Text::kInfoFormat, {four_chars(image.format.code)}) << '\n'
      << message(Text::kInfoMode, {mode_name(image.mode), std::to_string(image.depth)}) << '\n'
      << message(Text::kInfoSize, {std::to_string(image.width), std::to_string(image.height),
                                   std::to_string(image.channels)})
      << '\n'
      << message(Text::kInfoResolution,
                 {number_text(image.hResolution), number_text(image.vResolution)})
      << '\n'
      << message(Text::kInfoLayout, {message(image.planar != 0 ? Text::kInfoLayoutPlanar
                                                               : Text::kInfoLayoutInterleaved)})
      << '\n'
      << message(Text::kInfoBytes, {size_text(sizes.file), size_text(sizes.pixels)}) << '\n';
  const FormatLayout layout = layout_of(image);
  if (image.format.code == kTIFFFormat) {
    out << message(Text::kInfoTiffLayout,
                   {std::to_string(layout.compression), std::to_string(layout.planarConfiguration),
                    std::to_string(layout.predictor), std::to_string(layout.fillOrder)})
        << '\n';
    if (layout.bigTIFF != 0) out << message(Text::kInfoBigTIFF) << '\n';
  }
  print_blocks(layout, out);
  if (verdict.code != noErr) {
    out << message(Text::kInfoRefused, {std::to_string(verdict.code), verdict.message}) << '\n';
    return;
  }
  out << message(Text::kInfoAcquirable) << '\n';
  if (!verdict.writeable) out << message(Text::kInfoWarning) << '\n';
}

void print_json(const SourceImage& image, const Sizes& sizes, const Verdict& verdict,
                std::ostream& out) {
  out << "{\"format\": " << json_text(four_chars(image.format.code)) << ", \"mode\": " << image.mode
      << ", \"modeName\": " << json_text(mode_name(image.mode)) << ", \"depth\": " << image.depth
      << ", \"width\": " << image.width << ", \"height\": " << image.height
      << ", \"channels\": " << image.channels << ", \"resolution\": [" << image.hResolution << ", "
      << image.vResolution << "], \"planar\": " << (image.planar != 0 ? "true" : "false")
      << ", \"fileBytes\": " << sizes.file << ", \"pixelBytes\": " << sizes.pixels;
  const FormatLayout layout = layout_of(image);
  if (image.format.code == kTIFFFormat) {
    out << ", \"tiff\": {\"compression\": " << layout.compression
        << ", \"planarConfiguration\": " << layout.planarConfiguration
        << ", \"predictor\": " << layout.predictor << ", \"fillOrder\": " << layout.fillOrder
        << ", \"tiled\": " << (layout.tiled != 0 ? "true" : "false")
        << ", \"bigTIFF\": " << (layout.bigTIFF != 0 ? "true" : "false") << "}";
  }
  out << ", \"blocks\": {\"width\": " << layout.blockWidth << ", \"height\": " << layout.blockHeight
      << ", \"across\": " << layout.blocksAcross << ", \"down\": " << layout.blocksDown
      << ", \"planeGroups\": " << layout.planeGroups << "}";
  out << ", \"acquire\": {\"code\": " << verdict.code
      << ", \"message\": " << json_text(verdict.message)
      << ", \"writeBack\": " << (verdict.writeable ? "true" : "false") << "}}\n";
}

}  // namespace

std::string size_text(UInt64 bytes) {
  const std::string names = message(Text::kByteUnits);
  std::vector<std::string> units;
  std::istringstream in(names);
  for (std::string unit; std::getline(in, unit, '|');) units.push_back(unit);
  if (units.empty()) units.push_back("");
  // Decimal units, as disks are sold: 20000 x 20000 RGB is 1.2 GB.
  std::size_t unit = 0;
  double value = double(bytes);
  // 999.7 KB would show as 1000 KB: such a size is shown as 1.0 MB instead.
  while (value >= 999.5 && unit + 1 < units.size()) {
    value /= 1000.0;
    ++unit;
  }
  std::ostringstream text;
  text.setf(std::ios::fixed);
  text.precision(unit == 0 || value >= 100.0 ? 0 : 1);
  text << value << ' ' << units[unit];
  return text.str();
}

OSErr OpenImage::open(const std::filesystem::path& path) {
  Expected<FSSpec> spec = platform::files::spec_from_path(path);
  if (!spec) return spec.error();
  image.fileSpec = *spec;
  return RasterFormatOpen(&image);
}

int run_info_command(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  const std::optional<InfoArguments> parsed = parse_arguments(args, err);
  if (!parsed) return kExitFailed;
  if (auto problem = image_path_problem(parsed->image)) {
    err << *problem << '\n';
    return kExitFailed;
  }
  // The plug-in's messages come from its resources.
  std::unique_ptr<Module> module = load_module(err);
  if (!module) return kExitFailed;
  OpenImage open;
  if (const OSErr opened = open.open(parsed->image); opened != noErr) {
    if (const Refusal refusal = describe_refusal(parsed->image, opened); !refusal.words.empty()) {
      err << message(Text::kImageRefused, {refusal.words, std::to_string(refusal.code)}) << '\n';
      return kExitFailed;
    }
    err << message(Text::kImageNotOpened, {parsed->image.string(), std::to_string(opened)}) << ' '
        << acquire_message(opened) << '\n';
    return kExitFailed;
  }
  const Verdict verdict = verdict_of(parsed->image, open.image);
  const Sizes sizes{file_bytes(parsed->image), pixel_bytes(open.image)};
  if (parsed->json) {
    print_json(open.image, sizes, verdict, out);
  } else {
    print_text(open.image, sizes, verdict, out);
  }
  return kExitDone;
}

}  // namespace tessel::host
