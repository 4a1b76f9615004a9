#include "fsrl/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

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

LogFrameReader::LogFrameReader(const InputFile& input, std::FILE* err, std::string command)
    : input_(input), err_(err), command_(std::move(command)), reader_(input.fd()) {}

LogFrameReader::Result LogFrameReader::Next(CanFrame& frame) {
  switch (reader_.Next(frame)) {
    case CandumpReader::Result::kFrame:
      return Result::kFrame;
    case CandumpReader::Result::kEnd:
      return Result::kEnd;
    case CandumpReader::Result::kReadError:
      std::fprintf(err_, "fsrl %s: %s: read error: %s\n", command_.c_str(), input_.display_name().c_str(),
                   reader_.reason());
      return Result::kReadError;
    case CandumpReader::Result::kMalformed:
      break;
  }
  ++malformed_;
  if (before_report_) {
    before_report_();
  }
  std::fprintf(err_, "%s:%llu: %s\n", input_.display_name().c_str(),
               static_cast<unsigned long long>(reader_.line_number()), reader_.reason());
  return Result::kMalformed;
}

}  // namespace fsrl
