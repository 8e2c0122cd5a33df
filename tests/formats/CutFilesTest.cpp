// Files cut short anywhere: in the header and directory byte by byte, then at
// points spread through the pixels. Such a file either fails to open, or opens
// and then fails to read and write its pixels with the file's end-of-file
// error; a failing write never grows the file nor touches a byte it was not
// given. The sanitizer build shows that no cut makes a reader overrun.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "AppleDouble.h"
#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/TIFFFormat.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using namespace tessel::testing;

namespace {

// Every length below dense and from tail on, and spread lengths between.
std::vector<std::size_t> cut_lengths(std::size_t dense, std::size_t tail, std::size_t whole) {
  std::vector<std::size_t> cuts;
  for (std::size_t cut = 0; cut < dense; ++cut) cuts.push_back(cut);
  const std::size_t spread = 37;
  for (std::size_t i = 0; i <= spread && dense < tail; ++i) {
    cuts.push_back(dense + (tail - 1 - dense) * i / spread);
  }
  for (std::size_t cut = tail; cut < whole; ++cut) cuts.push_back(cut);
  return cuts;
}

class CutFiles : public TempFolder {
 protected:
  // The layout of the whole file: where each sample lives and where the
  // last pixel byte ends.
  OffsetRule offset;
  std::size_t pixelEnd = 0;
  // Where the length check puts the data's end, when past pixelEnd (a
  // line's padding after the last sample).
  std::size_t dataEnd = 0;

  // Cut byte by byte below dense and from tail on (header and directory).
  // Returns how many of the cut files opened.
  int expect_every_cut_fails_cleanly(const std::filesystem::path& file, std::size_t dense,
                                     std::size_t tail = SIZE_MAX) {
    const std::vector<UInt8> whole = file_bytes(file);
    tail = std::min(tail, whole.size());
    int opened = 0;
    for (std::size_t cut : cut_lengths(std::min(dense, tail), tail, whole.size())) {
      SCOPED_TRACE("cut at " + std::to_string(cut));
      write_file(file.filename().string(),
                 std::vector<UInt8>(whole.begin(), whole.begin() + long(cut)));
      opened += expect_cut_fails_cleanly(file, cut) ? 1 : 0;
    }
    return opened;
  }

  // A file that opens must refuse the pixels it lacks; whole-image moves
  // reach the last pixel byte.
  bool expect_cut_fails_cleanly(const std::filesystem::path& file, std::size_t cut) {
    OSErr expected = cut < pixelEnd ? eofErr : noErr;
    std::vector<UInt8> before = file_bytes(file);
    OpenedImage opened(file);
    if (opened.result != noErr) {
      EXPECT_EQ(opened.result, eofErr);
      return false;
    }
    EXPECT_EQ(RasterFormatCheckLength(&opened.image.format),
              cut < std::max(pixelEnd, dataEnd) ? eofErr : noErr);
    const SourceImage& image = opened.image;
    BoxBuffer buffer(TileArea{0, 0, image.height, image.width, 0, image.channels}, false,
                     image.channels);
    EXPECT_EQ(RasterFormatGetTile(&opened.image.format, buffer.tile, buffer.box), expected);
    std::mt19937 random{UInt32(cut)};
    for (UInt8& byte : buffer.bytes) byte = UInt8(random());
    EXPECT_EQ(RasterFormatPutTile(&opened.image.format, buffer.tile, buffer.box), expected);
    expect_only_samples_written(file_bytes(file), before, buffer);
    return true;
  }

  void expect_only_samples_written(const std::vector<UInt8>& after,
                                   const std::vector<UInt8>& before, BoxBuffer& buffer) {
    ASSERT_EQ(after.size(), before.size()) << "a failing write must not grow the file";
    std::vector<int> written(before.size(), -1);
    for_each_sample(buffer.box, [&](SInt32 r, SInt32 c, SInt32 p) {
      if (std::size_t at = offset(r, c, p); at < written.size()) written[at] = buffer.at(r, c, p);
    });
    for (std::size_t i = 0; i < after.size(); ++i) {
      if (after[i] != before[i]) {
        ASSERT_EQ(int(after[i]), written[i]) << "byte " << i;
      }
    }
  }
};

// The layout comes from the whole file's own directory, so that strips
// stored anywhere are followed.
void tiff_layout(const std::filesystem::path& file, OffsetRule* offset, std::size_t* pixelEnd) {
  OpenedImage opened(file);
  ASSERT_EQ(opened.result, noErr);
  const auto& state = *static_cast<const TIFFState*>(opened.image.format.state);
  std::vector<UInt32> strips(state.stripOffsets, state.stripOffsets + state.stripCount);
  const SInt32 rows = state.rowsPerStrip, planes = state.samplesPerPixel;
  const SInt32 rowBytes = state.imageWidth * planes;
  *offset = [=](SInt32 r, SInt32 c, SInt32 p) {
    return std::size_t(strips[std::size_t(r / rows)]) + std::size_t((r % rows) * rowBytes) +
           std::size_t(c * planes + p);
  };
  *pixelEnd = (*offset)(state.imageLength - 1, state.imageWidth - 1, planes - 1) + 1;
}

}  // namespace

TEST_F(CutFiles, TIFFInBothByteOrders) {
  for (bool little : {false, true}) {
    SCOPED_TRACE(little ? "little-endian, directory last" : "big-endian, directory first");
    samples::TiffOptions options{.width = 37, .height = 29, .samplesPerPixel = 3, .photometric = 2};
    options.littleEndian = little;
    options.rowsPerStrip = 6;
    options.directoryAfterPixels = little;
    std::filesystem::path file = path(little ? "little.tif" : "big.tif");
    ASSERT_EQ(samples::write_tiff(file, options), noErr);
    tiff_layout(file, &offset, &pixelEnd);
    // Everything that is not pixels is cut byte by byte. With the directory
    // last, no cut file keeps one whole.
    if (little) {
      EXPECT_EQ(expect_every_cut_fails_cleanly(file, offset(0, 0, 0), pixelEnd), 0);
    } else {
      EXPECT_GT(expect_every_cut_fails_cleanly(file, offset(0, 0, 0)), 30);
    }
  }
}

TEST_F(CutFiles, ScitexCT) {
  samples::ScitexOptions options{.width = 21, .height = 13, .channels = 3};
  std::filesystem::path file = path("plate.sct");
  ASSERT_EQ(samples::write_scitex(file, options), noErr);
  const SInt32 padded = 22, channels = 3;
  offset = [=](SInt32 r, SInt32 c, SInt32 p) {
    return std::size_t(2048 + (r * channels + p) * padded + c);
  };
  // Moves end at the last sample; the file's length counts the pad byte
  // after it.
  dataEnd = 2048 + 13 * channels * padded;
  pixelEnd = dataEnd - 1;
  // Bytes past 1080 up to the pixels are never read; a spread covers them.
  EXPECT_GT(expect_every_cut_fails_cleanly(file, 1081), 30);
}

TEST_F(CutFiles, NativeForks) {
  samples::NativeOptions options{.channels = 4, .rows = 19, .columns = 23, .mode = 4};
  std::filesystem::path file = path("image");
  ASSERT_EQ(samples::write_native(file, options), noErr);
  offset = [](SInt32 r, SInt32 c, SInt32 p) { return std::size_t(p * 19 * 23 + r * 23 + c); };
  pixelEnd = 4 * 19 * 23;
  // The data fork has no header: every cut opens and fails on the pixels.
  EXPECT_GT(expect_every_cut_fails_cleanly(file, 64), 100);

  // The description lives in the resource fork; a cut one is refused whole,
  // whether the cut falls in its header, its data or its map.
  namespace appledouble = tessel::platform::appledouble;
  auto fork = appledouble::read_resource_fork(file);
  ASSERT_TRUE(fork.has_value());
  for (std::size_t cut = 0; cut < fork->size(); ++cut) {
    std::span<const UInt8> kept(fork->data(), cut);
    ASSERT_EQ(appledouble::write_resource_fork(file, kept), noErr);
    OpenedImage opened(file);
    EXPECT_NE(opened.result, noErr) << "resource fork cut at " << cut;
  }
}
