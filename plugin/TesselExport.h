// The export entry point: writes a document that acquire made back into the
// rectangle of the file it came from, band by band.
#pragma once

#include "MacTypes.h"
#include "formats/RasterFormats.h"
#include "records/HostRecords.h"

// The export entry point's state, kept in the host's data slot from the first
// call on and reused by every later run.
struct ExportGlobals {
  ExportParams* params;      // the record of the current call
  SourceImage* sourceImage;  // null outside a run
  UInt8 runOk;               // cleared by any failing call
  SInt32 currentRow;         // first file row of the band in hand
  SInt16 currentPlane;
  SInt32 bandRows;
  SInt64 progressDone;
  SInt64 progressTotal;
  Str255 reportText0;  // fills ^0 of the next export message
  Str255 reportText1;  // fills ^1 of the next export message
};

// The phases, one per selector. Start leaves the file open and the first band
// requested; a failing start has cleaned up after itself.
OSErr ExportDoPrepare(ExportGlobals* globals);
OSErr ExportDoStart(ExportGlobals* globals);
OSErr ExportDoContinue(ExportGlobals* globals);
OSErr ExportDoFinish(ExportGlobals* globals);

// Opens image's file and checks that it and the document still fit together
// (136 first when a side of the rectangle passes 32767 and the host lacks the
// big-document extension); on any failure the file is closed again and the
// code returned.
OSErr OpenImageFile(ExportGlobals* globals, SourceImage* image);

// Tells the host which pixels to hand over next: an empty request when every
// plane is written. Always 0.
OSErr SetupNextPartialBand(ExportGlobals* globals, SourceImage* image);

extern "C" {
[[gnu::visibility("default")]] void ts_export_main(SInt16 selector, ExportParams* params,
                                                   PluginDataSlot* dataSlot, SInt16* result);
}
