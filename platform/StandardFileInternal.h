// What the two forms of the open-file dialog share: the headless answer in
// StandardFile.cpp and the dialog window in StandardFileDialog.cpp.
#pragma once

#include <optional>

#include "StandardFile.h"

namespace tessel::platform::standard_file {

struct Request {
  FileFilterYDProcPtr filter = nullptr;
  SInt16 numTypes = -1;
  const OSType* types = nullptr;
  StandardFileReply* reply = nullptr;
  SInt16 dialogID = 0;
  DlgHookYDProcPtr hook = nullptr;
  void* data = nullptr;
};

bool type_listed(OSType type, SInt16 numTypes, const OSType* typeList);
// The catalog entry the dialog would list for spec; nothing for folders and
// files it cannot see.
std::optional<CInfoPBRec> catalog_entry(FSSpec& spec);
// Whether the dialog lists the file: its type is asked for and the filter
// does not hide it.
bool listed(const Request& request, FSSpec& spec, OSType* type);
// The pre-selected file, taken (it answers one dialog only).
std::filesystem::path take_selection();
void set_shown(ShownFolder folder);
// Notes whether the dialog just settled had nobody to answer it.
void set_unanswered(bool unanswered);

// Runs the dialog window until the user confirms or cancels; false when the
// window cannot be made.
bool run_dialog(const Request& request);

}  // namespace tessel::platform::standard_file
