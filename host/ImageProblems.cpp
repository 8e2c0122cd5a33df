#include "host/ImageProblems.h"

#include <tiffio.h>

#include <optional>

#include "MacErrors.h"
#include "formats/RasterFormats.h"
#include "host/InfoCommand.h"
#include "host/Messages.h"
#include "host/TiffDocument.h"
#include "records/ResultCodes.h"

namespace tessel::host {

namespace {

// SampleFormat values, TIFF 6.0, section 19.
constexpr SInt32 kSignedIntegerSamples = 2;
constexpr SInt32 kFloatingPointSamples = 3;
constexpr UInt16 kSampleFormatTag = 339;
constexpr UInt16 kBitsPerSampleTag = 258;

std::string describe_cut_pixels(const SourceImage& image, const std::string& name) {
  UInt64 end = 0;
  UInt64 length = 0;
  if (RasterFormatDataExtent(&image.format, &end, &length) != noErr || length >= end) return {};
  return message(Text::kImageCutShort, {name, std::to_string(length), std::to_string(end)});
}

std::string describe_sample_format(SInt32 value, const std::string& name) {
  if (value == kSignedIntegerSamples) return message(Text::kSignedSamples, {name});
  if (value == kFloatingPointSamples) return message(Text::kFloatSamples, {name});
  return message(Text::kOtherSampleFormat, {name, std::to_string(value)});
}

// The directory is read in tag order, so a depth no unsigned sample has (64
// bits) is refused before SampleFormat is reached; the format the samples
// are stored in is what the person needs to hear, so libtiff is asked.
std::optional<SInt32> stored_sample_format(const std::filesystem::path& image) {
  const std::optional<UInt16> format = tiff_sample_format(image);
  if (!format || *format == SAMPLEFORMAT_UINT) return std::nullopt;
  return SInt32(*format);
}

std::string describe_tiff_refusal(const SourceImage& image, const std::filesystem::path& path) {
  const std::string name = path.string();
  if (image.format.code != kTIFFFormat || image.format.state == nullptr) return {};
  FormatLayout layout{};
  RasterFormatDescribeLayout(&image.format, &layout);
  if (layout.refusedTag == kSampleFormatTag)
    return describe_sample_format(layout.refusedValue, name);
  if (layout.refusedTag == kBitsPerSampleTag) {
    if (auto format = stored_sample_format(path)) return describe_sample_format(*format, name);
  }
  if (layout.refusedTag != 0) {
    return message(Text::kTIFFValueRefused, {name, std::to_string(layout.refusedTag)});
  }
  return {};
}

// What opening the image shows again: the open's own refusal, else whether
// the file holds all its pixels.
OSErr problem_of(const OpenImage& open, OSErr opened) {
  return opened != noErr ? opened : RasterFormatCheckLength(&open.image.format);
}

std::string words_for(const OpenImage& open, OSErr opened, OSErr problem,
                      const std::filesystem::path& path) {
  const std::string name = path.string();
  if (problem == kTIFFNotHandled) return describe_tiff_refusal(open.image, path);
  if (problem != eofErr) return {};
  return opened == eofErr ? message(Text::kImageHeadCutShort, {name})
                          : describe_cut_pixels(open.image, name);
}

}  // namespace

Refusal describe_refusal(const std::filesystem::path& image, OSErr code) {
  if (code != eofErr && code != kTIFFNotHandled && code != kShownPlatformError) return {code, {}};
  OpenImage open;
  const OSErr opened = open.open(image);
  const OSErr problem = problem_of(open, opened);
  if (code != kShownPlatformError && problem != code) return {code, {}};
  std::string words = words_for(open, opened, problem, image);
  if (words.empty()) return {code, {}};
  return {problem, std::move(words)};
}

}  // namespace tessel::host
