// Version 2 pictures ('PICT' data): the bitmap opcodes are drawn, every other
// opcode of known length is stepped over. Layouts follow the published
// picture format (Imaging With QuickDraw, appendix A): opcodes are 16-bit
// and word-aligned, records big-endian.
//
// A picture is parsed whole before anything is drawn, so one that turns out
// to be damaged halfway leaves the port untouched.
#include <new>
#include <optional>
#include <span>
#include <vector>

#include "ByteOrder.h"
#include "MacMemory.h"
#include "QuickdrawInternal.h"

namespace qd = tessel::platform::quickdraw;
using tessel::platform::read_big16;
using tessel::platform::read_big32;

namespace {

constexpr UInt16 kOpEnd = 0x00FF;
constexpr UInt16 kOpVersion = 0x0011;
constexpr UInt16 kOpHeader = 0x0C00;
constexpr UInt16 kOpBitsRect = 0x0090;
constexpr UInt16 kOpBitsRgn = 0x0091;
constexpr UInt16 kOpPackBitsRect = 0x0098;
constexpr UInt16 kOpPackBitsRgn = 0x0099;
constexpr UInt16 kOpDirectBitsRect = 0x009A;
constexpr UInt16 kOpDirectBitsRgn = 0x009B;

// Reads forward through the picture; any read past the end marks it failed
// and yields zeros, so parsing code checks once per record.
class Reader {
 public:
  explicit Reader(std::span<const UInt8> bytes) : bytes_(bytes) {}
  bool failed() const { return failed_; }
  bool at_end() const { return pos_ >= bytes_.size(); }
  std::size_t remaining() const { return bytes_.size() - pos_; }
  std::size_t position() const { return pos_; }
  std::span<const UInt8> take(std::size_t count) {
    if (failed_ || count > bytes_.size() - pos_) {
      failed_ = true;
      return {};
    }
    auto part = bytes_.subspan(pos_, count);
    pos_ += count;
    return part;
  }
  void skip(std::size_t count) { take(count); }
  UInt8 u8() {
    auto b = take(1);
    return b.empty() ? 0 : b[0];
  }
  UInt16 u16() {
    auto b = take(2);
    return b.empty() ? 0 : read_big16(b);
  }
  UInt32 u32() {
    auto b = take(4);
    return b.empty() ? 0 : read_big32(b);
  }
  Rect rect() {
    Rect r;
    r.top = SInt16(u16());
    r.left = SInt16(u16());
    r.bottom = SInt16(u16());
    r.right = SInt16(u16());
    return r;
  }
  void align() {
    if (pos_ % 2 != 0) skip(1);
  }
  void fail() { failed_ = true; }

 private:
  std::span<const UInt8> bytes_;
  std::size_t pos_ = 0;
  bool failed_ = false;
};

// A decoded bitmap opcode, ready for CopyBits.
struct Bitmap {
  PixMap map{};
  ColorTable table{};
  bool hasTable = false;
  CTabPtr tableMaster = nullptr;  // set just before drawing: the record moves until then
  std::vector<UInt8> pixels;
  Rect srcRect{};
  Rect dstRect{};
  SInt16 mode = srcCopy;
};

// PackBits: a count byte n, then n + 1 literal bytes (n >= 0) or one byte
// repeated 1 - n times (n < 0; -128 is no operation).
bool unpack_bits(std::span<const UInt8> in, std::span<UInt8> out) {
  std::size_t i = 0, o = 0;
  while (i < in.size() && o < out.size()) {
    auto n = SInt8(in[i++]);
    if (n == -128) continue;
    std::size_t count = n >= 0 ? std::size_t(n) + 1 : std::size_t(1 - n);
    if (o + count > out.size() || i + (n >= 0 ? count : 1) > in.size()) return false;
    for (std::size_t k = 0; k < count; ++k) out[o++] = n >= 0 ? in[i + k] : in[i];
    i += n >= 0 ? count : 1;
  }
  return o == out.size();
}

// One row of pixel data: stored plainly when rows are short, else packed
// behind a byte count of one byte (rows up to 250 bytes) or two.
bool read_row(Reader& in, int rowBytes, bool packed, std::span<UInt8> row) {
  if (!packed || rowBytes < 8) {
    auto raw = in.take(row.size());
    if (in.failed()) return false;
    std::copy(raw.begin(), raw.end(), row.begin());
    return true;
  }
  std::size_t count = rowBytes > 250 ? in.u16() : in.u8();
  auto data = in.take(count);
  return !in.failed() && unpack_bits(data, row);
}

bool read_color_table(Reader& in, ColorTable& table) {
  table.ctSeed = SInt32(in.u32());
  table.ctFlags = SInt16(in.u16());
  table.ctSize = SInt16(in.u16());
  if (table.ctSize < -1 || table.ctSize > 255) return false;
  for (int i = 0; i <= table.ctSize; ++i) {
    ColorSpec& entry = table.ctTable[i];
    entry.value = SInt16(in.u16());
    entry.rgb = RGBColor{in.u16(), in.u16(), in.u16()};
  }
  return !in.failed();
}

// The pixel-map fields after rowBytes and bounds, as the picture stores them.
void read_pixmap_fields(Reader& in, PixMap& map) {
  map.pmVersion = SInt16(in.u16());
  map.packType = SInt16(in.u16());
  map.packSize = SInt32(in.u32());
  map.hRes = Fixed(in.u32());
  map.vRes = Fixed(in.u32());
  map.pixelType = SInt16(in.u16());
  map.pixelSize = SInt16(in.u16());
  map.cmpCount = SInt16(in.u16());
  map.cmpSize = SInt16(in.u16());
  in.skip(12);  // plane bytes, table handle and reserved word, meaningless on disk
}

int height_of(const Rect& r) { return r.bottom - r.top; }
int width_of(const Rect& r) { return r.right - r.left; }

bool sane_bounds(const Rect& bounds, int rowBytes, int depth) {
  std::int64_t needed = (std::int64_t(width_of(bounds)) * depth + 7) / 8;
  return !EmptyRect(&bounds) && rowBytes >= needed && height_of(bounds) <= 0x4000;
}

void read_placement(Reader& in, Bitmap& bits, bool withRegion) {
  bits.srcRect = in.rect();
  bits.dstRect = in.rect();
  bits.mode = SInt16(in.u16() & 7);
  if (withRegion) {
    UInt16 size = in.u16();
    if (size < 2) in.fail();
    in.skip(std::size_t(size) - 2);
  }
}

bool read_rows(Reader& in, Bitmap& bits, int rowBytes, bool packed) {
  if (std::size_t(height_of(bits.map.bounds)) > in.remaining()) return false;
  bits.pixels.assign(std::size_t(rowBytes) * height_of(bits.map.bounds), 0);
  for (int row = 0; row < height_of(bits.map.bounds); ++row) {
    std::span<UInt8> out(bits.pixels.data() + std::size_t(row) * rowBytes, std::size_t(rowBytes));
    if (!read_row(in, rowBytes, packed, out)) return false;
  }
  bits.map.baseAddr = reinterpret_cast<Ptr>(bits.pixels.data());
  return true;
}

// BitsRect, BitsRgn, PackBitsRect, PackBitsRgn: a one-bit bitmap, or an
// indexed pixel map with its colour table.
std::optional<Bitmap> read_indexed(Reader& in, bool packed, bool withRegion) {
  Bitmap bits;
  auto rowWord = in.u16();
  int rowBytes = rowWord & 0x3FFF;
  bits.map.bounds = in.rect();
  bits.map.pixelSize = 1;
  if ((rowWord & 0x8000) != 0) {
    read_pixmap_fields(in, bits.map);
    if (!read_color_table(in, bits.table)) return std::nullopt;
    bits.hasTable = true;
  }
  int depth = bits.map.pixelSize;
  bool knownDepth = depth == 1 || depth == 2 || depth == 4 || depth == 8;
  if (in.failed() || !knownDepth || !sane_bounds(bits.map.bounds, rowBytes, depth)) {
    return std::nullopt;
  }
  read_placement(in, bits, withRegion);
  if (in.failed() || !read_rows(in, bits, rowBytes, packed)) return std::nullopt;
  bits.map.rowBytes = SInt16(rowBytes | ((rowWord & 0x8000) != 0 ? 0x8000 : 0));
  bits.map.pixelType = 0;
  return bits;
}

// Direct pixels arrive as 32-bit words (pack type 1, and any row shorter
// than 8 bytes), as three bytes a pixel (pack type 2), or as one packed run
// of each component in turn (pack type 4, which type 0 means for 32-bit
// pixels). All become xRGB words in memory.
void direct_row_to_xrgb(std::span<const UInt8> row, int width, int layout, int components,
                        UInt8* out) {
  for (int x = 0; x < width; ++x) {
    UInt8* pixel = out + 4 * x;
    pixel[0] = 0xFF;
    for (int c = 0; c < 3; ++c) {
      std::size_t at = layout == 4   ? std::size_t((components - 3 + c) * width + x)
                       : layout == 2 ? std::size_t(3 * x + c)
                                     : std::size_t(4 * x + 1 + c);
      pixel[1 + c] = row[at];
    }
  }
}

std::size_t stored_row_length(int layout, int components, int width, int rowBytes) {
  if (layout == 4) return std::size_t(components) * std::size_t(width);
  if (layout == 2) return std::size_t(3) * std::size_t(width);
  return std::size_t(rowBytes);
}

std::optional<Bitmap> read_direct(Reader& in, bool withRegion) {
  Bitmap bits;
  in.skip(4);  // base address placeholder
  int rowBytes = in.u16() & 0x3FFF;
  bits.map.bounds = in.rect();
  read_pixmap_fields(in, bits.map);
  int width = width_of(bits.map.bounds);
  int packType = bits.map.packType == 0 ? 4 : bits.map.packType;
  int components = bits.map.cmpCount;
  bool knownLayout = bits.map.pixelSize == 32 && packType >= 1 && packType != 3 && packType <= 4 &&
                     (components == 3 || components == 4);
  if (in.failed() || !knownLayout || !sane_bounds(bits.map.bounds, rowBytes, 32)) {
    return std::nullopt;
  }
  read_placement(in, bits, withRegion);
  int layout = rowBytes < 8 ? 1 : packType;
  if (std::size_t(height_of(bits.map.bounds)) > in.remaining()) return std::nullopt;
  std::vector<UInt8> row(stored_row_length(layout, components, width, rowBytes));
  bits.pixels.assign(std::size_t(4) * width * height_of(bits.map.bounds), 0);
  for (int y = 0; y < height_of(bits.map.bounds); ++y) {
    if (in.failed() || !read_row(in, rowBytes, layout == 4, row)) return std::nullopt;
    direct_row_to_xrgb(row, width, layout, components,
                       bits.pixels.data() + std::size_t(4) * width * y);
  }
  bits.map.baseAddr = reinterpret_cast<Ptr>(bits.pixels.data());
  bits.map.rowBytes = SInt16((4 * width) | 0x8000);
  bits.map.pixelType = RGBDirect;
  return bits;
}

// How many bytes of data follow an opcode that is not drawn; nullopt for an
// opcode whose length this reader cannot tell.
std::optional<std::size_t> data_length(UInt16 op, Reader& in) {
  static constexpr SInt8 kFixed[0x30] = {
      0, -1, 8,  2,  1,  2,  4,  4,  2,  8,  8,  4,  4,  2,  4,  4,    // 0x00 - 0x0F
      8, 2,  -2, -2, -2, 2,  2,  0,  0,  0,  6,  6,  0,  6,  0,  6,    // 0x10 - 0x1F
      8, 4,  6,  2,  -3, -3, -3, -3, -4, -5, -5, -6, -3, -3, -3, -3};  // 0x20 - 0x2F
  if (op < 0x30) {
    SInt8 kind = kFixed[op];
    if (kind >= 0) return std::size_t(kind);
    switch (kind) {
      case -1: return std::size_t(in.u16()) - 2;         // region: size counts itself
      case -3: return std::size_t(in.u16());             // length word, then data
      case -4: in.skip(4); return std::size_t(in.u8());  // LongText
      case -5: in.skip(1); return std::size_t(in.u8());  // DHText, DVText
      case -6: in.skip(2); return std::size_t(in.u8());  // DHDVText
      default: return std::nullopt;                      // pixel patterns
    }
  }
  if (op <= 0x005F) return (op & 0x08) == 0 ? 8 : 0;   // rectangles, rounded, ovals
  if (op <= 0x006F) return (op & 0x08) == 0 ? 12 : 4;  // arcs
  if (op <= 0x008F) return (op & 0x0F) < 8 ? std::size_t(in.u16()) - 2 : 0;  // polygons, regions
  if (op >= 0x009C && op <= 0x009F) return std::size_t(in.u16());
  if (op == 0x00A0) return 2;
  if (op == 0x00A1) {
    in.skip(2);
    return std::size_t(in.u16());
  }
  if (op <= 0x00AF) return std::size_t(in.u16());
  if (op <= 0x00CF) return 0;
  if (op <= 0x00FE) return std::size_t(in.u32());
  if (op == kOpHeader) return 24;
  if (op <= 0x7FFF) return std::size_t(op >> 8) * 2;
  if (op <= 0x80FF) return 0;
  return std::size_t(in.u32());
}

std::optional<Bitmap> read_bitmap(UInt16 op, Reader& in) {
  switch (op) {
    case kOpBitsRect: return read_indexed(in, false, false);
    case kOpBitsRgn: return read_indexed(in, false, true);
    case kOpPackBitsRect: return read_indexed(in, true, false);
    case kOpPackBitsRgn: return read_indexed(in, true, true);
    case kOpDirectBitsRect: return read_direct(in, false);
    default: return read_direct(in, true);
  }
}

bool is_bitmap_op(UInt16 op) {
  return op == kOpBitsRect || op == kOpBitsRgn || op == kOpPackBitsRect || op == kOpPackBitsRgn ||
         op == kOpDirectBitsRect || op == kOpDirectBitsRgn;
}

// The bitmaps of a version 2 picture, in drawing order; nullopt when the
// picture is not version 2 or is damaged anywhere.
std::optional<std::vector<Bitmap>> parse(Reader& in) {
  in.skip(10);  // size and frame
  if (in.u16() != kOpVersion || in.u16() != 0x02FF) return std::nullopt;
  std::vector<Bitmap> bitmaps;
  while (!in.failed() && !in.at_end()) {
    in.align();
    UInt16 op = in.u16();
    if (op == kOpEnd) return bitmaps;
    if (is_bitmap_op(op)) {
      auto bits = read_bitmap(op, in);
      if (!bits) return std::nullopt;
      bitmaps.push_back(std::move(*bits));
      continue;
    }
    auto length = data_length(op, in);
    if (!length) return std::nullopt;
    in.skip(*length);
  }
  return in.failed() ? std::nullopt : std::optional(std::move(bitmaps));
}

// Where a rectangle of the picture's frame lands in dstRect.
Rect map_rect(const Rect& r, const Rect& frame, const Rect& dst) {
  auto map = [](int value, int from, int fromLength, int to, int toLength) {
    return SInt16(to + std::int64_t(value - from) * toLength / fromLength);
  };
  int fw = width_of(frame), fh = height_of(frame), dw = width_of(dst), dh = height_of(dst);
  return Rect{map(r.top, frame.top, fh, dst.top, dh), map(r.left, frame.left, fw, dst.left, dw),
              map(r.bottom, frame.top, fh, dst.top, dh),
              map(r.right, frame.left, fw, dst.left, dw)};
}

std::span<const UInt8> picture_bytes(PicHandle picture) {
  if (picture == nullptr || *picture == nullptr) return {};
  return std::span<const UInt8>(reinterpret_cast<const UInt8*>(*picture),
                                std::size_t(GetHandleSize(picture)));
}

}  // namespace

Rect* QDGetPictureBounds(PicHandle picture, Rect* frame) {
  Reader in(picture_bytes(picture));
  in.skip(2);
  Rect read = in.rect();
  *frame = in.failed() ? Rect{} : read;
  return frame;
}

void DrawPicture(PicHandle picture, const Rect* dstRect) {
  GrafPtr port = qd::current_port();
  Rect frame;
  QDGetPictureBounds(picture, &frame);
  if (port == nullptr || port->portPixMap == nullptr || EmptyRect(&frame)) return;
  Reader in(picture_bytes(picture));
  std::optional<std::vector<Bitmap>> bitmaps;
  try {
    bitmaps = parse(in);
  } catch (const std::bad_alloc&) {
    return;  // a picture too large to decode draws nothing, like a damaged one
  }
  if (!bitmaps) return;
  for (Bitmap& bits : *bitmaps) {
    bits.tableMaster = &bits.table;
    bits.map.pmTable = bits.hasTable ? &bits.tableMaster : nullptr;
    Rect target = map_rect(bits.dstRect, frame, *dstRect);
    CopyBits(&bits.map, *port->portPixMap, &bits.srcRect, &target, bits.mode, nullptr);
  }
}
