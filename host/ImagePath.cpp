#include "host/ImagePath.h"

#include "Files.h"
#include "MacErrors.h"
#include "formats/RasterFormats.h"
#include "host/Messages.h"
#include "plugin/ResultCodes.h"
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
    return message(Text::kImageNotRecognised, {path.string(), std::to_string(kFormatNotRecognised)});
  }
  return std::nullopt;
}

}  // namespace tessel::host
