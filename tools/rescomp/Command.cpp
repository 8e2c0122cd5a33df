// The command line of tessel-rescomp.
#include <optional>

#include "Compiler.h"

namespace tessel::rescomp {
namespace {

constexpr const char* kUsage =
    "usage: tessel-rescomp -o PATH [--type TYPE] [--creator CREATOR] SOURCE...\n"
    "Compiles the resource sources into the resource fork kept in the AppleDouble\n"
    "sidecar of PATH (._NAME beside it); TYPE and CREATOR, four characters each,\n"
    "become its Finder info.\n";

struct Options {
  std::filesystem::path output;
  std::optional<OSType> type, creator;
  std::vector<std::filesystem::path> sources;
};

std::optional<OSType> code_of(const std::string& text) {
  if (text.size() != 4) return std::nullopt;
  for (char c : text) {
    if (c < 0x20 || c > 0x7E) return std::nullopt;
  }
  return FourCC({text[0], text[1], text[2], text[3], '\0'});
}

// Reads the value after an option into the code; false when it is missing
// or not four printable characters.
bool take_code(const std::vector<std::string>& arguments, std::size_t& i,
               std::optional<OSType>& code) {
  if (++i >= arguments.size()) return false;
  code = code_of(arguments[i]);
  return code.has_value();
}

std::optional<Options> parse_options(const std::vector<std::string>& arguments, std::ostream& err) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    bool good = true;
    if (argument == "-o") {
      good = ++i < arguments.size();
      if (good) options.output = arguments[i];
    } else if (argument == "--type" || argument == "--creator") {
      good = take_code(arguments, i, argument == "--type" ? options.type : options.creator);
    } else {
      good = argument.empty() || argument[0] != '-';
      options.sources.emplace_back(argument);
    }
    if (!good) {
      err << "tessel-rescomp: bad or incomplete option '" << argument << "'\n" << kUsage;
      return std::nullopt;
    }
  }
  if (options.output.empty() || options.sources.empty()) {
    err << kUsage;
    return std::nullopt;
  }
  return options;
}

std::optional<FInfo> finder_info_of(const Options& options) {
  if (!options.type && !options.creator) return std::nullopt;
  return FInfo{options.type.value_or(FourCC("????")), options.creator.value_or(FourCC("????")), 0,
               Point{0, 0}, 0};
}

}  // namespace

int run_rescomp(const std::vector<std::string>& arguments, std::ostream& err) {
  std::optional<Options> options = parse_options(arguments, err);
  if (!options) return 1;
  CompileResult compiled = compile_files(options->sources);
  if (!compiled.ok()) {
    err << compiled.error << "\n";
    return 1;
  }
  if (OSErr e = write_resource_fork(options->output, compiled.resources, finder_info_of(*options));
      e != 0) {
    err << "tessel-rescomp: cannot write the resource fork of " << options->output.string()
        << " (error " << e << ")\n";
    return 1;
  }
  return 0;
}

}  // namespace tessel::rescomp
