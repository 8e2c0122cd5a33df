#include "host/AcquireCommand.h"

#include <cstdlib>
#include <optional>

#include "AppleDouble.h"
#include "MacErrors.h"
#include "StandardFile.h"
#include "host/AcquireRun.h"
#include "host/Commands.h"
#include "host/DocumentSidecar.h"
#include "host/HostOptions.h"
#include "host/ImagePath.h"
#include "host/ImageProblems.h"
#include "host/Messages.h"
#include "host/Module.h"
#include "host/ReplaceFile.h"
#include "records/ResultCodes.h"

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
  std::optional<FileArguments> parsed = parse_file_arguments(args, kAcquireOptions, err);
  if (!parsed) return std::nullopt;
  AcquireArguments acquire{std::nullopt, parsed->common};
  // Taken from the working folder, as typed, not from the folder the
  // dialog happens to show.
  if (!parsed->file.empty()) acquire.image = std::filesystem::absolute(parsed->file);
  return acquire;
}

AcquireOptions run_options(const CommonOptions& common) {
  AcquireOptions options;
  if (common.memoryLimit) options.memoryLimit = *common.memoryLimit;
  if (const char* strips = std::getenv(kInterruptVariable)) {
    options.interruptAfterStrips = parse_positive(strips);
  }
  return options;
}

// Whether a and b are one file (same device and inode), through whatever
// names or links; false when either does not exist.
bool same_file(const std::filesystem::path& a, const std::filesystem::path& b) {
  std::error_code error;
  return std::filesystem::equivalent(a, b, error) && !error;
}

// A document must never land on the image it is read from, nor on the
// image's sidecar, whatever --force says: the run would destroy its source.
bool overwrites_input(const std::filesystem::path& target, const std::filesystem::path& image,
                      std::ostream& err) {
  const std::filesystem::path written[] = {target, sidecar_path(target)};
  const std::filesystem::path read[] = {image, platform::appledouble::sidecar_path(image)};
  for (const auto& output : written) {
    for (const auto& input : read) {
      if (!same_file(output, input)) continue;
      err << message(Text::kOutputIsInput, {output.string(), input.string()}) << '\n';
      return true;
    }
  }
  return false;
}

// image: the file the run reads, when it is known (named on the command
// line, or after the run, named by the document's tag).
bool may_write(const std::filesystem::path& target,
               const std::optional<std::filesystem::path>& image, const AcquireRequest& request,
               std::ostream& err) {
  if (image && overwrites_input(target, *image, err)) return false;
  if (request.force || !std::filesystem::exists(target)) return true;
  err << message(Text::kDocumentExists, {target.string()}) << '\n';
  return false;
}

// The plug-in's alert gives the code and a general text, and for a platform
// error the host learns only that the run failed; the file named on the
// command line can be looked at again for plainer words and the code.
std::string failure_line(const AcquireOutcome& outcome, const AcquireRequest& request) {
  const std::optional<std::filesystem::path>& image = request.image;
  if (outcome.result == paramErr) return message(Text::kStripOutOfBounds);
  if (outcome.result == kPresetSelectionOutside) {
    return rect_outside_message(image.value_or(""), *request.options.presetSelection);
  }
  const Refusal refusal = image ? describe_refusal(*image, outcome.result) : Refusal{};
  if (refusal.words.empty()) return message(Text::kAcquireFailed, {std::to_string(outcome.result)});
  return message(Text::kAcquireRefused, {std::to_string(refusal.code), refusal.words});
}

// What the user learns of a run that made no document; the plug-in has shown
// its own message already.
int report_failure(const AcquireOutcome& outcome, const AcquireRequest& request,
                   std::ostream& err) {
  if (outcome.result == kUserCancelled && platform::standard_file::last_dialog_unanswered()) {
    // Nobody cancelled: the file dialog had no one to ask.
    err << (request.image ? message(Text::kImageNotChosen, {request.image->string()})
                          : message(Text::kMissingImage, {"acquire"}))
        << '\n';
    return kExitFailed;
  }
  if (outcome.result == kUserCancelled || outcome.interrupted) {
    if (outcome.interrupted) err << message(Text::kAcquireStopped) << '\n';
    return kExitCancelled;
  }
  err << failure_line(outcome, request) << '\n';
  return kExitFailed;
}

// The folder the document will be in, where its file is written while the
// run lasts: a rename then puts it in place.
std::filesystem::path staging_folder(const AcquireRequest& request) {
  const std::filesystem::path folder =
      request.output ? request.output->parent_path() : request.folder.value_or("");
  return folder.empty() ? std::filesystem::path(".") : folder;
}

// The run's document file moved to target; a run that delivered no strip
// gets a file of zeros, as its document holds nothing else.
OSErr commit_document(AcquireOutcome& outcome, const AcquireRequest& request,
                      const std::filesystem::path& target) {
  if (!outcome.file) {
    outcome.file = std::make_unique<DocumentWriter>();
    if (OSErr err =
            outcome.file->start(staging_path(staging_folder(request)), outcome.document, false);
        err != noErr) {
      return err;
    }
  }
  return outcome.file->commit(target, outcome.document);
}

// The document named after its title, in the request's folder.
std::filesystem::path titled_target(const AcquireRequest& request, std::string_view title) {
  const std::filesystem::path folder = request.folder.value_or("");
  const std::filesystem::path named = folder / document_path_for_title(title);
  std::filesystem::path target = named;
  std::error_code error;
  for (int number = 2; request.freeName && std::filesystem::exists(target, error); ++number) {
    target = folder /
             (named.stem().string() + " " + std::to_string(number) + named.extension().string());
  }
  return target;
}

int write_acquired(AcquireOutcome& outcome, const AcquireRequest& request, std::ostream& out,
                   std::ostream& err, std::filesystem::path* written) {
  const std::filesystem::path target =
      request.output ? *request.output : titled_target(request, outcome.title);
  const std::optional<std::filesystem::path> image =
      request.image ? request.image : tagged_image(outcome.document);
  if (!may_write(target, image, request, err)) return kExitFailed;
  if (OSErr error = commit_document(outcome, request, target); error != noErr) {
    err << message(Text::kDocumentNotWritten, {target.string(), std::to_string(error)}) << '\n';
    return kExitFailed;
  }
  out << message(request.done, {target.string(), outcome.title}) << '\n';
  if (written != nullptr) *written = target;
  return kExitDone;
}

}  // namespace

std::string rect_outside_message(const std::filesystem::path& image, const VRect& rect) {
  return message(
      Text::kRectOutsideImage,
      {image.string(), std::to_string(rect.top) + "," + std::to_string(rect.left) + "," +
                           std::to_string(rect.bottom) + "," + std::to_string(rect.right)});
}

std::filesystem::path document_path_for_title(std::string_view title) {
  std::string name;
  for (char c : title)
    name += (c == '/' || static_cast<unsigned char>(c) < 0x20 || c == 0x7F) ? '_' : c;
  // A leading dot would hide the file, a leading dash would read as an option.
  if (name.empty()) name = message(Text::kNoTitle);
  if (name[0] == '.' || name[0] == '-') name = "_" + name;
  return std::filesystem::path(name + ".tif");
}

int acquire_document(const AcquireRequest& request, std::ostream& out, std::ostream& err,
                     std::filesystem::path* written) {
  if (request.image) {
    if (auto problem = image_path_problem(*request.image)) {
      err << *problem << '\n';
      return kExitFailed;
    }
  }
  // A named document is checked before any dialog, so no choice is wasted.
  if (request.output && !may_write(*request.output, request.image, request, err)) {
    return kExitFailed;
  }
  std::unique_ptr<Module> module = load_module(err);
  if (!module) return kExitFailed;
  if (request.image) platform::standard_file::preselect(*request.image);
  AcquireOptions options = request.options;
  options.staging = staging_path(staging_folder(request));
  if (request.image) options.imageName = request.image->filename().string();
  AcquireOutcome outcome = run_acquire(module->acquire_entry(), options);
  // A stop that came after the plug-in's last abort test still means no document.
  if (outcome.result != noErr || outcome.interrupted) return report_failure(outcome, request, err);
  return write_acquired(outcome, request, out, err, written);
}

int run_acquire_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err) {
  const std::optional<AcquireArguments> parsed = parse_arguments(args, err);
  if (!parsed || !apply_script(parsed->common, err)) return kExitFailed;
  return acquire_document(
      {parsed->image, parsed->common.output, parsed->common.force, run_options(parsed->common)},
      out, err);
}

}  // namespace tessel::host
