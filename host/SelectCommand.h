// tessel select IMAGE [--script FILE]: the selection dialog alone, over an
// image opened through the format layer; prints the rectangle chosen.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

int run_select_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err);

}  // namespace tessel::host
