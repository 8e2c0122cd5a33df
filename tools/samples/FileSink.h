// A write-only file fed through one large buffer: callers fill the buffer in
// place, so a row costs no copy and the disk sees few, large writes.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <vector>

#include "MacTypes.h"

namespace tessel::samples {

class FileSink {
 public:
  // Creates or truncates the file. capacity is the usual buffer size; a
  // single claim larger than it grows the buffer to that claim.
  explicit FileSink(std::size_t capacity);
  ~FileSink();
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  OSErr open(const std::filesystem::path& file);
  // Room for exactly count bytes, to be filled before the next call. Errors
  // of the flush this may need are kept and reported by close().
  std::span<UInt8> claim(std::size_t count);
  void append(std::span<const UInt8> bytes);
  void append_zeros(std::size_t count);
  // Moves past count bytes without writing them: a hole in a sparse file.
  void skip(UInt64 count);
  // Writes what is buffered and closes; the first error of the file's life.
  OSErr close();

 private:
  void flush();

  int descriptor_ = -1;
  OSErr error_ = 0;
  std::vector<UInt8> buffer_;
  std::size_t used_ = 0;
  bool endsInHole_ = false;
};

}  // namespace tessel::samples
