#include "XResources.h"

#include <X11/Xlib.h>

namespace tessel::platform::sdl {

std::optional<std::string> xft_dpi() {
  Display* display = XOpenDisplay(nullptr);
  if (display == nullptr) return std::nullopt;
  const char* value = XGetDefault(display, "Xft", "dpi");
  std::optional<std::string> dpi;
  if (value != nullptr) dpi = value;
  XCloseDisplay(display);
  return dpi;
}

}  // namespace tessel::platform::sdl
