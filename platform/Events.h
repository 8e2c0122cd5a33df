// The Event Manager: one queue of mouse and key events shared by every
// window, the state of the mouse button and the keyboard, and the tick clock.
//
// Events reach the queue from the backend (platform/Backend.h): a desktop
// window's input under sdl, a script's commands headless. Update events are
// not queued; they are made when asked for, from the windows that need
// drawing, after every queued event.
#pragma once

#include <cstdint>

#include "MacTypes.h"

constexpr SInt16 nullEvent = 0;
constexpr SInt16 mouseDown = 1;
constexpr SInt16 mouseUp = 2;
constexpr SInt16 keyDown = 3;
constexpr SInt16 keyUp = 4;
constexpr SInt16 autoKey = 5;
constexpr SInt16 updateEvt = 6;
constexpr SInt16 activateEvt = 8;

using EventMask = UInt16;
constexpr EventMask everyEvent = 0xFFFF;
constexpr EventMask mDownMask = 1 << mouseDown;
constexpr EventMask mUpMask = 1 << mouseUp;
constexpr EventMask keyDownMask = 1 << keyDown;
constexpr EventMask keyUpMask = 1 << keyUp;
constexpr EventMask autoKeyMask = 1 << autoKey;
constexpr EventMask updateMask = 1 << updateEvt;

// The message of a key event: the character in the low byte, the key code
// in the next.
constexpr UInt32 charCodeMask = 0x000000FF;
constexpr UInt32 keyCodeMask = 0x0000FF00;

using EventModifiers = UInt16;
constexpr EventModifiers btnState = 0x0080;  // set while the button is UP
constexpr EventModifiers cmdKey = 0x0100;
constexpr EventModifiers shiftKey = 0x0200;
constexpr EventModifiers alphaLock = 0x0400;
constexpr EventModifiers optionKey = 0x0800;
constexpr EventModifiers controlKey = 0x1000;

// message is as wide as a pointer: an update event carries its window there.
struct EventRecord {
  SInt16 what;
  std::uintptr_t message;
  UInt32 when;
  Point where;  // global coordinates
  EventModifiers modifiers;
};

// The keyboard as 128 bits, one per key code. Word i holds key codes 32i to
// 32i + 31 as the Toolbox's big-endian key map reads them: key code k is bit
// 8 * (3 - (k / 8) % 4) + k % 8 of its word, so Space (49) is 0x200 of
// word 1, Command (55) 0x8000 and Option (58) 0x0004.
using KeyMap = UInt32[4];

// Toolbox key codes of the keys the platform reports by name.
constexpr UInt8 kReturnKeyCode = 36;
constexpr UInt8 kTabKeyCode = 48;
constexpr UInt8 kSpaceKeyCode = 49;
constexpr UInt8 kDeleteKeyCode = 51;
constexpr UInt8 kEscapeKeyCode = 53;
constexpr UInt8 kCommandKeyCode = 55;
constexpr UInt8 kShiftKeyCode = 56;
constexpr UInt8 kCapsLockKeyCode = 57;
constexpr UInt8 kOptionKeyCode = 58;
constexpr UInt8 kControlKeyCode = 59;
constexpr UInt8 kEnterKeyCode = 76;
constexpr UInt8 kLeftArrowKeyCode = 123;
constexpr UInt8 kRightArrowKeyCode = 124;
constexpr UInt8 kDownArrowKeyCode = 125;
constexpr UInt8 kUpArrowKeyCode = 126;

// The next event of the mask, taken off the queue; true unless it is a null
// event (nothing to do, which headless also lets one tick pass).
Boolean GetNextEvent(EventMask mask, EventRecord* event);
// The same; sleep and mouseRgn have no use here.
Boolean WaitNextEvent(EventMask mask, EventRecord* event, UInt32 sleep, void* mouseRgn);
// Removes queued events of the mask up to the first of stopMask.
void FlushEvents(EventMask mask, EventMask stopMask);

// The mouse in the current port's local coordinates.
void GetMouse(Point* mouseLoc);
// True while the button is held and no mouse-up is queued: the press that
// started a tracking loop has not ended.
Boolean StillDown();
Boolean WaitMouseUp();
Boolean Button();
void GetKeys(KeyMap theKeys);
// Ticks (sixtieths of a second) since the platform started.
UInt32 TickCount();

namespace tessel::platform::events {

// What a backend tells the Event Manager.
void post(SInt16 what, std::uintptr_t message, Point where);
void post_key(SInt16 what, UInt8 character, UInt8 keyCode);
void set_mouse(Point where);
void set_button(bool down);
void set_key(UInt8 keyCode, bool down);
void release_all_keys();

Point mouse();
bool button();
bool key_down(UInt8 keyCode);
EventModifiers modifiers();
bool mouse_up_queued();
std::size_t queued();

// Called on every request for input (events, the button, the keys, the
// mouse), so that modal and tracking loops, which wait only on input, also
// end when the program is told to stop from outside; null for none.
using WaitHook = void (*)();
void set_wait_hook(WaitHook hook);

// The key code of a character as a US keyboard types it (letters in either
// case, digits, punctuation, Return, Tab, Space); nothing for others.
int key_code_of(char character);

// Forgets queue, mouse and keys: tests start from a quiet machine.
void reset();

}  // namespace tessel::platform::events
