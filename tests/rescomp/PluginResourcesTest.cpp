// The plug-in's own resources in resources/: they compile, and every
// resource the plug-in fetches by number is there with what its users need.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "ByteOrder.h"
#include "Compiler.h"
#include "Files.h"
#include "MacMemory.h"
#include "Resources.h"
#include "TempFolder.h"

namespace {

using tessel::platform::read_big16;
using tessel::platform::read_big32;

const std::filesystem::path kResourceFolder =
    std::filesystem::path(__FILE__).parent_path().parent_path().parent_path() / "resources";

struct Item {
  UInt8 type;  // with 0x80 for a disabled item
  std::string data;
};

class PluginResources : public tessel::testing::TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    std::vector<std::string> arguments{"-o", path("tessel.plugin").string()};
    for (const auto& entry : std::filesystem::directory_iterator(kResourceFolder)) {
      if (entry.path().extension() == ".r") arguments.push_back(entry.path().string());
    }
    ASSERT_GT(arguments.size(), 2u) << "no sources in " << kResourceFolder;
    write_file("tessel.plugin", {});
    std::ostringstream err;
    ASSERT_EQ(tessel::rescomp::run_rescomp(arguments, err), 0) << err.str();
    FSSpec spec = spec_of("tessel.plugin");
    ref_ = FSpOpenResFile(&spec, fsRdPerm);
    ASSERT_NE(ref_, -1);
  }
  void TearDown() override {
    if (ref_ != -1) CloseResFile(ref_);
    TempFolder::TearDown();
  }

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

  SInt16 ref_ = -1;
};

TEST_F(PluginResources, EveryResultHasAMessageWithItsNumbersWhereTheTableSaysSo) {
  std::vector<std::string> messages = strings_of(16005);
  ASSERT_EQ(messages.size(), 32u);
  // The export driver fills ^0 and ^1 of these; the alert's own ^0/^1 are
  // not filled twice, so no other message may hold a caret.
  const std::map<std::size_t, std::pair<std::size_t, std::size_t>> numbered = {
      {17, {1, 1}}, {19, {1, 0}}, {21, {1, 1}}, {25, {1, 0}}};
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

TEST_F(PluginResources, ResultAlertShowsMessageAndCodeWithOKAsDefault) {
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

TEST_F(PluginResources, FileDialogsShareTheirItemNumbers) {
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

TEST_F(PluginResources, PreferencesDescriptorNamesAShortFile) {
  std::vector<UInt8> file = bytes_of(FourCC("FILE"), 16000);
  ASSERT_EQ(file.size(), 42u);
  EXPECT_GT(file[0], 0);
  EXPECT_LE(file[0], 31);
  EXPECT_EQ(read_big32(std::span(file).subspan(32)), FourCC("TSSL"));
  EXPECT_EQ(read_big32(std::span(file).subspan(36)), FourCC("pref"));
  EXPECT_EQ(read_big16(std::span(file).subspan(40)), 0) << "script code";
}

// Pane and grid texts, then the document title and its truncation mark.
TEST_F(PluginResources, TextTemplatesHoldTheirPlaceholders) {
  using Marks = std::vector<std::vector<const char*>>;
  const std::map<SInt16, Marks> wanted = {{16000, {{"^1"}, {"^1", "^2"}, {"^1"}}},
                                          {16001, {{"^1"}, {"^1"}}},
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

TEST_F(PluginResources, SelectionCursorsAreThere) {
  for (SInt16 id : {SInt16(16000), SInt16(16001)}) {
    std::vector<UInt8> cursor = bytes_of(FourCC("CURS"), id);
    ASSERT_EQ(cursor.size(), 68u) << id;
    std::span<const UInt8> hot_spot = std::span(cursor).subspan(64);
    EXPECT_LT(read_big16(hot_spot), 16) << id;
    EXPECT_LT(read_big16(hot_spot.subspan(2)), 16) << id;
  }
}

}  // namespace
