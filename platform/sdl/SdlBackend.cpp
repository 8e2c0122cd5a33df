#include "SdlBackend.h"

#include <SDL.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>
#include <vector>

#include "DeviceScale.h"
#include "Events.h"
#include "FixedFrame.h"
#include "Windows.h"
#include "XResources.h"

namespace tessel::platform::sdl {
namespace {

constexpr Uint32 kMillisecondsPerTick = 1000 / 60;

struct Shown {
  SDL_Window* window = nullptr;
  SDL_Renderer* renderer = nullptr;
  SDL_Texture* texture = nullptr;
};

struct SpecialKey {
  SDL_Keycode key;
  UInt8 code;
  UInt8 character;
};

constexpr SpecialKey kSpecialKeys[] = {
    {SDLK_RETURN, kReturnKeyCode, 13},    {SDLK_KP_ENTER, kEnterKeyCode, 3},
    {SDLK_ESCAPE, kEscapeKeyCode, 27},    {SDLK_TAB, kTabKeyCode, 9},
    {SDLK_BACKSPACE, kDeleteKeyCode, 8},  {SDLK_SPACE, kSpaceKeyCode, ' '},
    {SDLK_LEFT, kLeftArrowKeyCode, 28},   {SDLK_RIGHT, kRightArrowKeyCode, 29},
    {SDLK_UP, kUpArrowKeyCode, 30},       {SDLK_DOWN, kDownArrowKeyCode, 31},
    {SDLK_LGUI, kCommandKeyCode, 0},      {SDLK_RGUI, kCommandKeyCode, 0},
    {SDLK_LALT, kOptionKeyCode, 0},       {SDLK_RALT, kOptionKeyCode, 0},
    {SDLK_LSHIFT, kShiftKeyCode, 0},      {SDLK_RSHIFT, kShiftKeyCode, 0},
    {SDLK_LCTRL, kControlKeyCode, 0},     {SDLK_RCTRL, kControlKeyCode, 0},
    {SDLK_CAPSLOCK, kCapsLockKeyCode, 0},
};

struct TypedKey {
  int code = -1;
  UInt8 character = 0;
};

TypedKey typed_key(const SDL_Keysym& sym) {
  for (const SpecialKey& special : kSpecialKeys) {
    if (special.key == sym.sym) return {special.code, special.character};
  }
  if (sym.sym < 32 || sym.sym > 126) return {};
  auto character = char(sym.sym);
  if ((sym.mod & KMOD_SHIFT) != 0 && character >= 'a' && character <= 'z') {
    character = char(character - 'a' + 'A');
  }
  return {events::key_code_of(character), UInt8(character)};
}

// SDL_Quit also lets go of what the video driver's helpers hold, such as
// the session bus, even after a driver failed to open.
void quit_if_unused() {
  if (SDL_WasInit(SDL_INIT_EVERYTHING) == 0) SDL_Quit();
}

class SdlBackend;
// The desktop backend alive in this process, whether it is the current
// backend or serves one that passes calls on to it.
SdlBackend* gDesktop = nullptr;

// Rounds towards minus infinity: a drag left of a window stays left of it.
int floor_div(int value, int divisor) {
  int quotient = value / divisor;
  return (value % divisor != 0 && value < 0) ? quotient - 1 : quotient;
}

// The window manager and SDL count device pixels; windows and events count
// logical ones.
SDL_Rect to_device(const Rect& r, int scale) {
  return SDL_Rect{r.left * scale, r.top * scale, (r.right - r.left) * scale,
                  (r.bottom - r.top) * scale};
}

class SdlBackend : public backend::Backend {
 public:
  explicit SdlBackend(int scale) : scale_(scale) { gDesktop = this; }
  ~SdlBackend() override {
    gDesktop = nullptr;
    for (auto& [record, shown] : shown_) destroy(shown);
    if (cursor_ != nullptr) SDL_FreeCursor(cursor_);
    SDL_QuitSubSystem(SDL_INIT_VIDEO | SDL_INIT_EVENTS);
    quit_if_unused();
  }

  const char* name() const override { return "sdl"; }

  void pump(backend::Need need) override {
    present_all();
    SDL_Event event;
    while (SDL_PollEvent(&event) != 0) translate(event);
    if (need == backend::Need::stillDown) SDL_Delay(1);
  }

  // One tick passes, or less when input arrives.
  void idle() override {
    SDL_Event event;
    if (SDL_WaitEventTimeout(&event, int(kMillisecondsPerTick)) != 0) translate(event);
  }

  UInt32 ticks() override { return 1 + UInt32(SDL_GetTicks() * 60ull / 1000); }

  // The display of the frontmost window shown, so that a dialog opens where
  // the window that asked for it is; the first display when none is shown.
  Rect screen() const override {
    int display = 0;
    auto front = shown_.find(FrontWindow());
    if (front != shown_.end())
      display = std::max(0, SDL_GetWindowDisplayIndex(front->second.window));
    SDL_Rect r{0, 0, 1024 * scale_, 768 * scale_};
    SDL_GetDisplayBounds(display, &r);
    return Rect{SInt16(floor_div(r.y, scale_)), SInt16(floor_div(r.x, scale_)),
                SInt16(floor_div(r.y + r.h, scale_)), SInt16(floor_div(r.x + r.w, scale_))};
  }

  int scale() const override { return scale_; }

  void show(WindowRecord& record) override {
    SDL_Rect bounds = to_device(windows::global_bounds(record), scale_);
    std::string title(reinterpret_cast<const char*>(record.titleText + 1), record.titleText[0]);
    Shown shown;
    shown.window =
        SDL_CreateWindow(title.c_str(), bounds.x, bounds.y, bounds.w, bounds.h, SDL_WINDOW_HIDDEN);
    if (shown.window == nullptr) return;
    shown.renderer = SDL_CreateRenderer(shown.window, -1, SDL_RENDERER_SOFTWARE);
    if (shown.renderer != nullptr) {
      // The port's buffer is already at device size (the port has this
      // backend's scale), so the texture takes it one to one.
      shown.texture = SDL_CreateTexture(shown.renderer, SDL_PIXELFORMAT_ARGB32,
                                        SDL_TEXTUREACCESS_STREAMING, bounds.w, bounds.h);
    }
    // Layouts are fixed: equal limits tell the window manager not to offer
    // resizing or maximising, and the frame drops the button for it. Asked
    // once the renderer is made, which may make the window anew, and before
    // the window is mapped, when managers read them.
    SDL_SetWindowMinimumSize(shown.window, bounds.w, bounds.h);
    SDL_SetWindowMaximumSize(shown.window, bounds.w, bounds.h);
    ask_for_fixed_frame(shown.window);
    SDL_ShowWindow(shown.window);
    shown_[&record] = shown;
    present(record, shown);
  }

  void hide(WindowRecord& record) override {
    auto found = shown_.find(&record);
    if (found == shown_.end()) return;
    destroy(found->second);
    shown_.erase(found);
  }

  void moved(WindowRecord& record) override {
    auto found = shown_.find(&record);
    if (found == shown_.end()) return;
    SDL_SetWindowPosition(found->second.window, record.globalOffset.h * scale_,
                          record.globalOffset.v * scale_);
  }

  void set_cursor(const backend::CursorImage* image) override {
    SDL_Cursor* made = image == nullptr ? SDL_CreateSystemCursor(SDL_SYSTEM_CURSOR_ARROW)
                                        : make_cursor(*image, scale_);
    if (made == nullptr) return;
    SDL_SetCursor(made);
    if (cursor_ != nullptr) SDL_FreeCursor(cursor_);
    cursor_ = made;
  }

  void play(const backend::SampledSound& sound) override {
    if (sound.samples.empty() || SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) return;
    SDL_AudioSpec wanted{};
    wanted.freq = int(sound.rate + 0.5);
    wanted.format = AUDIO_U8;
    wanted.channels = 1;
    wanted.samples = 1024;
    SDL_AudioDeviceID device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (device != 0) {
      SDL_QueueAudio(device, sound.samples.data(), Uint32(sound.samples.size()));
      SDL_PauseAudioDevice(device, 0);
      while (SDL_GetQueuedAudioSize(device) > 0) SDL_Delay(10);
      SDL_CloseAudioDevice(device);
    }
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
  }

  WindowRecord* record_of(Uint32 windowID) const {
    for (const auto& [record, shown] : shown_) {
      if (SDL_GetWindowID(shown.window) == windowID) return record;
    }
    return nullptr;
  }

  std::optional<Uint32> id_of(const WindowRecord& record) const {
    auto found = shown_.find(const_cast<WindowRecord*>(&record));
    if (found == shown_.end()) return std::nullopt;
    return SDL_GetWindowID(found->second.window);
  }

 private:
  static void destroy(Shown& shown) {
    if (shown.texture != nullptr) SDL_DestroyTexture(shown.texture);
    if (shown.renderer != nullptr) SDL_DestroyRenderer(shown.renderer);
    if (shown.window != nullptr) SDL_DestroyWindow(shown.window);
    shown = Shown{};
  }

  // A cursor as large as the windows' pixels are: each of its pixels a
  // scale x scale block.
  static SDL_Cursor* make_cursor(const backend::CursorImage& image, int scale) {
    const int side = 16 * scale, rowBytes = side / 8;
    std::vector<Uint8> data(std::size_t(rowBytes * side)), mask(data.size());
    for (int v = 0; v < side; ++v) {
      for (int h = 0; h < side; ++h) {
        const UInt16 bit = UInt16(0x8000 >> (h / scale));
        const std::size_t at = std::size_t(v * rowBytes + h / 8);
        const auto set = Uint8(0x80 >> (h % 8));
        if ((image.image[v / scale] & bit) != 0) data[at] = Uint8(data[at] | set);
        if ((image.mask[v / scale] & bit) != 0) mask[at] = Uint8(mask[at] | set);
      }
    }
    return SDL_CreateCursor(data.data(), mask.data(), side, side, image.hotSpot.h * scale,
                            image.hotSpot.v * scale);
  }

  // Pixels go to the screen at most once a tick.
  void present_all() {
    UInt32 now = ticks();
    if (now == lastPresent_) return;
    lastPresent_ = now;
    for (auto& [record, shown] : shown_) present(*record, shown);
  }

  static void present(const WindowRecord& record, Shown& shown) {
    if (shown.texture == nullptr || record.portPixMap == nullptr) return;
    const PixMap& map = **record.portPixMap;
    SDL_UpdateTexture(shown.texture, nullptr, map.baseAddr, map.rowBytes & 0x3FFF);
    SDL_RenderCopy(shown.renderer, shown.texture, nullptr, nullptr);
    SDL_RenderPresent(shown.renderer);
  }

  Point global(Uint32 windowID, int x, int y) const {
    WindowRecord* record = record_of(windowID);
    Point origin = record == nullptr ? Point{0, 0} : record->globalOffset;
    return Point{SInt16(origin.v + floor_div(y, scale_)), SInt16(origin.h + floor_div(x, scale_))};
  }

  void translate_mouse(const SDL_Event& e) {
    if (e.type == SDL_MOUSEMOTION) {
      events::set_mouse(global(e.motion.windowID, e.motion.x, e.motion.y));
      return;
    }
    if (e.button.button != SDL_BUTTON_LEFT) return;
    Point where = global(e.button.windowID, e.button.x, e.button.y);
    bool down = e.type == SDL_MOUSEBUTTONDOWN;
    events::set_mouse(where);
    events::set_button(down);
    events::post(down ? mouseDown : mouseUp, 0, where);
  }

  void translate_key(const SDL_Event& e) {
    TypedKey key = typed_key(e.key.keysym);
    bool down = e.type == SDL_KEYDOWN;
    if (key.code >= 0) events::set_key(UInt8(key.code), down);
    if (down && key.character != 0) {
      events::post_key(e.key.repeat != 0 ? autoKey : keyDown, key.character, UInt8(key.code));
    }
  }

  void translate(const SDL_Event& e) {
    switch (e.type) {
      case SDL_MOUSEMOTION:
      case SDL_MOUSEBUTTONDOWN:
      case SDL_MOUSEBUTTONUP: translate_mouse(e); break;
      case SDL_KEYDOWN:
      case SDL_KEYUP: translate_key(e); break;
      case SDL_WINDOWEVENT: lastPresent_ = 0; break;
      case SDL_QUIT: events::post_key(keyDown, 27, kEscapeKeyCode); break;
      default: break;
    }
  }

  int scale_;
  std::map<WindowRecord*, Shown> shown_;
  SDL_Cursor* cursor_ = nullptr;
  UInt32 lastPresent_ = 0;
};

// The video drivers that put a window in front of a person, each tried only
// when the variable naming its display is set. SDL would otherwise fall back
// to drivers such as offscreen or dummy, where a dialog waits for input that
// nobody can give; and probing wayland without a compositor prints a warning
// of its own.
struct ShownDriver {
  const char* driver;
  const char* display;
};

constexpr ShownDriver kShownDrivers[] = {{"x11", "DISPLAY"}, {"wayland", "WAYLAND_DISPLAY"}};

bool is_set(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

bool shows_windows(const char* driver) {
  if (driver == nullptr) return false;
  for (const ShownDriver& shown : kShownDrivers) {
    if (std::string_view(shown.driver) == driver) return true;
  }
  return false;
}

// A user's SDL_VIDEODRIVER outranks the hint, so the driver SDL settled on
// is checked rather than trusted.
bool open_video(const char* driver) {
  SDL_SetHint(SDL_HINT_VIDEODRIVER, driver);
  if (SDL_InitSubSystem(SDL_INIT_VIDEO | SDL_INIT_EVENTS) != 0) return false;
  if (shows_windows(SDL_GetCurrentVideoDriver())) return true;
  SDL_QuitSubSystem(SDL_INIT_VIDEO | SDL_INIT_EVENTS);
  return false;
}

// Xft.dpi is asked of X only: under wayland the variables decide alone.
int desktop_scale() {
  std::optional<std::string> dpi;
  if (std::string_view(SDL_GetCurrentVideoDriver()) == "x11") dpi = xft_dpi();
  return scale::from_environment(dpi ? dpi->c_str() : nullptr);
}

}  // namespace

std::unique_ptr<backend::Backend> make() {
  // SIGINT and SIGTERM belong to the program: SDL would turn them into quit
  // events that no dialog answers, and the process would never stop.
  SDL_SetHintWithPriority(SDL_HINT_NO_SIGNAL_HANDLERS, "1", SDL_HINT_OVERRIDE);
  for (const ShownDriver& shown : kShownDrivers) {
    if (is_set(shown.display) && open_video(shown.driver)) {
      return std::make_unique<SdlBackend>(desktop_scale());
    }
  }
  quit_if_unused();
  return nullptr;
}

bool push_device_mouse(const WindowRecord& window, int x, int y, Mouse action) {
  auto id = gDesktop == nullptr ? std::nullopt : gDesktop->id_of(window);
  if (!id) return false;
  SDL_Event event{};
  if (action == Mouse::move) {
    event.type = SDL_MOUSEMOTION;
    event.motion.windowID = *id;
    event.motion.state = SDL_BUTTON_LMASK;
    event.motion.x = x;
    event.motion.y = y;
  } else {
    event.type = action == Mouse::press ? SDL_MOUSEBUTTONDOWN : SDL_MOUSEBUTTONUP;
    event.button.windowID = *id;
    event.button.button = SDL_BUTTON_LEFT;
    event.button.state = action == Mouse::press ? SDL_PRESSED : SDL_RELEASED;
    event.button.x = x;
    event.button.y = y;
  }
  return SDL_PushEvent(&event) >= 0;
}

bool push_mouse(const WindowRecord& window, Point local, Mouse action) {
  const int scale = gDesktop == nullptr ? 1 : gDesktop->scale();
  return push_device_mouse(window, local.h * scale, local.v * scale, action);
}

bool push_click(const WindowRecord& window, Point local) {
  return push_mouse(window, local, Mouse::press) && push_mouse(window, local, Mouse::release);
}

}  // namespace tessel::platform::sdl
