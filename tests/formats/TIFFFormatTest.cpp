#include <gtest/gtest.h>
#include <tiffio.h>

#include <filesystem>
#include <functional>
#include <iomanip>
#include <random>
#include <regex>
#include <sstream>
#include <tuple>

#include "FaultyFileSystem.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TIFFBuilder.h"
#include "TempFolder.h"
#include "formats/BlockGeometry.h"
#include "formats/TIFFDirectory.h"
#include "records/BigBuffer.h"
#include "records/ResultCodes.h"

using namespace tessel::testing;

namespace {

constexpr UInt16 kWidth = 256, kLength = 257, kBits = 258, kCompression = 259, kPhotometric = 262,
                 kFillOrder = 266, kStripOffsets = 273, kSamples = 277, kRowsPerStrip = 278,
                 kStripByteCounts = 279, kXResolution = 282, kYResolution = 283, kPlanar = 284,
                 kResolutionUnit = 296, kPredictor = 317, kColorMap = 320, kTileWidth = 322,
                 kTileLength = 323, kTileOffsets = 324, kTileByteCounts = 325, kDotRange = 336,
                 kSampleFormat = 339, kImageResources = 34377;

using Values = std::vector<std::int64_t>;

struct Field {
  UInt16 tag;
  UInt16 type;
  Values values;
};
using Fields = std::vector<Field>;

// Four by two 8-bit gray pixels in one strip at offset 8 (the directory
// follows at 16), without the tag omit, with the extra fields after.
std::vector<UInt8> gray(UInt16 omit = 0, const Fields& extra = {}, bool little = false) {
  TIFFBuilder b(little);
  b.append(std::vector<UInt8>(8, 7));
  Fields fields = {{kWidth, kTIFFShort, {4}},
                   {kLength, kTIFFShort, {2}},
                   {kBits, kTIFFShort, {8}},
                   {kPhotometric, kTIFFShort, {1}},
                   {kStripOffsets, kTIFFLong, {8}}};
  std::erase_if(fields, [&](const Field& f) { return f.tag == omit; });
  fields.insert(fields.end(), extra.begin(), extra.end());
  for (const Field& f : fields) b.add(f.tag, f.type, f.values);
  return b.bytes();
}

// An image-resource block with one "LUMN" entry, id 1005, empty name, and 4
// data bytes; the size field says claimedSize.
Values resource_block(UInt32 claimedSize) {
  Values block = {'L', 'U', 'M', 'N', 0x03, 0xED, 0, 0};
  for (int shift = 24; shift >= 0; shift -= 8) block.push_back(UInt8(claimedSize >> shift));
  block.insert(block.end(), {1, 2, 3, 4});
  return block;
}

// Every tag the reader acts on, inline and out of line, and one it skips.
std::vector<UInt8> rich_file(bool little, bool descending) {
  TIFFBuilder b(little);
  std::int64_t data = b.append(std::vector<UInt8>(90, 9));
  Values map(768);
  for (std::size_t i = 0; i < map.size(); ++i) map[i] = std::int64_t(i * 85 % 65536);
  Fields fields = {{kWidth, kTIFFShort, {6}},
                   {kLength, kTIFFLong, {5}},
                   {kBits, kTIFFShort, {8, 8, 8}},
                   {kCompression, kTIFFShort, {1}},
                   {kPhotometric, kTIFFShort, {2}},
                   {kStripOffsets, kTIFFLong, {data, data + 36, data + 72}},
                   {kSamples, kTIFFShort, {3}},
                   {kRowsPerStrip, kTIFFShort, {2}},
                   {kStripByteCounts, kTIFFShort, {36, 36, 18}},
                   {kXResolution, kTIFFRational, {3000000, 10000}},
                   {kYResolution, kTIFFSRational, {-720, -5}},
                   {kResolutionUnit, kTIFFShort, {3}},
                   {kColorMap, kTIFFShort, map},
                   {kDotRange, kTIFFByte, {200, 10}},
                   {700, kTIFFAscii, {'h', 'e', 'l', 'l', 'o', 0}},
                   {kImageResources, kTIFFUndefined, resource_block(4)}};
  if (descending) std::reverse(fields.begin(), fields.end());
  for (const Field& f : fields) b.add(f.tag, f.type, f.values);
  return b.bytes(1234);
}

std::string describe(const TIFFState& s) {
  std::ostringstream out;
  out << std::setprecision(10) << s.imageWidth << 'x' << s.imageLength << " bits "
      << s.bitsPerSample << " comp " << s.compression << " photo " << s.photometricInterpretation
      << " spp " << s.samplesPerPixel << " res " << s.xResolution << ',' << s.yResolution
      << " planar " << s.planarConfiguration << " unit " << s.resolutionUnit << " pred "
      << s.predictor << " rows " << s.rowsPerStrip << " fill " << s.fillOrder << " tiled "
      << int(s.tiled) << " dots " << int(s.dotRangeAscending) << " invert " << int(s.invert)
      << " next " << s.nextIFDOffset << " strips";
  for (SInt32 i = 0; i < s.stripCount; ++i) {
    out << ' ' << s.stripOffsets[i] << '/' << (s.stripByteCounts ? s.stripByteCounts[i] : 0);
  }
  out << " map";
  for (int i = 0; s.colorMap != nullptr && i < 768; ++i) out << ' ' << int(s.colorMap[i]);
  for (ImageResource* r = s.imageResources; r != nullptr; r = r->next) {
    out << " resource " << r->type << ':' << r->id << ':' << GetHandleSize(r->data);
  }
  return out.str();
}

struct Pixels {
  const char* name;
  SInt32 width;
  SInt32 height;
  SInt32 planes;
  SInt32 rowsPerStrip;  // the height itself: no RowsPerStrip tag; TileLength when tiled
  std::int64_t photometric;
  Values dotRange = {};
  bool little = false;
  std::int64_t bits = 8;
  bool tiled = false;    // tiles of tileWidth (the image's width when 0) by rowsPerStrip
  SInt32 tileWidth = 0;  // > 0 makes the image tiled
  bool planar = false;   // PlanarConfiguration 2

  bool tiles() const { return tiled || tileWidth > 0; }
  SInt32 blockWidth() const { return tileWidth > 0 ? tileWidth : width; }
  SInt32 groupPlanes() const { return planar ? 1 : planes; }
  SInt32 across() const { return (width + blockWidth() - 1) / blockWidth(); }
  SInt32 down() const { return (height + rowsPerStrip - 1) / rowsPerStrip; }
};

// Random samples with the blocks stored last to first and stray bytes
// between them, so that a reader assuming contiguous blocks goes wrong.
struct PixelFile {
  std::vector<UInt8> bytes;
  std::vector<UInt32> strips;  // block offsets, plane group after group, row after row
  Pixels px;

  std::size_t position(SInt32 row, SInt32 column, SInt32 plane) const {
    const SInt32 group = px.planar ? plane : 0;
    const SInt32 block =
        (group * px.down() + row / px.rowsPerStrip) * px.across() + column / px.blockWidth();
    const SInt32 inside = (row % px.rowsPerStrip) * px.blockWidth() + column % px.blockWidth();
    return strips[std::size_t(block)] +
           std::size_t(inside * px.groupPlanes() + (px.planar ? 0 : plane));
  }
};

PixelFile pixel_file(const Pixels& px, std::mt19937& random, const Fields& extra = {}) {
  TIFFBuilder b(px.little);
  const SInt32 groups = px.planar ? px.planes : 1;
  const SInt32 blockCount = groups * px.down() * px.across();
  const SInt32 full = px.rowsPerStrip * px.blockWidth() * px.groupPlanes();
  std::vector<UInt32> strips(std::size_t(blockCount), 0);
  Values offsets, counts;
  for (SInt32 k = blockCount - 1; k >= 0; --k) {
    // Tiles are stored whole; the last strip of a plane holds only its rows.
    const SInt32 down = k / px.across() % px.down();
    const SInt32 rows = px.tiles() ? px.rowsPerStrip
                                   : std::min(px.rowsPerStrip, px.height - down * px.rowsPerStrip);
    std::vector<UInt8> strip(std::size_t(rows * px.blockWidth() * px.groupPlanes()));
    for (UInt8& sample : strip) sample = UInt8(random());
    b.append({0xEE, 0xEE, 0xEE});
    strips[std::size_t(k)] = b.append(strip);
  }
  for (SInt32 k = 0; k < blockCount; ++k) offsets.push_back(strips[std::size_t(k)]);
  counts.assign(offsets.size(), full);
  b.add(kWidth, kTIFFShort, {px.width});
  b.add(kLength, kTIFFShort, {px.height});
  b.add(kBits, kTIFFShort, Values(std::size_t(px.planes), px.bits));
  b.add(kSamples, kTIFFShort, {px.planes});
  b.add(kPhotometric, kTIFFShort, {px.photometric});
  if (px.planar) b.add(kPlanar, kTIFFShort, {2});
  if (px.rowsPerStrip < px.height && !px.tiles())
    b.add(kRowsPerStrip, kTIFFLong, {px.rowsPerStrip});
  if (px.tileWidth > 0) b.add(kTileWidth, kTIFFLong, {px.tileWidth});
  if (px.tiles()) b.add(kTileLength, kTIFFLong, {px.rowsPerStrip});
  b.add(px.tiles() ? kTileOffsets : kStripOffsets, kTIFFLong, offsets);
  b.add(px.tiles() ? kTileByteCounts : kStripByteCounts, kTIFFLong, counts);
  if (!px.dotRange.empty()) b.add(kDotRange, kTIFFShort, px.dotRange);
  for (const Field& f : extra) b.add(f.tag, f.type, f.values);
  return {b.bytes(), strips, px};
}

// What the host sees of a file sample, and the other way round: each
// conversion is its own inverse.
UInt8 host_sample(const Pixels& px, SInt32 plane, UInt8 sample) {
  bool inks = px.dotRange.empty() || px.dotRange[1] >= px.dotRange[0];
  switch (px.photometric) {
    case 0: return UInt8(255 - sample);
    case 5: return inks && plane < 4 ? UInt8(255 - sample) : sample;
    case 8: return plane == 1 || plane == 2 ? UInt8(sample ^ 0x80) : sample;
    default: return sample;
  }
}

// What the host reads of the file in box: the file's samples as host_sample
// sees them.
SampleRule file_rule(const PixelFile& file) {
  return [&](SInt32 r, SInt32 c, SInt32 p) {
    return host_sample(file.px, p, file.bytes[file.position(r, c, p)]);
  };
}

// Strips of 8 rows, the last one full.
const Pixels kRGB{"RGB", 10, 24, 3, 8, 2};

const std::vector<Pixels> kModes = {
    {"RGB", 23, 19, 3, 4, 2},
    {"CMYK and an extra plane", 17, 13, 5, 3, 5},
    {"CMYK with a descending DotRange", 17, 13, 5, 3, 5, {255, 0}},
    {"Lab, little-endian", 11, 9, 3, 2, 8, {}, true},
    {"WhiteIsZero gray", 31, 10, 1, 4, 0},
    {"gray in one strip", 9, 7, 1, 7, 1},
};

class TIFFFormat : public TempFolder {
 protected:
  void TearDown() override {
    TIFFFormatClose(&state_);
    TempFolder::TearDown();
  }

  OSErr open(const std::vector<UInt8>& bytes) {
    TIFFFormatClose(&state_);
    write_file("image.tif", bytes);
    FSSpec spec = spec_of("image.tif");
    return TIFFFormatOpen(&state_, &spec);
  }

  std::vector<UInt8> file_now() { return read_file(path("image.tif")); }

  // The open state's pixels through its geometry and the band mover.
  OSErr move(const Tile& tile, const TileArea& box, Boolean write) {
    BlockGeometry geometry{};
    if (OSErr err = TIFFFormatGeometry(&state_, &geometry); err != noErr) return err;
    return MoveBox(state_.refNum, geometry, tile, box, write);
  }

  PixelFile open_pixels(const Pixels& px, UInt32 seed, const Fields& extra = {}) {
    std::mt19937 random(seed);
    PixelFile file = pixel_file(px, random, extra);
    EXPECT_EQ(open(file.bytes), noErr) << px.name;
    return file;
  }

  TIFFState state_{};
};

}  // namespace

// ---- Directory

TEST_F(TIFFFormat, ByteOrderAndTagOrderDoNotChangeTheState) {
  ASSERT_EQ(open(rich_file(false, false)), noErr);
  std::string big = describe(state_);
  EXPECT_EQ(state_.littleEndian, 0);
  EXPECT_EQ(state_.stripOffsets[1], state_.stripOffsets[0] + 36);
  EXPECT_EQ(state_.xResolution, 300.0f);
  EXPECT_EQ(state_.yResolution, 144.0f);
  EXPECT_EQ(state_.rowsPerStrip, 2);
  EXPECT_EQ(state_.dotRangeAscending, 0);
  EXPECT_EQ(state_.colorMap[256 + 4], (260 * 85) >> 8) << "a 16-bit map keeps high bytes";
  EXPECT_NE(GetImageResource(state_.imageResources, 1005), nullptr);
  EXPECT_EQ(state_.nextIFDOffset, 1234u);

  for (auto [little, descending] : {std::pair{true, false}, {false, true}, {true, true}}) {
    ASSERT_EQ(open(rich_file(little, descending)), noErr);
    EXPECT_EQ(state_.littleEndian, little ? 1 : 0);
    EXPECT_EQ(describe(state_), big) << little << descending;
  }
}

TEST_F(TIFFFormat, HeadersOtherThanIIOrMMWith42Give300) {
  std::vector<UInt8> mixed = gray(), big = gray(), little = gray(0, {}, true);
  mixed[1] = 'I';
  big[3] = 43;
  little[2] = 43;
  for (const auto& bytes : {mixed, big, little}) {
    EXPECT_EQ(open(bytes), kTIFFNotHandled);
    EXPECT_EQ(state_.refNum, 0);
  }
}

TEST_F(TIFFFormat, DirectoriesItCannotHandleGive300) {
  struct Case {
    const char* what;
    UInt16 omit;
    Fields fields;
  };
  const Values tenOffsets(10, 8), nineCounts(9, 1);
  const std::vector<Case> cases = {
      {"ImageWidth 2^31", kWidth, {{kWidth, kTIFFLong, {2147483648}}}},
      {"ImageWidth 0", kWidth, {{kWidth, kTIFFLong, {0}}}},
      {"ImageWidth as text", kWidth, {{kWidth, kTIFFAscii, {'4', 0}}}},
      {"negative ImageLength", kLength, {{kLength, kTIFFSShort, {-2}}}},
      {"RowsPerStrip 4294967295", 0, {{kRowsPerStrip, kTIFFLong, {4294967295}}}},
      {"BitsPerSample 8,8,16", kBits, {{kBits, kTIFFShort, {8, 8, 16}}}},
      {"PhotometricInterpretation 9", kPhotometric, {{kPhotometric, kTIFFShort, {9}}}},
      {"Compression 65536", 0, {{kCompression, kTIFFLong, {65536}}}},
      {"Predictor 3", 0, {{kPredictor, kTIFFShort, {3}}}},
      {"DotRange 0..256", 0, {{kDotRange, kTIFFShort, {0, 256}}}},
      {"ColorMap of rationals", 0, {{kColorMap, kTIFFRational, {1, 1, 1, 1, 1, 1}}}},
      {"offset 2^31", kStripOffsets, {{kStripOffsets, kTIFFLong, {0x80000000}}}},
      {"second StripOffsets", 0, {{kStripOffsets, kTIFFLong, {8}}}},
      {"StripOffsets and TileOffsets", 0, {{kTileOffsets, kTIFFLong, {8}}}},
      {"StripOffsets and TileByteCounts", 0, {{kTileByteCounts, kTIFFLong, {8}}}},
      {"two StripByteCounts",
       0,
       {{kStripByteCounts, kTIFFLong, {8}}, {kStripByteCounts, kTIFFLong, {8}}}},
      {"10 offsets, 9 byte counts",
       kStripOffsets,
       {{kStripOffsets, kTIFFLong, tenOffsets}, {kStripByteCounts, kTIFFLong, nineCounts}}},
      {"byte counts without offsets", kStripOffsets, {{kStripByteCounts, kTIFFLong, {8}}}},
      {"no ImageWidth", kWidth, {}},
      {"no ImageLength", kLength, {}},
      {"no offsets", kStripOffsets, {}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(open(gray(c.omit, c.fields)), kTIFFNotHandled) << c.what;
    EXPECT_EQ(state_.refNum, 0) << c.what;
  }
}

// Counts whose byte size does not fit 32 bits would make the reader take
// values from the wrong place, or allocate more than 32-bit sizes describe.
TEST_F(TIFFFormat, EntryCountsOfZeroOrBeyond32BitSizesGive300) {
  struct Case {
    const char* what;
    UInt16 tag, type;
    UInt32 count, raw;
  };
  for (const Case& c :
       {Case{"offsets wrapping to 4 bytes", kStripOffsets, kTIFFLong, 0x40000001, 8},
        Case{"offsets too many to allocate", kStripOffsets, kTIFFShort, 0x7FFFFFFF, 8},
        Case{"ImageWidth wrapping to 4 bytes", kWidth, kTIFFLong, 0x40000001, 4},
        Case{"offsets count 0", kStripOffsets, kTIFFLong, 0, 8}}) {
    TIFFBuilder b(false);
    b.append(std::vector<UInt8>(8, 7));
    for (UInt16 tag : {kWidth, kLength, kBits, kStripOffsets}) {
      if (tag == c.tag)
        b.add_raw(tag, c.type, c.count, c.raw);
      else
        b.add(tag, kTIFFLong, {tag == kWidth || tag == kLength ? 4 : 8});
    }
    EXPECT_EQ(open(b.bytes()), kTIFFNotHandled) << c.what;
  }
}

// Each case is a pattern for describe(); sizes and RowsPerStrip come ahead of
// ImageLength, so that tag order decides, not file order.
TEST_F(TIFFFormat, FieldsOfAnyTypeOpenToTheirValuesOrDefaults) {
  struct Case {
    UInt16 omit;
    Fields fields;
    const char* pattern;
  };
  const Field tall{kLength, kTIFFShort, {2000}};
  auto resolution = [](UInt16 type, Values values) {
    return Fields{{kXResolution, type, std::move(values)}};
  };
  auto photometric = [](std::int64_t photo, std::int64_t bits) {
    return Fields{{kBits, kTIFFShort, {bits}}, {kPhotometric, kTIFFShort, {photo}}};
  };
  const std::vector<Case> cases = {
      {kLength, {{kWidth, kTIFFShort, {30000}}, tall}, "^30000x2000 .* rows 2000 "},
      {kLength, {{kWidth, kTIFFLong, {25}}, tall}, "^25x2000 .* rows 2000 "},
      {kLength, {{kRowsPerStrip, kTIFFLong, {0}}, tall}, "^4x2000 .* rows 2000 "},
      {kLength, {{kRowsPerStrip, kTIFFLong, {100000}}, tall}, "^4x2000 .* rows 2000 "},
      {kLength, {{kRowsPerStrip, kTIFFByte, {16}}, tall}, "^4x2000 .* rows 16 "},
      {kLength, {{700, kTIFFShort, {1}}, tall}, "^4x2000 .* rows 2000 "},
      {kLength, {{kTileLength, kTIFFShort, {64}}, tall}, "^4x2000 .* rows 64 "},
      // Zero Compression and PlanarConfiguration mean the defaults.
      {kBits,
       {{kBits, kTIFFShort, {8, 8, 8}},
        {kCompression, kTIFFShort, {0}},
        {kPlanar, kTIFFShort, {0}},
        {kFillOrder, kTIFFShort, {2}},
        {kPredictor, kTIFFShort, {2}}},
       " bits 8 comp 1 .* planar 1 .* pred 2 .* fill 2 "},
      {kStripOffsets,
       {{kTileWidth, kTIFFShort, {16}},
        {kTileLength, kTIFFShort, {16}},
        {kTileOffsets, kTIFFLong, {8, 8}},
        {kTileByteCounts, kTIFFLong, {256, 256}}},
       " tiled 1 .* strips 8/256 8/256 map"},
      // A resolution of any type never fails the open.
      {0, resolution(kTIFFRational, {3000000, 10000}), " res 300,"},
      {0, resolution(kTIFFRational, {72, 0}), " res 0,"},
      {0, resolution(kTIFFRational, {4294967295, 1}), " res 4294967296,"},
      {0, resolution(kTIFFAscii, {'7', '2', 0, 0}), " res 0,"},
      {0, resolution(kTIFFFloat, {0x42900000}), " res 0,"},
      {0, resolution(kTIFFLong, {150}), " res 150,"},
      {0, resolution(kTIFFLong, {0x80000000}), " res 0,"},
      // Inverted: WhiteIsZero at 8 bits, BlackIsZero at 1.
      {kPhotometric, photometric(0, 8), " photo 0 .* invert 1 "},
      {kPhotometric, photometric(1, 8), " photo 1 .* invert 0 "},
      {kPhotometric, photometric(1, 1), " photo 1 .* invert 1 "},
      {kPhotometric, photometric(0, 1), " photo 0 .* invert 0 "},
      {kPhotometric, photometric(2, 8), " photo 2 .* invert 0 "},
      {kPhotometric, {}, " photo 65535 "},
      // A damaged image-resource block leaves the list empty.
      {0, {{kImageResources, kTIFFUndefined, resource_block(40)}}, " map$"},
  };
  for (const Case& c : cases) {
    ASSERT_EQ(open(gray(c.omit, c.fields)), noErr) << c.pattern;
    EXPECT_TRUE(std::regex_search(describe(state_), std::regex(c.pattern)))
        << describe(state_) << " should match " << c.pattern;
  }
}

// Other readers take a directory with a tile size as tiled wherever it keeps
// its offsets; taken as strips of TileLength rows, its pixels would be read
// and written in the wrong places. The offsets stay for reading tiles.
TEST_F(TIFFFormat, ATileSizeMakesTheImageTiledWhicheverTagsHoldItsOffsets) {
  struct Case {
    const char* what;
    Fields fields;
    OSErr result;
    UInt8 tiled;
    bool libtiffOpens;  // libtiff needs both sizes of a tiled image
  };
  const Field tileWidth{kTileWidth, kTIFFShort, {16}}, tileLength{kTileLength, kTIFFShort, {16}},
      stripCounts{kStripByteCounts, kTIFFLong, {256}},
      tileCounts{kTileByteCounts, kTIFFLong, {256}};
  const std::vector<Case> cases = {
      {"both sizes over strip offsets", {tileWidth, tileLength, stripCounts}, noErr, 1, true},
      {"TileWidth alone", {tileWidth, stripCounts}, noErr, 1, false},
      {"TileLength alone", {tileLength}, noErr, 1, false},
      {"strips", {stripCounts}, noErr, 0, true},
      // Byte counts still pair with offsets of their own kind.
      {"strip offsets with tile byte counts",
       {tileWidth, tileLength, tileCounts},
       kTIFFNotHandled,
       0,
       false},
  };
  TIFFSetWarningHandler(nullptr);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::vector<UInt8> bytes = gray(0, c.fields);
    ASSERT_EQ(open(bytes), c.result);
    if (c.result != noErr) continue;
    EXPECT_EQ(state_.tiled, c.tiled);
    ASSERT_EQ(state_.stripCount, 1);
    EXPECT_EQ(state_.stripOffsets[0], 8u);
    if (!c.libtiffOpens) continue;
    TIFF* tif = TIFFOpen(path("image.tif").c_str(), "r");
    ASSERT_NE(tif, nullptr);
    EXPECT_EQ(TIFFIsTiled(tif) != 0, c.tiled != 0);
    TIFFClose(tif);
  }
}

// Samples are handed out as unsigned integers: a signed -1 would arrive as
// 255. The open refuses them and keeps the tag and value it refused, as it
// does for any value out of its range.
TEST_F(TIFFFormat, SamplesThatAreNotUnsignedIntegersGive300AndTellWhy) {
  struct Case {
    UInt16 omit;
    Fields fields;
    OSErr result;
    UInt16 tag;
    SInt32 value;
  };
  const std::vector<Case> cases = {
      {0, {{kSampleFormat, kTIFFShort, {1}}}, noErr, 0, 0},
      {0, {{kSampleFormat, kTIFFShort, {2}}}, kTIFFNotHandled, kSampleFormat, 2},
      {kBits,
       {{kBits, kTIFFShort, {32}}, {kSampleFormat, kTIFFShort, {3}}},
       kTIFFNotHandled,
       kSampleFormat,
       3},
      {0, {{kSampleFormat, kTIFFShort, {1, 1, 4}}}, kTIFFNotHandled, kSampleFormat, 4},
      {0, {{kSampleFormat, kTIFFShort, {0}}}, kTIFFNotHandled, kSampleFormat, 0},
      {kWidth, {{kWidth, kTIFFLong, {0}}}, kTIFFNotHandled, kWidth, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fields.front().values.back());
    EXPECT_EQ(open(gray(c.omit, c.fields)), c.result);
    EXPECT_EQ(state_.refusedTag, c.tag);
    if (c.result != noErr) {
      EXPECT_EQ(state_.refusedValue, c.value);
    }
  }
}

TEST_F(TIFFFormat, ColorMapKeepsEightBitValuesOrTheHighBytesOfSixteen) {
  auto map_of = [&](const Values& values) {
    EXPECT_EQ(open(gray(0, {{kColorMap, kTIFFShort, values}})), noErr);
    return std::vector<UInt8>(state_.colorMap, state_.colorMap + 768);
  };
  Values eight(768);
  std::vector<UInt8> expected(768);
  for (int i = 0; i < 768; ++i) expected[i] = UInt8(eight[i] = (i * 7) % 256);
  EXPECT_EQ(map_of(eight), expected);

  Values sixteen = eight;
  sixteen[300] = 65535;
  expected.assign(768, 0);
  expected[300] = 255;
  EXPECT_EQ(map_of(sixteen), expected);

  Values four(48);
  expected.assign(768, 0);
  for (int i = 0; i < 48; ++i) four[i] = i + 1;
  for (int i = 0; i < 48; ++i) expected[(i / 16) * 256 + i % 16] = UInt8(i + 1);
  EXPECT_EQ(map_of(four), expected);
}

TEST_F(TIFFFormat, EmptyOrNegativeDirectoryGivesTheSortedListsRefusal) {
  EXPECT_EQ(open(TIFFBuilder(false).bytes()), 1);
  std::vector<UInt8> negative = gray();
  negative[16] = negative[17] = 0xFF;
  EXPECT_EQ(open(negative), 1);
  EXPECT_EQ(state_.refNum, 0);
}

TEST_F(TIFFFormat, FileErrorsAtOpenArePassedOn) {
  FSSpec absent = spec_of("absent.tif");
  EXPECT_EQ(TIFFFormatOpen(&state_, &absent), fnfErr);

  std::vector<UInt8> whole = rich_file(true, false);
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    ASSERT_EQ(open(std::vector<UInt8>(whole.begin(), whole.begin() + long(cut))), eofErr) << cut;
    ASSERT_EQ(state_.refNum, 0) << cut;
  }
}

TEST_F(TIFFFormat, StripCountsTheFileCannotHoldFailBeforeAnythingIsAllocated) {
  TIFFBuilder b(false);
  b.add(kWidth, kTIFFShort, {4}).add(kLength, kTIFFShort, {2});
  b.add_raw(kStripOffsets, kTIFFLong, 10000000, 8);
  ZoneBudgets budgets;
  budgets.leave_free(1 << 20);  // 40 MB of offsets would fail with memFullErr instead
  EXPECT_EQ(open(b.bytes()), eofErr);
  EXPECT_EQ(state_.stripOffsets, nullptr);
}

TEST_F(TIFFFormat, CloseFreesWhatAFailedOpenLeftAndMayRunTwice) {
  // DotRange fails after the offsets and the map are read, in tag order.
  EXPECT_EQ(open(gray(0, {{kColorMap, kTIFFShort, {1, 1, 1}}, {kDotRange, kTIFFShort, {0, 300}}})),
            kTIFFNotHandled);
  EXPECT_EQ(state_.refNum, 0);
  ASSERT_NE(state_.stripOffsets, nullptr);
  ASSERT_NE(state_.colorMap, nullptr);
  EXPECT_EQ(TIFFFormatClose(&state_), noErr);
  EXPECT_EQ(state_.stripOffsets, nullptr);
  EXPECT_EQ(state_.colorMap, nullptr);
  EXPECT_EQ(TIFFFormatClose(&state_), noErr);
}

// ---- Pixels

// Through the format layer, with the state the fixture holds closed.
TEST_F(TIFFFormat, RandomBoxesReadTheFileSamplesInEveryMode) {
  for (const Pixels& px : kModes) {
    SCOPED_TRACE(px.name);
    const PixelFile file = open_pixels(px, 11);
    TIFFFormatClose(&state_);
    expect_boxes_read(path("image.tif"), file_rule(file));
  }
}

TEST_F(TIFFFormat, WritingRandomBoxesChangesOnlyTheirSamples) {
  for (const Pixels& px : kModes) {
    SCOPED_TRACE(px.name);
    const PixelFile file = open_pixels(px, 5);
    TIFFFormatClose(&state_);
    expect_boxes_written(
        path("image.tif"), [&](SInt32 r, SInt32 c, SInt32 p) { return file.position(r, c, p); },
        [&](UInt8 value, SInt32 p) { return host_sample(px, p, value); }, 8);
  }
}

TEST_F(TIFFFormat, BandsNeverCrossAStripTheAreaOrTheBuffer) {
  struct Case {
    SInt32 rowsPerStrip;
    SInt32 granted;  // 0: all the memory there is
    SInt32 top, bottom;
    int reads;
  };
  const Case cases[] = {{8, 0, 10, 20, 2}, {8, 3, 10, 20, 4}, {8, 0, 0, 24, 3},
                        {8, 3, 21, 24, 1}, {24, 5, 0, 24, 5}, {24, 0, 3, 4, 1}};
  // The plug-in's allocator, whose grants the budgets below control.
  const ScratchAllocator bigBuffer{AllocateBigBuffer, DisposeBigBuffer};
  UseScratchAllocator(&bigBuffer);
  for (const Case& c : cases) {
    Pixels px{"RGB", 10, 24, 3, c.rowsPerStrip, 2};
    PixelFile file = open_pixels(px, 3);
    TileArea box{c.top, 2, c.bottom, 7, 0, 3};
    BoxBuffer t(box, false, px.planes);
    const std::vector<UInt8> expected = t.with_box(file_rule(file));
    ZoneBudgets budgets;
    if (c.granted != 0) budgets.leave_free(40000 + (c.granted + 1) * 30 - 1);
    FaultyFileSystem counting;
    tessel::platform::ScopedFileSystem scope(counting);
    ASSERT_EQ(move(t.tile, box, false), noErr) << box_text(box);
    EXPECT_EQ(counting.reads, c.reads) << box_text(box) << " granting " << c.granted;
    EXPECT_EQ(t.bytes, expected) << box_text(box) << " granting " << c.granted;
  }
  UseScratchAllocator(nullptr);
}

TEST_F(TIFFFormat, LayoutsOtherThanUncompressed8BitAreRefusedUntouched) {
  struct Case {
    Pixels px;
    Fields extra;
  };
  const std::vector<Case> cases = {
      {{"Compression 5", 8, 8, 3, 4, 2}, {{kCompression, kTIFFShort, {5}}}},
      {{"16 bits", 8, 8, 3, 4, 2, {}, false, 16}, {}},
      {{"planar 16 bits", 8, 8, 3, 4, 2, {}, false, 16, false, 0, true}, {}},
  };
  for (const Case& c : cases) {
    PixelFile file = open_pixels(c.px, 1, c.extra);
    TileArea box{1, 1, 6, 6, 0, 3};
    BoxBuffer t(box, false, c.px.planes);
    std::vector<UInt8> before = t.bytes;
    EXPECT_EQ(move(t.tile, box, false), kFormatFailure) << c.px.name;
    EXPECT_EQ(move(t.tile, box, true), kFormatFailure) << c.px.name;
    EXPECT_EQ(t.bytes, before) << c.px.name;
    EXPECT_EQ(file_now(), file.bytes) << c.px.name;
  }
}

// Tiles are written whole in width, so one stored shorter than a full tile
// would lose its neighbour's bytes: such a file never opens.
TEST_F(TIFFFormat, TilesShorterThanAFullTileGive300AtOpen) {
  // Strips of 8 x 4 pixels under a TileWidth of 16.
  const Pixels px{"a tile size over strips", 8, 8, 3, 4, 2};
  std::mt19937 random(1);
  EXPECT_EQ(open(pixel_file(px, random, {{kTileWidth, kTIFFShort, {16}}}).bytes), kTIFFNotHandled);
  EXPECT_EQ(state_.refusedTag, 0) << "no tag's value is out of range";
  // The same strips as tiles of their own width are whole.
  EXPECT_EQ(open(pixel_file(px, random, {{kTileWidth, kTIFFShort, {8}}}).bytes), noErr);
  EXPECT_EQ(state_.tiled, 1);
}

// Every mode in tiles (edge tiles padded), in planes, and in both, through
// the format layer: reads give the file's samples, writes change exactly
// the box's bytes.
TEST_F(TIFFFormat, TilesAndPlanesMoveInPlaceInEveryMode) {
  struct Layout {
    const char* name;
    SInt32 tileWidth, tileLength;  // tileLength 0: strips of the mode's own rows
    bool tiled, planar;
  };
  const Layout layouts[] = {{"tiles 4 x 3", 4, 3, true, false},
                            {"tiles as wide as the image", 0, 5, true, false},
                            {"planar strips", 0, 0, false, true},
                            {"planar tiles 5 x 2", 5, 2, true, true},
                            {"one tile", 64, 64, true, false}};
  for (const Layout& layout : layouts) {
    for (Pixels px : kModes) {
      SCOPED_TRACE(std::string(layout.name) + ", " + px.name);
      px.tiled = layout.tiled;
      px.tileWidth = layout.tileWidth;
      px.planar = layout.planar;
      if (layout.tileLength > 0) px.rowsPerStrip = layout.tileLength;
      const PixelFile file = open_pixels(px, 17);
      TIFFFormatClose(&state_);
      expect_boxes_read(path("image.tif"), file_rule(file));
      expect_boxes_written(
          path("image.tif"), [&](SInt32 r, SInt32 c, SInt32 p) { return file.position(r, c, p); },
          [&](UInt8 value, SInt32 p) { return host_sample(px, p, value); }, 4);
    }
  }
}

// Reading one row of a tiled image reads that row of each tile it meets and
// nothing else: a preview's row never costs whole tiles.
TEST_F(TIFFFormat, ARowOfATiledImageReadsOnlyThatRowOfEachTile) {
  const Pixels px{"RGB tiles", 40, 24, 3, 8, 2, {}, false, 8, true, 16};
  const PixelFile file = open_pixels(px, 6);
  const TileArea box{9, 0, 10, 40, 0, 3};
  BoxBuffer t(box, false, px.planes);
  const std::vector<UInt8> expected = t.with_box(file_rule(file));
  FaultyFileSystem counting;
  tessel::platform::ScopedFileSystem scope(counting);
  ASSERT_EQ(move(t.tile, box, false), noErr);
  EXPECT_EQ(counting.reads, 3) << "one read per tile across";
  EXPECT_EQ(counting.bytes_read, std::size_t(3 * 16 * 3)) << "one tile row each";
  EXPECT_EQ(t.bytes, expected);
}

TEST_F(TIFFFormat, StripsThatLeaveRowsUncoveredGive300BeforeAnythingMoves) {
  // ImageLength 10 overrides the 2 that comes first.
  ASSERT_EQ(open(gray(kStripOffsets, {{kLength, kTIFFShort, {10}},
                                      {kRowsPerStrip, kTIFFShort, {4}},
                                      {kStripOffsets, kTIFFLong, {8, 8}}})),
            noErr)
      << "the directory does not check coverage";
  std::vector<UInt8> before = file_now();
  Pixels px{"gray", 4, 10, 1, 4, 1};
  TileArea box{0, 0, 1, 4, 0, 1};
  BoxBuffer t(box, true, px.planes);
  EXPECT_EQ(move(t.tile, box, false), kTIFFNotHandled);
  EXPECT_EQ(move(t.tile, box, true), kTIFFNotHandled);
  EXPECT_EQ(file_now(), before);

  BlockGeometry geometry{};
  state_.rowsPerStrip = 5;  // two strips of five now cover the ten rows
  ASSERT_EQ(TIFFFormatGeometry(&state_, &geometry), noErr);
  EXPECT_EQ(std::tuple(geometry.blockHeight, geometry.blocksDown, BlockOffset(geometry, 0, 1, 0)),
            std::tuple(5, 2, UInt64(8)));
  state_.rowsPerStrip = 0;
  EXPECT_EQ(TIFFFormatGeometry(&state_, &geometry), kTIFFNotHandled);
}

TEST_F(TIFFFormat, BoxesOutsideTheImageAreRefused) {
  const Pixels& px = kRGB;
  open_pixels(px, 2);
  for (TileArea box : {TileArea{20, 0, 25, 10, 0, 3}, TileArea{0, 5, 4, 11, 0, 3},
                       TileArea{0, 0, 4, 10, 1, 4}, TileArea{-1, 0, 4, 10, 0, 3}}) {
    BoxBuffer t(box, false, px.planes);
    EXPECT_EQ(move(t.tile, box, false), kFormatFailure) << box_text(box);
    EXPECT_EQ(move(t.tile, box, true), kFormatFailure) << box_text(box);
  }
}

TEST_F(TIFFFormat, WriteFaultKeepsEarlierBandsAndLeavesLaterOnesAlone) {
  const Pixels& px = kRGB;
  PixelFile file = open_pixels(px, 9);
  std::mt19937 random(10);
  TileArea box{2, 1, 22, 9, 0, 3};  // bands 2-8, 8-16, 16-22
  BoxBuffer t(box, true, px.planes);
  for (UInt8& sample : t.bytes) sample = UInt8(random());
  std::vector<UInt8> expected = file.bytes;
  for_each_sample(TileArea{2, 1, 8, 9, 0, 3}, [&](SInt32 r, SInt32 c, SInt32 p) {
    expected[file.position(r, c, p)] = t.bytes[t.index(r, c, p)];
  });
  FaultyFileSystem faulty;
  faulty.fail_write_at = 2;
  tessel::platform::ScopedFileSystem scope(faulty);
  EXPECT_EQ(move(t.tile, box, true), dskFulErr);
  EXPECT_EQ(file_now(), expected);
}

TEST_F(TIFFFormat, ReadFaultsAndShortStripsGiveTheFileError) {
  const Pixels& px = kRGB;
  PixelFile file = open_pixels(px, 4);
  TileArea box{0, 0, 24, 10, 0, 3};
  BoxBuffer t(box, false, px.planes);
  {
    FaultyFileSystem faulty;
    faulty.fail_read_at = 2;
    tessel::platform::ScopedFileSystem scope(faulty);
    EXPECT_EQ(move(t.tile, box, false), ioErr);
  }
  // Strip 0 is stored last: cut the file inside it.
  std::filesystem::resize_file(path("image.tif"), file.strips[0] + 50);
  std::vector<UInt8> before = file_now();
  EXPECT_EQ(move(t.tile, box, false), eofErr);
  EXPECT_EQ(move(t.tile, TileArea{0, 0, 4, 10, 0, 3}, true), eofErr);
  EXPECT_EQ(file_now(), before) << "the band in hand is not written";
}
