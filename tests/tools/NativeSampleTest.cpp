#include <gtest/gtest.h>

#include <map>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

namespace ad = platform::appledouble;
using Bytes = std::vector<UInt8>;

class NativeSample : public testing::TempFolder {
 protected:
  // The data of each "LUMN" resource in the file's sidecar, by id; empty when
  // the file has no fork or a damaged one.
  std::map<SInt16, Bytes> resources(const std::string& name) {
    std::map<SInt16, Bytes> found;
    auto bytes = ad::read_resource_fork(path(name));
    if (!bytes) return found;
    std::optional<platform::resources::ResourceFork> fork = platform::resources::parse_fork(*bytes);
    if (!fork) return found;
    for (const auto& resource : fork->resources) {
      if (resource.type == FourCC("LUMN")) found[resource.id] = resource.data;
    }
    return found;
  }
};

TEST_F(NativeSample, DataForkHoldsWholePlanesWithoutPadding) {
  ASSERT_EQ(write_native(path("rgb"), {.channels = 3, .rows = 100, .columns = 50, .seed = 4}),
            noErr);
  Bytes data = read_file(path("rgb"));
  ASSERT_EQ(data.size(), 15000u);
  for (SInt32 c = 0; c < 3; ++c) {
    for (SInt32 r = 0; r < 100; ++r) {
      for (SInt32 x = 0; x < 50; ++x) {
        ASSERT_EQ(data[std::size_t(c * 5000 + r * 50 + x)], sample_value(4, r, x, c)) << r;
      }
    }
  }
}

TEST_F(NativeSample, SidecarParsesToTheResourcesWritten) {
  NativeOptions o{.channels = 1, .rows = 300, .columns = 300, .mode = 2};
  o.horizontalResolution = 0x012C8000;  // 300.5
  o.verticalResolution = 0x00480000;
  ASSERT_EQ(write_native(path("indexed"), o), noErr);
  EXPECT_EQ(ad::read_finder_info(path("indexed"))->fdType, FourCC("LUMN"));
  std::map<SInt16, Bytes> found = resources("indexed");
  ASSERT_EQ(found.size(), 3u);
  EXPECT_EQ(found[1000], (Bytes{0, 1, 0x01, 0x2C, 0x01, 0x2C, 0, 8, 0, 2}));
  ASSERT_EQ(found[1005].size(), 16u);
  EXPECT_EQ(platform::read_big32(found[1005]), 0x012C8000u);
  EXPECT_EQ(platform::read_big32(std::span(found[1005]).subspan(8)), 0x00480000u);
  EXPECT_EQ(found[1003].size(), 768u);

  o.mode = 8;
  o.duotone = Bytes{7, 7, 7};
  ASSERT_EQ(write_native(path("duotone"), o), noErr);
  found = resources("duotone");
  EXPECT_EQ(found[1018], o.duotone);
  EXPECT_FALSE(found.contains(1003));
}

TEST_F(NativeSample, OmittedResourcesAndForkStayAbsentOverAnEarlierFile) {
  NativeOptions o{.mode = 2};
  ASSERT_EQ(write_native(path("image"), o), noErr);
  o.omitResources = {1003};
  ASSERT_EQ(write_native(path("image"), o), noErr);
  EXPECT_TRUE(resources("image").contains(1000));
  EXPECT_FALSE(resources("image").contains(1003));
  o.omitResourceFork = true;
  ASSERT_EQ(write_native(path("image"), o), noErr);
  EXPECT_EQ(ad::read_resource_fork(path("image")).error(), eofErr);
  EXPECT_EQ(ad::read_finder_info(path("image"))->fdType, FourCC("LUMN"));
}

}  // namespace
}  // namespace tessel::samples
