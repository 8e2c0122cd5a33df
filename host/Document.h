// Documents: the host's images, kept as TIFF files so that any image editor
// can open and change them, with the plug-in resources the host keeps for
// each document (the document tag among them).
//
// Plug-in resources live in two places: in the image-resource block of TIFF
// tag 34377 (ImageResourceBlock.h) and in a sidecar next to the document
// (DocumentSidecar.h), since editors drop tags they do not know. On reading,
// the block wins when it holds any plug-in resource; otherwise (no block, or
// an editor's block without ours) the sidecar's resources count. The sidecar
// alone remembers when the document was last written back into its source.
//
// Pixels outside the file are always in the plug-in's conventions; the file
// holds them as TIFF states them, or, for a document written before files
// did and so carrying no mark in its block or sidecar, as the plug-in's
// bytes (SampleConventions.h).
//
// Documents may be far larger than memory. The commands stream their pixels
// through DocumentReader and DocumentWriter a few rows at a time; a Document
// holds pixels only when read or made whole (read_document, write_document),
// which suits small documents and the tools that check them.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"
#include "host/DocumentRecord.h"
#include "host/PixelFingerprint.h"
#include "host/TiffDocument.h"

namespace tessel::host {

// The fingerprint (PixelFingerprint.h) of the pixels held.
UInt64 pixel_fingerprint(const Document& document);

// The document at path without its pixels: size, mode, resolution, plug-in
// resources, the saved-back fingerprint and how the file stores samples.
// Errors as read_document.
Expected<Document> read_document_description(const std::filesystem::path& path);

// A document's pixels in the plug-in's conventions, a band of rows at a
// time, whatever the file's layout or compression. Rows that pass in order
// from the top, the first time they pass, make up the fingerprint.
class DocumentReader {
 public:
  // document: as read_document_description gave it. Errors as read_document.
  OSErr open(const std::filesystem::path& path, const Document& document);
  // Rows [top, top + count), every plane, chunky, into rows.
  OSErr read_rows(SInt32 top, SInt32 count, std::span<UInt8> rows);
  // The same rows holding only the range's planes.
  OSErr read_rows(SInt32 top, SInt32 count, PlaneRange planes, std::span<UInt8> rows);
  // The fingerprint of every row, once all have passed in order.
  std::optional<UInt64> fingerprint() const;

 private:
  OSErr read_cut_from_whole(SInt32 top, SInt32 count, PlaneRange planes, std::span<UInt8> rows);

  TiffPixelReader tiff_{};
  std::vector<UInt8> whole_{};  // every plane of rows cut for a band of fewer
  std::optional<PixelFingerprint> fingerprint_{};
  SInt32 rows_ = 0;
  SInt32 printedRows_ = 0;
  UInt16 photometric_ = 0;
  bool swap_ = false;
};

// The fingerprint of the pixels in the file at path, read band by band.
Expected<UInt64> file_fingerprint(const std::filesystem::path& path, const Document& document);

// Writes a new document file row by row beside its final place and puts it
// there, with its sidecar, only once complete: a run that fails or stops
// leaves no document, and no old one damaged. Rows arrive in the plug-in's
// conventions and are stored in the document's fileConvention.
class DocumentWriter {
 public:
  DocumentWriter() = default;
  ~DocumentWriter();
  DocumentWriter(const DocumentWriter&) = delete;
  DocumentWriter& operator=(const DocumentWriter&) = delete;

  // Starts the file at staging for a document of description's size, mode,
  // planes and resolution; planar when rows will come one plane at a time.
  OSErr start(const std::filesystem::path& staging, const Document& description, bool planar);
  // The next row (TiffPixelWriter::write_row).
  OSErr write_row(std::span<const UInt8> row);
  // Rows not written are zero. Completes the file with document's block,
  // moves it over target and writes target's sidecar; the staging file is
  // gone afterwards, whatever the outcome.
  OSErr commit(const std::filesystem::path& target, const Document& document);

 private:
  TiffPixelWriter tiff_{};
  std::filesystem::path staging_{};
  std::vector<UInt8> scratch_{};
  SInt64 rowsWritten_ = 0;
  SInt32 rows_ = 0;
  UInt16 photometric_ = 0;
  SInt16 planes_ = 0;
  bool planar_ = false;
  bool swap_ = false;
};

// Reads a document whole, pixels included: a TIFF of 8-bit samples in any
// compression, strips or tiles, chunky or planar, classic or BigTIFF:
// grayscale, RGB, CMYK (ink set 1), CIELab or ICCLab; a JPEG file in YCbCr
// is read as RGB. The pixels are put into the plug-in's conventions by what
// the file's photometric says, when the file is marked as following TIFF.
// fnfErr for a missing file, ioErr when libtiff cannot read it, paramErr
// for a layout or colour space documents do not take.
Expected<Document> read_document(const std::filesystem::path& path);

// Writes the document with the pixels it holds, its block and its sidecar,
// replacing what was there; CMYK as Separated and Lab as CIELab, in the
// document's fileConvention.
OSErr write_document(const std::filesystem::path& path, const Document& document);

// Rewrites the plug-in resources in the document's block and its sidecar,
// keeping the mark of its fileConvention; the pixels of the file stay as
// they are.
OSErr update_plugin_resources(const std::filesystem::path& path, const Document& document);

// Notes in the sidecar that the pixels, whose fingerprint is given, now
// equal the source file's: the document is no longer modified.
OSErr record_saved_back(const std::filesystem::path& path, Document& document, UInt64 fingerprint);

}  // namespace tessel::host
