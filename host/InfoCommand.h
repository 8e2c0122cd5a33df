// tessel info IMAGE [--json]: what the format layer sees in an image file and
// whether acquire would take it.
#pragma once

#include <filesystem>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "formats/RasterFormats.h"

namespace tessel::host {

// An image file opened through the format layer, closed with the object.
struct OpenImage {
  SourceImage image{};
  OpenImage() = default;
  ~OpenImage() { RasterFormatClose(&image.format); }
  OpenImage(const OpenImage&) = delete;
  OpenImage& operator=(const OpenImage&) = delete;

  // The file's identity, then RasterFormatOpen: the first error, or noErr.
  OSErr open(const std::filesystem::path& path);
};

int run_info_command(std::span<const std::string_view> args, std::ostream& out, std::ostream& err);

}  // namespace tessel::host
