#include "host/AcquireCommand.h"

#include <cstdlib>
#include <optional>

#include "MacErrors.h"
#include "StandardFile.h"
#include "host/AcquireRun.h"
#include "host/Commands.h"
#include "host/HostOptions.h"
#include "host/Messages.h"
#include "host/Module.h"

namespace tessel::host {

namespace {

// The test hook of AcquireOptions::interruptAfterStrips.
constexpr const char* kInterruptVariable = "TESSEL_TEST_INTERRUPT_AFTER_STRIPS";

constexpr CommandOptions kAcquireOptions{
    "acquire", kScriptOption | kMemoryLimitOption | kForceOption | kOutputOption};

struct AcquireArguments {
  std::optional<std::filesystem::path> image{};
  CommonOptions common{};
};

std::optional<AcquireArguments> parse_arguments(std::span<const std::string_view> args,
                                                std::ostream& err) {
  AcquireArguments parsed;
  for (std::size_t at = 0; at < args.size(); ++at) {
    const Taken taken = take_common_option(args, at, kAcquireOptions, parsed.common, err);
    if (taken == Taken::failed) return std::nullopt;
    if (taken == Taken::yes) continue;
    if (args[at].starts_with("-")) {
      tell_unknown_option(args[at], kAcquireOptions, err);
      return std::nullopt;
    }
    if (parsed.image) {
      err << message(Text::kExtraArgument, {args[at]}) << '\n';
      return std::nullopt;
    }
    // Taken from the working folder, as typed, not from the folder the
    // dialog happens to show.
    parsed.image = std::filesystem::absolute(std::filesystem::path(args[at]));
  }
  return parsed;
}

AcquireOptions run_options(const CommonOptions& common) {
  AcquireOptions options;
  if (common.memoryLimit) options.memoryLimit = *common.memoryLimit;
  if (const char* strips = std::getenv(kInterruptVariable)) {
    options.interruptAfterStrips = parse_positive(strips);
  }
  return options;
}

bool may_write(const std::filesystem::path& target, bool force, std::ostream& err) {
  if (force || !std::filesystem::exists(target)) return true;
  err << message(Text::kDocumentExists, {target.string()}) << '\n';
  return false;
}

// What the user learns of a run that made no document; the plug-in has shown
// its own message already.
int report_failure(const AcquireOutcome& outcome, std::ostream& err) {
  if (outcome.result == kUserCancelled || outcome.interrupted) {
    if (outcome.interrupted) err << message(Text::kAcquireStopped) << '\n';
    return kExitCancelled;
  }
  err << (outcome.result == paramErr
              ? message(Text::kStripOutOfBounds)
              : message(Text::kAcquireFailed, {std::to_string(outcome.result)}))
      << '\n';
  return kExitFailed;
}

int write_acquired(const AcquireOutcome& outcome, const AcquireArguments& parsed, std::ostream& out,
                   std::ostream& err) {
  const std::filesystem::path target =
      parsed.common.output ? *parsed.common.output : document_path_for_title(outcome.title);
  if (!may_write(target, parsed.common.force, err)) return kExitFailed;
  if (OSErr error = write_document(target, outcome.document); error != noErr) {
    err << message(Text::kDocumentNotWritten, {target.string(), std::to_string(error)}) << '\n';
    return kExitFailed;
  }
  out << message(Text::kAcquired, {target.string(), outcome.title}) << '\n';
  return kExitDone;
}

}  // namespace

std::filesystem::path document_path_for_title(std::string_view title) {
  std::string name;
  for (char c : title)
    name += (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F) ? '_' : c;
  // A leading dot would hide the file, a leading dash would read as an option.
  if (name.empty()) name = message(Text::kNoTitle);
  if (name[0] == '.' || name[0] == '-') name = "_" + name;
  return std::filesystem::path(name + ".tif");
}

int run_acquire_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err) {
  const std::optional<AcquireArguments> parsed = parse_arguments(args, err);
  if (!parsed || !apply_script(parsed->common, err)) return kExitFailed;
  // A named document is checked before any dialog, so no choice is wasted.
  if (parsed->common.output && !may_write(*parsed->common.output, parsed->common.force, err)) {
    return kExitFailed;
  }
  std::unique_ptr<Module> module = load_module(err);
  if (!module) return kExitFailed;
  if (parsed->image) platform::standard_file::preselect(*parsed->image);
  const AcquireOutcome outcome = run_acquire(module->acquire_entry(), run_options(parsed->common));
  // A stop that came after the plug-in's last abort test still means no document.
  if (outcome.result != noErr || outcome.interrupted) return report_failure(outcome, err);
  return write_acquired(outcome, *parsed, out, err);
}

}  // namespace tessel::host
