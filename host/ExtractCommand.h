// tessel extract IMAGE --rect TOP,LEFT,BOTTOM,RIGHT -o DOCUMENT [--force]
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

int run_extract_command(std::span<const std::string_view> args, std::ostream& out,
                        std::ostream& err);

}  // namespace tessel::host
