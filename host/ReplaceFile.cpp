#include "host/ReplaceFile.h"

#include <cstdio>

#include "MacErrors.h"
#include "PosixErrors.h"

namespace tessel::host {

std::filesystem::path replacement_path(const std::filesystem::path& target) {
  std::filesystem::path replacement = target;
  replacement += ".new";
  return replacement;
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
