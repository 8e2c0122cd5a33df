// The image-resource block that documents carry in TIFF tag 34377: a run of
// entries (signature, id, name, data size, data; names and data padded to an
// even length; integers big-endian) with no header and no terminator.
//
// The host keeps its plug-in resources there as entries of signature "LUMN"
// and id kPluginResourceID whose name is the resource's four-character type.
// One more entry of the host's own, signature "LUMN", id kTiffSamplesID, no
// name and the two bytes 0 1, marks a document whose file stores its samples
// as TIFF states them (SampleConventions.h); documents written before that
// lack it. Entries of any other signature or id belong to whoever wrote
// them; the host carries them through unchanged when it rewrites the block.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"

namespace tessel::host {

constexpr OSType kBlockSignature = FourCC("LUMN");
constexpr SInt16 kPluginResourceID = 4000;
constexpr SInt16 kTiffSamplesID = 4001;

struct BlockEntry {
  OSType signature = kBlockSignature;
  SInt16 id = 0;
  std::string name{};  // at most 255 bytes are kept
  std::vector<UInt8> data{};
};

// A resource the host keeps with a document for the plug-in (Part of the
// host's callbacks: found by type and position, never by id).
struct PluginResource {
  ResType type = 0;
  std::vector<UInt8> data{};
};

// paramErr when an entry runs past the end or states a negative size.
Expected<std::vector<BlockEntry>> decode_block(std::span<const UInt8> block);
std::vector<UInt8> encode_block(std::span<const BlockEntry> entries);

bool is_plugin_entry(const BlockEntry& entry);
// The mark is known by signature and id alone, whatever its data.
BlockEntry tiff_samples_mark();
bool is_tiff_samples_mark(const BlockEntry& entry);
// The plug-in resources among the entries, in block order.
std::vector<PluginResource> plugin_resources_of(std::span<const BlockEntry> entries);
// The entries with every plug-in entry replaced by resources, which come last.
std::vector<BlockEntry> with_plugin_resources(std::span<const BlockEntry> entries,
                                              std::span<const PluginResource> resources);

}  // namespace tessel::host
