#include "References.h"

#include <map>
#include <utility>
#include <variant>

namespace tessel::platform::references {
namespace {

using Target = std::variant<const void*, UniversalProcPtr>;

struct Table {
  std::map<UInt32, Target> targets;
  std::map<Target, UInt32> references;
  UInt32 next = 1;
};

// Never destroyed: blocks that live until the process ends (the plug-in's
// state records) stay reachable through it to the very end.
Table& table() {
  static Table* instance = new Table;
  return *instance;
}

// References are handed out in increasing order and never reused, so a stale
// reference cannot silently come to mean another object. Wrapping past 2^32
// skips 0 and references still in use.
UInt32 fresh_reference(Table& t) {
  while (t.next == 0 || t.targets.contains(t.next)) ++t.next;
  return t.next++;
}

UInt32 reference_of(const Target& target) {
  Table& t = table();
  if (auto it = t.references.find(target); it != t.references.end()) return it->second;
  UInt32 reference = fresh_reference(t);
  t.targets.emplace(reference, target);
  t.references.emplace(target, reference);
  return reference;
}

const Target* target_of(UInt32 reference) {
  const Table& t = table();
  auto it = t.targets.find(reference);
  return it == t.targets.end() ? nullptr : &it->second;
}

UInt32 new_reference(const Target& target) { return reference_of(target); }

void dispose(UInt32 reference) {
  Table& t = table();
  auto it = t.targets.find(reference);
  if (it == t.targets.end()) return;
  t.references.erase(it->second);
  t.targets.erase(it);
}

void* pointer(UInt32 reference) {
  const Target* target = target_of(reference);
  const void* const* data = target ? std::get_if<const void*>(target) : nullptr;
  return data ? const_cast<void*>(*data) : nullptr;
}

UniversalProcPtr proc(UInt32 reference) {
  const Target* target = target_of(reference);
  const UniversalProcPtr* function = target ? std::get_if<UniversalProcPtr>(target) : nullptr;
  return function ? *function : nullptr;
}

}  // namespace
}  // namespace tessel::platform::references

namespace references = tessel::platform::references;

UInt32 NewReference(const void* pointer) {
  return pointer == nullptr ? 0 : references::new_reference(references::Target(pointer));
}

void* ReferencePointer(UInt32 reference) { return references::pointer(reference); }

void DisposeReference(UInt32 reference) { references::dispose(reference); }

UInt32 NewProcReference(UniversalProcPtr proc) {
  return proc == nullptr ? 0 : references::new_reference(references::Target(proc));
}

UniversalProcPtr ReferenceProc(UInt32 reference) { return references::proc(reference); }
