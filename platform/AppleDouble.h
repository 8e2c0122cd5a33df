// Finder information and resource forks of files on a file system that has
// neither: kept in an AppleDouble sidecar ("._name" beside "name", version 2,
// entry 9 Finder info, entry 2 resource fork; RFC 1740 describes the format).
// The extended attributes user.com.apple.FinderInfo and
// user.com.apple.ResourceFork are read when there is no sidecar, so files
// copied from systems that keep them that way still show their type.
//
// A file whose name is too long for "._name" to be a name (over 253 bytes)
// keeps both in those extended attributes instead; its other entries are not
// kept.
//
// A sidecar that cannot be parsed counts as absent when read; writing one
// replaces it whole and atomically (a crash leaves the old or the new one).
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"

namespace tessel::platform::appledouble {

constexpr UInt32 kResourceForkEntry = 2;
constexpr UInt32 kFinderInfoEntry = 9;

struct Entry {
  UInt32 id;
  std::vector<UInt8> data;
};

struct Sidecar {
  std::vector<Entry> entries;

  const std::vector<UInt8>* find(UInt32 id) const;
  void set(UInt32 id, std::vector<UInt8> data);
  void erase(UInt32 id);
};

// Entries in whatever order the file lists them; nullopt when the bytes are
// not an AppleDouble file or an entry lies outside them.
std::optional<Sidecar> parse(std::span<const UInt8> bytes);
// Finder info first and the resource fork last, as other writers lay them out.
std::vector<UInt8> serialize(const Sidecar& sidecar);

std::filesystem::path sidecar_path(const std::filesystem::path& file);

// The file's sidecar; nullopt when it has none (or a damaged one).
Expected<std::optional<Sidecar>> read_sidecar(const std::filesystem::path& file);
// Replaces the sidecar; one without entries is removed.
OSErr write_sidecar(const std::filesystem::path& file, const Sidecar& sidecar);
OSErr delete_sidecar(const std::filesystem::path& file);

// Finder info of a file; type and creator '????' when it has none.
Expected<FInfo> read_finder_info(const std::filesystem::path& file);
OSErr write_finder_info(const std::filesystem::path& file, const FInfo& info);

// The resource fork's bytes; eofErr when the file has no fork.
Expected<std::vector<UInt8>> read_resource_fork(const std::filesystem::path& file);
OSErr write_resource_fork(const std::filesystem::path& file, std::span<const UInt8> fork);

// Finder info in its 16-byte big-endian form and back.
std::vector<UInt8> encode_finder_info(const FInfo& info);
FInfo decode_finder_info(std::span<const UInt8> bytes);

}  // namespace tessel::platform::appledouble
