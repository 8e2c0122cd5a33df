// The Resource Manager: resource forks opened into a chain, searched from the
// current file down to the first one opened (the plug-in's own resources,
// which the host opens before anything else).
//
// A fork is read whole when its file is opened and written whole, through
// the file's sidecar, when it was changed and is updated or closed. Loaded
// resources are handles of the Memory Manager; each resource has at most one
// handle at a time, which GetResource hands out again until it is released
// or detached. ResError() tells how the last call went.
#pragma once

#include "MacTypes.h"

constexpr OSErr resNotFound = -192;
constexpr OSErr resFNotFound = -193;
constexpr OSErr addResFailed = -194;
constexpr OSErr rmvResFailed = -196;
constexpr OSErr resAttrErr = -198;
constexpr OSErr mapReadErr = -199;

// -1 on failure; eofErr when the file has no resource fork.
SInt16 FSpOpenResFile(const FSSpec* spec, SInt8 permission);
// Gives the file an empty fork (creating the file when it does not exist);
// dupFNErr when it has a fork already.
void FSpCreateResFile(const FSSpec* spec, OSType creator, OSType fileType, SInt16 scriptTag);
void CloseResFile(SInt16 refNum);
void UpdateResFile(SInt16 refNum);
SInt16 CurResFile();
void UseResFile(SInt16 refNum);

SInt16 Count1Resources(ResType type);
SInt16 CountResources(ResType type);
// index counts from 1, in the order the fork lists the type's resources.
Handle Get1IndResource(ResType type, SInt16 index);
Handle Get1Resource(ResType type, SInt16 id);
Handle GetResource(ResType type, SInt16 id);
Handle Get1NamedResource(ResType type, ConstStringPtr name);
void GetResInfo(Handle resource, SInt16* id, ResType* type, StringPtr name);
Size GetResourceSizeOnDisk(Handle resource);
// The handle becomes the caller's; the resource forgets it.
void DetachResource(Handle resource);
void ReleaseResource(Handle resource);

// Adds the handle's data as a new resource of the current file; the handle
// becomes that resource's.
void AddResource(Handle data, ResType type, SInt16 id, ConstStringPtr name);
void ChangedResource(Handle resource);
void RemoveResource(Handle resource);
void WriteResource(Handle resource);
SInt16 UniqueID(ResType type);

// The index-th (from 1) string of the 'STR#' list; empty when there is none.
void GetIndString(StringPtr text, SInt16 strListID, SInt16 index);

OSErr ResError();
