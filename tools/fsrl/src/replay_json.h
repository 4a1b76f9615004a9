// Replay concern: the JSON output of `fsrl replay`, one line per notification of the HAL.
#ifndef FSRL_SRC_REPLAY_JSON_H
#define FSRL_SRC_REPLAY_JSON_H

#include <cstdint>

#include "frontsideradarlefthal_types.h"
#include "fsrl/json_writer.h"

namespace fsrl::internal {

/// Writes @p ns as seconds, exact to the nanosecond.
void WriteTime(JsonWriter& json, std::int64_t ns);

/// One `{"type": "detections", ...}` line for the scan published at @p t_ns.
void WriteDetectionsLine(JsonWriter& json, std::int64_t t_ns, const radar_service::CornerRadarDetections& scan);

/// One `{"type": "status", ...}` line for the status published at @p t_ns.
void WriteStatusLine(JsonWriter& json, std::int64_t t_ns, const radar_service::RadarStatus& status);

}  // namespace fsrl::internal

#endif  // FSRL_SRC_REPLAY_JSON_H
