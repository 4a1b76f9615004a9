// Pieces the frame writers share: the calendar time ASC and BLF headers carry, and the writers' factories. Not
// part of the toolkit's interface.
#ifndef FSRL_SRC_FRAME_WRITER_INTERNAL_H
#define FSRL_SRC_FRAME_WRITER_INTERNAL_H

#include <cstdint>
#include <cstdio>
#include <memory>

#include "fsrl/frame_writer.h"

namespace fsrl {
namespace detail {

constexpr std::int64_t kNsPerMillisecond = 1000000;

/// @p ns rounded down to a whole millisecond (towards minus infinity, also for times before 1970).
inline std::int64_t FloorToMillisecond(std::int64_t ns) {
  const std::int64_t rest = ns % kNsPerMillisecond;
  return rest < 0 ? ns - rest - kNsPerMillisecond : ns - rest;
}

/// A moment as the local calendar shows it, to the millisecond: what ASC dates and BLF SYSTEMTIMEs hold.
struct LocalCalendarTime {
  int year = 1970;
  int month = 1;    ///< 1..12
  int weekday = 4;  ///< 0 Sunday .. 6 Saturday
  int day = 1;      ///< 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

/// @brief The local calendar time of @p epoch_ns (the sub-millisecond part is dropped). False when the system
/// cannot convert it (a year out of its range).
bool ToLocalCalendarTime(std::int64_t epoch_ns, LocalCalendarTime& time);

std::unique_ptr<FrameWriter> MakeAscWriter(std::FILE* out);
std::unique_ptr<FrameWriter> MakeBlfWriter(std::FILE* out);

}  // namespace detail
}  // namespace fsrl

#endif  // FSRL_SRC_FRAME_WRITER_INTERNAL_H
