#include "formats/RasterFormats.h"

#include "Files.h"
#include "MacErrors.h"
#include "TextUtils.h"
#include "formats/FormatCodes.h"
#include "formats/Lumen2Format.h"
#include "formats/ScitexFormat.h"
#include "formats/TIFFFormat.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

static const FormatOps* const kFormats[] = {&kNativeOps, &kTIFFOps, &kScitexOps};

static const FormatOps* opsFor(FormatCode code) {
  for (const FormatOps* ops : kFormats) {
    if (ops->code == code) return ops;
  }
  return nullptr;
}

// The handle's table when it holds an open state; null otherwise.
static const FormatOps* openOps(const FormatHandle* handle) {
  return handle->state == nullptr ? nullptr : opsFor(handle->code);
}

OSErr SetupRasterFormats(const ScratchAllocator* scratch) {
  UseScratchAllocator(scratch);
  return noErr;
}

void PlainLayout(const BlockGeometry& geometry, FormatLayout* layout) {
  *layout = FormatLayout{};
  layout->compression = layout->planarConfiguration = layout->predictor = layout->fillOrder = 1;
  layout->blockWidth = geometry.blockWidth;
  layout->blockHeight = geometry.blockHeight;
  layout->blocksAcross = geometry.blocksAcross;
  layout->blocksDown = geometry.blocksDown;
  layout->planeGroups = geometry.groupPlanes > 0 ? geometry.planes / geometry.groupPlanes : 0;
  if (layout->planeGroups > 1) layout->planarConfiguration = 2;
}

OSErr RasterFormatsMacFileTypes(OSType* types, SInt16 capacity, SInt16* count) {
  static constexpr OSType kListed[] = {kNativeFormat,  kTIFFFormat,    kScitexFormat,
                                       FourCC("TEXT"), kUnknownFormat, FourCC("    ")};
  constexpr SInt16 kListedCount = SInt16(sizeof kListed / sizeof kListed[0]);
  if (capacity < kListedCount) return kFormatFailure;
  for (SInt16 i = 0; i < kListedCount; ++i) types[i] = kListed[i];
  *count = kListedCount;
  return noErr;
}

static bool nameEndsWith(ConstStringPtr upperName, const char* suffix) {
  Str255 pattern;
  CopyCStringToPascal(suffix, pattern);
  return EndEqualPString(upperName, pattern) != 0;
}

static FormatCode formatBySuffix(ConstStringPtr upperName) {
  for (const FormatOps* ops : kFormats) {
    for (const char* suffix : ops->suffixes) {
      if (suffix != nullptr && nameEndsWith(upperName, suffix)) return ops->code;
    }
  }
  return kUnknownFormat;
}

// Only types that say nothing about the contents let the name decide.
OSErr RasterFormatRecognize(const FSSpec* file, OSType fileType, FormatCode* code) {
  FormatCode candidate = fileType;
  if (fileType == FourCC("TEXT") || fileType == kUnknownFormat || fileType == FourCC("    ")) {
    Str255 name;
    CopyPString(file->name, name);
    UpperPString(name);
    candidate = formatBySuffix(name);
  }
  *code = opsFor(candidate) != nullptr ? candidate : kUnknownFormat;
  return noErr;
}

static void clearDescription(SourceImage* image) {
  image->format = FormatHandle{};
  image->mode = image->depth = image->planar = 0;
  image->width = image->height = 0;
  image->channels = 0;
  image->colorTable = nullptr;
  image->hResolution = image->vResolution = 0.0f;
}

OSErr RasterFormatOpen(SourceImage* image) {
  clearDescription(image);
  OSType fileType = 0;
  if (OSErr err = GetFileType(&image->fileSpec, &fileType); err != noErr) return err;
  FormatHandle* handle = &image->format;
  RasterFormatRecognize(&image->fileSpec, fileType, &handle->code);
  const FormatOps* ops = opsFor(handle->code);
  if (ops == nullptr) return kFormatNotRecognised;
  if (OSErr err = AllocateMemory(ops->stateSize, &handle->state); err != noErr) return err;
  if (OSErr err = ops->open(handle->state, &image->fileSpec); err != noErr) return err;
  ops->describe(handle->state, image);
  return noErr;
}

static OSErr moveTile(FormatHandle* handle, const Tile& tile, const TileArea& area, Boolean write) {
  const FormatOps* ops = openOps(handle);
  if (ops == nullptr) return noErr;
  BlockGeometry geometry{};
  if (OSErr err = ops->geometry(handle->state, &geometry); err != noErr) return err;
  return MoveBox(ops->refNum(handle->state), geometry, tile, area, write);
}

OSErr RasterFormatGetTile(FormatHandle* handle, const Tile& tile, const TileArea& area) {
  return moveTile(handle, tile, area, false);
}

OSErr RasterFormatPutTile(FormatHandle* handle, const Tile& tile, const TileArea& area) {
  return moveTile(handle, tile, area, true);
}

OSErr RasterFormatDataExtent(const FormatHandle* handle, UInt64* dataEnd, UInt64* fileLength) {
  const FormatOps* ops = openOps(handle);
  UInt64 end = ops != nullptr ? ops->dataEnd(handle->state) : 0;
  SInt16 refNum = ops != nullptr ? ops->refNum(handle->state) : SInt16(0);
  SInt64 length = 0;
  if (refNum != 0) {
    if (OSErr err = GetFileLength(refNum, &length); err != noErr) return err;
  }
  *dataEnd = end;
  *fileLength = UInt64(length);
  return noErr;
}

OSErr RasterFormatCheckLength(const FormatHandle* handle) {
  UInt64 end = 0;
  UInt64 length = 0;
  if (OSErr err = RasterFormatDataExtent(handle, &end, &length); err != noErr) return err;
  return length < end ? eofErr : noErr;
}

OSErr RasterFormatDescribeLayout(const FormatHandle* handle, FormatLayout* layout) {
  const FormatOps* ops = openOps(handle);
  *layout = FormatLayout{};
  if (ops != nullptr) ops->layout(handle->state, layout);
  return noErr;
}

OSErr RasterFormatLayoutVerdict(const FormatHandle* handle, Boolean write) {
  const FormatOps* ops = openOps(handle);
  return ops != nullptr ? ops->verdict(handle->state, write) : noErr;
}

OSErr RasterFormatClose(FormatHandle* handle) {
  const FormatOps* ops = openOps(handle);
  OSErr err = ops != nullptr ? ops->close(handle->state) : noErr;
  DisposeMemory(handle->state);
  handle->state = nullptr;
  return err;
}
