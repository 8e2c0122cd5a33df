#include <sys/stat.h>

#include <sstream>
#include <tuple>

#include "PluginTestSupport.h"
#include "TextUtils.h"
#include "Utf8.h"
#include "formats/FormatTestSupport.h"
#include "formats/TIFFBuilder.h"
#include "records/ResultCodes.h"
#include "support/MemoryUtilities.h"
#include "tools/samples/SampleImages.h"

namespace tessel::testing {
namespace {

namespace fs = std::filesystem;
using samples::sample_value;

constexpr UInt32 kSeed = 11;

bool shows_code(const std::vector<std::string>& alerts, int code) {
  const std::string mark = "(code " + std::to_string(code) + ")";
  return alerts.size() == 1 && alerts[0].ends_with(mark);
}

class AcquireDriver : public PluginTest {
 protected:
  void TearDown() override {
    for (SInt16 fork : forks_) CloseResFile(fork);
    PluginTest::TearDown();
  }
  FakeAcquireHost& host() { return host_; }

  fs::path write_tiff(const std::string& name, samples::TiffOptions options) {
    options.seed = kSeed;
    fs::path file = path(name);
    EXPECT_EQ(samples::write_tiff(file, options), 0);
    return file;
  }

  // Puts a fork of resources on top of the resource chain.
  void open_fork(const std::string& name, platform::resources::ResourceFork fork) {
    auto bytes = platform::resources::serialize_fork(fork);
    ASSERT_TRUE(bytes.has_value());
    fs::path file = write_file(name, {});
    ASSERT_EQ(platform::appledouble::write_resource_fork(file, *bytes), 0);
    FSSpec spec = spec_of(name);
    forks_.push_back(FSpOpenResFile(&spec, fsRdPerm));
    ASSERT_GT(forks_.back(), 0);
  }

  // The module's own resources (the selection dialog among them) on top.
  void open_module_resources() {
    auto spec = platform::files::spec_from_path(TESSEL_MODULE_FILE);
    ASSERT_TRUE(spec.has_value());
    SInt16 fork = FSpOpenResFile(&*spec, fsRdPerm);
    if (fork <= 0) GTEST_SKIP() << "the module's resources are not built";
    forks_.push_back(fork);
  }

  // A run armed by prepare whose start has opened file and chosen rect, as
  // the selection dialog would leave it.
  void start_with_selection(FakeAcquireHost& host, const fs::path& file, VRect rect) {
    ASSERT_EQ(host.call(kSelectorPrepare), 0);
    AcquireGlobals* globals = host.globals();
    ASSERT_EQ(AllocateMemory(SInt32(sizeof(SourceImage)), &globals->sourceImage), 0);
    SourceImage* image = globals->sourceImage;
    image->fileSpec = *platform::files::spec_from_path(file);
    ASSERT_EQ(RasterFormatOpen(image), 0);
    image->selection = rect;
    image->selectionWidth = rect.right - rect.left;
    image->selectionHeight = rect.bottom - rect.top;
    Set(host.params, kAcquireDocumentRows, image->selectionHeight);
    Set(host.params, kAcquireDocumentColumns, image->selectionWidth);
    Set(host.params, kAcquireImagePlanes, image->channels);
    globals->progressTotal = image->channels * image->selectionHeight;
  }

  // Every sample the host took in is the file's sample in rect.
  void expect_rectangle(VRect rect, SInt32 planes) { expect_rectangle_of(host(), rect, planes); }

  static void expect_rectangle_of(const FakeAcquireHost& host, VRect rect, SInt32 planes) {
    const SInt32 width = rect.right - rect.left;
    std::size_t wrong = 0;
    for (SInt32 r = rect.top; r < rect.bottom; ++r)
      for (SInt32 c = rect.left; c < rect.right; ++c)
        for (SInt32 p = 0; p < planes; ++p)
          wrong +=
              host.pixels[std::size_t(((r - rect.top) * width + c - rect.left) * planes + p)] !=
              sample_value(kSeed, r, c, p);
    EXPECT_EQ(wrong, 0u);
  }

  // The strips as the host took them: rows x columns, planes, then the
  // column, plane and row steps.
  std::string strips_text() const {
    std::ostringstream out;
    for (const auto& s : host_.strips)
      out << s.rect.top << '-' << s.rect.bottom << 'x' << s.rect.left << '-' << s.rect.right << " p"
          << s.firstPlane << '-' << s.lastPlane << " steps " << s.columnStep << '/' << s.planeStep
          << '/' << s.rowStep << "; ";
    return out.str();
  }

 private:
  FakeAcquireHost host_;
  std::vector<SInt16> forks_;
};

// ---------------------------------------------------------------------------
// Refusals at start

TEST_F(AcquireDriver, StartRefusesWhatTheHostCannotTakeInItsOrder) {
  struct Case {
    const char* name;
    samples::TiffOptions options;
    OSErr code;
  };
  const std::vector<Case> cases = {
      // The RGB depth test comes before the general one.
      {"rgb16.tif",
       {.samplesPerPixel = 3, .bitsPerSample = 16, .photometric = 2},
       kModeElevenOrRGB16},
      {"gray4.tif", {.bitsPerSample = 4}, kDepthNotEight},
      // Compression is told before the planar layout.
      {"packed.tif",
       {.samplesPerPixel = 4, .photometric = 5, .compression = 32773, .planarConfiguration = 2},
       kTIFFCompressed},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::path file = write_tiff(c.name, c.options);
    platform::standard_file::preselect(file);
    fs::remove(path("alerts.log"));
    FakeAcquireHost fresh;

    EXPECT_EQ(fresh.run(), c.code);

    EXPECT_TRUE(shows_code(alerts(), c.code));
    EXPECT_EQ(fresh.globals()->sourceImage, nullptr);
    EXPECT_TRUE(fresh.tags.empty());
    EXPECT_TRUE(fresh.bufferRequests.empty());
  }
}

// Files the format layer opens but acquire cannot read right: refused at
// start, before the selection dialog (whose resources this fixture lacks, so
// that reaching it would end the run with another code).
TEST_F(AcquireDriver, StartRefusesCutShortFilesBeforeTheDialog) {
  auto cut = [&](const fs::path& file) {
    fs::resize_file(file, fs::file_size(file) - 1);
    return file;
  };
  ASSERT_EQ(samples::write_scitex(path("cut.sct"), {}), 0);
  ASSERT_EQ(samples::write_native(path("cut.lmn"), {.channels = 3, .mode = 3}), 0);
  const std::vector<std::pair<fs::path, OSErr>> cases = {
      {cut(write_tiff("cut.tif", {.rowsPerStrip = 7})), eofErr},
      {cut(write_tiff("cut-rgb.tif", {.samplesPerPixel = 3, .photometric = 2})), eofErr},
      {cut(path("cut.sct")), eofErr},
      {cut(path("cut.lmn")), eofErr},
  };
  for (const auto& [file, code] : cases) {
    SCOPED_TRACE(file.filename().string());
    platform::standard_file::preselect(file);
    fs::remove(path("alerts.log"));
    FakeAcquireHost fresh;

    // A platform error is reported, then answered as a failure of its own.
    EXPECT_EQ(fresh.run(), code > 0 ? code : 1);

    EXPECT_TRUE(shows_code(alerts(), code));
    EXPECT_EQ(fresh.globals()->sourceImage, nullptr);
    EXPECT_TRUE(fresh.tags.empty());
    EXPECT_TRUE(fresh.bufferRequests.empty());
  }
}

// ---------------------------------------------------------------------------
// Whole runs through the selection dialog, confirmed at once

class AcquireWithDialog : public AcquireDriver {
 protected:
  void SetUp() override {
    AcquireDriver::SetUp();
    open_module_resources();
  }

  // A full run of file; the rectangle the tag names.
  VRect acquire(const fs::path& file) {
    platform::standard_file::preselect(file);
    EXPECT_EQ(host().run(), 0);
    if (host().tags.size() != 1) {
      ADD_FAILURE() << "tags: " << host().tags.size();
      return {};
    }
    return tag_fields(host().tag_bytes()).rect;
  }
};

TEST_F(AcquireWithDialog, AFolderThatMayNotChangeIsWarnedOnceAndTheRunGoesOn) {
  fs::create_directories(path("shelf"));
  fs::path file =
      write_tiff("shelf/image.tif", {.samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 5});
  chmod(path("shelf").c_str(), 0555);

  VRect rect = acquire(file);

  EXPECT_TRUE(shows_code(alerts(), kCannotWriteBack)) << alerts().size();
  EXPECT_EQ(host().rows(), rect.bottom - rect.top);
  EXPECT_EQ(host().columns(), rect.right - rect.left);
  expect_rectangle(rect, 3);
  EXPECT_FALSE(host().bufferLent);
  EXPECT_EQ(host().globals()->sourceImage, nullptr);
}

TEST_F(AcquireWithDialog, ALockedFileInAWritableFolderIsTakenSilently) {
  fs::path file = write_tiff("image.tif", {.rowsPerStrip = 3});
  chmod(file.c_str(), 0444);

  VRect rect = acquire(file);

  EXPECT_TRUE(alerts().empty());
  EXPECT_EQ(Get(host().params, kAcquireImageMode), kGrayscaleMode);
  EXPECT_EQ(Get(host().params, kAcquireImageDepth), 8);
  // 72 pixels per inch in 16.16.
  EXPECT_EQ(Get(host().params, kAcquireHorizontalResolution), 72 << 16);
  EXPECT_EQ(Get(host().params, kAcquireVerticalResolution), 72 << 16);
  expect_rectangle(rect, 1);
}

// ---------------------------------------------------------------------------
// Strips

TEST_F(AcquireDriver, RowsArePaddedToFourBytes) {
  fs::path file = write_tiff(
      "wide.tif",
      {.width = 120, .height = 20, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 7});
  for (SInt16 width : {SInt16(100), SInt16(101)}) {
    FakeAcquireHost fresh;
    start_with_selection(fresh, file, VRect{2, 5, 12, 5 + width});
    ASSERT_EQ(fresh.take_strips(), 0);
    ASSERT_EQ(fresh.bufferRequests.size(), 1u);
    EXPECT_EQ(fresh.bufferRequests[0], width == 100 ? 300 : 304);
    EXPECT_EQ(fresh.call(kSelectorFinish), 0);
  }
}

// Rows 13 to 23 of a 40 x 30 image in bands of the 4 rows the host grants,
// each row padded to 4 bytes: 21 x 3 bytes when chunky, 21 when planar.
TEST_F(AcquireDriver, InterleavedStripsComeInTheRowsTheHostGrantsThenTheEnd) {
  fs::path file = write_tiff(
      "rgb.tif",
      {.width = 40, .height = 30, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 6});
  const VRect rect{13, 9, 23, 30};
  start_with_selection(host(), file, rect);

  ASSERT_EQ(host().take_strips(), 0);

  EXPECT_EQ(host().mostRowsAsked, 10);
  EXPECT_EQ(host().bufferRequests, std::vector<SInt32>{64});
  EXPECT_EQ(strips_text(),
            "0-4x0-21 p0-2 steps 3/1/64; 4-8x0-21 p0-2 steps 3/1/64; "
            "8-10x0-21 p0-2 steps 3/1/64; ");
  expect_rectangle(rect, 3);
  EXPECT_EQ(std::pair(host().lastDone, host().lastTotal), std::pair(30, 30));

  EXPECT_EQ(host().call(kSelectorFinish), 0);
  ASSERT_EQ(host().tags.size(), 1u);
  const TagFields tag = tag_fields(host().tag_bytes());
  EXPECT_EQ(std::tuple(tag.version, tag.rect.top, tag.rect.left, tag.rect.bottom, tag.rect.right,
                       tag.width, tag.height, tag.name),
            std::tuple(6u, 13, 9, 23, 30, 40, 30, std::string("rgb.tif")));
  EXPECT_FALSE(host().bufferLent);
}

TEST_F(AcquireDriver, PlanarStripsComePlaneByPlane) {
  fs::path file = path("image.lmn");
  ASSERT_EQ(samples::write_native(
                file, {.channels = 3, .rows = 30, .columns = 40, .mode = 3, .seed = kSeed}),
            0);
  const VRect rect{13, 9, 23, 30};
  start_with_selection(host(), file, rect);

  ASSERT_EQ(host().take_strips(), 0);

  std::string expected;
  for (const char* p : {"0-0", "1-1", "2-2"})
    for (const char* rows : {"0-4", "4-8", "8-10"})
      expected += std::string(rows) + "x0-21 p" + p + " steps 1/0/24; ";
  EXPECT_EQ(strips_text(), expected);
  expect_rectangle(rect, 3);
  EXPECT_EQ(host().lastDone, 30);
  EXPECT_EQ(host().call(kSelectorFinish), 0);
}

// Tiles and planes are read where they lie; a planar TIFF comes plane by
// plane as a native file does, a chunky tiled one interleaved.
TEST_F(AcquireDriver, TiledAndPlanarTIFFsGiveTheRectangle) {
  struct Case {
    const char* name;
    samples::TiffOptions options;
    bool planar;  // strips come one plane at a time
  };
  const samples::TiffOptions rgb{
      .width = 40, .height = 30, .samplesPerPixel = 3, .photometric = 2, .rowsPerStrip = 7};
  auto with = [&](auto change) {
    samples::TiffOptions options = rgb;
    change(options);
    return options;
  };
  const Case cases[] = {
      {"tiled.tif", with([](auto& o) {
         o.tiles = samples::TiffTiles{16, 8};
       }),
       false},
      {"planar.tif", with([](auto& o) { o.planarConfiguration = 2; }), true},
      {"both.tif", with([](auto& o) {
         o.planarConfiguration = 2;
         o.tiles = samples::TiffTiles{7, 5};
         o.littleEndian = true;
       }),
       true},
  };
  const VRect rect{3, 5, 27, 38};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    FakeAcquireHost fresh;
    start_with_selection(fresh, write_tiff(c.name, c.options), rect);
    ASSERT_EQ(fresh.take_strips(), 0);
    ASSERT_FALSE(fresh.strips.empty());
    EXPECT_EQ(fresh.strips[0].lastPlane - fresh.strips[0].firstPlane, c.planar ? 0 : 2);
    EXPECT_TRUE(alerts().empty());
    expect_rectangle_of(fresh, rect, 3);
    EXPECT_EQ(fresh.call(kSelectorFinish), 0);
  }
}

TEST_F(AcquireDriver, StoppingAtTheFirstContinueLeavesNoBufferAndNoTag) {
  fs::path file = write_tiff("gray.tif", {.rowsPerStrip = 4});
  start_with_selection(host(), file, VRect{0, 0, 10, 10});
  host().abortAtCall = 1;

  EXPECT_EQ(host().call(kSelectorContinue), kUserCancelled);
  EXPECT_TRUE(host().bufferRequests.empty());
  EXPECT_EQ(host().call(kSelectorFinish), 0);

  EXPECT_TRUE(alerts().empty());
  EXPECT_TRUE(host().tags.empty());
  EXPECT_EQ(host().globals()->sourceImage, nullptr);
}

// ---------------------------------------------------------------------------
// The title

class DocumentTitle : public AcquireDriver {
 protected:
  void SetUp() override {
    AcquireDriver::SetUp();
    // "\xC9" is the ellipsis in Mac Roman.
    open_fork("titles.rsrc", {0,
                              {{FourCC("STR#"), kDocumentTitleList, 0, "",
                                string_list({"^1 (^2,^3)-(^4,^5)", "\xC9"})}}});
  }

  std::string title(const std::string& fileName, VRect rect) {
    SourceImage image{};
    CopyCStringToPascal(fileName.c_str(), image.fileSpec.name);
    image.selection = rect;
    Str255 name;
    NameTheDocument(nullptr, &image, name);
    return std::string(reinterpret_cast<const char*>(name + 1), name[0]);
  }
};

TEST_F(DocumentTitle, ALongNameIsCutSoThatTheCornersFit) {
  EXPECT_EQ(title("short.tif", VRect{1, 2, 3, 4}), "short.tif (2,1)-(4,3)");

  // The mark, an ellipsis, takes three bytes in UTF-8.
  const std::string longName = std::string(36, 'a') + ".tif";
  EXPECT_EQ(title(longName, VRect{0, 0, 512, 512}),
            std::string(12, 'a') + "\u2026 (0,0)-(512,512)");

  // Corners this wide leave room for less than five bytes of the name:
  // five stay, and the title is cut at 31 with the mark.
  const std::string cut = title(longName, VRect{10000, 10000, 20000, 20000});
  EXPECT_EQ(cut, "aa\u2026 (10000,10000)-(20000,2\u2026");
}

// Names of two-, three- and four-byte characters, against corners of every
// width: the title fits 31 bytes, is whole UTF-8, and shows the start of
// the real name, the long ones' stand-ins notwithstanding.
TEST_F(DocumentTitle, UTF8NamesAreCutBetweenCharacters) {
  for (const char* character : {"\u00e9", "\u753b", "\U0001F600"}) {
    for (std::size_t bytes : {20u, 33u, 64u, 200u, 255u}) {
      const std::string name = utf8_name(bytes, character);
      write_file("names/" + name, {});
      for (SInt16 corner : {SInt16(1), SInt16(123), SInt16(30000)}) {
        SCOPED_TRACE(name + " " + std::to_string(corner));
        SourceImage image{};
        image.fileSpec = spec_of("names/" + name);
        image.selection = VRect{corner, corner, corner, corner};
        Str255 made;
        NameTheDocument(nullptr, &image, made);
        const std::string shown(reinterpret_cast<const char*>(made + 1), made[0]);
        EXPECT_LE(shown.size(), 31u);
        EXPECT_EQ(platform::decode_utf8(shown).find(platform::kReplacementCharacter),
                  std::u32string::npos);
        const std::size_t start = std::min(shown.find(" ("), shown.find("\u2026"));
        ASSERT_NE(start, std::string::npos);
        EXPECT_EQ(shown.substr(0, start), name.substr(0, start));
      }
    }
  }
}

// ---------------------------------------------------------------------------
// Images wider than 16 bits, and the limits that are left

// The alert of a limit's message: its index, with its two numbers.
std::string limit_alert(int index, const std::string& first, const std::string& second, int code) {
  return alert_line("message " + std::to_string(index) + " [" + first + "|" + second + "]", code);
}

class WideAcquire : public AcquireDriver {
 protected:
  void SetUp() override {
    AcquireDriver::SetUp();
    wide_ = write_tiff("wide.tif", kWide);
  }
  // A run of host on the wide image whose preset rectangle is rect.
  SInt16 acquire(FakeAcquireHost& host, VRect rect) {
    platform::standard_file::preselect(wide_);
    Set(host.params, kAcquirePresetSelection, rect);
    return host.run();
  }
  fs::path wide_;
  static constexpr samples::TiffOptions kWide{.width = 40000, .height = 8, .rowsPerStrip = 3};
  static constexpr VRect kPastSixteenBits{1, 3000, 6, 40000};  // 37000 columns
};

TEST_F(WideAcquire, AHostWithTheExtensionTakesColumnsPastSixteenBits) {
  host().grantRows = 2;
  ASSERT_EQ(acquire(host(), kPastSixteenBits), 0);
  EXPECT_EQ(host().columns(), 37000);
  EXPECT_EQ(host().rows(), 5);
  // The classic fields keep the low 16 bits, as they always have.
  EXPECT_EQ(Get(host().params, kAcquireImageColumns), SInt16(37000 - 65536));
  EXPECT_EQ(host().strips.back().rect.right, 37000);
  EXPECT_EQ(host().strips.back().rect.bottom, 5);
  expect_rectangle(kPastSixteenBits, 1);
  EXPECT_EQ(tag_fields(host().tag_bytes()).rect.right, 40000);
}

// Without the extension the area must fit in 16 bits a side; one that does
// not is refused with the limit and its size, before any buffer or tag.
TEST_F(WideAcquire, AHostWithoutTheExtensionIsToldItsLimitUnlessTheAreaFits) {
  Set(host().params, kAcquireBigDocuments, 0u);
  EXPECT_EQ(acquire(host(), kPastSixteenBits), kHostSideLimit);
  EXPECT_EQ(alerts(), std::vector<std::string>{limit_alert(34, "37,000", "5", kHostSideLimit)});
  EXPECT_TRUE(host().tags.empty());
  EXPECT_TRUE(host().bufferRequests.empty());
  EXPECT_EQ(host().globals()->sourceImage, nullptr);

  fs::remove(path("alerts.log"));
  FakeAcquireHost classic;
  Set(classic.params, kAcquireBigDocuments, 0u);
  const VRect farCorner{0, 39000, 8, 40000};
  ASSERT_EQ(acquire(classic, farCorner), 0);
  EXPECT_EQ(Get(classic.params, kAcquireImageColumns), 1000);
  EXPECT_EQ(Get(classic.params, kAcquireImageColumns32), 0) << "the host's bytes stay its own";
  expect_rectangle_of(classic, farCorner, 1);
}

TEST_F(WideAcquire, ARowTheHostCannotLendIsToldWithItsSize) {
  host().bufferAnswer = memFullErr;
  EXPECT_EQ(acquire(host(), VRect{0, 0, 8, 40000}), kRowBeyondMemory);
  EXPECT_EQ(alerts(),
            std::vector<std::string>{limit_alert(35, "40,000", "40,000", kRowBeyondMemory)});
  EXPECT_TRUE(host().tags.empty());
  EXPECT_EQ(host().mostRowsAsked, 8);
}

}  // namespace
}  // namespace tessel::testing
