// The resource kinds the compiler knows field by field, and their encodings
// in the Toolbox's own layouts (all integers big-endian). Texts in these
// records are already Mac Roman bytes.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "MacTypes.h"

namespace tessel::rescomp {

using Bytes = std::vector<UInt8>;

// 'STR#': a count, then each string with its length byte.
Bytes encode_string_list(const std::vector<Bytes>& strings);
// 'STR ': one string with its length byte.
Bytes encode_string(const Bytes& text);

struct DialogTemplate {
  Rect bounds{};
  SInt16 procID = 0;  // the window definition: 1 a modal box, 5 a movable one
  bool visible = false;
  bool goAway = false;
  UInt32 refCon = 0;
  SInt16 itemsID = 0;
  Bytes title;
  std::optional<UInt16> position;  // the later placement word, after the title
};

// 'DLOG': bounds, procID, visible and go-away bytes each followed by a
// filler byte, refCon, item list ID, title; then, when a placement is given,
// a pad byte to an even length and the placement word.
Bytes encode_dialog(const DialogTemplate& dialog);

struct AlertTemplate {
  Rect bounds{};
  SInt16 itemsID = 0;
  UInt16 stages = 0;  // stage 1 in the low four bits, stage 4 in the high four
  std::optional<UInt16> position;
};

// 'ALRT': bounds, item list ID, stages word, then the placement word if any.
Bytes encode_alert(const AlertTemplate& alert);

// Item kinds as the type byte of a 'DITL' item holds them; 0x80 marks a
// disabled item.
enum class ItemKind : UInt8 {
  userItem = 0,
  button = 4,
  checkBox = 5,
  radioButton = 6,
  control = 7,
  staticText = 8,
  editText = 16,
  icon = 32,
  picture = 64,
};
constexpr UInt8 kItemDisabled = 0x80;

struct DialogItem {
  ItemKind kind = ItemKind::userItem;
  bool enabled = true;
  Rect bounds{};
  Bytes text;             // buttons, boxes, static and edit texts
  SInt16 resourceID = 0;  // controls, icons and pictures
};

// 'DITL': the item count less one, then per item four reserved bytes, the
// rectangle, the type byte, the data's length and the data, padded to an
// even length. Icons, pictures and controls carry their 2-byte resource ID;
// user items carry nothing.
Bytes encode_item_list(const std::vector<DialogItem>& items);

struct CursorTemplate {
  std::array<UInt16, 16> image{};  // row by row, leftmost pixel in the high bit
  std::array<UInt16, 16> mask{};
  Point hotSpot{};
};

// 'CURS': 16 image rows, 16 mask rows, hot spot (v, h): 68 bytes.
Bytes encode_cursor(const CursorTemplate& cursor);

struct FileDescriptor {
  Bytes name;  // at most 31 characters
  OSType creator = 0;
  OSType fileType = 0;
  SInt16 script = 0;
};

// 'FILE': the preferences file's name in 32 bytes (length byte, characters,
// zeros), creator, file type and script code: 42 bytes.
Bytes encode_file_descriptor(const FileDescriptor& descriptor);

}  // namespace tessel::rescomp
