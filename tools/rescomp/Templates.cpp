#include "Templates.h"

#include "ByteOrder.h"

namespace tessel::rescomp {
namespace {

using platform::append_big16;
using platform::append_big32;

void append_rect(Bytes& out, const Rect& r) {
  for (SInt16 side : {r.top, r.left, r.bottom, r.right}) append_big16(out, UInt16(side));
}

void append_pstring(Bytes& out, const Bytes& text) {
  out.push_back(UInt8(text.size()));
  out.insert(out.end(), text.begin(), text.end());
}

void append_item_data(Bytes& out, const DialogItem& item) {
  switch (item.kind) {
    case ItemKind::userItem: out.push_back(0); return;
    case ItemKind::control:
    case ItemKind::icon:
    case ItemKind::picture:
      out.push_back(2);
      append_big16(out, UInt16(item.resourceID));
      return;
    default:
      append_pstring(out, item.text);
      if (out.size() % 2 != 0) out.push_back(0);
  }
}

}  // namespace

Bytes encode_string_list(const std::vector<Bytes>& strings) {
  Bytes out;
  append_big16(out, UInt16(strings.size()));
  for (const Bytes& text : strings) append_pstring(out, text);
  return out;
}

Bytes encode_string(const Bytes& text) {
  Bytes out;
  append_pstring(out, text);
  return out;
}

Bytes encode_dialog(const DialogTemplate& dialog) {
  Bytes out;
  append_rect(out, dialog.bounds);
  append_big16(out, UInt16(dialog.procID));
  out.insert(out.end(), {UInt8(dialog.visible), 0, UInt8(dialog.goAway), 0});
  append_big32(out, dialog.refCon);
  append_big16(out, UInt16(dialog.itemsID));
  append_pstring(out, dialog.title);
  if (dialog.position) {
    if (out.size() % 2 != 0) out.push_back(0);
    append_big16(out, *dialog.position);
  }
  return out;
}

Bytes encode_alert(const AlertTemplate& alert) {
  Bytes out;
  append_rect(out, alert.bounds);
  append_big16(out, UInt16(alert.itemsID));
  append_big16(out, alert.stages);
  if (alert.position) append_big16(out, *alert.position);
  return out;
}

Bytes encode_item_list(const std::vector<DialogItem>& items) {
  Bytes out;
  append_big16(out, UInt16(items.size() - 1));
  for (const DialogItem& item : items) {
    append_big32(out, 0);
    append_rect(out, item.bounds);
    out.push_back(UInt8(UInt8(item.kind) | (item.enabled ? 0 : kItemDisabled)));
    append_item_data(out, item);
  }
  return out;
}

Bytes encode_cursor(const CursorTemplate& cursor) {
  Bytes out;
  for (UInt16 row : cursor.image) append_big16(out, row);
  for (UInt16 row : cursor.mask) append_big16(out, row);
  append_big16(out, UInt16(cursor.hotSpot.v));
  append_big16(out, UInt16(cursor.hotSpot.h));
  return out;
}

Bytes encode_file_descriptor(const FileDescriptor& descriptor) {
  Bytes out;
  append_pstring(out, descriptor.name);
  out.resize(32, 0);
  append_big32(out, descriptor.creator);
  append_big32(out, descriptor.fileType);
  append_big16(out, UInt16(descriptor.script));
  return out;
}

}  // namespace tessel::rescomp
