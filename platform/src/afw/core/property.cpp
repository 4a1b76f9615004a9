#include "zol/afw/core/property.h"

namespace zol {
namespace afw {
namespace core {

// Out of line so that the vtables and type information live once, in the platform library.
Subscribable::~Subscribable() = default;

AbstractProperty::~AbstractProperty() = default;

GenericPropertyBase::GenericPropertyBase(const ContextualObject* parent, zol::string_view name,
                                         bool notify_on_invalidate, AvailabilityPredicate is_available,
                                         NotificationConfigurator configure_notification)
    : parent_(parent),
      name_(name.data(), name.size()),
      notify_on_invalidate_(notify_on_invalidate),
      is_available_(std::move(is_available)),
      configure_notification_(std::move(configure_notification)) {}

GenericPropertyBase::~GenericPropertyBase() = default;

Subscription GenericPropertyBase::Subscribe(zol::memory::StaticFunction<void(), 16> callback) {
  // The provider is asked to report new data only once somebody listens; before that it may stay quiet.
  if (notifier_.subscriber_count() == 0) {
    ConfigureNotification(NotificationConfiguration::When::kDefault);
  }
  return notifier_.Subscribe(std::move(callback));
}

void GenericPropertyBase::Invalidate() {
  valid_.store(false, std::memory_order_release);
  if (notify_on_invalidate_) {
    notifier_.Notify();
  }
}

void GenericPropertyBase::Reset() {
  // Each of these may reach into the provider, which may be gone once it has let go of the property.
  is_available_ = nullptr;
  attribute_test_ = nullptr;
  configure_notification_ = nullptr;
}

void GenericPropertyBase::ConfigureNotification(NotificationConfiguration::When when) {
  if (configure_notification_) {
    configure_notification_(when);
  }
}

void GenericPropertyBase::set_attribute_test(AttributeTest attribute_test) {
  attribute_test_ = std::move(attribute_test);
}

bool GenericPropertyBase::HasAccess(PropertyAttribute attribute) const {
  return !attribute_test_ || attribute_test_(attribute);
}

bool GenericPropertyBase::IsAvailable() const { return !is_available_ || is_available_(); }

ErrorCode GenericPropertyBase::CheckAccess(PropertyAttribute attribute) const {
  if (!HasAccess(attribute)) {
    return ErrorCode::kAccessDenied;
  }
  if (!IsAvailable()) {
    return ErrorCode::kNotAvailable;
  }
  return ErrorCode::kSuccess;
}

}  // namespace core
}  // namespace afw
}  // namespace zol
