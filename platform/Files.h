// The File Manager over POSIX files.
//
// A file identity (FSSpec) names a file by volume reference, folder id and
// name; the catalog gives those numbers meaning across processes. An FSSpec
// whose folder no longer resolves answers fnfErr, as a file that was moved
// away does. Reference numbers of open files are 16-bit. Opening a file with
// write permission takes an advisory lock, so two writers never interleave;
// a file written since it was opened is synced to disk when it is closed.
//
// Locks follow the permission bits, even for the superuser: a file that
// nobody may write is a locked file, a folder in which the user may not make
// changes is a folder without the right to change, a read-only mount is a
// locked volume.
#pragma once

#include <filesystem>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"

constexpr SInt8 fsCurPerm = 0, fsRdPerm = 1, fsWrPerm = 2, fsRdWrPerm = 3, fsRdWrShPerm = 4;
constexpr SInt16 fsAtMark = 0, fsFromStart = 1, fsFromLEOF = 2, fsFromMark = 3;

constexpr SInt16 kOnSystemDisk = -32768;
constexpr OSType kPreferencesFolderType = FourCC("pref");
constexpr OSType kTemporaryFolderType = FourCC("temp");
constexpr Boolean kCreateFolder = 1;
constexpr Boolean kDontCreateFolder = 0;

constexpr UInt16 kVolumeSoftwareLockBit = 0x8000;
constexpr UInt16 kVolumeHardwareLockBit = 0x0080;
constexpr SInt8 kFileLockedAttribute = 0x01;
constexpr SInt8 kDirectoryAttribute = 0x10;
constexpr SInt8 kNoMakeChangesAccess = 0x04;

// Volume information: the fields this platform fills.
struct HVolumeParam {
  OSErr ioResult;
  StringPtr ioNamePtr;  // receives the volume's name when not null
  SInt16 ioVRefNum;
  SInt16 ioVolIndex;  // 0 or less: ioVRefNum decides (0 the current folder's volume)
  UInt16 ioVAtrb;
  SInt32 ioVAlBlkSiz;
  UInt16 ioVNmAlBlks;
  UInt16 ioVFrBlk;
};

struct HParamBlockRec {
  HVolumeParam volumeParam;
};

// Catalog information of a file. Shares its leading fields with DirInfo.
struct HFileInfo {
  OSErr ioResult;
  StringPtr ioNamePtr;
  SInt16 ioVRefNum;
  SInt16 ioFDirIndex;  // 0 by name, < 0 the folder ioDirID itself, > 0 the n-th entry
  SInt8 ioFlAttrib;
  SInt8 ioACUser;
  SInt32 ioDirID;  // in: the parent folder; out: a number for the file
  FInfo ioFlFndrInfo;
  SInt32 ioFlLgLen;
  SInt32 ioFlParID;
};

struct DirInfo {
  OSErr ioResult;
  StringPtr ioNamePtr;
  SInt16 ioVRefNum;
  SInt16 ioFDirIndex;
  SInt8 ioFlAttrib;
  SInt8 ioACUser;
  SInt32 ioDrDirID;
  SInt32 ioDrParID;
};

union CInfoPBRec {
  HFileInfo hFileInfo;
  DirInfo dirInfo;
};

// Folder vRefNum/dirID (0/0: the current folder) and a name, which may be a
// relative or absolute POSIX path. fnfErr when the file does not exist yet,
// with *spec filled all the same, so that it can be created.
//
// A name of 64 to 255 bytes does not fit the record: *spec gets a stand-in
// of at most 63 bytes instead ("start of the name#1A2F.tif": a cut at a
// whole UTF-8 character, a number from the catalog, the name's suffix), which
// every call taking an FSSpec turns back into the real name. A stand-in keeps
// naming its file in later processes for as long as the folder keeps its id.
OSErr FSMakeFSSpec(SInt16 vRefNum, SInt32 dirID, ConstStringPtr fileName, FSSpec* spec);
OSErr FSpOpenDF(const FSSpec* spec, SInt8 permission, SInt16* refNum);
OSErr FSClose(SInt16 refNum);
// Reads *count bytes at the mark; a short read gives eofErr and the count read.
OSErr FSRead(SInt16 refNum, SInt32* count, void* buffer);
OSErr FSWrite(SInt16 refNum, SInt32* count, const void* buffer);
// A position before the start gives posErr and leaves the mark; one past the
// end gives eofErr and leaves the mark at the end.
OSErr SetFPos(SInt16 refNum, SInt16 posMode, SInt32 posOff);
OSErr GetFPos(SInt16 refNum, SInt32* filePos);
OSErr GetEOF(SInt16 refNum, SInt32* logEOF);
OSErr SetEOF(SInt16 refNum, SInt32 logEOF);

// The fork calls: the same open files, reference numbers, writer's lock and
// close-time sync as FSpOpenDF and FSClose, with 64-bit positions and sizes,
// for files past the reach of the signed 32-bit calls above. Only data forks
// exist here. A position mode (fsAtMark, fsFromStart, fsFromLEOF,
// fsFromMark) and an offset say where a read, write or seek starts; as with
// SetFPos, a start before the file gives posErr and one past its end eofErr.
using ByteCount = UInt64;
OSErr FSOpenFork(const FSSpec* spec, SInt8 permission, SInt16* forkRefNum);
// Reads requestCount bytes and leaves the mark after them. A short read gives
// eofErr; *actualCount (when not null) always receives the count moved.
OSErr FSReadFork(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset,
                 ByteCount requestCount, void* buffer, ByteCount* actualCount);
OSErr FSWriteFork(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset,
                  ByteCount requestCount, const void* buffer, ByteCount* actualCount);
OSErr FSGetForkPosition(SInt16 forkRefNum, SInt64* position);
OSErr FSSetForkPosition(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset);
OSErr FSGetForkSize(SInt16 forkRefNum, SInt64* forkSize);
// Sets the length to the position the mode and offset name (fsFromStart:
// the offset itself); the mark moves back when it lay past the new end.
OSErr FSSetForkSize(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset);
OSErr FSCloseFork(SInt16 forkRefNum);
OSErr FSpCreate(const FSSpec* spec, OSType creator, OSType fileType, SInt16 scriptTag);
OSErr FSpDelete(const FSSpec* spec);
// The file's real name, up to 255 bytes of UTF-8: the name a stand-in stands
// for, or the FSSpec's own name. The file need not exist. bdNamErr for an
// empty name; longName is written only on success.
OSErr FSpGetLongName(const FSSpec* spec, Str255 longName);
OSErr FSpGetFInfo(const FSSpec* spec, FInfo* fndrInfo);
OSErr FSpSetFInfo(const FSSpec* spec, const FInfo* fndrInfo);
OSErr PBHGetVInfoSync(HParamBlockRec* paramBlock);
OSErr PBGetCatInfoSync(CInfoPBRec* paramBlock);
// The preferences folder is $XDG_CONFIG_HOME/tessel (default ~/.config/tessel).
OSErr FindFolder(SInt16 vRefNum, OSType folderType, Boolean createFolder, SInt16* foundVRefNum,
                 SInt32* foundDirID);

namespace tessel::platform::files {

// The identity of path. Succeeds when its folder exists, whether or not the
// file itself does; a name of 64 to 255 bytes gets its stand-in, a longer
// one bdNamErr.
Expected<FSSpec> spec_from_path(const std::filesystem::path& path);
// The path an identity names; fnfErr when its folder no longer resolves.
Expected<std::filesystem::path> path_from_spec(const FSSpec& spec);
// The path of an open file; rfNumErr for an unknown reference number.
Expected<std::filesystem::path> path_of_open_file(SInt16 refNum);

// A written file whose close could not make its bytes durable (the sync or
// the close failed). Callers that ignore FSClose's result, as the plug-in's
// finish phase does, leave it here for the host to report.
struct FailedClose {
  std::filesystem::path path;
  OSErr error = 0;
};
// The failed closes since the last call, oldest first; the record is emptied.
std::vector<FailedClose> take_failed_closes();

// Whether another process holds path's writer's lock now (an export writing
// it): the question a host asks before it starts a writer of its own.
bool held_by_another_writer(const std::filesystem::path& path);

// Files whose writes were refused (opWrErr) because another process held
// their writer's lock, since the last call, each once; the record is emptied.
// The refusal's code alone cannot tell the user who holds the file.
std::vector<std::filesystem::path> take_locked_out_writes();

// The Finder type file is taken for while this process runs when it carries
// none of its own ('????'): what a desktop learnt of it from its contents,
// since Linux keeps no type with a file. Nothing is written to the file.
void assume_type(const std::filesystem::path& file, OSType type);

// The file's Finder info as a sidecar or attribute records it, its type
// replaced by an assumed one where it records none.
Expected<FInfo> finder_info_of(const std::filesystem::path& file);

}  // namespace tessel::platform::files
