/// @file
/// @brief The signal communication service seen from the system integrator, producers and tests.
///
/// Clients use the C interface of zol/signalcomm/signal_comm.h. This class configures the service (which
/// groups exist), feeds it (transports and tools publish payloads), makes its asynchronous side
/// deterministic (FlushNotifications), tells alive supervision when data arrived, and lets tests make the
/// C functions fail on purpose.
#ifndef ZOL_SIGNALCOMM_SERVICE_H
#define ZOL_SIGNALCOMM_SERVICE_H

#include <cstddef>
#include <cstdint>

#include "zol/e2e/signal_database.h"
#include "zol/memory/span.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"
#include "zol/signalcomm/signal_comm.h"
#include "zol/string_view.h"

namespace zol {
namespace signalcomm {

/// @brief The process-wide signal communication service. Thread-safe.
///
/// @code
///   auto& service = zol::signalcomm::Service::Instance();
///   service.DefineSignalGroup("RadarStatus", 21);
///   const std::uint8_t payload[21] = {};
///   service.Publish("RadarStatus", payload);
///   service.FlushNotifications();   // every notification of that arrival has been delivered
/// @endcode
class Service {
 public:
  /// @brief The one service of the process.
  static Service& Instance();

  Service(const Service&) = delete;
  Service(Service&&) = delete;
  Service& operator=(const Service&) = delete;
  Service& operator=(Service&&) = delete;

  /// @name Configuration
  /// @{

  /// @brief Defines every group of a signal database: its name and a payload length of data_length / 8 bytes.
  ///
  /// Equivalent to DefineSignalGroup for each record, in order. A null @p groups with a @p count above 0 is
  /// ignored (and logged).
  void DefineSignalGroups(const SignalAdapter_SignalGroup* groups, std::size_t count);

  /// @brief Defines one group with a payload of @p length bytes and gives it a new identity.
  ///
  /// Until its first payload the group reads as all zeros of @p length bytes. Defining a known name again
  /// with the same length changes nothing; with another length, or with an empty name, it is ignored (and
  /// logged).
  void DefineSignalGroup(zol::string_view name, std::size_t length);

  /// @brief Forgets everything: groups, contexts, caches (their memory is returned), payloads, queued
  /// notifications, arrival statistics, call counts and injected failures; restarts started_at().
  ///
  /// For tests and tools. No other thread may use a context, a cache or a pointer into either during or
  /// after the call; a callback running at the time is waited for (unless Reset is called from inside it).
  void Reset();

  /// @brief The identity of the group called @p name, or 0 when there is none.
  ZOL_NODISCARD SignalComm_Name_t IdentityOf(zol::string_view name) const;

  /// @}
  /// @name Producer
  /// @{

  /// @brief Stores @p payload as the latest payload of group @p group_name.
  ///
  /// A payload longer than the group is cut to the group's length; a shorter one is kept as received (its
  /// length is recorded, the rest reads as zeros). Records the arrival time (zol::MonoClock::now()), counts
  /// the arrival and queues a notification for every context configured for the group: UPDATED always,
  /// MODIFIED when bytes or length differ from the previous payload (the first payload of a group always
  /// counts as modified).
  /// @return SIGNALCOMM_OK; SIGNALCOMM_E_NOT_FOUND for an unknown group; SIGNALCOMM_E_INVALID for a null
  /// payload pointer with a non-zero size.
  int Publish(zol::string_view group_name, zol::memory::span<const std::uint8_t> payload);

  /// @brief Publish() by the group's identity.
  int Publish(SignalComm_Name_t group, zol::memory::span<const std::uint8_t> payload);

  /// @brief Blocks until every notification queued before the call has been delivered (its callback has
  /// returned, or its context was destroyed).
  ///
  /// Called from inside a notification callback it returns at once, as waiting would never end.
  void FlushNotifications();

  /// @}
  /// @name Alive supervision
  /// @{

  /// @brief When the service started, or was last reset.
  ZOL_NODISCARD zol::MonoClock::time_point started_at() const;
  /// @brief True when any payload was published since the start or the last reset.
  ZOL_NODISCARD bool has_arrivals() const;
  /// @brief Time of the latest published payload of any group; started_at() when there is none.
  ZOL_NODISCARD zol::MonoClock::time_point last_arrival() const;
  /// @brief Number of payloads published since the start or the last reset, over all groups.
  ZOL_NODISCARD std::uint64_t arrival_count() const;

  /// @}
  /// @name Failure injection, for tests
  /// @{

  /// @brief Makes the @p nth_call-th call (1-based, counted from now) of the C function
  /// @p function_name (for example "SignalComm_SignalGroupCache_GetByIndex") return @p code without doing
  /// anything, not even checking its arguments.
  ///
  /// Each injection fires once. Several may wait for the same function. An unknown function name, an
  /// @p nth_call of 0 or a @p code that is not negative is ignored (and logged).
  void InjectFailure(zol::string_view function_name, std::size_t nth_call, int code);

  /// @brief Drops every injection that has not fired yet.
  void ClearInjections();

  /// @brief How often the C function @p function_name was called since the start or the last reset, failed
  /// and injected calls included; 0 for an unknown name.
  ZOL_NODISCARD std::size_t CallCount(zol::string_view function_name) const;

  /// @}

 private:
  Service() = default;
  ~Service() = default;
};

}  // namespace signalcomm
}  // namespace zol

#endif  // ZOL_SIGNALCOMM_SERVICE_H
