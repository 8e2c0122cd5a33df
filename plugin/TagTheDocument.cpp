#include "plugin/TagTheDocument.h"

#include <algorithm>
#include <span>

#include "ByteOrder.h"
#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "References.h"
#include "plugin/TesselExport.h"
#include "records/ResultCodes.h"

using tessel::platform::read_big16;
using tessel::platform::read_big32;
using tessel::platform::write_big16;
using tessel::platform::write_big32;

static constexpr std::size_t kRectOffset = 12;
static constexpr std::size_t kSizeOffset = 28;
static constexpr std::size_t kNameOffset = 40;
static constexpr std::size_t kShortNameOffset = 12;
static constexpr std::size_t kShortRectOffset = 76;

// The name the file system knows the file by, which outlives the stand-in
// an FSSpec may hold for it (a stand-in is only as stable as its folder id).
static void fullNameOf(const FSSpec* file, Str255 name) {
  if (FSpGetLongName(file, name) != noErr) BlockMove(file->name, name, file->name[0] + 1);
}

static void encodeTag(std::span<UInt8> tag, const SourceImage* image) {
  write_big32(tag, kDocumentTagVersion);
  write_big16(tag.subspan(4), UInt16(image->fileSpec.vRefNum));
  write_big32(tag.subspan(8), UInt32(image->fileSpec.parID));
  const VRect& r = image->selection;
  const SInt32 sides[] = {r.top, r.left, r.bottom, r.right};
  for (std::size_t i = 0; i < 4; ++i)
    write_big32(tag.subspan(kRectOffset + 4 * i), UInt32(sides[i]));
  write_big32(tag.subspan(kSizeOffset), UInt32(image->width));
  write_big32(tag.subspan(kSizeOffset + 4), UInt32(image->height));
  Str255 name;
  fullNameOf(&image->fileSpec, name);
  std::copy_n(name, name[0] + 1, tag.begin() + kNameOffset);
}

// A rectangle no image can hold is a damaged tag, whatever its size says.
static bool isImageRect(const VRect& r) {
  return r.top >= 0 && r.left >= 0 && r.top < r.bottom && r.left < r.right;
}

// The identity of the named file in the folder. A folder that no longer
// resolves still gives a spec, which then opens as "file not found" and
// makes the export ask for the file.
static bool isFileName(ConstStringPtr name) {
  const ConstStringPtr end = name + 1 + name[0];
  const bool dots = (name[0] == 1 || name[0] == 2) &&
                    std::all_of(name + 1, end, [](UInt8 c) { return c == '.'; });
  return name[0] != 0 && !dots && std::find(name + 1, end, '/') == end;
}

static OSErr identityOf(SInt16 volume, SInt32 folder, ConstStringPtr name, FSSpec* spec) {
  if (!isFileName(name)) return kTagVersion;
  FSSpec made{};
  OSErr err = FSMakeFSSpec(volume, folder, name, &made);
  if (err != noErr && err != fnfErr) {
    made = FSSpec{volume, folder, {}};
    BlockMove(name, made.name, std::min<int>(name[0], 63) + 1);
    made.name[0] = UInt8(std::min<int>(name[0], 63));
  }
  *spec = made;
  return noErr;
}

static OSErr decodeTag(std::span<const UInt8> tag, SourceImage* image) {
  const VRect selection{SInt32(read_big32(tag.subspan(kRectOffset))),
                        SInt32(read_big32(tag.subspan(kRectOffset + 4))),
                        SInt32(read_big32(tag.subspan(kRectOffset + 8))),
                        SInt32(read_big32(tag.subspan(kRectOffset + 12)))};
  if (!isImageRect(selection)) return kTagVersion;
  FSSpec file{};
  OSErr err = identityOf(SInt16(read_big16(tag.subspan(4))), SInt32(read_big32(tag.subspan(8))),
                         tag.data() + kNameOffset, &file);
  if (err != noErr) return err;
  image->fileSpec = file;
  image->selection = selection;
  image->recordedWidth = SInt32(read_big32(tag.subspan(kSizeOffset)));
  image->recordedHeight = SInt32(read_big32(tag.subspan(kSizeOffset + 4)));
  return noErr;
}

static OSErr decodeShortNameTag(std::span<const UInt8> tag, SourceImage* image) {
  image->fileSpec.vRefNum = SInt16(read_big16(tag.subspan(4)));
  image->fileSpec.parID = SInt32(read_big32(tag.subspan(8)));
  // A length byte past 63 would overrun the name; the bytes after it are
  // ignored anyway, so the name is cut to what the identity can hold.
  std::copy_n(tag.begin() + kShortNameOffset, sizeof(Str63), image->fileSpec.name);
  if (image->fileSpec.name[0] > 63) image->fileSpec.name[0] = 63;
  image->selection = VRect{SInt16(read_big16(tag.subspan(kShortRectOffset))),
                           SInt16(read_big16(tag.subspan(kShortRectOffset + 2))),
                           SInt16(read_big16(tag.subspan(kShortRectOffset + 4))),
                           SInt16(read_big16(tag.subspan(kShortRectOffset + 6)))};
  image->recordedWidth = SInt32(read_big32(tag.subspan(84)));
  image->recordedHeight = SInt32(read_big32(tag.subspan(88)));
  return noErr;
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

// Decodes into a copy, so that a tag refused halfway leaves image alone. The
// host's copy may be shorter than a tag; it is refused like a tag of another
// version rather than read past its end.
OSErr DecodeDocumentTag(std::span<const UInt8> bytes, SourceImage* image) {
  if (bytes.size() < 4) return kTagVersion;
  const UInt32 version = read_big32(bytes);
  SourceImage decoded = *image;
  OSErr err = kTagVersion;
  if (version == kDocumentTagVersion && bytes.size() >= std::size_t(kDocumentTagBytes)) {
    err = decodeTag(bytes, &decoded);
  } else if (version == kShortNameTagVersion && bytes.size() >= std::size_t(kShortNameTagBytes)) {
    err = decodeShortNameTag(bytes, &decoded);
  }
  if (err == noErr) *image = decoded;
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
