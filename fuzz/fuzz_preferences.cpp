// The selection dialog's preferences file, read for an image and then saved
// for it, as one run of the dialog does.
#include <filesystem>
#include <vector>

#include "AppleDouble.h"
#include "FuzzSupport.h"
#include "MacErrors.h"
#include "ResourceFork.h"
#include "Resources.h"
#include "formats/RasterFormats.h"
#include "selection/AskDefaults.h"

namespace {

constexpr char kPrefsName[] = "Tessel Prefs";

// The "FILE" descriptor that names the preferences file, in a resource file
// of its own at the top of the chain.
void open_descriptor() {
  std::vector<UInt8> descriptor(42, 0);
  descriptor[0] = sizeof kPrefsName - 1;
  std::copy(kPrefsName, kPrefsName + sizeof kPrefsName - 1, descriptor.begin() + 1);
  tessel::platform::resources::ResourceFork fork{
      0, {{kPrefsDescriptorType, kPrefsDescriptorID, 0, "", descriptor}}};
  auto bytes = tessel::platform::resources::serialize_fork(fork);
  auto file = tessel::fuzz::write_scratch("descriptor", {});
  if (!bytes || tessel::platform::appledouble::write_resource_fork(file, *bytes) != noErr) abort();
  FSSpec spec = tessel::fuzz::scratch_spec("descriptor");
  if (FSpOpenResFile(&spec, fsRdPerm) == -1) abort();
  // Loaded once here, for the life of the process: the resource map keeps it,
  // and the leak check that runs around each input must not count it.
  if (GetResource(kPrefsDescriptorType, kPrefsDescriptorID) == nullptr) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  static const bool ready = (open_descriptor(), true);
  (void)ready;
  tessel::fuzz::ZoneBalance balance;
  std::filesystem::create_directories(tessel::fuzz::scratch_folder() / "config" / "tessel");
  tessel::fuzz::write_scratch(std::string("config/tessel/") + kPrefsName, {data, size});
  SourceImage image{};
  image.fileSpec = tessel::fuzz::scratch_spec("image.tif");
  image.width = 64;
  image.height = 48;
  SelectionDialogState state{};
  state.sourceImage = &image;
  SetUpSelectionDefaults(&state);
  TearDownSelectionDefaults(&state, true);
  return 0;
}
