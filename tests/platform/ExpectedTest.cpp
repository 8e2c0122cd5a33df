#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Expected.h"
#include "MacErrors.h"

namespace tessel {
namespace {

Expected<int> parse_digit(char c) {
  if (c < '0' || c > '9') return Expected<int>::failure(paramErr);
  return c - '0';
}

// Two callers of other result types that forward the callee's error.
Expected<std::string> spelled(char c) {
  Expected<int> digit = parse_digit(c);
  if (!digit) return failure_of(digit);
  return std::string(std::size_t(*digit), '*');
}

Expected<std::unique_ptr<std::string>> boxed(char c) {
  Expected<std::string> text = spelled(c);
  if (!text) return failure_of(text);
  return std::make_unique<std::string>(std::move(*text));
}

TEST(Expected, AForwardedErrorKeepsItsCodeThroughCallersOfOtherTypes) {
  Expected<std::unique_ptr<std::string>> failed = boxed('x');
  EXPECT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error(), paramErr);

  Expected<std::unique_ptr<std::string>> passed = boxed('3');
  ASSERT_TRUE(passed.has_value());
  EXPECT_EQ(passed.error(), noErr);
  EXPECT_EQ(**passed, "***");
}

TEST(Expected, AFailureAndAValueEqualToAnErrorCodeAreToldApart) {
  const Expected<OSErr> failed = Failure{fnfErr};
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.error(), fnfErr);
  // A value that happens to equal an error code is still a value.
  const Expected<OSErr> value = fnfErr;
  EXPECT_TRUE(value);
  EXPECT_EQ(*value, fnfErr);
  EXPECT_EQ(value.error(), noErr);
}

}  // namespace
}  // namespace tessel
