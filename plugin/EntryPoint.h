// The calling protocol both entry points follow: find or make the state
// record in the host's data slot, run the phase the selector names, report
// the result once, and hand the host what it may see.
#pragma once

#include <iterator>

#include "HostCallbacks.h"
#include "MacTypes.h"
#include "References.h"
#include "formats/BlockGeometry.h"
#include "formats/RasterFormats.h"
#include "records/BigBuffer.h"
#include "records/HostRecords.h"
#include "records/ResultCodes.h"
#include "support/MemoryUtilities.h"

template <class Globals>
struct EntryPointTable {
  OSErr (*phases[5])(Globals*);  // by selector: about, start, continue, finish, prepare
  OSErr unknownSelector;
  // Shows the result to the user; globals is null when the state record
  // could not be made.
  void (*report)(Globals* globals, OSErr result);
  UInt8 Globals::*runFlag;  // cleared by any failing call
};

// The data slot holds a reference to the state record. An empty slot, or one
// whose reference no longer means anything, gets a new zero-filled record; a
// failure to make one leaves the slot as it was, so the next call tries again.
template <class Globals, class Params>
void RunEntryPoint(const EntryPointTable<Globals>& table, SInt16 selector, Params* params,
                   PluginDataSlot* dataSlot, SInt16* result) {
  auto* globals = ReferencePointerAs<Globals>(*dataSlot);
  OSErr err = noErr;
  if (globals == nullptr) {
    err = AllocateMemory(SInt32(sizeof(Globals)), &globals);
    if (err == noErr) *dataSlot = NewReference(globals);
  }
  if (err == noErr) {
    globals->params = params;
    bool known = selector >= 0 && selector < SInt16(std::size(table.phases));
    err = known ? table.phases[selector](globals) : table.unknownSelector;
  }
  table.report(globals, err);
  // Platform and host errors have been shown; the host learns only that the
  // call failed. The plug-in's own codes go to it unchanged.
  if (err < 0) err = 1;
  if (err != noErr && globals != nullptr) globals->*table.runFlag = 0;
  *result = err;
}

// Prepare's first step on both sides: the host must offer its buffer and
// document-resource callbacks (the Warn... calls tell the user when it does
// not), and the format layer must be ready, its runs of rows taken from
// the big buffer. 1 refuses the run.
inline OSErr PrepareHostAndFormats(UInt32 bufferProcs, UInt32 resourceProcs) {
  static constexpr ScratchAllocator kBigBufferScratch{AllocateBigBuffer, DisposeBigBuffer};
  if (!WarnHostBufferProcsAvailable(ReferencePointerAs<HostBufferProcs>(bufferProcs)) ||
      !WarnHostResourceProcsAvailable(ReferencePointerAs<HostResourceProcs>(resourceProcs)) ||
      SetupRasterFormats(&kBigBufferScratch) != noErr) {
    return kPrepareRefused;
  }
  return noErr;
}
