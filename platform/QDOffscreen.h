// Offscreen graphics worlds, pixel maps, colour tables and the one screen.
//
// There is a single graphics device. Its depth stands for the depth of the
// screen a window is shown on; DeviceLoop reports it to drawing procedures
// that pick what to draw by depth. It does not change how ports store their
// pixels.
#pragma once

#include <cstdint>

#include "Quickdraw.h"

struct GDevice {
  SInt16 gdRefNum;
  SInt16 gdID;
  SInt16 gdType;  // 0 indexed (CLUT), 2 direct
  SInt16 gdFlags;
  PixMapHandle gdPMap;
  Rect gdRect;
};
using GDPtr = GDevice*;
using GDHandle = GDPtr*;

using GWorldFlags = UInt32;
constexpr GWorldFlags pixelsPurgeable = 1;
constexpr GWorldFlags noNewDevice = 2;
constexpr GWorldFlags useTempMem = 4;
constexpr GWorldFlags keepLocal = 8;

using QDErr = OSErr;

// Makes an offscreen port of depth 1 or 32 (0 takes the screen's depth)
// whose port rectangle and pixel bounds are boundsRect, white to start with.
// With useTempMem the pixels come from temporary memory. cTable and
// aGDevice are accepted and not used. Refuses other depths with cDepthErr,
// an empty rectangle with paramErr, and reports memFullErr when the zone has
// no room. On failure *offscreenGWorld is left unchanged.
QDErr NewGWorld(GWorldPtr* offscreenGWorld, SInt16 pixelDepth, const Rect* boundsRect,
                CTabHandle cTable, GDHandle aGDevice, GWorldFlags flags);
void DisposeGWorld(GWorldPtr offscreenGWorld);
void GetGWorld(CGrafPtr* port, GDHandle* gdh);
void SetGWorld(CGrafPtr port, GDHandle gdh);
PixMapHandle GetGWorldPixMap(GWorldPtr offscreenGWorld);
// Pixels never move or vanish here; locking always succeeds.
Boolean LockPixels(PixMapHandle pm);
void UnlockPixels(PixMapHandle pm);
Ptr GetPixBaseAddr(PixMapHandle pm);
SInt32 GetPixRowBytes(PixMapHandle pm);

// A pixel map without pixels: 8 bits indexed, the standard 8-bit colour
// table (its own copy, disposed with it), no base address.
PixMapHandle NewPixMap();
// Disposes the map and its colour table, not the pixels.
void DisposePixMap(PixMapHandle pm);

// The standard colour table for depth 1, 2, 4 or 8 (a fresh copy the caller
// disposes with DisposeCTable); null for any other id.
CTabHandle GetCTable(SInt16 ctID);
void DisposeCTable(CTabHandle table);

GDHandle GetMainDevice();
GDHandle GetGDevice();
void SetGDevice(GDHandle gdh);

using DeviceLoopDrawingProcPtr = void (*)(SInt16 depth, SInt16 deviceFlags, GDHandle targetDevice,
                                          std::intptr_t userData);
using DeviceLoopDrawingUPP = DeviceLoopDrawingProcPtr;
using DeviceLoopFlags = UInt32;
constexpr DeviceLoopFlags singleDevices = 1;
constexpr DeviceLoopFlags dontMatchSeeds = 2;
constexpr DeviceLoopFlags allDevices = 4;

// Calls drawingProc once with the screen's depth, its flags and the device,
// unless drawingRgn is given and empty.
void DeviceLoop(RgnHandle drawingRgn, DeviceLoopDrawingUPP drawingProc, std::intptr_t userData,
                DeviceLoopFlags flags);

namespace tessel::platform::quickdraw {

// Sets the depth the screen reports: 1, 2, 4, 8, 16 or 32; false (and no
// change) for anything else.
bool set_screen_depth(int depth);
int screen_depth();

}  // namespace tessel::platform::quickdraw
