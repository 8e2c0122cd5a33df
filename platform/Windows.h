// The Window Manager: windows are ports with a place on the screen, kept in
// one front-to-back list. A window's pixel buffer is its content; the
// backend shows it (a desktop window under sdl, nothing headless).
//
// A window needs drawing after it is shown and after InvalRect; the Event
// Manager then hands out an update event for it, and BeginUpdate/EndUpdate
// bracket the drawing. Update regions are the whole window here.
#pragma once

#include <vector>

#include "MacTypes.h"
#include "Quickdraw.h"

struct WindowRecord : GrafPort {
  SInt16 windowKind = 0;
  Boolean visible = 0;
  Boolean goAwayFlag = 0;
  Boolean needsUpdate = 0;
  Boolean open = 0;
  SInt16 procID = 0;
  SInt32 refCon = 0;
  Str255 titleText{};
  WindowRecord* nextWindow = nullptr;
  void* backendData = nullptr;  // the backend's own record of the window
};
using WindowPtr = WindowRecord*;
using WindowRef = WindowPtr;
using WindowPeek = WindowPtr;

constexpr SInt16 documentProc = 0;
constexpr SInt16 dBoxProc = 1;
constexpr SInt16 plainDBox = 2;
constexpr SInt16 altDBoxProc = 3;
constexpr SInt16 movableDBoxProc = 5;
constexpr SInt16 dialogKind = 2;

// FindWindow's answers.
constexpr SInt16 inDesk = 0;
constexpr SInt16 inContent = 3;

// Behind-argument meaning "in front of all windows".
inline const WindowPtr kFirstWindowOfClass = reinterpret_cast<WindowPtr>(-1);

void ShowWindow(WindowPtr window);
void HideWindow(WindowPtr window);
void SelectWindow(WindowPtr window);
// The frontmost visible window, or null.
WindowPtr FrontWindow();
// Moves the window's top-left to (h, v), global; front brings it forward.
void MoveWindow(WindowPtr window, SInt16 h, SInt16 v, Boolean front);
SInt16 FindWindow(Point where, WindowPtr* window);
void SetWRefCon(WindowPtr window, SInt32 data);
// The reference constant a window was given when it was made; 0 for null.
SInt32 GetWRefCon(WindowPtr window);
void SetWTitle(WindowPtr window, ConstStringPtr title);
CGrafPtr GetWindowPort(WindowPtr window);
// Marks the current port's window as needing an update.
void InvalRect(const Rect* badRect);
void BeginUpdate(WindowPtr window);
void EndUpdate(WindowPtr window);

namespace tessel::platform::windows {

// Opens window as a port of bounds' size whose top-left sits at bounds'
// top-left on the screen, at the front (behind is null or
// kFirstWindowOfClass) or just behind another window. Not yet shown when
// visible is false.
OSErr open(WindowRecord& window, const Rect& bounds, SInt16 procID, bool visible,
           ConstStringPtr title, SInt32 refCon, WindowPtr behind);
// Hides the window, takes it out of the list and closes its port. The
// record's storage stays the caller's.
void close(WindowRecord& window);

// The frontmost visible window that needs drawing, or null.
WindowPtr needing_update();
// The window's content rectangle in global coordinates.
Rect global_bounds(const WindowRecord& window);
// Front to back, visible or not.
std::vector<WindowPtr> all();

}  // namespace tessel::platform::windows
