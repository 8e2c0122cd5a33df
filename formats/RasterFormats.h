// The one door to image files: recognises the three formats, opens a file
// into a SourceImage, and moves rectangles of pixels between the file and a
// Tile through one band mover over the geometry each format describes.
#pragma once

#include "MacTypes.h"
#include "tiles/CopyTile.h"

using FormatCode = UInt32;

constexpr FormatCode kNativeFormat = FourCC("LUMN");
constexpr FormatCode kTIFFFormat = FourCC("TIFF");
constexpr FormatCode kScitexFormat = FourCC("..CT");
constexpr FormatCode kUnknownFormat = FourCC("????");

// The host's image modes.
constexpr SInt16 kBitmapMode = 0;
constexpr SInt16 kGrayscaleMode = 1;
constexpr SInt16 kIndexedMode = 2;
constexpr SInt16 kRGBMode = 3;
constexpr SInt16 kCMYKMode = 4;
constexpr SInt16 kDuotoneMode = 8;
constexpr SInt16 kLabMode = 9;
constexpr SInt16 kUnsupportedMode = 99;

struct FormatHandle {
  FormatCode code;  // 0 before recognition
  void* state;      // the format's private state, owned; null when none
};

struct SourceImage {
  FSSpec fileSpec;
  FormatHandle format;
  SInt16 mode;
  SInt16 depth;
  SInt16 planar;
  SInt32 width;
  SInt32 height;
  SInt16 channels;
  UInt8* colorTable;  // 768 bytes lent by the format's state; null when none
  float hResolution;  // pixels per inch
  float vResolution;
  SInt32 recordedWidth;  // from the document tag, on export only
  SInt32 recordedHeight;
  VRect selection;  // image pixels; bottom and right exclusive
  SInt32 selectionHeight;
  SInt32 selectionWidth;
};

// How the file's samples are stored, for telling the user and for the
// drivers' verdicts. Formats without a choice report the plain values.
struct FormatLayout {
  UInt16 compression;  // the TIFF values; 1 for the other formats
  UInt16 planarConfiguration;
  UInt16 predictor;
  UInt16 fillOrder;
  UInt8 tiled;         // blocks are tiles rather than strips or whole planes
  UInt8 bigTIFF;       // a TIFF with 8-byte offsets
  UInt8 littleEndian;  // a TIFF whose header says "II"
  UInt16 photometric;  // a TIFF's PhotometricInterpretation; 65535 when absent
  SInt32 blockWidth;   // 0 when the layout cannot be moved
  SInt32 blockHeight;
  SInt32 blocksAcross;
  SInt32 blocksDown;
  SInt32 planeGroups;   // 1 for chunky files, else one per plane
  UInt16 refusedTag;    // the TIFF tag whose value failed the open with 300; 0 for none
  SInt32 refusedValue;  // its out-of-range value, when it was an integer
};

struct ScratchAllocator;

// Readies the format layer. The plug-in hands over its big-buffer allocator
// here; with null the layer takes its scratch memory from the plain heap.
OSErr SetupRasterFormats(const ScratchAllocator* scratch = nullptr);

// Writes the six file types the open dialog lists; 499 and nothing written
// when capacity is below 6.
OSErr RasterFormatsMacFileTypes(OSType* types, SInt16 capacity, SInt16* count);

// The format of a file by its type and, for uninformative types, the suffix
// of its name. Always succeeds.
OSErr RasterFormatRecognize(const FSSpec* file, OSType fileType, FormatCode* code);

// Opens image->fileSpec and fills the format handle and the description. A
// failed open may leave a state behind: RasterFormatClose releases it.
OSErr RasterFormatOpen(SourceImage* image);
OSErr RasterFormatGetTile(FormatHandle* handle, const Tile& tile, const TileArea& area);
OSErr RasterFormatPutTile(FormatHandle* handle, const Tile& tile, const TileArea& area);
OSErr RasterFormatClose(FormatHandle* handle);
// The open file's layout; all zero when the handle holds no open format.
OSErr RasterFormatDescribeLayout(const FormatHandle* handle, FormatLayout* layout);
// What the drivers refuse in the open file's layout: for reading (write
// false) 115 to 119, for writing back 122 or 128; noErr when it moves.
OSErr RasterFormatLayoutVerdict(const FormatHandle* handle, Boolean write);
// eofErr when the open file ends before the last byte of the pixels its
// header describes: a file cut short (or replaced by a shorter one) is
// refused whole, before anything is written into it.
OSErr RasterFormatCheckLength(const FormatHandle* handle);
// Where the pixels of the open file end (0 when unknown) and how long the
// file is, for telling the user how much of an image is missing. On failure
// (the file's length cannot be had) leaves both unchanged.
OSErr RasterFormatDataExtent(const FormatHandle* handle, UInt64* dataEnd, UInt64* fileLength);
