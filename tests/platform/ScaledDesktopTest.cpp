// The desktop backend on a dense X screen: the scale read from the server's
// Xft.dpi, and mouse positions in device pixels divided back to logical
// ones. Each case runs in a child process, as the desktop libraries keep
// memory the leak checker would report.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "Backend.h"
#include "Events.h"
#include "MacErrors.h"
#include "Windows.h"
#include "platform/InChild.h"
#include "platform/XvfbServer.h"
#include "sdl/SdlBackend.h"

namespace tessel::platform {
namespace {

using testing::in_child;

class ScaledDesktop : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!testing::XvfbServer::installed()) GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(server_.start()) << "Xvfb did not start on " << server_.name();
    for (const char* variable :
         {"WAYLAND_DISPLAY", "TESSEL_BACKEND", "SDL_VIDEODRIVER", "TESSEL_SCALE", "GDK_SCALE"}) {
      unsetenv(variable);
    }
    setenv("DISPLAY", server_.name().c_str(), 1);
  }

  // Sets the server's resource database, as xrdb would.
  bool set_resources(const std::string& text) {
    const std::string command = "timeout -k 5 20 xprop -display " + server_.name() +
                                " -root -f RESOURCE_MANAGER 8s -set RESOURCE_MANAGER '" + text +
                                "' 2>/dev/null";
    return std::system(command.c_str()) == 0;
  }

  testing::XvfbServer server_;
};

int desktop_scale() {
  auto desktop = sdl::make();
  return desktop != nullptr ? desktop->scale() : 0;
}

TEST_F(ScaledDesktop, ScaleComesFromXftDpiUnlessAVariableSaysOtherwise) {
  if (access("/usr/bin/xprop", X_OK) != 0) GTEST_SKIP() << "xprop is not installed";
  EXPECT_EQ(in_child(desktop_scale), 1) << "no Xft.dpi on a fresh server";
  ASSERT_TRUE(set_resources("Xft.dpi:\t192\nXft.antialias:\t1\n"));
  EXPECT_EQ(in_child(desktop_scale), 2);
  setenv("GDK_SCALE", "3", 1);
  EXPECT_EQ(in_child(desktop_scale), 3);
  setenv("TESSEL_SCALE", "1", 1);
  EXPECT_EQ(in_child(desktop_scale), 1);
}

// Presses every device pixel of one logical pixel's block and answers
// whether each arrived at that logical pixel (0) or where it went wrong.
int clicks_land_on_their_logical_pixel() {
  backend::install(sdl::make());
  if (backend::current().scale() != 2) return 1;
  WindowRecord window{};
  const Rect bounds{100, 200, 160, 300};
  if (windows::open(window, bounds, dBoxProc, true, nullptr, 0, nullptr) != noErr) return 2;
  constexpr int h = 17, v = 23;
  for (int dv = 0; dv < 2; ++dv) {
    for (int dh = 0; dh < 2; ++dh) {
      if (!sdl::push_device_mouse(window, 2 * h + dh, 2 * v + dv, sdl::Mouse::press)) return 3;
      EventRecord event{};
      int tries = 0;
      while (!GetNextEvent(mDownMask, &event)) {
        if (++tries > 1000) return 5;
      }
      if (event.where.h != bounds.left + h || event.where.v != bounds.top + v) return 4;
    }
  }
  windows::close(window);
  backend::install(nullptr);
  return 0;
}

TEST_F(ScaledDesktop, MousePositionsAreDividedBackToLogicalPixels) {
  setenv("TESSEL_SCALE", "2", 1);
  EXPECT_EQ(in_child(clicks_land_on_their_logical_pixel), 0);
}

}  // namespace
}  // namespace tessel::platform
