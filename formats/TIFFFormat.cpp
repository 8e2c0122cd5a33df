#include "formats/TIFFFormat.h"

#include <algorithm>
#include <climits>

#include "MacErrors.h"
#include "formats/FormatCodes.h"
#include "formats/TIFFDirectory.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/SortedList.h"

namespace {

// Field types, TIFF 6.0, section 2.
enum : UInt16 {
  kByteType = 1,
  kShortType = 3,
  kLongType = 4,
  kRationalType = 5,
  kSByteType = 6,
  kSShortType = 8,
  kSLongType = 9,
  kSRationalType = 10,
  kFloatType = 11,
  kDoubleType = 12,
  kLong8Type = 16,  // BigTIFF only, as SLONG8 and IFD8
  kSLong8Type = 17,
  kIFD8Type = 18,
};

enum : UInt16 {
  kImageWidthTag = 256,
  kImageLengthTag = 257,
  kBitsPerSampleTag = 258,
  kCompressionTag = 259,
  kPhotometricTag = 262,
  kFillOrderTag = 266,
  kStripOffsetsTag = 273,
  kSamplesPerPixelTag = 277,
  kRowsPerStripTag = 278,
  kStripByteCountsTag = 279,
  kXResolutionTag = 282,
  kYResolutionTag = 283,
  kPlanarConfigurationTag = 284,
  kResolutionUnitTag = 296,
  kPredictorTag = 317,
  kColorMapTag = 320,
  kTileWidthTag = 322,
  kTileLengthTag = 323,
  kTileOffsetsTag = 324,
  kTileByteCountsTag = 325,
  kDotRangeTag = 336,
  kSampleFormatTag = 339,
  kImageResourcesTag = 34377,
};

enum : UInt16 {
  kWhiteIsZero = 0,
  kBlackIsZero = 1,
  kSeparated = 5,
  kCIELab = 8,
};

constexpr UInt32 kHeaderBigEndian = 0x4D4D;
constexpr UInt32 kHeaderLittleEndian = 0x4949;
constexpr UInt16 kTIFFVersion = 42;
constexpr UInt16 kBigTIFFVersion = 43;
constexpr UInt16 kBigTIFFOffsetBytes = 8;
constexpr SInt32 kColorMapBytes = 768;

}  // namespace

UInt16 TagTypeSize(UInt16 type) {
  switch (type) {
    case kShortType:
    case kSShortType: return 2;
    case kLongType:
    case kSLongType:
    case kFloatType: return 4;
    case kRationalType:
    case kSRationalType:
    case kDoubleType:
    case kLong8Type:
    case kSLong8Type:
    case kIFD8Type: return 8;
    default: return 1;
  }
}

static bool isEightByteInteger(UInt16 type) {
  return type == kLong8Type || type == kSLong8Type || type == kIFD8Type;
}

// The size of a value of the entry's type in this kind of file: a classic
// TIFF has no 8-byte integer types, so there they are unknown types of a
// byte each, as they always were.
static UInt64 valueSize(const TIFFWalk* walk) {
  if (walk->state->bigTIFF == 0 && isEightByteInteger(walk->type)) return 1;
  return TagTypeSize(walk->type);
}

// Whether the entry's values are integers we read: the 8-byte types only in
// a BigTIFF.
static bool readsAsInteger(const TIFFWalk* walk) {
  switch (walk->type) {
    case kByteType:
    case kSByteType:
    case kShortType:
    case kSShortType:
    case kLongType:
    case kSLongType: return true;
    default: return isEightByteInteger(walk->type) && walk->state->bigTIFF != 0;
  }
}

// A value's bytes as the integer its type says, with or without sign. An
// unsigned 8-byte value past the signed 64-bit range, which no file
// position or count reaches, is refused.
static OSErr widen(const TIFFWalk* walk, UInt64 raw, SInt64* value) {
  switch (walk->type) {
    case kSByteType: *value = SInt8(raw); break;
    case kSShortType: *value = SInt16(raw); break;
    case kSLongType: *value = SInt32(raw); break;
    case kSLong8Type: *value = SInt64(raw); break;
    default:
      if (raw > UInt64(INT64_MAX)) return kTIFFNotHandled;
      *value = SInt64(raw);
  }
  return noErr;
}

// One value of the current entry, widened to 64 bits. Types that are not
// integers, and the 8-byte types outside a BigTIFF, are refused before
// reading.
static OSErr readInteger(TIFFWalk* walk, SInt64* value) {
  if (!readsAsInteger(walk)) return kTIFFNotHandled;
  const auto size = SInt32(TagTypeSize(walk->type));
  UInt8 bytes[8];
  if (OSErr err = ReadBytes(walk->state->refNum, size, bytes); err != noErr) return err;
  return widen(walk, DecodeInteger(bytes, size, walk->state->littleEndian), value);
}

// The value when err is noErr and the value lies in [minimum, maximum];
// otherwise 0, with walk->error saying why (and the value kept to tell the
// user).
static SInt64 keepInRange(TIFFWalk* walk, OSErr err, SInt64 value, SInt64 minimum, SInt64 maximum) {
  if (err == noErr && (value < minimum || value > maximum)) {
    err = kTIFFNotHandled;
    walk->state->refusedValue = SInt32(std::clamp<SInt64>(value, INT32_MIN, INT32_MAX));
  }
  walk->error = err;
  return err == noErr ? value : 0;
}

SInt64 ParseLong64(TIFFWalk* walk, SInt64 minimum, SInt64 maximum) {
  SInt64 value = 0;
  OSErr err = readInteger(walk, &value);
  return keepInRange(walk, err, value, minimum, maximum);
}

SInt32 ParseLong(TIFFWalk* walk, SInt32 minimum, SInt32 maximum) {
  return SInt32(ParseLong64(walk, minimum, maximum));
}

SInt16 ParseWord(TIFFWalk* walk, SInt32 minimum, SInt32 maximum) {
  return SInt16(UInt16(UInt32(ParseLong(walk, minimum, maximum))));
}

// RATIONAL parts are unsigned; read as signed, a part of 2^31 or more comes
// back up by 2^32 in double precision before it is narrowed.
static float unsignedPart(UInt32 raw) {
  double value = double(SInt32(raw));
  if (value < 0.0) value += 4294967296.0;
  return float(value);
}

static float readRational(TIFFWalk* walk, bool isSigned) {
  UInt32 numerator = 0;
  UInt32 denominator = 0;
  OSErr err = ReadLong(walk->state->refNum, walk->state->littleEndian, &numerator);
  if (err == noErr) err = ReadLong(walk->state->refNum, walk->state->littleEndian, &denominator);
  walk->error = err;
  if (err != noErr || denominator == 0) return 0.0f;
  float top = isSigned ? float(SInt32(numerator)) : unsignedPart(numerator);
  float bottom = isSigned ? float(SInt32(denominator)) : unsignedPart(denominator);
  return top / bottom;
}

float ParseFloat(TIFFWalk* walk) {
  if (walk->type == kRationalType || walk->type == kSRationalType) {
    return readRational(walk, walk->type == kSRationalType);
  }
  // A resolution is a nicety: an odd type or value leaves it unknown (0.0)
  // rather than costing the user the image.
  float value = float(ParseLong(walk, -2147483647, 2147483647));
  walk->error = noErr;
  return value;
}

// ---- Tags. Each parser returns its error; ParseTag records it.

template <class Field>
static OSErr parseWordInto(TIFFWalk* walk, SInt32 minimum, SInt32 maximum, Field* field) {
  SInt16 value = ParseWord(walk, minimum, maximum);
  if (walk->error == noErr) *field = Field(value);
  return walk->error;
}

template <class Field>
static OSErr parseLongInto(TIFFWalk* walk, SInt32 minimum, SInt32 maximum, Field* field) {
  SInt32 value = ParseLong(walk, minimum, maximum);
  if (walk->error == noErr) *field = Field(value);
  return walk->error;
}

static OSErr parseImageWidth(TIFFWalk* walk) {
  return parseLongInto(walk, 1, INT32_MAX, &walk->state->imageWidth);
}

// Until RowsPerStrip says otherwise the image is one strip (the
// RowsPerStrip default of TIFF 6.0, section 8).
static OSErr parseImageLength(TIFFWalk* walk) {
  OSErr err = parseLongInto(walk, 1, INT32_MAX, &walk->state->imageLength);
  if (err == noErr) walk->state->rowsPerStrip = walk->state->imageLength;
  return err;
}

static OSErr parseBitsPerSample(TIFFWalk* walk) {
  SInt16 first = ParseWord(walk, 1, 32);
  if (walk->error != noErr) return walk->error;
  for (UInt64 i = 1; i < walk->count; ++i) {
    SInt16 next = ParseWord(walk, 1, 32);
    if (walk->error != noErr) return walk->error;
    if (next != first) return kTIFFNotHandled;
  }
  walk->state->bitsPerSample = UInt16(first);
  return noErr;
}

// 0 is not a TIFF 6.0 value, but old writers used it for "none".
static OSErr parseCompression(TIFFWalk* walk) {
  OSErr err = parseLongInto(walk, 0, 65535, &walk->state->compression);
  if (err == noErr && walk->state->compression == 0) walk->state->compression = 1;
  return err;
}

static OSErr parsePhotometric(TIFFWalk* walk) {
  return parseWordInto(walk, 0, 8, &walk->state->photometricInterpretation);
}

static OSErr parseFillOrder(TIFFWalk* walk) {
  return parseWordInto(walk, 1, 2, &walk->state->fillOrder);
}

static OSErr parseSamplesPerPixel(TIFFWalk* walk) {
  return parseWordInto(walk, 1, 16, &walk->state->samplesPerPixel);
}

// Any count of rows at or past the image's, 2^32 - 1 among them, makes the
// image one strip.
static OSErr parseRowsPerStrip(TIFFWalk* walk) {
  SInt64 rows = ParseLong64(walk, 0, UINT32_MAX);
  if (walk->error != noErr) return walk->error;
  walk->state->rowsPerStrip =
      rows == 0 ? walk->state->imageLength
                : SInt32(std::min<SInt64>(rows, std::max<SInt32>(walk->state->imageLength, 0)));
  return noErr;
}

static OSErr parseXResolution(TIFFWalk* walk) {
  float value = ParseFloat(walk);
  if (walk->error == noErr) walk->state->xResolution = value;
  return walk->error;
}

static OSErr parseYResolution(TIFFWalk* walk) {
  float value = ParseFloat(walk);
  if (walk->error == noErr) walk->state->yResolution = value;
  return walk->error;
}

// 0 is not a TIFF 6.0 value; old writers meant the chunky default.
static OSErr parsePlanarConfiguration(TIFFWalk* walk) {
  OSErr err = parseWordInto(walk, 0, 2, &walk->state->planarConfiguration);
  if (err == noErr && walk->state->planarConfiguration == 0) walk->state->planarConfiguration = 1;
  return err;
}

static OSErr parseResolutionUnit(TIFFWalk* walk) {
  return parseWordInto(walk, 1, 3, &walk->state->resolutionUnit);
}

static OSErr parsePredictor(TIFFWalk* walk) {
  return parseLongInto(walk, 1, 2, &walk->state->predictor);
}

// Either tile size makes the image tiled, whichever tags hold its offsets:
// other readers take it so, and writing it as strips would put the pixels
// in the wrong places.
static OSErr parseTileWidth(TIFFWalk* walk) {
  OSErr err = parseLongInto(walk, 1, INT32_MAX, &walk->state->tileWidth);
  if (err == noErr) walk->state->tiled = 1;
  return err;
}

static OSErr parseTileLength(TIFFWalk* walk) {
  OSErr err = parseLongInto(walk, 1, INT32_MAX, &walk->state->rowsPerStrip);
  if (err == noErr) walk->state->tiled = 1;
  return err;
}

// The arrays hold one 64-bit value per strip, so their size must be a
// positive 32-bit allocation, and their values must lie inside the file: a
// directory that claims millions of strips in a small file fails as reading
// them would (at the end of the file) before any memory is taken for them.
static OSErr checkArrayFits(TIFFWalk* walk) {
  if (walk->count > UInt64(INT32_MAX / 8)) return kTIFFNotHandled;
  SInt64 here = 0;
  if (OSErr err = GetPosition(walk->state->refNum, &here); err != noErr) return err;
  UInt64 end = UInt64(here) + valueSize(walk) * walk->count;
  if (OSErr err = SeekToOffset(walk->state->refNum, end); err != noErr) return err;
  return SeekTo(walk->state->refNum, here);
}

// Allocates the array into *array (the state owns it from then on, also when
// a value fails) and reads the entry's values into it, many values a read:
// a big tiled image has hundreds of thousands of them.
static OSErr readStripArray(TIFFWalk* walk, UInt64** array) {
  if (!readsAsInteger(walk)) return kTIFFNotHandled;
  if (OSErr err = checkArrayFits(walk); err != noErr) return err;
  if (OSErr err = AllocateMemory(SInt32(walk->count * 8), array); err != noErr) return err;
  constexpr UInt64 kValuesAtOnce = 1024;
  const auto size = SInt32(TagTypeSize(walk->type));
  UInt8 chunk[kValuesAtOnce * 8];
  for (UInt64 i = 0; i < walk->count;) {
    const UInt64 n = std::min(kValuesAtOnce, walk->count - i);
    if (OSErr err = ReadBytes(walk->state->refNum, SInt64(n) * size, chunk); err != noErr) {
      return err;
    }
    for (UInt64 j = 0; j < n; ++j, ++i) {
      SInt64 value = 0;
      const UInt64 raw = DecodeInteger(chunk + j * UInt64(size), size, walk->state->littleEndian);
      const OSErr err = widen(walk, raw, &value);
      (*array)[i] = UInt64(keepInRange(walk, err, value, 0, INT64_MAX));
      if (walk->error != noErr) return walk->error;
    }
  }
  return noErr;
}

static OSErr parseOffsets(TIFFWalk* walk, UInt8 tileTags) {
  walk->state->tileOffsets = tileTags;
  if (tileTags != 0) walk->state->tiled = 1;
  if (walk->count == 0 || walk->state->stripOffsets != nullptr) return kTIFFNotHandled;
  walk->state->stripCount = SInt32(walk->count);
  return readStripArray(walk, &walk->state->stripOffsets);
}

// Byte counts pair with offsets of their own kind, whatever the tile sizes say.
static OSErr parseByteCounts(TIFFWalk* walk, UInt8 tileTags) {
  if (walk->state->tileOffsets != tileTags || walk->count != UInt64(walk->state->stripCount) ||
      walk->state->stripByteCounts != nullptr) {
    return kTIFFNotHandled;
  }
  return readStripArray(walk, &walk->state->stripByteCounts);
}

static OSErr parseStripOffsets(TIFFWalk* walk) { return parseOffsets(walk, 0); }
static OSErr parseTileOffsets(TIFFWalk* walk) { return parseOffsets(walk, 1); }
static OSErr parseStripByteCounts(TIFFWalk* walk) { return parseByteCounts(walk, 0); }
static OSErr parseTileByteCounts(TIFFWalk* walk) { return parseByteCounts(walk, 1); }

// One pass over the first 256 values of each channel. TIFF 6.0, section 5
// lays out all red values, then all green, then all blue.
static OSErr readColorMapPass(TIFFWalk* walk, SInt64 start, SInt32 maximum, bool* all8Bit) {
  UInt64 perChannel = walk->count / 3;
  UInt32 used = perChannel < 256 ? UInt32(perChannel) : 256;
  int shift = maximum > 255 ? 8 : 0;
  UInt64 channelBytes = perChannel * valueSize(walk);
  for (UInt32 channel = 0; channel < 3; ++channel) {
    if (OSErr err = SeekToOffset(walk->state->refNum, UInt64(start) + channel * channelBytes);
        err != noErr) {
      return err;
    }
    for (UInt32 i = 0; i < used; ++i) {
      SInt32 value = ParseLong(walk, 0, maximum);
      if (walk->error != noErr) return walk->error;
      if (value > 255) *all8Bit = false;
      walk->state->colorMap[channel * 256 + i] = UInt8(value >> shift);
    }
  }
  return noErr;
}

// Maps are meant to hold 16-bit values, but writers of 8-bit maps are common
// enough that a map without a single value above 255 is taken as 8-bit.
static OSErr parseColorMap(TIFFWalk* walk) {
  if (walk->state->colorMap == nullptr) {
    if (OSErr err = AllocateMemory(kColorMapBytes, &walk->state->colorMap); err != noErr)
      return err;
  }
  SetMemory(walk->state->colorMap, kColorMapBytes, 0);
  SInt64 start = 0;
  if (OSErr err = GetPosition(walk->state->refNum, &start); err != noErr) return err;
  bool all8Bit = true;
  if (OSErr err = readColorMapPass(walk, start, 65535, &all8Bit); err != noErr) return err;
  if (!all8Bit) return noErr;
  return readColorMapPass(walk, start, 255, &all8Bit);
}

static OSErr parseDotRange(TIFFWalk* walk) {
  SInt16 first = ParseWord(walk, 0, 255);
  if (walk->error != noErr) return walk->error;
  SInt16 second = ParseWord(walk, 0, 255);
  if (walk->error != noErr) return walk->error;
  walk->state->dotRangeAscending = second >= first ? 1 : 0;
  return noErr;
}

// The block is the host's business, not the image's: a damaged one leaves
// the list empty and the file opens all the same. A count of 2^31 or more
// becomes a negative length, which the block reader refuses.
static OSErr parseImageResourceBlock(TIFFWalk* walk) {
  // The reader empties the list without freeing it; a second block replaces the first.
  DisposeImageResources(&walk->state->imageResources);
  const SInt32 length = walk->count > UInt64(INT32_MAX) ? -1 : SInt32(walk->count);
  ParseImageResources(walk->state->refNum, length, &walk->state->imageResources);
  return noErr;
}

// The pixels are handed out as unsigned integers (TIFF 6.0, section 19):
// signed or floating-point samples would arrive as other numbers, so they
// are refused whatever their depth.
static OSErr parseSampleFormat(TIFFWalk* walk) {
  for (UInt64 i = 0; i < walk->count; ++i) {
    ParseLong(walk, 1, 1);
    if (walk->error != noErr) return walk->error;
  }
  return noErr;
}

using TagParser = OSErr (*)(TIFFWalk*);

// ExtraSamples needs nothing, so it is left with the tags we skip.
static TagParser parserFor(UInt16 tag) {
  switch (tag) {
    case kImageWidthTag: return parseImageWidth;
    case kImageLengthTag: return parseImageLength;
    case kBitsPerSampleTag: return parseBitsPerSample;
    case kCompressionTag: return parseCompression;
    case kPhotometricTag: return parsePhotometric;
    case kFillOrderTag: return parseFillOrder;
    case kStripOffsetsTag: return parseStripOffsets;
    case kSamplesPerPixelTag: return parseSamplesPerPixel;
    case kRowsPerStripTag: return parseRowsPerStrip;
    case kStripByteCountsTag: return parseStripByteCounts;
    case kXResolutionTag: return parseXResolution;
    case kYResolutionTag: return parseYResolution;
    case kPlanarConfigurationTag: return parsePlanarConfiguration;
    case kResolutionUnitTag: return parseResolutionUnit;
    case kPredictorTag: return parsePredictor;
    case kColorMapTag: return parseColorMap;
    case kTileWidthTag: return parseTileWidth;
    case kTileLengthTag: return parseTileLength;
    case kTileOffsetsTag: return parseTileOffsets;
    case kTileByteCountsTag: return parseTileByteCounts;
    case kDotRangeTag: return parseDotRange;
    case kSampleFormatTag: return parseSampleFormat;
    case kImageResourcesTag: return parseImageResourceBlock;
    default: return nullptr;
  }
}

// ParseIFDEntry decides between inline values and an offset with a product
// as wide as the file's offsets: 32 bits in a classic TIFF, as its readers
// always have, 64 in a BigTIFF. For a tag whose values we read, a product
// that wrapped would point us at the wrong bytes, so such a count is
// refused. The image-resource block is exempt: its count is a byte length
// handed on whole, and whatever goes wrong there must not fail the open.
static bool valueBytesFit(const TIFFWalk* walk) {
  if (walk->tag == kImageResourcesTag) return true;
  if (walk->count > UINT32_MAX) return false;
  const UInt64 bytes = valueSize(walk) * walk->count;
  return walk->state->bigTIFF != 0 || bytes <= UINT32_MAX;
}

OSErr ParseTag(TIFFWalk* walk) {
  TagParser parser = parserFor(walk->tag);
  if (parser == nullptr) return noErr;
  walk->error = valueBytesFit(walk) ? parser(walk) : kTIFFNotHandled;
  // Kept so that the host can tell the user which value it could not take.
  if (walk->error == kTIFFNotHandled) walk->state->refusedTag = walk->tag;
  return walk->error;
}

// An offset of the file's width: 4 bytes in a classic TIFF, 8 in a BigTIFF.
static OSErr readOffset(const TIFFState* state, UInt64* offset) {
  if (state->bigTIFF != 0) return ReadLong64(state->refNum, state->littleEndian, offset);
  UInt32 quad = 0;
  if (OSErr err = ReadLong(state->refNum, state->littleEndian, &quad); err != noErr) return err;
  *offset = quad;
  return noErr;
}

// Whether the values sit in the entry itself (TIFF 6.0, section 2; a BigTIFF
// entry holds up to 8 bytes).
static bool valuesInline(const TIFFWalk* walk) {
  if (walk->state->bigTIFF == 0) return UInt32(valueSize(walk) * walk->count) <= 4;
  return walk->count <= 8 && valueSize(walk) * walk->count <= 8;
}

OSErr ParseIFDEntry(TIFFWalk* walk) {
  const TIFFState* state = walk->state;
  SInt16 file = state->refNum;
  if (OSErr err = ReadWord(file, state->littleEndian, &walk->tag); err != noErr) return err;
  if (OSErr err = ReadWord(file, state->littleEndian, &walk->type); err != noErr) return err;
  if (OSErr err = readOffset(state, &walk->count); err != noErr) return err;
  if (!valuesInline(walk)) {
    UInt64 valueOffset = 0;
    if (OSErr err = readOffset(state, &valueOffset); err != noErr) return err;
    if (OSErr err = SeekToOffset(file, valueOffset); err != noErr) return err;
  }
  return ParseTag(walk);
}

// ---- Directory

// A classic directory: a 2-byte count, 12-byte entries, a 4-byte next
// offset; a BigTIFF one: an 8-byte count, 20-byte entries, an 8-byte next.
static UInt64 entryPosition(const TIFFState* state, UInt64 directory, SInt32 index) {
  const UInt64 countBytes = state->bigTIFF != 0 ? 8 : 2;
  const UInt64 entryBytes = state->bigTIFF != 0 ? 20 : 12;
  return directory + countBytes + entryBytes * UInt64(index);
}

static OSErr sortEntriesByTag(TIFFWalk* walk, UInt64 directory, SInt16 count, SortedList* list) {
  for (SInt32 i = 0; i < count; ++i) {
    UInt16 tag = 0;
    if (OSErr err = SeekToOffset(walk->state->refNum, entryPosition(walk->state, directory, i));
        err != noErr) {
      return err;
    }
    if (OSErr err = ReadWord(walk->state->refNum, walk->state->littleEndian, &tag); err != noErr)
      return err;
    InsertSortedListElement(list, tag, i);
  }
  return noErr;
}

// Tags are acted on in ascending order whatever their order in the file:
// RowsPerStrip needs ImageLength, the byte counts check against the offsets,
// and TileLength overrides what ImageLength set.
static OSErr parseEntriesInTagOrder(TIFFWalk* walk, UInt64 directory, SInt16 count,
                                    const SortedList* list) {
  for (SInt32 rank = 0; rank < count; ++rank) {
    SInt32 index = GetSortedListValueByIndex(list, rank);
    if (OSErr err = SeekToOffset(walk->state->refNum, entryPosition(walk->state, directory, index));
        err != noErr) {
      return err;
    }
    if (OSErr err = ParseIFDEntry(walk); err != noErr) return err;
  }
  return noErr;
}

static OSErr readNextOffset(TIFFWalk* walk, UInt64 directory, SInt16 count, UInt64* next) {
  if (OSErr err = SeekToOffset(walk->state->refNum, entryPosition(walk->state, directory, count));
      err != noErr) {
    return err;
  }
  return readOffset(walk->state, next);
}

// The directory's entry count. A count past 32767 cannot be a directory of
// ours in either kind of file; it comes back negative, which the entry list
// refuses, as a classic count of 32768 or more always has been.
static OSErr readEntryCount(const TIFFState* state, SInt16* count) {
  if (state->bigTIFF != 0) {
    UInt64 wide = 0;
    if (OSErr err = ReadLong64(state->refNum, state->littleEndian, &wide); err != noErr) return err;
    *count = wide > UInt64(INT16_MAX) ? SInt16(-1) : SInt16(wide);
    return noErr;
  }
  UInt16 raw = 0;
  if (OSErr err = ReadWord(state->refNum, state->littleEndian, &raw); err != noErr) return err;
  *count = SInt16(raw);
  return noErr;
}

OSErr ParseIFD(TIFFWalk* walk, UInt64 offset, UInt64* nextOffset) {
  SInt16 count = 0;
  if (OSErr err = SeekToOffset(walk->state->refNum, offset); err != noErr) return err;
  if (OSErr err = readEntryCount(walk->state, &count); err != noErr) return err;
  SortedList* list = nullptr;
  if (OSErr err = AllocateSortedList(count, &list); err != noErr) return err;
  OSErr err = sortEntriesByTag(walk, offset, count, list);
  if (err == noErr) err = parseEntriesInTagOrder(walk, offset, count, list);
  UInt64 next = 0;
  if (err == noErr && nextOffset != nullptr) err = readNextOffset(walk, offset, count, &next);
  if (err == noErr && nextOffset != nullptr) *nextOffset = next;
  DisposeSortedList(list);
  return err;
}

// A BigTIFF header goes on with the offsets' size, 8, and a 0 before the
// 8-byte offset of the first directory.
static OSErr readBigTIFFHeader(TIFFState* state) {
  UInt16 offsetBytes = 0;
  UInt16 reserved = 0;
  if (OSErr err = ReadWord(state->refNum, state->littleEndian, &offsetBytes); err != noErr)
    return err;
  if (OSErr err = ReadWord(state->refNum, state->littleEndian, &reserved); err != noErr) return err;
  if (offsetBytes != kBigTIFFOffsetBytes || reserved != 0) return kTIFFNotHandled;
  state->bigTIFF = 1;
  return readOffset(state, &state->firstIFDOffset);
}

// TIFF 6.0, section 2: byte order, 42, offset of the first directory; or
// byte order, 43 and the rest of a BigTIFF header.
static OSErr readHeader(TIFFWalk* walk) {
  TIFFState* state = walk->state;
  UInt16 order = 0;
  UInt16 version = 0;
  if (OSErr err = ReadWord(state->refNum, kBigEndian, &order); err != noErr) return err;
  if (order != kHeaderBigEndian && order != kHeaderLittleEndian) return kTIFFNotHandled;
  state->littleEndian = order == kHeaderLittleEndian ? 1 : 0;
  if (OSErr err = ReadWord(state->refNum, state->littleEndian, &version); err != noErr) return err;
  if (version == kBigTIFFVersion) return readBigTIFFHeader(state);
  if (version != kTIFFVersion) return kTIFFNotHandled;
  return readOffset(state, &state->firstIFDOffset);
}

// Defaults of TIFF 6.0, section 8, except PhotometricInterpretation, whose
// absence the format layer must see.
static void setDefaults(TIFFWalk* walk) {
  walk->state->imageWidth = -1;
  walk->state->imageLength = -1;
  walk->state->bitsPerSample = 1;
  walk->state->compression = 1;
  walk->state->photometricInterpretation = 65535;
  walk->state->samplesPerPixel = 1;
  walk->state->planarConfiguration = 1;
  walk->state->resolutionUnit = 2;
  walk->state->predictor = 1;
  walk->state->fillOrder = 1;
  walk->state->dotRangeAscending = 1;
}

static OSErr readDirectory(TIFFWalk* walk) {
  if (OSErr err = readHeader(walk); err != noErr) return err;
  setDefaults(walk);
  UInt64 next = 0;
  if (OSErr err = ParseIFD(walk, walk->state->firstIFDOffset, &next); err != noErr) return err;
  walk->state->nextIFDOffset = next;
  if (walk->state->imageWidth == -1 || walk->state->imageLength == -1 ||
      walk->state->stripOffsets == nullptr) {
    return kTIFFNotHandled;
  }
  return noErr;
}

// Samples are handed to the host with 0 as black, except that bilevel
// images follow the host's bitmap convention of 1 as black.
static UInt8 needsInversion(const TIFFState* state) {
  if (state->photometricInterpretation == kWhiteIsZero) return state->bitsPerSample > 1;
  if (state->photometricInterpretation == kBlackIsZero) return state->bitsPerSample == 1;
  return 0;
}

static OSErr checkTileSizes(const TIFFState* state);

OSErr TIFFFormatOpen(TIFFState* state, const FSSpec* file) {
  *state = TIFFState{};
  state->fileSpec = *file;
  if (OSErr err = OpenFile(file, &state->refNum); err != noErr) return err;
  TIFFWalk walk{state, 0, 0, 0, noErr};
  OSErr err = readDirectory(&walk);
  if (err == noErr) err = checkTileSizes(state);
  if (err != noErr) {
    CloseFile(state->refNum);
    state->refNum = 0;
    return err;
  }
  state->invert = needsInversion(state);
  return noErr;
}

OSErr TIFFFormatClose(TIFFState* state) {
  if (state->refNum != 0) {
    CloseFile(state->refNum);
    state->refNum = 0;
  }
  DisposeMemory(state->colorMap);
  state->colorMap = nullptr;
  DisposeMemory(state->stripOffsets);
  state->stripOffsets = nullptr;
  DisposeMemory(state->stripByteCounts);
  state->stripByteCounts = nullptr;
  DisposeImageResources(&state->imageResources);
  return noErr;
}

// ---- Pixels

static SInt32 planesPerBlock(const TIFFState* state) {
  return state->planarConfiguration == 2 ? 1 : state->samplesPerPixel;
}

// A tile size given over strip offsets, or one size alone, leaves the other
// as the image's: TileLength falls back to RowsPerStrip (or ImageLength).
static SInt32 blockWidthOf(const TIFFState* state) {
  return state->tiled != 0 && state->tileWidth > 0 ? state->tileWidth : state->imageWidth;
}

// Tiles are written whole in their rows' width: an uncompressed tile that
// claims fewer bytes than a full tile would have its neighbour overwritten.
static OSErr checkTileSizes(const TIFFState* state) {
  if (state->tiled == 0 || state->compression != 1 || state->stripByteCounts == nullptr) {
    return noErr;
  }
  const UInt64 rowBits =
      UInt64(blockWidthOf(state)) * UInt64(planesPerBlock(state)) * state->bitsPerSample;
  const UInt64 full = (rowBits + 7) / 8 * UInt64(std::max<SInt32>(state->rowsPerStrip, 0));
  for (SInt32 i = 0; i < state->stripCount; ++i) {
    if (state->stripByteCounts[i] < full) return kTIFFNotHandled;
  }
  return noErr;
}

static SInt32 blocksAlong(SInt32 pixels, SInt32 blockPixels) {
  return SInt32((SInt64(pixels) + blockPixels - 1) / blockPixels);
}

// Samples are handed to the host with 0 as black; a* and b* are signed in
// the file (TIFF 6.0, section 23), offset binary in memory; the file counts
// ink up from 0 (section 16) unless a DotRange says otherwise, the host
// counts it down from 255, and planes past the four inks are extra samples.
static SampleConversion conversionOf(const TIFFState* state) {
  SampleConversion conversion{};
  if (state->invert != 0) conversion.invertEnd = state->samplesPerPixel;
  if (state->photometricInterpretation == kCIELab) conversion = {0, 0, 1, 3};
  if (state->photometricInterpretation == kSeparated && state->dotRangeAscending != 0) {
    conversion = {0, 4, 0, 0};
  }
  return conversion;
}

OSErr TIFFFormatGeometry(const TIFFState* state, BlockGeometry* geometry) {
  if (state->compression != 1 || state->bitsPerSample != 8 || state->stripOffsets == nullptr) {
    return kFormatFailure;
  }
  const SInt32 width = blockWidthOf(state);
  const SInt32 height = state->rowsPerStrip;
  if (width <= 0 || height <= 0) return kTIFFNotHandled;
  const SInt32 group = planesPerBlock(state);
  BlockGeometry g{};
  g.width = state->imageWidth;
  g.height = state->imageLength;
  g.planes = state->samplesPerPixel;
  g.blockWidth = width;
  g.blockHeight = height;
  g.blocksAcross = blocksAlong(g.width, width);
  g.blocksDown = blocksAlong(g.height, height);
  g.groupPlanes = g.colBytes = group;
  g.rowBytes = SInt64(width) * group;
  g.offsets = state->stripOffsets;
  g.conversion = conversionOf(state);
  // Blocks that leave samples uncovered are a layout we cannot handle,
  // never an index past the offsets.
  if (BlockCount(g) > state->stripCount) return kTIFFNotHandled;
  *geometry = g;
  return noErr;
}

// One row of a strip: all samples of the row, or one plane's when the planes
// are stored apart, packed into whole bytes (TIFF 6.0, section 7).
static UInt64 stripRowBytes(const TIFFState* state) {
  const UInt64 samples = UInt64(planesPerBlock(state));
  return (UInt64(state->imageWidth) * samples * state->bitsPerSample + 7) / 8;
}

// offset + rows * rowBytes, or the largest position when that passes it:
// a directory may claim a strip no file could hold.
static UInt64 blockEnd(UInt64 offset, UInt64 rows, UInt64 rowBytes) {
  UInt64 bytes = 0;
  UInt64 end = 0;
  if (__builtin_mul_overflow(rows, rowBytes, &bytes) ||
      __builtin_add_overflow(offset, bytes, &end)) {
    return UINT64_MAX;
  }
  return end;
}

// Uncompressed strips hold exactly their rows, whatever their byte counts
// claim; the planes of a planar image follow one another in the offsets.
static UInt64 geometricDataEnd(const TIFFState* state) {
  const SInt32 rows = state->rowsPerStrip;
  if (rows <= 0 || state->imageLength <= 0) return 0;
  const SInt64 perPlane = (SInt64(state->imageLength) + rows - 1) / rows;
  const SInt64 planes = state->planarConfiguration == 2 ? state->samplesPerPixel : 1;
  const SInt64 strips = std::min<SInt64>(perPlane * planes, state->stripCount);
  const UInt64 rowBytes = stripRowBytes(state);
  UInt64 end = 0;
  for (SInt64 strip = 0; strip < strips; ++strip) {
    const SInt64 held = std::min<SInt64>(rows, state->imageLength - (strip % perPlane) * rows);
    end = std::max(end, blockEnd(state->stripOffsets[strip], UInt64(held), rowBytes));
  }
  return end;
}

static UInt64 countedDataEnd(const TIFFState* state) {
  if (state->stripByteCounts == nullptr) return 0;
  UInt64 end = 0;
  for (SInt32 i = 0; i < state->stripCount; ++i) {
    end = std::max(end, blockEnd(state->stripOffsets[i], 1, state->stripByteCounts[i]));
  }
  return end;
}

UInt64 TIFFFormatDataEnd(const TIFFState* state) {
  if (state->stripOffsets == nullptr) return 0;
  if (state->tiled != 0 || state->compression != 1) return countedDataEnd(state);
  return geometricDataEnd(state);
}

// ---- The format's table

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

static void describeTIFF(const void* raw, SourceImage* image) {
  const auto* state = static_cast<const TIFFState*>(raw);
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

static void tiffLayout(const void* raw, FormatLayout* layout) {
  const auto* state = static_cast<const TIFFState*>(raw);
  BlockGeometry geometry{};
  if (TIFFFormatGeometry(state, &geometry) == noErr) PlainLayout(geometry, layout);
  layout->compression = state->compression;
  layout->planarConfiguration = state->planarConfiguration;
  layout->predictor = state->predictor;
  layout->fillOrder = state->fillOrder;
  layout->tiled = state->tiled;
  layout->bigTIFF = state->bigTIFF;
  layout->littleEndian = UInt8(state->littleEndian != 0 ? 1 : 0);
  layout->photometric = state->photometricInterpretation;
  layout->refusedTag = state->refusedTag;
  layout->refusedValue = state->refusedValue;
}

// Planes and tiles are moved wherever the geometry holds; what is left of
// 116, 119 and 122 are planar or tiled files whose blocks it cannot describe.
static OSErr unmovableLayout(const TIFFState* state, OSErr planar, OSErr tiled) {
  BlockGeometry geometry{};
  if (TIFFFormatGeometry(state, &geometry) == noErr) return noErr;
  if (state->planarConfiguration != 1) return planar;
  return state->tiled != 0 ? tiled : noErr;
}

// In the order the user is told about them.
static OSErr tiffVerdict(const void* raw, Boolean write) {
  const auto* state = static_cast<const TIFFState*>(raw);
  if (write) {
    if (state->compression != 1 || state->predictor != 1) return kTIFFCompressionNotWritable;
    if (state->fillOrder != 1) return kTIFFLayoutNotWritable;
    return unmovableLayout(state, kTIFFLayoutNotWritable, kTIFFLayoutNotWritable);
  }
  if (state->compression != 1) return kTIFFCompressed;
  if (state->predictor != 1) return kTIFFPredictor;
  if (state->fillOrder != 1) return kTIFFFillOrder;
  return unmovableLayout(state, kTIFFPlanar, kTIFFTiled);
}

const FormatOps kTIFFOps{
    kTIFFFormat,
    {".TIF", ".TIFF"},
    sizeof(TIFFState),
    [](void* state, const FSSpec* file) {
      return TIFFFormatOpen(static_cast<TIFFState*>(state), file);
    },
    describeTIFF,
    [](const void* state, BlockGeometry* geometry) {
      return TIFFFormatGeometry(static_cast<const TIFFState*>(state), geometry);
    },
    tiffLayout,
    tiffVerdict,
    [](const void* state) { return TIFFFormatDataEnd(static_cast<const TIFFState*>(state)); },
    [](const void* state) { return static_cast<const TIFFState*>(state)->refNum; },
    [](void* state) { return TIFFFormatClose(static_cast<TIFFState*>(state)); },
};
