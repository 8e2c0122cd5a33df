#include "formats/RasterFormats.h"

#include "Files.h"
#include "MacErrors.h"
#include "TextUtils.h"
#include "formats/Lumen2Format.h"
#include "formats/ScitexFormat.h"
#include "formats/TIFFFormat.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

OSErr SetupRasterFormats() { return noErr; }

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

// Only types that say nothing about the contents let the name decide.
OSErr RasterFormatRecognize(const FSSpec* file, OSType fileType, FormatCode* code) {
  FormatCode candidate = fileType;
  if (fileType == FourCC("TEXT") || fileType == kUnknownFormat || fileType == FourCC("    ")) {
    Str255 name;
    CopyPString(file->name, name);
    UpperPString(name);
    if (nameEndsWith(name, ".TIF") || nameEndsWith(name, ".TIFF"))
      candidate = kTIFFFormat;
    else if (nameEndsWith(name, ".SCT"))
      candidate = kScitexFormat;
  }
  bool known = candidate == kNativeFormat || candidate == kTIFFFormat || candidate == kScitexFormat;
  *code = known ? candidate : kUnknownFormat;
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

static SInt16 nativeMode(SInt16 stored) {
  return stored >= 0 && stored <= 11 ? stored : kUnsupportedMode;
}

static void describeNative(SourceImage* image, const NativeV2State* state) {
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

static SInt16 tiffMode(const TIFFState* state) {
  switch (state->photometricInterpretation) {
    case 0:
    case 1: return state->bitsPerSample == 1 ? kBitmapMode : kGrayscaleMode;
    case 2: return kRGBMode;
    case 3: return kIndexedMode;
    case 5: return kCMYKMode;
    case 8: return kLabMode;
    default: return kUnsupportedMode;
  }
}

static float tiffResolution(float value, UInt16 unit) {
  return unit == 3 ? float(double(value) * 2.54) : value;
}

static void describeTIFF(SourceImage* image, const TIFFState* state) {
  image->mode = tiffMode(state);
  image->depth = SInt16(state->bitsPerSample);
  image->planar = state->planarConfiguration != 1 ? 1 : 0;
  image->width = state->imageWidth;
  image->height = state->imageLength;
  image->channels = SInt16(state->samplesPerPixel);
  image->colorTable = state->colorMap;
  image->hResolution = tiffResolution(state->xResolution, state->resolutionUnit);
  image->vResolution = tiffResolution(state->yResolution, state->resolutionUnit);
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

static void describeScitex(SourceImage* image, const ScitexState* state) {
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

// Allocates the format's zero-filled state into the handle and opens it.
template <class State>
static OSErr openFormat(FormatHandle* handle, const FSSpec* file,
                        OSErr (*open)(State*, const FSSpec*)) {
  State* state = nullptr;
  if (OSErr err = AllocateMemory(sizeof(State), &state); err != noErr) return err;
  handle->state = state;
  return open(state, file);
}

OSErr RasterFormatOpen(SourceImage* image) {
  clearDescription(image);
  OSType fileType = 0;
  if (OSErr err = GetFileType(&image->fileSpec, &fileType); err != noErr) return err;
  FormatHandle* handle = &image->format;
  RasterFormatRecognize(&image->fileSpec, fileType, &handle->code);
  OSErr err = kFormatNotRecognised;
  if (handle->code == kNativeFormat) err = openFormat(handle, &image->fileSpec, Lumen2FormatOpen);
  if (handle->code == kTIFFFormat) err = openFormat(handle, &image->fileSpec, TIFFFormatOpen);
  if (handle->code == kScitexFormat) err = openFormat(handle, &image->fileSpec, ScitexFormatOpen);
  if (err != noErr) return err;
  if (handle->code == kNativeFormat)
    describeNative(image, static_cast<NativeV2State*>(handle->state));
  if (handle->code == kTIFFFormat) describeTIFF(image, static_cast<TIFFState*>(handle->state));
  if (handle->code == kScitexFormat)
    describeScitex(image, static_cast<ScitexState*>(handle->state));
  return noErr;
}

OSErr RasterFormatGetTile(FormatHandle* handle, const Tile& tile, const TileArea& area) {
  if (handle->state == nullptr) return noErr;
  switch (handle->code) {
    case kNativeFormat:
      return Lumen2FormatGetTile(static_cast<NativeV2State*>(handle->state), tile, area);
    case kTIFFFormat: return TIFFFormatGetTile(static_cast<TIFFState*>(handle->state), tile, area);
    case kScitexFormat:
      return ScitexFormatGetTile(static_cast<ScitexState*>(handle->state), tile, area);
    default: return noErr;
  }
}

OSErr RasterFormatPutTile(FormatHandle* handle, const Tile& tile, const TileArea& area) {
  if (handle->state == nullptr) return noErr;
  switch (handle->code) {
    case kNativeFormat:
      return Lumen2FormatPutTile(static_cast<NativeV2State*>(handle->state), tile, area);
    case kTIFFFormat: return TIFFFormatPutTile(static_cast<TIFFState*>(handle->state), tile, area);
    case kScitexFormat:
      return ScitexFormatPutTile(static_cast<ScitexState*>(handle->state), tile, area);
    default: return noErr;
  }
}

// The open file's reference, and the end of its pixels by the format's own
// measure; 0 when the handle names no format.
static SInt16 openDataEnd(const FormatHandle* handle, UInt64* end) {
  switch (handle->code) {
    case kNativeFormat: {
      const auto* state = static_cast<const NativeV2State*>(handle->state);
      *end = Lumen2FormatDataEnd(state);
      return state->refNum;
    }
    case kTIFFFormat: {
      const auto* state = static_cast<const TIFFState*>(handle->state);
      *end = TIFFFormatDataEnd(state);
      return state->refNum;
    }
    case kScitexFormat: {
      const auto* state = static_cast<const ScitexState*>(handle->state);
      *end = ScitexFormatDataEnd(state);
      return state->refNum;
    }
    default: return 0;
  }
}

OSErr RasterFormatDataExtent(const FormatHandle* handle, UInt64* dataEnd, UInt64* fileLength) {
  UInt64 end = 0;
  SInt16 refNum = handle->state == nullptr ? SInt16(0) : openDataEnd(handle, &end);
  SInt32 length = 0;
  if (refNum != 0) {
    if (OSErr err = GetEOF(refNum, &length); err != noErr) return err;
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

OSErr RasterFormatClose(FormatHandle* handle) {
  if (handle->state == nullptr) return noErr;
  OSErr err = noErr;
  switch (handle->code) {
    case kNativeFormat: err = Lumen2FormatClose(static_cast<NativeV2State*>(handle->state)); break;
    case kTIFFFormat: err = TIFFFormatClose(static_cast<TIFFState*>(handle->state)); break;
    case kScitexFormat: err = ScitexFormatClose(static_cast<ScitexState*>(handle->state)); break;
    default: break;
  }
  DisposeMemory(handle->state);
  handle->state = nullptr;
  return err;
}
