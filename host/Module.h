// The plug-in module, loaded the way a Toolbox host loads a plug-in file:
// its code mapped in and its resource fork opened at the bottom of the
// resource chain, so that the plug-in's string lists, alerts and dialogs are
// found by number while it runs.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "Expected.h"
#include "records/HostRecords.h"

namespace tessel::host {

class Module {
 public:
  // dlopen of path, its three entry points and its resource fork. fnfErr when
  // the file is missing; paramErr when it is not a module with the three
  // entry points (dlerror() says why, see load_problem()); the Resource
  // Manager's error when its fork cannot be opened.
  static Expected<std::unique_ptr<Module>> load(const std::filesystem::path& path);

  // Where the module is looked for: $TESSEL_MODULE, else beside the program
  // as installed or as built (host/InstallLayout.h).
  static std::filesystem::path default_path();

  // The dynamic linker's explanation of the last failed load, or empty.
  static const std::string& load_problem();

  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  AcquireEntryProc acquire_entry() const { return acquire_; }
  ExportEntryProc export_entry() const { return export_; }
  TrapMessageProc trap_message() const { return trapMessage_; }

 private:
  Module(void* handle, SInt16 resourceFile);

  void* handle_;
  SInt16 resourceFile_;
  AcquireEntryProc acquire_ = nullptr;
  ExportEntryProc export_ = nullptr;
  TrapMessageProc trapMessage_ = nullptr;
};

}  // namespace tessel::host
