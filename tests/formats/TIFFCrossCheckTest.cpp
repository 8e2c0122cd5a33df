// Files rewritten by libtiff's own tiffcp, in both byte orders and at strip
// heights of one row, of a height that leaves a short last strip and of more
// rows than the image has, read and written through the format layer and
// checked against what libtiff itself decodes of the same bytes.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <tuple>

#include "FormatTestSupport.h"
#include "LibtiffWriter.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace samples = tessel::samples;
using namespace tessel::testing;

namespace {

using TiffHandle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

// Every sample of a chunky 8-bit file, as libtiff hands it over.
struct Decoded {
  SInt32 width = 0, height = 0, planes = 0;
  UInt16 photometric = 0;
  bool bigEndian = false;
  std::vector<UInt8> samples;

  UInt8 at(SInt32 row, SInt32 column, SInt32 plane) const {
    return samples[(std::size_t(row) * width + column) * planes + plane];
  }
};

enum class Decoder { kStrips, kScanlines };

// The two libtiff read paths, so that the reference does not rest on one.
bool read_samples(TIFF* tif, Decoder decoder, Decoded* out) {
  const tmsize_t rowBytes = TIFFScanlineSize(tif);
  if (rowBytes != tmsize_t(out->width) * out->planes) return false;
  out->samples.assign(std::size_t(rowBytes) * out->height, 0);
  if (decoder == Decoder::kScanlines) {
    for (SInt32 row = 0; row < out->height; ++row) {
      if (TIFFReadScanline(tif, out->samples.data() + row * rowBytes, UInt32(row), 0) < 0) {
        return false;
      }
    }
    return true;
  }
  std::size_t done = 0;
  for (UInt32 strip = 0; strip < TIFFNumberOfStrips(tif); ++strip) {
    tmsize_t got = TIFFReadEncodedStrip(tif, strip, out->samples.data() + done, -1);
    if (got < 0) return false;
    done += std::size_t(got);
  }
  return done == out->samples.size();
}

Decoded decode(const std::filesystem::path& file, Decoder decoder) {
  Decoded d;
  TiffHandle tif(TIFFOpen(file.c_str(), "r"), &TIFFClose);
  EXPECT_NE(tif, nullptr) << file;
  if (tif == nullptr) return d;
  UInt32 width = 0, height = 0;
  UInt16 planes = 0;
  TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
  TIFFGetField(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &planes);
  TIFFGetField(tif.get(), TIFFTAG_PHOTOMETRIC, &d.photometric);
  d.width = SInt32(width);
  d.height = SInt32(height);
  d.planes = planes;
  d.bigEndian = TIFFIsBigEndian(tif.get()) != 0;
  EXPECT_TRUE(read_samples(tif.get(), decoder, &d)) << file;
  return d;
}

// The host counts ink down from 255 where the file counts it up; the other
// modes here arrive unchanged. The conversion is its own inverse.
UInt8 host_sample(UInt16 photometric, SInt32 plane, UInt8 sample) {
  return photometric == PHOTOMETRIC_SEPARATED && plane < 4 ? UInt8(255 - sample) : sample;
}

struct Mode {
  const char* name;
  UInt16 planes;
  UInt16 photometric;
};

const Mode kModes[] = {{"RGB", 3, PHOTOMETRIC_RGB},
                       {"gray", 1, PHOTOMETRIC_MINISBLACK},
                       {"CMYK", 4, PHOTOMETRIC_SEPARATED}};
// 29 rows: 7 leaves a short last strip, 64 makes one strip taller than the image.
const UInt32 kRowsPerStrip[] = {1, 7, 29, 64};
const char* const kByteOrders[] = {"-B", "-L"};

class TIFFCrossCheck : public TempFolder {
 protected:
  void SetUp() override {
    if (std::system("command -v tiffcp >/dev/null") != 0) GTEST_SKIP() << "tiffcp is not on PATH";
    TempFolder::SetUp();
    TIFFSetWarningHandler(nullptr);
  }

  // A sample of the mode rewritten by tiffcp; the name tells the case.
  std::filesystem::path rewritten(const Mode& mode, UInt32 rows, const char* order) {
    samples::TiffOptions options{
        .width = 37, .height = 29, .samplesPerPixel = mode.planes, .photometric = mode.photometric};
    options.rowsPerStrip = 5;
    options.littleEndian = std::string(order) == "-B";  // tiffcp must swap
    options.seed = rows;
    std::filesystem::path source = path("source.tif");
    EXPECT_EQ(samples::write_tiff(source, options), noErr);
    std::ostringstream name;
    name << mode.name << "-r" << rows << order << ".tif";
    std::filesystem::path copy = path(name.str());
    std::string command = "tiffcp -c none -r " + std::to_string(rows) + " " + order + " '" +
                          source.string() + "' '" + copy.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return copy;
  }

  template <class Check>
  void for_each_case(Check check) {
    for (const Mode& mode : kModes)
      for (UInt32 rows : kRowsPerStrip)
        for (const char* order : kByteOrders) {
          std::filesystem::path file = rewritten(mode, rows, order);
          SCOPED_TRACE(file.filename().string());
          Decoded reference = decode(file, Decoder::kStrips);
          ASSERT_EQ(reference.bigEndian, std::string(order) == "-B");
          check(file, reference);
        }
  }
};

}  // namespace

TEST_F(TIFFCrossCheck, RandomBoxesReadWhatLibtiffDecodes) {
  for_each_case([](const std::filesystem::path& file, const Decoded& reference) {
    {
      OpenedImage opened(file);
      ASSERT_EQ(opened.result, noErr);
      const SourceImage& image = opened.image;
      ASSERT_EQ(std::tuple(image.width, image.height, image.channels),
                std::tuple(reference.width, reference.height, reference.planes));
    }
    expect_boxes_read(file, [&](SInt32 r, SInt32 c, SInt32 p) {
      return host_sample(reference.photometric, p, reference.at(r, c, p));
    });
  });
}

TEST_F(TIFFCrossCheck, WrittenBoxesAreWhatLibtiffThenDecodes) {
  for_each_case([](const std::filesystem::path& file, const Decoded& reference) {
    Decoded expected = reference;
    {
      OpenedImage opened(file);
      ASSERT_EQ(opened.result, noErr);
      std::mt19937 random(8);
      for (int i = 0; i < 3; ++i) {
        TileArea box = random_box(random, reference.width, reference.height, reference.planes);
        BoxBuffer buffer(box, i % 2 == 1, reference.planes);
        for (UInt8& byte : buffer.bytes) byte = UInt8(random());
        ASSERT_EQ(RasterFormatPutTile(&opened.image.format, buffer.tile, box), noErr)
            << box_text(box);
        for_each_sample(box, [&](SInt32 r, SInt32 c, SInt32 p) {
          expected.samples[(std::size_t(r) * expected.width + c) * expected.planes + p] =
              host_sample(reference.photometric, p, buffer.at(r, c, p));
        });
      }
    }
    Decoded after = decode(file, Decoder::kScanlines);
    ASSERT_EQ(after.samples.size(), expected.samples.size());
    for (std::size_t i = 0; i < after.samples.size(); ++i)
      ASSERT_EQ(after.samples[i], expected.samples[i]) << "sample " << i;
  });
}

// ---- Files libtiff wrote in layouts of its own choosing

class LibtiffFiles : public TempFolder {
 protected:
  std::filesystem::path written(const LibtiffOptions& options) {
    std::filesystem::path file = path("libtiff.tif");
    EXPECT_TRUE(write_with_libtiff(file, options));
    return file;
  }
};

// Where libtiff's strips end: the last byte its offsets and byte counts name.
UInt64 libtiff_strips_end(const std::filesystem::path& file) {
  TiffHandle tif(TIFFOpen(file.c_str(), "r"), &TIFFClose);
  if (!tif) return 0;
  UInt64* offsets = nullptr;
  UInt64* counts = nullptr;
  TIFFGetField(tif.get(), TIFFTAG_STRIPOFFSETS, &offsets);
  TIFFGetField(tif.get(), TIFFTAG_STRIPBYTECOUNTS, &counts);
  UInt64 end = 0;
  for (UInt32 i = 0; i < TIFFNumberOfStrips(tif.get()); ++i)
    end = std::max(end, offsets[i] + counts[i]);
  return end;
}

// A file is cut short when it ends before its pixels do: measured right at
// every depth, with the planes apart and compressed, or whole files would be
// refused and cut ones taken.
TEST_F(LibtiffFiles, PixelsEndWhereLibtiffsStripsEnd) {
  const std::vector<std::pair<const char*, LibtiffOptions>> cases = {
      {"1 bit", {.width = 13, .bits = 1}},
      {"16 bits", {.bits = 16}},
      {"RGB planes apart", {.samples = 3, .planar = PLANARCONFIG_SEPARATE}},
      {"RGB chunky", {.samples = 3, .rowsPerStrip = 5}},
      {"LZW", {.width = 64, .height = 40, .compression = COMPRESSION_LZW}},
  };
  for (const auto& [what, options] : cases) {
    SCOPED_TRACE(what);
    const std::filesystem::path file = written(options);
    const UInt64 stripsEnd = libtiff_strips_end(file);
    OpenedImage opened(file);
    ASSERT_EQ(opened.result, noErr);
    UInt64 end = 0, length = 0;
    ASSERT_EQ(RasterFormatDataExtent(&opened.image.format, &end, &length), noErr);
    EXPECT_EQ(end, stripsEnd);
    EXPECT_EQ(length, std::filesystem::file_size(file));
    EXPECT_EQ(RasterFormatCheckLength(&opened.image.format), noErr);
  }
}
