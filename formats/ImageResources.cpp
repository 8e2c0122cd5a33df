#include "formats/ImageResources.h"

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "Resources.h"
#include "formats/FormatCodes.h"
#include "support/FileUtilities.h"
#include "support/MemoryUtilities.h"
#include "support/PStringUtilities.h"

// An entry's header: type, id and name, with the name's pad byte. Subtracts
// what it reads from *remaining.
static OSErr readEntryHeader(SInt16 file, SInt32* remaining, ResType* type, SInt16* id,
                             Str255 name) {
  UInt32 signature = 0;
  UInt16 number = 0;
  if (OSErr err = ReadLong(file, kBigEndian, &signature); err != noErr) return err;
  if (OSErr err = ReadWord(file, kBigEndian, &number); err != noErr) return err;
  if (OSErr err = ReadPString(file, name); err != noErr) return err;
  *remaining -= 4 + 2 + 1 + name[0];
  if (name[0] % 2 == 0) {
    UInt8 pad = 0;
    if (OSErr err = ReadByte(file, kBigEndian, &pad); err != noErr) return err;
    *remaining -= 1;
  }
  *type = signature;
  *id = SInt16(number);
  return noErr;
}

static UInt64 bytesLeftInFile(SInt16 file) {
  SInt64 position = 0, end = 0;
  if (GetPosition(file, &position) != noErr || GetFileLength(file, &end) != noErr) return 0;
  return end > position ? UInt64(end - position) : 0;
}

// An entry's data block, with the pad byte after odd sizes.
static OSErr readEntryData(SInt16 file, SInt32* remaining, Handle* data) {
  UInt32 size = 0;
  if (OSErr err = ReadLong(file, kBigEndian, &size); err != noErr) return err;
  *remaining -= 4;
  if (SInt32(size) < 0) return kFormatFailure;
  // Data running past the file, or past the block, fails either way (with
  // the end of the file, or once the count goes negative). Both are decided
  // here, before a damaged size can ask for gigabytes.
  if (size > bytesLeftInFile(file)) return eofErr;
  if (SInt32(size) > *remaining) return kFormatFailure;
  Handle block = NewHandle(SInt32(size));
  if (block == nullptr) return kFormatFailure;
  HLock(block);
  OSErr err = ReadBytes(file, SInt32(size), *block);
  HUnlock(block);
  if (err != noErr) {
    DisposeHandle(block);
    return err;
  }
  *remaining -= SInt32(size);
  if (size % 2 == 1) {
    SkipBytes(file, 1);
    *remaining -= 1;
  }
  *data = block;
  return noErr;
}

static OSErr parseEntry(SInt16 file, SInt32* remaining, ImageResourceList* list) {
  ResType type = 0;
  SInt16 id = 0;
  Str255 name;
  Handle data = nullptr;
  if (OSErr err = readEntryHeader(file, remaining, &type, &id, name); err != noErr) return err;
  if (OSErr err = readEntryData(file, remaining, &data); err != noErr) return err;
  if (OSErr err = AddImageResource(list, type, id, name, data); err != noErr) {
    DisposeHandle(data);
    return err;
  }
  return noErr;
}

OSErr ParseImageResources(SInt16 file, SInt32 length, ImageResourceList* list) {
  *list = nullptr;
  SInt32 remaining = length;
  OSErr err = noErr;
  while (err == noErr && remaining != 0) {
    err = remaining < 0 ? kFormatFailure : parseEntry(file, &remaining, list);
  }
  if (err != noErr) DisposeImageResources(list);
  return err;
}

static OSErr pushResource(Handle resource, ImageResourceList* list) {
  SInt16 id = 0;
  ResType type = 0;
  Str255 name;
  GetResInfo(resource, &id, &type, name);
  DetachResource(resource);
  if (OSErr err = AddImageResource(list, type, id, name, resource); err != noErr) {
    DisposeHandle(resource);
    return err;
  }
  return noErr;
}

OSErr GetImageResourcesFromResourceFork(const FSSpec* file, ImageResourceList* list) {
  *list = nullptr;
  SInt16 fork = 0;
  OSErr err = OpenResourceFile(file, &fork);
  if (err == eofErr) return noErr;
  if (err != noErr) return err;
  SInt16 count = Count1Resources(kImageResourceType);
  for (SInt16 index = 1; index <= count && err == noErr; ++index) {
    Handle resource = Get1IndResource(kImageResourceType, index);
    err = resource == nullptr ? kFormatFailure : pushResource(resource, list);
  }
  CloseResourceFile(fork);
  return err;
}

Handle GetImageResource(ImageResourceList list, SInt16 id) {
  for (ImageResource* entry = list; entry != nullptr; entry = entry->next) {
    if (entry->type == kImageResourceType && entry->id == id) return entry->data;
  }
  return nullptr;
}

static OSErr memoryError() {
  OSErr err = MemError();
  return err != noErr ? err : kFormatFailure;
}

OSErr AddImageResource(ImageResourceList* list, ResType type, SInt16 id, ConstStringPtr name,
                       Handle data) {
  ImageResource* entry = nullptr;
  if (AllocateMemory(sizeof(ImageResource), &entry) != noErr) return memoryError();
  if (name != nullptr && name[0] != 0) {
    if (AllocateMemory(name[0] + 1, &entry->name) != noErr) {
      OSErr err = memoryError();
      DisposeMemory(entry);
      return err;
    }
    CopyPString(name, entry->name);
  }
  entry->type = type;
  entry->id = id;
  entry->data = data;
  entry->next = *list;
  *list = entry;
  return noErr;
}

void DisposeImageResources(ImageResourceList* list) {
  while (*list != nullptr) {
    ImageResource* entry = *list;
    *list = entry->next;
    DisposeMemory(entry->name);
    DisposeHandle(entry->data);
    DisposeMemory(entry);
  }
}
