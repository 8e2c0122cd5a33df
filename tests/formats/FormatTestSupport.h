// Shared checks for the formats: random boxes read through the format layer
// against the sample formula, and writes that must change exactly their box.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "formats/RasterFormats.h"

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

// The budgets of both heaps, given back when the scope ends.
class ZoneBudgets {
 public:
  ZoneBudgets()
      : application_(platform::memory::zone_budget(ApplicZone())),
        temporary_(platform::memory::zone_budget(platform::memory::temporary_zone())) {}
  ~ZoneBudgets() {
    platform::memory::set_zone_budget(ApplicZone(), application_);
    platform::memory::set_zone_budget(platform::memory::temporary_zone(), temporary_);
  }
  ZoneBudgets(const ZoneBudgets&) = delete;
  ZoneBudgets& operator=(const ZoneBudgets&) = delete;
  // Free bytes in the application heap; temporary memory gets none.
  void leave_free(std::int64_t bytes) {
    namespace mem = platform::memory;
    mem::set_zone_budget(ApplicZone(), mem::zone_used(ApplicZone()) + bytes);
    mem::set_zone_budget(mem::temporary_zone(), mem::zone_used(mem::temporary_zone()));
  }

 private:
  std::int64_t application_;
  std::int64_t temporary_;
};

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

// A buffer that holds exactly box, chunky or planar, in image coordinates.
struct BoxBuffer {
  BoxBuffer(const TileArea& wanted, bool planar_layout) : box(wanted), planar(planar_layout) {
    bytes.assign(std::size_t(rows()) * columns() * planes(), 0);
  }
  SInt32 rows() const { return box.bottom - box.top; }
  SInt32 columns() const { return box.right - box.left; }
  SInt32 planes() const { return box.endPlane - box.firstPlane; }
  Tile tile() {
    if (planar) return Tile{bytes.data(), box, columns(), 1, rows() * columns()};
    return Tile{bytes.data(), box, columns() * planes(), planes(), 0};
  }
  UInt8& at(SInt32 row, SInt32 column, SInt32 plane) {
    Tile t = tile();
    return *TileSampleAddress(t, row, column, plane);
  }

  TileArea box;
  bool planar;
  std::vector<UInt8> bytes;
};

using SampleRule = std::function<UInt8(SInt32 row, SInt32 column, SInt32 plane)>;
using OffsetRule = std::function<std::size_t(SInt32 row, SInt32 column, SInt32 plane)>;

// Reads random boxes into chunky and planar buffers; every sample must be
// what expected says.
inline void expect_boxes_read(const std::filesystem::path& file, const SampleRule& expected,
                              int boxes = 12) {
  OpenedImage opened(file);
  ASSERT_EQ(opened.result, noErr);
  const SourceImage& image = opened.image;
  std::mt19937 random(7);
  for (int i = 0; i < boxes; ++i) {
    TileArea box = random_box(random, image.width, image.height, image.channels);
    BoxBuffer buffer(box, i % 2 == 1);
    ASSERT_EQ(RasterFormatGetTile(&opened.image.format, buffer.tile(), box), noErr)
        << box_text(box);
    for_each_sample(box, [&](SInt32 r, SInt32 c, SInt32 p) {
      ASSERT_EQ(buffer.at(r, c, p), expected(r, c, p))
          << box_text(box) << " row " << r << " column " << c << " plane " << p;
    });
  }
}

inline std::vector<UInt8> file_bytes(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::vector<UInt8>(std::istreambuf_iterator<char>(in), {});
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
      BoxBuffer buffer(box, i % 2 == 0);
      for (UInt8& byte : buffer.bytes) byte = UInt8(random());
      ASSERT_EQ(RasterFormatPutTile(&opened.image.format, buffer.tile(), box), noErr);
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
