#include <gtest/gtest.h>

#include <cstring>

#include "AppleDouble.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "Resources.h"
#include "TempFolder.h"

namespace {

class Resources : public tessel::testing::TempFolder {
 protected:
  // A file with a fork holding the given (type, id, bytes) resources.
  FSSpec file_with(const std::string& name,
                   const std::vector<std::tuple<ResType, SInt16, std::string>>& resources) {
    write_file(name, {});
    FSSpec spec = spec_of(name);
    FSpCreateResFile(&spec, FourCC("TSSL"), FourCC("LUMN"), 0);
    EXPECT_EQ(ResError(), noErr);
    SInt16 ref = FSpOpenResFile(&spec, fsCurPerm);
    for (const auto& [type, id, bytes] : resources) {
      Handle h = NewHandle(Size(bytes.size()));
      std::memcpy(*h, bytes.data(), bytes.size());
      AddResource(h, type, id, nullptr);
      EXPECT_EQ(ResError(), noErr);
    }
    CloseResFile(ref);
    EXPECT_EQ(ResError(), noErr);
    return spec;
  }

  static std::string text_of(Handle h) {
    return h == nullptr ? "<none>" : std::string(*h, std::size_t(GetHandleSize(h)));
  }
};

}  // namespace

TEST_F(Resources, AddedResourcesSurviveClosingAndReopening) {
  FSSpec spec = file_with("native.raw", {{FourCC("LUMN"), 1000, "description"},
                                         {FourCC("LUMN"), 1005, "resolution"},
                                         {FourCC("STR "), 1, "other"}});
  SInt16 ref = FSpOpenResFile(&spec, fsRdPerm);
  ASSERT_NE(ref, -1);
  EXPECT_EQ(CurResFile(), ref);
  EXPECT_EQ(Count1Resources(FourCC("LUMN")), 2);
  Handle second = Get1IndResource(FourCC("LUMN"), 2);
  EXPECT_EQ(text_of(second), "resolution");
  SInt16 id = 0;
  ResType type = 0;
  Str255 name{};
  GetResInfo(second, &id, &type, name);
  EXPECT_EQ(id, 1005);
  EXPECT_EQ(type, FourCC("LUMN"));
  EXPECT_EQ(Get1Resource(FourCC("LUMN"), 1005), second) << "one handle per resource";
  EXPECT_EQ(Get1IndResource(FourCC("LUMN"), 3), nullptr);
  EXPECT_EQ(ResError(), resNotFound);
  CloseResFile(ref);
}

TEST_F(Resources, DetachedDataOutlivesTheFork) {
  FSSpec spec = file_with("a", {{FourCC("LUMN"), 1000, "kept"}});
  SInt16 ref = FSpOpenResFile(&spec, fsRdPerm);
  Handle h = Get1Resource(FourCC("LUMN"), 1000);
  DetachResource(h);
  EXPECT_EQ(ResError(), noErr);
  Handle again = Get1Resource(FourCC("LUMN"), 1000);
  EXPECT_NE(again, h) << "a detached handle is no longer the resource's";
  CloseResFile(ref);
  EXPECT_EQ(text_of(h), "kept");
  DisposeHandle(h);
}

TEST_F(Resources, SearchesRunFromTheCurrentFileDown) {
  FSSpec bottom =
      file_with("bottom", {{FourCC("STR#"), 1, "bottom"}, {FourCC("TEXT"), 5, "only below"}});
  FSSpec top = file_with("top", {{FourCC("STR#"), 1, "top"}});
  SInt16 lower = FSpOpenResFile(&bottom, fsRdPerm);
  SInt16 upper = FSpOpenResFile(&top, fsRdPerm);
  EXPECT_EQ(text_of(GetResource(FourCC("STR#"), 1)), "top");
  EXPECT_EQ(text_of(GetResource(FourCC("TEXT"), 5)), "only below");
  EXPECT_EQ(Get1Resource(FourCC("TEXT"), 5), nullptr);
  UseResFile(lower);
  EXPECT_EQ(text_of(GetResource(FourCC("STR#"), 1)), "bottom")
      << "files above the current one are not searched";
  UseResFile(upper);
  CloseResFile(upper);
  EXPECT_EQ(CurResFile(), lower);
  CloseResFile(lower);
}

TEST_F(Resources, MissingAndDamagedForksAreToldApart) {
  write_file("plain.tif", {1, 2, 3});
  FSSpec plain = spec_of("plain.tif");
  EXPECT_EQ(FSpOpenResFile(&plain, fsCurPerm), -1);
  EXPECT_EQ(ResError(), eofErr);

  write_file("damaged", {});
  ASSERT_EQ(tessel::platform::appledouble::write_resource_fork(path("damaged"), {{0, 0, 1, 0, 9}}),
            noErr);
  FSSpec damaged = spec_of("damaged");
  EXPECT_EQ(FSpOpenResFile(&damaged, fsCurPerm), -1);
  EXPECT_EQ(ResError(), mapReadErr);

  FSSpec missing = spec_of("missing");
  EXPECT_EQ(FSpOpenResFile(&missing, fsCurPerm), -1);
  EXPECT_EQ(ResError(), fnfErr);
}

TEST_F(Resources, ChangedResourcesAreWrittenBack) {
  FSSpec spec = file_with("edit", {{FourCC("LUMN"), 1000, "old"}});
  SInt16 ref = FSpOpenResFile(&spec, fsCurPerm);
  Handle h = Get1Resource(FourCC("LUMN"), 1000);
  SetHandleSize(h, 5);
  std::memcpy(*h, "newer", 5);
  ChangedResource(h);
  Handle gone = Get1Resource(FourCC("LUMN"), 1001);
  EXPECT_EQ(gone, nullptr);
  Handle doomed = NewHandle(1);
  AddResource(doomed, FourCC("TEMP"), 1, nullptr);
  RemoveResource(doomed);
  DisposeHandle(doomed);
  CloseResFile(ref);
  ref = FSpOpenResFile(&spec, fsRdPerm);
  EXPECT_EQ(text_of(Get1Resource(FourCC("LUMN"), 1000)), "newer");
  EXPECT_EQ(Count1Resources(FourCC("TEMP")), 0);
  CloseResFile(ref);
}
