/// @file
/// @brief A replay's publications as an MCAP recording that a 3D viewer plays: the detections as point clouds
/// around the vehicle, the radar's mounting as a frame transform, the statuses as JSON messages.
///
/// Channels (all JSON-encoded messages with JSON Schemas):
/// - `/fsrl/detections`, schema `foxglove.PointCloud`: one message per published scan, frame `vehicle` (x forward,
///   y left, z up, metres). A point per populated detection (quality not kUnknown; the radar leaves the other
///   slots empty): x = x_offset + r cos(e) cos(phi + a), y = y_offset + r cos(e) sin(phi + a), z = r sin(e) with
///   range r, azimuth a, elevation e (radians) and the scan's mounting (x_offset, y_offset, yaw phi_offset; the
///   mounting has no height, so z is relative to the radar's). Packed little-endian, 40 bytes a point: x, y, z,
///   range, azimuth, elevation, range_rate, rcs, snr (float32 at 0, 4, ... 32), detection (the slot, uint8 at 36),
///   quality (uint8 at 37: 0 kLow, 1 kMid, 2 kHigh), mode (uint8 at 38: 0 kShortRange .. 3 kLongRange),
///   is_dynamic (uint8 at 39).
/// - `/tf`, schema `foxglove.FrameTransform`: parent `vehicle`, child `fsrl_radar`, translation (x_offset,
///   y_offset, 0), rotation the yaw phi_offset; written with the first scan and whenever the mounting changes.
/// - `/fsrl/status`, schema `fsrl.RadarStatus`: one message per published status, the fields of the replay's
///   JSON status line (without "type"), plus `timestamp`.
/// Log and publish times are the notification times (the replay's virtual clock), which must not lie before
/// 1970: such publications are left out and counted, and Finish reports them.
#ifndef FSRL_REPLAY_MCAP_H
#define FSRL_REPLAY_MCAP_H

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "fsrl/mcap_writer.h"
#include "fsrl/replay_sink.h"

namespace fsrl {

constexpr const char* kMcapDetectionsTopic = "/fsrl/detections";
constexpr const char* kMcapStatusTopic = "/fsrl/status";
constexpr const char* kMcapTransformTopic = "/tf";
constexpr const char* kMcapVehicleFrame = "vehicle";
constexpr const char* kMcapRadarFrame = "fsrl_radar";

/// Bytes per point of the detection clouds.
constexpr std::size_t kMcapPointStride = 40;

/// @brief Writes a replay's publications to an MCAP file through McapWriter.
class ReplayMcapSink : public ReplaySink {
 public:
  /// @param file not owned; the file's start is written at once
  ReplayMcapSink(std::FILE* file, McapOptions options = {});
  void OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) override;
  void OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) override;
  bool Finish(std::string& error) override;

  std::uint64_t bytes_written() const { return writer_.bytes_written(); }

  /// The JSON Schemas written for the channels' schemas.
  static const char* PointCloudSchema();
  static const char* FrameTransformSchema();
  static const char* StatusSchema();

 private:
  void WriteTransform(std::uint64_t t_ns, float x, float y, float phi);
  // The time of a message for @p t_ns; nothing after Finish, or for a time before the epoch (counted).
  std::optional<std::uint64_t> MessageTime(std::int64_t t_ns);
  // Starts message_ as a JSON object with its "timestamp" field.
  void StartMessage(std::uint64_t t_ns);

  McapWriter writer_;
  std::uint16_t detections_channel_ = 0;
  std::uint16_t status_channel_ = 0;
  std::uint16_t transform_channel_ = 0;
  bool have_mounting_ = false;
  float mounting_[3] = {0.0F, 0.0F, 0.0F};
  std::uint64_t before_epoch_ = 0;
  bool finished_ = false;
  std::string message_;  // reused between messages
  std::string points_;
};

}  // namespace fsrl

#endif  // FSRL_REPLAY_MCAP_H
