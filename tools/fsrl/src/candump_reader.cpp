#include "fsrl/candump_reader.h"

#include <array>
#include <charconv>
#include <cstring>

#include "frame_source_internal.h"

namespace fsrl {
namespace {

using detail::HexValue;
using detail::IsBlank;
using detail::IsDigit;
using detail::kErrorFlag;
using detail::kExtendedIdMax;
using detail::kNsPerSecond;
using detail::kStandardIdMax;

// "00" .. "99", for writing decimal digits two at a time.
constexpr std::array<char, 200> MakeDigitPairs() {
  std::array<char, 200> pairs{};
  for (std::size_t n = 0; n < 100; ++n) {
    pairs[2 * n] = static_cast<char>('0' + n / 10);
    pairs[2 * n + 1] = static_cast<char>('0' + n % 10);
  }
  return pairs;
}
constexpr std::array<char, 200> kDigitPairs = MakeDigitPairs();

constexpr std::uint64_t kMaxSeconds = static_cast<std::uint64_t>(INT64_MAX / kNsPerSecond);

LineKind Malformed(const char** reason, const char* text) {
  if (reason != nullptr) {
    *reason = text;
  }
  return LineKind::kMalformed;
}

// Parses hex byte pairs up to a blank, '_' or the end; returns null on success, else the reason.
const char* ParseData(const char*& p, const char* end, CanFrame& frame, std::size_t max_bytes, const char* too_long) {
  // A well-formed data field, the normal case, is converted in one pass of pairs with a single validity test per
  // pair; when that pass stops anywhere but at the field's end, the careful loop below starts over from the field's
  // beginning and finds the exact reason. Most lines end with their data: that case needs no test per pair at all,
  // the validity of every digit is collected and looked at once.
  const auto rest = static_cast<std::size_t>(end - p);
  if (rest % 2U == 0U && rest / 2U <= max_bytes) {
    int invalid = 0;
    for (std::size_t i = 0; i < rest / 2U; ++i) {
      const int high = HexValue(p[2U * i]);
      const int low = HexValue(p[2U * i + 1U]);
      invalid |= high | low;
      // An invalid digit is -1 here and the byte is thrown away below; shifting it unsigned keeps that defined.
      frame.data[i] = static_cast<std::uint8_t>((static_cast<unsigned>(high) << 4U) | static_cast<unsigned>(low));
    }
    if (invalid >= 0) {
      frame.length = static_cast<std::uint8_t>(rest / 2U);
      p = end;
      return nullptr;
    }
  }
  {
    const char* q = p;
    std::size_t bytes = 0;
    while (bytes < max_bytes && end - q >= 2) {
      const int high = HexValue(q[0]);
      const int low = HexValue(q[1]);
      if ((high | low) < 0) {
        break;
      }
      frame.data[bytes++] = static_cast<std::uint8_t>((high << 4) | low);
      q += 2;
    }
    if (q == end || IsBlank(*q) || *q == '_') {
      frame.length = static_cast<std::uint8_t>(bytes);
      p = q;
      return nullptr;
    }
  }
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
  frame.ClearHeader();

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
    : CandumpReader(std::make_unique<detail::ByteInput>(fd, false, block_size)) {}

CandumpReader::CandumpReader(std::unique_ptr<detail::ByteInput> input)
    : input_(std::move(input)), lines_(std::make_unique<detail::LineSplitter>(*input_)) {}

CandumpReader::~CandumpReader() = default;

std::uint64_t CandumpReader::lines_read() const { return lines_->line_number(); }

CandumpReader::Result CandumpReader::Next(CanFrame& frame) {
  for (;;) {
    const char* begin = nullptr;
    const char* end = nullptr;
    switch (lines_->NextInline(begin, end)) {
      case detail::LineSplitter::Status::kLine:
        break;
      case detail::LineSplitter::Status::kEnd:
        return Result::kEnd;
      case detail::LineSplitter::Status::kReadError:
        errno_value_ = input_->errno_value();
        reason_ = std::strerror(errno_value_);
        return Result::kReadError;
      case detail::LineSplitter::Status::kOverlong:
        line_number_ = lines_->line_number();
        reason_ = detail::LineSplitter::kOverlongReason;
        return Result::kMalformed;
    }
    line_number_ = lines_->line_number();
    const LineKind kind = ParseCandumpLine(begin, end, frame, &reason_);
    if (kind != LineKind::kBlank) {
      return kind == LineKind::kFrame ? Result::kFrame : Result::kMalformed;
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
  const std::uint64_t seconds = magnitude / 1000000000U;
  auto fraction = static_cast<std::uint32_t>(magnitude % 1000000000U);
  // Every frame of a log is printed with its time stamp: the digits come two at a time from a table rather than one
  // division each.
  p = std::to_chars(p, p + 20, seconds).ptr;
  *p++ = '.';
  char frac[9];
  for (int i = 7; i >= 1; i -= 2) {
    const std::size_t pair = 2U * static_cast<std::size_t>(fraction % 100U);
    fraction /= 100U;
    frac[i] = kDigitPairs[pair];
    frac[i + 1] = kDigitPairs[pair + 1U];
  }
  frac[0] = static_cast<char>('0' + fraction);
  int keep = 9;
  while (keep > 6 && frac[keep - 1] == '0') {
    --keep;
  }
  std::memcpy(p, frac, static_cast<std::size_t>(keep));
  p += keep;
  return static_cast<std::size_t>(p - out);
}

}  // namespace fsrl
