// A virtual X server of a test's own, so that desktop windows can open
// where there is no screen. Tests skip when Xvfb is not installed.
#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace tessel::testing {

class XvfbServer {
 public:
  static constexpr const char* kProgram = "/usr/bin/Xvfb";

  static bool installed() { return access(kProgram, X_OK) == 0; }

  // Starts the server on a display number of this process's own; false
  // when it did not come up within ten seconds.
  bool start() {
    display_ = 90 + int(getpid() % 400);
    server_ = fork();
    if (server_ < 0) return false;
    if (server_ == 0) {
      std::string name = ":" + std::to_string(display_);
      // -noreset: what one client sets on the root window (resources such
      // as Xft.dpi) must outlive it, for the next client to read.
      execl(kProgram, "Xvfb", name.c_str(), "-screen", "0", "1024x768x24", "-nolisten", "tcp",
            "-noreset", static_cast<char*>(nullptr));
      _exit(127);
    }
    return wait_for_socket();
  }

  ~XvfbServer() {
    if (server_ <= 0) return;
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }

  std::string name() const { return ":" + std::to_string(display_); }

 private:
  bool wait_for_socket() const {
    std::filesystem::path socket = "/tmp/.X11-unix/X" + std::to_string(display_);
    for (int i = 0; i < 100; ++i) {
      if (std::filesystem::exists(socket)) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
  }

  int display_ = 0;
  pid_t server_ = 0;
};

}  // namespace tessel::testing
