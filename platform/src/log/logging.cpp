#include "zol/log/logging.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace zol {
namespace log {

namespace {

// What the stderr sink prints in place of the enumerator name: shorter, and easy to grep for.
const char* LineLevelName(LoggingLevel level) {
  switch (level) {
    case LoggingLevel::kOff:
      return "OFF";
    case LoggingLevel::kFatal:
      return "FATAL";
    case LoggingLevel::kError:
      return "ERROR";
    case LoggingLevel::kWarn:
      return "WARN";
    case LoggingLevel::kInfo:
      return "INFO";
    case LoggingLevel::kDebug:
      return "DEBUG";
    case LoggingLevel::kVerbose:
      return "VERBOSE";
  }
  return "UNKNOWN";
}

class StderrSink final : public Sink {
 public:
  void Write(const LogRecord& record) override {
    // One stdio call per line: stdio locks the stream for the call, so lines from a process that writes to stderr
    // elsewhere do not interleave with ours.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): stdio is the one way to write a line in a single call
    std::fprintf(stderr, "[%.*s] %s: %.*s\n", static_cast<int>(record.context_id.size()), record.context_id.data(),
                 LineLevelName(record.level), static_cast<int>(record.message.size()), record.message.data());
  }
};

// Never destroyed: libraries log from their static destructors at exit, which may run after ours.
StderrSink& TheStderrSink() {
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): writing to a sink changes it
  static auto* const sink = new StderrSink();
  return *sink;
}

// Guards the current sink and serialises writes to it, so that a sink needs no locking of its own and a sink
// that SetSink replaced is no longer in use once SetSink returns. std::mutex is constant-initialised and has
// nothing to release, so it is usable during static initialisation and destruction of other libraries.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one lock for the process-wide sink
std::mutex g_sink_mutex;
// Null stands for the stderr sink; that keeps the variable constant-initialised.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide sink, under g_sink_mutex
Sink* g_sink = nullptr;

constexpr int kLevelNotRead = -1;
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide default level
std::atomic<int> g_default_level{kLevelNotRead};

LoggingLevel LevelFromEnvironment() {
  LoggingLevel level = LoggingLevel::kInfo;
  const char* text = std::getenv("ZOL_LOG_LEVEL");
  if (text != nullptr) {
    // A value that is not a level keeps the built-in default rather than silencing the process.
    static_cast<void>(ParseLoggingLevel(zol::string_view(text), &level));
  }
  return level;
}

bool EqualsIgnoringCase(zol::string_view text, const char* lower_case_word) {
  std::size_t i = 0;
  for (; i < text.size(); ++i) {
    if (lower_case_word[i] == '\0' ||
        std::tolower(static_cast<unsigned char>(text[i])) != static_cast<unsigned char>(lower_case_word[i])) {
      return false;
    }
  }
  return lower_case_word[i] == '\0';
}

}  // namespace

const char* ToString(LoggingLevel level) {
  switch (level) {
    case LoggingLevel::kOff:
      return "kOff";
    case LoggingLevel::kFatal:
      return "kFatal";
    case LoggingLevel::kError:
      return "kError";
    case LoggingLevel::kWarn:
      return "kWarn";
    case LoggingLevel::kInfo:
      return "kInfo";
    case LoggingLevel::kDebug:
      return "kDebug";
    case LoggingLevel::kVerbose:
      return "kVerbose";
  }
  return "unknown";
}

bool ParseLoggingLevel(zol::string_view text, LoggingLevel* level) {
  if (level == nullptr) {
    return false;
  }
  if (text.size() == 1 && text[0] >= '0' && text[0] <= '6') {
    *level = static_cast<LoggingLevel>(text[0] - '0');
    return true;
  }
  // The enumerator spelling ("kDebug") is accepted too, so that a value copied from code works.
  if (text.size() > 1 && text[0] == 'k' && std::isupper(static_cast<unsigned char>(text[1])) != 0) {
    text = text.substr(1);
  }
  struct Name {
    const char* word;
    LoggingLevel level;
  };
  static const Name kNames[] = {
      {"off", LoggingLevel::kOff},     {"fatal", LoggingLevel::kFatal},     {"error", LoggingLevel::kError},
      {"warn", LoggingLevel::kWarn},   {"warning", LoggingLevel::kWarn},    {"info", LoggingLevel::kInfo},
      {"debug", LoggingLevel::kDebug}, {"verbose", LoggingLevel::kVerbose},
  };
  const Name* const end = std::end(kNames);
  const Name* const found =
      std::find_if(std::begin(kNames), end, [text](const Name& name) { return EqualsIgnoringCase(text, name.word); });
  if (found == end) {
    return false;
  }
  *level = found->level;
  return true;
}

Sink::~Sink() = default;

Sink* SetSink(Sink* sink) {
  std::lock_guard<std::mutex> lock(g_sink_mutex);
  Sink* previous = g_sink != nullptr ? g_sink : &TheStderrSink();
  g_sink = sink;
  return previous;
}

void SetDefaultLevel(LoggingLevel level) { g_default_level.store(static_cast<int>(level), std::memory_order_relaxed); }

LoggingLevel DefaultLevel() {
  int value = g_default_level.load(std::memory_order_relaxed);
  if (value == kLevelNotRead) {
    // Read lazily rather than in a static constructor, whose order against other libraries' static
    // constructors (which may already log) is unspecified. If SetDefaultLevel won the race, its level stays.
    int from_environment = static_cast<int>(LevelFromEnvironment());
    if (g_default_level.compare_exchange_strong(value, from_environment, std::memory_order_relaxed)) {
      value = from_environment;
    }
  }
  return static_cast<LoggingLevel>(value);
}

constexpr std::uint8_t Context::kNoOwnLevel;

Context::Context() : Context("DFLT", "Default context") {}

Context::Context(zol::string_view context_id, zol::string_view description)
    : id_(context_id.data(), context_id.size()), description_(description.data(), description.size()) {}

Context::Context(const Context& other)
    : id_(other.id_), description_(other.description_), own_level_(other.own_level_.load(std::memory_order_relaxed)) {}

Context& Context::operator=(const Context& other) {
  if (this != &other) {
    id_ = other.id_;
    description_ = other.description_;
    own_level_.store(other.own_level_.load(std::memory_order_relaxed), std::memory_order_relaxed);
  }
  return *this;
}

Context::Context(Context&& other) noexcept
    : id_(std::move(other.id_)),
      description_(std::move(other.description_)),
      own_level_(other.own_level_.load(std::memory_order_relaxed)) {}

Context& Context::operator=(Context&& other) noexcept {
  if (this != &other) {
    id_ = std::move(other.id_);
    description_ = std::move(other.description_);
    own_level_.store(other.own_level_.load(std::memory_order_relaxed), std::memory_order_relaxed);
  }
  return *this;
}

Context::~Context() = default;

void Context::SetLevel(LoggingLevel level) {
  own_level_.store(static_cast<std::uint8_t>(level), std::memory_order_relaxed);
}

void Context::ClearLevel() { own_level_.store(kNoOwnLevel, std::memory_order_relaxed); }

LoggingLevel Context::level() const {
  const std::uint8_t own = own_level_.load(std::memory_order_relaxed);
  return own == kNoOwnLevel ? DefaultLevel() : static_cast<LoggingLevel>(own);
}

bool Context::IsEnabled(LoggingLevel level) const {
  return level != LoggingLevel::kOff && static_cast<std::uint8_t>(level) <= static_cast<std::uint8_t>(this->level());
}

void Context::Log(LoggingLevel level, zol::string_view message) const {
  if (!IsEnabled(level)) {
    return;
  }
  const LogRecord record{level, id(), message};
  // A sink must not log itself: this lock is not recursive.
  std::lock_guard<std::mutex> lock(g_sink_mutex);
  Sink* sink = g_sink != nullptr ? g_sink : &TheStderrSink();
  sink->Write(record);
}

void CapturingSink::Write(const LogRecord& record) {
  Line line{record.level, std::string(record.context_id.data(), record.context_id.size()),
            std::string(record.message.data(), record.message.size())};
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.push_back(std::move(line));
}

std::vector<CapturingSink::Line> CapturingSink::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

void CapturingSink::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

bool CapturingSink::Contains(LoggingLevel level, zol::string_view message) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(), [level, message](const Line& line) {
    return line.level == level && zol::string_view(line.message) == message;
  });
}

std::size_t CapturingSink::Count(zol::string_view message) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      lines_.begin(), lines_.end(), [message](const Line& line) { return zol::string_view(line.message) == message; }));
}

}  // namespace log
}  // namespace zol
