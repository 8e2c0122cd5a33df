// Documents: the host's images, kept as TIFF files so that any image editor
// can open and change them, with the plug-in resources the host keeps for
// each document (the document tag among them).
//
// Plug-in resources live in two places: in the image-resource block of TIFF
// tag 34377 (ImageResourceBlock.h) and in a sidecar next to the document
// (DocumentSidecar.h), since editors drop tags they do not know. On reading,
// the block wins when it holds any plug-in resource; otherwise (no block, or
// an editor's block without ours) the sidecar's resources count. The sidecar
// alone remembers when the document was last written back into its source.
//
// Pixels in memory are always in the plug-in's conventions; the file holds
// them as TIFF states them, or, for a document written before files did and
// so carrying no mark in its block or sidecar, as the plug-in's bytes
// (SampleConventions.h).
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"
#include "host/ImageResourceBlock.h"
#include "host/PixelBytes.h"
#include "host/SampleConventions.h"

namespace tessel::host {

// The host's image modes that documents hold.
constexpr SInt16 kGrayMode = 1;
constexpr SInt16 kRGBMode = 3;
constexpr SInt16 kCMYKMode = 4;
constexpr SInt16 kLabMode = 9;

struct Document {
  SInt16 mode = kGrayMode;
  SInt32 columns = 0;
  SInt32 rows = 0;
  SInt16 planes = 1;          // may exceed the mode's colour channels (extra channels)
  double xResolution = 72.0;  // pixels per inch
  double yResolution = 72.0;
  PixelBytes pixels{};  // one byte per sample, planes interleaved, rows top to bottom
  std::vector<PluginResource> resources{};
  // Entries of the tag-34377 block that are not plug-in resources; kept so
  // that rewriting the block loses nothing an editor put there.
  std::vector<BlockEntry> otherBlockEntries{};
  std::optional<UInt64> savedFingerprint{};
  // How the file stores the pixels. A document read from a file without the
  // mark keeps that file's way on every rewrite.
  SampleConvention fileConvention = SampleConvention::tiff;

  std::size_t row_bytes() const { return std::size_t(columns) * std::size_t(planes); }
  // False once the pixels equal what was last written back into the source.
  bool modified() const;
};

// A 64-bit digest of the size, planes and pixels.
UInt64 pixel_fingerprint(const Document& document);

// Reads a TIFF of 8-bit samples in any compression, strips or tiles, chunky
// or planar: grayscale, RGB, CMYK (ink set 1), CIELab or ICCLab; a JPEG
// file in YCbCr is read as RGB. The pixels are put into the plug-in's
// conventions by what the file's photometric says, when the file is marked
// as following TIFF. fnfErr for a missing file, ioErr when libtiff cannot
// read it, paramErr for a layout or colour space documents do not take.
Expected<Document> read_document(const std::filesystem::path& path);

// Writes the document, its block and its sidecar, replacing what was there;
// CMYK as Separated and Lab as CIELab, in the document's fileConvention.
OSErr write_document(const std::filesystem::path& path, const Document& document);

// Rewrites the plug-in resources in the document's block and its sidecar,
// keeping the mark of its fileConvention; the pixels of the file stay as
// they are.
OSErr update_plugin_resources(const std::filesystem::path& path, const Document& document);

// Notes in the sidecar that the pixels now equal the source file's: the
// document is no longer modified.
OSErr record_saved_back(const std::filesystem::path& path, Document& document);

}  // namespace tessel::host
