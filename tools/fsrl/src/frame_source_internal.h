// Pieces the frame source readers share: buffered reading of a descriptor, line splitting, and the readers'
// factories. Not part of the toolkit's interface.
#ifndef FSRL_SRC_FRAME_SOURCE_INTERNAL_H
#define FSRL_SRC_FRAME_SOURCE_INTERNAL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fsrl/frame_source.h"

namespace fsrl {
namespace detail {

constexpr std::array<std::int8_t, 256> MakeHexDigitTable() {
  std::array<std::int8_t, 256> table{};
  for (std::size_t c = 0; c < table.size(); ++c) {
    table[c] = static_cast<std::int8_t>(c >= '0' && c <= '9'   ? static_cast<int>(c - '0')
                                        : c >= 'a' && c <= 'f' ? static_cast<int>(c - 'a' + 10)
                                        : c >= 'A' && c <= 'F' ? static_cast<int>(c - 'A' + 10)
                                                               : -1);
  }
  return table;
}
/// Value of a hex digit, or -1: one lookup per character.
inline constexpr std::array<std::int8_t, 256> kHexDigit = MakeHexDigitTable();

inline int HexValue(char c) { return kHexDigit[static_cast<unsigned char>(c)]; }
inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr std::int64_t kNsPerSecond = 1000000000;
/// Highest identifier of a standard (11-bit) and of an extended (29-bit) frame.
constexpr std::uint32_t kStandardIdMax = 0x7FFU;
constexpr std::uint32_t kExtendedIdMax = 0x1FFFFFFFU;
/// Linux marks error frames with bit 29 of the identifier (linux/can.h CAN_ERR_FLAG); candump prints it in the id.
constexpr std::uint32_t kErrorFlag = 0x20000000U;

/// @brief Reads @p count bytes written as "HH HH HH" (two hex digits each, one blank between) from @p p, the way
/// every text log writes its data bytes; advances @p p past them. False, with nothing consumed, when the text
/// has another shape (the caller then reads token by token).
inline bool ReadSpacedHexBytes(const char*& p, const char* end, std::size_t count, std::uint8_t* out) {
  if (count == 0) {
    return true;
  }
  if (static_cast<std::size_t>(end - p) < 3 * count - 1) {
    return false;
  }
  int invalid = 0;
  bool spaced = true;
  for (std::size_t i = 0; i < count; ++i) {
    const int high = kHexDigit[static_cast<unsigned char>(p[3 * i])];
    const int low = kHexDigit[static_cast<unsigned char>(p[3 * i + 1])];
    invalid |= high | low;
    out[i] = static_cast<std::uint8_t>((static_cast<unsigned>(high) << 4U) | static_cast<unsigned>(low));
    if (i + 1 < count) {
      spaced = spaced && p[3 * i + 2] == ' ';
    }
  }
  const char* after = p + 3 * count - 1;
  if (invalid < 0 || !spaced || (after != end && *after != ' ' && *after != '\t' && *after != '\r')) {
    return false;
  }
  p = after;
  return true;
}

/// Bytes asked of the system per read: large enough that a read costs little per frame.
constexpr std::size_t kBlockSize = std::size_t{1} << 20;

/// Reads a descriptor in large blocks; the bytes not consumed yet stay in one contiguous buffer.
class ByteInput {
 public:
  /// Longest text line accepted, in bytes, as for the candump reader: real lines are a few hundred bytes at most,
  /// the cap only bounds memory on garbage.
  static constexpr std::size_t kMaxLineLength = CandumpReader::kMaxLineLength;

  ByteInput(int fd, bool owns_fd, std::size_t block_size = kBlockSize);
  ~ByteInput();
  ByteInput(const ByteInput&) = delete;
  ByteInput& operator=(const ByteInput&) = delete;

  const char* data() const { return buffer_.get() + begin_; }
  std::size_t size() const { return end_ - begin_; }
  void Consume(std::size_t n) {
    begin_ += n;
    consumed_ += n;
  }
  /// Drops everything buffered (an overlong line is skipped this way).
  void DropAll() { Consume(size()); }
  /// Reads one more block (at most @p most bytes) behind what is buffered; false at the end of input or on a read
  /// error.
  bool Fill(std::size_t most = kBlockSize);
  /// Fills until @p n bytes are buffered or the input ends; @p n must not exceed max_request().
  bool Ensure(std::size_t n);
  std::size_t max_request() const { return capacity_ - block_size_; }
  /// Offset in the input of data().
  std::uint64_t offset() const { return consumed_; }
  int fd() const { return fd_; }
  bool failed() const { return failed_; }
  bool eof() const { return eof_; }
  int errno_value() const { return errno_value_; }

 private:
  int fd_;
  bool owns_fd_;
  std::size_t block_size_;
  std::size_t capacity_;
  std::unique_ptr<char[]> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t consumed_ = 0;
  bool eof_ = false;
  bool failed_ = false;
  int errno_value_ = 0;
};

/// Splits a ByteInput into lines, numbered from 1; a CR before the LF is dropped.
class LineSplitter {
 public:
  enum class Status { kLine, kOverlong, kEnd, kReadError };
  /// What a reader reports for a kOverlong line.
  static constexpr const char* kOverlongReason = "line longer than 4096 bytes";
  explicit LineSplitter(ByteInput& input) : input_(input) {}
  /// The next line in [begin, end), valid until the next call.
  Status Next(const char*& begin, const char*& end);
  /// Next, inlined into the caller: for the candump reader's loop, which parses a line in a few dozen nanoseconds.
  Status NextInline(const char*& begin, const char*& end);
  std::uint64_t line_number() const { return line_number_; }

 private:
  ByteInput& input_;
  bool skipping_ = false;
  std::uint64_t line_number_ = 0;
};

inline LineSplitter::Status LineSplitter::NextInline(const char*& begin, const char*& end) {
  for (;;) {
    if (input_.failed()) {
      return Status::kReadError;
    }
    const char* base = input_.data();
    const std::size_t size = input_.size();
    const void* newline = size != 0 ? std::memchr(base, '\n', size) : nullptr;
    if (newline != nullptr) {
      begin = base;
      end = static_cast<const char*>(newline);
      input_.Consume(static_cast<std::size_t>(end - base) + 1);
    } else if (skipping_ || size > ByteInput::kMaxLineLength + 1) {  // + 1: a CR may still precede the LF
      // Already too long: drop what is buffered instead of growing the buffer for garbage.
      skipping_ = true;
      input_.DropAll();
      if (input_.Fill() || input_.failed()) {
        continue;
      }
      begin = end = input_.data();  // the overlong line ends at the end of input
    } else if (input_.Fill() || input_.failed()) {
      continue;
    } else if (input_.size() != 0) {
      // The last line, without a line end. The failed Fill may have moved the buffered bytes to the buffer's start,
      // so they are taken where they are now, not where they were before it.
      begin = input_.data();
      end = begin + input_.size();
      input_.Consume(input_.size());
    } else {
      return Status::kEnd;
    }
    ++line_number_;
    if (end != begin && end[-1] == '\r') {
      --end;
    }
    if (skipping_) {
      skipping_ = false;
      return Status::kOverlong;
    }
    if (static_cast<std::size_t>(end - begin) > ByteInput::kMaxLineLength) {
      return Status::kOverlong;
    }
    return Status::kLine;
  }
}

/// A frame source that reads text lines: one place for the end of input, read failures and overlong lines; the
/// format's own class reads each line.
class LineFrameSource : public FrameSource {
 public:
  std::uint64_t lines_read() const override { return lines_.line_number(); }
  ReadStatus Next(CanFrame& frame) final;

 protected:
  LineFrameSource(std::unique_ptr<ByteInput> input, LogFormat format, std::string name)
      : FrameSource(format, std::move(name)), input_(std::move(input)), lines_(*input_) {}

  /// @brief Reads the line [@p begin, @p end). True with a frame; false with @p failure set for a malformed line,
  /// or left null for a line without a frame (blank, a header, an event).
  virtual bool ReadLine(const char* begin, const char* end, CanFrame& frame, const char*& failure) = 0;

 private:
  std::unique_ptr<ByteInput> input_;
  LineSplitter lines_;
};

/// The text of a numbered channel for CanFrame::iface, kept for the frames that follow on the same channel.
class ChannelText {
 public:
  /// Sets frame.channel to @p channel and points frame.iface at its decimal text.
  void Set(CanFrame& frame, std::uint32_t channel);

 private:
  std::uint32_t last_channel_ = 0;
  char text_[16] = {};
  std::size_t size_ = 0;
};

/// Numbers interface names from 1 in the order they first appear; the names are copied, so a frame's iface can
/// point at the copy.
class InterfaceNumbers {
 public:
  /// Sets frame.channel and points frame.iface at the stored name.
  void Number(CanFrame& frame);

 private:
  std::vector<std::unique_ptr<std::string>> names_;
  std::string_view last_name_;  // the stored name of the last frame, and its number
  std::uint32_t last_channel_ = 0;
};

/// Parses one human-readable candump line (see LogFormat::kCandumpLong); @p time_ns is the line's time stamp
/// (0 without one), @p has_time whether it had one. Returns null on success, else the reason.
const char* ParseCandumpLongLine(const char* begin, const char* end, CanFrame& frame, std::int64_t& time_ns,
                                 bool& has_time);

/// Parses "SECONDS.FRACTION" (1 to 9 fractional digits, or none when @p fraction_optional) from [p, end) into
/// nanoseconds; advances p. Null on success, else the reason.
const char* ParseDecimalSeconds(const char*& p, const char* end, std::int64_t& ns, bool fraction_optional);

std::unique_ptr<FrameSource> MakeCandumpSource(std::unique_ptr<ByteInput> input, std::string name, LogFormat format);
std::unique_ptr<FrameSource> MakeAscSource(std::unique_ptr<ByteInput> input, std::string name);
std::unique_ptr<FrameSource> MakeBlfSource(std::unique_ptr<ByteInput> input, std::string name);

/// @brief OpenFrameSource on @p input, which it owns: with @p format kAuto the format is detected from the
/// content, and content that fits no format is read as @p fallback (kAuto: refused, as OpenFrameSource does).
/// On a read error while looking at the content, null with @p read_errno (when not null) set.
std::unique_ptr<FrameSource> OpenDetected(std::unique_ptr<ByteInput> input, std::string name, LogFormat format,
                                          LogFormat fallback, std::string* error, int* read_errno);

/// Seconds since the epoch of a local calendar time (mktime, daylight saving time looked up); false when the
/// fields are out of range.
bool LocalTimeToEpochNs(int year, int month, int day, int hour, int minute, int second, int millisecond,
                        std::int64_t& ns);

}  // namespace detail
}  // namespace fsrl

#endif  // FSRL_SRC_FRAME_SOURCE_INTERNAL_H
