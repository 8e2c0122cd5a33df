// The selection dialog in a desktop window on a virtual X server: once the
// preview has filled, a rubber band dragged with mouse events that pass
// through SDL's queue, then OK, must choose the same rectangle as the same
// drag scripted headless.
//
// The 4000 x 3000 image gives the preview P = (60, 12, 252, 268).
#include <unistd.h>

#include <algorithm>
#include <array>
#include <set>

#include "AskForSelectionFixture.h"
#include "Quickdraw.h"
#include "platform/XvfbServer.h"
#include "sdl/SdlBackend.h"

namespace tessel::testing {
namespace {

namespace backend = platform::backend;
namespace sdl = platform::sdl;

constexpr Point kFrom{100, 50}, kTo{200, 150};  // v, h
constexpr int kMoves = 8;
// A row near the bottom, clear of the marching ants on the edges.
constexpr SInt16 kLateRow = 246, kPreviewLeft = 16, kPreviewRight = 264;
constexpr UInt32 kGiveUpTicks = 60 * 60;

// A person at the desktop: passes every call on to the SDL backend, and
// on its way acts through SDL's queue, at most once a tick: waits for the
// preview's late rows, presses, moves in steps, releases, then clicks OK.
class Hand : public backend::Backend {
 public:
  explicit Hand(std::unique_ptr<backend::Backend> desktop) : desktop_(std::move(desktop)) {}

  const char* name() const override { return desktop_->name(); }
  void pump(backend::Need need) override {
    act();
    desktop_->pump(need);
  }
  void idle() override { desktop_->idle(); }
  UInt32 ticks() override { return desktop_->ticks(); }
  Rect screen() const override { return desktop_->screen(); }
  int scale() const override { return desktop_->scale(); }
  void show(WindowRecord& window) override { desktop_->show(window); }
  void hide(WindowRecord& window) override { desktop_->hide(window); }
  void moved(WindowRecord& window) override { desktop_->moved(window); }
  void set_cursor(const backend::CursorImage* cursor) override { desktop_->set_cursor(cursor); }
  void play(const backend::SampledSound& sound) override { desktop_->play(sound); }

  bool dragged() const { return step_ > kMoves + 1; }

 private:
  void act() {
    const UInt32 now = desktop_->ticks();
    WindowPtr front = FrontWindow();
    if (now == last_ || front == nullptr || front->windowKind != dialogKind) return;
    if (started_ == 0) started_ = now;
    last_ = now;
    if (now - started_ > kGiveUpTicks) {
      click(*front, kSelectionCancelItem);
    } else if (step_ == 0) {
      if (preview_filled(*front)) step_ = 1;
    } else if (step_ <= kMoves + 1) {
      drag_step(*front);
    } else if (step_++ == kMoves + 10) {
      click(*front, kSelectionOKItem);
    }
  }

  // Before the image arrives the preview shows a two-colour hatching.
  static bool preview_filled(const WindowRecord& window) {
    std::set<UInt32> colours;
    for (SInt16 h = kPreviewLeft; h < kPreviewRight; ++h) {
      colours.insert(platform::quickdraw::pixel(window, h, kLateRow));
    }
    return colours.size() > 8;
  }

  // Step 1 presses at kFrom, the next ones move towards kTo, the last
  // releases there.
  void drag_step(const WindowRecord& window) {
    const int moved = step_ - 1;
    const Point at{SInt16(kFrom.v + (kTo.v - kFrom.v) * moved / kMoves),
                   SInt16(kFrom.h + (kTo.h - kFrom.h) * moved / kMoves)};
    const sdl::Mouse action = step_ == 1            ? sdl::Mouse::press
                              : step_ == kMoves + 1 ? sdl::Mouse::release
                                                    : sdl::Mouse::move;
    if (sdl::push_mouse(window, step_ == kMoves + 1 ? kTo : at, action)) ++step_;
  }

  static void click(WindowRecord& window, SInt16 item) {
    const Rect box = item_of(static_cast<DialogPtr>(&window), item).box;
    sdl::push_click(window,
                    Point{SInt16((box.top + box.bottom) / 2), SInt16((box.left + box.right) / 2)});
  }

  std::unique_ptr<backend::Backend> desktop_;
  UInt32 started_ = 0, last_ = 0;
  int step_ = 0;
};

class SdlSelection : public AskForSelectionTest {
 protected:
  void SetUp() override {
    AskForSelectionTest::SetUp();
    if (!XvfbServer::installed()) GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(server_.start()) << "Xvfb did not start on " << server_.name();
    open_image("large.tif",
               {.width = 4000, .height = 3000, .samplesPerPixel = 3, .photometric = 2});
  }

  // What the desktop run chose: the result code, whether the whole drag
  // went through SDL, and the image rectangle. Run in a child process, as
  // the desktop libraries keep memory the leak checker would report.
  std::array<int, 6> run_on_desktop() {
    int channel[2];
    EXPECT_EQ(pipe(channel), 0);
    const pid_t child = fork();
    if (child == 0) {
      close(channel[0]);
      setenv("DISPLAY", server_.name().c_str(), 1);
      std::array<int, 6> found{-1, 0, 0, 0, 0, 0};
      if (auto desktop = sdl::make()) {
        auto hand = std::make_unique<Hand>(std::move(desktop));
        const Hand& watched = *hand;
        backend::install(std::move(hand));
        found[0] = AskForSelection(&params_, &image_);
        found[1] = watched.dragged();
        const auto s = selection();
        std::copy(s.begin(), s.end(), found.begin() + 2);
      }
      const ssize_t written = write(channel[1], found.data(), sizeof found);
      _exit(written == ssize_t(sizeof found) ? 0 : 1);
    }
    close(channel[1]);
    std::array<int, 6> found{-2, 0, 0, 0, 0, 0};
    EXPECT_EQ(read(channel[0], found.data(), sizeof found), ssize_t(sizeof found));
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    return found;
  }

  XvfbServer server_;
};

TEST_F(SdlSelection, DraggedRubberBandMatchesTheScriptedOne) {
  const std::array<int, 6> desktop = run_on_desktop();
  ASSERT_EQ(desktop[0], noErr) << "-1: no desktop; -2: the child wrote nothing";
  EXPECT_EQ(desktop[1], 1) << "the drag did not reach SDL";
  std::filesystem::remove(prefs_file());

  // 15.625 image pixels to a preview pixel.
  ASSERT_EQ(run("down 50 100\ndrag 100 150\nup 150 200\nclick 1\n"), noErr);
  const std::vector<int> scripted = selection();
  EXPECT_EQ(std::vector<int>(desktop.begin() + 2, desktop.end()), scripted);
  EXPECT_NEAR(scripted[0], 625, 16);
  EXPECT_NEAR(scripted[1], 594, 16);
  EXPECT_NEAR(scripted[2], 2188, 16);
  EXPECT_NEAR(scripted[3], 2156, 16);
}

}  // namespace
}  // namespace tessel::testing
