#include "host/Completion.h"

#include <string>

#include "host/CommandTable.h"

namespace tessel::host {

namespace {

// The shell function that offers the names of kind ("image", "document" or
// "file") that start with its second argument, folders among them.
constexpr std::string_view kFileFunction = R"(_tessel_files() {
  local kind=$1 name base folder
  local IFS=$'\n'
  for name in $(compgen -f -- "$2"); do
    base=${name##*/}
    folder=
    [[ $name == */* ]] && folder=${name%/*}/
    if [[ -d $name || $kind == file ]]; then
      COMPREPLY+=("$name")
      continue
    fi
    [[ $base == ._* ]] && continue
    case ${base,,} in
      *.tif | *.tiff) COMPREPLY+=("$name") ;;
      *.sct | *.ct) [[ $kind == image ]] && COMPREPLY+=("$name") ;;
      *) [[ $kind == image && -e $folder._$base ]] && COMPREPLY+=("$name") ;;
    esac
  done
}
)";

std::string_view kind_word(Argument kind) {
  switch (kind) {
    case Argument::image: return "image";
    case Argument::document: return "document";
    case Argument::file: return "file";
    case Argument::none:
    case Argument::text: break;
  }
  return {};
}

// What follows an option that takes a value: its file names, or nothing to
// offer when the value is a number or a rectangle.
void write_value_cases(const CommandSpec& command, std::ostream& out) {
  out << "      case $prev in\n";
  for (const OptionSpec& option : command.options) {
    if (option.value == Argument::none) continue;
    out << "        " << option.spelling << ") ";
    const std::string_view kind = kind_word(option.value);
    if (!kind.empty()) out << "_tessel_files " << kind << " \"$cur\"; ";
    out << "return ;;\n";
  }
  out << "      esac\n";
}

void write_command_case(const CommandSpec& command, std::ostream& out) {
  out << "    " << command.name << ")\n";
  write_value_cases(command, out);
  out << "      options=\"";
  for (const OptionSpec& option : command.options) out << option.spelling << ' ';
  out << "--help\"\n      operand=" << kind_word(command.operand) << "\n      ;;\n";
}

}  // namespace

void write_bash_completion(std::ostream& out) {
  out << "# bash completion for tessel, written by tessel --bash-completion\n" << kFileFunction;
  out << "\n_tessel() {\n  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
      << "  local options operand\n  COMPREPLY=()\n  if ((COMP_CWORD == 1)); then\n"
      << "    COMPREPLY=($(compgen -W \"";
  for (const CommandSpec& command : command_specs()) out << command.name << ' ';
  out << "--help --version\" -- \"$cur\"))\n    return\n  fi\n  case ${COMP_WORDS[1]} in\n";
  for (const CommandSpec& command : command_specs()) write_command_case(command, out);
  out << "    *) return ;;\n  esac\n"
      << "  if [[ $cur == -* ]]; then\n"
      << "    COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
      << "  elif [[ -n $operand ]]; then\n    _tessel_files \"$operand\" \"$cur\"\n  fi\n}\n"
      << "complete -o filenames -F _tessel tessel\n";
}

}  // namespace tessel::host
