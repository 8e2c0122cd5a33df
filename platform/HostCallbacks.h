// The host's buffer and document-resource callbacks, and the calls through
// which the plug-in uses them.
//
// The host fills one record of function pointers per service and hands its
// reference to the plug-in in the parameter records (bufferProcs,
// resourceProcs). The plug-in resolves the reference and passes the record's
// address to the calls below. A record counts as offered when the pointer is
// not null and every function in it is set.
#pragma once

#include "MacTypes.h"

// A buffer the host lends; 0 means none.
using BufferID = UInt32;

struct HostBufferProcs {
  // Lends a buffer of rowBytes × rows, rows between minRows and maxRows as
  // the host sees fit; on success writes the rows granted and the buffer's
  // identifier. The meaning of the fourth value belongs to the host.
  OSErr (*allocateStripBuffer)(SInt32 rowBytes, SInt16 minRows, SInt16 maxRows, SInt16 hostValue,
                               SInt16* grantedRows, BufferID* bufferId);
  // The buffer's address, which stays put until it is freed.
  Ptr (*lockBuffer)(BufferID bufferId, Boolean moveHigh);
  void (*freeBuffer)(BufferID bufferId);
};

struct HostResourceProcs {
  // How many resources of type the document carries.
  SInt16 (*countPIResources)(ResType type);
  // The index-th (from 1) resource of type, or null; the handle stays the host's.
  Handle (*getPIResource)(ResType type, SInt16 index);
  void (*deletePIResource)(ResType type, SInt16 index);
  // On success the host has taken a copy; the caller keeps and releases data.
  OSErr (*addPIResource)(ResType type, Handle data);
};

// Nonzero when procs offers the service. When it does not, the call itself
// tells the user in an alert (texts from string list kHostCallbackStrings)
// and returns 0.
Boolean WarnHostBufferProcsAvailable(const HostBufferProcs* procs);
Boolean WarnHostResourceProcsAvailable(const HostResourceProcs* procs);

// String list with the texts of those alerts: 1 no buffer callbacks, 2 no
// document-resource callbacks. Shown through alert 16101 as its ^0.
constexpr SInt16 kHostCallbackStrings = 16006;

// The calls below expect procs that the Warn... call accepted. When procs is
// missing anyway they fail safe: paramErr, null, 0, or nothing done.
OSErr HostAllocateStripBuffer(const HostBufferProcs* procs, SInt32 rowBytes, SInt16 minRows,
                              SInt16 maxRows, SInt16 hostValue, SInt16* grantedRows,
                              BufferID* bufferId);
Ptr HostLockBuffer(const HostBufferProcs* procs, BufferID bufferId, Boolean moveHigh);
void HostFreeBuffer(const HostBufferProcs* procs, BufferID bufferId);

SInt16 HostCountPIResources(const HostResourceProcs* procs, ResType type);
Handle HostGetPIResource(const HostResourceProcs* procs, ResType type, SInt16 index);
void HostDeletePIResource(const HostResourceProcs* procs, ResType type, SInt16 index);
OSErr HostAddPIResource(const HostResourceProcs* procs, ResType type, Handle data);
