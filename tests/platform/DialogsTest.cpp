// Dialogs, alerts, events, cursors and sounds, driven headless by scripts and
// checked by reading the pixels of the rendered windows.
#include <gtest/gtest.h>

#include <cstring>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "Cursors.h"
#include "DialogTestSupport.h"
#include "Dialogs.h"
#include "Events.h"
#include "MacErrors.h"
#include "OffscreenPort.h"
#include "Resources.h"
#include "Sound.h"
#include "TempFolder.h"
#include "headless/HeadlessBackend.h"

namespace tessel::testing {
namespace {

namespace headless = platform::headless;
namespace qd = platform::quickdraw;
using Points = std::vector<std::pair<int, int>>;

// Dialog 300: 1 OK button, 2 check box, 3 static text "^0", 4 user item
// (the default outline), 5 user item drawn by the test, 6 disabled text.
const std::vector<DialogItemSpec> kItems = {
    {ctrlItem + btnCtrl, {150, 200, 170, 280}, text_bytes("OK")},
    {ctrlItem + chkCtrl, {20, 20, 40, 200}, text_bytes("Grid")},
    {statText | itemDisable, {50, 20, 70, 280}, text_bytes("^0")},
    {userItem | itemDisable, {0, 0, 0, 0}, {}},
    {userItem, {80, 20, 140, 180}, {}},
};

int gUserItemDraws = 0;
void paint_user_item(DialogPtr dialog, SInt16 item) {
  ++gUserItemDraws;
  Rect box = item_of(dialog, item).box;
  PaintRect(&box);
}

std::vector<SInt16> gSeenEvents;
Boolean record_events(DialogPtr, EventRecord* event, SInt16*) {
  gSeenEvents.push_back(event->what);
  return false;
}

class Dialogs : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    add({FourCC("DLOG"), 300, 0, "", dialog_template({100, 100, 280, 400}, 300, true, 0)});
    add({FourCC("DITL"), 300, 0, "", item_list(kItems)});
    open_resources();
    gUserItemDraws = 0;
    gSeenEvents.clear();
  }

  DialogPtr open_dialog() {
    DialogPtr dialog = GetNewDialog(300, storage_, kFirstWindowOfClass);
    if (dialog == nullptr) return nullptr;
    SetOutlineOKHook(dialog, 4);
    DialogItem drawn = item_of(dialog, 5);
    SetDItem(dialog, 5, drawn.kind, UserItemHandle(paint_user_item), &drawn.box);
    return dialog;
  }

  alignas(DialogRecord) unsigned char storage_[sizeof(DialogRecord) + sizeof(void*)]{};
};

TEST_F(Dialogs, ScriptedClickTogglesCheckBoxAndReturnEndsTheDialog) {
  ASSERT_NE(headless::use_script("click 2\n"), nullptr);
  Str255 word{4, 'W', 'W', 'W', 'W'};
  ParamText(word, nullptr, nullptr, nullptr);
  DialogPtr dialog = open_dialog();
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(static_cast<void*>(dialog), static_cast<void*>(storage_));

  SInt16 item = 0;
  ModalDialog(record_events, &item);
  EXPECT_EQ(item, 2);
  auto box = reinterpret_cast<ControlHandle>(item_of(dialog, 2).handle);
  SetCtlValue(box, SInt16(!GetCtlValue(box)));
  ModalDialog(record_events, &item);
  EXPECT_EQ(item, 1);  // the script ran out: Return confirms
  EXPECT_EQ(GetCtlValue(box), 1);
  EXPECT_EQ(gSeenEvents, (std::vector<SInt16>{updateEvt, mouseDown, keyDown}));
  EXPECT_EQ(gUserItemDraws, 1);

  const GrafPort& port = *dialog;
  EXPECT_EQ(qd::pixel(port, 22 + 6, 30), 0x000000u) << "check box crossed";
  EXPECT_EQ(qd::pixel(port, 200, 160), 0x000000u) << "button frame";
  EXPECT_EQ(qd::pixel(port, 197, 160), 0x000000u) << "default outline";
  EXPECT_EQ(qd::pixel(port, 192, 160), 0xFFFFFFu) << "outside the outline";
  EXPECT_EQ(qd::pixel(port, 100, 110), 0x000000u) << "user item painted";
  EXPECT_GT(dark_pixels(port, {50, 20, 70, 280}), 20) << "static text drawn with ^0";
  CloseDialog(dialog);
  EXPECT_EQ(FrontWindow(), nullptr);
}

// A click outside every item or on a disabled one, and Escape while item 2
// is a check box rather than a button, all go by unreported to the click on OK.
TEST_F(Dialogs, InputThatHitsNoEnabledButtonReportsNothing) {
  for (const char* script :
       {"down 30 60\nup 30 60\nclick 3\nclick 1\n", "press escape\nclick 1\n"}) {
    SCOPED_TRACE(script);
    ASSERT_NE(headless::use_script(script), nullptr);
    DialogPtr dialog = open_dialog();
    ASSERT_NE(dialog, nullptr);
    SInt16 item = 0;
    ModalDialog(nullptr, &item);
    EXPECT_EQ(item, 1);
    EXPECT_TRUE(headless::active()->script_finished());
    CloseDialog(dialog);
  }
}

TEST_F(Dialogs, TrackingFollowsDragsUntilTheScriptedRelease) {
  ASSERT_NE(headless::use_script("down 30 90\ndrag 40 100\nwait 3\ndrag 60 120\nup 61 121\n"),
            nullptr);
  DialogPtr dialog = open_dialog();
  ASSERT_NE(dialog, nullptr);
  SInt16 item = 0;
  ModalDialog(nullptr, &item);
  ASSERT_EQ(item, 5);
  SetPort(dialog);
  UInt32 start = TickCount();
  Points seen;
  int looks = 0;
  Point mouse{};
  do {
    GetMouse(&mouse);
    if (seen.empty() || seen.back() != hv(mouse)) seen.push_back(hv(mouse));
    ++looks;
  } while (StillDown());
  EXPECT_EQ(seen, (Points{{30, 90}, {40, 100}, {60, 120}}));
  EXPECT_EQ(TickCount() - start, 3u);
  EXPECT_FALSE(StillDown());
  EXPECT_FALSE(Button());
  GetMouse(&mouse);
  EXPECT_EQ(hv(mouse), std::pair(61, 121));
  EXPECT_GE(looks, 6);
  CloseDialog(dialog);
}

TEST_F(Dialogs, MoveableModalDialogHandsOtherWindowsUpdatesToTheHost) {
  ASSERT_NE(headless::use_script("click 2\n"), nullptr);
  WindowRecord other{};
  ASSERT_EQ(
      platform::windows::open(other, {10, 10, 50, 50}, documentProc, true, nullptr, 0, nullptr),
      noErr);
  DialogPtr dialog = open_dialog();
  ASSERT_NE(dialog, nullptr);
  static std::vector<std::uintptr_t> hostUpdates;
  hostUpdates.clear();
  auto host = [](EventRecord* event) {
    hostUpdates.push_back(event->message);
    BeginUpdate(reinterpret_cast<WindowPtr>(event->message));
  };
  SInt16 item = 0;
  std::vector<SInt16> items;
  while (item != 2 && items.size() < 10) {
    MoveableModalDialog(dialog, host, nullptr, &item);
    items.push_back(item);
  }
  EXPECT_EQ(items, (std::vector<SInt16>{0, 0, 2}));  // its update, the other's, the click
  EXPECT_EQ(hostUpdates, (std::vector<std::uintptr_t>{reinterpret_cast<std::uintptr_t>(&other)}));
  CloseDialog(dialog);
  platform::windows::close(other);
}

TEST_F(Dialogs, HostHelpersCentreAndMakeTheTemplateMovable) {
  Handle dialogTemplate = GetResource(FourCC("DLOG"), 300);
  ASSERT_NE(dialogTemplate, nullptr);
  headless::use_script("");
  SetUpMoveableModal(dialogTemplate, 0);
  CenterDialog(dialogTemplate);
  DialogPtr dialog = GetNewDialog(300, nullptr, kFirstWindowOfClass);
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->procID, movableDBoxProc);
  Rect bounds = platform::windows::global_bounds(*dialog);
  EXPECT_EQ(bounds.left, (1024 - 300) / 2);
  EXPECT_EQ(bounds.top, (768 - 180) / 2);
  Point where{SInt16(bounds.top + 5), SInt16(bounds.left + 7)};
  SetPort(dialog);
  GlobalToLocal(&where);
  EXPECT_EQ(hv(where), std::pair(7, 5));
  DisposeDialog(dialog);
}

// The placement word follows the title on an even offset, so titles of
// either length must be skipped right to find it.
TEST_F(Dialogs, TemplateTitleNamesTheWindowAndAPlacementCentresIt) {
  struct Case {
    const char* title;
    std::optional<UInt16> placement;
  };
  const Case cases[] = {
      {"", 0x280A}, {"Odd", 0x300A}, {"Even", 0x280A}, {"Left alone", {}}, {"Placed nowhere", 0}};
  headless::use_script("");
  SInt16 id = 310;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.title);
    add({FourCC("DLOG"), id, 0, "",
         dialog_template({100, 100, 280, 400}, 300, false, 0, c.title, c.placement)});
    open_resources();
    DialogPtr dialog = GetNewDialog(id++, nullptr, kFirstWindowOfClass);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(
        std::string(reinterpret_cast<const char*>(dialog->titleText + 1), dialog->titleText[0]),
        c.title);
    const bool centred = c.placement.value_or(0) != 0;
    Rect bounds = platform::windows::global_bounds(*dialog);
    EXPECT_EQ(hv(Point{bounds.top, bounds.left}),
              centred ? std::pair((1024 - 300) / 2, (768 - 180) / 2) : std::pair(100, 100));
    DisposeDialog(dialog);
  }
}

TEST_F(Dialogs, MissingTemplateMakesNoDialog) {
  headless::use_script("");
  EXPECT_EQ(GetNewDialog(301, storage_, kFirstWindowOfClass), nullptr);
  EXPECT_EQ(FrontWindow(), nullptr);
}

class Events : public DialogTest {};

TEST_F(Events, GetKeysReportsHeldKeysByToolboxCode) {
  ASSERT_NE(headless::use_script("hold space\nwait 1\nhold command option\nwait 1\n"
                                 "release\nwait 1\n"),
            nullptr);
  EventRecord event{};
  KeyMap keys{};
  std::vector<std::array<UInt32, 4>> maps;
  for (int i = 0; i < 3; ++i) {
    EXPECT_FALSE(GetNextEvent(everyEvent, &event));
    GetKeys(keys);
    maps.push_back({keys[0], keys[1], keys[2], keys[3]});
    if (i == 1) {
      EXPECT_EQ(event.modifiers & (cmdKey | optionKey), cmdKey | optionKey);
    }
  }
  EXPECT_EQ(maps[0], (std::array<UInt32, 4>{0, 0x200, 0, 0}));
  EXPECT_EQ(maps[1], (std::array<UInt32, 4>{0, 0x200 | 0x8000 | 0x0004, 0, 0}));
  EXPECT_EQ(maps[2], (std::array<UInt32, 4>{0, 0, 0, 0}));
}

TEST_F(Events, TickCountAdvancesOncePerNullEvent) {
  ASSERT_NE(headless::use_script("wait 10\nkey ab\n"), nullptr);
  UInt32 start = TickCount();
  EventRecord event{};
  int nulls = 0;
  while (!GetNextEvent(everyEvent, &event)) ++nulls;
  EXPECT_EQ(nulls, 10);
  EXPECT_EQ(TickCount() - start, 10u);
  EXPECT_EQ(event.what, keyDown);
  EXPECT_EQ(event.message & charCodeMask, UInt32('a'));
  EXPECT_EQ((event.message & keyCodeMask) >> 8, 0u);  // the A key
  ASSERT_TRUE(GetNextEvent(everyEvent, &event));
  EXPECT_EQ((event.message & keyCodeMask) >> 8, 11u);  // the B key
}

TEST_F(Events, ScriptErrorsNameTheirLine) {
  int bad = 0;
  EXPECT_FALSE(headless::parse_script("# fine\nclick 1\nclick one\n", &bad));
  EXPECT_EQ(bad, 3);
  EXPECT_FALSE(headless::parse_script("hold hyper\n", &bad));
  EXPECT_EQ(bad, 1);
  EXPECT_FALSE(headless::parse_script("down 3\n", &bad));
  EXPECT_TRUE(headless::parse_script("\n  # only comments\n\nkey hello world\n", &bad));
  EXPECT_EQ(headless::load_script(path("absent.txt"), &bad), fnfErr);
}

class Alerts : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    add({FourCC("ALRT"), 400, 0, "", alert_template({0, 0, 100, 260}, 400, 0x5555)});
    add({FourCC("DITL"), 400, 0, "",
         item_list({{ctrlItem + btnCtrl, {70, 180, 90, 250}, text_bytes("OK")},
                    {ctrlItem + btnCtrl, {70, 90, 90, 160}, text_bytes("Stop")},
                    {statText | itemDisable, {10, 60, 60, 250}, text_bytes("Failed: ^0")}})});
    open_resources();
    setenv(platform::dialogs::kAlertLogVariable, path("alerts.log").c_str(), 1);
  }
};

TEST_F(Alerts, AlertIsAWindowThatCanBeSavedAndClicked) {
  ASSERT_NE(headless::use_script("save alert.png\nclick 2\n"), nullptr);
  std::filesystem::current_path(root_);
  Str255 why{5, 'd', 'i', 's', 'k', '!'};
  ParamText(why, nullptr, nullptr, nullptr);
  EXPECT_EQ(Alert(400, nullptr), 2);
  EXPECT_EQ(headless::active()->save_error(), noErr);
  auto png = read_file(path("alert.png"));
  ASSERT_GT(png.size(), 24u);
  EXPECT_EQ(std::memcmp(png.data(), "\x89PNG", 4), 0);
  std::span<const UInt8> header(png);
  EXPECT_EQ(platform::read_big32(header.subspan(16)), 260u);
  EXPECT_EQ(platform::read_big32(header.subspan(20)), 100u);
  auto log = read_file(path("alerts.log"));
  EXPECT_EQ(std::string(log.begin(), log.end()), "Failed: disk!\n");
  EXPECT_EQ(FrontWindow(), nullptr);
}

std::string gAlertTitle;
Boolean record_title(DialogPtr dialog, EventRecord*, SInt16*) {
  gAlertTitle.assign(reinterpret_cast<const char*>(dialog->titleText + 1), dialog->titleText[0]);
  return false;
}

TEST_F(Alerts, AlertIsTitledByTheStringOfItsNumber) {
  const unsigned char title[] = {11, 'C', 'o', 'u', 'l', 'd', ' ', 'n', 'o', 't', ' ', '!'};
  add({FourCC("STR "), 400, 0, "", std::vector<UInt8>(std::begin(title), std::end(title))});
  open_resources();
  ASSERT_NE(headless::use_script("click 1\n"), nullptr);
  gAlertTitle = "none seen";
  EXPECT_EQ(Alert(400, record_title), 1);
  EXPECT_EQ(gAlertTitle, "Could not !");
}

class CursorsAndSounds : public DialogTest {};

TEST_F(CursorsAndSounds, CursorCopiedFromItsResourceIsDecoded) {
  std::vector<UInt8> bytes;
  for (int row = 0; row < 16; ++row) platform::append_big16(bytes, UInt16(0x8001 | row));
  for (int row = 0; row < 16; ++row) platform::append_big16(bytes, 0xFFFF);
  platform::append_big16(bytes, 3);  // v
  platform::append_big16(bytes, 9);  // h
  Cursor cursor{};
  std::memcpy(&cursor, bytes.data(), sizeof cursor);
  headless::use_script("");
  SetCursor(&cursor);
  auto shown = headless::active()->cursor();
  ASSERT_TRUE(shown.has_value());
  EXPECT_EQ(shown->image[5], 0x8005);
  EXPECT_EQ(hv(shown->hotSpot), std::pair(9, 3));
  InitCursor();
  EXPECT_FALSE(headless::active()->cursor().has_value());
}

TEST_F(CursorsAndSounds, SampledSoundPlaysToItsEnd) {
  add({FourCC("snd "), 500, 0, "", sampled_sound(11025, 5512)});
  add({FourCC("snd "), 501, 0, "", {0, 3, 0, 0}});
  open_resources();
  headless::use_script("");
  UInt32 start = TickCount();
  SndChannelPtr channel = nullptr;
  ASSERT_EQ(SndNewChannel(&channel, sampledSynth, 0, nullptr), noErr);
  EXPECT_EQ(SndPlay(channel, GetResource(FourCC("snd "), 500), false), noErr);
  EXPECT_EQ(SndPlay(channel, GetResource(FourCC("snd "), 501), false), badFormat);
  EXPECT_EQ(SndDisposeChannel(channel, true), noErr);
  const auto& played = headless::active()->played();
  ASSERT_EQ(played.size(), 1u);
  EXPECT_EQ(played[0].samples.size(), 5512u);
  EXPECT_DOUBLE_EQ(played[0].rate, 11025.0);
  EXPECT_EQ(TickCount() - start, 30u);  // half a second
}

}  // namespace
}  // namespace tessel::testing
