#include "tools/samples/FileSink.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "MacErrors.h"
#include "PosixErrors.h"

namespace tessel::samples {

FileSink::FileSink(std::size_t capacity) : buffer_(capacity) {}

FileSink::~FileSink() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

OSErr FileSink::open(const std::filesystem::path& file) {
  descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (descriptor_ < 0) return platform::last_os_error();
  return noErr;
}

std::span<UInt8> FileSink::claim(std::size_t count) {
  endsInHole_ = false;
  if (buffer_.size() - used_ < count) flush();
  if (buffer_.size() < count) buffer_.resize(count);
  std::span<UInt8> room(buffer_.data() + used_, count);
  used_ += count;
  return room;
}

void FileSink::append(std::span<const UInt8> bytes) {
  while (!bytes.empty()) {
    std::size_t part = std::min(bytes.size(), buffer_.size());
    std::span<UInt8> room = claim(part);
    std::memcpy(room.data(), bytes.data(), part);
    bytes = bytes.subspan(part);
  }
}

void FileSink::append_zeros(std::size_t count) {
  while (count > 0) {
    std::size_t part = std::min(count, buffer_.size());
    std::span<UInt8> room = claim(part);
    std::fill(room.begin(), room.end(), UInt8(0));
    count -= part;
  }
}

void FileSink::skip(UInt64 count) {
  if (count == 0) return;
  flush();
  if (descriptor_ >= 0 && error_ == noErr && ::lseek(descriptor_, off_t(count), SEEK_CUR) < 0) {
    error_ = platform::last_os_error();
  }
  endsInHole_ = true;
}

void FileSink::flush() {
  const UInt8* next = buffer_.data();
  std::size_t left = used_;
  used_ = 0;
  while (left > 0 && error_ == noErr && descriptor_ >= 0) {
    ssize_t written = ::write(descriptor_, next, left);
    if (written < 0) {
      if (errno == EINTR) continue;
      error_ = platform::last_os_error();
    } else {
      next += written;
      left -= std::size_t(written);
    }
  }
}

OSErr FileSink::close() {
  if (descriptor_ < 0) return error_ == noErr ? rfNumErr : error_;
  flush();
  // A hole at the end is no data to write: the length alone makes it.
  if (endsInHole_ && error_ == noErr) {
    const off_t end = ::lseek(descriptor_, 0, SEEK_CUR);
    if (end < 0 || ::ftruncate(descriptor_, end) != 0) error_ = platform::last_os_error();
  }
  if (::close(descriptor_) != 0 && error_ == noErr) error_ = platform::last_os_error();
  descriptor_ = -1;
  return error_;
}

}  // namespace tessel::samples
