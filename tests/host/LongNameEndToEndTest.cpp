// An image whose name is 200 bytes of UTF-8, far more than a file identity
// holds, through every command of the real program.
#include <gtest/gtest.h>

#include <tuple>

#include "MacErrors.h"
#include "ProgramTestSupport.h"
#include "TagFields.h"
#include "Utf8.h"
#include "host/Document.h"
#include "tools/samples/SampleImages.h"

namespace tessel::host {
namespace {

namespace fs = std::filesystem;
using samples::sample_value;
using testing::ProgramRun;

class LongNameEndToEnd : public testing::ProgramTest {
 protected:
  void SetUp() override {
    ProgramTest::SetUp();
    ASSERT_EQ(kName.size(), 200u);
    ASSERT_EQ(
        samples::write_tiff(
            path(kName),
            {.width = 64, .height = 48, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 5}),
        noErr);
    write_text("ok.txt", "");
  }

  // The name as one shell word.
  std::string quoted() const { return "'" + kName + "'"; }

  int run(const std::string& command) {
    return std::system(("cd " + root_.string() + " && timeout -k 5 60 " + command).c_str());
  }

  // Every sample of the image is the sample writer's, inverted inside rect.
  std::size_t samples_off(const VRect& rect) {
    return testing::samples_differing(path(kName), [&](SInt32 r, SInt32 c, SInt32 p) {
      const UInt8 flip = testing::inside(rect, r, c) ? 0xFF : 0;
      return UInt8(sample_value(0, r, c, p) ^ flip);
    });
  }

  const std::string kName = "scan \u00e9t\u00e9 " + testing::utf8_name(189, "\u753b\u00e9");
};

TEST_F(LongNameEndToEnd, InfoSelectExtractAndExportTakeTheName) {
  ProgramRun info = tessel("info " + quoted());
  EXPECT_EQ(info.status, 0) << info.err;
  ProgramRun select = tessel("select " + quoted() + " --script ok.txt");
  EXPECT_EQ(select.status, 0) << select.err;
  EXPECT_EQ(select.out, "0,0,48,64\n");
  ProgramRun extract = tessel("extract " + quoted() + " --rect 2,3,12,19 -o cut.tif");
  ASSERT_EQ(extract.status, 0) << extract.err << extract.alerts;
  Expected<Document> cut = read_document(path("cut.tif"));
  ASSERT_TRUE(cut);
  EXPECT_EQ(std::tuple(cut->rows, cut->columns), std::tuple(10, 16));

  for (UInt8& sample : cut->pixels) sample = UInt8(~sample);
  ASSERT_EQ(write_document(path("cut.tif"), *cut), noErr);
  ProgramRun exported = tessel("export cut.tif");
  ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
  EXPECT_EQ(samples_off(VRect{2, 3, 12, 19}), 0u);
}

// Acquire names the document after its title (the name's start, cut between
// characters, and the corners, in 31 bytes) and tags it with the full name;
// the document, re-saved by another program that drops the private tag,
// still finds its image through the sidecar and writes back into it.
TEST_F(LongNameEndToEnd, AcquireTitlesAndTagsTheNameAndExportFindsTheImageAgain) {
  ProgramRun acquire = tessel("acquire " + quoted() + " --script ok.txt");
  ASSERT_EQ(acquire.status, 0) << acquire.err << acquire.alerts;
  std::vector<std::string> made;
  for (const auto& entry : fs::directory_iterator(root_)) {
    const std::string name = entry.path().filename().string();
    if (name.ends_with("(64,48).tif")) made.push_back(name);
  }
  ASSERT_EQ(made.size(), 1u);
  const std::string title = made[0].substr(0, made[0].size() - 4);
  EXPECT_LE(title.size(), 31u);
  EXPECT_EQ(platform::decode_utf8(title).find(platform::kReplacementCharacter),
            std::u32string::npos);
  EXPECT_EQ(title.substr(0, 10), kName.substr(0, 10));
  fs::rename(path(made[0]), path("doc.tif"));
  fs::rename(path(made[0] + ".tessel"), path("doc.tif.tessel"));

  Expected<Document> document = read_document(path("doc.tif"));
  ASSERT_TRUE(document);
  ASSERT_EQ(document->resources.size(), 1u);
  const testing::TagFields tag = testing::tag_fields(document->resources[0].data);
  EXPECT_EQ(std::tuple(tag.version, tag.name, tag.width, tag.height),
            std::tuple(6u, kName, 64, 48));

  for (UInt8& sample : document->pixels) sample = UInt8(~sample);
  ASSERT_EQ(write_document(path("doc.tif"), *document), noErr);
  ASSERT_EQ(run("convert doc.tif -strip -compress lzw doc.tif"), 0);
  ASSERT_EQ(run("/usr/bin/python3 -c \"import sys, tifffile; "
                "sys.exit(34377 in tifffile.TiffFile('doc.tif').pages[0].tags)\""),
            0)
      << "the other program kept the private tag";

  ProgramRun exported = tessel("export doc.tif");
  ASSERT_EQ(exported.status, 0) << exported.err << exported.alerts;
  EXPECT_EQ(samples_off(tag.rect), 0u);
}

}  // namespace
}  // namespace tessel::host
