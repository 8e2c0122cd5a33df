#include "HostCallbacks.h"

#include "Dialogs.h"
#include "MacErrors.h"
#include "Resources.h"

namespace tessel::platform::host_callbacks {
namespace {

// An alert of its own: these notices carry no result code to show.
constexpr SInt16 kMessageAlert = 16101;
constexpr SInt16 kNoBufferProcsMessage = 1;
constexpr SInt16 kNoResourceProcsMessage = 2;

bool offers(const HostBufferProcs* procs) {
  return procs != nullptr && procs->allocateStripBuffer != nullptr &&
         procs->lockBuffer != nullptr && procs->freeBuffer != nullptr;
}

bool offers(const HostResourceProcs* procs) {
  return procs != nullptr && procs->countPIResources != nullptr &&
         procs->getPIResource != nullptr && procs->deletePIResource != nullptr &&
         procs->addPIResource != nullptr;
}

// Tells the user which service the host lacks, in the plug-in's message alert.
Boolean warn_missing(SInt16 messageIndex) {
  Str255 message;
  GetIndString(message, kHostCallbackStrings, messageIndex);
  const unsigned char empty[1] = {0};
  ParamText(message, empty, empty, empty);
  InitCursor();
  Alert(kMessageAlert, nullptr);
  return 0;
}

}  // namespace
}  // namespace tessel::platform::host_callbacks

namespace callbacks = tessel::platform::host_callbacks;

Boolean WarnHostBufferProcsAvailable(const HostBufferProcs* procs) {
  return callbacks::offers(procs) ? 1 : callbacks::warn_missing(callbacks::kNoBufferProcsMessage);
}

Boolean WarnHostResourceProcsAvailable(const HostResourceProcs* procs) {
  return callbacks::offers(procs) ? 1 : callbacks::warn_missing(callbacks::kNoResourceProcsMessage);
}

OSErr HostAllocateStripBuffer(const HostBufferProcs* procs, SInt32 rowBytes, SInt16 minRows,
                              SInt16 maxRows, SInt16 hostValue, SInt16* grantedRows,
                              BufferID* bufferId) {
  if (!callbacks::offers(procs)) return paramErr;
  return procs->allocateStripBuffer(rowBytes, minRows, maxRows, hostValue, grantedRows, bufferId);
}

Ptr HostLockBuffer(const HostBufferProcs* procs, BufferID bufferId, Boolean moveHigh) {
  return callbacks::offers(procs) ? procs->lockBuffer(bufferId, moveHigh) : nullptr;
}

void HostFreeBuffer(const HostBufferProcs* procs, BufferID bufferId) {
  if (callbacks::offers(procs)) procs->freeBuffer(bufferId);
}

SInt16 HostCountPIResources(const HostResourceProcs* procs, ResType type) {
  return callbacks::offers(procs) ? procs->countPIResources(type) : SInt16(0);
}

Handle HostGetPIResource(const HostResourceProcs* procs, ResType type, SInt16 index) {
  return callbacks::offers(procs) ? procs->getPIResource(type, index) : nullptr;
}

void HostDeletePIResource(const HostResourceProcs* procs, ResType type, SInt16 index) {
  if (callbacks::offers(procs)) procs->deletePIResource(type, index);
}

OSErr HostAddPIResource(const HostResourceProcs* procs, ResType type, Handle data) {
  return callbacks::offers(procs) ? procs->addPIResource(type, data) : paramErr;
}
