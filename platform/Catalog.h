// Stable numbers for folders and volumes, so that a file identity (volume,
// folder id, name) written into a document names the same file in a later
// process.
//
// A folder id stands for an absolute folder path, a volume reference for the
// mount point of a file system. Both are kept in a small append-only file,
// $XDG_DATA_HOME/tessel/catalog (default ~/.local/share/tessel/catalog),
// shared by every Tessel process of the user under a file lock. Ids follow
// paths, not folders: a folder that is moved no longer answers to its old id,
// and the caller is told that the file is not found. When the catalog file
// cannot be written, ids still hold within the process.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "MacTypes.h"

namespace tessel::platform::catalog {

// The id of an absolute, canonical folder path; assigned on first use.
SInt32 directory_id(const std::filesystem::path& directory);
std::optional<std::filesystem::path> directory_path(SInt32 id);

// The reference number of a mount point; assigned on first use, negative.
SInt16 volume_ref(const std::filesystem::path& mount_point);
std::optional<std::filesystem::path> volume_path(SInt16 vref);

// File names longer than an FSSpec holds get a number per folder and name,
// from which the File Manager makes their short stand-in names. Numbers are
// never reused, so a stand-in names one file for good (or nothing, once its
// folder has moved).
struct LongName {
  SInt32 directory;
  std::string name;
};
SInt32 long_name_number(SInt32 directory, std::string_view name);
std::optional<LongName> long_name(SInt32 number);

std::filesystem::path catalog_file();

// Drops what this process remembers, so that the next question reads the
// catalog file again (from wherever the environment now points).
void forget();

}  // namespace tessel::platform::catalog
