// Choosing and opening a frame writer by the output's name, and what the writers share.
#include "fsrl/frame_writer.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>

#include "frame_writer_internal.h"
#include "fsrl/simulator.h"

namespace fsrl {

bool FrameWriter::FailErrno(int errno_value) {
  return Fail(std::strerror(errno_value != 0 ? errno_value : EIO), errno_value != 0 ? errno_value : EIO);
}

namespace detail {

bool ToLocalCalendarTime(std::int64_t epoch_ns, LocalCalendarTime& time) {
  const std::int64_t floored = FloorToMillisecond(epoch_ns);
  constexpr std::int64_t kMillisecondsPerSecond = 1000;
  std::int64_t milliseconds = floored / kNsPerMillisecond;
  std::int64_t seconds = milliseconds / kMillisecondsPerSecond;
  std::int64_t millisecond = milliseconds % kMillisecondsPerSecond;
  if (millisecond < 0) {
    millisecond += kMillisecondsPerSecond;
    --seconds;
  }
  const std::time_t t = static_cast<std::time_t>(seconds);
  std::tm tm{};
  if (localtime_r(&t, &tm) == nullptr) {
    return false;
  }
  time.year = tm.tm_year + 1900;
  time.month = tm.tm_mon + 1;
  time.weekday = tm.tm_wday;
  time.day = tm.tm_mday;
  time.hour = tm.tm_hour;
  time.minute = tm.tm_min;
  time.second = tm.tm_sec;
  time.millisecond = static_cast<int>(millisecond);
  return true;
}

}  // namespace detail

namespace {

const char kFormatChoices[] = "choose .log for a candump log, .asc for Vector ASC or .blf for Vector BLF";

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// A writer on a file it opened (or on standard output): closes the file at Finish and names it in its errors.
class NamedOutputWriter final : public FrameWriter {
 public:
  NamedOutputWriter(std::FILE* file, bool owns_file, std::string name, std::unique_ptr<FrameWriter> inner)
      : file_(file), owns_file_(owns_file), name_(std::move(name)), inner_(std::move(inner)) {}
  ~NamedOutputWriter() override {
    if (owns_file_ && file_ != nullptr) {
      std::fclose(file_);
    }
  }
  NamedOutputWriter(const NamedOutputWriter&) = delete;
  NamedOutputWriter& operator=(const NamedOutputWriter&) = delete;

  bool Write(const CanFrame& frame) override {
    if (!ok()) {
      return false;
    }
    return inner_->Write(frame) || Report();
  }

  bool Finish() override {
    if (finished_) {
      return ok();
    }
    finished_ = true;
    if (!inner_->Finish()) {
      Report();
    }
    if (owns_file_) {
      // Data the C library still held reaches the system only now, so a full disk may show up here first.
      const int closed = std::fclose(file_);
      const int close_errno = errno;
      file_ = nullptr;
      if (closed != 0) {
        Fail("cannot write '" + name_ + "': " + std::strerror(close_errno), close_errno);
      }
    }
    return ok();
  }

 private:
  bool Report() { return Fail("cannot write '" + name_ + "': " + inner_->error(), inner_->errno_value()); }

  std::FILE* file_;
  bool owns_file_;
  std::string name_;
  std::unique_ptr<FrameWriter> inner_;
  bool finished_ = false;
};

}  // namespace

bool FrameWriterFormatForPath(const std::string& path, LogFormat& format, std::string* error) {
  if (path == "-") {
    format = LogFormat::kCandumpLog;
    return true;
  }
  const std::size_t slash = path.find_last_of('/');
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = base.find_last_of('.');
  if (dot == std::string::npos) {
    // Devices and fifos (/dev/null, /dev/stdout) have no extension: the tool's own format.
    format = LogFormat::kCandumpLog;
    return true;
  }
  std::string extension = base.substr(dot + 1);
  for (char& c : extension) {
    c = Lower(c);
  }
  if (extension == "log") {
    format = LogFormat::kCandumpLog;
  } else if (extension == "asc") {
    format = LogFormat::kAsc;
  } else if (extension == "blf") {
    format = LogFormat::kBlf;
  } else {
    if (error != nullptr) {
      *error = "unknown log format '." + base.substr(dot + 1) + "' (" + kFormatChoices + ")";
    }
    return false;
  }
  return true;
}

std::unique_ptr<FrameWriter> MakeFrameWriter(LogFormat format, std::FILE* out) {
  switch (format) {
    case LogFormat::kCandumpLog:
      return std::make_unique<CandumpLogWriter>(out);
    case LogFormat::kAsc:
      return detail::MakeAscWriter(out);
    case LogFormat::kBlf:
      return detail::MakeBlfWriter(out);
    default:
      return nullptr;
  }
}

std::unique_ptr<FrameWriter> OpenFrameWriter(const std::string& path_or_dash, std::string* error,
                                             std::FILE* standard_output) {
  LogFormat format = LogFormat::kCandumpLog;
  std::string reason;
  if (!FrameWriterFormatForPath(path_or_dash, format, &reason)) {
    if (error != nullptr) {
      *error = "cannot write '" + path_or_dash + "': " + reason;
    }
    return nullptr;
  }
  const bool to_stdout = path_or_dash == "-";
  std::FILE* file = to_stdout ? standard_output : std::fopen(path_or_dash.c_str(), "wb");
  if (file == nullptr) {
    if (error != nullptr) {
      *error = "cannot open '" + path_or_dash + "': " + std::strerror(errno);
    }
    return nullptr;
  }
  return std::make_unique<NamedOutputWriter>(file, !to_stdout, to_stdout ? "<stdout>" : path_or_dash,
                                             MakeFrameWriter(format, file));
}

}  // namespace fsrl
