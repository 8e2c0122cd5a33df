// QuickDraw: a software rasterizer for the drawing calls Tessel makes.
//
// Every port owns (or borrows) a pixel map of depth 1 or 32 and draws into it
// in memory; a window, a dialog and an offscreen world are all ports, and a
// backend shows a window by reading its pixels. Local coordinates map to the
// pixel buffer through the pixel map's bounds: local (h, v) is buffer column
// h - bounds.left of row v - bounds.top. In a port with a device scale s
// (a window on a dense screen) the buffer is s times as wide and tall, and
// local (h, v) covers the s x s block from column s * (h - bounds.left) and
// row s * (v - bounds.top); lines, patterns and pixel copies are drawn as
// blocks, text at s times its size.
//
// Pixels in memory: 32-bit pixels are four bytes, an unused byte (written
// 0xFF) then red, green and blue; 1-bit pixels are packed eight to a byte,
// most significant bit first, 1 black and 0 white.
//
// Regions are rectangles here: a region is kept as its bounding box, which
// is all the callers of this layer ever build.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

#include "MacTypes.h"

struct RGBColor {
  UInt16 red;
  UInt16 green;
  UInt16 blue;
};

struct Pattern {
  UInt8 pat[8];
};
using ConstPatternParam = const Pattern*;

// Text face bits.
using Style = UInt8;
using StyleParameter = SInt16;
constexpr Style normal = 0;
constexpr Style bold = 1;
constexpr Style italic = 2;
constexpr Style underline = 4;
constexpr Style outline = 8;
constexpr Style shadow = 16;
constexpr Style condense = 32;
constexpr Style extend = 64;

// Transfer modes. Source modes serve CopyBits and text; pattern modes the pen.
constexpr SInt16 srcCopy = 0;
constexpr SInt16 srcOr = 1;
constexpr SInt16 srcXor = 2;
constexpr SInt16 srcBic = 3;
constexpr SInt16 notSrcCopy = 4;
constexpr SInt16 notSrcOr = 5;
constexpr SInt16 notSrcXor = 6;
constexpr SInt16 notSrcBic = 7;
constexpr SInt16 patCopy = 8;
constexpr SInt16 patOr = 9;
constexpr SInt16 patXor = 10;
constexpr SInt16 patBic = 11;
constexpr SInt16 notPatCopy = 12;
constexpr SInt16 notPatOr = 13;
constexpr SInt16 notPatXor = 14;
constexpr SInt16 notPatBic = 15;

// The eight colours of ForeColor and BackColor.
constexpr SInt32 blackColor = 33;
constexpr SInt32 whiteColor = 30;
constexpr SInt32 redColor = 205;
constexpr SInt32 greenColor = 341;
constexpr SInt32 blueColor = 409;
constexpr SInt32 cyanColor = 273;
constexpr SInt32 magentaColor = 137;
constexpr SInt32 yellowColor = 69;

constexpr OSErr cDepthErr = -157;  // a pixel depth this layer cannot draw

struct ColorSpec {
  SInt16 value;
  RGBColor rgb;
};

// ctSize is the number of entries minus one. With ctFlags bit 0x8000 (a
// device table) an entry's position is its pixel value; otherwise its value
// field is.
struct ColorTable {
  SInt32 ctSeed;
  SInt16 ctFlags;
  SInt16 ctSize;
  ColorSpec ctTable[256];
};
using CTabPtr = ColorTable*;
using CTabHandle = CTabPtr*;

// rowBytes of a PixMap carries the marker bit 0x8000; of a plain bitmap not.
// The low 14 bits are the row length in bytes.
struct BitMap {
  Ptr baseAddr;
  SInt16 rowBytes;
  Rect bounds;
};
using BitMapPtr = BitMap*;

constexpr SInt16 kPixMapMarker = SInt16(0x8000);
constexpr SInt16 RGBDirect = 16;

// A PixMap is a BitMap with more to say, so that either passes as the
// BitMap of CopyBits and CopyMask.
struct PixMap : BitMap {
  SInt16 pmVersion;
  SInt16 packType;
  SInt32 packSize;
  Fixed hRes;
  Fixed vRes;
  SInt16 pixelType;  // 0 indexed through pmTable, RGBDirect
  SInt16 pixelSize;  // 1, 2, 4, 8 indexed; 32 direct
  SInt16 cmpCount;
  SInt16 cmpSize;
  OSType pixelFormat;
  CTabHandle pmTable;
  // Device pixels per unit of bounds, across and down: a window on a dense
  // screen keeps its bounds and has a buffer this many times larger. 0
  // counts as 1, so that maps built by hand stay one to one.
  SInt16 deviceScale;
};
using PixMapPtr = PixMap*;
using PixMapHandle = PixMapPtr*;

struct Region {
  SInt16 rgnSize;
  Rect rgnBBox;
};
using RgnPtr = Region*;
using RgnHandle = RgnPtr*;

// A colour pattern: an 8 x 8 (or larger power of two) image tiled over what
// it fills, aligned like a pen pattern. pat1Data stands in on 1-bit ports.
struct PixPat {
  SInt16 patType;  // 0 the one-bit pat1Data only, 1 a full-colour image
  PixMapHandle patMap;
  Handle patData;
  Pattern pat1Data;
};
using PixPatPtr = PixPat*;
using PixPatHandle = PixPatPtr*;

// One port record serves both the black-and-white and the colour port.
struct GrafPort {
  PixMapHandle portPixMap;
  Rect portRect;
  RgnHandle visRgn;
  RgnHandle clipRgn;
  Pattern bkPat;
  RGBColor rgbFgColor;
  RGBColor rgbBkColor;
  Point pnLoc;
  Point pnSize;
  SInt16 pnMode;
  Pattern pnPat;
  PixPatHandle pnPixPat;  // drawn instead of pnPat when set (PenPixPat)
  SInt16 txFont;
  Style txFace;
  SInt16 txMode;
  SInt16 txSize;
  // Where the pixel buffer's top-left corner sits on the screen, in global
  // coordinates. A window sets it when it is placed; offscreen ports keep
  // (0, 0).
  Point globalOffset;
  // The platform's own bookkeeping: pixel memory the port allocated itself,
  // from the application heap, temporary memory, or outside both.
  Ptr ownedPixels;
  Handle ownedTempPixels;
  Ptr screenPixels;
};
using GrafPtr = GrafPort*;
using CGrafPort = GrafPort;
using CGrafPtr = GrafPort*;
using GWorldPtr = CGrafPtr;

struct FontInfo {
  SInt16 ascent;
  SInt16 descent;
  SInt16 widMax;
  SInt16 leading;
};

struct PenState {
  Point pnLoc;
  Point pnSize;
  SInt16 pnMode;
  Pattern pnPat;
};

// Standard patterns.
constexpr Pattern kBlackPattern{{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};
constexpr Pattern kWhitePattern{{0, 0, 0, 0, 0, 0, 0, 0}};
constexpr Pattern kGrayPattern{{0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55}};

// ---- Rectangles and points ------------------------------------------------
// Rectangles are top, left, bottom, right with bottom and right exclusive; a
// rectangle with bottom <= top or right <= left is empty.

void SetRect(Rect* r, SInt16 left, SInt16 top, SInt16 right, SInt16 bottom);
void OffsetRect(Rect* r, SInt16 dh, SInt16 dv);
void InsetRect(Rect* r, SInt16 dh, SInt16 dv);
// The intersection; an empty result is stored as (0, 0, 0, 0). True when it
// is not empty.
Boolean SectRect(const Rect* a, const Rect* b, Rect* result);
// The smallest rectangle holding both; result may alias either argument.
void UnionRect(const Rect* a, const Rect* b, Rect* result);
Boolean EqualRect(const Rect* a, const Rect* b);
Boolean EmptyRect(const Rect* r);
// A point lies in a rectangle when it is at or right of left, at or below
// top, and left of right and above bottom.
Boolean PtInRect(Point pt, const Rect* r);
void SetPt(Point* pt, SInt16 h, SInt16 v);
Boolean EqualPt(Point a, Point b);

// ---- Regions (rectangular) ------------------------------------------------

RgnHandle NewRgn();
void DisposeRgn(RgnHandle rgn);
void RectRgn(RgnHandle rgn, const Rect* r);
void SetRectRgn(RgnHandle rgn, SInt16 left, SInt16 top, SInt16 right, SInt16 bottom);
void CopyRgn(RgnHandle source, RgnHandle destination);
Rect* GetRegionBounds(RgnHandle rgn, Rect* bounds);

// ---- Ports ----------------------------------------------------------------

void SetPort(GrafPtr port);
void GetPort(GrafPtr* port);
// Moves the local coordinate system so that the port rectangle's top-left is
// (h, v). The pixels, the clip rectangle and the pen stay where they are in
// local coordinates, so they appear to move against the picture.
void SetOrigin(SInt16 h, SInt16 v);
void ClipRect(const Rect* r);
void GetClip(RgnHandle rgn);
void SetClip(RgnHandle rgn);
// Local and global (screen) coordinates, through the port's globalOffset.
void GlobalToLocal(Point* pt);
void LocalToGlobal(Point* pt);
const BitMap* GetPortBitMapForCopyBits(CGrafPtr port);
PixMapHandle GetPortPixMap(CGrafPtr port);
Rect* GetPortBounds(CGrafPtr port, Rect* rect);
RgnHandle GetPortVisibleRegion(CGrafPtr port, RgnHandle visRgn);

// ---- Pen and colours -------------------------------------------------------

// One pixel square, patCopy, solid black; the pen's location stays.
void PenNormal();
void PenSize(SInt16 width, SInt16 height);
void PenPat(ConstPatternParam pattern);
void PenPixPat(PixPatHandle pattern);
void PenMode(SInt16 mode);
void GetPenState(PenState* state);
void SetPenState(const PenState* state);
void GetPen(Point* pt);
void BackPat(ConstPatternParam pattern);
void ForeColor(SInt32 color);
void BackColor(SInt32 color);
void RGBForeColor(const RGBColor* color);
void RGBBackColor(const RGBColor* color);
void GetForeColor(RGBColor* color);
void GetBackColor(RGBColor* color);

// ---- Lines and rectangles ---------------------------------------------------

void MoveTo(SInt16 h, SInt16 v);
void Move(SInt16 dh, SInt16 dv);
// Lines drawn with the pen: the pen's rectangle is dragged from the pen's
// location to the end point, which becomes the pen's location.
void LineTo(SInt16 h, SInt16 v);
void Line(SInt16 dh, SInt16 dv);
// The outline just inside r, as thick as the pen, in the pen's pattern and mode.
void FrameRect(const Rect* r);
void PaintRect(const Rect* r);
// Fills with the background pattern and colour.
void EraseRect(const Rect* r);
// Fills with the given pattern in patCopy.
void FillRect(const Rect* r, ConstPatternParam pattern);
void FillCRect(const Rect* r, PixPatHandle pattern);
void InvertRect(const Rect* r);

// ---- Colour patterns --------------------------------------------------------

PixPatHandle NewPixPat();
// A colour pattern from 'ppat' resource id, whose indexed image (1 to 8
// bits) becomes the pattern; a pattern of another type keeps only its
// one-bit pattern. Null when the resource is missing or its data does not
// fit inside it.
PixPatHandle GetPixPat(SInt16 id);
void DisposePixPat(PixPatHandle pattern);

// ---- Pixel copies -----------------------------------------------------------

// Copies srcRect of srcBits into dstRect of dstBits, scaling by nearest
// neighbour when the rectangles differ in size. The copy is clipped to the
// destination's bounds, to maskRgn when given, and, when dstBits is the
// current port's, to that port's clip and port rectangles. One-bit sources
// are coloured with the port's fore (1) and back (0) colours. Sources may be
// 1, 2, 4 or 8 bits indexed through their colour table, or 32 bits direct;
// destinations 1 or 32 bits. Other depths draw nothing.
void CopyBits(const BitMap* srcBits, const BitMap* dstBits, const Rect* srcRect,
              const Rect* dstRect, SInt16 mode, RgnHandle maskRgn);
// As CopyBits in srcCopy, but only where the one-bit mask has a 1.
void CopyMask(const BitMap* srcBits, const BitMap* maskBits, const BitMap* dstBits,
              const Rect* srcRect, const Rect* maskRect, const Rect* dstRect);

// ---- Pictures ---------------------------------------------------------------

// A picture is a handle holding 'PICT' data (two-byte size, frame, opcodes).
using PicHandle = Handle;

// Draws a version 2 picture scaled from its frame to dstRect. Bitmap opcodes
// are drawn; every other opcode of known length is skipped. A picture that
// cannot be parsed draws nothing at all.
void DrawPicture(PicHandle picture, const Rect* dstRect);
// The picture's frame, decoded from its header.
Rect* QDGetPictureBounds(PicHandle picture, Rect* frame);

// ---- Text --------------------------------------------------------------------

constexpr SInt16 systemFont = 0;
constexpr SInt16 applFont = 1;

void TextFont(SInt16 font);
void TextFace(StyleParameter face);
void TextMode(SInt16 mode);
void TextSize(SInt16 size);  // 0 stands for the default size, 12
// The number of a font the platform knows by name (system, application,
// "Geneva", "Monaco", ...); 0 (the system font) for a name it does not know.
void GetFNum(ConstStringPtr name, SInt16* familyID);
void GetFontName(SInt16 familyID, Str255 name);
void GetFontInfo(FontInfo* info);
SInt16 CharWidth(SInt16 ch);
SInt16 StringWidth(ConstStringPtr s);
SInt16 TextWidth(const void* text, SInt16 firstByte, SInt16 byteCount);
// Draws Mac Roman text at the pen, baseline on the pen's v, in the fore
// colour; the pen moves right by the text's width. Bold and italic pick the
// family's bold and oblique faces and underline draws a line under the
// text; the other face bits change nothing. In srcCopy the text's cell is
// first filled with the back colour.
void DrawString(ConstStringPtr s);
void DrawChar(SInt16 ch);
void DrawText(const void* text, SInt16 firstByte, SInt16 byteCount);

namespace tessel::platform::quickdraw {

// Where a port's pixels come from. A window's pixels stand for the screen
// and are taken outside the Memory Manager's zones, so that a full heap
// still lets an alert appear; offscreen worlds take theirs from a zone.
enum class PixelMemory { screen, application_heap, temporary };

// Makes port a port of its own depth-deep pixel buffer (1 or 32) of the
// size of bounds, which becomes both its port rectangle and its pixel map's
// bounds. The buffer starts white. On failure the port is left closed (all
// zero): cDepthErr for another depth, paramErr for an empty or too wide
// rectangle, memFullErr (or the zone's error) when there is no room.
// With a device scale above 1 (at most 4) the buffer has scale times the
// columns and rows of bounds.
OSErr open_port(GrafPort& port, const Rect& bounds, int depth,
                PixelMemory memory = PixelMemory::screen, int deviceScale = 1);
// Frees what open_port made; the port is zeroed. Closing the current port
// leaves no current port.
void close_port(GrafPort& port);

// The RGB of a pixel in local coordinates (0xRRGGBB), the top-left device
// pixel of its block; 0 outside the buffer.
UInt32 pixel(const GrafPort& port, int h, int v);
// Device pixels per local pixel of the port (1 for offscreen worlds).
int device_scale(const GrafPort& port);
// The RGB of a device pixel: column h and row v of the buffer, counted from
// its top-left corner; 0 outside the buffer.
UInt32 device_pixel(const GrafPort& port, int h, int v);
// Text in UTF-8 rather than Mac Roman, for what the file system names
// (files and folders): drawn and measured as DrawText does.
void draw_utf8(std::string_view text);
int utf8_width(std::string_view text);

// Writes the port's whole pixel buffer, at device resolution, as an 8-bit
// RGB PNG.
OSErr save_png(const GrafPort& port, const std::filesystem::path& path);
// As save_png, with an alpha channel from mask, a port of the same bounds:
// opaque where the mask is black, clear elsewhere. paramErr when the bounds
// differ.
OSErr save_png(const GrafPort& port, const GrafPort& mask, const std::filesystem::path& path);

}  // namespace tessel::platform::quickdraw
