#include "records/BigBuffer.h"

#include "MacErrors.h"
#include "MacMemory.h"

static constexpr Size kReserve = 40000;

static Size roomAfterReserve(THz zone) {
  SetZone(zone);
  Size room = MaxBlock() - kReserve;
  return room < 0 ? 0 : room;
}

OSErr AllocateBigBuffer(SInt32 unitSize, SInt32 unitCount, SInt32* grantedUnits, Ptr* address) {
  OSErr err = noErr;
  Handle probe = TempNewHandle(0, &err);
  if (probe == nullptr) return err != noErr ? err : memFullErr;
  THz temporaryZone = HandleZone(probe);
  DisposeHandle(probe);

  if (unitSize <= 0) return memFullErr;
  Size tempFree = roomAfterReserve(temporaryZone);
  Size appFree = roomAfterReserve(ApplicZone());
  SInt64 need = SInt64(unitSize) * unitCount;

  bool useTemporary = appFree < need && appFree < tempFree;
  Size room = useTemporary ? tempFree : appFree;
  SInt32 units = room / unitSize;
  if (units <= 0) return memFullErr;
  if (units > unitCount) units = unitCount;

  Size bytes = units * unitSize;
  Handle buffer = nullptr;
  if (useTemporary) {
    buffer = TempNewHandle(bytes, &err);
  } else {
    buffer = NewHandle(bytes);
    err = MemError();
  }
  if (buffer == nullptr) return err != noErr ? err : memFullErr;

  if (grantedUnits != nullptr) *grantedUnits = units;
  HLock(buffer);
  *address = StripAddress(*buffer);
  return noErr;
}

OSErr DisposeBigBuffer(Ptr address) {
  DisposeHandle(RecoverHandle(address));
  return noErr;
}
