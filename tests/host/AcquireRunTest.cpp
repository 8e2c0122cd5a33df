#include <gtest/gtest.h>
#include <tiffio.h>

#include <vector>

#include "MacErrors.h"
#include "References.h"
#include "TempFolder.h"
#include "host/AcquireRun.h"
#include "host/Document.h"

namespace tessel::host {
namespace {

// One strip as a stand-in for the acquire entry point hands it over: rows
// [top, bottom) of planes [first, last], each sample at row * rowStep +
// column * columnStep + (plane - first) * planeStep.
struct FakeStrip {
  SInt16 top, bottom, first, last, columnStep;
  SInt32 rowStep, planeStep;
};

constexpr SInt16 kColumns = 5, kRows = 7, kPlanes = 3;

UInt8 sample(SInt32 row, SInt32 column, SInt32 plane) {
  return UInt8(row * 40 + column * 7 + plane * 3 + 1);
}

struct FakeAcquire {
  std::vector<FakeStrip> strips{};
  std::size_t next = 0;
  std::vector<UInt8> buffer{};
};

FakeAcquire* fake = nullptr;

void deliver(AcquireParams& params, const FakeStrip& s) {
  FakeAcquire& f = *fake;
  f.buffer.assign(std::size_t(s.rowStep) * std::size_t(s.bottom - s.top), 0xEE);
  for (SInt32 r = s.top; r < s.bottom; ++r)
    for (SInt32 c = 0; c < kColumns; ++c)
      for (SInt32 p = s.first; p <= s.last; ++p)
        f.buffer[std::size_t((r - s.top) * s.rowStep + c * s.columnStep +
                             (p - s.first) * s.planeStep)] = sample(r, c, p);
  Set(params, kAcquireDeliveredRect, VRect{s.top, 0, s.bottom, kColumns});
  Set(params, kAcquireFirstPlane, s.first);
  Set(params, kAcquireLastPlane, s.last);
  Set(params, kAcquireColumnStep, s.columnStep);
  Set(params, kAcquireRowStep, s.rowStep);
  Set(params, kAcquirePlaneStep, s.planeStep);
  Set(params, kAcquireDataPointer, NewReference(f.buffer.data()));
}

void fake_entry(SInt16 selector, AcquireParams* params, PluginDataSlot*, SInt16* result) {
  *result = noErr;
  if (selector == kSelectorStart) {
    Set(*params, kAcquireImageMode, SInt16(3));
    Set(*params, kAcquireDocumentRows, kRows);
    Set(*params, kAcquireDocumentColumns, kColumns);
    Set(*params, kAcquireImageDepth, SInt16(8));
    Set(*params, kAcquireImagePlanes, kPlanes);
    Set(*params, kAcquireHorizontalResolution, SInt32(72 << 16));
    Set(*params, kAcquireVerticalResolution, SInt32(72 << 16));
  } else if (selector == kSelectorContinue && fake->next < fake->strips.size()) {
    deliver(*params, fake->strips[fake->next++]);
  }
}

class AcquireRunTest : public testing::TempFolder {
 protected:
  void TearDown() override {
    fake = nullptr;
    TempFolder::TearDown();
  }
  AcquireOutcome run(std::vector<FakeStrip> strips) {
    plugin = FakeAcquire{.strips = std::move(strips)};
    fake = &plugin;
    return run_acquire(&fake_entry, {.staging = path("staging.new")});
  }
  FakeAcquire plugin;
};

// Strips laid out as the file is go in as they are; others (pixels padded
// to four bytes here) through a copy. Either way every sample lands.
TEST_F(AcquireRunTest, StripsOfEveryLayoutLandInTheDocument) {
  struct Case {
    const char* name;
    std::vector<FakeStrip> strips;
    UInt16 planarConfiguration;
  };
  for (const Case& c : {
           Case{"interleaved", {{0, 4, 0, 2, 3, 16, 1}, {4, 7, 0, 2, 3, 16, 1}}, 1},
           Case{"padded pixels", {{0, 3, 0, 2, 4, 20, 1}, {3, 7, 0, 2, 4, 20, 1}}, 1},
           Case{"one plane after another",
                {{0, 7, 0, 0, 1, 8, 0},
                 {0, 4, 1, 1, 1, 8, 0},
                 {4, 7, 1, 1, 1, 8, 0},
                 {0, 7, 2, 2, 1, 8, 0}},
                2},
       }) {
    SCOPED_TRACE(c.name);
    AcquireOutcome outcome = run(c.strips);
    ASSERT_EQ(outcome.result, noErr);
    ASSERT_NE(outcome.file, nullptr);
    ASSERT_EQ(outcome.file->commit(path("doc.tif"), outcome.document), noErr);
    EXPECT_FALSE(std::filesystem::exists(path("staging.new")));
    const Expected<Document> read = read_document(path("doc.tif"));
    ASSERT_TRUE(read);
    std::size_t wrong = 0;
    for (SInt32 r = 0; r < kRows; ++r)
      for (SInt32 col = 0; col < kColumns; ++col)
        for (SInt32 p = 0; p < kPlanes; ++p)
          wrong +=
              read->pixels[std::size_t((r * kColumns + col) * kPlanes + p)] != sample(r, col, p);
    EXPECT_EQ(wrong, 0u);
    TIFF* tiff = TIFFOpen(path("doc.tif").c_str(), "r");
    ASSERT_NE(tiff, nullptr);
    UInt16 config = 0;
    TIFFGetField(tiff, TIFFTAG_PLANARCONFIG, &config);
    TIFFClose(tiff);
    EXPECT_EQ(config, c.planarConfiguration);
  }
}

// The file is written as strips arrive, so they must come in order; one
// that does not ends the run, and the file started goes with the outcome.
TEST_F(AcquireRunTest, AStripOutOfOrderEndsTheRunAndLeavesNoFile) {
  for (const std::vector<FakeStrip>& strips : {
           std::vector<FakeStrip>{{4, 7, 0, 2, 3, 16, 1}},                          // skips rows
           std::vector<FakeStrip>{{0, 4, 0, 2, 3, 16, 1}, {0, 4, 0, 2, 3, 16, 1}},  // repeats
           std::vector<FakeStrip>{{0, 7, 1, 1, 1, 8, 0}},                           // plane 1 first
       }) {
    {
      const AcquireOutcome outcome = run(strips);
      EXPECT_EQ(outcome.result, paramErr);
    }
    EXPECT_FALSE(std::filesystem::exists(path("staging.new")));
  }
}

}  // namespace
}  // namespace tessel::host
