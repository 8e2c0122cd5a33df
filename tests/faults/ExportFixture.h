// An export run of the plug-in over a sample TIFF file, with a pristine copy
// of the file to tell which bytes the run changed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "formats/FormatTestSupport.h"
#include "plugin/PluginTestSupport.h"
#include "plugin/TagTheDocument.h"
#include "records/ResultCodes.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {

class ExportFixture : public PluginTest {
 protected:
  static constexpr UInt32 kSeed = 11;
  // 12 rows in bands of 4, each band one strip. The rectangle is narrower
  // than the image, so each of its rows is one write, and nothing is read.
  static constexpr VRect kRect{4, 3, 16, 20};
  static constexpr SInt32 kBandRows = 4;
  static constexpr SInt32 kRows = kRect.bottom - kRect.top;

  void SetUp() override {
    PluginTest::SetUp();
    host_ = std::make_unique<FakeExportHost>();
    ASSERT_EQ(
        samples::write_tiff(
            image(), {.samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 4, .seed = kSeed}),
        0);
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
    ASSERT_EQ(host().tag(spec_of("image.tif"), kRect), 0);
    Set(host().params, kExportMemoryLimit, (kRect.right - kRect.left) * 3 * kBandRows);
  }

  // Every byte of the image is as before, except that the first rows of
  // kRect hold the document: byte for byte what writing those rows alone
  // into a copy of the original gives.
  void expect_rows_written(SInt32 rows) { EXPECT_EQ(file_bytes(image()), with_rows_written(rows)); }

  // The original image with the first rows of kRect holding the document.
  std::vector<UInt8> with_rows_written(SInt32 rows) {
    const TileArea box{kRect.top, kRect.left, kRect.top + rows, kRect.right, 0, 3};
    return bytes_after_writing(path("expected.tif"), pristine_, box, host().document.pixels.data());
  }

 private:
  std::unique_ptr<FakeExportHost> host_;
  std::vector<UInt8> pristine_;
};

}  // namespace tessel::testing
