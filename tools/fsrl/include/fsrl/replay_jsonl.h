/// @file
/// @brief Reading the JSON lines of `fsrl replay` back into the values the HAL published, exactly (every float
/// and time stamp as it was), so that a recorded replay can be written again as CSV or MCAP without running it.
#ifndef FSRL_REPLAY_JSONL_H
#define FSRL_REPLAY_JSONL_H

#include <cstdint>
#include <string>
#include <string_view>

#include "frontsideradarlefthal_types.h"
#include "fsrl/replay_sink.h"

namespace fsrl {

/// One line of replay output.
struct ReplayLine {
  enum class Kind { kDetections, kStatus, kOther };
  Kind kind = Kind::kOther;
  std::int64_t t_ns = 0;
  radar_service::CornerRadarDetections detections;  ///< for kDetections
  radar_service::RadarStatus status;                ///< for kStatus
};

/// @brief Parses one line (without its line end). A JSON object of another "type" is kOther.
/// @return false when the line is not JSON, or a detections or status line lacks a field or holds a value of
/// the wrong kind; @p error then says which field and why
bool ParseReplayLine(std::string_view line, ReplayLine& out, std::string& error);

/// @brief Feeds every detections and status line of @p jsonl (a whole replay output) to @p sink, in order.
/// Blank lines are skipped. Stops at the first bad line, with @p error as `NAME:LINE: reason`.
/// @return false on a bad line
bool FeedReplayJsonl(std::string_view jsonl, const std::string& name, ReplaySink& sink, std::string& error);

}  // namespace fsrl

#endif  // FSRL_REPLAY_JSONL_H
