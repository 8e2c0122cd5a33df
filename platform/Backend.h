// Where windows are shown and input comes from: a desktop (sdl) or a script
// (headless). One backend serves the process: headless when TESSEL_BACKEND
// is "headless" or when there is no display (neither DISPLAY nor
// WAYLAND_DISPLAY), sdl otherwise. A program that shows dialogs chooses it
// up front with open_default() and so learns when the desktop it was pointed
// at cannot show them; chosen only at first use, a desktop that cannot be
// opened gives way to headless.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "MacTypes.h"

struct WindowRecord;

namespace tessel::platform::backend {

constexpr const char* kBackendVariable = "TESSEL_BACKEND";

// Why the Event Manager asks for input.
enum class Need {
  event,      // a dialog wants its next event; the queue is empty
  stillDown,  // a tracking loop asks whether the press goes on
  state,      // the mouse or keys are read; nothing must be consumed
};

// A cursor as drawn: 16 rows, leftmost pixel in the high bit.
struct CursorImage {
  UInt16 image[16];
  UInt16 mask[16];
  Point hotSpot;
};

// Sampled sound, 8-bit unsigned samples (128 is silence), mono.
struct SampledSound {
  double rate = 22254.5;
  std::vector<UInt8> samples;
};

class Backend {
 public:
  virtual ~Backend() = default;
  virtual const char* name() const = 0;
  // Turns outside input into queued events and mouse and key state.
  virtual void pump(Need need) = 0;
  // A null event was handed out: time to pass, pixels to show.
  virtual void idle() = 0;
  virtual UInt32 ticks() = 0;
  // The screen, in global coordinates.
  virtual Rect screen() const = 0;
  // Device pixels per global (logical) pixel, 1 to 4: windows opened while
  // this backend serves get pixel buffers this many times as wide and tall.
  virtual int scale() const { return 1; }
  virtual void show(WindowRecord& window) = 0;
  virtual void hide(WindowRecord& window) = 0;
  // The window's pixels changed position or size (MoveWindow, SizeWindow).
  virtual void moved(WindowRecord& window) = 0;
  // Null: the arrow.
  virtual void set_cursor(const CursorImage* cursor) = 0;
  // Plays to the end before returning.
  virtual void play(const SampledSound& sound) = 0;
};

Backend& current();
// Whether the current backend is the one without a display.
bool is_headless();
// Installs a backend in place of the current one (tests and the host).
void install(std::unique_ptr<Backend> backend);
// The backend the environment asks for, made now; headless when it asks for
// the desktop and the desktop cannot be opened.
std::unique_ptr<Backend> make_default();
// Makes the backend the environment asks for the current one, unless one is
// installed already. False, with none installed, when it asks for the
// desktop and no window can be shown there.
[[nodiscard]] bool open_default();

}  // namespace tessel::platform::backend
