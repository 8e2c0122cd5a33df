// The desktop backend on SDL2: each shown window is a desktop window of its
// size at its place on the screen; mouse, keyboard, cursor and sound are
// SDL's. Events carry global coordinates, the window's place plus the
// point inside it. On a dense screen (scale::from_environment with the X
// server's Xft.dpi) windows, their places and the screen are that many
// times larger in device pixels, and mouse positions are divided back.
#pragma once

#include <memory>

#include "Backend.h"
#include "MacTypes.h"

namespace tessel::platform::sdl {

// Null unless SDL opens a display through a driver that shows windows to a
// person: x11 where DISPLAY is set, wayland where WAYLAND_DISPLAY is.
std::unique_ptr<backend::Backend> make();

enum class Mouse { press, move, release };

// Puts one action of the left button or the mouse at a point of a shown
// window (local coordinates) into SDL's own event queue, as the desktop
// would. False when the window is not shown by the desktop backend.
bool push_mouse(const WindowRecord& window, Point local, Mouse action);
// The same at a device pixel of the window (its logical point times the
// backend's scale, plus where inside that block), as SDL reports it.
bool push_device_mouse(const WindowRecord& window, int x, int y, Mouse action);
// A press and a release at the same point.
bool push_click(const WindowRecord& window, Point local);

}  // namespace tessel::platform::sdl
