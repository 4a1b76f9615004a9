// A platform log context with a level check and placeholder formatting into a fixed stack buffer.
#ifndef FSRL_COMMON_UTILS_LOG_LOGGING_WRAPPER_H
#define FSRL_COMMON_UTILS_LOG_LOGGING_WRAPPER_H

#include <array>
#include <cstddef>

#include "zol/format/format.h"
#include "zol/log/logging.h"
#include "zol/nodiscard.h"
#include "zol/string_view.h"

/// Owns one platform log context and logs plain or `{}`-formatted messages through it.
///
/// Formatting happens only when the message's level is enabled on the context, so debug lines on the input cycle
/// cost a level check and nothing else while debug logging is off. Formatted messages are built in a 512-byte buffer
/// on the stack (no allocation); anything beyond 511 characters is cut off.
class LoggingWrapper {
 public:
  /// Size of the stack buffer a formatted message is built in, terminating NUL included.
  static constexpr std::size_t kMessageBufferSize = 512U;

  /// Creates the log context with its application id (e.g. "FLDM") and description.
  LoggingWrapper(zol::string_view application_id, zol::string_view description);

  LoggingWrapper(const LoggingWrapper&) = delete;
  LoggingWrapper& operator=(const LoggingWrapper&) = delete;
  LoggingWrapper(LoggingWrapper&&) = delete;
  LoggingWrapper& operator=(LoggingWrapper&&) = delete;
  ~LoggingWrapper() = default;

  /// Logs `message` as it is at error level.
  void LogError(zol::string_view message) const;
  /// Replaces the `{}` placeholders of `format` by the arguments and logs the result at error level.
  template <typename Arg, typename... Args>
  void LogError(zol::string_view format, const Arg& arg, const Args&... args) const {
    LogFormatted(zol::log::LoggingLevel::kError, format, arg, args...);
  }

  /// Logs `message` as it is at warning level.
  void LogWarn(zol::string_view message) const;
  /// Replaces the `{}` placeholders of `format` by the arguments and logs the result at warning level.
  template <typename Arg, typename... Args>
  void LogWarn(zol::string_view format, const Arg& arg, const Args&... args) const {
    LogFormatted(zol::log::LoggingLevel::kWarn, format, arg, args...);
  }

  /// Logs `message` as it is at debug level.
  void LogDebug(zol::string_view message) const;
  /// Replaces the `{}` placeholders of `format` by the arguments and logs the result at debug level.
  ///
  /// Arguments without a placeholder are ignored, so `LogDebug("Initialized detections for scan: ", id)` logs the
  /// text alone.
  template <typename Arg, typename... Args>
  void LogDebug(zol::string_view format, const Arg& arg, const Args&... args) const {
    LogFormatted(zol::log::LoggingLevel::kDebug, format, arg, args...);
  }

  /// True when messages of `level` reach the sink through this context.
  ZOL_NODISCARD bool CheckIsLogLevelEnabled(zol::log::LoggingLevel level) const;

  /// The underlying context, e.g. to give it a level of its own.
  zol::log::Context& context() { return m_logging_context; }
  /// The underlying context.
  ZOL_NODISCARD const zol::log::Context& context() const { return m_logging_context; }

 private:
  template <typename... Args>
  void LogFormatted(zol::log::LoggingLevel level, zol::string_view format, const Args&... args) const {
    if (!m_logging_context.IsEnabled(level)) {
      return;
    }
    // Left uninitialised on purpose: the formatter writes and terminates the text, and clearing 512 bytes per line
    // would only cost time.
    std::array<char, kMessageBufferSize> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const std::size_t length = zol::format::FormatTo(buffer.data(), buffer.size(), format, args...);
    m_logging_context.Log(level, zol::string_view(buffer.data(), length));
  }

  zol::log::Context m_logging_context;
};

#endif  // FSRL_COMMON_UTILS_LOG_LOGGING_WRAPPER_H
