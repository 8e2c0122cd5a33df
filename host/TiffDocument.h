// The TIFF side of documents, through libtiff.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Expected.h"
#include "host/Document.h"

namespace tessel::host {

struct TiffContents {
  Document image;                             // pixels, mode, size and resolution; no resources
  std::optional<std::vector<UInt8>> block{};  // tag 34377 when present
  UInt16 photometric = 0;                     // as the file states it
};

// The pixels exactly as the file stores them: which convention they follow
// is marked in the block or the sidecar, for the caller to find out. Errors
// as read_document states them.
Expected<TiffContents> read_tiff(const std::filesystem::path& path);

// Uncompressed, chunky, in strips, the samples stored in the image's
// fileConvention; block empty leaves tag 34377 out.
OSErr write_tiff(const std::filesystem::path& path, const Document& image,
                 std::span<const UInt8> block);

// What libtiff said of the last file it failed to open or read, in its own
// words (empty when it said nothing); for the host's message, never shown
// alone.
std::string tiff_problem();

// The file's SampleFormat (1 when it states none); nullopt when libtiff
// cannot open it.
std::optional<UInt16> tiff_sample_format(const std::filesystem::path& path);

// Replaces tag 34377 of the first directory in place; the pixels stay.
OSErr replace_tiff_block(const std::filesystem::path& path, std::span<const UInt8> block);

}  // namespace tessel::host
