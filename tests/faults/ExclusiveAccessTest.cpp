// One writer at a time: an image another process is writing is refused
// before a byte of it changes. An image replaced by one of another size is
// refused, and so is one cut short, before its first band.
#include <sys/wait.h>
#include <unistd.h>

#include "ExportFixture.h"
#include "MacErrors.h"

namespace tessel::testing {
namespace {

class ExclusiveAccess : public ExportFixture {
 protected:
  // A second process opens the image for writing through the File Manager
  // and keeps it open until release().
  void hold_in_another_process() {
    int ready[2], done[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(done), 0);
    holder_ = fork();
    ASSERT_GE(holder_, 0);
    if (holder_ == 0) {
      close(ready[0]);
      close(done[1]);
      FSSpec spec = spec_of("image.tif");
      SInt16 ref = 0;
      char answer = FSpOpenDF(&spec, fsRdWrPerm, &ref) == noErr ? 'y' : 'n';
      (void)!write(ready[1], &answer, 1);
      (void)!read(done[0], &answer, 1);  // returns when the parent closes its end
      _exit(FSClose(ref) == noErr ? 0 : 1);
    }
    close(ready[1]);
    close(done[0]);
    release_ = done[1];
    char answer = 0;
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    close(ready[0]);
    ASSERT_EQ(answer, 'y');
  }

  void release() {
    close(release_);
    int status = 0;
    ASSERT_EQ(waitpid(holder_, &status, 0), holder_);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }

 private:
  pid_t holder_ = -1;
  int release_ = -1;
};

TEST_F(ExclusiveAccess, AnImageAnotherProcessWritesIsLeftAloneUntilItIsDone) {
  hold_in_another_process();
  EXPECT_EQ(host().run(), 1);  // an error the platform gave
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", opWrErr)});
  EXPECT_EQ(file_bytes(image()), pristine());
  EXPECT_EQ(Get(host().params, kExportModifiedFlag), 1);
  release();

  start_over();
  EXPECT_EQ(host().run(), 0);
  expect_rows_written(kRect.bottom - kRect.top);
}

// Refused before the first band: a file that lost its end would otherwise
// take the bands above the cut and fail at the first one below it.
TEST_F(ExclusiveAccess, AnImageCutShortIsRefusedBeforeAnyBand) {
  const std::size_t rowBytes = 64 * 3;
  std::vector<UInt8> shorter(pristine().begin(), pristine().end() - long(36 * rowBytes));
  write_file("image.tif", shorter);         // rows 12 and below are gone
  EXPECT_EQ(host().run(), kUserCancelled);  // the user may choose the whole file instead
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 13 [|]", eofErr)});
  EXPECT_TRUE(host().requests.empty());
  EXPECT_EQ(file_bytes(image()), shorter);
}

TEST_F(ExclusiveAccess, AnImageReplacedByAnotherSizeIsRefused) {
  ASSERT_EQ(
      samples::write_tiff(path("other.tif"), {.width = 63, .samplesPerPixel = 3, .photometric = 2}),
      0);
  std::filesystem::rename(path("other.tif"), image());
  const std::vector<UInt8> replaced = file_bytes(image());
  EXPECT_EQ(host().run(), kUserCancelled);
  EXPECT_EQ(alerts(), std::vector<std::string>{alert_line("message 21 [64|48]", 123)});
  EXPECT_EQ(file_bytes(image()), replaced);
}

}  // namespace
}  // namespace tessel::testing
