// tessel about [--script FILE]: the plug-in's about box, asked for as a host
// asks for it, through the acquire entry point's about selector.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

int run_about_command(std::span<const std::string_view> args, std::ostream& out, std::ostream& err);

}  // namespace tessel::host
