#include "SourceFiles.h"

#include "FileSystem.h"
#include "MacErrors.h"

namespace tessel::rescomp {
namespace {

std::string reason(OSErr err, std::size_t limit) {
  switch (err) {
    case fnfErr: return "file not found";
    case permErr: return "permission denied";
    case notAFileErr: return "not a plain file";
    case paramErr: return "larger than " + std::to_string(limit) + " bytes, or not a plain file";
    default: return "error " + std::to_string(err);
  }
}

}  // namespace

std::optional<std::vector<UInt8>> read_whole_file(const std::filesystem::path& file,
                                                  std::size_t limit, std::string& why) {
  auto contents = platform::read_file_contents(file, limit);
  if (!contents) {
    why = reason(contents.error(), limit);
    return std::nullopt;
  }
  return std::move(*contents);
}

}  // namespace tessel::rescomp
