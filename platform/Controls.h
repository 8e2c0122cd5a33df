// The Control Manager: push buttons, check boxes and radio buttons, drawn
// into their window's port. A control's record is reached through a handle,
// as the Toolbox hands it out.
#pragma once

#include "MacTypes.h"
#include "Quickdraw.h"
#include "Windows.h"

struct ControlRecord {
  WindowPtr contrlOwner;
  Rect contrlRect;
  UInt8 contrlVis;
  UInt8 contrlHilite;  // 0 normal, a part code while pressed, 255 inactive
  SInt16 contrlValue;
  SInt16 contrlMin;
  SInt16 contrlMax;
  SInt16 procID;
  SInt32 contrlRfCon;
  Str255 contrlTitle;
};
using ControlPtr = ControlRecord*;
using ControlHandle = ControlRecord**;
using ControlRef = ControlHandle;
using ControlActionUPP = void (*)(ControlHandle control, SInt16 part);

constexpr SInt16 pushButProc = 0;
constexpr SInt16 checkBoxProc = 1;
constexpr SInt16 radioButProc = 2;

// Part codes.
constexpr SInt16 inButton = 10;
constexpr SInt16 inCheckBox = 11;

// A control in window's port; drawn at once when visible. Null when memory
// runs out or procID is not one of the three above.
ControlHandle NewControl(WindowPtr window, const Rect* boundsRect, ConstStringPtr title,
                         Boolean visible, SInt16 value, SInt16 min, SInt16 max, SInt16 procID,
                         SInt32 refCon);
void DisposeControl(ControlHandle control);
void Draw1Control(ControlHandle control);
void ShowControl(ControlHandle control);
void HideControl(ControlHandle control);
void HiliteControl(ControlHandle control, SInt16 hiliteState);
// The value, kept between the control's minimum and maximum; setting it
// redraws the control.
SInt16 GetCtlValue(ControlHandle control);
void SetCtlValue(ControlHandle control, SInt16 value);
SInt16 GetControlValue(ControlHandle control);
void SetControlValue(ControlHandle control, SInt16 value);
SInt16 GetCtlMin(ControlHandle control);
SInt16 GetCtlMax(ControlHandle control);
// The part of the control under a local point; 0 outside or inactive.
SInt16 TestControl(ControlHandle control, Point thePt);
// Follows the mouse from a press at startPt until release, highlighting the
// control while the mouse is over it; the part released in, or 0.
SInt16 TrackControl(ControlHandle control, Point startPt, ControlActionUPP actionProc);

namespace tessel::platform::controls {

// The rounded frame of a push button, pen-thick, inside r.
void frame_round(const Rect& r, int radius);

}  // namespace tessel::platform::controls
