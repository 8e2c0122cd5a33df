// The command line of tessel-sample, kept apart from main() so tests can run
// it: tessel-sample FORMAT OUT --width W --height H [options].
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::samples {

// args excludes the program's name. Prints nothing and returns 0 after a
// write; prints the options on out for --help; prints one line on err and
// returns 1 for bad options or a failed write.
int run_sample_command(std::span<const std::string_view> args, std::ostream& out,
                       std::ostream& err);

}  // namespace tessel::samples
