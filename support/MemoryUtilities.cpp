#include "support/MemoryUtilities.h"

#include <cstring>

#include "MacMemory.h"

OSErr AllocateMemory(SInt32 size, Ptr* address) {
  Ptr block = NewPtrClear(size);
  if (block == nullptr) return MemError();
  *address = block;
  return noErr;
}

OSErr DisposeMemory(void* p) {
  DisposePtr(static_cast<Ptr>(p));
  return noErr;
}

OSErr SizeOfMemory(void* p, SInt32* size) {
  if (p == nullptr) return memWZErr;
  SInt32 blockSize = GetPtrSize(static_cast<Ptr>(p));
  if (OSErr err = MemError(); err != noErr) return err;
  *size = blockSize;
  return noErr;
}

void MoveMemory(const void* source, void* destination, SInt32 count) {
  BlockMove(source, destination, count);
}

void SetMemory(void* destination, SInt32 count, UInt8 value) {
  if (count <= 0) return;
  std::memset(destination, value, static_cast<std::size_t>(count));
}
