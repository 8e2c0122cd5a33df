// The about box run headless over the plug-in's compiled resources: its
// hidden words typed by scripts, its top line read back from the window.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "Resources.h"
#include "Windows.h"
#include "about/TesselAbout.h"
#include "headless/HeadlessBackend.h"
#include "platform/DialogTestSupport.h"

namespace tessel::testing {
namespace {

// The band at the top of the box that the messages draw into.
constexpr Rect kMessageBand{0, 0, 20, 340};

struct Moment {
  SInt16 what;
  UInt32 ticks;
  std::vector<UInt32> band;
  int dark;
};

std::vector<Moment>* gMoments = nullptr;

// The box's own filter, with what the band holds after every event.
Boolean recordingFilter(DialogPtr dialog, EventRecord* event, SInt16* itemHit) {
  const Boolean done = AboutDialogProc(dialog, event, itemHit);
  const GrafPort& port = *GetDialogPort(dialog);
  Moment moment{event->what, TickCount(), {}, dark_pixels(port, kMessageBand)};
  for (int v = kMessageBand.top; v < kMessageBand.bottom; ++v) {
    for (int h = kMessageBand.left; h < kMessageBand.right; ++h) {
      moment.band.push_back(platform::quickdraw::pixel(port, h, v));
    }
  }
  gMoments->push_back(std::move(moment));
  return done;
}

class AboutBox : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    open_compiled(TESSEL_RESOURCE_FORK);
  }

  // One showing driven by script, with the box's filter watched.
  std::vector<Moment> watch(const std::string& script) {
    std::vector<Moment> moments;
    EXPECT_NE(platform::headless::use_script(script), nullptr);
    AboutState state{};
    EXPECT_EQ(SetUpAboutDialog(&state), noErr);
    if (state.dialog == nullptr) return moments;
    ShowWindow(state.dialog);
    gMoments = &moments;
    SInt16 item = 0;
    ModalDialog(recordingFilter, &item);
    gMoments = nullptr;
    EXPECT_EQ(item, 1);
    EXPECT_FALSE(state.playSound);
    TearDownAboutDialog(&state);
    return moments;
  }

  // The first moment whose band differs from the one before it.
  static std::size_t first_change(const std::vector<Moment>& moments, std::size_t from) {
    for (std::size_t at = std::max<std::size_t>(from, 1); at < moments.size(); ++at) {
      if (moments[at].band != moments[at - 1].band) return at;
    }
    return moments.size();
  }

  // DoThatAboutThang under script; the backend tells what it played.
  platform::headless::HeadlessBackend* show_box(const std::string& script) {
    platform::headless::HeadlessBackend* backend = platform::headless::use_script(script);
    EXPECT_NE(backend, nullptr);
    if (backend != nullptr) DoThatAboutThang();
    EXPECT_TRUE(platform::windows::all().empty());
    return backend;
  }
};

// Lower-case keys count; a second word replaces the first's line at once, as
// if drawn on a clear band, and its own three seconds start then.
TEST_F(AboutBox, HiddenWordsShowTheirLineForThreeSeconds) {
  const std::vector<UInt32> alone = watch("key XVBLN\nwait 5\nclick 1").back().band;
  const auto moments = watch("key qzmrt\nwait 60\nkey XVBLN\nwait 240\nclick 1");
  const std::size_t first = first_change(moments, 0);
  const std::size_t second = first_change(moments, first + 1);
  const std::size_t gone = first_change(moments, second + 1);
  ASSERT_LT(gone, moments.size());
  EXPECT_EQ(moments[first - 1].dark, 0);
  EXPECT_GT(moments[first].dark, 20);
  EXPECT_EQ(moments[second].what, keyDown);
  EXPECT_LT(moments[second].ticks, moments[first].ticks + kAboutMessageTicks);
  EXPECT_EQ(moments[second].band, alone);
  EXPECT_EQ(moments[gone].what, nullEvent);
  EXPECT_EQ(moments[gone].ticks, moments[second].ticks + kAboutMessageTicks);
  EXPECT_EQ(moments[gone].dark, 0);
}

TEST_F(AboutBox, BrokenWordsShowNothing) {
  // A key that continues no word is lost with what came before it, so the X
  // of "XW" takes the W with it.
  for (const char* keys : {"key QZMRQZMRT", "key qzmxrt", "key WOMBATRUN", "key xwombatruns"}) {
    SCOPED_TRACE(keys);
    for (const Moment& moment : watch(std::string(keys) + "\nwait 20\nclick 1"))
      EXPECT_EQ(moment.dark, 0) << moment.ticks;
  }
  // A key that starts no word is simply dropped.
  EXPECT_GT(watch("key awombatruns\nwait 5\nclick 1").back().dark, 20);
}

TEST_F(AboutBox, FirstWordClosesTheBoxAndPlaysTheSound) {
  EXPECT_EQ(show_box("key biscuit\nkey x")->played().size(), 1u);
  EXPECT_FALSE(show_box("key biscuit\nkey x")->script_finished());  // closed at the word
  EXPECT_EQ(show_box("key BISQBISCUIT")->played().size(), 1u);      // the Q starts over
  EXPECT_EQ(show_box("key bbiscuit")->played().size(), 0u);         // closed by Return
  EXPECT_EQ(show_box("click 1")->played().size(), 0u);
}

// Without the sound the word still closes the box; without the template
// there is no box.
TEST_F(AboutBox, MissingResourcesMeanNoSoundOrNoBox) {
  close_compiled();
  EXPECT_FALSE(show_box("key biscuit")->script_finished());

  add({FourCC("DLOG"), kAboutDialogID, 0, "", dialog_template({0, 0, 100, 200}, 16000, false, 0)});
  add({FourCC("DITL"), 16000, 0, "",
       item_list({{btnCtrl | ctrlItem, {60, 100, 80, 180}, text_bytes("OK")}})});
  open_resources();
  platform::headless::HeadlessBackend* backend = show_box("key biscuit\nkey x");
  EXPECT_TRUE(backend->played().empty());
  EXPECT_FALSE(backend->script_finished());
}

}  // namespace
}  // namespace tessel::testing
