#include "plugin/TesselAcquire.h"

#include "MacErrors.h"
#include "References.h"
#include "plugin/EntryPoint.h"
#include "plugin/ResultCodes.h"
#include "plugin/TesselAcquireReportResult.h"

constexpr OSErr kUnknownAcquireSelector = -30000;

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

// The about box and the start, continue and finish phases are not part of
// the module yet: until they are, each answers with the generic failure code,
// which the entry point reports, so a host never takes a half-made document
// for a finished one.
static OSErr notYetAvailable(AcquireGlobals* /*globals*/) { return kInternalFailure; }

static void reportAcquireResult(AcquireGlobals* /*globals*/, OSErr result) { ReportResult(result); }

static constexpr EntryPointTable<AcquireGlobals> kAcquireEntry = {
    {notYetAvailable, notYetAvailable, notYetAvailable, notYetAvailable, AcquireDoPrepare},
    kUnknownAcquireSelector,
    reportAcquireResult,
    &AcquireGlobals::tagAtFinish,
};

void ts_acquire_main(SInt16 selector, AcquireParams* params, PluginDataSlot* dataSlot,
                     SInt16* result) {
  RunEntryPoint(kAcquireEntry, selector, params, dataSlot, result);
}
