// tessel acquire [IMAGE] [-o DOCUMENT] [--script FILE] [--memory-limit BYTES]
// [--force]: the acquire entry point from prepare to finish, its dialogs
// included, and the new document written.
#pragma once

#include <filesystem>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

#include "host/AcquireRun.h"
#include "host/Messages.h"

namespace tessel::host {

// One acquire run as a command asks for it. acquire, extract and open all go
// through acquire_document, so that whatever acquire checks, refuses, warns
// of or names, the others do too.
struct AcquireRequest {
  std::optional<std::filesystem::path> image{};   // the file dialog's pre-selected answer
  std::optional<std::filesystem::path> output{};  // else named after the document's title
  bool force = false;                             // replace output when it exists
  AcquireOptions options{};
  Text done = Text::kAcquired;  // what is said of the document written: ^0 path, ^1 title
  // Where a document named after its title goes; else the current folder.
  std::optional<std::filesystem::path> folder{};
  // A document named after its title that would replace a file takes the
  // first free name instead: "TITLE 2.tif", "TITLE 3.tif", ...
  bool freeName = false;
};

// Runs the acquire entry point of the module and writes the new document;
// the exit status. The plug-in's own alerts have told the user of its
// refusals; err gets the host's line. *written, when given, receives the
// document's path once it is written, and only then.
int acquire_document(const AcquireRequest& request, std::ostream& out, std::ostream& err,
                     std::filesystem::path* written = nullptr);

// The complaint about a rectangle that is empty or reaches outside image.
std::string rect_outside_message(const std::filesystem::path& image, const VRect& rect);

// A document title made into a file name in the current folder: characters a
// file name cannot hold become '_', and ".tif" is added.
std::filesystem::path document_path_for_title(std::string_view title);

int run_acquire_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err);

}  // namespace tessel::host
