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
  document.rows = Get(params, kAcquireImageRows);
  document.columns = Get(params, kAcquireImageColumns);
  document.planes = Get(params, kAcquireImagePlanes);
  document.xResolution = double(Get(params, kAcquireHorizontalResolution)) / 65536.0;
  document.yResolution = double(Get(params, kAcquireVerticalResolution)) / 65536.0;
  return document_mode(document.mode) && Get(params, kAcquireImageDepth) == 8 &&
         document.rows > 0 && document.columns > 0 && document.planes > 0;
}

struct Strip {
  Rect rect;
  SInt16 firstPlane;
  SInt16 lastPlane;
  SInt32 columnStep;
  SInt32 rowStep;
  SInt32 planeStep;
  const UInt8* data;
};

Strip delivered_strip(const AcquireParams& params) {
  return {Get(params, kAcquireDataRect),
          Get(params, kAcquireFirstPlane),
          Get(params, kAcquireLastPlane),
          Get(params, kAcquireColumnStep),
          Get(params, kAcquireRowStep),
          Get(params, kAcquirePlaneStep),
          static_cast<const UInt8*>(ReferencePointer(Get(params, kAcquireDataPointer)))};
}

bool lies_inside(const Strip& strip, const Document& document) {
  const Rect& r = strip.rect;
  return r.top >= 0 && r.left >= 0 && r.top < r.bottom && r.left < r.right &&
         r.bottom <= document.rows && r.right <= document.columns && strip.firstPlane >= 0 &&
         strip.firstPlane <= strip.lastPlane && strip.lastPlane < document.planes &&
         strip.rowStep > 0 && strip.columnStep > 0 && strip.planeStep >= 0;
}

// Copies the strip into the document: whole rows at once when the strip is
// laid out as the document is, else sample by sample into its planes.
void copy_strip(const Strip& strip, Document& document) {
  const std::size_t width = std::size_t(strip.rect.right - strip.rect.left);
  const std::size_t planes = std::size_t(strip.lastPlane - strip.firstPlane + 1);
  const std::size_t docPlanes = std::size_t(document.planes);
  const bool sameLayout = planes == docPlanes && std::size_t(strip.columnStep) == docPlanes &&
                          (planes == 1 || strip.planeStep == 1);
  for (SInt32 row = strip.rect.top; row < strip.rect.bottom; ++row) {
    const UInt8* source =
        strip.data + std::size_t(row - strip.rect.top) * std::size_t(strip.rowStep);
    UInt8* target = document.pixels.data() + std::size_t(row) * document.row_bytes() +
                    std::size_t(strip.rect.left) * docPlanes + std::size_t(strip.firstPlane);
    if (sameLayout) {
      std::memcpy(target, source, width * planes);
      continue;
    }
    for (std::size_t column = 0; column < width; ++column) {
      for (std::size_t plane = 0; plane < planes; ++plane) {
        target[plane] = source[plane * std::size_t(strip.planeStep)];
      }
      source += strip.columnStep;
      target += docPlanes;
    }
  }
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
