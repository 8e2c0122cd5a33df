// The rastertool binary run as a user runs it, on sample files whose every
// sample the formula gives.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>

#include "MacErrors.h"
#include "TempFolder.h"
#include "tools/samples/SampleImages.h"

namespace tessel::samples {
namespace {

struct Outcome {
  int status = -1;
  std::string out, err;
};

// rastertool is built into the folder the test program runs from.
std::filesystem::path rastertool() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "rastertool";
}

class Rastertool : public testing::TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    ASSERT_TRUE(std::filesystem::exists(rastertool())) << rastertool() << " is not built";
  }

  Outcome run(const std::vector<std::string>& args) {
    std::string command = "'" + rastertool().string() + "'";
    for (const std::string& arg : args) command += " '" + arg + "'";
    command += " >'" + path("stdout").string() + "' 2>'" + path("stderr").string() + "'";
    int status = std::system(command.c_str());
    Outcome result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::vector<UInt8> out = read_file(path("stdout")), err = read_file(path("stderr"));
    result.out.assign(out.begin(), out.end());
    result.err.assign(err.begin(), err.end());
    return result;
  }

  std::string describe(const std::filesystem::path& file) {
    Outcome r = run({"describe", file.string()});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    return r.out;
  }

  std::filesystem::path rgb_tiff(bool little = false) {
    TiffOptions options{.width = 36, .height = 29, .samplesPerPixel = 3, .photometric = 2};
    options.littleEndian = little;
    options.rowsPerStrip = 5;
    options.xResolution = TiffRational{600, 2};
    options.yResolution = TiffRational{150, 1};
    options.seed = 4;
    EXPECT_EQ(write_tiff(path("rgb.tif"), options), noErr);
    return path("rgb.tif");
  }

  std::filesystem::path cmyk_scitex() {
    ScitexOptions options{.width = 21, .height = 13, .channels = 4, .pixelsPerInch = 200.0};
    options.seed = 6;
    EXPECT_EQ(write_scitex(path("plate.sct"), options), noErr);
    return path("plate.sct");
  }

  std::filesystem::path gray_native() {
    NativeOptions options{.channels = 2, .rows = 19, .columns = 23, .mode = 1};
    options.horizontalResolution = Fixed(72 << 16);
    options.seed = 8;
    EXPECT_EQ(write_native(path("native"), options), noErr);
    return path("native");
  }
};

// One line of JSON, the fields in the documented order.
TEST_F(Rastertool, DescribePrintsTheDocumentedFieldsOfEachFormat) {
  const std::string opened = R"({"result":0,"format":)";
  EXPECT_EQ(describe(rgb_tiff()),
            opened + R"("TIFF","mode":3,"depth":8,"planar":0,"width":36,"height":29,"channels":3,)"
                     R"("hres":300,"vres":150,"compression":1,"planarConfiguration":1,)"
                     R"("predictor":1,"fillOrder":1,"tiled":false,"bigTIFF":false})"
                     "\n");
  EXPECT_EQ(describe(cmyk_scitex()),
            opened + R"("..CT","mode":4,"depth":8,"planar":0,"width":21,"height":13,"channels":4,)"
                     R"("hres":200,"vres":200})"
                     "\n");
  EXPECT_EQ(describe(gray_native()),
            opened + R"("LUMN","mode":1,"depth":8,"planar":1,"width":23,"height":19,"channels":2,)"
                     R"("hres":72,"vres":72})"
                     "\n");
}

TEST_F(Rastertool, ReadWritesTheRectanglesSamplesInterleaved) {
  struct Case {
    std::filesystem::path file;
    UInt32 seed;
    SInt32 channels;
  };
  for (const Case& c :
       {Case{rgb_tiff(true), 4, 3}, Case{cmyk_scitex(), 6, 4}, Case{gray_native(), 8, 2}}) {
    SCOPED_TRACE(c.file.filename().string());
    Outcome r = run({"read", c.file.string(), "3,2,12,20", path("out").string()});
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<UInt8> expected;
    for (SInt32 row = 3; row < 12; ++row)
      for (SInt32 column = 2; column < 20; ++column)
        for (SInt32 plane = 0; plane < c.channels; ++plane)
          expected.push_back(sample_value(c.seed, row, column, plane));
    EXPECT_EQ(read_file(path("out")), expected);
  }
}

TEST_F(Rastertool, WriteChangesThatRectangleAndNothingElse) {
  std::filesystem::path file = rgb_tiff();
  std::vector<UInt8> before = read_file(file);
  std::vector<UInt8> samples(4 * 6 * 3);
  std::mt19937 random(1);
  for (UInt8& sample : samples) sample = UInt8(random());
  write_file("in", samples);
  Outcome r = run({"write", file.string(), "8,30,12,36", path("in").string()});
  ASSERT_EQ(r.status, 0) << r.err;

  // The directory comes first; strips of 5 rows of 108 bytes follow it.
  std::vector<UInt8> expected = before;
  const std::size_t firstStrip = before.size() - 29 * 108;
  std::size_t i = 0;
  for (std::size_t row = 8; row < 12; ++row)
    for (std::size_t column = 30; column < 36; ++column)
      for (std::size_t plane = 0; plane < 3; ++plane)
        expected[firstStrip + row * 108 + column * 3 + plane] = samples[i++];
  ASSERT_EQ(before[firstStrip], sample_value(4, 0, 0, 0)) << "the layout assumed here";
  EXPECT_EQ(read_file(file), expected);
}

TEST_F(Rastertool, FailuresExitWith1AndTheResultCode) {
  std::filesystem::path file = rgb_tiff();
  std::vector<UInt8> before = read_file(file);
  write_file("bad.tif", {'I', 'M', 0, 42, 0, 0, 0, 8});
  write_file("short", std::vector<UInt8>(5));
  struct Case {
    std::vector<std::string> args;
    std::string code;
  };
  const Case cases[] = {
      {{"describe", path("bad.tif").string()}, "(result 300)"},
      {{"read", path("bad.tif").string(), "0,0,1,1", path("out").string()}, "(result 300)"},
      {{"describe", path("gone.tif").string()}, "(result -43)"},
      {{"read", path("notes.txt").string(), "0,0,1,1", path("out").string()}, "(result 498)"},
      {{"read", file.string(), "0,0,30,1", path("out").string()}, "(result -50)"},
      {{"read", file.string(), "0,0,1", path("out").string()}, "(result -50)"},
      {{"write", file.string(), "0,0,1,2", path("short").string()}, "(result -39)"},
      {{"write", file.string(), "0,0,1,1", path("short").string()}, "(result -50)"},
  };
  write_file("notes.txt", {'h', 'i'});
  for (const Case& c : cases) {
    Outcome r = run(c.args);
    EXPECT_EQ(r.status, 1) << c.args[0] << ' ' << c.args[1];
    EXPECT_NE(r.err.find(c.code), std::string::npos) << r.err;
  }
  EXPECT_EQ(read_file(file), before) << "a refused write leaves the file alone";
}

}  // namespace
}  // namespace tessel::samples
