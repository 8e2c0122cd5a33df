// tessel acquire [IMAGE] [-o DOCUMENT] [--script FILE] [--memory-limit BYTES]
// [--force]: the acquire entry point from prepare to finish, its dialogs
// included, and the new document written.
#pragma once

#include <filesystem>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace tessel::host {

// A document title made into a file name in the current folder: characters a
// file name cannot hold become '_', and ".tif" is added.
std::filesystem::path document_path_for_title(std::string_view title);

int run_acquire_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err);

}  // namespace tessel::host
