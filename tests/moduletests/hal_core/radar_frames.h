// Test helper: the radar's signal-group payloads of whole scans, encoded by the signal database and E2E-protected
// like the sensor sends them, and published to the signal communication service.
#ifndef FSRL_TESTS_HAL_CORE_RADAR_FRAMES_H
#define FSRL_TESTS_HAL_CORE_RADAR_FRAMES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fsrl_test {

inline constexpr std::size_t kDetectionGroupCount = 40U;
inline constexpr std::size_t kDetectionsPerGroup = 5U;
inline constexpr std::size_t kDetectionCount = kDetectionGroupCount * kDetectionsPerGroup;
inline constexpr std::size_t kStatus1Group = 50U;
inline constexpr std::size_t kStatus2Group = 51U;
inline constexpr std::size_t kGroupCount = 52U;

/// Raw field values of one detection, as they stand in the payload.
struct DetectionRaw {
  std::uint64_t range;
  std::uint64_t rng_rt;
  std::uint64_t azi_ang;
  std::uint64_t ele_ang;
  std::uint64_t rcs;
  std::uint64_t snr;
  std::uint64_t quality;
  std::uint64_t dyn_pr_pty;
  std::uint64_t mode;
};

/// Everything the sensor sends about one scan, as raw field values.
struct SensorScan {
  std::uint8_t scan_id{};
  /// Scan id written into each detection group (normally `scan_id`).
  std::array<std::uint8_t, kDetectionGroupCount> detection_group_scan_ids{};
  /// Scan id written into status group 2 (normally `scan_id`).
  std::uint8_t status2_scan_id{};
  /// Short-, near-, mid- and long-range time stamps.
  std::array<std::uint64_t, 4> time_stamps{};
  // Status group 1.
  std::uint64_t blockage{};
  std::uint64_t interference{};
  std::uint64_t fault_reason{};
  std::uint64_t rdr_sts_detn{};
  std::uint64_t rdr_emsn_sts{};
  std::uint64_t sys_sfty_failure_flag{};
  std::uint64_t time_stamp_status{};
  std::uint64_t xaxis_offs{};
  std::uint64_t yaxis_offs{};
  std::uint64_t zorient_ang{};
  // Status group 2.
  std::uint64_t azi_mis_alnmnt_ang{};
  std::uint64_t ele_mis_alnmnt_ang{};
  std::uint64_t cal_sts{};
  std::uint64_t cal_rlt_sts{};
  std::array<DetectionRaw, kDetectionCount> detections{};
};

/// A scan with values that differ per detection, per field and per `seed`, all inside the signals' physical ranges
/// (so that decoding never clamps them), and the enumerations running through their values. The status says: no
/// blockage, no interference, no fault, sensor active and emitting, time in sync.
SensorScan MakeSensorScan(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp, unsigned seed);

/// The physical value that a raw value of the named field of a group decodes to, narrowed to float like the HAL
/// delivers it: raw * factor + offset of the signal database.
float PhysicalOf(std::size_t group_index, const std::string& field_name, std::uint64_t raw);

/// Name of a group at the signal service ("RSDS4Detn000To004", ...).
std::string GroupName(std::size_t group_index);

/// Lower-case stem of a group's fields ("rsds4detn000to004", ...).
std::string GroupStem(std::size_t group_index);

/// The sensor's side of the signal network: payloads of one group each, with the group's own E2E counter that
/// advances by one per payload built, like the sensor does.
class RadarFrameSource {
 public:
  /// The first payload of every group carries counter 0.
  RadarFrameSource();

  /// Payloads of one group for `scan`; each call uses the group's next counter.
  std::vector<std::uint8_t> BuildStatus1(const SensorScan& scan);
  std::vector<std::uint8_t> BuildStatus2(const SensorScan& scan);
  std::vector<std::uint8_t> BuildDetectionGroup(std::size_t group_index, const SensorScan& scan);
  std::vector<std::uint8_t> Build(std::size_t group_index, const SensorScan& scan);

  /// Builds and publishes one group's payload.
  void Publish(std::size_t group_index, const SensorScan& scan);
  /// Publishes the detection groups `first` .. `last` (inclusive), in order.
  void PublishDetectionGroups(std::size_t first, std::size_t last, const SensorScan& scan);
  /// Publishes all 42 groups of the scan the HAL reads: both status groups, then the 40 detection groups.
  void PublishScan(const SensorScan& scan);
  /// Publishes one group's payload with a CRC that does not match (the counter still advances).
  void PublishWithBadCrc(std::size_t group_index, const SensorScan& scan);
  /// Lets the group's counter jump: the next payload carries a counter `count` higher than it would have.
  void SkipCounters(std::size_t group_index, std::uint8_t count);

  /// The counter the group's next payload will carry.
  std::uint8_t next_counter(std::size_t group_index) const;

 private:
  std::array<std::uint8_t, kGroupCount> counters_{};
};

}  // namespace fsrl_test

#endif  // FSRL_TESTS_HAL_CORE_RADAR_FRAMES_H
