#include "AppleDouble.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

#include "ByteOrder.h"
#include "FileSystem.h"
#include "MacErrors.h"
#include "PosixErrors.h"

namespace tessel::platform::appledouble {
namespace {

constexpr UInt32 kMagic = 0x00051607;
constexpr UInt32 kVersion2 = 0x00020000;
constexpr UInt32 kVersion1 = 0x00010000;
constexpr std::size_t kHeaderBytes = 26;  // magic, version, 16 filler bytes, entry count
constexpr std::size_t kDescriptorBytes = 12;
constexpr std::size_t kFinderInfoBytes = 32;  // FInfo and FXInfo
// A resource fork addresses at most 16 MiB of data; anything far beyond that
// is not a sidecar of ours and is not worth reading.
constexpr std::size_t kLargestSidecar = std::size_t(64) << 20;

constexpr char kFinderInfoAttribute[] = "user.com.apple.FinderInfo";
constexpr char kResourceForkAttribute[] = "user.com.apple.ResourceFork";

// Order in which serialize lays entries out: Finder info first, fork last.
int layout_rank(UInt32 id) {
  if (id == kFinderInfoEntry) return 0;
  if (id == kResourceForkEntry) return 2;
  return 1;
}

Expected<std::optional<std::vector<UInt8>>> read_attribute(const std::filesystem::path& file,
                                                           const char* name) {
  using Result = Expected<std::optional<std::vector<UInt8>>>;
  FileSystem& fs = file_system();
  ssize_t length = fs.getxattr(file.c_str(), name, nullptr, 0);
  if (length < 0) {
    if (errno == ENODATA || errno == ENOTSUP || errno == ENOENT)
      return std::optional<std::vector<UInt8>>();
    return Result::failure(last_os_error());
  }
  if (std::size_t(length) > kLargestSidecar) return std::optional<std::vector<UInt8>>();
  std::vector<UInt8> value(static_cast<std::size_t>(length));
  ssize_t got = fs.getxattr(file.c_str(), name, value.data(), value.size());
  if (got < 0) return Result::failure(last_os_error());
  value.resize(std::size_t(got));
  return std::optional(std::move(value));
}

// "._" before a name of more than 253 bytes would pass the longest name a
// folder can hold. Such a file keeps its Finder info and resource fork in the
// extended attributes that are read as the fallback anyway (other entries
// have nowhere to go and are dropped).
bool sidecar_fits(const std::filesystem::path& file) {
  return file.filename().string().size() + 2 <= NAME_MAX;
}

constexpr std::pair<UInt32, const char*> kAttributeEntries[] = {
    {kFinderInfoEntry, kFinderInfoAttribute}, {kResourceForkEntry, kResourceForkAttribute}};

Expected<std::optional<Sidecar>> read_attributes(const std::filesystem::path& file) {
  Sidecar sidecar;
  for (const auto& [id, name] : kAttributeEntries) {
    auto value = read_attribute(file, name);
    if (!value) return failure_of(value);
    if (*value) sidecar.set(id, std::move(**value));
  }
  if (sidecar.entries.empty()) return std::optional<Sidecar>();
  return std::optional(std::move(sidecar));
}

OSErr write_attributes(const std::filesystem::path& file, const Sidecar& sidecar) {
  FileSystem& fs = file_system();
  for (const auto& [id, name] : kAttributeEntries) {
    const std::vector<UInt8>* entry = sidecar.find(id);
    const int result = entry != nullptr
                           ? fs.setxattr(file.c_str(), name, entry->data(), entry->size())
                           : fs.removexattr(file.c_str(), name);
    if (result != 0 && (entry != nullptr || errno != ENODATA)) return last_os_error();
  }
  return noErr;
}

// Reads the sidecar and hands it to change; writes the result back.
template <class Change>
OSErr update_sidecar(const std::filesystem::path& file, Change change) {
  auto existing = read_sidecar(file);
  if (!existing) return existing.error();
  Sidecar sidecar = existing->value_or(Sidecar{});
  change(sidecar);
  return write_sidecar(file, sidecar);
}

}  // namespace

const std::vector<UInt8>* Sidecar::find(UInt32 id) const {
  auto it =
      std::find_if(entries.begin(), entries.end(), [id](const Entry& e) { return e.id == id; });
  return it == entries.end() ? nullptr : &it->data;
}

void Sidecar::set(UInt32 id, std::vector<UInt8> data) {
  auto it =
      std::find_if(entries.begin(), entries.end(), [id](const Entry& e) { return e.id == id; });
  if (it == entries.end())
    entries.push_back(Entry{id, std::move(data)});
  else
    it->data = std::move(data);
}

void Sidecar::erase(UInt32 id) {
  std::erase_if(entries, [id](const Entry& e) { return e.id == id; });
}

std::optional<Sidecar> parse(std::span<const UInt8> bytes) {
  if (bytes.size() < kHeaderBytes || read_big32(bytes) != kMagic) return std::nullopt;
  UInt32 version = read_big32(bytes.subspan(4));
  if (version != kVersion2 && version != kVersion1) return std::nullopt;
  std::size_t count = read_big16(bytes.subspan(24));
  if (kHeaderBytes + count * kDescriptorBytes > bytes.size()) return std::nullopt;
  Sidecar sidecar;
  for (std::size_t i = 0; i < count; ++i) {
    auto descriptor = bytes.subspan(kHeaderBytes + i * kDescriptorBytes, kDescriptorBytes);
    UInt32 id = read_big32(descriptor);
    std::uint64_t offset = read_big32(descriptor.subspan(4));
    std::uint64_t length = read_big32(descriptor.subspan(8));
    if (offset + length > bytes.size()) return std::nullopt;
    if (sidecar.find(id) != nullptr) continue;  // the first of two entries with one id wins
    auto data = bytes.subspan(std::size_t(offset), std::size_t(length));
    sidecar.entries.push_back(Entry{id, std::vector<UInt8>(data.begin(), data.end())});
  }
  return sidecar;
}

std::vector<UInt8> serialize(const Sidecar& sidecar) {
  std::vector<const Entry*> ordered;
  for (const Entry& entry : sidecar.entries) ordered.push_back(&entry);
  std::stable_sort(ordered.begin(), ordered.end(), [](const Entry* a, const Entry* b) {
    return layout_rank(a->id) < layout_rank(b->id);
  });
  std::vector<UInt8> out;
  append_big32(out, kMagic);
  append_big32(out, kVersion2);
  out.resize(out.size() + 16, 0);
  append_big16(out, UInt16(ordered.size()));
  UInt32 offset = UInt32(kHeaderBytes + ordered.size() * kDescriptorBytes);
  for (const Entry* entry : ordered) {
    append_big32(out, entry->id);
    append_big32(out, offset);
    append_big32(out, UInt32(entry->data.size()));
    offset += UInt32(entry->data.size());
  }
  for (const Entry* entry : ordered) out.insert(out.end(), entry->data.begin(), entry->data.end());
  return out;
}

std::filesystem::path sidecar_path(const std::filesystem::path& file) {
  return file.parent_path() / ("._" + file.filename().string());
}

Expected<std::optional<Sidecar>> read_sidecar(const std::filesystem::path& file) {
  using Result = Expected<std::optional<Sidecar>>;
  if (!sidecar_fits(file)) return read_attributes(file);
  auto contents = read_file_contents(sidecar_path(file), kLargestSidecar);
  if (!contents) {
    OSErr err = contents.error();
    if (err == fnfErr || err == paramErr || err == notAFileErr) return std::optional<Sidecar>();
    return Result::failure(err);
  }
  return parse(*contents);
}

OSErr write_sidecar(const std::filesystem::path& file, const Sidecar& sidecar) {
  if (!sidecar_fits(file)) return write_attributes(file, sidecar);
  if (sidecar.entries.empty()) return delete_sidecar(file);
  return replace_file_contents(sidecar_path(file), serialize(sidecar));
}

OSErr delete_sidecar(const std::filesystem::path& file) {
  if (!sidecar_fits(file)) return noErr;  // its attributes go with the file
  if (file_system().unlink(sidecar_path(file).c_str()) != 0 && errno != ENOENT) {
    return last_os_error();
  }
  return noErr;
}

std::vector<UInt8> encode_finder_info(const FInfo& info) {
  std::vector<UInt8> out;
  append_big32(out, info.fdType);
  append_big32(out, info.fdCreator);
  append_big16(out, info.fdFlags);
  append_big16(out, UInt16(info.fdLocation.v));
  append_big16(out, UInt16(info.fdLocation.h));
  append_big16(out, UInt16(info.fdFldr));
  return out;
}

FInfo decode_finder_info(std::span<const UInt8> bytes) {
  return FInfo{read_big32(bytes), read_big32(bytes.subspan(4)), read_big16(bytes.subspan(8)),
               Point{SInt16(read_big16(bytes.subspan(10))), SInt16(read_big16(bytes.subspan(12)))},
               SInt16(read_big16(bytes.subspan(14)))};
}

Expected<FInfo> read_finder_info(const std::filesystem::path& file) {
  auto sidecar = read_sidecar(file);
  if (!sidecar) return failure_of(sidecar);
  if (*sidecar) {
    const std::vector<UInt8>* entry = (*sidecar)->find(kFinderInfoEntry);
    if (entry != nullptr && entry->size() >= 16) return decode_finder_info(*entry);
  }
  auto attribute = read_attribute(file, kFinderInfoAttribute);
  if (!attribute) return failure_of(attribute);
  if (*attribute && (*attribute)->size() >= 16) return decode_finder_info(**attribute);
  return FInfo{FourCC("????"), FourCC("????"), 0, Point{0, 0}, 0};
}

OSErr write_finder_info(const std::filesystem::path& file, const FInfo& info) {
  return update_sidecar(file, [&](Sidecar& sidecar) {
    std::vector<UInt8> entry(kFinderInfoBytes, 0);
    if (const std::vector<UInt8>* old = sidecar.find(kFinderInfoEntry)) {
      entry = *old;  // keep the extended Finder info and anything after it
      entry.resize(std::max(entry.size(), kFinderInfoBytes), 0);
    }
    std::vector<UInt8> encoded = encode_finder_info(info);
    std::copy(encoded.begin(), encoded.end(), entry.begin());
    sidecar.set(kFinderInfoEntry, std::move(entry));
  });
}

Expected<std::vector<UInt8>> read_resource_fork(const std::filesystem::path& file) {
  using Result = Expected<std::vector<UInt8>>;
  auto sidecar = read_sidecar(file);
  if (!sidecar) return failure_of(sidecar);
  if (*sidecar) {
    if (const std::vector<UInt8>* entry = (*sidecar)->find(kResourceForkEntry)) return *entry;
  }
  auto attribute = read_attribute(file, kResourceForkAttribute);
  if (!attribute) return failure_of(attribute);
  if (*attribute) return std::move(**attribute);
  return Result::failure(eofErr);
}

OSErr write_resource_fork(const std::filesystem::path& file, std::span<const UInt8> fork) {
  return update_sidecar(file, [&](Sidecar& sidecar) {
    sidecar.set(kResourceForkEntry, std::vector<UInt8>(fork.begin(), fork.end()));
  });
}

}  // namespace tessel::platform::appledouble
