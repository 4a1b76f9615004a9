/// @file
/// @brief Writing CAN frames as a recording: a `candump -l` log, a Vector ASC log or a Vector BLF log, the format
/// chosen by the output's name.
///
/// Every writer streams: it holds at most one block of output (candump, ASC) or one container (BLF) in memory,
/// whatever the number of frames. What each format keeps of a frame:
///
///   candump  time in nanoseconds as FormatSeconds writes it, interface name, id, CAN FD flags nibble, data.
///   ASC      start of measurement (the first frame's time, to the millisecond, written as local time), each
///            frame's offset from it in microseconds (rounded), channel number, id, direction, data; CAN FD frames
///            with BRS and ESI; remote requests; error frames as `ErrorFrame` lines.
///   BLF      start time as ASC (local time, milliseconds), each frame's offset from it in nanoseconds, exact;
///            classic frames as CAN_MESSAGE objects, CAN FD frames as CAN_FD_MESSAGE_64 objects (BRS, ESI),
///            error frames as CAN_ERROR objects; objects packed into zlib-compressed LOG_CONTAINERs. The file
///            header's statistics (sizes, object count, start and stop time) are filled in by Finish; an output
///            that cannot seek (a pipe) keeps them zero.
///
/// ASC and BLF number channels from 1: a frame's `channel` is written, or 1 when it has none (0). Both store
/// times as offsets from the start of measurement, so a frame earlier than the first frame's millisecond cannot
/// be written: Write fails and says so, and the frames before it stay in the file.
#ifndef FSRL_FRAME_WRITER_H
#define FSRL_FRAME_WRITER_H

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_source.h"

namespace fsrl {

/// @brief A recording being written, one frame at a time.
class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  FrameWriter(const FrameWriter&) = delete;
  FrameWriter& operator=(const FrameWriter&) = delete;

  /// @brief Adds @p frame to the recording. @return false once anything failed (later frames are dropped)
  virtual bool Write(const CanFrame& frame) = 0;
  /// @brief Writes what is left, completes the file (BLF: its header), flushes, and closes an output the writer
  /// opened. Call it once. @return false when anything failed
  virtual bool Finish() = 0;

  /// @brief Why the first failure happened; empty while all is well. Writers from OpenFrameWriter name the file:
  /// "cannot write 'radar.blf': No space left on device".
  const std::string& error() const { return error_; }
  /// @brief errno of the first failed system call, 0 when none failed (or the failure was the frame's).
  int errno_value() const { return errno_value_; }

 protected:
  FrameWriter() = default;
  /// Records a failure of the output (later failures are consequences of it): nothing more is written.
  /// @return false, for `return Fail(...)`
  bool Fail(std::string reason, int errno_value = 0) {
    output_ok_ = false;
    return Refuse(std::move(reason), errno_value);
  }
  /// Records a frame the format cannot hold: later frames are dropped, but Finish still completes the file, so
  /// that the frames before it stay readable. @return false
  bool Refuse(std::string reason, int errno_value = 0) {
    if (ok_) {
      ok_ = false;
      error_ = std::move(reason);
      errno_value_ = errno_value;
    }
    return false;
  }
  /// Records a failed system call by its errno.
  bool FailErrno(int errno_value);
  /// Whether nothing failed and no frame was refused.
  bool ok() const { return ok_; }
  /// Whether the output still takes bytes.
  bool output_ok() const { return output_ok_; }

 private:
  bool ok_ = true;
  bool output_ok_ = true;
  std::string error_;
  int errno_value_ = 0;
};

/// @brief The format a recording named @p path is written in: `.log` (and a name without an extension, such as
/// /dev/null or a fifo) candump, `.asc` ASC, `.blf` BLF, in any letter case; `-` candump. Another extension is an
/// error listing the choices, so that a mistyped name does not silently get the wrong format.
/// @return false, with @p error (when not null) saying why, for an unknown extension
bool FrameWriterFormatForPath(const std::string& path, LogFormat& format, std::string* error = nullptr);

/// @brief A writer of @p format (kCandumpLog, kAsc or kBlf) on @p out, which it does not own or close (Finish
/// flushes it). BLF rewinds @p out to complete its header, so @p out should be positioned at its start.
/// @return null for another format
std::unique_ptr<FrameWriter> MakeFrameWriter(LogFormat format, std::FILE* out);

/// @brief Creates (or truncates) @p path_or_dash and returns a writer in the format of its extension (see
/// FrameWriterFormatForPath); `-` writes a candump log to @p standard_output, which is flushed, not closed.
/// @return the writer, or null with @p error (when not null) naming the file and saying why: "cannot open
/// 'x.asc': Permission denied", "cannot write 'x.txt': unknown log format ...".
std::unique_ptr<FrameWriter> OpenFrameWriter(const std::string& path_or_dash, std::string* error = nullptr,
                                             std::FILE* standard_output = stdout);

}  // namespace fsrl

#endif  // FSRL_FRAME_WRITER_H
