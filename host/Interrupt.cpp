#include "host/Interrupt.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "Events.h"
#include "host/Commands.h"

namespace tessel::host {

namespace {

constexpr int kCaught[] = {SIGINT, SIGTERM};

volatile std::sig_atomic_t firstSignal = 0;
int guards = 0;
struct sigaction earlier[std::size(kCaught)]{};

void on_signal(int signal) {
  if (firstSignal == 0) firstSignal = signal;
}

// A dialog waiting for input holds nothing half-written, and no dialog
// answers a signal, so the process ends here with the signal's status.
void end_wait_if_stopped() {
  if (!InterruptGuard::requested()) return;
  std::fflush(nullptr);
  std::_Exit(InterruptGuard::exit_status());
}

void install() {
  firstSignal = 0;
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESETHAND;
  for (std::size_t i = 0; i < std::size(kCaught); ++i) sigaction(kCaught[i], &action, &earlier[i]);
  platform::events::set_wait_hook(&end_wait_if_stopped);
}

void restore() {
  platform::events::set_wait_hook(nullptr);
  for (std::size_t i = 0; i < std::size(kCaught); ++i) sigaction(kCaught[i], &earlier[i], nullptr);
}

}  // namespace

InterruptGuard::InterruptGuard() {
  if (guards++ == 0) install();
}

InterruptGuard::~InterruptGuard() {
  if (--guards == 0) restore();
}

bool InterruptGuard::requested() { return firstSignal != 0; }

int InterruptGuard::exit_status() {
  return firstSignal == SIGTERM ? kExitTerminated : kExitCancelled;
}

}  // namespace tessel::host
