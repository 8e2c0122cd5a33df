#include "formats/Lumen2Format.h"

#include "MacErrors.h"
#include "MacMemory.h"
#include "formats/FormatCodes.h"
#include "formats/FormatTable.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"

static constexpr Fixed kDefaultResolution = 0x00480000;  // 72 pixels per inch
static constexpr SInt32 kDescriptionBytes = 10;
static constexpr SInt32 kResolutionBytes = 12;
static constexpr SInt32 kColorTableBytes = 768;

static UInt16 bigEndian16(const UInt8* bytes) { return UInt16((bytes[0] << 8) | bytes[1]); }

static UInt32 bigEndian32(const UInt8* bytes) {
  return (UInt32(bigEndian16(bytes)) << 16) | bigEndian16(bytes + 2);
}

// A resource's bytes when it holds at least minimum of them. Shorter entries
// are refused rather than read past their end.
static const UInt8* resourceBytes(Handle resource, SInt32 minimum) {
  if (resource == nullptr || GetHandleSize(resource) < minimum) return nullptr;
  return reinterpret_cast<const UInt8*>(*resource);
}

// Rows and columns are 16-bit in this format, so with 64-bit file positions
// every plane of every channel count can be reached.
static OSErr readDescription(NativeV2State* state) {
  const UInt8* bytes = resourceBytes(GetImageResource(state->imageResources, kImageDescriptionID),
                                     kDescriptionBytes);
  if (bytes == nullptr) return kFormatFailure;
  state->channels = bigEndian16(bytes);
  state->rows = SInt16(bigEndian16(bytes + 2));
  state->columns = SInt16(bigEndian16(bytes + 4));
  state->mode = SInt16(bigEndian16(bytes + 8));
  if (state->channels == 0 || state->rows <= 0 || state->columns <= 0) return kFormatFailure;
  return noErr;
}

// Without the entry the image is at 72 pixels per inch both ways.
static OSErr readResolution(NativeV2State* state) {
  Handle resource = GetImageResource(state->imageResources, kResolutionID);
  state->hResolution = state->vResolution = kDefaultResolution;
  if (resource == nullptr) return noErr;
  const UInt8* bytes = resourceBytes(resource, kResolutionBytes);
  if (bytes == nullptr) return kFormatFailure;
  state->hResolution = Fixed(bigEndian32(bytes));
  state->vResolution = Fixed(bigEndian32(bytes + 8));
  return noErr;
}

static OSErr readColorTable(NativeV2State* state) {
  const UInt8* bytes =
      resourceBytes(GetImageResource(state->imageResources, kColorTableID), kColorTableBytes);
  if (bytes == nullptr) return kFormatFailure;
  if (OSErr err = AllocateMemory(kColorTableBytes, &state->colorTable); err != noErr) return err;
  MoveMemory(bytes, state->colorTable, kColorTableBytes);
  return noErr;
}

static OSErr readDuotoneInfo(NativeV2State* state) {
  Handle resource = GetImageResource(state->imageResources, kDuotoneInfoID);
  if (resource == nullptr) return kFormatFailure;
  Size size = GetHandleSize(resource);
  Handle copy = NewHandle(size);
  if (copy == nullptr) return kFormatFailure;
  MoveMemory(*resource, *copy, size);
  state->duotoneInfo = copy;
  return noErr;
}

OSErr Lumen2FormatOpen(NativeV2State* state, const FSSpec* file) {
  *state = NativeV2State{};
  state->fileSpec = *file;
  if (OSErr err = OpenFile(file, &state->refNum); err != noErr) return err;
  if (OSErr err = GetImageResourcesFromResourceFork(file, &state->imageResources); err != noErr) {
    return err;
  }
  if (OSErr err = readDescription(state); err != noErr) return err;
  if (OSErr err = readResolution(state); err != noErr) return err;
  if (state->mode == 2) return readColorTable(state);
  if (state->mode == 8) return readDuotoneInfo(state);
  return noErr;
}

// The channels are whole planes one after another: one block per plane.
static OSErr nativeGeometry(const void* raw, BlockGeometry* geometry) {
  const auto* state = static_cast<const NativeV2State*>(raw);
  *geometry = BlockGeometry{};
  geometry->width = geometry->blockWidth = state->columns;
  geometry->height = geometry->blockHeight = state->rows;
  geometry->planes = state->channels;
  geometry->groupPlanes = 1;
  geometry->blocksAcross = geometry->blocksDown = 1;
  geometry->rowBytes = state->columns;
  geometry->colBytes = 1;
  geometry->blockStride = UInt64(state->rows) * UInt64(state->columns);
  return noErr;
}

OSErr Lumen2FormatClose(NativeV2State* state) {
  if (state->refNum != 0) {
    CloseFile(state->refNum);
    state->refNum = 0;
  }
  DisposeMemory(state->colorTable);
  state->colorTable = nullptr;
  if (state->duotoneInfo != nullptr) DisposeHandle(state->duotoneInfo);
  state->duotoneInfo = nullptr;
  DisposeImageResources(&state->imageResources);
  return noErr;
}

UInt64 Lumen2FormatDataEnd(const NativeV2State* state) {
  return UInt64(state->channels) * UInt64(state->rows) * UInt64(state->columns);
}

static SInt16 nativeMode(SInt16 stored) {
  return stored >= 0 && stored <= 11 ? stored : kUnsupportedMode;
}

static void describeNative(const void* raw, SourceImage* image) {
  const auto* state = static_cast<const NativeV2State*>(raw);
  image->mode = nativeMode(state->mode);
  image->depth = 8;
  image->planar = 1;
  image->width = state->columns;
  image->height = state->rows;
  image->channels = SInt16(state->channels);
  image->colorTable = state->colorTable;
  image->hResolution = float(double(float(state->hResolution)) / 65536.0);
  image->vResolution = float(double(float(state->vResolution)) / 65536.0);
}

static void nativeLayout(const void* state, FormatLayout* layout) {
  BlockGeometry geometry{};
  nativeGeometry(state, &geometry);
  PlainLayout(geometry, layout);
}

const FormatOps kNativeOps{
    kNativeFormat,
    {nullptr, nullptr},
    sizeof(NativeV2State),
    [](void* state, const FSSpec* file) {
      return Lumen2FormatOpen(static_cast<NativeV2State*>(state), file);
    },
    describeNative,
    nativeGeometry,
    nativeLayout,
    [](const void*, Boolean) { return noErr; },
    [](const void* state) { return Lumen2FormatDataEnd(static_cast<const NativeV2State*>(state)); },
    [](const void* state) { return static_cast<const NativeV2State*>(state)->refNum; },
    [](void* state) { return Lumen2FormatClose(static_cast<NativeV2State*>(state)); },
};
