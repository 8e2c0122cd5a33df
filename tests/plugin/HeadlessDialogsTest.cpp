// The platform's headless alert and file dialog, as the plug-in uses them.
#include "Dialogs.h"
#include "PluginTestSupport.h"

namespace tessel::testing {
namespace {

namespace fs = std::filesystem;

class HeadlessDialogs : public PluginTest {
 protected:
  // An alert whose first stage makes item 2 the default, with a Mac Roman
  // text that names every parameter, one of them twice.
  void add_second_alert() {
    FSSpec spec = spec_of("second.rsrc");
    write_file("second.rsrc", {});
    platform::resources::ResourceFork fork{
        0,
        {{FourCC("ALRT"), 200, 0, "", alert_template(Rect{}, 200, 0x0008)},
         {FourCC("DITL"), 200, 0, "", message_items("^0\xD5s ^1/^2/^3 ^0\r^4")}}};
    ASSERT_EQ(platform::appledouble::write_resource_fork(
                  path("second.rsrc"), *platform::resources::serialize_fork(fork)),
              0);
    second_ = FSpOpenResFile(&spec, fsRdPerm);
    ASSERT_GT(second_, 0);
  }
  void TearDown() override {
    if (second_ > 0) CloseResFile(second_);
    PluginTest::TearDown();
  }

 private:
  SInt16 second_ = 0;
};

TEST_F(HeadlessDialogs, AlertFillsEveryParameterAndAnswersItsDefault) {
  add_second_alert();
  Str255 a{1, 'A'}, b{1, 'B'}, c{0}, d{2, 'D', 'D'};
  ParamText(a, b, c, d);
  ParamText(nullptr, nullptr, nullptr, nullptr);  // keeps what was set
  EXPECT_EQ(Alert(200, nullptr), 2);
  EXPECT_EQ(Alert(16100, nullptr), 1);
  EXPECT_EQ(Alert(999, nullptr), -1);
  EXPECT_EQ(alerts(), (std::vector<std::string>{"A\u2019s B//DD A ^4", "A (code B)"}));
}

SInt16 cancel_at_open(SInt16 item, DialogPtr, void*) {
  return item == sfItemOpenButton ? sfItemCancelButton : item;
}

TEST_F(HeadlessDialogs, FileDialogHonoursTheTypeListAndTheHook) {
  write_file("image.tif", {1});
  const OSType tiffOnly[] = {FourCC("TIFF")};
  const OSType unknownOnly[] = {FourCC("????")};
  StandardFileReply reply{};
  auto ask = [&](const OSType* types, DlgHookYDProcPtr hook) {
    platform::standard_file::preselect(path("image.tif"));
    reply.sfGood = 1;
    CustomGetFile(nullptr, 1, types, &reply, 16005, Point{-1, -1}, hook, nullptr, nullptr, nullptr,
                  nullptr);
    return reply.sfGood;
  };
  EXPECT_EQ(ask(tiffOnly, nullptr), 0);  // a file without Finder info is of type ????
  EXPECT_EQ(ask(unknownOnly, cancel_at_open), 0);
  EXPECT_EQ(ask(unknownOnly, nullptr), 1);
  EXPECT_EQ(reply.sfType, FourCC("????"));
  EXPECT_EQ(reply.sfFile.parID, spec_of("image.tif").parID);
}

// Without the plug-in fixture, which withdraws any selection.
using SelectFromEnvironment = TempFolder;

TEST_F(SelectFromEnvironment, AnswersOneFileDialog) {
  write_file("image.tif", {1});
  setenv(platform::standard_file::kSelectFileVariable, path("image.tif").c_str(), 1);
  StandardFileReply reply{};
  CustomGetFile(nullptr, -1, nullptr, &reply, 16005, Point{-1, -1}, nullptr, nullptr, nullptr,
                nullptr, nullptr);
  EXPECT_EQ(reply.sfGood, 1);
  CustomGetFile(nullptr, -1, nullptr, &reply, 16005, Point{-1, -1}, nullptr, nullptr, nullptr,
                nullptr, nullptr);
  EXPECT_EQ(reply.sfGood, 0);
}

}  // namespace
}  // namespace tessel::testing
