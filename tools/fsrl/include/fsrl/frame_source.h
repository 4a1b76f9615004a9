/// @file
/// @brief One stream of timestamped CAN frames from any recording an engineer brings: candump logs (`-l` form
/// and the human-readable form with or without time stamps), Vector ASC and Vector BLF.
///
/// Every reader hands out `CanFrame`s through the same `FrameSource` interface. A frame carries its time in
/// nanoseconds, its channel (name in `iface`, 1-based number in `channel`), id, standard/extended, CAN or CAN FD
/// with the BRS/ESI flags in `fd_flags` (kFdFlagBrs, kFdFlagEsi, the bits candump writes), remote/error flags,
/// length and data.
///
/// Channels: ASC and BLF number their channels from 1; `iface` then holds that number as decimal text. candump
/// names interfaces; a source numbers them from 1 in the order they first appear, so that `--channel 1` selects
/// the first bus of any recording.
///
/// Times: candump `-l` and `-ta` logs carry absolute times; `-tz` logs times from the first frame; `-td` logs
/// the time since the previous frame, which the source adds up; lines without a time stamp read as time 0.
/// ASC times are the start of measurement (the `Begin Triggerblock` date, else the header's `date`, read as local
/// time) plus each line's offset; BLF times are the file header's start time (local time) plus each object's
/// time stamp. A recording without a start date gives offsets only.
#ifndef FSRL_FRAME_SOURCE_H
#define FSRL_FRAME_SOURCE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fsrl/candump_reader.h"

namespace fsrl {

/// Bits of CanFrame::fd_flags, as Linux defines them for CAN FD frames (linux/can.h CANFD_BRS, CANFD_ESI).
constexpr std::uint8_t kFdFlagBrs = 0x01;
constexpr std::uint8_t kFdFlagEsi = 0x02;

/// The recording formats a FrameSource reads.
enum class LogFormat {
  kAuto,              ///< detect from the content
  kCandumpLog,        ///< `candump -l`: (SECONDS.FRACTION) IFACE ID#DATA
  kCandumpLong,       ///< `candump IFACE`, `-ta`, `-tz` (and `log2long`): IFACE  ID  [LEN]  BYTES...
  kCandumpLongDelta,  ///< `candump -td`: like kCandumpLong, each time stamp the delta to the previous frame
  kAsc,               ///< Vector ASC text log
  kBlf,               ///< Vector BLF binary log
};

/// @brief The format's name as `ParseLogFormat` reads it ("candump", "candump-long", "candump-delta", "asc",
/// "blf", "auto").
std::string_view LogFormatName(LogFormat format);

/// @brief Reads a format name (see LogFormatName; "log" is taken for "candump"); false when unknown.
bool ParseLogFormat(std::string_view name, LogFormat& format);

/// @brief Guesses the format of a recording from its first bytes (as many as are at hand, a few KiB are plenty).
/// kAuto when nothing fits.
LogFormat DetectLogFormat(std::string_view head);

/// What a source skipped without reporting it as malformed.
struct SkippedCounts {
  std::uint64_t error_frames = 0;   ///< ASC `ErrorFrame` lines and BLF CAN error objects
  std::uint64_t events = 0;         ///< ASC event lines (`Start of measurement`, statistics, ...)
  std::uint64_t other_objects = 0;  ///< BLF objects of other types
};

/// Outcome of FrameSource::Next.
enum class ReadStatus {
  kFrame,      ///< a frame, in the argument of Next
  kMalformed,  ///< a malformed line or object: Where() and reason() describe it
  kEnd,        ///< end of input (after a BLF structure error: nothing more can be read)
  kReadError,  ///< the input failed; reason() describes it, errno_value() holds the errno
};

/// @brief A stream of frames from one recording.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  FrameSource(const FrameSource&) = delete;
  FrameSource& operator=(const FrameSource&) = delete;

  /// @brief The next frame. `frame.iface` stays valid until the next call.
  virtual ReadStatus Next(CanFrame& frame) = 0;

  /// @brief The format being read.
  LogFormat format() const { return format_; }
  /// @brief The input's name in messages: the path, or `<stdin>`.
  const std::string& name() const { return name_; }
  /// @brief Line number (text) or byte offset (BLF) of the last frame or problem reported.
  std::uint64_t position() const { return position_; }
  /// @brief Whether position() is a byte offset rather than a line number.
  bool position_is_offset() const { return format_ == LogFormat::kBlf; }
  /// @brief `NAME:POSITION`, the place of the last frame or problem, for messages.
  std::string Where() const { return name_ + ":" + std::to_string(position_); }
  /// @brief Why the last item was malformed, or why reading failed.
  const std::string& reason() const { return reason_; }
  /// @brief errno of a kReadError, 0 otherwise.
  int errno_value() const { return errno_value_; }
  /// @brief What was skipped so far.
  const SkippedCounts& skipped() const { return skipped_; }
  /// @brief Lines of a text recording read so far, blank and malformed ones included; 0 for BLF.
  virtual std::uint64_t lines_read() const { return 0; }

 protected:
  FrameSource(LogFormat format, std::string name) : format_(format), name_(std::move(name)) {}

  LogFormat format_;
  std::string name_;
  std::uint64_t position_ = 0;
  std::string reason_;
  int errno_value_ = 0;
  SkippedCounts skipped_;
};

/// @brief Opens @p path_or_dash (`-` is standard input) as a frame source. With @p format kAuto the format is
/// detected from the content, from the first 16 lines (or 16 KiB, or the end of input, whichever comes first):
/// a live pipe starts to be read once that much has arrived. Standard input is read as a stream, block by block.
/// A damaged BLF structure (truncated or corrupt container, object header with impossible sizes) is reported
/// once as kMalformed, after every frame before it, and the source then ends.
/// @return the source, or null with @p error (when not null) saying why (cannot open, unknown format).
std::unique_ptr<FrameSource> OpenFrameSource(const std::string& path_or_dash, LogFormat format,
                                             std::string* error = nullptr);

/// @brief As above, on a descriptor the source does not own, named @p name in messages.
std::unique_ptr<FrameSource> OpenFrameSource(int fd, std::string name, LogFormat format, bool owns_fd,
                                             std::string* error = nullptr);

/// @brief Which frames a command looks at: one channel, candump-style id filters, a time window.
///
/// Frames that pass are not checked for being radar frames; callers count the frames no group maps to.
class FrameFilter {
 public:
  /// @brief Selects one bus: a decimal number is a channel number (and also matches an interface of that
  /// name), anything else an interface name. False for an empty text.
  bool SetChannel(std::string_view name_or_number);

  /// @brief Adds a candump filter `ID:MASK` (passes when id & MASK == ID & MASK) or `ID~MASK` (passes when they
  /// differ), hex, compared as candump and the Linux kernel compare them: the frame's id carries the flags of
  /// linux/can.h (bit 31 extended, bit 30 remote); an ID written with 8 digits gets bit 31, so a MASK with bit 31
  /// set (`12345678:9FFFFFFF`) selects extended frames only, one without it both kinds. The error flag (bit 29)
  /// is never compared. A frame passes when any filter passes it. False, with @p error, on bad text.
  bool AddIdFilter(std::string_view text, std::string* error = nullptr);

  /// @brief Keeps frames with from_ns <= time < to_ns; a to_ns of INT64_MAX leaves the window open at its end.
  void SetTimeWindow(std::int64_t from_ns, std::int64_t to_ns) {
    from_ns_ = from_ns;
    to_ns_ = to_ns;
  }

  /// @brief Whether @p frame passes every condition.
  bool Accepts(const CanFrame& frame) const;

 private:
  struct IdFilter {
    std::uint32_t id;
    std::uint32_t mask;
    bool invert;
  };
  bool have_channel_ = false;
  std::string channel_name_;
  std::uint32_t channel_number_ = 0;  // 0: the name only
  std::vector<IdFilter> id_filters_;
  std::int64_t from_ns_ = INT64_MIN;
  std::int64_t to_ns_ = INT64_MAX;
};

}  // namespace fsrl

#endif  // FSRL_FRAME_SOURCE_H
