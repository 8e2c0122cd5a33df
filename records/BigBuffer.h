// Scratch buffers for runs of file rows, as large as memory allows.
#pragma once

#include "MacTypes.h"

// Grants between 1 and unitCount units of unitSize bytes from whichever heap
// (application heap or temporary memory) has more room, leaving 40000 bytes
// free in it. On success stores the units in *grantedUnits (when not null)
// and the locked buffer's address in *address. memFullErr when not one unit
// fits; then nothing is allocated and both out-values are left unchanged.
OSErr AllocateBigBuffer(SInt32 unitSize, SInt32 unitCount, SInt32* grantedUnits, Ptr* address);

// Releases a buffer from AllocateBigBuffer. Returns noErr.
OSErr DisposeBigBuffer(Ptr address);
