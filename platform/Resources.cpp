#include "Resources.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "AppleDouble.h"
#include "ByteOrder.h"
#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "ResourceFork.h"

namespace tessel::platform::resources {
namespace {

namespace fs = std::filesystem;

// Resource forks are numbered apart from data forks, so the two never meet.
constexpr SInt16 kFirstForkReference = 16384;
constexpr SInt16 kFirstUniqueID = 128;

struct Slot {
  Resource resource;
  Handle handle = nullptr;
  bool changed = false;
};

struct OpenFork {
  SInt16 refNum;
  fs::path path;
  bool writable;
  bool changed = false;
  UInt16 attributes;
  std::vector<Slot> slots;
};

struct State {
  std::vector<OpenFork> chain;  // the first opened first
  SInt16 current = 0;
  OSErr error = noErr;
};

State& state() {
  // Never destroyed, like the Memory Manager's state its handles live in.
  static State& instance = *new State;
  return instance;
}

void set_error(OSErr err) { state().error = err; }

OpenFork* find_fork(SInt16 refNum) {
  for (OpenFork& fork : state().chain) {
    if (fork.refNum == refNum) return &fork;
  }
  return nullptr;
}

// The forks a search visits: the current one, then each opened before it.
std::vector<OpenFork*> search_order() {
  std::vector<OpenFork*> order;
  auto& chain = state().chain;
  auto it = std::find_if(chain.begin(), chain.end(),
                         [](const OpenFork& f) { return f.refNum == state().current; });
  if (it == chain.end()) return order;
  for (auto at = it;; --at) {
    order.push_back(&*at);
    if (at == chain.begin()) break;
  }
  return order;
}

struct Location {
  OpenFork* fork = nullptr;
  Slot* slot = nullptr;
};

Location locate(Handle h) {
  if (h == nullptr) return {};
  for (OpenFork& fork : state().chain) {
    for (Slot& slot : fork.slots) {
      if (slot.handle == h) return {&fork, &slot};
    }
  }
  return {};
}

// The resource's handle, loading its data when it has none.
Handle load(Slot& slot) {
  if (slot.handle == nullptr) {
    Handle h = NewHandle(Size(slot.resource.data.size()));
    if (h == nullptr) {
      set_error(MemError());
      return nullptr;
    }
    // An empty resource has no bytes to copy, and no pointer to copy them from.
    if (!slot.resource.data.empty()) {
      std::memcpy(*h, slot.resource.data.data(), slot.resource.data.size());
    }
    slot.handle = h;
  }
  set_error(noErr);
  return slot.handle;
}

// Takes a changed resource's bytes back from its handle.
void gather(Slot& slot) {
  if (!slot.changed || slot.handle == nullptr) return;
  slot.resource.data.assign(*slot.handle, *slot.handle + GetHandleSize(slot.handle));
  slot.changed = false;
}

OSErr write_fork(OpenFork& fork) {
  if (!fork.changed) return noErr;
  if (!fork.writable) return wrPermErr;
  ResourceFork whole{fork.attributes, {}};
  for (Slot& slot : fork.slots) {
    gather(slot);
    whole.resources.push_back(slot.resource);
  }
  auto bytes = serialize_fork(whole);
  if (!bytes) return addResFailed;
  OSErr err = appledouble::write_resource_fork(fork.path, *bytes);
  if (err == noErr) fork.changed = false;
  return err;
}

SInt16 free_fork_reference() {
  SInt16 candidate = kFirstForkReference;
  while (find_fork(candidate) != nullptr) ++candidate;
  return candidate;
}

Handle find_in(OpenFork* fork, ResType type, SInt16 id) {
  if (fork != nullptr) {
    for (Slot& slot : fork->slots) {
      if (slot.resource.type == type && slot.resource.id == id) return load(slot);
    }
  }
  return nullptr;
}

Expected<fs::path> existing_path(const FSSpec* spec) {
  auto path = files::path_from_spec(*spec);
  if (!path) return path;
  struct stat info {};
  if (::stat(path->c_str(), &info) != 0) return Expected<fs::path>::failure(fnfErr);
  return path;
}

SInt16 open_fork(const FSSpec* spec, SInt8 permission) {
  auto path = existing_path(spec);
  if (!path) return set_error(path.error()), SInt16(-1);
  for (OpenFork& fork : state().chain) {
    if (fork.path == *path) {
      state().current = fork.refNum;
      return set_error(noErr), fork.refNum;
    }
  }
  auto bytes = appledouble::read_resource_fork(*path);
  if (!bytes) return set_error(bytes.error()), SInt16(-1);
  if (bytes->empty()) return set_error(eofErr), SInt16(-1);
  auto parsed = parse_fork(*bytes);
  if (!parsed) return set_error(mapReadErr), SInt16(-1);
  OpenFork fork{free_fork_reference(), *path, permission != fsRdPerm, false,
                parsed->attributes,    {}};
  for (Resource& resource : parsed->resources) fork.slots.push_back(Slot{std::move(resource)});
  state().chain.push_back(std::move(fork));
  state().current = state().chain.back().refNum;
  set_error(noErr);
  return state().current;
}

}  // namespace
}  // namespace tessel::platform::resources

namespace res = tessel::platform::resources;

SInt16 FSpOpenResFile(const FSSpec* spec, SInt8 permission) {
  return res::open_fork(spec, permission);
}

void FSpCreateResFile(const FSSpec* spec, OSType creator, OSType fileType, SInt16 scriptTag) {
  auto path = tessel::platform::files::path_from_spec(*spec);
  if (!path) return res::set_error(path.error());
  if (!std::filesystem::exists(*path)) {
    if (OSErr err = FSpCreate(spec, creator, fileType, scriptTag); err != noErr) {
      return res::set_error(err);
    }
  }
  auto existing = tessel::platform::appledouble::read_resource_fork(*path);
  if (existing && !existing->empty()) return res::set_error(dupFNErr);
  if (!existing && existing.error() != eofErr) return res::set_error(existing.error());
  auto empty = res::serialize_fork(res::ResourceFork{});
  res::set_error(tessel::platform::appledouble::write_resource_fork(*path, *empty));
}

void UpdateResFile(SInt16 refNum) {
  res::OpenFork* fork = res::find_fork(refNum);
  if (fork == nullptr) return res::set_error(resFNotFound);
  res::set_error(res::write_fork(*fork));
}

void CloseResFile(SInt16 refNum) {
  res::OpenFork* fork = res::find_fork(refNum);
  if (fork == nullptr) return res::set_error(resFNotFound);
  OSErr err = res::write_fork(*fork);
  for (res::Slot& slot : fork->slots) {
    if (slot.handle != nullptr) DisposeHandle(slot.handle);
  }
  auto& chain = res::state().chain;
  std::erase_if(chain, [refNum](const res::OpenFork& f) { return f.refNum == refNum; });
  if (res::state().current == refNum)
    res::state().current = chain.empty() ? 0 : chain.back().refNum;
  res::set_error(err);
}

SInt16 CurResFile() { return res::state().current; }

void UseResFile(SInt16 refNum) {
  if (res::find_fork(refNum) == nullptr) return res::set_error(resFNotFound);
  res::state().current = refNum;
  res::set_error(noErr);
}

SInt16 Count1Resources(ResType type) {
  res::OpenFork* fork = res::find_fork(res::state().current);
  res::set_error(noErr);
  if (fork == nullptr) return 0;
  return SInt16(std::count_if(fork->slots.begin(), fork->slots.end(),
                              [type](const res::Slot& s) { return s.resource.type == type; }));
}

SInt16 CountResources(ResType type) {
  long count = 0;
  for (const res::OpenFork& fork : res::state().chain) {
    count += std::count_if(fork.slots.begin(), fork.slots.end(),
                           [type](const res::Slot& s) { return s.resource.type == type; });
  }
  res::set_error(noErr);
  return SInt16(std::min(count, 32767L));
}

Handle Get1IndResource(ResType type, SInt16 index) {
  res::OpenFork* fork = res::find_fork(res::state().current);
  if (fork != nullptr && index >= 1) {
    SInt16 seen = 0;
    for (res::Slot& slot : fork->slots) {
      if (slot.resource.type == type && ++seen == index) return res::load(slot);
    }
  }
  res::set_error(resNotFound);
  return nullptr;
}

Handle Get1Resource(ResType type, SInt16 id) {
  res::set_error(noErr);
  Handle h = res::find_in(res::find_fork(res::state().current), type, id);
  if (h == nullptr && ResError() == noErr) res::set_error(resNotFound);
  return h;
}

Handle GetResource(ResType type, SInt16 id) {
  res::set_error(noErr);
  for (res::OpenFork* fork : res::search_order()) {
    if (Handle h = res::find_in(fork, type, id)) return h;
    if (ResError() != noErr) return nullptr;
  }
  res::set_error(resNotFound);
  return nullptr;
}

Handle Get1NamedResource(ResType type, ConstStringPtr name) {
  res::OpenFork* fork = res::find_fork(res::state().current);
  std::string wanted(reinterpret_cast<const char*>(name + 1), name[0]);
  if (fork != nullptr) {
    for (res::Slot& slot : fork->slots) {
      if (slot.resource.type == type && slot.resource.name == wanted) return res::load(slot);
    }
  }
  res::set_error(resNotFound);
  return nullptr;
}

void GetResInfo(Handle resource, SInt16* id, ResType* type, StringPtr name) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound);
  if (id != nullptr) *id = at.slot->resource.id;
  if (type != nullptr) *type = at.slot->resource.type;
  if (name != nullptr) {
    name[0] = UInt8(at.slot->resource.name.size());
    std::memcpy(name + 1, at.slot->resource.name.data(), at.slot->resource.name.size());
  }
  res::set_error(noErr);
}

Size GetResourceSizeOnDisk(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound), Size(-1);
  res::set_error(noErr);
  return Size(at.slot->resource.data.size());
}

void DetachResource(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound);
  res::gather(*at.slot);
  at.slot->handle = nullptr;
  res::set_error(noErr);
}

void ReleaseResource(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound);
  res::gather(*at.slot);
  at.slot->handle = nullptr;
  DisposeHandle(resource);
  res::set_error(noErr);
}

void AddResource(Handle data, ResType type, SInt16 id, ConstStringPtr name) {
  res::OpenFork* fork = res::find_fork(res::state().current);
  if (fork == nullptr || data == nullptr || res::locate(data).slot != nullptr) {
    return res::set_error(addResFailed);
  }
  std::string text = name == nullptr
                         ? std::string()
                         : std::string(reinterpret_cast<const char*>(name + 1), name[0]);
  fork->slots.push_back(res::Slot{res::Resource{type, id, 0, text, {}}, data, true});
  fork->changed = true;
  res::set_error(noErr);
}

void ChangedResource(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound);
  at.slot->changed = true;
  at.fork->changed = true;
  res::set_error(noErr);
}

void RemoveResource(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(rmvResFailed);
  std::erase_if(at.fork->slots, [resource](const res::Slot& s) { return s.handle == resource; });
  at.fork->changed = true;
  res::set_error(noErr);
}

void WriteResource(Handle resource) {
  res::Location at = res::locate(resource);
  if (at.slot == nullptr) return res::set_error(resNotFound);
  res::set_error(at.slot->changed ? res::write_fork(*at.fork) : noErr);
}

SInt16 UniqueID(ResType type) {
  SInt16 id = res::kFirstUniqueID;
  auto taken = [&](SInt16 candidate) {
    for (const res::OpenFork& fork : res::state().chain) {
      for (const res::Slot& slot : fork.slots) {
        if (slot.resource.type == type && slot.resource.id == candidate) return true;
      }
    }
    return false;
  };
  while (taken(id) && id < 32767) ++id;
  res::set_error(noErr);
  return id;
}

void GetIndString(StringPtr text, SInt16 strListID, SInt16 index) {
  text[0] = 0;
  Handle list = GetResource(FourCC("STR#"), strListID);
  if (list == nullptr || index < 1) return;
  std::span<const UInt8> bytes(reinterpret_cast<const UInt8*>(*list),
                               std::size_t(GetHandleSize(list)));
  if (bytes.size() < 2 || index > tessel::platform::read_big16(bytes)) return;
  std::size_t at = 2;
  for (SInt16 i = 1; i < index && at < bytes.size(); ++i) at += 1u + bytes[at];
  if (at >= bytes.size() || at + 1 + bytes[at] > bytes.size()) return;
  std::memcpy(text, bytes.data() + at, 1u + bytes[at]);
}

OSErr ResError() { return res::state().error; }
