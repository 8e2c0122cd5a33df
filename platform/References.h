// The reference table: 32-bit stand-ins for pointers.
//
// The host records keep their classic layout, in which a pointer, a callback
// or the plug-in's data slot is 4 bytes wide. On a 64-bit machine such a
// field holds a reference from this table instead of the address; the host
// registers what it hands out (its buffers, callbacks, procs records) and
// either side turns the reference back into the pointer. Reference 0 always
// stands for null. The table lives in libtoolbox, so host and plug-in share
// one.
#pragma once

#include <type_traits>

#include "MacTypes.h"

// The reference of pointer, made on first use: the same pointer always gives
// the same reference until it is disposed of. A null pointer gives 0.
UInt32 NewReference(const void* pointer);
// The pointer a reference stands for; null for 0 and for unknown references.
void* ReferencePointer(UInt32 reference);
// Forgets the reference; 0 and unknown references are ignored. A later
// NewReference of the same pointer gives a fresh reference.
void DisposeReference(UInt32 reference);

// Function pointers live in the same table but apart from data pointers, since
// the language does not promise that one converts into the other.
using UniversalProcPtr = void (*)();
UInt32 NewProcReference(UniversalProcPtr proc);
// The function a reference stands for; null for 0, unknown references and
// references that stand for data pointers.
UniversalProcPtr ReferenceProc(UInt32 reference);

// Typed forms for callbacks of any signature.
template <typename Function>
requires std::is_function_v<Function> UInt32 NewProcReference(Function* proc) {
  return NewProcReference(reinterpret_cast<UniversalProcPtr>(proc));
}

// ProcPtr is the callback's pointer type, e.g. ReferenceProcAs<TestAbortProc>(ref).
template <typename ProcPtr>
requires std::is_function_v<std::remove_pointer_t<ProcPtr>> ProcPtr
ReferenceProcAs(UInt32 reference) {
  return reinterpret_cast<ProcPtr>(ReferenceProc(reference));
}

// Typed form for data pointers.
template <typename T>
T* ReferencePointerAs(UInt32 reference) {
  return static_cast<T*>(ReferencePointer(reference));
}
