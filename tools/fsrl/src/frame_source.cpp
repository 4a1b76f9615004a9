// Opening a recording as a frame stream: buffered input, line splitting, format detection, the candump sources
// and the frame filter. The ASC and BLF readers live in asc_reader.cpp and blf_reader.cpp.
#include "fsrl/frame_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "frame_source_internal.h"

namespace fsrl {
namespace detail {
namespace {

// Distinct interface names kept for numbering; a real recording has a handful, the cap bounds memory on garbage.
constexpr std::size_t kMaxInterfaces = 1024;

const char* SkipBlanks(const char* p, const char* end) {
  while (p != end && IsBlank(*p)) {
    ++p;
  }
  return p;
}

const char* TokenEnd(const char* p, const char* end) {
  while (p != end && !IsBlank(*p)) {
    ++p;
  }
  return p;
}

bool TokenIs(const char* b, const char* e, const char* word) {
  const std::size_t n = std::strlen(word);
  return static_cast<std::size_t>(e - b) == n && std::memcmp(b, word, n) == 0;
}

}  // namespace

// ---- ByteInput -------------------------------------------------------------------------------------------------

ByteInput::ByteInput(int fd, bool owns_fd, std::size_t block_size)
    : fd_(fd),
      owns_fd_(owns_fd),
      block_size_(block_size < kMaxLineLength + 2 ? kMaxLineLength + 2 : block_size),
      // Room for one block behind a carried-over partial line (or BLF object) of up to kMaxLineLength + 2 bytes.
      capacity_(block_size_ + kMaxLineLength + 2),
      buffer_(new char[capacity_]) {}

ByteInput::~ByteInput() {
  if (owns_fd_ && fd_ >= 0) {
    ::close(fd_);
  }
}

bool ByteInput::Fill(std::size_t most) {
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
    if (room > most) {
      room = most;
    }
    if (room == 0) {
      return true;  // full: the caller has what it can get
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

bool ByteInput::Ensure(std::size_t n) {
  while (size() < n) {
    if (!Fill()) {
      return false;
    }
  }
  return true;
}

// ---- LineSplitter ----------------------------------------------------------------------------------------------

LineSplitter::Status LineSplitter::Next(const char*& begin, const char*& end) { return NextInline(begin, end); }

ReadStatus LineFrameSource::Next(CanFrame& frame) {
  for (;;) {
    const char* begin = nullptr;
    const char* end = nullptr;
    switch (lines_.Next(begin, end)) {
      case LineSplitter::Status::kLine:
        break;
      case LineSplitter::Status::kOverlong:
        position_ = lines_.line_number();
        reason_ = LineSplitter::kOverlongReason;
        return ReadStatus::kMalformed;
      case LineSplitter::Status::kReadError:
        errno_value_ = input_->errno_value();
        reason_ = std::strerror(errno_value_);
        return ReadStatus::kReadError;
      case LineSplitter::Status::kEnd:
        return ReadStatus::kEnd;
    }
    position_ = lines_.line_number();
    const char* failure = nullptr;
    if (ReadLine(begin, end, frame, failure)) {
      return ReadStatus::kFrame;
    }
    if (failure != nullptr) {
      reason_ = failure;
      return ReadStatus::kMalformed;
    }
  }
}

void ChannelText::Set(CanFrame& frame, std::uint32_t channel) {
  frame.channel = channel;
  if (channel != last_channel_ || size_ == 0) {
    const std::string text = std::to_string(channel);
    std::memcpy(text_, text.data(), text.size());
    size_ = text.size();
    last_channel_ = channel;
  }
  frame.iface = std::string_view(text_, size_);
}

// ---- InterfaceNumbers ------------------------------------------------------------------------------------------

namespace {
// Interface names are a few bytes: comparing them in place costs less than a library call per frame.
bool SameName(std::string_view stored, std::string_view name) {
  if (stored.size() != name.size()) {
    return false;
  }
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (stored[i] != name[i]) {
      return false;
    }
  }
  return true;
}
}  // namespace

void InterfaceNumbers::Number(CanFrame& frame) {
  // Recordings mostly stay on one bus: the last name matches without a search.
  if (!last_name_.empty() && SameName(last_name_, frame.iface)) {
    frame.channel = last_channel_;
    frame.iface = last_name_;
    return;
  }
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (*names_[i] == frame.iface) {
      last_name_ = *names_[i];
      last_channel_ = static_cast<std::uint32_t>(i + 1);
      frame.channel = last_channel_;
      frame.iface = last_name_;
      return;
    }
  }
  if (names_.size() == kMaxInterfaces) {
    frame.channel = 0;  // the name stays valid in the line until the next frame
    return;
  }
  names_.push_back(std::make_unique<std::string>(frame.iface));
  last_name_ = *names_.back();
  last_channel_ = static_cast<std::uint32_t>(names_.size());
  frame.channel = last_channel_;
  frame.iface = last_name_;
}

// ---- time stamps -----------------------------------------------------------------------------------------------

const char* ParseDecimalSeconds(const char*& p, const char* end, std::int64_t& ns, bool fraction_optional) {
  if (p == end || !IsDigit(*p)) {
    return "time stamp has no seconds";
  }
  std::int64_t seconds = 0;
  while (p != end && IsDigit(*p)) {
    seconds = seconds * 10 + (*p - '0');
    if (seconds > INT64_MAX / kNsPerSecond) {
      return "time stamp out of range (more than 2^63-1 nanoseconds)";
    }
    ++p;
  }
  std::int64_t fraction = 0;
  int digits = 0;
  if (p != end && *p == '.') {
    ++p;
    while (p != end && IsDigit(*p)) {
      if (digits == 9) {
        return "time stamp has more than 9 fractional digits";
      }
      fraction = fraction * 10 + (*p - '0');
      ++digits;
      ++p;
    }
  }
  if (digits == 0 && !fraction_optional) {
    return "time stamp has no fractional digits";
  }
  for (int i = digits; i < 9; ++i) {
    fraction *= 10;
  }
  const std::int64_t whole = seconds * kNsPerSecond;
  if (fraction > INT64_MAX - whole) {
    return "time stamp out of range (more than 2^63-1 nanoseconds)";
  }
  ns = whole + fraction;
  return nullptr;
}

bool LocalTimeToEpochNs(int year, int month, int day, int hour, int minute, int second, int millisecond,
                        std::int64_t& ns) {
  // 2262 is the last year a signed 64-bit count of nanoseconds since 1970 reaches.
  if (year < 1970 || year > 2262 || month < 1 || month > 12 || day < 1 || day > 31 || hour < 0 || hour > 23 ||
      minute < 0 || minute > 59 || second < 0 || second > 60 || millisecond < 0 || millisecond > 999) {
    return false;
  }
  std::tm tm{};
  tm.tm_year = year - 1900;
  tm.tm_mon = month - 1;
  tm.tm_mday = day;
  tm.tm_hour = hour;
  tm.tm_min = minute;
  tm.tm_sec = second;
  tm.tm_isdst = -1;  // the writers print local wall-clock time; let the C library find the offset
  const std::time_t t = std::mktime(&tm);
  if (t == static_cast<std::time_t>(-1) || t < 0 || t > INT64_MAX / kNsPerSecond - 1) {
    return false;
  }
  ns = static_cast<std::int64_t>(t) * kNsPerSecond + static_cast<std::int64_t>(millisecond) * 1000000;
  return true;
}

// ---- human-readable candump lines ------------------------------------------------------------------------------

const char* ParseCandumpLongLine(const char* begin, const char* end, CanFrame& frame, std::int64_t& time_ns,
                                 bool& has_time) {
  frame.ClearHeader();
  time_ns = 0;
  has_time = false;

  const char* p = SkipBlanks(begin, end);
  if (p != end && *p == '(') {
    ++p;
    const char* failure = ParseDecimalSeconds(p, end, time_ns, false);
    if (failure != nullptr) {
      return failure;
    }
    if (p == end || *p != ')') {
      return "expected ')' after the time stamp";
    }
    ++p;
    has_time = true;
    p = SkipBlanks(p, end);
  }
  const char* token = p;
  p = TokenEnd(p, end);
  if (p == token) {
    return "missing interface name";
  }
  frame.iface = std::string_view(token, static_cast<std::size_t>(p - token));
  p = SkipBlanks(p, end);

  // `candump -x` shows the direction and the CAN FD flags: "TX B E", "RX - -".
  token = p;
  p = TokenEnd(p, end);
  if (TokenIs(token, p, "TX") || TokenIs(token, p, "RX")) {
    frame.direction = *token == 'T' ? 'T' : 'R';
    for (int flag = 0; flag < 2; ++flag) {
      p = SkipBlanks(p, end);
      token = p;
      p = TokenEnd(p, end);
      if (TokenIs(token, p, flag == 0 ? "B" : "E")) {
        frame.fd_flags |= flag == 0 ? kFdFlagBrs : kFdFlagEsi;
      } else if (!TokenIs(token, p, "-")) {
        return "expected the flags 'B'/'-' and 'E'/'-' after the direction";
      }
    }
    p = SkipBlanks(p, end);
    token = p;
    p = TokenEnd(p, end);
  }

  // Identifier: 3 hex digits standard, 8 extended, as candump prints it.
  const std::ptrdiff_t id_digits = p - token;
  if (id_digits != 3 && id_digits != 8) {
    return "CAN id must have 3 (standard) or 8 (extended) hex digits";
  }
  std::uint32_t id = 0;
  for (const char* q = token; q != p; ++q) {
    const int digit = HexValue(*q);
    if (digit < 0) {
      return "CAN id is not hexadecimal";
    }
    id = (id << 4) | static_cast<std::uint32_t>(digit);
  }
  if (id_digits == 3) {
    if (id > kStandardIdMax) {
      return "standard CAN id above 7FF";
    }
  } else {
    frame.extended = true;
    if ((id & ~(kExtendedIdMax | kErrorFlag)) != 0U) {
      return "extended CAN id above 1FFFFFFF";
    }
    frame.error = (id & kErrorFlag) != 0U;
    id &= kExtendedIdMax;
  }
  frame.id = id;

  // Length: "[8]" classic, two digits ("[08]", "[64]") CAN FD.
  p = SkipBlanks(p, end);
  if (p == end || *p != '[') {
    return "expected '[LENGTH]' after the CAN id";
  }
  ++p;
  unsigned length = 0;
  int length_digits = 0;
  while (p != end && IsDigit(*p) && length_digits < 3) {
    length = length * 10U + static_cast<unsigned>(*p - '0');
    ++length_digits;
    ++p;
  }
  if (length_digits == 0 || p == end || *p != ']') {
    return "invalid '[LENGTH]' field";
  }
  ++p;
  frame.fd = length_digits == 2;
  if (length > (frame.fd ? 64U : 8U)) {
    return frame.fd ? "more than 64 data bytes in a CAN FD frame" : "more than 8 data bytes in a classic CAN frame";
  }
  if (!frame.fd && frame.fd_flags != 0) {
    return "CAN FD flags on a classic CAN frame";
  }

  p = SkipBlanks(p, end);
  token = p;
  const char* token_end = TokenEnd(p, end);
  if (TokenIs(token, token_end, "remote")) {
    p = SkipBlanks(token_end, end);
    token = p;
    p = TokenEnd(p, end);
    if (!TokenIs(token, p, "request") || frame.fd) {
      return "expected 'remote request' on a classic CAN frame";
    }
    frame.remote = true;
    frame.remote_length = static_cast<std::uint8_t>(length);
  } else if (ReadSpacedHexBytes(p, end, length, frame.data)) {
    frame.length = static_cast<std::uint8_t>(length);
  } else {
    for (unsigned i = 0; i < length; ++i) {
      p = SkipBlanks(p, end);
      const int high = (end - p >= 2) ? HexValue(p[0]) : -1;
      const int low = (end - p >= 2) ? HexValue(p[1]) : -1;
      if ((high | low) < 0 || (end - p > 2 && !IsBlank(p[2]))) {
        return "expected LENGTH data bytes of 2 hex digits each";
      }
      frame.data[i] = static_cast<std::uint8_t>((high << 4) | low);
      p += 2;
    }
    frame.length = static_cast<std::uint8_t>(length);
  }

  // What may follow: the ASCII column of `-a` (log2long always writes it) or the error frame mark.
  p = SkipBlanks(p, end);
  if (p != end && *p != '\'') {
    token = p;
    p = TokenEnd(p, end);
    if (!TokenIs(token, p, "ERRORFRAME") || !frame.error) {
      return "unexpected text after the CAN frame";
    }
    p = SkipBlanks(p, end);
    if (p != end) {
      return "unexpected text after ERRORFRAME";
    }
  }
  return nullptr;
}

namespace {

// ---- the candump sources ---------------------------------------------------------------------------------------

// The `-l` form goes through the tools' own reader, whose parser inlines into its loop; the reader takes over the
// input with the bytes looked at to tell the format.
class CandumpLogSource final : public FrameSource {
 public:
  CandumpLogSource(std::unique_ptr<ByteInput> input, std::string name)
      : FrameSource(LogFormat::kCandumpLog, std::move(name)), reader_(std::move(input)) {}

  std::uint64_t lines_read() const override { return reader_.lines_read(); }

  ReadStatus Next(CanFrame& frame) override {
    const CandumpReader::Result result = reader_.Next(frame);
    position_ = reader_.line_number();
    switch (result) {
      case CandumpReader::Result::kFrame:
        numbers_.Number(frame);
        return ReadStatus::kFrame;
      case CandumpReader::Result::kMalformed:
        reason_ = reader_.reason();
        return ReadStatus::kMalformed;
      case CandumpReader::Result::kReadError:
        errno_value_ = reader_.errno_value();
        reason_ = reader_.reason();
        return ReadStatus::kReadError;
      case CandumpReader::Result::kEnd:
        break;
    }
    return ReadStatus::kEnd;
  }

 private:
  CandumpReader reader_;
  InterfaceNumbers numbers_;
};

// The human-readable forms, with absolute, delta, zero-based or no time stamps.
class CandumpLongSource final : public LineFrameSource {
 public:
  CandumpLongSource(std::unique_ptr<ByteInput> input, std::string name, LogFormat format)
      : LineFrameSource(std::move(input), format, std::move(name)) {}

 private:
  bool ReadLine(const char* begin, const char* end, CanFrame& frame, const char*& failure) override {
    if (SkipBlanks(begin, end) == end) {
      return false;
    }
    std::int64_t time_ns = 0;
    bool has_time = false;
    failure = ParseCandumpLongLine(begin, end, frame, time_ns, has_time);
    if (failure != nullptr) {
      return false;
    }
    if (format_ == LogFormat::kCandumpLongDelta) {
      if (time_ns > INT64_MAX - sum_ns_) {
        failure = "accumulated delta time out of range (more than 2^63-1 nanoseconds)";
        return false;
      }
      sum_ns_ += time_ns;
      time_ns = sum_ns_;
    }
    frame.timestamp_ns = time_ns;
    numbers_.Number(frame);
    return true;
  }

  InterfaceNumbers numbers_;
  std::int64_t sum_ns_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> MakeCandumpSource(std::unique_ptr<ByteInput> input, std::string name, LogFormat format) {
  if (format == LogFormat::kCandumpLog) {
    return std::make_unique<CandumpLogSource>(std::move(input), std::move(name));
  }
  return std::make_unique<CandumpLongSource>(std::move(input), std::move(name), format);
}

}  // namespace detail

// ---- formats and detection -------------------------------------------------------------------------------------

std::string_view LogFormatName(LogFormat format) {
  switch (format) {
    case LogFormat::kAuto:
      return "auto";
    case LogFormat::kCandumpLog:
      return "candump";
    case LogFormat::kCandumpLong:
      return "candump-long";
    case LogFormat::kCandumpLongDelta:
      return "candump-delta";
    case LogFormat::kAsc:
      return "asc";
    case LogFormat::kBlf:
      return "blf";
  }
  return "auto";
}

bool ParseLogFormat(std::string_view name, LogFormat& format) {
  for (const LogFormat candidate : {LogFormat::kAuto, LogFormat::kCandumpLog, LogFormat::kCandumpLong,
                                    LogFormat::kCandumpLongDelta, LogFormat::kAsc, LogFormat::kBlf}) {
    if (name == LogFormatName(candidate)) {
      format = candidate;
      return true;
    }
  }
  if (name == "log") {
    format = LogFormat::kCandumpLog;
    return true;
  }
  return false;
}

LogFormat DetectLogFormat(std::string_view head) {
  // BLF files begin with their signature (file header, "LOGG").
  if (head.size() >= 4 && head.compare(0, 4, "LOGG") == 0) {
    return LogFormat::kBlf;
  }
  // Lines shorter than these words cannot start an ASC file; the words are the header lines ASC writers emit.
  static const char* const kAscStarts[] = {
      "date ", "base ", "internal events logged", "no internal events logged", "Begin Triggerblock", "// version"};
  // The time stamps of human-readable lines, to tell -td (deltas) from -tz (times since the first frame).
  std::vector<std::int64_t> times;
  bool long_form = false;
  bool absolute = false;
  std::size_t looked_at = 0;
  // Lines looked at: enough to see past a few damaged lines and to judge the time stamps, few enough to start
  // reading a live pipe at once.
  constexpr std::size_t kLinesToLook = 16;
  std::size_t pos = 0;
  while (pos < head.size() && looked_at < kLinesToLook) {
    const std::size_t newline = head.find('\n', pos);
    if (newline == std::string_view::npos && looked_at != 0) {
      break;  // an incomplete last line says little
    }
    const std::size_t line_end = newline == std::string_view::npos ? head.size() : newline;
    const char* begin = head.data() + pos;
    const char* end = head.data() + line_end;
    pos = line_end + 1;
    if (end != begin && end[-1] == '\r') {
      --end;
    }
    const char* first = detail::SkipBlanks(begin, end);
    if (first == end) {
      continue;
    }
    ++looked_at;
    for (const char* start : kAscStarts) {
      const std::size_t n = std::strlen(start);
      if (static_cast<std::size_t>(end - first) >= n && std::memcmp(first, start, n) == 0) {
        return LogFormat::kAsc;
      }
    }
    CanFrame frame;
    if (ParseCandumpLine(begin, end, frame, nullptr) == LineKind::kFrame) {
      return LogFormat::kCandumpLog;
    }
    std::int64_t time_ns = 0;
    bool has_time = false;
    if (detail::ParseCandumpLongLine(begin, end, frame, time_ns, has_time) == nullptr) {
      long_form = true;
      if (has_time) {
        // candump -ta prints at least 10 digits of seconds; a time since the first frame or a delta of that
        // size (over 30 years) is no recording.
        const char* digits = detail::SkipBlanks(begin, end) + 1;
        std::size_t count = 0;
        while (digits + count != end && detail::IsDigit(digits[count])) {
          ++count;
        }
        absolute = absolute || count >= 10;
        times.push_back(time_ns);
      }
    }
  }
  if (!long_form) {
    return LogFormat::kAuto;
  }
  if (absolute || times.size() < 2) {
    return LogFormat::kCandumpLong;
  }
  // Times since the first frame never decrease; deltas do, or repeat the frame period.
  std::size_t repeats = 0;
  for (std::size_t i = 1; i < times.size(); ++i) {
    if (times[i] < times[i - 1]) {
      return LogFormat::kCandumpLongDelta;
    }
    if (times[i] == times[i - 1] && times[i] != 0) {
      ++repeats;
    }
  }
  return 2 * repeats > times.size() - 1 ? LogFormat::kCandumpLongDelta : LogFormat::kCandumpLong;
}

namespace detail {

std::unique_ptr<FrameSource> OpenDetected(std::unique_ptr<ByteInput> input, std::string name, LogFormat format,
                                          LogFormat fallback, std::string* error, int* read_errno) {
  if (format == LogFormat::kAuto) {
    // Look at the first lines only: a pipe from a live logger must not wait for a full block.
    constexpr std::size_t kHeadBytes = 16384;
    constexpr std::size_t kHeadLines = 16;
    while (input->size() < kHeadBytes) {
      std::size_t lines = 0;
      for (std::size_t i = 0; i < input->size(); ++i) {
        lines += input->data()[i] == '\n' ? 1U : 0U;
      }
      if (lines >= kHeadLines || (input->size() >= 4 && std::memcmp(input->data(), "LOGG", 4) == 0)) {
        break;
      }
      if (!input->Fill(kHeadBytes)) {
        break;
      }
    }
    if (input->failed()) {
      if (error != nullptr) {
        *error = name + ": " + std::strerror(input->errno_value());
      }
      if (read_errno != nullptr) {
        *read_errno = input->errno_value();
      }
      return nullptr;
    }
    format = DetectLogFormat(std::string_view(input->data(), input->size()));
    if (format == LogFormat::kAuto) {
      format = fallback;
    }
    if (format == LogFormat::kAuto) {
      if (error != nullptr) {
        *error = name + ": cannot tell the format from the content (not a candump log, ASC or BLF file); " +
                 "name the format explicitly";
      }
      return nullptr;
    }
  }
  switch (format) {
    case LogFormat::kAsc:
      return MakeAscSource(std::move(input), std::move(name));
    case LogFormat::kBlf:
      return MakeBlfSource(std::move(input), std::move(name));
    default:
      return MakeCandumpSource(std::move(input), std::move(name), format);
  }
}

}  // namespace detail

std::unique_ptr<FrameSource> OpenFrameSource(int fd, std::string name, LogFormat format, bool owns_fd,
                                             std::string* error) {
  return detail::OpenDetected(std::make_unique<detail::ByteInput>(fd, owns_fd), std::move(name), format,
                              LogFormat::kAuto, error, nullptr);
}

std::unique_ptr<FrameSource> OpenFrameSource(const std::string& path_or_dash, LogFormat format, std::string* error) {
  if (path_or_dash == "-") {
    return OpenFrameSource(STDIN_FILENO, "<stdin>", format, false, error);
  }
  const int fd = ::open(path_or_dash.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    if (error != nullptr) {
      *error = path_or_dash + ": " + std::strerror(errno);
    }
    return nullptr;
  }
  return OpenFrameSource(fd, path_or_dash, format, true, error);
}

// ---- FrameFilter -----------------------------------------------------------------------------------------------

namespace {
// The flag bits of a Linux CAN id (linux/can.h), which candump filters compare together with the id.
constexpr std::uint32_t kEffFlag = 0x80000000U;
constexpr std::uint32_t kRtrFlag = 0x40000000U;
constexpr std::uint32_t kErrFlag = 0x20000000U;
}  // namespace

bool FrameFilter::SetChannel(std::string_view name_or_number) {
  if (name_or_number.empty()) {
    return false;
  }
  have_channel_ = true;
  channel_name_ = std::string(name_or_number);
  channel_number_ = 0;
  std::uint64_t number = 0;
  bool numeric = name_or_number.size() <= 9;
  for (const char c : name_or_number) {
    numeric = numeric && detail::IsDigit(c);
    number = number * 10U + static_cast<std::uint64_t>(c - '0');
  }
  if (numeric) {
    channel_number_ = static_cast<std::uint32_t>(number);
  }
  return true;
}

bool FrameFilter::AddIdFilter(std::string_view text, std::string* error) {
  const std::size_t sep = text.find_first_of(":~");
  auto fail = [&](const char* why) {
    if (error != nullptr) {
      *error = "invalid filter '" + std::string(text) + "': " + why;
    }
    return false;
  };
  if (sep == std::string_view::npos) {
    return fail("expected ID:MASK or ID~MASK");
  }
  auto parse_hex = [](std::string_view digits, std::uint32_t& value) {
    if (digits.empty() || digits.size() > 8) {
      return false;
    }
    value = 0;
    for (const char c : digits) {
      const int v = detail::HexValue(c);
      if (v < 0) {
        return false;
      }
      value = (value << 4) | static_cast<std::uint32_t>(v);
    }
    return true;
  };
  IdFilter filter{0, 0, text[sep] == '~'};
  if (!parse_hex(text.substr(0, sep), filter.id) || !parse_hex(text.substr(sep + 1), filter.mask)) {
    return fail("ID and MASK must be 1 to 8 hex digits");
  }
  // As candump: an 8-digit id stands for an extended frame; the error flag is never compared.
  if (sep == 8) {
    filter.id |= kEffFlag;
  }
  filter.mask &= ~kErrFlag;
  id_filters_.push_back(filter);
  return true;
}

bool FrameFilter::Accepts(const CanFrame& frame) const {
  // INT64_MAX as the end leaves the window open: a log may be stamped at the very end of the clock's range.
  if (frame.timestamp_ns < from_ns_ || (frame.timestamp_ns >= to_ns_ && to_ns_ != INT64_MAX)) {
    return false;
  }
  if (have_channel_ && frame.iface != channel_name_ && (channel_number_ == 0 || frame.channel != channel_number_)) {
    return false;
  }
  if (id_filters_.empty()) {
    return true;
  }
  const std::uint32_t can_id =
      frame.id | (frame.extended ? kEffFlag : 0U) | (frame.remote ? kRtrFlag : 0U) | (frame.error ? kErrFlag : 0U);
  for (const IdFilter& filter : id_filters_) {
    const bool match = (can_id & filter.mask) == (filter.id & filter.mask);
    if (match != filter.invert) {
      return true;
    }
  }
  return false;
}

}  // namespace fsrl
