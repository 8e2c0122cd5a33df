// What the headless backend does once its script is used up and a window
// is still open: Return, then Escape, then it stops the process.
#include <gtest/gtest.h>

#include <string>

#include "Events.h"
#include "MacErrors.h"
#include "Windows.h"
#include "headless/HeadlessBackend.h"

namespace tessel::testing {
namespace {

namespace headless = platform::headless;
namespace windows = platform::windows;

// Runs a window's event loop: draws it when asked, notes every key typed,
// and closes it at the first key in closers. Bounded, so that a loop the
// backend never ends fails the test instead of hanging it.
std::string keys_until_closed(WindowRecord& window, const std::string& closers) {
  std::string typed;
  for (int turn = 0; turn < 100000 && window.open; ++turn) {
    EventRecord event{};
    GetNextEvent(everyEvent, &event);
    if (event.what == updateEvt) {
      BeginUpdate(&window);
      EndUpdate(&window);
    }
    if (event.what != keyDown) continue;
    const char key = char(event.message & charCodeMask);
    typed += key;
    if (closers.find(key) != std::string::npos) windows::close(window);
  }
  return typed;
}

void open_window(WindowRecord& window) {
  ASSERT_EQ(windows::open(window, {40, 40, 140, 240}, dBoxProc, true, nullptr, 0, nullptr), noErr);
}

TEST(HeadlessScriptEnd, ReturnThenEscapeAndEachNewWindowStartsWithReturn) {
  ASSERT_NE(headless::use_script("key ab\n"), nullptr);
  WindowRecord stubborn{};
  open_window(stubborn);
  const UInt32 start = TickCount();
  EXPECT_EQ(keys_until_closed(stubborn, "\x1b"), "ab\r\x1b");
  EXPECT_GE(TickCount() - start, headless::kPatienceTicks);

  WindowRecord next{};
  open_window(next);
  EXPECT_EQ(keys_until_closed(next, "\r"), "\r");
}

TEST(HeadlessScriptEndDeathTest, AWindowThatOutlastsEscapeStopsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        headless::use_script("");
        WindowRecord deaf{};
        open_window(deaf);
        keys_until_closed(deaf, "");
        std::_Exit(0);  // the loop ran out before the backend gave up
      },
      ::testing::ExitedWithCode(EXIT_FAILURE), "stays open after Return and Escape");
}

}  // namespace
}  // namespace tessel::testing
