// Files whose counts and lengths claim gigabytes: each is refused with its
// format's code before memory is taken for the claim. The memory zones are
// kept small here, so a reader that allocated first would fail with the
// zones' memory error instead; memory outside the zones is watched through
// the process's peak resident size.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "Quickdraw.h"
#include "ResourceFork.h"
#include "Resources.h"
#include "TempFolder.h"
#include "formats/ImageResources.h"
#include "formats/RasterFormats.h"
#include "formats/TIFFBuilder.h"
#include "host/Document.h"
#include "records/ResultCodes.h"
#include "support/FileUtilities.h"
#include "tools/samples/SampleImages.h"

namespace {

// Set before the zones are first used, which is after static initialisation.
const bool smallZones = setenv("TESSEL_HEAP_BYTES", "16777216", 1) == 0 &&
                        setenv("TESSEL_TEMP_MEMORY_BYTES", "16777216", 1) == 0;

// The most memory the process has held so far, in bytes.
std::size_t peak_resident_bytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return std::size_t(usage.ru_maxrss) * 1024;
}

}  // namespace

namespace tessel::testing {
namespace {

using platform::append_big16;
using platform::append_big32;

constexpr std::size_t kMiB = std::size_t(1) << 20;

class MemoryBomb : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    ASSERT_TRUE(smallZones);
    peakBefore_ = peak_resident_bytes();
  }
  // The process never held more than a few megabytes beyond what it held
  // when the test began.
  void expect_no_large_allocation() const {
    EXPECT_LT(peak_resident_bytes(), peakBefore_ + 32 * kMiB);
  }

  OSErr open_image(const std::string& name) {
    SourceImage image{};
    image.fileSpec = spec_of(name);
    OSErr err = RasterFormatOpen(&image);
    RasterFormatClose(&image.format);
    return err;
  }

 private:
  std::size_t peakBefore_ = 0;
};

TEST_F(MemoryBomb, TiffStripCountsBeyondTheFileAreRefusedBeforeTheirArrays) {
  // A 4 x 4 image whose strip arrays claim 50 million entries each (200 MB
  // apiece) in a file of 62 bytes.
  TIFFBuilder tiff(false);
  tiff.add(256, kTIFFLong, {4}).add(257, kTIFFLong, {4});
  tiff.add_raw(273, kTIFFLong, 50'000'000, 58).add_raw(279, kTIFFLong, 50'000'000, 58);
  ASSERT_EQ(tiff.bytes().size(), 62u);
  write_file("bomb.tif", tiff.bytes());
  EXPECT_EQ(open_image("bomb.tif"), eofErr);
  expect_no_large_allocation();
}

TEST_F(MemoryBomb, ImageResourceLengthsBeyondTheFileAreRefused) {
  std::vector<UInt8> block;
  append_big32(block, FourCC("LUMN"));
  append_big16(block, 1000);
  append_big16(block, 0);           // empty name and its pad
  append_big32(block, 0x7FFFFFF0);  // claims 2 GB of data
  block.resize(block.size() + 64, 0);
  write_file("block", block);
  FSSpec spec = spec_of("block");
  SInt16 file = 0;
  ASSERT_EQ(OpenFile(&spec, &file), noErr);
  ImageResourceList list = nullptr;
  EXPECT_EQ(ParseImageResources(file, SInt32(block.size()), &list), eofErr);
  EXPECT_EQ(list, nullptr);
  CloseFile(file);
}

TEST_F(MemoryBomb, ResourceForkLengthsBeyondTheForkAreRefused) {
  using platform::resources::ResourceFork;
  ResourceFork fork{0, {{FourCC("LUMN"), 1000, 0, "", std::vector<UInt8>(10, 1)}}};
  auto bytes = platform::resources::serialize_fork(fork);
  ASSERT_TRUE(bytes.has_value());
  std::vector<UInt8> dataLength = *bytes, resourceLength = *bytes;
  platform::write_big32(std::span(dataLength).subspan(8), 0x7FFFFFFF);
  platform::write_big32(std::span(resourceLength).subspan(256), 0x40000000);
  for (const auto& damaged : {dataLength, resourceLength}) {
    write_file("image.lumn", std::vector<UInt8>(64, 0));
    ASSERT_EQ(platform::appledouble::write_resource_fork(path("image.lumn"), damaged), noErr);
    FSSpec spec = spec_of("image.lumn");
    EXPECT_EQ(FSpOpenResFile(&spec, fsRdPerm), -1);
    EXPECT_EQ(ResError(), mapReadErr);
  }
  expect_no_large_allocation();
}

TEST_F(MemoryBomb, ASidecarOfGigabytesIsNotRead) {
  write_file("image.lumn", std::vector<UInt8>(64, 0));
  write_file("._image.lumn", {});
  ASSERT_EQ(truncate(path("._image.lumn").c_str(), off_t(3) << 30), 0);  // sparse
  EXPECT_EQ(open_image("image.lumn"), kFormatNotRecognised);             // no type, no description
  FSSpec spec = spec_of("image.lumn");
  EXPECT_EQ(FSpOpenResFile(&spec, fsRdPerm), -1);
  expect_no_large_allocation();
}

TEST_F(MemoryBomb, APictureClaimingAHugeBitmapDrawsNothing) {
  std::vector<UInt8> pict;
  auto words = [&pict](std::initializer_list<UInt16> values) {
    for (UInt16 v : values) append_big16(pict, v);
  };
  words({0, 0, 0, 16, 16});  // size, frame
  words({0x0011, 0x02FF, 0x0C00});
  pict.resize(pict.size() + 24, 0);
  words({0x0090, 0x3FFE});                 // BitsRect, one bit deep; row bytes
  words({0, 0, 0x4000, 0x7FF0});           // bounds: 16384 rows
  words({0, 0, 16, 16, 0, 0, 16, 16, 0});  // source, destination, mode
  pict.resize(pict.size() + 32, 0xAA);
  append_big16(pict, 0x00FF);
  GrafPort port{};
  ASSERT_EQ(platform::quickdraw::open_port(port, Rect{0, 0, 16, 16}, 32), noErr);
  SetPort(&port);
  Handle picture = NewHandle(Size(pict.size()));
  std::copy(pict.begin(), pict.end(), reinterpret_cast<UInt8*>(*picture));
  const UInt32 before = platform::quickdraw::pixel(port, 3, 3);
  Rect target{0, 0, 16, 16};
  DrawPicture(picture, &target);
  EXPECT_EQ(platform::quickdraw::pixel(port, 3, 3), before);
  expect_no_large_allocation();
  DisposeHandle(picture);
  platform::quickdraw::close_port(port);
}

TEST_F(MemoryBomb, ADocumentClaimingGigapixelsIsRefused) {
  samples::TiffOptions options{.width = 4, .height = 4, .samplesPerPixel = 3, .photometric = 2};
  options.extraFields = {{256, samples::tiff_type::kLong, {0x7FFFFFFF}},
                         {257, samples::tiff_type::kLong, {0x7FFFFFFF}}};
  ASSERT_EQ(samples::write_tiff(path("doc.tif"), options), 0);
  auto document = host::read_document(path("doc.tif"));
  ASSERT_FALSE(document.has_value());
  EXPECT_EQ(document.error(), ioErr);
  expect_no_large_allocation();
}

}  // namespace
}  // namespace tessel::testing
