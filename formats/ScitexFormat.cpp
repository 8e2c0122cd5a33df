#include "formats/ScitexFormat.h"

#include <algorithm>
#include <climits>

#include "MacErrors.h"
#include "records/BigBuffer.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"

static constexpr SInt32 kHeaderStart = 1024;
static constexpr SInt32 kPixelStart = 2048;
static constexpr SInt16 kCountDigits = 11;

static SInt32 paddedWidth(const ScitexState* state) {
  return state->pixelsPerLine + (state->pixelsPerLine & 1);
}

static SInt32 bytesPerLine(const ScitexState* state) {
  return SInt32(state->channels) * paddedWidth(state);
}

// The sign, the point when asked for, and the digits of a numeric field,
// with the value kept in 64 bits so that callers can tell an overflow.
static OSErr parseField(SInt16 file, SInt16 digits, Boolean point, SInt64* value) {
  UInt8 byte = 0;
  if (OSErr err = ReadByte(file, kBigEndian, &byte); err != noErr) return err;
  if (byte != '+' && byte != '-') return kFormatFailure;
  SInt64 sign = byte == '-' ? -1 : 1;
  if (point) {
    if (OSErr err = ReadByte(file, kBigEndian, &byte); err != noErr) return err;
    if (byte != '.') return kFormatFailure;
  }
  SInt64 magnitude = 0;
  for (SInt16 i = 0; i < digits; ++i) {
    if (OSErr err = ReadByte(file, kBigEndian, &byte); err != noErr) return err;
    if (byte < '0' || byte > '9') return kFormatFailure;
    magnitude = magnitude * 10 + (byte - '0');
  }
  *value = sign * magnitude;
  return noErr;
}

OSErr ParseInteger(SInt16 file, SInt16 digits, Boolean point, SInt32* value) {
  SInt64 wide = 0;
  if (OSErr err = parseField(file, digits, point, &wide); err != noErr) return err;
  *value = SInt32(UInt32(UInt64(wide)));  // the field's value in 32-bit arithmetic
  return noErr;
}

OSErr ParseReal(SInt16 file, float* value) {
  SInt32 mantissa = 0;
  if (OSErr err = ParseInteger(file, 8, 1, &mantissa); err != noErr) return err;
  float result = float(static_cast<long double>(mantissa) / 100000000.0L);
  UInt8 letter = 0;
  if (OSErr err = ReadByte(file, kBigEndian, &letter); err != noErr) return err;
  if (letter != 'E') return kFormatFailure;
  SInt32 exponent = 0;
  if (OSErr err = ParseInteger(file, 2, 0, &exponent); err != noErr) return err;
  for (SInt32 i = 0; i < exponent; ++i) result = float(double(result) * 10.0);
  for (SInt32 i = 0; i > exponent; --i) result = float(double(result) / 10.0);
  *value = result;
  return noErr;
}

// Lines and pixels per line must be positive and small enough that every
// sample's file offset fits the 32-bit positions of the file calls.
static OSErr parseCounts(ScitexState* state) {
  SInt64 lines = 0, pixels = 0;
  if (OSErr err = parseField(state->refNum, kCountDigits, 0, &lines); err != noErr) return err;
  if (OSErr err = parseField(state->refNum, kCountDigits, 0, &pixels); err != noErr) return err;
  if (lines <= 0 || pixels <= 0 || lines > INT32_MAX || pixels > INT32_MAX) return kFormatFailure;
  // Eleven digits each: the product is tested by division, never formed.
  const SInt64 lineBytes = SInt64(state->channels) * (pixels + (pixels & 1));
  if (lines > (INT32_MAX - kPixelStart) / lineBytes) return kFormatFailure;
  state->lines = SInt32(lines);
  state->pixelsPerLine = SInt32(pixels);
  return noErr;
}

static OSErr readHeader(ScitexState* state) {
  SInt16 file = state->refNum;
  UInt8 units = 0, channels = 0;
  if (OSErr err = SeekTo(file, kHeaderStart); err != noErr) return err;
  if (OSErr err = ReadByte(file, kBigEndian, &units); err != noErr) return err;
  if (units > 1) return kScitexBadUnits;
  if (OSErr err = ReadByte(file, kBigEndian, &channels); err != noErr) return err;
  if (channels < 1 || channels > 16) return kScitexBadChannels;
  if (OSErr err = SkipBytes(file, 2); err != noErr) return err;
  state->units = units;
  state->channels = channels;
  if (OSErr err = ParseReal(file, &state->heightInUnits); err != noErr) return err;
  if (OSErr err = ParseReal(file, &state->widthInUnits); err != noErr) return err;
  if (!(state->heightInUnits > 0) || !(state->widthInUnits > 0)) return kScitexBadSize;
  return parseCounts(state);
}

OSErr ScitexFormatOpen(ScitexState* state, const FSSpec* file) {
  *state = ScitexState{};
  state->fileSpec = *file;
  if (OSErr err = OpenFile(file, &state->refNum); err != noErr) return err;
  OSErr err = readHeader(state);
  if (err == noErr) err = GetImageResourcesFromResourceFork(file, &state->imageResources);
  if (err != noErr) {
    CloseFile(state->refNum);
    state->refNum = 0;
  }
  return err;
}

static OSErr SeekToRow(ScitexState* state, SInt32 row) {
  return SeekTo(state->refNum, kPixelStart + row * bytesPerLine(state));
}

// A band of whole lines in the buffer, described as one planar tile: each
// line holds the channels one after another, padded width apart.
static Tile bandTile(const ScitexState* state, Ptr buffer, SInt32 top, SInt32 bottom) {
  return Tile{reinterpret_cast<UInt8*>(buffer),
              TileArea{top, 0, bottom, state->pixelsPerLine, 0, state->channels},
              bytesPerLine(state), 1, paddedWidth(state)};
}

// Moves the area through bands of whole lines; writing reads each band,
// changes the area's samples and writes the whole band back.
static OSErr moveBands(ScitexState* state, const Tile& tile, const TileArea& area, bool write) {
  SInt32 granted = 0;
  Ptr buffer = nullptr;
  SInt32 lineBytes = bytesPerLine(state);
  if (OSErr err = AllocateBigBuffer(lineBytes, area.bottom - area.top, &granted, &buffer);
      err != noErr) {
    return err;
  }
  OSErr err = noErr;
  for (SInt32 row = area.top; row < area.bottom && err == noErr;) {
    SInt32 end = std::min(row + granted, area.bottom);
    SInt32 bytes = (end - row) * lineBytes;
    TileArea box{row, area.left, end, area.right, area.firstPlane, area.endPlane};
    Tile band = bandTile(state, buffer, row, end);
    err = SeekToRow(state, row);
    if (err == noErr) err = ReadBytes(state->refNum, bytes, buffer);
    if (err == noErr && !write) CopyTile(band, box, tile, box);
    if (err == noErr && write) {
      CopyTile(tile, box, band, box);
      err = SeekToRow(state, row);
      if (err == noErr) err = WriteBytes(state->refNum, bytes, buffer);
    }
    row = end;
  }
  DisposeBigBuffer(buffer);
  return err;
}

OSErr ScitexFormatGetTile(ScitexState* state, const Tile& tile, const TileArea& area) {
  return moveBands(state, tile, area, false);
}

OSErr ScitexFormatPutTile(ScitexState* state, const Tile& tile, const TileArea& area) {
  return moveBands(state, tile, area, true);
}

OSErr ScitexFormatClose(ScitexState* state) {
  if (state->refNum != 0) {
    CloseFile(state->refNum);
    state->refNum = 0;
  }
  DisposeImageResources(&state->imageResources);
  return noErr;
}

UInt64 ScitexFormatDataEnd(const ScitexState* state) {
  return UInt64(kPixelStart) + UInt64(state->lines) * UInt64(bytesPerLine(state));
}
