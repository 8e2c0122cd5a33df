// Export under file faults: the run stops with the fault's code, reported
// once; the bands before the fault are in the file and no other byte of it
// changed. Short transfers are not faults and must not be taken for one.
#include <cerrno>

#include "ExportFixture.h"
#include "FaultyFileSystem.h"
#include "MacErrors.h"

namespace tessel::testing {
namespace {

class ExportFaults : public ExportFixture {
 protected:
  // The file reads of a clean run before its first band: each band reads
  // its strip once and writes it once.
  int reads_before_bands() {
    FaultyFileSystem counting;
    {
      platform::ScopedFileSystem scope(counting);
      EXPECT_EQ(host().run(), 0);
    }
    EXPECT_EQ(counting.writes, 3);
    start_over();
    return counting.reads - 3;
  }
};

struct Fault {
  const char* name;
  bool onRead;
  int band;  // 1-based band whose transfer fails
  int error;
  bool isShort;
  OSErr expected;
};

TEST_F(ExportFaults, AFaultInABandKeepsTheBandsBeforeItAndNothingElse) {
  const int before = reads_before_bands();
  const Fault faults[] = {
      {"I/O error writing", false, 2, EIO, false, ioErr},
      {"full disk", false, 3, ENOSPC, false, dskFulErr},
      {"I/O error reading", true, 2, EIO, false, ioErr},
      {"I/O error reading the first band", true, 1, EIO, false, ioErr},
      {"short read", true, 2, 0, true, noErr},
      {"short write", false, 1, 0, true, noErr},
  };
  for (const Fault& fault : faults) {
    SCOPED_TRACE(fault.name);
    FaultyFileSystem faulty;
    (fault.onRead ? faulty.fail_read_at : faulty.fail_write_at) =
        fault.onRead ? before + fault.band : fault.band;
    (fault.onRead ? faulty.read_error : faulty.write_error) = fault.error;
    (fault.onRead ? faulty.short_read : faulty.short_write) = fault.isShort;
    const std::vector<UInt8> tagBefore = host().tag_bytes();
    OSErr result = 0;
    {
      platform::ScopedFileSystem scope(faulty);
      result = host().run();
    }
    EXPECT_EQ(result, fault.expected == noErr ? 0 : 1);  // the entry point answers 1 for errors
    if (fault.expected == noErr) {
      EXPECT_TRUE(alerts().empty());
      EXPECT_EQ(Get(host().params, kExportModifiedFlag), 0);
      expect_rows_written(kRect.bottom - kRect.top);
    } else {
      EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", fault.expected)});
      EXPECT_EQ(Get(host().params, kExportModifiedFlag), 1);
      EXPECT_EQ(host().requests.size(), std::size_t(fault.band));  // no band after the fault
      expect_rows_written((fault.band - 1) * kBandRows);
    }
    EXPECT_EQ(host().tag_bytes(), tagBefore);
    start_over();
  }
}

TEST_F(ExportFaults, TheWrittenBandsAreSyncedOnceAtTheEnd) {
  FaultyFileSystem counting;
  {
    platform::ScopedFileSystem scope(counting);
    ASSERT_EQ(host().run(), 0);
  }
  EXPECT_EQ(counting.writes, 3);
  EXPECT_EQ(counting.syncs, 1);
}

TEST_F(ExportFaults, AFailedStartWritesNothingAndSyncsNothing) {
  FaultyFileSystem faulty;
  faulty.fail_read_at = 1;  // the first read of the file's description
  {
    platform::ScopedFileSystem scope(faulty);
    EXPECT_EQ(host().run(), kUserCancelled);  // reported, then the file dialog is cancelled
  }
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", ioErr)});
  EXPECT_EQ(faulty.writes, 0);
  EXPECT_EQ(faulty.syncs, 0);
  EXPECT_EQ(file_bytes(image()), pristine());
}

}  // namespace
}  // namespace tessel::testing
