// The host's messages in an alert window, for runs that have no terminal:
// a program started from a desktop entry writes to a standard error that
// nobody reads.
#pragma once

#include <string>
#include <string_view>

namespace tessel::host {

// Whether standard error is a terminal someone may be reading.
bool has_terminal();

// Shows text (UTF-8, lines ending in '\n') in the host's message alert until
// it is dismissed. False when no alert could be shown: the desktop shows no
// windows, or the program's resources cannot be read; the caller then has
// only standard error left.
bool show_message_alert(std::string_view text);

// text in Mac Roman, as the Toolbox's strings hold it: a line break as a
// carriage return, a character Mac Roman lacks as '?'.
std::string mac_roman_from_utf8(std::string_view text);

}  // namespace tessel::host
