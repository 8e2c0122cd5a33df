// The directory walk of the TIFF reader, seen only by the TIFF format and
// its tests: each call reads at the file's current position, keeps the
// entry it works on in the walk and what it learns in the walk's state.
#pragma once

#include "formats/TIFFFormat.h"

struct TIFFWalk {
  TIFFState* state;
  UInt16 tag;  // the entry being read
  UInt16 type;
  UInt32 count;
  OSErr error;  // of the last value read
};

OSErr ParseIFD(TIFFWalk* walk, UInt32 offset, UInt32* nextOffset);
OSErr ParseIFDEntry(TIFFWalk* walk);
OSErr ParseTag(TIFFWalk* walk);
UInt16 TagTypeSize(UInt16 type);
SInt32 ParseLong(TIFFWalk* walk, SInt32 minimum, SInt32 maximum);
SInt16 ParseWord(TIFFWalk* walk, SInt32 minimum, SInt32 maximum);
float ParseFloat(TIFFWalk* walk);
SInt32 Min32(SInt32 a, SInt32 b);
