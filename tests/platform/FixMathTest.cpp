#include <gtest/gtest.h>

#include <climits>

#include "FixMath.h"
#include "TextUtils.h"

TEST(FixMath, FixRatioTruncatesAndSaturatesOnZero) {
  EXPECT_EQ(FixRatio(1000, 100), 10 * fixed1);
  EXPECT_EQ(FixRatio(1, 3), 21845);
  EXPECT_EQ(FixRatio(-1, 3), -21845);
  EXPECT_EQ(FixRatio(5, 9), 36408);
  EXPECT_EQ(FixRatio(32767, 1), 32767 * fixed1);
  EXPECT_EQ(FixRatio(3, 0), INT32_MAX);
  EXPECT_EQ(FixRatio(-3, 0), INT32_MIN);
}

TEST(FixMath, FixMulOfAnIntegerIsTheExactProduct) {
  Fixed step = FixRatio(1000, 300);
  for (int x = 0; x < 300; ++x) {
    EXPECT_EQ(FixMul(x * fixed1, step), x * step) << x;
  }
  EXPECT_EQ(FixMul(fixed1 / 2, fixed1 / 2), fixed1 / 4);
  EXPECT_EQ(FixMul(-3 * fixed1, 2 * fixed1), -6 * fixed1);
  EXPECT_EQ(FixMul(30000 * fixed1, 30000 * fixed1), INT32_MAX);
  EXPECT_EQ(FixMul(-30000 * fixed1, 30000 * fixed1), INT32_MIN);
}

TEST(TextUtils, NumbersAndTextsBecomeLengthPrefixed) {
  Str255 text;
  NumToString(-30200, text);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(text + 1), text[0]), "-30200");
  NumToString(INT32_MIN, text);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(text + 1), text[0]), "-2147483648");
  std::string longText(300, 'x');
  CopyCStringToPascal(longText.c_str(), text);
  EXPECT_EQ(text[0], 255);
}
