// Shared checks for the formats: random boxes read through the format layer
// against the sample formula, and writes that must change exactly their box.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "formats/RasterFormats.h"
#include "support/ZoneBudgets.h"

namespace tessel::testing {

// An image opened through the format layer for the life of the object.
class OpenedImage {
 public:
  explicit OpenedImage(const std::filesystem::path& file) {
    auto spec = platform::files::spec_from_path(file);
    EXPECT_TRUE(spec.has_value());
    if (spec) image.fileSpec = *spec;
    result = RasterFormatOpen(&image);
  }
  ~OpenedImage() { RasterFormatClose(&image.format); }
  OpenedImage(const OpenedImage&) = delete;
  OpenedImage& operator=(const OpenedImage&) = delete;

  SourceImage image{};
  OSErr result = noErr;
};

// What an open tells of the image, in one comparable piece: format, mode,
// depth, planar, width, height, channels.
inline auto described(const SourceImage& i) {
  return std::tuple(i.format.code, i.mode, i.depth, i.planar, i.width, i.height, i.channels);
}

// Visits every sample of box; stops at the first failed ASSERT in visit, so
// that one wrong box reports once.
template <class Visit>
void for_each_sample(const TileArea& box, Visit visit) {
  for (SInt32 r = box.top; r < box.bottom; ++r)
    for (SInt32 c = box.left; c < box.right; ++c)
      for (SInt32 p = box.firstPlane; p < box.endPlane; ++p) {
        visit(r, c, p);
        if (::testing::Test::HasFatalFailure()) return;
      }
}

inline std::string box_text(const TileArea& a) {
  std::ostringstream out;
  out << '[' << a.top << ',' << a.left << ',' << a.bottom << ',' << a.right << ") planes "
      << a.firstPlane << ".." << a.endPlane;
  return out.str();
}

inline TileArea random_box(std::mt19937& random, SInt32 width, SInt32 height, SInt32 channels) {
  auto span = [&](SInt32 size) {
    SInt32 a = std::uniform_int_distribution<SInt32>(0, size - 1)(random);
    SInt32 b = std::uniform_int_distribution<SInt32>(0, size - 1)(random);
    return std::pair(std::min(a, b), std::max(a, b) + 1);
  };
  auto [top, bottom] = span(height);
  auto [left, right] = span(width);
  auto [first, end] = span(channels);
  return TileArea{top, left, bottom, right, first, end};
}

using SampleRule = std::function<UInt8(SInt32 row, SInt32 column, SInt32 plane)>;
using OffsetRule = std::function<std::size_t(SInt32 row, SInt32 column, SInt32 plane)>;

// Caller memory a little larger than box, holding every plane there is
// (planar, or chunky with a spare byte per pixel) in padded rows, all 0x5A at
// first: a move that strays outside the box shows in the bytes around it.
struct BoxBuffer {
  BoxBuffer(const TileArea& wanted, bool planar, SInt32 channels) : box(wanted) {
    const TileArea area{std::max(0, box.top - 1),
                        std::max(0, box.left - 2),
                        box.bottom + 1,
                        box.right + 1,
                        0,
                        channels};
    const SInt32 colBytes = planar ? 1 : channels + 1;
    const SInt32 rowBytes = (area.right - area.left) * colBytes + 3;
    const SInt32 planeBytes = planar ? (area.bottom - area.top) * rowBytes : 0;
    bytes.assign(std::size_t(planar ? planeBytes * channels : (area.bottom - area.top) * rowBytes),
                 0x5A);
    tile = Tile{bytes.data(), area, rowBytes, colBytes, planeBytes};
  }
  BoxBuffer(const BoxBuffer&) = delete;
  BoxBuffer& operator=(const BoxBuffer&) = delete;

  std::size_t index(SInt32 row, SInt32 column, SInt32 plane) const {
    return std::size_t(TileSampleAddress(tile, row, column, plane) - tile.data);
  }
  UInt8& at(SInt32 row, SInt32 column, SInt32 plane) { return bytes[index(row, column, plane)]; }
  // The memory as it is now, with the box's samples as rule says.
  std::vector<UInt8> with_box(const SampleRule& rule) const {
    std::vector<UInt8> expected = bytes;
    for_each_sample(
        box, [&](SInt32 r, SInt32 c, SInt32 p) { expected[index(r, c, p)] = rule(r, c, p); });
    return expected;
  }

  TileArea box;
  std::vector<UInt8> bytes;
  Tile tile;
};

// Reads random boxes into chunky and planar buffers; every sample must be
// what expected says, and no byte around them may change.
inline void expect_boxes_read(const std::filesystem::path& file, const SampleRule& expected,
                              int boxes = 12) {
  OpenedImage opened(file);
  ASSERT_EQ(opened.result, noErr);
  const SourceImage& image = opened.image;
  std::mt19937 random(7);
  for (int i = 0; i < boxes; ++i) {
    TileArea box = random_box(random, image.width, image.height, image.channels);
    BoxBuffer buffer(box, i % 2 == 1, image.channels);
    const std::vector<UInt8> wanted = buffer.with_box(expected);
    ASSERT_EQ(RasterFormatGetTile(&opened.image.format, buffer.tile, box), noErr) << box_text(box);
    ASSERT_EQ(buffer.bytes, wanted) << box_text(box);
  }
}

inline std::vector<UInt8> file_bytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::vector<UInt8>(std::istreambuf_iterator<char>(in), {});
}

// What file holds once the chunky samples of box are written into it, the
// file starting as original: made in scratch, through the format layer.
inline std::vector<UInt8> bytes_after_writing(const std::filesystem::path& scratch,
                                              const std::vector<UInt8>& original,
                                              const TileArea& box, const UInt8* samples) {
  std::ofstream(scratch, std::ios::binary)
      .write(reinterpret_cast<const char*>(original.data()), std::streamsize(original.size()));
  if (box.bottom > box.top) {
    OpenedImage copy(scratch);
    EXPECT_EQ(copy.result, noErr);
    const SInt32 planes = box.endPlane - box.firstPlane;
    const Tile tile{const_cast<UInt8*>(samples), box, (box.right - box.left) * planes, planes, 0};
    EXPECT_EQ(RasterFormatPutTile(&copy.image.format, tile, box), noErr);
  }
  return file_bytes(scratch);
}

// Writes random values into random boxes; the file must then differ from
// before exactly at offset(sample) of each written sample, which holds
// stored(value, plane).
inline void expect_boxes_written(const std::filesystem::path& file, const OffsetRule& offset,
                                 const std::function<UInt8(UInt8, SInt32)>& stored, int boxes = 6) {
  std::vector<UInt8> expected = file_bytes(file);
  {
    OpenedImage opened(file);
    ASSERT_EQ(opened.result, noErr);
    std::mt19937 random(11);
    for (int i = 0; i < boxes; ++i) {
      const SourceImage& image = opened.image;
      TileArea box = random_box(random, image.width, image.height, image.channels);
      BoxBuffer buffer(box, i % 2 == 0, image.channels);
      for (UInt8& byte : buffer.bytes) byte = UInt8(random());
      ASSERT_EQ(RasterFormatPutTile(&opened.image.format, buffer.tile, box), noErr);
      for_each_sample(box, [&](SInt32 r, SInt32 c, SInt32 p) {
        expected.at(offset(r, c, p)) = stored(buffer.at(r, c, p), p);
      });
    }
  }
  std::vector<UInt8> after = file_bytes(file);
  ASSERT_EQ(after.size(), expected.size());
  for (std::size_t i = 0; i < after.size(); ++i) ASSERT_EQ(after[i], expected[i]) << "byte " << i;
}

}  // namespace tessel::testing
