// Explicit big-endian encoding and decoding for the platform's file formats
// and records. Callers check lengths before decoding.
#pragma once

#include <span>
#include <vector>

#include "MacTypes.h"

namespace tessel::platform {

constexpr UInt16 read_big16(std::span<const UInt8> bytes) {
  return UInt16((unsigned(bytes[0]) << 8) | bytes[1]);
}

constexpr UInt32 read_big32(std::span<const UInt8> bytes) {
  return (UInt32(bytes[0]) << 24) | (UInt32(bytes[1]) << 16) | (UInt32(bytes[2]) << 8) |
         UInt32(bytes[3]);
}

constexpr void write_big16(std::span<UInt8> bytes, UInt16 value) {
  bytes[0] = UInt8(value >> 8);
  bytes[1] = UInt8(value);
}

constexpr void write_big32(std::span<UInt8> bytes, UInt32 value) {
  bytes[0] = UInt8(value >> 24);
  bytes[1] = UInt8(value >> 16);
  bytes[2] = UInt8(value >> 8);
  bytes[3] = UInt8(value);
}

inline void append_big16(std::vector<UInt8>& out, UInt16 value) {
  out.push_back(UInt8(value >> 8));
  out.push_back(UInt8(value));
}

inline void append_big32(std::vector<UInt8>& out, UInt32 value) {
  append_big16(out, UInt16(value >> 16));
  append_big16(out, UInt16(value));
}

}  // namespace tessel::platform
