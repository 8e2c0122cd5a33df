#include "host/Document.h"

#include <cstring>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "host/DocumentSidecar.h"
#include "host/TiffDocument.h"

namespace tessel::host {

namespace {

// FNV-1a over eight-byte words in four interleaved lanes, folded at the end:
// a fingerprint to notice change, not a guard against tampering, and quick
// on documents of many megabytes (one multiply chain would stall on itself).
UInt64 fnv1a(UInt64 hash, std::span<const UInt8> bytes) {
  constexpr UInt64 kPrime = 0x100000001B3ull;
  UInt64 lanes[4] = {hash, hash ^ 1, hash ^ 2, hash ^ 3};
  std::size_t at = 0;
  for (; at + 32 <= bytes.size(); at += 32) {
    for (std::size_t lane = 0; lane < 4; ++lane) {
      UInt64 word = 0;
      std::memcpy(&word, bytes.data() + at + lane * 8, 8);
      lanes[lane] = (lanes[lane] ^ word) * kPrime;
    }
  }
  for (; at < bytes.size(); ++at) lanes[0] = (lanes[0] ^ bytes[at]) * kPrime;
  for (std::size_t lane = 1; lane < 4; ++lane) lanes[0] = (lanes[0] ^ lanes[lane]) * kPrime;
  return lanes[0];
}

std::vector<UInt8> block_of(const Document& document) {
  std::vector<BlockEntry> entries =
      with_plugin_resources(document.otherBlockEntries, document.resources);
  if (document.fileConvention == SampleConvention::tiff) entries.push_back(tiff_samples_mark());
  return encode_block(entries);
}

SidecarContents sidecar_of(const Document& document) {
  return {document.resources, document.savedFingerprint, document.fileConvention};
}

// The block's entries when it holds any plug-in resource; a block without
// them (an editor's own, or ours emptied) defers to the sidecar. Either one
// marking the file as following TIFF is enough: an editor may have kept one
// and dropped the other.
void take_resources(Document& document, const std::optional<std::vector<UInt8>>& block,
                    const Expected<SidecarContents>& sidecar) {
  document.fileConvention = sidecar ? sidecar->convention : SampleConvention::plugin;
  if (block) {
    if (auto entries = decode_block(*block)) {
      document.resources = plugin_resources_of(*entries);
      std::erase_if(*entries, is_plugin_entry);
      if (std::erase_if(*entries, is_tiff_samples_mark) > 0)
        document.fileConvention = SampleConvention::tiff;
      document.otherBlockEntries = std::move(*entries);
      if (!document.resources.empty()) return;
    }
  }
  if (sidecar) document.resources = sidecar->resources;
}

}  // namespace

bool Document::modified() const {
  return !savedFingerprint || *savedFingerprint != pixel_fingerprint(*this);
}

UInt64 pixel_fingerprint(const Document& document) {
  std::vector<UInt8> shape;
  platform::append_big32(shape, UInt32(document.columns));
  platform::append_big32(shape, UInt32(document.rows));
  platform::append_big16(shape, UInt16(document.planes));
  return fnv1a(fnv1a(0xCBF29CE484222325ull, shape), document.pixels);
}

Expected<Document> read_document(const std::filesystem::path& path) {
  Expected<TiffContents> contents = read_tiff(path);
  if (!contents) return failure_of(contents);
  Document document = std::move(contents->image);
  const Expected<SidecarContents> sidecar = read_sidecar(path);
  take_resources(document, contents->block, sidecar);
  if (sidecar) document.savedFingerprint = sidecar->savedFingerprint;
  if (document.fileConvention == SampleConvention::tiff)
    swap_sample_convention(contents->photometric, document.planes, document.pixels);
  return document;
}

OSErr write_document(const std::filesystem::path& path, const Document& document) {
  if (OSErr err = write_tiff(path, document, block_of(document)); err != noErr) return err;
  return write_sidecar(path, sidecar_of(document));
}

OSErr update_plugin_resources(const std::filesystem::path& path, const Document& document) {
  if (OSErr err = replace_tiff_block(path, block_of(document)); err != noErr) return err;
  return write_sidecar(path, sidecar_of(document));
}

OSErr record_saved_back(const std::filesystem::path& path, Document& document) {
  const std::optional<UInt64> before = document.savedFingerprint;
  document.savedFingerprint = pixel_fingerprint(document);
  const OSErr err = write_sidecar(path, sidecar_of(document));
  if (err != noErr) document.savedFingerprint = before;
  return err;
}

}  // namespace tessel::host
