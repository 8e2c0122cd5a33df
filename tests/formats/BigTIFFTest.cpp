// BigTIFF against libtiff both ways (tiffcp reads what we write, we read
// what tiffcp -8 writes), and damaged BigTIFF directories refused as their
// classic counterparts are.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TIFFBuilder.h"
#include "TempFolder.h"
#include "formats/FormatCodes.h"
#include "formats/TIFFFormat.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using namespace tessel::testing;

namespace {

struct Layout {
  const char* name;
  bool little;
  bool tiled;
  UInt16 planar;
};

const Layout kLayouts[] = {{"striped MM", false, false, 1},
                           {"tiled II", true, true, 1},
                           {"tiled planar MM", false, true, 2},
                           {"striped planar II", true, false, 2}};

samples::TiffOptions sample(const Layout& layout, bool bigTiff) {
  samples::TiffOptions o{.width = 37, .height = 29, .samplesPerPixel = 3, .photometric = 2};
  o.littleEndian = layout.little;
  o.planarConfiguration = layout.planar;
  o.rowsPerStrip = 5;
  if (layout.tiled) o.tiles = samples::TiffTiles{16, 16};
  o.bigTiff = bigTiff;
  o.seed = 3;
  return o;
}

UInt8 formula(SInt32 row, SInt32 column, SInt32 plane) {
  return samples::sample_value(3, row, column, plane);
}

// Entries of the first directory of a BigTIFF that starts at 16, as our
// sample writer puts it: an 8-byte count, then 20-byte entries.
constexpr std::size_t kFirstEntry = 24, kBigEntryBytes = 20;

void put_big_endian(std::vector<UInt8>& bytes, std::size_t at, UInt64 value, int width) {
  for (int i = 0; i < width; ++i) bytes.at(at + i) = UInt8(value >> (8 * (width - 1 - i)));
}

std::size_t entry_of(const std::vector<UInt8>& bytes, UInt16 tag) {
  for (std::size_t at = kFirstEntry; at + kBigEntryBytes <= bytes.size(); at += kBigEntryBytes) {
    if (((bytes[at] << 8) | bytes[at + 1]) == tag) return at;
  }
  ADD_FAILURE() << "no tag " << tag;
  return 0;
}

class BigTIFF : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    TIFFSetWarningHandler(nullptr);
  }

  static bool has_tiffcp() { return std::system("command -v tiffcp >/dev/null") == 0; }

  static void tiffcp(const std::string& options, const std::filesystem::path& from,
                     const std::filesystem::path& to) {
    const std::string command = "timeout -k 5 60 tiffcp -c none " + options + " '" + from.string() +
                                "' '" + to.string() + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
  }

  OSErr open_bytes(const std::vector<UInt8>& bytes) {
    write_file("damaged.tif", bytes);
    FSSpec spec = spec_of("damaged.tif");
    TIFFState state{};
    const OSErr err = TIFFFormatOpen(&state, &spec);
    EXPECT_TRUE(err == noErr || state.refNum == 0) << "a refused file is closed";
    TIFFFormatClose(&state);
    return err;
  }
};

}  // namespace

TEST_F(BigTIFF, LibtiffReadsOursAndWeReadLibtiffs) {
  if (!has_tiffcp()) GTEST_SKIP() << "tiffcp is not on PATH";
  for (const Layout& layout : kLayouts) {
    SCOPED_TRACE(layout.name);
    const std::filesystem::path ours = path("ours.tif"), plain = path("plain.tif");
    ASSERT_EQ(samples::write_tiff(ours, sample(layout, true)), noErr);
    const std::filesystem::path classic = path("classic.tif"), theirs = path("theirs.tif");
    tiffcp("", ours, classic);
    expect_boxes_read(classic, formula);

    ASSERT_EQ(samples::write_tiff(plain, sample(layout, false)), noErr);
    tiffcp(std::string("-8 ") + (layout.little ? "-B" : "-L"), plain, theirs);
    OpenedImage opened(theirs);
    ASSERT_EQ(opened.result, noErr);
    FormatLayout described{};
    RasterFormatDescribeLayout(&opened.image.format, &described);
    EXPECT_EQ(described.bigTIFF, 1);
    EXPECT_EQ(described.tiled, layout.tiled ? 1 : 0);
    expect_boxes_read(theirs, formula);
  }
}

TEST_F(BigTIFF, DamagedHeadersAndDirectoriesAreRefused) {
  const Layout& layout = kLayouts[0];
  const std::filesystem::path file = path("good.tif");
  ASSERT_EQ(samples::write_tiff(file, sample(layout, true)), noErr);
  const std::vector<UInt8> good = file_bytes(file);
  ASSERT_EQ(open_bytes(good), noErr);
  struct Case {
    const char* what;
    std::size_t at;  // 0: the entry of tag's count
    UInt16 tag;
    UInt64 value;
    int width;
    OSErr result;
  };
  const UInt64 pastTheEnd = good.size() + 100;
  const Case cases[] = {
      {"offset size 4", 4, 0, 4, 2, kTIFFNotHandled},
      {"reserved word 1", 6, 0, 1, 2, kTIFFNotHandled},
      {"first directory past the end", 8, 0, pastTheEnd, 8, eofErr},
      {"first directory at 2^63 and more", 8, 0, UInt64(1) << 63, 8, eofErr},
      {"StripOffsets running past the end", 0, 273, 1000000, 8, eofErr},
      {"StripOffsets too many to allocate", 0, 273, UInt64(1) << 32, 8, kTIFFNotHandled},
      {"ImageWidth count 2^40, its values past the end", 0, 256, UInt64(1) << 40, 8, eofErr},
  };
  for (const Case& c : cases) {
    std::vector<UInt8> bytes = good;
    put_big_endian(bytes, c.at != 0 ? c.at : entry_of(good, c.tag) + 4, c.value, c.width);
    EXPECT_EQ(open_bytes(bytes), c.result) << c.what;
  }
  // An entry count past 32767 fails as a classic one of 65535 does.
  std::vector<UInt8> absurd = good;
  put_big_endian(absurd, 16, UInt64(1) << 40, 8);
  samples::TiffOptions classicOptions = sample(layout, false);
  ASSERT_EQ(samples::write_tiff(path("classic.tif"), classicOptions), noErr);
  std::vector<UInt8> classic = file_bytes(path("classic.tif"));
  put_big_endian(classic, 8, 0xFFFF, 2);
  const OSErr classicRefusal = open_bytes(classic);
  EXPECT_NE(classicRefusal, noErr);
  EXPECT_EQ(open_bytes(absurd), classicRefusal);
}

// A classic file has no 8-byte types: an unknown tag of one opens as it
// always did, and offsets given as one are refused.
TEST_F(BigTIFF, EightByteTypesAreForeignToAClassicFile) {
  auto classic = [](UInt16 tag, UInt32 raw) {
    TIFFBuilder b(false);
    const UInt32 pixels = b.append(std::vector<UInt8>(4, 9));
    b.add(256, kTIFFShort, {2}).add(257, kTIFFShort, {2}).add(258, kTIFFShort, {8});
    if (tag != 273) b.add(273, kTIFFLong, {pixels});
    b.add_raw(tag, 16, 1, raw == 0 ? pixels : raw);
    return b.bytes();
  };
  EXPECT_EQ(open_bytes(classic(50000, 0xFFFFFFF0)), noErr);
  EXPECT_EQ(open_bytes(classic(273, 0)), kTIFFNotHandled);
}
