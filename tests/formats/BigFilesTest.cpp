// Images whose files pass 2 GiB, 4 GiB or far more, made sparse: only the
// blocks at the far corner hold pixels, the rest is a hole, so a 30 GB
// BigTIFF costs a few megabytes of disk. Each case reads a box at the far
// corner and writes a smaller box inside it, then checks the file's bytes
// at their offsets and that no hole became data.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FaultyFileSystem.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "SparseFiles.h"
#include "TIFFBuilder.h"
#include "TempFolder.h"
#include "formats/FormatCodes.h"
#include "formats/TIFFDirectory.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using namespace tessel::testing;

namespace {

struct BigCase {
  const char* name;
  const char* fileName;  // its suffix names the format
  SInt32 width;
  SInt32 height;
  SInt32 channels;
  UInt8 bigTIFF;
  // Writes the sparse sample whose blocks meeting box hold pixels.
  std::function<OSErr(const std::filesystem::path&, const samples::SampleBox&)> write;
  // Where the sample lies; null: ask libtiff.
  Offset offset;
};

samples::TiffOptions rgb(UInt32 width, UInt32 height, bool bigTiff, bool little) {
  return samples::TiffOptions{.width = width,
                              .height = height,
                              .samplesPerPixel = 3,
                              .photometric = 2,
                              .littleEndian = little,
                              .bigTiff = bigTiff};
}

BigCase tiffCase(const char* name, samples::TiffOptions options) {
  return BigCase{name,
                 "big.tif",
                 SInt32(options.width),
                 SInt32(options.height),
                 options.samplesPerPixel,
                 UInt8(options.bigTiff ? 1 : 0),
                 [options](const std::filesystem::path& file, const samples::SampleBox& box) {
                   samples::TiffOptions sparse = options;
                   sparse.sparse = box;
                   return samples::write_tiff(file, sparse);
                 },
                 {}};
}

std::vector<BigCase> bigCases() {
  samples::TiffOptions striped = rgb(100000, 100000, true, false);
  striped.rowsPerStrip = 16;
  samples::TiffOptions tiled = rgb(100000, 100000, true, true);
  tiled.tiles = samples::TiffTiles{512, 512};
  samples::TiffOptions planar = rgb(100000, 100000, true, false);
  planar.tiles = samples::TiffTiles{512, 512};
  planar.planarConfiguration = 2;
  samples::TiffOptions terabyte = rgb(600000, 600000, true, true);  // 2^40 bytes
  terabyte.tiles = samples::TiffTiles{2048, 2048};
  samples::TiffOptions classic = rgb(40000, 25000, false, true);  // 3 GB
  classic.rowsPerStrip = 8;
  const UInt64 scitexLine = 3 * 32000;
  const UInt64 nativePlane = UInt64(30000) * 30000;
  return {
      tiffCase("BigTIFF striped MM", striped),
      tiffCase("BigTIFF tiled II", tiled),
      tiffCase("BigTIFF tiled planar MM", planar),
      tiffCase("BigTIFF of a terabyte II", terabyte),
      tiffCase("classic TIFF of 3 GB II", classic),
      {"Scitex CT of 2.4 GB", "big.sct", 32000, 25000, 3, 0,
       [](const std::filesystem::path& file, const samples::SampleBox& box) {
         return samples::write_scitex(
             file, {.width = 32000, .height = 25000, .channels = 3, .sparse = box});
       },
       [=](SInt32 row, SInt32 column, SInt32 plane) {
         return 2048 + UInt64(row) * scitexLine + UInt64(plane) * 32000 + UInt64(column);
       }},
      {"native of 2.7 GB", "big", 30000, 30000, 3, 0,
       [](const std::filesystem::path& file, const samples::SampleBox& box) {
         return samples::write_native(
             file, {.channels = 3, .rows = 30000, .columns = 30000, .mode = 3, .sparse = box});
       },
       [=](SInt32 row, SInt32 column, SInt32 plane) {
         return UInt64(plane) * nativePlane + UInt64(row) * 30000 + UInt64(column);
       }},
  };
}

constexpr SInt32 kCorner = 24;  // the box read at the far corner
constexpr SInt32 kInset = 6;    // the written box lies this far inside it

class BigFiles : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    TIFFSetWarningHandler(nullptr);
  }

  // Writes the case's sample; fails the test when the folder's file system
  // keeps no holes, since the file would then fill the disk.
  std::filesystem::path sparse_sample(const BigCase& c) {
    const std::filesystem::path file = path(c.fileName);
    const samples::SampleBox box{UInt64(c.height - kCorner), UInt64(c.width - kCorner),
                                 UInt64(c.height), UInt64(c.width)};
    EXPECT_EQ(c.write(file, box), noErr);
    struct stat info {};
    ::stat(file.c_str(), &info);
    EXPECT_LT(UInt64(info.st_blocks) * 512, UInt64(64) << 20) << "the sample is not sparse";
    return file;
  }

  static TileArea corner(const BigCase& c, SInt32 inset) {
    return TileArea{c.height - kCorner + inset,
                    c.width - kCorner + inset,
                    c.height - inset,
                    c.width - inset,
                    0,
                    c.channels};
  }

  // Every sample of the corner box at its offset: 255 - formula inside
  // written, the formula elsewhere.
  static void expect_corner_bytes(const std::filesystem::path& file, const BigCase& c,
                                  const Offset& offset, const TileArea& written) {
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for_each_sample(corner(c, 0), [&](SInt32 r, SInt32 col, SInt32 p) {
      const bool inside =
          r >= written.top && r < written.bottom && col >= written.left && col < written.right;
      const UInt8 want = inside ? UInt8(255 - formula(r, col, p)) : formula(r, col, p);
      ASSERT_EQ(byte_at(fd, offset(r, col, p)), want) << r << "," << col << " plane " << p;
    });
    ::close(fd);
  }
};

// A box of 255 - formula, chunky, for writing over `box`.
std::vector<UInt8> inverted_box(const TileArea& box) {
  std::vector<UInt8> bytes;
  for_each_sample(box,
                  [&](SInt32 r, SInt32 c, SInt32 p) { bytes.push_back(255 - formula(r, c, p)); });
  return bytes;
}

Tile chunky_tile(std::vector<UInt8>& bytes, const TileArea& box) {
  const SInt32 planes = box.endPlane - box.firstPlane;
  return Tile{bytes.data(), box, (box.right - box.left) * planes, planes, 0};
}

}  // namespace

TEST_F(BigFiles, TheFarCornerReadsAndTakesABoxInPlace) {
  for (const BigCase& c : bigCases()) {
    SCOPED_TRACE(c.name);
    const std::filesystem::path file = sparse_sample(c);
    const Offset offset = c.offset ? c.offset : libtiff_offsets(file);
    ASSERT_GT(offset(c.height - 1, c.width - 1, c.channels - 1), UInt64(1) << 31);
    const Extents before = data_extents(file);
    ASSERT_FALSE(before.empty());
    const TileArea written = corner(c, kInset);
    {
      OpenedImage opened(file);
      ASSERT_EQ(opened.result, noErr);
      EXPECT_EQ(opened.image.width, c.width);
      EXPECT_EQ(opened.image.height, c.height);
      EXPECT_EQ(opened.image.channels, c.channels);
      EXPECT_EQ(RasterFormatCheckLength(&opened.image.format), noErr);
      FormatLayout layout{};
      RasterFormatDescribeLayout(&opened.image.format, &layout);
      EXPECT_EQ(layout.bigTIFF, c.bigTIFF);

      const TileArea box = corner(c, 0);
      BoxBuffer read(box, false, c.channels);
      const std::vector<UInt8> wanted = read.with_box(formula);
      ASSERT_EQ(RasterFormatGetTile(&opened.image.format, read.tile, box), noErr);
      ASSERT_EQ(read.bytes, wanted);

      std::vector<UInt8> changed = inverted_box(written);
      ASSERT_EQ(RasterFormatPutTile(&opened.image.format, chunky_tile(changed, written), written),
                noErr);
    }
    expect_corner_bytes(file, c, offset, written);
    EXPECT_EQ(data_extents(file), before) << "a hole became data";
    std::filesystem::remove(file);
  }
}

// A failing read or write far past 4 GiB is reported, and the failed write
// leaves the file as it was.
TEST_F(BigFiles, FaultsPast4GiBAreReportedAndChangeNothing) {
  const BigCase c = bigCases()[1];
  const std::filesystem::path file = sparse_sample(c);
  const Offset offset = libtiff_offsets(file);
  ASSERT_GT(offset(c.height - 1, 0, 0), UInt64(1) << 34);
  const TileArea written = corner(c, kInset);
  std::vector<UInt8> changed = inverted_box(written);
  {
    OpenedImage opened(file);
    ASSERT_EQ(opened.result, noErr);
    FaultyFileSystem faulty;
    tessel::platform::ScopedFileSystem scope(faulty);
    faulty.fail_read_at = 1;
    BoxBuffer read(written, true, c.channels);
    EXPECT_EQ(RasterFormatGetTile(&opened.image.format, read.tile, written), ioErr);
    faulty.fail_write_at = 1;
    EXPECT_EQ(RasterFormatPutTile(&opened.image.format, chunky_tile(changed, written), written),
              dskFulErr);
  }
  expect_corner_bytes(file, c, offset, TileArea{});
}

// A header and a directory, nothing more: the sizes alone are on trial.
TEST_F(BigFiles, TheLargestSizesAClassicDirectoryMayGiveOpen) {
  TIFFBuilder b(true);
  const UInt32 pixels = b.append(std::vector<UInt8>(8, 0));
  b.add(256, kTIFFLong, {INT32_MAX}).add(257, kTIFFLong, {3}).add(258, kTIFFShort, {8});
  b.add(273, kTIFFLong, {pixels}).add(278, kTIFFLong, {UINT32_MAX});
  write_file("header.tif", b.bytes());
  FSSpec spec = spec_of("header.tif");
  TIFFState state{};
  ASSERT_EQ(TIFFFormatOpen(&state, &spec), noErr);
  EXPECT_EQ(state.imageWidth, INT32_MAX);
  EXPECT_EQ(state.rowsPerStrip, 3) << "one strip, as RowsPerStrip 2^32 - 1 means";
  EXPECT_EQ(TIFFFormatDataEnd(&state), pixels + UInt64(INT32_MAX) * 3);
  TIFFFormatClose(&state);
}
