// The standard open-file dialog with the caller's filter, hook and data.
//
// With a display the dialog is a window: the files of a folder that the type
// list and the filter let through, the folders to go into, the folder's name
// (a click there goes up one folder), Open and Cancel. A double click opens.
// It starts in the pre-selected file's folder with that file selected, or
// in the folder the hook asks for.
//
// Headless there is no list to click in: the dialog answers with the file the
// host pre-selected (standard_file::preselect, or else the environment
// variable TESSEL_SELECT_FILE), once: the dialogs after it count as
// cancelled until something is pre-selected again. A relative path is taken
// in the folder the dialog shows. The answer must be a file whose type is in
// the type list and which the filter shows; otherwise, or when nothing was
// pre-selected, the dialog counts as cancelled. The hook sees the main
// dialog (reference constant 'stdf') first with sfHookFirstCall, and may
// answer sfHookChangeSelection to move the dialog to the folder of
// reply->sfFile; it then sees the Open button before the dialog confirms, and
// may turn it into Cancel.
#pragma once

#include <filesystem>

#include "Dialogs.h"
#include "Files.h"
#include "MacTypes.h"

struct StandardFileReply {
  Boolean sfGood;  // nonzero when the user confirmed a file
  Boolean sfReplacing;
  OSType sfType;
  FSSpec sfFile;
  SInt16 sfScript;
  SInt16 sfFlags;
  Boolean sfIsFolder;
  Boolean sfIsVolume;
  SInt32 sfReserved1;
  SInt16 sfReserved2;
};

// Nonzero hides the catalog entry.
using FileFilterYDProcPtr = Boolean (*)(CInfoPBRec* catalogEntry, void* yourDataPtr);
using DlgHookYDProcPtr = SInt16 (*)(SInt16 item, DialogPtr dialog, void* yourDataPtr);
using ModalFilterYDProcPtr = Boolean (*)(DialogPtr dialog, EventRecord* event, SInt16* itemHit,
                                         void* yourDataPtr);
using ActivateYDProcPtr = void (*)(DialogPtr dialog, SInt16 itemNo, Boolean activating,
                                   void* yourDataPtr);

constexpr SInt16 sfItemOpenButton = 1;
constexpr SInt16 sfItemCancelButton = 2;
constexpr SInt16 sfHookFirstCall = -1;
constexpr SInt16 sfHookChangeSelection = 110;
constexpr SInt32 sfMainDialogRefCon = SInt32(FourCC("stdf"));

// numTypes below 0 lets every type through. where (-1, -1) lets the platform
// place the dialog. filterProc, activeList and activateProc have no use
// headless. On cancel only reply->sfGood is written (0).
void CustomGetFile(FileFilterYDProcPtr fileFilter, SInt16 numTypes, const OSType* typeList,
                   StandardFileReply* reply, SInt16 dlgID, Point where, DlgHookYDProcPtr dlgHook,
                   ModalFilterYDProcPtr filterProc, SInt16* activeList,
                   ActivateYDProcPtr activateProc, void* yourDataPtr);

namespace tessel::platform::standard_file {

constexpr const char* kSelectFileVariable = "TESSEL_SELECT_FILE";

// The file the next dialog answers with; an empty path withdraws it. Either
// way TESSEL_SELECT_FILE is no longer consulted.
void preselect(const std::filesystem::path& path);

// Headless, the dialog answers with the pre-selected file; with this set it
// is shown as a window instead and driven by the script, as with a display.
void show_dialog_headless(bool shown);

// With this set, a pre-selected file answers the dialog without a window,
// display or script notwithstanding: the file was chosen already, as when a
// desktop opens a file with the program. A dialog asked again with nothing
// pre-selected shows as usual.
void answer_unseen(bool unseen);

// The folder the last dialog showed when it closed: its volume and folder id,
// both 0 while no dialog has run or when it showed the current folder.
struct ShownFolder {
  SInt16 vRefNum;
  SInt32 dirID;
};
ShownFolder last_shown_folder();

// Whether the last dialog was settled without anyone to ask: headless, with
// no window, and nothing usable pre-selected, so it counted as cancelled
// although nobody cancelled it.
bool last_dialog_unanswered();

}  // namespace tessel::platform::standard_file
