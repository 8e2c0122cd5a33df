#include "support/PStringUtilities.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "MacRoman.h"
#include "TextUtils.h"
#include "Utf8.h"
#include "support/MemoryUtilities.h"

// The longest text a length byte can describe.
constexpr int kMaxLength = 255;

void CopyPString(ConstStringPtr source, StringPtr destination) {
  MoveMemory(source, destination, source[0] + 1);
}

void AppendPString(ConstStringPtr source, StringPtr destination) {
  // Both lengths are read before any byte moves: source may be destination.
  int length = destination[0];
  int appended = std::min<int>(source[0], kMaxLength - length);
  MoveMemory(source + 1, destination + 1 + length, appended);
  destination[0] = static_cast<UInt8>(length + appended);
}

void CopyNumToPString(SInt32 number, StringPtr destination) { NumToString(number, destination); }

void CopyGroupedNumToPString(SInt64 number, StringPtr destination) {
  const std::string digits = std::to_string(number < 0 ? -number : number);
  std::string grouped = number < 0 ? "-" : "";
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) grouped += ',';
    grouped += digits[i];
  }
  destination[0] = UInt8(grouped.size());
  std::memcpy(destination + 1, grouped.data(), grouped.size());
}

void AppendNumToPString(SInt32 number, StringPtr destination) {
  Str255 digits;
  NumToString(number, digits);
  AppendPString(digits, destination);
}

SInt16 FindPString(ConstStringPtr text, ConstStringPtr pattern) {
  int textLength = text[0];
  int patternLength = pattern[0];
  if (patternLength == 0 || patternLength > textLength) return 0;
  for (int start = 1; start <= textLength - patternLength + 1; ++start) {
    if (std::memcmp(text + start, pattern + 1, static_cast<std::size_t>(patternLength)) == 0) {
      return static_cast<SInt16>(start);
    }
  }
  return 0;
}

void SubstitutePString(StringPtr text, SInt16 n, ConstStringPtr replacement) {
  if (n < 0 || n > 9) return;
  const unsigned char placeholder[] = {2, '^', static_cast<unsigned char>('0' + n)};
  int position = FindPString(text, placeholder);
  if (position == 0) return;
  // The replacement may lie inside text, which the move below would disturb.
  Str255 insert;
  CopyPString(replacement, insert);
  int keptLength = text[0] - 2;
  int insertLength = std::min<int>(insert[0], kMaxLength - keptLength);
  int tailLength = text[0] - (position + 1);
  MoveMemory(text + position + 2, text + position + insertLength, tailLength);
  MoveMemory(insert + 1, text + position, insertLength);
  text[0] = static_cast<UInt8>(keptLength + insertLength);
}

void SubstituteNumPString(StringPtr text, SInt16 n, SInt32 number) {
  Str255 digits;
  NumToString(number, digits);
  SubstitutePString(text, n, digits);
}

void TruncatePString(StringPtr text, SInt16 maximum, ConstStringPtr mark) {
  int length = std::max<int>(maximum, 0);
  if (text[0] <= length) return;
  int markLength = mark[0];
  int shown = std::min(markLength, length);
  MoveMemory(mark + 1 + markLength - shown, text + 1 + length - shown, shown);
  text[0] = static_cast<UInt8>(length);
}

void RomanToUTF8PString(StringPtr text) {
  std::string converted;
  for (int i = 1; i <= text[0]; ++i) {
    const std::size_t before = converted.size();
    tessel::platform::append_utf8(converted, tessel::platform::mac_roman_to_unicode(text[i]));
    if (converted.size() > 255) {
      converted.resize(before);
      break;
    }
  }
  text[0] = static_cast<UInt8>(converted.size());
  std::memcpy(text + 1, converted.data(), converted.size());
}

void TruncateUTF8PString(StringPtr text, SInt16 maximum, ConstStringPtr mark) {
  const int length = std::max<int>(maximum, 0);
  if (text[0] <= length) return;
  const int markLength = mark[0] <= length ? mark[0] : 0;
  int keep = length - markLength;
  while (keep > 0 && tessel::platform::is_utf8_continuation(text[keep + 1])) --keep;
  MoveMemory(mark + 1, text + 1 + keep, markLength);
  text[0] = static_cast<UInt8>(keep + markLength);
}

Boolean EqualPString(ConstStringPtr a, ConstStringPtr b) {
  // Lengths first: a shorter string's storage may end before the other's length.
  if (a[0] != b[0]) return 0;
  return std::memcmp(a + 1, b + 1, a[0]) == 0;
}

Boolean EndEqualPString(ConstStringPtr text, ConstStringPtr suffix) {
  int textLength = text[0];
  int suffixLength = suffix[0];
  if (suffixLength > textLength) return 0;
  return std::memcmp(text + 1 + textLength - suffixLength, suffix + 1,
                     static_cast<std::size_t>(suffixLength)) == 0;
}

void UpperPString(StringPtr text) {
  for (int i = 1; i <= text[0]; ++i) {
    if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<UInt8>(text[i] - ('a' - 'A'));
  }
}
