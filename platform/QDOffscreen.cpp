// Ports with pixel buffers of their own, offscreen worlds, pixel maps and the
// one graphics device.
#include "QDOffscreen.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "DeviceScale.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "QuickdrawInternal.h"

namespace tessel::platform::quickdraw {
namespace {

constexpr Fixed kSeventyTwoDpi = Fixed(72) << 16;
constexpr int kMaxRowBytes = 0x3FFF;
constexpr Rect kWideOpen{-32768, -32768, 32767, 32767};

// Device coordinates are 16-bit like local ones.
bool fits_device(const Rect& bounds, int scale) {
  for (int side : {bounds.top, bounds.left, bounds.bottom, bounds.right}) {
    int device = side * scale;
    if (device < std::numeric_limits<SInt16>::min() || device > std::numeric_limits<SInt16>::max())
      return false;
  }
  return true;
}

int row_bytes_for(int width, int depth) {
  return depth == 32 ? width * 4 : ((width + 31) / 32) * 4;
}

// The port remembers where its pixels came from, so that close_port gives
// them back the same way.
OSErr allocate_pixels(GrafPort& port, Size bytes, PixelMemory memory, Ptr* pixels) {
  switch (memory) {
    case PixelMemory::screen:
      port.screenPixels = static_cast<Ptr>(std::malloc(std::size_t(bytes)));
      if (port.screenPixels == nullptr) return memFullErr;
      *pixels = port.screenPixels;
      return noErr;
    case PixelMemory::application_heap:
      port.ownedPixels = NewPtr(bytes);
      if (port.ownedPixels == nullptr) return MemError() != noErr ? MemError() : memFullErr;
      *pixels = port.ownedPixels;
      return noErr;
    case PixelMemory::temporary: break;
  }
  OSErr err = noErr;
  Handle block = TempNewHandle(bytes, &err);
  if (block == nullptr) return err != noErr ? err : memFullErr;
  HLock(block);
  port.ownedTempPixels = block;
  *pixels = *block;
  return noErr;
}

PixMapHandle make_pixmap(Ptr pixels, int rowBytes, const Rect& bounds, int depth) {
  PixMapHandle pm = new_record<PixMap>();
  PixMap& map = **pm;
  map.baseAddr = pixels;
  map.rowBytes = SInt16(rowBytes | kPixMapMarker);
  map.bounds = bounds;
  map.hRes = map.vRes = kSeventyTwoDpi;
  map.pixelType = depth == 32 ? RGBDirect : 0;
  map.pixelSize = SInt16(depth);
  map.cmpCount = depth == 32 ? 3 : 1;
  map.cmpSize = depth == 32 ? 8 : SInt16(depth);
  map.pmTable = depth == 32 ? nullptr : GetCTable(SInt16(depth));
  return pm;
}

RgnHandle rect_region(const Rect& r) {
  RgnHandle rgn = NewRgn();
  RectRgn(rgn, &r);
  return rgn;
}

void set_port_defaults(GrafPort& port, const Rect& bounds) {
  port.portRect = bounds;
  port.visRgn = rect_region(bounds);
  port.clipRgn = rect_region(kWideOpen);
  port.bkPat = kWhitePattern;
  port.rgbFgColor = RGBColor{0, 0, 0};
  port.rgbBkColor = RGBColor{0xFFFF, 0xFFFF, 0xFFFF};
  port.pnLoc = Point{0, 0};
  port.pnSize = Point{1, 1};
  port.pnMode = patCopy;
  port.pnPat = kBlackPattern;
  port.txFont = applFont;
  port.txMode = srcOr;
}

// The one screen: a pixel map that only tells its depth, and its device.
struct Screen {
  PixMap map{};
  PixMap* mapMaster = &map;
  GDevice device{};
  GDevice* deviceMaster = &device;

  Screen() {
    map.rowBytes = kPixMapMarker;
    map.bounds = Rect{0, 0, 768, 1024};
    map.pixelType = RGBDirect;
    map.pixelSize = 32;
    device.gdType = 2;
    device.gdFlags = 1;
    device.gdRect = map.bounds;
    device.gdPMap = &mapMaster;
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
};

Screen& screen() {
  static Screen s;
  return s;
}

}  // namespace

OSErr open_port(GrafPort& port, const Rect& bounds, int depth, PixelMemory memory,
                int deviceScale) {
  if (depth != 1 && depth != 32) return cDepthErr;
  if (EmptyRect(&bounds) || deviceScale < 1 || deviceScale > scale::kMaxScale) return paramErr;
  if (!fits_device(bounds, deviceScale)) return paramErr;
  Rect device = to_device(bounds, deviceScale);
  int rowBytes = row_bytes_for(device.right - device.left, depth);
  std::int64_t bytes = std::int64_t(rowBytes) * (device.bottom - device.top);
  if (rowBytes > kMaxRowBytes || bytes > std::numeric_limits<Size>::max()) return paramErr;
  GrafPort made{};
  Ptr pixels = nullptr;
  if (OSErr err = allocate_pixels(made, Size(bytes), memory, &pixels); err != noErr) return err;
  std::memset(pixels, depth == 32 ? 0xFF : 0x00, std::size_t(bytes));
  made.portPixMap = make_pixmap(pixels, rowBytes, bounds, depth);
  (**made.portPixMap).deviceScale = SInt16(deviceScale);
  set_port_defaults(made, bounds);
  port = made;
  return noErr;
}

void close_port(GrafPort& port) {
  if (current_port() == &port) current_port() = nullptr;
  if (port.ownedPixels != nullptr) DisposePtr(port.ownedPixels);
  if (port.ownedTempPixels != nullptr) DisposeHandle(port.ownedTempPixels);
  std::free(port.screenPixels);
  if (port.portPixMap != nullptr) DisposePixMap(port.portPixMap);
  DisposeRgn(port.visRgn);
  DisposeRgn(port.clipRgn);
  port = GrafPort{};
}

bool set_screen_depth(int depth) {
  if (depth != 1 && depth != 2 && depth != 4 && depth != 8 && depth != 16 && depth != 32) {
    return false;
  }
  Screen& s = screen();
  s.map.pixelSize = SInt16(depth);
  s.map.pixelType = depth >= 16 ? RGBDirect : 0;
  s.device.gdType = depth >= 16 ? 2 : 0;
  return true;
}

int screen_depth() { return screen().map.pixelSize; }

}  // namespace tessel::platform::quickdraw

namespace qd = tessel::platform::quickdraw;

QDErr NewGWorld(GWorldPtr* offscreenGWorld, SInt16 pixelDepth, const Rect* boundsRect, CTabHandle,
                GDHandle, GWorldFlags flags) {
  int depth = pixelDepth == 0 ? qd::screen_depth() : pixelDepth;
  if (depth != 1 && depth != 32) return cDepthErr;
  auto* world = new (std::nothrow) GrafPort{};
  if (world == nullptr) return memFullErr;
  auto memory =
      (flags & useTempMem) != 0 ? qd::PixelMemory::temporary : qd::PixelMemory::application_heap;
  if (OSErr err = qd::open_port(*world, *boundsRect, depth, memory); err != noErr) {
    delete world;
    return err;
  }
  *offscreenGWorld = world;
  return noErr;
}

void DisposeGWorld(GWorldPtr offscreenGWorld) {
  if (offscreenGWorld == nullptr) return;
  qd::close_port(*offscreenGWorld);
  delete offscreenGWorld;
}

void GetGWorld(CGrafPtr* port, GDHandle* gdh) {
  *port = qd::current_port();
  *gdh = GetGDevice();
}

void SetGWorld(CGrafPtr port, GDHandle gdh) {
  SetPort(port);
  if (gdh != nullptr) SetGDevice(gdh);
}

PixMapHandle GetGWorldPixMap(GWorldPtr offscreenGWorld) { return offscreenGWorld->portPixMap; }

Boolean LockPixels(PixMapHandle pm) { return pm != nullptr; }

void UnlockPixels(PixMapHandle) {}

Ptr GetPixBaseAddr(PixMapHandle pm) { return (**pm).baseAddr; }

SInt32 GetPixRowBytes(PixMapHandle pm) { return qd::row_bytes_of(**pm); }

PixMapHandle NewPixMap() {
  PixMapHandle pm = qd::new_record<PixMap>();
  PixMap& map = **pm;
  map.rowBytes = kPixMapMarker;
  map.hRes = map.vRes = Fixed(72) << 16;
  map.pixelSize = 8;
  map.cmpCount = 1;
  map.cmpSize = 8;
  map.pmTable = GetCTable(8);
  return pm;
}

void DisposePixMap(PixMapHandle pm) {
  if (pm == nullptr) return;
  DisposeCTable((**pm).pmTable);
  qd::dispose_record(pm);
}

GDHandle GetMainDevice() { return &qd::screen().deviceMaster; }

GDHandle GetGDevice() { return &qd::screen().deviceMaster; }

// There is one device; setting it changes nothing.
void SetGDevice(GDHandle) {}

void DeviceLoop(RgnHandle drawingRgn, DeviceLoopDrawingUPP drawingProc, std::intptr_t userData,
                DeviceLoopFlags) {
  if (drawingRgn != nullptr && EmptyRect(&(**drawingRgn).rgnBBox)) return;
  GDHandle device = GetMainDevice();
  drawingProc(SInt16(qd::screen_depth()), (**device).gdFlags, device, userData);
}
