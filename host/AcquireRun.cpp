#include "host/AcquireRun.h"

#include <algorithm>
#include <csignal>
#include <cstring>

#include "References.h"
#include "host/DisplayPixels.h"
#include "host/DocumentResources.h"
#include "host/HostServices.h"
#include "host/Messages.h"
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

// The strip as a Tile, when a Tile can describe it: one plane, or planes
// side by side within a pixel (the layouts the plug-in delivers).
std::optional<Tile> tile_of(const Strip& strip) {
  const bool onePlane = strip.firstPlane == strip.lastPlane;
  if (!onePlane && !(strip.columnStep > 1 && strip.planeStep == 1)) return std::nullopt;
  const VRect& r = strip.rect;
  return Tile{const_cast<UInt8*>(strip.data),
              TileArea{r.top, r.left, r.bottom, r.right, strip.firstPlane, strip.lastPlane + 1},
              strip.rowStep, onePlane ? 1 : strip.columnStep, 0};
}

// Sample by sample, for layouts no Tile describes.
void copy_samples(const Strip& strip, Document& document) {
  const std::size_t width = std::size_t(strip.rect.right - strip.rect.left);
  const std::size_t planes = std::size_t(strip.lastPlane - strip.firstPlane + 1);
  const std::size_t docPlanes = std::size_t(document.planes);
  for (SInt32 row = strip.rect.top; row < strip.rect.bottom; ++row) {
    const UInt8* source =
        strip.data + std::size_t(row - strip.rect.top) * std::size_t(strip.rowStep);
    UInt8* target = document.pixels.data() + std::size_t(row) * document.row_bytes() +
                    std::size_t(strip.rect.left) * docPlanes + std::size_t(strip.firstPlane);
    for (std::size_t column = 0; column < width; ++column) {
      for (std::size_t plane = 0; plane < planes; ++plane) {
        target[plane] = source[plane * std::size_t(strip.planeStep)];
      }
      source += strip.columnStep;
      target += docPlanes;
    }
  }
}

// Copies the strip into the document through the tile engine, whose copies
// run at memory speed whichever way the planes lie.
void copy_strip(const Strip& strip, Document& document) {
  const std::optional<Tile> source = tile_of(strip);
  if (!source) {
    copy_samples(strip, document);
    return;
  }
  // The target starts at the strip's first sample, so that the tile engine's
  // 32-bit offsets stay within one strip of a document of any size.
  const TileArea& area = source->area;
  UInt8* first = document.pixels.data() + std::size_t(area.top) * document.row_bytes() +
                 std::size_t(area.left) * std::size_t(document.planes);
  const Tile target{first,
                    TileArea{area.top, area.left, area.bottom, area.right, 0, document.planes},
                    SInt32(document.row_bytes()), document.planes, 0};
  CopyTile(*source, area, target, area);
}

class Session {
 public:
  Session(AcquireEntryProc entry, const AcquireOptions& options, Document& document)
      : entry_(entry),
        options_(options),
        document_(document),
        buffers_(strip_budget(options.memoryLimit)),
        resources_(document.resources),
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
                                  return take_strips(outcome.strips);
                                });
    outcome.interrupted = InterruptGuard::requested();
  }

 private:
  SInt16 call(SInt16 selector) { return call_entry(entry_, selector, params_, dataSlot_); }

  // Continue calls until the plug-in hands over a null dataPointer.
  SInt16 take_strips(int& strips) {
    if (!describe_document(params_, document_)) return paramErr;
    document_.pixels.assign(document_.row_bytes() * std::size_t(document_.rows), 0);
    for (;;) {
      Set(params_, kAcquireDataPointer, 0u);
      const SInt16 result = call(kSelectorContinue);
      if (++strips == options_.interruptAfterStrips) std::raise(SIGINT);
      if (result != noErr) return result;
      const Strip strip = delivered_strip(params_);
      if (strip.data == nullptr) return noErr;
      if (!lies_inside(strip, document_)) return paramErr;
      copy_strip(strip, document_);
    }
  }

  AcquireEntryProc entry_;
  const AcquireOptions& options_;
  Document& document_;
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
  Session session(entry, options, outcome.document);
  session.run(outcome);
  // The last continue, the one that ends the run, is not a strip.
  if (outcome.result == noErr && outcome.strips > 0) --outcome.strips;
  return outcome;
}

}  // namespace tessel::host
