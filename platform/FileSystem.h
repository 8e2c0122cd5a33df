// The seam every file call of the platform passes through.
//
// The File Manager, the Finder-information store and the resource forks call
// the POSIX file system only through file_system(). Tests install a double
// (ScopedFileSystem) that fails chosen calls, to prove that a short read, an
// I/O error or a full disk is reported and loses nothing. Each method keeps
// its POSIX contract: -1 and errno on failure.
#pragma once

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

#include "Expected.h"
#include "MacTypes.h"

namespace tessel::platform {

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  virtual int open(const char* path, int flags, mode_t mode);
  virtual int close(int fd);
  // Reads and writes retry interruptions but may still be short.
  virtual ssize_t pread(int fd, void* buffer, std::size_t count, off_t offset);
  virtual ssize_t pwrite(int fd, const void* buffer, std::size_t count, off_t offset);
  virtual int fstat(int fd, struct stat* info);
  virtual int stat(const char* path, struct stat* info);
  virtual int statvfs(const char* path, struct statvfs* info);
  virtual int flock(int fd, int operation);
  virtual int fsync(int fd);
  virtual int ftruncate(int fd, off_t length);
  virtual int unlink(const char* path);
  virtual int rename(const char* from, const char* to);
  virtual int mkdir(const char* path, mode_t mode);
  virtual int rmdir(const char* path);
  virtual ssize_t getxattr(const char* path, const char* name, void* value, std::size_t size);
  virtual int setxattr(const char* path, const char* name, const void* value, std::size_t size);
  virtual int removexattr(const char* path, const char* name);
};

FileSystem& file_system();

// Puts a file system in place for the life of the scope, then restores the
// one before it.
class ScopedFileSystem {
 public:
  explicit ScopedFileSystem(FileSystem& replacement);
  ~ScopedFileSystem();
  ScopedFileSystem(const ScopedFileSystem&) = delete;
  ScopedFileSystem& operator=(const ScopedFileSystem&) = delete;

 private:
  FileSystem* previous_;
};

// The whole contents of a small file: fnfErr when it does not exist, and
// paramErr when it is larger than limit (so a damaged length never makes us
// allocate gigabytes).
Expected<std::vector<UInt8>> read_file_contents(const std::filesystem::path& path,
                                                std::size_t limit);

// Writes a file whole: into a temporary beside it, synced, then renamed over
// the old one, so a crash leaves either the old contents or the new.
OSErr replace_file_contents(const std::filesystem::path& path, std::span<const UInt8> contents);

}  // namespace tessel::platform
