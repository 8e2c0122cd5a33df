// What the X server's resource database says, read apart from the rest of
// the backend so that Xlib's macros stay in one file.
#pragma once

#include <optional>
#include <string>

namespace tessel::platform::sdl {

// The Xft.dpi resource of the display in DISPLAY, as written there; nothing
// when no display answers or the resource is not set.
std::optional<std::string> xft_dpi();

}  // namespace tessel::platform::sdl
