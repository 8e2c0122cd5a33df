// The native format: its AppleDouble sidecar (Finder type and the resource
// fork with the description) and the planes of its data fork. The input is
// the sidecar, then the data fork (split_input).
#include "FuzzRaster.h"
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  tessel::fuzz::ZoneBalance balance;
  auto parts = tessel::fuzz::split_input({data, size});
  tessel::fuzz::write_scratch("._image.lumn", parts.first);
  tessel::fuzz::write_scratch("image.lumn", parts.second);
  tessel::fuzz::exercise_raster(tessel::fuzz::scratch_spec("image.lumn"));
  return 0;
}
