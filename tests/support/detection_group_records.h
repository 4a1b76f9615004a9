// Builds decoded detection signal-group records from plain values and hands them to the scan data manager's
// translation, for tests that feed scans without going through the signal path.
#ifndef FSRL_TESTS_SUPPORT_DETECTION_GROUP_RECORDS_H
#define FSRL_TESTS_SUPPORT_DETECTION_GROUP_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "radarScanDataManager.h"

namespace fsrl_test {

/// One detection as the sensor sends it: physical values and raw enumeration values.
struct SensorDetection {
  double range;
  double range_rate;
  double azimuth;
  double elevation;
  double rcs;
  double snr;
  std::uint8_t quality;
  std::uint8_t dyn_pr_pty;
  std::uint8_t mode;
};

/// The five detections of one detection group, in the group's own order.
using GroupDetections = std::array<SensorDetection, 5>;

/// Fills the group's record from the values and calls the group's translation on the manager.
using TranslateGroup = void (*)(RadarScanDataManager& manager, std::uint8_t scan_id, const GroupDetections& values,
                                std::uint8_t counter, std::uint16_t crc);

struct DetectionGroup {
  const char* name;
  std::uint16_t first_detection;
  TranslateGroup translate;
};

/// The 40 detection groups in ascending order. Written out by hand rather than taken from the generated list, so
/// that a slip in the generated numbering cannot hide itself.
extern const std::array<DetectionGroup, 40> kDetectionGroups;

}  // namespace fsrl_test

#endif  // FSRL_TESTS_SUPPORT_DETECTION_GROUP_RECORDS_H
