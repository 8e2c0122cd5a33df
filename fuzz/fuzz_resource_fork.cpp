// The resource-fork reader, and its writer's round trip.
#include <cstdlib>

#include "FuzzSupport.h"
#include "ResourceFork.h"

namespace resources = tessel::platform::resources;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto fork = resources::parse_fork({data, size});
  if (!fork) return 0;
  auto bytes = resources::serialize_fork(*fork);
  if (!bytes) return 0;
  auto again = resources::parse_fork(*bytes);
  if (!again || again->resources.size() != fork->resources.size()) abort();
  return 0;
}
