// Mistakes in a source name the file, the line and what is wrong, and the
// program then writes nothing.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "AppleDouble.h"
#include "RescompTestSupport.h"
#include "TempFolder.h"

namespace {

using tessel::testing::compile_error;

struct Case {
  std::string source;
  const char* message;
};

TEST(SourceErrors, NameTheLineAndTheMistake) {
  std::string rows;  // sixteen blank cursor rows
  for (int i = 0; i < 16; ++i) rows += "\"................\"\n";
  const Case cases[] = {
      {"resource 'STR ' 1 {\n\n  \"5 × 3\" }",
       "dir/test.r:3: the string holds U+00D7 '×', which Mac Roman cannot represent"},
      {"resource 'STR ' 1 { \"a\xC3\" }", "dir/test.r:1: the string is not valid UTF-8"},
      {"resource 'STR#' 1 {\n 1: \"a\"\n 3: \"b\" }",
       "dir/test.r:3: string 3 is out of order: string 2 comes next"},
      {"\nresource 'DLOG' 1 {\n bounds 0, 0, 1, 1\n}",
       "dir/test.r:2: the dialog lacks its 'items' field"},
      {"resource 'DLOG' 1 {\n items 1\n items 2 }", "dir/test.r:3: field 'items' is given twice"},
      {"resource 'ALRT' 1 {\n colour 3 }",
       "dir/test.r:2: unknown field 'colour' in the alert (bounds, items, stages, position)"},
      {"resource 'STR ' 40000 { \"\" }",
       "dir/test.r:1: the resource ID 40000 is out of range (-32768 to 32767)"},
      {"resource 'STR ' 1 {\n \"open }", "dir/test.r:2: text not closed on its line"},
      {"resource 'snd ' 1 {\n\n hex \"ABC\" }",
       "dir/test.r:3: hex data has an odd number of digits"},
      {"resource 'snd ' 1 {\n include \"missing.bin\" }",
       "dir/test.r:2: cannot include dir/missing.bin: file not found"},
      {"resource 'FILE' 1 { creator 'TSSL' type 'pref'\n name \"A name of thirty-two characters!\" "
       "}",
       "dir/test.r:2: the file name is 32 characters long; at most 31 fit"},
      {"resource 'DITL' 1 {\n 1: slider enabled 0, 0, 1, 1 }",
       "dir/test.r:2: item 1's kind must be one of button, check_box, radio_button, control, "
       "static_text, edit_text, icon, picture, user_item, not 'slider'"},
      {"resource 'DITL' 1 {\n 1: button enabled 0, 0, 1 \"OK\" }",
       "dir/test.r:2: expected ',', found text \"OK\""},
      {"resource 'ALRT' 1 { bounds 0,0,0,0 items 1\n stages ok visible beep, ok visible silent, ok "
       "visible silent, ok visible silent }",
       "dir/test.r:2: stage 1's sound must be one of silent, sound1, sound2, sound3, not 'beep'"},
      {"resource 'STR ' 1 locked shared { \"\" }",
       "dir/test.r:1: unknown attribute 'shared' (one of sysheap, purgeable, locked, protected, "
       "preload, raw)"},
      {"resource 'STR' 1 { \"\" }",
       "dir/test.r:1: type code 'STR' is not four printable ASCII characters"},
      {"resource 'DITL' 1 { }", "dir/test.r:1: an item list needs at least one item"},
      {"resource 'snd ' 1 {\n bits \"#x\" }", "dir/test.r:2: the bits may hold only '#' and '.'"},
      {"resource 'STR ' 1 { \"\" \n", "dir/test.r:2: expected '}', found end of file"},
      {"resource 'CURS' 1 { hot_spot 0, 0 mask {\n" + rows + "}\nimage {\n\"...\"\n" + rows + "} }",
       "dir/test.r:20: row 1 of the image has 3 pixels; a cursor row has 16"},
      {"resource 'CURS' 1 { hot_spot 0, 0 mask {\n" + rows + "\"................\" }",
       "dir/test.r:18: the mask has more than 16 rows"},
  };
  for (const Case& c : cases) EXPECT_EQ(compile_error(c.source), c.message) << c.source;
}

class RescompProgram : public tessel::testing::TempFolder {
 protected:
  int run(std::vector<std::string> arguments) {
    std::ostringstream err;
    int status = tessel::rescomp::run_rescomp(arguments, err);
    messages_ = err.str();
    return status;
  }
  std::string messages_;
};

TEST_F(RescompProgram, SameResourceInTwoSourcesNamesBoth) {
  std::string source = "resource 'STR ' 7 { \"\" }";
  auto a = write_file("a.r", std::vector<UInt8>(source.begin(), source.end()));
  EXPECT_EQ(run({"-o", path("m").string(), a.string(), a.string()}), 1);
  EXPECT_EQ(messages_, a.string() + ":1: 'STR ' 7 is already defined at " + a.string() + ":1\n");
}

TEST_F(RescompProgram, AFailedBuildLeavesTheOldForkAlone) {
  std::string good = "resource 'STR ' 1 { \"old\" }";
  std::string bad = "resource 'STR ' 1 { \"old\" }\nresource 'STR ' 2 { \"×\" }";
  auto source = write_file("s.r", std::vector<UInt8>(good.begin(), good.end()));
  ASSERT_EQ(run({"-o", path("m").string(), source.string()}), 0) << messages_;
  auto before = read_file(path("._m"));
  write_file("s.r", std::vector<UInt8>(bad.begin(), bad.end()));
  EXPECT_EQ(run({"-o", path("m").string(), source.string()}), 1);
  EXPECT_NE(messages_.find("s.r:2:"), std::string::npos) << messages_;
  EXPECT_EQ(read_file(path("._m")), before);
  EXPECT_FALSE(std::filesystem::exists(path("._m.tessel-new")));
}

TEST_F(RescompProgram, RefusesIncompleteCommands) {
  auto source = write_file("s.r", {});
  EXPECT_EQ(run({source.string()}), 1) << "no output named";
  EXPECT_EQ(run({"-o", path("m").string()}), 1) << "no sources";
  EXPECT_EQ(run({"-o", path("m").string(), "--type", "TOOLONG", source.string()}), 1);
  EXPECT_EQ(run({"-o", path("m").string(), "--verbose", source.string()}), 1);
  EXPECT_NE(messages_.find("usage:"), std::string::npos);
  EXPECT_EQ(run({"-o", path("m").string(), path("missing.r").string()}), 1);
  EXPECT_EQ(messages_, path("missing.r").string() + ": cannot read: file not found\n");
  EXPECT_FALSE(std::filesystem::exists(path("._m")));
}

}  // namespace
