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

TEST_F(ResultReporting, AcquireShowsItsOwnMessageWithTheCode) {
  ReportResult(117);
  ReportResult(118);
  ReportResult(119);
  ReportResult(131);
  ReportResult(-108);
  ReportResult(133);  // an export code: generic on this side
  EXPECT_EQ(alerts(), (std::vector<std::string>{
                          alert_line(message_text(11), 117), alert_line(message_text(11), 118),
                          alert_line(message_text(14), 119), alert_line(message_text(30), 131),
                          alert_line(message_text(13), -108), alert_line(message_text(13), 133)}));
}

TEST_F(ResultReporting, ExportFillsTheMessageBeforeTheAlert) {
  Str255 width, height;
  CopyCStringToPascal("512", width);
  CopyCStringToPascal("400", height);
  ExportReportResult(109, width, height);
  ExportReportResult(131, width, height);
  ExportReportResult(121, width, height);
  ExportReportResult(498, width, height);
  EXPECT_EQ(alerts(),
            (std::vector<std::string>{
                alert_line("message 17 [512|400]", 109), alert_line("message 13 [512|400]", 131),
                alert_line("message 13 [512|400]", 121), alert_line("message 15 [512|400]", 498)}));
}

TEST_F(ResultReporting, TrapMessageIsALengthPrefixedText) {
  const unsigned char* message = trap_message();
  ASSERT_EQ(message[0], 14);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(message + 1), 14), " trapped error");
}

}  // namespace
}  // namespace tessel::testing
