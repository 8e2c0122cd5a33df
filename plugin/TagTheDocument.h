// The document tag: a plug-in resource of type "part" that names the file a
// document came from, the rectangle it holds and the image's size then.
//
// Version 6, written by this module, is 296 bytes, big-endian:
//   0   4  version, 6
//   4   2  volume reference of the file
//   6   2  reserved, 0
//   8   4  folder id of the file
//  12  16  the rectangle: top, left, bottom, right, 32 bits each (signed)
//  28   4  the image's width
//  32   4  the image's height
//  36   4  flags, 0; readers ignore the bits they do not know
//  40 256  the file's full name: a length byte and up to 255 bytes of UTF-8
// Version 5, still read, is 92 bytes: version; the file identity as an
// FSSpec lies in memory (volume, 2 bytes of padding, folder id, name as a
// length byte and up to 63 characters); the rectangle (16 bits each); width
// and height (32 bits each).
#pragma once

#include <span>

#include "HostCallbacks.h"
#include "MacTypes.h"
#include "formats/RasterFormats.h"

struct ExportGlobals;

constexpr ResType kDocumentTagType = FourCC("part");
constexpr UInt32 kDocumentTagVersion = 6;
constexpr SInt32 kDocumentTagBytes = 296;
constexpr UInt32 kShortNameTagVersion = 5;
constexpr SInt32 kShortNameTagBytes = 92;

// Replaces every tag of the document by one made from image: its file's
// volume, folder and full name, selection, width and height. 999 when there
// is no memory for the tag, else the host's answer.
OSErr TagTheDocument(const HostResourceProcs* resourceProcs, SourceImage* image);

// Reads the bytes of a tag of either version into image: its file identity,
// selection, recorded width and recorded height. 121 for another version,
// bytes too few for theirs, a name the identity cannot hold, or a version 6
// rectangle that is empty or reaches left of or above the image; image is
// then left as it was.
OSErr DecodeDocumentTag(std::span<const UInt8> bytes, SourceImage* image);

// Fills image's file identity, selection, recorded width and recorded height
// from the document's tag (version 6 or 5): 120 when the document has no tag
// or several, or the host gives no data; 121 for another version, a tag too
// short for its version, a name that cannot be a file's, or a rectangle no
// image can hold. On failure image is left as it was.
OSErr GetImageInfo(ExportGlobals* globals, SourceImage* image);
