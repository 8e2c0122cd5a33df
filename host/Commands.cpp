#include "host/Commands.h"

#include <array>

#include "host/AboutCommand.h"
#include "host/AcquireCommand.h"
#include "host/ExportCommand.h"
#include "host/ExtractCommand.h"
#include "host/InfoCommand.h"
#include "host/Interrupt.h"
#include "host/Messages.h"
#include "host/SelectCommand.h"

namespace tessel::host {

namespace {

using CommandProc = int (*)(std::span<const std::string_view>, std::ostream&, std::ostream&);

struct Command {
  std::string_view name;
  CommandProc run;
};

constexpr std::array kCommands{
    Command{"acquire", &run_acquire_command}, Command{"export", &run_export_command},
    Command{"extract", &run_extract_command}, Command{"info", &run_info_command},
    Command{"select", &run_select_command},   Command{"about", &run_about_command},
};

int run_words(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  if (args.empty()) {
    err << message(Text::kUsage);
    return kExitFailed;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    out << message(Text::kUsage);
    return kExitDone;
  }
  for (const Command& command : kCommands) {
    if (command.name == args[0]) return command.run(args.subspan(1), out, err);
  }
  err << message(Text::kUnknownCommand, {args[0]}) << '\n';
  return kExitFailed;
}

}  // namespace

int run_command_line(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  const InterruptGuard stops;
  const int status = run_words(args, out, err);
  return InterruptGuard::requested() ? InterruptGuard::exit_status() : status;
}

}  // namespace tessel::host
