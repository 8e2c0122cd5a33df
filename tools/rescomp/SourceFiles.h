// Reading the sources and the files they include, with reasons a person
// understands when that fails.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "MacTypes.h"

namespace tessel::rescomp {

// The file's bytes, or nullopt with why set ("file not found", ...). Files
// larger than limit are refused.
std::optional<std::vector<UInt8>> read_whole_file(const std::filesystem::path& file,
                                                  std::size_t limit, std::string& why);

}  // namespace tessel::rescomp
