#include "zol/mono_clock.h"

#include <atomic>

namespace zol {

namespace {

// Plain atomics with constant initialisation: they are ready before any static constructor of another library
// can read the clock, and they have nothing to destroy at exit.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide clock switch
std::atomic<bool> g_manual{false};
std::atomic<std::int64_t> g_manual_ns{0};
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

constexpr bool MonoClock::is_steady;

MonoClock::time_point MonoClock::now() noexcept {
  if (g_manual.load(std::memory_order_acquire)) {
    return time_point{duration{g_manual_ns.load(std::memory_order_acquire)}};
  }
  return time_point{std::chrono::duration_cast<duration>(std::chrono::steady_clock::now().time_since_epoch())};
}

void MonoClock::UseManual(time_point start) noexcept {
  // Time first, then the mode: a reader that sees manual mode also sees the start time.
  g_manual_ns.store(start.time_since_epoch().count(), std::memory_order_release);
  g_manual.store(true, std::memory_order_release);
}

void MonoClock::SetManual(time_point t) noexcept {
  g_manual_ns.store(t.time_since_epoch().count(), std::memory_order_release);
}

void MonoClock::AdvanceManual(duration d) noexcept { g_manual_ns.fetch_add(d.count(), std::memory_order_acq_rel); }

void MonoClock::UseSystem() noexcept { g_manual.store(false, std::memory_order_release); }

bool MonoClock::IsManual() noexcept { return g_manual.load(std::memory_order_acquire); }

ScopedManualClock::ScopedManualClock(MonoClock::time_point start) { MonoClock::UseManual(start); }

ScopedManualClock::~ScopedManualClock() { MonoClock::UseSystem(); }

// The scope's members stay members: callers hold the scope as the clock they drive, and a platform whose manual
// clock is per scope keeps its state there.
// NOLINTBEGIN(readability-convert-member-functions-to-static)
void ScopedManualClock::Set(MonoClock::time_point t) { MonoClock::SetManual(t); }

void ScopedManualClock::Advance(MonoClock::duration d) { MonoClock::AdvanceManual(d); }

MonoClock::time_point ScopedManualClock::now() const { return MonoClock::now(); }
// NOLINTEND(readability-convert-member-functions-to-static)

}  // namespace zol
