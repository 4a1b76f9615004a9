/// @file
/// @brief The device activation service seen from tools and tests: which devices exist, the errors they report,
/// the alive timeout, and the call counting and failure injection of its clients' operations.
#ifndef DEVICE_ACTIVATOR_DEVICE_ACTIVATION_SERVICE_H
#define DEVICE_ACTIVATOR_DEVICE_ACTIVATION_SERVICE_H

#include <cstddef>

#include "device_activator/device_activator.h"
#include "zol/afw/core/error_code.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"
#include "zol/string_view.h"

namespace device_activator {

/// @brief The process-wide service behind all clients. Thread-safe.
///
/// Knows a set of devices (by default only "FSRL"), the requests per component, and errors per device: errors
/// raised by tools and tests, and for "FSRL" the alive supervision. "FSRL" reports kAliveTimeoutExceeded
/// exactly while MonoClock::now() minus the later of the signal communication service's started_at() and its
/// last_arrival() is greater than the alive timeout. The supervision has no thread of its own: it is evaluated
/// whenever errors are asked for.
///
/// The maps and strings handed to clients come from the default memory resource current at the call; the
/// service keeps its own bookkeeping on the global heap, so that it never holds memory of a resource that a
/// test installed for a while.
class DeviceActivationService {
 public:
  /// @brief The operations of the clients, for call counting and failure injection.
  enum class Operation {
    kCreate,
    kInit,
    kRequestDeviceActive,
    kCancelDeviceActiveRequest,
    kGetRequestedDeviceStates,
    kGetRequestedDeviceErrors,
    kGetRequestedDevicesAreActive,
    kGetRequestedDevicesAreOk,
  };

  /// @brief The one service of the process.
  static DeviceActivationService& Instance();

  DeviceActivationService(const DeviceActivationService&) = delete;
  DeviceActivationService(DeviceActivationService&&) = delete;
  DeviceActivationService& operator=(const DeviceActivationService&) = delete;
  DeviceActivationService& operator=(DeviceActivationService&&) = delete;

  /// @brief Back to the defaults: one device "FSRL", alive timeout 200 ms, no requests, no raised errors, no
  /// injections, call counts zero.
  ///
  /// Connected clients stay connected and forget what they requested; nobody is notified (the next evaluation
  /// reports what changed). The signal communication service is not touched (its start time is
  /// what an idle "FSRL" is measured from).
  void Reset();

  /// @brief Adds the device @p name. A known name changes nothing; an empty name or one longer than
  /// kMaxDeviceNameLength is ignored (and logged).
  void DefineDevice(zol::string_view name);
  /// @brief Forgets the device @p name together with its requests and raised errors; unknown names are ignored.
  void RemoveDevice(zol::string_view name);
  /// @brief The alive timeout of "FSRL" (default 200 ms).
  void SetAliveTimeout(zol::MonoClock::duration timeout);

  /// @brief Makes @p device report @p code until ClearError; an unknown device is ignored (and logged).
  ///
  /// Raised errors add to the alive supervision's: clearing a raised kAliveTimeoutExceeded of "FSRL" leaves the
  /// supervision's own verdict in place.
  void RaiseError(zol::string_view device, DeviceErrorCode code);
  /// @brief Withdraws an error raised with RaiseError.
  void ClearError(zol::string_view device, DeviceErrorCode code);

  /// @brief Makes the @p nth_call-th call of @p op (1-based, counted from now, over all clients) return
  /// @p code without doing anything.
  ///
  /// Each injection fires once; several may wait for the same operation. An @p nth_call of 0 or a @p code that
  /// is not negative is ignored (and logged). Calls on clients from the default constructor do not reach the
  /// service and are not counted.
  void InjectFailure(Operation op, std::size_t nth_call, zol::afw::core::ErrorCode code);
  /// @brief Drops every injection that has not fired yet.
  void ClearInjections();
  /// @brief How often @p op reached the service since the last Reset, failed and injected calls included.
  ZOL_NODISCARD std::size_t CallCount(Operation op) const;
  /// @brief The number of components currently requesting @p device (0 for an unknown device).
  ZOL_NODISCARD std::size_t RequestCount(zol::string_view device) const;

  /// @brief Evaluates every value for every connected client and notifies the subscribers of the values that
  /// changed since their previous evaluation. Requests that change something do the same.
  void NotifySubscribers();

 private:
  DeviceActivationService() = default;
  ~DeviceActivationService() = default;
};

}  // namespace device_activator

#endif  // DEVICE_ACTIVATOR_DEVICE_ACTIVATION_SERVICE_H
