#include "MacMemory.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <unordered_set>

#include "MacErrors.h"

struct Zone {
  const char* name;
  std::int64_t budget;
  std::int64_t used;
};

namespace tessel::platform::memory {
namespace {

constexpr std::uint32_t kPtrMagic = 0x50545221;     // "PTR!"
constexpr std::uint32_t kHandleMagic = 0x484E4421;  // "HND!"
constexpr std::uint8_t kLocked = 1;
constexpr std::uint8_t kPurgeable = 2;

// Sits in front of every block; its size keeps the caller's bytes aligned as
// malloc aligns them.
struct alignas(16) BlockHeader {
  std::uint32_t magic;
  std::uint8_t flags;
  Size size;
  Zone* zone;
  Handle master;
};
static_assert(sizeof(BlockHeader) == 32);

constexpr std::int64_t kGiB = std::int64_t(1) << 30;

std::int64_t budget_from_environment(const char* variable, std::int64_t fallback) {
  const char* text = std::getenv(variable);
  if (text == nullptr || *text == '\0') return fallback;
  char* end = nullptr;
  long long value = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0' || value < 0) return fallback;
  return value;
}

// Temporary memory may take half the machine, but never more than 8 GiB: it
// holds scratch rows, not whole images.
std::int64_t default_temporary_budget() {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return 2 * kGiB;
  std::int64_t half = std::int64_t(info.totalram) * info.mem_unit / 2;
  return std::clamp(half, kGiB / 4, 8 * kGiB);
}

struct State {
  Zone application{"application heap", budget_from_environment("TESSEL_HEAP_BYTES", kGiB), 0};
  Zone temporary{"temporary memory",
                 budget_from_environment("TESSEL_TEMP_MEMORY_BYTES", default_temporary_budget()),
                 0};
  Zone* current = &application;
  OSErr last_error = noErr;
  std::unordered_set<Handle> live_handles;
};

State& state() {
  // Never destroyed: blocks outlive static destruction (a resource map's
  // handles, a window's pixels), and they stay findable until the process ends.
  static State& instance = *new State;
  return instance;
}

OSErr set_error(OSErr err) {
  state().last_error = err;
  return err;
}

BlockHeader* header_of(const void* data) {
  return reinterpret_cast<BlockHeader*>(const_cast<char*>(static_cast<const char*>(data)) -
                                        sizeof(BlockHeader));
}

char* data_of(BlockHeader* header) { return reinterpret_cast<char*>(header + 1); }

bool zone_has_room(const Zone& zone, std::int64_t bytes) {
  return bytes <= zone.budget - zone.used;
}

// Allocates a block in zone; on failure sets MemError and returns null.
char* allocate_block(Zone* zone, Size byteCount, bool clear, std::uint32_t magic) {
  if (byteCount < 0) {
    set_error(memSCErr);
    return nullptr;
  }
  if (!zone_has_room(*zone, byteCount)) {
    set_error(memFullErr);
    return nullptr;
  }
  std::size_t total = sizeof(BlockHeader) + std::size_t(byteCount);
  void* raw = clear ? std::calloc(1, total) : std::malloc(total);
  if (raw == nullptr) {
    set_error(memFullErr);
    return nullptr;
  }
  auto* header = new (raw) BlockHeader{magic, 0, byteCount, zone, nullptr};
  zone->used += byteCount;
  set_error(noErr);
  return data_of(header);
}

void free_block(char* data) {
  BlockHeader* header = header_of(data);
  header->zone->used -= header->size;
  header->magic = 0;
  std::free(header);
}

Handle new_handle_in(Zone* zone, Size byteCount, bool clear) {
  char* data = allocate_block(zone, byteCount, clear, kHandleMagic);
  if (data == nullptr) return nullptr;
  auto* master = new (std::nothrow) Ptr(data);
  if (master == nullptr) {
    free_block(data);
    set_error(memFullErr);
    return nullptr;
  }
  header_of(data)->master = master;
  state().live_handles.insert(master);
  return master;
}

// The header of a live handle's block, or null with MemError set.
BlockHeader* checked_handle(Handle h) {
  if (h == nullptr) {
    set_error(nilHandleErr);
    return nullptr;
  }
  if (!state().live_handles.contains(h)) {
    set_error(memWZErr);
    return nullptr;
  }
  set_error(noErr);
  return header_of(*h);
}

Size clamp_to_size(std::int64_t bytes) {
  return Size(std::clamp<std::int64_t>(bytes, 0, std::numeric_limits<Size>::max()));
}

}  // namespace

THz temporary_zone() { return &state().temporary; }

void set_zone_budget(THz zone, std::int64_t bytes) {
  zone->budget = std::max<std::int64_t>(bytes, 0);
}

std::int64_t zone_budget(THz zone) { return zone->budget; }

std::int64_t zone_used(THz zone) { return zone->used; }

}  // namespace tessel::platform::memory

namespace mem = tessel::platform::memory;

Ptr NewPtr(Size byteCount) {
  return mem::allocate_block(GetZone(), byteCount, false, mem::kPtrMagic);
}

Ptr NewPtrClear(Size byteCount) {
  return mem::allocate_block(GetZone(), byteCount, true, mem::kPtrMagic);
}

void DisposePtr(Ptr p) {
  if (p != nullptr) mem::free_block(p);
  mem::set_error(noErr);
}

Size GetPtrSize(Ptr p) {
  if (p == nullptr || mem::header_of(p)->magic != mem::kPtrMagic) {
    mem::set_error(memWZErr);
    return 0;
  }
  mem::set_error(noErr);
  return mem::header_of(p)->size;
}

Handle NewHandle(Size byteCount) { return mem::new_handle_in(GetZone(), byteCount, false); }

Handle NewHandleClear(Size byteCount) { return mem::new_handle_in(GetZone(), byteCount, true); }

Handle TempNewHandle(Size byteCount, OSErr* resultCode) {
  Handle h = mem::new_handle_in(mem::temporary_zone(), byteCount, false);
  if (resultCode != nullptr) *resultCode = MemError();
  return h;
}

void DisposeHandle(Handle h) {
  if (h == nullptr) {
    mem::set_error(noErr);
    return;
  }
  if (mem::checked_handle(h) == nullptr) return;
  mem::state().live_handles.erase(h);
  mem::free_block(*h);
  delete h;
  mem::set_error(noErr);
}

Size GetHandleSize(Handle h) {
  mem::BlockHeader* header = mem::checked_handle(h);
  return header == nullptr ? 0 : header->size;
}

void SetHandleSize(Handle h, Size newSize) {
  mem::BlockHeader* header = mem::checked_handle(h);
  if (header == nullptr) return;
  if (newSize < 0) {
    mem::set_error(memSCErr);
    return;
  }
  std::int64_t growth = std::int64_t(newSize) - header->size;
  if (growth > 0 && (header->flags & mem::kLocked) != 0) {
    mem::set_error(memFullErr);
    return;
  }
  if (!mem::zone_has_room(*header->zone, growth)) {
    mem::set_error(memFullErr);
    return;
  }
  void* moved = std::realloc(header, sizeof(mem::BlockHeader) + std::size_t(newSize));
  if (moved == nullptr) {
    mem::set_error(memFullErr);
    return;
  }
  header = static_cast<mem::BlockHeader*>(moved);
  header->zone->used += growth;
  header->size = newSize;
  *h = mem::data_of(header);
  mem::set_error(noErr);
}

void HLock(Handle h) {
  if (mem::BlockHeader* header = mem::checked_handle(h)) header->flags |= mem::kLocked;
}

void HUnlock(Handle h) {
  if (mem::BlockHeader* header = mem::checked_handle(h))
    header->flags &= std::uint8_t(~mem::kLocked);
}

void HPurge(Handle h) {
  if (mem::BlockHeader* header = mem::checked_handle(h)) header->flags |= mem::kPurgeable;
}

void HNoPurge(Handle h) {
  if (mem::BlockHeader* header = mem::checked_handle(h))
    header->flags &= std::uint8_t(~mem::kPurgeable);
}

Handle RecoverHandle(Ptr p) {
  if (p == nullptr || mem::header_of(p)->magic != mem::kHandleMagic) {
    mem::set_error(memWZErr);
    return nullptr;
  }
  mem::set_error(noErr);
  return mem::header_of(p)->master;
}

THz HandleZone(Handle h) {
  mem::BlockHeader* header = mem::checked_handle(h);
  return header == nullptr ? nullptr : header->zone;
}

THz ApplicZone() { return &mem::state().application; }

THz GetZone() { return mem::state().current; }

void SetZone(THz zone) {
  if (zone != nullptr) mem::state().current = zone;
  mem::set_error(noErr);
}

Size MaxBlock() {
  const Zone& zone = *GetZone();
  mem::set_error(noErr);
  return mem::clamp_to_size(zone.budget - zone.used);
}

Size FreeMem() { return MaxBlock(); }

void BlockMove(const void* source, void* destination, Size count) {
  if (count > 0) std::memmove(destination, source, std::size_t(count));
  mem::set_error(noErr);
}

Ptr StripAddress(void* address) { return static_cast<Ptr>(address); }

OSErr MemError() { return mem::state().last_error; }
