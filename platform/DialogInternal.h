// What the Dialog Manager's sources share: the item list behind a dialog
// record, and the making of a dialog from parts read elsewhere.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Dialogs.h"

namespace tessel::platform::dialogs {

struct Item {
  SInt16 kind = userItem;  // with itemDisable when disabled
  Rect box{};
  // The control, the user item's procedure, the text, or the icon's or
  // picture's resource; see GetDItem.
  Handle handle = nullptr;
  SInt16 resourceID = 0;
  // A control's title, or a text item's text when memory was too short
  // for its handle.
  std::string text;
  bool hidden = false;
};

struct Items {
  std::vector<Item> list;
};

// Top, left, bottom, right, big-endian, as templates and item lists hold them.
Rect read_rect(std::span<const UInt8> bytes);

// A copy of a resource's bytes from the chain.
std::optional<std::vector<UInt8>> resource_bytes(ResType type, SInt16 id);

// The items of "DITL" itemsID; nothing when it is missing or cut short.
std::optional<std::vector<Item>> read_items(SInt16 itemsID);
void dispose_items(Items& items);

struct WindowSpec {
  Rect bounds{};
  SInt16 procID = dBoxProc;
  bool visible = true;
  SInt32 refCon = 0;
  Str255 title{};
};

// A dialog in storage (or memory of its own), its controls made. Null when
// the window cannot be made.
DialogPtr make_dialog(void* storage, const WindowSpec& spec, std::vector<Item> items,
                      WindowPtr behind);

// Bounds of the same size moved to the centre of the screen.
Rect centred(const Rect& bounds);

void draw_item(DialogPtr dialog, SInt16 itemNo);
// The text a static or edit text item holds.
std::string item_text(const Item& item);

}  // namespace tessel::platform::dialogs
