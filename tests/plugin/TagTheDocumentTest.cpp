#include <array>
#include <cstring>
#include <tuple>

#include "MacErrors.h"
#include "PluginTestSupport.h"
#include "plugin/TagTheDocument.h"
#include "records/ResultCodes.h"

namespace tessel::testing {
namespace {

using platform::append_big16;
using platform::append_big32;

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
  void replace_tag(const std::vector<UInt8>& bytes) {
    for (Handle tag : host.tags) DisposeHandle(tag);
    host.tags.clear();
    host.add_tag(bytes);
  }

  // A version 6 tag laid out by hand.
  static std::vector<UInt8> tag_v6(const FSSpec& file, std::array<SInt32, 4> rect, SInt32 width,
                                   SInt32 height, const std::string& name) {
    std::vector<UInt8> tag;
    append_big32(tag, 6);
    append_big16(tag, UInt16(file.vRefNum));
    append_big16(tag, 0);
    append_big32(tag, UInt32(file.parID));
    for (SInt32 side : rect) append_big32(tag, UInt32(side));
    append_big32(tag, UInt32(width));
    append_big32(tag, UInt32(height));
    append_big32(tag, 0);  // flags
    tag.push_back(UInt8(name.size()));
    tag.insert(tag.end(), name.begin(), name.end());
    tag.resize(296, 0);
    return tag;
  }
  // A version 5 tag: the FSSpec's bytes as it lies in memory.
  static std::vector<UInt8> tag_v5(const FSSpec& file, const Rect& r, SInt32 width, SInt32 height) {
    std::vector<UInt8> tag;
    append_big32(tag, 5);
    append_big16(tag, UInt16(file.vRefNum));
    append_big16(tag, 0);
    append_big32(tag, UInt32(file.parID));
    tag.insert(tag.end(), file.name, file.name + 64);
    for (SInt16 side : {r.top, r.left, r.bottom, r.right}) append_big16(tag, UInt16(side));
    append_big32(tag, UInt32(width));
    append_big32(tag, UInt32(height));
    return tag;
  }
  static auto fields(const SourceImage& image) {
    const VRect& r = image.selection;
    return std::tuple(r.top, r.left, r.bottom, r.right, image.recordedWidth, image.recordedHeight,
                      image.width);
  }
};

// A file whose name is far longer than an FSSpec holds: the tag keeps the
// real name, byte for byte, and reading it finds the file again even after
// the process forgot every stand-in it had handed out.
TEST_F(DocumentTag, WritesTheFullNameAndFindsTheFileAgain) {
  const std::string name = utf8_name(200, "\u00e9\u753b");
  write_file("images/" + name, {1});
  for (int i = 0; i < 3; ++i) host.add_tag(tag_v5(FSSpec{}, Rect{}, 0, 0));
  SourceImage image{};
  image.fileSpec = spec_of("images/" + name);
  image.selection = VRect{100, 40000, 612, 100000};  // wider than 16 bits hold
  image.width = 100000;
  image.height = 3000;

  ASSERT_EQ(TagTheDocument(procs(), &image), 0);
  ASSERT_EQ(host.tags.size(), 1u);
  EXPECT_EQ(host.tag_bytes(),
            tag_v6(image.fileSpec, {100, 40000, 612, 100000}, 100000, 3000, name));

  platform::catalog::forget();
  SourceImage read{};
  read.width = -1;
  ASSERT_EQ(GetImageInfo(&globals, &read), 0);
  EXPECT_EQ(platform::files::path_from_spec(read.fileSpec).value(), path("images/" + name));
  EXPECT_EQ(fields(read), std::tuple(100, 40000, 612, 100000, 100000, 3000, -1));
}

TEST_F(DocumentTag, ReadsTheShortNameVersionAsBefore) {
  write_file("images/short.tif", {1});
  const FSSpec file = spec_of("images/short.tif");
  replace_tag(tag_v5(file, Rect{-3, 7, 40, 90}, 640, 480));
  SourceImage read{};
  ASSERT_EQ(GetImageInfo(&globals, &read), 0);
  EXPECT_EQ(std::memcmp(&read.fileSpec, &file, sizeof file), 0);
  EXPECT_EQ(fields(read), std::tuple(-3, 7, 40, 90, 640, 480, 0));

  // Names of a moved folder still give a spec, which export then reports
  // as not found (and asks for the file).
  std::filesystem::rename(path("images"), path("moved"));
  replace_tag(tag_v6(file, {0, 0, 1, 1}, 1, 1, utf8_name(90)));
  ASSERT_EQ(GetImageInfo(&globals, &read), 0);
  EXPECT_EQ(read.fileSpec.parID, file.parID);
  SInt16 ref = 0;
  EXPECT_EQ(FSpOpenDF(&read.fileSpec, fsRdPerm, &ref), fnfErr);
}

TEST_F(DocumentTag, RefusesNoneSeveralEmptyAndUnreadableTags) {
  SourceImage image{};
  image.recordedWidth = 12345;
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);
  host.add_tag(tag_v5(FSSpec{}, Rect{}, 0, 0));
  host.add_tag(tag_v5(FSSpec{}, Rect{}, 0, 0));
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);

  const FSSpec here = spec_of("x.tif");
  std::vector<UInt8> shortV6 = tag_v6(here, {0, 0, 1, 1}, 1, 1, "x.tif");
  shortV6.resize(295);
  std::vector<UInt8> v7 = tag_v6(here, {0, 0, 1, 1}, 1, 1, "x.tif");
  v7[3] = 7;
  std::vector<UInt8> v4 = tag_v5(here, Rect{0, 0, 1, 1}, 1, 1);
  std::vector<UInt8> shortV5 = v4;
  shortV5.resize(91);
  v4[3] = 4;
  const std::vector<std::vector<UInt8>> refused = {
      v4,
      v7,
      shortV6,
      shortV5,
      tag_v6(here, {-1, 0, 40000, 1}, 1, 1, "x.tif"),  // above the image
      tag_v6(here, {7, 0, 7, 1}, 1, 1, "x.tif"),       // empty
      tag_v6(here, {0, 0, 1, 1}, 1, 1, "../x.tif"),    // not a name
      tag_v6(here, {0, 0, 1, 1}, 1, 1, ".."),
      tag_v6(here, {0, 0, 1, 1}, 1, 1, ""),
  };
  for (const auto& bytes : refused) {
    replace_tag(bytes);
    EXPECT_EQ(GetImageInfo(&globals, &image), kTagVersion) << bytes.size() << " " << int(bytes[3]);
  }
  DisposeHandle(host.tags[0]);
  host.tags = {nullptr};
  EXPECT_EQ(GetImageInfo(&globals, &image), kNoSingleTag);
  host.tags.clear();
  EXPECT_EQ(image.recordedWidth, 12345);
}

}  // namespace
}  // namespace tessel::testing
