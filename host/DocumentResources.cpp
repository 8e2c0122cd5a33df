#include "host/DocumentResources.h"

#include <algorithm>
#include <cstring>

#include "MacErrors.h"
#include "MacMemory.h"

namespace tessel::host {

namespace {

DocumentResourceProcs* bound = nullptr;

}  // namespace

DocumentResourceProcs::DocumentResourceProcs(std::vector<PluginResource>& resources)
    : resources_(resources), previous_(bound) {
  bound = this;
}

DocumentResourceProcs::~DocumentResourceProcs() {
  for (Handle handle : lent_) DisposeHandle(handle);
  bound = previous_;
}

const HostResourceProcs* DocumentResourceProcs::procs() const {
  static const HostResourceProcs table{&count, &get, &remove, &add};
  return &table;
}

std::ptrdiff_t DocumentResourceProcs::find(ResType type, SInt16 index) const {
  SInt16 seen = 0;
  for (std::size_t at = 0; at < resources_.size(); ++at) {
    if (resources_[at].type == type && ++seen == index) return std::ptrdiff_t(at);
  }
  return -1;
}

SInt16 DocumentResourceProcs::count(ResType type) {
  if (bound == nullptr) return 0;
  const auto n =
      std::count_if(bound->resources_.begin(), bound->resources_.end(),
                    [type](const PluginResource& resource) { return resource.type == type; });
  return SInt16(std::min<std::ptrdiff_t>(n, 0x7FFF));
}

Handle DocumentResourceProcs::get(ResType type, SInt16 index) {
  if (bound == nullptr) return nullptr;
  const std::ptrdiff_t at = bound->find(type, index);
  if (at < 0) return nullptr;
  const std::vector<UInt8>& data = bound->resources_[std::size_t(at)].data;
  Handle handle = NewHandle(Size(data.size()));
  if (handle == nullptr) return nullptr;
  if (!data.empty()) std::memcpy(*handle, data.data(), data.size());
  bound->lent_.push_back(handle);
  return handle;
}

void DocumentResourceProcs::remove(ResType type, SInt16 index) {
  if (bound == nullptr) return;
  const std::ptrdiff_t at = bound->find(type, index);
  if (at < 0) return;
  bound->resources_.erase(bound->resources_.begin() + at);
  bound->changed_ = true;
}

OSErr DocumentResourceProcs::add(ResType type, Handle data) {
  if (bound == nullptr || data == nullptr) return paramErr;
  const Size size = GetHandleSize(data);
  const auto* bytes = reinterpret_cast<const UInt8*>(*data);
  bound->resources_.push_back(
      {type, size > 0 ? std::vector<UInt8>(bytes, bytes + size) : std::vector<UInt8>{}});
  bound->changed_ = true;
  return noErr;
}

}  // namespace tessel::host
