// Images wider than 16 bits through the real program: extract, export and
// select past 32767, checked with tifffile and with the file's own bytes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>

#include "ByteOrder.h"
#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "SparseFiles.h"
#include "StandardFile.h"
#include "TagFields.h"
#include "host/AcquireRun.h"
#include "host/Document.h"
#include "host/Module.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

namespace fs = std::filesystem;
using testing::ProgramRun;

// A classic big-endian grayscale TIFF of one uncompressed strip, written
// sparse: only its directory and the rows at its bottom-right corner hold
// data, so a 2 GB image costs a few kilobytes of disk.
class SparseGrayTiff {
 public:
  static constexpr UInt32 kWidth = 100000;
  static constexpr UInt32 kHeight = 20000;
  static constexpr off_t kPixels = 4096;
  static constexpr VRect kCorner{19990, 99000, 20000, 100000};

  static UInt8 pattern(SInt32 row, SInt32 column) { return UInt8(row * 7 + column * 13 + 1); }

  static bool write(const fs::path& file) {
    const int fd = ::open(file.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
    if (fd < 0) return false;
    const std::vector<UInt8> head = directory();
    bool ok = ::pwrite(fd, head.data(), head.size(), 0) == ssize_t(head.size()) &&
              ::ftruncate(fd, kPixels + off_t(kWidth) * kHeight) == 0;
    for (SInt32 row = kCorner.top; ok && row < kCorner.bottom; ++row) {
      std::vector<UInt8> run;
      for (SInt32 column = kCorner.left; column < kCorner.right; ++column)
        run.push_back(pattern(row, column));
      ok = ::pwrite(fd, run.data(), run.size(), offset(row, kCorner.left)) == ssize_t(run.size());
    }
    return ::close(fd) == 0 && ok;
  }

  static off_t offset(SInt32 row, SInt32 column) { return kPixels + off_t(row) * kWidth + column; }

  // count bytes of the file from the sample at (row, column).
  static std::vector<UInt8> bytes_at(const fs::path& file, SInt32 row, SInt32 column,
                                     std::size_t count) {
    std::vector<UInt8> bytes(count);
    const int fd = ::open(file.c_str(), O_RDONLY);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(::pread(fd, bytes.data(), count, offset(row, column)), ssize_t(count));
    ::close(fd);
    return bytes;
  }

 private:
  static std::vector<UInt8> directory() {
    struct Entry {
      UInt16 tag, type;
      UInt32 value;
    };
    const Entry entries[] = {{256, 4, kWidth}, {257, 4, kHeight}, {258, 3, 8},
                             {259, 3, 1},      {262, 3, 1},       {273, 4, UInt32(kPixels)},
                             {277, 3, 1},      {278, 4, kHeight}, {279, 4, kWidth * kHeight}};
    std::vector<UInt8> bytes(8 + 2 + sizeof entries / sizeof entries[0] * 12 + 4, 0);
    std::span<UInt8> out(bytes);
    platform::write_big16(out, 0x4D4D);
    platform::write_big16(out.subspan(2), 42);
    platform::write_big32(out.subspan(4), 8);
    platform::write_big16(out.subspan(8), UInt16(std::size(entries)));
    std::size_t at = 10;
    for (const Entry& e : entries) {
      platform::write_big16(out.subspan(at), e.tag);
      platform::write_big16(out.subspan(at + 2), e.type);
      platform::write_big32(out.subspan(at + 4), 1);
      if (e.type == 3) platform::write_big16(out.subspan(at + 8), UInt16(e.value));
      if (e.type == 4) platform::write_big32(out.subspan(at + 8), e.value);
      at += 12;
    }
    return bytes;
  }
};

class WideImageEndToEnd : public testing::ProgramTest {
 protected:
  int shell(const std::string& command) {
    return std::system(("cd " + root_.string() + " && timeout -k 5 60 " + command).c_str());
  }
  static bool mentions_all(const std::string& text, std::initializer_list<const char*> parts) {
    for (const char* part : parts)
      if (text.find(part) == std::string::npos) return false;
    return true;
  }
  // Runs a few lines of Python with tifffile and numpy; 0 when they pass.
  int python(const std::string& program) {
    write_text("check.py", "import sys, tifffile, numpy\n" + program);
    return shell("/usr/bin/python3 check.py");
  }
  // The rectangle the selection dialog answers for image after a click on
  // the grid's first cell: a third of the image each way.
  VRect selected_cell(const std::string& image) {
    write_text("cell.txt", "click 7\ndown 60 60\nup 60 60\n");
    const ProgramRun selected = tessel("select " + image + " --script cell.txt");
    EXPECT_EQ(selected.status, 0) << selected.err << selected.alerts;
    std::smatch sides;
    if (!std::regex_match(selected.out, sides, std::regex("(\\d+),(\\d+),(\\d+),(\\d+)\n"))) {
      ADD_FAILURE() << selected.out;
      return {};
    }
    return VRect{SInt32(std::stoll(sides[1])), SInt32(std::stoll(sides[2])),
                 SInt32(std::stoll(sides[3])), SInt32(std::stoll(sides[4]))};
  }
};

// A dense 40000-pixel-wide RGB image: the document cut at --rect numbers
// past 32767 is the image's box as tifffile reads it, and exporting it
// inverted changes exactly that box.
TEST_F(WideImageEndToEnd, ExtractAndExportPastSixteenBitsChangeExactlyTheBox) {
  ASSERT_EQ(
      samples::write_tiff(
          path("wide.tif"),
          {.width = 40000, .height = 8, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 3}),
      noErr);
  fs::copy_file(path("wide.tif"), path("pristine.tif"));
  testing::inverted_document(path("wide.tif"), VRect{2, 33000, 7, 40000}, path("doc.tif"));
  EXPECT_EQ(python("old = tifffile.imread('pristine.tif')\n"
                   "doc = tifffile.imread('doc.tif')\n"
                   "sys.exit(0 if doc.shape == (5, 7000, 3) and "
                   "(doc == 255 - old[2:7, 33000:40000]).all() else 1)\n"),
            0);

  const ProgramRun exported = tessel("export doc.tif");
  ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
  EXPECT_EQ(python("old = tifffile.imread('pristine.tif')\n"
                   "new = tifffile.imread('wide.tif')\n"
                   "want = old.copy()\n"
                   "want[2:7, 33000:40000] = 255 - old[2:7, 33000:40000]\n"
                   "sys.exit(0 if (new == want).all() else 1)\n"),
            0);
}

// A 100000 x 20000 image of 2 GB, sparse: the far corner comes out as the
// pattern written there, goes back inverted into exactly its bytes, and the
// selection dialog on the whole image answers in image pixels past 32767.
TEST_F(WideImageEndToEnd, TheFarCornerOfASparseTwoGigabyteImage) {
  ASSERT_TRUE(SparseGrayTiff::write(path("huge.tif")));
  const VRect corner = SparseGrayTiff::kCorner;
  const std::string rect = "19990,99000,20000,100000";
  const ProgramRun extracted = tessel("extract huge.tif --rect " + rect + " -o doc.tif");
  ASSERT_EQ(extracted.status, 0) << extracted.err << extracted.alerts;
  EXPECT_EQ(python("doc = tifffile.imread('doc.tif').astype(int)\n"
                   "r, c = numpy.mgrid[19990:20000, 99000:100000]\n"
                   "sys.exit(0 if (doc == (r * 7 + c * 13 + 1) % 256).all() else 1)\n"),
            0);
  EXPECT_EQ(testing::tag_fields(read_document(path("doc.tif"))->resources.at(0).data).rect.left,
            99000);

  testing::inverted_document(path("huge.tif"), corner, path("doc.tif"));
  const ProgramRun exported = tessel("export doc.tif");
  ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
  for (SInt32 row : {corner.top, corner.bottom - 1}) {
    const std::vector<UInt8> box =
        SparseGrayTiff::bytes_at(path("huge.tif"), row, corner.left, 1000);
    std::size_t wrong = 0;
    for (SInt32 i = 0; i < 1000; ++i)
      wrong += box[std::size_t(i)] != UInt8(~SparseGrayTiff::pattern(row, corner.left + i));
    EXPECT_EQ(wrong, 0u) << row;
    // The bytes just left of the box, and the row above it, are untouched.
    EXPECT_EQ(SparseGrayTiff::bytes_at(path("huge.tif"), row, corner.left - 8, 8),
              std::vector<UInt8>(8, 0));
  }
  EXPECT_EQ(SparseGrayTiff::bytes_at(path("huge.tif"), corner.top - 1, corner.left, 1000),
            std::vector<UInt8>(1000, 0));

  const VRect cell = selected_cell("huge.tif");
  EXPECT_GT(cell.right - cell.left, 32767);  // a grid cell is a third of the width
  EXPECT_LE(cell.right, SInt32(SparseGrayTiff::kWidth));
  EXPECT_LE(cell.bottom, SInt32(SparseGrayTiff::kHeight));
}

// A 100000 x 100000 RGB BigTIFF (30 GB, sparse), in strips and in tiles:
// extract takes the far corner as the sample writer put it there, export
// puts the corner back inverted at exactly the offsets libtiff gives its
// samples, touching neither a neighbouring byte nor any hole, and the
// selection dialog answers in the image's own pixels.
TEST_F(WideImageEndToEnd, TheFarCornerOfAHundredThousandSquareBigTIFF) {
  constexpr VRect kBox{99990, 99000, 100000, 100000};
  const std::string rect = "99990,99000,100000,100000";
  samples::TiffOptions striped{.width = 100000,
                               .height = 100000,
                               .samplesPerPixel = 3,
                               .photometric = 2,
                               .rowsPerStrip = 16,
                               .bigTiff = true,
                               .sparse = samples::SampleBox{99980, 98000, 100000, 100000}};
  samples::TiffOptions tiled = striped;
  tiled.rowsPerStrip = 0;
  tiled.littleEndian = true;
  tiled.tiles = samples::TiffTiles{512, 512};
  for (const auto& [name, options] : {std::pair{"striped", striped}, std::pair{"tiled", tiled}}) {
    SCOPED_TRACE(name);
    ASSERT_EQ(samples::write_tiff(path("huge.tif"), options), noErr);
    const testing::Extents extents = testing::data_extents(path("huge.tif"));
    const ProgramRun extracted = tessel("extract huge.tif --rect " + rect + " -o doc.tif --force");
    ASSERT_EQ(extracted.status, 0) << extracted.err << extracted.alerts;
    const Expected<Document> document = read_document(path("doc.tif"));
    ASSERT_TRUE(document);
    ASSERT_EQ(document->columns, kBox.right - kBox.left);
    std::size_t wrong = 0;
    for (SInt32 r = kBox.top; r < kBox.bottom; ++r)
      for (SInt32 c = kBox.left; c < kBox.right; ++c)
        for (SInt32 p = 0; p < 3; ++p)
          wrong +=
              document->pixels[(std::size_t(r - kBox.top) * 1000 + std::size_t(c - kBox.left)) * 3 +
                               std::size_t(p)] != testing::formula(r, c, p);
    EXPECT_EQ(wrong, 0u);

    testing::inverted_document(path("huge.tif"), kBox, path("doc.tif"));
    const ProgramRun exported = tessel("export doc.tif");
    ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
    const testing::Offset at = testing::libtiff_offsets(path("huge.tif"));
    ASSERT_TRUE(at);
    const int fd = ::open(path("huge.tif").c_str(), O_RDONLY);
    wrong = 0;
    for (SInt32 r = kBox.top - 1; r < kBox.bottom; ++r)
      for (SInt32 c = kBox.left - 1; c < kBox.right; ++c)
        for (SInt32 p = 0; p < 3; ++p) {
          const UInt8 old = testing::formula(r, c, p);
          const bool inside = r >= kBox.top && c >= kBox.left;
          wrong += testing::byte_at(fd, at(r, c, p)) != (inside ? UInt8(255 - old) : old);
        }
    ::close(fd);
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(testing::data_extents(path("huge.tif")), extents);
  }

  const VRect cell = selected_cell("huge.tif");
  EXPECT_GT(cell.bottom - cell.top, 32767);
  EXPECT_GT(cell.right - cell.left, 32767);
  EXPECT_LE(cell.bottom, 100000);
  EXPECT_LE(cell.right, 100000);
}

// The same run with the real module, once from a host that offers the
// extension and once from one that does not: the older host is told its
// limit and gets no document; the newer one gets the box's pixels.
TEST_F(WideImageEndToEnd, AnOlderHostIsToldItsLimitWhereANewerOneGetsThePixels) {
  ASSERT_EQ(samples::write_tiff(path("wide.tif"), {.width = 40000, .height = 4}), noErr);
  auto module = Module::load(testing::module_file());
  ASSERT_TRUE(module.has_value());
  AcquireOptions options;
  options.presetSelection = VRect{1, 0, 3, 40000};
  options.bigDocuments = false;
  options.staging = path("staging.new");
  platform::standard_file::preselect(path("wide.tif"));
  const AcquireOutcome older = run_acquire((*module)->acquire_entry(), options);
  EXPECT_EQ(older.result, 136);
  EXPECT_EQ(older.file, nullptr);
  EXPECT_FALSE(std::filesystem::exists(path("staging.new")));
  EXPECT_TRUE(mentions_all(text_of(path("alerts.log")), {"40,000", "32,767"}));

  options.bigDocuments = true;
  platform::standard_file::preselect(path("wide.tif"));
  const AcquireOutcome newer = run_acquire((*module)->acquire_entry(), options);
  ASSERT_EQ(newer.result, 0);
  ASSERT_NE(newer.file, nullptr);
  ASSERT_EQ(newer.file->commit(path("doc.tif"), newer.document), noErr);
  const Expected<Document> document = read_document(path("doc.tif"));
  ASSERT_TRUE(document);
  ASSERT_EQ(document->columns, 40000);
  ASSERT_EQ(document->rows, 2);
  std::size_t wrong = 0;
  for (SInt32 row = 0; row < 2; ++row)
    for (SInt32 column = 0; column < 40000; ++column)
      wrong += document->pixels[std::size_t(row) * 40000 + std::size_t(column)] !=
               samples::sample_value(0, row + 1, column, 0);
  EXPECT_EQ(wrong, 0u);
}

}  // namespace
}  // namespace tessel::host
