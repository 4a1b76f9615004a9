// Test access to the scan data manager's slots, for effects that the published scan cannot show.
#ifndef FSRL_TESTS_SUPPORT_RADAR_SCAN_DATA_MANAGER_TEST_ACCESS_H
#define FSRL_TESTS_SUPPORT_RADAR_SCAN_DATA_MANAGER_TEST_ACCESS_H

#include <cstddef>

#include "radarScanDataManager.h"
#include "zol/mono_clock.h"

class RadarScanDataManagerTestAccess {
 public:
  static RadarDetectionData& DetectionSlot(RadarScanDataManager& manager, std::size_t scan_id) {
    return manager.m_radarDetectionData.at(scan_id);
  }
  static RadarStatusData& StatusSlot(RadarScanDataManager& manager, std::size_t scan_id) {
    return manager.m_radarStatusData.at(scan_id);
  }
  static bool HasExistingDataExpired(const RadarScanDataManager& manager, zol::MonoClock::time_point point) {
    return manager.HasExistingDataExpired(point);
  }
  static const LoggingWrapper& Log(const RadarScanDataManager& manager) { return manager.m_log_context; }
};

#endif  // FSRL_TESTS_SUPPORT_RADAR_SCAN_DATA_MANAGER_TEST_ACCESS_H
