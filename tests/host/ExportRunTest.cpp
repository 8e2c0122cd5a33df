#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>

#include "FaultyFileSystem.h"
#include "Files.h"
#include "HostCallbacks.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "References.h"
#include "TempFolder.h"
#include "host/Document.h"
#include "host/ExportRun.h"
#include "host/HostServices.h"

namespace tessel::host {
namespace {

constexpr ResType kPart = FourCC("part");

// A stand-in for the export entry point: asks for bands of bandRows rows
// (all planes, or one plane at a time), copies what it is handed into a
// picture of the document, and lets a test hook into each phase.
struct FakePlugin {
  SInt16 bandRows = 2;
  bool planar = false;
  SInt16 startResult = noErr;
  int failAtBand = -1;
  bool clearModified = true;
  std::function<void(const HostResourceProcs*)> atStart{};
  std::function<void()> atFinish{};

  std::vector<SInt16> selectors{};
  PixelBytes received{};  // the document as the plug-in saw it
  std::vector<const UInt8*> pointers{};
  std::vector<SInt32> rowSteps{};
  int bandsWritten = 0;
  SInt32 rows = 0, columns = 0;
  SInt16 planes = 0;
  SInt32 row = 0;
  SInt16 plane = 0;
};

FakePlugin* fake = nullptr;

void request_next(ExportParams& params) {
  FakePlugin& f = *fake;
  if (f.plane >= f.planes) {
    Set(params, kExportRequestedRect, VRect{0, 0, 0, 0});
    return;
  }
  const SInt32 bottom = std::min<SInt32>(f.row + f.bandRows, f.rows);
  Set(params, kExportRequestedRect, VRect{f.row, 0, bottom, f.columns});
  Set(params, kExportFirstPlane, f.planar ? f.plane : SInt16(0));
  Set(params, kExportLastPlane, f.planar ? f.plane : SInt16(f.planes - 1));
}

void take_band(const ExportParams& params) {
  FakePlugin& f = *fake;
  const VRect rect = Get(params, kExportRequestedRect);
  const auto* data = ReferencePointerAs<const UInt8>(Get(params, kExportDataPointer));
  const SInt32 rowStep = Get(params, kExportRowStep);
  f.pointers.push_back(data);
  f.rowSteps.push_back(rowStep);
  const SInt16 first = Get(params, kExportFirstPlane), last = Get(params, kExportLastPlane);
  for (SInt32 r = rect.top; r < rect.bottom; ++r) {
    for (SInt32 c = rect.left; c < rect.right; ++c) {
      for (SInt16 p = first; p <= last; ++p) {
        f.received[(std::size_t(r) * std::size_t(f.columns) + std::size_t(c)) *
                       std::size_t(f.planes) +
                   std::size_t(p)] =
            data[(r - rect.top) * rowStep + (c - rect.left) * (last - first + 1) + (p - first)];
      }
    }
  }
  ++f.bandsWritten;
  f.row = rect.bottom;
  if (f.row >= f.rows) {
    f.row = 0;
    f.plane = SInt16(f.plane + (f.planar ? 1 : f.planes));
  }
}

SInt16 fake_continue(ExportParams& params) {
  FakePlugin& f = *fake;
  if (ReferenceProcAs<TestAbortProc>(Get(params, kExportTestAbort))() != 0) return kUserCancelled;
  if (f.bandsWritten == f.failAtBand) return 1;
  take_band(params);
  request_next(params);
  return noErr;
}

void fake_entry(SInt16 selector, ExportParams* params, PluginDataSlot*, SInt16* result) {
  FakePlugin& f = *fake;
  f.selectors.push_back(selector);
  *result = noErr;
  if (selector == kSelectorPrepare) {
    f.rows = Get(*params, kExportDocumentRows);
    f.columns = Get(*params, kExportDocumentColumns);
    f.planes = Get(*params, kExportImagePlanes);
    f.received.assign(std::size_t(f.rows) * std::size_t(f.columns) * std::size_t(f.planes), 0);
  } else if (selector == kSelectorStart) {
    if (f.atStart)
      f.atStart(ReferencePointerAs<HostResourceProcs>(Get(*params, kExportResourceProcs)));
    *result = f.startResult;
    if (*result == noErr) request_next(*params);
  } else if (selector == kSelectorContinue) {
    *result = fake_continue(*params);
  } else if (selector == kSelectorFinish) {
    if (f.clearModified) Set(*params, kExportModifiedFlag, UInt8(0));
    if (f.atFinish) f.atFinish();
  }
}

class ExportRunTest : public testing::TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    fake = &plugin;
    document = Document{.mode = kRGBMode, .columns = 5, .rows = 7, .planes = 3};
    document.pixels.resize(document.row_bytes() * 7);
    for (std::size_t i = 0; i < document.pixels.size(); ++i) document.pixels[i] = UInt8(i * 13 + 1);
    document.resources = {{kPart, {1, 2, 3}}};
    ASSERT_EQ(write_document(file(), document), noErr);
  }
  void TearDown() override {
    fake = nullptr;
    TempFolder::TearDown();
  }
  std::filesystem::path file() const { return path("doc.tif"); }
  ExportOutcome run(ExportOptions options = {}) {
    return run_export(&fake_entry, file(), document, options);
  }

  FakePlugin plugin;
  Document document;
};

TEST_F(ExportRunTest, InterleavedBandsAreTheDocumentsWholeRows) {
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, noErr);
  EXPECT_EQ(outcome.bands, 4);  // 2 + 2 + 2 + 1 rows
  EXPECT_EQ(plugin.received, document.pixels);
  for (SInt32 rowStep : plugin.rowSteps) EXPECT_EQ(rowStep, 15);
}

TEST_F(ExportRunTest, PlanarBandsCarryOnePlaneEach) {
  plugin.planar = true;
  plugin.bandRows = 4;
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, noErr);
  EXPECT_EQ(outcome.bands, 6);  // 4 + 3 rows, three planes
  EXPECT_EQ(plugin.received, document.pixels);
  for (SInt32 rowStep : plugin.rowSteps) EXPECT_EQ(rowStep, 5);
}

// An editor may save the document tiled, compressed or with its planes
// apart; the bands come from whatever it saved, and the rows passing make
// the fingerprint recorded as saved back.
TEST_F(ExportRunTest, BandsComeFromWhateverLayoutAnEditorSaved) {
  for (const std::string options : {"-t -w 16 -l 16 -c lzw", "-c zip -p separate -r 3"}) {
    for (const bool planar : {false, true}) {
      SCOPED_TRACE(options + (planar ? ", planar bands" : ", interleaved bands"));
      ASSERT_EQ(write_document(file(), document), noErr);
      const std::string copy = path("copy.tif").string();
      ASSERT_EQ(std::system(("timeout -k 5 60 tiffcp " + options + " " + file().string() + " " +
                             copy + " && mv " + copy + " " + file().string())
                                .c_str()),
                0);
      FakePlugin fresh{.bandRows = 3, .planar = planar};
      fake = &fresh;
      const ExportOutcome outcome = run();
      EXPECT_EQ(outcome.result, noErr);
      EXPECT_EQ(fresh.received, document.pixels);
      EXPECT_TRUE(outcome.savedBack);
      EXPECT_FALSE(read_document(file())->modified());
    }
  }
}

TEST_F(ExportRunTest, PhasesComeInTheProtocolsOrder) {
  run();
  EXPECT_EQ(plugin.selectors, (std::vector<SInt16>{4, 1, 2, 2, 2, 2, 3}));

  FakePlugin failingStart{.startResult = 109};
  fake = &failingStart;
  EXPECT_EQ(run().result, 109);
  EXPECT_EQ(failingStart.selectors, (std::vector<SInt16>{4, 1}));

  FakePlugin failingBand{.failAtBand = 1};
  fake = &failingBand;
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, 1);
  EXPECT_FALSE(outcome.savedBack);
  EXPECT_EQ(failingBand.selectors, (std::vector<SInt16>{4, 1, 2, 2, 3}));
  EXPECT_EQ(failingBand.bandsWritten, 1);
}

TEST_F(ExportRunTest, RequestOutsideTheDocumentEndsTheRun) {
  // The fake asks for one column more than the document has.
  plugin.atStart = [this](const HostResourceProcs*) { plugin.columns = 6; };
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, paramErr);
  EXPECT_EQ(plugin.bandsWritten, 0);
  EXPECT_EQ(plugin.selectors, (std::vector<SInt16>{4, 1, 3}));
}

TEST_F(ExportRunTest, ClearedModifiedFlagIsRecordedAsSavedBack) {
  EXPECT_TRUE(read_document(file())->modified());
  const ExportOutcome outcome = run();
  EXPECT_TRUE(outcome.savedBack);
  EXPECT_FALSE(read_document(file())->modified());

  FakePlugin keepsFlag{.clearModified = false};
  fake = &keepsFlag;
  document.pixels[0] ^= 0xFF;
  ASSERT_EQ(write_document(file(), document), noErr);
  EXPECT_FALSE(run().savedBack);
  EXPECT_TRUE(read_document(file())->modified());
}

TEST_F(ExportRunTest, RewrittenTagIsStoredWithTheDocument) {
  plugin.atStart = [](const HostResourceProcs* procs) {
    ASSERT_NE(procs, nullptr);
    ASSERT_EQ(procs->countPIResources(kPart), 1);
    Handle old = procs->getPIResource(kPart, 1);
    ASSERT_NE(old, nullptr);
    EXPECT_EQ(GetHandleSize(old), 3);
    EXPECT_EQ(procs->getPIResource(kPart, 2), nullptr);
    procs->deletePIResource(kPart, 1);
    Handle fresh = NewHandle(2);
    (*fresh)[0] = 8;
    (*fresh)[1] = 9;
    EXPECT_EQ(procs->addPIResource(kPart, fresh), noErr);
    DisposeHandle(fresh);
  };
  const ExportOutcome outcome = run();
  EXPECT_TRUE(outcome.resourcesChanged);
  EXPECT_EQ(outcome.storeError, noErr);
  auto read = read_document(file());
  ASSERT_TRUE(read);
  ASSERT_EQ(read->resources.size(), 1u);
  EXPECT_EQ(read->resources[0].data, (std::vector<UInt8>{8, 9}));
  EXPECT_EQ(read->pixels, document.pixels);
}

TEST_F(ExportRunTest, InterruptStopsAtTheNextAbortTest) {
  const ExportOutcome outcome = run({.interruptAfterBands = 2});
  EXPECT_EQ(outcome.result, kUserCancelled);
  EXPECT_TRUE(outcome.interrupted);
  EXPECT_EQ(plugin.bandsWritten, 2);
  EXPECT_EQ(plugin.selectors.back(), kSelectorFinish);
  EXPECT_FALSE(outcome.savedBack);
}

// A document wider than 16 bits reaches the plug-in whole, through the
// records' 32-bit fields.
TEST_F(ExportRunTest, DocumentsWiderThanSixteenBitsTravelInTheWideFields) {
  document = Document{.mode = kGrayMode, .columns = 70000, .rows = 3, .planes = 1};
  document.pixels.resize(document.row_bytes() * 3);
  for (std::size_t i = 0; i < document.pixels.size(); ++i) document.pixels[i] = UInt8(i * 7 + 3);
  ASSERT_EQ(write_document(file(), document), noErr);
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, noErr);
  EXPECT_EQ(plugin.columns, 70000);
  EXPECT_EQ(outcome.bands, 2);
  EXPECT_TRUE(plugin.received == document.pixels);
}

// The plug-in's finish closes the image without looking at the result; a
// sync that fails there must still keep the run from counting as saved.
TEST_F(ExportRunTest, AFailedFinalSyncIsReportedAndNotRecordedAsSaved) {
  const std::filesystem::path image = path("image.raw");
  std::ofstream(image) << "old!";
  testing::FaultyFileSystem faulty;
  faulty.sync_error = EIO;
  platform::ScopedFileSystem scope(faulty);
  plugin.atFinish = [&] {
    FSSpec spec = *platform::files::spec_from_path(image);
    SInt16 ref = 0;
    ASSERT_EQ(FSpOpenDF(&spec, fsRdWrPerm, &ref), noErr);
    SInt32 count = 4;
    ASSERT_EQ(FSWrite(ref, &count, "band"), noErr);
    FSClose(ref);
  };
  const ExportOutcome outcome = run();
  EXPECT_EQ(outcome.result, noErr);
  ASSERT_EQ(outcome.unsynced.size(), 1u);
  EXPECT_EQ(outcome.unsynced[0].path.filename(), "image.raw");
  EXPECT_EQ(outcome.unsynced[0].error, ioErr);
  EXPECT_FALSE(outcome.savedBack);
  EXPECT_TRUE(platform::files::take_failed_closes().empty()) << "the run took its own record";
}

// ---------------------------------------------------------------------------
// The run services both commands share

TEST(RunPhases, FinishFollowsOnlyASuccessfulStartAndTheFirstFailureWins) {
  struct Case {
    SInt16 prepare, start, continues, finish;
    std::vector<SInt16> calls;
    SInt16 result;
  };
  constexpr SInt16 kMarkContinues = 99;
  const std::vector<SInt16> kEvery{kSelectorPrepare, kSelectorStart, kMarkContinues,
                                   kSelectorFinish};
  const std::vector<Case> cases{
      {noErr, noErr, noErr, noErr, kEvery, noErr},
      {7, noErr, noErr, noErr, {kSelectorPrepare}, 7},
      {noErr, 8, noErr, noErr, {kSelectorPrepare, kSelectorStart}, 8},
      {noErr, noErr, 9, 3, kEvery, 9},
      {noErr, noErr, noErr, 3, kEvery, 3},
  };
  for (const Case& c : cases) {
    std::vector<SInt16> calls;
    const SInt16 result = run_phases(
        [&](SInt16 selector) {
          calls.push_back(selector);
          return selector == kSelectorPrepare ? c.prepare
                 : selector == kSelectorStart ? c.start
                                              : c.finish;
        },
        [&] {
          calls.push_back(kMarkContinues);
          return c.continues;
        });
    EXPECT_EQ(calls, c.calls) << c.prepare << " " << c.start << " " << c.continues;
    EXPECT_EQ(result, c.result);
  }
}

// The references the plug-in holds go with the object.
TEST(RunCallbacks, AbortTestAnswersCtrlCAndProgressIsSafeToCall) {
  UInt32 reference = 0;
  {
    RunCallbacks callbacks;
    reference = callbacks.test_abort();
    auto testAbort = ReferenceProcAs<TestAbortProc>(reference);
    auto progress = ReferenceProcAs<UpdateProgressProc>(callbacks.update_progress());
    ASSERT_NE(testAbort, nullptr);
    ASSERT_NE(progress, nullptr);
    EXPECT_EQ(testAbort(), 0);
    progress(1, 2);
    std::raise(SIGINT);
    EXPECT_EQ(testAbort(), 1);
  }
  EXPECT_EQ(ReferenceProcAs<TestAbortProc>(reference), nullptr);
}

}  // namespace
}  // namespace tessel::host
