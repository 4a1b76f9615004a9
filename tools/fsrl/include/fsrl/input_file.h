/// @file
/// @brief The files a command reads and writes: '-' for the standard streams, closed on every path out, errors
/// named with the file, and candump logs read frame by frame with every malformed line reported as FILE:LINE.
#ifndef FSRL_INPUT_FILE_H
#define FSRL_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

#include "fsrl/candump_reader.h"

namespace fsrl {

/// @brief An input descriptor: the file at a path, or standard input for "-". Closed when destroyed unless it is
/// standard input.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// The descriptor; negative when the open failed.
  int fd() const { return fd_; }
  /// The name reports use: the path, or "<stdin>".
  const std::string& display_name() const { return display_name_; }
  /// errno of a failed open, 0 otherwise.
  int error() const { return error_; }

 private:
  int fd_ = -1;
  int error_ = 0;
  bool owned_ = false;
  std::string display_name_;
};

/// @brief An output file the command opened, or a stream it was given ("-"). Closing reports write errors that
/// were still buffered.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Opens @p path for writing ("wb", or @p mode); "-" uses @p standard_out instead (not closed, only flushed).
  bool Open(const std::string& path, std::FILE* standard_out = nullptr, const char* mode = "wb");
  std::FILE* get() const { return file_; }
  /// errno of the failed open, write or close; 0 otherwise.
  int error() const { return error_; }
  /// False when a write, the flush or the close failed.
  bool Close();

 private:
  std::FILE* file_ = nullptr;
  bool owned_ = false;
  int error_ = 0;
};

/// @brief Reads all of @p path ("-": @p standard_in) into @p text.
/// @return false with @p error as "cannot open 'PATH': reason" or "cannot read 'PATH': reason"
bool ReadWholeFile(const std::string& path, std::FILE* standard_in, std::string& text, std::string& error);

/// @brief Writes @p text as all of @p path ("-": @p standard_out).
/// @return false with @p error as "cannot open 'PATH': reason" or "cannot write 'PATH': reason"
bool WriteWholeFile(const std::string& path, std::FILE* standard_out, const std::string& text, std::string& error);

/// @brief The frames of a candump log as every command reads them: each malformed line is counted and reported
/// on the error stream as FILE:LINE: reason, a read error as "fsrl COMMAND: FILE: read error: reason".
class LogFrameReader {
 public:
  enum class Result {
    kFrame,      ///< a frame, in the argument of Next
    kMalformed,  ///< a malformed line, already reported and counted
    kEnd,        ///< end of input
    kReadError,  ///< the input failed; already reported
  };

  /// @param input must be open and outlive the reader
  /// @param command the command's name, for the read-error report
  LogFrameReader(const InputFile& input, std::FILE* err, std::string command);

  /// @brief Called before a malformed line is reported, e.g. to flush the output written so far so that report
  /// and output agree on where the input went wrong.
  void set_before_malformed_report(std::function<void()> hook) { before_report_ = std::move(hook); }

  Result Next(CanFrame& frame);

  /// Lines read so far, blank and malformed included.
  std::uint64_t lines() const { return reader_.lines_read(); }
  /// Malformed lines so far.
  std::uint64_t malformed() const { return malformed_; }
  /// Line number of the last line returned.
  std::uint64_t line_number() const { return reader_.line_number(); }

 private:
  const InputFile& input_;
  std::FILE* err_;
  std::string command_;
  CandumpReader reader_;
  std::uint64_t malformed_ = 0;
  std::function<void()> before_report_;
};

}  // namespace fsrl

#endif  // FSRL_INPUT_FILE_H
