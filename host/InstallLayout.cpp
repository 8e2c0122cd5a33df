#include "host/InstallLayout.h"

#include "AppleDouble.h"

namespace tessel::host::layout {

namespace {

std::filesystem::path prefix() { return program_folder().parent_path(); }

bool present(const std::filesystem::path& file) {
  std::error_code error;
  return std::filesystem::exists(file, error);
}

}  // namespace

std::filesystem::path program_folder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::filesystem::path module_file() {
  const std::filesystem::path installed = prefix() / "lib" / "tessel" / "tessel.plugin";
  const std::filesystem::path built = prefix() / "lib" / "tessel.plugin";
  return present(installed) || !present(built) ? installed : built;
}

std::filesystem::path texts_file() {
  const std::filesystem::path beside = program_folder() / "tessel";
  if (present(platform::appledouble::sidecar_path(beside))) return beside;
  return prefix() / "share" / "tessel" / "tessel";
}

}  // namespace tessel::host::layout
