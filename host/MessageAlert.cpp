#include "host/MessageAlert.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "Backend.h"
#include "Dialogs.h"
#include "Files.h"
#include "MacRoman.h"
#include "Resources.h"
#include "Utf8.h"
#include "host/InstallLayout.h"

namespace tessel::host {

namespace {

constexpr SInt16 kMessageAlert = 17200;
constexpr std::size_t kPieces = 4;  // ^0 to ^3
constexpr std::size_t kPieceLength = 255;

char mac_roman_of(char32_t character) {
  if (character == '\n') return '\r';
  return char(platform::unicode_to_mac_roman(character).value_or(UInt8('?')));
}

// The program's own resource fork opened on top of the chain, for as long
// as the alert needs it.
class ProgramResources {
 public:
  ProgramResources() {
    Expected<FSSpec> spec = platform::files::spec_from_path(layout::texts_file());
    if (spec) file_ = FSpOpenResFile(&*spec, fsRdPerm);
  }
  ~ProgramResources() {
    if (file_ != -1) CloseResFile(file_);
  }
  ProgramResources(const ProgramResources&) = delete;
  ProgramResources& operator=(const ProgramResources&) = delete;
  bool opened() const { return file_ != -1; }

 private:
  SInt16 file_ = -1;
};

// Up to four length-prefixed pieces of text, the last cut short when the
// text is longer than they hold.
std::array<Str255, kPieces> pieces_of(const std::string& text) {
  std::array<Str255, kPieces> pieces{};
  for (std::size_t piece = 0; piece < kPieces; ++piece) {
    const std::size_t from = std::min(text.size(), piece * kPieceLength);
    const std::size_t length = std::min(kPieceLength, text.size() - from);
    pieces[piece][0] = UInt8(length);
    std::copy_n(text.begin() + std::ptrdiff_t(from), length, pieces[piece] + 1);
  }
  return pieces;
}

// The alert is titled for the program already; the name a terminal needs at
// the head of each line is dropped.
std::string without_program_name(std::string_view text) {
  constexpr std::string_view kName = "tessel: ";
  std::string kept;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    std::string_view line = text.substr(start, end - start);
    if (line.starts_with(kName)) line.remove_prefix(kName.size());
    kept.append(line);
    if (end < text.size()) kept.push_back('\n');
    start = end + 1;
  }
  return kept;
}

}  // namespace

bool has_terminal() { return isatty(STDERR_FILENO) == 1; }

std::string mac_roman_from_utf8(std::string_view text) {
  std::string converted;
  while (!text.empty()) {
    const auto [character, length] = platform::utf8_character(text);
    converted += mac_roman_of(character);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return converted;
}

bool show_message_alert(std::string_view text) {
  if (!platform::backend::open_default()) return false;
  const ProgramResources resources;
  if (!resources.opened()) return false;
  std::string shown = mac_roman_from_utf8(without_program_name(text));
  while (!shown.empty() && shown.back() == '\r') shown.pop_back();
  const std::array<Str255, kPieces> pieces = pieces_of(shown);
  ParamText(pieces[0], pieces[1], pieces[2], pieces[3]);
  return Alert(kMessageAlert, nullptr) != -1;
}

}  // namespace tessel::host
