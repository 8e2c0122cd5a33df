#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "host/CommandTable.h"
#include "host/ProgramTestSupport.h"

namespace tessel::host {
namespace {

using testing::ProgramRun;

// Where the build writes what tessel --man and --bash-completion produce.
std::filesystem::path built_file(const std::string& relative) {
  return testing::program_folder().parent_path() / relative;
}

// Whether text has an option line for spelling: indented as indent says,
// then the option, then its value, a comma or the end of the line.
bool lists_option(const std::string& text, std::string_view spelling,
                  const std::string& indent = "  ") {
  const std::string escaped = std::regex_replace(std::string(spelling), std::regex("-"), "\\-");
  return std::regex_search(text, std::regex("(^|\n)" + indent + escaped + "([ ,]|\n)"));
}

class Help : public testing::ProgramTest {
 protected:
  // Runs command in sh in the scratch folder.
  ProgramRun shell(const std::string& command) {
    const std::string line = "cd '" + root_.string() + "' && " + command + " >out.txt 2>err.txt";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text_of(path("out.txt")),
            text_of(path("err.txt")), ""};
  }
};

// The table is what the command line is checked against; an option added
// there without its line in the help texts fails here.
TEST_F(Help, EachCommandListsEveryOptionItTakesWithAnExample) {
  for (const CommandSpec& command : command_specs()) {
    for (const char* ask : {"--help", "-h"}) {
      SCOPED_TRACE(std::string(command.name) + " " + ask);
      const ProgramRun run = tessel(std::string(command.name) + " " + ask);
      EXPECT_EQ(run.status, 0);
      EXPECT_EQ(run.err, "");
      EXPECT_TRUE(run.out.starts_with("usage: tessel " + std::string(command.name))) << run.out;
      for (const OptionSpec& option : command.options) {
        EXPECT_TRUE(lists_option(run.out, option.spelling)) << option.spelling << "\n" << run.out;
      }
      EXPECT_NE(run.out.find("Example:\n  tessel " + std::string(command.name)), std::string::npos);
    }
  }
}

TEST_F(Help, OverviewAndVersionGoToStandardOutput) {
  const ProgramRun overview = tessel("--help");
  EXPECT_EQ(overview.status, 0);
  for (const CommandSpec& command : command_specs()) {
    EXPECT_NE(overview.out.find("\n  " + std::string(command.name) + " "), std::string::npos)
        << command.name;
  }
  const ProgramRun version = tessel("--version");
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(std::regex_match(version.out, std::regex("tessel [0-9]+\\.[0-9]+(\\.[0-9]+)*\n")))
      << version.out;
}

// An option's value is never taken for an option, even when it starts with
// a hyphen; an option the command does not take is refused before it runs.
TEST_F(Help, OptionValuesAreSteppedOverAndUnknownOptionsRefused) {
  const ProgramRun valued = tessel("extract missing.tif -o -part.tif --rect 0,0,1,1");
  EXPECT_EQ(valued.status, 1);
  EXPECT_EQ(valued.err.find("does not know"), std::string::npos) << valued.err;
  EXPECT_NE(valued.err.find("missing.tif"), std::string::npos) << valued.err;
  const ProgramRun unknown = tessel("select missing.tif --json");
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.err.find("\"--json\""), std::string::npos) << unknown.err;
  EXPECT_EQ(tessel("select missing.tif --help").status, 0);
}

TEST_F(Help, ManualPageFormatsWithoutWarningsAndNamesEveryOption) {
  const std::filesystem::path page = built_file("share/man/man1/tessel.1");
  ASSERT_TRUE(std::filesystem::exists(page)) << page;
  const ProgramRun run =
      shell("LC_ALL=C MANWIDTH=80 timeout -k 5 60 man --warnings -l '" + page.string() + "'");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err, "");
  for (const CommandSpec& command : command_specs()) {
    EXPECT_NE(run.out.find("tessel " + std::string(command.name)), std::string::npos);
    for (const OptionSpec& option : command.options) {
      EXPECT_TRUE(lists_option(run.out, option.spelling, " +")) << option.spelling;
    }
  }
}

class Completion : public Help {
 protected:
  // What the completion offers for line, cursor at its end, run in bash.
  std::string offered(const std::string& line) {
    write_text(
        "complete.sh",
        "source '" + built_file("share/bash-completion/completions/tessel").string() +
            "'\nread -ra COMP_WORDS <<<\"$1\"\n[[ $1 == *' ' ]] && COMP_WORDS+=('')\n"
            "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_tessel\n"
            "for word in \"${COMPREPLY[@]}\"; do echo \"$word\"; done | sort | tr '\\n' ' '\n");
    const ProgramRun run = shell("timeout -k 5 30 bash complete.sh '" + line + "'");
    EXPECT_EQ(run.status, 0) << line << run.err;
    return run.out;
  }
};

TEST_F(Completion, OffersCommandsOptionsAndImageFiles) {
  for (const char* name :
       {"a.tif", "b.TIFF", "c.sct", "d.ct", "notes.txt", "native", "._native", "sub/e.tif"}) {
    write_text(name, "");
  }
  EXPECT_EQ(offered("tessel ex"), "export extract ");
  EXPECT_EQ(offered("tessel extract --"), "--force --help --rect ");
  EXPECT_EQ(offered("tessel extract -"), "--force --help --rect -o ");
  // Native images have no telling name; their sidecar shows them.
  EXPECT_EQ(offered("tessel extract "), "a.tif b.TIFF c.sct d.ct native sub ");
  EXPECT_EQ(offered("tessel extract sub/"), "sub/e.tif ");
  EXPECT_EQ(offered("tessel export "), "a.tif b.TIFF sub ");
  EXPECT_EQ(offered("tessel extract a.tif --rect "), "");
}

}  // namespace
}  // namespace tessel::host
