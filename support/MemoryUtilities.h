// The plug-in's own small allocations: state records, format states, dialog
// records and lists. Large pixel buffers come from the host or the big-buffer
// allocator instead, so every block here is small and handed out zero-filled.
#pragma once

#include <type_traits>

#include "MacErrors.h"
#include "MacTypes.h"

// A zero-filled non-relocatable block of size bytes. On success stores its
// address in *address and returns noErr; on failure returns the Memory
// Manager's error (memFullErr when the heap is full) and leaves *address
// unchanged, so a caller holding null still knows that nothing is allocated.
OSErr AllocateMemory(SInt32 size, Ptr* address);

// The same for a typed out pointer. Zero bytes must be a valid starting state
// for T, which rules out records with constructors or default initialisers.
template <class T>
OSErr AllocateMemory(SInt32 size, T** address) {
  static_assert(std::is_void_v<T> || (std::is_trivially_default_constructible_v<T> &&
                                      std::is_trivially_destructible_v<T>),
                "a zero-filled block is only a valid start for a plain record");
  Ptr block = nullptr;
  if (OSErr err = AllocateMemory(size, &block); err != noErr) return err;
  *address = static_cast<T*>(static_cast<void*>(block));
  return noErr;
}

// Releases a block from AllocateMemory. A null pointer is accepted and
// ignored, so tear-down code may dispose whatever it holds. Returns noErr.
OSErr DisposeMemory(void* p);

// Stores in *size the size that was asked for when p was allocated and
// returns noErr. A null p gives memWZErr and leaves *size unchanged.
OSErr SizeOfMemory(void* p, SInt32* size);

// Copies count bytes from source to destination (note the order: source
// first). Overlapping areas are copied as if through a buffer.
void MoveMemory(const void* source, void* destination, SInt32 count);

// Stores value into count bytes at destination; a count of zero or less
// stores nothing.
void SetMemory(void* destination, SInt32 count, UInt8 value);
