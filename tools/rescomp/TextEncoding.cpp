#include "TextEncoding.h"

#include <cstdio>

#include "MacRoman.h"

namespace tessel::rescomp {
namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;

// One UTF-8 sequence starting at text[at]; advances at. kInvalid for
// truncated, overlong or surrogate sequences.
char32_t decode_utf8(std::string_view text, std::size_t& at) {
  auto lead = UInt8(text[at++]);
  if (lead < 0x80) return lead;
  std::size_t extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : 0;
  if (extra == 0 || lead > 0xF4 || at + extra > text.size()) return kInvalid;
  char32_t code = lead & (0x3F >> extra);
  for (std::size_t i = 0; i < extra; ++i) {
    auto next = UInt8(text[at++]);
    if ((next & 0xC0) != 0x80) return kInvalid;
    code = (code << 6) | (next & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[extra] || surrogate || code > 0x10FFFF) return kInvalid;
  return code;
}

std::optional<UInt8> encode_one(char32_t code) {
  const bool control = code < 0x20 || code == 0x7F;
  if (control && code != '\t' && code != '\r') return std::nullopt;
  return platform::unicode_to_mac_roman(code);
}

}  // namespace

MacRomanResult utf8_to_mac_roman(std::string_view text) {
  MacRomanResult result;
  for (std::size_t at = 0; at < text.size();) {
    char32_t code = decode_utf8(text, at);
    if (code == kInvalid) return MacRomanResult{{}, std::nullopt, true};
    std::optional<UInt8> byte = encode_one(code);
    if (!byte) return MacRomanResult{{}, code, false};
    result.bytes.push_back(*byte);
  }
  return result;
}

std::string describe_character(char32_t code) {
  char number[16];
  std::snprintf(number, sizeof number, "U+%04X", unsigned(code));
  if (code < 0x20 || code == 0x7F) return number;
  std::string text = std::string(number) + " '";
  platform::append_utf8(text, code);
  return text + "'";
}

}  // namespace tessel::rescomp
