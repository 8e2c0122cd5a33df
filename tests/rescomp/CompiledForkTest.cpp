// A compiled fork, read back through the Resource Manager as the plug-in
// reads its own.
#include <gtest/gtest.h>

#include <sstream>

#include "AppleDouble.h"
#include "Compiler.h"
#include "Files.h"
#include "MacMemory.h"
#include "Resources.h"
#include "TempFolder.h"

namespace {

class CompiledFork : public tessel::testing::TempFolder {
 protected:
  // Compiles the source into the fork of a new file and opens that fork.
  SInt16 open_compiled(const std::string& source, std::vector<std::string> options = {}) {
    auto source_file = write_file("src.r", std::vector<UInt8>(source.begin(), source.end()));
    write_file("module", {});
    options.insert(options.end(), {"-o", path("module").string(), source_file.string()});
    std::ostringstream err;
    EXPECT_EQ(tessel::rescomp::run_rescomp(options, err), 0) << err.str();
    FSSpec spec = spec_of("module");
    return FSpOpenResFile(&spec, fsRdPerm);
  }

  static std::string index_string(SInt16 list, SInt16 index) {
    Str255 text{};
    GetIndString(text, list, index);
    return std::string(reinterpret_cast<const char*>(text + 1), text[0]);
  }
};

TEST_F(CompiledFork, StringsComeBackByIndex) {
  SInt16 ref = open_compiled(R"src(resource 'STR#' 16004 "Titles" { 1: "^1 (^2,^3)" 2: "…" }
                                   resource 'STR ' 9 { "single" })src");
  ASSERT_NE(ref, -1);
  EXPECT_EQ(index_string(16004, 1), "^1 (^2,^3)");
  EXPECT_EQ(index_string(16004, 2), "\xC9");
  for (int index : {0, 3}) EXPECT_EQ(index_string(16004, SInt16(index)), "") << index;
  EXPECT_EQ(index_string(999, 1), "") << "no such list";
  Handle single = Get1Resource(FourCC("STR "), 9);
  ASSERT_NE(single, nullptr);
  EXPECT_EQ(std::string(*single, std::size_t(GetHandleSize(single))), "\x06single");
  Handle titles = Get1Resource(FourCC("STR#"), 16004);
  SInt16 id = 0;
  ResType type = 0;
  Str255 name{};
  GetResInfo(titles, &id, &type, name);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(name + 1), name[0]), "Titles");
  CloseResFile(ref);
}

TEST_F(CompiledFork, TypeAndCreatorBecomeFinderInfoAndSurviveARebuild) {
  SInt16 ref =
      open_compiled("resource 'STR ' 1 { \"a\" }", {"--type", "TsPI", "--creator", "TSSL"});
  ASSERT_NE(ref, -1);
  CloseResFile(ref);
  ref = open_compiled("resource 'STR ' 2 { \"b\" }");
  ASSERT_NE(ref, -1);
  EXPECT_EQ(Get1Resource(FourCC("STR "), 1), nullptr) << "the old fork is replaced whole";
  EXPECT_NE(Get1Resource(FourCC("STR "), 2), nullptr);
  CloseResFile(ref);
  auto info = tessel::platform::appledouble::read_finder_info(path("module"));
  ASSERT_TRUE(info.has_value());
  EXPECT_EQ(info->fdType, FourCC("TsPI"));
  EXPECT_EQ(info->fdCreator, FourCC("TSSL"));
}

}  // namespace
