#include "host/AcquireRun.h"

#include <algorithm>
#include <csignal>
#include <cstring>

#include "References.h"
#include "host/DisplayPixels.h"
#include "host/DocumentResources.h"
#include "host/HostServices.h"
#include "host/Messages.h"
#include "host/ReplaceFile.h"
#include "host/StripBuffers.h"
#include "tiles/CopyTile.h"

namespace tessel::host {

namespace {

std::string title_of(const AcquireParams& params) {
  Str255 name;
  Get(params, kAcquireDocumentName, name);
  return text_from_utf8(name);
}

bool document_mode(SInt16 mode) {
  return mode == kGrayMode || mode == kRGBMode || mode == kCMYKMode || mode == kLabMode;
}

// The document start described, without its pixels; false when documents
// cannot hold it.
bool describe_document(const AcquireParams& params, Document& document) {
  document.mode = Get(params, kAcquireImageMode);
  document.rows = Get(params, kAcquireDocumentRows);
  document.columns = Get(params, kAcquireDocumentColumns);
  document.planes = Get(params, kAcquireImagePlanes);
  document.xResolution = double(Get(params, kAcquireHorizontalResolution)) / 65536.0;
  document.yResolution = double(Get(params, kAcquireVerticalResolution)) / 65536.0;
  return document_mode(document.mode) && Get(params, kAcquireImageDepth) == 8 &&
         document.rows > 0 && document.columns > 0 && document.planes > 0;
}

struct Strip {
  VRect rect;
  SInt16 firstPlane;
  SInt16 lastPlane;
  SInt32 columnStep;
  SInt32 rowStep;
  SInt32 planeStep;
  const UInt8* data;
};

Strip delivered_strip(const AcquireParams& params) {
  return {Get(params, kAcquireDeliveredRect),
          Get(params, kAcquireFirstPlane),
          Get(params, kAcquireLastPlane),
          Get(params, kAcquireColumnStep),
          Get(params, kAcquireRowStep),
          Get(params, kAcquirePlaneStep),
          static_cast<const UInt8*>(ReferencePointer(Get(params, kAcquireDataPointer)))};
}

bool lies_inside(const Strip& strip, const Document& document) {
  const VRect& r = strip.rect;
  return r.top >= 0 && r.left >= 0 && r.top < r.bottom && r.left < r.right &&
         r.bottom <= document.rows && r.right <= document.columns && strip.firstPlane >= 0 &&
         strip.firstPlane <= strip.lastPlane && strip.lastPlane < document.planes &&
         strip.rowStep > 0 && strip.columnStep > 0 && strip.planeStep >= 0;
}

// The strip as a Tile, when a Tile can describe it: one plane of samples
// side by side, or planes side by side within a pixel (the layouts the
// plug-in delivers).
std::optional<Tile> tile_of(const Strip& strip) {
  const bool onePlane = strip.firstPlane == strip.lastPlane;
  if (onePlane ? strip.columnStep != 1 : !(strip.columnStep > 1 && strip.planeStep == 1))
    return std::nullopt;
  const VRect& r = strip.rect;
  return Tile{const_cast<UInt8*>(strip.data),
              TileArea{r.top, r.left, r.bottom, r.right, strip.firstPlane, strip.lastPlane + 1},
              strip.rowStep, strip.columnStep, 0};
}

// Where a strip's rows are gathered before they go into the file: whole
// rows of the document, or of one plane when the file is planar.
struct RowsBuffer {
  UInt8* data;
  std::size_t rowBytes;
  std::size_t columnBytes;
};

// Sample by sample, for layouts no Tile describes.
void copy_samples(const Strip& strip, const RowsBuffer& target) {
  const std::size_t width = std::size_t(strip.rect.right - strip.rect.left);
  const std::size_t planes = std::size_t(strip.lastPlane - strip.firstPlane + 1);
  for (SInt32 row = 0; row < strip.rect.bottom - strip.rect.top; ++row) {
    const UInt8* source = strip.data + std::size_t(row) * std::size_t(strip.rowStep);
    UInt8* into = target.data + std::size_t(row) * target.rowBytes;
    for (std::size_t column = 0; column < width; ++column) {
      for (std::size_t plane = 0; plane < planes; ++plane) {
        into[plane] = source[plane * std::size_t(strip.planeStep)];
      }
      source += strip.columnStep;
      into += target.columnBytes;
    }
  }
}

// Copies the strip's rows into target through the tile engine, whose
// copies run at memory speed whichever way the planes lie.
void copy_strip(const Strip& strip, const RowsBuffer& target) {
  const std::optional<Tile> source = tile_of(strip);
  if (!source) {
    copy_samples(strip, target);
    return;
  }
  const Tile rows{target.data, source->area, SInt32(target.rowBytes), SInt32(target.columnBytes),
                  0};
  CopyTile(*source, source->area, rows, source->area);
}

// Takes the plug-in's strips in the order it delivers them and writes their
// rows into the document file; the file is made at the first strip, planar
// when that strip holds one plane of several.
class StripSink {
 public:
  StripSink(const Document& document, const std::filesystem::path& staging)
      : document_(document), staging_(staging) {}

  OSErr take(const Strip& strip, std::unique_ptr<DocumentWriter>& file) {
    if (!file) {
      planar_ = strip.firstPlane == strip.lastPlane && document_.planes > 1;
      auto started = std::make_unique<DocumentWriter>();
      if (OSErr err = started->start(staging_, document_, planar_); err != noErr) return err;
      file = std::move(started);
    }
    if (!is_next(strip)) return paramErr;
    const std::size_t rowBytes = planar_ ? std::size_t(document_.columns) : document_.row_bytes();
    const SInt32 rows = strip.rect.bottom - strip.rect.top;
    // Rows laid out as the file's go straight from the strip buffer.
    const UInt8* first = strip.data;
    std::size_t step = std::size_t(strip.rowStep);
    if (!is_file_layout(strip)) {
      rows_.resize(rowBytes * std::size_t(rows));
      copy_strip(strip, {rows_.data(), rowBytes, planar_ ? 1 : std::size_t(document_.planes)});
      first = rows_.data();
      step = rowBytes;
    }
    for (SInt32 row = 0; row < rows; ++row) {
      const OSErr err = file->write_row({first + std::size_t(row) * step, rowBytes});
      if (err != noErr) return err;
    }
    advance(strip.rect.bottom);
    return noErr;
  }

 private:
  bool is_file_layout(const Strip& strip) const {
    const SInt16 planes = planar_ ? 1 : document_.planes;
    return strip.columnStep == planes && (planes == 1 || strip.planeStep == 1);
  }

  bool is_next(const Strip& strip) const {
    const bool planes = planar_ ? strip.firstPlane == nextPlane_ && strip.lastPlane == nextPlane_
                                : strip.firstPlane == 0 && strip.lastPlane == document_.planes - 1;
    return planes && strip.rect.left == 0 && strip.rect.right == document_.columns &&
           strip.rect.top == nextRow_;
  }

  void advance(SInt32 bottom) {
    nextRow_ = bottom;
    if (planar_ && nextRow_ == document_.rows) {
      nextRow_ = 0;
      ++nextPlane_;
    }
  }

  const Document& document_;
  std::filesystem::path staging_;
  bool planar_ = false;
  SInt32 nextRow_ = 0;
  SInt16 nextPlane_ = 0;
  std::vector<UInt8> rows_;
};

class Session {
 public:
  Session(AcquireEntryProc entry, const AcquireOptions& options, AcquireOutcome& outcome)
      : entry_(entry),
        options_(options),
        document_(outcome.document),
        file_(outcome.file),
        buffers_(strip_budget(options.memoryLimit)),
        resources_(outcome.document.resources),
        displayPixels_(NewProcReference(&display_pixels)),
        bufferProcs_(NewReference(buffers_.procs())),
        resourceProcs_(NewReference(resources_.procs())) {
    Set(params_, kAcquireBigDocuments, options.bigDocuments ? kBigDocumentsVersion : 0u);
    Set(params_, kAcquireTestAbort, callbacks_.test_abort());
    Set(params_, kAcquireUpdateProgress, callbacks_.update_progress());
    Set(params_, kAcquireMemoryLimit, options.memoryLimit);
    Set(params_, kAcquireBufferProcs, bufferProcs_.get());
    Set(params_, kAcquireResourceProcs, resourceProcs_.get());
    Set(params_, kAcquireDisplayProcs, displayPixels_.get());
    if (options.presetSelection) Set(params_, kAcquirePresetSelection, *options.presetSelection);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void run(AcquireOutcome& outcome) {
    outcome.result = run_phases([this](SInt16 selector) { return call(selector); },
                                [this, &outcome] {
                                  outcome.title = title_of(params_);
                                  return take_strips(outcome.strips, outcome.title);
                                });
    outcome.interrupted = InterruptGuard::requested();
  }

 private:
  SInt16 call(SInt16 selector) { return call_entry(entry_, selector, params_, dataSlot_); }

  void name_progress(const std::string& title) {
    const std::string& name = options_.imageName.empty() ? title : options_.imageName;
    callbacks_.progress().describe(message(Text::kProgressReading, {name}),
                                   UInt64(document_.row_bytes()) * UInt64(document_.rows));
  }

  // Continue calls until the plug-in hands over a null dataPointer.
  SInt16 take_strips(int& strips, const std::string& title) {
    if (!describe_document(params_, document_)) return paramErr;
    name_progress(title);
    StripSink sink(document_, options_.staging);
    for (;;) {
      Set(params_, kAcquireDataPointer, 0u);
      const SInt16 result = call(kSelectorContinue);
      if (++strips == options_.interruptAfterStrips) std::raise(SIGINT);
      if (result != noErr) return result;
      const Strip strip = delivered_strip(params_);
      if (strip.data == nullptr) return noErr;
      if (!lies_inside(strip, document_)) return paramErr;
      if (OSErr err = sink.take(strip, file_); err != noErr) return err;
    }
  }

  AcquireEntryProc entry_;
  const AcquireOptions& options_;
  Document& document_;
  std::unique_ptr<DocumentWriter>& file_;
  AcquireParams params_{};
  PluginDataSlot dataSlot_ = 0;
  RunCallbacks callbacks_;
  StripBuffers buffers_;
  DocumentResourceProcs resources_;
  Registered displayPixels_;
  Registered bufferProcs_;
  Registered resourceProcs_;
};

}  // namespace

SInt64 strip_budget(SInt32 memoryLimit) {
  return std::min<SInt64>(SInt64(memoryLimit) / 4, kLargestStripBuffer);
}

AcquireOutcome run_acquire(AcquireEntryProc entry, const AcquireOptions& options) {
  AcquireOutcome outcome;
  if (options.memoryLimit <= 0) {
    outcome.result = paramErr;
    return outcome;
  }
  AcquireOptions staged = options;
  if (staged.staging.empty()) staged.staging = staging_path(".");
  Session session(entry, staged, outcome);
  session.run(outcome);
  // The last continue, the one that ends the run, is not a strip.
  if (outcome.result == noErr && outcome.strips > 0) --outcome.strips;
  return outcome;
}

}  // namespace tessel::host
