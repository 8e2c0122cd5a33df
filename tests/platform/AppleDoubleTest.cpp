#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "MacErrors.h"
#include "TempFolder.h"

namespace ad = tessel::platform::appledouble;
using tessel::platform::append_big16;
using tessel::platform::append_big32;

namespace {

class AppleDouble : public tessel::testing::TempFolder {};

// An AppleDouble file laid out by hand, entries in the order given. Other
// writers fill the header's 16 spare bytes with text; we write zeros.
std::vector<UInt8> hand_made(const std::vector<ad::Entry>& entries, UInt8 filler = ' ') {
  std::vector<UInt8> out;
  append_big32(out, 0x00051607);
  append_big32(out, 0x00020000);
  out.resize(24, filler);
  append_big16(out, UInt16(entries.size()));
  UInt32 offset = UInt32(26 + 12 * entries.size());
  for (const auto& entry : entries) {
    append_big32(out, entry.id);
    append_big32(out, offset);
    append_big32(out, UInt32(entry.data.size()));
    offset += UInt32(entry.data.size());
  }
  for (const auto& entry : entries) out.insert(out.end(), entry.data.begin(), entry.data.end());
  return out;
}

}  // namespace

TEST_F(AppleDouble, FinderInfoIsWrittenByteForByte) {
  auto file = write_file("image.raw", {1});
  FInfo info{FourCC("LUMN"), FourCC("8BIM"), 0x0100, Point{3, -4}, 7};
  ASSERT_EQ(ad::write_finder_info(file, info), noErr);
  std::vector<UInt8> sidecar = read_file(path("._image.raw"));
  std::vector<UInt8> expected_entry = {'L',  'U',  'M',  'N',  '8',  'B',  'I',  'M',
                                       0x01, 0x00, 0x00, 0x03, 0xFF, 0xFC, 0x00, 0x07};
  expected_entry.resize(32, 0);
  EXPECT_EQ(sidecar, hand_made({{9, expected_entry}}, 0));
  auto back = ad::read_finder_info(file);
  ASSERT_TRUE(back.has_value());
  auto fields = [](const FInfo& i) {
    return std::tuple(i.fdType, i.fdCreator, i.fdFlags, i.fdLocation.v, i.fdLocation.h, i.fdFldr);
  };
  EXPECT_EQ(fields(*back), fields(info));
}

TEST_F(AppleDouble, EntriesInAnyOrderAreReadAndKeptWhenOneChanges) {
  auto file = write_file("scan.raw", {1});
  std::vector<UInt8> fork = {0, 0, 1, 0, 0xAB, 0xCD};
  std::vector<UInt8> finder(32, 0);
  std::copy_n("TIFF8BIM", 8, finder.begin());
  std::vector<UInt8> comment = {'h', 'i'};
  write_file("._scan.raw", hand_made({{2, fork}, {4, comment}, {9, finder}}));

  EXPECT_EQ(ad::read_finder_info(file)->fdType, FourCC("TIFF"));
  EXPECT_EQ(*ad::read_resource_fork(file), fork);

  ASSERT_EQ(ad::write_finder_info(file, FInfo{FourCC("..CT"), FourCC("8BIM"), 0, {}, 0}), noErr);
  auto reread = ad::read_sidecar(file);
  ASSERT_TRUE(reread.has_value() && reread->has_value());
  EXPECT_EQ(*(*reread)->find(2), fork);
  EXPECT_EQ(*(*reread)->find(4), comment);
  EXPECT_EQ(ad::read_finder_info(file)->fdType, FourCC("..CT"));
}

TEST_F(AppleDouble, ResourceForkRoundTripsAndIsMissingWithoutOne) {
  auto file = write_file("native.raw", {1});
  EXPECT_EQ(ad::read_resource_fork(file).error(), eofErr);
  std::vector<UInt8> fork(70000);
  for (std::size_t i = 0; i < fork.size(); ++i) fork[i] = UInt8(i * 7);
  ASSERT_EQ(ad::write_resource_fork(file, fork), noErr);
  EXPECT_EQ(*ad::read_resource_fork(file), fork);
  EXPECT_EQ(ad::read_finder_info(file)->fdType, FourCC("????"));
}

TEST_F(AppleDouble, DamagedSidecarsCountAsAbsent) {
  auto file = write_file("broken.raw", {1});
  std::vector<UInt8> sidecar = hand_made({{9, std::vector<UInt8>(32, 'x')}});
  for (std::size_t cut : {std::size_t(3), std::size_t(25), std::size_t(30), sidecar.size() - 1}) {
    write_file("._broken.raw", std::vector<UInt8>(sidecar.begin(), sidecar.begin() + long(cut)));
    auto info = ad::read_finder_info(file);
    ASSERT_TRUE(info.has_value()) << cut;
    EXPECT_EQ(info->fdType, FourCC("????")) << cut;
  }
}

TEST_F(AppleDouble, ExtendedAttributesAreReadWhenThereIsNoSidecar) {
  auto file = write_file("copied.tif", {1});
  std::vector<UInt8> finder(32, 0);
  std::copy_n("TIFFLUMN", 8, finder.begin());
  if (setxattr(file.c_str(), "user.com.apple.FinderInfo", finder.data(), finder.size(), 0) != 0) {
    GTEST_SKIP() << "this file system keeps no user attributes";
  }
  std::vector<UInt8> fork = {9, 8, 7};
  ASSERT_EQ(setxattr(file.c_str(), "user.com.apple.ResourceFork", fork.data(), fork.size(), 0), 0);
  EXPECT_EQ(ad::read_finder_info(file)->fdCreator, FourCC("LUMN"));
  EXPECT_EQ(*ad::read_resource_fork(file), fork);
}

// "._" and a name of 254 or 255 bytes would pass the longest name a folder
// holds: such files keep Finder info and fork in their extended attributes,
// and one byte shorter still gets a sidecar file.
TEST_F(AppleDouble, NamesTooLongForASidecarUseExtendedAttributes) {
  struct Case {
    std::size_t bytes;
    bool sidecarFile;
  };
  for (const Case& c : {Case{253, true}, Case{254, false}, Case{255, false}}) {
    SCOPED_TRACE(c.bytes);
    const std::string name = tessel::testing::utf8_name(c.bytes, "\u00e9", ".raw");
    auto file = write_file(name, {1});
    const FInfo info{FourCC("LUMN"), FourCC("TSSL"), 0, Point{0, 0}, 0};
    ASSERT_EQ(ad::write_finder_info(file, info), noErr);
    const std::vector<UInt8> fork{0, 0, 1, 0, 7};
    ASSERT_EQ(ad::write_resource_fork(file, fork), noErr);
    std::error_code tooLong;
    EXPECT_EQ(std::filesystem::exists(ad::sidecar_path(file), tooLong), c.sidecarFile);
    EXPECT_EQ(getxattr(file.c_str(), "user.com.apple.FinderInfo", nullptr, 0),
              c.sidecarFile ? -1 : 32);
    EXPECT_EQ(ad::read_finder_info(file)->fdType, FourCC("LUMN"));
    EXPECT_EQ(*ad::read_resource_fork(file), fork);

    ASSERT_EQ(ad::write_sidecar(file, ad::Sidecar{}), noErr);
    EXPECT_EQ(ad::read_resource_fork(file).error(), eofErr) << "an empty sidecar drops the fork";
    EXPECT_EQ(ad::read_finder_info(file)->fdType, FourCC("????"));
  }
}
