// The host's native format, version 2: the description in "LUMN" image
// resources of the resource fork, the channels as whole raw planes in the
// data fork.
#pragma once

#include "MacTypes.h"
#include "formats/FormatTable.h"
#include "formats/ImageResources.h"

struct NativeV2State {
  FSSpec fileSpec;
  SInt16 refNum;  // 0 when closed
  ImageResourceList imageResources;
  UInt16 channels;
  SInt32 rows;
  SInt32 columns;
  SInt16 mode;
  Fixed hResolution;  // 16.16 pixels per inch
  Fixed vResolution;
  UInt8* colorTable;   // 768 bytes, owned, indexed files only
  Handle duotoneInfo;  // owned, duotone files only
};

OSErr Lumen2FormatOpen(NativeV2State* state, const FSSpec* file);
OSErr Lumen2FormatClose(NativeV2State* state);
// One past the last byte of the last channel's plane.
UInt64 Lumen2FormatDataEnd(const NativeV2State* state);

extern const FormatOps kNativeOps;
