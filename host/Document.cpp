#include "host/Document.h"

#include <algorithm>
#include <cstring>

#include "MacErrors.h"
#include "host/DocumentSidecar.h"
#include "host/ReplaceFile.h"

namespace tessel::host {

namespace {

// Rows read or written at once when a whole file passes: enough to keep
// libtiff's calls few, little enough never to matter for memory.
constexpr std::size_t kPassBytes = std::size_t(8) << 20;

std::vector<UInt8> block_of(const Document& document) {
  std::vector<BlockEntry> entries =
      with_plugin_resources(document.otherBlockEntries, document.resources);
  if (document.fileConvention == SampleConvention::tiff) entries.push_back(tiff_samples_mark());
  return encode_block(entries);
}

SidecarContents sidecar_of(const Document& document) {
  return {document.resources, document.savedFingerprint, document.fileConvention};
}

// The block's entries when it holds any plug-in resource; a block without
// them (an editor's own, or ours emptied) defers to the sidecar. Either one
// marking the file as following TIFF is enough: an editor may have kept one
// and dropped the other.
void take_resources(Document& document, const std::optional<std::vector<UInt8>>& block,
                    const Expected<SidecarContents>& sidecar) {
  document.fileConvention = sidecar ? sidecar->convention : SampleConvention::plugin;
  if (block) {
    if (auto entries = decode_block(*block)) {
      document.resources = plugin_resources_of(*entries);
      std::erase_if(*entries, is_plugin_entry);
      if (std::erase_if(*entries, is_tiff_samples_mark) > 0)
        document.fileConvention = SampleConvention::tiff;
      document.otherBlockEntries = std::move(*entries);
      if (!document.resources.empty()) return;
    }
  }
  if (sidecar) document.resources = sidecar->resources;
}

Document described(TiffContents contents, const std::filesystem::path& path) {
  Document document = std::move(contents.image);
  const Expected<SidecarContents> sidecar = read_sidecar(path);
  take_resources(document, contents.block, sidecar);
  if (sidecar) document.savedFingerprint = sidecar->savedFingerprint;
  return document;
}

SInt32 rows_per_pass(const Document& document) {
  return SInt32(
      std::clamp<std::size_t>(kPassBytes / document.row_bytes(), 1, std::size_t(document.rows)));
}

// Every row of the document at path through reader, a pass at a time, each
// handed to take.
template <typename Take>
OSErr read_all_rows(DocumentReader& reader, const Document& document, Take take) {
  const SInt32 pass = rows_per_pass(document);
  std::vector<UInt8> rows(std::size_t(pass) * document.row_bytes());
  for (SInt32 top = 0; top < document.rows; top += pass) {
    const SInt32 count = std::min(pass, document.rows - top);
    if (OSErr err = reader.read_rows(top, count, rows); err != noErr) return err;
    take(top, std::span<const UInt8>(rows.data(), std::size_t(count) * document.row_bytes()));
  }
  return noErr;
}

}  // namespace

bool Document::modified() const {
  return !savedFingerprint || *savedFingerprint != pixel_fingerprint(*this);
}

UInt64 pixel_fingerprint(const Document& document) {
  PixelFingerprint fingerprint(document.columns, document.rows, document.planes);
  fingerprint.add(document.pixels);
  return fingerprint.value();
}

Expected<Document> read_document_description(const std::filesystem::path& path) {
  Expected<TiffContents> contents = read_tiff_description(path);
  if (!contents) return failure_of(contents);
  return described(std::move(*contents), path);
}

// ---------------------------------------------------------------------------
// Reading

OSErr DocumentReader::open(const std::filesystem::path& path, const Document& document) {
  if (OSErr err = tiff_.open(path); err != noErr) return err;
  const Document& image = tiff_.contents().image;
  if (image.columns != document.columns || image.rows != document.rows ||
      image.planes != document.planes) {
    return paramErr;
  }
  rows_ = image.rows;
  photometric_ = tiff_.contents().photometric;
  swap_ = document.fileConvention == SampleConvention::tiff && conventions_differ(photometric_);
  fingerprint_.emplace(image.columns, image.rows, image.planes);
  printedRows_ = 0;
  return noErr;
}

OSErr DocumentReader::read_rows(SInt32 top, SInt32 count, std::span<UInt8> rows) {
  return read_rows(top, count, PlaneRange::all(tiff_.contents().image.planes), rows);
}

OSErr DocumentReader::read_rows(SInt32 top, SInt32 count, PlaneRange planes,
                                std::span<UInt8> rows) {
  const Document& image = tiff_.contents().image;
  const bool printing = fingerprint_ && top == printedRows_;
  if (printing && !planes.covers(image.planes))
    return read_cut_from_whole(top, count, planes, rows);
  if (OSErr err = tiff_.read_rows(top, count, planes, rows); err != noErr) return err;
  const std::span<UInt8> read =
      rows.first(planes.bytes_of(std::size_t(count) * std::size_t(image.columns)));
  if (swap_) swap_sample_convention(photometric_, planes, read);
  if (printing) {
    fingerprint_->add(read);
    printedRows_ += count;
  }
  return noErr;
}

// Rows the fingerprint still waits for are read with every plane, so that
// the first pass of a plane-by-plane export leaves no pass of its own to do.
OSErr DocumentReader::read_cut_from_whole(SInt32 top, SInt32 count, PlaneRange planes,
                                          std::span<UInt8> rows) {
  const Document& image = tiff_.contents().image;
  const std::size_t pixels = std::size_t(count) * std::size_t(image.columns);
  if (!planes.lies_within(image.planes) || rows.size() < planes.bytes_of(pixels)) return paramErr;
  whole_.resize(pixels * std::size_t(image.planes));
  if (OSErr err = read_rows(top, count, whole_); err != noErr) return err;
  copy_planes(whole_.data(), std::size_t(image.planes), planes, pixels, rows.data());
  return noErr;
}

std::optional<UInt64> DocumentReader::fingerprint() const {
  if (!fingerprint_ || printedRows_ != rows_) return std::nullopt;
  return fingerprint_->value();
}

Expected<UInt64> file_fingerprint(const std::filesystem::path& path, const Document& document) {
  DocumentReader reader;
  if (OSErr err = reader.open(path, document); err != noErr) return Failure{err};
  if (OSErr err = read_all_rows(reader, document, [](SInt32, std::span<const UInt8>) {});
      err != noErr) {
    return Failure{err};
  }
  return *reader.fingerprint();
}

Expected<Document> read_document(const std::filesystem::path& path) {
  Expected<Document> document = read_document_description(path);
  if (!document) return document;
  DocumentReader reader;
  if (OSErr err = reader.open(path, *document); err != noErr) return Failure{err};
  PixelBytes& pixels = document->pixels;
  pixels.resize(document->row_bytes() * std::size_t(document->rows));
  const OSErr err = read_all_rows(reader, *document, [&](SInt32 top, std::span<const UInt8> rows) {
    std::memcpy(pixels.data() + std::size_t(top) * document->row_bytes(), rows.data(), rows.size());
  });
  if (err != noErr) return Failure{err};
  return document;
}

// ---------------------------------------------------------------------------
// Writing

DocumentWriter::~DocumentWriter() {
  if (staging_.empty()) return;
  tiff_.abandon();
  std::filesystem::remove(staging_);
}

OSErr DocumentWriter::start(const std::filesystem::path& staging, const Document& description,
                            bool planar) {
  if (OSErr err = tiff_.open(staging, description, planar); err != noErr) {
    std::error_code ignored;
    std::filesystem::remove(staging, ignored);
    return err;
  }
  staging_ = staging;
  rows_ = description.rows;
  planes_ = description.planes;
  planar_ = planar && description.planes > 1;
  photometric_ = tiff_photometric(description.mode);
  swap_ = description.fileConvention == SampleConvention::tiff && conventions_differ(photometric_);
  rowsWritten_ = 0;
  return noErr;
}

OSErr DocumentWriter::write_row(std::span<const UInt8> row) {
  std::span<const UInt8> stored = row;
  if (swap_) {
    // Changed in scratch, so that the caller's row stays as it holds it.
    scratch_.assign(row.begin(), row.end());
    const PlaneRange planes =
        planar_ ? PlaneRange{SInt16(rowsWritten_ / rows_), 1} : PlaneRange::all(planes_);
    swap_sample_convention(photometric_, planes, scratch_);
    stored = scratch_;
  }
  const OSErr err = tiff_.write_row(stored);
  if (err == noErr) ++rowsWritten_;
  return err;
}

OSErr DocumentWriter::commit(const std::filesystem::path& target, const Document& document) {
  const std::filesystem::path staging = std::exchange(staging_, {});
  OSErr err = finish_replacement(staging, target, tiff_.finish(block_of(document)));
  if (err != noErr) return err;
  return write_sidecar(target, sidecar_of(document));
}

OSErr write_document(const std::filesystem::path& path, const Document& document) {
  if (document.columns <= 0 || document.rows <= 0 || document.planes <= 0 ||
      document.pixels.size() != document.row_bytes() * std::size_t(document.rows)) {
    return paramErr;
  }
  DocumentWriter writer;
  if (OSErr err = writer.start(replacement_path(path), document, false); err != noErr) return err;
  for (SInt32 row = 0; row < document.rows; ++row) {
    const std::span<const UInt8> pixels(document.pixels);
    const OSErr err = writer.write_row(
        pixels.subspan(std::size_t(row) * document.row_bytes(), document.row_bytes()));
    if (err != noErr) return err;
  }
  return writer.commit(path, document);
}

OSErr update_plugin_resources(const std::filesystem::path& path, const Document& document) {
  if (OSErr err = replace_tiff_block(path, block_of(document)); err != noErr) return err;
  return write_sidecar(path, sidecar_of(document));
}

OSErr record_saved_back(const std::filesystem::path& path, Document& document, UInt64 fingerprint) {
  const std::optional<UInt64> before = document.savedFingerprint;
  document.savedFingerprint = fingerprint;
  const OSErr err = write_sidecar(path, sidecar_of(document));
  if (err != noErr) document.savedFingerprint = before;
  return err;
}

}  // namespace tessel::host
