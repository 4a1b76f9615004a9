/// @file
/// @brief The files a command reads and writes: '-' for the standard streams, closed on every path out, errors
/// named with the file, and recordings read frame by frame with every malformed line reported as FILE:LINE.
#ifndef FSRL_INPUT_FILE_H
#define FSRL_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_source.h"

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

/// @brief The frames of a recording as every command reads them, in any format OpenFrameSource reads (candump
/// `-l` and human-readable, ASC, BLF), told from the content unless the format is named.
///
/// Each malformed line or object is counted and reported on the error stream as FILE:LINE: reason (text) or
/// FILE:OFFSET: reason (BLF, the byte offset of the object or container), a read error as "fsrl COMMAND: FILE:
/// read error: reason". Content that fits no format is read as a `candump -l` log, so that every line of it is
/// reported where it is wrong. A damaged BLF structure is reported once, after every frame before it, and ends
/// the input. Frames the filter drops are counted and never returned.
class LogFrameReader {
 public:
  enum class Result {
    kFrame,      ///< a frame, in the argument of Next
    kMalformed,  ///< a malformed line or object, already reported and counted
    kEnd,        ///< end of input
    kReadError,  ///< the input failed; already reported
  };

  /// @param input must be open and outlive the reader
  /// @param command the command's name, for the read-error report
  /// @param format the recording's format; kAuto tells it from the first lines (or bytes) of the content
  /// @param filter which frames Next returns (a channel, ids, a time window); by default every frame
  LogFrameReader(const InputFile& input, std::FILE* err, std::string command, LogFormat format = LogFormat::kAuto,
                 FrameFilter filter = FrameFilter());
  ~LogFrameReader();
  LogFrameReader(const LogFrameReader&) = delete;
  LogFrameReader& operator=(const LogFrameReader&) = delete;

  /// @brief Called before a malformed line is reported, e.g. to flush the output written so far so that report
  /// and output agree on where the input went wrong.
  void set_before_malformed_report(std::function<void()> hook) { before_report_ = std::move(hook); }

  /// @brief The next frame that passes the filter. `frame.iface` stays valid until the next call.
  Result Next(CanFrame& frame);

  /// Lines read so far, blank and malformed included (0 for BLF).
  std::uint64_t lines() const;
  /// Malformed lines (or BLF objects) so far.
  std::uint64_t malformed() const { return malformed_; }
  /// Frames the filter dropped so far.
  std::uint64_t filtered() const { return filtered_; }
  /// Where the last frame or problem returned came from: its line (text), or for BLF the byte offset of its
  /// object (of the container, for a problem in the container).
  std::uint64_t line_number() const;
  /// Whether line_number() is a BLF byte offset.
  bool position_is_offset() const;
  /// The format being read (kCandumpLog when the input could not be read at all).
  LogFormat format() const;
  /// How much of the input was read, for summaries: "N lines" for text, "N objects" (frames, malformed and
  /// skipped objects) for BLF.
  std::string Extent() const;

 private:
  const InputFile& input_;
  std::FILE* err_;
  std::string command_;
  FrameFilter filter_;
  std::unique_ptr<FrameSource> source_;
  int open_errno_ = 0;  // the input failed before its format could be told
  std::uint64_t frames_ = 0;
  std::uint64_t malformed_ = 0;
  std::uint64_t filtered_ = 0;
  std::function<void()> before_report_;
};

}  // namespace fsrl

#endif  // FSRL_INPUT_FILE_H
