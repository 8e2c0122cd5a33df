// TIFF files: the header and first directory (TIFF 6.0, sections 2 and 8;
// BigTIFF's 8-byte offsets and counts as well),
// and the geometry of uncompressed 8-bit pixels in strips or tiles, chunky
// or one plane per block, for the band mover to read and write in place.
#pragma once

#include "MacTypes.h"
#include "formats/FormatTable.h"
#include "formats/ImageResources.h"

struct TIFFState {
  FSSpec fileSpec;
  SInt16 refNum;        // 0 when closed
  SInt16 littleEndian;  // 1 for "II", 0 for "MM"; the byte order of every read
  UInt8 bigTIFF;        // version 43: 8-byte offsets and counts
  ImageResourceList imageResources;
  UInt64 firstIFDOffset;
  UInt64 nextIFDOffset;
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
  UInt64* stripOffsets;     // owned
  UInt64* stripByteCounts;  // owned
  UInt16 fillOrder;
  UInt8 tiled;       // TileWidth, TileLength or TileOffsets present: the image is in tiles
  SInt32 tileWidth;  // 0 when absent; TileLength is kept in rowsPerStrip
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
// Where the pixels lie: 499 for a layout that is not uncompressed 8-bit,
// 300 when the blocks leave samples uncovered.
OSErr TIFFFormatGeometry(const TIFFState* state, BlockGeometry* geometry);
// One past the last byte of the image's pixels: the end of the strip or tile
// that lies furthest into the file; 0 when the directory gives no strips.
// Uncompressed strips are measured by the image's geometry; tiles and
// compressed strips, whose size only their byte counts tell, by those.
UInt64 TIFFFormatDataEnd(const TIFFState* state);

extern const FormatOps kTIFFOps;
