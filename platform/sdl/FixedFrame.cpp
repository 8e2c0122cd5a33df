#include "FixedFrame.h"

#include <SDL_syswm.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace tessel::platform::sdl {

namespace {

// _MOTIF_WM_HINTS as window managers read it: five longs, the first saying
// which of the next two are given.
constexpr long kHintsFunctions = 1L << 0;
constexpr long kHintsDecorations = 1L << 1;
constexpr long kFunctionMove = 1L << 2;
constexpr long kFunctionMinimize = 1L << 3;
constexpr long kFunctionClose = 1L << 5;
constexpr long kDecorBorder = 1L << 1;
constexpr long kDecorTitle = 1L << 3;
constexpr long kDecorMenu = 1L << 4;
constexpr long kDecorMinimize = 1L << 5;

}  // namespace

void ask_for_fixed_frame(SDL_Window* window) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (SDL_GetWindowWMInfo(window, &info) != SDL_TRUE || info.subsystem != SDL_SYSWM_X11) return;
  Display* display = info.info.x11.display;
  const Atom hints = XInternAtom(display, "_MOTIF_WM_HINTS", False);
  const long values[5] = {kHintsFunctions | kHintsDecorations,
                          kFunctionMove | kFunctionMinimize | kFunctionClose,
                          kDecorBorder | kDecorTitle | kDecorMenu | kDecorMinimize, 0, 0};
  XChangeProperty(display, info.info.x11.window, hints, hints, 32, PropModeReplace,
                  reinterpret_cast<const unsigned char*>(values), 5);
  XFlush(display);
}

}  // namespace tessel::platform::sdl
