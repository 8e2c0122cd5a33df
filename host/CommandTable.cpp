#include "host/CommandTable.h"

#include <array>

#include "host/AboutCommand.h"
#include "host/AcquireCommand.h"
#include "host/ExportCommand.h"
#include "host/ExtractCommand.h"
#include "host/HostOptions.h"
#include "host/InfoCommand.h"
#include "host/OpenCommand.h"
#include "host/SelectCommand.h"

namespace tessel::host {

namespace {

constexpr std::array kAcquireOptions{kOutputSpec, kScriptSpec, kMemoryLimitSpec, kForceSpec};
constexpr std::array kExportOptions{kMemoryLimitSpec, OptionSpec{"--select", Argument::image},
                                    kScriptSpec};
constexpr std::array kExtractOptions{OptionSpec{"--rect", Argument::text}, kOutputSpec, kForceSpec};
constexpr std::array kInfoOptions{OptionSpec{"--json", Argument::none}};
constexpr std::array kScriptOnly{kScriptSpec};

constexpr std::array kCommands{
    CommandSpec{"acquire", &run_acquire_command, Argument::image, 17101, kAcquireOptions},
    CommandSpec{"export", &run_export_command, Argument::document, 17102, kExportOptions},
    CommandSpec{"extract", &run_extract_command, Argument::image, 17103, kExtractOptions},
    CommandSpec{"info", &run_info_command, Argument::image, 17104, kInfoOptions},
    CommandSpec{"select", &run_select_command, Argument::image, 17105, kScriptOnly},
    CommandSpec{"about", &run_about_command, Argument::none, 17106, kScriptOnly},
    CommandSpec{"open", &run_open_command, Argument::image, 17107, kScriptOnly},
};

const OptionSpec* find_option(const CommandSpec& command, std::string_view spelling) {
  for (const OptionSpec& option : command.options) {
    if (option.spelling == spelling) return &option;
  }
  return nullptr;
}

}  // namespace

std::span<const CommandSpec> command_specs() { return kCommands; }

const CommandSpec* find_command(std::string_view name) {
  for (const CommandSpec& command : kCommands) {
    if (command.name == name) return &command;
  }
  return nullptr;
}

OptionCheck check_options(const CommandSpec& command, std::span<const std::string_view> args,
                          std::ostream& err) {
  for (std::size_t at = 0; at < args.size(); ++at) {
    if (args[at] == "--help" || args[at] == "-h") return OptionCheck::help;
    if (!args[at].starts_with("-")) continue;
    const OptionSpec* option = find_option(command, args[at]);
    if (option == nullptr) {
      tell_unknown_option(args[at], CommandOptions{command.name, 0}, err);
      return OptionCheck::failed;
    }
    if (option->value != Argument::none) ++at;
  }
  return OptionCheck::run;
}

}  // namespace tessel::host
