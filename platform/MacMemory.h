// The Memory Manager: non-relocatable blocks (Ptr), relocatable blocks with
// real master pointers (Handle), and two zones with byte budgets.
//
// Zones stand in for the classic heaps so that "how much room is left"
// questions (MaxBlock, TempNewHandle) have answers that callers can plan
// with. The application heap serves NewPtr and NewHandle while it is the
// current zone; temporary memory serves TempNewHandle. Each zone refuses an
// allocation that would take it past its budget with memFullErr. Budgets
// default to sizes fit for a modern machine; the environment variables
// TESSEL_HEAP_BYTES and TESSEL_TEMP_MEMORY_BYTES override them, and
// tessel::platform::memory::set_zone_budget changes them at run time.
//
// Every call sets MemError(). Blocks are never purged or moved behind the
// caller's back: HPurge only records the wish.
#pragma once

#include <cstdint>

#include "MacTypes.h"

struct Zone;
using THz = Zone*;

Ptr NewPtr(Size byteCount);
Ptr NewPtrClear(Size byteCount);
void DisposePtr(Ptr p);
Size GetPtrSize(Ptr p);

Handle NewHandle(Size byteCount);
Handle NewHandleClear(Size byteCount);
// Temporary memory. On failure returns null and stores the error in *resultCode.
Handle TempNewHandle(Size byteCount, OSErr* resultCode);
void DisposeHandle(Handle h);
Size GetHandleSize(Handle h);
// Growing a locked handle fails with memFullErr: a locked block may not move.
void SetHandleSize(Handle h, Size newSize);
void HLock(Handle h);
void HUnlock(Handle h);
void HPurge(Handle h);
void HNoPurge(Handle h);
// The handle whose block starts at p, or null (MemError memWZErr) when p is
// not the start of a relocatable block.
Handle RecoverHandle(Ptr p);

THz HandleZone(Handle h);
THz ApplicZone();
THz GetZone();
void SetZone(THz zone);
// The largest block the current zone could still give.
Size MaxBlock();
Size FreeMem();

// Copies count bytes; overlapping areas are copied as if through a buffer.
void BlockMove(const void* source, void* destination, Size count);
Ptr StripAddress(void* address);

OSErr MemError();

namespace tessel::platform::memory {

THz temporary_zone();
void set_zone_budget(THz zone, std::int64_t bytes);
std::int64_t zone_budget(THz zone);
std::int64_t zone_used(THz zone);

}  // namespace tessel::platform::memory
