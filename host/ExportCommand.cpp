#include "host/ExportCommand.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "Files.h"
#include "MacErrors.h"
#include "StandardFile.h"
#include "host/Commands.h"
#include "host/ExportRun.h"
#include "host/HostOptions.h"
#include "host/ImagePath.h"
#include "host/Messages.h"
#include "host/Module.h"
#include "host/TiffDocument.h"
#include "plugin/TagTheDocument.h"

namespace tessel::host {

namespace {

// The test hook of ExportOptions::interruptAfterBands and interruptSignal.
constexpr const char* kInterruptVariable = "TESSEL_TEST_INTERRUPT_AFTER_BANDS";
constexpr const char* kInterruptSignalVariable = "TESSEL_TEST_INTERRUPT_SIGNAL";

struct ExportArguments {
  std::filesystem::path document{};
  std::optional<std::filesystem::path> select{};
  CommonOptions common{};
  ExportOptions options{};
};

constexpr CommandOptions kExportOptions{"export", kMemoryLimitOption | kScriptOption};

// One option and its value at args[at]; false after telling err what is wrong.
bool take_option(std::span<const std::string_view> args, std::size_t& at, ExportArguments& parsed,
                 std::ostream& err) {
  const Taken common = take_common_option(args, at, kExportOptions, parsed.common, err);
  if (common != Taken::no) return common == Taken::yes;
  const std::string_view option = args[at];
  if (option != "--select") {
    tell_unknown_option(option, kExportOptions, err);
    return false;
  }
  if (++at == args.size()) {
    err << message(Text::kMissingValue, {option}) << '\n';
    return false;
  }
  // Taken from the working folder, as the user typed it, not from the
  // folder the dialog happens to show.
  parsed.select = std::filesystem::absolute(std::filesystem::path(args[at]));
  return true;
}

std::optional<ExportArguments> parse_arguments(std::span<const std::string_view> args,
                                               std::ostream& err) {
  ExportArguments parsed;
  for (std::size_t at = 0; at < args.size(); ++at) {
    if (args[at].starts_with("-")) {
      if (!take_option(args, at, parsed, err)) return std::nullopt;
    } else if (parsed.document.empty()) {
      parsed.document = std::filesystem::path(args[at]);
    } else {
      err << message(Text::kExtraArgument, {args[at]}) << '\n';
      return std::nullopt;
    }
  }
  if (parsed.document.empty()) {
    err << message(Text::kMissingDocument, {"export"}) << '\n';
    return std::nullopt;
  }
  if (parsed.common.memoryLimit) parsed.options.memoryLimit = *parsed.common.memoryLimit;
  if (const char* bands = std::getenv(kInterruptVariable)) {
    parsed.options.interruptAfterBands = parse_positive(bands);
  }
  if (const char* signal = std::getenv(kInterruptSignalVariable)) {
    parsed.options.interruptSignal = std::string_view(signal) == "TERM" ? SIGTERM : SIGINT;
  }
  return parsed;
}

// Why the document cannot be read, in a sentence.
std::string unreadable_line(const std::string& name, OSErr error) {
  if (error == fnfErr) return message(Text::kDocumentMissing, {name});
  if (error == paramErr) return message(Text::kDocumentUnsupported, {name});
  const std::string said = tiff_problem();
  return said.empty() ? message(Text::kDocumentUnreadable, {name})
                      : message(Text::kDocumentUnreadableBecause, {name, said});
}

std::optional<Document> open_document(const std::filesystem::path& path, std::ostream& err) {
  if (auto problem = missing_file_problem(path)) {
    err << *problem << '\n';
    return std::nullopt;
  }
  Expected<Document> document = read_document_description(path);
  const std::string name = path.string();
  if (!document) {
    err << unreadable_line(name, document.error()) << '\n';
    return std::nullopt;
  }
  return std::move(*document);
}

// A path as a shell takes it back: quoted when it holds anything but plain
// name characters, so the line can be pasted as it is; a name that would
// read as an option is given from the working folder.
std::string shell_quoted(const std::string& name) {
  const std::string text = name.starts_with('-') ? "./" + name : name;
  const bool plain = !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) ||
           std::string_view("/._-+,:=@").find(c) != std::string_view::npos;
  });
  if (plain) return text;
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// A negative code reaches the host as 1: the plug-in's alert has shown the
// code itself, so repeating "1" would only mislead.
std::string failure_line(const ExportOutcome& outcome, const std::string& name) {
  if (outcome.result == paramErr) return message(Text::kBandOutOfBounds);
  if (!outcome.lockedOut.empty()) {
    return message(Text::kImageBusy, {outcome.lockedOut.front().string(), name});
  }
  if (outcome.result == 1) return message(Text::kExportRefused, {name});
  return message(Text::kExportFailed, {name, std::to_string(outcome.result)});
}

// The file dialog settled with nobody to ask: the image was missing, or the
// file it found (or --select named) could not take the document. Never a
// person's cancel, so never silence.
std::string unanswered_line(const ExportArguments& parsed, const Document& document) {
  const std::string name = parsed.document.string();
  const std::optional<std::filesystem::path> image = tagged_image(document);
  if (!parsed.select && image && !std::filesystem::exists(*image)) {
    return message(Text::kExportImageMissing, {name, image->string()});
  }
  const std::filesystem::path tried = parsed.select.value_or(image.value_or(""));
  return message(Text::kExportImageRefused, {name, tried.string()});
}

// Before the plug-in runs: a --select answer that cannot be an image, or an
// image another export is writing, is told plainly and nothing runs.
bool may_export(const ExportArguments& parsed, const Document& document, std::ostream& err) {
  if (parsed.select) {
    if (auto problem = image_path_problem(*parsed.select)) {
      err << *problem << '\n';
      return false;
    }
  }
  const std::optional<std::filesystem::path> image =
      parsed.select ? parsed.select : tagged_image(document);
  if (!image || !platform::files::held_by_another_writer(*image)) return true;
  err << message(Text::kImageBusy, {image->string(), parsed.document.string()}) << '\n';
  return false;
}

int report(const ExportOutcome& outcome, const ExportArguments& parsed, const Document& document,
           std::ostream& out, std::ostream& err) {
  const std::string name = parsed.document.string();
  if (outcome.result == kUserCancelled && !outcome.interrupted &&
      platform::standard_file::last_dialog_unanswered()) {
    err << unanswered_line(parsed, document) << '\n';
    return kExitFailed;
  }
  if (outcome.storeError != noErr) {
    err << message(Text::kStoreFailed, {name, std::to_string(outcome.storeError)}) << '\n';
  }
  if (outcome.result == kUserCancelled) {
    if (outcome.interrupted) {
      err << message(Text::kExportStopped, {name}) << '\n'
          << message(Text::kExportResume, {shell_quoted(name)}) << '\n';
    }
    return kExitCancelled;
  }
  if (outcome.result != noErr) {
    err << failure_line(outcome, name) << '\n';
    return kExitFailed;
  }
  for (const auto& failed : outcome.unsynced) {
    err << message(Text::kNotDurable, {failed.path.string(), std::to_string(failed.error), name})
        << '\n';
  }
  if (outcome.savedBack) out << message(Text::kSavedBack, {name}) << '\n';
  return outcome.storeError == noErr && outcome.unsynced.empty() ? kExitDone : kExitFailed;
}

}  // namespace

int run_export_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err) {
  std::optional<ExportArguments> parsed = parse_arguments(args, err);
  if (!parsed) return kExitFailed;
  std::optional<Document> document = open_document(parsed->document, err);
  if (!document) return kExitFailed;
  if (!apply_script(parsed->common, err)) return kExitFailed;
  std::unique_ptr<Module> module = load_module(err);
  if (!module || !may_export(*parsed, *document, err)) return kExitFailed;
  if (parsed->select) platform::standard_file::preselect(*parsed->select);
  if (const auto image = parsed->select ? parsed->select : tagged_image(*document)) {
    parsed->options.imageName = image->filename().string();
  }
  const ExportOutcome outcome =
      run_export(module->export_entry(), parsed->document, *document, parsed->options);
  return report(outcome, *parsed, *document, out, err);
}

}  // namespace tessel::host
