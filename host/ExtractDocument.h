// Exact extraction: a rectangle read from an image file through the format
// layer into a document, with the document tag that names the file, the
// rectangle and the image's size, as acquire leaves it. Export cannot tell
// the two apart.
#pragma once

#include <filesystem>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"
#include "host/Document.h"

namespace tessel::host {

constexpr ResType kTagType = FourCC("part");
constexpr UInt32 kTagVersion = 5;

// The tag's 92 bytes: version, the file's identity as an FSSpec lies in
// memory (volume, two bytes of padding, folder id, 64-byte name), the
// rectangle and the image's width and height.
std::vector<UInt8> tag_bytes(const FSSpec& file, const Rect& rect, SInt32 width, SInt32 height,
                             UInt32 version = kTagVersion);

// The rectangle of image, all channels interleaved, in a document of the
// image's mode, channels and resolution, carrying one tag. The format
// layer's error when the file cannot be opened or read; paramErr when rect
// is empty or reaches outside the image.
Expected<Document> extract_document(const std::filesystem::path& image, const Rect& rect);

}  // namespace tessel::host
