#ifndef ZOL_AFW_CORE_SIGNAL_PROPERTY_STATUS_H
#define ZOL_AFW_CORE_SIGNAL_PROPERTY_STATUS_H

#include <cstdint>

namespace zol {
namespace afw {
namespace core {

/// @brief Status of one read of a signal property.
///
/// Positive values describe data that passed the end-to-end check (or needs none); negative values describe
/// data that must not be used. kNotAvailable means nothing was received yet.
enum class SignalPropertyStatusCode : std::int32_t {
  kNotAvailable = 0,
  kE2eOk = 1,
  kE2eNoNewData = 2,
  kNoNewData = 3,
  kDataUpdated = 4,
  kDataModified = 5,
  kE2eWrongCRC = -1,
  kE2eRepeated = -2,
  kE2eWrongSequence = -3,
  kLostComm = -4,
};

/// @brief The status that accompanies a signal property's value.
struct SignalPropertyStatus {
  SignalPropertyStatusCode status_code_{SignalPropertyStatusCode::kNotAvailable};
};

/// @brief The enumerator's name ("kE2eOk", ...), or "unknown" for a value without a name.
const char* ToString(SignalPropertyStatusCode code);

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_SIGNAL_PROPERTY_STATUS_H
