// One acquire run: the acquire entry point called from prepare to finish,
// with the host's records, callbacks and strip buffers, the delivered strips
// gathered into a new document.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "MacErrors.h"
#include "host/Document.h"
#include "host/ExportRun.h"
#include "records/HostRecords.h"

namespace tessel::host {

// Strip buffers never take more than this, whatever the memory limit: larger
// strips read no faster.
constexpr SInt64 kLargestStripBuffer = SInt64(8) << 20;

struct AcquireOptions {
  SInt32 memoryLimit = kDefaultMemoryLimit;  // bytes the run may use for its strip buffer
  // A test hook: Ctrl-C is raised in the process right after this many
  // continue calls. From $TESSEL_TEST_INTERRUPT_AFTER_STRIPS in the program.
  std::optional<int> interruptAfterStrips{};
  // The rectangle, in image pixels, that the run takes instead of asking
  // the user in the selection dialog.
  std::optional<VRect> presetSelection{};
  // Where the document file is written while the run lasts; the caller
  // moves it to its place (DocumentWriter::commit). Empty: in the current
  // folder.
  std::filesystem::path staging{};
  // Whether the run offers the big-document extension; only tests that
  // stand in for an older host turn it off.
  bool bigDocuments = true;
  // The image file's name as the progress bar gives it; empty: the
  // document's title.
  std::string imageName{};
};

struct AcquireOutcome {
  SInt16 result = 0;         // what the entry point answered first: 0, a code, or 1
  int strips = 0;            // strips delivered
  bool interrupted = false;  // SIGINT or SIGTERM asked the run to stop
  std::string title{};       // the document's title as the plug-in named it, in UTF-8
  Document document{};       // description and resources; complete only when result is 0
  // The document file, every delivered row in it, waiting for its place;
  // null when no strip came.
  std::unique_ptr<DocumentWriter> file{};
};

// The bytes a strip buffer may take under memoryLimit: a quarter of it, at
// most kLargestStripBuffer, leaving room for the copy of a strip on its way
// into the document file.
SInt64 strip_budget(SInt32 memoryLimit);

// Runs entry: prepare, start, continue until the plug-in reports the end,
// finish after a successful start. Each strip's rows go into the document
// file as it arrives: strips come from the top down, whole rows of every
// plane, or one plane after another (the file is then planar). A strip out
// of that order or outside the described document ends the run with
// paramErr; a document the plug-in describes in a mode or size documents
// cannot hold, likewise.
AcquireOutcome run_acquire(AcquireEntryProc entry, const AcquireOptions& options);

}  // namespace tessel::host
