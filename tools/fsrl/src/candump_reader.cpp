#include "fsrl/candump_reader.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace fsrl {
namespace {

// Value of a hex digit, or -1: one table lookup per character keeps the parser branch-light.
constexpr std::array<std::int8_t, 256> MakeHexTable() {
  std::array<std::int8_t, 256> table{};
  for (std::size_t c = 0; c < table.size(); ++c) {
    if (c >= '0' && c <= '9') {
      table[c] = static_cast<std::int8_t>(c - '0');
    } else if (c >= 'a' && c <= 'f') {
      table[c] = static_cast<std::int8_t>(c - 'a' + 10);
    } else if (c >= 'A' && c <= 'F') {
      table[c] = static_cast<std::int8_t>(c - 'A' + 10);
    } else {
      table[c] = -1;
    }
  }
  return table;
}
constexpr std::array<std::int8_t, 256> kHex = MakeHexTable();

inline int HexValue(char c) { return kHex[static_cast<unsigned char>(c)]; }
inline bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }
inline bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr std::int64_t kNsPerSecond = 1000000000;
constexpr std::uint64_t kMaxSeconds = static_cast<std::uint64_t>(INT64_MAX / kNsPerSecond);
constexpr std::uint32_t kStandardIdMax = 0x7FFU;
constexpr std::uint32_t kExtendedIdMax = 0x1FFFFFFFU;
// The kernel marks error frames with bit 29 of the identifier, and candump logs that bit as part of the id.
constexpr std::uint32_t kErrorFlag = 0x20000000U;

LineKind Malformed(const char** reason, const char* text) {
  if (reason != nullptr) {
    *reason = text;
  }
  return LineKind::kMalformed;
}

// Parses hex byte pairs up to a blank, '_' or the end; returns null on success, else the reason.
const char* ParseData(const char*& p, const char* end, CanFrame& frame, std::size_t max_bytes, const char* too_long) {
  std::size_t count = 0;
  while (p != end && !IsBlank(*p) && *p != '_') {
    const int high = HexValue(*p);
    if (high < 0) {
      return "invalid character in the frame data";
    }
    if (p + 1 == end || IsBlank(p[1]) || p[1] == '_') {
      return "odd number of hex digits in the frame data";
    }
    const int low = HexValue(p[1]);
    if (low < 0) {
      return "invalid character in the frame data";
    }
    if (count == max_bytes) {
      return too_long;
    }
    frame.data[count++] = static_cast<std::uint8_t>((high << 4) | low);
    p += 2;
  }
  frame.length = static_cast<std::uint8_t>(count);
  return nullptr;
}

}  // namespace

LineKind ParseCandumpLine(const char* begin, const char* end, CanFrame& frame, const char** reason) {
  const char* p = begin;
  while (p != end && IsBlank(*p)) {
    ++p;
  }
  if (p == end) {
    return LineKind::kBlank;
  }
  frame.id = 0;
  frame.extended = false;
  frame.fd = false;
  frame.remote = false;
  frame.error = false;
  frame.fd_flags = 0;
  frame.length = 0;
  frame.remote_length = 0;
  frame.direction = '\0';
  frame.iface = std::string_view();

  // Time stamp: integers only, so that every digit a logger wrote survives exactly.
  if (*p != '(') {
    return Malformed(reason, "expected '(' and a time stamp at the start of the line");
  }
  ++p;
  if (p == end || !IsDigit(*p)) {
    return Malformed(reason, "time stamp has no seconds");
  }
  std::uint64_t seconds = 0;
  while (p != end && IsDigit(*p)) {
    seconds = seconds * 10U + static_cast<std::uint64_t>(*p - '0');
    if (seconds > kMaxSeconds) {
      return Malformed(reason, "time stamp out of range (more than 2^63-1 nanoseconds)");
    }
    ++p;
  }
  if (p == end || *p != '.') {
    return Malformed(reason, "time stamp has no '.' and fraction");
  }
  ++p;
  std::int64_t fraction = 0;
  int fraction_digits = 0;
  while (p != end && IsDigit(*p)) {
    if (fraction_digits == 9) {
      // Rounding would silently change the recorded time; a finer clock than 1 ns is not a candump log.
      return Malformed(reason, "time stamp has more than 9 fractional digits");
    }
    fraction = fraction * 10 + (*p - '0');
    ++fraction_digits;
    ++p;
  }
  if (fraction_digits == 0) {
    return Malformed(reason, "time stamp has no fractional digits");
  }
  for (int i = fraction_digits; i < 9; ++i) {
    fraction *= 10;
  }
  const std::int64_t whole_ns = static_cast<std::int64_t>(seconds) * kNsPerSecond;
  if (fraction > INT64_MAX - whole_ns) {
    return Malformed(reason, "time stamp out of range (more than 2^63-1 nanoseconds)");
  }
  frame.timestamp_ns = whole_ns + fraction;
  if (p == end || *p != ')') {
    return Malformed(reason, "expected ')' after the time stamp");
  }
  ++p;

  // Interface name: any run of non-blank bytes.
  if (p == end || !IsBlank(*p)) {
    return Malformed(reason, "expected a blank after the time stamp");
  }
  while (p != end && IsBlank(*p)) {
    ++p;
  }
  const char* iface_begin = p;
  while (p != end && !IsBlank(*p)) {
    ++p;
  }
  if (p == iface_begin) {
    return Malformed(reason, "missing interface name");
  }
  frame.iface = std::string_view(iface_begin, static_cast<std::size_t>(p - iface_begin));
  while (p != end && IsBlank(*p)) {
    ++p;
  }
  if (p == end) {
    return Malformed(reason, "missing CAN frame after the interface name");
  }

  // Identifier: its digit count tells standard from extended, as candump writes it.
  const char* id_begin = p;
  std::uint32_t id = 0;
  while (p != end && *p != '#') {
    const int digit = HexValue(*p);
    if (digit < 0) {
      return Malformed(reason, "CAN id is not hexadecimal or '#' is missing");
    }
    if (p - id_begin < 8) {
      id = (id << 4) | static_cast<std::uint32_t>(digit);
    }
    ++p;
  }
  if (p == end) {
    return Malformed(reason, "expected '#' after the CAN id");
  }
  const std::ptrdiff_t id_digits = p - id_begin;
  if (id_digits == 3) {
    if (id > kStandardIdMax) {
      return Malformed(reason, "standard CAN id above 7FF");
    }
  } else if (id_digits == 8) {
    frame.extended = true;
    if ((id & ~(kExtendedIdMax | kErrorFlag)) != 0U) {
      return Malformed(reason, "extended CAN id above 1FFFFFFF");
    }
    frame.error = (id & kErrorFlag) != 0U;
    id &= kExtendedIdMax;
  } else {
    return Malformed(reason, "CAN id must have 3 (standard) or 8 (extended) hex digits");
  }
  frame.id = id;
  ++p;  // '#'

  if (p != end && *p == '#') {
    ++p;
    frame.fd = true;
    if (p == end || HexValue(*p) < 0) {
      return Malformed(reason, "missing CAN FD flags digit after '##'");
    }
    frame.fd_flags = static_cast<std::uint8_t>(HexValue(*p));
    ++p;
    const char* failure = ParseData(p, end, frame, 64, "more than 64 data bytes in a CAN FD frame");
    if (failure != nullptr) {
      return Malformed(reason, failure);
    }
    if (p != end && *p == '_') {
      return Malformed(reason, "a length code suffix is only allowed on classic CAN frames");
    }
  } else if (p != end && (*p == 'R' || *p == 'r')) {
    ++p;
    frame.remote = true;
    if (p != end && IsDigit(*p)) {
      if (*p > '8') {
        return Malformed(reason, "remote request length above 8");
      }
      frame.remote_length = static_cast<std::uint8_t>(*p - '0');
      ++p;
    }
    if (p != end && !IsBlank(*p)) {
      return Malformed(reason, "unexpected text after a remote request");
    }
  } else {
    const char* failure = ParseData(p, end, frame, 8, "more than 8 data bytes in a classic CAN frame");
    if (failure != nullptr) {
      return Malformed(reason, failure);
    }
    if (p != end && *p == '_') {
      // Linux writes a data length code of 9..15 this way; the payload is still 8 bytes.
      ++p;
      const int dlc = (p != end) ? HexValue(*p) : -1;
      if (frame.length != 8 || dlc < 9) {
        return Malformed(reason, "invalid length code suffix (only _9.._F after 8 data bytes)");
      }
      ++p;
    }
  }

  // Optional direction, then nothing but blanks.
  while (p != end && IsBlank(*p)) {
    ++p;
  }
  if (p != end && (*p == 'T' || *p == 'R')) {
    const char direction = *p;
    const char* after = p + 1;
    if (after == end || IsBlank(*after)) {
      frame.direction = direction;
      p = after;
      while (p != end && IsBlank(*p)) {
        ++p;
      }
    }
  }
  if (p != end) {
    return Malformed(reason, "unexpected text after the CAN frame");
  }
  return LineKind::kFrame;
}

CandumpReader::CandumpReader(int fd, std::size_t block_size)
    : fd_(fd),
      block_size_(block_size < kMaxLineLength + 2 ? kMaxLineLength + 2 : block_size),
      // Room for one block behind a carried-over partial line of at most kMaxLineLength + 1 bytes.
      buffer_(new char[block_size_ + kMaxLineLength + 2]),
      capacity_(block_size_ + kMaxLineLength + 2) {}

CandumpReader::~CandumpReader() = default;

bool CandumpReader::Fill() {
  if (eof_ || failed_) {
    return false;
  }
  if (begin_ != 0) {
    std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
  }
  for (;;) {
    std::size_t room = capacity_ - end_;
    if (room > block_size_) {
      room = block_size_;
    }
    const ssize_t got = ::read(fd_, buffer_.get() + end_, room);
    if (got > 0) {
      end_ += static_cast<std::size_t>(got);
      return true;
    }
    if (got == 0) {
      eof_ = true;
      return false;
    }
    if (errno == EINTR) {
      continue;
    }
    errno_value_ = errno;
    failed_ = true;
    return false;
  }
}

CandumpReader::Result CandumpReader::Next(CanFrame& frame) {
  for (;;) {
    if (failed_) {
      reason_ = std::strerror(errno_value_);
      return Result::kReadError;
    }
    const char* base = buffer_.get();
    const void* newline = (begin_ < end_) ? std::memchr(base + begin_, '\n', end_ - begin_) : nullptr;
    const char* line_begin = base + begin_;
    const char* line_end = nullptr;
    if (newline != nullptr) {
      line_end = static_cast<const char*>(newline);
      begin_ = static_cast<std::size_t>(line_end - base) + 1;
    } else if (skipping_ || end_ - begin_ > kMaxLineLength + 1) {  // + 1: a CR may still precede the LF
      // The line is already too long: drop what is buffered instead of growing the buffer for garbage.
      skipping_ = true;
      begin_ = end_ = 0;
      if (Fill() || failed_) {
        continue;  // more of the line to drop, or the read error to report
      }
      line_end = line_begin = base;  // the overlong line ends at the end of input
    } else if (Fill() || failed_) {
      continue;  // a longer buffer to search, or the read error to report
    } else if (begin_ < end_) {
      // Last line without a line end.
      line_begin = buffer_.get() + begin_;
      line_end = buffer_.get() + end_;
      begin_ = end_;
    } else {
      return Result::kEnd;
    }

    line_number_ = ++lines_seen_;
    if (line_end != line_begin && line_end[-1] == '\r') {
      --line_end;
    }
    if (skipping_) {
      skipping_ = false;
      reason_ = "line longer than 4096 bytes";
      return Result::kMalformed;
    }
    if (static_cast<std::size_t>(line_end - line_begin) > kMaxLineLength) {
      reason_ = "line longer than 4096 bytes";
      return Result::kMalformed;
    }
    const LineKind kind = ParseCandumpLine(line_begin, line_end, frame, &reason_);
    if (kind == LineKind::kFrame) {
      return Result::kFrame;
    }
    if (kind == LineKind::kMalformed) {
      return Result::kMalformed;
    }
  }
}

std::size_t FormatSeconds(std::int64_t ns, char* out) {
  char* p = out;
  // Work on the magnitude as unsigned so that INT64_MIN has one too.
  auto magnitude = static_cast<std::uint64_t>(ns);
  if (ns < 0) {
    *p++ = '-';
    magnitude = ~magnitude + 1U;
  }
  std::uint64_t seconds = magnitude / 1000000000U;
  auto fraction = static_cast<std::uint32_t>(magnitude % 1000000000U);
  char digits[20];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + seconds % 10U);
    seconds /= 10U;
  } while (seconds != 0U);
  while (count > 0) {
    *p++ = digits[--count];
  }
  *p++ = '.';
  char frac[9];
  for (int i = 8; i >= 0; --i) {
    frac[i] = static_cast<char>('0' + fraction % 10U);
    fraction /= 10U;
  }
  int keep = 9;
  while (keep > 6 && frac[keep - 1] == '0') {
    --keep;
  }
  std::memcpy(p, frac, static_cast<std::size_t>(keep));
  p += keep;
  return static_cast<std::size_t>(p - out);
}

}  // namespace fsrl
