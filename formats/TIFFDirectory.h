// The directory walk of the TIFF reader, seen only by the TIFF format and
// its tests: each call reads at the file's current position and leaves the
// entry it works on in the state's current fields.
#pragma once

#include "formats/TIFFFormat.h"

OSErr ParseIFD(TIFFState* state, UInt32 offset, UInt32* nextOffset);
OSErr ParseIFDEntry(TIFFState* state);
OSErr ParseTag(TIFFState* state);
UInt16 TagTypeSize(UInt16 type);
SInt32 ParseLong(TIFFState* state, SInt32 minimum, SInt32 maximum);
SInt16 ParseWord(TIFFState* state, SInt32 minimum, SInt32 maximum);
float ParseFloat(TIFFState* state);
SInt32 Min32(SInt32 a, SInt32 b);
