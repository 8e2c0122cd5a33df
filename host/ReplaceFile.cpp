#include "host/ReplaceFile.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "MacErrors.h"
#include "PosixErrors.h"

namespace tessel::host {

std::filesystem::path replacement_path(const std::filesystem::path& target) {
  std::filesystem::path replacement = target;
  replacement += ".new";
  return replacement;
}

std::filesystem::path staging_path(const std::filesystem::path& folder) {
  return folder / (".tessel-" + std::to_string(getpid()) + ".new");
}

OSErr finish_replacement(const std::filesystem::path& replacement,
                         const std::filesystem::path& target, OSErr err) {
  if (err == noErr && std::rename(replacement.c_str(), target.c_str()) != 0) {
    err = platform::last_os_error();
  }
  if (err != noErr) std::remove(replacement.c_str());
  return err;
}

}  // namespace tessel::host
