// Collects the detections, time stamps and mounting information of one radar scan.
#ifndef FSRL_COMMON_UTILS_RADAR_DETECTION_DATA_H
#define FSRL_COMMON_UTILS_RADAR_DETECTION_DATA_H

#include <array>
#include <cstdint>

#include "frontsideradarlefthal_types.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"

/// Mounting values of the sensor as the radar's status message carries them.
struct MountingInformation {
  double x_axis_offset{0.0};  ///< offset along x, as received
  double y_axis_offset{0.0};  ///< offset along y, as received
  double z_orient_ang{0.0};   ///< yaw about z in degrees, as received
};

/// The pieces of one radar scan, gathered as they arrive from different signal groups.
///
/// A default-constructed container is an empty slot: it is not valid and can never become complete. The two-argument
/// constructor starts it for one scan id. A scan is complete once all 200 detections, the mounting information and
/// the mid-range time stamp are in.
class RadarDetectionData {
 public:
  /// Detections that make up one scan.
  static constexpr std::uint16_t m_detectionsPerCompletedScan = 200U;

  /// An empty, invalid slot.
  RadarDetectionData();
  /// A valid slot for `scan_id` without any data yet, started at `instantiation`.
  RadarDetectionData(zol::MonoClock::time_point instantiation, std::uint8_t scan_id);

  /// Stores `detection` as detection number `index`.
  ///
  /// An index of 200 or more is ignored. The first detection stored at an index stays until the slot is reset;
  /// later ones for the same index are dropped.
  void AddDetection(const radar_service::RadarDetection& detection, std::uint16_t index);

  /// The detection number `index` to be written in place, field by field, or null when it must not be written: an
  /// index of 200 or more, or a detection already stored at that index (the first one stays). Counts as stored from
  /// this call on. The translation fills its 200 detections per scan this way: a detection built elsewhere and
  /// copied in is written with narrow stores and read back at once with wide loads, a stall per detection.
  radar_service::RadarDetection* DetectionToStore(std::uint16_t index);

  /// True when all detections, the validity, the mounting information and the mid-range time stamp are there.
  ZOL_NODISCARD bool IsDetectionsComplete() const;

  /// Records the scan's time stamp of `mode`.
  ///
  /// Only the mid-range stamp counts towards completeness, since scans are ordered by it. A mode outside the four
  /// known ones clears all four stamps without changing whether a mid-range stamp was seen.
  void SetTimeStamp(std::int64_t time_stamp, radar_service::Mode mode);

  /// The recorded time stamp of `mode`; 0 for an unknown mode.
  ZOL_NODISCARD std::int64_t GetTimeStamp(radar_service::Mode mode) const;

  /// Records the mounting of the sensor, converting the yaw from degrees to radians; a later call overwrites it.
  void SetMountingInfo(const MountingInformation& mounting_info);

  /// Copies the scan as collected so far into `detections`.
  void GetDetections(radar_service::CornerRadarDetections& detections) const;

  /// The scan as collected so far, for a caller that makes its own copy.
  ZOL_NODISCARD const radar_service::CornerRadarDetections& detections() const { return m_radarDetections; }

  /// When the slot was started.
  ZOL_NODISCARD zol::MonoClock::time_point GetInstantiationTime() const;

  /// True when the slot was started and not yet consumed.
  ZOL_NODISCARD bool AreDetectionsValid() const;

 private:
  // The published form carries a copy of the working info; keep both equal after every change of the info.
  void SyncInfo();

  radar_service::RadarDetectionsInfo m_info;
  zol::MonoClock::time_point m_instantiationPoint;
  radar_service::ScanTimeStamp m_scan_timestamp;
  radar_service::CornerRadarDetections m_radarDetections;
  std::array<bool, m_detectionsPerCompletedScan> m_detectionsStored;
  bool m_mountingInfoSet;
  bool m_timeStampSet;
};

// Defined here so that the translation, which stores 200 detections per scan, does not pay a call for each.
inline radar_service::RadarDetection* RadarDetectionData::DetectionToStore(std::uint16_t index) {
  if (index >= m_detectionsPerCompletedScan) {
    return nullptr;
  }
  // A group repeated within the same scan must not overwrite what was collected first.
  if (m_detectionsStored[index]) {
    return nullptr;
  }
  m_detectionsStored[index] = true;
  return &m_radarDetections.mutable_detections()[index];
}

inline void RadarDetectionData::AddDetection(const radar_service::RadarDetection& detection, std::uint16_t index) {
  radar_service::RadarDetection* const stored = DetectionToStore(index);
  if (stored != nullptr) {
    *stored = detection;
  }
}

#endif  // FSRL_COMMON_UTILS_RADAR_DETECTION_DATA_H
