// Sample images for the format tests and benchmarks: TIFF, Scitex CT and
// native version-2 files whose every sample comes from one formula, so a test
// knows each byte without keeping a copy of the image.
//
// The writers stream rows to disk through one bounded buffer: memory stays
// near kWriteBufferBytes however large the image. Given a sparse box, they
// write only the blocks that meet it (TIFF strips or tiles, Scitex lines,
// native rows) and leave the rest of the pixel data a hole, so a file of
// hundreds of gigabytes takes a few megabytes of disk. They return noErr,
// paramErr for options they cannot lay out, or the file system's error. Every option has a default, so
// designated initializers name only what a sample changes.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "MacTypes.h"
#include "ResourceFork.h"
#include "host/ImageResourceBlock.h"

namespace tessel::samples {

// The byte the writers store for one sample. Each coordinate is spread by its
// own odd multiplier, the products are joined by xor and pass through a
// 32-bit avalanche, so neighbouring rows, columns and planes never repeat in
// small steps.
constexpr UInt8 sample_value(UInt32 seed, SInt32 row, SInt32 column, SInt32 plane) {
  UInt32 h = seed * 0x9E3779B9u ^ UInt32(row) * 0x85EBCA6Bu ^ UInt32(column) * 0xC2B2AE35u ^
             UInt32(plane) * 0x27D4EB2Fu;
  h ^= h >> 16;
  h *= 0x7FEB352Du;
  h ^= h >> 15;
  h *= 0x846CA68Bu;
  h ^= h >> 16;
  return UInt8(h);
}

constexpr std::size_t kWriteBufferBytes = std::size_t(4) << 20;

// Pixels top to bottom, left to right; bottom and right exclusive.
struct SampleBox {
  UInt64 top = 0;
  UInt64 left = 0;
  UInt64 bottom = 0;
  UInt64 right = 0;
};

// The Finder creator the writers give files whose type they set.
constexpr OSType kSampleCreator = FourCC("TSSL");

// ---------------------------------------------------------------------------
// Image resources

// The samples write the same block the host keeps documents' resources in.
using ImageResourceEntry = host::BlockEntry;

// The entries as one image-resource block.
inline std::vector<UInt8> image_resource_block(std::span<const ImageResourceEntry> entries) {
  return host::encode_block(entries);
}

// ---------------------------------------------------------------------------
// Thumbnails

// A thumbnail for a file's resource fork: preview note "pnot" 0 naming
// picture "PICT" pictureId, a version 2 picture of width × height direct
// pixels whose upper half (rows below height ÷ 2) is topColor and the rest
// bottomColor (0xRRGGBB). noteVersion and noteType let a note name something
// a reader must refuse.
struct SampleThumbnail {
  UInt16 width = 32;
  UInt16 height = 32;
  UInt32 topColor = 0xFF0000;
  UInt32 bottomColor = 0x0000FF;
  SInt16 pictureId = 256;
  UInt16 noteVersion = 0;
  OSType noteType = FourCC("PICT");
};

// The note and the picture, to go into a fork.
std::vector<platform::resources::Resource> thumbnail_resources(const SampleThumbnail& thumbnail);

// ---------------------------------------------------------------------------
// TIFF

namespace tiff_type {
constexpr UInt16 kByte = 1, kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kSByte = 6,
                 kUndefined = 7, kSShort = 8, kSLong = 9, kSRational = 10, kFloat = 11,
                 kDouble = 12, kLong8 = 16, kSLong8 = 17, kIFD8 = 18;
}

// Bytes per value of a field type (TIFF 6.0, section 2); 1 for unknown types.
UInt32 tiff_type_size(UInt16 type);

// A directory entry given value by value. Each value fills one unit of the
// type (RATIONAL and SRATIONAL take two values per count: numerator then
// denominator). count defaults to what the values make; a count that
// disagrees sizes the stored field, truncating the values or padding zeros.
struct TiffField {
  UInt16 tag = 0;
  UInt16 type = tiff_type::kShort;
  std::vector<UInt64> values{};
  std::optional<UInt64> count{};
};

struct TiffRational {
  UInt32 numerator = 72;
  UInt32 denominator = 1;
};

struct TiffTiles {
  UInt32 width = 16;
  UInt32 length = 16;
};

// Pixels are always stored raw, whatever Compression, Predictor or FillOrder
// say. With 8 bits per sample the byte of column x, plane p is
// sample_value(seed, row, x, p); at other depths byte i of a row of plane p
// (p = 0 when chunky) is sample_value(seed, row, i, p). Rows of tiles that
// reach past the image are filled from the same formula.
struct TiffOptions {
  UInt32 width = 64;
  UInt32 height = 48;
  UInt16 samplesPerPixel = 1;
  UInt16 bitsPerSample = 8;
  std::optional<UInt16> photometric = 1;
  bool littleEndian = false;
  UInt32 rowsPerStrip = 0;  // 0: no RowsPerStrip tag, the image is one strip
  UInt16 compression = 1;
  std::optional<UInt16> predictor{};
  std::optional<UInt16> fillOrder{};
  UInt16 planarConfiguration = 1;  // 2 stores the planes one after another
  std::optional<TiffTiles> tiles{};
  std::optional<std::pair<UInt16, UInt16>> dotRange{};
  std::vector<UInt16> extraSamples{};
  std::optional<TiffRational> xResolution = TiffRational{};
  std::optional<TiffRational> yResolution = TiffRational{};
  std::optional<UInt16> resolutionUnit = 2;
  std::vector<UInt16> colorMap{};  // 3 × 2^bits values, red then green then blue; empty: no tag
  std::optional<std::vector<UInt8>> imageResources{};  // tag 34377, bytes as given
  bool descendingTags = false;
  bool directoryAfterPixels = false;
  // Each replaces the standard entry of its tag; a tag listed twice appears twice.
  std::vector<TiffField> extraFields{};
  std::vector<UInt16> omitTags{};
  UInt32 seed = 0;
  std::optional<OSType> fileType{};            // Finder type in the sidecar; none: no sidecar
  std::optional<SampleThumbnail> thumbnail{};  // a resource fork holding it when given
  // Version 43: 8-byte offsets and counts, the chunk tables as LONG8. Without
  // it a layout past 4 GiB is refused with paramErr.
  bool bigTiff = false;
  std::optional<SampleBox> sparse{};
};

// A colour map of 3 × entries 16-bit values from the sample formula.
std::vector<UInt16> sample_color_map(UInt32 seed, UInt32 entries);

OSErr write_tiff(const std::filesystem::path& file, const TiffOptions& options);

// ---------------------------------------------------------------------------
// Scitex CT

// The header's number fields: real "+.25400000E+02", integer "+00000002000".
// nullopt when the value does not fit the field.
std::optional<std::string> scitex_real_field(double value);
std::optional<std::string> scitex_integer_field(SInt64 value);

// Pixels: the byte of column x, channel c of line r is
// sample_value(seed, r, x, c); the pad byte of an odd-width segment holds
// sample_value(seed, r, width, c). The override fields replace what is
// written at their offsets (texts are cut or blank-padded to the field).
struct ScitexOptions {
  UInt32 width = 64;
  UInt32 height = 48;
  UInt8 channels = 4;  // 1..16
  UInt8 units = 1;     // 0 millimetres, 1 inches
  double pixelsPerInch = 300.0;
  std::optional<double> physicalWidth{};  // in units; default from pixelsPerInch
  std::optional<double> physicalHeight{};
  UInt32 seed = 0;
  std::optional<UInt8> unitsByte{};
  std::optional<UInt8> channelsByte{};
  std::optional<std::string> heightText{};
  std::optional<std::string> widthText{};
  std::optional<std::string> linesText{};
  std::optional<std::string> pixelsPerLineText{};
  std::optional<OSType> fileType{};
  std::vector<platform::resources::Resource> resources{};  // a resource fork when not empty
  std::optional<SampleBox> sparse{};
};

OSErr write_scitex(const std::filesystem::path& file, const ScitexOptions& options);

// ---------------------------------------------------------------------------
// Native format, version 2

namespace native_id {
constexpr SInt16 kDescription = 1000, kColorTable = 1003, kResolution = 1005, kDuotone = 1018;
}

// Data fork: channel after channel, each rows × columns bytes, the byte of
// column x, row r, channel c being sample_value(seed, r, x, c). Resource
// fork: "LUMN" 1000 always, 1005 when a resolution is given, 1003 for mode 2
// and 1018 for mode 8 (both from the formula unless given). Finder type
// "LUMN".
struct NativeOptions {
  UInt16 channels = 1;
  SInt16 rows = 48;
  SInt16 columns = 64;
  UInt16 depth = 8;
  SInt16 mode = 1;
  std::optional<Fixed> horizontalResolution{};  // 16.16 pixels per inch
  std::optional<Fixed> verticalResolution{};    // defaults to the horizontal one
  std::optional<std::vector<UInt8>> colorTable{};
  std::optional<std::vector<UInt8>> duotone{};
  std::vector<SInt16> omitResources{};
  bool omitResourceFork = false;
  // Added after the standard ones; each replaces the standard one of its id.
  std::vector<platform::resources::Resource> extraResources{};
  UInt32 seed = 0;
  std::optional<SampleBox> sparse{};
};

// The resource fork write_native would give the file.
platform::resources::ResourceFork native_resource_fork(const NativeOptions& options);

OSErr write_native(const std::filesystem::path& file, const NativeOptions& options);

}  // namespace tessel::samples
