#ifndef ZOL_AFW_CORE_NOTIFICATION_CONFIGURATION_H
#define ZOL_AFW_CORE_NOTIFICATION_CONFIGURATION_H

#include <cstdint>

namespace zol {
namespace afw {
namespace core {

/// @brief How a signal or property reports new data to its subscribers.
class NotificationConfiguration {
 public:
  /// @brief When a subscriber is notified.
  enum class When : std::int32_t {
    kNever = 0,     ///< never; the reader polls
    kOnWrite = 1,   ///< on every reception, even when the value is unchanged
    kOnChange = 2,  ///< only when the value differs from the last one
    kDefault = 2,   ///< what a property uses unless configured otherwise: on change
  };
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_NOTIFICATION_CONFIGURATION_H
