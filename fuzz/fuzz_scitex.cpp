// Scitex CT header and pixel access, through the format layer.
#include "FuzzRaster.h"
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  tessel::fuzz::ZoneBalance balance;
  tessel::fuzz::write_scratch("image.sct", {data, size});
  tessel::fuzz::exercise_raster(tessel::fuzz::scratch_spec("image.sct"));
  return 0;
}
