// Scitex CT files: a header of ASCII numbers at fixed places and 8-bit
// samples line by line, each line one segment per channel.
#pragma once

#include "MacTypes.h"
#include "formats/FormatTable.h"
#include "formats/ImageResources.h"

struct ScitexState {
  FSSpec fileSpec;
  SInt16 refNum;  // 0 when closed
  ImageResourceList imageResources;
  SInt16 units;  // 0 millimetres, 1 inches
  SInt16 channels;
  float heightInUnits;
  float widthInUnits;
  SInt32 lines;
  SInt32 pixelsPerLine;
};

OSErr ScitexFormatOpen(ScitexState* state, const FSSpec* file);
OSErr ScitexFormatClose(ScitexState* state);
// One past the last byte of the last line's last channel, pad included.
UInt64 ScitexFormatDataEnd(const ScitexState* state);

// A signed integer field of digits digits after its sign (and a point when
// point is set) at the current position.
OSErr ParseInteger(SInt16 file, SInt16 digits, Boolean point, SInt32* value);
// A 14-character real field such as +.25400000E+02.
OSErr ParseReal(SInt16 file, float* value);

extern const FormatOps kScitexOps;
