#include "host/HostServices.h"

#include "References.h"

namespace tessel::host {

namespace {

ProgressBar* progressBar = nullptr;

UInt8 interrupt_requested() { return InterruptGuard::requested() ? 1 : 0; }

void draw_progress(SInt32 done, SInt32 total) {
  if (progressBar != nullptr) progressBar->update(done, total);
}

}  // namespace

Registered::~Registered() { DisposeReference(reference_); }

RunCallbacks::RunCallbacks()
    : testAbort_(NewProcReference(&interrupt_requested)),
      updateProgress_(NewProcReference(&draw_progress)) {
  progressBar = &progress_;
}

RunCallbacks::~RunCallbacks() { progressBar = nullptr; }

}  // namespace tessel::host
