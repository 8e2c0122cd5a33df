// Each structured form against its Toolbox layout, worked out by hand.
#include <gtest/gtest.h>

#include "RescompTestSupport.h"
#include "TempFolder.h"

namespace {

using Bytes = std::vector<UInt8>;
using tessel::testing::compiled_data;

TEST(Templates, StringListIsCountedAndStoredInMacRoman) {
  Bytes data = compiled_data(R"(resource 'STR#' 1 {
    1: "Café" "!"
    2: ""
    3: "…\t\"\\"
  })");
  EXPECT_EQ(data,
            (Bytes{0x00, 0x03, 0x05, 'C', 'a', 'f', 0x8E, '!', 0x00, 0x04, 0xC9, 0x09, '"', '\\'}));
}

// Forms whose few fields are all given, or all left to their defaults.
TEST(Templates, ShortFormsMatchTheirLayouts) {
  const std::pair<const char*, Bytes> cases[] = {
      {"resource 'STR ' 1 { \"Line\\rbreak\" }",
       {10, 'L', 'i', 'n', 'e', 0x0D, 'b', 'r', 'e', 'a', 'k'}},
      {"resource 'DLOG' 1 { items -1 bounds 0, 0, 1, 2 }",  // an invisible modal box, no title
       {0, 0, 0, 0, 0, 1, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0}},
      {"resource 'DLOG' 5 raw { hex \"ABCD\" }", {0xAB, 0xCD}},  // raw replaces the form
  };
  for (const auto& [source, expected] : cases) EXPECT_EQ(compiled_data(source), expected) << source;
}

TEST(Templates, DialogPadsTheTitleOnlyWhenAPlacementFollows) {
  const char* fields =
      "bounds 10, 20, 110, 220 window movable_modal visible true "
      "close_box false refcon 'stdf' items 301 title \"Hi\"";
  Bytes plain{0x00, 0x0A, 0x00, 0x14, 0x00, 0x6E, 0x00, 0xDC,  // bounds
              0x00, 0x05,                                      // window kind
              0x01, 0x00, 0x00, 0x00,                          // visible, filler, close box, filler
              's',  't',  'd',  'f',                           // reference constant
              0x01, 0x2D,                                      // item list
              0x02, 'H',  'i'};
  EXPECT_EQ(compiled_data(std::string("resource 'DLOG' 300 { ") + fields + " }"), plain);
  Bytes placed = plain;
  placed.insert(placed.end(), {0x00, 0x28, 0x0A});
  EXPECT_EQ(compiled_data(std::string("resource 'DLOG' 300 { ") + fields +
                          " position center_main_screen }"),
            placed);
}

TEST(Templates, AlertStagesRunFromTheLowBitsUp) {
  Bytes data = compiled_data(R"(resource 'ALRT' 16100 {
    bounds 40, 40, 170, 460
    items 16100
    stages ok visible sound1, cancel visible silent, ok hidden sound2, cancel hidden sound3
  })");
  EXPECT_EQ(data, (Bytes{0x00, 0x28, 0x00, 0x28, 0x00, 0xAA, 0x01, 0xCC, 0x3E, 0xE4, 0xB2, 0xC5}));
  EXPECT_EQ(compiled_data("resource 'ALRT' 1 { bounds 0,0,0,0 items 2 stages 0x1234 "
                          "position alert_main_screen }"),
            (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0x02, 0x12, 0x34, 0x30, 0x0A}));
}

TEST(Templates, ItemListEncodesEveryKind) {
  Bytes data = compiled_data(R"(resource 'DITL' 1 {
    1: button enabled 1, 2, 3, 4 "OK"
    2: check_box disabled 5, 6, 7, 8 "Grid"
    3: radio_button enabled 0, 0, 10, 10 "A"
    4: static_text disabled 0, 0, 10, 10 "^0"
    5: edit_text enabled 0, 0, 10, 10 ""
    6: icon disabled 0, 0, 32, 32 128
    7: picture enabled 0, 0, 10, 10 -2
    8: control enabled 0, 0, 10, 10 300
    9: user_item disabled 0, 0, 10, 10
  })");
  const Bytes small_box{0, 0, 0, 0, 0, 10, 0, 10};
  Bytes expected{0x00, 0x08};
  auto item = [&](const Bytes& rect, const Bytes& rest) {
    expected.insert(expected.end(), {0, 0, 0, 0});
    expected.insert(expected.end(), rect.begin(), rect.end());
    expected.insert(expected.end(), rest.begin(), rest.end());
  };
  item({0, 1, 0, 2, 0, 3, 0, 4}, {0x04, 2, 'O', 'K'});
  item({0, 5, 0, 6, 0, 7, 0, 8}, {0x85, 4, 'G', 'r', 'i', 'd'});
  item(small_box, {0x06, 1, 'A', 0x00});  // an odd text is padded to an even length
  item(small_box, {0x88, 2, '^', '0'});
  item(small_box, {0x10, 0});
  item({0, 0, 0, 0, 0, 32, 0, 32}, {0xA0, 2, 0x00, 0x80});
  item(small_box, {0x40, 2, 0xFF, 0xFE});
  item(small_box, {0x07, 2, 0x01, 0x2C});
  item(small_box, {0x80, 0});
  EXPECT_EQ(data, expected);
}

TEST(Templates, CursorHoldsImageMaskAndHotSpot) {
  std::string source =
      "resource 'CURS' 1 { hot_spot 1, 8 image {\n"
      "\"#...............\" \"........#.......\"\n";
  for (int row = 2; row < 16; ++row) source += "\"................\"\n";
  source += "} mask {\n";
  for (int row = 0; row < 16; ++row) source += "\"################\"\n";
  source += "} }";
  Bytes expected{0x80, 0x00, 0x00, 0x80};
  expected.resize(32, 0);
  expected.resize(64, 0xFF);
  expected.insert(expected.end(), {0, 1, 0, 8});
  EXPECT_EQ(compiled_data(source), expected);
}

TEST(Templates, FileDescriptorGivesTheNameThirtyTwoBytes) {
  Bytes expected{5, 'P', 'r', 'e', 'f', 's'};
  expected.resize(32, 0);
  expected.insert(expected.end(), {'T', 'S', 'S', 'L', 'p', 'r', 'e', 'f', 0xFF, 0xFE});
  EXPECT_EQ(compiled_data("resource 'FILE' 16000 { name \"Prefs\" creator 'TSSL' type 'pref' "
                          "script -2 }"),
            expected);
}

class RawData : public tessel::testing::TempFolder {};

TEST_F(RawData, StatementsFollowOneAnother) {
  write_file("sounds/blob.bin", {1, 2, 3});
  std::string source = R"(resource 'snd ' 16000 "Biscuit" purgeable locked {
    hex "0A0b 0C"
    include "sounds/blob.bin"
    bits { "#.#" "........#" }
    int8 -1 int16 -2 int32 0x01020304
    type 'ab c'
    pstring "é" text "Hi"
  })";
  tessel::rescomp::CompileResult result = tessel::rescomp::compile_text(source, path("main.r"));
  ASSERT_TRUE(result.ok()) << result.error;
  ASSERT_EQ(result.resources.size(), 1u);
  const auto& resource = result.resources[0];
  EXPECT_EQ(resource.type, FourCC("snd "));
  EXPECT_EQ(resource.id, 16000);
  EXPECT_EQ(resource.name, "Biscuit");
  EXPECT_EQ(resource.attributes, 32 | 16);
  EXPECT_EQ(resource.data,
            (Bytes{0x0A, 0x0B, 0x0C, 1, 2,   3,   0xA0, 0x00, 0x80, 0xFF, 0xFF, 0xFE,
                   1,    2,    3,    4, 'a', 'b', ' ',  'c',  1,    0x8E, 'H',  'i'}));
}

}  // namespace
