// tessel export DOCUMENT [--memory-limit BYTES] [--select PATH] [--script FILE]
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

int run_export_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err);

}  // namespace tessel::host
