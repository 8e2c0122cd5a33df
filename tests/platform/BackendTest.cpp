// Which backend the environment gets: the desktop only where a window can
// be shown to a person, headless where no display is named. Cases that try
// the desktop run in a child process, as the desktop libraries keep memory
// the leak checker would report.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "Backend.h"
#include "platform/InChild.h"
#include "platform/XvfbServer.h"
#include "sdl/SdlBackend.h"

namespace tessel::platform {
namespace {

using testing::in_child;

int desktop_made() { return sdl::make() != nullptr ? 1 : 0; }

class BackendChoice : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY", "TESSEL_BACKEND", "SDL_VIDEODRIVER"})
      unsetenv(variable);
    backend::install(nullptr);  // as at the program's start: none chosen yet
  }
};

TEST_F(BackendChoice, NoDisplayNamedMeansHeadless) {
  ASSERT_TRUE(backend::open_default());
  EXPECT_TRUE(backend::is_headless());
}

TEST_F(BackendChoice, DisplayWithoutServerIsReportedAndLeftForHeadlessLater) {
  if (std::filesystem::exists("/tmp/.X11-unix/X87")) GTEST_SKIP() << "an X server answers at :87";
  setenv("DISPLAY", ":87", 1);
  // 1: refused; 2: and nothing installed, so a later first use still gets one.
  EXPECT_EQ(in_child([] { return backend::open_default() ? 0 : 1 + int(backend::is_headless()); }),
            2);
}

// SDL would settle for its offscreen driver, where a dialog waits for input
// nobody can give; a user's choice of it is refused too.
TEST_F(BackendChoice, DesktopTakesOnlyDriversThatShowWindows) {
  if (!testing::XvfbServer::installed()) GTEST_SKIP() << "Xvfb is not installed";
  testing::XvfbServer server;
  ASSERT_TRUE(server.start()) << "Xvfb did not start on " << server.name();
  setenv("DISPLAY", server.name().c_str(), 1);
  EXPECT_EQ(in_child(desktop_made), 1);
  setenv("SDL_VIDEODRIVER", "offscreen", 1);
  EXPECT_EQ(in_child(desktop_made), 0);
  setenv("SDL_VIDEODRIVER", "x11", 1);
  EXPECT_EQ(in_child(desktop_made), 1);
}

}  // namespace
}  // namespace tessel::platform
