#include "host/TiffDocument.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "MacErrors.h"
#include "host/ReplaceFile.h"

namespace tessel::host {

namespace {

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffFile = std::unique_ptr<TIFF, TiffCloser>;

std::string& last_problem() {
  static std::string text;
  return text;
}

// Libtiff's own words would reach standard error raw, in its terms and
// before ours; its errors are kept for our message instead, and its warnings
// (tags it does not know, mostly) concern nobody.
void keep_error(const char* /*module*/, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof text, format, arguments);
  last_problem() = text;
}

void drop_warning(const char* /*module*/, const char* /*format*/, va_list /*arguments*/) {}

TiffFile open_tiff(const std::filesystem::path& path, const char* mode) {
  TIFFSetErrorHandler(keep_error);
  TIFFSetWarningHandler(drop_warning);
  last_problem().clear();
  return TiffFile(TIFFOpen(path.c_str(), mode));
}

template <typename T>
T field_or(TIFF* tiff, ttag_t tag, T fallback) {
  T value = fallback;
  return TIFFGetFieldDefaulted(tiff, tag, &value) == 1 ? value : fallback;
}

// The host mode of the file's colour space, or nullopt when documents do not
// take it. A JPEG file in YCbCr is decoded to RGB by libtiff.
std::optional<SInt16> mode_of(TIFF* tiff) {
  UInt16 photometric = 0;
  if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) != 1) return std::nullopt;
  switch (photometric) {
    case PHOTOMETRIC_MINISBLACK: return kGrayMode;
    case PHOTOMETRIC_RGB: return kRGBMode;
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB: return kLabMode;
    case PHOTOMETRIC_SEPARATED:
      if (field_or<UInt16>(tiff, TIFFTAG_INKSET, INKSET_CMYK) != INKSET_CMYK) return std::nullopt;
      return kCMYKMode;
    case PHOTOMETRIC_YCBCR:
      if (field_or<UInt16>(tiff, TIFFTAG_COMPRESSION, 1) != COMPRESSION_JPEG) return std::nullopt;
      TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
      return kRGBMode;
    default: return std::nullopt;
  }
}

// Strips and tiles alike: a grid of blocks, each read whole, per plane when
// the planes are stored apart.
struct BlockGrid {
  UInt32 width;
  UInt32 length;
  bool tiled;
  bool separate;
};

BlockGrid grid_of(TIFF* tiff, const Document& image) {
  const bool separate =
      field_or<UInt16>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  if (TIFFIsTiled(tiff)) {
    return {field_or<UInt32>(tiff, TIFFTAG_TILEWIDTH, 0),
            field_or<UInt32>(tiff, TIFFTAG_TILELENGTH, 0), true, separate};
  }
  const UInt32 rows = std::min(field_or<UInt32>(tiff, TIFFTAG_ROWSPERSTRIP, UInt32(image.rows)),
                               UInt32(image.rows));
  return {UInt32(image.columns), std::max<UInt32>(rows, 1), false, separate};
}

// Copies one decoded block (rows of grid.width samples, or pixels when
// chunky) into the document at (x, y), clipped to the image.
void place_block(const BlockGrid& grid, std::span<const UInt8> block, UInt32 x, UInt32 y,
                 UInt16 plane, Document& image) {
  const std::size_t planes = std::size_t(image.planes);
  const std::size_t step = grid.separate ? 1 : planes;
  const UInt32 width = std::min(grid.width, UInt32(image.columns) - x);
  const UInt32 length = std::min(grid.length, UInt32(image.rows) - y);
  for (UInt32 row = 0; row < length; ++row) {
    const UInt8* source = block.data() + std::size_t(row) * grid.width * step;
    UInt8* target =
        image.pixels.data() + (std::size_t(y + row) * std::size_t(image.columns) + x) * planes;
    if (!grid.separate) {
      std::memcpy(target, source, std::size_t(width) * planes);
      continue;
    }
    for (UInt32 column = 0; column < width; ++column)
      target[column * planes + plane] = source[column];
  }
}

bool read_block(TIFF* tiff, const BlockGrid& grid, UInt32 x, UInt32 y, UInt16 plane,
                std::vector<UInt8>& buffer) {
  const tmsize_t size = tmsize_t(buffer.size());
  if (grid.tiled) {
    return TIFFReadEncodedTile(tiff, TIFFComputeTile(tiff, x, y, 0, plane), buffer.data(), size) >=
           0;
  }
  return TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, plane), buffer.data(), size) >= 0;
}

// More than any compression we read packs into a byte (deflate stops near
// 1032 to 1, LZW near 2730 to 1): a file that claims more pixels than this
// many times its bytes is damaged, and is refused before memory is taken
// for them. Uncompressed pixels must all be in the file.
constexpr UInt64 kMostPixelsPerFileByte = 4096;

UInt64 pixel_byte_limit(TIFF* tiff, UInt64 fileBytes) {
  const bool raw =
      field_or<UInt16>(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_NONE;
  return raw ? fileBytes : fileBytes * kMostPixelsPerFileByte;
}

// Whether count units of unitBytes (both nonzero) stay within limit; divided
// rather than multiplied, since the product can pass 64 bits.
bool within(UInt64 count, UInt64 unitBytes, UInt64 limit) { return count <= limit / unitBytes; }

// Chunky strips are whole rows of the document: each is decoded straight
// into place.
OSErr read_strips_in_place(TIFF* tiff, const BlockGrid& grid, Document& image) {
  image.pixels.resize(image.row_bytes() * std::size_t(image.rows));
  for (UInt32 y = 0; y < UInt32(image.rows); y += grid.length) {
    const std::size_t rows = std::min(grid.length, UInt32(image.rows) - y);
    UInt8* target = image.pixels.data() + std::size_t(y) * image.row_bytes();
    const tmsize_t size = tmsize_t(rows * image.row_bytes());
    if (TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, 0), target, size) < size) return ioErr;
  }
  return noErr;
}

// limit: the most bytes of pixels the file can hold (pixel_byte_limit); a
// tile or strip larger than that is refused before its buffer is made.
OSErr read_pixels(TIFF* tiff, UInt64 limit, Document& image) {
  const BlockGrid grid = grid_of(tiff, image);
  if (grid.width == 0 || grid.length == 0) return paramErr;
  if (!grid.tiled && !grid.separate) return read_strips_in_place(tiff, grid, image);
  const std::size_t step = grid.separate ? 1 : std::size_t(image.planes);
  if (!within(grid.length, UInt64(grid.width) * step, limit)) return ioErr;
  std::vector<UInt8> buffer(std::size_t(grid.width) * grid.length * step);
  image.pixels.assign(image.row_bytes() * std::size_t(image.rows), 0);
  const UInt16 passes = grid.separate ? UInt16(image.planes) : 1;
  for (UInt16 plane = 0; plane < passes; ++plane) {
    for (UInt32 y = 0; y < UInt32(image.rows); y += grid.length) {
      for (UInt32 x = 0; x < UInt32(image.columns); x += grid.width) {
        if (!read_block(tiff, grid, x, y, plane, buffer)) return ioErr;
        place_block(grid, buffer, x, y, plane, image);
      }
    }
  }
  return noErr;
}

double resolution_in_inches(TIFF* tiff, ttag_t tag) {
  const double value = field_or<float>(tiff, tag, 72.0f);
  const UInt16 unit = field_or<UInt16>(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  return unit == RESUNIT_CENTIMETER ? value * 2.54 : value;
}

// Size, mode and resolution; paramErr for what documents do not take, ioErr
// for more pixels than limit bytes (pixel_byte_limit).
OSErr read_description(TIFF* tiff, UInt64 limit, Document& image) {
  const std::optional<SInt16> mode = mode_of(tiff);
  const UInt32 columns = field_or<UInt32>(tiff, TIFFTAG_IMAGEWIDTH, 0);
  const UInt32 rows = field_or<UInt32>(tiff, TIFFTAG_IMAGELENGTH, 0);
  const UInt16 planes = field_or<UInt16>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  if (!mode || field_or<UInt16>(tiff, TIFFTAG_BITSPERSAMPLE, 1) != 8 || columns == 0 || rows == 0 ||
      columns > 0x7FFFFFFF || rows > 0x7FFFFFFF || planes == 0 || planes > 0x7FFF) {
    return paramErr;
  }
  image.mode = *mode;
  image.columns = SInt32(columns);
  image.rows = SInt32(rows);
  image.planes = SInt16(planes);
  if (!within(image.rows, image.row_bytes(), limit)) return ioErr;
  image.xResolution = resolution_in_inches(tiff, TIFFTAG_XRESOLUTION);
  image.yResolution = resolution_in_inches(tiff, TIFFTAG_YRESOLUTION);
  return noErr;
}

std::optional<std::vector<UInt8>> read_block_tag(TIFF* tiff) {
  UInt32 count = 0;
  void* data = nullptr;
  if (TIFFGetField(tiff, TIFFTAG_PHOTOSHOP, &count, &data) != 1 || data == nullptr)
    return std::nullopt;
  const auto* bytes = static_cast<const UInt8*>(data);
  return std::vector<UInt8>(bytes, bytes + count);
}

UInt16 photometric_of(SInt16 mode) {
  switch (mode) {
    case kRGBMode: return PHOTOMETRIC_RGB;
    case kCMYKMode: return PHOTOMETRIC_SEPARATED;
    case kLabMode: return PHOTOMETRIC_CIELAB;
    default: return PHOTOMETRIC_MINISBLACK;
  }
}

SInt16 colour_channels(SInt16 mode) {
  switch (mode) {
    case kRGBMode:
    case kLabMode: return 3;
    case kCMYKMode: return 4;
    default: return 1;
  }
}

constexpr std::size_t kStripBytes = std::size_t(1) << 20;

void set_description(TIFF* tiff, const Document& image) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, UInt32(image.columns));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, UInt32(image.rows));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, UInt16(image.planes));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, photometric_of(image.mode));
  if (image.mode == kCMYKMode) TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK);
  const SInt16 extra = SInt16(image.planes - colour_channels(image.mode));
  if (extra > 0) {
    const std::vector<UInt16> kinds(std::size_t(extra), EXTRASAMPLE_UNSPECIFIED);
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, UInt16(extra), kinds.data());
  }
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  // Strips of about a megabyte: libtiff's default of 8 KB makes a large
  // document thousands of strips, each a seek and a read when it is opened.
  const std::size_t rows = std::max<std::size_t>(1, kStripBytes / image.row_bytes());
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, UInt32(std::min<std::size_t>(rows, UInt32(image.rows))));
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, float(image.xResolution));
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, float(image.yResolution));
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
}

}  // namespace

Expected<TiffContents> read_tiff(const std::filesystem::path& path) {
  std::error_code error;
  const std::uintmax_t fileBytes = std::filesystem::file_size(path, error);
  if (error) return Expected<TiffContents>::failure(fnfErr);
  // Without memory mapping libtiff reads uncompressed strips straight into
  // the caller's buffer instead of copying them out of the mapping.
  TiffFile tiff = open_tiff(path, "rm");
  if (!tiff) return Expected<TiffContents>::failure(ioErr);
  TiffContents contents;
  const UInt64 limit = pixel_byte_limit(tiff.get(), UInt64(fileBytes));
  if (OSErr err = read_description(tiff.get(), limit, contents.image); err != noErr) {
    return Expected<TiffContents>::failure(err);
  }
  if (OSErr err = read_pixels(tiff.get(), limit, contents.image); err != noErr) {
    return Expected<TiffContents>::failure(err);
  }
  contents.block = read_block_tag(tiff.get());
  contents.photometric = field_or<UInt16>(tiff.get(), TIFFTAG_PHOTOMETRIC, 0);
  return contents;
}

namespace {

// Rows that change on the way out go through one row of scratch, so the
// document's pixels stay as the caller holds them.
OSErr write_rows(TIFF* tiff, const Document& image) {
  const UInt16 photometric = photometric_of(image.mode);
  const bool swap =
      image.fileConvention == SampleConvention::tiff && conventions_differ(photometric);
  std::vector<UInt8> scratch(swap ? image.row_bytes() : 0);
  for (SInt32 row = 0; row < image.rows; ++row) {
    const UInt8* source = image.pixels.data() + std::size_t(row) * image.row_bytes();
    void* line = const_cast<UInt8*>(source);
    if (swap) {
      std::copy(source, source + image.row_bytes(), scratch.begin());
      swap_sample_convention(photometric, image.planes, scratch);
      line = scratch.data();
    }
    if (TIFFWriteScanline(tiff, line, UInt32(row), 0) != 1) return ioErr;
  }
  return noErr;
}

OSErr write_tiff_file(const std::filesystem::path& path, const Document& image,
                      std::span<const UInt8> block) {
  TiffFile tiff = open_tiff(path, "w");
  if (!tiff) return ioErr;
  set_description(tiff.get(), image);
  if (!block.empty())
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOSHOP, UInt32(block.size()), block.data());
  if (OSErr err = write_rows(tiff.get(), image); err != noErr) return err;
  return TIFFWriteDirectory(tiff.get()) == 1 ? noErr : ioErr;
}

}  // namespace

OSErr write_tiff(const std::filesystem::path& path, const Document& image,
                 std::span<const UInt8> block) {
  if (image.columns <= 0 || image.rows <= 0 || image.planes <= 0 ||
      image.pixels.size() != image.row_bytes() * std::size_t(image.rows)) {
    return paramErr;
  }
  const std::filesystem::path replacement = replacement_path(path);
  return finish_replacement(replacement, path, write_tiff_file(replacement, image, block));
}

OSErr replace_tiff_block(const std::filesystem::path& path, std::span<const UInt8> block) {
  TiffFile tiff = open_tiff(path, "r+");
  if (!tiff) return ioErr;
  if (block.empty()) {
    TIFFUnsetField(tiff.get(), TIFFTAG_PHOTOSHOP);
  } else {
    TIFFSetField(tiff.get(), TIFFTAG_PHOTOSHOP, UInt32(block.size()), block.data());
  }
  return TIFFRewriteDirectory(tiff.get()) == 1 ? noErr : ioErr;
}

std::string tiff_problem() { return last_problem(); }

std::optional<UInt16> tiff_sample_format(const std::filesystem::path& path) {
  TiffFile tiff = open_tiff(path, "r");
  if (!tiff) return std::nullopt;
  return field_or<UInt16>(tiff.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
}

}  // namespace tessel::host
