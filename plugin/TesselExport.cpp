#include "plugin/TesselExport.h"

#include <algorithm>

#include "HostCallbacks.h"
#include "MacErrors.h"
#include "References.h"
#include "plugin/BandSteps.h"
#include "plugin/EntryPoint.h"
#include "plugin/TagTheDocument.h"
#include "plugin/TesselExportAskForFile.h"
#include "plugin/TesselExportReportResult.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

constexpr OSErr kUnknownExportSelector = -30200;

static Boolean modeSupported(SInt16 mode) {
  return mode == kGrayscaleMode || mode == kRGBMode || mode == kCMYKMode || mode == kLabMode;
}

static bool isInterleaved(const SourceImage* image) { return image->planar == 0; }

static const HostResourceProcs* resourceProcsOf(const ExportGlobals* globals) {
  return ReferencePointerAs<HostResourceProcs>(Get(*globals->params, kExportResourceProcs));
}

// ---------------------------------------------------------------------------
// Prepare

OSErr ExportDoPrepare(ExportGlobals* globals) {
  ExportParams& params = *globals->params;
  if (OSErr err =
          PrepareHostAndFormats(Get(params, kExportBufferProcs), Get(params, kExportResourceProcs));
      err != noErr) {
    return err;
  }
  // Widened: the factors' product can pass the 32-bit range.
  SInt64 size = SInt64(Get(params, kExportDocumentColumns)) * Get(params, kExportDocumentRows) *
                Get(params, kExportImagePlanes);
  if (size < Get(params, kExportMemoryLimit)) Set(params, kExportMemoryLimit, SInt32(size));
  globals->runOk = 1;
  return noErr;
}

// ---------------------------------------------------------------------------
// Opening and matching

// The document must be in the file's mode, which must be one export writes.
static OSErr checkModes(SInt16 fileMode, SInt16 documentMode) {
  SInt16 m = fileMode >= 0 && fileMode <= 11 ? fileMode : SInt16(-1);
  if (documentMode == m && modeSupported(m)) return noErr;
  if (!modeSupported(m)) return modeSupported(documentMode) ? kFileModeNotWritable : kNoModeHandled;
  switch (m) {
    case kGrayscaleMode: return kDocumentNotGrayscale;
    case kRGBMode: return kDocumentNotRGB;
    case kCMYKMode: return kDocumentNotCMYK;
    default: return kDocumentNotLab;
  }
}

// Sizes first, then what the pixels are; the size checks leave their numbers
// in the report texts.
static OSErr checkFileAgainstDocument(ExportGlobals* globals, SourceImage* image) {
  const ExportParams& params = *globals->params;
  // A host without the extension was only ever told the low 16 bits of a
  // larger document: that is its limit, not a changed size.
  if (OSErr err = CheckHostSides(TakesBigDocuments(params, kExportBigDocuments), image,
                                 globals->reportText0, globals->reportText1);
      err != noErr) {
    return err;
  }
  image->selectionWidth = image->selection.right - image->selection.left;
  image->selectionHeight = image->selection.bottom - image->selection.top;
  if (image->selectionWidth != Get(params, kExportDocumentColumns) ||
      image->selectionHeight != Get(params, kExportDocumentRows)) {
    CopyNumToPString(image->selectionWidth, globals->reportText0);
    CopyNumToPString(image->selectionHeight, globals->reportText1);
    return kDocumentSizeChanged;
  }
  if (image->recordedWidth != image->width || image->recordedHeight != image->height) {
    CopyNumToPString(image->recordedWidth, globals->reportText0);
    CopyNumToPString(image->recordedHeight, globals->reportText1);
    return kFileSizeChanged;
  }
  if (OSErr err = checkModes(image->mode, Get(params, kExportImageMode)); err != noErr) return err;
  if (image->depth != 8) {
    CopyNumToPString(image->depth, globals->reportText0);
    return kFileDepthNotEight;
  }
  if (Get(params, kExportImagePlanes) != image->channels) {
    CopyNumToPString(image->channels, globals->reportText0);
    return kDocumentChannelsDiffer;
  }
  return RasterFormatLayoutVerdict(&image->format, true);
}

OSErr OpenImageFile(ExportGlobals* globals, SourceImage* image) {
  OSErr err = RasterFormatOpen(image);
  if (err == noErr) err = GetFileWriteable(&image->fileSpec);
  if (err == noErr) err = checkFileAgainstDocument(globals, image);
  if (err == noErr) err = RasterFormatCheckLength(&image->format);
  if (err != noErr) RasterFormatClose(&image->format);
  return err;
}

// ---------------------------------------------------------------------------
// Start

// What the user is shown for a failed open: nothing for a file that moved
// away on the first attempt (the dialog itself says enough), else the code.
static OSErr shownForOpenFailure(OSErr err, bool rechosen) {
  if (err == fLckdErr) return kFileLocked;
  if (err == vLckdErr) return kVolumeLocked;
  if (rechosen) return kChosenFileUnusable;
  return err == fnfErr ? noErr : err;
}

// Another file cannot help a document that no longer matches its source, nor
// one the host cannot hand over.
static bool documentMismatch(OSErr shown) {
  return shown == kDocumentSizeChanged || shown == kHostSideLimit ||
         shown == kDocumentChannelsDiffer || shown == kDocumentNotGrayscale ||
         shown == kDocumentNotRGB || shown == kDocumentNotCMYK || shown == kDocumentNotLab;
}

// Opens the tagged file, asking the user for it again for as long as it
// cannot be used; *rechosen tells whether the user had to.
static OSErr openOrAskAgain(ExportGlobals* globals, SourceImage* image, bool* rechosen) {
  bool asked = false;
  for (;;) {
    OSErr err = OpenImageFile(globals, image);
    if (err == noErr) break;
    OSErr shown = shownForOpenFailure(err, asked);
    if (documentMismatch(shown)) return err;
    if (shown != noErr) ExportReportResult(shown, globals->reportText0, globals->reportText1);
    if (OSErr chosen = ExportAskForFile(image, 0); chosen != noErr) return chosen;
    asked = true;
  }
  *rechosen = asked;
  return noErr;
}

// One row of a band, in samples.
static SInt64 bandRowSamples(const ExportGlobals* globals, const SourceImage* image) {
  const SInt64 columns = Get(*globals->params, kExportDocumentColumns);
  return isInterleaved(image) ? columns * image->channels : columns;
}

// Rows of one band: as many as the host's memory budget takes at once.
static SInt32 bandRowsAllowed(const ExportGlobals* globals, const SourceImage* image) {
  const SInt64 rowSamples = bandRowSamples(globals, image);
  return rowSamples > 0 ? SInt32(Get(*globals->params, kExportMemoryLimit) / rowSamples) : 0;
}

static OSErr startRun(ExportGlobals* globals, SourceImage* image) {
  if (OSErr err = GetImageInfo(globals, image); err != noErr) return err;
  bool rechosen = false;
  if (OSErr err = openOrAskAgain(globals, image, &rechosen); err != noErr) return err;
  if (rechosen) {
    if (OSErr err = TagTheDocument(resourceProcsOf(globals), image); err != noErr) return err;
  }
  // A budget below one row could never move a band: refused as the limit it
  // is, with the row's size.
  if (bandRowsAllowed(globals, image) < 1) {
    return RefuseAtLimit(kRowBeyondMemory, image->selectionWidth, bandRowSamples(globals, image),
                         globals->reportText0, globals->reportText1);
  }
  globals->currentPlane = 0;
  globals->currentRow = image->selection.top;
  globals->progressDone = 0;
  globals->progressTotal = SInt64(image->channels) * image->selectionHeight;
  return SetupNextPartialBand(globals, image);
}

OSErr ExportDoStart(ExportGlobals* globals) {
  OSErr err = AllocateMemory(SInt32(sizeof(SourceImage)), &globals->sourceImage);
  if (err == noErr) err = startRun(globals, globals->sourceImage);
  if (err != noErr) {
    globals->runOk = 0;
    ExportDoFinish(globals);
  }
  return err;
}

// ---------------------------------------------------------------------------
// Bands

OSErr SetupNextPartialBand(ExportGlobals* globals, SourceImage* image) {
  ExportParams& params = *globals->params;
  if (globals->currentPlane >= image->channels) {
    Set(params, kExportRequestedRect, VRect{0, 0, 0, 0});
    return noErr;
  }
  bool interleaved = isInterleaved(image);
  Set(params, kExportFirstPlane, interleaved ? SInt16(0) : globals->currentPlane);
  Set(params, kExportLastPlane, interleaved ? SInt16(image->channels - 1) : globals->currentPlane);
  SInt32 top = globals->currentRow - image->selection.top;
  SInt32 bottom = SInt32(std::min<SInt64>(SInt64(top) + bandRowsAllowed(globals, image),
                                          Get(params, kExportDocumentRows)));
  Set(params, kExportRequestedRect, VRect{top, 0, bottom, Get(params, kExportDocumentColumns)});
  globals->bandRows = bottom - top;
  return noErr;
}

// Calls the host's progress and abort callbacks; true when the user asked to stop.
static bool progressAndAbort(const ExportGlobals* globals) {
  const ExportParams& params = *globals->params;
  return ReportProgressAndTestAbort(Get(params, kExportUpdateProgress),
                                    Get(params, kExportTestAbort), globals->progressDone,
                                    globals->progressTotal);
}

static OSErr writeBand(ExportGlobals* globals, SourceImage* image) {
  const ExportParams& params = *globals->params;
  const Tile tile = SelectionBandTile(
      image, globals->currentRow, globals->bandRows, globals->currentPlane, isInterleaved(image),
      static_cast<UInt8*>(ReferencePointer(Get(params, kExportDataPointer))),
      Get(params, kExportRowStep));
  return RasterFormatPutTile(&image->format, tile, tile.area);
}

OSErr ExportDoContinue(ExportGlobals* globals) {
  SourceImage* image = globals->sourceImage;
  if (image == nullptr) return kInternalFailure;
  if (progressAndAbort(globals)) return kUserCancelled;
  if (OSErr err = writeBand(globals, image); err != noErr) return err;
  AdvancePastBand(globals, image, isInterleaved(image), globals->bandRows);
  if (progressAndAbort(globals)) return kUserCancelled;
  return SetupNextPartialBand(globals, image);
}

// ---------------------------------------------------------------------------
// Finish and the entry point

OSErr ExportDoFinish(ExportGlobals* globals) {
  if (globals->runOk != 0) Set(*globals->params, kExportModifiedFlag, 0);
  if (SourceImage* image = globals->sourceImage; image != nullptr) {
    RasterFormatClose(&image->format);
    DisposeMemory(image);
    globals->sourceImage = nullptr;
  }
  return noErr;
}

static OSErr exportAbout(ExportGlobals* /*globals*/) { return noErr; }

static void reportExportResult(ExportGlobals* globals, OSErr result) {
  const unsigned char empty[1] = {0};
  ExportReportResult(result, globals != nullptr ? globals->reportText0 : empty,
                     globals != nullptr ? globals->reportText1 : empty);
}

static constexpr EntryPointTable<ExportGlobals> kExportEntry = {
    {exportAbout, ExportDoStart, ExportDoContinue, ExportDoFinish, ExportDoPrepare},
    kUnknownExportSelector,
    reportExportResult,
    &ExportGlobals::runOk,
};

void ts_export_main(SInt16 selector, ExportParams* params, PluginDataSlot* dataSlot,
                    SInt16* result) {
  RunEntryPoint(kExportEntry, selector, params, dataSlot, result);
}
