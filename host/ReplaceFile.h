// Files the host writes whole (documents and their sidecars) are written
// beside their target and moved over it only once complete: a full disk or a
// failed write leaves the old file as it was and no partial one behind.
#pragma once

#include <filesystem>

#include "MacTypes.h"

namespace tessel::host {

// The sibling a file is written to before it replaces target.
std::filesystem::path replacement_path(const std::filesystem::path& target);

// A file in folder to write a new file into before its name is known; the
// process id keeps runs apart, the leading dot keeps it out of sight.
std::filesystem::path staging_path(const std::filesystem::path& folder);

// After writing replacement with result err: moves it over target when err
// is noErr, and removes it when err, or the move, failed. The first error.
OSErr finish_replacement(const std::filesystem::path& replacement,
                         const std::filesystem::path& target, OSErr err);

}  // namespace tessel::host
