// What every run of an entry point needs from the host, whichever entry
// point it is: references the records hold, the abort test and progress
// callbacks, and the order the phases are called in.
#pragma once

#include <cstdio>

#include "MacErrors.h"
#include "MacTypes.h"
#include "host/Interrupt.h"
#include "host/Progress.h"
#include "records/HostRecords.h"

namespace tessel::host {

// A reference the record holds for as long as this object lives.
class Registered {
 public:
  explicit Registered(UInt32 reference) : reference_(reference) {}
  ~Registered();
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;
  UInt32 get() const { return reference_; }

 private:
  UInt32 reference_;
};

// The abort test (answered by Ctrl-C) and the progress callback (drawn on
// standard error), registered for a record. The callbacks take no context,
// so one run at a time: they answer for the object that lives now.
class RunCallbacks {
 public:
  RunCallbacks();
  ~RunCallbacks();
  RunCallbacks(const RunCallbacks&) = delete;
  RunCallbacks& operator=(const RunCallbacks&) = delete;

  UInt32 test_abort() const { return testAbort_.get(); }
  UInt32 update_progress() const { return updateProgress_.get(); }
  ProgressBar& progress() { return progress_; }

 private:
  InterruptGuard interrupt_;
  ProgressBar progress_{stderr};
  Registered testAbort_;
  Registered updateProgress_;
};

// One call of the entry point: selector run on the records; its result.
template <class Entry, class Params>
SInt16 call_entry(Entry entry, SInt16 selector, Params& params, PluginDataSlot& dataSlot) {
  SInt16 result = 0;
  entry(selector, &params, &dataSlot, &result);
  return result;
}

// Prepare, then start, then continues() while both succeeded, then finish
// after a successful start. Returns the first result that is not noErr, else
// finish's. call(selector) runs one phase.
template <class Call, class Continues>
SInt16 run_phases(Call call, Continues continues) {
  SInt16 result = call(kSelectorPrepare);
  if (result == noErr) result = call(kSelectorStart);
  if (result != noErr) return result;
  result = continues();
  const SInt16 finished = call(kSelectorFinish);
  return result != noErr ? result : finished;
}

}  // namespace tessel::host
