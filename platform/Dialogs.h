// The Dialog Manager: dialogs and alerts made from their "DLOG", "ALRT" and
// "DITL" resources, their items, the modal loop, and the host's helpers for
// movable modal dialogs.
//
// A dialog is a window (Windows.h) whose items are drawn on update events:
// push buttons, check boxes and radio buttons (Controls.h), static texts
// with ^0 to ^3 replaced by the ParamText texts, icons, pictures, and user
// items drawn by the procedure set with SetDItem. Clicking an enabled item
// reports it; Return and Enter report the default item, Escape and
// Command-period the Cancel item. The Dialog Manager never changes a check
// box's value itself: the caller does, as on the Toolbox.
//
// Alerts are shown the same way. Under the headless backend an alert's
// filled text also goes to standard error and, when the environment variable
// TESSEL_ALERT_LOG names a file, is appended to it as one line, so that
// unattended runs show why they failed.
#pragma once

#include <string>

#include "Controls.h"
#include "Cursors.h"
#include "Events.h"
#include "MacTypes.h"
#include "Windows.h"

namespace tessel::platform::dialogs {
struct Items;
}

// Storage for a dialog may be the caller's (GetNewDialog's dStorage): a
// block at least sizeof(DialogRecord) long, zero-filled or not.
struct DialogRecord : WindowRecord {
  explicit DialogRecord(SInt32 referenceConstant = 0) : WindowRecord{} {
    refCon = referenceConstant;
  }
  tessel::platform::dialogs::Items* items = nullptr;
  SInt16 aDefItem = 1;
  SInt16 cancelItem = 0;  // 0: none
  Boolean ownsStorage = 0;
  Boolean outlineDefault = 0;  // alerts frame their default button
};
using DialogPtr = DialogRecord*;
using DialogRef = DialogPtr;

using ModalFilterProcPtr = Boolean (*)(DialogPtr dialog, EventRecord* event, SInt16* itemHit);
using ModalFilterUPP = ModalFilterProcPtr;
using UserItemProcPtr = void (*)(DialogPtr dialog, SInt16 item);
using UserItemUPP = UserItemProcPtr;
// The host's routine for events of its own windows.
using ProcessEventProcPtr = void (*)(EventRecord* event);

// Item kinds, as a "DITL" item's type byte holds them.
constexpr SInt16 userItem = 0;
constexpr SInt16 ctrlItem = 4;
constexpr SInt16 btnCtrl = 0;
constexpr SInt16 chkCtrl = 1;
constexpr SInt16 radCtrl = 2;
constexpr SInt16 resCtrl = 3;
constexpr SInt16 statText = 8;
constexpr SInt16 editText = 16;
constexpr SInt16 iconItem = 32;
constexpr SInt16 picItem = 64;
constexpr SInt16 itemDisable = 128;

// ---- Dialogs -----------------------------------------------------------------

// Makes dialog dialogID from its "DLOG" and "DITL" in dStorage (or in
// memory of its own when dStorage is null), in front of all windows or
// behind the given one; shown at once when the template says visible. Null
// when a resource is missing or the window cannot be made.
DialogPtr GetNewDialog(SInt16 dialogID, void* dStorage, WindowPtr behind);
// Closes the window and frees its items, not the storage.
void CloseDialog(DialogPtr dialog);
// CloseDialog, and frees the storage when the dialog made it itself.
void DisposeDialog(DialogPtr dialog);
// Erases the dialog and draws every item.
void DrawDialog(DialogPtr dialog);
CGrafPtr GetDialogPort(DialogPtr dialog);

// Runs the front dialog until an item is hit. Each event goes to filterProc
// first (when given); when it returns true its itemHit is the answer.
void ModalDialog(ModalFilterUPP filterProc, SInt16* itemHit);
// One event of dialog as the standard handling sees it; true with *itemHit
// when an item was hit.
Boolean DialogSelect(const EventRecord* event, DialogPtr* dialog, SInt16* itemHit);
Boolean IsDialogEvent(const EventRecord* event);

// ---- Items -----------------------------------------------------------------

SInt16 CountDITL(DialogPtr dialog);
// The item's kind, handle (the control of a control item, the procedure of
// a user item, the text of a static text, the resource of an icon or
// picture) and rectangle. An item number out of range leaves the outputs.
void GetDItem(DialogPtr dialog, SInt16 itemNo, SInt16* itemType, Handle* item, Rect* box);
void SetDItem(DialogPtr dialog, SInt16 itemNo, SInt16 itemType, Handle item, const Rect* box);
// Static and edit texts.
void GetIText(Handle item, Str255 text);
void SetIText(Handle item, ConstStringPtr text);
// The item under a local point, counted from 0; -1 for none.
SInt16 FindDItem(DialogPtr dialog, Point thePt);
void HideDItem(DialogPtr dialog, SInt16 itemNo);
void ShowDItem(DialogPtr dialog, SInt16 itemNo);

// A user item's procedure as the handle SetDItem takes, and back.
Handle UserItemHandle(UserItemUPP procedure);
UserItemUPP UserItemProcedure(Handle item);

// ---- Alerts ------------------------------------------------------------------

// The texts that replace ^0 to ^3 in the static texts of later dialogs and
// alerts; a null text leaves its earlier value.
void ParamText(ConstStringPtr param0, ConstStringPtr param1, ConstStringPtr param2,
               ConstStringPtr param3);

// Shows alert alertID and returns the item that dismissed it; Return gives
// the default item (1, or 2 when the alert's first stage says so). -1 when
// the alert or its item list cannot be found, which also goes to standard
// error.
SInt16 Alert(SInt16 alertID, ModalFilterUPP filterProc);

// ---- The host's helpers -------------------------------------------------------

// Makes the "DLOG" template a movable modal window. platformData is the
// host's and is not needed here.
void SetUpMoveableModal(Handle dialogTemplate, UInt32 platformData);
// Moves the "DLOG" (or "ALRT") template's bounds to the centre of the screen.
void CenterDialog(Handle dialogTemplate);
// Makes user item `item` draw the default button's outline: a thick
// rounded frame around item 1.
void SetOutlineOKHook(DialogPtr dialog, SInt16 item);
// Takes one event for the movable modal dialog. Events of other windows go
// to processEvent (when given); the rest go to filterProc and then to the
// standard handling. *itemHit is the item hit, or 0.
void MoveableModalDialog(DialogPtr dialog, ProcessEventProcPtr processEvent,
                         ModalFilterUPP filterProc, SInt16* itemHit);

namespace tessel::platform::dialogs {

// The environment variable naming the file alerts are appended to.
constexpr const char* kAlertLogVariable = "TESSEL_ALERT_LOG";

// A text with every ^0 to ^3 replaced by the ParamText texts.
std::string fill_parameters(const std::string& text);

}  // namespace tessel::platform::dialogs
