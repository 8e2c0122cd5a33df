#include "Windows.h"

#include <algorithm>
#include <cstring>

#include "Backend.h"
#include "MacErrors.h"

namespace tessel::platform::windows {
namespace {

// Front to back. Windows are few; a vector keeps the order plain.
std::vector<WindowPtr>& list() {
  static auto& windows = *new std::vector<WindowPtr>;  // never destroyed: see MacMemory.cpp
  return windows;
}

void link() {
  auto& windows = list();
  for (std::size_t i = 0; i < windows.size(); ++i) {
    windows[i]->nextWindow = i + 1 < windows.size() ? windows[i + 1] : nullptr;
  }
}

void insert(WindowPtr window, WindowPtr behind) {
  auto& windows = list();
  auto at = std::find(windows.begin(), windows.end(), behind);
  if (behind == nullptr || behind == kFirstWindowOfClass || at == windows.end()) {
    windows.insert(windows.begin(), window);
  } else {
    windows.insert(at + 1, window);
  }
  link();
}

void remove(WindowPtr window) {
  auto& windows = list();
  windows.erase(std::remove(windows.begin(), windows.end(), window), windows.end());
  link();
}

bool known(WindowPtr window) {
  return window != nullptr && std::ranges::find(list(), window) != list().end();
}

}  // namespace

OSErr open(WindowRecord& window, const Rect& bounds, SInt16 procID, bool visible,
           ConstStringPtr title, SInt32 refCon, WindowPtr behind) {
  Rect local{0, 0, SInt16(bounds.bottom - bounds.top), SInt16(bounds.right - bounds.left)};
  OSErr err = quickdraw::open_port(window, local, 32, quickdraw::PixelMemory::screen,
                                   backend::current().scale());
  if (err != noErr) return err;
  window.globalOffset = Point{bounds.top, bounds.left};
  window.procID = procID;
  window.refCon = refCon;
  window.windowKind = 0;
  window.visible = 0;
  window.needsUpdate = 1;
  window.open = 1;
  window.backendData = nullptr;
  window.titleText[0] = 0;
  if (title != nullptr) std::memcpy(window.titleText, title, std::size_t(title[0]) + 1);
  insert(&window, behind);
  if (visible) ShowWindow(&window);
  return noErr;
}

void close(WindowRecord& window) {
  if (!window.open) return;
  HideWindow(&window);
  remove(&window);
  quickdraw::close_port(window);
  window.open = 0;
  window.nextWindow = nullptr;
}

WindowPtr needing_update() {
  for (WindowPtr window : list()) {
    if (window->visible && window->needsUpdate) return window;
  }
  return nullptr;
}

Rect global_bounds(const WindowRecord& window) {
  const Rect& r = window.portRect;
  Point at = window.globalOffset;
  return Rect{at.v, at.h, SInt16(at.v + r.bottom - r.top), SInt16(at.h + r.right - r.left)};
}

std::vector<WindowPtr> all() { return list(); }

}  // namespace tessel::platform::windows

namespace windows = tessel::platform::windows;
namespace backend = tessel::platform::backend;

void ShowWindow(WindowPtr window) {
  if (!windows::known(window) || window->visible) return;
  window->visible = 1;
  window->needsUpdate = 1;
  backend::current().show(*window);
}

void HideWindow(WindowPtr window) {
  if (!windows::known(window) || !window->visible) return;
  window->visible = 0;
  backend::current().hide(*window);
}

void SelectWindow(WindowPtr window) {
  if (!windows::known(window)) return;
  windows::remove(window);
  windows::insert(window, nullptr);
}

WindowPtr FrontWindow() {
  for (WindowPtr window : windows::list()) {
    if (window->visible) return window;
  }
  return nullptr;
}

void MoveWindow(WindowPtr window, SInt16 h, SInt16 v, Boolean front) {
  if (!windows::known(window)) return;
  window->globalOffset = Point{v, h};
  if (front) SelectWindow(window);
  backend::current().moved(*window);
}

SInt16 FindWindow(Point where, WindowPtr* window) {
  for (WindowPtr candidate : windows::list()) {
    Rect bounds = windows::global_bounds(*candidate);
    if (candidate->visible && PtInRect(where, &bounds)) {
      *window = candidate;
      return inContent;
    }
  }
  *window = nullptr;
  return inDesk;
}

void SetWRefCon(WindowPtr window, SInt32 data) {
  if (window != nullptr) window->refCon = data;
}

SInt32 GetWRefCon(WindowPtr window) { return window == nullptr ? 0 : window->refCon; }

void SetWTitle(WindowPtr window, ConstStringPtr title) {
  if (window == nullptr || title == nullptr) return;
  std::memcpy(window->titleText, title, std::size_t(title[0]) + 1);
}

CGrafPtr GetWindowPort(WindowPtr window) { return window; }

void InvalRect(const Rect* /*badRect: updates cover the whole window*/) {
  GrafPtr port = nullptr;
  GetPort(&port);
  for (WindowPtr window : windows::list()) {
    if (window == port) window->needsUpdate = 1;
  }
}

void BeginUpdate(WindowPtr window) {
  if (window != nullptr) window->needsUpdate = 0;
}

void EndUpdate(WindowPtr /*window*/) {}
