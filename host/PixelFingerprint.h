// The digest that tells whether a document's pixels changed since they were
// last written back: FNV-1a over eight-byte words in four interleaved lanes,
// folded at the end, over the size, the planes and then every sample in
// chunky order, rows top to bottom, in the plug-in's conventions. A
// fingerprint to notice change, not a guard against tampering, and quick on
// documents of many megabytes (one multiply chain would stall on itself).
//
// Bytes are taken in pieces of any size as rows pass; the value is the same
// as over all of them at once, so a fingerprint kept in a sidecar by a host
// that held documents whole still compares equal.
#pragma once

#include <array>
#include <span>

#include "MacTypes.h"

namespace tessel::host {

class PixelFingerprint {
 public:
  PixelFingerprint(SInt32 columns, SInt32 rows, SInt16 planes);

  void add(std::span<const UInt8> bytes);
  // The fingerprint of the bytes added so far.
  UInt64 value() const;

 private:
  explicit PixelFingerprint(UInt64 seed);
  void add_words(const UInt8* words);

  std::array<UInt64, 4> lanes_{};
  std::array<UInt8, 32> pending_{};  // bytes short of a whole set of lanes
  std::size_t pendingBytes_ = 0;
};

}  // namespace tessel::host
