// The tessel program's commands under file faults, run in process (module,
// dialogs, documents) so that the faulty file system is the one the module's
// calls go through. Whatever read or write fails, acquire either makes
// exactly the document a clean run makes, or fails and leaves no document
// behind; an export whose final sync fails says so and is not recorded as
// saved.
#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>
#include <string_view>
#include <vector>

#include "FaultyFileSystem.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "formats/FormatTestSupport.h"
#include "host/AcquireCommand.h"
#include "host/Document.h"
#include "host/ExportCommand.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {
namespace {

class CommandFaults : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    setenv("TESSEL_MODULE", TESSEL_MODULE_FILE, 1);
    setenv("TESSEL_BACKEND", "headless", 1);
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
    // Strips of 4 rows, read in several strips under a small memory limit.
    ASSERT_EQ(
        samples::write_tiff(
            path("image.tif"),
            {.width = 40, .height = 30, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 4}),
        noErr);
  }

  // The acquire command with every dialog answered by Return: the image as
  // pre-selected, the selection as the dialog offers it.
  int acquire(platform::FileSystem& files) {
    const std::string image = path("image.tif").string(), doc = document().string();
    const std::vector<std::string_view> args{image, "-o", doc, "--memory-limit", "2000"};
    std::ostringstream out, err;
    platform::ScopedFileSystem scope(files);
    return host::run_acquire_command(args, out, err);
  }

  int export_document(platform::FileSystem& files, std::string& told) {
    const std::string doc = document().string();
    const std::vector<std::string_view> args{doc};
    std::ostringstream out, err;
    platform::ScopedFileSystem scope(files);
    const int status = host::run_export_command(args, out, err);
    told = err.str();
    return status;
  }

  std::filesystem::path document() const { return path("doc.tif"); }
};

struct Fault {
  const char* name;
  bool onRead;
  int error;
  bool isShort;
};

TEST_F(CommandFaults, AcquireGivesTheCleanDocumentOrNone) {
  FaultyFileSystem counting;
  ASSERT_EQ(acquire(counting), 0);
  const std::vector<UInt8> clean = file_bytes(document());
  ASSERT_FALSE(clean.empty());
  ASSERT_GT(counting.reads, 8);  // the header, the directory, several strips

  const Fault faults[] = {
      {"I/O error reading", true, EIO, false},
      {"short read", true, 0, true},
      {"full disk", false, ENOSPC, false},
      {"short write", false, 0, true},
  };
  for (const Fault& fault : faults) {
    const int calls = fault.onRead ? counting.reads : counting.writes;
    int failed = 0;
    for (int at = 1; at <= calls; ++at) {
      SCOPED_TRACE(::testing::Message() << fault.name << " at call " << at);
      std::filesystem::remove(document());
      FaultyFileSystem faulty;
      (fault.onRead ? faulty.fail_read_at : faulty.fail_write_at) = at;
      (fault.onRead ? faulty.read_error : faulty.write_error) = fault.error;
      (fault.onRead ? faulty.short_read : faulty.short_write) = fault.isShort;
      if (acquire(faulty) == 0) {
        EXPECT_EQ(file_bytes(document()), clean);
      } else {
        ++failed;
        EXPECT_FALSE(std::filesystem::exists(document()));
      }
    }
    // A short transfer is carried on, never taken for a failure; an error
    // in the image's pixels always stops the run.
    if (fault.isShort) {
      EXPECT_EQ(failed, 0) << fault.name;
    } else if (fault.onRead) {
      EXPECT_GT(failed, 0) << fault.name;
    }
  }
}

TEST_F(CommandFaults, ExportWhoseFinalSyncFailsSaysSoAndIsNotSaved) {
  FaultyFileSystem clean;
  ASSERT_EQ(acquire(clean), 0);
  auto edited = host::read_document(document());
  ASSERT_TRUE(edited);
  for (UInt8& sample : edited->pixels) sample = UInt8(~sample);
  ASSERT_EQ(host::write_document(document(), *edited), noErr);

  FaultyFileSystem failingSync;
  failingSync.sync_error = EIO;
  std::string told;
  EXPECT_EQ(export_document(failingSync, told), 1);
  EXPECT_NE(told.find(path("image.tif").string() + " to disk"), std::string::npos) << told;
  EXPECT_TRUE(host::read_document(document())->modified());

  FaultyFileSystem healthy;
  EXPECT_EQ(export_document(healthy, told), 0) << told;
  EXPECT_FALSE(host::read_document(document())->modified());
}

}  // namespace
}  // namespace tessel::testing
