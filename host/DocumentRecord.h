// What the host knows of a document: its size, mode and resolution, the
// plug-in resources it keeps for it, and how its file stores samples
// (Document.h says how documents are read and written).
#pragma once

#include <optional>
#include <vector>

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
  // One byte per sample, planes interleaved, rows top to bottom; empty in a
  // document whose pixels stay in its file.
  PixelBytes pixels{};
  std::vector<PluginResource> resources{};
  // Entries of the tag-34377 block that are not plug-in resources; kept so
  // that rewriting the block loses nothing an editor put there.
  std::vector<BlockEntry> otherBlockEntries{};
  std::optional<UInt64> savedFingerprint{};
  // How the file stores the pixels. A document read from a file without the
  // mark keeps that file's way on every rewrite.
  SampleConvention fileConvention = SampleConvention::tiff;

  std::size_t row_bytes() const { return std::size_t(columns) * std::size_t(planes); }
  // False once the pixels held equal what was last written back into the
  // source.
  bool modified() const;
};

}  // namespace tessel::host
