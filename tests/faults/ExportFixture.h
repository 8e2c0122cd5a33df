// An export run of the plug-in over a sample TIFF file, with a pristine copy
// of the file to tell which bytes the run changed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "formats/FormatTestSupport.h"
#include "plugin/PluginTestSupport.h"
#include "plugin/ResultCodes.h"
#include "plugin/TagTheDocument.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {

class ExportFixture : public PluginTest {
 protected:
  static constexpr UInt32 kSeed = 11;
  // 12 rows in bands of 4, each band one strip: every band is one read and
  // one write of the file.
  static constexpr Rect kRect{4, 3, 16, 20};
  static constexpr SInt32 kBandRows = 4;

  void SetUp() override {
    PluginTest::SetUp();
    host_ = std::make_unique<FakeExportHost>();
    samples::TiffOptions options;
    options.samplesPerPixel = 3;
    options.photometric = 2;
    options.rowsPerStrip = 4;
    options.seed = kSeed;
    ASSERT_EQ(samples::write_tiff(image(), options), 0);
    pristine_ = file_bytes(image());
    tag();
  }
  void TearDown() override {
    host_.reset();
    PluginTest::TearDown();
  }

  FakeExportHost& host() { return *host_; }

  // A new host and document over the original image, for another run.
  void start_over() {
    host_.reset();
    host_ = std::make_unique<FakeExportHost>();
    write_file("image.tif", pristine_);
    std::filesystem::remove(path("alerts.log"));
    tag();
  }
  std::filesystem::path image() const { return path("image.tif"); }
  const std::vector<UInt8>& pristine() const { return pristine_; }

  // Tags the document with the image and kRect, and fills it with
  // FakeDocument's samples; bands of kBandRows rows.
  void tag() {
    SourceImage source{};
    source.fileSpec = spec_of("image.tif");
    source.selection = kRect;
    source.width = 64;
    source.height = 48;
    auto* procs = ReferencePointerAs<HostResourceProcs>(Get(host().params, kExportResourceProcs));
    ASSERT_EQ(TagTheDocument(procs, &source), 0);
    host().document.fill(SInt16(kRect.bottom - kRect.top), SInt16(kRect.right - kRect.left), 3);
    Set(host().params, kExportMemoryLimit, (kRect.right - kRect.left) * 3 * kBandRows);
  }

  // Every byte of the image is as before, except that the first rows of
  // kRect hold the document: byte for byte what writing those rows alone
  // into a copy of the original gives, cut at length when one is given.
  void expect_rows_written(SInt32 rows, std::size_t length = SIZE_MAX) {
    std::filesystem::path expected = write_file("expected.tif", pristine_);
    if (rows > 0) {
      OpenedImage copy(expected);
      ASSERT_EQ(copy.result, 0);
      const FakeDocument& document = host().document;
      TileArea box{kRect.top, kRect.left, kRect.top + rows, kRect.right, 0, 3};
      Tile tile{const_cast<UInt8*>(document.pixels.data()), box, document.columns * 3, 3, 0};
      ASSERT_EQ(RasterFormatPutTile(&copy.image.format, tile, box), 0);
    }
    std::vector<UInt8> wanted = file_bytes(expected);
    wanted.resize(std::min(length, wanted.size()));
    EXPECT_EQ(file_bytes(image()), wanted);
  }

 private:
  std::unique_ptr<FakeExportHost> host_;
  std::vector<UInt8> pristine_;
};

}  // namespace tessel::testing
