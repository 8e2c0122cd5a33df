// The picture decoder behind DrawPicture, drawing into a small offscreen port.
#include <algorithm>
#include <cstring>

#include "FuzzSupport.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "Quickdraw.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static GrafPort port = [] {
    GrafPort opened{};
    tessel::fuzz::scratch_folder();  // zones sized before the first allocation
    if (tessel::platform::quickdraw::open_port(opened, Rect{0, 0, 48, 64}, 32) != noErr) abort();
    return opened;
  }();
  SetPort(&port);
  tessel::fuzz::ZoneBalance balance;
  Handle picture = NewHandle(Size(size));
  if (picture == nullptr) return 0;
  if (size > 0) std::memcpy(*picture, data, size);
  Rect target{4, 4, 44, 60};
  DrawPicture(picture, &target);
  DisposeHandle(picture);
  return 0;
}
