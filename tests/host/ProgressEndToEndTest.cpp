// The progress bar end to end: the real program on a pseudo-terminal, and
// with standard error in a file.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using testing::ProgramRun;

// Runs its arguments on a new pseudo-terminal and prints all it wrote there.
constexpr const char* kTerminalRunner = R"(import os, pty, sys
pid, fd = pty.fork()
if pid == 0:
    os.execv(sys.argv[1], sys.argv[1:])
out = b''
while True:
    try:
        chunk = os.read(fd, 65536)
    except OSError:
        break
    if not chunk:
        break
    out += chunk
_, status = os.waitpid(pid, 0)
sys.stdout.buffer.write(out)
sys.exit(os.waitstatus_to_exitcode(status))
)";

// Every bar drawn: the task, the bar, the percentage, bytes, a rate, time left.
constexpr const char* kBar =
    "\r[a-z ]+ image\\.tif \\[[#.]{30}\\] +[0-9]+%  [0-9.]+ (bytes|KB|MB) of 600 KB  "
    "[0-9.]+ (bytes|KB|MB|GB)/s  [0-9]+ (s|min|h) left\x1b\\[K";

// Control characters shown, for failure messages.
std::string printable(const std::string& text) {
  std::string shown;
  for (char c : text)
    shown += c == '\r' ? std::string("\\r") : c == '\x1b' ? std::string("\\e") : std::string(1, c);
  return shown;
}

class ProgressEndToEnd : public testing::ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    // The bar waits half a second before it draws; these runs are shorter.
    setenv("TESSEL_TEST_PROGRESS_AT_ONCE", "1", 1);
    write_text("terminal.py", kTerminalRunner);
    ASSERT_EQ(samples::write_tiff(path("image.tif"), {.width = 500,
                                                      .height = 400,
                                                      .samplesPerPixel = 3,
                                                      .photometric = 2,
                                                      .rowsPerStrip = 4}),
              noErr);
  }

  ProgramRun on_terminal(const std::string& arguments) {
    const std::string command =
        "cd '" + root_.string() + "' && timeout -k 5 60 python3 terminal.py " +
        (testing::program_folder() / "tessel").string() + " " + arguments + " >out.txt";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(path("out.txt")), "", ""};
  }
};

TEST_F(ProgressEndToEnd, ExtractOnATerminalNamesTheImageAndClearsItsLine) {
  const ProgramRun run = on_terminal("extract image.tif --rect 0,0,400,500 -o doc.tif");
  EXPECT_EQ(run.status, 0) << run.out;
  EXPECT_TRUE(std::regex_search(run.out, std::regex(std::string(kBar)))) << printable(run.out);
  EXPECT_TRUE(std::regex_search(run.out, std::regex("^\rreading image\\.tif ")))
      << printable(run.out);
  // The last bar is erased before the report, which starts a clean line.
  EXPECT_TRUE(std::regex_search(run.out, std::regex("\x1b\\[K\r\x1b\\[Ktessel: wrote doc\\.tif")))
      << printable(run.out);
}

TEST_F(ProgressEndToEnd, NoBarWhenStandardErrorIsNotATerminal) {
  const ProgramRun run = tessel("extract image.tif --rect 0,0,400,500 -o doc.tif");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err.find('\r'), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find("reading"), std::string::npos) << run.err;
  EXPECT_EQ(run.err.find('\x1b'), std::string::npos) << run.err;
}

// The stopped export names the command that finishes it, quoted for the
// shell, and that command does finish it.
TEST_F(ProgressEndToEnd, StoppedExportSaysWhatToRunToFinish) {
  testing::inverted_document(path("image.tif"), Rect{0, 0, 400, 500}, path("my doc.tif"));
  setenv("TESSEL_TEST_INTERRUPT_AFTER_BANDS", "2", 1);
  const ProgramRun run = on_terminal("export 'my doc.tif' --memory-limit 30000");
  EXPECT_EQ(run.status, 3) << printable(run.out);
  EXPECT_TRUE(std::regex_search(run.out, std::regex("\rwriting back into image\\.tif \\[")))
      << printable(run.out);
  std::smatch finish;
  ASSERT_TRUE(std::regex_search(run.out, finish, std::regex("to finish, run: tessel (.*)\r\n")))
      << printable(run.out);
  EXPECT_EQ(finish[1].str(), "export 'my doc.tif'");
  unsetenv("TESSEL_TEST_INTERRUPT_AFTER_BANDS");
  const ProgramRun rerun = tessel(finish[1].str());
  EXPECT_EQ(rerun.status, 0) << rerun.err;
  EXPECT_FALSE(read_document(path("my doc.tif"))->modified());
}

}  // namespace
}  // namespace tessel::host
