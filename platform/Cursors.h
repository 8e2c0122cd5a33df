// Cursors: the arrow, and cursors copied from "CURS" resources.
//
// A Cursor record holds the 68 bytes of its resource as they are (image,
// mask, hot spot; big-endian), so a program may copy a resource into one
// with BlockMove; SetCursor decodes it.
#pragma once

#include <optional>

#include "Backend.h"
#include "MacTypes.h"

struct Cursor {
  UInt8 data[32];  // 16 rows of 16 bits, leftmost pixel in the high bit
  UInt8 mask[32];
  UInt8 hotSpot[4];  // v, then h
};
static_assert(sizeof(Cursor) == 68, "a Cursor is its resource's 68 bytes");
using CursPtr = Cursor*;

// The arrow cursor.
void InitCursor();
void SetCursor(const Cursor* cursor);
void HideCursor();
void ShowCursor();
void ObscureCursor();

namespace tessel::platform::cursors {

// The cursor last set; nothing while the arrow shows.
std::optional<backend::CursorImage> current();
backend::CursorImage decode(const Cursor& cursor);

}  // namespace tessel::platform::cursors
