#include "support/FileUtilities.h"

#include <climits>

#include "Files.h"
#include "MacErrors.h"
#include "MacMemory.h"
#include "Resources.h"

OSErr OpenFile(const FSSpec* file, SInt16* refNum) { return FSpOpenDF(file, fsCurPerm, refNum); }

OSErr CloseFile(SInt16 refNum) { return FSClose(refNum); }

OSErr CreateFile(const FSSpec* file, OSType creator, OSType fileType, SInt16 scriptCode) {
  return FSpCreate(file, creator, fileType, scriptCode);
}

OSErr DeleteFile(const FSSpec* file) { return FSpDelete(file); }

OSErr OpenResourceFile(const FSSpec* file, SInt16* refNum) {
  SInt16 ref = FSpOpenResFile(file, fsCurPerm);
  if (ref == -1) return ResError();
  *refNum = ref;
  return noErr;
}

OSErr CloseResourceFile(SInt16 refNum) {
  CloseResFile(refNum);
  return ResError();
}

OSErr CreateResourceFile(const FSSpec* file, OSType creator, OSType fileType, SInt16 scriptCode) {
  FSpCreateResFile(file, creator, fileType, scriptCode);
  return ResError();
}

OSErr GetFileType(const FSSpec* file, OSType* fileType) {
  FInfo info{};
  if (OSErr err = FSpGetFInfo(file, &info); err != noErr) return err;
  *fileType = info.fdType;
  return noErr;
}

static OSErr volumeLockState(SInt16 vRefNum) {
  HParamBlockRec pb{};
  pb.volumeParam.ioVRefNum = vRefNum;
  pb.volumeParam.ioVolIndex = 0;
  if (OSErr err = PBHGetVInfoSync(&pb); err != noErr) return err;
  return (pb.volumeParam.ioVAtrb & (kVolumeSoftwareLockBit | kVolumeHardwareLockBit)) != 0
             ? vLckdErr
             : noErr;
}

static OSErr folderLockState(const FSSpec* file) {
  CInfoPBRec pb{};
  pb.dirInfo.ioVRefNum = file->vRefNum;
  pb.dirInfo.ioFDirIndex = -1;
  pb.dirInfo.ioDrDirID = file->parID;
  if (OSErr err = PBGetCatInfoSync(&pb); err != noErr) return err;
  return (pb.dirInfo.ioACUser & kNoMakeChangesAccess) != 0 ? vLckdErr : noErr;
}

static OSErr fileLockState(const FSSpec* file) {
  Str63 name;
  BlockMove(file->name, name, file->name[0] + 1);
  CInfoPBRec pb{};
  pb.hFileInfo.ioNamePtr = name;
  pb.hFileInfo.ioVRefNum = file->vRefNum;
  pb.hFileInfo.ioFDirIndex = 0;
  pb.hFileInfo.ioDirID = file->parID;
  if (OSErr err = PBGetCatInfoSync(&pb); err != noErr) return err;
  return (pb.hFileInfo.ioFlAttrib & kFileLockedAttribute) != 0 ? fLckdErr : noErr;
}

OSErr GetFileWriteable(const FSSpec* file) {
  if (OSErr err = volumeLockState(file->vRefNum); err != noErr) return err;
  if (OSErr err = folderLockState(file); err != noErr) return err;
  return fileLockState(file);
}

OSErr ReadBytes(SInt16 refNum, SInt64 count, void* buffer) {
  if (count <= 0) return noErr;
  return FSReadFork(refNum, fsAtMark, 0, ByteCount(count), buffer, nullptr);
}

OSErr WriteBytes(SInt16 refNum, SInt64 count, const void* buffer) {
  if (count <= 0) return noErr;
  return FSWriteFork(refNum, fsAtMark, 0, ByteCount(count), buffer, nullptr);
}

OSErr SkipBytes(SInt16 refNum, SInt64 delta) {
  return FSSetForkPosition(refNum, fsFromMark, delta);
}

OSErr GetPosition(SInt16 refNum, SInt64* position) { return FSGetForkPosition(refNum, position); }

OSErr SeekTo(SInt16 refNum, SInt64 position) {
  return FSSetForkPosition(refNum, fsFromStart, position);
}

OSErr SeekToOffset(SInt16 refNum, UInt64 position) {
  if (position > UInt64(INT64_MAX)) return eofErr;
  return SeekTo(refNum, SInt64(position));
}

OSErr GetFileLength(SInt16 refNum, SInt64* length) { return FSGetForkSize(refNum, length); }

OSErr SeekToEOF(SInt16 refNum) { return FSSetForkPosition(refNum, fsFromLEOF, 0); }

OSErr ReadPString(SInt16 refNum, StringPtr text) {
  if (OSErr err = ReadBytes(refNum, 1, text); err != noErr) return err;
  return ReadBytes(refNum, text[0], text + 1);
}

OSErr ReadByte(SInt16 refNum, SInt16 /*byteOrder*/, UInt8* value) {
  return ReadBytes(refNum, 1, value);
}

UInt64 DecodeInteger(const UInt8* bytes, SInt32 count, SInt16 byteOrder) {
  UInt64 result = 0;
  for (SInt32 i = 0; i < count; ++i) {
    UInt8 next = byteOrder == kBigEndian ? bytes[i] : bytes[count - 1 - i];
    result = (result << 8) | next;
  }
  return result;
}

static OSErr readInteger(SInt16 refNum, SInt16 byteOrder, SInt32 count, UInt64* value) {
  UInt8 bytes[8];
  if (OSErr err = ReadBytes(refNum, count, bytes); err != noErr) return err;
  *value = DecodeInteger(bytes, count, byteOrder);
  return noErr;
}

template <class Integer>
static OSErr readSized(SInt16 refNum, SInt16 byteOrder, Integer* value) {
  UInt64 wide = 0;
  if (OSErr err = readInteger(refNum, byteOrder, sizeof(Integer), &wide); err != noErr) return err;
  *value = Integer(wide);
  return noErr;
}

OSErr ReadWord(SInt16 refNum, SInt16 byteOrder, UInt16* value) {
  return readSized(refNum, byteOrder, value);
}

OSErr ReadLong(SInt16 refNum, SInt16 byteOrder, UInt32* value) {
  return readSized(refNum, byteOrder, value);
}

OSErr ReadLong64(SInt16 refNum, SInt16 byteOrder, UInt64* value) {
  return readSized(refNum, byteOrder, value);
}
