// File access for the plug-in: open, read, write and position files named by
// their identity, with integers read in either byte order.
//
// Every operation returns the platform's error unchanged and keeps no state.
// Out-values are written only on success.
#pragma once

#include "MacTypes.h"

// Byte orders of ReadWord and ReadLong: 0 is big-endian, anything else little.
constexpr SInt16 kBigEndian = 0;
constexpr SInt16 kLittleEndian = 1;

// Opens the data fork with the widest access the file allows.
OSErr OpenFile(const FSSpec* file, SInt16* refNum);
OSErr CloseFile(SInt16 refNum);
OSErr CreateFile(const FSSpec* file, OSType creator, OSType fileType, SInt16 scriptCode);
OSErr DeleteFile(const FSSpec* file);
// The file's resource fork becomes the current resource file. On failure
// returns ResError() (eofErr when the file has no fork) and leaves *refNum.
OSErr OpenResourceFile(const FSSpec* file, SInt16* refNum);
OSErr CloseResourceFile(SInt16 refNum);
OSErr CreateResourceFile(const FSSpec* file, OSType creator, OSType fileType, SInt16 scriptCode);
OSErr GetFileType(const FSSpec* file, OSType* fileType);
// 0 when the file could be written; -46 for a locked volume or a folder
// without the right to make changes, -45 for a locked file, checked in that
// order; otherwise the platform's error (fnfErr for a missing file).
OSErr GetFileWriteable(const FSSpec* file);

// Positions and counts are 64-bit, so files of any size the file system
// holds are reached. count <= 0 does nothing and succeeds. A read that
// reaches the end of the file gives eofErr; how much was read is not
// reported.
OSErr ReadBytes(SInt16 refNum, SInt64 count, void* buffer);
OSErr WriteBytes(SInt16 refNum, SInt64 count, const void* buffer);
OSErr SkipBytes(SInt16 refNum, SInt64 delta);
OSErr GetPosition(SInt16 refNum, SInt64* position);
OSErr SeekTo(SInt16 refNum, SInt64 position);
// A position past the end gives eofErr, as SeekTo does; one too large for a
// signed 64-bit number lies past the end of any file.
OSErr SeekToOffset(SInt16 refNum, UInt64 position);
// The file's length in bytes.
OSErr GetFileLength(SInt16 refNum, SInt64* length);
OSErr SeekToEOF(SInt16 refNum);

// The integer of count bytes (at most 8) at bytes, first byte most
// significant unless byteOrder says the file is little-endian.
UInt64 DecodeInteger(const UInt8* bytes, SInt32 count, SInt16 byteOrder);

// A length byte and that many characters.
OSErr ReadPString(SInt16 refNum, StringPtr text);
OSErr ReadByte(SInt16 refNum, SInt16 byteOrder, UInt8* value);
OSErr ReadWord(SInt16 refNum, SInt16 byteOrder, UInt16* value);
OSErr ReadLong(SInt16 refNum, SInt16 byteOrder, UInt32* value);
OSErr ReadLong64(SInt16 refNum, SInt16 byteOrder, UInt64* value);
