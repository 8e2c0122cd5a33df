#include "formats/Lumen2Format.h"

#include <algorithm>
#include <climits>

#include "MacErrors.h"
#include "MacMemory.h"
#include "records/BigBuffer.h"
#include "records/ResultCodes.h"
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

// Channels, rows and columns must describe planes whose every byte lies
// within the 32-bit positions of the file calls.
static OSErr readDescription(NativeV2State* state) {
  const UInt8* bytes = resourceBytes(GetImageResource(state->imageResources, kImageDescriptionID),
                                     kDescriptionBytes);
  if (bytes == nullptr) return kFormatFailure;
  state->channels = bigEndian16(bytes);
  state->rows = SInt16(bigEndian16(bytes + 2));
  state->columns = SInt16(bigEndian16(bytes + 4));
  state->mode = SInt16(bigEndian16(bytes + 8));
  if (state->channels == 0 || state->rows <= 0 || state->columns <= 0) return kFormatFailure;
  if (SInt64(state->channels) * state->rows * state->columns > INT32_MAX) return kFormatFailure;
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

OSErr SeekToChannelAndRow(NativeV2State* state, SInt16 channel, SInt32 row) {
  return SeekTo(state->refNum, channel * (state->columns * state->rows) + row * state->columns);
}

// Moves one channel's rows of the area in bands of whole rows; writing reads
// each band first so that columns outside the area keep their bytes.
static OSErr moveChannel(NativeV2State* state, const Tile& tile, const TileArea& area,
                         SInt16 channel, Ptr buffer, SInt32 granted, bool write) {
  OSErr err = noErr;
  for (SInt32 row = area.top; row < area.bottom && err == noErr;) {
    SInt32 rows = std::min(granted, area.bottom - row);
    SInt32 bytes = rows * state->columns;
    Tile band{reinterpret_cast<UInt8*>(buffer),
              TileArea{0, 0, rows, state->columns, channel, channel + 1}, state->columns, 1, 0};
    TileArea inBand{0, area.left, rows, area.right, channel, channel + 1};
    TileArea inTile{row, area.left, row + rows, area.right, channel, channel + 1};
    err = SeekToChannelAndRow(state, channel, row);
    if (err == noErr) err = ReadBytes(state->refNum, bytes, buffer);
    if (err == noErr && !write) CopyTile(band, inBand, tile, inTile);
    if (err == noErr && write) {
      CopyTile(tile, inTile, band, inBand);
      err = SeekToChannelAndRow(state, channel, row);
      if (err == noErr) err = WriteBytes(state->refNum, bytes, buffer);
    }
    row += rows;
  }
  return err;
}

static OSErr moveArea(NativeV2State* state, const Tile& tile, const TileArea& area, bool write) {
  SInt32 granted = 0;
  Ptr buffer = nullptr;
  if (OSErr err = AllocateBigBuffer(state->columns, area.bottom - area.top, &granted, &buffer);
      err != noErr) {
    return err;
  }
  OSErr err = noErr;
  for (SInt16 channel = SInt16(area.firstPlane); channel < area.endPlane && err == noErr;
       ++channel) {
    err = moveChannel(state, tile, area, channel, buffer, granted, write);
  }
  DisposeBigBuffer(buffer);
  return err;
}

OSErr Lumen2FormatGetTile(NativeV2State* state, const Tile& tile, const TileArea& area) {
  return moveArea(state, tile, area, false);
}

OSErr Lumen2FormatPutTile(NativeV2State* state, const Tile& tile, const TileArea& area) {
  return moveArea(state, tile, area, true);
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
