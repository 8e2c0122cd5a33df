// Moving samples between chunky rows that hold different planes: a band of
// some of a document's planes cut from rows of all of them, and a plane that
// a planar file stores alone put into its place among the others.
#pragma once

#include <cstddef>

#include "MacTypes.h"

namespace tessel::host {

// Planes [first, first + count) of a pixel's samples.
struct PlaneRange {
  SInt16 first = 0;
  SInt16 count = 0;

  static PlaneRange all(SInt16 planes) { return {0, planes}; }
  bool covers(SInt16 planes) const { return first == 0 && count == planes; }
  bool lies_within(SInt16 planes) const {
    return first >= 0 && count > 0 && first + count <= planes;
  }
  // The bytes of pixels chunky pixels holding the range's planes.
  std::size_t bytes_of(std::size_t pixels) const { return pixels * std::size_t(count); }
  bool operator==(const PlaneRange&) const = default;
};

// The range's samples of pixels chunky pixels of sourcePlanes samples each,
// packed at target (range.count samples a pixel).
void copy_planes(const UInt8* source, std::size_t sourcePlanes, PlaneRange range,
                 std::size_t pixels, UInt8* target);

// One sample a pixel from samples into sample at of target's pixels, which
// hold targetPlanes samples each.
void place_plane(const UInt8* samples, std::size_t pixels, UInt8* target, std::size_t targetPlanes,
                 std::size_t at);

}  // namespace tessel::host
