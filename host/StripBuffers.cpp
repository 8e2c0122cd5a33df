#include "host/StripBuffers.h"

#include <algorithm>

#include "MacErrors.h"

namespace tessel::host {

namespace {

StripBuffers* bound = nullptr;

}  // namespace

StripBuffers::StripBuffers(SInt64 budget) : budget_(budget), previous_(bound) { bound = this; }

StripBuffers::~StripBuffers() { bound = previous_; }

const HostBufferProcs* StripBuffers::procs() const {
  static const HostBufferProcs table{&allocate, &lock, &release};
  return &table;
}

OSErr StripBuffers::allocate(SInt32 rowBytes, SInt16 minRows, SInt16 maxRows, SInt16,
                             SInt16* grantedRows, BufferID* bufferId) {
  if (bound == nullptr || rowBytes <= 0 || minRows <= 0 || maxRows < minRows) return paramErr;
  const SInt64 fitting = bound->budget_ / rowBytes;
  if (fitting < minRows) return memFullErr;
  const SInt16 rows = SInt16(std::min<SInt64>(fitting, maxRows));
  const BufferID id = bound->nextId_++;
  bound->buffers_[id].assign(std::size_t(rowBytes) * std::size_t(rows), 0);
  *grantedRows = rows;
  *bufferId = id;
  return noErr;
}

Ptr StripBuffers::lock(BufferID bufferId, Boolean) {
  if (bound == nullptr) return nullptr;
  const auto found = bound->buffers_.find(bufferId);
  return found == bound->buffers_.end() ? nullptr : reinterpret_cast<Ptr>(found->second.data());
}

void StripBuffers::release(BufferID bufferId) {
  if (bound != nullptr) bound->buffers_.erase(bufferId);
}

}  // namespace tessel::host
