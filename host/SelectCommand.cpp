#include "host/SelectCommand.h"

#include <filesystem>
#include <optional>
#include <string>

#include "Files.h"
#include "MacErrors.h"
#include "References.h"
#include "formats/RasterFormats.h"
#include "host/Commands.h"
#include "host/DisplayPixels.h"
#include "host/ExportRun.h"
#include "host/HostOptions.h"
#include "host/InfoCommand.h"
#include "host/Messages.h"
#include "host/Module.h"
#include "selection/AskForSelection.h"

namespace tessel::host {

namespace {

constexpr CommandOptions kSelectOptions{"select", kScriptOption};

std::optional<FileArguments> parse_arguments(std::span<const std::string_view> args,
                                             std::ostream& err) {
  std::optional<FileArguments> parsed = parse_file_arguments(args, kSelectOptions, err);
  if (parsed && parsed->file.empty()) {
    err << message(Text::kMissingImage, {"select from"}) << '\n';
    return std::nullopt;
  }
  return parsed;
}

// The record the dialog reads its host services from: only the pixel-display
// routine, as a plain acquire host would offer it.
class DialogHost {
 public:
  DialogHost() : display_(NewProcReference(&display_pixels)) {
    Set(params_, kAcquireDisplayProcs, display_);
  }
  ~DialogHost() { DisposeReference(display_); }
  DialogHost(const DialogHost&) = delete;
  DialogHost& operator=(const DialogHost&) = delete;

  OSErr ask(SourceImage& image) { return AskForSelection(&params_, &image); }

 private:
  AcquireParams params_{};
  UInt32 display_;
};

}  // namespace

int run_select_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err) {
  const std::optional<FileArguments> parsed = parse_arguments(args, err);
  if (!parsed || !apply_script(parsed->common, err)) return kExitFailed;
  // The dialog's templates, cursors and texts are the plug-in's resources.
  std::unique_ptr<Module> module = load_module(err);
  if (!module) return kExitFailed;
  OpenImage open;
  OSErr result = open.open(parsed->file);
  DialogHost host;
  if (result == noErr) result = host.ask(open.image);
  if (result == kUserCancelled) return kExitCancelled;  // no alert: the user chose so
  if (result != noErr) {
    err << message(Text::kImageNotOpened, {parsed->file.string(), std::to_string(result)}) << '\n';
    return kExitFailed;
  }
  const VRect& r = open.image.selection;
  out << r.top << ',' << r.left << ',' << r.bottom << ',' << r.right << '\n';
  return kExitDone;
}

}  // namespace tessel::host
