// tessel info end to end: files from the sample writer, tiffcp and
// ImageMagick, each report read in words and in JSON.
#include <gtest/gtest.h>

#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

using testing::ProgramRun;

class InfoEndToEnd : public testing::ProgramTest {
 protected:
  // Runs a program that is not ours in the scratch folder; false when it failed.
  bool run_in_folder(const std::string& command) {
    const std::string line = "cd '" + root_.string() + "' && timeout -k 5 30 " + command;
    return std::system(line.c_str()) == 0;
  }

  struct Case {
    std::string name;
    std::vector<std::string> lines;     // each matches somewhere in the plain report
    std::vector<std::string> json;      // each matches somewhere in the JSON report
    std::vector<std::string> absent{};  // never in the plain report
  };

  void expect_reports(const Case& c) {
    SCOPED_TRACE(c.name);
    const ProgramRun text = tessel("info " + c.name);
    EXPECT_EQ(text.status, 0) << text.err;
    for (const std::string& line : c.lines)
      EXPECT_TRUE(std::regex_search(text.out, std::regex(line))) << line << "\n" << text.out;
    for (const std::string& line : c.absent)
      EXPECT_FALSE(std::regex_search(text.out, std::regex(line))) << line << "\n" << text.out;
    const ProgramRun json = tessel("info " + c.name + " --json");
    EXPECT_EQ(json.status, 0) << json.err;
    for (const std::string& field : c.json)
      EXPECT_TRUE(std::regex_search(json.out, std::regex(field))) << field << "\n" << json.out;
  }
};

TEST_F(InfoEndToEnd, SaysFormatOrderCompressionColourBlocksAndWriteBackInWords) {
  ASSERT_EQ(samples::write_tiff(path("rgb.tif"),
                                {.samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 8}),
            noErr);
  ASSERT_EQ(samples::write_tiff(path("lzw.tif"), {.littleEndian = true, .compression = 5}), noErr);
  ASSERT_EQ(samples::write_tiff(path("big.tif"), {.littleEndian = true, .bigTiff = true}), noErr);
  ASSERT_EQ(samples::write_tiff(path("bare.tif"), {.xResolution = std::nullopt,
                                                   .yResolution = std::nullopt,
                                                   .resolutionUnit = std::nullopt}),
            noErr);
  ASSERT_EQ(samples::write_tiff(path("gray16.tif"), {.bitsPerSample = 16}), noErr);
  ASSERT_EQ(samples::write_scitex(path("cmyk.sct"), {}), noErr);
  ASSERT_EQ(samples::write_native(path("gray.lmn"), {}), noErr);
  ASSERT_EQ(samples::write_tiff(path("planes.tif"), {.samplesPerPixel = 3,
                                                     .photometric = 2,
                                                     .planarConfiguration = 2,
                                                     .tiles = samples::TiffTiles{32, 16}}),
            noErr);
  write_file("junk.tif", {'M', 'M', 0, 42, 0, 0, 0, 200});
  ASSERT_TRUE(run_in_folder("tiffcp -t -w 16 -l 16 rgb.tif tiled.tif"));
  ASSERT_TRUE(run_in_folder("tiffcp -c packbits rgb.tif packed.tif"));
  const std::string takes =
      "\"acquire\": \\{\"code\": 0, \"message\": \"\", \"writeBack\": true\\}";
  std::vector<Case> cases = {
      {"rgb.tif",
       {"^format +TIFF\n", "\nbyte order +big-endian \\(MM\\)\n", "\ncompression +none\n",
        "\nphotometric +RGB\n", "\nstrips +6, each 64 x 8 pixels\n",
        "\nexport +could write it back\n"},
       {"\"format\": \"TIFF\", \"mode\": 3, .*\"width\": 64, \"height\": 48, \"channels\": 3, "
        ".*\"planar\": false.*\"formatName\": \"TIFF\"",
        "\"resolutionStored\": true",
        "\"compressionName\": \"none\", \"photometric\": 2, \"photometricName\": \"RGB\", "
        "\"byteOrder\": \"MM\"",
        takes, "\"export\": \\{\"code\": 0,"}},
      {"lzw.tif",
       {"\nbyte order +little-endian \\(II\\)\n", "\ncompression +LZW\n",
        "\nphotometric +min-is-black\n", "\nacquire +refuses it with code 115",
        "\nexport +could not write it back, as acquire refuses it\n"},
       {"\"compressionName\": \"LZW\"", "\"byteOrder\": \"II\"",
        "\"acquire\": \\{\"code\": 115, \"message\": \"[^\"]+\", \"writeBack\": false\\}",
        "\"export\": \\{\"code\": 115, \"message\": \"[^\"]+\"\\}"}},
      {"packed.tif",
       {"\ncompression +PackBits\n", "\nexport +could not write it back"},
       {"\"compression\": 32773, \"compressionName\": \"PackBits\"", "\"writeBack\": false"}},
      {"tiled.tif",
       {"\ntiles +12, each 16 x 16 pixels\n", "\nacquire +takes it\n"},
       {"\"tiled\": true",
        "\"blocks\": \\{\"width\": 16, \"height\": 16, \"across\": 4, "
        "\"down\": 3"}},
      // 64 x 48 in tiles of 32 x 16: two across, three down; each plane apart.
      {"planes.tif",
       {"\ntiles +6, each 32 x 16 pixels\nplanes +3, .*\nacquire +takes it"},
       {"\"tiled\": true, \"bigTIFF\": false\\}, \"blocks\": \\{\"width\": 32, \"height\": 16, "
        "\"across\": 2, \"down\": 3, \"planeGroups\": 3\\}"}},
      {"big.tif",
       {"^format +BigTIFF\n", "\noffsets +8 bytes \\(BigTIFF\\)\n"},
       {"\"format\": \"TIFF\", .*\"formatName\": \"BigTIFF\"", "\"bigTIFF\": true", takes}},
      {"bare.tif",
       {"\nresolution +no resolution stored\n"},
       {"\"resolution\": \\[0, 0\\], .*\"resolutionStored\": false"},
       {"0 x 0"}},
      {"gray16.tif",
       {"\nmode +grayscale, 16 bits", "\nacquire +refuses it",
        "\nexport +could not write it back, as acquire refuses it\n"},
       {"\"writeBack\": false", "\"export\": \\{\"code\": [1-9]"}},
      {"cmyk.sct",
       {"^format +Scitex CT\n", "\ncompression +none\n", "\nexport +could write it back\n"},
       {"\"format\": \"..CT\", \"mode\": 4, .*\"channels\": 4, \"resolution\": \\[300, 300\\], "
        "\"planar\": false.*\"formatName\": \"Scitex CT\"",
        "\"compressionName\": \"none\"", takes},
       {"byte order", "photometric", "strips"}},
      {"gray.lmn",
       {"^format +native\n", "\nlayout +one plane per channel\n"},
       {"\"format\": \"LUMN\", \"mode\": 1, .*\"planar\": true.*\"formatName\": \"native\"", takes},
       {"byte order", "strips"}},
  };
  if (run_in_folder("convert -size 40x30 xc:cyan -colorspace CMYK -depth 8 -compress none "
                    "magick.tif")) {
    cases.push_back({"magick.tif",
                     {"\nphotometric +CMYK\n", "\nbyte order +little-endian \\(II\\)\n"},
                     {"\"photometric\": 5, \"photometricName\": \"CMYK\""}});
  }
  for (const Case& c : cases) expect_reports(c);
  EXPECT_EQ(tessel("info junk.tif").status, 1);
}

}  // namespace
}  // namespace tessel::host
