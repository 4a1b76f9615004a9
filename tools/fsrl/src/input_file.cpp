#include "fsrl/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "frame_source_internal.h"

namespace fsrl {

InputFile::InputFile(const std::string& path) {
  if (path == "-") {
    fd_ = STDIN_FILENO;
    display_name_ = "<stdin>";
    return;
  }
  fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  error_ = fd_ < 0 ? errno : 0;
  owned_ = fd_ >= 0;
  display_name_ = path;
}

InputFile::~InputFile() {
  if (owned_) {
    ::close(fd_);
  }
}

OutputFile::~OutputFile() { Close(); }

bool OutputFile::Open(const std::string& path, std::FILE* standard_out, const char* mode) {
  Close();
  error_ = 0;
  if (path == "-" && standard_out != nullptr) {
    file_ = standard_out;
    owned_ = false;
    return true;
  }
  file_ = std::fopen(path.c_str(), mode);
  error_ = file_ == nullptr ? errno : 0;
  owned_ = file_ != nullptr;
  return file_ != nullptr;
}

bool OutputFile::Close() {
  if (file_ == nullptr) {
    return error_ == 0;
  }
  errno = 0;
  const bool written = std::ferror(file_) == 0;
  const bool closed = owned_ ? std::fclose(file_) == 0 : std::fflush(file_) == 0;
  if (!closed || !written) {
    error_ = errno != 0 ? errno : EIO;
  }
  file_ = nullptr;
  owned_ = false;
  return written && closed;
}

bool ReadWholeFile(const std::string& path, std::FILE* standard_in, std::string& text, std::string& error) {
  const bool from_stdin = path == "-";
  std::FILE* file = from_stdin ? standard_in : std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = "cannot open '" + path + "': " + std::strerror(errno);
    return false;
  }
  char block[1 << 16];
  std::size_t got = 0;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, got);
  }
  const bool read = std::ferror(file) == 0;
  const int read_errno = errno;
  if (!from_stdin) {
    std::fclose(file);
  }
  if (!read) {
    error = "cannot read '" + path + "': " + std::strerror(read_errno != 0 ? read_errno : EIO);
  }
  return read;
}

bool WriteWholeFile(const std::string& path, std::FILE* standard_out, const std::string& text, std::string& error) {
  OutputFile file;
  if (!file.Open(path, standard_out)) {
    error = "cannot open '" + path + "': " + std::strerror(file.error());
    return false;
  }
  std::fwrite(text.data(), 1, text.size(), file.get());
  if (!file.Close()) {
    error = "cannot write '" + path + "': " + std::strerror(file.error());
    return false;
  }
  return true;
}

LogFrameReader::LogFrameReader(const InputFile& input, std::FILE* err, std::string command, LogFormat format,
                               FrameFilter filter)
    : input_(input), err_(err), command_(std::move(command)), filter_(std::move(filter)) {
  // Content of no known format is read as `candump -l`, the format fsrl has always read: each line of it is
  // then reported where it is wrong instead of the whole file being refused.
  source_ = detail::OpenDetected(std::make_unique<detail::ByteInput>(input.fd(), false), input.display_name(), format,
                                 LogFormat::kCandumpLog, nullptr, &open_errno_);
  if (source_ == nullptr && open_errno_ == 0) {
    open_errno_ = EIO;  // no other failure is possible with a fallback format; never leave the reader half made
  }
}

LogFrameReader::~LogFrameReader() = default;

LogFrameReader::Result LogFrameReader::Next(CanFrame& frame) {
  if (source_ == nullptr) {
    if (open_errno_ != 0) {
      std::fprintf(err_, "fsrl %s: %s: read error: %s\n", command_.c_str(), input_.display_name().c_str(),
                   std::strerror(open_errno_));
      open_errno_ = 0;  // reported once; the input stays at its end
      return Result::kReadError;
    }
    return Result::kEnd;
  }
  for (;;) {
    switch (source_->Next(frame)) {
      case ReadStatus::kFrame:
        ++frames_;
        if (!filter_.Accepts(frame)) {
          ++filtered_;
          continue;
        }
        return Result::kFrame;
      case ReadStatus::kEnd:
        return Result::kEnd;
      case ReadStatus::kReadError:
        std::fprintf(err_, "fsrl %s: %s: read error: %s\n", command_.c_str(), input_.display_name().c_str(),
                     source_->reason().c_str());
        return Result::kReadError;
      case ReadStatus::kMalformed:
        break;
    }
    ++malformed_;
    if (before_report_) {
      before_report_();
    }
    std::fprintf(err_, "%s:%llu: %s\n", input_.display_name().c_str(),
                 static_cast<unsigned long long>(source_->position()), source_->reason().c_str());
    return Result::kMalformed;
  }
}

std::uint64_t LogFrameReader::lines() const { return source_ != nullptr ? source_->lines_read() : 0; }

std::uint64_t LogFrameReader::line_number() const { return source_ != nullptr ? source_->position() : 0; }

bool LogFrameReader::position_is_offset() const { return source_ != nullptr && source_->position_is_offset(); }

LogFormat LogFrameReader::format() const { return source_ != nullptr ? source_->format() : LogFormat::kCandumpLog; }

std::string LogFrameReader::Extent() const {
  if (!position_is_offset()) {
    return std::to_string(lines()) + " lines";
  }
  const SkippedCounts& skipped = source_->skipped();
  return std::to_string(frames_ + malformed_ + skipped.error_frames + skipped.events + skipped.other_objects) +
         " objects";
}

}  // namespace fsrl
