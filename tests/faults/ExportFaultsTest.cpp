// Export under file faults: the run stops with the fault's code, reported
// once; the bands before the fault are in the file, the band it hit may hold
// new bytes and old ones, and no byte outside the rectangle changed. Short
// transfers are not faults and must not be taken for one.
#include <cerrno>

#include "ExportFixture.h"
#include "FaultyFileSystem.h"
#include "MacErrors.h"

namespace tessel::testing {
namespace {

// A disk that fills up part way through a write, as one can while a write
// fills a hole of a sparse file: the write at full_at stores half its bytes,
// every later one fails with ENOSPC.
class FillingDisk : public FaultyFileSystem {
 public:
  int full_at = 0;
  int calls = 0;

  ssize_t pwrite(int fd, const void* buffer, std::size_t count, off_t offset) override {
    if (++calls == full_at) return FaultyFileSystem::pwrite(fd, buffer, count / 2, offset);
    if (calls > full_at) {
      errno = ENOSPC;
      return -1;
    }
    return FaultyFileSystem::pwrite(fd, buffer, count, offset);
  }
};

// Counts the bytes written besides the calls.
class WriteCounting : public FaultyFileSystem {
 public:
  std::size_t bytes_written = 0;

  ssize_t pwrite(int fd, const void* buffer, std::size_t count, off_t offset) override {
    bytes_written += count;
    return FaultyFileSystem::pwrite(fd, buffer, count, offset);
  }
};

class ExportFaults : public ExportFixture {
 protected:
  OSErr run_on(platform::FileSystem& files) {
    platform::ScopedFileSystem scope(files);
    return host().run();
  }

  // After a run stopped in band: every band before it is written, every
  // byte that only later bands change is as it was, and each byte of the
  // band itself is either.
  void expect_stopped_in(int band) {
    const std::vector<UInt8> before = with_rows_written((band - 1) * kBandRows);
    const std::vector<UInt8> through = with_rows_written(band * kBandRows);
    const std::vector<UInt8> now = file_bytes(image());
    EXPECT_EQ(now.size(), before.size());
    for (std::size_t i = 0; i < now.size() && i < before.size(); ++i) {
      if (before[i] == through[i]) {
        EXPECT_EQ(now[i], before[i]) << "byte " << i;
      } else if (now[i] != before[i]) {
        EXPECT_EQ(now[i], through[i]) << "byte " << i;
      }
    }
  }

  void expect_failed_with(OSErr code, int bands) {
    EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", code)});
    EXPECT_EQ(Get(host().params, kExportModifiedFlag), 1);
    EXPECT_EQ(host().requests.size(), std::size_t(bands));  // no band after the fault
  }
};

struct Fault {
  const char* name;
  int write;  // 1-based; each row of the rectangle is one write
  int error;
  bool isShort;
  OSErr expected;
};

TEST_F(ExportFaults, AFaultInABandKeepsTheBandsBeforeItAndNothingElse) {
  const Fault faults[] = {
      {"I/O error on the second row of band 2", kBandRows + 2, EIO, false, ioErr},
      {"full disk on the first row of band 3", 2 * kBandRows + 1, ENOSPC, false, dskFulErr},
      {"I/O error on the very first write", 1, EIO, false, ioErr},
      {"short write", 1, 0, true, noErr},
  };
  for (const Fault& fault : faults) {
    SCOPED_TRACE(fault.name);
    FaultyFileSystem faulty;
    faulty.fail_write_at = fault.write;
    faulty.write_error = fault.error;
    faulty.short_write = fault.isShort;
    const std::vector<UInt8> tagBefore = host().tag_bytes();
    const OSErr result = run_on(faulty);
    EXPECT_EQ(result, fault.expected == noErr ? 0 : 1);  // the entry point answers 1 for errors
    if (fault.expected == noErr) {
      EXPECT_TRUE(alerts().empty());
      EXPECT_EQ(Get(host().params, kExportModifiedFlag), 0);
      expect_rows_written(kRows);
    } else {
      const int band = (fault.write - 1) / kBandRows + 1;
      expect_failed_with(fault.expected, band);
      expect_stopped_in(band);
      // The rows before the failed write, whole, and nothing after them.
      expect_rows_written(fault.write - 1);
      EXPECT_EQ(faulty.writes, fault.write);
    }
    EXPECT_EQ(host().tag_bytes(), tagBefore);
    start_over();
  }
}

// Band 2's first row is written whole, its second in part, and nothing
// after it.
TEST_F(ExportFaults, ADiskFillingMidRowLeavesThatRowPartWritten) {
  FillingDisk filling;
  filling.full_at = kBandRows + 2;
  EXPECT_EQ(run_on(filling), 1);
  expect_failed_with(dskFulErr, 2);
  const std::vector<UInt8> oneRow = with_rows_written(kBandRows + 1);
  const std::vector<UInt8> twoRows = with_rows_written(kBandRows + 2);
  const std::vector<UInt8> now = file_bytes(image());
  ASSERT_EQ(now.size(), oneRow.size());
  int torn = 0, changing = 0;
  for (std::size_t i = 0; i < now.size(); ++i) {
    if (oneRow[i] != twoRows[i] && now[i] == twoRows[i]) {
      ++torn;
    } else {
      EXPECT_EQ(now[i], oneRow[i]) << "byte " << i;
    }
    changing += oneRow[i] != twoRows[i] ? 1 : 0;
  }
  EXPECT_GT(torn, 0);
  EXPECT_LT(torn, changing);
}

TEST_F(ExportFaults, WritesOnlyTheRectanglesBytesAndSyncsOnceAtTheEnd) {
  WriteCounting counting;
  ASSERT_EQ(run_on(counting), 0);
  EXPECT_EQ(counting.writes, kRows);
  EXPECT_EQ(counting.bytes_written, std::size_t(kRows * (kRect.right - kRect.left) * 3));
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
