#include "host/PixelBytes.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace tessel::host::pixel_memory {

namespace {

constexpr std::size_t kHugePage = std::size_t(2) << 20;

}  // namespace

void* allocate(std::size_t bytes) {
  if (bytes < kHugePage) {
    if (void* block = std::malloc(bytes == 0 ? 1 : bytes)) return block;
    throw std::bad_alloc();
  }
  const std::size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
  void* block = std::aligned_alloc(kHugePage, rounded);
  if (block == nullptr) throw std::bad_alloc();
  // Advice only: a kernel without huge pages leaves the block as it is.
  madvise(block, rounded, MADV_HUGEPAGE);
  return block;
}

void release(void* block) noexcept { std::free(block); }

}  // namespace tessel::host::pixel_memory
