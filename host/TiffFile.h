// The pieces every use of libtiff in the host shares: the owning handle,
// the one way files are opened (with libtiff's own messages kept for ours),
// and fields read with their TIFF defaults.
#pragma once

#include <tiffio.h>

#include <filesystem>
#include <memory>
#include <string>

namespace tessel::host {

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

// Opens path in libtiff's mode; null when libtiff cannot, with its reason
// kept for tiff_problem (TiffDocument.h).
TiffFile open_tiff(const std::filesystem::path& path, const char* mode);

// What libtiff said last while a file opened here failed.
std::string& last_tiff_problem();

template <typename T>
T field_or(TIFF* tiff, ttag_t tag, T fallback) {
  T value = fallback;
  return TIFFGetFieldDefaulted(tiff, tag, &value) == 1 ? value : fallback;
}

}  // namespace tessel::host
