// A box costs what it holds: reading or writing a box narrower than its
// strips or tiles moves the box's columns and nothing else, in every layout
// the formats store, and a box as wide as its blocks still moves a run of
// rows in one call.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "FileSystem.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;

namespace tessel::testing {
namespace {

// Forwards every call and notes where each read and write landed.
class RecordingFileSystem : public platform::FileSystem {
 public:
  struct Transfer {
    off_t offset;
    std::size_t count;
  };
  std::vector<Transfer> reads;
  std::vector<Transfer> writes;

  ssize_t pread(int fd, void* buffer, std::size_t count, off_t offset) override {
    reads.push_back({offset, count});
    return FileSystem::pread(fd, buffer, count, offset);
  }
  ssize_t pwrite(int fd, const void* buffer, std::size_t count, off_t offset) override {
    writes.push_back({offset, count});
    return FileSystem::pwrite(fd, buffer, count, offset);
  }

  std::size_t bytes_read() const { return total(reads); }

  // Which bytes of a file of size bytes the writes covered.
  std::vector<bool> written(std::size_t size) const {
    std::vector<bool> mask(size, false);
    for (const Transfer& w : writes)
      for (std::size_t i = 0; i < w.count; ++i) mask.at(std::size_t(w.offset) + i) = true;
    return mask;
  }

 private:
  static std::size_t total(const std::vector<Transfer>& transfers) {
    std::size_t sum = 0;
    for (const Transfer& t : transfers) sum += t.count;
    return sum;
  }
};

std::vector<bool> changed(const std::vector<UInt8>& before, const std::vector<UInt8>& after) {
  std::vector<bool> mask(before.size(), false);
  for (std::size_t i = 0; i < before.size(); ++i) mask[i] = before[i] != after.at(i);
  return mask;
}

using Writer = std::function<OSErr(const std::filesystem::path&)>;

Writer tiff(samples::TiffOptions options) {
  return
      [options](const std::filesystem::path& file) { return samples::write_tiff(file, options); };
}

struct Case {
  const char* name;
  const char* file;  // named so the format layer knows it
  Writer write;
  TileArea box;
  std::size_t writes;  // calls a write of the box takes
};

// Layouts and boxes: each box narrower than its blocks unless said.
std::vector<Case> cases() {
  const samples::TiffOptions rgb{
      .width = 64, .height = 24, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 8};
  samples::TiffOptions tiled = rgb;
  tiled.height = 40;
  tiled.tiles = samples::TiffTiles{16, 16};
  samples::TiffOptions planar = rgb;
  planar.planarConfiguration = 2;
  samples::TiffOptions planarTiles = tiled;
  planarTiles.planarConfiguration = 2;
  samples::TiffOptions cmyk = rgb;
  cmyk.samplesPerPixel = 4;
  cmyk.photometric = 5;
  cmyk.littleEndian = true;
  return {
      {"striped, a row of calls", "strips.tif", tiff(rgb), {3, 5, 13, 20, 0, 3}, 10},
      {"striped, as wide as the strips: a call per strip",
       "strips.tif",
       tiff(rgb),
       {3, 0, 13, 64, 0, 3},
       2},
      {"CMYK striped, one column", "cmyk.tif", tiff(cmyk), {0, 63, 24, 64, 0, 4}, 24},
      // Columns 10-16 and 32-40 cut their tiles, 16-32 fills its own.
      {"tiled, full tiles in one call",
       "tiles.tif",
       tiff(tiled),
       {5, 10, 30, 40, 0, 3},
       25 + 25 + 2},
      {"planar strips, a call per plane and row",
       "planes.tif",
       tiff(planar),
       {2, 7, 9, 30, 0, 3},
       21},
      {"planar strips, one plane", "planes.tif", tiff(planar), {2, 7, 9, 30, 1, 2}, 7},
      {"planar tiles", "planar-tiles.tif", tiff(planarTiles), {14, 30, 18, 34, 0, 3}, 24},
      {"Scitex CT, odd width",
       "odd.sct",
       [](const auto& file) {
         return samples::write_scitex(file, {.width = 101, .height = 20, .channels = 4, .seed = 3});
       },
       {4, 10, 12, 50, 0, 4},
       32},
      {"Scitex CT, even width, whole rows",
       "even.sct",
       [](const auto& file) {
         return samples::write_scitex(file, {.width = 100, .height = 20, .channels = 3, .seed = 4});
       },
       {4, 0, 12, 100, 0, 3},
       1},
      {"native, planes apart",
       "native",
       [](const auto& file) {
         return samples::write_native(file, {.channels = 3, .rows = 20, .columns = 50, .mode = 3});
       },
       {4, 20, 7, 21, 0, 3},
       9},
  };
}

class BandMover : public TempFolder {
 protected:
  // The box's samples as the format layer gives them, into a chunky buffer.
  std::vector<UInt8> read_box(SourceImage& image, const TileArea& box) {
    const SInt32 planes = box.endPlane - box.firstPlane;
    std::vector<UInt8> samples(std::size_t(box.bottom - box.top) * (box.right - box.left) * planes,
                               0);
    const Tile tile{samples.data(), box, (box.right - box.left) * planes, planes, 0};
    EXPECT_EQ(RasterFormatGetTile(&image.format, tile, box), noErr);
    return samples;
  }

  OSErr write_box(SourceImage& image, const TileArea& box, std::vector<UInt8>& samples) {
    const SInt32 planes = box.endPlane - box.firstPlane;
    const Tile tile{samples.data(), box, (box.right - box.left) * planes, planes, 0};
    return RasterFormatPutTile(&image.format, tile, box);
  }
};

// Every sample of the box is given a new value, so the bytes a write should
// touch are exactly the bytes that change: the writes must cover those and
// no others, and take nothing from the file first.
TEST_F(BandMover, WritesCoverExactlyTheBoxsBytesAndReadNothing) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(std::string(c.name) + " " + box_text(c.box));
    const std::filesystem::path file = path(c.file);
    ASSERT_EQ(c.write(file), noErr);
    const std::vector<UInt8> before = file_bytes(file);
    RecordingFileSystem recording;
    {
      OpenedImage opened(file);
      ASSERT_EQ(opened.result, noErr);
      std::vector<UInt8> samples = read_box(opened.image, c.box);
      for (UInt8& sample : samples) sample ^= 0xFF;
      platform::ScopedFileSystem scope(recording);
      ASSERT_EQ(write_box(opened.image, c.box, samples), noErr);
    }
    const std::vector<UInt8> after = file_bytes(file);
    const std::size_t boxSamples = std::size_t(c.box.bottom - c.box.top) *
                                   (c.box.right - c.box.left) * (c.box.endPlane - c.box.firstPlane);
    const std::vector<bool> differ = changed(before, after);
    EXPECT_EQ(std::size_t(std::count(differ.begin(), differ.end(), true)), boxSamples);
    EXPECT_EQ(recording.written(before.size()), differ);
    EXPECT_TRUE(recording.reads.empty());
    EXPECT_EQ(recording.writes.size(), c.writes);
  }
}

// A box with some of each pixel's planes shares its bytes with planes it
// leaves out: those bytes are read and go back as they were, and nothing
// beyond the box's columns is read or written.
TEST_F(BandMover, BoxesOfSomePlanesOfAChunkyPixelKeepTheOtherPlanes) {
  const samples::TiffOptions rgba{.width = 40,
                                  .height = 12,
                                  .samplesPerPixel = 4,
                                  .photometric = 2,
                                  .rowsPerStrip = 4,
                                  .extraSamples = {2},
                                  .seed = 8};
  const TileArea box{1, 6, 9, 30, 0, 3};
  ASSERT_EQ(samples::write_tiff(path("rgba.tif"), rgba), noErr);
  const std::vector<UInt8> before = file_bytes(path("rgba.tif"));
  RecordingFileSystem recording;
  {
    OpenedImage opened(path("rgba.tif"));
    ASSERT_EQ(opened.result, noErr);
    std::vector<UInt8> samples = read_box(opened.image, box);
    for (UInt8& sample : samples) sample ^= 0xFF;
    platform::ScopedFileSystem scope(recording);
    ASSERT_EQ(write_box(opened.image, box, samples), noErr);
  }
  const std::vector<UInt8> after = file_bytes(path("rgba.tif"));
  const std::vector<bool> differ = changed(before, after);
  EXPECT_EQ(std::count(differ.begin(), differ.end(), true), 8 * 24 * 3);
  const std::vector<bool> written = recording.written(before.size());
  EXPECT_EQ(std::count(written.begin(), written.end(), true), 8 * 24 * 4) << "whole pixels";
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (differ[i]) {
      ASSERT_TRUE(written[i]) << "byte " << i;
    }
  }
  EXPECT_EQ(recording.bytes_read(), std::size_t(8 * 24 * 4)) << "the box's columns only";
}

// A narrow window of wide strips reads the window's bytes of each row; where
// the gaps between the rows' pieces are small (a box most of a tile wide) it
// reads each tile's run in one call instead.
TEST_F(BandMover, ReadsTakeTheBoxsColumnsOrOneCallWhenTheGapsAreSmall) {
  struct Read {
    const char* name;
    samples::TiffOptions options;
    TileArea box;
    std::size_t reads;
    std::size_t bytes;
  };
  const Read cases[] = {
      {"wide strips",
       {.width = 3000, .height = 6, .samplesPerPixel = 3, .photometric = 2},
       {1, 500, 5, 600, 0, 3},
       4,
       4 * 100 * 3},
      {"tiles",
       {.width = 64,
        .height = 32,
        .samplesPerPixel = 3,
        .photometric = 2,
        .tiles = samples::TiffTiles{32, 16}},
       {2, 3, 14, 60, 0, 3},
       2,
       (11 * 96 + 29 * 3) + (11 * 96 + 28 * 3)},
  };
  for (const Read& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(samples::write_tiff(path("image.tif"), c.options), noErr);
    OpenedImage opened(path("image.tif"));
    ASSERT_EQ(opened.result, noErr);
    RecordingFileSystem recording;
    std::vector<UInt8> samples;
    {
      platform::ScopedFileSystem scope(recording);
      samples = read_box(opened.image, c.box);
    }
    EXPECT_EQ(recording.reads.size(), c.reads);
    EXPECT_EQ(recording.bytes_read(), c.bytes);
    std::size_t i = 0;
    for_each_sample(c.box, [&](SInt32 r, SInt32 col, SInt32 p) {
      ASSERT_EQ(samples[i++], samples::sample_value(0, r, col, p)) << r << ',' << col << ',' << p;
    });
  }
}

}  // namespace
}  // namespace tessel::testing
