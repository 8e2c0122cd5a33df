#include "Files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "AppleDouble.h"
#include "Catalog.h"
#include "FileSystem.h"
#include "MacErrors.h"
#include "PosixErrors.h"
#include "Utf8.h"

namespace tessel::platform::files {
namespace {

namespace fs = std::filesystem;

// An FSSpec holds 63 bytes of name; the file system allows 255.
constexpr std::size_t kLongestSpecName = 63;
constexpr std::size_t kLongestLeaf = 255;
// Formats recognise files by suffixes such as ".tif" and ".sct", so a
// stand-in keeps a short suffix of the name it stands for.
constexpr std::size_t kLongestKeptSuffix = 15;

struct OpenFile {
  int fd;
  fs::path path;
  bool writable;
  bool written;
  SInt64 mark;
  // Writing was asked for but another writer holds the file: writes are
  // refused with opWrErr, so two writers never interleave their bytes.
  bool lockedOut = false;
  // The file's length when last asked, or grown to since by our writes; -1
  // before the first. A position from the start within it needs no fstat:
  // a band's thousands of seeks would otherwise cost one each.
  SInt64 knownEnd = -1;
};

std::vector<FailedClose>& failed_closes() {
  static std::vector<FailedClose> record;
  return record;
}

std::vector<fs::path>& locked_out_writes() {
  static std::vector<fs::path> record;
  return record;
}

void note_locked_out(const fs::path& path) {
  auto& record = locked_out_writes();
  if (std::find(record.begin(), record.end(), path) == record.end()) record.push_back(path);
}

std::map<SInt16, OpenFile>& open_files() {
  static std::map<SInt16, OpenFile> table;
  return table;
}

OpenFile* find_open_file(SInt16 refNum) {
  auto it = open_files().find(refNum);
  return it == open_files().end() ? nullptr : &it->second;
}

// The lowest free reference number, or 0 when all are taken.
SInt16 free_reference_number() {
  SInt16 candidate = 1;
  for (const auto& [ref, file] : open_files()) {
    if (ref != candidate) break;
    if (candidate == INT16_MAX) return 0;
    ++candidate;
  }
  return candidate;
}

std::string name_of(ConstStringPtr name) {
  return name == nullptr ? std::string()
                         : std::string(reinterpret_cast<const char*>(name + 1), name[0]);
}

void store_name(std::string_view name, StringPtr destination, std::size_t capacity) {
  std::size_t length = std::min(name.size(), capacity);
  destination[0] = static_cast<unsigned char>(length);
  std::memcpy(destination + 1, name.data(), length);
}

std::string_view kept_suffix(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || name.size() - dot > kLongestKeptSuffix)
    return {};
  const std::string_view suffix = name.substr(dot);
  return suffix.find('#') == std::string_view::npos ? suffix : std::string_view();
}

// The longest start of text of at most bytes bytes that ends on a whole
// UTF-8 character.
std::string_view utf8_prefix(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && is_utf8_continuation(UInt8(text[bytes]))) --bytes;
  return text.substr(0, bytes);
}

// "<start of the name>#<number in hex><suffix>", at most 63 bytes.
std::string stand_in_name(std::string_view name, SInt32 number) {
  char mark[16];
  std::snprintf(mark, sizeof mark, "#%04X", unsigned(number));
  const std::string_view suffix = kept_suffix(name);
  const std::string_view stem = name.substr(0, name.size() - suffix.size());
  const std::size_t room = kLongestSpecName - std::strlen(mark) - suffix.size();
  return std::string(utf8_prefix(stem, room)) + mark + std::string(suffix);
}

// The name an FSSpec holds for leaf in the folder: leaf itself, or the
// stand-in of a name too long for the record.
std::string spec_name(SInt32 directory, const std::string& leaf) {
  if (leaf.size() <= kLongestSpecName) return leaf;
  return stand_in_name(leaf, catalog::long_name_number(directory, leaf));
}

// The name a stand-in stands for; any other name is itself. A name counts as
// a stand-in only when the catalog made exactly it for a file of the same
// folder, so a real name that merely holds a '#' is left alone.
std::string real_name(SInt32 directory, const std::string& name) {
  const std::size_t mark = name.rfind('#');
  if (mark == std::string::npos || mark + 5 > name.size()) return name;
  const char* digits = name.c_str() + mark + 1;
  char* end = nullptr;
  const unsigned long number = std::strtoul(digits, &end, 16);
  if (end == digits || number == 0 || number > INT32_MAX) return name;
  auto found = catalog::long_name(SInt32(number));
  if (!found || found->directory != directory) return name;
  return stand_in_name(found->name, SInt32(number)) == name ? found->name : name;
}

bool in_group(gid_t gid) {
  if (getegid() == gid) return true;
  gid_t groups[NGROUPS_MAX];
  int count = getgroups(NGROUPS_MAX, groups);
  return std::find(groups, groups + std::max(count, 0), gid) != groups + std::max(count, 0);
}

// Whether the permission bits let the user change this file or folder. The
// superuser is held to the bits too: a file that nobody may write is locked
// on purpose, and Tessel respects that like any other user would.
bool may_change(const struct stat& info) {
  constexpr mode_t anyWrite = S_IWUSR | S_IWGRP | S_IWOTH;
  bool directory = S_ISDIR(info.st_mode);
  if (geteuid() == 0) return (info.st_mode & anyWrite) != 0;
  mode_t write = S_IWOTH, search = S_IXOTH;
  if (info.st_uid == geteuid())
    write = S_IWUSR, search = S_IXUSR;
  else if (in_group(info.st_gid))
    write = S_IWGRP, search = S_IXGRP;
  return (info.st_mode & write) != 0 && (!directory || (info.st_mode & search) != 0);
}

Expected<struct stat> stat_path(const fs::path& path) {
  struct stat info {};
  if (file_system().stat(path.c_str(), &info) != 0) {
    return Expected<struct stat>::failure(last_os_error());
  }
  return info;
}

// The mount point that holds path: the topmost folder on the same device.
fs::path mount_point_of(const fs::path& directory, dev_t device) {
  fs::path current = directory;
  while (current.has_parent_path() && current.parent_path() != current) {
    auto parent = stat_path(current.parent_path());
    if (!parent || parent->st_dev != device) break;
    current = current.parent_path();
  }
  return current;
}

// Mount points are remembered per device, since finding one takes a walk up
// the tree; their numbers are always asked of the catalog.
SInt16 volume_of(const fs::path& directory, dev_t device) {
  static std::map<dev_t, fs::path> mount_points;
  auto it = mount_points.find(device);
  if (it == mount_points.end()) {
    it = mount_points.emplace(device, mount_point_of(directory, device)).first;
  }
  return catalog::volume_ref(it->second);
}

Expected<fs::path> directory_of(SInt32 dirID) {
  auto path = catalog::directory_path(dirID);
  if (!path) return Expected<fs::path>::failure(fnfErr);
  auto info = stat_path(*path);
  if (!info || !S_ISDIR(info->st_mode)) return Expected<fs::path>::failure(fnfErr);
  return *path;
}

// The canonical folder and leaf name of a path whose folder exists.
Expected<std::pair<fs::path, std::string>> split_existing(const fs::path& path) {
  using Result = Expected<std::pair<fs::path, std::string>>;
  fs::path absolute = fs::absolute(path).lexically_normal();
  if (!absolute.has_filename()) absolute = absolute.parent_path();  // "dir/" names dir
  std::string leaf = absolute.filename().string();
  fs::path folder = absolute.parent_path();
  if (leaf.empty()) return Result::failure(bdNamErr);  // the root has no folder to be named in
  std::error_code error;
  fs::path canonical = fs::canonical(folder, error);
  if (error) return Result::failure(dirNFErr);
  return std::pair(canonical, leaf);
}

Expected<fs::path> base_directory(SInt16 vRefNum, SInt32 dirID) {
  if (dirID != 0) return directory_of(dirID);
  if (vRefNum != 0) {
    auto volume = catalog::volume_path(vRefNum);
    if (!volume) return Expected<fs::path>::failure(nsvErr);
    return *volume;
  }
  return fs::current_path();
}

// Fills the catalog fields of a file or folder at path.
void describe(const fs::path& path, const struct stat& info, CInfoPBRec* pb) {
  SInt8 attributes = 0;
  SInt32 parent = catalog::directory_id(path.parent_path());
  if (S_ISDIR(info.st_mode)) {
    pb->dirInfo.ioFlAttrib = kDirectoryAttribute;
    pb->dirInfo.ioACUser = may_change(info) ? 0 : kNoMakeChangesAccess;
    pb->dirInfo.ioDrDirID = catalog::directory_id(path);
    pb->dirInfo.ioDrParID = parent;
  } else {
    if (!may_change(info)) attributes |= kFileLockedAttribute;
    pb->hFileInfo.ioFlAttrib = attributes;
    pb->hFileInfo.ioACUser = 0;
    pb->hFileInfo.ioDirID = SInt32(info.st_ino & 0x7FFFFFFF);
    auto finder = finder_info_of(path);
    if (finder) pb->hFileInfo.ioFlFndrInfo = *finder;
    pb->hFileInfo.ioFlLgLen = SInt32(std::min<off_t>(info.st_size, INT32_MAX));
    pb->hFileInfo.ioFlParID = parent;
  }
  pb->hFileInfo.ioVRefNum = volume_of(path.parent_path(), info.st_dev);
}

// The n-th entry (1-based) of a folder in name order; sidecars are not listed.
Expected<std::string> indexed_entry(const fs::path& folder, SInt16 index) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    std::string name = entry.path().filename().string();
    if (!name.starts_with("._")) names.push_back(std::move(name));
  }
  if (error) return Expected<std::string>::failure(os_error_from_errno(error.value()));
  std::sort(names.begin(), names.end());
  if (std::size_t(index) > names.size()) return Expected<std::string>::failure(fnfErr);
  return names[std::size_t(index) - 1];
}

Expected<fs::path> catalog_target(CInfoPBRec* pb) {
  SInt16 index = pb->hFileInfo.ioFDirIndex;
  auto folder = directory_of(pb->hFileInfo.ioDirID);
  if (!folder || index < 0) return folder;
  std::string name = real_name(pb->hFileInfo.ioDirID, name_of(pb->hFileInfo.ioNamePtr));
  if (index > 0) {
    auto entry = indexed_entry(*folder, index);
    if (!entry) return failure_of(entry);
    name = *entry;
  }
  return name.empty() ? *folder : *folder / name;
}

Expected<fs::path> existing_file(const FSSpec* spec) {
  auto path = path_from_spec(*spec);
  if (!path) return path;
  auto info = stat_path(*path);
  if (!info) return failure_of(info);
  if (S_ISDIR(info->st_mode)) return Expected<fs::path>::failure(notAFileErr);
  return path;
}

// Opens path for reading and, when wanted and allowed, writing with the
// writer's lock. fsCurPerm settles for reading when writing is not allowed.
Expected<OpenFile> open_path(const fs::path& path, SInt8 permission) {
  using Result = Expected<OpenFile>;
  auto info = stat_path(path);
  if (!info) return failure_of(info);
  if (S_ISDIR(info->st_mode)) return Result::failure(notAFileErr);
  bool wantWrite = permission != fsRdPerm;
  bool mustWrite = wantWrite && permission != fsCurPerm;
  bool locked = !may_change(*info);
  if (mustWrite && locked) return Result::failure(fLckdErr);
  FileSystem& fsys = file_system();
  bool writable = wantWrite && !locked;
  int fd = fsys.open(path.c_str(), (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC, 0);
  if (fd < 0 && writable && !mustWrite && (errno == EROFS || errno == EACCES || errno == EPERM)) {
    writable = false;
    fd = fsys.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  }
  if (fd < 0) return Result::failure(last_os_error());
  if (writable && fsys.flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (mustWrite) {
      fsys.close(fd);
      return Result::failure(opWrErr);
    }
    return OpenFile{fd, path, false, false, 0, true};  // reading is still fine
  }
  return OpenFile{fd, path, writable, false, 0};
}

Expected<SInt64> end_of_file(OpenFile& file) {
  struct stat info {};
  if (file_system().fstat(file.fd, &info) != 0) return Expected<SInt64>::failure(last_os_error());
  file.knownEnd = SInt64(info.st_size);
  return SInt64(info.st_size);
}

// The position a mode and offset name; posErr when it lies before the start
// or cannot be counted.
Expected<SInt64> target_of(const OpenFile& file, UInt16 mode, SInt64 offset, SInt64 eof) {
  SInt64 base = 0;
  switch (mode) {
    case fsAtMark: return file.mark;
    case fsFromStart: base = 0; break;
    case fsFromLEOF: base = eof; break;
    case fsFromMark: base = file.mark; break;
    default: return Expected<SInt64>::failure(paramErr);
  }
  SInt64 target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0) {
    return Expected<SInt64>::failure(posErr);
  }
  return target;
}

// Moves the mark. A target past the end leaves the mark at the end with
// eofErr; one past limit, the reach of the calling convention, gives posErr
// and leaves the mark.
OSErr place_mark(OpenFile& file, UInt16 mode, SInt64 offset, SInt64 limit) {
  if (mode == fsAtMark) return noErr;
  if (mode == fsFromStart && offset >= 0 && offset <= file.knownEnd && offset <= limit) {
    file.mark = offset;
    return noErr;
  }
  auto eof = end_of_file(file);
  if (!eof) return eof.error();
  auto target = target_of(file, mode, offset, *eof);
  if (!target) return target.error();
  if (*target > *eof) {
    file.mark = *eof;
    return eofErr;
  }
  if (*target > limit) return posErr;
  file.mark = *target;
  return noErr;
}

// pread and pwrite take at most this much at a time on some systems.
constexpr ByteCount kLargestTransfer = ByteCount(1) << 30;

std::size_t next_transfer(ByteCount count, ByteCount done) {
  return std::size_t(std::min(count - done, kLargestTransfer));
}

OSErr read_at_mark(OpenFile& file, ByteCount count, void* buffer, ByteCount* actual) {
  auto* bytes = static_cast<char*>(buffer);
  ByteCount done = 0;
  OSErr err = noErr;
  while (done < count) {
    ssize_t got = file_system().pread(file.fd, bytes + done, next_transfer(count, done),
                                      off_t(file.mark + SInt64(done)));
    if (got < 0) err = last_os_error();
    if (got <= 0) break;
    done += ByteCount(got);
  }
  if (err == noErr && done < count) err = eofErr;
  file.mark += SInt64(done);
  if (actual != nullptr) *actual = done;
  return err;
}

OSErr writable(const OpenFile& file) {
  if (file.writable) return noErr;
  if (!file.lockedOut) return wrPermErr;
  note_locked_out(file.path);
  return opWrErr;
}

OSErr write_at_mark(OpenFile& file, ByteCount count, const void* buffer, ByteCount* actual) {
  const auto* bytes = static_cast<const char*>(buffer);
  ByteCount done = 0;
  OSErr err = noErr;
  while (done < count && err == noErr) {
    ssize_t put = file_system().pwrite(file.fd, bytes + done, next_transfer(count, done),
                                       off_t(file.mark + SInt64(done)));
    if (put < 0)
      err = last_os_error();
    else if (put == 0)
      err = dskFulErr;
    else
      done += ByteCount(put);
  }
  if (done > 0) file.written = true;
  file.mark += SInt64(done);
  file.knownEnd = std::max(file.knownEnd, file.mark);
  if (actual != nullptr) *actual = done;
  return err;
}

// rfNumErr for an unknown reference number, otherwise err: a bad argument
// to a known file.
OSErr known_or(SInt16 refNum, OSErr err) {
  return find_open_file(refNum) == nullptr ? rfNumErr : err;
}

}  // namespace

Expected<FSSpec> spec_from_path(const fs::path& path) {
  auto parts = split_existing(path);
  if (!parts) return failure_of(parts);
  const auto& [folder, leaf] = *parts;
  if (leaf.size() > kLongestLeaf) return Expected<FSSpec>::failure(bdNamErr);
  auto info = stat_path(folder);
  if (!info) return failure_of(info);
  FSSpec spec{};
  spec.vRefNum = volume_of(folder, info->st_dev);
  spec.parID = catalog::directory_id(folder);
  store_name(spec_name(spec.parID, leaf), spec.name, kLongestSpecName);
  return spec;
}

Expected<fs::path> path_from_spec(const FSSpec& spec) {
  auto folder = directory_of(spec.parID);
  if (!folder) return folder;
  const std::string name = real_name(spec.parID, name_of(spec.name));
  if (name.empty() || name.find('/') != std::string::npos || name == "." || name == "..") {
    return Expected<fs::path>::failure(bdNamErr);
  }
  return *folder / name;
}

std::string long_name_of(const FSSpec& spec) { return real_name(spec.parID, name_of(spec.name)); }

Expected<fs::path> path_of_open_file(SInt16 refNum) {
  OpenFile* file = find_open_file(refNum);
  if (file == nullptr) return Expected<fs::path>::failure(rfNumErr);
  return file->path;
}

bool held_by_another_writer(const fs::path& path) {
  FileSystem& fsys = file_system();
  const int fd = fsys.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0) return false;
  const bool held = fsys.flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  fsys.close(fd);  // closing lets go of the lock, if it was taken here
  return held;
}

std::vector<FailedClose> take_failed_closes() {
  std::vector<FailedClose> taken;
  taken.swap(failed_closes());
  return taken;
}

std::vector<fs::path> take_locked_out_writes() {
  std::vector<fs::path> taken;
  taken.swap(locked_out_writes());
  return taken;
}

namespace {

// Paths made absolute and free of dot segments, so that a name given on a
// command line meets the path the catalog builds for the same file.
std::map<fs::path, OSType>& assumed_types() {
  static auto& types = *new std::map<fs::path, OSType>;  // never destroyed: see MacMemory.cpp
  return types;
}

}  // namespace

void assume_type(const fs::path& file, OSType type) {
  assumed_types()[fs::absolute(file).lexically_normal()] = type;
}

Expected<FInfo> finder_info_of(const fs::path& file) {
  auto info = appledouble::read_finder_info(file);
  if (!info || info->fdType != FourCC("????") || assumed_types().empty()) return info;
  const auto found = assumed_types().find(fs::absolute(file).lexically_normal());
  if (found != assumed_types().end()) info->fdType = found->second;
  return info;
}

}  // namespace tessel::platform::files

namespace files = tessel::platform::files;
namespace catalog = tessel::platform::catalog;
namespace appledouble = tessel::platform::appledouble;
using tessel::platform::file_system;
using tessel::platform::last_os_error;

OSErr FSMakeFSSpec(SInt16 vRefNum, SInt32 dirID, ConstStringPtr fileName, FSSpec* spec) {
  auto base = files::base_directory(vRefNum, dirID);
  if (!base) return base.error() == fnfErr ? dirNFErr : base.error();
  std::string name = files::name_of(fileName);
  auto made = files::spec_from_path(name.empty() ? *base : *base / name);
  if (!made) return made.error();
  *spec = *made;
  auto path = files::path_from_spec(*made);
  return path && files::stat_path(*path) ? noErr : fnfErr;
}

OSErr FSpOpenDF(const FSSpec* spec, SInt8 permission, SInt16* refNum) {
  auto path = files::path_from_spec(*spec);
  if (!path) return path.error();
  SInt16 ref = files::free_reference_number();
  if (ref == 0) return tmfoErr;
  auto opened = files::open_path(*path, permission);
  if (!opened) return opened.error();
  files::open_files().emplace(ref, std::move(*opened));
  *refNum = ref;
  return noErr;
}

OSErr FSClose(SInt16 refNum) {
  files::OpenFile* file = files::find_open_file(refNum);
  if (file == nullptr) return rfNumErr;
  OSErr err = noErr;
  // Synced once here rather than per write: what a caller wrote is on disk
  // when close reports success.
  if (file->written && file_system().fsync(file->fd) != 0) err = last_os_error();
  if (file_system().close(file->fd) != 0 && err == noErr) err = last_os_error();
  if (err != noErr && file->written) files::failed_closes().push_back({file->path, err});
  files::open_files().erase(refNum);
  return err;
}

OSErr FSOpenFork(const FSSpec* spec, SInt8 permission, SInt16* forkRefNum) {
  return FSpOpenDF(spec, permission, forkRefNum);
}

OSErr FSCloseFork(SInt16 forkRefNum) { return FSClose(forkRefNum); }

OSErr FSReadFork(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset,
                 ByteCount requestCount, void* buffer, ByteCount* actualCount) {
  if (actualCount != nullptr) *actualCount = 0;
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  if (OSErr err = files::place_mark(*file, positionMode, positionOffset, INT64_MAX); err != noErr)
    return err;
  return files::read_at_mark(*file, requestCount, buffer, actualCount);
}

OSErr FSWriteFork(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset,
                  ByteCount requestCount, const void* buffer, ByteCount* actualCount) {
  if (actualCount != nullptr) *actualCount = 0;
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  if (OSErr err = files::writable(*file); err != noErr) return err;
  if (OSErr err = files::place_mark(*file, positionMode, positionOffset, INT64_MAX); err != noErr)
    return err;
  return files::write_at_mark(*file, requestCount, buffer, actualCount);
}

OSErr FSGetForkPosition(SInt16 forkRefNum, SInt64* position) {
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  *position = file->mark;
  return noErr;
}

OSErr FSSetForkPosition(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset) {
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  return files::place_mark(*file, positionMode, positionOffset, INT64_MAX);
}

OSErr FSGetForkSize(SInt16 forkRefNum, SInt64* forkSize) {
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  auto eof = files::end_of_file(*file);
  if (!eof) return eof.error();
  *forkSize = *eof;
  return noErr;
}

OSErr FSSetForkSize(SInt16 forkRefNum, UInt16 positionMode, SInt64 positionOffset) {
  files::OpenFile* file = files::find_open_file(forkRefNum);
  if (file == nullptr) return rfNumErr;
  if (!file->writable) return wrPermErr;
  auto eof = files::end_of_file(*file);
  if (!eof) return eof.error();
  auto length = files::target_of(*file, positionMode, positionOffset, *eof);
  if (!length) return length.error();
  if (file_system().ftruncate(file->fd, off_t(*length)) != 0) return last_os_error();
  file->written = true;
  file->knownEnd = *length;
  file->mark = std::min(file->mark, *length);
  return noErr;
}

// The 32-bit calls are the fork calls at the mark, with positions that stop
// where a signed 32-bit number does.
OSErr FSRead(SInt16 refNum, SInt32* count, void* buffer) {
  if (*count < 0) return files::known_or(refNum, paramErr);
  ByteCount done = 0;
  OSErr err = FSReadFork(refNum, fsAtMark, 0, ByteCount(*count), buffer, &done);
  if (err != rfNumErr) *count = SInt32(done);
  return err;
}

OSErr FSWrite(SInt16 refNum, SInt32* count, const void* buffer) {
  if (*count < 0) return files::known_or(refNum, paramErr);
  ByteCount done = 0;
  OSErr err = FSWriteFork(refNum, fsAtMark, 0, ByteCount(*count), buffer, &done);
  if (err != rfNumErr) *count = SInt32(done);
  return err;
}

OSErr SetFPos(SInt16 refNum, SInt16 posMode, SInt32 posOff) {
  files::OpenFile* file = files::find_open_file(refNum);
  if (file == nullptr) return rfNumErr;
  return files::place_mark(*file, UInt16(posMode), posOff, INT32_MAX);
}

OSErr GetFPos(SInt16 refNum, SInt32* filePos) {
  SInt64 position = 0;
  if (OSErr err = FSGetForkPosition(refNum, &position); err != noErr) return err;
  *filePos = SInt32(std::min<SInt64>(position, INT32_MAX));
  return noErr;
}

OSErr GetEOF(SInt16 refNum, SInt32* logEOF) {
  SInt64 size = 0;
  if (OSErr err = FSGetForkSize(refNum, &size); err != noErr) return err;
  *logEOF = SInt32(std::min<SInt64>(size, INT32_MAX));
  return noErr;
}

OSErr SetEOF(SInt16 refNum, SInt32 logEOF) {
  if (logEOF < 0) return files::known_or(refNum, posErr);
  return FSSetForkSize(refNum, fsFromStart, logEOF);
}

OSErr FSpCreate(const FSSpec* spec, OSType creator, OSType fileType, SInt16 /*scriptTag*/) {
  auto path = files::path_from_spec(*spec);
  if (!path) return path.error();
  int fd = file_system().open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (fd < 0) return last_os_error();
  file_system().close(fd);
  FInfo info{fileType, creator, 0, Point{0, 0}, 0};
  OSErr err = appledouble::write_finder_info(*path, info);
  if (err != noErr) file_system().unlink(path->c_str());  // no file without its type
  return err;
}

OSErr FSpDelete(const FSSpec* spec) {
  auto path = files::path_from_spec(*spec);
  if (!path) return path.error();
  auto info = files::stat_path(*path);
  if (!info) return info.error();
  int removed = S_ISDIR(info->st_mode) ? file_system().rmdir(path->c_str())
                                       : file_system().unlink(path->c_str());
  if (removed != 0) return errno == ENOTEMPTY ? fBsyErr : last_os_error();
  return appledouble::delete_sidecar(*path);
}

OSErr FSpGetLongName(const FSSpec* spec, Str255 longName) {
  const std::string name = files::long_name_of(*spec);
  if (name.empty()) return bdNamErr;
  files::store_name(name, longName, files::kLongestLeaf);
  return noErr;
}

OSErr FSpGetFInfo(const FSSpec* spec, FInfo* fndrInfo) {
  auto path = files::existing_file(spec);
  if (!path) return path.error();
  auto info = files::finder_info_of(*path);
  if (!info) return info.error();
  *fndrInfo = *info;
  return noErr;
}

OSErr FSpSetFInfo(const FSSpec* spec, const FInfo* fndrInfo) {
  auto path = files::existing_file(spec);
  if (!path) return path.error();
  return appledouble::write_finder_info(*path, *fndrInfo);
}

OSErr PBHGetVInfoSync(HParamBlockRec* paramBlock) {
  HVolumeParam& pb = paramBlock->volumeParam;
  if (pb.ioVolIndex > 0) return pb.ioResult = paramErr;
  std::optional<std::filesystem::path> mount;
  if (pb.ioVRefNum == 0) {
    auto here = files::spec_from_path(std::filesystem::current_path() / "x");
    if (here) pb.ioVRefNum = here->vRefNum;
  }
  mount = catalog::volume_path(pb.ioVRefNum);
  if (!mount) return pb.ioResult = nsvErr;
  struct statvfs info {};
  if (file_system().statvfs(mount->c_str(), &info) != 0) return pb.ioResult = last_os_error();
  pb.ioVAtrb = (info.f_flag & ST_RDONLY) != 0 ? kVolumeSoftwareLockBit : UInt16(0);
  pb.ioVAlBlkSiz = SInt32(std::min<unsigned long>(info.f_frsize, INT32_MAX));
  pb.ioVNmAlBlks = UInt16(std::min<fsblkcnt_t>(info.f_blocks, UINT16_MAX));
  pb.ioVFrBlk = UInt16(std::min<fsblkcnt_t>(info.f_bavail, UINT16_MAX));
  if (pb.ioNamePtr != nullptr) {
    std::string name = mount->filename().string();
    files::store_name(name.empty() ? mount->string() : name, pb.ioNamePtr, 27);
  }
  return pb.ioResult = noErr;
}

OSErr PBGetCatInfoSync(CInfoPBRec* paramBlock) {
  auto path = files::catalog_target(paramBlock);
  if (!path) return paramBlock->hFileInfo.ioResult = path.error();
  auto info = files::stat_path(*path);
  if (!info) return paramBlock->hFileInfo.ioResult = info.error();
  files::describe(*path, *info, paramBlock);
  if (paramBlock->hFileInfo.ioFDirIndex != 0 && paramBlock->hFileInfo.ioNamePtr != nullptr) {
    const std::string shortName = files::spec_name(
        tessel::platform::catalog::directory_id(path->parent_path()), path->filename().string());
    files::store_name(shortName, paramBlock->hFileInfo.ioNamePtr, files::kLongestSpecName);
  }
  return paramBlock->hFileInfo.ioResult = noErr;
}

namespace {

std::filesystem::path preferences_folder() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && *config == '/') return std::filesystem::path(config) / "tessel";
  const char* home = std::getenv("HOME");
  std::filesystem::path base = home != nullptr && *home != '\0' ? home : "/tmp";
  return base / ".config" / "tessel";
}

std::filesystem::path temporary_folder() {
  const char* tmp = std::getenv("TMPDIR");
  return tmp != nullptr && *tmp == '/' ? std::filesystem::path(tmp) : "/tmp";
}

}  // namespace

OSErr FindFolder(SInt16 /*vRefNum*/, OSType folderType, Boolean createFolder, SInt16* foundVRefNum,
                 SInt32* foundDirID) {
  std::filesystem::path folder;
  if (folderType == kPreferencesFolderType)
    folder = preferences_folder();
  else if (folderType == kTemporaryFolderType)
    folder = temporary_folder();
  else
    return fnfErr;
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    if (!createFolder) return fnfErr;
    std::filesystem::create_directories(folder, error);
    if (error) return tessel::platform::os_error_from_errno(error.value());
  }
  auto spec = files::spec_from_path(folder / "x");
  if (!spec) return spec.error();
  *foundVRefNum = spec->vRefNum;
  *foundDirID = spec->parID;
  return noErr;
}
