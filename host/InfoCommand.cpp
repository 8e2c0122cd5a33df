#include "host/InfoCommand.h"

#include <algorithm>
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
  // What export would say of writing the file back: 0 when it could, else
  // the refusing code (that of acquire when acquire refuses) and its words.
  OSErr exportCode = noErr;
  std::string exportMessage{};
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

// The plug-in's own message for code on side, from its resources.
std::string plugin_message(OSErr code, ResultSide side = ResultSide::acquire) {
  Str255 text;
  GetIndString(text, kResultMessageList, ResultMessageIndex(code, side));
  return text_from_mac_roman(text);
}

// The plain words for a refusal where there are any, else the plug-in's.
std::string refusal_text(const std::filesystem::path& path, OSErr code) {
  std::string words = describe_refusal(path, code).words;
  return words.empty() ? plugin_message(code) : words;
}

// Export takes back only what acquire took, in a layout it can write, into
// a file the user may change.
void judge_export(const SourceImage& image, Verdict& verdict) {
  if (verdict.code != noErr) {
    verdict.exportCode = verdict.code;
    verdict.exportMessage = message(Text::kInfoExportNeedsAcquire);
  } else if (const OSErr layout = RasterFormatLayoutVerdict(&image.format, true); layout != noErr) {
    verdict.exportCode = layout;
    verdict.exportMessage =
        message(Text::kInfoExportRefuses, {plugin_message(layout, ResultSide::exportBack)});
  } else if (!verdict.writeable) {
    verdict.exportCode = vLckdErr;
    verdict.exportMessage =
        message(Text::kInfoExportRefuses, {plugin_message(vLckdErr, ResultSide::exportBack)});
  }
}

Verdict verdict_of(const std::filesystem::path& path, const SourceImage& image) {
  Verdict verdict;
  SInt16 documentMode = 0;
  verdict.code = CheckAcquirable(&image, &documentMode);
  if (verdict.code != noErr) verdict.message = refusal_text(path, verdict.code);
  verdict.writeable = GetFileWriteable(&image.fileSpec) != vLckdErr;
  judge_export(image, verdict);
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
  const std::vector<std::string> list = message_list(Text::kModeNames);
  return mode >= 0 && std::size_t(mode) + 1 < list.size() ? list[std::size_t(mode)] : list.back();
}

// The name a list of "CODE NAME" entries gives value, else "code VALUE".
std::string code_name(Text list, UInt16 value) {
  const std::string prefix = std::to_string(value) + ' ';
  for (const std::string& entry : message_list(list)) {
    if (entry.starts_with(prefix)) return entry.substr(prefix.size());
  }
  return message(Text::kUnnamedCode, {std::to_string(value)});
}

// The format as people call it; a TIFF with 8-byte offsets is a BigTIFF.
std::string format_name(FormatCode code, const FormatLayout& layout) {
  const std::vector<std::string> names = message_list(Text::kInfoFormatNames);
  std::size_t index = names.size();
  if (code == kTIFFFormat) index = layout.bigTIFF != 0 ? 1 : 0;
  if (code == kScitexFormat) index = 2;
  if (code == kNativeFormat) index = 3;
  return index < names.size() ? names[index] : four_chars(code);
}

std::string byte_order_name(const FormatLayout& layout) {
  const std::vector<std::string> names = message_list(Text::kByteOrderNames);
  return names[std::min<std::size_t>(layout.littleEndian, names.size() - 1)];
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

// Strips are a TIFF's word: the other formats' blocks are rows or planes.
void print_blocks(const SourceImage& image, const FormatLayout& layout, std::ostream& out) {
  const bool strips = layout.tiled == 0 && image.format.code == kTIFFFormat;
  if ((layout.tiled != 0 || strips) && layout.blockWidth > 0) {
    const SInt64 count = SInt64(layout.blocksAcross) * layout.blocksDown;
    out << message(strips ? Text::kInfoStrips : Text::kInfoTiles,
                   {std::to_string(count), std::to_string(layout.blockWidth),
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

bool resolution_stored(const SourceImage& image) {
  return image.hResolution > 0 && image.vResolution > 0;
}

std::string resolution_line(const SourceImage& image) {
  if (!resolution_stored(image)) return message(Text::kInfoNoResolution);
  return message(Text::kInfoResolution,
                 {number_text(image.hResolution), number_text(image.vResolution)});
}

void print_tiff_lines(const FormatLayout& layout, std::ostream& out) {
  out << message(Text::kInfoPhotometric, {code_name(Text::kPhotometricNames, layout.photometric)})
      << '\n'
      << message(Text::kInfoTiffLayout,
                 {std::to_string(layout.compression), std::to_string(layout.planarConfiguration),
                  std::to_string(layout.predictor), std::to_string(layout.fillOrder)})
      << '\n';
  if (layout.bigTIFF != 0) out << message(Text::kInfoBigTIFF) << '\n';
}

void print_verdict(const Verdict& verdict, std::ostream& out) {
  if (verdict.code != noErr) {
    out << message(Text::kInfoRefused, {std::to_string(verdict.code), verdict.message}) << '\n';
  } else {
    out << message(Text::kInfoAcquirable) << '\n';
    if (!verdict.writeable) out << message(Text::kInfoWarning) << '\n';
  }
  out << (verdict.exportCode == noErr ? message(Text::kInfoExportWrites) : verdict.exportMessage)
      << '\n';
}

void print_text(const SourceImage& image, const Sizes& sizes, const Verdict& verdict,
                std::ostream& out) {
  const FormatLayout layout = layout_of(image);
  out << message(Text::kInfoFormat, {format_name(image.format.code, layout)}) << '\n';
  if (image.format.code == kTIFFFormat) {
    out << message(Text::kInfoByteOrder, {byte_order_name(layout)}) << '\n';
  }
  out << message(Text::kInfoMode, {mode_name(image.mode), std::to_string(image.depth)}) << '\n'
      << message(Text::kInfoSize, {std::to_string(image.width), std::to_string(image.height),
                                   std::to_string(image.channels)})
      << '\n'
      << resolution_line(image) << '\n'
      << message(Text::kInfoLayout, {message(image.planar != 0 ? Text::kInfoLayoutPlanar
                                                               : Text::kInfoLayoutInterleaved)})
      << '\n'
      << message(Text::kInfoBytes, {size_text(sizes.file), size_text(sizes.pixels)}) << '\n'
      << message(Text::kInfoCompression, {code_name(Text::kCompressionNames, layout.compression)})
      << '\n';
  if (image.format.code == kTIFFFormat) print_tiff_lines(layout, out);
  print_blocks(image, layout, out);
  print_verdict(verdict, out);
}

const char* json_bool(bool value) { return value ? "true" : "false"; }

void print_json_tiff(const FormatLayout& layout, std::ostream& out) {
  out << ", \"tiff\": {\"compression\": " << layout.compression << ", \"compressionName\": "
      << json_text(code_name(Text::kCompressionNames, layout.compression))
      << ", \"photometric\": " << layout.photometric << ", \"photometricName\": "
      << json_text(code_name(Text::kPhotometricNames, layout.photometric))
      << ", \"byteOrder\": " << json_text(layout.littleEndian != 0 ? "II" : "MM")
      << ", \"planarConfiguration\": " << layout.planarConfiguration
      << ", \"predictor\": " << layout.predictor << ", \"fillOrder\": " << layout.fillOrder
      << ", \"tiled\": " << json_bool(layout.tiled != 0)
      << ", \"bigTIFF\": " << json_bool(layout.bigTIFF != 0) << "}";
}

void print_json(const SourceImage& image, const Sizes& sizes, const Verdict& verdict,
                std::ostream& out) {
  const FormatLayout layout = layout_of(image);
  out << "{\"format\": " << json_text(four_chars(image.format.code)) << ", \"mode\": " << image.mode
      << ", \"modeName\": " << json_text(mode_name(image.mode)) << ", \"depth\": " << image.depth
      << ", \"width\": " << image.width << ", \"height\": " << image.height
      << ", \"channels\": " << image.channels << ", \"resolution\": [" << image.hResolution << ", "
      << image.vResolution << "], \"planar\": " << json_bool(image.planar != 0)
      << ", \"fileBytes\": " << sizes.file << ", \"pixelBytes\": " << sizes.pixels
      << ", \"formatName\": " << json_text(format_name(image.format.code, layout))
      << ", \"resolutionStored\": " << json_bool(resolution_stored(image))
      << ", \"compressionName\": "
      << json_text(code_name(Text::kCompressionNames, layout.compression));
  if (image.format.code == kTIFFFormat) print_json_tiff(layout, out);
  out << ", \"blocks\": {\"width\": " << layout.blockWidth << ", \"height\": " << layout.blockHeight
      << ", \"across\": " << layout.blocksAcross << ", \"down\": " << layout.blocksDown
      << ", \"planeGroups\": " << layout.planeGroups << "}";
  out << ", \"acquire\": {\"code\": " << verdict.code
      << ", \"message\": " << json_text(verdict.message)
      << ", \"writeBack\": " << json_bool(verdict.exportCode == noErr) << "}"
      << ", \"export\": {\"code\": " << verdict.exportCode
      << ", \"message\": " << json_text(verdict.exportMessage) << "}}\n";
}

}  // namespace

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
        << plugin_message(opened) << '\n';
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
