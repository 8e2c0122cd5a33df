// How the real program ends when no window can be shown, and when SIGINT or
// SIGTERM arrives while a dialog waits: at once, with its own exit status,
// on the desktop (a test's own Xvfb) and headless.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "host/Commands.h"
#include "platform/XvfbServer.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using testing::ProgramRun;

// Nothing listens there; a test that finds a server there skips.
constexpr const char* kDeadDisplay = ":87";

std::string contents(const fs::path& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

// tessel started in the background under timeout, so that a test can signal
// the program itself rather than the timeout around it.
class BackgroundRun {
 public:
  BackgroundRun(const fs::path& folder, const fs::path& program, const std::string& arguments) {
    const std::string command = "cd " + folder.string() + " && exec timeout -k 2 30 " +
                                program.string() + " " + arguments + " >out.txt 2>err.txt";
    shell_ = fork();
    if (shell_ == 0) {
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
  }
  ~BackgroundRun() {
    if (shell_ > 0 && !finished_) {
      kill(shell_, SIGKILL);
      waitpid(shell_, nullptr, 0);
    }
  }

  // Whether the program has come as far as loading the plug-in module, by
  // which time it catches the signals; a little later its dialog waits.
  bool wait_until_running() {
    const auto deadline = Clock::now() + 10s;
    while (Clock::now() < deadline) {
      program_ = child_of(shell_);
      if (program_ > 0 &&
          contents("/proc/" + std::to_string(program_) + "/maps").find("tessel.plugin") !=
              std::string::npos) {
        std::this_thread::sleep_for(500ms);
        return true;
      }
      std::this_thread::sleep_for(20ms);
    }
    return false;
  }

  // The signal sent; the exit status (-1 when the program did not exit by
  // itself) and how long after the signal it came.
  std::pair<int, Clock::duration> stop_with(int signal) {
    const auto sent = Clock::now();
    kill(program_, signal);
    int status = 0;
    while (waitpid(shell_, &status, WNOHANG) == 0) std::this_thread::sleep_for(10ms);
    finished_ = true;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Clock::now() - sent};
  }

 private:
  static pid_t child_of(pid_t parent) {
    const std::string id = std::to_string(parent);
    std::istringstream children(contents("/proc/" + id + "/task/" + id + "/children"));
    pid_t child = 0;
    children >> child;
    return child;
  }

  pid_t shell_ = -1;
  pid_t program_ = -1;
  bool finished_ = false;
};

struct Stop {
  int signal;
  int status;
};

constexpr Stop kStops[] = {{SIGTERM, kExitTerminated}, {SIGINT, kExitCancelled}};

class Stopping : public testing::ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    unsetenv("WAYLAND_DISPLAY");
    unsetenv("TESSEL_BACKEND");
    ASSERT_EQ(samples::write_tiff(path("image.tif"), {.samplesPerPixel = 3, .photometric = 2}),
              noErr);
  }

  // Each stop sent to the command once its dialog waits: the status it asks
  // for, within a second or two.
  void expect_every_stop_ends(const std::string& command) {
    for (const Stop& stop : kStops) {
      SCOPED_TRACE(command + ", signal " + std::to_string(stop.signal));
      BackgroundRun run(root_, testing::program_folder() / "tessel", command);
      ASSERT_TRUE(run.wait_until_running()) << contents(path("err.txt"));
      const auto [status, took] = run.stop_with(stop.signal);
      EXPECT_EQ(status, stop.status) << contents(path("err.txt"));
      EXPECT_LT(took, 2s);
    }
  }

  // No document, finished or half-written, is left behind.
  void expect_no_document() {
    for (const auto& entry : fs::directory_iterator(root_)) {
      EXPECT_EQ(entry.path().filename().string().find("doc"), std::string::npos) << entry.path();
    }
  }
};

TEST_F(Stopping, DisplayWithoutServerIsRefusedInOneSentence) {
  if (fs::exists("/tmp/.X11-unix/X87")) GTEST_SKIP() << "an X server answers at :87";
  setenv("DISPLAY", kDeadDisplay, 1);
  unsetenv("XDG_RUNTIME_DIR");
  for (const std::string command : {"about", "select image.tif", "acquire image.tif -o doc.tif"}) {
    SCOPED_TRACE(command);
    const auto started = Clock::now();
    const ProgramRun run = tessel(command);
    EXPECT_LT(Clock::now() - started, 2s);
    EXPECT_EQ(run.status, kExitFailed);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_NE(run.err.find("DISPLAY=:87"), std::string::npos) << run.err;
    EXPECT_TRUE(run.out.empty()) << run.out;
  }
  expect_no_document();
}

TEST_F(Stopping, DesktopDialogsEndOnEitherSignal) {
  if (!testing::XvfbServer::installed()) GTEST_SKIP() << "Xvfb is not installed";
  testing::XvfbServer server;
  ASSERT_TRUE(server.start()) << "Xvfb did not start on " << server.name();
  setenv("DISPLAY", server.name().c_str(), 1);
  expect_every_stop_ends("about");
  expect_every_stop_ends("select image.tif");
}

// Inside a run the signal is held for the abort test, so the dialog, which
// makes none, must end the run itself.
TEST_F(Stopping, HeadlessDialogsInsideARunEndOnEitherSignal) {
  unsetenv("DISPLAY");
  write_text("forever.txt", "wait 2000000000\n");
  expect_every_stop_ends("acquire image.tif -o doc.tif --script forever.txt");
  expect_no_document();
  expect_every_stop_ends("about --script forever.txt");
}

}  // namespace
}  // namespace tessel::host
