#include "formats/ScitexFormat.h"

#include <algorithm>
#include <climits>

#include "MacErrors.h"
#include "formats/FormatCodes.h"
#include "formats/FormatTable.h"
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

// Lines and pixels per line must be positive, a line's bytes must be a
// 32-bit count (the band mover moves whole lines), and every sample's file
// offset must be a 64-bit position.
static OSErr parseCounts(ScitexState* state) {
  SInt64 lines = 0, pixels = 0;
  if (OSErr err = parseField(state->refNum, kCountDigits, 0, &lines); err != noErr) return err;
  if (OSErr err = parseField(state->refNum, kCountDigits, 0, &pixels); err != noErr) return err;
  if (lines <= 0 || pixels <= 0 || lines > INT32_MAX || pixels > INT32_MAX) return kFormatFailure;
  const SInt64 lineBytes = SInt64(state->channels) * (pixels + (pixels & 1));
  if (lineBytes > INT32_MAX) return kFormatFailure;
  // The product is tested by division, never formed.
  if (lines > (INT64_MAX - kPixelStart) / lineBytes) return kFormatFailure;
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

// Each line holds the channels one after another, padded width apart: one
// block for the whole image, planar inside, every line a block row.
static OSErr scitexGeometry(const void* raw, BlockGeometry* geometry) {
  const auto* state = static_cast<const ScitexState*>(raw);
  *geometry = BlockGeometry{};
  geometry->width = geometry->blockWidth = state->pixelsPerLine;
  geometry->height = geometry->blockHeight = state->lines;
  geometry->planes = geometry->groupPlanes = state->channels;
  geometry->blocksAcross = geometry->blocksDown = 1;
  geometry->rowBytes = bytesPerLine(state);
  geometry->colBytes = 1;
  geometry->planeBytes = paddedWidth(state);
  geometry->base = kPixelStart;
  return noErr;
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

static SInt16 scitexMode(SInt16 channels) {
  if (channels == 1) return kGrayscaleMode;
  if (channels == 3) return kRGBMode;
  if (channels == 4) return kCMYKMode;
  return kUnsupportedMode;
}

static float scitexResolution(SInt32 pixels, float size, SInt16 units) {
  double inches = units == 0 ? double(size) / 25.4 : double(size);
  return float(double(pixels) / inches);
}

static void describeScitex(const void* raw, SourceImage* image) {
  const auto* state = static_cast<const ScitexState*>(raw);
  image->mode = scitexMode(state->channels);
  image->depth = 8;
  image->planar = 0;
  image->width = state->pixelsPerLine;
  image->height = state->lines;
  image->channels = state->channels;
  image->colorTable = nullptr;
  image->hResolution = scitexResolution(state->pixelsPerLine, state->widthInUnits, state->units);
  image->vResolution = scitexResolution(state->lines, state->heightInUnits, state->units);
}

static void scitexLayout(const void* state, FormatLayout* layout) {
  BlockGeometry geometry{};
  scitexGeometry(state, &geometry);
  PlainLayout(geometry, layout);
}

const FormatOps kScitexOps{
    kScitexFormat,
    {".SCT", nullptr},
    sizeof(ScitexState),
    [](void* state, const FSSpec* file) {
      return ScitexFormatOpen(static_cast<ScitexState*>(state), file);
    },
    describeScitex,
    scitexGeometry,
    scitexLayout,
    [](const void*, Boolean) { return noErr; },
    [](const void* state) { return ScitexFormatDataEnd(static_cast<const ScitexState*>(state)); },
    [](const void* state) { return static_cast<const ScitexState*>(state)->refNum; },
    [](void* state) { return ScitexFormatClose(static_cast<ScitexState*>(state)); },
};
