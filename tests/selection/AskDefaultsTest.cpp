// The per-image memory of the selection dialog: the bytes of the preferences
// file, which image finds which slot, and files that are damaged or cannot
// be used, none of which may stop the dialog.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "ByteOrder.h"
#include "FaultyFileSystem.h"
#include "MacErrors.h"
#include "Resources.h"
#include "TempFolder.h"
#include "platform/DialogTestSupport.h"
#include "selection/AskDefaults.h"

namespace {

using tessel::platform::append_big16;
using tessel::platform::append_big32;
// Selection top, left, bottom, right, grid on, columns, rows.
using Memory = std::vector<int>;

const Memory kDefaults{0, 0, 0, 0, 0, 3, 3};
const Memory kRemembered{10, 20, 30, 40, 1, 5, 7};

SourceImage image(const char* name, SInt32 width, SInt32 height, SInt32 folder = 77) {
  SourceImage image{};
  image.fileSpec = FSSpec{-3, folder, {}};
  image.fileSpec.name[0] = UInt8(std::strlen(name));
  std::memcpy(image.fileSpec.name + 1, name, image.fileSpec.name[0]);
  image.width = width;
  image.height = height;
  return image;
}

Memory load(SourceImage* image) {
  SelectionDialogState state{};
  state.sourceImage = image;
  EXPECT_EQ(SetUpSelectionDefaults(&state), noErr);
  EXPECT_EQ(state.selectionExists, 1);
  const Rect& s = state.selection;
  return {s.top, s.left, s.bottom, s.right, state.gridOn, state.gridColumns, state.gridRows};
}

void save(SourceImage* image, const Memory& m, Boolean confirmed = true) {
  SelectionDialogState state{};
  state.sourceImage = image;
  state.selection = Rect{SInt16(m[0]), SInt16(m[1]), SInt16(m[2]), SInt16(m[3])};
  state.gridOn = UInt8(m[4]);
  state.gridColumns = SInt16(m[5]);
  state.gridRows = SInt16(m[6]);
  EXPECT_EQ(TearDownSelectionDefaults(&state, confirmed), noErr);
}

// The fields both slot layouts share, in their order: width, height, the
// four sides (32 or 16 bits), grid on, the counts.
void append_memory(std::vector<UInt8>& out, SInt32 width, SInt32 height, const Memory& m,
                   bool wideSides) {
  append_big32(out, UInt32(width));
  append_big32(out, UInt32(height));
  for (int i : {0, 1, 2, 3})
    wideSides ? append_big32(out, UInt32(m[i])) : append_big16(out, UInt16(m[i]));
  out.insert(out.end(), {UInt8(m[4]), 0});
  append_big16(out, UInt16(m[5]));
  append_big16(out, UInt16(m[6]));
  append_big16(out, 0);
}

// A slot as the file holds it, for an image in folder 77 of volume -3.
std::vector<UInt8> slot(const std::string& name, SInt32 width, SInt32 height, const Memory& m) {
  std::vector<UInt8> out{0xFF, 0xFD, 0, 0, 0, 0, 0, 77};
  append_memory(out, width, height, m, true);
  out.push_back(UInt8(name.size()));
  out.insert(out.end(), name.begin(), name.end());
  out.resize(296, 0);
  return out;
}

// The same in a version 2 file: the name (64 bytes) comes before the rest.
std::vector<UInt8> short_slot(const std::string& name, SInt32 width, SInt32 height,
                              const Memory& m) {
  std::vector<UInt8> out{0xFF, 0xFD, 0, 0, 0, 0, 0, 77, UInt8(name.size())};
  out.insert(out.end(), name.begin(), name.end());
  out.resize(72, 0);
  append_memory(out, width, height, m, false);
  return out;
}

std::vector<UInt8> joined(std::initializer_list<std::vector<UInt8>> parts) {
  std::vector<UInt8> out;
  for (const auto& part : parts) out.insert(out.end(), part.begin(), part.end());
  return out;
}

const std::vector<UInt8> kHeader{0, 0, 0, 3};
const std::vector<UInt8> kShortHeader{0, 0, 0, 2};

class SelectionPrefs : public tessel::testing::DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    open_compiled(TESSEL_RESOURCE_FORK);
  }

  std::filesystem::path prefs() const { return path("config/tessel/Tessel Selections"); }
  void write_prefs(const std::vector<UInt8>& bytes) {
    write_file("config/tessel/Tessel Selections", bytes);
  }

  SourceImage photo_ = image("photo.tif", 3000, 2000);
};

TEST_F(SelectionPrefs, OnlyOkWritesAndTheSlotBytesArePinned) {
  EXPECT_EQ(load(&photo_), kDefaults);
  save(&photo_, kRemembered, /*confirmed=*/false);
  EXPECT_FALSE(std::filesystem::exists(prefs()));
  save(&photo_, kRemembered);
  EXPECT_EQ(read_file(prefs()), joined({kHeader, slot("photo.tif", 3000, 2000, kRemembered)}));
  EXPECT_EQ(load(&photo_), kRemembered);
  FSSpec spec = spec_of("config/tessel/Tessel Selections");
  FInfo info{};
  ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
  EXPECT_EQ(info.fdType, FourCC("pref"));
  EXPECT_EQ(info.fdCreator, FourCC("TSSL"));
}

TEST_F(SelectionPrefs, KeyIsNameWidthAndHeightNotFolder) {
  save(&photo_, kRemembered);
  SourceImage elsewhere = image("photo.tif", 3000, 2000, /*folder=*/999);
  EXPECT_EQ(load(&elsewhere), kRemembered);
  save(&elsewhere, Memory{1, 2, 3, 4, 0, 2, 2});
  EXPECT_EQ(std::filesystem::file_size(prefs()), 300u) << "overwritten in place";

  SourceImage wider = image("photo.tif", 3001, 2000), shouting = image("PHOTO.TIF", 3000, 2000);
  EXPECT_EQ(load(&wider), kDefaults);
  EXPECT_EQ(load(&shouting), kDefaults);
  save(&wider, kRemembered);
  EXPECT_EQ(std::filesystem::file_size(prefs()), 596u) << "appended";
  EXPECT_EQ(load(&photo_), (Memory{1, 2, 3, 4, 0, 2, 2}));
}

TEST_F(SelectionPrefs, FileOfAnotherVersionOrTooShortIsDeletedAndMadeAgainOnSave) {
  std::vector<UInt8> stored = slot("photo.tif", 3000, 2000, kRemembered);
  for (const std::vector<UInt8>& damaged : {joined({{0, 0, 0, 1}, stored}), {0, 0}}) {
    write_prefs(damaged);
    EXPECT_EQ(load(&photo_), kDefaults);
    EXPECT_FALSE(std::filesystem::exists(prefs()));
    save(&photo_, kRemembered);
    EXPECT_EQ(load(&photo_), kRemembered);
  }
}

TEST_F(SelectionPrefs, DamagedSlotsAreNeverUsed) {
  // A slot whose name overruns its field, then a matching slot cut short.
  std::vector<UInt8> stored = slot("photo.tif", 3000, 2000, kRemembered);
  std::vector<UInt8> cut(stored.begin(), stored.begin() + 50);
  write_prefs(joined({kHeader, std::vector<UInt8>(296, 0xEE), cut}));
  EXPECT_EQ(load(&photo_), kDefaults);
  save(&photo_, kRemembered);
  EXPECT_EQ(read_file(prefs()), joined({kHeader, std::vector<UInt8>(296, 0xEE), cut, stored}));

  // Counts the grid would divide by, or sides past the dialog's 16 bits,
  // mean a damaged file, not a memory.
  for (const Memory& damaged : {Memory{1, 1, 2, 2, 1, 0, 3}, Memory{1, 1, 70000, 2, 1, 3, 3}}) {
    write_prefs(joined({kHeader, slot("photo.tif", 3000, 2000, damaged)}));
    EXPECT_EQ(load(&photo_), kDefaults);
  }
}

// A file of the version before is read as it is; the first save rewrites it
// in this version with every slot kept and found again.
TEST_F(SelectionPrefs, AVersion2FileIsReadAndKeptWhenSaved) {
  const std::vector<UInt8> old =
      joined({kShortHeader, short_slot("photo.tif", 3000, 2000, kRemembered),
              short_slot("scan.tif", 10, 20, Memory{1, 2, 3, 4, 0, 2, 2}),
              std::vector<UInt8>(40, 0xEE)});  // a slot cut short
  write_prefs(old);
  EXPECT_EQ(load(&photo_), kRemembered);
  EXPECT_EQ(read_file(prefs()), old) << "reading changes nothing";

  SourceImage fresh = image("new.tif", 5, 5);
  save(&fresh, Memory{0, 0, 5, 5, 1, 4, 4});
  EXPECT_EQ(read_file(prefs()), joined({kHeader, slot("photo.tif", 3000, 2000, kRemembered),
                                        slot("scan.tif", 10, 20, Memory{1, 2, 3, 4, 0, 2, 2}),
                                        slot("new.tif", 5, 5, Memory{0, 0, 5, 5, 1, 4, 4})}));
  SourceImage scan = image("scan.tif", 10, 20);
  EXPECT_EQ(load(&scan), (Memory{1, 2, 3, 4, 0, 2, 2}));
}

// Images whose names are too long for a file identity are told apart by
// their full names, which their stand-ins only begin.
TEST_F(SelectionPrefs, LongNamesWithACommonStartKeepTheirOwnSlots) {
  const std::string start = tessel::testing::utf8_name(150, "\u00e9", "");
  std::vector<SourceImage> images;
  for (const char* end : {" left.tif", " right.tif"}) {
    write_file("images/" + start + end, {1});
    SourceImage one{};
    one.fileSpec = spec_of("images/" + start + end);
    one.width = 640;
    one.height = 480;
    images.push_back(one);
  }
  save(&images[0], kRemembered);
  EXPECT_EQ(load(&images[1]), kDefaults);
  save(&images[1], Memory{4, 3, 2, 1, 0, 9, 9});
  EXPECT_EQ(load(&images[0]), kRemembered);
  const std::vector<UInt8> bytes = read_file(prefs());
  ASSERT_EQ(bytes.size(), 4u + 2 * 296);
  EXPECT_EQ(std::string(bytes.begin() + 4 + 41, bytes.begin() + 4 + 41 + bytes[4 + 40]),
            start + " left.tif");
}

TEST_F(SelectionPrefs, ReadErrorsGiveDefaultsAndWriteNothing) {
  save(&photo_, kRemembered);
  std::vector<UInt8> before = read_file(prefs());
  for (int failing : {1, 2}) {  // the version, then the first slot
    tessel::testing::FaultyFileSystem faulty;
    faulty.fail_read_at = failing;
    tessel::platform::ScopedFileSystem scoped(faulty);
    EXPECT_EQ(load(&photo_), kDefaults);
    faulty.reads = 0;
    save(&photo_, Memory{9, 9, 10, 10, 0, 3, 3});
    EXPECT_EQ(faulty.writes, 0);
  }
  EXPECT_EQ(read_file(prefs()), before);
}

TEST_F(SelectionPrefs, WithoutTheDescriptorNothingIsReadOrSaved) {
  save(&photo_, kRemembered);
  close_compiled();
  EXPECT_EQ(load(&photo_), kDefaults);
  std::filesystem::remove(prefs());
  save(&photo_, kRemembered);
  EXPECT_FALSE(std::filesystem::exists(prefs()));
}

}  // namespace
