// The bash completion of tessel, written from the command table so that it
// offers exactly the commands and options the command line takes.
#pragma once

#include <ostream>

namespace tessel::host {

// A script for bash to source: commands, each command's options, and file
// names where a command or option takes one. Images are offered by their
// name ending (.tif, .tiff, .sct, .ct, any case) or, since a native image
// keeps its type in its sidecar, by having a sidecar ._NAME beside them.
void write_bash_completion(std::ostream& out);

}  // namespace tessel::host
