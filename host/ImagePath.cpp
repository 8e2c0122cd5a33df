#include "host/ImagePath.h"

#include "Files.h"
#include "MacErrors.h"
#include "formats/RasterFormats.h"
#include "host/Messages.h"
#include "plugin/TagTheDocument.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"

namespace tessel::host {

namespace {

// The format the file's type, or for an untelling type its name, makes it.
FormatCode recognised_format(const std::filesystem::path& path) {
  Expected<FSSpec> spec = platform::files::spec_from_path(path);
  if (!spec) return kUnknownFormat;
  OSType type = 0;
  if (GetFileType(&*spec, &type) != noErr) return kUnknownFormat;
  FormatCode code = kUnknownFormat;
  RasterFormatRecognize(&*spec, type, &code);
  return code;
}

}  // namespace

std::optional<std::string> missing_file_problem(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) {
    return message(Text::kNoSuchFile, {path.string(), std::to_string(fnfErr)});
  }
  if (std::filesystem::is_directory(status)) {
    return message(Text::kIsFolder, {path.string(), std::to_string(notAFileErr)});
  }
  return std::nullopt;
}

std::optional<std::string> image_path_problem(const std::filesystem::path& path) {
  if (auto problem = missing_file_problem(path)) return problem;
  if (recognised_format(path) == kUnknownFormat) {
    return message(Text::kImageNotRecognised,
                   {path.string(), std::to_string(kFormatNotRecognised)});
  }
  return std::nullopt;
}

std::optional<std::filesystem::path> tagged_image(const Document& document) {
  const PluginResource* tag = nullptr;
  for (const PluginResource& resource : document.resources) {
    if (resource.type != kDocumentTagType) continue;
    if (tag != nullptr) return std::nullopt;
    tag = &resource;
  }
  SourceImage image{};
  if (tag == nullptr || DecodeDocumentTag(tag->data, &image) != noErr) return std::nullopt;
  if (auto path = platform::files::path_from_spec(image.fileSpec)) return *path;
  return std::filesystem::path(text_from_mac_roman(image.fileSpec.name));
}

}  // namespace tessel::host
