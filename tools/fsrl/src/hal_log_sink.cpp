#include "fsrl/hal_log_sink.h"

namespace fsrl {

void HalLogSink::Write(const zol::log::LogRecord& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++count_;
  if (forward_ && err_ != nullptr) {
    std::fprintf(err_, "[%.*s] %s: %.*s\n", static_cast<int>(record.context_id.size()), record.context_id.data(),
                 zol::log::ToString(record.level), static_cast<int>(record.message.size()), record.message.data());
  }
}

std::uint64_t HalLogSink::count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

}  // namespace fsrl
