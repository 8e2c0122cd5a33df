// Ctrl-C during a run: the first one asks the plug-in to stop at its next
// abort test, so the run ends cleanly; a second one ends the program.
#pragma once

namespace tessel::host {

class InterruptGuard {
 public:
  // Installs the handler and clears any earlier request.
  InterruptGuard();
  // Puts the earlier handler back.
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  static bool requested();
};

}  // namespace tessel::host
