#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "support/PStringUtilities.h"

namespace {

constexpr unsigned char kGuard = 0xEE;

// A Str255 with guard bytes behind it, so that a write past byte 255 shows.
class Text {
 public:
  explicit Text(const std::string& text = {}) {
    std::memset(bytes_, kGuard, sizeof bytes_);
    bytes_[0] = static_cast<unsigned char>(text.size());
    std::memcpy(bytes_ + 1, text.data(), text.size());
  }
  StringPtr p() { return bytes_; }
  std::string str() const { return {reinterpret_cast<const char*>(bytes_ + 1), bytes_[0]}; }
  bool guardsIntact() const {
    return std::all_of(bytes_ + 256, bytes_ + sizeof bytes_, [](auto b) { return b == kGuard; });
  }

 private:
  unsigned char bytes_[256 + 16];
};

std::string substituted(const std::string& text, SInt16 n, const std::string& replacement) {
  Text t(text);
  SubstitutePString(t.p(), n, Text(replacement).p());
  EXPECT_TRUE(t.guardsIntact());
  return t.str();
}

std::string truncated(const std::string& text, SInt16 maximum, const std::string& mark) {
  Text t(text);
  TruncatePString(t.p(), maximum, Text(mark).p());
  return t.str();
}

SInt16 found(const std::string& text, const std::string& pattern) {
  return FindPString(Text(text).p(), Text(pattern).p());
}

Boolean endsWith(const std::string& text, const std::string& suffix) {
  return EndEqualPString(Text(text).p(), Text(suffix).p());
}

TEST(PStringUtilities, NumbersKeepOnlyWhatFitsIn255Characters) {
  Text number("stale");
  CopyNumToPString(-30200, number.p());
  EXPECT_EQ(number.str(), "-30200");
  Text padded(std::string(253, 'n'));
  AppendNumToPString(-30200, padded.p());
  EXPECT_EQ(padded.str(), std::string(253, 'n') + "-3");
  EXPECT_TRUE(padded.guardsIntact());
}

TEST(PStringUtilities, AppendingAStringToItselfDoublesIt) {
  Text text("abc");
  AppendPString(text.p(), text.p());
  EXPECT_EQ(text.str(), "abcabc");

  std::string long_text(200, 'x');
  for (std::size_t i = 0; i < long_text.size(); ++i) long_text[i] = char('a' + i % 26);
  Text full(long_text);
  AppendPString(full.p(), full.p());
  EXPECT_EQ(full.str(), long_text + long_text.substr(0, 55));
  EXPECT_TRUE(full.guardsIntact());
}

TEST(PStringUtilities, FindReachesTheLastPosition) {
  EXPECT_EQ(found(std::string(254, 'x') + "q", "q"), 255);
}

// Placeholders ^0 and past ^9, which the random texts below never hold.
TEST(PStringUtilities, SubstituteTakesPlaceholdersByTheirDigit) {
  EXPECT_EQ(substituted("end ^0", 0, ""), "end ");
  EXPECT_EQ(substituted("^: ^1", 10, "ten"), "^: ^1");

  Text counted("^0 of ^1");
  SubstituteNumPString(counted.p(), 1, 12);
  SubstituteNumPString(counted.p(), 0, -3);
  EXPECT_EQ(counted.str(), "-3 of 12");
}

TEST(PStringUtilities, SubstituteTakesTheReplacementFromTheTextItself) {
  Text text("a^1b");
  SubstitutePString(text.p(), 1, text.p());
  EXPECT_EQ(text.str(), "aa^1bb");

  // A replacement stored in the text's own tail, which the insertion shifts.
  Text tail("^1\x03xyz");
  SubstitutePString(tail.p(), 1, tail.p() + 3);
  EXPECT_EQ(tail.str(), "xyz\x03xyz");
}

TEST(PStringUtilities, TruncateToANegativeLengthEmptiesTheText) {
  EXPECT_EQ(truncated("abcdefgh", -4, "..."), "");
}

// Cuts that would fall inside a character move back to its start; the mark
// still ends the text and a mark that does not fit is left out.
TEST(PStringUtilities, UTF8TruncationNeverSplitsACharacter) {
  struct Case {
    std::string text;
    SInt16 maximum;
    std::string mark, expected;
  };
  const std::string e = "\u00e9", ga = "\u753b", smile = "\U0001F600", dots = "\u2026";
  for (const Case& c : std::vector<Case>{
           {"abcdefgh", 5, dots, "ab" + dots},
           {e + e + e + e, 6, dots, e + dots},  // 2 + 3: a byte to spare
           {ga + ga + ga, 7, dots, ga + dots},  // 3 + 3
           {smile + smile, 6, dots, dots},      // no whole emoji fits before the mark
           {smile + smile, 7, dots, smile + dots},
           {ga + ga + ga, 5, "", ga},    // no mark: cut at a boundary
           {ga + ga, 2, dots, ""},       // mark too long, no whole character
           {ga + ga, 6, dots, ga + ga},  // fits: unchanged
       }) {
    Text t(c.text);
    TruncateUTF8PString(t.p(), c.maximum, Text(c.mark).p());
    EXPECT_EQ(t.str(), c.expected) << c.text << " to " << c.maximum;
  }
}

TEST(PStringUtilities, RomanTextBecomesUTF8AndStopsAtWholeCharacters) {
  Text ellipsis("a\xC9z");
  RomanToUTF8PString(ellipsis.p());
  EXPECT_EQ(ellipsis.str(), "a\u2026z");
  std::string roman(250, 'x');
  roman += "\xC9\xC9";  // 250 + 3 bytes fit, 250 + 6 do not
  Text full(roman);
  RomanToUTF8PString(full.p());
  EXPECT_EQ(full.str(), std::string(250, 'x') + "\u2026");
}

TEST(PStringUtilities, ComparisonsAreByteExact) {
  EXPECT_EQ(endsWith("SCAN.TIF", ".TIF"), 1);
  EXPECT_EQ(endsWith("scan.tif", ".TIF"), 0);

  Text abc("abc");
  EXPECT_EQ(EqualPString(abc.p(), Text("abc").p()), 1);
  EXPECT_EQ(EqualPString(abc.p(), Text("abd").p()), 0);
  EXPECT_EQ(EqualPString(abc.p(), Text("ab").p()), 0);
  EXPECT_EQ(EqualPString(Text("ab").p(), abc.p()), 0);
  EXPECT_EQ(EqualPString(Text("").p(), Text("").p()), 1);
}

TEST(PStringUtilities, UpperChangesOnlyAsciiLetters) {
  Text text("scan.tif 09 @[`{ \xE9\x8A\xFF az");
  UpperPString(text.p());
  EXPECT_EQ(text.str(), "SCAN.TIF 09 @[`{ \xE9\x8A\xFF AZ");
}

// Reference behaviour written with std::string, independent of the byte
// arithmetic under test.
std::string modelAppend(const std::string& destination, const std::string& source) {
  return (destination + source).substr(0, 255);
}

std::string modelSubstitute(const std::string& text, int n, const std::string& replacement) {
  std::size_t at = text.find(std::string{'^', char('0' + n)});
  if (at == std::string::npos) return text;
  std::size_t room = 255 - (text.size() - 2);
  return text.substr(0, at) + replacement.substr(0, room) + text.substr(at + 2);
}

std::string modelTruncate(const std::string& text, std::size_t maximum, const std::string& mark) {
  if (text.size() <= maximum) return text;
  std::string cut = text.substr(0, maximum);
  std::size_t shown = std::min(mark.size(), maximum);
  cut.replace(maximum - shown, shown, mark.substr(mark.size() - shown));
  return cut;
}

TEST(PStringUtilities, RandomTextsBehaveLikeStdStringModels) {
  std::mt19937 random(20240611);
  const std::string alphabet = "ab^12Z\xE9";
  auto randomText = [&](std::size_t longest) {
    std::size_t length = std::uniform_int_distribution<std::size_t>(0, longest)(random);
    if (random() % 4 == 0) length = std::min<std::size_t>(length, 4);
    std::string text(length, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    return text;
  };
  for (int round = 0; round < 3000; ++round) {
    std::string a = randomText(255);
    std::string b = randomText(random() % 2 ? 255 : 6);
    SCOPED_TRACE("a=" + a + " b=" + b);

    Text appended(a);
    AppendPString(Text(b).p(), appended.p());
    EXPECT_EQ(appended.str(), modelAppend(a, b));
    EXPECT_TRUE(appended.guardsIntact());

    std::size_t at = a.find(b);
    EXPECT_EQ(found(a, b), b.empty() || at == std::string::npos ? 0 : SInt16(at + 1));
    EXPECT_EQ(endsWith(a, b), a.ends_with(b) ? 1 : 0);

    SInt16 n = SInt16(random() % 3);
    EXPECT_EQ(substituted(a, n, b), modelSubstitute(a, n, b));

    SInt16 maximum = SInt16(random() % 256);
    EXPECT_EQ(truncated(a, maximum, b), modelTruncate(a, std::size_t(maximum), b));
  }
}

}  // namespace
