// Colour patterns and their 'ppat' resources. The resource holds, at byte
// offsets its header gives, a pixel-map record, the pattern's pixels and a
// colour table (Imaging With QuickDraw, "The Pixel Pattern Resource").
#include <algorithm>
#include <cstring>
#include <optional>
#include <span>

#include "ByteOrder.h"
#include "MacMemory.h"
#include "QuickdrawInternal.h"
#include "Resources.h"

namespace qd = tessel::platform::quickdraw;
using tessel::platform::read_big16;
using tessel::platform::read_big32;

namespace {

constexpr std::size_t kPixPatRecordBytes = 28;
constexpr std::size_t kPixMapRecordBytes = 50;
constexpr std::size_t kColorTableHeaderBytes = 8;
constexpr std::size_t kColorSpecBytes = 8;

Rect rect_at(std::span<const UInt8> bytes) {
  return Rect{SInt16(read_big16(bytes)), SInt16(read_big16(bytes.subspan(2))),
              SInt16(read_big16(bytes.subspan(4))), SInt16(read_big16(bytes.subspan(6)))};
}

std::optional<CTabHandle> decode_table(std::span<const UInt8> bytes, std::size_t offset) {
  if (offset + kColorTableHeaderBytes > bytes.size()) return std::nullopt;
  auto size = SInt16(read_big16(bytes.subspan(offset + 6)));
  std::size_t count = std::size_t(size) + 1;
  if (size < 0 || size > 255 ||
      offset + kColorTableHeaderBytes + count * kColorSpecBytes > bytes.size()) {
    return std::nullopt;
  }
  CTabHandle table = qd::new_record<ColorTable>();
  (**table).ctFlags = SInt16(read_big16(bytes.subspan(offset + 4)));
  (**table).ctSize = size;
  for (std::size_t i = 0; i < count; ++i) {
    auto entry = bytes.subspan(offset + kColorTableHeaderBytes + i * kColorSpecBytes);
    (**table).ctTable[i] =
        ColorSpec{SInt16(read_big16(entry)),
                  RGBColor{read_big16(entry.subspan(2)), read_big16(entry.subspan(4)),
                           read_big16(entry.subspan(6))}};
  }
  return table;
}

// The pattern's image: an indexed pixel map over a copy of its pixels.
bool decode_image(std::span<const UInt8> bytes, PixPat& pattern) {
  std::size_t mapAt = read_big32(bytes.subspan(2));
  std::size_t dataAt = read_big32(bytes.subspan(6));
  if (mapAt + kPixMapRecordBytes > bytes.size()) return false;
  auto map = bytes.subspan(mapAt);
  int rowBytes = read_big16(map.subspan(4)) & 0x3FFF;
  Rect bounds = rect_at(map.subspan(6));
  auto depth = SInt16(read_big16(map.subspan(32)));
  std::size_t size = std::size_t(rowBytes) * std::size_t(std::max(0, bounds.bottom - bounds.top));
  bool knownDepth = depth == 1 || depth == 2 || depth == 4 || depth == 8;
  if (!knownDepth || EmptyRect(&bounds) || size == 0 || dataAt + size > bytes.size()) return false;
  auto table = decode_table(bytes, read_big32(map.subspan(42)));
  if (!table) return false;
  pattern.patData = NewHandle(Size(size));
  if (pattern.patData == nullptr) {
    DisposeCTable(*table);
    return false;
  }
  std::memcpy(*pattern.patData, bytes.data() + dataAt, size);
  pattern.patMap = qd::new_record<PixMap>();
  PixMap& pm = **pattern.patMap;
  pm.baseAddr = *pattern.patData;
  pm.rowBytes = SInt16(rowBytes | 0x8000);
  pm.bounds = bounds;
  pm.pixelSize = depth;
  pm.cmpCount = 1;
  pm.cmpSize = depth;
  pm.pmTable = *table;
  return true;
}

}  // namespace

PixPatHandle NewPixPat() {
  PixPatHandle pattern = qd::new_record<PixPat>();
  (**pattern).pat1Data = kBlackPattern;
  return pattern;
}

void DisposePixPat(PixPatHandle pattern) {
  if (pattern == nullptr) return;
  DisposePixMap((**pattern).patMap);
  if ((**pattern).patData != nullptr) DisposeHandle((**pattern).patData);
  qd::dispose_record(pattern);
}

PixPatHandle GetPixPat(SInt16 id) {
  Handle resource = GetResource(FourCC("ppat"), id);
  if (resource == nullptr) return nullptr;
  std::span<const UInt8> bytes(reinterpret_cast<const UInt8*>(*resource),
                               std::size_t(GetHandleSize(resource)));
  if (bytes.size() < kPixPatRecordBytes) return nullptr;
  PixPatHandle pattern = NewPixPat();
  (**pattern).patType = SInt16(read_big16(bytes));
  std::memcpy((**pattern).pat1Data.pat, bytes.data() + 20, 8);
  if ((**pattern).patType == 1 && !decode_image(bytes, **pattern)) {
    DisposePixPat(pattern);
    return nullptr;
  }
  return pattern;
}
