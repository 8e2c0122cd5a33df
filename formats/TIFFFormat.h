// TIFF files: the header and first directory (TIFF 6.0, sections 2 and 8),
// and rectangles of uncompressed, chunky, stripped 8-bit pixels read and
// written in place.
#pragma once

#include "MacTypes.h"
#include "formats/ImageResources.h"
#include "tiles/CopyTile.h"

struct TIFFState {
  FSSpec fileSpec;
  SInt16 refNum;        // 0 when closed
  SInt16 littleEndian;  // 1 for "II", 0 for "MM"; the byte order of every read
  UInt16 currentTag;
  UInt16 currentType;
  UInt32 currentCount;
  OSErr parseError;
  ImageResourceList imageResources;
  UInt32 firstIFDOffset;
  UInt32 nextIFDOffset;
  SInt32 imageWidth;   // -1 when absent
  SInt32 imageLength;  // -1 when absent
  UInt16 bitsPerSample;
  UInt16 compression;
  UInt16 photometricInterpretation;  // 65535 when absent
  UInt16 samplesPerPixel;
  float xResolution;
  float yResolution;
  UInt16 planarConfiguration;
  UInt16 resolutionUnit;
  UInt16 predictor;
  UInt8* colorMap;  // 768 bytes, owned; null when absent
  SInt32 rowsPerStrip;
  UInt32* stripOffsets;     // owned
  UInt32* stripByteCounts;  // owned
  UInt16 fillOrder;
  UInt8 tiled;  // TileWidth, TileLength or TileOffsets present: the image is in tiles
  SInt32 stripCount;
  UInt8 dotRangeAscending;
  UInt8 invert;
  UInt8 tileOffsets;    // the offsets came under TileOffsets; their byte counts must too
  UInt16 refusedTag;    // the tag whose value failed the open with 300; 0 for none
  SInt32 refusedValue;  // the out-of-range value of refusedTag, when it was an integer
};

// Opens the file and reads its first directory into the state. After a
// failure the file is closed; what was allocated stays for TIFFFormatClose.
OSErr TIFFFormatOpen(TIFFState* state, const FSSpec* file);
// Closes the file and frees what the state owns; safe after a failed open
// and when called twice. Returns noErr.
OSErr TIFFFormatClose(TIFFState* state);
OSErr TIFFFormatGetTile(TIFFState* state, const Tile& tile, const TileArea& area);
OSErr TIFFFormatPutTile(TIFFState* state, const Tile& tile, const TileArea& area);
// One past the last byte of the image's pixels: the end of the strip or tile
// that lies furthest into the file; 0 when the directory gives no strips.
// Uncompressed strips are measured by the image's geometry; tiles and
// compressed strips, whose size only their byte counts tell, by those.
UInt64 TIFFFormatDataEnd(const TIFFState* state);

OSErr ParseIFD(TIFFState* state, UInt32 offset, UInt32* nextOffset);
OSErr ParseIFDEntry(TIFFState* state);
OSErr ParseTag(TIFFState* state);
UInt16 TagTypeSize(UInt16 type);
SInt32 ParseLong(TIFFState* state, SInt32 minimum, SInt32 maximum);
SInt16 ParseWord(TIFFState* state, SInt32 minimum, SInt32 maximum);
float ParseFloat(TIFFState* state);
SInt16 Min16(SInt16 a, SInt16 b);
SInt32 Min32(SInt32 a, SInt32 b);
SInt32 Max32(SInt32 a, SInt32 b);
// Positions the file at the first byte of image row row and stores the row's
// strip in span (top, left, bottom, right; bottom not cut at ImageLength).
OSErr SeekToRow(TIFFState* state, SInt32 row, TileArea* span);
