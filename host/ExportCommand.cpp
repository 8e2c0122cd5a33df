#include "host/ExportCommand.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "MacErrors.h"
#include "StandardFile.h"
#include "host/Commands.h"
#include "host/ExportRun.h"
#include "host/HostOptions.h"
#include "host/Messages.h"
#include "host/Module.h"

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

std::optional<Document> open_document(const std::filesystem::path& path, std::ostream& err) {
  Expected<Document> document = read_document(path);
  const std::string name = path.string();
  if (!document) {
    const Text text = document.error() == fnfErr     ? Text::kDocumentMissing
                      : document.error() == paramErr ? Text::kDocumentUnsupported
                                                     : Text::kDocumentUnreadable;
    err << message(text, {name}) << '\n';
    return std::nullopt;
  }
  if (!fits_export_records(*document)) {
    err << message(Text::kDocumentTooLarge,
                   {name, std::to_string(document->columns), std::to_string(document->rows)})
        << '\n';
    return std::nullopt;
  }
  return std::move(*document);
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

int report(const ExportOutcome& outcome, const std::string& name, std::ostream& out,
           std::ostream& err) {
  if (outcome.storeError != noErr) {
    err << message(Text::kStoreFailed, {name, std::to_string(outcome.storeError)}) << '\n';
  }
  if (outcome.result == kUserCancelled) {
    if (outcome.interrupted) err << message(Text::kExportStopped, {name}) << '\n';
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
  if (!module) return kExitFailed;
  if (parsed->select) platform::standard_file::preselect(*parsed->select);
  const ExportOutcome outcome =
      run_export(module->export_entry(), parsed->document, *document, parsed->options);
  return report(outcome, parsed->document.string(), out, err);
}

}  // namespace tessel::host
