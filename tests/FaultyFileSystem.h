// A file system double that counts calls and fails the ones a test picks.
#pragma once

#include <cerrno>

#include "FileSystem.h"

namespace tessel::testing {

class FaultyFileSystem : public platform::FileSystem {
 public:
  // 1-based number of the read or write that fails; 0 never.
  int fail_read_at = 0;
  int fail_write_at = 0;
  int read_error = EIO;
  int write_error = ENOSPC;
  // The failing read or write moves half of what was asked instead of
  // failing: a caller must carry on rather than take it for the end.
  bool short_read = false;
  bool short_write = false;
  bool read_only_volume = false;
  // Every sync fails with this error when nonzero, as on a disk that
  // reports a write error only when the cache is flushed.
  int sync_error = 0;

  int reads = 0;
  std::size_t bytes_read = 0;  // asked for, by every read
  int writes = 0;
  int syncs = 0;

  ssize_t pread(int fd, void* buffer, std::size_t count, off_t offset) override {
    bytes_read += count;
    if (++reads == fail_read_at) {
      if (short_read) return FileSystem::pread(fd, buffer, count / 2, offset);
      errno = read_error;
      return -1;
    }
    return FileSystem::pread(fd, buffer, count, offset);
  }

  ssize_t pwrite(int fd, const void* buffer, std::size_t count, off_t offset) override {
    if (++writes == fail_write_at) {
      if (short_write) return FileSystem::pwrite(fd, buffer, count / 2, offset);
      errno = write_error;
      return -1;
    }
    return FileSystem::pwrite(fd, buffer, count, offset);
  }

  int fsync(int fd) override {
    ++syncs;
    if (sync_error != 0) {
      errno = sync_error;
      return -1;
    }
    return FileSystem::fsync(fd);
  }

  int statvfs(const char* path, struct statvfs* info) override {
    int result = FileSystem::statvfs(path, info);
    if (result == 0 && read_only_volume) info->f_flag |= ST_RDONLY;
    return result;
  }
};

}  // namespace tessel::testing
