// The whole selection dialog run headless on a real sample image: the
// module's compiled resources in the chain, a preferences folder of the
// test's own, a host record with the host's display routine, and scripted
// input.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Events.h"
#include "Files.h"
#include "MacErrors.h"
#include "References.h"
#include "Resources.h"
#include "TempFolder.h"
#include "Windows.h"
#include "formats/RasterFormats.h"
#include "headless/HeadlessBackend.h"
#include "host/DisplayPixels.h"
#include "plugin/TesselAcquire.h"
#include "selection/AskForSelection.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {

class AskForSelectionTest : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    platform::events::reset();
    auto spec = platform::files::spec_from_path(TESSEL_RESOURCE_FORK);
    ASSERT_TRUE(spec.has_value());
    fork_ = FSpOpenResFile(&*spec, fsRdPerm);
    ASSERT_GT(fork_, 0);
    Set(params_, kAcquireDisplayProcs, NewProcReference(host::display_pixels));
    globals_.params = &params_;
  }

  void TearDown() override {
    if (image_.format.code != 0) RasterFormatClose(&image_.format);
    for (WindowPtr window : platform::windows::all()) platform::windows::close(*window);
    if (fork_ > 0) CloseResFile(fork_);
    TempFolder::TearDown();
  }

  // A grayscale TIFF of the given size, opened as the dialog's image.
  void open_image(const std::string& name, UInt32 width, UInt32 height) {
    if (image_.format.code != 0) RasterFormatClose(&image_.format);
    image_ = SourceImage{};
    samples::TiffOptions options;
    options.width = width;
    options.height = height;
    ASSERT_EQ(samples::write_tiff(path(name), options), noErr);
    image_.fileSpec = spec_of(name);
    ASSERT_EQ(RasterFormatOpen(&image_), noErr);
  }

  OSErr run(const std::string& script) {
    EXPECT_NE(platform::headless::use_script(script), nullptr);
    return AskForSelection(&globals_, &image_);
  }

  // The image selection as top, left, bottom, right.
  std::vector<int> selection() const {
    const Rect& s = image_.selection;
    return {s.top, s.left, s.bottom, s.right};
  }

  std::filesystem::path prefs_file() const { return root_ / "config/tessel/Tessel Selections"; }

  SInt16 fork_ = 0;
  AcquireParams params_{};
  AcquireGlobals globals_{};
  SourceImage image_{};
};

}  // namespace tessel::testing
