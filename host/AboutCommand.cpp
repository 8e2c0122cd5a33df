#include "host/AboutCommand.h"

#include <memory>
#include <optional>
#include <string>

#include "MacErrors.h"
#include "host/Commands.h"
#include "host/HostOptions.h"
#include "host/Messages.h"
#include "host/Module.h"
#include "records/HostRecords.h"

namespace tessel::host {

namespace {

constexpr CommandOptions kAboutOptions{"about", kScriptOption};

std::optional<CommonOptions> parse_arguments(std::span<const std::string_view> args,
                                             std::ostream& err) {
  CommonOptions options;
  for (std::size_t at = 0; at < args.size(); ++at) {
    const Taken taken = take_common_option(args, at, kAboutOptions, options, err);
    if (taken == Taken::failed) return std::nullopt;
    if (taken == Taken::yes) continue;
    if (args[at].starts_with("-")) {
      tell_unknown_option(args[at], kAboutOptions, err);
    } else {
      err << message(Text::kNoArguments, {kAboutOptions.command, args[at]}) << '\n';
    }
    return std::nullopt;
  }
  return options;
}

}  // namespace

int run_about_command(std::span<const std::string_view> args, std::ostream& /*out*/,
                      std::ostream& err) {
  const std::optional<CommonOptions> options = parse_arguments(args, err);
  if (!options || !apply_script(*options, err)) return kExitFailed;
  std::unique_ptr<Module> module = load_module(err);
  if (!module) return kExitFailed;
  AcquireParams params{};
  PluginDataSlot dataSlot = 0;
  SInt16 result = 0;
  module->acquire_entry()(kSelectorAbout, &params, &dataSlot, &result);
  if (result == noErr) return kExitDone;
  err << message(Text::kAboutFailed, {std::to_string(result)}) << '\n';
  return kExitFailed;
}

}  // namespace tessel::host
