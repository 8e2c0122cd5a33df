// The backend without a display: input comes from a script (SCRIPT.md in
// this folder), time from a virtual tick clock, and windows are seen only by
// saving them as PNG. Sounds are recorded, not played; the cursor is
// remembered.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Backend.h"
#include "MacTypes.h"

namespace tessel::platform::headless {

enum class Command { click, down, drag, up, key, press, autoKey, hold, release, wait, save };

struct Step {
  Command command = Command::wait;
  int item = 0;
  Point where{0, 0};         // window-local
  std::vector<UInt16> keys;  // character in the low byte, key code above
  int ticks = 0;
  std::filesystem::path file;
};

struct Script {
  std::vector<Step> steps;
};

// A script from its text. On a line it cannot read, nothing and *badLine
// (counted from 1).
std::optional<Script> parse_script(std::string_view text, int* badLine);

// Reads and installs a script: the headless backend becomes the current
// one, driven by it. fnfErr when the file cannot be read, paramErr with
// *badLine for a line that cannot be understood.
OSErr load_script(const std::filesystem::path& path, int* badLine = nullptr);

class HeadlessBackend : public backend::Backend {
 public:
  // The scale is TESSEL_SCALE's when none is given; saved pictures have
  // that many pixels per script coordinate.
  explicit HeadlessBackend(Script script = {}, std::optional<int> deviceScale = std::nullopt);

  const char* name() const override { return "headless"; }
  void pump(backend::Need need) override;
  void idle() override;
  UInt32 ticks() override { return clock_; }
  Rect screen() const override { return Rect{0, 0, 768, 1024}; }
  int scale() const override { return scale_; }
  void show(WindowRecord&) override { ++windowChanges_; }
  void hide(WindowRecord&) override { ++windowChanges_; }
  void moved(WindowRecord&) override {}
  void set_cursor(const backend::CursorImage* cursor) override;
  void play(const backend::SampledSound& sound) override;

  // What tests and the host look at.
  const std::vector<backend::SampledSound>& played() const { return played_; }
  const std::optional<backend::CursorImage>& cursor() const { return cursor_; }
  bool script_finished() const { return next_ >= script_.steps.size(); }
  // The error of the last failed save, noErr when every save worked.
  OSErr save_error() const { return saveError_; }

 private:
  void step_for_event();
  void step_while_held();
  void after_script();
  // True when the step gave the program something to see.
  bool execute(const Step& step);
  void release_button();
  void save(const std::filesystem::path& file);

  Script script_;
  int scale_ = 1;
  std::size_t next_ = 0;
  int waiting_ = 0;
  UInt32 clock_ = 1;
  std::vector<backend::SampledSound> played_;
  std::optional<backend::CursorImage> cursor_;
  OSErr saveError_ = 0;
  // Once the script has run out: how far the front dialog has been pushed
  // to close, and since when; any window shown or hidden starts over.
  enum class Ending { none, returned, escaped };
  Ending ending_ = Ending::none;
  UInt32 endingSince_ = 0;
  unsigned windowChanges_ = 0;
  unsigned endingChanges_ = 0;
};

// Once the script has run out, a dialog that neither Return nor Escape
// closes is given this many ticks before the process stops.
constexpr UInt32 kPatienceTicks = 60;
constexpr UInt32 kGiveUpTicks = 600;

std::unique_ptr<backend::Backend> make(Script script = {});
// The current backend when it is the headless one, else null.
HeadlessBackend* active();
// Installs a fresh headless backend driven by script text; for tests.
// Null when the text cannot be read.
HeadlessBackend* use_script(std::string_view text);

}  // namespace tessel::platform::headless
