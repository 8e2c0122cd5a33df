// The host's image resources of a file: small tagged blocks (type, id,
// optional name, data) read from the file's resource fork or from an
// image-resource block inside its data (TIFF tag 34377).
#pragma once

#include "MacTypes.h"

constexpr ResType kImageResourceType = FourCC("LUMN");
constexpr SInt16 kImageDescriptionID = 1000;
constexpr SInt16 kColorTableID = 1003;
constexpr SInt16 kResolutionID = 1005;
constexpr SInt16 kDuotoneInfoID = 1018;

struct ImageResource {
  ImageResource* next;
  ResType type;
  SInt16 id;
  StringPtr name;  // owned, exactly length + 1 bytes; null when the name is empty
  Handle data;     // owned
};

// The entry read last comes first.
using ImageResourceList = ImageResource*;

// Reads an image-resource block of length bytes at the file's current
// position. On failure the list is left empty: 499 for a negative length, a
// negative data size or entries that run past the length; a read's error
// when the file ends inside the block.
OSErr ParseImageResources(SInt16 file, SInt32 length, ImageResourceList* list);

// Every "LUMN" resource of the file's resource fork. A file without a fork
// gives noErr and an empty list.
OSErr GetImageResourcesFromResourceFork(const FSSpec* file, ImageResourceList* list);

// The data of the "LUMN" entry with this id nearest the front, or null. The
// list keeps ownership.
Handle GetImageResource(ImageResourceList list, SInt16 id);

// Pushes an entry at the front. The name is copied; data becomes the entry's
// on success and stays the caller's on failure.
OSErr AddImageResource(ImageResourceList* list, ResType type, SInt16 id, ConstStringPtr name,
                       Handle data);

void DisposeImageResources(ImageResourceList* list);
