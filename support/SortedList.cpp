#include "support/SortedList.h"

#include <cstdint>
#include <limits>

#include "MacErrors.h"
#include "support/MemoryUtilities.h"

// Slots start at the first offset after the header that suits their alignment.
constexpr std::size_t kSlotsOffset = (sizeof(SortedList) + alignof(SortedListSlot) - 1) /
                                     alignof(SortedListSlot) * alignof(SortedListSlot);

// A list without room for one pair is a caller's mistake, not a memory shortage.
constexpr OSErr kBadCapacity = 1;

static SortedListSlot* slotsOf(SortedList* list) {
  return static_cast<SortedListSlot*>(
      static_cast<void*>(reinterpret_cast<char*>(list) + kSlotsOffset));
}

static const SortedListSlot* slotsOf(const SortedList* list) {
  return slotsOf(const_cast<SortedList*>(list));
}

// The pair of that rank, or null outside the list.
static const SortedListSlot* slotOfRank(const SortedList* list, SInt32 rank) {
  if (rank >= list->count) return nullptr;
  const SortedListSlot* slot = slotsOf(list);
  for (SInt32 step = 0; step < rank; ++step) slot = slot->next;
  return slot;
}

OSErr AllocateSortedList(SInt32 capacity, SortedList** list) {
  if (capacity < 1) return kBadCapacity;
  // Widened first: a product that wrapped in 32 bits would allocate a block
  // far smaller than the list writes into. Too large a block gets the answer
  // the heap gives to any request it cannot meet.
  std::int64_t blockSize =
      std::int64_t{kSlotsOffset} + std::int64_t{capacity} * std::int64_t{sizeof(SortedListSlot)};
  if (blockSize > std::numeric_limits<SInt32>::max()) return memFullErr;
  SortedList* block = nullptr;
  if (OSErr err = AllocateMemory(static_cast<SInt32>(blockSize), &block); err != noErr) return err;
  block->capacity = capacity;
  *list = block;
  return noErr;
}

OSErr DisposeSortedList(SortedList* list) { return DisposeMemory(list); }

void InsertSortedListElement(SortedList* list, SInt32 key, SInt32 value) {
  if (list->count == list->capacity) return;
  SortedListSlot* slots = slotsOf(list);
  SortedListSlot* fresh = &slots[list->slotsUsed];
  ++list->count;
  ++list->slotsUsed;
  if (list->count == 1) {
    *fresh = {key, value, nullptr};
    return;
  }
  // The head must stay in slot 0, so a pair that goes before another takes
  // that one's slot and pushes the displaced pair into the fresh slot.
  SortedListSlot* slot = &slots[0];
  for (;;) {
    if (slot->key > key) {
      *fresh = *slot;
      *slot = {key, value, fresh};
      return;
    }
    if (slot->next == nullptr) break;
    slot = slot->next;
  }
  *fresh = {key, value, nullptr};
  slot->next = fresh;
}

SInt32 GetSortedListMaxElements(const SortedList* list) { return list->capacity; }

SInt32 GetSortedListNumElements(const SortedList* list) { return list->count; }

SInt32 GetSortedListValueByIndex(const SortedList* list, SInt32 rank) {
  const SortedListSlot* slot = slotOfRank(list, rank);
  return slot == nullptr ? 0 : slot->value;
}

SInt32 GetSortedListKeyByIndex(const SortedList* list, SInt32 rank) {
  const SortedListSlot* slot = slotOfRank(list, rank);
  return slot == nullptr ? 0 : slot->key;
}
