// The frame a window of fixed size asks the window manager for, through the
// Motif hints most X window managers read: equal size limits stop resizing,
// but some managers still draw a maximise button that does nothing.
#pragma once

#include <SDL.h>

namespace tessel::platform::sdl {

// A title, border, menu and minimise button; no maximise button and no
// resize handles. Does nothing off X11. Asked before the window is mapped,
// since some managers read the hints only then.
void ask_for_fixed_frame(SDL_Window* window);

}  // namespace tessel::platform::sdl
