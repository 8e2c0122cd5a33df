#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <sstream>

#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleCommand.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

class SampleCommand : public testing::TempFolder {
 protected:
  // Runs a command line given as one string, OUT standing for the file "out".
  int run(const std::string& line) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string word; in >> word;)
      words.push_back(word == "OUT" ? path("out").string() : word);
    std::vector<std::string_view> args(words.begin(), words.end());
    out_.str("");
    err_.str("");
    return run_sample_command(args, out_, err_);
  }

  // The command's file and sidecar are those the library writes for the same options.
  void expectSameFiles(OSErr apiResult) {
    ASSERT_EQ(apiResult, noErr);
    EXPECT_EQ(read_file(path("out")), read_file(path("api")));
    EXPECT_EQ(read_file(path("._out")), read_file(path("._api")));
  }

  std::ostringstream out_, err_;
};

TEST_F(SampleCommand, WritesWhatTheLibraryWrites) {
  ASSERT_EQ(run("tiff OUT --width 31 --height 9 --samples 3 --photometric 2 --little-endian "
                "--rows-per-strip 4 --tiles 16x8 --dot-range 0,255 --x-resolution 300/2 "
                "--no-resolution-unit --descending-tags --file-type TIFF --seed 12"),
            0)
      << err_.str();
  EXPECT_EQ(out_.str() + err_.str(), "");
  TiffOptions tiff{.width = 31, .height = 9, .samplesPerPixel = 3, .photometric = 2};
  tiff.littleEndian = true;
  tiff.rowsPerStrip = 4;
  tiff.tiles = TiffTiles{16, 8};
  tiff.dotRange = std::pair{0, 255};
  tiff.xResolution = TiffRational{300, 2};
  tiff.resolutionUnit.reset();
  tiff.descendingTags = true;
  tiff.seed = 12;
  tiff.fileType = FourCC("TIFF");
  expectSameFiles(write_tiff(path("api"), tiff));

  ASSERT_EQ(run("scitex OUT --width 7 --height 3 --channels 3 --units 0 --physical-width 2.5 "
                "--physical-height 1e-3 --units-byte 9 --height-text +.1"),
            0)
      << err_.str();
  ScitexOptions scitex{.width = 7, .height = 3, .channels = 3, .units = 0};
  scitex.physicalWidth = 2.5;
  scitex.physicalHeight = 1e-3;
  scitex.unitsByte = 9;
  scitex.heightText = "+.1";
  expectSameFiles(write_scitex(path("api"), scitex));

  ASSERT_EQ(run("native OUT --width 5 --height 4 --channels 2 --mode 8 --resolution 150 "
                "--omit-resource 1018"),
            0)
      << err_.str();
  NativeOptions native{.channels = 2, .rows = 4, .columns = 5, .mode = 8};
  native.horizontalResolution = 150 << 16;
  native.omitResources = {1018};
  expectSameFiles(write_native(path("api"), native));
}

// The corner of a sparse file is what the dense file holds there; the file
// takes a fraction of the dense one's disk.
TEST_F(SampleCommand, SparseBigTIFFKeepsOnlyTheCornerAndTheDirectory) {
  const std::string options =
      " --width 3000 --height 2000 --samples 3 --photometric 2 --bigtiff "
      "--tiles 128x128";
  ASSERT_EQ(run("tiff OUT" + options + " --sparse"), 0) << err_.str();
  std::filesystem::rename(path("out"), path("sparse"));
  ASSERT_EQ(run("tiff OUT" + options), 0) << err_.str();
  const std::vector<UInt8> dense = read_file(path("out")), sparse = read_file(path("sparse"));
  ASSERT_EQ(sparse.size(), dense.size());
  // 24 x 16 tiles follow the header and the directory.
  const std::size_t tileBytes = 128 * 128 * 3, pixelStart = dense.size() - 24 * 16 * tileBytes;
  const auto lastTile = dense.size() - tileBytes;
  EXPECT_TRUE(std::equal(dense.begin(), dense.begin() + pixelStart, sparse.begin()));
  EXPECT_TRUE(std::all_of(sparse.begin() + pixelStart, sparse.begin() + lastTile,
                          [](UInt8 byte) { return byte == 0; }));
  EXPECT_TRUE(std::equal(dense.begin() + lastTile, dense.end(), sparse.begin() + lastTile));
  struct stat info {};
  ASSERT_EQ(::stat(path("sparse").c_str(), &info), 0);
  EXPECT_LT(UInt64(info.st_blocks) * 512, dense.size() / 4);
}

TEST_F(SampleCommand, SidesReachTheLargestSignedThirtyTwoBitNumber) {
  EXPECT_EQ(run("tiff OUT --width 2147483647 --height 1 --sparse-box 0,0,0,0"), 0) << err_.str();
  const std::uintmax_t size = std::filesystem::file_size(path("out"));
  EXPECT_GT(size, 2147483647u);
  EXPECT_LT(size, 2147483647u + 512) << "the pixels and a small directory";
  std::filesystem::remove(path("out"));
  EXPECT_EQ(run("tiff OUT --width 2147483648 --height 1 --sparse-box 0,0,0,0"), 1);
  EXPECT_EQ(run("scitex OUT --width 4 --height 2147483648"), 1);
}

TEST_F(SampleCommand, BadOptionsFailWithAMessageAndNoFile) {
  for (const char* line :
       {"", "tiff", "jpeg OUT --width 4 --height 4", "tiff OUT --width 4",
        "tiff OUT --width 4x --height 4", "tiff OUT --width 0 --height 4",
        "tiff OUT --width 4 --height 4 --tiles 16", "tiff OUT --width 4 --height 4 --channels 3",
        "tiff OUT --width 4 --height 4 --seed", "scitex OUT --width 4 --height 4 --channels 17",
        "native OUT --width 40000 --height 4"}) {
    EXPECT_EQ(run(line), 1) << line;
    EXPECT_EQ(err_.str().rfind("tessel-sample: ", 0), 0u) << err_.str();
    EXPECT_FALSE(std::filesystem::exists(path("out"))) << line;
  }
  EXPECT_EQ(run("tiff " + path("none/x.tif").string() + " --width 4 --height 4"), 1);
  EXPECT_NE(err_.str().find("cannot write"), std::string::npos) << err_.str();
}

TEST_F(SampleCommand, HelpListsTheOptionsOfEveryFormat) {
  EXPECT_EQ(run("--help"), 0);
  for (const char* option :
       {"--rows-per-strip", "--little-endian", "--planar", "--color-map", "--channels-byte",
        "--height-text", "--no-resource-fork", "--bigtiff", "--sparse", "--sparse-box"}) {
    EXPECT_NE(out_.str().find(option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace tessel::samples
