#include <tuple>

#include "PluginTestSupport.h"
#include "plugin/ResultCodes.h"
#include "plugin/TagTheDocument.h"

namespace tessel::testing {
namespace {

using platform::write_big32;

class DocumentTag : public PluginTest {
 protected:
  FakeExportHost host;
  ExportGlobals globals{};

  void SetUp() override {
    PluginTest::SetUp();
    globals.params = &host.params;
  }
  const HostResourceProcs* procs() {
    return ReferencePointerAs<HostResourceProcs>(Get(host.params, kExportResourceProcs));
  }
  static std::vector<UInt8> tag_of_version(UInt32 version) {
    std::vector<UInt8> bytes(92, 0);
    write_big32(bytes, version);
    return bytes;
  }
};

// The tag's bytes are pinned, and reading it back gives the recorded size
// while the image's own size waits for the file.
TEST_F(DocumentTag, ReplacesEveryTagByOneWithTheImagesBytesAndReadsBack) {
  for (int i = 0; i < 3; ++i) host.add_tag(tag_of_version(5));
  SourceImage image{};
  image.fileSpec.vRefNum = -2;
  image.fileSpec.parID = 0x01020304;
  std::string name(63, 'n');
  name.back() = 'z';
  image.fileSpec.name[0] = 63;
  std::copy(name.begin(), name.end(), image.fileSpec.name + 1);
  image.selection = Rect{100, 0, 612, 512};
  image.width = 4000;
  image.height = 3000;

  ASSERT_EQ(TagTheDocument(procs(), &image), 0);

  ASSERT_EQ(host.tags.size(), 1u);
  std::vector<UInt8> bytes = host.tag_bytes();
  ASSERT_EQ(bytes.size(), 92u);
  EXPECT_EQ(std::vector<UInt8>(bytes.begin(), bytes.begin() + 13),
            (std::vector<UInt8>{0, 0, 0, 5, 0xFF, 0xFE, 0, 0, 1, 2, 3, 4, 63}));
  EXPECT_EQ(std::string(bytes.begin() + 13, bytes.begin() + 76), name);
  EXPECT_EQ(std::vector<UInt8>(bytes.begin() + 76, bytes.end()),
            (std::vector<UInt8>{0, 100, 0, 0, 0x02, 0x64, 0x02, 0x00,   // the rectangle
                                0, 0, 0x0F, 0xA0, 0, 0, 0x0B, 0xB8}));  // 4000 x 3000

  SourceImage read{};
  read.width = -1;
  ASSERT_EQ(GetImageInfo(&globals, &read), 0);
  const unsigned char* readName = read.fileSpec.name;
  EXPECT_EQ(std::tuple(read.fileSpec.vRefNum, read.fileSpec.parID,
                       std::string(readName + 1, readName + 1 + readName[0]), read.selection.top,
                       read.selection.left, read.selection.bottom, read.selection.right,
                       read.recordedWidth, read.recordedHeight, read.width),
            std::tuple(-2, 0x01020304, name, 100, 0, 612, 512, 4000, 3000, -1));
}

TEST_F(DocumentTag, RefusesNoneSeveralEmptyAndOtherVersions) {
  SourceImage image{};
  image.recordedWidth = 12345;
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);
  host.add_tag(tag_of_version(5));
  host.add_tag(tag_of_version(5));
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);

  for (UInt32 version : {4u, 6u}) {
    DisposeHandle(host.tags[0]), DisposeHandle(host.tags[1]);
    host.tags.clear();
    host.add_tag(tag_of_version(version));
    EXPECT_EQ(GetImageInfo(&globals, &image), kTagVersion) << version;
  }
  DisposeHandle(host.tags[0]);
  host.tags = {nullptr};
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);
  host.tags.clear();
  EXPECT_EQ(image.recordedWidth, 12345);
}

}  // namespace
}  // namespace tessel::testing
