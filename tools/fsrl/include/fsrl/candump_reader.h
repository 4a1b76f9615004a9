/// @file
/// @brief Reading CAN frames from a `candump -l` log, one line per frame.
///
/// Accepted line forms (fields separated by one or more blanks, a CR before the line end is ignored):
///
///     (SECONDS.FRACTION) IFACE ID#DATA          classic CAN, 0..8 data bytes as 0..16 hex digits
///     (SECONDS.FRACTION) IFACE ID#DATA_L        classic CAN with 8 bytes and a length code L of 9..F
///     (SECONDS.FRACTION) IFACE ID#R             classic remote request, optionally ID#R<length 0..8>
///     (SECONDS.FRACTION) IFACE ID##FDATA        CAN FD, F one hex flags nibble, 0..64 data bytes
///
/// each optionally followed by a blank and a direction letter `T` or `R`. ID has 3 hex digits (standard, up to
/// 7FF) or 8 hex digits (extended, up to 1FFFFFFF; with bit 29 set, the kernel's error-frame flag, it is an
/// error frame). Hex digits may be upper or lower case. SECONDS has at least one digit and FRACTION one to nine
/// (nanosecond resolution); the time stamp must fit a signed 64-bit count of nanoseconds. Lines that hold only
/// blanks are skipped without a report.
#ifndef FSRL_CANDUMP_READER_H
#define FSRL_CANDUMP_READER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace fsrl {

namespace detail {
class ByteInput;
class LineSplitter;
}  // namespace detail

/// One frame of a log line.
struct CanFrame {
  std::int64_t timestamp_ns = 0;   ///< the line's time stamp, exact, in nanoseconds
  std::uint32_t id = 0;            ///< 11 or 29 bit identifier, without flag bits
  bool extended = false;           ///< written with 8 hex digits
  bool fd = false;                 ///< CAN FD (`##`)
  bool remote = false;             ///< remote request: no data
  bool error = false;              ///< error frame (extended id with the error flag bit 29)
  std::uint8_t fd_flags = 0;       ///< the flags nibble of a CAN FD frame
  std::uint8_t length = 0;         ///< number of data bytes in `data`
  std::uint8_t remote_length = 0;  ///< requested length of a remote request (0 when not given)
  char direction = '\0';           ///< 'T', 'R', or '\0' when the line has none
  std::string_view iface;          ///< interface name; points into the line, see ParseCandumpLine
  /// Bus number, 1-based, as the recording numbers its channels (ASC, BLF), or as a FrameSource numbers
  /// candump interfaces in the order they first appear; 0 when nothing numbered it (ParseCandumpLine).
  std::uint32_t channel = 0;
  std::uint8_t data[64] = {};  ///< the data bytes; bytes from `length` on carry no meaning

  /// Clears every field but the time stamp and the data bytes, which a reader sets for each frame anyway, so that
  /// nothing of the previous frame read into the same object survives.
  void ClearHeader() {
    id = 0;
    extended = false;
    fd = false;
    remote = false;
    error = false;
    fd_flags = 0;
    length = 0;
    remote_length = 0;
    direction = '\0';
    iface = std::string_view();
    channel = 0;
  }
};

/// Outcome of parsing one line.
enum class LineKind {
  kFrame,      ///< a frame was parsed
  kBlank,      ///< nothing but blanks
  kMalformed,  ///< see the reason
};

/// @brief Parses one log line, without its line end, into @p frame.
///
/// Reads only the bytes in [@p begin, @p end); any byte value is tolerated. On kMalformed, @p reason (when not
/// null) points to a static, human-readable text and @p frame holds partial results. `frame.iface` points into
/// the line and is valid as long as the line's bytes are.
LineKind ParseCandumpLine(const char* begin, const char* end, CanFrame& frame, const char** reason);

/// @brief Reads a log from a file descriptor in large blocks and hands out one line's frame at a time.
///
/// Line numbers count every line of the input, blank and malformed ones included, from 1. A line longer than
/// kMaxLineLength bytes (line end not counted) is reported as malformed and skipped without being buffered.
/// The reader does not own the descriptor.
class CandumpReader {
 public:
  /// Longest line accepted, in bytes. A real line is under 200 bytes; the cap only bounds memory on garbage.
  static constexpr std::size_t kMaxLineLength = 4096;

  enum class Result {
    kFrame,      ///< a frame, in the argument of Next
    kMalformed,  ///< a malformed line: line_number() and reason() describe it
    kEnd,        ///< end of input
    kReadError,  ///< the descriptor failed; reason() describes it, errno_value() holds the errno
  };

  /// @param fd descriptor to read from, for example STDIN_FILENO
  /// @param block_size how much to request from the system per read
  explicit CandumpReader(int fd, std::size_t block_size = std::size_t{1} << 20);
  /// @brief Reads what @p input has buffered first, then the rest of its descriptor: a frame source that looked at
  /// the start of a stream to tell its format hands the stream on this way.
  explicit CandumpReader(std::unique_ptr<detail::ByteInput> input);
  ~CandumpReader();
  CandumpReader(const CandumpReader&) = delete;
  CandumpReader& operator=(const CandumpReader&) = delete;

  /// @brief The next frame, skipping blank lines. `frame.iface` stays valid until the next call.
  Result Next(CanFrame& frame);

  /// @brief The line of the last frame or malformed line returned.
  std::uint64_t line_number() const { return line_number_; }
  /// @brief Number of lines read so far, blank lines included.
  std::uint64_t lines_read() const;
  /// @brief Why the last line was malformed, or why reading failed.
  const char* reason() const { return reason_; }
  /// @brief errno of a kReadError, 0 otherwise.
  int errno_value() const { return errno_value_; }

 private:
  std::unique_ptr<detail::ByteInput> input_;
  std::unique_ptr<detail::LineSplitter> lines_;
  std::uint64_t line_number_ = 0;
  const char* reason_ = "";
  int errno_value_ = 0;
};

/// @brief Writes @p ns as seconds with a decimal point: the integer seconds, then the nanosecond fraction with
/// trailing zeros trimmed but at least 6 digits kept (microsecond logs stay as they were written, finer time
/// stamps keep every digit). Negative values get a leading '-'. At most 32 bytes, not NUL-terminated.
/// @return the number of bytes written
std::size_t FormatSeconds(std::int64_t ns, char* out);

}  // namespace fsrl

#endif  // FSRL_CANDUMP_READER_H
