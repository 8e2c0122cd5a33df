#include "host/Module.h"

#include <dlfcn.h>

#include <cstdlib>

#include "Files.h"
#include "MacErrors.h"
#include "Resources.h"
#include "host/InstallLayout.h"

namespace tessel::host {

namespace {

std::string& problem() {
  static std::string text;
  return text;
}

// dlsym hands back an object pointer; POSIX guarantees that it converts to
// the function's pointer.
template <typename Proc>
Proc symbol(void* handle, const char* name) {
  return reinterpret_cast<Proc>(dlsym(handle, name));
}

Expected<SInt16> open_resource_fork(const std::filesystem::path& path) {
  Expected<FSSpec> spec = platform::files::spec_from_path(path);
  if (!spec) return failure_of(spec);
  const SInt16 file = FSpOpenResFile(&*spec, fsRdPerm);
  if (file == -1) return Expected<SInt16>::failure(ResError() != noErr ? ResError() : resFNotFound);
  return file;
}

}  // namespace

Expected<std::unique_ptr<Module>> Module::load(const std::filesystem::path& path) {
  using Result = Expected<std::unique_ptr<Module>>;
  problem().clear();
  std::error_code ignored;
  if (!std::filesystem::exists(path, ignored)) return Result::failure(fnfErr);
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    problem() = dlerror();
    return Result::failure(paramErr);
  }
  Expected<SInt16> fork = open_resource_fork(path);
  if (!fork) {
    dlclose(handle);
    return failure_of(fork);
  }
  std::unique_ptr<Module> module(new Module(handle, *fork));
  if (!module->acquire_ || !module->export_ || !module->trapMessage_) {
    const char* why = dlerror();
    problem() = why != nullptr ? why : "";
    return Result::failure(paramErr);
  }
  return Result(std::move(module));
}

std::filesystem::path Module::default_path() {
  if (const char* path = std::getenv("TESSEL_MODULE"); path != nullptr && *path != '\0')
    return path;
  return layout::module_file();
}

const std::string& Module::load_problem() { return problem(); }

Module::Module(void* handle, SInt16 resourceFile)
    : handle_(handle),
      resourceFile_(resourceFile),
      acquire_(symbol<AcquireEntryProc>(handle, kAcquireEntryName)),
      export_(symbol<ExportEntryProc>(handle, kExportEntryName)),
      trapMessage_(symbol<TrapMessageProc>(handle, kTrapMessageName)) {}

Module::~Module() {
  CloseResFile(resourceFile_);
  dlclose(handle_);
}

}  // namespace tessel::host
