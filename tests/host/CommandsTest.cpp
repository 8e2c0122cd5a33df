#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <vector>

#include "MacErrors.h"
#include "TempFolder.h"
#include "host/Commands.h"
#include "host/Document.h"
#include "host/InfoCommand.h"
#include "host/Messages.h"

namespace tessel::host {
namespace {

class CommandLine : public testing::TempFolder {
 protected:
  int run(std::vector<std::string_view> args) {
    out.str("");
    err.str("");
    return run_command_line(args, out, err);
  }
  std::ostringstream out, err;
};

TEST_F(CommandLine, BadUsageFailsWithOneLine) {
  const std::string missing = path("missing.tif").string();
  const std::vector<std::vector<std::string_view>> cases{
      {"frob"},
      {"export"},
      {"export", "a.tif", "b.tif"},
      {"export", "a.tif", "--select"},
      {"export", "a.tif", "--memory-limit", "0"},
      {"export", "a.tif", "--memory-limit", "12x"},
      {"export", "a.tif", "--verbose"},
      {"export", missing}};
  for (const auto& args : cases) {
    SCOPED_TRACE(args.back());
    EXPECT_EQ(run(args), kExitFailed);
    EXPECT_TRUE(out.str().empty());
    const std::string problem = err.str();
    EXPECT_EQ(std::count(problem.begin(), problem.end(), '\n'), 1) << problem;
  }
  EXPECT_NE(err.str().find(missing), std::string::npos);
}

TEST_F(CommandLine, HelpGoesToStandardOutput) {
  EXPECT_EQ(run({"--help"}), kExitDone);
  EXPECT_NE(out.str().find("export DOCUMENT"), std::string::npos);
  EXPECT_EQ(run({}), kExitFailed);
  EXPECT_NE(err.str().find("export DOCUMENT"), std::string::npos);
}

// The texts come from the program's resource fork, by their place in the
// list: one text too many or too few there and every text would be another's.
TEST(HostTexts, EveryTextIsThereWithItsPlaceholders) {
  EXPECT_EQ(message(Text::kUnknownCommand, {"frob"}),
            "tessel: there is no command \"frob\" (see tessel --help)");
  EXPECT_EQ(message(Text::kModeNames).substr(0, 17), "bitmap|grayscale|");
  for (int text = 0; text < int(Text::kCount); ++text) {
    const std::string shown = message(Text(text), {"A", "B", "C"});
    EXPECT_FALSE(shown.empty()) << text;
    EXPECT_EQ(shown.find('^'), std::string::npos) << text;
    EXPECT_EQ(shown.find("reinstall"), std::string::npos) << shown;
  }
  EXPECT_NE(message(Text::kUsage).find("tessel COMMAND --help"), std::string::npos);
}

TEST(HostTexts, SizesTakeTheLargestUnitTheyFill) {
  const std::pair<UInt64, const char*> cases[] = {
      {0, "0 bytes"},
      {999, "999 bytes"},
      {1000, "1.0 KB"},
      {9216, "9.2 KB"},
      {999'700, "1.0 MB"},
      {123'456'789, "123 MB"},
      {1'200'000'000, "1.2 GB"},
      {7'200'000'000, "7.2 GB"},
      {300'000'000'000'000, "300 TB"},
  };
  for (const auto& [bytes, text] : cases) EXPECT_EQ(size_text(bytes), text) << bytes;
}

}  // namespace
}  // namespace tessel::host
