#include "StandardFile.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <string>

#include "Backend.h"
#include "MacErrors.h"
#include "StandardFileInternal.h"

namespace tessel::platform::standard_file {
namespace {

struct State {
  std::optional<std::filesystem::path> pending;
  bool environmentRead = false;
  bool dialogHeadless = false;
  bool answerUnseen = false;
  bool unanswered = false;
  ShownFolder shown{0, 0};
};

State& state() {
  static State& instance = *new State;  // never destroyed: see MacMemory.cpp
  return instance;
}

}  // namespace

// A selection answers one dialog only: a caller that asks again after
// refusing the answer (a locked file, say) would otherwise be handed the same
// file forever, where a user would at last cancel.
std::filesystem::path take_selection() {
  State& s = state();
  if (!s.environmentRead) {
    s.environmentRead = true;
    const char* chosen = std::getenv(kSelectFileVariable);
    if (chosen != nullptr && *chosen != '\0') s.pending = std::filesystem::path(chosen);
  }
  std::filesystem::path chosen = s.pending.value_or(std::filesystem::path());
  s.pending.reset();
  return chosen;
}

namespace {

// The identity of the pre-selected file, a relative path taken in folder.
std::optional<FSSpec> selected_file(const ShownFolder& folder) {
  std::string path = take_selection().string();
  if (path.empty() || path.size() > 255) return std::nullopt;
  Str255 name;
  name[0] = UInt8(path.size());
  std::copy(path.begin(), path.end(), name + 1);
  FSSpec spec;
  if (FSMakeFSSpec(folder.vRefNum, folder.dirID, name, &spec) != noErr) return std::nullopt;
  return spec;
}

SInt16 call_hook(DlgHookYDProcPtr hook, SInt16 item, DialogRecord& dialog, void* data) {
  return hook == nullptr ? item : hook(item, &dialog, data);
}

bool wants_window() {
  const State& s = state();
  if (s.answerUnseen && s.pending) return false;
  return s.dialogHeadless || !backend::is_headless();
}

}  // namespace

bool type_listed(OSType type, SInt16 numTypes, const OSType* typeList) {
  return numTypes < 0 || std::find(typeList, typeList + numTypes, type) != typeList + numTypes;
}

std::optional<CInfoPBRec> catalog_entry(FSSpec& spec) {
  CInfoPBRec entry{};
  entry.hFileInfo.ioNamePtr = spec.name;
  entry.hFileInfo.ioVRefNum = spec.vRefNum;
  entry.hFileInfo.ioDirID = spec.parID;
  if (PBGetCatInfoSync(&entry) != noErr) return std::nullopt;
  if ((entry.hFileInfo.ioFlAttrib & kDirectoryAttribute) != 0) return std::nullopt;
  return entry;
}

bool listed(const Request& request, FSSpec& spec, OSType* type) {
  auto entry = catalog_entry(spec);
  if (!entry) return false;
  OSType found = entry->hFileInfo.ioFlFndrInfo.fdType;
  if (!type_listed(found, request.numTypes, request.types)) return false;
  if (request.filter != nullptr && request.filter(&*entry, request.data) != 0) return false;
  *type = found;
  return true;
}

void set_shown(ShownFolder folder) { state().shown = folder; }

void show_dialog_headless(bool shown) { state().dialogHeadless = shown; }

void answer_unseen(bool unseen) { state().answerUnseen = unseen; }

void preselect(const std::filesystem::path& path) {
  state().environmentRead = true;
  if (path.empty()) {
    state().pending.reset();
  } else {
    state().pending = path;
  }
}

ShownFolder last_shown_folder() { return state().shown; }

bool last_dialog_unanswered() { return state().unanswered; }

void set_unanswered(bool unanswered) { state().unanswered = unanswered; }

}  // namespace tessel::platform::standard_file

namespace standard_file = tessel::platform::standard_file;

void CustomGetFile(FileFilterYDProcPtr fileFilter, SInt16 numTypes, const OSType* typeList,
                   StandardFileReply* reply, SInt16 dlgID, Point /*where: always centred*/,
                   DlgHookYDProcPtr dlgHook, ModalFilterYDProcPtr /*filterProc*/,
                   SInt16* /*activeList*/, ActivateYDProcPtr /*activateProc*/, void* yourDataPtr) {
  standard_file::Request request{fileFilter, numTypes, typeList,   reply,
                                 dlgID,      dlgHook,  yourDataPtr};
  standard_file::set_unanswered(false);
  if (standard_file::wants_window() && standard_file::run_dialog(request)) return;
  DialogRecord dialog{sfMainDialogRefCon};
  standard_file::ShownFolder folder{0, 0};
  if (standard_file::call_hook(dlgHook, sfHookFirstCall, dialog, yourDataPtr) ==
      sfHookChangeSelection) {
    folder = {reply->sfFile.vRefNum, reply->sfFile.parID};
  }
  standard_file::set_shown(folder);
  reply->sfGood = 0;

  auto spec = standard_file::selected_file(folder);
  OSType type = 0;
  if (!spec || !standard_file::listed(request, *spec, &type)) {
    standard_file::set_unanswered(true);
    return;
  }
  if (standard_file::call_hook(dlgHook, sfItemOpenButton, dialog, yourDataPtr) !=
      sfItemOpenButton) {
    return;
  }
  reply->sfGood = 1;
  reply->sfType = type;
  reply->sfFile = *spec;
}
