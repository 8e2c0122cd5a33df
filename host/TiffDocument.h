// The TIFF side of documents, through libtiff. Pixels move a few rows at a
// time in both directions, so a document of any size is read and written
// in little memory.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Expected.h"
#include "host/ChunkyPlanes.h"
#include "host/DocumentRecord.h"
#include "host/TiffFile.h"

namespace tessel::host {

struct TiffContents {
  Document image;                             // mode, size and resolution; no pixels or resources
  std::optional<std::vector<UInt8>> block{};  // tag 34377 when present
  UInt16 photometric = 0;                     // as the file states it
};

// The file's description and block, without its pixels. Errors as
// read_document states them.
Expected<TiffContents> read_tiff_description(const std::filesystem::path& path);

// A document file's pixels, exactly as the file stores them, handed out as
// chunky rows in any order; strips or tiles, chunky or planar, any
// compression libtiff decodes. Reading from the top down is what it is
// quick at: strips are decoded a row at a time, once, and a tile row is
// kept until a row below it is wanted. A row above the last one read, or
// past rows not read, is reached by decoding its strip from its first row,
// since compressed strips cannot be entered in the middle.
class TiffPixelReader {
 public:
  // Errors as read_document states them.
  OSErr open(const std::filesystem::path& path);
  const TiffContents& contents() const { return contents_; }
  // Rows [top, top + count) of every plane into rows (count whole rows);
  // ioErr when libtiff cannot decode them, paramErr for rows outside.
  OSErr read_rows(SInt32 top, SInt32 count, std::span<UInt8> rows);
  // The same rows holding only the range's planes. A file that stores planes
  // apart is read for those planes alone.
  OSErr read_rows(SInt32 top, SInt32 count, PlaneRange planes, std::span<UInt8> rows);

 private:
  OSErr read_scanlines(SInt32 top, SInt32 count, PlaneRange planes, std::span<UInt8> rows);
  OSErr read_plane_line(UInt32 row, PlaneRange planes, UInt8* target);
  OSErr read_line(std::size_t cursor, UInt32 row, UInt8* line);
  OSErr read_tiled(SInt32 top, SInt32 count, PlaneRange planes, std::span<UInt8> rows);
  OSErr load_tile_row(UInt32 top, PlaneRange planes);

  // A handle reading strips a row at a time, and the row it decodes next.
  struct Cursor {
    TiffFile file;
    UInt32 next = 0;
  };

  std::filesystem::path path_{};
  TiffFile tiff_{};
  TiffContents contents_{};
  UInt64 limit_ = 0;  // the most pixel bytes the file can hold
  bool tiled_ = false;
  bool separate_ = false;
  UInt32 tileWidth_ = 0, tileLength_ = 0;
  UInt32 rowsPerStrip_ = 0;
  // Strips: one cursor, or one per plane when planes are stored apart, so
  // that each reads its own strips from the top and none restarts another's.
  std::vector<Cursor> cursors_{};
  std::vector<UInt8> line_{};
  std::vector<UInt8> skipped_{};
  // Tiles: the decoded rows of one tile row, chunky, from tileRowTop_, with
  // the planes of tilePlanes_.
  std::vector<UInt8> tileRow_{};
  std::vector<UInt8> tile_{};
  SInt64 tileRowTop_ = -1;
  PlaneRange tilePlanes_{};
};

// Writes a new document file row by row, in the order the plug-in delivers
// rows: uncompressed strips, chunky, or planar (PlanarConfiguration 2) when
// the rows come one plane at a time. Files whose pixels pass 4 GiB are
// BigTIFF, smaller ones classic TIFF.
class TiffPixelWriter {
 public:
  // image: size, planes, mode and resolution.
  OSErr open(const std::filesystem::path& path, const Document& image, bool planar);
  // The next row in order: every plane's samples chunky, or, planar, one
  // plane's samples, all rows of plane 0 first.
  OSErr write_row(std::span<const UInt8> row);
  // Rows not written are zero. block empty leaves tag 34377 out. Closes the
  // file, also on failure.
  OSErr finish(std::span<const UInt8> block);
  void abandon() { tiff_.reset(); }

 private:
  TiffFile tiff_{};
  SInt64 rowsWritten_ = 0;
  SInt64 rowsInFile_ = 0;  // rows, times planes when planar
  SInt32 rows_ = 0;
  bool planar_ = false;
  std::size_t rowBytes_ = 0;
};

// The PhotometricInterpretation documents of mode are written with.
UInt16 tiff_photometric(SInt16 mode);

// Pixels past this many bytes make a BigTIFF document: a little under 4 GiB,
// leaving room for the directory, the strip tables and the block. Tests
// lower it through $TESSEL_TEST_BIGTIFF_BYTES.
UInt64 bigtiff_threshold();

// What libtiff said of the last file it failed to open or read, in its own
// words (empty when it said nothing); for the host's message, never shown
// alone.
std::string tiff_problem();

// The file's SampleFormat (1 when it states none); nullopt when libtiff
// cannot open it.
std::optional<UInt16> tiff_sample_format(const std::filesystem::path& path);

// Replaces tag 34377 of the first directory in place; the pixels stay.
OSErr replace_tiff_block(const std::filesystem::path& path, std::span<const UInt8> block);

}  // namespace tessel::host
