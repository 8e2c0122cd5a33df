#include "host/ImageResourceBlock.h"

#include <algorithm>
#include <optional>

#include "ByteOrder.h"
#include "MacErrors.h"

namespace tessel::host {

namespace {

std::string type_name(ResType type) {
  return {char(type >> 24), char(type >> 16), char(type >> 8), char(type)};
}

std::optional<ResType> type_from_name(const std::string& name) {
  if (name.size() != 4) return std::nullopt;
  return ResType(platform::read_big32(std::span(reinterpret_cast<const UInt8*>(name.data()), 4)));
}

// Reads one entry at offset and advances it; nullopt when the entry does not
// fit what is left of the block.
std::optional<BlockEntry> decode_entry(std::span<const UInt8> block, std::size_t& offset) {
  if (block.size() - offset < 7) return std::nullopt;
  BlockEntry entry;
  entry.signature = platform::read_big32(block.subspan(offset));
  entry.id = SInt16(platform::read_big16(block.subspan(offset + 4)));
  const std::size_t nameLength = block[offset + 6];
  const std::size_t nameField = (1 + nameLength + 1) & ~std::size_t(1);
  if (block.size() - offset - 6 < nameField + 4) return std::nullopt;
  const auto name = block.subspan(offset + 7, nameLength);
  entry.name.assign(name.begin(), name.end());
  offset += 6 + nameField;
  const SInt32 size = SInt32(platform::read_big32(block.subspan(offset)));
  offset += 4;
  if (size < 0 || block.size() - offset < std::size_t(size)) return std::nullopt;
  const auto data = block.subspan(offset, std::size_t(size));
  entry.data.assign(data.begin(), data.end());
  offset = std::min(block.size(), offset + ((std::size_t(size) + 1) & ~std::size_t(1)));
  return entry;
}

}  // namespace

Expected<std::vector<BlockEntry>> decode_block(std::span<const UInt8> block) {
  std::vector<BlockEntry> entries;
  std::size_t offset = 0;
  while (offset < block.size()) {
    std::optional<BlockEntry> entry = decode_entry(block, offset);
    if (!entry) return Expected<std::vector<BlockEntry>>::failure(paramErr);
    entries.push_back(std::move(*entry));
  }
  return entries;
}

std::vector<UInt8> encode_block(std::span<const BlockEntry> entries) {
  using platform::append_big16;
  using platform::append_big32;
  std::vector<UInt8> block;
  for (const BlockEntry& entry : entries) {
    append_big32(block, entry.signature);
    append_big16(block, UInt16(entry.id));
    const std::size_t nameLength = std::min<std::size_t>(entry.name.size(), 255);
    block.push_back(UInt8(nameLength));
    block.insert(block.end(), entry.name.begin(), entry.name.begin() + std::ptrdiff_t(nameLength));
    if (nameLength % 2 == 0) block.push_back(0);
    append_big32(block, UInt32(entry.data.size()));
    block.insert(block.end(), entry.data.begin(), entry.data.end());
    if (entry.data.size() % 2 == 1) block.push_back(0);
  }
  return block;
}

bool is_plugin_entry(const BlockEntry& entry) {
  return entry.signature == kBlockSignature && entry.id == kPluginResourceID &&
         type_from_name(entry.name).has_value();
}

BlockEntry tiff_samples_mark() { return {kBlockSignature, kTiffSamplesID, "", {0, 1}}; }

bool is_tiff_samples_mark(const BlockEntry& entry) {
  return entry.signature == kBlockSignature && entry.id == kTiffSamplesID;
}

std::vector<PluginResource> plugin_resources_of(std::span<const BlockEntry> entries) {
  std::vector<PluginResource> resources;
  for (const BlockEntry& entry : entries) {
    if (is_plugin_entry(entry)) resources.push_back({*type_from_name(entry.name), entry.data});
  }
  return resources;
}

std::vector<BlockEntry> with_plugin_resources(std::span<const BlockEntry> entries,
                                              std::span<const PluginResource> resources) {
  std::vector<BlockEntry> result;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(result),
               [](const BlockEntry& entry) { return !is_plugin_entry(entry); });
  for (const PluginResource& resource : resources) {
    result.push_back({kBlockSignature, kPluginResourceID, type_name(resource.type), resource.data});
  }
  return result;
}

}  // namespace tessel::host
