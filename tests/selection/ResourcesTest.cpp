// The plug-in's own resources, compiled from resources/: every resource the
// plug-in, the selection dialog and the about box fetch by number is there,
// with what its users need.
#include <gtest/gtest.h>

#include <map>
#include <span>

#include "ByteOrder.h"
#include "Files.h"
#include "MacMemory.h"
#include "QDOffscreen.h"
#include "Resources.h"
#include "Sound.h"
#include "platform/DialogTestSupport.h"
#include "platform/OffscreenPort.h"
#include "selection/AskUtilities.h"
#include "selection/DrawIconFamily.h"

namespace {

namespace qd = tessel::platform::quickdraw;
using tessel::platform::read_big16;
using tessel::platform::read_big32;
using tessel::testing::kWhitePixel;
using tessel::testing::OffscreenPort;

struct Item {
  UInt8 type;  // with 0x80 for a disabled item
  std::string data;
};

class CompiledResources : public tessel::testing::DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    open_compiled(TESSEL_RESOURCE_FORK);
  }
  // The bytes of a resource of the compiled file; none when it is missing.
  static std::vector<UInt8> bytes_of(ResType type, SInt16 id) {
    Handle h = Get1Resource(type, id);
    if (h == nullptr) return {};
    auto* data = reinterpret_cast<const UInt8*>(*h);
    return std::vector<UInt8>(data, data + GetHandleSize(h));
  }

  static std::vector<std::string> strings_of(SInt16 id) {
    std::vector<UInt8> list = bytes_of(FourCC("STR#"), id);
    std::vector<std::string> strings(list.size() < 2 ? 0 : read_big16(list));
    for (std::size_t i = 0; i < strings.size(); ++i) {
      Str255 text{};
      GetIndString(text, id, SInt16(i + 1));
      strings[i].assign(reinterpret_cast<const char*>(text + 1), text[0]);
    }
    return strings;
  }

  static std::vector<Item> items_of(SInt16 id) {
    std::vector<UInt8> list = bytes_of(FourCC("DITL"), id);
    std::vector<Item> items;
    for (std::size_t at = 2, n = 0; list.size() >= 2 && n <= read_big16(list); ++n) {
      std::size_t length = list.at(at + 13);
      items.push_back(Item{list.at(at + 12), std::string(list.begin() + long(at) + 14,
                                                         list.begin() + long(at + 14 + length))});
      at += 14 + length + (length & 1);
    }
    return items;
  }

  static std::size_t count(const std::string& text, const std::string& part) {
    std::size_t n = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
  }
};

TEST_F(CompiledResources, EveryIconFamilyHasEveryKindAtItsSize) {
  constexpr Size kSizes[kIconKindCount] = {256, 1024, 128, 512, 64, 256};
  for (SInt16 id = 16000; id <= 16006; ++id) {
    for (SInt16 kind = 0; kind < kIconKindCount; ++kind) {
      Handle icon = Get1Resource(IconKindType(kind), id);
      ASSERT_NE(icon, nullptr) << "family " << id << " kind " << kind;
      EXPECT_EQ(GetHandleSize(icon), kSizes[kind]) << "family " << id << " kind " << kind;
    }
  }
}

// The pressed and raised grid buttons replace each other, so each must
// cover its whole 13 x 13 square at every depth.
TEST_F(CompiledResources, GridButtonsCoverTheirWholeSquare) {
  for (int depth : {1, 4, 8}) {
    ASSERT_TRUE(qd::set_screen_depth(depth));
    for (int id : {16002, 16003, 16005, 16006}) {
      OffscreenPort port(13, 13);
      RGBColor red{0xFFFF, 0, 0};
      RGBForeColor(&red);
      Rect all{0, 0, 13, 13};
      PaintRect(&all);
      ForeColor(blackColor);
      IconCache cache{};
      DrawIconFamily(&cache, SInt16(id), 0, 0, 13, 13);
      for (UInt32 pixel : port.snapshot())
        ASSERT_NE(pixel, 0xFF0000u) << id << " at depth " << depth;
      DisposeIconCache(&cache);
    }
  }
}

TEST_F(CompiledResources, StylesNameAFontTheTextCallsKnow) {
  for (SInt16 id = 16000; id <= 16002; ++id) {
    FontState state{};
    ASSERT_NE(GetFontStateFromID(id, &state), nullptr) << id;
    EXPECT_GE(state.size, 9) << id;
    EXPECT_NE(state.font, 0) << id << ": the name is not one the platform maps";
  }
}

TEST_F(CompiledResources, SoundIsAShortSampledSoundThePlatformPlays) {
  std::vector<UInt8> bytes = bytes_of(FourCC("snd "), 16000);
  ASSERT_FALSE(bytes.empty());
  auto decoded = tessel::platform::sound::decode(bytes);
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->rate, 11025.0);
  double seconds = double(decoded->samples.size()) / decoded->rate;
  EXPECT_GT(seconds, 0.1);
  EXPECT_LT(seconds, 1.0);
  EXPECT_EQ(22 + 20 + decoded->samples.size(), bytes.size()) << "every sample is played";
}

TEST_F(CompiledResources, AboutBoxDialogIsHiddenWithItsButtonFirst) {
  std::vector<UInt8> bytes = bytes_of(FourCC("DLOG"), 16000);
  ASSERT_GE(bytes.size(), 20u);
  EXPECT_EQ(bytes[10], 0) << "shown only once it is set up";
  EXPECT_EQ(SInt16(read_big16(std::span(bytes).subspan(18))), 16000);
  std::vector<UInt8> list = bytes_of(FourCC("DITL"), 16000);
  ASSERT_GE(list.size(), 15u);
  EXPECT_GE(read_big16(list) + 1, 2);
  EXPECT_EQ(list[14], 4) << "item 1 is an enabled push button";
}

TEST_F(CompiledResources, EveryResultHasAMessageWithItsNumbersWhereTheTableSaysSo) {
  std::vector<std::string> messages = strings_of(16005);
  ASSERT_EQ(messages.size(), 35u);
  // The export driver fills ^0 and ^1 of these; the alert's own ^0/^1 are
  // not filled twice, so no other message may hold a caret.
  const std::map<std::size_t, std::pair<std::size_t, std::size_t>> numbered = {
      {17, {1, 1}}, {19, {1, 0}}, {21, {1, 1}}, {25, {1, 0}}, {34, {1, 1}}, {35, {1, 1}}};
  for (std::size_t index = 1; index <= messages.size(); ++index) {
    const std::string& message = messages[index - 1];
    EXPECT_GT(message.size(), 40u) << "message " << index;
    auto found = numbered.find(index);
    auto wanted =
        found == numbered.end() ? std::pair<std::size_t, std::size_t>{0, 0} : found->second;
    EXPECT_EQ(count(message, "^0"), wanted.first) << "message " << index << ": " << message;
    EXPECT_EQ(count(message, "^1"), wanted.second) << "message " << index << ": " << message;
    EXPECT_EQ(count(message, "^"), wanted.first + wanted.second) << "message " << index;
  }
}

TEST_F(CompiledResources, ResultAlertShowsMessageAndCodeWithOKAsDefault) {
  std::vector<UInt8> alert = bytes_of(FourCC("ALRT"), 16100);
  ASSERT_GE(alert.size(), 12u);
  EXPECT_EQ(SInt16(read_big16(std::span(alert).subspan(8))), 16100) << "its item list";
  EXPECT_EQ(read_big16(std::span(alert).subspan(10)) & 0x8, 0) << "stage 1 defaults to item 1";
  std::vector<Item> items = items_of(16100);
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].type, 4) << "an enabled button";
  EXPECT_EQ(items[0].data, "OK");
  EXPECT_EQ(items[1].type & 0x7F, 8) << "static text";
  EXPECT_EQ(count(items[1].data, "^0"), 1u);
  EXPECT_EQ(count(items[1].data, "^1"), 1u);
}

TEST_F(CompiledResources, FileDialogsShareTheirItemNumbers) {
  for (SInt16 id : {SInt16(16002), SInt16(16003), SInt16(16004), SInt16(16005)}) {
    std::vector<UInt8> dialog = bytes_of(FourCC("DLOG"), id);
    ASSERT_GE(dialog.size(), 21u) << id;
    EXPECT_EQ(read_big32(std::span(dialog).subspan(14)), FourCC("stdf")) << id;
    EXPECT_EQ(SInt16(read_big16(std::span(dialog).subspan(18))), id) << id;
    std::vector<Item> items = items_of(id);
    ASSERT_EQ(items.size(), 5u) << id;
    std::vector<UInt8> kinds;
    for (const Item& item : items) kinds.push_back(UInt8(item.type & 0x7F));
    EXPECT_EQ(kinds, (std::vector<UInt8>{4, 4, 0, 0, 8})) << id;
    EXPECT_EQ(items[1].data, "Cancel") << id;
    EXPECT_GT(items[4].data.size(), 10u) << "dialog " << id << " has its prompt";
  }
}

// Pane and grid texts, then the document title and its truncation mark.
TEST_F(CompiledResources, TextTemplatesHoldTheirPlaceholders) {
  using Marks = std::vector<std::vector<const char*>>;
  const std::map<SInt16, Marks> wanted = {{16000, {{"^1"}, {"^1", "^2"}, {"^1"}}},
                                          {16001, {{"^1"}, {"^1"}, {"^1"}}},
                                          {16002, {{"^1", "^2"}, {"^1"}}},
                                          {16003, {{"^1"}, {"^1"}, {"^1"}, {"^1"}}},
                                          {16004, {{"^1", "^2", "^3", "^4", "^5"}, {}}}};
  for (const auto& [id, marks] : wanted) {
    std::vector<std::string> strings = strings_of(id);
    ASSERT_EQ(strings.size(), marks.size()) << id;
    for (std::size_t i = 0; i < marks.size(); ++i) {
      EXPECT_FALSE(strings[i].empty()) << id << "/" << i + 1;
      for (const char* mark : marks[i])
        EXPECT_EQ(count(strings[i], mark), 1u) << id << "/" << i + 1 << " " << mark;
    }
  }
}

TEST_F(CompiledResources, SelectionCursorsAreThere) {
  for (SInt16 id : {SInt16(16000), SInt16(16001)}) {
    std::vector<UInt8> cursor = bytes_of(FourCC("CURS"), id);
    ASSERT_EQ(cursor.size(), 68u) << id;
    std::span<const UInt8> hot_spot = std::span(cursor).subspan(64);
    EXPECT_LT(read_big16(hot_spot), 16) << id;
    EXPECT_LT(read_big16(hot_spot.subspan(2)), 16) << id;
  }
}

}  // namespace
