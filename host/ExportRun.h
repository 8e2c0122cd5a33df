// One export run: the export entry point called from prepare to finish over
// a document, with the host's records, callbacks and bands.
#pragma once

#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Files.h"
#include "MacErrors.h"
#include "host/Document.h"
#include "records/HostRecords.h"

namespace tessel::host {

constexpr SInt32 kDefaultMemoryLimit = 64 << 20;
constexpr SInt16 kUserCancelled = 996;

struct ExportOptions {
  SInt32 memoryLimit = kDefaultMemoryLimit;  // bytes of pixels handed over at once
  // A test hook: interruptSignal is raised in the process right after this
  // many continue calls. From $TESSEL_TEST_INTERRUPT_AFTER_BANDS and
  // $TESSEL_TEST_INTERRUPT_SIGNAL (INT or TERM) in the program.
  std::optional<int> interruptAfterBands{};
  int interruptSignal = SIGINT;
  // Whether the run offers the big-document extension; only tests that
  // stand in for an older host turn it off.
  bool bigDocuments = true;
  // The image file's name as the progress bar gives it; empty: the document's.
  std::string imageName{};
};

struct ExportOutcome {
  SInt16 result = 0;              // what the entry point answered first: 0, a code, or 1
  int bands = 0;                  // continue calls made
  bool interrupted = false;       // SIGINT or SIGTERM asked the run to stop
  bool savedBack = false;         // the plug-in cleared the modified flag, and it was recorded
  bool resourcesChanged = false;  // the plug-in rewrote the document's resources
  OSErr storeError = noErr;       // writing the document's records back failed
  // Files written in the run whose final sync or close failed: their bands
  // may not be on disk although the plug-in finished.
  std::vector<platform::files::FailedClose> unsynced{};
  // Files another process was writing, whose writes the platform refused.
  std::vector<std::filesystem::path> lockedOut{};
};

// Whether the records can describe the document: with the big-document
// extension any positive size. A host without it leaves a side past 16 bits
// for the plug-in to refuse with its own message.
bool fits_export_records(const Document& document);

// Runs entry over document, the file at path: prepare, start, continue
// while a band is requested, finish after a successful start. Resources the
// plug-in changed are written back into the document's block and sidecar;
// a run that ends with the modified flag cleared is recorded as saved back.
// A request outside the document ends the run with paramErr.
ExportOutcome run_export(ExportEntryProc entry, const std::filesystem::path& path,
                         Document& document, const ExportOptions& options);

}  // namespace tessel::host
