// Vector ASC logs as a frame stream.
//
// The layout, as ASC writers produce it:
//
//     date Tue Nov 14 10:13:20.123 pm 2023          start date (local time; seconds or milliseconds, 12 or 24 h)
//     base hex  timestamps absolute                 numbers in hex or dec; times from the start or from the line before
//     internal events logged                        or "no internal events logged"
//     // version 9.0.0                              comments
//     Begin Triggerblock Tue Nov 14 10:13:20.123 pm 2023
//        0.000000 Start of measurement                                   event lines: skipped
//        0.001000 1  123             Rx   d 8 11 22 33 44 55 66 77 88   classic frame (trailing fields ignored)
//        0.002000 1  12345678x       Tx   d 4 DE AD BE EF               'x': extended id
//        0.003000 2  456             Rx   r 0                           remote request, length optional
//        0.004000 1  ErrorFrame                                         error frame: skipped and counted
//        0.005000 CANFD   1 Rx  7FF  [name]  1 0 b 18 00 11 ...  130000 130 3000 0 ...
//                 CAN FD: channel, direction, id, optional symbolic name, BRS, ESI, DLC, data length (decimal),
//                 data, message duration, message length, flags (hex: 0x1000 EDL, 0x10 remote), CRC, bit timing
//     End TriggerBlock
//
// The start of measurement is the `Begin Triggerblock` date when there is one (some writers stamp `date` with
// the time the file was made), else the `date` line.
#include <cstring>

#include "frame_source_internal.h"

namespace fsrl {
namespace detail {
namespace {

inline char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Bits of the CAN FD line's flags field, from the ASC format description: the frame is CAN FD (EDL), and the frame
// is a remote request.
constexpr std::uint32_t kAscFlagEdl = 0x1000U;
constexpr std::uint32_t kAscFlagRemote = 0x10U;
// Payload size of a CAN FD data length code (ISO 11898-1).
constexpr std::uint8_t kFdLengthOfDlc[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 20, 24, 32, 48, 64};

// Blank-separated tokens of one line.
class Tokens {
 public:
  Tokens(const char* begin, const char* end) : p_(begin), end_(end) {}
  // The next token, or an empty one at the end.
  std::string_view Next() {
    while (p_ != end_ && IsBlank(*p_)) {
      ++p_;
    }
    const char* start = p_;
    while (p_ != end_ && !IsBlank(*p_)) {
      ++p_;
    }
    return std::string_view(start, static_cast<std::size_t>(p_ - start));
  }
  std::string_view Peek() const {
    Tokens copy = *this;
    return copy.Next();
  }
  // Skips blanks and gives the position, for readers that take several tokens at once.
  const char*& At() {
    while (p_ != end_ && IsBlank(*p_)) {
      ++p_;
    }
    return p_;
  }
  const char* end() const { return end_; }

 private:
  const char* p_;
  const char* end_;
};

bool ParseNumber(std::string_view text, bool hex, std::uint32_t max, std::uint32_t& value) {
  if (text.empty() || text.size() > 10) {
    return false;
  }
  std::uint64_t v = 0;
  for (const char c : text) {
    const int digit = hex ? HexValue(c) : (IsDigit(c) ? c - '0' : -1);
    if (digit < 0) {
      return false;
    }
    v = v * (hex ? 16U : 10U) + static_cast<std::uint64_t>(digit);
  }
  if (v > max) {
    return false;
  }
  value = static_cast<std::uint32_t>(v);
  return true;
}

bool StartsWith(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && text.compare(0, prefix.size(), prefix) == 0;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) {
      return false;
    }
  }
  return true;
}

// Reads "[Weekday] Month Day HH:MM:SS[.mmm] [am|pm] Year" as local time.
bool ParseAscDate(Tokens tokens, std::int64_t& ns) {
  static const char* const kMonths[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                        "jul", "aug", "sep", "oct", "nov", "dec"};
  std::string_view token = tokens.Next();
  int month = 0;
  for (int attempt = 0; attempt < 2 && month == 0; ++attempt) {
    if (token.size() >= 3) {
      for (int m = 0; m < 12; ++m) {
        if (EqualsNoCase(token.substr(0, 3), kMonths[m])) {
          month = m + 1;
        }
      }
    }
    if (month == 0) {
      token = tokens.Next();  // that was the weekday
    }
  }
  std::uint32_t day = 0;
  if (month == 0 || !ParseNumber(tokens.Next(), false, 31, day)) {
    return false;
  }
  const std::string_view clock = tokens.Next();
  // HH:MM:SS with an optional fraction, of which milliseconds are kept.
  if (clock.size() < 8 || clock[2] != ':' || clock[5] != ':') {
    return false;
  }
  std::uint32_t hour = 0;
  std::uint32_t minute = 0;
  std::uint32_t second = 0;
  if (!ParseNumber(clock.substr(0, 2), false, 23, hour) || !ParseNumber(clock.substr(3, 2), false, 59, minute) ||
      !ParseNumber(clock.substr(6, 2), false, 60, second)) {
    return false;
  }
  int millisecond = 0;
  if (clock.size() > 8) {
    if (clock[8] != '.') {
      return false;
    }
    int scale = 100;
    for (std::size_t i = 9; i < clock.size(); ++i) {
      if (!IsDigit(clock[i])) {
        return false;
      }
      millisecond += (clock[i] - '0') * scale;
      scale /= 10;
    }
  }
  token = tokens.Next();
  if (EqualsNoCase(token, "am") || EqualsNoCase(token, "pm")) {
    if (hour < 1 || hour > 12) {
      return false;
    }
    hour %= 12;
    if (EqualsNoCase(token, "pm")) {
      hour += 12;
    }
    token = tokens.Next();
  }
  std::uint32_t year = 0;
  if (!ParseNumber(token, false, 9999, year)) {
    return false;
  }
  return LocalTimeToEpochNs(static_cast<int>(year), month, static_cast<int>(day), static_cast<int>(hour),
                            static_cast<int>(minute), static_cast<int>(second), millisecond, ns);
}

class AscSource final : public LineFrameSource {
 public:
  AscSource(std::unique_ptr<ByteInput> input, std::string name)
      : LineFrameSource(std::move(input), LogFormat::kAsc, std::move(name)) {}

 private:
  bool ReadLine(const char* begin, const char* end, CanFrame& frame, const char*& failure) override {
    Tokens tokens(begin, end);
    const std::string_view first = tokens.Peek();
    if (first.empty()) {
      return false;
    }
    if (!IsDigit(first[0])) {
      failure = ParseHeaderLine(tokens);
      return false;
    }
    const char* p = first.data();
    std::int64_t offset_ns = 0;
    failure = ParseDecimalSeconds(p, first.data() + first.size(), offset_ns, true);
    if (failure == nullptr && p != first.data() + first.size()) {
      failure = "invalid time stamp";
    }
    if (failure != nullptr) {
      return false;
    }
    tokens.Next();
    std::int64_t time_ns = 0;
    if (relative_) {
      if (offset_ns > INT64_MAX - start_ns_ - sum_ns_) {
        failure = "time out of range (more than 2^63-1 nanoseconds)";
        return false;
      }
      sum_ns_ += offset_ns;
      time_ns = start_ns_ + sum_ns_;
    } else {
      if (offset_ns > INT64_MAX - start_ns_) {
        failure = "time out of range (more than 2^63-1 nanoseconds)";
        return false;
      }
      time_ns = start_ns_ + offset_ns;
    }

    frame.ClearHeader();
    frame.timestamp_ns = time_ns;
    const std::string_view kind = tokens.Next();
    if (kind == "CANFD") {
      return ParseFdFrame(tokens, frame, failure);
    }
    std::uint32_t channel = 0;
    if (!ParseNumber(kind, false, 0xFFFFFFFFU, channel)) {
      ++skipped_.events;  // "Start of measurement", "CAN 1 Status:...", ...
      return false;
    }
    const std::string_view id_text = tokens.Next();
    if (id_text == "ErrorFrame") {
      ++skipped_.error_frames;
      return false;
    }
    if (!ParseAddress(channel, tokens.Next(), id_text, frame, failure)) {
      return false;
    }
    const std::string_view type = tokens.Next();
    std::uint32_t dlc = 0;
    if (type == "r") {
      frame.remote = true;
      if (ParseNumber(tokens.Peek(), hex_, 15, dlc)) {
        frame.remote_length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
      }
      return true;
    }
    if (type != "d") {
      failure = "expected 'd' (data) or 'r' (remote) after the direction";
      return false;
    }
    if (!ParseNumber(tokens.Next(), hex_, 15, dlc)) {
      failure = "invalid data length code";
      return false;
    }
    // A classic frame's length code above 8 still carries 8 bytes.
    frame.length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
    failure = ParseData(tokens, frame);
    return failure == nullptr;
  }

  // Channel, direction and identifier of a frame line. False for a line that is no frame: a bus event (counted), or
  // with @p failure set a malformed identifier.
  bool ParseAddress(std::uint32_t channel, std::string_view direction, std::string_view id_text, CanFrame& frame,
                    const char*& failure) {
    if (direction != "Rx" && direction != "Tx") {
      ++skipped_.events;  // statistics and other bus events of a numbered channel
      return false;
    }
    channel_text_.Set(frame, channel);
    frame.direction = direction[0] == 'T' ? 'T' : 'R';
    if (!ParseId(id_text, frame)) {
      failure = "invalid CAN id";
      return false;
    }
    return true;
  }

  bool ParseFdFrame(Tokens& tokens, CanFrame& frame, const char*& failure) {
    std::uint32_t channel = 0;
    if (!ParseNumber(tokens.Next(), false, 0xFFFFFFFFU, channel)) {
      failure = "invalid channel in a CANFD line";
      return false;
    }
    const std::string_view direction = tokens.Next();
    const std::string_view id_text = tokens.Next();
    if (id_text == "ErrorFrame" || direction == "ErrorFrame") {
      ++skipped_.error_frames;
      return false;
    }
    if (!ParseAddress(channel, direction, id_text, frame, failure)) {
      return false;
    }
    // Newer writers put a symbolic name between the id and BRS; it is never a lone 0 or 1.
    std::string_view token = tokens.Next();
    if (token != "0" && token != "1") {
      token = tokens.Next();
    }
    const std::string_view esi = tokens.Next();
    if ((token != "0" && token != "1") || (esi != "0" && esi != "1")) {
      failure = "expected BRS and ESI (0 or 1) in a CANFD line";
      return false;
    }
    frame.fd_flags = static_cast<std::uint8_t>((token == "1" ? kFdFlagBrs : 0U) | (esi == "1" ? kFdFlagEsi : 0U));
    std::uint32_t dlc = 0;
    std::uint32_t length = 0;
    if (!ParseNumber(tokens.Next(), hex_, 15, dlc)) {
      failure = "invalid data length code in a CANFD line";
      return false;
    }
    if (!ParseNumber(tokens.Next(), false, 64, length) || length > kFdLengthOfDlc[dlc]) {
      failure = "invalid data length in a CANFD line (decimal, at most the length code's payload size)";
      return false;
    }
    frame.length = static_cast<std::uint8_t>(length);
    failure = ParseData(tokens, frame);
    if (failure != nullptr) {
      return false;
    }
    // Message duration and length, then the flags, which tell CAN FD from classic frames written in this layout.
    tokens.Next();
    tokens.Next();
    std::uint32_t flags = kAscFlagEdl;
    const std::string_view flags_text = tokens.Next();
    if (!flags_text.empty() && !ParseNumber(flags_text, true, 0xFFFFFFFFU, flags)) {
      failure = "invalid flags in a CANFD line";
      return false;
    }
    frame.fd = (flags & kAscFlagEdl) != 0U;
    if ((flags & kAscFlagRemote) != 0U && !frame.fd) {
      frame.remote = true;
      frame.remote_length = static_cast<std::uint8_t>(dlc > 8 ? 8 : dlc);
      frame.length = 0;
    }
    if (!frame.fd && frame.length > 8) {
      failure = "classic frame (flags without EDL) with more than 8 data bytes";
      return false;
    }
    if (!frame.fd) {
      frame.fd_flags = 0;
    }
    return true;
  }

  // Kept out of ReadLine, into which everything else inlines: there the byte loop ran short of registers and spilled
  // on every byte, at half the speed.
  [[gnu::noinline]] const char* ParseData(Tokens& tokens, CanFrame& frame) const {
    if (hex_ && ReadSpacedHexBytes(tokens.At(), tokens.end(), frame.length, frame.data)) {
      return nullptr;
    }
    for (std::size_t i = 0; i < frame.length; ++i) {
      std::uint32_t byte = 0;
      if (!ParseNumber(tokens.Next(), hex_, 0xFF, byte)) {
        return "missing or invalid data byte";
      }
      frame.data[i] = static_cast<std::uint8_t>(byte);
    }
    return nullptr;
  }

  bool ParseId(std::string_view text, CanFrame& frame) const {
    if (!text.empty() && (text.back() == 'x' || text.back() == 'X')) {
      frame.extended = true;
      text.remove_suffix(1);
    }
    return ParseNumber(text, hex_, frame.extended ? kExtendedIdMax : kStandardIdMax, frame.id);
  }

  // Null for a header or comment line understood, else the reason.
  const char* ParseHeaderLine(Tokens tokens) {
    const std::string_view word = tokens.Next();
    if (StartsWith(word, "//")) {
      return nullptr;
    }
    if (word == "date") {
      std::int64_t ns = 0;
      if (!ParseAscDate(tokens, ns)) {
        return "unreadable date (expected e.g. 'date Tue Nov 14 10:13:20.123 pm 2023')";
      }
      if (!have_trigger_date_) {
        start_ns_ = ns;
      }
      return nullptr;
    }
    if (word == "base") {
      const std::string_view base = tokens.Next();
      if (base != "hex" && base != "dec") {
        return "expected 'base hex' or 'base dec'";
      }
      hex_ = base == "hex";
      const std::string_view timestamps = tokens.Next();
      if (timestamps.empty()) {
        return nullptr;
      }
      const std::string_view mode = tokens.Next();
      if (timestamps != "timestamps" || (mode != "absolute" && mode != "relative")) {
        return "expected 'timestamps absolute' or 'timestamps relative'";
      }
      relative_ = mode == "relative";
      return nullptr;
    }
    if (word == "internal" || word == "no") {
      return nullptr;  // "internal events logged", "no internal events logged"
    }
    if (word == "Begin" && tokens.Next() == "Triggerblock") {
      std::int64_t ns = 0;
      if (!tokens.Peek().empty() && ParseAscDate(tokens, ns)) {
        start_ns_ = ns;
        have_trigger_date_ = true;
      }
      sum_ns_ = 0;
      return nullptr;
    }
    if (word == "End") {
      return nullptr;  // "End TriggerBlock"
    }
    return "neither a header line nor a line starting with a time";
  }

  bool hex_ = true;
  bool relative_ = false;
  bool have_trigger_date_ = false;
  std::int64_t start_ns_ = 0;
  std::int64_t sum_ns_ = 0;
  ChannelText channel_text_;
};

}  // namespace

std::unique_ptr<FrameSource> MakeAscSource(std::unique_ptr<ByteInput> input, std::string name) {
  return std::make_unique<AscSource>(std::move(input), std::move(name));
}

}  // namespace detail
}  // namespace fsrl
