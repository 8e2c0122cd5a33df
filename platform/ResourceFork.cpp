#include "ResourceFork.h"

#include <algorithm>

#include "ByteOrder.h"

namespace tessel::platform::resources {
namespace {

constexpr std::size_t kHeaderBytes = 16;
constexpr std::size_t kDataStart =
    256;  // the header, then room reserved for the system and the application
constexpr std::size_t kMapHeaderBytes = 28;
constexpr std::size_t kTypeBytes = 8;
constexpr std::size_t kReferenceBytes = 12;
constexpr std::size_t kLargestDataOffset = 0xFFFFFF;

struct Region {
  std::span<const UInt8> bytes;

  bool holds(std::size_t offset, std::size_t length) const {
    return offset <= bytes.size() && length <= bytes.size() - offset;
  }
};

std::optional<Resource> parse_reference(Region data, Region names, Region map, std::size_t at,
                                        ResType type) {
  if (!map.holds(at, kReferenceBytes)) return std::nullopt;
  auto reference = map.bytes.subspan(at, kReferenceBytes);
  Resource resource{type, SInt16(read_big16(reference)), reference[4], {}, {}};
  UInt16 name_offset = read_big16(reference.subspan(2));
  std::size_t data_offset = read_big32(reference.subspan(4)) & 0xFFFFFF;
  if (name_offset != 0xFFFF) {
    if (!names.holds(name_offset, 1)) return std::nullopt;
    std::size_t length = names.bytes[name_offset];
    if (!names.holds(name_offset + 1u, length)) return std::nullopt;
    auto name = names.bytes.subspan(name_offset + 1u, length);
    resource.name.assign(name.begin(), name.end());
  }
  if (!data.holds(data_offset, 4)) return std::nullopt;
  std::size_t length = read_big32(data.bytes.subspan(data_offset));
  if (!data.holds(data_offset + 4, length)) return std::nullopt;
  auto bytes = data.bytes.subspan(data_offset + 4, length);
  resource.data.assign(bytes.begin(), bytes.end());
  return resource;
}

bool parse_types(Region data, Region map, std::size_t type_list, std::size_t name_list,
                 ResourceFork& fork) {
  if (!map.holds(type_list, 2) || name_list > map.bytes.size()) return false;
  Region types{map.bytes.subspan(type_list)};
  Region names{map.bytes.subspan(name_list)};
  // The count is stored minus one; 0xFFFF means an empty fork.
  std::size_t type_count = (read_big16(types.bytes) + 1u) & 0xFFFF;
  for (std::size_t t = 0; t < type_count; ++t) {
    std::size_t at = 2 + t * kTypeBytes;
    if (!types.holds(at, kTypeBytes)) return false;
    ResType type = read_big32(types.bytes.subspan(at));
    std::size_t count = read_big16(types.bytes.subspan(at + 4)) + 1u;
    std::size_t references = type_list + read_big16(types.bytes.subspan(at + 6));
    for (std::size_t r = 0; r < count; ++r) {
      auto resource = parse_reference(data, names, map, references + r * kReferenceBytes, type);
      if (!resource) return false;
      fork.resources.push_back(std::move(*resource));
    }
  }
  return true;
}

void append_name_and_reference(const Resource& resource, std::size_t data_offset,
                               std::vector<UInt8>& references, std::vector<UInt8>& names) {
  append_big16(references, UInt16(resource.id));
  if (resource.name.empty()) {
    append_big16(references, 0xFFFF);
  } else {
    append_big16(references, UInt16(names.size()));
    names.push_back(UInt8(resource.name.size()));
    names.insert(names.end(), resource.name.begin(), resource.name.end());
  }
  append_big32(references, (UInt32(resource.attributes) << 24) | UInt32(data_offset));
  append_big32(references, 0);
}

}  // namespace

std::optional<ResourceFork> parse_fork(std::span<const UInt8> bytes) {
  Region whole{bytes};
  if (!whole.holds(0, kHeaderBytes)) return std::nullopt;
  std::size_t data_offset = read_big32(bytes);
  std::size_t map_offset = read_big32(bytes.subspan(4));
  std::size_t data_length = read_big32(bytes.subspan(8));
  std::size_t map_length = read_big32(bytes.subspan(12));
  if (!whole.holds(data_offset, data_length) || !whole.holds(map_offset, map_length) ||
      map_length < kMapHeaderBytes) {
    return std::nullopt;
  }
  Region data{bytes.subspan(data_offset, data_length)};
  Region map{bytes.subspan(map_offset, map_length)};
  ResourceFork fork;
  fork.attributes = read_big16(map.bytes.subspan(22));
  std::size_t type_list = read_big16(map.bytes.subspan(24));
  std::size_t name_list = read_big16(map.bytes.subspan(26));
  if (!parse_types(data, map, type_list, name_list, fork)) return std::nullopt;
  return fork;
}

std::optional<std::vector<UInt8>> serialize_fork(const ResourceFork& fork) {
  std::vector<ResType> types;
  for (const Resource& r : fork.resources) {
    if (std::find(types.begin(), types.end(), r.type) == types.end()) types.push_back(r.type);
  }
  std::vector<UInt8> data, type_list, references, names;
  append_big16(type_list, UInt16(types.size() - 1));  // 0xFFFF for no types
  std::size_t type_list_bytes = 2 + types.size() * kTypeBytes;
  for (ResType type : types) {
    std::size_t first = references.size();
    std::size_t count = 0;
    for (const Resource& r : fork.resources) {
      if (r.type != type) continue;
      if (data.size() > kLargestDataOffset || r.name.size() > 255) return std::nullopt;
      append_name_and_reference(r, data.size(), references, names);
      append_big32(data, UInt32(r.data.size()));
      data.insert(data.end(), r.data.begin(), r.data.end());
      ++count;
    }
    append_big32(type_list, type);
    append_big16(type_list, UInt16(count - 1));
    append_big16(type_list, UInt16(type_list_bytes + first));
  }
  std::size_t name_list = kMapHeaderBytes + type_list.size() + references.size();
  std::size_t map_length = name_list + names.size();
  if (name_list > 0xFFFF) return std::nullopt;

  std::vector<UInt8> header;
  append_big32(header, UInt32(kDataStart));
  append_big32(header, UInt32(kDataStart + data.size()));
  append_big32(header, UInt32(data.size()));
  append_big32(header, UInt32(map_length));

  std::vector<UInt8> out = header;
  out.resize(kDataStart, 0);
  out.insert(out.end(), data.begin(), data.end());
  out.insert(out.end(), header.begin(), header.end());
  out.resize(out.size() + 6, 0);  // next map and file reference, meaningful only in memory
  append_big16(out, fork.attributes);
  append_big16(out, UInt16(kMapHeaderBytes));
  append_big16(out, UInt16(name_list));
  out.insert(out.end(), type_list.begin(), type_list.end());
  out.insert(out.end(), references.begin(), references.end());
  out.insert(out.end(), names.begin(), names.end());
  return out;
}

}  // namespace tessel::platform::resources
