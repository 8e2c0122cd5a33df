#include "tools/samples/SampleSupport.h"

#include "AppleDouble.h"
#include "MacErrors.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {

namespace ad = platform::appledouble;

void fill_interleaved(std::span<UInt8> out, UInt32 seed, SInt32 row, UInt32 planes,
                      SInt32 firstPlane, SInt64 firstColumn) {
  if (planes == 1) {
    fill_bytes(out, seed, row, firstPlane, firstColumn);
    return;
  }
  const std::size_t columns = out.size() / planes;
  UInt8* next = out.data();
  for (std::size_t x = 0; x < columns; ++x) {
    for (UInt32 k = 0; k < planes; ++k) {
      *next++ = sample_value(seed, row, SInt32(firstColumn + SInt64(x)), firstPlane + SInt32(k));
    }
  }
}

void fill_bytes(std::span<UInt8> out, UInt32 seed, SInt32 row, SInt32 plane, SInt64 firstByte) {
  const std::size_t count = out.size();
  UInt8* bytes = out.data();
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = sample_value(seed, row, SInt32(firstByte + SInt64(i)), plane);
  }
}

bool meets_box(const std::optional<SampleBox>& box, UInt64 top, UInt64 bottom, UInt64 left,
               UInt64 right) {
  if (!box) return true;
  return top < box->bottom && box->top < bottom && left < box->right && box->left < right;
}

OSErr write_file_sidecar(const std::filesystem::path& file, std::optional<OSType> type,
                         const std::optional<platform::resources::ResourceFork>& fork) {
  if (OSErr err = ad::delete_sidecar(file); err != noErr) return err;
  if (type) {
    FInfo info{};
    info.fdType = *type;
    info.fdCreator = kSampleCreator;
    if (OSErr err = ad::write_finder_info(file, info); err != noErr) return err;
  }
  if (fork) {
    std::optional<std::vector<UInt8>> bytes = platform::resources::serialize_fork(*fork);
    if (!bytes) return paramErr;
    return ad::write_resource_fork(file, *bytes);
  }
  return noErr;
}

}  // namespace tessel::samples
