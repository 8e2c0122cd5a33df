#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "Backend.h"
#include "TempFolder.h"
#include "host/MessageAlert.h"

namespace tessel::host {
namespace {

TEST(MacRomanFromUtf8, KeepsWhatMacRomanHoldsAndMarksTheRest) {
  const struct {
    std::string utf8;
    std::string roman;
  } cases[] = {
      {"plain.tif", "plain.tif"},
      {"two\nlines\n", "two\rlines\r"},
      {"caf\xC3\xA9 \xC3\x9C", "caf\x8E \x86"},  // é and Ü from the upper half
      {"\xE2\x80\xA6", "\xC9"},                  // the ellipsis
      {"\xE6\xBC\xA2 \xF0\x9F\x98\x80", "? ?"},  // not in Mac Roman
      {"cut \xC3", "cut ?"},                     // a sequence cut short
  };
  for (const auto& [utf8, roman] : cases) EXPECT_EQ(mac_roman_from_utf8(utf8), roman) << utf8;
}

class MessageAlert : public testing::TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    setenv("TESSEL_BACKEND", "headless", 1);
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
  }
  std::string logged() {
    std::ifstream in(path("alerts.log"));
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
};

// A text longer than one Toolbox string reaches the alert whole.
TEST_F(MessageAlert, ShowsTextLongerThanOneToolboxString) {
  std::string text;
  for (int line = 0; line < 40; ++line) text += "line " + std::to_string(line) + " of the story ";
  ASSERT_GT(text.size(), 600u);
  ASSERT_TRUE(show_message_alert(text + "\n"));
  EXPECT_NE(logged().find(text.substr(0, text.size() - 1)), std::string::npos) << logged();
}

// The window is the program's own: the name a terminal line starts with goes.
TEST_F(MessageAlert, LinesLoseTheProgramsNameAndKeepTheirOwnText) {
  ASSERT_TRUE(show_message_alert("tessel: wrote a.tif\ntessel: the tessel: tag\nplain\n"));
  EXPECT_NE(logged().find("wrote a.tif the tessel: tag plain"), std::string::npos) << logged();
  EXPECT_EQ(logged().find("tessel: wrote"), std::string::npos) << logged();
}

}  // namespace
}  // namespace tessel::host
