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
#include "platform/DialogTestSupport.h"
#include "platform/OffscreenPort.h"
#include "plugin/TesselAcquire.h"
#include "selection/AskForSelection.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {

class AskForSelectionTest : public DialogTest {
 protected:
  void SetUp() override {
    DialogTest::SetUp();
    open_compiled(TESSEL_RESOURCE_FORK);
    Set(params_, kAcquireDisplayProcs, NewProcReference(host::display_pixels));
  }

  void TearDown() override {
    if (image_.format.code != 0) RasterFormatClose(&image_.format);
    DialogTest::TearDown();
  }

  // A TIFF written with options, opened as the dialog's image.
  void open_image(const std::string& name, const samples::TiffOptions& options) {
    ASSERT_EQ(samples::write_tiff(path(name), options), noErr);
    image_.fileSpec = spec_of(name);
    ASSERT_EQ(RasterFormatOpen(&image_), noErr);
  }

  OSErr run(const std::string& script) {
    EXPECT_NE(platform::headless::use_script(script), nullptr);
    return AskForSelection(&params_, &image_);
  }

  std::vector<int> selection() const { return sides(image_.selection); }

  std::filesystem::path prefs_file() const { return root_ / "config/tessel/Tessel Selections"; }

  AcquireParams params_{};
  SourceImage image_{};
};

}  // namespace tessel::testing
