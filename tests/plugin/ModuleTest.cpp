// The module as the host sees it: three symbols, and beside it the resource
// fork that holds what the reporting code fetches.
#include <dlfcn.h>

#include "PluginTestSupport.h"
#include "plugin/ResultMessages.h"
#include "plugin/TesselAcquireReportResult.h"

namespace tessel::testing {
namespace {

class ModuleResources : public TempFolder {
 protected:
  void SetUp() override {
    TempFolder::SetUp();
    setenv("TESSEL_ALERT_LOG", path("alerts.log").c_str(), 1);
    auto spec = platform::files::spec_from_path(TESSEL_MODULE_FILE);
    ASSERT_TRUE(spec.has_value());
    fork_ = FSpOpenResFile(&*spec, fsRdPerm);
    if (fork_ <= 0) GTEST_SKIP() << "the module's resources are not built";
  }
  void TearDown() override {
    if (fork_ > 0) CloseResFile(fork_);
    TempFolder::TearDown();
  }
  static std::string indexed(SInt16 list, SInt16 index) {
    Str255 text;
    GetIndString(text, list, index);
    return std::string(reinterpret_cast<const char*>(text + 1), text[0]);
  }

 private:
  SInt16 fork_ = 0;
};

TEST_F(ModuleResources, TheAlertShowsTheMessageWithTheCode) {
  ReportResult(117);
  std::ifstream in(path("alerts.log"));
  std::string line;
  ASSERT_TRUE(std::getline(in, line));
  std::string message = indexed(kResultMessageList, 11);
  EXPECT_NE(line.find(message.substr(0, 20)), std::string::npos) << line;
  EXPECT_NE(line.find("117"), std::string::npos) << line;
}

TEST(Module, ShowsOnlyItsEntryPointsAndRuns) {
  void* module = dlopen(TESSEL_MODULE_FILE, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  auto exportEntry = reinterpret_cast<ExportEntryProc>(dlsym(module, kExportEntryName));
  auto trap = reinterpret_cast<TrapMessageProc>(dlsym(module, kTrapMessageName));
  ASSERT_NE(exportEntry, nullptr);
  EXPECT_NE(dlsym(module, kAcquireEntryName), nullptr);
  ASSERT_NE(trap, nullptr);
  EXPECT_EQ(trap()[0], 14);
  EXPECT_EQ(dlsym(module, "ReportResult"), nullptr);
  EXPECT_EQ(dlsym(module, "_Z12ReportResults"), nullptr);

  ExportParams params{};
  PluginDataSlot slot = 0;
  SInt16 result = -1;
  exportEntry(kSelectorAbout, &params, &slot, &result);
  EXPECT_EQ(result, 0);
  // The module and this program share one reference table.
  EXPECT_NE(ReferencePointer(slot), nullptr);
  dlclose(module);
}

}  // namespace
}  // namespace tessel::testing
