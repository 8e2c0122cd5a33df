// The acquire entry point: brings a rectangle of an image file into the host
// as a new document, one phase per call.
#pragma once

#include "HostCallbacks.h"
#include "MacTypes.h"
#include "formats/RasterFormats.h"
#include "plugin/HostRecords.h"

// The acquire entry point's state, kept in the host's data slot from the
// first call on and reused by every later run.
struct AcquireGlobals {
  AcquireParams* params;     // the record of the current call
  SourceImage* sourceImage;  // null outside a run
  UInt8 firstContinue;       // until the first continue has the read buffer
  UInt8 tagAtFinish;         // cleared by any failing call
  BufferID bufferId;         // 0 when none
  Ptr buffer;
  SInt16 stripRows;
  SInt32 rowBytes;
  SInt16 currentRow;
  SInt16 currentPlane;
  SInt32 progressDone;
  SInt32 progressTotal;
};

OSErr AcquireDoPrepare(AcquireGlobals* globals);

extern "C" {
// Runs the phase selector names and stores its result in *result: 0, a
// positive code of the plug-in's own, or 1 for an error already reported.
[[gnu::visibility("default")]] void ts_acquire_main(SInt16 selector, AcquireParams* params,
                                                    PluginDataSlot* dataSlot, SInt16* result);
}
