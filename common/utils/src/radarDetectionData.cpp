#include "radarDetectionData.h"

#include <cstring>
#include <type_traits>

#include "converters.h"

// The scan data manager keeps 257 of these in fixed arrays and copies them whole.
static_assert(std::is_trivially_copyable<RadarDetectionData>::value, "RadarDetectionData must stay a plain value");
static_assert(RadarDetectionData::m_detectionsPerCompletedScan == radar_service::CornerRadarDetections::kDetectionCount,
              "a completed scan fills every detection of the published form");

RadarDetectionData::RadarDetectionData() : m_detectionsStored(), m_mountingInfoSet(false), m_timeStampSet(false) {}

RadarDetectionData::RadarDetectionData(zol::MonoClock::time_point instantiation, std::uint8_t scan_id)
    : m_info(radar_service::ScanTimeStamp(), scan_id, true, radar_service::RadarMountingInformation()),
      m_instantiationPoint(instantiation),
      m_detectionsStored(),
      m_mountingInfoSet(false),
      m_timeStampSet(false) {
  SyncInfo();
}

bool RadarDetectionData::IsDetectionsComplete() const {
  // One byte per flag: a search for a false byte is a library scan over 200 bytes rather than 200 separate tests,
  // and it runs every cycle for every scan that received detections.
  static_assert(sizeof(bool) == 1U, "a flag is one byte");
  const bool all_stored =
      std::memchr(m_detectionsStored.data(), static_cast<int>(false), m_detectionsStored.size()) == nullptr;
  return all_stored && m_radarDetections.info().is_valid() && m_mountingInfoSet && m_timeStampSet;
}

void RadarDetectionData::SetTimeStamp(std::int64_t time_stamp, radar_service::Mode mode) {
  switch (mode) {
    case radar_service::Mode::kShortRange:
      m_scan_timestamp.set_short_range(time_stamp);
      break;
    case radar_service::Mode::kNearRange:
      m_scan_timestamp.set_near_range(time_stamp);
      break;
    case radar_service::Mode::kMidRange:
      m_scan_timestamp.set_mid_range(time_stamp);
      // Scans are ordered by the mid-range stamp, so only it makes a scan publishable.
      m_timeStampSet = true;
      break;
    case radar_service::Mode::kLongRange:
      m_scan_timestamp.set_long_range(time_stamp);
      break;
    default:
      m_scan_timestamp = radar_service::ScanTimeStamp();
      break;
  }
  m_info.set_time_stamps(m_scan_timestamp);
  SyncInfo();
}

std::int64_t RadarDetectionData::GetTimeStamp(radar_service::Mode mode) const {
  const radar_service::ScanTimeStamp& stamps = m_radarDetections.info().time_stamps();
  switch (mode) {
    case radar_service::Mode::kShortRange:
      return stamps.short_range();
    case radar_service::Mode::kNearRange:
      return stamps.near_range();
    case radar_service::Mode::kMidRange:
      return stamps.mid_range();
    case radar_service::Mode::kLongRange:
      return stamps.long_range();
    default:
      return 0;
  }
}

void RadarDetectionData::SetMountingInfo(const MountingInformation& mounting_info) {
  m_info.set_mounting_information(radar_service::RadarMountingInformation(
      static_cast<float>(mounting_info.x_axis_offset), static_cast<float>(mounting_info.y_axis_offset),
      ConvertToRadians(static_cast<float>(mounting_info.z_orient_ang))));
  SyncInfo();
  m_mountingInfoSet = true;
}

void RadarDetectionData::GetDetections(radar_service::CornerRadarDetections& detections) const {
  detections = m_radarDetections;
}

zol::MonoClock::time_point RadarDetectionData::GetInstantiationTime() const { return m_instantiationPoint; }

bool RadarDetectionData::AreDetectionsValid() const { return m_radarDetections.info().is_valid(); }

void RadarDetectionData::SyncInfo() { m_radarDetections.set_info(m_info); }
