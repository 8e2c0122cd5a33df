// Documents larger than the memory a run should take, through the real
// program: images made sparse by tifffile, so that only what tessel writes
// takes disk space.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include "ProgramTestSupport.h"

namespace tessel::host {
namespace {

class BigDocumentEndToEnd : public testing::ProgramTest {
 protected:
  // A side x side RGB TIFF in strips of 16 rows whose pixels are a hole.
  void write_sparse_image(const std::string& name, int side) {
    const std::string command =
        "timeout -k 5 60 /usr/bin/python3 -c \"import sys, numpy, tifffile; "
        "tifffile.imwrite(sys.argv[1], shape=(int(sys.argv[2]), int(sys.argv[2]), 3), "
        "dtype=numpy.uint8, photometric='rgb', rowsperstrip=16)\" " +
        path(name).string() + " " + std::to_string(side);
    ASSERT_EQ(std::system(command.c_str()), 0);
  }

  // The peak resident set, in bytes, of tessel run with arguments in the
  // scratch folder; -1 when it fails.
  long peak_bytes(const std::string& arguments) {
    const std::string command = "cd " + root_.string() + " && timeout -k 5 60 " +
                                (testing::program_folder() / "tessel").string() + " " + arguments +
                                " >/dev/null 2>err.txt";
    const pid_t child = fork();
    if (child == 0) {
      execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    int status = 0;
    rusage usage{};
    // The child's figure covers the shell and everything it waited for.
    if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
      ADD_FAILURE() << arguments << ": " << text_of(path("err.txt"));
      return -1;
    }
    return usage.ru_maxrss * 1024L;
  }
};

// 6000 x 6000 RGB is a 108 MB document: extract and export each take
// little more than they do for a 16 x 16 one (the program itself, more
// under the sanitizers), holding a few strips and one band at a time.
TEST_F(BigDocumentEndToEnd, ExtractAndExportHoldFarLessThanTheDocument) {
  write_sparse_image("image.tif", 6000);
  constexpr long kDocumentBytes = 6000L * 6000L * 3L;
  const long smallExtract = peak_bytes("extract image.tif --rect 0,0,16,16 -o small.tif");
  const long smallExport = peak_bytes("export small.tif --memory-limit 16000000");
  const long extract = peak_bytes("extract image.tif --rect 0,0,6000,6000 -o doc.tif");
  ASSERT_GE(std::filesystem::file_size(path("doc.tif")), std::uintmax_t(kDocumentBytes));
  const long exported = peak_bytes("export doc.tif --memory-limit 16000000");
  ASSERT_TRUE(smallExtract > 0 && smallExport > 0 && extract > 0 && exported > 0);
  EXPECT_LT(extract - smallExtract, kDocumentBytes / 4);
  EXPECT_LT(exported - smallExport, kDocumentBytes / 4);
}

TEST_F(BigDocumentEndToEnd, InfoGivesLargeSizesInGigabytes) {
  write_sparse_image("image.tif", 20000);
  const testing::ProgramRun text = tessel("info image.tif");
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(
      std::regex_search(text.out, std::regex("bytes +1\\.2 GB in the file, 1\\.2 GB of pixels\n")))
      << text.out;
  const testing::ProgramRun json = tessel("info image.tif --json");
  EXPECT_TRUE(std::regex_search(json.out, std::regex("\"pixelBytes\": 1200000000[,}]")))
      << json.out;
}

}  // namespace
}  // namespace tessel::host
