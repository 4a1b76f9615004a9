// Reading a whole frame source into plain values, for the readers' tests.
#ifndef FSRL_TESTS_TOOLS_FRAME_SOURCE_TEST_UTIL_H
#define FSRL_TESTS_TOOLS_FRAME_SOURCE_TEST_UTIL_H

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "fsrl/frame_source.h"

namespace fsrl_test {

/// A frame with its interface name copied out of the source.
struct ReadFrame {
  std::int64_t time_ns = 0;
  std::string iface;
  std::uint32_t channel = 0;
  std::uint32_t id = 0;
  bool extended = false;
  bool fd = false;
  bool remote = false;
  bool error = false;
  std::uint8_t fd_flags = 0;
  std::uint8_t remote_length = 0;
  std::vector<std::uint8_t> data;
};

inline std::ostream& operator<<(std::ostream& out, const ReadFrame& f) {
  out << "{t=" << f.time_ns << " " << f.iface << "/" << f.channel << " id=" << std::hex << f.id << std::dec
      << (f.extended ? "x" : "") << (f.fd ? " fd" : "") << (f.remote ? " remote" : "") << (f.error ? " error" : "")
      << " flags=" << int{f.fd_flags} << " len=" << f.data.size() << "}";
  return out;
}

/// Everything a source gave until its end.
struct ReadResult {
  std::vector<ReadFrame> frames;
  std::vector<std::string> problems;  ///< "WHERE: reason" of each malformed item or read error
  fsrl::SkippedCounts skipped;
  bool opened = false;
  std::string open_error;
  fsrl::LogFormat format = fsrl::LogFormat::kAuto;
};

inline ReadFrame Copy(const fsrl::CanFrame& frame) {
  ReadFrame f;
  f.time_ns = frame.timestamp_ns;
  f.iface = std::string(frame.iface);
  f.channel = frame.channel;
  f.id = frame.id;
  f.extended = frame.extended;
  f.fd = frame.fd;
  f.remote = frame.remote;
  f.error = frame.error;
  f.fd_flags = frame.fd_flags;
  f.remote_length = frame.remote_length;
  f.data.assign(frame.data, frame.data + frame.length);
  return f;
}

/// Reads @p source to its end; at most @p limit items, so that a reader that never ends fails the test instead of
/// hanging it.
inline void Drain(fsrl::FrameSource& source, ReadResult& result, std::size_t limit = 1000000) {
  fsrl::CanFrame frame;
  for (std::size_t i = 0; i < limit; ++i) {
    const fsrl::ReadStatus status = source.Next(frame);
    if (status == fsrl::ReadStatus::kEnd) {
      break;
    }
    if (status == fsrl::ReadStatus::kFrame) {
      result.frames.push_back(Copy(frame));
    } else {
      result.problems.push_back(source.Where() + ": " + source.reason());
      if (status == fsrl::ReadStatus::kReadError) {
        break;
      }
    }
  }
  result.skipped = source.skipped();
  result.format = source.format();
}

inline ReadResult ReadPath(const std::string& path, fsrl::LogFormat format = fsrl::LogFormat::kAuto) {
  ReadResult result;
  std::unique_ptr<fsrl::FrameSource> source = fsrl::OpenFrameSource(path, format, &result.open_error);
  if (source == nullptr) {
    return result;
  }
  result.opened = true;
  Drain(*source, result);
  return result;
}

/// Makes the C library read local times as UTC for the life of the object, so that dates in recordings give
/// the same instants on every machine.
class ScopedUtc {
 public:
  ScopedUtc() {
    const char* old = std::getenv("TZ");
    had_ = old != nullptr;
    if (had_) {
      old_ = old;
    }
    ::setenv("TZ", "UTC0", 1);
    ::tzset();
  }
  ~ScopedUtc() {
    if (had_) {
      ::setenv("TZ", old_.c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }
  ScopedUtc(const ScopedUtc&) = delete;
  ScopedUtc& operator=(const ScopedUtc&) = delete;

 private:
  bool had_ = false;
  std::string old_;
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_TOOLS_FRAME_SOURCE_TEST_UTIL_H
