#include "fsrl/progress.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace fsrl {

bool ProgressWanted(std::FILE* err, std::FILE* out, bool output_elsewhere) {
  if (err == nullptr || ::isatty(::fileno(err)) != 1) {
    return false;
  }
  return output_elsewhere || out == nullptr || ::isatty(::fileno(out)) != 1;
}

ProgressLine::ProgressLine(std::FILE* err, bool enabled)
    : err_(err), enabled_(enabled && err != nullptr), next_(std::chrono::steady_clock::now() + kDelay) {}

ProgressLine::~ProgressLine() { Clear(); }

bool ProgressLine::Due() {
  if (!enabled_) {
    return false;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) {
    return false;
  }
  next_ = now + kInterval;
  return true;
}

void ProgressLine::Show(const std::string& text) {
  if (!enabled_) {
    return;
  }
  const int width = static_cast<int>(text.size());
  // Blanks over what is left of a longer previous text.
  std::fprintf(err_, "\r%s%*s", text.c_str(), std::max(0, width_ - width), "");
  std::fflush(err_);
  width_ = std::max(width_, width);
}

void ProgressLine::Clear() {
  if (width_ > 0) {
    std::fprintf(err_, "\r%*s\r", width_, "");
    std::fflush(err_);
    width_ = 0;
  }
}

ProgressTicker::ProgressTicker(ProgressLine& line, std::string text)
    : line_(line), text_(std::move(text)), start_(std::chrono::steady_clock::now()) {
  // A disabled line needs no thread: it would never write.
  if (line_.enabled_) {
    thread_ = std::thread([this] { Run(); });
  }
}

ProgressTicker::~ProgressTicker() {
  if (thread_.joinable()) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
    }
    stop_requested_.notify_one();
    thread_.join();
  }
  line_.Clear();
}

void ProgressTicker::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stop_requested_.wait_for(lock, ProgressLine::kInterval, [this] { return stop_; })) {
    if (line_.Due()) {
      const auto seconds =
          std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start_).count();
      line_.Show(text_ + " (" + std::to_string(seconds) + " s)");
    }
  }
}

}  // namespace fsrl
