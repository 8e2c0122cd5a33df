// Native version-2 sample files: raw planes in the data fork, the image's
// description in "LUMN" resources of the resource fork.
#include <algorithm>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "tools/samples/FileSink.h"
#include "tools/samples/SampleImages.h"
#include "tools/samples/SampleSupport.h"

namespace tessel::samples {
namespace {

using platform::append_big16;
using platform::append_big32;
using platform::resources::Resource;
using platform::resources::ResourceFork;

constexpr OSType kNativeType = FourCC("LUMN");
constexpr std::size_t kColorTableBytes = 768;
constexpr std::size_t kDuotoneBytes = 38;  // any length will do: readers copy it whole

Resource lumnResource(SInt16 id, std::vector<UInt8> data) {
  return Resource{kNativeType, id, 0, std::string(), std::move(data)};
}

std::vector<UInt8> description(const NativeOptions& o) {
  std::vector<UInt8> data;
  append_big16(data, o.channels);
  append_big16(data, UInt16(o.rows));
  append_big16(data, UInt16(o.columns));
  append_big16(data, o.depth);
  append_big16(data, UInt16(o.mode));
  return data;
}

// Each resolution is followed by two unit codes, 1 (per inch) each.
std::vector<UInt8> resolution(Fixed horizontal, Fixed vertical) {
  std::vector<UInt8> data;
  for (Fixed value : {horizontal, vertical}) {
    append_big32(data, UInt32(value));
    append_big16(data, 1);
    append_big16(data, 1);
  }
  return data;
}

// Bytes from the formula on a row of their own, out of the image's reach.
std::vector<UInt8> formulaBytes(UInt32 seed, SInt32 row, std::size_t count) {
  std::vector<UInt8> data(count);
  fill_bytes(data, seed, row, 0);
  return data;
}

}  // namespace

ResourceFork native_resource_fork(const NativeOptions& o) {
  ResourceFork fork;
  fork.resources.push_back(lumnResource(native_id::kDescription, description(o)));
  if (o.horizontalResolution) {
    const Fixed vertical = o.verticalResolution.value_or(*o.horizontalResolution);
    fork.resources.push_back(
        lumnResource(native_id::kResolution, resolution(*o.horizontalResolution, vertical)));
  }
  if (o.mode == 2) {
    fork.resources.push_back(lumnResource(
        native_id::kColorTable, o.colorTable.value_or(formulaBytes(o.seed, -1, kColorTableBytes))));
  }
  if (o.mode == 8) {
    fork.resources.push_back(lumnResource(
        native_id::kDuotone, o.duotone.value_or(formulaBytes(o.seed, -2, kDuotoneBytes))));
  }
  std::erase_if(fork.resources, [&](const Resource& resource) {
    auto sameId = [&](const Resource& extra) {
      return extra.type == resource.type && extra.id == resource.id;
    };
    return std::ranges::count(o.omitResources, resource.id) > 0 ||
           std::ranges::any_of(o.extraResources, sameId);
  });
  fork.resources.insert(fork.resources.end(), o.extraResources.begin(), o.extraResources.end());
  return fork;
}

OSErr write_native(const std::filesystem::path& file, const NativeOptions& options) {
  if (options.channels == 0 || options.rows <= 0 || options.columns <= 0) return paramErr;
  FileSink sink(kWriteBufferBytes);
  if (OSErr err = sink.open(file); err != noErr) return err;
  for (SInt32 channel = 0; channel < options.channels; ++channel) {
    for (SInt32 row = 0; row < options.rows; ++row) {
      if (meets_box(options.sparse, UInt64(row), UInt64(row) + 1, 0, UInt64(options.columns))) {
        fill_bytes(sink.claim(std::size_t(options.columns)), options.seed, row, channel);
      } else {
        sink.skip(UInt64(options.columns));
      }
    }
  }
  if (OSErr err = sink.close(); err != noErr) return err;
  std::optional<ResourceFork> fork;
  if (!options.omitResourceFork) fork = native_resource_fork(options);
  return write_file_sidecar(file, kNativeType, fork);
}

}  // namespace tessel::samples
