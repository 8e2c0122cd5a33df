// Lays out TIFF files byte by byte for tests, in either byte order, with any
// entries in any order: the 8-byte header, then data blocks and values too
// long for an entry in the order they are added, then one directory at the
// end holding the entries in the order they were added.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "MacTypes.h"

namespace tessel::testing {

// Field types by their codes in an entry.
constexpr UInt16 kTIFFByte = 1, kTIFFAscii = 2, kTIFFShort = 3, kTIFFLong = 4, kTIFFRational = 5,
                 kTIFFSByte = 6, kTIFFUndefined = 7, kTIFFSShort = 8, kTIFFSLong = 9,
                 kTIFFSRational = 10, kTIFFFloat = 11, kTIFFDouble = 12;

class TIFFBuilder {
 public:
  explicit TIFFBuilder(bool littleEndian) : little_(littleEndian) {
    body_ = {UInt8(little_ ? 'I' : 'M'), UInt8(little_ ? 'I' : 'M')};
    put(body_, 42, 2);
    put(body_, 0, 4);  // the directory's offset, filled in by bytes()
  }

  // Values each stored in the type's width; a RATIONAL or SRATIONAL takes
  // two of them (numerator, denominator) per value. Inline when they fit in
  // 4 bytes, else appended and pointed at.
  TIFFBuilder& add(UInt16 tag, UInt16 type, const std::vector<std::int64_t>& values) {
    std::vector<UInt8> bytes;
    for (std::int64_t value : values) put(bytes, UInt64(value), width(type));
    bool rational = type == kTIFFRational || type == kTIFFSRational;
    UInt32 count = UInt32(rational ? values.size() / 2 : values.size());
    if (bytes.size() > 4) return add_raw(tag, type, count, append(bytes));
    bytes.resize(4, 0);
    entries_.push_back({tag, type, count, bytes});
    return *this;
  }

  // An entry whose value field holds raw, whatever its count and type say.
  TIFFBuilder& add_raw(UInt16 tag, UInt16 type, UInt32 count, UInt32 raw) {
    std::vector<UInt8> field;
    put(field, raw, 4);
    entries_.push_back({tag, type, count, field});
    return *this;
  }

  // Appends a block at an even offset and returns that offset.
  UInt32 append(const std::vector<UInt8>& bytes) {
    if (body_.size() % 2 != 0) body_.push_back(0);
    UInt32 offset = UInt32(body_.size());
    body_.insert(body_.end(), bytes.begin(), bytes.end());
    return offset;
  }

  std::vector<UInt8> bytes(UInt32 nextDirectory = 0) const {
    std::vector<UInt8> out = body_;
    if (out.size() % 2 != 0) out.push_back(0);
    std::vector<UInt8> directory;
    put(directory, UInt32(out.size()), 4);
    std::copy(directory.begin(), directory.end(), out.begin() + 4);
    put(out, entries_.size(), 2);
    for (const Entry& entry : entries_) {
      put(out, entry.tag, 2);
      put(out, entry.type, 2);
      put(out, entry.count, 4);
      out.insert(out.end(), entry.field.begin(), entry.field.end());
    }
    put(out, nextDirectory, 4);
    return out;
  }

  // Encodes value in width bytes in the file's byte order.
  void put(std::vector<UInt8>& out, UInt64 value, int width) const {
    for (int i = 0; i < width; ++i) {
      int shift = 8 * (little_ ? i : width - 1 - i);
      out.push_back(UInt8(value >> shift));
    }
  }

 private:
  struct Entry {
    UInt16 tag;
    UInt16 type;
    UInt32 count;
    std::vector<UInt8> field;
  };

  static int width(UInt16 type) {
    switch (type) {
      case kTIFFShort:
      case kTIFFSShort: return 2;
      case kTIFFLong:
      case kTIFFSLong:
      case kTIFFRational:
      case kTIFFSRational:
      case kTIFFFloat: return 4;
      default: return 1;
    }
  }

  bool little_;
  std::vector<UInt8> body_;
  std::vector<Entry> entries_;
};

// An uncompressed chunky 8-bit gray or RGB image whose directory gives tile
// sizes of tile x tile but keeps the tiles' offsets and byte counts under
// StripOffsets and StripByteCounts, as some writers do. Every sample is fill.
inline std::vector<UInt8> tiles_under_strip_tags(UInt16 width, UInt16 height, UInt16 samples,
                                                 UInt16 tile, UInt8 fill) {
  TIFFBuilder b(false);
  const std::size_t tileBytes = std::size_t(tile) * tile * samples;
  std::vector<std::int64_t> offsets, counts;
  for (UInt32 down = 0; down < (height + tile - 1u) / tile; ++down)
    for (UInt32 across = 0; across < (width + tile - 1u) / tile; ++across) {
      offsets.push_back(b.append(std::vector<UInt8>(tileBytes, fill)));
      counts.push_back(std::int64_t(tileBytes));
    }
  b.add(256, kTIFFShort, {width}).add(257, kTIFFShort, {height});
  b.add(258, kTIFFShort, std::vector<std::int64_t>(samples, 8));
  b.add(262, kTIFFShort, {samples == 3 ? 2 : 1}).add(277, kTIFFShort, {samples});
  b.add(273, kTIFFLong, offsets).add(279, kTIFFLong, counts);
  b.add(322, kTIFFShort, {tile}).add(323, kTIFFShort, {tile});
  return b.bytes();
}

}  // namespace tessel::testing
