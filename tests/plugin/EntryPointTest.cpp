#include "FaultyFileSystem.h"
#include "PluginTestSupport.h"
#include "TextUtils.h"
#include "plugin/BandSteps.h"
#include "plugin/TesselAcquire.h"
#include "plugin/TesselAcquireReportResult.h"
#include "plugin/TesselExportReportResult.h"
#include "records/ResultCodes.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {
namespace {

namespace mem = platform::memory;

class EntryPoint : public PluginTest {
 protected:
  FakeExportHost host;

  ExportGlobals* export_globals() { return ReferencePointerAs<ExportGlobals>(host.slot); }

  // A document tagged with a sample file's rectangle, ready to export.
  void tagged_document() {
    ASSERT_EQ(samples::write_tiff(path("image.tif"), {.samplesPerPixel = 3, .photometric = 2}), 0);
    ASSERT_EQ(host.tag(spec_of("image.tif"), VRect{0, 0, 10, 10}), 0);
    host.describe_document();
  }
};

TEST_F(EntryPoint, UnknownSelectorsAreReportedAndClearTheRunFlag) {
  tagged_document();
  for (SInt16 selector : {SInt16(5), SInt16(-1)}) {
    ASSERT_EQ(host.call(kSelectorPrepare), 0);
    ASSERT_EQ(export_globals()->runOk, 1);
    EXPECT_EQ(host.call(selector), 1);
    EXPECT_EQ(export_globals()->runOk, 0);
  }
  EXPECT_EQ(host.call(kSelectorFinish), 0);
  EXPECT_EQ(Get(host.params, kExportModifiedFlag), 1);  // a failed run leaves the flag

  AcquireParams acquire{};
  PluginDataSlot slot = 0;
  SInt16 result = 0;
  ts_acquire_main(-1, &acquire, &slot, &result);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(alerts(), (std::vector<std::string>{alert_line("message 13 [|]", -30200),
                                                alert_line("message 13 [|]", -30200),
                                                alert_line(message_text(13), -30000)}));
}

TEST_F(EntryPoint, ANegativeResultReachesTheHostAsOneAfterItsReport) {
  tagged_document();
  FaultyFileSystem faulty;
  faulty.fail_write_at = 1;
  faulty.write_error = EIO;
  platform::ScopedFileSystem scope(faulty);
  EXPECT_EQ(host.run(), 1);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", -36)});
  EXPECT_EQ(export_globals()->sourceImage, nullptr);  // finish cleaned up
}

TEST_F(EntryPoint, CancelIsSilentAndStillEndsTheRun) {
  tagged_document();
  std::filesystem::remove(path("image.tif"));  // asked for, and nothing is chosen
  EXPECT_EQ(host.run(), kUserCancelled);
  EXPECT_TRUE(alerts().empty());
  EXPECT_EQ(Get(host.params, kExportModifiedFlag), 1);
}

TEST_F(EntryPoint, TheStateRecordIsKeptAndItsParamsRefreshed) {
  EXPECT_EQ(host.call(kSelectorAbout), 0);
  PluginDataSlot first = host.slot;
  ASSERT_NE(first, 0u);
  ExportParams other{};
  ExportParams untouched = other;
  SInt16 result = -1;
  ts_export_main(kSelectorAbout, &other, &host.slot, &result);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(host.slot, first);
  EXPECT_EQ(export_globals()->params, &other);
  EXPECT_EQ(other.bytes, untouched.bytes);  // export's about does nothing
}

TEST_F(EntryPoint, AStateRecordThatCannotBeMadeLeavesTheSlotEmpty) {
  // The alert's resources are loaded before the heap fills, as they would be
  // in a host that has reported anything before.
  const std::pair<ResType, SInt16> used[] = {
      {FourCC("STR#"), 16005}, {FourCC("ALRT"), 16100}, {FourCC("DITL"), 16100}};
  for (auto [type, id] : used) ASSERT_NE(GetResource(type, id), nullptr);
  std::int64_t budget = mem::zone_budget(ApplicZone());
  mem::set_zone_budget(ApplicZone(), mem::zone_used(ApplicZone()));
  EXPECT_EQ(host.call(kSelectorPrepare), 1);
  EXPECT_EQ(host.slot, 0u);
  mem::set_zone_budget(ApplicZone(), budget);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", -108)});
  host.describe_document();
  EXPECT_EQ(host.call(kSelectorPrepare), 0);
  EXPECT_NE(host.slot, 0u);
}

TEST_F(EntryPoint, PrepareWarnsWhenTheHostLacksCallbacks) {
  AcquireParams acquire{};
  PluginDataSlot slot = 0;
  SInt16 result = 0;
  ts_acquire_main(kSelectorPrepare, &acquire, &slot, &result);
  EXPECT_EQ(result, 1);

  Set(host.params, kExportResourceProcs, 0u);
  EXPECT_EQ(host.call(kSelectorPrepare), 1);
  EXPECT_EQ(alerts(),
            (std::vector<std::string>{"no buffer callbacks", alert_line(message_text(13), 1),
                                      "no resource callbacks", alert_line("message 13 [|]", 1)}));
}

TEST_F(EntryPoint, PrepareArmsTheRun) {
  Set(host.params, kExportMemoryLimit, 1 << 20);
  host.document.fill(20, 30, 4);
  host.describe_document();
  ASSERT_EQ(host.call(kSelectorPrepare), 0);
  EXPECT_EQ(Get(host.params, kExportMemoryLimit), 20 * 30 * 4);  // lowered to the document

  AcquireParams acquire{};
  Set(acquire, kAcquireMemoryLimit, 1000);
  Set(acquire, kAcquireBufferProcs, Get(host.params, kExportBufferProcs));
  Set(acquire, kAcquireResourceProcs, Get(host.params, kExportResourceProcs));
  PluginDataSlot slot = 0;
  SInt16 result = -1;
  ts_acquire_main(kSelectorPrepare, &acquire, &slot, &result);
  ASSERT_EQ(result, 0);
  EXPECT_EQ(Get(acquire, kAcquireMemoryLimit), 0);
}

// ---------------------------------------------------------------------------
// Results reported by each side

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
// The host's progress callback counts in 32 bits; a run of more units (16
// planes of 2^31 - 1 rows) is scaled down, keeping done's share of total and
// the end at the end.
TEST(ProgressForHost, ScalesRunsPastThirtyTwoBitsKeepingTheShare) {
  constexpr SInt64 kLongRun = SInt64(16) * INT32_MAX;
  const struct {
    SInt64 done, total;
    SInt32 hostDone, hostTotal;
  } cases[] = {{5, 60, 5, 60},
               {INT32_MAX, INT32_MAX, INT32_MAX, INT32_MAX},
               {SInt64(1) << 32, SInt64(1) << 33, 1 << 29, 1 << 30},
               {3LL << 31, 3LL << 31, 3 << 29, 3 << 29},
               {kLongRun / 2, kLongRun, INT32_MAX / 2, INT32_MAX},
               {kLongRun, kLongRun, INT32_MAX, INT32_MAX}};
  for (const auto& c : cases) {
    SInt32 done = -1, total = -1;
    ProgressForHost(c.done, c.total, &done, &total);
    EXPECT_EQ(std::pair(done, total), std::pair(c.hostDone, c.hostTotal)) << c.total;
  }
}

}  // namespace tessel::testing
