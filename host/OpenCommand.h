// tessel open FILE [--script FILE]: what the desktop entry runs on a file.
// A document Tessel cut from an image goes back into it, as export writes
// it; an image is acquired into a document beside it, which the desktop's
// own editor for TIFF then opens.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

// Without a terminal, everything the command would print to out or err is
// shown in one alert at its end instead.
int run_open_command(std::span<const std::string_view> args, std::ostream& out, std::ostream& err);

}  // namespace tessel::host
