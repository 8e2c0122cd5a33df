// How many device pixels a window's logical pixel covers on this screen.
// Windows keep logical coordinates; only their pixel buffers grow.
#pragma once

namespace tessel::platform::scale {

constexpr int kMinScale = 1;
constexpr int kMaxScale = 4;
constexpr const char* kScaleVariable = "TESSEL_SCALE";
constexpr const char* kGdkScaleVariable = "GDK_SCALE";

// What the desktop says about its density; null where it says nothing.
struct Sources {
  const char* tesselScale = nullptr;  // TESSEL_SCALE, an integer
  const char* gdkScale = nullptr;     // GDK_SCALE, an integer
  const char* xftDpi = nullptr;       // the X resource Xft.dpi, a number
};

// TESSEL_SCALE wins, then GDK_SCALE, then round(Xft.dpi / 96); each is
// clamped to 1..4. A value that is not a number is passed over, as if unset;
// with nothing usable the scale is 1.
int choose(const Sources& sources);

// choose() over TESSEL_SCALE and GDK_SCALE from the environment and the
// given Xft.dpi (null when there is no X display to ask).
int from_environment(const char* xftDpi);

}  // namespace tessel::platform::scale
