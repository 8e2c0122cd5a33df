// The sample formula's spread, and the writers' memory use, measured by
// counting what the heap hands out while they run.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <new>
#include <set>

#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace {

std::atomic<std::size_t> liveBytes{0};
std::atomic<std::size_t> peakBytes{0};

void* counted(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  const std::size_t live = liveBytes += malloc_usable_size(block);
  std::size_t peak = peakBytes;
  while (live > peak && !peakBytes.compare_exchange_weak(peak, live)) {
  }
  return block;
}

void uncounted(void* block) {
  if (block == nullptr) return;
  liveBytes -= malloc_usable_size(block);
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return counted(size); }
void* operator new[](std::size_t size) { return counted(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return counted(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* block) noexcept { uncounted(block); }
void operator delete[](void* block) noexcept { uncounted(block); }
void operator delete(void* block, std::size_t) noexcept { uncounted(block); }
void operator delete[](void* block, std::size_t) noexcept { uncounted(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { uncounted(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { uncounted(block); }

namespace tessel::samples {
namespace {

// Along each axis and for steps of 1 to 8, the change between a sample and
// its neighbour takes many values: no linear ramp or short period hides in
// the formula.
TEST(SampleValue, NeighboursAlongEveryAxisLookUnrelated) {
  using Sample = std::function<UInt8(SInt32, SInt32)>;
  const std::vector<std::pair<const char*, Sample>> axes = {
      {"row", [](SInt32 i, SInt32 d) { return sample_value(1, i / 64 + d, i % 64, 0); }},
      {"column", [](SInt32 i, SInt32 d) { return sample_value(1, i / 64, i % 64 + d, 0); }},
      {"plane", [](SInt32 i, SInt32 d) { return sample_value(1, i / 64, i % 64, 2 + d); }},
      {"seed", [](SInt32 i, SInt32 d) { return sample_value(UInt32(d), i / 64, i % 64, 0); }},
  };
  for (const auto& [axis, sample] : axes) {
    for (SInt32 step = 1; step <= 8; ++step) {
      std::set<int> differences;
      int equal = 0;
      for (SInt32 i = 0; i < 64 * 64; ++i) {
        const int difference = (sample(i, step) - sample(i, 0)) & 0xFF;
        differences.insert(difference);
        equal += difference == 0;
      }
      EXPECT_GT(differences.size(), 200u) << axis << " step " << step;
      EXPECT_LT(equal, 64) << axis << " step " << step;
    }
  }
}

class SampleMemory : public testing::TempFolder {
 protected:
  // How far the heap grew at most while a writer ran.
  static std::size_t peakGrowth(const std::function<OSErr()>& write) {
    const std::size_t before = liveBytes;
    peakBytes = before;
    EXPECT_EQ(write(), 0);
    return peakBytes - before;
  }
};

// Each image is 18 MB or more, several times the write buffer; none may be
// held whole.
TEST_F(SampleMemory, WritersStreamLargeImagesThroughOneBuffer) {
  const std::size_t limit = kWriteBufferBytes + (1u << 20);
  const TiffOptions tiff{.width = 3000, .height = 2000, .samplesPerPixel = 3, .rowsPerStrip = 16};
  EXPECT_LT(peakGrowth([&] { return write_tiff(path("big.tif"), tiff); }), limit);
  const ScitexOptions scitex{.width = 3000, .height = 2000, .channels = 3};
  EXPECT_LT(peakGrowth([&] { return write_scitex(path("big.ct"), scitex); }), limit);
  const NativeOptions native{.channels = 3, .rows = 2000, .columns = 3000};
  EXPECT_LT(peakGrowth([&] { return write_native(path("big"), native); }), limit);
  EXPECT_EQ(std::filesystem::file_size(path("big")), 18000000u);
}

}  // namespace
}  // namespace tessel::samples
