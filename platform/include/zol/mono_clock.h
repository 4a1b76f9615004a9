#ifndef ZOL_MONO_CLOCK_H
#define ZOL_MONO_CLOCK_H

#include <chrono>
#include <cstdint>
#include <ratio>

#include "zol/nodiscard.h"

namespace zol {

/// @brief The platform's monotonic clock, in signed 64-bit nanoseconds.
///
/// Normally it reads the system's steady clock. In manual mode it returns a time that only moves when told
/// to, so that tests and replays of recordings run in virtual time instead of waiting. The mode is
/// process-wide: every library linked against the platform sees the same time.
class MonoClock {
 public:
  using rep = std::int64_t;
  using period = std::nano;
  using duration = std::chrono::nanoseconds;
  using time_point = std::chrono::time_point<MonoClock, duration>;
  static constexpr bool is_steady = true;

  /// @brief The steady system time, or the manual time while manual mode is on.
  static time_point now() noexcept;

  /// @brief Switches to manual mode, starting at @p start. Thread-safe.
  static void UseManual(time_point start) noexcept;
  /// @brief Sets the manual time. Has no visible effect until manual mode is on.
  static void SetManual(time_point t) noexcept;
  /// @brief Moves the manual time by @p d (which may be negative; keeping time monotonic is the caller's job).
  static void AdvanceManual(duration d) noexcept;
  /// @brief Switches back to the steady system time.
  static void UseSystem() noexcept;
  /// @brief True while manual mode is on.
  static bool IsManual() noexcept;
};

/// @brief A point in time of the platform's monotonic clock.
using TimePoint = MonoClock::time_point;

/// @brief Puts the clock into manual mode for the lifetime of this object.
///
/// @code
///   zol::ScopedManualClock clock;                 // time is zero
///   clock.Advance(std::chrono::milliseconds(5));  // MonoClock::now() is 5 ms
/// @endcode
class ScopedManualClock {
 public:
  /// @brief Turns manual mode on, starting at @p start.
  explicit ScopedManualClock(MonoClock::time_point start = MonoClock::time_point{});
  /// @brief Turns manual mode off again (the clock reads the system time afterwards).
  ~ScopedManualClock();
  ScopedManualClock(const ScopedManualClock&) = delete;
  ScopedManualClock(ScopedManualClock&&) = delete;
  ScopedManualClock& operator=(const ScopedManualClock&) = delete;
  ScopedManualClock& operator=(ScopedManualClock&&) = delete;

  /// @brief Sets the manual time.
  void Set(MonoClock::time_point t);
  /// @brief Moves the manual time by @p d.
  void Advance(MonoClock::duration d);
  /// @brief The current (manual) time.
  ZOL_NODISCARD MonoClock::time_point now() const;
};

}  // namespace zol

#endif  // ZOL_MONO_CLOCK_H
