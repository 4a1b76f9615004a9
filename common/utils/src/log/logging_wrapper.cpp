#include "log/logging_wrapper.h"

LoggingWrapper::LoggingWrapper(zol::string_view application_id, zol::string_view description)
    : m_logging_context(application_id, description) {}

void LoggingWrapper::LogError(zol::string_view message) const {
  m_logging_context.Log(zol::log::LoggingLevel::kError, message);
}

void LoggingWrapper::LogWarn(zol::string_view message) const {
  m_logging_context.Log(zol::log::LoggingLevel::kWarn, message);
}

void LoggingWrapper::LogDebug(zol::string_view message) const {
  m_logging_context.Log(zol::log::LoggingLevel::kDebug, message);
}

bool LoggingWrapper::CheckIsLogLevelEnabled(zol::log::LoggingLevel level) const {
  return m_logging_context.IsEnabled(level);
}
