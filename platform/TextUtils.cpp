#include "TextUtils.h"

#include <charconv>
#include <cstring>

void NumToString(SInt32 number, Str255 text) {
  char digits[16];
  auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
  auto length = std::size_t(end - digits);
  text[0] = static_cast<unsigned char>(length);
  std::memcpy(text + 1, digits, length);
}

void CopyCStringToPascal(const char* source, Str255 destination) {
  std::size_t length = strnlen(source, 255);
  destination[0] = static_cast<unsigned char>(length);
  std::memmove(destination + 1, source, length);
}
