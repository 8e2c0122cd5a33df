// CMYK and Lab documents as other programs see them: cut by the real tessel
// program, read with libtiff (and tifffile), edited and saved the way other
// editors save, and exported back.
#include <gtest/gtest.h>

#include <algorithm>

#include "ByteOrder.h"
#include "LibtiffImage.h"
#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "host/Document.h"
#include "host/DocumentSidecar.h"
#include "plugin/TagTheDocument.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using testing::LibtiffImage;
using testing::read_with_libtiff;

constexpr Rect kRect{5, 7, 25, 40};  // 20 rows, 33 columns of a 64 x 48 image
const std::string kRectText = "5,7,25,40";
constexpr Rect kWhole{0, 0, 48, 64};

class DocumentColoursEndToEnd : public testing::ProgramTest {
 protected:
  void make_sources() {
    ASSERT_EQ(samples::write_tiff(
                  path("ours-cmyk.tif"),
                  {.samplesPerPixel = 5, .photometric = 5, .rowsPerStrip = 7, .extraSamples = {0}}),
              noErr);
    ASSERT_EQ(samples::write_tiff(path("ours-lab.tif"), {.samplesPerPixel = 3, .photometric = 8}),
              noErr);
    for (const char* space : {"CMYK", "Lab"}) {
      const std::string name = std::string("magick-") + space + ".tif";
      ASSERT_EQ(run("convert -seed 7 -size 64x48 plasma:fractal -colorspace " + std::string(space) +
                    " -depth 8 -compress none " + path(name).string()),
                0);
    }
  }

  int run(const std::string& command) {
    return std::system(("timeout -k 5 60 " + command + " >/dev/null 2>&1").c_str());
  }

  // Cuts the rectangle of image into document with the real program.
  void extract(const std::string& image, const std::string& document) {
    const testing::ProgramRun cut =
        tessel("extract " + path(image).string() + " --rect " + kRectText + " -o " +
               path(document).string() + " --force");
    ASSERT_EQ(cut.status, 0) << cut.err << cut.alerts;
  }

  // The format layer's samples of rect, chunky, in its own conventions.
  std::vector<UInt8> format_layer_samples(const std::filesystem::path& image, const Rect& rect) {
    testing::OpenedImage opened(image);
    EXPECT_EQ(opened.result, noErr);
    const SInt32 channels = opened.image.channels, width = rect.right - rect.left;
    std::vector<UInt8> samples(std::size_t(width) * (rect.bottom - rect.top) * channels);
    const TileArea area{rect.top, rect.left, rect.bottom, rect.right, 0, channels};
    EXPECT_EQ(RasterFormatGetTile(&opened.image.format,
                                  Tile{samples.data(), area, width * channels, channels, 0}, area),
              noErr);
    return samples;
  }
};

TEST_F(DocumentColoursEndToEnd, DocumentsDecodeAsTheirTiffSourcesDo) {
  ASSERT_NO_FATAL_FAILURE(make_sources());
  for (const char* name : {"ours-cmyk.tif", "ours-lab.tif", "magick-CMYK.tif", "magick-Lab.tif"}) {
    SCOPED_TRACE(name);
    ASSERT_NO_FATAL_FAILURE(extract(name, "doc.tif"));
    const LibtiffImage source = read_with_libtiff(path(name));
    const LibtiffImage document = read_with_libtiff(path("doc.tif"));
    EXPECT_EQ(document.photometric, source.photometric);
    EXPECT_EQ(document.samples, source.crop(5, 7, 25, 40).samples);
    // A second reader, in another language, agrees sample for sample.
    EXPECT_EQ(run("/usr/bin/python3 -c \"import sys, tifffile, numpy; "
                  "a = tifffile.imread(sys.argv[1])[5:25, 7:40]; b = tifffile.imread(sys.argv[2]); "
                  "sys.exit(0 if numpy.array_equal(a.view(numpy.uint8), b.view(numpy.uint8)) "
                  "else 1)\" " +
                  path(name).string() + " " + path("doc.tif").string()),
              0);
  }
}

TEST_F(DocumentColoursEndToEnd, ScitexAndNativeDocumentsDecodeAsTiffStatesTheirSamples) {
  ASSERT_EQ(samples::write_scitex(path("image.sct"), {.channels = 4}), noErr);
  ASSERT_EQ(samples::write_native(path("cmyk.lmn"), {.channels = 5, .mode = 4}), noErr);
  ASSERT_EQ(samples::write_native(path("lab.lmn"), {.channels = 3, .mode = 9}), noErr);
  struct Case {
    const char* name;
    UInt16 photometric;
  };
  for (const Case& c :
       {Case{"image.sct", PHOTOMETRIC_SEPARATED}, Case{"cmyk.lmn", PHOTOMETRIC_SEPARATED},
        Case{"lab.lmn", PHOTOMETRIC_CIELAB}}) {
    SCOPED_TRACE(c.name);
    ASSERT_NO_FATAL_FAILURE(extract(c.name, "doc.tif"));
    const LibtiffImage document = read_with_libtiff(path("doc.tif"));
    EXPECT_EQ(document.photometric, c.photometric);
    std::vector<UInt8> expected = format_layer_samples(path(c.name), kRect);
    for (std::size_t i = 0; i < expected.size(); ++i)
      expected[i] = testing::as_tiff_states_it(c.photometric, i % document.planes, expected[i]);
    EXPECT_EQ(document.samples, expected);
  }
}

// Another editor changes the document and saves it its own way; export puts
// exactly the edited values into the rectangle and changes no other byte.
TEST_F(DocumentColoursEndToEnd, EditsSavedElsewhereGoBackExactly) {
  ASSERT_NO_FATAL_FAILURE(make_sources());
  struct Case {
    const char* image;
    UInt16 savedAs;
    bool keepsBlock;
  };
  for (const Case& c : {Case{"ours-cmyk.tif", PHOTOMETRIC_SEPARATED, true},
                        Case{"magick-CMYK.tif", PHOTOMETRIC_SEPARATED, false},
                        Case{"magick-Lab.tif", PHOTOMETRIC_CIELAB, false},
                        Case{"ours-lab.tif", PHOTOMETRIC_ICCLAB, true}}) {
    SCOPED_TRACE(::testing::Message() << c.image << " saved as " << c.savedAs);
    const std::vector<UInt8> before = read_file(path(c.image));
    const std::string doc = std::string("edit-") + c.image;
    ASSERT_NO_FATAL_FAILURE(extract(c.image, doc));

    LibtiffImage edited = read_with_libtiff(path(doc));
    for (std::size_t i = 0; i < edited.samples.size(); ++i)
      edited.samples[i] = UInt8(edited.samples[i] * 7 + i);
    LibtiffImage saved = edited;
    saved.photometric = c.savedAs;
    if (c.savedAs == PHOTOMETRIC_ICCLAB) {  // a* and b* unsigned, 128 = zero
      for (std::size_t i = 0; i < saved.samples.size(); ++i)
        if (i % saved.planes != 0) saved.samples[i] = UInt8(SInt8(saved.samples[i]) + 128);
    }
    if (!c.keepsBlock) saved.block.reset();
    ASSERT_NO_FATAL_FAILURE(testing::write_with_libtiff(path(doc), saved));

    const testing::ProgramRun exported = tessel("export " + path(doc).string());
    EXPECT_EQ(exported.status, 0) << exported.err << exported.alerts;
    std::vector<UInt8> expected = before;
    const testing::StripLayout layout = testing::strip_layout(path(c.image));
    for (UInt32 r = 0; r < edited.height; ++r)
      for (UInt32 col = 0; col < edited.width; ++col)
        for (UInt16 p = 0; p < edited.planes; ++p)
          expected[layout.offset(r + 5, col + 7, p)] = edited.at(r, col, p);
    EXPECT_EQ(testing::bytes_differing(expected, read_file(path(c.image))), 0u);
    EXPECT_FALSE(read_document(path(doc))->modified());
    EXPECT_EQ(read_sidecar(path(doc))->convention, SampleConvention::tiff);
  }
}

// A document written before documents followed TIFF: the plug-in's own
// bytes under the TIFF photometric, no mark, a version 1 sidecar.
TEST_F(DocumentColoursEndToEnd, UnmarkedDocumentsExportAsTheyAlwaysDid) {
  ASSERT_NO_FATAL_FAILURE(make_sources());
  for (const char* name : {"ours-cmyk.tif", "ours-lab.tif"}) {
    SCOPED_TRACE(name);
    Expected<Document> cut = testing::extracted_document(path(name), kRect, path("cut.tif"));
    ASSERT_TRUE(cut);
    for (UInt8& sample : cut->pixels) sample ^= 0x5A;
    const LibtiffImage image = read_with_libtiff(path(name));
    const LibtiffImage old{UInt32(cut->columns),
                           UInt32(cut->rows),
                           UInt16(cut->planes),
                           image.photometric,
                           {cut->pixels.begin(), cut->pixels.end()},
                           encode_block(with_plugin_resources({}, cut->resources))};
    ASSERT_NO_FATAL_FAILURE(testing::write_with_libtiff(path("old.tif"), old, COMPRESSION_NONE));
    std::vector<UInt8> sidecar{'T', 'S', 'L', 'S', 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    platform::append_big32(sidecar, kDocumentTagType);
    platform::append_big32(sidecar, UInt32(cut->resources[0].data.size()));
    sidecar.insert(sidecar.end(), cut->resources[0].data.begin(), cut->resources[0].data.end());
    write_file("old.tif.tessel", sidecar);

    std::vector<UInt8> expected = format_layer_samples(path(name), kWhole);
    for (SInt32 r = 0; r < cut->rows; ++r) {
      const auto row = cut->pixels.begin() + std::ptrdiff_t(std::size_t(r) * cut->row_bytes());
      std::copy(row, row + std::ptrdiff_t(cut->row_bytes()),
                expected.begin() +
                    std::ptrdiff_t((std::size_t(r + kRect.top) * 64 + std::size_t(kRect.left)) *
                                   std::size_t(cut->planes)));
    }

    const testing::ProgramRun exported = tessel("export " + path("old.tif").string());
    EXPECT_EQ(exported.status, 0) << exported.err << exported.alerts;
    EXPECT_EQ(testing::bytes_differing(expected, format_layer_samples(path(name), kWhole)), 0u);
    // Saved back, and still unmarked in both places.
    EXPECT_FALSE(read_document(path("old.tif"))->modified());
    EXPECT_EQ(read_sidecar(path("old.tif"))->convention, SampleConvention::plugin);
    auto entries = decode_block(*read_with_libtiff(path("old.tif")).block);
    ASSERT_TRUE(entries);
    EXPECT_TRUE(std::none_of(entries->begin(), entries->end(), is_tiff_samples_mark));
  }
}

}  // namespace
}  // namespace tessel::host
