// The commands of tessel and the options each accepts: the one table that
// the command line is checked against, that --help and the manual page take
// their order from, and that the bash completion is written from.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

#include "MacTypes.h"
#include "host/HostOptions.h"

namespace tessel::host {

using CommandProc = int (*)(std::span<const std::string_view>, std::ostream&, std::ostream&);

struct CommandSpec {
  std::string_view name;
  CommandProc run;
  Argument operand;  // what its file name, if it takes one, names
  SInt16 helpID;     // its STR# in host/resources/help.r
  std::span<const OptionSpec> options;
};

std::span<const CommandSpec> command_specs();

// The command called name; null when there is none.
const CommandSpec* find_command(std::string_view name);

enum class OptionCheck { run, help, failed };

// Walks args as the command will, stepping over each option's value: help
// when --help or -h comes before any unknown option, failed after telling
// err of the first option the command does not take.
OptionCheck check_options(const CommandSpec& command, std::span<const std::string_view> args,
                          std::ostream& err);

}  // namespace tessel::host
