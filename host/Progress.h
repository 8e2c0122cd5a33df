// A one-line progress bar on standard error for runs long enough to need one.
#pragma once

#include <chrono>
#include <cstdio>

#include "MacTypes.h"

namespace tessel::host {

class ProgressBar {
 public:
  // Draws only when stream is a terminal, and only once the run has lasted
  // half a second: short runs and logs stay quiet.
  explicit ProgressBar(std::FILE* stream);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void update(SInt32 done, SInt32 total);

 private:
  std::FILE* stream_;
  bool terminal_;
  bool drawn_ = false;
  int lastPercent_ = -1;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace tessel::host
