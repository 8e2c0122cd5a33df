// What several commands share: their common options, read in one place so
// that every command spells and checks them alike, the script that answers
// dialogs, and finding the plug-in module.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string_view>

#include "MacTypes.h"
#include "host/Module.h"

namespace tessel::host {

struct CommonOptions {
  std::optional<std::filesystem::path> script{};  // --script FILE
  std::optional<SInt32> memoryLimit{};            // --memory-limit BYTES
  bool force = false;                             // --force
  std::optional<std::filesystem::path> output{};  // -o FILE
};

// What a word on the command line stands for, as completion offers it.
enum class Argument { none, image, document, file, text };

struct OptionSpec {
  std::string_view spelling;
  Argument value;  // none: the option stands alone
};

// The shared options as the command table lists them; whether one takes a
// value is said here once, for parsing, help and completion alike.
constexpr OptionSpec kScriptSpec{"--script", Argument::file};
constexpr OptionSpec kMemoryLimitSpec{"--memory-limit", Argument::text};
constexpr OptionSpec kForceSpec{"--force", Argument::none};
constexpr OptionSpec kOutputSpec{"-o", Argument::file};

// Which of the shared options a command takes, or-ed together.
enum CommonOption : unsigned {
  kScriptOption = 1u << 0,
  kMemoryLimitOption = 1u << 1,
  kForceOption = 1u << 2,
  kOutputOption = 1u << 3,
};

struct CommandOptions {
  std::string_view command;  // as typed, for the messages
  unsigned accepted = 0;     // CommonOption bits
};

enum class Taken { no, yes, failed };

// Takes the option at args[at] (and its value, moving at past it) when it is
// one of the accepted shared options. no: not one of them, nothing said;
// failed: err has been told what is wrong with it.
Taken take_common_option(std::span<const std::string_view> args, std::size_t& at,
                         const CommandOptions& command, CommonOptions& options, std::ostream& err);

// A command line of shared options and at most one file name, as acquire,
// select and open take it; file is empty when none was named.
struct FileArguments {
  std::filesystem::path file{};
  CommonOptions common{};
};

// nullopt after telling err of an option the command does not take, one it
// takes without its value, or a second file name.
std::optional<FileArguments> parse_file_arguments(std::span<const std::string_view> args,
                                                  const CommandOptions& command, std::ostream& err);

// Tells err the option at args[at] is unknown to the command.
void tell_unknown_option(std::string_view option, const CommandOptions& command, std::ostream& err);

// Loads the script, when one was given, so that dialogs from now on take
// their input from it, file dialogs included (shown, with any pre-selected
// file selected in them); without one, opens the backend the environment
// asks for. False after telling err why the script cannot be used, or that
// the desktop it points at shows no windows.
bool apply_script(const CommonOptions& options, std::ostream& err);

// The plug-in module where the host looks for it; null after telling err
// why it cannot be used.
std::unique_ptr<Module> load_module(std::ostream& err);

// A whole decimal number from 1 to 2147483647.
std::optional<SInt32> parse_positive(std::string_view text);

}  // namespace tessel::host
