// What tessel says about itself: the overview (tessel --help), each
// command's help (tessel COMMAND --help), the version, and the manual page
// tessel(1) written as roff from the same help texts.
#pragma once

#include <ostream>

#include "host/CommandTable.h"

namespace tessel::host {

// The overview: usage, every command with what it does, and the notes.
// False after telling err that the help texts cannot be read.
bool write_overview(std::ostream& out, std::ostream& err);

// The command's synopsis, what it does, its options each with its meaning,
// and an example. False after telling err that its texts cannot be read.
bool write_command_help(const CommandSpec& command, std::ostream& out, std::ostream& err);

// "tessel 0.1", from the project's version.
void write_version(std::ostream& out);

// The manual page, in the roff of man(7).
bool write_manual(std::ostream& out, std::ostream& err);

}  // namespace tessel::host
