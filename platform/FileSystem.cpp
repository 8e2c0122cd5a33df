#include "FileSystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <string>
#include <string_view>

#include "MacErrors.h"
#include "PosixErrors.h"

namespace tessel::platform {
namespace {

FileSystem& posix_file_system() {
  static FileSystem instance;
  return instance;
}

FileSystem* current = nullptr;

template <class Call>
auto retry_interrupted(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

}  // namespace

int FileSystem::open(const char* path, int flags, mode_t mode) {
  return retry_interrupted([&] { return ::open(path, flags, mode); });
}

int FileSystem::close(int fd) { return ::close(fd); }

ssize_t FileSystem::pread(int fd, void* buffer, std::size_t count, off_t offset) {
  return retry_interrupted([&] { return ::pread(fd, buffer, count, offset); });
}

ssize_t FileSystem::pwrite(int fd, const void* buffer, std::size_t count, off_t offset) {
  return retry_interrupted([&] { return ::pwrite(fd, buffer, count, offset); });
}

int FileSystem::fstat(int fd, struct stat* info) { return ::fstat(fd, info); }

int FileSystem::stat(const char* path, struct stat* info) { return ::stat(path, info); }

int FileSystem::statvfs(const char* path, struct statvfs* info) { return ::statvfs(path, info); }

int FileSystem::flock(int fd, int operation) {
  return retry_interrupted([&] { return ::flock(fd, operation); });
}

int FileSystem::fsync(int fd) {
  return retry_interrupted([&] { return ::fsync(fd); });
}

int FileSystem::ftruncate(int fd, off_t length) {
  return retry_interrupted([&] { return ::ftruncate(fd, length); });
}

int FileSystem::unlink(const char* path) { return ::unlink(path); }

int FileSystem::rename(const char* from, const char* to) { return ::rename(from, to); }

int FileSystem::mkdir(const char* path, mode_t mode) { return ::mkdir(path, mode); }

int FileSystem::rmdir(const char* path) { return ::rmdir(path); }

ssize_t FileSystem::getxattr(const char* path, const char* name, void* value, std::size_t size) {
  return ::getxattr(path, name, value, size);
}

int FileSystem::setxattr(const char* path, const char* name, const void* value, std::size_t size) {
  return ::setxattr(path, name, value, size, 0);
}

int FileSystem::removexattr(const char* path, const char* name) {
  return ::removexattr(path, name);
}

FileSystem& file_system() { return current != nullptr ? *current : posix_file_system(); }

ScopedFileSystem::ScopedFileSystem(FileSystem& replacement) : previous_(current) {
  current = &replacement;
}

ScopedFileSystem::~ScopedFileSystem() { current = previous_; }

namespace {

OSErr read_exactly(int fd, std::span<UInt8> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    ssize_t got = file_system().pread(fd, buffer.data() + done, buffer.size() - done, off_t(done));
    if (got < 0) return last_os_error();
    if (got == 0) return eofErr;  // shrank while we read it
    done += std::size_t(got);
  }
  return noErr;
}

OSErr write_exactly(int fd, std::span<const UInt8> contents) {
  std::size_t done = 0;
  while (done < contents.size()) {
    ssize_t put =
        file_system().pwrite(fd, contents.data() + done, contents.size() - done, off_t(done));
    if (put < 0) return last_os_error();
    done += std::size_t(put);
  }
  return noErr;
}

}  // namespace

Expected<std::vector<UInt8>> read_file_contents(const std::filesystem::path& path,
                                                std::size_t limit) {
  using Result = Expected<std::vector<UInt8>>;
  FileSystem& fs = file_system();
  int fd = fs.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
  if (fd < 0) return Result::failure(last_os_error());
  struct stat info {};
  OSErr err = fs.fstat(fd, &info) == 0 ? noErr : last_os_error();
  if (err == noErr && !S_ISREG(info.st_mode)) err = notAFileErr;
  if (err == noErr && std::uint64_t(info.st_size) > limit) err = paramErr;
  std::vector<UInt8> contents;
  if (err == noErr) {
    contents.resize(std::size_t(info.st_size));
    err = read_exactly(fd, contents);
  }
  fs.close(fd);
  if (err != noErr) return Result::failure(err);
  return contents;
}

// "<name>.tessel-new" where that is still a name; a file whose name is
// too long for it gets one of the process's own instead.
std::filesystem::path temporary_beside(const std::filesystem::path& path) {
  constexpr std::string_view kMark = ".tessel-new";
  if (path.filename().string().size() + kMark.size() <= NAME_MAX) {
    std::filesystem::path temporary = path;
    return temporary += kMark;
  }
  return path.parent_path() / (std::string(kMark) + "-" + std::to_string(::getpid()));
}

OSErr replace_file_contents(const std::filesystem::path& path, std::span<const UInt8> contents) {
  FileSystem& fs = file_system();
  std::filesystem::path temporary = temporary_beside(path);
  int fd = fs.open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) return last_os_error();
  OSErr err = write_exactly(fd, contents);
  if (err == noErr && fs.fsync(fd) != 0) err = last_os_error();
  if (fs.close(fd) != 0 && err == noErr) err = last_os_error();
  if (err == noErr && fs.rename(temporary.c_str(), path.c_str()) != 0) err = last_os_error();
  if (err != noErr) fs.unlink(temporary.c_str());
  return err;
}

}  // namespace tessel::platform
