#include <gtest/gtest.h>

#include "ByteOrder.h"
#include "ResourceFork.h"

using tessel::platform::resources::parse_fork;
using tessel::platform::resources::Resource;
using tessel::platform::resources::ResourceFork;
using tessel::platform::resources::serialize_fork;

namespace {

ResourceFork sample_fork() {
  ResourceFork fork;
  fork.attributes = 0x0020;
  fork.resources = {
      {FourCC("LUMN"), 1000, 0, "", {0, 3, 0, 100, 0, 50, 0, 8, 0, 3}},
      {FourCC("STR#"), 16004, 0x20, "Messages", {0, 1, 2, 'h', 'i'}},
      {FourCC("LUMN"), 1005, 0, "resolution", std::vector<UInt8>(16, 7)},
      {FourCC("PICT"), -4096, 0, "", {}},
  };
  return fork;
}

}  // namespace

TEST(ResourceFork, LayoutOfASingleResourceIsPinned) {
  ResourceFork fork;
  fork.resources = {{FourCC("STR#"), 128, 0, "ab", {1, 2, 3}}};
  auto bytes = serialize_fork(fork);
  ASSERT_TRUE(bytes.has_value());
  std::vector<UInt8> header = {0, 0, 1, 0, 0, 0, 1, 7, 0, 0, 0, 7, 0, 0, 0, 53};
  std::vector<UInt8> expected = header;
  expected.resize(256, 0);
  expected.insert(expected.end(), {0, 0, 0, 3, 1, 2, 3});
  expected.insert(expected.end(), header.begin(), header.end());
  expected.insert(expected.end(), {0, 0, 0, 0, 0, 0, 0, 0, 0, 28, 0, 50});
  expected.insert(expected.end(), {0, 0, 'S', 'T', 'R', '#', 0, 0, 0, 10});
  expected.insert(expected.end(), {0, 128, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  expected.insert(expected.end(), {2, 'a', 'b'});
  EXPECT_EQ(*bytes, expected);
}

TEST(ResourceFork, RoundTripGroupsByTypeAndKeepsEverything) {
  ResourceFork fork = sample_fork();
  auto bytes = serialize_fork(fork);
  ASSERT_TRUE(bytes.has_value());
  auto back = parse_fork(*bytes);
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(back->attributes, 0x0020);
  ASSERT_EQ(back->resources.size(), 4u);
  // Written grouped by type, in the order each type first appears.
  std::vector<std::pair<ResType, SInt16>> order;
  for (const Resource& r : back->resources) order.emplace_back(r.type, r.id);
  EXPECT_EQ(order, (std::vector<std::pair<ResType, SInt16>>{{FourCC("LUMN"), 1000},
                                                            {FourCC("LUMN"), 1005},
                                                            {FourCC("STR#"), 16004},
                                                            {FourCC("PICT"), -4096}}));
  EXPECT_EQ(back->resources[1].name, "resolution");
  EXPECT_EQ(back->resources[1].data, std::vector<UInt8>(16, 7));
  EXPECT_EQ(back->resources[2].attributes, 0x20);
  EXPECT_TRUE(back->resources[3].data.empty());
  EXPECT_EQ(*serialize_fork(*back), *serialize_fork(*parse_fork(*serialize_fork(*back))));
}

TEST(ResourceFork, EveryTruncationAndStrayOffsetIsRefused) {
  std::vector<UInt8> bytes = *serialize_fork(sample_fork());
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_FALSE(parse_fork(std::span(bytes).first(cut)).has_value()) << cut;
  }
  // Point a reference's data past the data area and a name past the names.
  std::size_t map = tessel::platform::read_big32(std::span(bytes).subspan(4));
  std::size_t references = map + 28 + 2 + 3 * 8;  // three types
  std::vector<UInt8> stray = bytes;
  stray[references + 5] = 0x7F;
  EXPECT_FALSE(parse_fork(stray).has_value());
  stray = bytes;
  stray[references + 12 + 2] = 0x7F;
  EXPECT_FALSE(parse_fork(stray).has_value());
}
