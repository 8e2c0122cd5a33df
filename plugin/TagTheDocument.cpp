#include "plugin/TagTheDocument.h"

#include <algorithm>
#include <span>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "References.h"
#include "plugin/ResultCodes.h"
#include "plugin/TesselExport.h"

using tessel::platform::read_big16;
using tessel::platform::read_big32;
using tessel::platform::write_big16;
using tessel::platform::write_big32;

static constexpr std::size_t kNameOffset = 12;
static constexpr std::size_t kRectOffset = 76;

static void encodeTag(std::span<UInt8> tag, const SourceImage* image) {
  write_big32(tag, kDocumentTagVersion);
  write_big16(tag.subspan(4), UInt16(image->fileSpec.vRefNum));
  write_big32(tag.subspan(8), UInt32(image->fileSpec.parID));
  std::copy_n(image->fileSpec.name, sizeof(Str63), tag.begin() + kNameOffset);
  const Rect& r = image->selection;
  write_big16(tag.subspan(kRectOffset), UInt16(r.top));
  write_big16(tag.subspan(kRectOffset + 2), UInt16(r.left));
  write_big16(tag.subspan(kRectOffset + 4), UInt16(r.bottom));
  write_big16(tag.subspan(kRectOffset + 6), UInt16(r.right));
  write_big32(tag.subspan(84), UInt32(image->width));
  write_big32(tag.subspan(88), UInt32(image->height));
}

static void decodeTag(std::span<const UInt8> tag, SourceImage* image) {
  image->fileSpec.vRefNum = SInt16(read_big16(tag.subspan(4)));
  image->fileSpec.parID = SInt32(read_big32(tag.subspan(8)));
  // A length byte past 63 would overrun the name; the bytes after it are
  // ignored anyway, so the name is cut to what the identity can hold.
  std::copy_n(tag.begin() + kNameOffset, sizeof(Str63), image->fileSpec.name);
  if (image->fileSpec.name[0] > 63) image->fileSpec.name[0] = 63;
  image->selection = Rect{SInt16(read_big16(tag.subspan(kRectOffset))),
                          SInt16(read_big16(tag.subspan(kRectOffset + 2))),
                          SInt16(read_big16(tag.subspan(kRectOffset + 4))),
                          SInt16(read_big16(tag.subspan(kRectOffset + 6)))};
  image->recordedWidth = SInt32(read_big32(tag.subspan(84)));
  image->recordedHeight = SInt32(read_big32(tag.subspan(88)));
}

static std::span<UInt8> handleBytes(Handle block) {
  return {reinterpret_cast<UInt8*>(*block), std::size_t(GetHandleSize(block))};
}

OSErr TagTheDocument(const HostResourceProcs* resourceProcs, SourceImage* image) {
  for (SInt16 n = HostCountPIResources(resourceProcs, kDocumentTagType); n > 0; --n) {
    HostDeletePIResource(resourceProcs, kDocumentTagType, 1);
  }
  Handle tag = NewHandleClear(kDocumentTagBytes);
  if (tag == nullptr) return kInternalFailure;
  encodeTag(handleBytes(tag), image);
  OSErr err = HostAddPIResource(resourceProcs, kDocumentTagType, tag);
  DisposeHandle(tag);
  return err;
}

OSErr GetImageInfo(ExportGlobals* globals, SourceImage* image) {
  auto* procs = ReferencePointerAs<HostResourceProcs>(Get(*globals->params, kExportResourceProcs));
  if (HostCountPIResources(procs, kDocumentTagType) != 1) return kNoSingleTag;
  Handle tag = HostGetPIResource(procs, kDocumentTagType, 1);
  if (tag == nullptr || *tag == nullptr) return kNoSingleTag;
  HLock(tag);
  const OSErr err = DecodeDocumentTag(handleBytes(tag), image);
  HUnlock(tag);
  return err;
}

// A copy shorter than a tag is refused like a tag of another version rather
// than read past its end.
OSErr DecodeDocumentTag(std::span<const UInt8> bytes, SourceImage* image) {
  if (bytes.size() < 4 || read_big32(bytes) != kDocumentTagVersion) return kTagVersion;
  if (bytes.size() < std::size_t(kDocumentTagBytes)) return kTagVersion;
  decodeTag(bytes, image);
  return noErr;
}
