/// @file
/// @brief Device activation: components ask for devices to be active, and learn which devices are requested
/// active and which devices report errors.
///
/// A component holds a DeviceActivator (the client). The process-wide DeviceActivationService behind all clients
/// keeps the requests, the known devices and their errors; the system integrator, tools and tests configure and
/// drive it.
#ifndef DEVICE_ACTIVATOR_DEVICE_ACTIVATOR_H
#define DEVICE_ACTIVATOR_DEVICE_ACTIVATOR_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/status_or.h"
#include "zol/memory/static_function.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace device_activator {

/// @brief Longest device name the service knows; longer names are never a known device.
constexpr std::size_t kMaxDeviceNameLength = 64;

/// @brief An error a device reports.
enum class DeviceErrorCode : std::int32_t {
  kAliveTimeoutExceeded = 0,  ///< nothing arrived from the device for longer than its alive timeout
  kSecOCFailure = 1,          ///< secure onboard communication failed
};

/// @brief A device's name, at most kMaxDeviceNameLength characters.
using DeviceName = zol::pmr::string;
// The container types below are the platform's interface as declared, comparator included; a transparent one
// would be a different type to every caller that names them.
// NOLINTBEGIN(modernize-use-transparent-functors)
/// @brief Requested state per device: true while any component requests the device active.
using DeviceStates = std::map<DeviceName, bool, std::less<DeviceName>,
                              zol::pmr::polymorphic_allocator<std::pair<const DeviceName, bool>>>;
/// @brief The errors one device reports.
using DeviceErrorSet =
    std::set<DeviceErrorCode, std::less<DeviceErrorCode>, zol::pmr::polymorphic_allocator<DeviceErrorCode>>;
/// @brief Current errors per device (an empty set for a device without errors).
using DeviceErrors = std::map<DeviceName, DeviceErrorSet, std::less<DeviceName>,
                              zol::pmr::polymorphic_allocator<std::pair<const DeviceName, DeviceErrorSet>>>;
// NOLINTEND(modernize-use-transparent-functors)

namespace detail {
class ClientState;
}  // namespace detail

/// @brief A component's connection to the device activation service.
///
/// Requests are held per requesting component, identified by the qualified name of the parent given to Create:
/// a device is requested active while any component requests it, and a component that requests a device twice
/// counts once. Requests outlive the client: destroying it cancels nothing.
///
/// One client is used from one thread, like the component holding it; any number of clients on any threads may
/// use the service at once. Subscriber callbacks run synchronously on the thread that made the change (a
/// request, or DeviceActivationService::NotifySubscribers), never while the service is locked, so a callback may
/// call the service again; what such a call changes is notified after the callback has returned.
///
/// @code
///   auto created = device_activator::DeviceActivator::Create(this);
///   if (created.ok()) {
///     device_activator::DeviceActivator client = std::move(created).value();
///     if (client.Init() == zol::afw::core::ErrorCode::kSuccess) {
///       client.RequestDeviceActive(device_activator::DeviceName("FSRL"));
///     }
///   }
/// @endcode
class DeviceActivator {
 public:
  /// @brief A client without connection: every operation fails with kNotAvailable and reaches no service, except
  /// GetRequestedDeviceErrors, which answers an empty map (an unconnected client knows of no device errors).
  DeviceActivator();
  /// @brief A client for the component @p parent (its qualified_name(); "" for null), not yet initialised.
  ///
  /// Fails only when a failure is injected (DeviceActivationService::InjectFailure).
  static zol::afw::core::StatusOr<DeviceActivator> Create(const zol::afw::core::ContextualObject* parent);

  /// @brief Takes over @p other's connection; @p other is left like a client from the default constructor.
  DeviceActivator(DeviceActivator&& other) noexcept;
  /// @brief Disconnects the client held so far (its subscriptions end), then takes over @p other's.
  DeviceActivator& operator=(DeviceActivator&& other) noexcept;
  DeviceActivator(const DeviceActivator&) = delete;
  DeviceActivator& operator=(const DeviceActivator&) = delete;
  /// @brief Disconnects: the subscriptions end; the component's requests stay in force.
  ~DeviceActivator();

  /// @brief Connects to the service. Until then every other operation fails with kBadState, except
  /// GetRequestedDeviceErrors, which answers an empty map.
  /// @return kSuccess, also when already connected; kNotAvailable for a client from the default constructor;
  /// an injected code.
  zol::afw::core::ErrorCode Init();

  /// @brief Requests @p device active on behalf of this client's component.
  /// @return kSuccess (also when the component requests it already); kNotFound for an unknown device.
  zol::afw::core::ErrorCode RequestDeviceActive(const DeviceName& device);
  /// @brief Withdraws this component's request for @p device.
  /// @return kSuccess, also when the component did not request it; kNotFound for an unknown device.
  zol::afw::core::ErrorCode CancelDeviceActiveRequest(const DeviceName& device);

  /// @brief Every device known to the service: true while any component requests it.
  zol::afw::core::StatusOr<DeviceStates> GetRequestedDeviceStates() const;
  /// @brief Every device known to the service with its current errors (an empty set when it has none).
  ///
  /// A client that is not connected (default constructed, Init not called or failed) answers an empty map with
  /// kSuccess: it knows of no device and so of no error, and a component polling it each cycle stays quiet
  /// about a connection problem it was told of once, at Init. Fails only with an injected code.
  zol::afw::core::StatusOr<DeviceErrors> GetRequestedDeviceErrors() const;
  /// @brief True when every device this client requested (and did not cancel) is requested active; true for none.
  ///
  /// False once another client of the same component cancels the request, or the device is removed.
  ZOL_NODISCARD zol::afw::core::StatusOr<bool> GetRequestedDevicesAreActive() const;
  /// @brief True when no device this client requested (and did not cancel) reports an error; true for none.
  ZOL_NODISCARD zol::afw::core::StatusOr<bool> GetRequestedDevicesAreOk() const;

  /// @name Subscriptions
  /// Each callback runs when the service finds that the value changed since its previous evaluation for this
  /// client. Evaluations happen after a request that changed the requests, and on
  /// DeviceActivationService::NotifySubscribers(); the first one is made by Init. A client from the default
  /// constructor gives an inactive Subscription; a created client accepts subscribers before Init.
  /// @{
  zol::afw::core::Subscription SubscribeToRequestedDeviceStates(zol::memory::StaticFunction<void(), 16> callback);
  zol::afw::core::Subscription SubscribeToRequestedDeviceErrors(zol::memory::StaticFunction<void(), 16> callback);
  zol::afw::core::Subscription SubscribeToRequestedDevicesAreActive(zol::memory::StaticFunction<void(), 16> callback);
  zol::afw::core::Subscription SubscribeToRequestedDevicesAreOk(zol::memory::StaticFunction<void(), 16> callback);
  /// @}

 private:
  explicit DeviceActivator(std::shared_ptr<detail::ClientState> state);
  void Disconnect() noexcept;

  // Shared with the service's list of connected clients and with subscriptions, so that a notification in
  // flight on another thread, or a subscription handle, never outlives what it points at.
  std::shared_ptr<detail::ClientState> state_;
};

}  // namespace device_activator

#endif  // DEVICE_ACTIVATOR_DEVICE_ACTIVATOR_H
