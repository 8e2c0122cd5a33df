#include "PluginTestSupport.h"
#include "TextUtils.h"
#include "plugin/TesselAcquireReportResult.h"
#include "plugin/TesselExportReportResult.h"

namespace tessel::testing {
namespace {

using ResultReporting = PluginTest;

TEST_F(ResultReporting, SuccessAndCancelShowNothing) {
  Str255 empty{};
  ReportResult(0);
  ReportResult(996);
  ExportReportResult(0, empty, empty);
  ExportReportResult(996, empty, empty);
  EXPECT_TRUE(alerts().empty());
}

// 131 has a message of its own on the acquire side only; -108 has none on
// either. Export fills the message's placeholders before the alert.
TEST_F(ResultReporting, EachSideShowsItsOwnMessageOrTheGenericOne) {
  Str255 width, height;
  CopyCStringToPascal("512", width);
  CopyCStringToPascal("400", height);
  ReportResult(131);
  ReportResult(-108);
  ExportReportResult(131, width, height);
  ExportReportResult(498, width, height);
  EXPECT_EQ(alerts(),
            (std::vector<std::string>{
                alert_line(message_text(30), 131), alert_line(message_text(13), -108),
                alert_line("message 13 [512|400]", 131), alert_line("message 15 [512|400]", 498)}));
}

}  // namespace
}  // namespace tessel::testing
