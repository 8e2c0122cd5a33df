#include "host/ExportRun.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <optional>
#include <vector>

#include "MacErrors.h"
#include "References.h"
#include "host/DocumentResources.h"
#include "host/HostServices.h"
#include "host/Messages.h"
#include "host/StripBuffers.h"

namespace tessel::host {

namespace {

struct Band {
  VRect rect;
  SInt16 firstPlane;
  SInt16 lastPlane;
};

bool is_empty(const VRect& rect) { return rect.top >= rect.bottom || rect.left >= rect.right; }

bool lies_inside(const Band& band, const Document& document) {
  return band.rect.top >= 0 && band.rect.left >= 0 && band.rect.bottom <= document.rows &&
         band.rect.right <= document.columns && band.firstPlane >= 0 &&
         band.firstPlane <= band.lastPlane && band.lastPlane < document.planes;
}

// Hands over the band, read from the document file: rows as wide as the
// document straight as read, else the band's columns cut from the rows a
// slice at a time, so that no more than the band and one slice are ever
// held. Only the band's planes are read.
class BandSource {
 public:
  BandSource(DocumentReader& reader, const Document& document)
      : reader_(reader), document_(document) {}

  OSErr hand_over(const Band& band, ExportParams& params) {
    const OSErr err = is_whole_width(band) ? read_whole_rows(band) : cut_band(band);
    if (err != noErr) return err;
    reference_.emplace(NewReference(band_.data()));
    Set(params, kExportDataPointer, reference_->get());
    Set(params, kExportRowStep, SInt32(band_row_bytes(band)));
    return noErr;
  }

  void take_back(ExportParams& params) {
    Set(params, kExportDataPointer, 0u);
    reference_.reset();
  }

 private:
  // Bytes of whole rows read at once while a band is cut from them.
  static constexpr std::size_t kSliceBytes = std::size_t(8) << 20;

  static PlaneRange planes_of(const Band& band) {
    return {band.firstPlane, SInt16(band.lastPlane - band.firstPlane + 1)};
  }

  static std::size_t band_row_bytes(const Band& band) {
    return planes_of(band).bytes_of(std::size_t(band.rect.right - band.rect.left));
  }

  bool is_whole_width(const Band& band) const {
    return band.rect.left == 0 && band.rect.right == document_.columns;
  }

  OSErr read_whole_rows(const Band& band) {
    const SInt32 rows = band.rect.bottom - band.rect.top;
    band_.resize(std::size_t(rows) * band_row_bytes(band));
    return reader_.read_rows(band.rect.top, rows, planes_of(band), band_);
  }

  OSErr cut_band(const Band& band) {
    const PlaneRange planes = planes_of(band);
    const std::size_t sliceRowBytes = planes.bytes_of(std::size_t(document_.columns));
    const SInt32 perSlice = SInt32(std::max<std::size_t>(1, kSliceBytes / sliceRowBytes));
    const std::size_t rowBytes = band_row_bytes(band);
    band_.resize(rowBytes * std::size_t(band.rect.bottom - band.rect.top));
    UInt8* target = band_.data();
    for (SInt32 top = band.rect.top; top < band.rect.bottom; top += perSlice) {
      const SInt32 rows = std::min(perSlice, band.rect.bottom - top);
      slice_.resize(std::size_t(rows) * sliceRowBytes);
      if (OSErr err = reader_.read_rows(top, rows, planes, slice_); err != noErr) return err;
      const UInt8* source = slice_.data() + planes.bytes_of(std::size_t(band.rect.left));
      for (SInt32 row = 0; row < rows; ++row, source += sliceRowBytes, target += rowBytes)
        std::memcpy(target, source, rowBytes);
    }
    return noErr;
  }

  DocumentReader& reader_;
  const Document& document_;
  std::vector<UInt8> band_;
  std::vector<UInt8> slice_;
  std::optional<Registered> reference_;
};

Band requested_band(const ExportParams& params) {
  return {Get(params, kExportRequestedRect), Get(params, kExportFirstPlane),
          Get(params, kExportLastPlane)};
}

void describe(ExportParams& params, const Document& document, const ExportOptions& options) {
  Set(params, kExportBigDocuments, options.bigDocuments ? kBigDocumentsVersion : 0u);
  Set(params, kExportMemoryLimit, options.memoryLimit);
  Set(params, kExportImageMode, document.mode);
  Set(params, kExportDocumentRows, document.rows);
  Set(params, kExportDocumentColumns, document.columns);
  Set(params, kExportImagePlanes, document.planes);
  // Until the plug-in says otherwise the document differs from its file.
  Set(params, kExportModifiedFlag, UInt8(1));
}

// The run itself, with every record and callback in place.
class Session {
 public:
  Session(ExportEntryProc entry, Document& document, DocumentReader& reader,
          const ExportOptions& options)
      : entry_(entry),
        document_(document),
        options_(options),
        buffers_(options.memoryLimit),
        resources_(document.resources),
        bands_(reader, document),
        bufferProcs_(NewReference(buffers_.procs())),
        resourceProcs_(NewReference(resources_.procs())) {
    describe(params_, document, options);
    Set(params_, kExportTestAbort, callbacks_.test_abort());
    Set(params_, kExportUpdateProgress, callbacks_.update_progress());
    callbacks_.progress().describe(message(Text::kProgressWriting, {options.imageName}),
                                   UInt64(document.row_bytes()) * UInt64(document.rows));
    Set(params_, kExportBufferProcs, bufferProcs_.get());
    Set(params_, kExportResourceProcs, resourceProcs_.get());
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  ExportOutcome run() {
    ExportOutcome outcome;
    platform::files::take_failed_closes();  // earlier runs' are not this run's
    platform::files::take_locked_out_writes();
    outcome.result = run_phases([this](SInt16 selector) { return call(selector); },
                                [this, &outcome] { return continue_while_wanted(outcome.bands); });
    outcome.interrupted = InterruptGuard::requested();
    outcome.resourcesChanged = resources_.changed();
    outcome.unsynced = platform::files::take_failed_closes();
    outcome.lockedOut = platform::files::take_locked_out_writes();
    outcome.savedBack = outcome.result == noErr && outcome.unsynced.empty() &&
                        Get(params_, kExportModifiedFlag) == 0;
    return outcome;
  }

 private:
  SInt16 call(SInt16 selector) { return call_entry(entry_, selector, params_, dataSlot_); }

  SInt16 continue_while_wanted(int& bands) {
    for (Band band = requested_band(params_); !is_empty(band.rect);
         band = requested_band(params_)) {
      if (!lies_inside(band, document_)) return paramErr;
      if (OSErr err = bands_.hand_over(band, params_); err != noErr) return err;
      const SInt16 result = call(kSelectorContinue);
      bands_.take_back(params_);
      if (++bands == options_.interruptAfterBands) std::raise(options_.interruptSignal);
      if (result != noErr) return result;
    }
    return noErr;
  }

  ExportEntryProc entry_;
  Document& document_;
  const ExportOptions& options_;
  ExportParams params_{};
  PluginDataSlot dataSlot_ = 0;
  RunCallbacks callbacks_;
  StripBuffers buffers_;
  DocumentResourceProcs resources_;
  BandSource bands_;
  Registered bufferProcs_;
  Registered resourceProcs_;
};

// The fingerprint the bands made as they passed; a plug-in that asked for
// them out of order, or not for all, leaves it to one more pass.
OSErr record_saved_back(const std::filesystem::path& path, Document& document,
                        const DocumentReader& reader) {
  if (std::optional<UInt64> passed = reader.fingerprint())
    return record_saved_back(path, document, *passed);
  const Expected<UInt64> fingerprint = file_fingerprint(path, document);
  if (!fingerprint) return fingerprint.error();
  return record_saved_back(path, document, *fingerprint);
}

}  // namespace

bool fits_export_records(const Document& document) {
  return document.rows > 0 && document.columns > 0 && document.planes > 0;
}

ExportOutcome run_export(ExportEntryProc entry, const std::filesystem::path& path,
                         Document& document, const ExportOptions& options) {
  if (!fits_export_records(document) || options.memoryLimit <= 0) {
    return ExportOutcome{.result = paramErr};
  }
  DocumentReader reader;
  if (OSErr err = reader.open(path, document); err != noErr) return ExportOutcome{.result = err};
  ExportOutcome outcome;
  {
    Session session(entry, document, reader, options);
    outcome = session.run();
  }
  if (outcome.resourcesChanged) outcome.storeError = update_plugin_resources(path, document);
  if (outcome.savedBack && outcome.storeError == noErr) {
    outcome.storeError = record_saved_back(path, document, reader);
    outcome.savedBack = outcome.storeError == noErr;
  }
  return outcome;
}

}  // namespace tessel::host
