#include "PluginTestSupport.h"
#include "plugin/TesselAcquireAskForFile.h"
#include "plugin/TesselExportAskForFile.h"
#include "records/ResultCodes.h"

namespace tessel::testing {
namespace {

namespace standard_file = platform::standard_file;

class FileChoosing : public PluginTest {
 protected:
  void make_file(const std::string& name, const char (&type)[5]) {
    write_file(name, {1, 2, 3});
    FSSpec spec = spec_of(name);
    FInfo info{FourCC(type), FourCC("TSSL"), 0, Point{0, 0}, 0};
    ASSERT_EQ(FSpSetFInfo(&spec, &info), 0);
  }
  bool shown(const std::string& name) {
    FSSpec spec = spec_of(name);
    CInfoPBRec entry{};
    entry.hFileInfo.ioNamePtr = spec.name;
    entry.hFileInfo.ioVRefNum = spec.vRefNum;
    entry.hFileInfo.ioDirID = spec.parID;
    EXPECT_EQ(PBGetCatInfoSync(&entry), 0) << name;
    return GetFileFilter(&entry, nullptr) == 0;
  }
  static std::string name_of(const FSSpec& spec) {
    return std::string(reinterpret_cast<const char*>(spec.name + 1), spec.name[0]);
  }
};

TEST_F(FileChoosing, TheFilterShowsOnlyRecognisedFiles) {
  make_file("a.tif", "TEXT");
  make_file("b.sct", "????");
  make_file("c.pct", "TEXT");
  make_file("native", "LUMN");
  make_file("whatever.dat", "TIFF");
  EXPECT_TRUE(shown("a.tif"));
  EXPECT_TRUE(shown("b.sct"));
  EXPECT_FALSE(shown("c.pct"));
  EXPECT_TRUE(shown("native"));
  EXPECT_TRUE(shown("whatever.dat"));
}

TEST_F(FileChoosing, AcquireTakesThePreselectedFileOnceAndOnlyWhenShown) {
  make_file("a.tif", "TEXT");
  make_file("c.pct", "TEXT");
  SourceImage image{};
  standard_file::preselect(path("a.tif"));
  ASSERT_EQ(AskForFile(&image), 0);
  EXPECT_EQ(name_of(image.fileSpec), "a.tif");

  // Answered once: the next dialog counts as cancelled and changes nothing.
  EXPECT_EQ(AskForFile(&image), kUserCancelled);
  EXPECT_EQ(name_of(image.fileSpec), "a.tif");
  standard_file::preselect(path("c.pct"));
  EXPECT_EQ(AskForFile(&image), kUserCancelled);
  EXPECT_EQ(name_of(image.fileSpec), "a.tif");
}

TEST_F(FileChoosing, ExportOpensInTheTaggedFolderEvenWhenTheFileIsGone) {
  make_file("tagged/x.tif", "TIFF");
  SourceImage image{};
  image.fileSpec = spec_of("tagged/missing.tif");
  standard_file::preselect("x.tif");  // relative: taken in the folder shown

  ASSERT_EQ(ExportAskForFile(&image, 0), 0);
  EXPECT_EQ(name_of(image.fileSpec), "x.tif");
  EXPECT_EQ(image.fileSpec.parID, spec_of("tagged/x.tif").parID);
  EXPECT_EQ(standard_file::last_shown_folder().dirID, spec_of("tagged/x.tif").parID);
}

TEST_F(FileChoosing, TheHookLeavesOtherDialogsAndLaterItemsAlone) {
  SourceImage image{};
  image.fileSpec = spec_of("folder.tif");
  StandardFileReply reply{};
  FileDialogData data{&image, &reply};
  DialogRecord warning{SInt32(FourCC("lock"))};
  DialogRecord main{sfMainDialogRefCon};
  EXPECT_EQ(GetFileDialogHook(sfHookFirstCall, &warning, &data), sfHookFirstCall);
  EXPECT_EQ(GetFileDialogHook(sfItemOpenButton, &main, &data), sfItemOpenButton);
  EXPECT_EQ(reply.sfFile.parID, 0);
  EXPECT_EQ(GetFileDialogHook(sfHookFirstCall, &main, &data), sfHookChangeSelection);
  EXPECT_EQ(reply.sfFile.parID, image.fileSpec.parID);
  image.fileSpec.vRefNum = 0;  // no file recorded
  EXPECT_EQ(GetFileDialogHook(sfHookFirstCall, &main, &data), sfHookFirstCall);
}

}  // namespace
}  // namespace tessel::testing
