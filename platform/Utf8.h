// UTF-8, the encoding of file names on this platform.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "MacTypes.h"

namespace tessel::platform {

constexpr char32_t kReplacementCharacter = 0xFFFD;

constexpr bool is_utf8_continuation(UInt8 byte) { return (byte & 0xC0) == 0x80; }

// The bytes that follow a lead byte (0 to 3), or -1 for a byte that cannot
// begin a character.
constexpr int utf8_trailing_bytes(UInt8 lead) {
  if (lead < 0x80) return 0;
  if (lead >= 0xC2 && lead < 0xE0) return 1;
  if (lead >= 0xE0 && lead < 0xF0) return 2;
  if (lead >= 0xF0 && lead < 0xF5) return 3;
  return -1;
}

// The character at the start of text and its length in bytes; U+FFFD and
// one byte when the sequence is cut, overlong or a surrogate.
constexpr std::pair<char32_t, std::size_t> utf8_character(std::string_view text) {
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  const UInt8 lead = UInt8(text[0]);
  const int extra = utf8_trailing_bytes(lead);
  if (extra < 0 || text.size() < std::size_t(extra) + 1) return {kReplacementCharacter, 1};
  char32_t code = extra == 0 ? lead : char32_t(lead & (0x3F >> extra));
  for (int i = 1; i <= extra; ++i) {
    const UInt8 next = UInt8(text[std::size_t(i)]);
    if (!is_utf8_continuation(next)) return {kReplacementCharacter, 1};
    code = (code << 6) | (next & 0x3F);
  }
  const bool surrogate = code >= 0xD800 && code < 0xE000;
  if (code < kSmallest[extra] || code > 0x10FFFF || surrogate) return {kReplacementCharacter, 1};
  return {code, std::size_t(extra) + 1};
}

// The code points of text; a byte that begins no well-formed sequence becomes
// U+FFFD on its own, so a name in another encoding still shows, if wrongly.
inline std::u32string decode_utf8(std::string_view text) {
  std::u32string out;
  while (!text.empty()) {
    const auto [code, length] = utf8_character(text);
    out += code;
    text.remove_prefix(length);
  }
  return out;
}

}  // namespace tessel::platform
