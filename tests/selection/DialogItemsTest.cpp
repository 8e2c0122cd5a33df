// Items reached by number through the drawing utilities, on a dialog made
// from resources of the test's own.
#include <gtest/gtest.h>

#include "ByteOrder.h"
#include "Dialogs.h"
#include "SelectionTestSupport.h"
#include "selection/AskUtilities.h"

namespace {

using tessel::platform::append_big16;
using tessel::platform::append_big32;
using tessel::testing::TestFork;

constexpr SInt16 kDialogId = 16500;

void append_rect(std::vector<UInt8>& out, const Rect& r) {
  for (SInt16 side : {r.top, r.left, r.bottom, r.right}) append_big16(out, UInt16(side));
}

// A record shaped like the selection dialog's state: the dialog comes first.
struct StateWithDialog {
  DialogPtr dialog;
  SInt32 other;
};

bool g_hookDrew = false;
void markingHook(DialogPtr, SInt16 item) { g_hookDrew = item == 3; }

class DialogItems : public TestFork {
 protected:
  void SetUp() override {
    TestFork::SetUp();
    std::vector<UInt8> dialog;
    append_rect(dialog, Rect{40, 40, 300, 400});
    append_big16(dialog, 1);                    // procID: modal
    dialog.insert(dialog.end(), {0, 0, 0, 0});  // hidden, no close box
    append_big32(dialog, 0);                    // refCon
    append_big16(dialog, UInt16(kDialogId));    // item list
    dialog.push_back(0);                        // no title
    dialog.push_back(0);
    add(FourCC("DLOG"), kDialogId, dialog);
    add(FourCC("DITL"), kDialogId, items());
    dialog_ = GetNewDialog(kDialogId, nullptr, kFirstWindowOfClass);
    ASSERT_NE(dialog_, nullptr);
  }
  void TearDown() override {
    if (dialog_ != nullptr) DisposeDialog(dialog_);
    TestFork::TearDown();
  }

  static std::vector<UInt8> items() {
    std::vector<UInt8> list;
    append_big16(list, 3);  // four items
    add_item(list, Rect{230, 280, 250, 340}, ctrlItem + btnCtrl, "OK");
    add_item(list, Rect{230, 20, 248, 120}, ctrlItem + chkCtrl, "Grid");
    add_item(list, Rect{20, 240, 60, 340}, userItem + itemDisable, "");
    add_item(list, Rect{20, 20, 221, 221}, userItem, "");
    return list;
  }
  static void add_item(std::vector<UInt8>& list, const Rect& box, int kind,
                       const std::string& text) {
    append_big32(list, 0);
    append_rect(list, box);
    list.push_back(UInt8(kind));
    list.push_back(UInt8(text.size()));
    list.insert(list.end(), text.begin(), text.end());
    if (text.size() % 2 != 0) list.push_back(0);
  }

  static std::vector<SInt16> sides(const Rect& r) { return {r.top, r.left, r.bottom, r.right}; }

  DialogPtr dialog_ = nullptr;
};

TEST_F(DialogItems, PreviewRectLosesTheItemsLastRowAndColumn) {
  StateWithDialog state{dialog_, 7};
  Rect preview{};
  GetPreviewRect(&state, &preview);
  EXPECT_EQ(sides(preview), (std::vector<SInt16>{20, 20, 220, 220}));
}

TEST_F(DialogItems, MovingAnItemKeepsItsKindAndHandle) {
  SInt16 kind = 0;
  Handle before = nullptr, after = nullptr;
  Rect box{};
  GetDItem(dialog_, 2, &kind, &before, &box);
  Rect moved{200, 30, 218, 150};
  SetDItemRect(dialog_, 2, &moved);
  Rect read{};
  GetDItemRect(dialog_, 2, &read);
  EXPECT_EQ(sides(read), sides(moved));
  GetDItem(dialog_, 2, &kind, &after, &box);
  EXPECT_EQ(kind, ctrlItem + chkCtrl);
  EXPECT_EQ(after, before);
}

TEST_F(DialogItems, ValuesReachTheCheckBoxAndNotOtherItems) {
  SetDItemValue(dialog_, 2, 1);
  EXPECT_EQ(GetDItemValue(dialog_, 2), 1);
  SetDItemValue(dialog_, 2, 0);
  EXPECT_EQ(GetDItemValue(dialog_, 2), 0);
  SetDItemValue(dialog_, 4, 1);  // a user item has no value to set
  EXPECT_EQ(GetDItemValue(dialog_, 4), 0);
}

TEST_F(DialogItems, UserHookDrawsTheItemAndKeepsItsKindAndPlace) {
  SetUserHook(dialog_, 3, markingHook);
  SInt16 kind = 0;
  Handle handle = nullptr;
  Rect box{};
  GetDItem(dialog_, 3, &kind, &handle, &box);
  EXPECT_EQ(kind, userItem + itemDisable);
  EXPECT_EQ(sides(box), (std::vector<SInt16>{20, 240, 60, 340}));
  g_hookDrew = false;
  DrawDialog(dialog_);
  EXPECT_TRUE(g_hookDrew);
}

}  // namespace
