#include <gtest/gtest.h>

#include "FaultyFileSystem.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "support/FileUtilities.h"

namespace {

class FileUtilities : public tessel::testing::TempFolder {
 protected:
  SInt16 open_bytes(const std::vector<UInt8>& bytes) {
    write_file("bytes", bytes);
    FSSpec spec = spec_of("bytes");
    SInt16 ref = 0;
    EXPECT_EQ(OpenFile(&spec, &ref), noErr);
    return ref;
  }
};

}  // namespace

TEST_F(FileUtilities, WordsAndLongsInBothByteOrders) {
  SInt16 ref =
      open_bytes({0x12, 0x34, 0x12, 0x34, 0x01, 0x02, 0x03, 0x04, 0x01, 0x02, 0x03, 0x04, 0xFF});
  UInt16 word = 0;
  UInt32 value = 0;
  ASSERT_EQ(ReadWord(ref, kBigEndian, &word), noErr);
  EXPECT_EQ(word, 0x1234);
  ASSERT_EQ(ReadWord(ref, kLittleEndian, &word), noErr);
  EXPECT_EQ(word, 0x3412);
  ASSERT_EQ(ReadLong(ref, kBigEndian, &value), noErr);
  EXPECT_EQ(value, 0x01020304u);
  ASSERT_EQ(ReadLong(ref, 7, &value), noErr) << "any nonzero flag is little-endian";
  EXPECT_EQ(value, 0x04030201u);

  value = 0xDEADBEEF;
  EXPECT_EQ(ReadLong(ref, kLittleEndian, &value), eofErr);
  EXPECT_EQ(value, 0xDEADBEEFu) << "a failed read leaves the value";
  CloseFile(ref);
}

// Integers of eight bytes, read at a position a 32-bit seek cannot name.
TEST_F(FileUtilities, SeeksPast4GiBAndEightByteIntegers) {
  SInt16 ref = open_bytes({});
  const UInt64 far = (UInt64(1) << 32) + 3;
  const UInt8 bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(SeekToOffset(ref, far), eofErr) << "past the end of an empty file";
  std::filesystem::resize_file(path("bytes"), far + 16);
  ASSERT_EQ(SeekToOffset(ref, far), noErr);
  ASSERT_EQ(WriteBytes(ref, 8, bytes), noErr);
  ASSERT_EQ(WriteBytes(ref, 8, bytes), noErr);
  SInt64 position = 0, length = 0;
  ASSERT_EQ(GetPosition(ref, &position), noErr);
  EXPECT_EQ(UInt64(position), far + 16);
  ASSERT_EQ(GetFileLength(ref, &length), noErr);
  EXPECT_EQ(UInt64(length), far + 16);

  UInt64 value = 0;
  ASSERT_EQ(SeekTo(ref, SInt64(far)), noErr);
  ASSERT_EQ(ReadLong64(ref, kBigEndian, &value), noErr);
  EXPECT_EQ(value, 0x0102030405060708u);
  ASSERT_EQ(ReadLong64(ref, kLittleEndian, &value), noErr);
  EXPECT_EQ(value, 0x0807060504030201u);
  value = 7;
  EXPECT_EQ(ReadLong64(ref, kBigEndian, &value), eofErr);
  EXPECT_EQ(value, 7u) << "a failed read leaves the value";
  EXPECT_EQ(SeekToOffset(ref, UInt64(1) << 63), eofErr);
  CloseFile(ref);
}

TEST_F(FileUtilities, EmptyAndNegativeCountsDoNotMoveTheMark) {
  SInt16 ref = open_bytes({3, 'a', 'b', 'c', 0});
  UInt8 buffer[4] = {};
  EXPECT_EQ(ReadBytes(ref, 0, buffer), noErr);
  EXPECT_EQ(ReadBytes(ref, -5, buffer), noErr);
  SInt64 position = -1;
  GetPosition(ref, &position);
  EXPECT_EQ(position, 0);

  Str255 text;
  ASSERT_EQ(ReadPString(ref, text), noErr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(text + 1), text[0]), "abc");
  ASSERT_EQ(ReadPString(ref, text), noErr);
  EXPECT_EQ(text[0], 0);
  GetPosition(ref, &position);
  EXPECT_EQ(position, 5) << "an empty string reads its length byte only";
  EXPECT_EQ(SeekToEOF(ref), noErr);
  EXPECT_EQ(SkipBytes(ref, -2), noErr);
  GetPosition(ref, &position);
  EXPECT_EQ(position, 3);
  CloseFile(ref);
}

TEST_F(FileUtilities, ShortReadIsAnError) {
  SInt16 ref = open_bytes(std::vector<UInt8>(64, 1));
  tessel::testing::FaultyFileSystem faulty;
  faulty.fail_read_at = 1;
  faulty.short_read = true;
  faulty.read_error = 0;
  tessel::platform::ScopedFileSystem scope(faulty);
  UInt8 buffer[64];
  // The platform asks again after a short read; the second answer finishes it.
  EXPECT_EQ(ReadBytes(ref, 64, buffer), noErr);
  faulty.fail_read_at = faulty.reads + 1;
  faulty.short_read = false;
  faulty.read_error = EIO;
  EXPECT_EQ(SeekTo(ref, 0), noErr);
  EXPECT_EQ(ReadBytes(ref, 64, buffer), ioErr);
  CloseFile(ref);
}

TEST_F(FileUtilities, WriteabilityFollowsVolumeThenFolderThenFile) {
  write_file("open/free", {});
  write_file("open/locked", {});
  write_file("closed/inside", {});
  chmod(path("open/locked").c_str(), 0444);
  chmod(path("closed").c_str(), 0555);
  FSSpec free_file = spec_of("open/free");
  FSSpec locked = spec_of("open/locked");
  FSSpec inside = spec_of("closed/inside");
  FSSpec missing = spec_of("open/missing");
  EXPECT_EQ(GetFileWriteable(&free_file), noErr);
  EXPECT_EQ(GetFileWriteable(&locked), fLckdErr);
  EXPECT_EQ(GetFileWriteable(&inside), vLckdErr);
  EXPECT_EQ(GetFileWriteable(&missing), fnfErr);

  tessel::testing::FaultyFileSystem faulty;
  faulty.read_only_volume = true;
  tessel::platform::ScopedFileSystem scope(faulty);
  EXPECT_EQ(GetFileWriteable(&locked), vLckdErr) << "the volume is asked first";
  EXPECT_EQ(GetFileWriteable(&free_file), vLckdErr);
}

TEST_F(FileUtilities, FileTypeComesFromTheFinderInfo) {
  write_file("typed", {});
  FSSpec spec = spec_of("typed");
  OSType type = FourCC("none");
  FInfo info{FourCC("..CT"), FourCC("8BIM"), 0, {}, 0};
  ASSERT_EQ(FSpSetFInfo(&spec, &info), noErr);
  ASSERT_EQ(GetFileType(&spec, &type), noErr);
  EXPECT_EQ(type, FourCC("..CT"));
  FSSpec missing = spec_of("untyped");
  type = FourCC("none");
  EXPECT_EQ(GetFileType(&missing, &type), fnfErr);
  EXPECT_EQ(type, FourCC("none"));
}

TEST_F(FileUtilities, CreatedFilesCanBeWrittenAndDeleted) {
  write_file("prefs/.keep", {});
  FSSpec spec = spec_of("prefs/Tessel Prefs");
  ASSERT_EQ(CreateFile(&spec, FourCC("TSSL"), FourCC("pref"), 0), noErr);
  SInt16 ref = 0;
  ASSERT_EQ(OpenFile(&spec, &ref), noErr);
  const UInt8 version[4] = {0, 0, 0, 2};
  EXPECT_EQ(WriteBytes(ref, 4, version), noErr);
  EXPECT_EQ(CloseFile(ref), noErr);
  EXPECT_EQ(read_file(path("prefs/Tessel Prefs")), std::vector<UInt8>({0, 0, 0, 2}));
  EXPECT_EQ(DeleteFile(&spec), noErr);
  EXPECT_EQ(OpenFile(&spec, &ref), fnfErr);
}
