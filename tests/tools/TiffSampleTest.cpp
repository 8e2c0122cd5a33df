// TIFF samples read back by libtiff, an independent reader, and their
// directories checked entry by entry.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <functional>
#include <memory>
#include <string>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

constexpr ttag_t kImageResourcesTag = 34377;

using TiffHandle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

TiffHandle openTiff(const std::filesystem::path& file) {
  TIFFSetWarningHandler(nullptr);  // descending tags and odd tile sizes are meant
  return TiffHandle(TIFFOpen(file.c_str(), "r"), &TIFFClose);
}

// Byte i of a stored row of plane, by the writer's rule.
UInt8 expectedByte(const TiffOptions& o, UInt32 row, std::size_t i, UInt16 plane) {
  const UInt32 spp = o.planarConfiguration == 2 || o.bitsPerSample != 8 ? 1 : o.samplesPerPixel;
  return sample_value(o.seed, SInt32(row), SInt32(i / spp), SInt32(plane + i % spp));
}

bool meetsBox(const SampleBox& box, UInt64 top, UInt64 bottom, UInt64 left, UInt64 right) {
  return top < box.bottom && bottom > box.top && left < box.right && right > box.left;
}

// Reads every strip or tile with libtiff and compares it with the formula;
// also checks each chunk's byte count against the bytes libtiff wants for it
// and its offset for word alignment. The first difference, or "".
std::string compareChunks(TIFF* tif, const TiffOptions& o) {
  const bool tiled = TIFFIsTiled(tif);
  const UInt32 chunkWidth = tiled ? o.tiles->width : o.width;
  const UInt32 chunkRows =
      tiled ? o.tiles->length : UInt32(TIFFStripSize(tif) / TIFFScanlineSize(tif));
  const UInt32 across = (o.width + chunkWidth - 1) / chunkWidth;
  const UInt32 down = (o.height + chunkRows - 1) / chunkRows;
  const std::size_t rowBytes = std::size_t(tiled ? TIFFTileRowSize(tif) : TIFFScanlineSize(tif));
  const std::size_t imageRowBytes = rowBytes * o.width / chunkWidth;
  // libtiff hands 16-bit samples over in the machine's byte order.
  const std::size_t swap = o.bitsPerSample == 16 && TIFFIsByteSwapped(tif) ? 1 : 0;
  std::vector<UInt8> chunk(std::size_t(tiled ? TIFFTileSize(tif) : TIFFStripSize(tif)));
  for (UInt32 i = 0; i < (tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif)); ++i) {
    const tmsize_t read = tiled ? TIFFReadEncodedTile(tif, i, chunk.data(), -1)
                                : TIFFReadEncodedStrip(tif, i, chunk.data(), -1);
    if (read < 0 || TIFFGetStrileByteCount(tif, i) != UInt64(read)) {
      return "byte count " + std::to_string(i);
    }
    if (TIFFGetStrileOffset(tif, i) % 2 != 0) return "odd offset " + std::to_string(i);
    const UInt16 plane = UInt16(i / (across * down));
    const UInt32 top = (i / across) % down * chunkRows, left = i % across * UInt32(rowBytes);
    if (o.sparse && !meetsBox(*o.sparse, top, top + chunkRows, i % across * chunkWidth,
                              (i % across + 1) * chunkWidth)) {
      if (std::any_of(chunk.begin(), chunk.begin() + read, [](UInt8 b) { return b != 0; }))
        return "data in the hole of chunk " + std::to_string(i);
      continue;
    }
    for (std::size_t j = 0; j < std::size_t(read); ++j) {
      const UInt32 row = top + UInt32(j / rowBytes), column = left + UInt32(j % rowBytes);
      if (row < o.height && column < imageRowBytes &&
          chunk[j ^ swap] != expectedByte(o, row, column, plane)) {
        return "chunk " + std::to_string(i) + " byte " + std::to_string(j);
      }
    }
  }
  return "";
}

struct RawEntry {
  UInt16 tag, type;
  UInt32 count, value;
};

// The first directory of a big-endian file as stored, for what libtiff
// smooths over: entry order and where values live.
std::vector<RawEntry> rawDirectory(std::span<const UInt8> bytes) {
  using platform::read_big16, platform::read_big32;
  const std::span<const UInt8> directory = bytes.subspan(read_big32(bytes.subspan(4)));
  std::vector<RawEntry> entries;
  for (UInt32 i = 0; i < read_big16(directory); ++i) {
    const std::span<const UInt8> entry = directory.subspan(2 + 12 * i);
    entries.push_back({read_big16(entry), read_big16(entry.subspan(2)),
                       read_big32(entry.subspan(4)), read_big32(entry.subspan(8))});
  }
  return entries;
}

class TiffSample : public testing::TempFolder {};

TiffOptions layout(UInt32 width, UInt32 height, UInt16 spp, UInt32 rowsPerStrip,
                   const std::function<void(TiffOptions&)>& tweak = {}) {
  TiffOptions o{.width = width,
                .height = height,
                .samplesPerPixel = spp,
                .photometric = UInt16(spp >= 3 ? 2 : 1)};
  o.rowsPerStrip = rowsPerStrip;
  o.seed = width * 7 + height;
  if (tweak) tweak(o);
  return o;
}

TEST_F(TiffSample, LibtiffReadsEveryLayoutToTheFormulaSamples) {
  const std::vector<std::pair<std::string, TiffOptions>> cases = {
      {"odd strips, big-endian", layout(33, 21, 3, 7)},
      {"one strip, little-endian", layout(40, 9, 1, 0, [](auto& o) { o.littleEndian = true; })},
      {"one row per strip", layout(5, 6, 4, 1)},
      {"separate planes", layout(17, 11, 3, 4, [](auto& o) { o.planarConfiguration = 2; })},
      {"tiles", layout(40, 37, 3, 0,
                       [](auto& o) {
                         o.tiles = TiffTiles{16, 32};
                       })},
      {"tiles, separate planes", layout(20, 20, 2, 0,
                                        [](auto& o) {
                                          o.tiles = TiffTiles{16, 16};
                                          o.planarConfiguration = 2;
                                        })},
      {"directory after pixels",
       layout(9, 9, 1, 2, [](auto& o) { o.directoryAfterPixels = true; })},
      {"descending tags", layout(12, 5, 3, 2, [](auto& o) { o.descendingTags = true; })},
      {"1 bit", layout(13, 6, 3, 4, [](auto& o) { o.bitsPerSample = 1; })},
      {"4 bits", layout(13, 6, 1, 4, [](auto& o) { o.bitsPerSample = 4; })},
      {"16 bits", layout(13, 6, 3, 4, [](auto& o) { o.bitsPerSample = 16; })},
      {"tiles, 4 bits", layout(40, 37, 1, 0,
                               [](auto& o) {
                                 o.tiles = TiffTiles{16, 16};
                                 o.bitsPerSample = 4;
                               })},
      {"BigTIFF tiles, separate planes, little-endian", layout(40, 37, 3, 0,
                                                               [](auto& o) {
                                                                 o.tiles = TiffTiles{16, 16};
                                                                 o.planarConfiguration = 2;
                                                                 o.littleEndian = true;
                                                                 o.bigTiff = true;
                                                               })},
      {"BigTIFF strips, 16 bits", layout(13, 6, 3, 4,
                                         [](auto& o) {
                                           o.bitsPerSample = 16;
                                           o.bigTiff = true;
                                         })},
      {"sparse BigTIFF tiles", layout(70, 50, 3, 0,
                                      [](auto& o) {
                                        o.tiles = TiffTiles{16, 16};
                                        o.bigTiff = true;
                                        o.sparse = SampleBox{20, 20, 21, 33};
                                      })},
      {"sparse strips", layout(33, 21, 3, 4,
                               [](auto& o) {
                                 o.sparse = SampleBox{20, 0, 21, 1};
                               })},
  };
  for (const auto& [name, options] : cases) {
    SCOPED_TRACE(name);
    ASSERT_EQ(write_tiff(path("sample.tif"), options), noErr);
    TiffHandle tif = openTiff(path("sample.tif"));
    ASSERT_TRUE(tif);
    EXPECT_EQ(compareChunks(tif.get(), options), "");
  }
}

TEST_F(TiffSample, TagsCarryTheChosenValues) {
  const ImageResourceEntry resource{.id = 1005, .data = {1, 2, 3}};
  const TiffOptions o{.width = 8,
                      .height = 4,
                      .samplesPerPixel = 2,
                      .photometric = 3,
                      .compression = 5,
                      .predictor = 2,
                      .fillOrder = 2,
                      .dotRange = std::pair{255, 0},
                      .extraSamples = {2},
                      .xResolution = TiffRational{7200, 100},
                      .yResolution = TiffRational{1, 3},
                      .resolutionUnit = 3,
                      .colorMap = sample_color_map(5, 256),
                      .imageResources = image_resource_block(std::span(&resource, 1))};
  ASSERT_EQ(write_tiff(path("tags.tif"), o), noErr);
  TiffHandle tif = openTiff(path("tags.tif"));
  ASSERT_TRUE(tif);
  auto shortField = [&](ttag_t tag) {
    UInt16 value = 0;
    return TIFFGetField(tif.get(), tag, &value) ? int(value) : -1;
  };
  EXPECT_EQ(shortField(TIFFTAG_PHOTOMETRIC), 3);
  EXPECT_EQ(shortField(TIFFTAG_RESOLUTIONUNIT), 3);
  EXPECT_EQ(shortField(TIFFTAG_COMPRESSION), 5);
  EXPECT_EQ(shortField(TIFFTAG_PREDICTOR), 2);
  EXPECT_EQ(shortField(TIFFTAG_FILLORDER), 2);
  float x = 0, y = 0;
  EXPECT_TRUE(TIFFGetField(tif.get(), TIFFTAG_XRESOLUTION, &x) && x == 72.0f);
  EXPECT_TRUE(TIFFGetField(tif.get(), TIFFTAG_YRESOLUTION, &y) && y == 1.0f / 3.0f);
  const UInt16 *red = nullptr, *green = nullptr, *blue = nullptr;
  ASSERT_TRUE(TIFFGetField(tif.get(), TIFFTAG_COLORMAP, &red, &green, &blue));
  EXPECT_EQ(std::vector<UInt16>(red, red + 256),
            std::vector(o.colorMap.begin(), o.colorMap.begin() + 256));
  EXPECT_EQ(std::vector<UInt16>(blue, blue + 256),
            std::vector(o.colorMap.begin() + 512, o.colorMap.end()));
  UInt16 low = 0, high = 0, extraCount = 0;
  const UInt16* extra = nullptr;
  EXPECT_TRUE(TIFFGetField(tif.get(), TIFFTAG_DOTRANGE, &low, &high) && low == 255 && high == 0);
  ASSERT_TRUE(TIFFGetField(tif.get(), TIFFTAG_EXTRASAMPLES, &extraCount, &extra));
  EXPECT_EQ(std::vector<UInt16>(extra, extra + extraCount), o.extraSamples);
  UInt32 blockBytes = 0;
  const UInt8* block = nullptr;
  ASSERT_TRUE(TIFFGetField(tif.get(), kImageResourcesTag, &blockBytes, &block));
  EXPECT_EQ(std::vector<UInt8>(block, block + blockBytes), *o.imageResources);
}

TEST_F(TiffSample, DirectoryOrderAndReplacedFieldsAreAsAsked) {
  TiffOptions o = layout(30, 20, 1, 8, [](auto& t) { t.descendingTags = true; });
  o.omitTags = {256, 296};
  o.extraFields = {{278, tiff_type::kLong, {0xFFFFFFFF}},
                   {273, tiff_type::kLong, {8}},
                   {273, tiff_type::kShort, {8, 9}, 5}};
  ASSERT_EQ(write_tiff(path("odd.tif"), o), noErr);
  std::vector<RawEntry> entries = rawDirectory(read_file(path("odd.tif")));
  std::vector<UInt16> tags;
  for (const RawEntry& entry : entries) tags.push_back(entry.tag);
  EXPECT_EQ(tags,
            (std::vector<UInt16>{284, 283, 282, 279, 278, 277, 273, 273, 262, 259, 258, 257}));
  EXPECT_EQ(entries[4].type, tiff_type::kLong);
  EXPECT_EQ(entries[4].value, 0xFFFFFFFFu);
  EXPECT_EQ(entries[6].value, 8u);
  EXPECT_EQ(entries[7].count, 5u);  // 10 bytes: stored out of line, on a word boundary
  EXPECT_EQ(entries[7].value % 2, 0u);
  EXPECT_EQ(entries[3].count, 3u);  // byte counts keep the writer's three strips
}

TEST(ImageResourceBlock, NamesAndDataArePaddedToEvenLengths) {
  std::vector<ImageResourceEntry> entries = {{FourCC("LUMN"), 1000, "", {1, 2, 3}},
                                             {FourCC("ABCD"), -2, "x", {4, 5}}};
  std::vector<UInt8> expected = {'L', 'U', 'M', 'N', 0x03, 0xE8, 0,    0, 0,   0, 0, 3, 1, 2, 3,
                                 0,   'A', 'B', 'C', 'D',  0xFF, 0xFE, 1, 'x', 0, 0, 0, 2, 4, 5};
  EXPECT_EQ(image_resource_block(entries), expected);
}

}  // namespace
}  // namespace tessel::samples
