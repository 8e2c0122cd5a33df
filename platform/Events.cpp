#include "Events.h"

#include <algorithm>
#include <bitset>
#include <deque>

#include "Backend.h"
#include "Quickdraw.h"
#include "Windows.h"

namespace tessel::platform::events {
namespace {

struct State {
  std::deque<EventRecord> queue;
  Point mouse{0, 0};
  bool button = false;
  std::bitset<128> keys;
};

WaitHook waitHook = nullptr;

State& state() {
  static State& instance = *new State;  // never destroyed: see MacMemory.cpp
  return instance;
}

bool in_mask(SInt16 what, EventMask mask) { return (mask & (1u << what)) != 0; }

EventRecord make(SInt16 what, std::uintptr_t message, Point where) {
  return EventRecord{what, message, backend::current().ticks(), where, modifiers()};
}

bool take_queued(EventMask mask, EventRecord& event) {
  auto& queue = state().queue;
  auto found =
      std::ranges::find_if(queue, [mask](const EventRecord& e) { return in_mask(e.what, mask); });
  if (found == queue.end()) return false;
  event = *found;
  queue.erase(found);
  return true;
}

bool take_update(EventMask mask, EventRecord& event) {
  if (!in_mask(updateEvt, mask)) return false;
  WindowPtr window = windows::needing_update();
  if (window == nullptr) return false;
  event = make(updateEvt, reinterpret_cast<std::uintptr_t>(window), mouse());
  return true;
}

void call_wait_hook() {
  if (waitHook != nullptr) waitHook();
}

// Every look at outside input passes here.
void pump(backend::Need need) {
  call_wait_hook();
  backend::current().pump(need);
}

// Letters, digits and punctuation of a US keyboard, by key code.
constexpr const char* kUnshifted = "asdfhgzxcv\0bqweryt123465=97-80]ou[ip\0lj'k;\\,/nm.\0 `";
constexpr const char* kShifted = "ASDFHGZXCV\0BQWERYT!@#$^%+(&_*)}OU{IP\0LJ\"K:|<?NM>\0 ~";
constexpr int kTypedKeys = 51;

}  // namespace

void post(SInt16 what, std::uintptr_t message, Point where) {
  state().queue.push_back(make(what, message, where));
}

void post_key(SInt16 what, UInt8 character, UInt8 keyCode) {
  post(what, (std::uintptr_t(keyCode) << 8) | character, mouse());
}

void set_mouse(Point where) { state().mouse = where; }
void set_button(bool down) { state().button = down; }
void set_key(UInt8 keyCode, bool down) { state().keys.set(keyCode & 0x7F, down); }
void release_all_keys() { state().keys.reset(); }

Point mouse() { return state().mouse; }
bool button() { return state().button; }
bool key_down(UInt8 keyCode) { return state().keys.test(keyCode & 0x7F); }

EventModifiers modifiers() {
  EventModifiers m = button() ? 0 : btnState;
  if (key_down(kCommandKeyCode)) m |= cmdKey;
  if (key_down(kShiftKeyCode)) m |= shiftKey;
  if (key_down(kCapsLockKeyCode)) m |= alphaLock;
  if (key_down(kOptionKeyCode)) m |= optionKey;
  if (key_down(kControlKeyCode)) m |= controlKey;
  return m;
}

bool mouse_up_queued() {
  return std::ranges::any_of(state().queue, [](const EventRecord& e) { return e.what == mouseUp; });
}

std::size_t queued() { return state().queue.size(); }

int key_code_of(char character) {
  if (character == '\r') return kReturnKeyCode;
  if (character == '\t') return kTabKeyCode;
  for (int code = 0; code < kTypedKeys; ++code) {
    if (kUnshifted[code] == character || kShifted[code] == character) {
      return character == '\0' ? -1 : code;
    }
  }
  return -1;
}

void set_wait_hook(WaitHook hook) { waitHook = hook; }

void reset() { state() = State{}; }

}  // namespace tessel::platform::events

namespace events = tessel::platform::events;
namespace backend = tessel::platform::backend;

Boolean GetNextEvent(EventMask mask, EventRecord* event) {
  if (events::queued() == 0) {
    events::pump(backend::Need::event);
  } else {
    events::call_wait_hook();  // queued input must not keep a loop from stopping
  }
  EventRecord taken{};
  if (events::take_queued(mask, taken) || events::take_update(mask, taken)) {
    *event = taken;
    return true;
  }
  backend::current().idle();
  *event = events::make(nullEvent, 0, events::mouse());
  return false;
}

Boolean WaitNextEvent(EventMask mask, EventRecord* event, UInt32 /*sleep*/, void* /*mouseRgn*/) {
  return GetNextEvent(mask, event);
}

void FlushEvents(EventMask mask, EventMask stopMask) {
  auto& queue = events::state().queue;
  for (auto e = queue.begin(); e != queue.end();) {
    if (events::in_mask(e->what, stopMask)) break;
    e = events::in_mask(e->what, mask) ? queue.erase(e) : e + 1;
  }
}

void GetMouse(Point* mouseLoc) {
  events::pump(backend::Need::state);
  Point at = events::mouse();
  GlobalToLocal(&at);
  *mouseLoc = at;
}

Boolean StillDown() {
  if (!events::button() || events::mouse_up_queued()) return false;
  events::pump(backend::Need::stillDown);
  return events::button() && !events::mouse_up_queued();
}

Boolean WaitMouseUp() {
  Boolean down = StillDown();
  if (!down) FlushEvents(mUpMask, 0);
  return down;
}

Boolean Button() {
  events::pump(backend::Need::state);
  return events::button();
}

void GetKeys(KeyMap theKeys) {
  events::pump(backend::Need::state);
  for (int word = 0; word < 4; ++word) {
    UInt32 bits = 0;
    for (int k = 0; k < 32; ++k) {
      int code = word * 32 + k;
      if (!events::key_down(UInt8(code))) continue;
      int byte = k / 8;
      bits |= UInt32(1) << (8 * (3 - byte) + code % 8);
    }
    theKeys[word] = bits;
  }
}

UInt32 TickCount() { return backend::current().ticks(); }
