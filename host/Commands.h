// The command line of tessel: one function per command, found by name, so
// that acquire, select, extract, info and about join as entries of a table.
#pragma once

#include <ostream>
#include <span>
#include <string_view>

namespace tessel::host {

// Exit statuses.
constexpr int kExitDone = 0;
constexpr int kExitFailed = 1;
constexpr int kExitCancelled = 3;
constexpr int kExitTerminated = 128 + 15;  // SIGTERM

// args excludes the program's name. Usage and results go to out, problems to
// err; the plug-in's own alerts go to standard error by the platform. A
// SIGINT or SIGTERM that arrives meanwhile ends the command at its next safe
// point and decides the status (host/Interrupt.h).
int run_command_line(std::span<const std::string_view> args, std::ostream& out, std::ostream& err);

}  // namespace tessel::host
