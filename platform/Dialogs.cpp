#include "Dialogs.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <span>

#include "Backend.h"
#include "ByteOrder.h"
#include "DialogInternal.h"
#include "MacMemory.h"
#include "MacRoman.h"

namespace tessel::platform::dialogs {
namespace {

std::array<std::string, 4>& parameters() {
  static std::array<std::string, 4> texts;
  return texts;
}

// "ALRT": bounds, item list id, stages word.
struct AlertTemplate {
  Rect bounds;
  SInt16 itemsID;
  UInt16 stages;
};

std::optional<AlertTemplate> read_alert(SInt16 alertID) {
  auto bytes = resource_bytes(FourCC("ALRT"), alertID);
  if (!bytes || bytes->size() < 12) return std::nullopt;
  std::span<const UInt8> b(*bytes);
  return AlertTemplate{read_rect(b), SInt16(read_big16(b.subspan(8))), read_big16(b.subspan(10))};
}

// An alert template has no title field; the window's title is the 'STR '
// resource of the alert's own number, so that the desktop never shows an
// unnamed window.
void read_alert_title(SInt16 alertID, Str255& title) {
  auto bytes = resource_bytes(FourCC("STR "), alertID);
  if (!bytes || bytes->empty()) return;
  std::size_t length = std::min<std::size_t>((*bytes)[0], bytes->size() - 1);
  title[0] = UInt8(length);
  std::copy_n(bytes->begin() + 1, length, title + 1);
}

std::vector<std::string> static_texts(const std::vector<Item>& items) {
  std::vector<std::string> texts;
  for (const Item& item : items) {
    if ((item.kind & ~itemDisable) == statText) texts.push_back(fill_parameters(item_text(item)));
  }
  return texts;
}

}  // namespace

// The Toolbox replaces every ^0 to ^3 of a static text, not only the first.
std::string fill_parameters(const std::string& text) {
  std::string filled;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '^' && i + 1 < text.size() && text[i + 1] >= '0' && text[i + 1] <= '3') {
      filled += parameters()[std::size_t(text[i + 1] - '0')];
      ++i;
    } else {
      filled += text[i];
    }
  }
  return filled;
}

namespace {

void record_alert(const std::string& line) {
  std::fprintf(stderr, "%s\n", line.c_str());
  if (const char* log = std::getenv(kAlertLogVariable); log != nullptr && *log != '\0') {
    std::ofstream(log, std::ios::app) << line << '\n';
  }
}

std::string printable_line(const std::vector<std::string>& texts) {
  std::string line;
  for (const std::string& text : texts) {
    if (!line.empty()) line += ' ';
    for (char c : text) {
      auto byte = UInt8(c);
      if (byte == '\r' || byte == '\n') {
        line += ' ';
      } else {
        append_utf8(line, mac_roman_to_unicode(byte));
      }
    }
  }
  return line;
}

}  // namespace
}  // namespace tessel::platform::dialogs

namespace dialogs = tessel::platform::dialogs;

void ParamText(ConstStringPtr param0, ConstStringPtr param1, ConstStringPtr param2,
               ConstStringPtr param3) {
  const ConstStringPtr params[] = {param0, param1, param2, param3};
  for (std::size_t i = 0; i < 4; ++i) {
    if (params[i] == nullptr) continue;
    dialogs::parameters()[i].assign(reinterpret_cast<const char*>(params[i] + 1), params[i][0]);
  }
}

SInt16 Alert(SInt16 alertID, ModalFilterUPP filterProc) {
  auto alert = dialogs::read_alert(alertID);
  auto items = alert ? dialogs::read_items(alert->itemsID) : std::nullopt;
  if (!items) {
    // The plug-in's own resources are missing: nothing from them can say so.
    std::fprintf(stderr, "alert %d or its item list is missing\n", int(alertID));
    return -1;
  }
  if (tessel::platform::backend::is_headless()) {
    dialogs::record_alert(dialogs::printable_line(dialogs::static_texts(*items)));
  }
  dialogs::WindowSpec spec;
  spec.bounds = dialogs::centred(alert->bounds);
  dialogs::read_alert_title(alertID, spec.title);
  // Bit 3 of the first stage's nibble makes item 2 the default.
  SInt16 defaultItem = (alert->stages & 0x8) != 0 ? 2 : 1;
  DialogPtr dialog = dialogs::make_dialog(nullptr, spec, std::move(*items), nullptr);
  // Without room for a window the alert cannot be shown; it answers as a
  // user pressing Return would, its text already on record when headless.
  if (dialog == nullptr) return defaultItem;
  dialog->aDefItem = defaultItem;
  dialog->outlineDefault = 1;
  InitCursor();
  SInt16 item = dialog->aDefItem;
  ModalDialog(filterProc, &item);
  DisposeDialog(dialog);
  return item;
}
