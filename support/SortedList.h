// A fixed-capacity list of (key, value) pairs read back in ascending key order,
// all in one zero-filled block: nothing is allocated after the list itself,
// and pairs are never removed. Equal keys keep their order of insertion.
//
// Insertion and lookup walk a chain, which suits the small lists this serves
// (one TIFF directory's entries, visited once each in tag order).
#pragma once

#include "MacTypes.h"

struct SortedListSlot {
  SInt32 key;
  SInt32 value;
  SortedListSlot* next;  // the slot holding the next larger key; null for the last
};

// The block starts with this header; capacity slots follow it, slot 0 always
// holding the smallest key.
struct SortedList {
  SInt32 capacity;
  SInt32 count;
  SInt32 slotsUsed;  // index of the next free slot
};

// On success stores an empty list with room for capacity pairs in *list and
// returns noErr. Returns 1 for a capacity below 1 and the Memory Manager's
// error (memFullErr for a block too large to describe in 32 bits) when the
// block cannot be had; *list is then left unchanged.
OSErr AllocateSortedList(SInt32 capacity, SortedList** list);

// Releases the list's block; a null list is accepted. Returns noErr.
OSErr DisposeSortedList(SortedList* list);

// Adds the pair after any pairs with an equal key. A full list drops the pair
// silently.
void InsertSortedListElement(SortedList* list, SInt32 key, SInt32 value);

SInt32 GetSortedListMaxElements(const SortedList* list);
SInt32 GetSortedListNumElements(const SortedList* list);

// The value and key of the pair with 0-based rank in key order. A negative
// rank reads the first pair; a rank from the count upward lies outside the
// list and reads 0.
SInt32 GetSortedListValueByIndex(const SortedList* list, SInt32 rank);
SInt32 GetSortedListKeyByIndex(const SortedList* list, SInt32 rank);
