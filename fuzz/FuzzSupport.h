// What every fuzz target shares: a private scratch folder (the catalog and
// the preferences folder inside it), small memory zones, and a way to put the
// input bytes into a file the platform's File Manager can open.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>

#include "Files.h"
#include "MacMemory.h"
#include "MacTypes.h"

namespace tessel::fuzz {

// Zones this small turn a claimed size of gigabytes into a memory error long
// before libFuzzer's own allocation limit would call it a crash.
constexpr const char* kZoneBytes = "67108864";

// Memory-backed when the machine has it: every export-like run ends in an
// fsync, which on a disk would cost more than the run itself.
inline std::filesystem::path fast_folder() {
  std::error_code ignored;
  if (std::filesystem::is_directory("/dev/shm", ignored)) return "/dev/shm";
  return std::filesystem::temp_directory_path();
}

inline const std::filesystem::path& scratch_folder() {
  static const std::filesystem::path folder = [] {
    std::string pattern = (fast_folder() / "tessel-fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) abort();
    std::filesystem::path root = std::filesystem::canonical(pattern);
    setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root / "config").c_str(), 1);
    setenv("TESSEL_HEAP_BYTES", kZoneBytes, 1);
    setenv("TESSEL_TEMP_MEMORY_BYTES", kZoneBytes, 1);
    setenv("TESSEL_BACKEND", "headless", 1);
    return root;
  }();
  return folder;
}

// Removes the scratch folder when the fuzzer exits normally.
struct ScratchCleaner {
  ~ScratchCleaner() {
    std::error_code ignored;
    std::filesystem::remove_all(scratch_folder(), ignored);
  }
};

// Handles stay reachable through the Memory Manager's own list, so the leak
// checker cannot see one that an input forgot to dispose of; the zones' byte
// counts can. Declare one after the target's once-only setup: every block an
// input allocates must be gone when it returns.
class ZoneBalance {
 public:
  // The scratch folder first: it sets the zones' budgets, which the zones
  // read once, when they are first used.
  ZoneBalance() : before_((scratch_folder(), used())) {}
  ~ZoneBalance() {
    std::int64_t after = used();
    if (after == before_) return;
    std::fprintf(stderr, "ZoneBalance: the input left %lld bytes allocated in the zones\n",
                 static_cast<long long>(after - before_));
    abort();
  }
  ZoneBalance(const ZoneBalance&) = delete;
  ZoneBalance& operator=(const ZoneBalance&) = delete;

 private:
  static std::int64_t used() {
    return platform::memory::zone_used(ApplicZone()) +
           platform::memory::zone_used(platform::memory::temporary_zone());
  }
  std::int64_t before_;
};

inline std::filesystem::path write_scratch(const std::string& name,
                                           std::span<const std::uint8_t> bytes) {
  std::filesystem::path file = scratch_folder() / name;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  return file;
}

inline FSSpec scratch_spec(const std::string& name) {
  auto spec = platform::files::spec_from_path(scratch_folder() / name);
  if (!spec) abort();
  return *spec;
}

// Splits the input in two at a length given by its first two bytes, so that
// one input can carry a resource fork and a data fork.
struct TwoParts {
  std::span<const std::uint8_t> first;
  std::span<const std::uint8_t> second;
};

inline TwoParts split_input(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 2) return {{}, bytes};
  std::size_t length = (std::size_t(bytes[0]) << 8) | bytes[1];
  bytes = bytes.subspan(2);
  length = std::min(length, bytes.size());
  return {bytes.first(length), bytes.subspan(length)};
}

}  // namespace tessel::fuzz
