// The open-file dialog as a window, driven by scripts headless: what it
// lists, how it moves between folders, and what it answers.
#include <cstring>
#include <functional>

#include "DialogTestSupport.h"
#include "MacErrors.h"
#include "StandardFile.h"
#include "headless/HeadlessBackend.h"

namespace tessel::testing {
namespace {

namespace headless = platform::headless;
namespace standard_file = platform::standard_file;

constexpr SInt16 kDialogID = 16005;
constexpr Rect kList{76, 12, 224, 240};

// The centre of row `row` of the list, as script coordinates.
std::string row_point(int row) { return "50 " + std::to_string(kList.top + 2 + row * 16 + 8); }

std::string click_row(int row) {
  return "down " + row_point(row) + "\nup " + row_point(row) + "\n";
}

Boolean hide_hidden(CInfoPBRec* entry, void*) {
  const unsigned char* name = entry->hFileInfo.ioNamePtr;
  return name[0] == 10 && std::memcmp(name + 1, "hidden.img", 10) == 0;
}

struct HookLog {
  std::vector<SInt16> items;
  int darkInSelectedRow = 0;
  UInt32 folderMark = 0xFFFFFF;
  FSSpec start{};
  bool moveToStart = false;
  std::function<void(DialogPtr)> onOpen;
};

SInt16 log_hook(SInt16 item, DialogPtr dialog, void* data) {
  auto& log = *static_cast<HookLog*>(data);
  log.items.push_back(item);
  EXPECT_EQ(GetWRefCon(dialog), sfMainDialogRefCon);
  if (item == sfItemOpenButton) {
    log.darkInSelectedRow = dark_pixels(*dialog, {94, 13, 110, 239});
    log.folderMark = platform::quickdraw::pixel(*dialog, kList.right - 8, kList.top + 2 + 8);
    if (log.onOpen) log.onOpen(dialog);
  }
  if (item == sfHookFirstCall && log.moveToStart) {
    return sfHookChangeSelection;
  }
  return item;
}

class FileDialog : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    add({FourCC("DLOG"), kDialogID, 0, "",
         dialog_template({0, 0, 236, 348}, kDialogID, true, UInt32(sfMainDialogRefCon))});
    add({FourCC("DITL"), kDialogID, 0, "",
         item_list({{ctrlItem + btnCtrl, {160, 256, 180, 336}, text_bytes("Open")},
                    {ctrlItem + btnCtrl, {194, 256, 214, 336}, text_bytes("Cancel")},
                    {userItem, kList, {}},
                    {userItem, {48, 12, 68, 240}, {}},
                    {statText | itemDisable, {8, 12, 40, 336}, text_bytes("Choose:")}})});
    open_resources();
    for (const char* name : {"pick/a.img", "pick/b.img", "pick/hidden.img", "pick/sub/c.img"}) {
      write_file(name, {1, 2, 3});
    }
    standard_file::preselect({});
    standard_file::show_dialog_headless(true);
    standard_file::answer_unseen(false);
  }

  // Runs the dialog over the script; the reply starts as sentinels.
  StandardFileReply run(const std::string& script, HookLog& log) {
    EXPECT_NE(headless::use_script(script), nullptr);
    StandardFileReply reply{};
    reply.sfGood = 7;
    reply.sfFile = log.start;
    CustomGetFile(hide_hidden, -1, nullptr, &reply, kDialogID, Point{-1, -1}, log_hook, nullptr,
                  nullptr, nullptr, &log);
    EXPECT_EQ(FrontWindow(), nullptr);
    return reply;
  }

  static std::string name_of(const FSSpec& spec) {
    return std::string(reinterpret_cast<const char*>(spec.name + 1), spec.name[0]);
  }
};

TEST_F(FileDialog, OpensTheClickedFileOfThePreselectedFolder) {
  standard_file::preselect(path("pick/b.img"));
  HookLog log;
  // Rows: sub, a.img, b.img; hidden.img is filtered out.
  StandardFileReply reply = run(click_row(1) + "click 1\n", log);
  EXPECT_EQ(reply.sfGood, 1);
  EXPECT_EQ(name_of(reply.sfFile), "a.img");
  EXPECT_EQ(reply.sfFile.parID, spec_of("pick/a.img").parID);
  EXPECT_EQ(log.items, (std::vector<SInt16>{sfHookFirstCall, sfItemOpenButton}));
  EXPECT_GT(log.darkInSelectedRow, 226 * 16 / 2) << "the selected row is inverted";
  EXPECT_EQ(log.folderMark, 0x000000u) << "the first row is marked as a folder";
}

// The script's click on a.img would be a person's, had the window shown.
TEST_F(FileDialog, AFileChosenAlreadyAnswersUnseenAndOnlyOnce) {
  standard_file::answer_unseen(true);
  standard_file::preselect(path("pick/b.img"));
  HookLog log;
  StandardFileReply reply = run(click_row(1) + "click 1\n", log);
  EXPECT_EQ(reply.sfGood, 1);
  EXPECT_EQ(name_of(reply.sfFile), "b.img");

  // Nothing chosen any more: the window shows, and the person cancels it.
  reply = run("press escape\n", log);
  EXPECT_EQ(reply.sfGood, 0);
  EXPECT_FALSE(standard_file::last_dialog_unanswered()) << "cancelled in a window, not unseen";
}

TEST_F(FileDialog, DoubleClicksEnterFoldersAndTheFolderNameGoesUp) {
  standard_file::preselect(path("pick/a.img"));
  HookLog log;
  // Into sub, whose only row is c.img; up again; then b.img opened directly.
  std::string script = click_row(0) + click_row(0) + "click 4\n" + click_row(2) + click_row(2);
  StandardFileReply reply = run(script, log);
  EXPECT_EQ(reply.sfGood, 1);
  EXPECT_EQ(name_of(reply.sfFile), "b.img");

  standard_file::preselect(path("pick/a.img"));
  reply = run(click_row(0) + click_row(0) + click_row(0) + "click 1\n", log);
  EXPECT_EQ(reply.sfGood, 1);
  EXPECT_EQ(name_of(reply.sfFile), "c.img");
  EXPECT_EQ(reply.sfFile.parID, spec_of("pick/sub/c.img").parID);
}

TEST_F(FileDialog, StartsWhereTheHookAsksAndCancelLeavesTheFile) {
  HookLog log;
  log.moveToStart = true;
  log.start = spec_of("pick/sub/c.img");
  StandardFileReply reply = run(click_row(0) + "press escape\n", log);
  EXPECT_EQ(reply.sfGood, 0);
  EXPECT_EQ(std::memcmp(&reply.sfFile, &log.start, sizeof(FSSpec)), 0);
  EXPECT_EQ(standard_file::last_shown_folder().dirID, log.start.parID);
  EXPECT_EQ(log.items, (std::vector<SInt16>{sfHookFirstCall}));
}

// A file whose name is too long for the record is listed under its real
// name, drawn as the file system spells it, and chosen through its stand-in.
TEST_F(FileDialog, ListsALongNameAsItIsSpelled) {
  const std::string name = utf8_name(70, "\u0131", ".img");  // narrow letters: the name fits
  write_file("long/zz.img", {1});
  write_file("long/" + name, {1});
  standard_file::preselect(path("long/zz.img"));
  HookLog log;
  const Rect secondRow{94, 13, 110, 239};
  std::vector<UInt32> shown;
  GrafPort expected{};
  log.onOpen = [&](DialogPtr dialog) {
    for (int v = secondRow.top; v < secondRow.bottom; ++v) {
      for (int h = secondRow.left; h < secondRow.right; ++h) {
        shown.push_back(platform::quickdraw::pixel(*dialog, h, v));
      }
    }
    GrafPtr saved = nullptr;
    GetPort(&saved);
    ASSERT_EQ(platform::quickdraw::open_port(expected, dialog->portRect, 32), noErr);
    SetPort(&expected);
    TextFont(dialog->txFont);
    TextSize(dialog->txSize);
    MoveTo(SInt16(secondRow.left + 4), SInt16(secondRow.top + 12));
    platform::quickdraw::draw_utf8(name);
    SetPort(saved);
  };
  StandardFileReply reply = run(click_row(1) + "click 1\n", log);
  ASSERT_EQ(reply.sfGood, 1);
  EXPECT_EQ(platform::files::path_from_spec(reply.sfFile).value(), path("long/" + name));
  ASSERT_EQ(shown.size(), std::size_t(16 * 226));
  // The row is selected, so inverted: the drawn name is its inverse.
  std::size_t differing = 0, inked = 0;
  for (int v = secondRow.top; v < secondRow.bottom; ++v) {
    for (int h = secondRow.left; h < secondRow.right; ++h) {
      const UInt32 drawn = platform::quickdraw::pixel(expected, h, v) ^ 0xFFFFFFu;
      const UInt32 seen = shown[std::size_t((v - secondRow.top) * 226 + h - secondRow.left)];
      differing += drawn != seen;
      inked += seen != 0;
    }
  }
  platform::quickdraw::close_port(expected);
  EXPECT_GT(inked, 100u) << "the name is drawn";
  EXPECT_EQ(differing, 0u);
}

}  // namespace
}  // namespace tessel::testing
