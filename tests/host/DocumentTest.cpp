#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "TempFolder.h"
#include "formats/FormatTestSupport.h"
#include "formats/ImageResources.h"
#include "host/Document.h"
#include "host/DocumentSidecar.h"
#include "host/ImageResourceBlock.h"
#include "host/LibtiffImage.h"
#include "host/TiffDocument.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using testing::file_bytes;
using testing::TempFolder;

constexpr ResType kPart = FourCC("part");

Document sample_document(SInt16 mode, SInt16 planes, SInt32 columns = 7, SInt32 rows = 5) {
  Document document{.mode = mode,
                    .columns = columns,
                    .rows = rows,
                    .planes = planes,
                    .xResolution = 300.0,
                    .yResolution = 150.0};
  document.pixels.resize(document.row_bytes() * std::size_t(rows));
  for (std::size_t i = 0; i < document.pixels.size(); ++i) document.pixels[i] = UInt8(i * 7 + 3);
  document.resources = {{kPart, {1, 2, 3}}, {FourCC("note"), {}}, {kPart, {9}}};
  return document;
}

void expect_same_image(const Document& expected, const Document& actual) {
  EXPECT_EQ(actual.mode, expected.mode);
  EXPECT_EQ(actual.columns, expected.columns);
  EXPECT_EQ(actual.rows, expected.rows);
  EXPECT_EQ(actual.planes, expected.planes);
  EXPECT_DOUBLE_EQ(actual.xResolution, expected.xResolution);
  EXPECT_DOUBLE_EQ(actual.yResolution, expected.yResolution);
  EXPECT_EQ(actual.pixels, expected.pixels);
}

void expect_same_resources(const std::vector<PluginResource>& expected,
                           const std::vector<PluginResource>& actual) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(actual[i].type, expected[i].type) << i;
    EXPECT_EQ(actual[i].data, expected[i].data) << i;
  }
}

int run(const std::string& command) { return std::system(command.c_str()); }

// ---------------------------------------------------------------------------
// The block

TEST(HostResourceBlock, PluginEntryHasTheImageResourceLayout) {
  const std::vector<PluginResource> resources{{kPart, {0xAA, 0xBB, 0xCC}}};
  const std::vector<UInt8> block = encode_block(with_plugin_resources({}, resources));
  // "LUMN", id 4000, name "part" (length 4, one pad byte), size 3, data, pad.
  const std::vector<UInt8> expected{'L', 'U', 'M', 'N', 0x0F, 0xA0, 4,    'p',  'a',  'r',
                                    't', 0,   0,   0,   0,    3,    0xAA, 0xBB, 0xCC, 0};
  EXPECT_EQ(block, expected);
}

TEST(HostResourceBlock, TiffSamplesMarkHasItsLayoutAndIsKnownByIdAlone) {
  // "LUMN", id 4001, empty name (length 0, one pad byte), size 2, data 0 1.
  const std::vector<UInt8> expected{'L', 'U', 'M', 'N', 0x0F, 0xA1, 0, 0, 0, 0, 0, 2, 0, 1};
  EXPECT_EQ(encode_block(std::vector{tiff_samples_mark()}), expected);
  EXPECT_TRUE(is_tiff_samples_mark({kBlockSignature, kTiffSamplesID, "x", {}}));
  EXPECT_FALSE(is_tiff_samples_mark({FourCC("8BIM"), kTiffSamplesID, "", {0, 1}}));
  EXPECT_FALSE(is_plugin_entry(tiff_samples_mark()));
}

TEST(HostResourceBlock, RoundTripKeepsForeignEntriesAndOrder) {
  const std::vector<BlockEntry> foreign{{FourCC("LUMN"), 1005, "", {0, 0x48, 0, 0}},
                                        {FourCC("8BIM"), 4000, "part", {1}},
                                        {FourCC("LUMN"), 4000, "odd", {1, 2, 3}}};
  const std::vector<PluginResource> ours{{kPart, {5}}, {FourCC("abcd"), {6, 7}}};
  auto decoded = decode_block(encode_block(with_plugin_resources(foreign, ours)));
  ASSERT_TRUE(decoded);
  ASSERT_EQ(decoded->size(), 5u);
  for (std::size_t i = 0; i < foreign.size(); ++i) {
    EXPECT_EQ((*decoded)[i].signature, foreign[i].signature);
    EXPECT_EQ((*decoded)[i].id, foreign[i].id);
    EXPECT_EQ((*decoded)[i].name, foreign[i].name);
    EXPECT_EQ((*decoded)[i].data, foreign[i].data);
  }
  expect_same_resources(ours, plugin_resources_of(*decoded));
}

TEST(HostResourceBlock, EntryRunningPastTheEndIsRefused) {
  std::vector<UInt8> block = encode_block(with_plugin_resources({}, {{{kPart, {1, 2, 3, 4}}}}));
  for (std::size_t cut : {std::size_t(1), std::size_t(5), std::size_t(9)}) {
    auto decoded = decode_block(std::span(block).first(block.size() - cut));
    EXPECT_EQ(decoded.error(), paramErr) << cut;
  }
  block[12] = 0x80;  // a negative data size
  EXPECT_EQ(decode_block(block).error(), paramErr);
}

class BlockFile : public TempFolder {};

// The format layer reads the block the host writes: one layout for both.
TEST_F(BlockFile, FormatLayerParsesTheHostsBlock) {
  const std::vector<UInt8> block =
      encode_block(with_plugin_resources({}, {{{kPart, {1, 2, 3}}, {kPart, {4, 5}}}}));
  write_file("block", block);
  const FSSpec spec = spec_of("block");
  SInt16 file = 0;
  ASSERT_EQ(FSpOpenDF(&spec, fsRdPerm, &file), noErr);
  ImageResourceList list = nullptr;
  EXPECT_EQ(ParseImageResources(file, SInt32(block.size()), &list), noErr);
  FSClose(file);
  ASSERT_NE(list, nullptr);
  Handle data = GetImageResource(list, kPluginResourceID);
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(GetHandleSize(data), 2);  // the entry read later comes first
  DisposeImageResources(&list);
}

// ---------------------------------------------------------------------------
// Documents

class DocumentFile : public TempFolder {};

TEST_F(DocumentFile, RoundTripOfEveryModeAsOtherReadersSeeIt) {
  struct Case {
    SInt16 mode, planes;
    UInt16 photometric;
  };
  for (const Case& c :
       {Case{kGrayMode, 1, PHOTOMETRIC_MINISBLACK}, Case{kRGBMode, 3, PHOTOMETRIC_RGB},
        Case{kRGBMode, 4, PHOTOMETRIC_RGB}, Case{kCMYKMode, 4, PHOTOMETRIC_SEPARATED},
        Case{kCMYKMode, 5, PHOTOMETRIC_SEPARATED}, Case{kLabMode, 3, PHOTOMETRIC_CIELAB},
        Case{kLabMode, 4, PHOTOMETRIC_CIELAB}}) {
    SCOPED_TRACE(::testing::Message() << "mode " << c.mode << ", planes " << c.planes);
    const Document written = sample_document(c.mode, c.planes);
    ASSERT_EQ(write_document(path("doc.tif"), written), noErr);
    auto read = read_document(path("doc.tif"));
    ASSERT_TRUE(read);
    expect_same_image(written, *read);
    expect_same_resources(written.resources, read->resources);
    // What another reader decodes.
    const testing::LibtiffImage seen = testing::read_with_libtiff(path("doc.tif"));
    EXPECT_EQ(seen.photometric, c.photometric);
    ASSERT_EQ(seen.samples.size(), written.pixels.size());
    for (std::size_t i = 0; i < seen.samples.size(); ++i) {
      ASSERT_EQ(seen.samples[i], testing::as_tiff_states_it(
                                     c.photometric, i % std::size_t(c.planes), written.pixels[i]))
          << i;
    }
  }
}

// A disk that fills up in the middle of a document (here a file size limit,
// as the kernel gives it) leaves the document it was to replace as it was,
// and no part of the new one.
TEST_F(DocumentFile, AWriteThatRunsOutOfRoomKeepsTheOldDocument) {
  ASSERT_EQ(write_document(path("doc.tif"), sample_document(kRGBMode, 3)), noErr);
  const std::vector<UInt8> before = file_bytes(path("doc.tif"));
  const std::vector<UInt8> sidecarBefore = file_bytes(sidecar_path(path("doc.tif")));

  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &saved), 0);
  auto* const previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit tight = saved;
  tight.rlim_cur = 4096;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
  const OSErr err = write_document(path("doc.tif"), sample_document(kRGBMode, 3, 100, 100));
  setrlimit(RLIMIT_FSIZE, &saved);
  std::signal(SIGXFSZ, previous);

  EXPECT_NE(err, noErr);
  EXPECT_EQ(file_bytes(path("doc.tif")), before);
  EXPECT_EQ(file_bytes(sidecar_path(path("doc.tif"))), sidecarBefore);
  for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
    const std::string name = entry.path().filename().string();
    EXPECT_TRUE(name == "doc.tif" || entry.path() == sidecar_path(path("doc.tif"))) << name;
  }
}

// The range's planes of rows [top, top + count) of the document's pixels.
std::vector<UInt8> planes_of_rows(const Document& document, SInt32 top, SInt32 count,
                                  PlaneRange planes) {
  std::vector<UInt8> cut;
  const std::size_t first = std::size_t(top) * std::size_t(document.columns);
  for (std::size_t pixel = first; pixel < first + std::size_t(count) * document.columns; ++pixel) {
    for (SInt16 plane = planes.first; plane < planes.first + planes.count; ++plane)
      cut.push_back(document.pixels[pixel * std::size_t(document.planes) + std::size_t(plane)]);
  }
  return cut;
}

// Bands of four rows from the bottom up, then from the top down, as export
// asks for them plane after plane; the rows that first pass in order from
// the top make the fingerprint, whichever pass they came in and however few
// planes that pass asked for.
void expect_bands(const std::filesystem::path& file, const Document& written) {
  auto description = read_document_description(file);
  ASSERT_TRUE(description);
  EXPECT_TRUE(description->pixels.empty());
  DocumentReader reader;
  ASSERT_EQ(reader.open(file, *description), noErr);
  constexpr SInt32 kBand = 4;
  const std::size_t rowBytes = written.row_bytes();
  std::vector<UInt8> rows(kBand * rowBytes);
  std::vector<PlaneRange> ranges{{SInt16(written.planes - 1), 1}, {1, SInt16(written.planes - 1)}};
  for (SInt16 plane = 0; plane < written.planes - 1; ++plane) ranges.push_back({plane, 1});
  const auto expect_band = [&](SInt32 top) {
    const SInt32 count = std::min(kBand, written.rows - top);
    for (const PlaneRange planes : ranges) {
      std::vector<UInt8> some(std::size_t(count) * written.columns * std::size_t(planes.count));
      ASSERT_EQ(reader.read_rows(top, count, planes, some), noErr);
      EXPECT_EQ(some, planes_of_rows(written, top, count, planes))
          << "rows from " << top << ", planes from " << planes.first << " x " << planes.count;
    }
    ASSERT_EQ(reader.read_rows(top, count, rows), noErr);
    EXPECT_TRUE(std::equal(rows.begin(), rows.begin() + std::ptrdiff_t(count * rowBytes),
                           written.pixels.begin() + std::ptrdiff_t(top * rowBytes)))
        << "rows from " << top;
  };
  for (SInt32 top = (written.rows - 1) / kBand * kBand; top >= 0; top -= kBand) expect_band(top);
  EXPECT_FALSE(reader.fingerprint());
  for (SInt32 top = 0; top < written.rows; top += kBand) expect_band(top);
  EXPECT_EQ(reader.fingerprint(), pixel_fingerprint(written));
  EXPECT_EQ(*file_fingerprint(file, *description), pixel_fingerprint(written));
}

TEST_F(DocumentFile, EditorLayoutsReadTheSamePixelsWholeAndBandByBand) {
  for (auto [mode, planes] :
       {std::pair<SInt16, SInt16>{kRGBMode, 3}, {kCMYKMode, 5}, {kLabMode, 3}}) {
    const Document written = sample_document(mode, planes, 37, 29);
    ASSERT_EQ(write_document(path("doc.tif"), written), noErr);
    const std::string source = path("doc.tif").string();
    for (const std::string options : {"-c lzw", "-c zip -p separate", "-t -w 16 -l 16 -c packbits",
                                      "-t -w 16 -l 16 -p separate", "-r 1", "-r 64 -c zip"}) {
      SCOPED_TRACE(::testing::Message() << "mode " << mode << ": " << options);
      const std::string copy = path("copy.tif").string();
      ASSERT_EQ(run("timeout -k 5 60 tiffcp " + options + " " + source + " " + copy), 0);
      std::filesystem::copy_file(sidecar_path(path("doc.tif")), sidecar_path(copy),
                                 std::filesystem::copy_options::overwrite_existing);
      auto read = read_document(copy);
      ASSERT_TRUE(read);
      expect_same_image(written, *read);
      expect_bands(copy, written);
    }
  }
}

// What a host that held documents whole kept in sidecars, for the pixels of
// sample_document(kRGBMode, 3, 37, 29): those pixels must still compare
// equal however they pass.
constexpr UInt64 kSampleFingerprint = 0xA3D18F0283C26948ull;

TEST(PixelFingerprint, PiecesOfAnySizeGiveTheFingerprintOfTheWhole) {
  const Document document = sample_document(kRGBMode, 3, 37, 29);
  EXPECT_EQ(pixel_fingerprint(document), kSampleFingerprint);
  const std::span<const UInt8> pixels(document.pixels);
  for (std::size_t piece : {1u, 7u, 31u, 32u, 33u, 111u}) {
    PixelFingerprint fingerprint(37, 29, 3);
    for (std::size_t at = 0; at < pixels.size(); at += piece)
      fingerprint.add(pixels.subspan(at, std::min(piece, pixels.size() - at)));
    EXPECT_EQ(fingerprint.value(), kSampleFingerprint) << piece;
  }
  PixelFingerprint otherShape(29, 37, 3);
  otherShape.add(pixels);
  EXPECT_NE(otherShape.value(), kSampleFingerprint);
}

// Rows delivered one plane after another make a planar file, with the
// samples as TIFF states them; a writer dropped before commit leaves
// nothing behind, nor touches the document it would have replaced.
TEST_F(DocumentFile, PlanarRowsMakeAPlanarFileAndOnlyACommitLeavesOne) {
  const Document written = sample_document(kCMYKMode, 4, 37, 29);
  const std::size_t columns = std::size_t(written.columns);
  const auto write_planes = [&](DocumentWriter& writer, SInt16 planes) {
    std::vector<UInt8> row(columns);
    for (SInt16 plane = 0; plane < planes; ++plane) {
      for (SInt32 r = 0; r < written.rows; ++r) {
        for (std::size_t c = 0; c < columns; ++c)
          row[c] = written.pixels[(std::size_t(r) * columns + c) * 4 + std::size_t(plane)];
        ASSERT_EQ(writer.write_row(row), noErr);
      }
    }
  };
  {
    DocumentWriter writer;
    ASSERT_EQ(writer.start(path("doc.tif.new"), written, true), noErr);
    write_planes(writer, 4);
    ASSERT_EQ(writer.commit(path("doc.tif"), written), noErr);
  }
  EXPECT_FALSE(std::filesystem::exists(path("doc.tif.new")));
  TIFF* tiff = TIFFOpen(path("doc.tif").c_str(), "r");
  ASSERT_NE(tiff, nullptr);
  UInt16 config = 0;
  TIFFGetField(tiff, TIFFTAG_PLANARCONFIG, &config);
  TIFFClose(tiff);
  EXPECT_EQ(config, PLANARCONFIG_SEPARATE);
  const testing::LibtiffImage seen = testing::read_with_libtiff(path("doc.tif"));
  ASSERT_EQ(seen.samples.size(), written.pixels.size());
  for (std::size_t i = 0; i < seen.samples.size(); ++i)
    ASSERT_EQ(seen.samples[i], UInt8(255 - written.pixels[i])) << i;
  expect_same_image(written, *read_document(path("doc.tif")));

  const std::vector<UInt8> before = file_bytes(path("doc.tif"));
  {
    DocumentWriter dropped;
    ASSERT_EQ(dropped.start(path("doc.tif.new"), written, true), noErr);
    write_planes(dropped, 1);
  }
  EXPECT_FALSE(std::filesystem::exists(path("doc.tif.new")));
  EXPECT_EQ(file_bytes(path("doc.tif")), before);
}

// Documents whose pixels pass the threshold are BigTIFF (version 43); an
// outside reader takes them, and so do we.
TEST_F(DocumentFile, DocumentsPastTheThresholdAreBigTiff) {
  const Document written = sample_document(kRGBMode, 3, 37, 29);  // 3219 bytes of pixels
  write_file("expected.raw", std::vector<UInt8>(written.pixels.begin(), written.pixels.end()));
  for (const auto& [threshold, version] : {std::pair{"3219", 42}, std::pair{"3218", 43}}) {
    SCOPED_TRACE(threshold);
    setenv("TESSEL_TEST_BIGTIFF_BYTES", threshold, 1);
    const OSErr written_err = write_document(path("doc.tif"), written);
    unsetenv("TESSEL_TEST_BIGTIFF_BYTES");
    ASSERT_EQ(written_err, noErr);
    const std::vector<UInt8> bytes = file_bytes(path("doc.tif"));
    ASSERT_GE(bytes.size(), 4u);
    EXPECT_EQ(bytes[0] == 'M' ? bytes[3] : bytes[2], version);
    expect_same_image(written, *read_document(path("doc.tif")));
    const std::string check =
        "timeout -k 5 60 /usr/bin/python3 -c \"import sys, tifffile; "
        "t = tifffile.TiffFile(sys.argv[1]); "
        "sys.exit(0 if t.is_bigtiff == (sys.argv[2] == '43') and "
        "t.pages[0].asarray().tobytes() == open(sys.argv[3], 'rb').read() else 1)\" " +
        path("doc.tif").string() + " " + std::to_string(version) + " " +
        path("expected.raw").string();
    EXPECT_EQ(run(check), 0);
  }
}

TEST_F(DocumentFile, JPEGInYCbCrReadsAsRGB) {
  Document written = sample_document(kRGBMode, 3, 32, 16);
  std::fill(written.pixels.begin(), written.pixels.end(), UInt8(128));
  ASSERT_EQ(write_document(path("doc.tif"), written), noErr);
  for (const char* options : {"-c jpeg:r", "-c jpeg -r 16"}) {  // RGB, then YCbCr subsampled
    SCOPED_TRACE(options);
    ASSERT_EQ(run(std::string("tiffcp ") + options + " " + path("doc.tif").string() + " " +
                  path("jpeg.tif").string()),
              0);
    auto read = read_document(path("jpeg.tif"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->mode, kRGBMode);
    ASSERT_EQ(read->pixels.size(), written.pixels.size());
    for (UInt8 sample : read->pixels) EXPECT_NEAR(int(sample), 128, 2);
  }
}

// Editors drop the private tag; the sidecar brings the resources back, but
// never overrides a block that is there.
TEST_F(DocumentFile, SidecarStandsInOnlyWhenTheBlockIsDropped) {
  const Document written = sample_document(kGrayMode, 1);
  ASSERT_EQ(write_document(path("doc.tif"), written), noErr);
  ASSERT_EQ(replace_tiff_block(path("doc.tif"), {}), noErr);
  ASSERT_EQ(run("tiffcp -c lzw " + path("doc.tif").string() + " " + path("edited.tif").string()),
            0);
  std::filesystem::copy_file(path("doc.tif.tessel"), path("edited.tif.tessel"));
  for (const char* name : {"doc.tif", "edited.tif"}) {
    auto read = read_document(path(name));
    ASSERT_TRUE(read) << name;
    EXPECT_TRUE(read->otherBlockEntries.empty());
    expect_same_resources(written.resources, read->resources);
  }

  ASSERT_EQ(write_document(path("doc.tif"), written), noErr);
  write_file("doc.tif.tessel", encode_sidecar({{{kPart, {42}}}, std::nullopt}));
  expect_same_resources(written.resources, read_document(path("doc.tif"))->resources);
}

TEST_F(DocumentFile, UpdatingResourcesKeepsPixelsAndForeignEntries) {
  Document document = sample_document(kCMYKMode, 4);
  document.otherBlockEntries = {
      {FourCC("LUMN"), 1005, "", {0, 0x48, 0, 0, 0, 1, 0, 0, 0, 0x48, 0, 0}}};
  ASSERT_EQ(write_document(path("doc.tif"), document), noErr);
  document.resources = {{kPart, {7, 7, 7}}};
  ASSERT_EQ(update_plugin_resources(path("doc.tif"), document), noErr);
  auto read = read_document(path("doc.tif"));
  ASSERT_TRUE(read);
  expect_same_image(document, *read);
  expect_same_resources(document.resources, read->resources);
  ASSERT_EQ(read->otherBlockEntries.size(), 1u);
  EXPECT_EQ(read->otherBlockEntries[0].id, 1005);
  auto sidecar = read_sidecar(path("doc.tif"));
  ASSERT_TRUE(sidecar);
  expect_same_resources(document.resources, sidecar->resources);
}

// Whichever way a document's file stores its samples, rewriting its block or
// sidecar keeps it, and either one alone still tells it.
TEST_F(DocumentFile, EveryRewriteKeepsTheWayTheSamplesAreStored) {
  for (SampleConvention convention : {SampleConvention::tiff, SampleConvention::plugin}) {
    const bool tiff = convention == SampleConvention::tiff;
    SCOPED_TRACE(tiff ? "TIFF's" : "the plug-in's");
    Document document = sample_document(kCMYKMode, 4);
    document.fileConvention = convention;
    ASSERT_EQ(write_document(path("doc.tif"), document), noErr);
    document.resources = {{kPart, {7}}};
    ASSERT_EQ(update_plugin_resources(path("doc.tif"), document), noErr);
    ASSERT_EQ(record_saved_back(path("doc.tif"), document, pixel_fingerprint(document)), noErr);

    const testing::LibtiffImage seen = testing::read_with_libtiff(path("doc.tif"));
    EXPECT_EQ(seen.samples[0], tiff ? UInt8(255 - document.pixels[0]) : document.pixels[0]);
    auto entries = decode_block(seen.block.value_or(std::vector<UInt8>{}));
    ASSERT_TRUE(entries);
    EXPECT_EQ(std::ranges::count_if(*entries, is_tiff_samples_mark), tiff ? 1 : 0);
    EXPECT_EQ(read_sidecar(path("doc.tif"))->convention, convention);

    const std::vector<UInt8> sidecar = file_bytes(sidecar_path(path("doc.tif")));
    ASSERT_EQ(replace_tiff_block(path("doc.tif"), {}), noErr);  // an editor kept only the sidecar
    auto read = read_document(path("doc.tif"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->fileConvention, convention);
    expect_same_image(document, *read);
    EXPECT_FALSE(read->modified());

    ASSERT_EQ(update_plugin_resources(path("doc.tif"), document), noErr);
    std::filesystem::remove(sidecar_path(path("doc.tif")));  // ... or only the block
    read = read_document(path("doc.tif"));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->fileConvention, convention);
    expect_same_image(document, *read);
    write_file("doc.tif.tessel", sidecar);
  }
}

TEST_F(DocumentFile, SavedBackHoldsUntilThePixelsChange) {
  Document document = sample_document(kRGBMode, 3);
  ASSERT_EQ(write_document(path("doc.tif"), document), noErr);
  EXPECT_TRUE(read_document(path("doc.tif"))->modified());
  ASSERT_EQ(record_saved_back(path("doc.tif"), document, pixel_fingerprint(document)), noErr);
  EXPECT_FALSE(read_document(path("doc.tif"))->modified());
  document.pixels[5] ^= 1;  // the sidecar keeps the fingerprint of before
  ASSERT_EQ(write_document(path("doc.tif"), document), noErr);
  EXPECT_TRUE(read_document(path("doc.tif"))->modified());
}

TEST_F(DocumentFile, UnreadableDocumentsAreTold) {
  EXPECT_EQ(read_document(path("none.tif")).error(), fnfErr);
  write_file("text.tif", {'n', 'o', 't', ' ', 'a', ' ', 't', 'i', 'f', 'f'});
  EXPECT_EQ(read_document(path("text.tif")).error(), ioErr);
  ASSERT_EQ(samples::write_tiff(path("wide.tif"), {.bitsPerSample = 16}), noErr);
  EXPECT_EQ(read_document(path("wide.tif")).error(), paramErr);
  ASSERT_EQ(samples::write_tiff(path("palette.tif"),
                                {.photometric = 3, .colorMap = samples::sample_color_map(0, 256)}),
            noErr);
  EXPECT_EQ(read_document(path("palette.tif")).error(), paramErr);
}

TEST(DocumentSidecar, FirstVersionIsReadAsTheMarkOfPluginSamples) {
  // "TSLS", version 1, flags saved back, fingerprint 0x1234, one resource.
  const std::vector<UInt8> first{'T',  'S',  'L', 'S', 0,   1,   0,   1,   0, 0, 0, 0, 0, 0,
                                 0x12, 0x34, 0,   1,   'p', 'a', 'r', 't', 0, 0, 0, 1, 9};
  auto decoded = decode_sidecar(first);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->convention, SampleConvention::plugin);
  EXPECT_EQ(decoded->savedFingerprint, UInt64(0x1234));
  expect_same_resources({{kPart, {9}}}, decoded->resources);

  const std::vector<UInt8> marked =
      encode_sidecar({{{kPart, {9}}}, UInt64(0x1234), SampleConvention::tiff});
  EXPECT_EQ(std::vector<UInt8>(marked.begin() + 4, marked.begin() + 8),
            (std::vector<UInt8>{0, 2, 0, 3}));  // version 2, saved back and TIFF's samples
  EXPECT_EQ(decode_sidecar(marked)->convention, SampleConvention::tiff);
}

TEST(DocumentSidecar, DamagedSidecarIsRefused) {
  const std::vector<UInt8> bytes = encode_sidecar({{{kPart, {1, 2, 3}}}, UInt64(0x1234)});
  auto decoded = decode_sidecar(bytes);
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->savedFingerprint, UInt64(0x1234));
  EXPECT_EQ(decode_sidecar(std::span(bytes).first(bytes.size() - 1)).error(), paramErr);
  std::vector<UInt8> wrongVersion = bytes;
  for (const UInt8 version : {UInt8(0), UInt8(3)}) {
    wrongVersion[5] = version;
    EXPECT_EQ(decode_sidecar(wrongVersion).error(), paramErr) << int(version);
  }
}

}  // namespace
}  // namespace tessel::host
