#include "HeadlessBackend.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "DeviceScale.h"
#include "Dialogs.h"
#include "Events.h"
#include "MacErrors.h"
#include "Windows.h"

namespace tessel::platform::headless {
namespace {

Point to_global(Point local) {
  WindowPtr front = FrontWindow();
  if (front == nullptr) return local;
  return Point{SInt16(local.v + front->globalOffset.v), SInt16(local.h + front->globalOffset.h)};
}

// The centre of an item of the front dialog, in global coordinates.
std::optional<Point> item_centre(int item) {
  WindowPtr front = FrontWindow();
  if (front == nullptr || front->windowKind != dialogKind) return std::nullopt;
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  if (item < 1 || item > CountDITL(static_cast<DialogPtr>(front))) return std::nullopt;
  GetDItem(static_cast<DialogPtr>(front), SInt16(item), &kind, &handle, &box);
  return to_global(Point{SInt16((box.top + box.bottom) / 2), SInt16((box.left + box.right) / 2)});
}

void press_mouse(Point global) {
  events::set_mouse(global);
  events::set_button(true);
  events::post(mouseDown, 0, global);
}

void lift_mouse(Point global) {
  events::set_mouse(global);
  events::set_button(false);
  events::post(mouseUp, 0, global);
}

// Stops the process: the script is used up and the front window will not
// close, so nothing more can happen.
[[noreturn]] void give_up() {
  WindowPtr front = FrontWindow();
  std::string title = "the front window";
  if (front != nullptr && front->titleText[0] > 0) {
    title.assign(reinterpret_cast<const char*>(front->titleText + 1), front->titleText[0]);
  }
  std::fprintf(stderr,
               "tessel: the script has run out and %s stays open after Return and Escape; "
               "stopping\n",
               title.c_str());
  std::fflush(nullptr);
  std::_Exit(EXIT_FAILURE);
}

bool starts_new_action(Command command) {
  return command == Command::click || command == Command::down || command == Command::key ||
         command == Command::press || command == Command::autoKey;
}

}  // namespace

// Only TESSEL_SCALE: the desktop's own settings say nothing about pictures
// taken without it.
HeadlessBackend::HeadlessBackend(Script script, std::optional<int> deviceScale)
    : script_(std::move(script)),
      scale_(deviceScale ? *deviceScale
                         : scale::choose({.tesselScale = std::getenv(scale::kScaleVariable)})) {}

void HeadlessBackend::pump(backend::Need need) {
  if (need == backend::Need::event) step_for_event();
  if (need == backend::Need::stillDown) step_while_held();
}

void HeadlessBackend::idle() {
  if (waiting_ > 0) --waiting_;
  ++clock_;
}

// Runs steps until one gives the dialog something to see. Like a user, the
// script acts only on what has been drawn: while a window waits for its
// update, nothing happens.
void HeadlessBackend::step_for_event() {
  if (waiting_ > 0 || windows::needing_update() != nullptr) return;
  while (next_ < script_.steps.size()) {
    if (execute(script_.steps[next_++])) return;
  }
  after_script();
}

// Nobody is left to answer: Return confirms a dialog left open. One that
// is still there a moment later (a file dialog with nothing chosen) gets
// Escape; one that outlasts that too would wait forever, so the process
// stops rather than spin.
void HeadlessBackend::after_script() {
  if (endingChanges_ != windowChanges_ || FrontWindow() == nullptr) ending_ = Ending::none;
  endingChanges_ = windowChanges_;
  const UInt32 since = clock_ - endingSince_;
  switch (ending_) {
    case Ending::none:
      events::post_key(keyDown, 13, kReturnKeyCode);
      ending_ = Ending::returned;
      break;
    case Ending::returned:
      if (since < kPatienceTicks) return;
      events::post_key(keyDown, 27, kEscapeKeyCode);
      ending_ = Ending::escaped;
      break;
    case Ending::escaped:
      if (since < kGiveUpTicks) return;
      give_up();
  }
  endingSince_ = clock_;
}

// Inside a tracking loop time passes with every look at the button; a step
// that starts something new first ends the press where the mouse is.
void HeadlessBackend::step_while_held() {
  if (waiting_ > 0) {
    --waiting_;
    ++clock_;
    return;
  }
  while (next_ < script_.steps.size()) {
    const Step& step = script_.steps[next_];
    if (starts_new_action(step.command)) break;
    ++next_;
    if (execute(step)) return;
  }
  release_button();
}

void HeadlessBackend::release_button() { lift_mouse(events::mouse()); }

bool HeadlessBackend::execute(const Step& step) {
  switch (step.command) {
    case Command::click:
      if (auto centre = item_centre(step.item)) {
        press_mouse(*centre);
        lift_mouse(*centre);
      }
      return true;
    case Command::down: press_mouse(to_global(step.where)); return true;
    case Command::drag: events::set_mouse(to_global(step.where)); return true;
    case Command::up: lift_mouse(to_global(step.where)); return true;
    case Command::key:
    case Command::press:
    case Command::autoKey:
      for (UInt16 key : step.keys) {
        events::post_key(step.command == Command::autoKey ? autoKey : keyDown, UInt8(key),
                         UInt8(key >> 8));
      }
      return true;
    case Command::hold:
      for (UInt16 key : step.keys) events::set_key(UInt8(key >> 8), true);
      return false;
    case Command::release:
      if (step.keys.empty()) events::release_all_keys();
      for (UInt16 key : step.keys) events::set_key(UInt8(key >> 8), false);
      return false;
    case Command::wait: waiting_ = step.ticks; return step.ticks > 0;
    case Command::save: save(step.file); return false;
  }
  return false;
}

void HeadlessBackend::save(const std::filesystem::path& file) {
  WindowPtr front = FrontWindow();
  OSErr err = front == nullptr ? OSErr(paramErr) : quickdraw::save_png(*front, file);
  if (err != noErr) saveError_ = err;
}

void HeadlessBackend::set_cursor(const backend::CursorImage* cursor) {
  if (cursor == nullptr) {
    cursor_.reset();
  } else {
    cursor_ = *cursor;
  }
}

// Time passes as if the sound had played.
void HeadlessBackend::play(const backend::SampledSound& sound) {
  played_.push_back(sound);
  if (sound.rate > 0) {
    clock_ += UInt32(std::ceil(double(sound.samples.size()) * 60.0 / sound.rate));
  }
}

std::unique_ptr<backend::Backend> make(Script script) {
  return std::make_unique<HeadlessBackend>(std::move(script));
}

HeadlessBackend* active() { return dynamic_cast<HeadlessBackend*>(&backend::current()); }

HeadlessBackend* use_script(std::string_view text) {
  auto script = parse_script(text, nullptr);
  if (!script) return nullptr;
  events::reset();
  backend::install(make(std::move(*script)));
  return active();
}

}  // namespace tessel::platform::headless
