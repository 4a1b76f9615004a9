// Replay concern: the time line: the cycle grid, and how the recording's time stamps map onto the virtual clock.
#ifndef FSRL_SRC_REPLAY_TIMELINE_H
#define FSRL_SRC_REPLAY_TIMELINE_H

#include <cstdint>
#include <limits>

namespace fsrl::internal {

// Time stamps come from the log and may lie anywhere in the clock's range: sums and differences stop at its ends.
inline std::int64_t SaturatingAdd(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_add_overflow(a, b, &result)) {
    return b > 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
  }
  return result;
}

inline std::int64_t SaturatingSub(std::int64_t a, std::int64_t b) {
  std::int64_t result = 0;
  if (__builtin_sub_overflow(a, b, &result)) {
    return b < 0 ? std::numeric_limits<std::int64_t>::max() : std::numeric_limits<std::int64_t>::min();
  }
  return result;
}

// The platform clock runs on the replay's own (virtual) time base, which equals the recording's until the first
// clock jump; afterwards the two differ by what the jumps left out or took back. Cycle k runs at base + k x period.
class Timeline {
 public:
  explicit Timeline(std::int64_t cycle_ns) : cycle_ns_(cycle_ns) {}

  void Start(std::int64_t t0) {
    base_ = t0;
    stamp_ref_ = t0;
    virtual_ref_ = t0;
    next_cycle_ = 1;
  }

  // base + k x period, held at the end of the clock's range: a log may carry time stamps up to the largest one
  // the clock can show, and the cycles after it must not wrap round into the past.
  std::int64_t NextCycleTime() const {
    const std::uint64_t room = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - base_);
    const std::uint64_t period = static_cast<std::uint64_t>(cycle_ns_);
    if (next_cycle_ > room / period) {
      return std::numeric_limits<std::int64_t>::max();
    }
    return base_ + static_cast<std::int64_t>(next_cycle_ * period);
  }

  // The time of the next cycle, which is then the one after it.
  std::int64_t TakeNextCycle() {
    const std::int64_t t = NextCycleTime();
    ++next_cycle_;
    return t;
  }

  std::int64_t Virtual(std::int64_t stamp) const {
    return SaturatingAdd(virtual_ref_, SaturatingSub(stamp, stamp_ref_));
  }
  std::int64_t Recording(std::int64_t virtual_ns) const {
    return SaturatingAdd(stamp_ref_, SaturatingSub(virtual_ns, virtual_ref_));
  }

  // The cycles start again from the frame stamped @p stamp, as from t0, at the clock's current time @p now.
  void Rebase(std::int64_t stamp, std::int64_t now) {
    stamp_ref_ = stamp;
    virtual_ref_ = now;
    base_ = now;
    next_cycle_ = 1;
  }

 private:
  std::int64_t cycle_ns_;
  std::int64_t base_ = 0;         // virtual time the cycles count from: t0, or the frame after a clock jump
  std::int64_t stamp_ref_ = 0;    // a recording time stamp ...
  std::int64_t virtual_ref_ = 0;  // ... and the virtual time it is replayed at
  std::uint64_t next_cycle_ = 1;
};

}  // namespace fsrl::internal

#endif  // FSRL_SRC_REPLAY_TIMELINE_H
