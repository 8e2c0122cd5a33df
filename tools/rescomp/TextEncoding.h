// Texts are written in UTF-8 in resource sources and stored in Mac Roman,
// the one-byte character set the Toolbox's strings, dialogs and alerts use.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "MacTypes.h"

namespace tessel::rescomp {

struct MacRomanResult {
  std::vector<UInt8> bytes;         // the text in Mac Roman when it all fits
  std::optional<char32_t> refused;  // else the first character Mac Roman cannot hold
  bool malformed = false;           // or the text is not well-formed UTF-8
};

// Every character must exist in Mac Roman; control characters other than tab
// and carriage return are refused too, since no dialog can show them.
MacRomanResult utf8_to_mac_roman(std::string_view text);

// How a refused character reads in an error message: "U+00D7 '×'".
std::string describe_character(char32_t code);

}  // namespace tessel::rescomp
