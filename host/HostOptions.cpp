#include "host/HostOptions.h"

#include <charconv>
#include <cstdlib>
#include <string>

#include "Backend.h"
#include "MacErrors.h"
#include "StandardFile.h"
#include "headless/HeadlessBackend.h"
#include "host/Messages.h"
#include "host/Module.h"

namespace tessel::host {

namespace {

struct Known {
  OptionSpec spec;
  CommonOption option;
  bool takes_value() const { return spec.value != Argument::none; }
};

constexpr Known kKnown[] = {
    {kScriptSpec, kScriptOption},
    {kMemoryLimitSpec, kMemoryLimitOption},
    {kForceSpec, kForceOption},
    {kOutputSpec, kOutputOption},
};

const Known* find_known(std::string_view spelling, unsigned accepted) {
  for (const Known& known : kKnown) {
    if (known.spec.spelling == spelling && (accepted & known.option) != 0) return &known;
  }
  return nullptr;
}

// The option's value, or for --force its presence, into options.
bool store_value(CommonOption option, std::string_view value, CommonOptions& options,
                 std::ostream& err) {
  switch (option) {
    case kScriptOption: options.script = std::filesystem::path(value); return true;
    case kOutputOption: options.output = std::filesystem::path(value); return true;
    case kMemoryLimitOption:
      options.memoryLimit = parse_positive(value);
      if (!options.memoryLimit) err << message(Text::kBadMemoryLimit, {value}) << '\n';
      return options.memoryLimit.has_value();
    case kForceOption: options.force = true; return true;
  }
  return false;
}

}  // namespace

std::optional<SInt32> parse_positive(std::string_view text) {
  SInt32 value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value <= 0) return std::nullopt;
  return value;
}

Taken take_common_option(std::span<const std::string_view> args, std::size_t& at,
                         const CommandOptions& command, CommonOptions& options, std::ostream& err) {
  const Known* known = find_known(args[at], command.accepted);
  if (known == nullptr) return Taken::no;
  if (known->takes_value() && at + 1 == args.size()) {
    err << message(Text::kMissingValue, {known->spec.spelling}) << '\n';
    return Taken::failed;
  }
  const std::string_view value = known->takes_value() ? args[++at] : std::string_view{};
  return store_value(known->option, value, options, err) ? Taken::yes : Taken::failed;
}

std::optional<FileArguments> parse_file_arguments(std::span<const std::string_view> args,
                                                  const CommandOptions& command,
                                                  std::ostream& err) {
  FileArguments parsed;
  for (std::size_t at = 0; at < args.size(); ++at) {
    const Taken taken = take_common_option(args, at, command, parsed.common, err);
    if (taken == Taken::failed) return std::nullopt;
    if (taken == Taken::yes) continue;
    if (args[at].starts_with("-")) {
      tell_unknown_option(args[at], command, err);
      return std::nullopt;
    }
    if (!parsed.file.empty()) {
      err << message(Text::kExtraArgument, {args[at]}) << '\n';
      return std::nullopt;
    }
    parsed.file = std::filesystem::path(args[at]);
  }
  return parsed;
}

void tell_unknown_option(std::string_view option, const CommandOptions& command,
                         std::ostream& err) {
  err << message(Text::kUnknownOption, {command.command, option}) << '\n';
}

std::unique_ptr<Module> load_module(std::ostream& err) {
  const std::filesystem::path path = Module::default_path();
  Expected<std::unique_ptr<Module>> module = Module::load(path);
  if (module) return std::move(*module);
  if (module.error() == fnfErr) {
    err << message(Text::kModuleMissing, {path.string()}) << '\n';
  } else if (module.error() == paramErr) {
    err << message(Text::kModuleUnusable, {path.string(), Module::load_problem()}) << '\n';
  } else {
    err << message(Text::kModuleNoResources, {path.string(), std::to_string(module.error())})
        << '\n';
  }
  return nullptr;
}

namespace {

// DISPLAY=:0, WAYLAND_DISPLAY=wayland-1: the variables that point at a
// desktop, as set.
std::string display_variables() {
  std::string named;
  for (const char* variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    if (!named.empty()) named += ", ";
    named += std::string(variable) + "=" + value;
  }
  return named.empty() ? message(Text::kNoDisplayVariables) : named;
}

bool open_backend(std::ostream& err) {
  if (platform::backend::open_default()) return true;
  err << message(Text::kNoDesktop, {display_variables()}) << '\n';
  return false;
}

}  // namespace

bool apply_script(const CommonOptions& options, std::ostream& err) {
  if (!options.script) return open_backend(err);
  int badLine = 0;
  const OSErr result = platform::headless::load_script(*options.script, &badLine);
  if (result == noErr) {
    // A script answers file dialogs as a person would, in the dialog's
    // window, rather than letting a pre-selected file answer unseen.
    platform::standard_file::show_dialog_headless(true);
    return true;
  }
  const std::string name = options.script->string();
  if (result == paramErr) {
    err << message(Text::kScriptBadLine, {name, std::to_string(badLine)}) << '\n';
  } else {
    err << message(Text::kScriptUnreadable, {name}) << '\n';
  }
  return false;
}

}  // namespace tessel::host
