// The AppleDouble sidecar reader, its writer's round trip, and the Finder
// information and resource fork read from a sidecar on disk.
#include <cstdlib>

#include "AppleDouble.h"
#include "FuzzSupport.h"

namespace appledouble = tessel::platform::appledouble;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static tessel::fuzz::ScratchCleaner cleaner;
  if (auto sidecar = appledouble::parse({data, size})) {
    auto again = appledouble::parse(appledouble::serialize(*sidecar));
    if (!again || again->entries.size() != sidecar->entries.size()) abort();
  }
  auto file = tessel::fuzz::write_scratch("file", {});
  tessel::fuzz::write_scratch("._file", {data, size});
  (void)appledouble::read_finder_info(file);
  (void)appledouble::read_resource_fork(file);
  return 0;
}
