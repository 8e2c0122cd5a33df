// The directory walk of the TIFF reader, seen only by the TIFF format and
// its tests: each call reads at the file's current position, keeps the
// entry it works on in the walk and what it learns in the walk's state.
#pragma once

#include "formats/TIFFFormat.h"

struct TIFFWalk {
  TIFFState* state;
  UInt16 tag;  // the entry being read
  UInt16 type;
  UInt64 count;
  OSErr error;  // of the last value read
};

OSErr ParseIFD(TIFFWalk* walk, UInt64 offset, UInt64* nextOffset);
OSErr ParseIFDEntry(TIFFWalk* walk);
OSErr ParseTag(TIFFWalk* walk);
UInt16 TagTypeSize(UInt16 type);
SInt32 ParseLong(TIFFWalk* walk, SInt32 minimum, SInt32 maximum);
// One integer value of any integer type the file may hold, 8-byte ones
// only in a BigTIFF; out of [minimum, maximum] it is refused with 300.
SInt64 ParseLong64(TIFFWalk* walk, SInt64 minimum, SInt64 maximum);
SInt16 ParseWord(TIFFWalk* walk, SInt32 minimum, SInt32 maximum);
float ParseFloat(TIFFWalk* walk);
