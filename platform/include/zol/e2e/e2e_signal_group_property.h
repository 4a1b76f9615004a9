/// @file
/// @brief A signal group property that also hands out the group's raw, end-to-end protected bytes.
#ifndef ZOL_E2E_E2E_SIGNAL_GROUP_PROPERTY_H
#define ZOL_E2E_E2E_SIGNAL_GROUP_PROPERTY_H

#include <functional>
#include <utility>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/property.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/memory/span.h"
#include "zol/string_view.h"

namespace zol {
namespace e2e {

/// @brief A SignalGroupProperty of an end-to-end protected signal group: besides the checked and decoded record,
/// the group's payload as received can be read (and, for a produced group, written) as bytes.
///
/// The raw accesses go through the same checks as the typed ones: no function gives kNotImplemented, a denied
/// access kAccessDenied, an unavailable property kNotAvailable.
template <typename T>
class E2ESignalGroupProperty : public zol::afw::core::SignalGroupProperty<T> {
  using Base = zol::afw::core::SignalGroupProperty<T>;

 public:
  /// @brief Points @p bytes at the payload (valid until the next read of the group) and fills the status when
  /// the pointer is not null.
  using GetRawValueFunction = std::function<zol::afw::core::ErrorCode(zol::memory::span<const unsigned char>&,
                                                                      zol::afw::core::SignalPropertyStatus*)>;
  /// @brief Sends a payload.
  using SetRawValueFunction = std::function<zol::afw::core::ErrorCode(zol::memory::span<const unsigned char>)>;

  /// @brief See SignalGroupProperty; @p get_raw_value_func and @p set_raw_value_func may be empty.
  E2ESignalGroupProperty(const zol::afw::core::ContextualObject* parent, zol::string_view name,
                         bool notify_on_invalidate, typename Base::GetValueFunction get_value_func,
                         typename Base::SetValueFunction set_value_func, GetRawValueFunction get_raw_value_func,
                         SetRawValueFunction set_raw_value_func,
                         typename Base::AvailabilityPredicate is_available = nullptr,
                         typename Base::NotificationConfigurator configure_notification = nullptr)
      : Base(parent, name, notify_on_invalidate, std::move(get_value_func), std::move(set_value_func),
             std::move(is_available), std::move(configure_notification)),
        get_raw_value_func_(std::move(get_raw_value_func)),
        set_raw_value_func_(std::move(set_raw_value_func)) {}

  /// @brief Reads the raw payload into @p bytes and, when @p status is not null, its status.
  zol::afw::core::ErrorCode get_raw(zol::memory::span<const unsigned char>& bytes,
                                    zol::afw::core::SignalPropertyStatus* status = nullptr) const {
    if (!get_raw_value_func_) {
      return zol::afw::core::ErrorCode::kNotImplemented;
    }
    const zol::afw::core::ErrorCode allowed = this->CheckAccess(zol::afw::core::PropertyAttribute::kReadAccess);
    if (allowed != zol::afw::core::ErrorCode::kSuccess) {
      return allowed;
    }
    const zol::afw::core::ErrorCode result = get_raw_value_func_(bytes, status);
    this->RecordRead(result);
    return result;
  }

  /// @brief Writes the raw payload @p bytes.
  zol::afw::core::ErrorCode set_raw(zol::memory::span<const unsigned char> bytes) {
    if (!set_raw_value_func_) {
      return zol::afw::core::ErrorCode::kNotImplemented;
    }
    const zol::afw::core::ErrorCode allowed = this->CheckAccess(zol::afw::core::PropertyAttribute::kWriteAccess);
    if (allowed != zol::afw::core::ErrorCode::kSuccess) {
      return allowed;
    }
    return set_raw_value_func_(bytes);
  }

  /// @brief Also empties the raw read and write functions.
  void Reset() override {
    get_raw_value_func_ = nullptr;
    set_raw_value_func_ = nullptr;
    Base::Reset();
  }

 protected:
  GetRawValueFunction get_raw_value_func_;
  SetRawValueFunction set_raw_value_func_;
};

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_E2E_SIGNAL_GROUP_PROPERTY_H
