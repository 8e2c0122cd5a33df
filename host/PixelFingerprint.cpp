#include "host/PixelFingerprint.h"

#include <cstring>
#include <vector>

#include "ByteOrder.h"

namespace tessel::host {

namespace {

constexpr UInt64 kPrime = 0x100000001B3ull;
constexpr UInt64 kOffsetBasis = 0xCBF29CE484222325ull;

}  // namespace

PixelFingerprint::PixelFingerprint(UInt64 seed) : lanes_{seed, seed ^ 1, seed ^ 2, seed ^ 3} {}

PixelFingerprint::PixelFingerprint(SInt32 columns, SInt32 rows, SInt16 planes)
    : PixelFingerprint([&] {
        std::vector<UInt8> shape;
        platform::append_big32(shape, UInt32(columns));
        platform::append_big32(shape, UInt32(rows));
        platform::append_big16(shape, UInt16(planes));
        PixelFingerprint ofShape(kOffsetBasis);
        ofShape.add(shape);
        return ofShape.value();
      }()) {}

void PixelFingerprint::add_words(const UInt8* words) {
  for (std::size_t lane = 0; lane < 4; ++lane) {
    UInt64 word = 0;
    std::memcpy(&word, words + lane * 8, 8);
    lanes_[lane] = (lanes_[lane] ^ word) * kPrime;
  }
}

void PixelFingerprint::add(std::span<const UInt8> bytes) {
  std::size_t at = 0;
  if (pendingBytes_ > 0) {
    const std::size_t taken = std::min(bytes.size(), pending_.size() - pendingBytes_);
    std::memcpy(pending_.data() + pendingBytes_, bytes.data(), taken);
    pendingBytes_ += taken;
    at = taken;
    if (pendingBytes_ < pending_.size()) return;
    add_words(pending_.data());
    pendingBytes_ = 0;
  }
  for (; at + 32 <= bytes.size(); at += 32) add_words(bytes.data() + at);
  std::memcpy(pending_.data(), bytes.data() + at, bytes.size() - at);
  pendingBytes_ = bytes.size() - at;
}

UInt64 PixelFingerprint::value() const {
  UInt64 folded = lanes_[0];
  for (std::size_t at = 0; at < pendingBytes_; ++at) folded = (folded ^ pending_[at]) * kPrime;
  for (std::size_t lane = 1; lane < 4; ++lane) folded = (folded ^ lanes_[lane]) * kPrime;
  return folded;
}

}  // namespace tessel::host
