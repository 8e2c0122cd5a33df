// Shared Toolbox types: the vocabulary every folder of Tessel speaks.
//
// Widths are those of the classic Toolbox: 16-bit results and rectangle
// coordinates, 32-bit sizes and positions. Records that travel in files or
// host records are never cast over bytes; they are decoded field by field.
#pragma once

#include <cstddef>
#include <cstdint>

using SInt8 = std::int8_t;
using UInt8 = std::uint8_t;
using SInt16 = std::int16_t;
using UInt16 = std::uint16_t;
using SInt32 = std::int32_t;
using UInt32 = std::uint32_t;
using SInt64 = std::int64_t;
using UInt64 = std::uint64_t;

using Byte = std::uint8_t;
using SignedByte = std::int8_t;
using Boolean = unsigned char;
using OSErr = std::int16_t;
using Size = std::int32_t;
using Fixed = std::int32_t;

using Ptr = char*;
using Handle = char**;

using FourCharCode = std::uint32_t;
using OSType = FourCharCode;
using ResType = FourCharCode;

using StringPtr = unsigned char*;
using ConstStringPtr = const unsigned char*;
using Str255 = unsigned char[256];
using Str63 = unsigned char[64];
using Str31 = unsigned char[32];
using Str15 = unsigned char[16];

struct Point {
  SInt16 v;
  SInt16 h;
};

struct Rect {
  SInt16 top;
  SInt16 left;
  SInt16 bottom;
  SInt16 right;
};

// A rectangle of 32-bit coordinates: top, left, bottom, right (exclusive),
// for images whose sides do not fit in a Rect.
struct VRect {
  SInt32 top;
  SInt32 left;
  SInt32 bottom;
  SInt32 right;
};

// A file's identity: volume, parent folder and name. The two bytes of padding
// after vRefNum are part of the record's layout, which documents carry. A
// name longer than 63 bytes is held as its stand-in (Files.h).
struct FSSpec {
  SInt16 vRefNum;
  SInt32 parID;
  Str63 name;
};
static_assert(sizeof(FSSpec) == 72, "FSSpec is 72 bytes: 2 + 2 padding + 4 + 64");
static_assert(offsetof(FSSpec, parID) == 4 && offsetof(FSSpec, name) == 8);

// Finder information of a file, as entry 9 of an AppleDouble sidecar holds it
// in its first 16 bytes.
struct FInfo {
  OSType fdType;
  OSType fdCreator;
  UInt16 fdFlags;
  Point fdLocation;
  SInt16 fdFldr;
};

// The four characters of a code, first character in the most significant byte.
constexpr FourCharCode FourCC(const char (&code)[5]) {
  return (FourCharCode(UInt8(code[0])) << 24) | (FourCharCode(UInt8(code[1])) << 16) |
         (FourCharCode(UInt8(code[2])) << 8) | FourCharCode(UInt8(code[3]));
}
