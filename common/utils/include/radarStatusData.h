// Collects the two status messages of one radar scan.
#ifndef FSRL_COMMON_UTILS_RADAR_STATUS_DATA_H
#define FSRL_COMMON_UTILS_RADAR_STATUS_DATA_H

#include <cstdint>

#include "frontsideradarlefthal_types.h"
#include "zol/mono_clock.h"
#include "zol/nodiscard.h"

/// The radar status of one scan, merged from status messages 1 and 2 in whatever order they arrive.
///
/// A default-constructed container is an empty slot: it is not valid and can never become complete. The two-argument
/// constructor starts it for one scan id; it is complete once both messages are in.
class RadarStatusData {
 public:
  /// An empty, invalid slot.
  RadarStatusData();
  /// A valid slot for `scan_id` without any message yet, started at `instantiation`.
  RadarStatusData(zol::MonoClock::time_point instantiation, std::uint8_t scan_id);

  /// Takes the part of `status` that message 1 carries: blockage, interference, temperature, the four status flags
  /// and the communication, hardware, software, car configuration and system safety faults.
  void SetStatus1(const radar_service::RadarStatus& status);

  /// Takes the part of `status` that message 2 carries: both alignment errors, the calibration status and the
  /// calibration fault.
  void SetStatus2(const radar_service::RadarStatus& status);

  /// Records the scan's mid-range time stamp, by which statuses are ordered.
  void SetTimeStamp(std::int64_t time_stamp);
  /// The recorded time stamp.
  ZOL_NODISCARD std::int64_t GetTimeStamp() const;

  /// True when the slot is valid and both messages are in.
  ZOL_NODISCARD bool IsStatusComplete() const;

  /// Copies the status as merged so far into `status`.
  void GetStatus(radar_service::RadarStatus& status) const;

  /// When the slot was started.
  ZOL_NODISCARD zol::MonoClock::time_point GetInstantiationTime() const;

  /// True when the slot was started and not yet consumed.
  ZOL_NODISCARD bool IsStatusValid() const;

 private:
  radar_service::RadarStatus m_status;
  radar_service::FaultReason m_fault_reason;
  std::int64_t m_scanTimeStamp;
  bool m_status1Received;
  bool m_status2Received;
  zol::MonoClock::time_point m_instantiationPoint;
  bool m_valid;
};

#endif  // FSRL_COMMON_UTILS_RADAR_STATUS_DATA_H
