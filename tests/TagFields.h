// The document tag as a reader that is not the module sees it: its fields
// decoded from their documented offsets, so tests check what the module
// wrote against the layout rather than against the module's own decoder.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "ByteOrder.h"
#include "MacTypes.h"

namespace tessel::testing {

// Fields of a tag of the version new documents get.
struct TagFields {
  UInt32 version = 0;
  SInt32 folder = 0;
  VRect rect{};
  SInt32 width = 0, height = 0;
  std::string name;
};

inline TagFields tag_fields(const std::vector<UInt8>& tag) {
  if (tag.size() < 296) {
    ADD_FAILURE() << "a tag of " << tag.size() << " bytes";
    return {};
  }
  const std::span<const UInt8> bytes(tag);
  auto side = [&](std::size_t at) { return SInt32(platform::read_big32(bytes.subspan(at))); };
  return TagFields{platform::read_big32(bytes),
                   SInt32(platform::read_big32(bytes.subspan(8))),
                   VRect{side(12), side(16), side(20), side(24)},
                   SInt32(platform::read_big32(bytes.subspan(28))),
                   SInt32(platform::read_big32(bytes.subspan(32))),
                   std::string(tag.begin() + 41, tag.begin() + 41 + tag[40])};
}

}  // namespace tessel::testing
