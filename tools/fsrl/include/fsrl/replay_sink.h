/// @file
/// @brief Where a replay's publications can go besides its JSON lines: CSV tables, an MCAP recording.
#ifndef FSRL_REPLAY_SINK_H
#define FSRL_REPLAY_SINK_H

#include <cstdint>
#include <string>

#include "frontsideradarlefthal_types.h"

namespace fsrl {

/// @brief Receives every scan and status the HAL publishes during a replay, in the order published, with the
/// notification's time (T_k of the cycle, nanoseconds on the recording's time base): what the JSON lines of
/// `fsrl replay` are written from.
class ReplaySink {
 public:
  virtual ~ReplaySink() = default;
  virtual void OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) = 0;
  virtual void OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) = 0;
  /// @brief Completes the output (indexes, buffers). Publications after Finish are ignored.
  /// @return false when any write failed; @p error then says which output and why
  virtual bool Finish(std::string& error) = 0;
};

}  // namespace fsrl

#endif  // FSRL_REPLAY_SINK_H
