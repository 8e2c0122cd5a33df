// The buffer callbacks the host offers the plug-in: strip buffers lent
// within a byte budget. As with the resource callbacks, the object made last
// is the one the callbacks serve.
#pragma once

#include <map>
#include <vector>

#include "HostCallbacks.h"

namespace tessel::host {

class StripBuffers {
 public:
  explicit StripBuffers(SInt64 budget);
  ~StripBuffers();
  StripBuffers(const StripBuffers&) = delete;
  StripBuffers& operator=(const StripBuffers&) = delete;

  const HostBufferProcs* procs() const;

 private:
  // Grants as many rows up to maxRows as the budget holds, never fewer than
  // minRows: memFullErr then, and paramErr for a nonsensical request.
  static OSErr allocate(SInt32 rowBytes, SInt16 minRows, SInt16 maxRows, SInt16 hostValue,
                        SInt16* grantedRows, BufferID* bufferId);
  static Ptr lock(BufferID bufferId, Boolean moveHigh);
  static void release(BufferID bufferId);

  SInt64 budget_;
  BufferID nextId_ = 1;
  std::map<BufferID, std::vector<UInt8>> buffers_;
  StripBuffers* previous_;
};

}  // namespace tessel::host
