#include "host/Help.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Messages.h"

#ifndef TESSEL_VERSION
#error "the build names the version in TESSEL_VERSION"
#endif

namespace tessel::host {

namespace {

constexpr SInt16 kManualID = 17100;
constexpr std::size_t kLineWidth = 79;
constexpr std::size_t kOptionColumn = 24;

// "--rect TOP,LEFT,BOTTOM,RIGHT|the rectangle ..." as its two sides.
using Pair = std::pair<std::string, std::string>;

Pair split_pair(const std::string& entry) {
  const std::size_t bar = entry.find('|');
  if (bar == std::string::npos) return {entry, {}};
  return {entry.substr(0, bar), entry.substr(bar + 1)};
}

std::vector<Pair> pairs_from(const std::vector<std::string>& entries, std::size_t first) {
  std::vector<Pair> pairs;
  for (std::size_t at = first; at < entries.size(); ++at) pairs.push_back(split_pair(entries[at]));
  return pairs;
}

struct CommandHelp {
  std::string synopsis, description, example;
  std::vector<Pair> options;
};

// Entries of the "Manual" list, by their place in it.
enum ManualEntry : std::size_t {
  kSummary,
  kName,
  kSynopsis,
  kUsage,
  kCommands,
  kOptions,
  kExample,
  kHelpOption,
  kFirstSection
};

struct Manual {
  std::vector<std::string> entries;
  std::vector<Pair> sections;  // heading and paragraph
};

std::optional<Manual> read_manual(std::ostream& err) {
  Manual manual{string_list_texts(kManualID), {}};
  if (manual.entries.size() <= kFirstSection) {
    err << message(Text::kHelpUnreadable, {"tessel"}) << '\n';
    return std::nullopt;
  }
  manual.sections = pairs_from(manual.entries, kFirstSection);
  return manual;
}

std::optional<CommandHelp> read_command_help(const CommandSpec& command, std::ostream& err) {
  const std::vector<std::string> entries = string_list_texts(command.helpID);
  if (entries.size() < 3) {
    err << message(Text::kHelpUnreadable, {command.name}) << '\n';
    return std::nullopt;
  }
  return CommandHelp{entries[0], entries[1], entries[2], pairs_from(entries, 3)};
}

// text broken between words into lines of at most kLineWidth, each after
// indent spaces; the first line starts where the caller left off, at column
// first.
std::string wrapped(const std::string& text, std::size_t indent, std::size_t first) {
  std::string result;
  std::size_t column = first;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find(' ', at);
    if (end == std::string::npos) end = text.size();
    const std::size_t length = end - at;
    if (column > indent && column + 1 + length > kLineWidth) {
      result += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      result += ' ';
      ++column;
    }
    result.append(text, at, length);
    column += length;
    at = end + 1;
  }
  return result;
}

void write_option(const Pair& option, std::ostream& out) {
  std::string line = "  " + option.first;
  if (line.size() + 1 < kOptionColumn) {
    line.resize(kOptionColumn, ' ');
  } else {
    line += '\n' + std::string(kOptionColumn, ' ');
  }
  out << line << wrapped(option.second, kOptionColumn, kOptionColumn) << '\n';
}

void write_section(const Pair& section, std::ostream& out) {
  out << '\n' << section.first << ":\n  " << wrapped(section.second, 2, 2) << '\n';
}

}  // namespace

bool write_overview(std::ostream& out, std::ostream& err) {
  const std::optional<Manual> manual = read_manual(err);
  if (!manual) return false;
  out << message(Text::kUsage) << '\n' << manual->entries[kCommands] << ":\n";
  for (const CommandSpec& command : command_specs()) {
    const std::optional<CommandHelp> help = read_command_help(command, err);
    if (!help) return false;
    out << "  " << help->synopsis << "\n      " << wrapped(help->description, 6, 6) << '\n';
  }
  for (const Pair& section : manual->sections) write_section(section, out);
  return true;
}

bool write_command_help(const CommandSpec& command, std::ostream& out, std::ostream& err) {
  const std::optional<Manual> manual = read_manual(err);
  const std::optional<CommandHelp> help = manual ? read_command_help(command, err) : std::nullopt;
  if (!help) return false;
  out << manual->entries[kUsage] << " tessel " << help->synopsis << "\n\n"
      << wrapped(help->description, 0, 0) << "\n\n"
      << manual->entries[kOptions] << ":\n";
  for (const Pair& option : help->options) write_option(option, out);
  write_option(split_pair(manual->entries[kHelpOption]), out);
  out << '\n' << manual->entries[kExample] << ":\n  " << help->example << '\n';
  return true;
}

void write_version(std::ostream& out) { out << message(Text::kVersion, {TESSEL_VERSION}) << '\n'; }

namespace {

// text as roff takes it: backslashes and hyphens escaped, and a control
// character at the start of a line made plain.
std::string roff(std::string_view text) {
  std::string result;
  for (char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  if (!result.empty() && (result[0] == '.' || result[0] == '\'')) result.insert(0, "\\&");
  return result;
}

std::string upper(std::string text) {
  for (char& c : text) c = char(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return text;
}

void write_roff_option(const Pair& option, std::ostream& out) {
  out << ".TP\n\\fB" << roff(option.first) << "\\fR\n" << roff(option.second) << '\n';
}

void write_roff_command(const CommandSpec& command, const CommandHelp& help, const Manual& manual,
                        std::ostream& out) {
  out << ".SS " << command.name << "\n\\fBtessel\\fR " << roff(help.synopsis) << "\n.PP\n"
      << roff(help.description) << '\n';
  for (const Pair& option : help.options) write_roff_option(option, out);
  write_roff_option(split_pair(manual.entries[kHelpOption]), out);
  out << ".PP\n"
      << roff(manual.entries[kExample]) << ":\n.RS\n.nf\n"
      << roff(help.example) << "\n.fi\n.RE\n";
}

}  // namespace

bool write_manual(std::ostream& out, std::ostream& err) {
  const std::optional<Manual> manual = read_manual(err);
  if (!manual) return false;
  std::vector<CommandHelp> helps;
  for (const CommandSpec& command : command_specs()) {
    std::optional<CommandHelp> help = read_command_help(command, err);
    if (!help) return false;
    helps.push_back(std::move(*help));
  }
  out << ".TH TESSEL 1 \"\" \"" << roff(message(Text::kVersion, {TESSEL_VERSION})) << "\"\n"
      << ".SH " << roff(manual->entries[kName]) << "\ntessel \\- "
      << roff(manual->entries[kSummary]) << "\n.SH " << roff(manual->entries[kSynopsis]) << '\n';
  for (const CommandHelp& help : helps)
    out << "\\fBtessel\\fR " << roff(help.synopsis) << "\n.br\n";
  const auto commands = command_specs();
  for (std::size_t at = 0; at < manual->sections.size(); ++at) {
    out << ".SH " << roff(upper(manual->sections[at].first)) << '\n'
        << roff(manual->sections[at].second) << '\n';
    if (at != 0) continue;
    // The commands follow the description, before the notes.
    out << ".SH " << roff(upper(manual->entries[kCommands])) << '\n';
    for (std::size_t c = 0; c < commands.size(); ++c)
      write_roff_command(commands[c], helps[c], *manual, out);
  }
  return true;
}

}  // namespace tessel::host
