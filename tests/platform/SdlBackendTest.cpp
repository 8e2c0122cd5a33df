// The desktop backend on a real X server: a dialog becomes a window, and a
// click put into SDL's own event queue reaches ModalDialog as a button hit.
#include <sys/wait.h>
#include <unistd.h>

#include "DialogTestSupport.h"
#include "XvfbServer.h"
#include "headless/HeadlessBackend.h"
#include "sdl/SdlBackend.h"

namespace tessel::testing {
namespace {

class SdlBackend : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    if (!XvfbServer::installed()) GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(server_.start()) << "Xvfb did not start on " << server_.name();
  }

  XvfbServer server_;
};

DialogPtr gDialog = nullptr;
int gNulls = 0;
bool gPushed = false;

// Clicks Cancel once the dialog is drawn; gives up after ten seconds of
// idling so that a lost click fails the test instead of hanging it.
Boolean click_cancel_when_idle(DialogPtr, EventRecord* event, SInt16* itemHit) {
  if (event->what != nullEvent) return false;
  if (++gNulls == 10) {
    SInt16 kind = 0;
    Handle handle = nullptr;
    Rect box{};
    GetDItem(gDialog, 2, &kind, &handle, &box);
    Point centre{SInt16((box.top + box.bottom) / 2), SInt16((box.left + box.right) / 2)};
    gPushed = platform::sdl::push_click(*gDialog, centre);
  }
  if (gNulls < 600) return false;
  *itemHit = -1;
  return true;
}

// What the desktop run found, as the child's exit status.
enum Outcome { kClicked, kNoDesktop, kNoDialog, kNotPushed, kWrongItem, kNotDrawn };

// Runs in a child process: the desktop libraries keep memory for the life
// of the process, which the leak checker of sanitized builds would report
// at a normal exit.
Outcome run_desktop_dialog(int display) {
  setenv("DISPLAY", (":" + std::to_string(display)).c_str(), 1);
  auto desktop = platform::sdl::make();
  if (desktop == nullptr) return kNoDesktop;
  platform::backend::install(std::move(desktop));
  gDialog = GetNewDialog(300, nullptr, kFirstWindowOfClass);
  if (gDialog == nullptr) return kNoDialog;
  SInt16 item = 0;
  ModalDialog(click_cancel_when_idle, &item);
  if (!gPushed) return kNotPushed;
  if (item != 2) return kWrongItem;
  if (platform::quickdraw::pixel(*gDialog, 80, 90) != 0x000000u) return kNotDrawn;
  DisposeDialog(gDialog);
  platform::backend::install(platform::headless::make());
  return kClicked;
}

TEST_F(SdlBackend, SynthesisedClickHitsTheButtonOfARealWindow) {
  add({FourCC("DLOG"), 300, 0, "", dialog_template({50, 60, 170, 320}, 300, true, 0)});
  add({FourCC("DITL"), 300, 0, "",
       item_list({{ctrlItem + btnCtrl, {80, 170, 100, 240}, text_bytes("OK")},
                  {ctrlItem + btnCtrl, {80, 80, 100, 150}, text_bytes("Cancel")}})});
  open_resources();
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) _exit(run_desktop_dialog(server_.display()));
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), kClicked)
      << "1 no desktop, 2 no dialog, 3 click not pushed, 4 another item, 5 not drawn";
}

}  // namespace
}  // namespace tessel::testing
