// The classic resource-fork format, decoded and encoded whole.
//
// Layout: a 16-byte header (data offset, map offset, data length, map
// length), the resource data (each a 4-byte length and its bytes), then the
// map: a copy of the header, 8 reserved bytes, attributes, the offsets of the
// type list and the name list, the type list (type, count - 1, offset of its
// references), 12-byte references (id, name offset or -1, attributes and a
// 3-byte data offset, 4 reserved bytes) and the names, length-prefixed.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "MacTypes.h"

namespace tessel::platform::resources {

struct Resource {
  ResType type;
  SInt16 id;
  UInt8 attributes;
  std::string name;  // at most 255 bytes
  std::vector<UInt8> data;
};

struct ResourceFork {
  UInt16 attributes = 0;
  std::vector<Resource> resources;  // grouped by type when written, in this order otherwise
};

// nullopt when the bytes are not a well-formed fork: every offset and length
// is checked against the bytes before it is followed.
std::optional<ResourceFork> parse_fork(std::span<const UInt8> bytes);

// The fork's bytes; nullopt when it cannot be encoded (more than 16 MiB of
// data, or names past the map's 64 KiB reach).
std::optional<std::vector<UInt8>> serialize_fork(const ResourceFork& fork);

}  // namespace tessel::platform::resources
