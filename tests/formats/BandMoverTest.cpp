// A box costs what it holds: reading or writing a box narrower than its
// strips or tiles moves the box's columns and nothing else, in every layout
// the formats store, and a box as wide as its blocks still moves a run of
// rows in one call.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "FileSystem.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/BlockGeometry.h"
#include "support/MemoryUtilities.h"
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

std::size_t count(const std::vector<bool>& mask) {
  return std::size_t(std::count(mask.begin(), mask.end(), true));
}

using Writer = std::function<OSErr(const std::filesystem::path&)>;

template <class Options>
Writer sample(OSErr (*write)(const std::filesystem::path&, const Options&), Options options) {
  return [write, options](const std::filesystem::path& file) { return write(file, options); };
}

struct Case {
  const char* name;
  const char* file;  // named so the format layer knows it
  Writer write;
  TileArea box;
  std::size_t writes;        // calls a write of the box takes
  std::size_t pixelBytes{};  // bytes per pixel when the box leaves some out
};

// Layouts and boxes: each box narrower than its blocks unless said.
std::vector<Case> cases() {
  using samples::write_tiff, samples::write_scitex, samples::write_native;
  const samples::TiffOptions rgb{
      .width = 64, .height = 24, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 8};
  samples::TiffOptions tiled = rgb, planar = rgb, cmyk = rgb, rgba = rgb;
  tiled.height = 40;
  tiled.tiles = samples::TiffTiles{16, 16};
  planar.planarConfiguration = 2;
  samples::TiffOptions planarTiles = tiled;
  planarTiles.planarConfiguration = 2;
  cmyk.samplesPerPixel = rgba.samplesPerPixel = 4;
  cmyk.photometric = 5;
  cmyk.littleEndian = true;
  rgba.extraSamples = {2};
  return {
      {"striped", "strips.tif", sample(write_tiff, rgb), {3, 5, 13, 20, 0, 3}, 10},
      {"striped, whole rows", "strips.tif", sample(write_tiff, rgb), {3, 0, 13, 64, 0, 3}, 2},
      {"CMYK, one column", "cmyk.tif", sample(write_tiff, cmyk), {0, 63, 24, 64, 0, 4}, 24},
      // Columns 10-16 and 32-40 cut their tiles, 16-32 fills its own.
      {"tiled", "tiles.tif", sample(write_tiff, tiled), {5, 10, 30, 40, 0, 3}, 25 + 25 + 2},
      {"planar strips", "planes.tif", sample(write_tiff, planar), {2, 7, 9, 30, 0, 3}, 21},
      {"planar, one plane", "planes.tif", sample(write_tiff, planar), {2, 7, 9, 30, 1, 2}, 7},
      {"planar tiles", "ptiles.tif", sample(write_tiff, planarTiles), {14, 30, 18, 34, 0, 3}, 24},
      {"RGBA, alpha left out", "rgba.tif", sample(write_tiff, rgba), {1, 6, 9, 30, 0, 3}, 8, 4},
      {"Scitex CT, odd width",
       "odd.sct",
       sample(write_scitex, samples::ScitexOptions{.width = 101, .height = 20, .seed = 3}),
       {4, 10, 12, 50, 0, 4},
       32},
      {"Scitex CT, even width, whole rows",
       "even.sct",
       sample(write_scitex, samples::ScitexOptions{.width = 100, .height = 20, .channels = 3}),
       {4, 0, 12, 100, 0, 3},
       1},
      {"native",
       "native",
       sample(write_native,
              samples::NativeOptions{.channels = 3, .rows = 20, .columns = 50, .mode = 3}),
       {4, 20, 7, 21, 0, 3},
       9},
  };
}

class BandMover : public TempFolder {
 protected:
  // Writes the box's samples, each changed from what the file held, with
  // recording in place; the file's bytes before and after.
  std::pair<std::vector<UInt8>, std::vector<UInt8>> change_box(const std::filesystem::path& file,
                                                               const TileArea& box,
                                                               RecordingFileSystem& recording) {
    const std::vector<UInt8> before = file_bytes(file);
    OpenedImage opened(file);
    EXPECT_EQ(opened.result, noErr);
    std::vector<UInt8> samples = read_box(opened.image, box);
    for (UInt8& sample : samples) sample ^= 0xFF;
    const SInt32 planes = box.endPlane - box.firstPlane;
    const Tile tile{samples.data(), box, (box.right - box.left) * planes, planes, 0};
    {
      platform::ScopedFileSystem scope(recording);
      EXPECT_EQ(RasterFormatPutTile(&opened.image.format, tile, box), noErr);
    }
    return {before, file_bytes(file)};
  }

  // The box's samples as the format layer gives them, into a chunky buffer.
  std::vector<UInt8> read_box(SourceImage& image, const TileArea& box) {
    const SInt32 planes = box.endPlane - box.firstPlane;
    std::vector<UInt8> samples(std::size_t(box.bottom - box.top) * (box.right - box.left) * planes);
    const Tile tile{samples.data(), box, (box.right - box.left) * planes, planes, 0};
    EXPECT_EQ(RasterFormatGetTile(&image.format, tile, box), noErr);
    return samples;
  }
};

// Every sample of the box gets a new value, so the bytes a write must touch
// are the bytes that change. The writes cover those and no others, and read
// nothing first; only a box that leaves some of a chunky pixel's planes out
// reads and writes its pixels whole, so the planes left out keep their bytes.
TEST_F(BandMover, WritesCoverTheBoxsBytesAndNoOthers) {
  for (const Case& c : cases()) {
    SCOPED_TRACE(std::string(c.name) + " " + box_text(c.box));
    ASSERT_EQ(c.write(path(c.file)), noErr);
    RecordingFileSystem recording;
    const auto [before, after] = change_box(path(c.file), c.box, recording);
    const std::size_t pixels = std::size_t(c.box.bottom - c.box.top) * (c.box.right - c.box.left);
    const std::vector<bool> written = recording.written(before.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (before[i] != after.at(i)) {
        ASSERT_TRUE(written[i]) << "byte " << i << " changed unwritten";
      }
    }
    EXPECT_EQ(count(written),
              pixels * (c.pixelBytes > 0 ? c.pixelBytes : c.box.endPlane - c.box.firstPlane));
    EXPECT_EQ(std::inner_product(before.begin(), before.end(), after.begin(), std::size_t(0),
                                 std::plus<>(), std::not_equal_to<>()),
              pixels * (c.box.endPlane - c.box.firstPlane));
    EXPECT_EQ(recording.bytes_read(), c.pixelBytes > 0 ? count(written) : 0);
    EXPECT_EQ(recording.writes.size(), c.writes);
  }
}

// The row sizes the band mover asks its scratch for.
std::vector<SInt32> gScratchRows;

OSErr recordScratch(SInt32 unitSize, SInt32 unitCount, SInt32* grantedUnits, Ptr* address) {
  gScratchRows.push_back(unitSize);
  *grantedUnits = unitCount;
  return AllocateMemory(unitSize * unitCount, address);
}

OSErr disposeScratch(Ptr address) { return DisposeMemory(address); }

// A narrow window of wide strips reads the window's bytes of each row, into
// scratch of the window's size; where the gaps between the rows' pieces are
// small (a box most of a tile wide) it reads each tile's run in one call
// into scratch of the tile's rows instead.
TEST_F(BandMover, ReadsTakeTheBoxsColumnsOrOneCallWhenTheGapsAreSmall) {
  struct Read {
    const char* name;
    samples::TiffOptions options;
    TileArea box;
    std::size_t reads;
    std::size_t bytes;
    SInt32 scratchRow;
  };
  const Read cases[] = {
      {"wide strips",
       {.width = 3000, .height = 6, .samplesPerPixel = 3, .photometric = 2},
       {1, 500, 5, 600, 0, 3},
       4,
       4 * 100 * 3,
       100 * 3},
      {"tiles",
       {.width = 64,
        .height = 32,
        .samplesPerPixel = 3,
        .photometric = 2,
        .tiles = samples::TiffTiles{32, 16}},
       {2, 3, 14, 60, 0, 3},
       2,
       (11 * 96 + 29 * 3) + (11 * 96 + 28 * 3),
       32 * 3},
  };
  const ScratchAllocator recorder{recordScratch, disposeScratch};
  for (const Read& c : cases) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(samples::write_tiff(path("image.tif"), c.options), noErr);
    OpenedImage opened(path("image.tif"));
    ASSERT_EQ(opened.result, noErr);
    RecordingFileSystem recording;
    std::vector<UInt8> samples;
    gScratchRows.clear();
    UseScratchAllocator(&recorder);
    {
      platform::ScopedFileSystem scope(recording);
      samples = read_box(opened.image, c.box);
    }
    UseScratchAllocator(nullptr);
    EXPECT_EQ(gScratchRows, std::vector<SInt32>{c.scratchRow});
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
