// The small file kept next to a document, because image editors drop TIFF
// tags they do not know and with them the document's plug-in resources.
//
// The sidecar of "NAME" is "NAME.tessel". Layout, integers big-endian:
//   0  4  "TSLS"
//   4  2  version, 2 (version 1, written before bit 1 existed, is still read)
//   6  2  flags: bit 0 set when the document was last recorded as saved back;
//         bit 1 set when the document file stores its samples as TIFF
//         states them (SampleConventions.h)
//   8  8  fingerprint of the pixels at that moment (0 when bit 0 is clear)
//  16  2  count of plug-in resources, then per resource:
//         4 type, 4 data size, the data
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"
#include "host/ImageResourceBlock.h"
#include "host/SampleConventions.h"

namespace tessel::host {

struct SidecarContents {
  std::vector<PluginResource> resources{};
  // The pixels' fingerprint when the document was last written back into
  // its source file; none when it never was.
  std::optional<UInt64> savedFingerprint{};
  // What a sidecar without the mark means: a document from before files
  // followed TIFF.
  SampleConvention convention = SampleConvention::plugin;
};

std::filesystem::path sidecar_path(const std::filesystem::path& document);

std::vector<UInt8> encode_sidecar(const SidecarContents& contents);
// paramErr for bytes that are not a sidecar of a version read here or run
// short.
Expected<SidecarContents> decode_sidecar(std::span<const UInt8> bytes);

// fnfErr when the document has no sidecar.
Expected<SidecarContents> read_sidecar(const std::filesystem::path& document);
// Replaces the sidecar whole: written beside it first, then renamed over it.
OSErr write_sidecar(const std::filesystem::path& document, const SidecarContents& contents);

}  // namespace tessel::host
