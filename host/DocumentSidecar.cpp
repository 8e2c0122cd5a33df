#include "host/DocumentSidecar.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "PosixErrors.h"
#include "host/ReplaceFile.h"

namespace tessel::host {

namespace {

constexpr OSType kSidecarMagic = FourCC("TSLS");
constexpr UInt16 kSidecarVersion = 2;
constexpr UInt16 kFirstSidecarVersion = 1;
constexpr UInt16 kSavedBackFlag = 0x0001;
constexpr UInt16 kTiffSamplesFlag = 0x0002;
constexpr std::size_t kHeaderBytes = 18;

UInt64 read_big64(std::span<const UInt8> bytes) {
  return (UInt64(platform::read_big32(bytes)) << 32) | platform::read_big32(bytes.subspan(4));
}

// Reads the resources after the header; nullopt when one runs past the end.
std::optional<std::vector<PluginResource>> decode_resources(std::span<const UInt8> bytes,
                                                            UInt16 count) {
  std::vector<PluginResource> resources;
  std::size_t offset = 0;
  for (UInt16 index = 0; index < count; ++index) {
    if (bytes.size() - offset < 8) return std::nullopt;
    const ResType type = platform::read_big32(bytes.subspan(offset));
    const UInt32 size = platform::read_big32(bytes.subspan(offset + 4));
    offset += 8;
    if (bytes.size() - offset < size) return std::nullopt;
    const auto data = bytes.subspan(offset, size);
    resources.push_back({type, {data.begin(), data.end()}});
    offset += size;
  }
  return resources;
}

}  // namespace

std::filesystem::path sidecar_path(const std::filesystem::path& document) {
  std::filesystem::path path = document;
  path += ".tessel";
  return path;
}

std::vector<UInt8> encode_sidecar(const SidecarContents& contents) {
  using platform::append_big16;
  using platform::append_big32;
  std::vector<UInt8> bytes;
  append_big32(bytes, kSidecarMagic);
  append_big16(bytes, kSidecarVersion);
  const bool tiffSamples = contents.convention == SampleConvention::tiff;
  append_big16(bytes, UInt16((contents.savedFingerprint ? kSavedBackFlag : 0) |
                             (tiffSamples ? kTiffSamplesFlag : 0)));
  const UInt64 fingerprint = contents.savedFingerprint.value_or(0);
  append_big32(bytes, UInt32(fingerprint >> 32));
  append_big32(bytes, UInt32(fingerprint));
  append_big16(bytes, UInt16(contents.resources.size()));
  for (const PluginResource& resource : contents.resources) {
    append_big32(bytes, resource.type);
    append_big32(bytes, UInt32(resource.data.size()));
    bytes.insert(bytes.end(), resource.data.begin(), resource.data.end());
  }
  return bytes;
}

Expected<SidecarContents> decode_sidecar(std::span<const UInt8> bytes) {
  if (bytes.size() < kHeaderBytes || platform::read_big32(bytes) != kSidecarMagic) {
    return Expected<SidecarContents>::failure(paramErr);
  }
  const UInt16 version = platform::read_big16(bytes.subspan(4));
  if (version < kFirstSidecarVersion || version > kSidecarVersion) {
    return Expected<SidecarContents>::failure(paramErr);
  }
  const UInt16 flags = platform::read_big16(bytes.subspan(6));
  auto resources =
      decode_resources(bytes.subspan(kHeaderBytes), platform::read_big16(bytes.subspan(16)));
  if (!resources) return Expected<SidecarContents>::failure(paramErr);
  SidecarContents contents{std::move(*resources), std::nullopt};
  if (flags & kSavedBackFlag) contents.savedFingerprint = read_big64(bytes.subspan(8));
  if (version >= 2 && (flags & kTiffSamplesFlag)) contents.convention = SampleConvention::tiff;
  return contents;
}

Expected<SidecarContents> read_sidecar(const std::filesystem::path& document) {
  std::ifstream in(sidecar_path(document), std::ios::binary);
  if (!in) return Expected<SidecarContents>::failure(fnfErr);
  const std::vector<UInt8> bytes{std::istreambuf_iterator<char>(in), {}};
  if (in.bad()) return Expected<SidecarContents>::failure(ioErr);
  return decode_sidecar(bytes);
}

OSErr write_sidecar(const std::filesystem::path& document, const SidecarContents& contents) {
  const std::vector<UInt8> bytes = encode_sidecar(contents);
  const std::filesystem::path target = sidecar_path(document);
  const std::filesystem::path temporary = replacement_path(target);
  FILE* file = std::fopen(temporary.c_str(), "wb");
  if (file == nullptr) return platform::last_os_error();
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  OSErr err = written ? noErr : platform::last_os_error();
  if (std::fclose(file) != 0 && err == noErr) err = platform::last_os_error();
  return finish_replacement(temporary, target, err);
}

}  // namespace tessel::host
