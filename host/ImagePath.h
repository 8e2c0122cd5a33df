// What the host can tell of a file named on its command line before any
// plug-in runs: whether it is there, whether it is a file, and whether the
// format layer would recognise it, so that a person learns why in plain
// words rather than from a dialog that nobody can answer.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/Document.h"

namespace tessel::host {

// The complaint when path does not exist or is a folder, else nullopt.
std::optional<std::string> missing_file_problem(const std::filesystem::path& path);

// The same, and also when the format layer does not recognise path by its
// Finder type or name ending; nullopt when it could be an image.
std::optional<std::string> image_path_problem(const std::filesystem::path& path);

// The image a document's tag names; nullopt without a single readable tag.
// A folder the catalog no longer knows leaves the bare name.
std::optional<std::filesystem::path> tagged_image(const Document& document);

}  // namespace tessel::host
