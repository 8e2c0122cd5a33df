#include "host/TiffDocument.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "MacErrors.h"

namespace tessel::host {

namespace {

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
      return kRGBMode;
    default: return std::nullopt;
  }
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

// Opens path for reading pixels: JPEG in YCbCr comes out as RGB, as
// mode_of promises, on every handle.
TiffFile open_for_pixels(const std::filesystem::path& path) {
  // Without memory mapping libtiff reads uncompressed strips straight into
  // the caller's buffer instead of copying them out of the mapping.
  TiffFile tiff = open_tiff(path, "rm");
  if (tiff && field_or<UInt16>(tiff.get(), TIFFTAG_PHOTOMETRIC, 0) == PHOTOMETRIC_YCBCR &&
      field_or<UInt16>(tiff.get(), TIFFTAG_COMPRESSION, 1) == COMPRESSION_JPEG) {
    TIFFSetField(tiff.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  return tiff;
}

// Opens path for reading its description; limit receives the most pixel
// bytes the file can hold.
OSErr open_described(const std::filesystem::path& path, TiffFile& tiff, TiffContents& contents,
                     UInt64& limit) {
  std::error_code error;
  const std::uintmax_t fileBytes = std::filesystem::file_size(path, error);
  if (error) return fnfErr;
  tiff = open_for_pixels(path);
  if (!tiff) return ioErr;
  limit = pixel_byte_limit(tiff.get(), UInt64(fileBytes));
  if (OSErr err = read_description(tiff.get(), limit, contents.image); err != noErr) return err;
  contents.block = read_block_tag(tiff.get());
  contents.photometric = field_or<UInt16>(tiff.get(), TIFFTAG_PHOTOMETRIC, 0);
  return noErr;
}

}  // namespace

Expected<TiffContents> read_tiff_description(const std::filesystem::path& path) {
  TiffFile tiff;
  TiffContents contents;
  UInt64 limit = 0;
  if (OSErr err = open_described(path, tiff, contents, limit); err != noErr) {
    return Expected<TiffContents>::failure(err);
  }
  return contents;
}

// ---------------------------------------------------------------------------
// Reading pixels

OSErr TiffPixelReader::open(const std::filesystem::path& path) {
  path_ = path;
  if (OSErr err = open_described(path, tiff_, contents_, limit_); err != noErr) return err;
  TIFF* tiff = tiff_.get();
  tiled_ = TIFFIsTiled(tiff) != 0;
  separate_ =
      contents_.image.planes > 1 &&
      field_or<UInt16>(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
  if (!tiled_) {
    rowsPerStrip_ = std::clamp<UInt32>(field_or<UInt32>(tiff, TIFFTAG_ROWSPERSTRIP, 0), 1,
                                       UInt32(contents_.image.rows));
    return noErr;
  }
  tileWidth_ = field_or<UInt32>(tiff, TIFFTAG_TILEWIDTH, 0);
  tileLength_ = field_or<UInt32>(tiff, TIFFTAG_TILELENGTH, 0);
  if (tileWidth_ == 0 || tileLength_ == 0) return paramErr;
  const UInt64 tileBytes = UInt64(TIFFTileSize64(tiff));
  const Document& image = contents_.image;
  const UInt32 rowsKept = std::min(tileLength_, UInt32(image.rows));
  if (tileBytes == 0 || tileBytes > limit_ || !within(rowsKept, image.row_bytes(), limit_))
    return ioErr;
  return noErr;
}

OSErr TiffPixelReader::read_rows(SInt32 top, SInt32 count, std::span<UInt8> rows) {
  return read_rows(top, count, PlaneRange::all(contents_.image.planes), rows);
}

OSErr TiffPixelReader::read_rows(SInt32 top, SInt32 count, PlaneRange planes,
                                 std::span<UInt8> rows) {
  const Document& image = contents_.image;
  if (top < 0 || count < 0 || SInt64(top) + count > image.rows ||
      !planes.lies_within(image.planes) ||
      rows.size() < planes.bytes_of(std::size_t(count) * std::size_t(image.columns))) {
    return paramErr;
  }
  if (tiled_) return read_tiled(top, count, planes, rows);
  return read_scanlines(top, count, planes, rows);
}

// Decodes row of the cursor's plane into line, decoding and dropping the
// rows of its strip before it when the cursor is not there already.
OSErr TiffPixelReader::read_line(std::size_t cursor, UInt32 row, UInt8* line) {
  Cursor& at = cursors_[cursor];
  const UInt16 plane = separate_ ? UInt16(cursor) : 0;
  const UInt32 stripTop = row / rowsPerStrip_ * rowsPerStrip_;
  const bool onTheWay = at.next <= row && at.next / rowsPerStrip_ == row / rowsPerStrip_;
  for (UInt32 skipped = onTheWay ? at.next : stripTop; skipped < row; ++skipped) {
    if (TIFFReadScanline(at.file.get(), skipped_.data(), skipped, plane) != 1) return ioErr;
  }
  if (TIFFReadScanline(at.file.get(), line, row, plane) != 1) return ioErr;
  at.next = row + 1;
  return noErr;
}

OSErr TiffPixelReader::read_scanlines(SInt32 top, SInt32 count, PlaneRange planes,
                                      std::span<UInt8> rows) {
  const Document& image = contents_.image;
  const std::size_t columns = std::size_t(image.columns);
  if (cursors_.empty()) {
    const std::size_t passes = separate_ ? std::size_t(image.planes) : 1;
    for (std::size_t pass = 0; pass < passes; ++pass) {
      cursors_.push_back({open_for_pixels(path_), 0});
      if (!cursors_.back().file) return ioErr;
    }
    skipped_.resize(std::size_t(TIFFScanlineSize64(tiff_.get())));
    line_.resize(separate_ ? columns : image.row_bytes());
  }
  const std::size_t rowBytes = planes.bytes_of(columns);
  for (SInt32 row = 0; row < count; ++row) {
    UInt8* target = rows.data() + std::size_t(row) * rowBytes;
    const UInt32 at = UInt32(top + row);
    if (separate_) {
      if (OSErr err = read_plane_line(at, planes, target); err != noErr) return err;
    } else if (planes.covers(image.planes)) {
      if (OSErr err = read_line(0, at, target); err != noErr) return err;
    } else {
      if (OSErr err = read_line(0, at, line_.data()); err != noErr) return err;
      copy_planes(line_.data(), std::size_t(image.planes), planes, columns, target);
    }
  }
  return noErr;
}

// One row of the range's planes from a file that stores each plane apart;
// a single plane goes straight to target.
OSErr TiffPixelReader::read_plane_line(UInt32 row, PlaneRange planes, UInt8* target) {
  const std::size_t wanted = std::size_t(planes.count);
  for (SInt16 plane = planes.first; plane < planes.first + planes.count; ++plane) {
    UInt8* line = wanted == 1 ? target : line_.data();
    if (OSErr err = read_line(std::size_t(plane), row, line); err != noErr) return err;
    if (wanted > 1)
      place_plane(line, line_.size(), target, wanted, std::size_t(plane - planes.first));
  }
  return noErr;
}

// Decodes every tile of the tile row starting at top, the range's planes
// only where they are stored apart, into tileRow_ as chunky rows of the
// range's planes clipped to the image.
OSErr TiffPixelReader::load_tile_row(UInt32 top, PlaneRange planes) {
  const Document& image = contents_.image;
  const std::size_t wanted = std::size_t(planes.count);
  const std::size_t rowBytes = planes.bytes_of(std::size_t(image.columns));
  const UInt32 length = std::min(tileLength_, UInt32(image.rows) - top);
  tile_.resize(std::size_t(TIFFTileSize64(tiff_.get())));
  tileRow_.resize(std::size_t(length) * rowBytes);
  tileRowTop_ = -1;
  const SInt16 first = separate_ ? planes.first : 0;
  const SInt16 end = separate_ ? SInt16(planes.first + planes.count) : 1;
  for (SInt16 plane = first; plane < end; ++plane) {
    for (UInt32 x = 0; x < UInt32(image.columns); x += tileWidth_) {
      if (TIFFReadTile(tiff_.get(), tile_.data(), x, top, 0, UInt16(plane)) < 0) return ioErr;
      const UInt32 width = std::min(tileWidth_, UInt32(image.columns) - x);
      for (UInt32 row = 0; row < length; ++row) {
        UInt8* target = tileRow_.data() + std::size_t(row) * rowBytes + x * wanted;
        if (separate_) {
          place_plane(tile_.data() + std::size_t(row) * tileWidth_, width, target, wanted,
                      std::size_t(plane - planes.first));
        } else {
          const UInt8* source = tile_.data() + std::size_t(row) * tileWidth_ * image.planes;
          copy_planes(source, std::size_t(image.planes), planes, width, target);
        }
      }
    }
  }
  tileRowTop_ = top;
  tilePlanes_ = planes;
  return noErr;
}

OSErr TiffPixelReader::read_tiled(SInt32 top, SInt32 count, PlaneRange planes,
                                  std::span<UInt8> rows) {
  const std::size_t rowBytes = planes.bytes_of(std::size_t(contents_.image.columns));
  for (SInt32 row = top; row < top + count;) {
    const UInt32 tileTop = UInt32(row) / tileLength_ * tileLength_;
    if (tileRowTop_ != SInt64(tileTop) || tilePlanes_ != planes) {
      if (OSErr err = load_tile_row(tileTop, planes); err != noErr) return err;
    }
    const SInt32 tileRows = SInt32(tileRow_.size() / rowBytes);
    const SInt32 taken = std::min(top + count, SInt32(tileTop) + tileRows) - row;
    std::memcpy(rows.data() + std::size_t(row - top) * rowBytes,
                tileRow_.data() + std::size_t(row - SInt32(tileTop)) * rowBytes,
                std::size_t(taken) * rowBytes);
    row += taken;
  }
  return noErr;
}

// ---------------------------------------------------------------------------
// Writing pixels

namespace {}  // namespace

UInt16 tiff_photometric(SInt16 mode) {
  switch (mode) {
    case kRGBMode: return PHOTOMETRIC_RGB;
    case kCMYKMode: return PHOTOMETRIC_SEPARATED;
    case kLabMode: return PHOTOMETRIC_CIELAB;
    default: return PHOTOMETRIC_MINISBLACK;
  }
}

namespace {

SInt16 colour_channels(SInt16 mode) {
  switch (mode) {
    case kRGBMode:
    case kLabMode: return 3;
    case kCMYKMode: return 4;
    default: return 1;
  }
}

constexpr std::size_t kStripBytes = std::size_t(1) << 20;

constexpr const char* kBigTiffVariable = "TESSEL_TEST_BIGTIFF_BYTES";

void set_description(TIFF* tiff, const Document& image, bool planar) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, UInt32(image.columns));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, UInt32(image.rows));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, UInt16(image.planes));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, tiff_photometric(image.mode));
  if (image.mode == kCMYKMode) TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK);
  const SInt16 extra = SInt16(image.planes - colour_channels(image.mode));
  if (extra > 0) {
    const std::vector<UInt16> kinds(std::size_t(extra), EXTRASAMPLE_UNSPECIFIED);
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, UInt16(extra), kinds.data());
  }
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  // Strips of about a megabyte: libtiff's default of 8 KB makes a large
  // document thousands of strips, each a seek and a read when it is opened.
  const std::size_t rowBytes = planar ? std::size_t(image.columns) : image.row_bytes();
  const std::size_t rows = std::max<std::size_t>(1, kStripBytes / rowBytes);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, UInt32(std::min<std::size_t>(rows, UInt32(image.rows))));
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, float(image.xResolution));
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, float(image.yResolution));
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
}

}  // namespace

UInt64 bigtiff_threshold() {
  if (const char* given = std::getenv(kBigTiffVariable)) return std::strtoull(given, nullptr, 10);
  return (UInt64(4) << 30) - (UInt64(64) << 20);
}

OSErr TiffPixelWriter::open(const std::filesystem::path& path, const Document& image, bool planar) {
  if (image.columns <= 0 || image.rows <= 0 || image.planes <= 0) return paramErr;
  const UInt64 pixelBytes = UInt64(image.row_bytes()) * UInt64(image.rows);
  tiff_ = open_tiff(path, pixelBytes > bigtiff_threshold() ? "w8" : "w");
  if (!tiff_) return ioErr;
  set_description(tiff_.get(), image, planar);
  planar_ = planar && image.planes > 1;
  rows_ = image.rows;
  rowsInFile_ = SInt64(image.rows) * (planar_ ? image.planes : 1);
  rowBytes_ = planar_ ? std::size_t(image.columns) : image.row_bytes();
  rowsWritten_ = 0;
  return noErr;
}

OSErr TiffPixelWriter::write_row(std::span<const UInt8> row) {
  if (!tiff_ || rowsWritten_ >= rowsInFile_ || row.size() < rowBytes_) return paramErr;
  const UInt32 y = UInt32(rowsWritten_ % rows_);
  const UInt16 plane = UInt16(rowsWritten_ / rows_);
  // libtiff takes the row as writable but only reads it when uncompressed.
  if (TIFFWriteScanline(tiff_.get(), const_cast<UInt8*>(row.data()), y, plane) != 1) return ioErr;
  ++rowsWritten_;
  return noErr;
}

OSErr TiffPixelWriter::finish(std::span<const UInt8> block) {
  if (!tiff_) return paramErr;
  const std::vector<UInt8> zeros(rowsWritten_ < rowsInFile_ ? rowBytes_ : 0, 0);
  while (rowsWritten_ < rowsInFile_) {
    if (OSErr err = write_row(zeros); err != noErr) {
      tiff_.reset();
      return err;
    }
  }
  if (!block.empty())
    TIFFSetField(tiff_.get(), TIFFTAG_PHOTOSHOP, UInt32(block.size()), block.data());
  const bool written = TIFFWriteDirectory(tiff_.get()) == 1;
  // Closing flushes nothing more once the directory is written.
  tiff_.reset();
  return written ? noErr : ioErr;
}

// ---------------------------------------------------------------------------

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

std::string tiff_problem() { return last_tiff_problem(); }

std::optional<UInt16> tiff_sample_format(const std::filesystem::path& path) {
  TiffFile tiff = open_tiff(path, "r");
  if (!tiff) return std::nullopt;
  return field_or<UInt16>(tiff.get(), TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
}

}  // namespace tessel::host
