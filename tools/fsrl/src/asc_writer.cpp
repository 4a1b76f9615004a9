// Frames out as a Vector ASC log, in the layout the ASC reader takes and other ASC readers expect:
//
//     date Tue Nov 14 10:13:20.123 PM 2023
//     base hex  timestamps absolute
//     internal events logged
//     Begin Triggerblock Tue Nov 14 10:13:20.123 PM 2023
//        0.000000 Start of measurement
//        0.000456 1  123             Rx   d 8 11 22 33 44 55 66 77 88
//        0.000556 1  12345678x       Tx   r 4
//        0.000656 1  ErrorFrame
//        0.000756 CANFD   1 Rx        410                                   1 0 f 64 00 11 ... 0    0     3000 ...
//     End TriggerBlock
//
// Both dates are the start of measurement: the first frame's time to the millisecond, as local time (the date has
// no finer field). Line times are offsets from it in seconds with six decimals, the resolution ASC logs are written
// in. CAN FD lines carry, after the data, message duration and length (0: not measured), the flags (hex: 0x1000
// EDL, 0x2000 BRS, 0x4000 ESI), the CRC and four bit timing words (0: unknown).
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>

#include "frame_writer_internal.h"

namespace fsrl {
namespace detail {
namespace {

constexpr std::uint32_t kAscFlagEdl = 0x1000U;
constexpr std::uint32_t kAscFlagBrs = 0x2000U;
constexpr std::uint32_t kAscFlagEsi = 0x4000U;
constexpr std::int64_t kNsPerMicrosecond = 1000;
constexpr std::int64_t kMicrosecondsPerSecond = 1000000;
// Smallest CAN FD data length code whose payload holds a given number of bytes (ISO 11898-1).
constexpr std::uint8_t kFdLengthOfDlc[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

std::uint8_t FdDlcOfLength(std::uint8_t length) {
  std::uint8_t dlc = 0;
  while (dlc < 15 && kFdLengthOfDlc[dlc] < length) {
    ++dlc;
  }
  return dlc;
}

const char kHexUpper[] = "0123456789ABCDEF";

void AppendHex(std::string& out, std::uint32_t value) {
  char digits[8];
  int n = 0;
  do {
    digits[n++] = kHexUpper[value & 0xFU];
    value >>= 4U;
  } while (value != 0);
  while (n > 0) {
    out += digits[--n];
  }
}

void AppendDecimal(std::string& out, std::uint64_t value) {
  char digits[20];
  int n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (n > 0) {
    out += digits[--n];
  }
}

// Pads the field written since @p start with blanks to @p width columns (the blank after it is the caller's).
void AppendPadded(std::string& out, std::size_t start, std::size_t width) {
  const std::size_t written = out.size() - start;
  if (written < width) {
    out.append(width - written, ' ');
  }
}

void AppendRightAligned(std::string& out, const std::string& text, std::size_t width) {
  if (text.size() < width) {
    out.append(width - text.size(), ' ');
  }
  out += text;
}

void AppendData(std::string& out, const std::uint8_t* data, std::size_t length) {
  for (std::size_t i = 0; i < length; ++i) {
    out += ' ';
    out += kHexUpper[data[i] >> 4U];
    out += kHexUpper[data[i] & 0xFU];
  }
}

// "Tue Nov 14 10:13:20.123 PM 2023", the date layout of ASC headers.
std::string FormatAscDate(const LocalCalendarTime& t) {
  static const char* const kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const int hour12 = t.hour % 12 == 0 ? 12 : t.hour % 12;
  char text[64];
  std::snprintf(text, sizeof text, "%s %s %02d %02d:%02d:%02d.%03d %s %d", kWeekdays[t.weekday % 7],
                kMonths[(t.month + 11) % 12], t.day, hour12, t.minute, t.second, t.millisecond,
                t.hour < 12 ? "AM" : "PM", t.year);
  return text;
}

class AscWriter final : public FrameWriter {
 public:
  explicit AscWriter(std::FILE* out) : out_(out) { block_.reserve(kBlockBytes); }

  bool Write(const CanFrame& frame) override {
    if (!ok()) {
      return false;
    }
    if (!started_ && !Start(frame.timestamp_ns)) {
      return false;
    }
    if (frame.timestamp_ns < start_ns_) {
      return Refuse("frame at " + std::to_string(frame.timestamp_ns) +
                    " ns is earlier than the start of measurement (" + std::to_string(start_ns_) +
                    " ns, the first frame's millisecond); ASC times cannot be negative");
    }
    AppendTime(frame.timestamp_ns - start_ns_);
    const std::uint32_t channel = frame.channel == 0 ? 1U : frame.channel;
    if (frame.error) {
      block_ += ' ';
      AppendDecimal(block_, channel);
      block_ += "  ErrorFrame\n";
    } else if (frame.fd) {
      AppendFdLine(frame, channel);
    } else {
      AppendClassicLine(frame, channel);
    }
    if (block_.size() >= kBlockBytes - kLongestLine) {
      return Flush();
    }
    return true;
  }

  bool Finish() override {
    if (finished_) {
      return ok();
    }
    finished_ = true;
    if (output_ok() && !started_) {
      // Nothing was logged: the measurement starts when the file is made, as a recorder's would.
      const std::int64_t now_ns = static_cast<std::int64_t>(std::time(nullptr)) * 1000000000;
      Start(now_ns);
    }
    if (output_ok()) {
      block_ += "End TriggerBlock\n";
    }
    // A refused frame leaves the file whole, but the run is not.
    return Flush() && (std::fflush(out_) == 0 || FailErrno(errno)) && ok();
  }

 private:
  // Lines are far shorter than this: a 64-byte CAN FD line is under 400 characters.
  static constexpr std::size_t kLongestLine = 512;
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 16;

  bool Start(std::int64_t first_ns) {
    started_ = true;
    start_ns_ = FloorToMillisecond(first_ns);
    LocalCalendarTime start;
    if (!ToLocalCalendarTime(start_ns_, start)) {
      return Fail("the first frame's time (" + std::to_string(first_ns) + " ns) has no local calendar date");
    }
    const std::string date = FormatAscDate(start);
    block_ += "date " + date + "\n";
    block_ += "base hex  timestamps absolute\n";
    block_ += "internal events logged\n";
    block_ += "Begin Triggerblock " + date + "\n";
    block_ += "   0.000000 Start of measurement\n";
    return true;
  }

  // The offset as seconds with six decimals, right-aligned in 11 columns as ASC logs align them.
  void AppendTime(std::int64_t offset_ns) {
    const std::int64_t micros = (offset_ns + kNsPerMicrosecond / 2) / kNsPerMicrosecond;
    std::string text;
    AppendDecimal(text, static_cast<std::uint64_t>(micros / kMicrosecondsPerSecond));
    text += '.';
    const std::int64_t fraction = micros % kMicrosecondsPerSecond;
    char digits[8];
    std::snprintf(digits, sizeof digits, "%06lld", static_cast<long long>(fraction));
    text += digits;
    AppendRightAligned(block_, text, 11);
  }

  void AppendId(const CanFrame& frame) {
    AppendHex(block_, frame.id);
    if (frame.extended) {
      block_ += 'x';
    }
  }

  void AppendClassicLine(const CanFrame& frame, std::uint32_t channel) {
    block_ += ' ';
    AppendDecimal(block_, channel);
    block_ += "  ";
    const std::size_t id_start = block_.size();
    AppendId(frame);
    AppendPadded(block_, id_start, 15);
    block_ += frame.direction == 'T' ? " Tx   " : " Rx   ";
    if (frame.remote) {
      block_ += "r ";
      AppendHex(block_, frame.remote_length);
    } else {
      const std::uint8_t length = frame.length > 8 ? 8 : frame.length;
      block_ += "d ";
      AppendHex(block_, length);
      AppendData(block_, frame.data, length);
    }
    block_ += '\n';
  }

  void AppendFdLine(const CanFrame& frame, std::uint32_t channel) {
    const std::uint8_t length = frame.length > 64 ? 64 : frame.length;
    block_ += " CANFD ";
    std::string number;
    AppendDecimal(number, channel);
    AppendRightAligned(block_, number, 3);
    block_ += frame.direction == 'T' ? " Tx " : " Rx ";
    std::string id;
    AppendHex(id, frame.id);
    if (frame.extended) {
      id += 'x';
    }
    // The id right-aligned, then the room newer writers give a symbolic name, left empty.
    AppendRightAligned(block_, id, 11);
    block_.append(35, ' ');
    block_ += (frame.fd_flags & kFdFlagBrs) != 0 ? " 1" : " 0";
    block_ += (frame.fd_flags & kFdFlagEsi) != 0 ? " 1 " : " 0 ";
    AppendHex(block_, FdDlcOfLength(length));
    block_ += ' ';
    AppendDecimal(block_, length);
    AppendData(block_, frame.data, length);
    const std::uint32_t flags = kAscFlagEdl | ((frame.fd_flags & kFdFlagBrs) != 0 ? kAscFlagBrs : 0U) |
                                ((frame.fd_flags & kFdFlagEsi) != 0 ? kAscFlagEsi : 0U);
    block_ += "        0    0 ";
    std::string flag_text;
    AppendHex(flag_text, flags);
    AppendRightAligned(block_, flag_text, 8);
    block_ += "        0        0        0        0        0\n";
  }

  bool Flush() {
    if (output_ok() && !block_.empty() && std::fwrite(block_.data(), 1, block_.size(), out_) != block_.size()) {
      FailErrno(errno);
    }
    block_.clear();
    return output_ok();
  }

  std::FILE* out_;
  std::string block_;
  bool started_ = false;
  bool finished_ = false;
  std::int64_t start_ns_ = 0;
};

}  // namespace

std::unique_ptr<FrameWriter> MakeAscWriter(std::FILE* out) { return std::make_unique<AscWriter>(out); }

}  // namespace detail
}  // namespace fsrl
