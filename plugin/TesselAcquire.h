// The acquire entry point: brings a rectangle of an image file into the host
// as a new document, one phase per call.
#pragma once

#include "HostCallbacks.h"
#include "MacTypes.h"
#include "formats/RasterFormats.h"
#include "records/HostRecords.h"

// The acquire entry point's state, kept in the host's data slot from the
// first call on and reused by every later run.
struct AcquireGlobals {
  AcquireParams* params;     // the record of the current call
  SourceImage* sourceImage;  // null outside a run
  UInt8 firstContinue;       // until the first continue has the read buffer
  UInt8 tagAtFinish;         // cleared by any failing call
  BufferID bufferId;         // 0 when none
  Ptr buffer;
  SInt32 stripRows;
  SInt32 rowBytes;
  SInt32 currentRow;
  SInt16 currentPlane;
  SInt64 progressDone;
  SInt64 progressTotal;
  Str255 reportText0;  // fills ^0 of the next message, for the limits' numbers
  Str255 reportText1;  // fills ^1
};

// The title template and the mark that shows where a title was cut.
constexpr SInt16 kDocumentTitleList = 16004;
constexpr SInt16 kDocumentTitleTemplate = 1;
constexpr SInt16 kDocumentTitleMark = 2;
// The longest title the host takes, in bytes; titles are UTF-8.
constexpr SInt16 kDocumentTitleLength = 31;

// The phases, one per selector. Prepare arms the run; start chooses, opens
// and describes the image and leaves it open (a failing start has cleaned up
// after itself); the rectangle is the user's choice in the selection dialog,
// or the host's kAcquirePresetSelection when it gives one (135 when that is
// empty or reaches outside the image; 136 when a side passes 32767 and the
// host lacks the big-document extension); each continue delivers one strip, and the one after the
// last strip leaves dataPointer null; finish tags the document when no call of the run failed, then
// closes and frees everything. Always 0.
OSErr AcquireDoPrepare(AcquireGlobals* globals);
OSErr AcquireDoStart(AcquireGlobals* globals);
OSErr AcquireDoContinue(AcquireGlobals* globals);
OSErr AcquireDoFinish(AcquireGlobals* globals);

// What start refuses before the selection dialog, in its order: a file that
// ends before its pixels do (eofErr), the image's mode, its depth, then a TIFF
// file's layout (Compression, PlanarConfiguration, Predictor, FillOrder, tiles). 0 with the new
// document's mode in *documentMode, or the code that refuses the image (documentMode untouched).
OSErr CheckAcquirable(const SourceImage* image, SInt16* documentMode);

// Asks the host for the strip buffer: rows of the selection's width (times
// the channels when interleaved) rounded up to 4 bytes, between 1 and the
// selection's height of them (at most 32767, all the host's protocol can
// ask for). 137, with the row's width and bytes in the report texts, when
// not even one row can be had; otherwise on failure returns the host's
// error. On failure leaves the buffer fields as they were.
OSErr AllocateReadBuffer(AcquireGlobals* globals, SourceImage* image, Boolean interleaved);

// Gives the strip buffer back to the host, if there is one. Always 0.
OSErr DisposeReadBuffer(AcquireGlobals* globals);

// The new document's title from string list 16004: the file's name and the
// selection's corners, at most 31 characters. A long file name is cut first,
// never below 5 characters, so that the corners stay readable.
void NameTheDocument(AcquireGlobals* globals, SourceImage* image, StringPtr name);

extern "C" {
// Runs the phase selector names and stores its result in *result: 0, a
// positive code of the plug-in's own, or 1 for an error already reported.
[[gnu::visibility("default")]] void ts_acquire_main(SInt16 selector, AcquireParams* params,
                                                    PluginDataSlot* dataSlot, SInt16* result);
}
