// Storage for a document's pixels. Documents run to tens of megabytes, and
// touching that much fresh memory page by page costs more than reading the
// file: large blocks are aligned to 2 MiB and offered to the kernel for huge
// pages, which cuts the page faults by a factor of 512 where it agrees.
#pragma once

#include <cstddef>
#include <vector>

#include "MacTypes.h"

namespace tessel::host {

namespace pixel_memory {
void* allocate(std::size_t bytes);
void release(void* block) noexcept;
}  // namespace pixel_memory

template <typename T>
struct PixelAllocator {
  using value_type = T;
  PixelAllocator() = default;
  template <typename U>
  PixelAllocator(const PixelAllocator<U>&) {}
  T* allocate(std::size_t n) { return static_cast<T*>(pixel_memory::allocate(n * sizeof(T))); }
  void deallocate(T* block, std::size_t) noexcept { pixel_memory::release(block); }
  friend bool operator==(const PixelAllocator&, const PixelAllocator&) { return true; }
};

using PixelBytes = std::vector<UInt8, PixelAllocator<UInt8>>;

}  // namespace tessel::host
