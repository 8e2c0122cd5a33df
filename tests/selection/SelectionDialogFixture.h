// A selection dialog state over a small dialog of the test's own, laid out
// with the items the grid, the ants and the panes draw into, above the
// plug-in's compiled resources; its pixels are read back from the window.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Files.h"
#include "MacMemory.h"
#include "QDOffscreen.h"
#include "Quickdraw.h"
#include "Resources.h"
#include "TextUtils.h"
#include "headless/HeadlessBackend.h"
#include "platform/DialogTestSupport.h"
#include "selection/AskAnts.h"
#include "selection/AskUtilities.h"
#include "selection/SelectionDialogState.h"

namespace tessel::testing {

// P, the preview rectangle of the test dialog: 300 x 200 at (20, 20).
constexpr Rect kPreview{20, 20, 220, 320};
constexpr Rect kImagePane{20, 340, 80, 510};
constexpr Rect kSelectionPane{90, 340, 150, 510};
constexpr UInt32 kPreviewGray = 0x808080;

// Rectangles and points given relative to P, and a rectangle taken back.
inline Rect in_preview(int top, int left, int bottom, int right) {
  return Rect{SInt16(kPreview.top + top), SInt16(kPreview.left + left),
              SInt16(kPreview.top + bottom), SInt16(kPreview.left + right)};
}
inline Point in_preview(int h, int v) {
  return Point{SInt16(kPreview.top + v), SInt16(kPreview.left + h)};
}
inline std::vector<int> from_preview(const Rect& r) {
  return {r.top - kPreview.top, r.left - kPreview.left, r.bottom - kPreview.top,
          r.right - kPreview.left};
}

inline UInt32 pixel_at(DialogPtr dialog, int h, int v) {
  return platform::quickdraw::pixel(*GetDialogPort(dialog), h, v);
}

inline std::vector<UInt32> pixels_in(DialogPtr dialog, const Rect& r) {
  std::vector<UInt32> pixels;
  for (int v = r.top; v < r.bottom; ++v) {
    for (int h = r.left; h < r.right; ++h) pixels.push_back(pixel_at(dialog, h, v));
  }
  return pixels;
}

class SelectionDialogFixture : public DialogTest {
 protected:
  static constexpr SInt16 kTestDialog = 16950;

  void SetUp() override {
    DialogTest::SetUp();
    ASSERT_NE(platform::headless::use_script(""), nullptr);
    open_compiled(TESSEL_RESOURCE_FORK);
    add_dialog();
    open_resources();
    storage_ = NewPtrClear(kSelectionDialogStorageSize);
    dialog_ = GetNewDialog(kTestDialog, storage_, reinterpret_cast<WindowPtr>(-1));
    ASSERT_NE(dialog_, nullptr);
    UseResFile(compiled_);  // icons are looked up in the current file alone, as in the module
    state_ = std::make_unique<SelectionDialogState>();
    SetSelectionDialogState(storage_, state_.get());
    state_->dialog = dialog_;
    state_->sourceImage = &image_;
    state_->antsMode = kAntsIdle;
    state_->gridColumns = 3;
    state_->gridRows = 3;
    image_ = SourceImage{};
    image_.width = 3000;
    image_.height = 2000;
    image_.channels = 3;
    SetPort(GetDialogPort(dialog_));
  }

  void TearDown() override {
    if (state_ && state_->preview.offscreen != nullptr) DisposeGWorld(state_->preview.offscreen);
    if (state_ && state_->infoOffscreen != nullptr) DisposeGWorld(state_->infoOffscreen);
    if (state_) DisposeIconCache(&state_->iconCache);
    if (dialog_ != nullptr) CloseDialog(dialog_);
    if (storage_ != nullptr) DisposePtr(storage_);
    DialogTest::TearDown();
  }

  // A preview picture of one flat colour, and the preview drawn from it.
  void use_flat_preview(UInt32 color = kPreviewGray) {
    Rect bounds{0, 0, SInt16(kPreview.bottom - kPreview.top),
                SInt16(kPreview.right - kPreview.left)};
    ASSERT_EQ(NewGWorld(&state_->preview.offscreen, 32, &bounds, nullptr, nullptr, 0), 0);
    CGrafPtr saved = nullptr;
    GDHandle device = nullptr;
    GetGWorld(&saved, &device);
    SetGWorld(state_->preview.offscreen, nullptr);
    RGBColor rgb{UInt16((color >> 16 & 0xFF) * 257), UInt16((color >> 8 & 0xFF) * 257),
                 UInt16((color & 0xFF) * 257)};
    RGBForeColor(&rgb);
    PaintRect(&bounds);
    SetGWorld(saved, device);
    DisplayPreview(state_.get(), nullptr);
  }

  SourceImage image_{};
  DialogPtr dialog_ = nullptr;
  std::unique_ptr<SelectionDialogState> state_;

 private:
  void add_dialog() {
    using platform::resources::Resource;
    auto user = [](const Rect& r) { return DialogItemSpec{userItem, r, {}}; };
    std::vector<DialogItemSpec> items = {
        {ctrlItem + btnCtrl, {270, 440, 290, 510}, text_bytes("OK")},
        {ctrlItem + btnCtrl, {270, 360, 290, 430}, text_bytes("Cancel")},
        user({0, 0, 0, 0}),
        user(
            {kPreview.top, kPreview.left, SInt16(kPreview.bottom + 1), SInt16(kPreview.right + 1)}),
        user(kImagePane),
        user(kSelectionPane),
        {ctrlItem + chkCtrl, {160, 340, 178, 420}, text_bytes("Grid")},
        user({185, 340, 198, 353}),
        user({185, 356, 198, 369}),
        user({185, 375, 198, 460}),
        user({205, 340, 218, 353}),
        user({205, 356, 218, 369}),
        user({205, 375, 218, 460}),
        user({230, 20, 240, 100}),
    };
    add(Resource{FourCC("DLOG"), kTestDialog, 0, "",
                 dialog_template({40, 40, 340, 560}, kTestDialog, false, 0)});
    add(Resource{FourCC("DITL"), kTestDialog, 0, "", item_list(items)});
  }

  Ptr storage_ = nullptr;
};

}  // namespace tessel::testing
