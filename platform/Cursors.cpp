#include "Cursors.h"

#include <span>

#include "ByteOrder.h"

namespace tessel::platform::cursors {
namespace {

std::optional<backend::CursorImage>& shown() {
  static std::optional<backend::CursorImage> cursor;
  return cursor;
}

void read_rows(std::span<const UInt8> bytes, UInt16 (&rows)[16]) {
  for (std::size_t row = 0; row < 16; ++row) rows[row] = read_big16(bytes.subspan(row * 2));
}

}  // namespace

backend::CursorImage decode(const Cursor& cursor) {
  backend::CursorImage image{};
  read_rows(cursor.data, image.image);
  read_rows(cursor.mask, image.mask);
  std::span<const UInt8> hot(cursor.hotSpot);
  image.hotSpot = Point{SInt16(read_big16(hot)), SInt16(read_big16(hot.subspan(2)))};
  return image;
}

std::optional<backend::CursorImage> current() { return shown(); }

}  // namespace tessel::platform::cursors

namespace cursors = tessel::platform::cursors;
namespace backend = tessel::platform::backend;

void InitCursor() {
  cursors::shown().reset();
  backend::current().set_cursor(nullptr);
}

void SetCursor(const Cursor* cursor) {
  if (cursor == nullptr) return;
  cursors::shown() = cursors::decode(*cursor);
  backend::current().set_cursor(&*cursors::shown());
}

// The cursor stays visible: nothing here draws over it.
void HideCursor() {}
void ShowCursor() {}
void ObscureCursor() {}
