#include "host/TiffFile.h"

#include <cstdarg>
#include <cstdio>

namespace tessel::host {

namespace {

// Libtiff's own words would reach standard error raw, in its terms and
// before ours; its errors are kept for our message instead, and its warnings
// (tags it does not know, mostly) concern nobody.
void keep_error(const char* /*module*/, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  last_tiff_problem() = text;
}

void drop_warning(const char* /*module*/, const char* /*format*/, va_list /*arguments*/) {}

}  // namespace

std::string& last_tiff_problem() {
  static std::string text;
  return text;
}

TiffFile open_tiff(const std::filesystem::path& path, const char* mode) {
  TIFFSetErrorHandler(keep_error);
  TIFFSetWarningHandler(drop_warning);
  last_tiff_problem().clear();
  return TiffFile(TIFFOpen(path.c_str(), mode));
}

}  // namespace tessel::host
