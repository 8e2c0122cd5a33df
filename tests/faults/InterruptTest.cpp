// Ctrl-C between bands of a real export (the module, run in process by the
// host's export run): the run stops at the plug-in's next abort test, the
// bands written so far stay, every other byte of the image is as before, and
// the document is neither changed nor recorded as saved.
#include <gtest/gtest.h>

#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/FormatTestSupport.h"
#include "host/Document.h"
#include "host/ExportRun.h"
#include "host/Module.h"
#include "host/ProgramTestSupport.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {
namespace {

constexpr Rect kRect{4, 3, 16, 20};

class Interrupt : public TempFolder {};

TEST_F(Interrupt, BetweenBandsKeepsTheBandsWrittenAndTheDocument) {
  setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
  ASSERT_EQ(samples::write_tiff(path("image.tif"),
                                {.samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 4}),
            noErr);
  host::Document document = inverted_document(path("image.tif"), kRect, path("doc.tif"));
  ASSERT_FALSE(document.pixels.empty());
  const std::vector<UInt8> documentBefore = file_bytes(path("doc.tif"));
  const std::vector<UInt8> imageBefore = file_bytes(path("image.tif"));

  auto module = host::Module::load(TESSEL_MODULE_FILE);
  ASSERT_TRUE(module.has_value());
  host::ExportOptions run;
  run.memoryLimit = 17 * 3 * 4;  // bands of four rows
  run.interruptAfterBands = 1;
  const host::ExportOutcome outcome =
      host::run_export((*module)->export_entry(), path("doc.tif"), document, run);

  EXPECT_TRUE(outcome.interrupted);
  EXPECT_EQ(outcome.result, host::kUserCancelled);
  EXPECT_EQ(outcome.bands, 2);  // the second continue stops at its abort test, before writing
  EXPECT_FALSE(outcome.savedBack);
  EXPECT_EQ(file_bytes(path("doc.tif")), documentBefore);
  // The first band's rows, and nothing else, changed: the same bytes a bare
  // write of those rows into the original gives.
  const TileArea box{kRect.top, kRect.left, kRect.top + 4, kRect.right, 0, 3};
  EXPECT_EQ(file_bytes(path("image.tif")),
            bytes_after_writing(path("expected.tif"), imageBefore, box, document.pixels.data()));
}

}  // namespace
}  // namespace tessel::testing
