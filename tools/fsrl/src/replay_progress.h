// Replay concern: the progress line on a terminal, rewritten in place while a long replay runs.
#ifndef FSRL_SRC_REPLAY_PROGRESS_H
#define FSRL_SRC_REPLAY_PROGRESS_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>

#include "fsrl/replay.h"

namespace fsrl::internal {

class ProgressLine {
 public:
  // A progress line appears only once a replay has taken this long, and is rewritten at most this often.
  static constexpr std::chrono::milliseconds kDelay{1000};
  static constexpr std::chrono::milliseconds kInterval{250};

  // @p err may be null; @p shown false keeps the line away.
  ProgressLine(std::FILE* err, bool shown)
      : err_(shown ? err : nullptr), next_(std::chrono::steady_clock::now() + kDelay) {}

  // After each cycle: @p log_seconds of the log replayed so far.
  void Update(double log_seconds, const ReplaySummary& summary) {
    if (err_ == nullptr) {
      return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) {
      return;
    }
    next_ = now + kInterval;
    const int width = std::fprintf(
        err_, "\rfsrl replay: %.1f s of log, %llu cycles, %llu detection scans, %llu statuses", log_seconds,
        static_cast<unsigned long long>(summary.cycles), static_cast<unsigned long long>(summary.detection_scans),
        static_cast<unsigned long long>(summary.status_publications));
    std::fflush(err_);
    width_ = std::max(width_, width);
  }

  // Before any other message, and at the end.
  void Clear() {
    if (width_ > 0 && err_ != nullptr) {
      std::fprintf(err_, "\r%*s\r", width_, "");
      std::fflush(err_);
      width_ = 0;
    }
  }

 private:
  std::FILE* err_;
  std::chrono::steady_clock::time_point next_;
  int width_ = 0;
};

}  // namespace fsrl::internal

#endif  // FSRL_SRC_REPLAY_PROGRESS_H
