// What each format supplies to the format layer: one table of operations
// over the format's private state. Only the formats and RasterFormats.cpp
// see it.
#pragma once

#include "MacTypes.h"
#include "formats/BlockGeometry.h"
#include "formats/RasterFormats.h"

struct FormatOps {
  FormatCode code;
  const char* suffixes[2];  // upper-case name endings that name the format; null when unused
  SInt32 stateSize;         // the state is a plain record, zero-filled before open
  OSErr (*open)(void* state, const FSSpec* file);
  void (*describe)(const void* state, SourceImage* image);
  // Where the samples lie; a layout the band mover cannot take gives its code.
  OSErr (*geometry)(const void* state, BlockGeometry* geometry);
  void (*layout)(const void* state, FormatLayout* layout);
  // What acquire (write false) or export (write true) must refuse; noErr when fine.
  OSErr (*verdict)(const void* state, Boolean write);
  UInt64 (*dataEnd)(const void* state);
  SInt16 (*refNum)(const void* state);
  OSErr (*close)(void* state);
};

// The layout of a format without strips, tiles or compression of its own:
// one block, stored as the geometry says.
void PlainLayout(const BlockGeometry& geometry, FormatLayout* layout);
