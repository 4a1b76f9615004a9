/// @file
/// @brief The property family: named, subscribable values whose reading and writing a provider supplies.
#ifndef ZOL_AFW_CORE_PROPERTY_H
#define ZOL_AFW_CORE_PROPERTY_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notification_configuration.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/memory/static_function.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace zol {
namespace afw {
namespace core {

/// @brief An access a property may grant or deny.
enum class PropertyAttribute : std::uint32_t {
  kNone = 0,
  kReadAccess = 1,
  kWriteAccess = 2,
};

/// @brief Something that tells subscribers that it changed.
class Subscribable {
 public:
  /// @brief A subscriber's callback; held inline, never allocates.
  using Callback = zol::memory::StaticFunction<void(), 16>;

  virtual ~Subscribable();

  /// @brief Adds a subscriber; @p callback runs on each notification until the returned Subscription ends.
  virtual Subscription Subscribe(zol::memory::StaticFunction<void(), 16> callback) = 0;

 protected:
  Subscribable() = default;
  Subscribable(const Subscribable&) = default;
  Subscribable(Subscribable&&) = default;
  Subscribable& operator=(const Subscribable&) = default;
  Subscribable& operator=(Subscribable&&) = default;
};

/// @brief A property of any value type, as seen by code that only needs to subscribe to it or invalidate it
/// (a task that tells a batch of properties that new data is available, for example).
class AbstractProperty : public Subscribable {
 public:
  ~AbstractProperty() override;

  /// @brief Tells the property that its value is stale: new data can be read.
  virtual void Invalidate() = 0;

 protected:
  AbstractProperty() = default;
  AbstractProperty(const AbstractProperty&) = default;
  AbstractProperty(AbstractProperty&&) = default;
  AbstractProperty& operator=(const AbstractProperty&) = default;
  AbstractProperty& operator=(AbstractProperty&&) = default;
};

/// @brief What all properties share, independent of the value type: name, subscribers, validity, and the
/// provider's hooks for availability, access and notification configuration.
///
/// Like the notifier it uses, a property is meant to be used from one execution context: subscribing,
/// invalidating and reading happen there. Only the validity mark may be read from anywhere.
class GenericPropertyBase : public AbstractProperty {
 public:
  /// @brief Tells whether the property can be read or written at all right now.
  using AvailabilityPredicate = std::function<bool()>;
  /// @brief Tells whether an access is granted.
  using AttributeTest = std::function<bool(PropertyAttribute)>;
  /// @brief Tells the provider when subscribers want to hear about new data.
  using NotificationConfigurator = std::function<void(NotificationConfiguration::When)>;

  /// @brief A property named @p name below @p parent (may be null; the parent is not owned).
  /// @param notify_on_invalidate When true, Invalidate() notifies the subscribers; when false it only marks the
  ///   value stale and subscribers learn nothing.
  /// @param is_available Optional; while it answers false, reads and writes fail with kNotAvailable.
  /// @param configure_notification Optional; called with When::kDefault when the first subscriber arrives and
  ///   with whatever ConfigureNotification() is given.
  GenericPropertyBase(const ContextualObject* parent, zol::string_view name, bool notify_on_invalidate,
                      AvailabilityPredicate is_available, NotificationConfigurator configure_notification);
  ~GenericPropertyBase() override;
  GenericPropertyBase(const GenericPropertyBase&) = delete;
  GenericPropertyBase(GenericPropertyBase&&) = delete;
  GenericPropertyBase& operator=(const GenericPropertyBase&) = delete;
  GenericPropertyBase& operator=(GenericPropertyBase&&) = delete;

  /// @brief Adds a subscriber. When the property had none, the notification configurator is first called with
  /// When::kDefault, so that the provider starts reporting new data.
  Subscription Subscribe(zol::memory::StaticFunction<void(), 16> callback) override;

  /// @brief Marks the value stale and, when the property notifies on invalidation, calls every subscriber
  /// synchronously, in subscription order.
  void Invalidate() override;

  /// @brief Disconnects the property from its provider: drops the availability predicate, the attribute test and
  /// the notification configurator. Derived properties also drop their read and write functions.
  virtual void Reset();

  /// @brief Passes @p when to the notification configurator (nothing happens without one).
  void ConfigureNotification(NotificationConfiguration::When when);

  /// @brief Installs the test that decides which accesses are granted; an empty test grants every access.
  void set_attribute_test(AttributeTest attribute_test);

  /// @brief The parent given at construction, or null.
  const ContextualObject* parent() const { return parent_; }
  /// @brief The property's name.
  zol::string_view name() const { return {name_.data(), name_.size()}; }
  /// @brief The flag given at construction: whether Invalidate() notifies the subscribers.
  bool notify_on_invalidate() const { return notify_on_invalidate_; }
  /// @brief True from a successful read until the next Invalidate() or failed read; false before the first read.
  bool is_valid() const { return valid_.load(std::memory_order_acquire); }
  /// @brief The number of subscribers.
  std::size_t subscriber_count() const { return notifier_.subscriber_count(); }

  /// @brief True when no attribute test is installed or the test grants @p attribute.
  bool HasAccess(PropertyAttribute attribute) const;
  /// @brief True when no availability predicate is installed or the predicate answers true.
  bool IsAvailable() const;

 protected:
  /// @brief The checks every access goes through before the provider's function is called: kAccessDenied when
  /// the attribute test denies @p attribute, else kNotAvailable when the property is not available, else
  /// kSuccess.
  ErrorCode CheckAccess(PropertyAttribute attribute) const;
  /// @brief Records the outcome of a read: valid after a success, stale after a failure.
  void RecordRead(ErrorCode result) const { valid_.store(IsSuccess(result), std::memory_order_release); }

 private:
  const ContextualObject* parent_;
  zol::pmr::string name_;
  bool notify_on_invalidate_;
  AvailabilityPredicate is_available_;
  AttributeTest attribute_test_;
  NotificationConfigurator configure_notification_;
  Notifier<void()> notifier_;
  // Written by reads and by invalidation, which may come from different threads in tools that drive their own
  // cycle; an atomic keeps the mark itself sound.
  mutable std::atomic<bool> valid_{false};
};

/// @brief A property whose value is a signal group record of type T, read (and possibly written) through
/// functions the provider supplies.
///
/// A read goes through, in this order: no read function gives kNotImplemented; an attribute test that denies
/// kReadAccess gives kAccessDenied; an availability predicate answering false gives kNotAvailable; a null value
/// pointer gives kBadArgument; otherwise the read function fills the value (and the status, when asked for) and
/// its code is returned as it is. Writing is the same with kWriteAccess and the write function.
template <typename T>
class SignalGroupProperty : public GenericPropertyBase {
 public:
  using value_type = T;
  /// @brief Fills the value and, when the pointer is not null, the status of the read.
  using GetValueFunction = std::function<ErrorCode(T*, SignalPropertyStatus*)>;
  /// @brief Sends a value.
  using SetValueFunction = std::function<ErrorCode(const T*)>;

  /// @brief See GenericPropertyBase for @p parent, @p name, @p notify_on_invalidate, @p is_available and
  /// @p configure_notification. An empty @p get_value_func or @p set_value_func makes the property
  /// unreadable or unwritable (kNotImplemented).
  SignalGroupProperty(const ContextualObject* parent, zol::string_view name, bool notify_on_invalidate,
                      GetValueFunction get_value_func, SetValueFunction set_value_func,
                      AvailabilityPredicate is_available = nullptr,
                      NotificationConfigurator configure_notification = nullptr)
      : GenericPropertyBase(parent, name, notify_on_invalidate, std::move(is_available),
                            std::move(configure_notification)),
        get_value_func_(std::move(get_value_func)),
        set_value_func_(std::move(set_value_func)) {}

  /// @brief Reads the current value into @p value and, when @p status is not null, its status.
  ErrorCode get(T* value, SignalPropertyStatus* status = nullptr) const {
    if (!get_value_func_) {
      return ErrorCode::kNotImplemented;
    }
    const ErrorCode allowed = CheckAccess(PropertyAttribute::kReadAccess);
    if (allowed != ErrorCode::kSuccess) {
      return allowed;
    }
    if (value == nullptr) {
      return ErrorCode::kBadArgument;
    }
    const ErrorCode result = get_value_func_(value, status);
    RecordRead(result);
    return result;
  }

  /// @brief Writes @p value.
  ErrorCode set(const T* value) {
    if (!set_value_func_) {
      return ErrorCode::kNotImplemented;
    }
    const ErrorCode allowed = CheckAccess(PropertyAttribute::kWriteAccess);
    if (allowed != ErrorCode::kSuccess) {
      return allowed;
    }
    if (value == nullptr) {
      return ErrorCode::kBadArgument;
    }
    return set_value_func_(value);
  }

  /// @brief Disconnects the property from its provider: empties the read and write functions (and the base's
  /// hooks). Reads and writes answer kNotImplemented afterwards; subscribers stay.
  void Reset() override {
    get_value_func_ = nullptr;
    set_value_func_ = nullptr;
    GenericPropertyBase::Reset();
  }

 protected:
  GetValueFunction get_value_func_;
  SetValueFunction set_value_func_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_PROPERTY_H
