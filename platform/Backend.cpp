#include "Backend.h"

#include <cstdlib>
#include <string_view>

#include "headless/HeadlessBackend.h"
#include "sdl/SdlBackend.h"

namespace tessel::platform::backend {
namespace {

std::unique_ptr<Backend>& slot() {
  static std::unique_ptr<Backend> installed;
  return installed;
}

bool has_display() {
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return true;
  }
  return false;
}

bool wants_desktop() {
  const char* asked = std::getenv(kBackendVariable);
  std::string_view wanted = asked == nullptr ? "" : asked;
  return wanted != "headless" && (wanted == "sdl" || has_display());
}

}  // namespace

std::unique_ptr<Backend> make_default() {
  if (wants_desktop()) {
    if (auto desktop = sdl::make()) return desktop;
  }
  return headless::make();
}

bool open_default() {
  if (slot()) return true;
  slot() = wants_desktop() ? sdl::make() : headless::make();
  return slot() != nullptr;
}

Backend& current() {
  if (!slot()) slot() = make_default();
  return *slot();
}

bool is_headless() { return std::string_view(current().name()) == "headless"; }

void install(std::unique_ptr<Backend> backend) { slot() = std::move(backend); }

}  // namespace tessel::platform::backend
