// Tiled and planar files rewritten by tiffcp from our samples, in every mode
// and both byte orders: read through the format layer against what libtiff
// decodes tile by tile or strip by strip, and written in place where
// libtiff's own offsets say each sample lies, every other byte kept.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "FormatTestSupport.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using namespace tessel::testing;

namespace {

using TiffHandle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

// The file's layout and samples as libtiff sees them.
struct Reference {
  UInt32 width = 0, height = 0, blockWidth = 0, blockHeight = 0;
  UInt16 planes = 0, photometric = 0, dotLow = 0, dotHigh = 255;
  bool tiled = false, planar = false, bigEndian = false;
  std::vector<UInt64> offsets;
  std::vector<UInt8> samples;  // chunky, row after row

  UInt32 groupPlanes() const { return planar ? 1 : planes; }

  std::size_t block(TIFF* tif, UInt32 row, UInt32 column, UInt16 plane) const {
    const UInt16 group = planar ? plane : 0;
    return tiled ? TIFFComputeTile(tif, column, row, 0, group) : TIFFComputeStrip(tif, row, group);
  }

  // Where libtiff keeps sample (row, column, plane): its block's offset and
  // the place inside the block by the block's own width.
  std::size_t position(TIFF* tif, UInt32 row, UInt32 column, UInt16 plane) const {
    const std::size_t inside = std::size_t(row % blockHeight) * blockWidth + column % blockWidth;
    return std::size_t(offsets[block(tif, row, column, plane)]) + inside * groupPlanes() +
           (planar ? 0 : plane);
  }

  UInt8& at(UInt32 row, UInt32 column, UInt16 plane) {
    return samples[(std::size_t(row) * width + column) * planes + plane];
  }
};

void read_layout(TIFF* tif, Reference* ref) {
  UInt16 config = PLANARCONFIG_CONTIG;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &ref->width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &ref->height);
  TIFFGetField(tif, TIFFTAG_SAMPLESPERPIXEL, &ref->planes);
  TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &ref->photometric);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &config);
  TIFFGetField(tif, TIFFTAG_DOTRANGE, &ref->dotLow, &ref->dotHigh);
  ref->planar = config == PLANARCONFIG_SEPARATE;
  ref->tiled = TIFFIsTiled(tif) != 0;
  ref->bigEndian = TIFFIsBigEndian(tif) != 0;
  UInt64* offsets = nullptr;
  const UInt32 blocks = ref->tiled ? TIFFNumberOfTiles(tif) : TIFFNumberOfStrips(tif);
  if (ref->tiled) {
    TIFFGetField(tif, TIFFTAG_TILEWIDTH, &ref->blockWidth);
    TIFFGetField(tif, TIFFTAG_TILELENGTH, &ref->blockHeight);
    TIFFGetField(tif, TIFFTAG_TILEOFFSETS, &offsets);
  } else {
    ref->blockWidth = ref->width;
    TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &ref->blockHeight);
    ref->blockHeight = std::min(ref->blockHeight, ref->height);
    TIFFGetField(tif, TIFFTAG_STRIPOFFSETS, &offsets);
  }
  ref->offsets.assign(offsets, offsets + blocks);
}

// Each block decoded once by libtiff (TIFFReadEncodedTile or Strip), its
// samples put where the block lies in the image.
void decode_blocks(TIFF* tif, Reference* ref) {
  ref->samples.assign(std::size_t(ref->width) * ref->height * ref->planes, 0);
  const tmsize_t size = ref->tiled ? TIFFTileSize(tif) : TIFFStripSize(tif);
  const UInt32 across = (ref->width + ref->blockWidth - 1) / ref->blockWidth;
  const UInt32 down = (ref->height + ref->blockHeight - 1) / ref->blockHeight;
  std::vector<UInt8> block(static_cast<std::size_t>(size));
  for (UInt32 index = 0; index < ref->offsets.size(); ++index) {
    const tmsize_t got = ref->tiled ? TIFFReadEncodedTile(tif, index, block.data(), size)
                                    : TIFFReadEncodedStrip(tif, index, block.data(), size);
    ASSERT_GE(got, 0) << "block " << index;
    const UInt32 group = index / (across * down);
    const UInt32 top = index / across % down * ref->blockHeight;
    const UInt32 left = index % across * ref->blockWidth;
    for (UInt32 r = top; r < std::min(top + ref->blockHeight, ref->height); ++r)
      for (UInt32 c = left; c < std::min(left + ref->blockWidth, ref->width); ++c)
        for (UInt32 g = 0; g < ref->groupPlanes(); ++g) {
          const std::size_t inside =
              (std::size_t(r - top) * ref->blockWidth + (c - left)) * ref->groupPlanes() + g;
          ref->at(r, c, UInt16(ref->planar ? group : g)) = block[inside];
        }
  }
}

// The host's view of a file sample, and back: WhiteIsZero and ink counted
// up from 0 are inverted, Lab's a* and b* become offset binary.
UInt8 host_sample(const Reference& ref, UInt16 plane, UInt8 sample) {
  switch (ref.photometric) {
    case PHOTOMETRIC_MINISWHITE: return UInt8(255 - sample);
    case PHOTOMETRIC_SEPARATED:
      return ref.dotHigh >= ref.dotLow && plane < 4 ? UInt8(255 - sample) : sample;
    case PHOTOMETRIC_CIELAB: return plane == 1 || plane == 2 ? UInt8(sample ^ 0x80) : sample;
    default: return sample;
  }
}

struct Mode {
  const char* name;
  samples::TiffOptions options;
};

std::vector<Mode> modes() {
  return {
      {"gray", {.photometric = 1}},
      {"WhiteIsZero", {.photometric = 0}},
      {"RGB", {.samplesPerPixel = 3, .photometric = 2}},
      {"RGBA", {.samplesPerPixel = 4, .photometric = 2, .extraSamples = {2}}},
      {"CMYK", {.samplesPerPixel = 4, .photometric = 5}},
      {"CMYK, DotRange 255-0", {.samplesPerPixel = 4, .photometric = 5, .dotRange = {{255, 0}}}},
      {"Lab", {.samplesPerPixel = 3, .photometric = 8}},
  };
}

const char* const kLayouts[] = {"-t -w 16 -l 16", "-t -w 32 -l 16", "-p separate",
                                "-p separate -r 7", "-p separate -t -w 16 -l 32"};

class TIFFBlocksCrossCheck : public TempFolder {
 protected:
  void SetUp() override {
    if (std::system("command -v tiffcp >/dev/null") != 0) GTEST_SKIP() << "tiffcp is not on PATH";
    TempFolder::SetUp();
    TIFFSetWarningHandler(nullptr);
  }

  // 45 x 37 leaves partial tiles at the right and the bottom.
  std::filesystem::path rewritten(const Mode& mode, const char* layout, const char* order) {
    samples::TiffOptions options = mode.options;
    options.width = 45;
    options.height = 37;
    options.rowsPerStrip = 5;
    options.littleEndian = std::string(order) == "-B";  // tiffcp must swap
    const std::filesystem::path source = path("source.tif"), copy = path("blocks.tif");
    std::filesystem::remove(copy);
    EXPECT_EQ(samples::write_tiff(source, options), noErr);
    const std::string command = "timeout -k 5 60 tiffcp -c none " + std::string(layout) + " " +
                                order + " '" + source.string() + "' '" + copy.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return copy;
  }

  template <class Check>
  void for_each_case(Check check) {
    for (const Mode& mode : modes())
      for (const char* layout : kLayouts)
        for (const char* order : {"-B", "-L"}) {
          SCOPED_TRACE(std::string(mode.name) + " " + layout + " " + order);
          const std::filesystem::path file = rewritten(mode, layout, order);
          TiffHandle tif(TIFFOpen(file.c_str(), "r"), &TIFFClose);
          ASSERT_NE(tif, nullptr);
          Reference ref;
          read_layout(tif.get(), &ref);
          ASSERT_EQ(ref.bigEndian, std::string(order) == "-B");
          ASSERT_EQ(ref.tiled, std::string(layout).find("-t") != std::string::npos);
          decode_blocks(tif.get(), &ref);
          check(file, tif.get(), ref);
        }
  }
};

}  // namespace

TEST_F(TIFFBlocksCrossCheck, BoxesReadWhatLibtiffDecodes) {
  for_each_case([](const std::filesystem::path& file, TIFF*, Reference& ref) {
    {
      OpenedImage opened(file);
      ASSERT_EQ(opened.result, noErr);
      EXPECT_EQ(opened.image.planar, ref.planar ? 1 : 0);
    }
    expect_boxes_read(file, [&](SInt32 r, SInt32 c, SInt32 p) {
      return host_sample(ref, UInt16(p), ref.at(UInt32(r), UInt32(c), UInt16(p)));
    });
  });
}

TEST_F(TIFFBlocksCrossCheck, WritesLandWhereLibtiffKeepsTheSamples) {
  for_each_case([](const std::filesystem::path& file, TIFF* tif, Reference& ref) {
    expect_boxes_written(
        file,
        [&](SInt32 r, SInt32 c, SInt32 p) {
          return ref.position(tif, UInt32(r), UInt32(c), UInt16(p));
        },
        [&](UInt8 value, SInt32 p) { return host_sample(ref, UInt16(p), value); }, 4);
  });
}
