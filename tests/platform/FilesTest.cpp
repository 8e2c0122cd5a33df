#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "Catalog.h"
#include "FaultyFileSystem.h"
#include "Files.h"
#include "MacErrors.h"
#include "TempFolder.h"
#include "Utf8.h"

namespace files = tessel::platform::files;
using tessel::testing::FaultyFileSystem;

namespace {

class Files : public tessel::testing::TempFolder {
 protected:
  SInt16 open(const std::string& name, SInt8 permission) {
    FSSpec spec = spec_of(name);
    SInt16 ref = 0;
    EXPECT_EQ(FSpOpenDF(&spec, permission, &ref), noErr) << name;
    return ref;
  }
  static OSErr write_byte(SInt16 ref, UInt8 byte) {
    SInt32 count = 1;
    return FSWrite(ref, &count, &byte);
  }
};

std::string name_of(const FSSpec& spec) {
  return std::string(reinterpret_cast<const char*>(spec.name + 1), spec.name[0]);
}

}  // namespace

// Made in one process, a spec resolves back to its path in the next.
TEST_F(Files, SpecOfAPathResolvesBackToItInALaterProcess) {
  write_file("kept/a.tif", {1});
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  pid_t child = fork();
  if (child == 0) {
    auto spec = files::spec_from_path(path("kept/a.tif"));
    ssize_t written = write(pipe_ends[1], &*spec, sizeof(FSSpec));
    _exit(spec && written == sizeof(FSSpec) ? 0 : 1);
  }
  FSSpec spec{};
  ASSERT_EQ(read(pipe_ends[0], &spec, sizeof spec), ssize_t(sizeof spec));
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(name_of(spec), "a.tif");
  EXPECT_LT(spec.vRefNum, 0);
  EXPECT_GE(spec.parID, 16);
  tessel::platform::catalog::forget();  // as a fresh process would start
  auto back = files::path_from_spec(spec);
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(*back, path("kept/a.tif"));
  EXPECT_EQ(spec_of("kept/other.tif").parID, spec.parID) << "one folder, one id";
}

TEST_F(Files, AMovedFolderIsNotFound) {
  write_file("before/a.tif", {1});
  FSSpec spec = spec_of("before/a.tif");
  std::filesystem::rename(path("before"), path("after"));
  SInt16 ref = 77;
  EXPECT_EQ(FSpOpenDF(&spec, fsCurPerm, &ref), fnfErr);
  EXPECT_EQ(ref, 77);
  FInfo info{};
  EXPECT_EQ(FSpGetFInfo(&spec, &info), fnfErr);
}

TEST_F(Files, MakeFSSpecNamesMissingFilesAndRefusesNamesPastTheLongest) {
  write_file("dir/present", {});
  FSSpec folder = spec_of("dir/present");
  FSSpec spec{};
  unsigned char missing[] = "\x07missing";
  EXPECT_EQ(FSMakeFSSpec(folder.vRefNum, folder.parID, missing, &spec), fnfErr);
  EXPECT_EQ(name_of(spec), "missing");
  EXPECT_EQ(spec.parID, folder.parID);

  EXPECT_EQ(files::spec_from_path(path(std::string(256, 'n'))).error(), bdNamErr);
  EXPECT_EQ(files::spec_from_path(path("nowhere/file")).error(), dirNFErr);
}

// Names of 64 to 255 bytes: the FSSpec holds a stand-in that keeps the suffix,
// cuts only between characters, and leads every call to the real file, also
// in a later process.
TEST_F(Files, LongNamesWorkThroughTheirStandIns) {
  using tessel::testing::utf8_name;
  for (const std::string& name : {utf8_name(64, "a"), utf8_name(200), utf8_name(255, "\u00e9"),
                                  utf8_name(255, "\U0001F600", ".sct")}) {
    SCOPED_TRACE(name.size());
    write_file("long/" + name, {1, 2, 3});
    const FSSpec spec = spec_of("long/" + name);
    const std::string standIn = name_of(spec);
    ASSERT_LE(standIn.size(), 63u);
    EXPECT_EQ(standIn.substr(standIn.size() - 4), name.substr(name.size() - 4));
    EXPECT_EQ(standIn.substr(0, standIn.find('#')), name.substr(0, standIn.find('#')));
    EXPECT_TRUE(tessel::platform::decode_utf8(standIn).find(
                    tessel::platform::kReplacementCharacter) == std::u32string::npos);

    tessel::platform::catalog::forget();  // as a later process
    Str255 longName{};
    ASSERT_EQ(FSpGetLongName(&spec, longName), noErr);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(longName + 1), longName[0]), name);
    FSSpec made{};
    Str255 given{};
    given[0] = UInt8(name.size());
    std::memcpy(given + 1, name.data(), name.size());
    ASSERT_EQ(FSMakeFSSpec(spec.vRefNum, spec.parID, given, &made), noErr);
    EXPECT_EQ(std::memcmp(&made, &spec, sizeof spec), 0) << "one stand-in per name";

    SInt16 ref = 0;
    ASSERT_EQ(FSpOpenDF(&spec, fsRdWrPerm, &ref), noErr);
    ASSERT_EQ(write_byte(ref, 9), noErr);
    UInt8 buffer[3] = {};
    SInt32 count = 2;
    EXPECT_EQ(FSRead(ref, &count, buffer), noErr);
    EXPECT_EQ(buffer[0], 2);
    EXPECT_EQ(FSClose(ref), noErr);
    EXPECT_EQ(read_file(path("long/" + name)), (std::vector<UInt8>{9, 2, 3}));

    const FInfo typed{FourCC("TIFF"), FourCC("TSSL"), 0, Point{0, 0}, 0};
    ASSERT_EQ(FSpSetFInfo(&spec, &typed), noErr);
    FInfo info{};
    ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
    EXPECT_EQ(info.fdType, FourCC("TIFF"));
    ASSERT_EQ(FSpDelete(&spec), noErr);
    EXPECT_FALSE(std::filesystem::exists(path("long/" + name)));
  }
}

TEST_F(Files, StandInsKeepLongNamesApartAndLeaveRealNamesAlone) {
  const std::string common = tessel::testing::utf8_name(120, "\u00e9", "");
  write_file("a/" + common + " one.tif", {1});
  write_file("a/" + common + " two.tif", {2});
  const FSSpec one = spec_of("a/" + common + " one.tif");
  const FSSpec two = spec_of("a/" + common + " two.tif");
  EXPECT_NE(name_of(one), name_of(two));
  EXPECT_EQ(*files::path_from_spec(two), path("a/" + common + " two.tif"));

  // A short name that looks like a stand-in, in another folder, is itself.
  write_file("b/" + name_of(one), {3});
  const FSSpec lookalike = spec_of("b/" + name_of(one));
  EXPECT_EQ(name_of(lookalike), name_of(one));
  EXPECT_EQ(*files::path_from_spec(lookalike), path("b/" + name_of(one)));

  // Listing a folder gives the stand-ins, which lead back to the files.
  Str63 listed{};
  CInfoPBRec pb{};
  pb.hFileInfo.ioNamePtr = listed;
  pb.hFileInfo.ioDirID = one.parID;
  pb.hFileInfo.ioFDirIndex = 2;
  ASSERT_EQ(PBGetCatInfoSync(&pb), noErr);
  EXPECT_EQ(std::memcmp(listed, two.name, two.name[0] + 1u), 0);
  EXPECT_EQ(pb.hFileInfo.ioFlLgLen, 1);
}

// A type assumed from a file's contents stands in only where the file
// records none, and reaches the catalog too, however the path was spelled.
TEST_F(Files, AnAssumedTypeFillsOnlyAMissingOne) {
  write_file("typed/plain.dat", {1});
  write_file("typed/marked.dat", {1});
  const FSSpec plain = spec_of("typed/plain.dat");
  const FSSpec marked = spec_of("typed/marked.dat");
  const FInfo text{FourCC("TEXT"), FourCC("ttxt"), 0, Point{0, 0}, 0};
  ASSERT_EQ(FSpSetFInfo(&marked, &text), noErr);
  files::assume_type(path("typed/../typed/./plain.dat"), FourCC("..CT"));
  files::assume_type(path("typed/marked.dat"), FourCC("..CT"));

  FInfo info{};
  ASSERT_EQ(FSpGetFInfo(&plain, &info), noErr);
  EXPECT_EQ(info.fdType, FourCC("..CT"));
  ASSERT_EQ(FSpGetFInfo(&marked, &info), noErr);
  EXPECT_EQ(info.fdType, FourCC("TEXT"));
  CInfoPBRec entry{};
  Str255 name;
  std::memcpy(name, plain.name, plain.name[0] + 1u);
  entry.hFileInfo.ioNamePtr = name;
  entry.hFileInfo.ioVRefNum = plain.vRefNum;
  entry.hFileInfo.ioDirID = plain.parID;
  ASSERT_EQ(PBGetCatInfoSync(&entry), noErr);
  EXPECT_EQ(entry.hFileInfo.ioFlFndrInfo.fdType, FourCC("..CT"));
}

TEST_F(Files, ReadsStopAtTheEndAndPositionsFollowTheirModes) {
  write_file("data", {10, 11, 12, 13, 14, 15, 16, 17});
  SInt16 ref = open("data", fsRdPerm);
  auto mark = [ref] {
    SInt32 position = -1;
    GetFPos(ref, &position);
    return position;
  };
  UInt8 buffer[16] = {};
  SInt32 count = 3;
  ASSERT_EQ(FSRead(ref, &count, buffer), noErr);
  EXPECT_EQ(buffer[2], 12);
  EXPECT_EQ(SetFPos(ref, fsFromMark, 2), noErr);
  EXPECT_EQ(mark(), 5);
  count = 10;
  EXPECT_EQ(FSRead(ref, &count, buffer), eofErr);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(buffer[0], 15);

  EXPECT_EQ(SetFPos(ref, fsFromLEOF, -2), noErr);
  EXPECT_EQ(mark(), 6);
  EXPECT_EQ(SetFPos(ref, fsFromStart, -1), posErr);
  EXPECT_EQ(mark(), 6) << "a refused position leaves the mark";
  EXPECT_EQ(SetFPos(ref, fsFromStart, 100), eofErr);
  EXPECT_EQ(mark(), 8);
  EXPECT_EQ(FSClose(ref), noErr);
  EXPECT_EQ(FSClose(ref), rfNumErr);
}

TEST_F(Files, OneWriterAtATime) {
  write_file("shared", {0, 0, 0, 0});
  SInt16 first = open("shared", fsRdWrPerm);
  FSSpec spec = spec_of("shared");
  SInt16 second = 0;
  EXPECT_EQ(FSpOpenDF(&spec, fsRdWrPerm, &second), opWrErr);
  SInt16 reader = open("shared", fsCurPerm);
  EXPECT_EQ(write_byte(reader, 9), opWrErr) << "the second open settles for reading";
  EXPECT_EQ(write_byte(first, 9), noErr);
  FSClose(reader);
  FSClose(first);
  SInt16 again = open("shared", fsRdWrPerm);
  EXPECT_NE(again, 0) << "closing releases the lock";
  FSClose(again);
  EXPECT_EQ(read_file(path("shared"))[0], 9);
}

TEST_F(Files, ALockedFileOpensForReadingOnly) {
  write_file("locked", {1, 2});
  chmod(path("locked").c_str(), 0444);
  FSSpec spec = spec_of("locked");
  SInt16 ref = 0;
  EXPECT_EQ(FSpOpenDF(&spec, fsWrPerm, &ref), fLckdErr);
  ASSERT_EQ(FSpOpenDF(&spec, fsCurPerm, &ref), noErr);
  EXPECT_EQ(write_byte(ref, 0), wrPermErr);
  FSClose(ref);
}

TEST_F(Files, ErrorsOfTheFileSystemBecomeToolboxCodes) {
  write_file("target", std::vector<UInt8>(100, 7));
  FaultyFileSystem faulty;
  tessel::platform::ScopedFileSystem scope(faulty);
  SInt16 ref = open("target", fsRdWrPerm);
  UInt8 buffer[100] = {};
  faulty.fail_read_at = 1;
  SInt32 count = 10;
  EXPECT_EQ(FSRead(ref, &count, buffer), ioErr);
  faulty.fail_write_at = faulty.writes + 1;
  count = 10;
  EXPECT_EQ(FSWrite(ref, &count, buffer), dskFulErr);
  EXPECT_EQ(count, 0);
  faulty.write_error = EIO;
  faulty.fail_write_at = faulty.writes + 1;
  count = 10;
  EXPECT_EQ(FSWrite(ref, &count, buffer), ioErr);
  FSClose(ref);
  EXPECT_EQ(read_file(path("target")), std::vector<UInt8>(100, 7));
}

TEST_F(Files, CloseSyncsOnlyFilesThatWereWritten) {
  write_file("synced", {1, 2, 3});
  FaultyFileSystem faulty;
  tessel::platform::ScopedFileSystem scope(faulty);
  SInt16 reader = open("synced", fsRdPerm);
  FSClose(reader);
  EXPECT_EQ(faulty.syncs, 0);
  SInt16 writer = open("synced", fsRdWrPerm);
  for (int byte : {5, 6, 5}) EXPECT_EQ(write_byte(writer, UInt8(byte)), noErr);
  EXPECT_EQ(faulty.syncs, 0) << "writes are not synced one by one";
  FSClose(writer);
  EXPECT_EQ(faulty.syncs, 1);
}

TEST_F(Files, CreateDeleteAndFinderInfo) {
  write_file("folder/keep", {});
  FSSpec spec = spec_of("folder/new.prefs");
  ASSERT_EQ(FSpCreate(&spec, FourCC("TSSL"), FourCC("pref"), 0), noErr);
  EXPECT_EQ(FSpCreate(&spec, FourCC("TSSL"), FourCC("pref"), 0), dupFNErr);
  FInfo info{};
  ASSERT_EQ(FSpGetFInfo(&spec, &info), noErr);
  EXPECT_EQ(info.fdType, FourCC("pref"));
  EXPECT_EQ(info.fdCreator, FourCC("TSSL"));
  EXPECT_TRUE(std::filesystem::exists(path("folder/._new.prefs")));

  FSSpec plain = spec_of("folder/keep");
  ASSERT_EQ(FSpGetFInfo(&plain, &info), noErr);
  EXPECT_EQ(info.fdType, FourCC("????"));

  ASSERT_EQ(FSpDelete(&spec), noErr);
  EXPECT_FALSE(std::filesystem::exists(path("folder/new.prefs")));
  EXPECT_FALSE(std::filesystem::exists(path("folder/._new.prefs")));
  EXPECT_EQ(FSpDelete(&spec), fnfErr);
}

TEST_F(Files, CatalogInfoListsAFolderInNameOrderWithoutSidecars) {
  write_file("list/b", {1, 2, 3});
  write_file("list/a", {});
  write_file("list/._b", {});
  const SInt32 folder = spec_of("list/a").parID;
  Str63 name{};
  CInfoPBRec pb{};
  auto entry = [&](SInt16 index) {
    pb = CInfoPBRec{};
    pb.hFileInfo.ioNamePtr = name;
    pb.hFileInfo.ioDirID = folder;
    pb.hFileInfo.ioFDirIndex = index;
    return PBGetCatInfoSync(&pb);
  };
  ASSERT_EQ(entry(2), noErr);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(name + 1), name[0]), "b");
  EXPECT_EQ(pb.hFileInfo.ioFlLgLen, 3);
  EXPECT_EQ(pb.hFileInfo.ioFlParID, folder);
  EXPECT_EQ(entry(3), fnfErr);
}

TEST_F(Files, PreferencesFolderIsMadeOnDemand) {
  SInt16 vref = 0;
  SInt32 dirID = 0;
  EXPECT_EQ(FindFolder(kOnSystemDisk, kPreferencesFolderType, kDontCreateFolder, &vref, &dirID),
            fnfErr);
  ASSERT_EQ(FindFolder(kOnSystemDisk, kPreferencesFolderType, kCreateFolder, &vref, &dirID), noErr);
  FSSpec inside{vref, dirID, "\x05prefs"};
  auto resolved = files::path_from_spec(inside);
  ASSERT_TRUE(resolved.has_value());
  EXPECT_EQ(*resolved, path("config/tessel/prefs"));
}

namespace {

constexpr SInt64 kTerabyte = SInt64(1) << 40;

// Bytes of a file read with plain POSIX calls, past what the fork calls see.
std::string bytes_at(const std::filesystem::path& file, SInt64 offset, std::size_t count) {
  std::string bytes(count, '\0');
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t got = ::pread(fd, bytes.data(), count, off_t(offset));
  ::close(fd);
  bytes.resize(got < 0 ? 0 : std::size_t(got));
  return bytes;
}

}  // namespace

// A sparse file of 2^40 bytes: the fork calls read, write and seek anywhere
// in it; the 32-bit calls stop where 32 bits do and say so.
TEST_F(Files, ForkCallsReachPositionsPast32Bits) {
  write_file("huge", {});
  std::filesystem::resize_file(path("huge"), std::uintmax_t(kTerabyte));
  FSSpec spec = spec_of("huge");
  SInt16 ref = 0;
  ASSERT_EQ(FSOpenFork(&spec, fsRdWrPerm, &ref), noErr);
  SInt64 size = 0, position = -1;
  ASSERT_EQ(FSGetForkSize(ref, &size), noErr);
  EXPECT_EQ(size, kTerabyte);
  SInt32 shortEOF = 0;
  ASSERT_EQ(GetEOF(ref, &shortEOF), noErr);
  EXPECT_EQ(shortEOF, INT32_MAX) << "the 32-bit length stops at its largest value";

  ByteCount actual = 99;
  ASSERT_EQ(FSWriteFork(ref, fsFromStart, kTerabyte - 4, 4, "abcd", &actual), noErr);
  EXPECT_EQ(actual, 4u);
  ASSERT_EQ(FSGetForkPosition(ref, &position), noErr);
  EXPECT_EQ(position, kTerabyte);
  char buffer[8] = {};
  EXPECT_EQ(FSReadFork(ref, fsFromLEOF, -6, 8, buffer, &actual), eofErr);
  EXPECT_EQ(actual, 6u) << "a short read reports what it read";
  EXPECT_EQ(std::string(buffer, 6), std::string("\0\0abcd", 6));

  EXPECT_EQ(SetFPos(ref, fsFromLEOF, -4), posErr) << "past the 32-bit calls' reach";
  EXPECT_EQ(FSSetForkPosition(ref, fsFromMark, -kTerabyte - 1), posErr);
  FSGetForkPosition(ref, &position);
  EXPECT_EQ(position, kTerabyte) << "a refused seek leaves the mark";
  EXPECT_EQ(FSSetForkPosition(ref, fsFromStart, kTerabyte + 1), eofErr);
  EXPECT_EQ(FSSetForkPosition(ref, fsFromStart, INT64_MAX), eofErr);
  EXPECT_EQ(FSSetForkPosition(ref, fsFromLEOF, INT64_MAX), posErr) << "a sum past 2^63";

  EXPECT_EQ(bytes_at(path("huge"), kTerabyte - 4, 4), "abcd");
  ASSERT_EQ(FSSetForkSize(ref, fsFromStart, SInt64(1) << 33), noErr);
  FSGetForkPosition(ref, &position);
  EXPECT_EQ(position, SInt64(1) << 33) << "the mark follows a shorter end";
  EXPECT_EQ(FSCloseFork(ref), noErr);
  EXPECT_EQ(std::filesystem::file_size(path("huge")), std::uintmax_t(1) << 33);
}

// Faults at positions past 4 GiB come back as Toolbox codes; a failed write
// changes nothing, a short one is carried on.
TEST_F(Files, ForkCallFaultsPast4GiBAreReported) {
  const SInt64 at = (SInt64(1) << 32) + 10;
  write_file("far", {});
  std::filesystem::resize_file(path("far"), std::uintmax_t(at + 100));
  FSSpec spec = spec_of("far");
  SInt16 ref = 0;
  ASSERT_EQ(FSOpenFork(&spec, fsRdWrPerm, &ref), noErr);
  FaultyFileSystem faulty;
  tessel::platform::ScopedFileSystem scope(faulty);
  ByteCount actual = 99;
  faulty.fail_write_at = 1;
  EXPECT_EQ(FSWriteFork(ref, fsFromStart, at, 3, "xyz", &actual), dskFulErr);
  EXPECT_EQ(actual, 0u);
  EXPECT_EQ(bytes_at(path("far"), at, 3), std::string(3, '\0'));
  faulty.fail_write_at = faulty.writes + 1;
  faulty.short_write = true;
  EXPECT_EQ(FSWriteFork(ref, fsFromStart, at, 4, "wxyz", &actual), noErr);
  EXPECT_EQ(actual, 4u);
  EXPECT_EQ(bytes_at(path("far"), at, 4), "wxyz");
  char buffer[4] = {};
  faulty.fail_read_at = 1;
  EXPECT_EQ(FSReadFork(ref, fsFromStart, at, 4, buffer, &actual), ioErr);
  EXPECT_EQ(actual, 0u);
  EXPECT_EQ(FSCloseFork(ref), noErr);
}
