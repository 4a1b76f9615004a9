/// @file
/// @brief Where the HAL's own log messages go while a command runs it: counted always, shown on request.
#ifndef FSRL_HAL_LOG_SINK_H
#define FSRL_HAL_LOG_SINK_H

#include <cstdint>
#include <cstdio>
#include <mutex>

#include "zol/log/logging.h"

namespace fsrl {

/// @brief Keeps the HAL's log lines off the error stream unless asked for (`--hal-log`).
///
/// A damaged recording makes the HAL log every failed read, which the commands already report frame by frame or
/// count in their summaries; the count tells the user that there is more to see. The signal service's thread may
/// log too, hence the lock.
class HalLogSink : public zol::log::Sink {
 public:
  /// @param err where forwarded messages go (may be null: nothing is written)
  /// @param forward write every message as "[CONTEXT] LEVEL: message"
  HalLogSink(std::FILE* err, bool forward) : err_(err), forward_(forward) {}

  void Write(const zol::log::LogRecord& record) override;

  /// Messages received so far, forwarded or not.
  std::uint64_t count() const;

 private:
  std::FILE* err_;
  bool forward_;
  mutable std::mutex mutex_;
  std::uint64_t count_ = 0;
};

}  // namespace fsrl

#endif  // FSRL_HAL_LOG_SINK_H
