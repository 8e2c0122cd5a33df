#include <gtest/gtest.h>

#include <string>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "ResourceFork.h"
#include "Resources.h"
#include "TempFolder.h"
#include "formats/ImageResources.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"

using tessel::platform::append_big16;
using tessel::platform::append_big32;

namespace {

// One entry of an image-resource block, laid out with its pads.
std::vector<UInt8> entry(ResType type, SInt16 id, const std::string& name,
                         const std::string& data) {
  std::vector<UInt8> out;
  append_big32(out, type);
  append_big16(out, UInt16(id));
  out.push_back(UInt8(name.size()));
  out.insert(out.end(), name.begin(), name.end());
  if (name.size() % 2 == 0) out.push_back(0);
  append_big32(out, UInt32(data.size()));
  out.insert(out.end(), data.begin(), data.end());
  if (data.size() % 2 == 1) out.push_back(0);
  return out;
}

std::vector<UInt8> joined(std::initializer_list<std::vector<UInt8>> parts) {
  std::vector<UInt8> out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

std::string text_of(Handle h) {
  return h == nullptr ? "<none>" : std::string(*h, std::size_t(GetHandleSize(h)));
}

class ImageResources : public tessel::testing::TempFolder {
 protected:
  // Parses the block from a file that holds it after a 3-byte prefix.
  OSErr parse(const std::vector<UInt8>& block, SInt32 length, ImageResourceList* list,
              std::size_t extra = 0) {
    std::vector<UInt8> file = {'x', 'y', 'z'};
    file.insert(file.end(), block.begin(), block.end());
    file.resize(file.size() + extra, 0xEE);
    write_file("block", file);
    FSSpec spec = spec_of("block");
    SInt16 ref = 0;
    EXPECT_EQ(OpenFile(&spec, &ref), noErr);
    SeekTo(ref, 3);
    OSErr err = ParseImageResources(ref, length, list);
    CloseFile(ref);
    return err;
  }
};

}  // namespace

TEST_F(ImageResources, EntriesWithAndWithoutPadsAreRead) {
  auto block = joined(
      {entry(FourCC("LUMN"), 1000, "", "0123456789"), entry(FourCC("LUMN"), 1005, "r", "abc"),
       entry(FourCC("8BIM"), 1006, "other type", "zz"), entry(FourCC("LUMN"), 1000, "", "later")});
  ImageResourceList list = nullptr;
  ASSERT_EQ(parse(block, SInt32(block.size()), &list), noErr);
  EXPECT_EQ(text_of(GetImageResource(list, 1000)), "later") << "the entry read later wins";
  EXPECT_EQ(text_of(GetImageResource(list, 1005)), "abc");
  EXPECT_EQ(GetImageResource(list, 1006), nullptr) << "only the host's own type is looked up";
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->next->name[0], 10);
  EXPECT_EQ(list->next->type, FourCC("8BIM"));
  EXPECT_EQ(list->next->next->name[0], 1);
  EXPECT_EQ(list->name, nullptr);
  DisposeImageResources(&list);
  EXPECT_EQ(list, nullptr);
}

TEST_F(ImageResources, BlocksThatDoNotAddUpAreRefusedWhole) {
  auto block = joined(
      {entry(FourCC("LUMN"), 1000, "", "0123456789"), entry(FourCC("LUMN"), 1003, "", "abc")});
  ImageResourceList list = reinterpret_cast<ImageResourceList>(1);
  EXPECT_EQ(parse(block, 0, &list), noErr);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(parse(block, -1, &list), kFormatFailure);
  EXPECT_EQ(list, nullptr);
  // Ending inside the second entry, with bytes after it in the file: 499.
  EXPECT_EQ(parse(block, SInt32(block.size() - 2), &list, 64), kFormatFailure);
  EXPECT_EQ(list, nullptr) << "what was read is freed";
  // A count past the end of the file: the read's own error.
  EXPECT_EQ(parse(block, SInt32(block.size() + 30), &list), eofErr);
  EXPECT_EQ(list, nullptr);
}

TEST_F(ImageResources, AHugeClaimedSizeAllocatesNothing) {
  std::vector<UInt8> block = entry(FourCC("LUMN"), 1000, "", "");
  tessel::platform::write_big32(std::span(block).subspan(8), 0x7FFFFFF0);
  tessel::platform::memory::set_zone_budget(
      ApplicZone(), tessel::platform::memory::zone_used(ApplicZone()) + 1000000);
  ImageResourceList list = nullptr;
  EXPECT_EQ(parse(block, 0x7FFFFFFF, &list), eofErr);
  EXPECT_EQ(parse(block, 0x7FFFFFFF, &list, 100), eofErr);
  EXPECT_EQ(MaxBlock(), 1000000);
}

TEST_F(ImageResources, ForkResourcesOfTheHostsTypeAreCollected) {
  write_file("native", {});
  tessel::platform::resources::ResourceFork fork;
  fork.resources = {{FourCC("LUMN"), 1000, 0, "", {1, 2}},
                    {FourCC("PICT"), 1000, 0, "", {9}},
                    {FourCC("LUMN"), 1005, 0, "res", {3, 4, 5}}};
  ASSERT_EQ(tessel::platform::appledouble::write_resource_fork(
                path("native"), *tessel::platform::resources::serialize_fork(fork)),
            noErr);
  FSSpec spec = spec_of("native");
  ImageResourceList list = nullptr;
  ASSERT_EQ(GetImageResourcesFromResourceFork(&spec, &list), noErr);
  EXPECT_EQ(text_of(GetImageResource(list, 1000)), std::string("\x01\x02"));
  EXPECT_EQ(text_of(GetImageResource(list, 1005)), std::string("\x03\x04\x05"));
  EXPECT_EQ(list->name[0], 3) << "the entry read last is first";
  EXPECT_EQ(list->next->next, nullptr) << "other types are left in the fork";
  EXPECT_EQ(CurResFile(), 0) << "the fork is closed again";
  DisposeImageResources(&list);

  write_file("plain", {1});
  FSSpec plain = spec_of("plain");
  EXPECT_EQ(GetImageResourcesFromResourceFork(&plain, &list), noErr);
  EXPECT_EQ(list, nullptr);
}
