// A one-line progress bar on standard error for runs long enough to need one.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include "MacTypes.h"

namespace tessel::host {

class ProgressBar {
 public:
  // Draws only when stream is a terminal, and only once the run has lasted
  // half a second: short runs and logs stay quiet.
  explicit ProgressBar(std::FILE* stream);
  // Clears the bar's line, so what is said next starts on a clean one.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // What the run is doing, in words ("reading IMAGE"), and the bytes it
  // moves in all; until told, the bar shows only its fraction.
  void describe(std::string task, UInt64 totalBytes);
  void update(SInt32 done, SInt32 total);

 private:
  void draw(int percent, UInt64 doneBytes, double seconds);

  std::FILE* stream_;
  bool terminal_;
  bool drawn_ = false;
  int lastPercent_ = -1;
  std::string task_{};
  UInt64 totalBytes_ = 0;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace tessel::host
