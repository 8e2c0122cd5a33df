#include "host/Commands.h"

#include "host/CommandTable.h"
#include "host/Completion.h"
#include "host/Help.h"
#include "host/Interrupt.h"
#include "host/Messages.h"

namespace tessel::host {

namespace {

// The words that stand in place of a command. --man and --bash-completion
// are for the build, which writes the manual page and completion with them.
bool run_program_word(std::string_view word, std::ostream& out, std::ostream& err, int& status) {
  if (word == "--help" || word == "-h" || word == "help") {
    status = write_overview(out, err) ? kExitDone : kExitFailed;
  } else if (word == "--version") {
    write_version(out);
    status = kExitDone;
  } else if (word == "--man") {
    status = write_manual(out, err) ? kExitDone : kExitFailed;
  } else if (word == "--bash-completion") {
    write_bash_completion(out);
    status = kExitDone;
  } else {
    return false;
  }
  return true;
}

int run_command(const CommandSpec& command, std::span<const std::string_view> args,
                std::ostream& out, std::ostream& err) {
  switch (check_options(command, args, err)) {
    case OptionCheck::help: return write_command_help(command, out, err) ? kExitDone : kExitFailed;
    case OptionCheck::failed: return kExitFailed;
    case OptionCheck::run: break;
  }
  return command.run(args, out, err);
}

int run_words(std::span<const std::string_view> args, std::ostream& out, std::ostream& err) {
  if (args.empty()) {
    write_overview(err, err);
    return kExitFailed;
  }
  if (int status = kExitDone; run_program_word(args[0], out, err, status)) return status;
  if (const CommandSpec* command = find_command(args[0])) {
    return run_command(*command, args.subspan(1), out, err);
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
