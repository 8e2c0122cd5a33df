// Stopping from outside: Ctrl-C (SIGINT) and SIGTERM. A signal is only
// recorded, so nothing stops halfway through a write; it is acted on at safe
// points: the plug-in's abort test ends a run between strips or bands, a
// dialog waiting for input ends the process at once (nothing is being written
// while a dialog waits), and the command line turns the record into the exit
// status. A second signal of the same kind finds the default action, so a
// program that does not reach a safe point can still be ended.
#pragma once

namespace tessel::host {

class InterruptGuard {
 public:
  // Catches the signals while any guard lives; the outermost one clears any
  // earlier request.
  InterruptGuard();
  // The outermost one puts the earlier handlers back.
  ~InterruptGuard();
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

  // Whether either signal has arrived since the outermost guard was made.
  static bool requested();
  // The exit status for the first signal that arrived: cancelled for SIGINT,
  // 128 + 15 for SIGTERM, as a shell reports a program SIGTERM ended.
  static int exit_status();
};

}  // namespace tessel::host
