#include "host/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "host/Messages.h"

namespace tessel::host {

namespace {

constexpr int kBarWidth = 30;
constexpr auto kQuietTime = std::chrono::milliseconds(500);
// Tests on a pseudo-terminal set this to see the bar of a short run.
constexpr const char* kDrawAtOnceVariable = "TESSEL_TEST_PROGRESS_AT_ONCE";

int percent_of(SInt32 done, SInt32 total) {
  if (total <= 0) return 0;
  return int(std::clamp<SInt64>(SInt64(done) * 100 / total, 0, 100));
}

// Seconds as a person reads a wait: "40 s", "3 min", "2 h".
std::string duration_text(double seconds) {
  const std::vector<std::string> units = message_list(Text::kTimeUnits);
  std::size_t unit = 0;
  double value = std::ceil(std::max(seconds, 0.0));
  for (; unit + 1 < units.size() && value >= 60.0; ++unit) value = std::ceil(value / 60.0);
  return std::to_string(SInt64(value)) + ' ' + units[unit];
}

}  // namespace

ProgressBar::ProgressBar(std::FILE* stream)
    : stream_(stream),
      terminal_(isatty(fileno(stream)) == 1),
      start_(std::chrono::steady_clock::now()) {
  if (std::getenv(kDrawAtOnceVariable) != nullptr) start_ -= kQuietTime;
}

ProgressBar::~ProgressBar() {
  if (!drawn_) return;
  // Back to the line's start, then erase to its end.
  std::fputs("\r\x1b[K", stream_);
  std::fflush(stream_);
}

void ProgressBar::describe(std::string task, UInt64 totalBytes) {
  task_ = std::move(task);
  totalBytes_ = totalBytes;
}

void ProgressBar::update(SInt32 done, SInt32 total) {
  const auto elapsed = std::chrono::steady_clock::now() - start_;
  if (!terminal_ || elapsed < kQuietTime) return;
  const int percent = percent_of(done, total);
  if (percent == lastPercent_) return;
  lastPercent_ = percent;
  const double fraction = total > 0 ? std::clamp(double(done) / total, 0.0, 1.0) : 0.0;
  draw(percent, UInt64(double(totalBytes_) * fraction),
       std::chrono::duration<double>(elapsed).count());
}

void ProgressBar::draw(int percent, UInt64 doneBytes, double seconds) {
  const int filled = percent * kBarWidth / 100;
  const std::string bar =
      std::string(std::size_t(filled), '#') + std::string(std::size_t(kBarWidth - filled), '.');
  const double rate = seconds > 0 ? double(doneBytes) / seconds : 0.0;
  const double left = rate > 0 ? double(totalBytes_ - doneBytes) / rate : 0.0;
  // Before the first bytes there is no rate to tell, nor a time left.
  const std::string figures =
      totalBytes_ == 0 || doneBytes == 0
          ? std::string()
          : message(Text::kProgressFigures, {size_text(doneBytes), size_text(totalBytes_),
                                             size_text(UInt64(rate)), duration_text(left)});
  const std::string text =
      message(Text::kProgressLine, {task_, bar, std::to_string(percent), figures});
  std::fprintf(stream_, "\r%s\x1b[K", text.c_str());
  std::fflush(stream_);
  drawn_ = true;
}

}  // namespace tessel::host
