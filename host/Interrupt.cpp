#include "host/Interrupt.h"

#include <csignal>

namespace tessel::host {

namespace {

volatile std::sig_atomic_t stopRequested = 0;
struct sigaction earlier {};

void on_interrupt(int) { stopRequested = 1; }

}  // namespace

InterruptGuard::InterruptGuard() {
  stopRequested = 0;
  struct sigaction action {};
  action.sa_handler = on_interrupt;
  sigemptyset(&action.sa_mask);
  // The handler is used once: a second Ctrl-C finds the default action.
  action.sa_flags = SA_RESETHAND;
  sigaction(SIGINT, &action, &earlier);
}

InterruptGuard::~InterruptGuard() { sigaction(SIGINT, &earlier, nullptr); }

bool InterruptGuard::requested() { return stopRequested != 0; }

}  // namespace tessel::host
