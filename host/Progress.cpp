#include "host/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <string>

namespace tessel::host {

namespace {

constexpr int kBarWidth = 40;
constexpr auto kQuietTime = std::chrono::milliseconds(500);

int percent_of(SInt32 done, SInt32 total) {
  if (total <= 0) return 0;
  return int(std::clamp<SInt64>(SInt64(done) * 100 / total, 0, 100));
}

}  // namespace

ProgressBar::ProgressBar(std::FILE* stream)
    : stream_(stream),
      terminal_(isatty(fileno(stream)) == 1),
      start_(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() {
  if (drawn_) std::fputc('\n', stream_);
}

void ProgressBar::update(SInt32 done, SInt32 total) {
  if (!terminal_ || std::chrono::steady_clock::now() - start_ < kQuietTime) return;
  const int percent = percent_of(done, total);
  if (percent == lastPercent_) return;
  lastPercent_ = percent;
  const int filled = percent * kBarWidth / 100;
  const std::string bar =
      std::string(std::size_t(filled), '#') + std::string(std::size_t(kBarWidth - filled), '.');
  std::fprintf(stream_, "\r[%s] %3d%%", bar.c_str(), percent);
  std::fflush(stream_);
  drawn_ = true;
}

}  // namespace tessel::host
