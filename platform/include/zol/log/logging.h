#ifndef ZOL_LOG_LOGGING_H
#define ZOL_LOG_LOGGING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "zol/nodiscard.h"
#include "zol/string_view.h"

namespace zol {
namespace log {

/// @brief Severity of a log line; a context writes the lines whose level is at most its own.
enum class LoggingLevel : std::uint8_t {
  kOff = 0,
  kFatal = 1,
  kError = 2,
  kWarn = 3,
  kInfo = 4,
  kDebug = 5,
  kVerbose = 6,
};

/// @brief The enumerator's name ("kError", ...), or "unknown" for a value without a name.
const char* ToString(LoggingLevel level);

/// @brief One log line as handed to a sink. The views are valid only during Sink::Write.
struct LogRecord {
  LoggingLevel level{};
  zol::string_view context_id;
  zol::string_view message;
};

/// @brief Where log lines go. Writes reach the sink one at a time: the platform serialises them.
class Sink {
 public:
  virtual ~Sink();
  /// @brief Takes one line; the record's views must not be kept beyond the call.
  virtual void Write(const LogRecord& record) = 0;

 protected:
  // Copying through the interface would slice the sink; each derived sink decides whether it can be copied.
  Sink() = default;
  Sink(const Sink&) = default;
  Sink& operator=(const Sink&) = default;
  Sink(Sink&&) = default;
  Sink& operator=(Sink&&) = default;
};

/// @brief Installs @p sink for the whole process and returns the previous one.
///
/// A null @p sink restores the built-in sink that writes to stderr. When this returns, no write to the previous
/// sink is in progress any more, so the caller may destroy it.
Sink* SetSink(Sink* sink);

/// @brief Sets the level of every context that has no level of its own.
void SetDefaultLevel(LoggingLevel level);

/// @brief The level of every context that has no level of its own.
///
/// Initially kInfo, unless the environment variable ZOL_LOG_LEVEL holds a level as a number (0 to 6) or as a
/// name ("debug", "kDebug", "DEBUG", ...) when the level is first needed.
LoggingLevel DefaultLevel();

/// @brief Reads a level written as a number ("0" to "6") or as a name ("warn", "kWarn", "WARN", "warning").
/// @return false, leaving @p level unchanged, when @p text is neither.
bool ParseLoggingLevel(zol::string_view text, LoggingLevel* level);

/// @brief A named source of log lines, such as one component.
///
/// @code
///   zol::log::Context log{"FLH", "Front side radar left hal"};
///   log.Log(zol::log::LoggingLevel::kWarn, "no data");
/// @endcode
class Context {
 public:
  /// @brief The default context: id "DFLT", description "Default context".
  Context();
  /// @brief A context with its own id (a short tag shown on every line) and description.
  Context(zol::string_view context_id, zol::string_view description);
  Context(const Context& other);
  Context& operator=(const Context& other);
  /// @brief Takes over id, description and level; the moved-from context stays usable.
  Context(Context&& other) noexcept;
  Context& operator=(Context&& other) noexcept;
  ~Context();

  /// @brief The id shown on every line.
  ZOL_NODISCARD zol::string_view id() const { return {id_.data(), id_.size()}; }
  /// @brief What the context stands for.
  ZOL_NODISCARD zol::string_view description() const { return {description_.data(), description_.size()}; }

  /// @brief Gives the context a level of its own, which overrides the default level.
  void SetLevel(LoggingLevel level);
  /// @brief Drops the context's own level: it follows the default level again.
  void ClearLevel();
  /// @brief The context's own level if it has one, else the default level.
  ZOL_NODISCARD LoggingLevel level() const;
  /// @brief True when a line at @p level would be written: @p level is not kOff and not above level().
  ZOL_NODISCARD bool IsEnabled(LoggingLevel level) const;
  /// @brief Writes @p message at @p level to the current sink when that level is enabled.
  void Log(LoggingLevel level, zol::string_view message) const;

 private:
  // Marks "no level of its own"; above every real level.
  static constexpr std::uint8_t kNoOwnLevel = 0xFFU;

  std::string id_;
  std::string description_;
  // Atomic because a context may be shared with a service thread that logs while the owner changes the level.
  std::atomic<std::uint8_t> own_level_{kNoOwnLevel};
};

/// @brief A sink that keeps every line in memory, for tests. Thread-safe.
class CapturingSink : public Sink {
 public:
  /// @brief One captured line, with owned copies of its text.
  struct Line {
    LoggingLevel level;
    std::string context_id;
    std::string message;
  };

  void Write(const LogRecord& record) override;

  /// @brief A copy of the lines captured so far, oldest first.
  std::vector<Line> lines() const;
  /// @brief Forgets every captured line.
  void Clear();
  /// @brief True when a line with exactly @p message was captured at @p level.
  bool Contains(LoggingLevel level, zol::string_view message) const;
  /// @brief How many lines with exactly @p message were captured, at any level.
  std::size_t Count(zol::string_view message) const;

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;
};

/// @brief Installs a sink for its own lifetime and restores the previous one afterwards.
class ScopedSink {
 public:
  /// @brief Installs @p sink (null: the stderr sink).
  explicit ScopedSink(Sink* sink) : previous_(SetSink(sink)) {}
  ~ScopedSink() { SetSink(previous_); }
  ScopedSink(const ScopedSink&) = delete;
  ScopedSink(ScopedSink&&) = delete;
  ScopedSink& operator=(const ScopedSink&) = delete;
  ScopedSink& operator=(ScopedSink&&) = delete;

 private:
  Sink* previous_;
};

}  // namespace log
}  // namespace zol

#endif  // ZOL_LOG_LOGGING_H
