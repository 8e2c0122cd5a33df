#include "plugin/TesselAcquire.h"

#include <algorithm>
#include <cmath>

#include "Files.h"
#include "MacErrors.h"
#include "References.h"
#include "Resources.h"
#include "about/TesselAbout.h"
#include "plugin/BandSteps.h"
#include "plugin/EntryPoint.h"
#include "plugin/TagTheDocument.h"
#include "plugin/TesselAcquireAskForFile.h"
#include "plugin/TesselAcquireReportResult.h"
#include "records/ResultCodes.h"
#include "selection/AskForSelection.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

constexpr OSErr kUnknownAcquireSelector = -30000;

// The host's buffer protocol takes a fifth value whose meaning is its own.
static constexpr SInt16 kStripBufferHostValue = 2;

// A file name is never cut below this many characters, however long the rest
// of the title.
static constexpr SInt16 kShortestCutName = 5;

static const HostBufferProcs* bufferProcsOf(const AcquireGlobals* globals) {
  return ReferencePointerAs<HostBufferProcs>(Get(*globals->params, kAcquireBufferProcs));
}

static const HostResourceProcs* resourceProcsOf(const AcquireGlobals* globals) {
  return ReferencePointerAs<HostResourceProcs>(Get(*globals->params, kAcquireResourceProcs));
}

// ---------------------------------------------------------------------------
// Prepare

OSErr AcquireDoPrepare(AcquireGlobals* globals) {
  AcquireParams& params = *globals->params;
  if (OSErr err = PrepareHostAndFormats(Get(params, kAcquireBufferProcs),
                                        Get(params, kAcquireResourceProcs));
      err != noErr) {
    return err;
  }
  Set(params, kAcquireMemoryLimit, 0);
  globals->firstContinue = 1;
  globals->tagAtFinish = 1;
  return noErr;
}

// ---------------------------------------------------------------------------
// Start: what the host can receive

// The document's mode for the image's, or the code that refuses it.
static OSErr documentModeFor(SInt16 imageMode, SInt16* documentMode) {
  static constexpr OSErr kByMode[12] = {
      kModeBitmap,  noErr,     kModeIndexed,     noErr,
      noErr,        kModeFive, kModeSix,         kModeSeven,
      kModeDuotone, noErr,     kModeTenOrGray16, kModeElevenOrRGB16};
  if (imageMode < 0 || imageMode > 11) return kModeUnknown;
  if (kByMode[imageMode] != noErr) return kByMode[imageMode];
  *documentMode = imageMode;
  return noErr;
}

// Sixteen-bit grayscale and RGB have refusals of their own, ahead of the
// general one for any depth but 8.
static OSErr checkDepth(const SourceImage* image) {
  if (image->depth == 16 && image->mode == kGrayscaleMode) return kModeTenOrGray16;
  if (image->depth == 16 && image->mode == kRGBMode) return kModeElevenOrRGB16;
  return image->depth == 8 ? noErr : kDepthNotEight;
}

// A file that could not be written back later is worth a warning, not a
// refusal: the user may only want to look.
static OSErr warnWhenNotWriteable(const SourceImage* image) {
  OSErr err = GetFileWriteable(&image->fileSpec);
  if (err == vLckdErr) ReportResult(kCannotWriteBack);
  if (err == vLckdErr || err == fLckdErr) return noErr;
  return err;
}

// A file cut short is refused before anything is chosen from it, rather than
// failing part-way through reading the pixels.
OSErr CheckAcquirable(const SourceImage* image, SInt16* documentMode) {
  if (OSErr err = RasterFormatCheckLength(&image->format); err != noErr) return err;
  SInt16 mode = 0;
  if (OSErr err = documentModeFor(image->mode, &mode); err != noErr) return err;
  if (OSErr err = checkDepth(image); err != noErr) return err;
  if (OSErr err = RasterFormatLayoutVerdict(&image->format, false); err != noErr) return err;
  *documentMode = mode;
  return noErr;
}

static OSErr checkImage(AcquireGlobals* globals, const SourceImage* image) {
  SInt16 documentMode = 0;
  if (OSErr err = CheckAcquirable(image, &documentMode); err != noErr) return err;
  Set(*globals->params, kAcquireImageMode, documentMode);
  return warnWhenNotWriteable(image);
}

// ---------------------------------------------------------------------------
// Start: describing the document

// Pixels per inch as 16.16 fixed point, worked out in double precision and
// truncated toward zero; values beyond the field's range are pinned to it.
static SInt32 fixedResolution(float pixelsPerInch) {
  double fixed = std::trunc(double(pixelsPerInch) * 65536.0);
  if (std::isnan(fixed)) return 0;
  return SInt32(std::clamp(fixed, -2147483648.0, 2147483647.0));
}

static void describeImage(AcquireParams& params, const SourceImage* image) {
  Set(params, kAcquireImagePlanes, image->channels);
  Set(params, kAcquireImageDepth, 8);
  SInt32 resolution = fixedResolution(image->hResolution);
  Set(params, kAcquireHorizontalResolution, resolution);
  Set(params, kAcquireVerticalResolution, resolution);
}

static void describeSelection(AcquireGlobals* globals, SourceImage* image) {
  AcquireParams& params = *globals->params;
  image->selectionWidth = image->selection.right - image->selection.left;
  image->selectionHeight = image->selection.bottom - image->selection.top;
  Set(params, kAcquireDocumentColumns, image->selectionWidth);
  Set(params, kAcquireDocumentRows, image->selectionHeight);
  Str255 title;
  NameTheDocument(globals, image, title);
  Set(params, kAcquireDocumentName, title);
  Set(params, kAcquireHostWord1088, 0);
  Set(params, kAcquireHostByte1090, 0);
  globals->progressDone = 0;
  globals->progressTotal = SInt64(image->channels) * image->selectionHeight;
}

static bool isNoRect(const VRect& rect) {
  return rect.top == 0 && rect.left == 0 && rect.bottom == 0 && rect.right == 0;
}

// Widened before comparing, so that no corner can wrap into the image.
static bool liesInImage(const VRect& rect, const SourceImage* image) {
  return rect.top >= 0 && rect.left >= 0 && rect.top < rect.bottom && rect.left < rect.right &&
         SInt64(rect.bottom) <= image->height && SInt64(rect.right) <= image->width;
}

// The host's preset rectangle stands in for the user's choice in the
// selection dialog; everything before and after it is the same run.
static OSErr chooseSelection(AcquireGlobals* globals, SourceImage* image) {
  const VRect preset = Get(*globals->params, kAcquirePresetSelection);
  if (isNoRect(preset)) return AskForSelection(globals->params, image);
  if (!liesInImage(preset, image)) return kPresetSelectionOutside;
  image->selection = preset;
  return noErr;
}

static bool hostTakesBigDocuments(const AcquireGlobals* globals) {
  return TakesBigDocuments(*globals->params, kAcquireBigDocuments);
}

static OSErr startRun(AcquireGlobals* globals, SourceImage* image) {
  if (OSErr err = AskForFile(image); err != noErr) return err;
  if (OSErr err = RasterFormatOpen(image); err != noErr) return err;
  if (OSErr err = checkImage(globals, image); err != noErr) return err;
  describeImage(*globals->params, image);
  if (OSErr err = chooseSelection(globals, image); err != noErr) return err;
  if (OSErr err = CheckHostSides(hostTakesBigDocuments(globals), image, globals->reportText0,
                                 globals->reportText1);
      err != noErr) {
    return err;
  }
  describeSelection(globals, image);
  return noErr;
}

OSErr AcquireDoStart(AcquireGlobals* globals) {
  OSErr err = AllocateMemory(SInt32(sizeof(SourceImage)), &globals->sourceImage);
  if (err == noErr) err = startRun(globals, globals->sourceImage);
  if (err != noErr) {
    globals->tagAtFinish = 0;
    AcquireDoFinish(globals);
  }
  return err;
}

// ---------------------------------------------------------------------------
// Continue

// The host's protocol counts strip rows in 16 bits; a strip of that many
// rows of any image wider than a few pixels is more than a host lends anyway.
static SInt16 mostStripRows(const SourceImage* image) {
  return SInt16(std::min<SInt32>(image->selectionHeight, kLargestClassicSide));
}

OSErr AllocateReadBuffer(AcquireGlobals* globals, SourceImage* image, Boolean interleaved) {
  const SInt64 samples = SInt64(image->selectionWidth) * (interleaved ? image->channels : 1);
  const SInt64 paddedBytes = (samples + 3) & ~SInt64(3);
  auto refuseRow = [&] {
    return RefuseAtLimit(kRowBeyondMemory, image->selectionWidth, paddedBytes, globals->reportText0,
                         globals->reportText1);
  };
  if (paddedBytes > INT32_MAX) return refuseRow();
  const SInt32 rowBytes = SInt32(paddedBytes);
  const HostBufferProcs* procs = bufferProcsOf(globals);
  SInt16 rows = 0;
  BufferID id = 0;
  // At least one row was asked for: a host short of memory is short of it
  // for one row.
  if (OSErr err = HostAllocateStripBuffer(procs, rowBytes, 1, mostStripRows(image),
                                          kStripBufferHostValue, &rows, &id);
      err != noErr) {
    return err == memFullErr ? refuseRow() : err;
  }
  Ptr buffer = HostLockBuffer(procs, id, 0);
  // A buffer the host cannot produce is as good as none.
  if (buffer == nullptr) {
    HostFreeBuffer(procs, id);
    return memFullErr;
  }
  globals->rowBytes = rowBytes;
  globals->stripRows = rows;
  globals->bufferId = id;
  globals->buffer = buffer;
  return noErr;
}

OSErr DisposeReadBuffer(AcquireGlobals* globals) {
  if (globals->bufferId == 0) return noErr;
  // The record names the buffer by a reference the plug-in made for it; it
  // goes with the buffer.
  if (globals->buffer != nullptr) DisposeReference(NewReference(globals->buffer));
  HostFreeBuffer(bufferProcsOf(globals), globals->bufferId);
  globals->bufferId = 0;
  globals->buffer = nullptr;
  return noErr;
}

// Calls the host's progress and abort callbacks; true when the user asked to stop.
static bool progressAndAbort(const AcquireGlobals* globals) {
  const AcquireParams& params = *globals->params;
  return ReportProgressAndTestAbort(Get(params, kAcquireUpdateProgress),
                                    Get(params, kAcquireTestAbort), globals->progressDone,
                                    globals->progressTotal);
}

static void describeStrip(AcquireGlobals* globals, const SourceImage* image, bool interleaved,
                          SInt32 rows) {
  AcquireParams& params = *globals->params;
  SInt16 lastPlane = interleaved ? SInt16(image->channels - 1) : globals->currentPlane;
  Set(params, kAcquireFirstPlane, interleaved ? SInt16(0) : globals->currentPlane);
  Set(params, kAcquireLastPlane, lastPlane);
  Set(params, kAcquireColumnStep, interleaved ? image->channels : SInt16(1));
  Set(params, kAcquirePlaneStep, interleaved ? 1 : 0);
  Set(params, kAcquireRowStep, globals->rowBytes);
  Set(params, kAcquireDataPointer, NewReference(globals->buffer));
  const SInt32 top = globals->currentRow - image->selection.top;
  Set(params, kAcquireDeliveredRect, VRect{top, 0, top + rows, image->selectionWidth});
}

static OSErr readStrip(AcquireGlobals* globals, SourceImage* image, bool interleaved, SInt32 rows) {
  const Tile tile =
      SelectionBandTile(image, globals->currentRow, rows, globals->currentPlane, interleaved,
                        reinterpret_cast<UInt8*>(globals->buffer), globals->rowBytes);
  return RasterFormatGetTile(&image->format, tile, tile.area);
}

static OSErr deliverStrip(AcquireGlobals* globals, SourceImage* image, bool interleaved) {
  if (globals->currentPlane >= image->channels) {
    Set(*globals->params, kAcquireDataPointer, 0u);
    return noErr;
  }
  const SInt32 rows = std::min(image->selection.bottom - globals->currentRow, globals->stripRows);
  describeStrip(globals, image, interleaved, rows);
  if (OSErr err = readStrip(globals, image, interleaved, rows); err != noErr) return err;
  AdvancePastBand(globals, image, interleaved, rows);
  return noErr;
}

OSErr AcquireDoContinue(AcquireGlobals* globals) {
  SourceImage* image = globals->sourceImage;
  if (image == nullptr) return kInternalFailure;
  if (progressAndAbort(globals)) return kUserCancelled;
  bool interleaved = image->planar == 0;
  if (globals->firstContinue != 0) {
    if (OSErr err = AllocateReadBuffer(globals, image, interleaved); err != noErr) return err;
    globals->currentPlane = 0;
    globals->currentRow = image->selection.top;
    globals->firstContinue = 0;
  }
  if (OSErr err = deliverStrip(globals, image, interleaved); err != noErr) return err;
  return progressAndAbort(globals) ? kUserCancelled : noErr;
}

// ---------------------------------------------------------------------------
// Finish

OSErr AcquireDoFinish(AcquireGlobals* globals) {
  SourceImage* image = globals->sourceImage;
  if (image == nullptr) return noErr;
  // The document exists whether or not the host takes the tag.
  if (globals->tagAtFinish != 0) TagTheDocument(resourceProcsOf(globals), image);
  RasterFormatClose(&image->format);
  DisposeReadBuffer(globals);
  DisposeMemory(image);
  globals->sourceImage = nullptr;
  return noErr;
}

// ---------------------------------------------------------------------------
// The title

// The title's template is Mac Roman, as every text of the module; titles
// are UTF-8, the encoding of the file name they hold.
static void fillTitle(StringPtr title, ConstStringPtr fileName, const VRect& selection) {
  GetIndString(title, kDocumentTitleList, kDocumentTitleTemplate);
  RomanToUTF8PString(title);
  SubstitutePString(title, 1, fileName);
  SubstituteNumPString(title, 2, selection.left);
  SubstituteNumPString(title, 3, selection.top);
  SubstituteNumPString(title, 4, selection.right);
  SubstituteNumPString(title, 5, selection.bottom);
}

// The file's real name (not a stand-in) is cut first, to what the corners
// leave of the title's 31 bytes but never below five, so that the corners
// show; whatever still does not fit is cut at 31. Cuts fall between UTF-8
// characters.
void NameTheDocument(AcquireGlobals* /*globals*/, SourceImage* image, StringPtr name) {
  Str255 mark, fileName, title;
  GetIndString(mark, kDocumentTitleList, kDocumentTitleMark);
  RomanToUTF8PString(mark);
  if (FSpGetLongName(&image->fileSpec, fileName) != noErr) {
    CopyPString(image->fileSpec.name, fileName);
  }
  const Str255 noName = {0};
  fillTitle(title, noName, image->selection);
  const SInt16 room = std::max(SInt16(kDocumentTitleLength - title[0]), kShortestCutName);
  if (title[0] + fileName[0] > kDocumentTitleLength && fileName[0] > room) {
    TruncateUTF8PString(fileName, room, mark);
  }
  fillTitle(title, fileName, image->selection);
  TruncateUTF8PString(title, kDocumentTitleLength, mark);
  CopyPString(title, name);
}

// ---------------------------------------------------------------------------
// The entry point

static OSErr acquireAbout(AcquireGlobals* /*globals*/) {
  DoThatAboutThang();
  return noErr;
}

// The limits' messages name numbers, which the code that refused filled in
// just before; every other acquire message is shown as it stands.
static void reportAcquireResult(AcquireGlobals* globals, OSErr result) {
  if (globals != nullptr && (result == kHostSideLimit || result == kRowBeyondMemory)) {
    ReportResultWithTexts(result, globals->reportText0, globals->reportText1);
    return;
  }
  ReportResult(result);
}

static constexpr EntryPointTable<AcquireGlobals> kAcquireEntry = {
    {acquireAbout, AcquireDoStart, AcquireDoContinue, AcquireDoFinish, AcquireDoPrepare},
    kUnknownAcquireSelector,
    reportAcquireResult,
    &AcquireGlobals::tagAtFinish,
};

void ts_acquire_main(SInt16 selector, AcquireParams* params, PluginDataSlot* dataSlot,
                     SInt16* result) {
  RunEntryPoint(kAcquireEntry, selector, params, dataSlot, result);
}
