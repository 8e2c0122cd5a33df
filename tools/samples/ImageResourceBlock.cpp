#include <algorithm>

#include "ByteOrder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {

std::vector<UInt8> image_resource_block(std::span<const ImageResourceEntry> entries) {
  using platform::append_big16;
  using platform::append_big32;
  std::vector<UInt8> block;
  for (const ImageResourceEntry& entry : entries) {
    append_big32(block, entry.type);
    append_big16(block, UInt16(entry.id));
    const std::size_t nameLength = std::min<std::size_t>(entry.name.size(), 255);
    block.push_back(UInt8(nameLength));
    block.insert(block.end(), entry.name.begin(), entry.name.begin() + std::ptrdiff_t(nameLength));
    if (nameLength % 2 == 0) block.push_back(0);  // length byte and name take an even count
    append_big32(block, UInt32(entry.data.size()));
    block.insert(block.end(), entry.data.begin(), entry.data.end());
    if (entry.data.size() % 2 == 1) block.push_back(0);
  }
  return block;
}

}  // namespace tessel::samples
