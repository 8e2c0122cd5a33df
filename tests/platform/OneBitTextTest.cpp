// Small text in 1-bit ports: strokes must stay apart, so that the holes of
// digits survive and "8" does not read as "B".
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "OffscreenPort.h"
#include "Quickdraw.h"

using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

namespace {

constexpr SInt16 kWidth = 24, kHeight = 20;

// The character drawn alone at 9 points, as rows of '#' and '.'.
std::vector<std::string> drawn(char character, int depth) {
  OffscreenPort port(kWidth, kHeight, depth);
  TextSize(9);
  MoveTo(6, 14);
  DrawChar(character);
  std::vector<std::string> rows(kHeight, std::string(kWidth, '.'));
  for (int v = 0; v < kHeight; ++v) {
    for (int h = 0; h < kWidth; ++h) {
      if (port.at(h, v) != kWhitePixel) rows[v][h] = '#';
    }
  }
  return rows;
}

// White areas that do not reach the border: the counters of a glyph.
int holes(std::vector<std::string> rows) {
  auto fill = [&](auto& self, int h, int v) -> void {
    if (v < 0 || v >= kHeight || h < 0 || h >= kWidth || rows[v][h] != '.') return;
    rows[v][h] = 'o';
    self(self, h + 1, v);
    self(self, h - 1, v);
    self(self, h, v + 1);
    self(self, h, v - 1);
  };
  for (int h = 0; h < kWidth; ++h) fill(fill, h, 0), fill(fill, h, kHeight - 1);
  for (int v = 0; v < kHeight; ++v) fill(fill, 0, v), fill(fill, kWidth - 1, v);
  int count = 0;
  for (int v = 0; v < kHeight; ++v) {
    for (int h = 0; h < kWidth; ++h) {
      if (rows[v][h] == '.') ++count, fill(fill, h, v);
    }
  }
  return count;
}

// Where the first dark pixel of a row is; kWidth when the row is blank.
int leftmost(const std::string& row) {
  const auto at = row.find('#');
  return at == std::string::npos ? kWidth : int(at);
}

// Whether the glyph's top-left corner is cut, as on round letters.
bool rounded_top(const std::vector<std::string>& rows) {
  int top = 0;
  while (top < kHeight && leftmost(rows[top]) == kWidth) ++top;
  int left = kWidth;
  for (const std::string& row : rows) left = std::min(left, leftmost(row));
  return top < kHeight && leftmost(rows[top]) > left;
}

// The longest run of dark pixels down one column.
int tallest_stroke(const std::vector<std::string>& rows) {
  int tallest = 0;
  for (int h = 0; h < kWidth; ++h) {
    int run = 0;
    for (int v = 0; v < kHeight; ++v) {
      run = rows[v][h] == '#' ? run + 1 : 0;
      tallest = std::max(tallest, run);
    }
  }
  return tallest;
}

std::string picture(const std::vector<std::string>& rows) {
  std::string text;
  for (const std::string& row : rows) text += row + "\n";
  return text;
}

// Cut from smooth coverage at a threshold, "8" came out square-cornered
// like "B" and the stem of "1", between two pixel columns, vanished.
TEST(OneBitText, NinePointDigitsKeepTheirShape) {
  const struct {
    char character;
    int holes;
    bool rounded;
  } cases[] = {{'8', 2, true}, {'0', 1, true}, {'6', 1, true}, {'B', 2, false}, {'1', 0, false}};
  for (const auto& c : cases) {
    const auto rows = drawn(c.character, 1);
    EXPECT_EQ(holes(rows), c.holes) << c.character << "\n" << picture(rows);
    EXPECT_EQ(rounded_top(rows), c.rounded) << c.character << "\n" << picture(rows);
  }
  for (char stemmed : {'1', 'B', 'l'}) {
    const auto rows = drawn(stemmed, 1);
    EXPECT_GE(tallest_stroke(rows), 6) << stemmed << "\n" << picture(rows);
  }
}

}  // namespace
