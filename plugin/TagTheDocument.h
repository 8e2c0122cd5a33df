// The document tag: a plug-in resource of type "part" that names the file a
// document came from, the rectangle it holds and the image's size then.
//
// Its data is 92 bytes, big-endian: version (32 bits, always 5); the file
// identity as an FSSpec lies in memory (volume 16 bits, 2 bytes of padding,
// folder id 32 bits, name as a length byte and up to 63 characters); the
// rectangle (top, left, bottom, right, 16 bits each); the image's width and
// height (32 bits each).
#pragma once

#include <span>

#include "HostCallbacks.h"
#include "MacTypes.h"
#include "formats/RasterFormats.h"

struct ExportGlobals;

constexpr ResType kDocumentTagType = FourCC("part");
constexpr SInt32 kDocumentTagBytes = 92;
constexpr UInt32 kDocumentTagVersion = 5;

// Replaces every tag of the document by one made from image: its file
// identity, selection, width and height. 999 when there is no memory for the
// tag, else the host's answer.
OSErr TagTheDocument(const HostResourceProcs* resourceProcs, SourceImage* image);

// Reads the bytes of a tag into image: its file identity, selection, recorded
// width and recorded height. 121 for a version other than 5 or bytes too few
// for it, image left as it was.
OSErr DecodeDocumentTag(std::span<const UInt8> bytes, SourceImage* image);

// Fills image's file identity, selection, recorded width and recorded height
// from the document's tag: 120 when the document has no tag or several, or
// the host gives no data; 121 for a version other than 5. On failure image is
// left as it was.
OSErr GetImageInfo(ExportGlobals* globals, SourceImage* image);
