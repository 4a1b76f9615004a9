#include "radarStatusData.h"

#include <type_traits>

// The scan data manager keeps 257 of these in fixed arrays and copies them whole.
static_assert(std::is_trivially_copyable<RadarStatusData>::value, "RadarStatusData must stay a plain value");

RadarStatusData::RadarStatusData()
    : m_scanTimeStamp(0), m_status1Received(false), m_status2Received(false), m_valid(false) {}

RadarStatusData::RadarStatusData(zol::MonoClock::time_point instantiation, std::uint8_t scan_id)
    : m_scanTimeStamp(0),
      m_status1Received(false),
      m_status2Received(false),
      m_instantiationPoint(instantiation),
      m_valid(true) {
  m_status.set_scan_id(scan_id);
}

void RadarStatusData::SetStatus1(const radar_service::RadarStatus& status) {
  m_status.set_blockage(status.blockage());
  m_status.set_interference(status.interference());
  m_status.set_flr_temperature(status.flr_temperature());
  m_status.set_is_sensor_status_on(status.is_sensor_status_on());
  m_status.set_is_transmission_activated(status.is_transmission_activated());
  m_status.set_is_system_failing(status.is_system_failing());
  m_status.set_is_time_sync_ok(status.is_time_sync_ok());

  // The calibration fault belongs to message 2; merge so that the order of the two messages does not matter.
  const radar_service::FaultReason& faults = status.fault_reason();
  m_fault_reason.set_is_communication_faulty(faults.is_communication_faulty());
  m_fault_reason.set_is_hardware_faulty(faults.is_hardware_faulty());
  m_fault_reason.set_is_software_faulty(faults.is_software_faulty());
  m_fault_reason.set_is_car_config_faulty(faults.is_car_config_faulty());
  m_fault_reason.set_is_system_safety_faulty(faults.is_system_safety_faulty());
  m_status.set_fault_reason(m_fault_reason);

  m_status1Received = true;
}

void RadarStatusData::SetStatus2(const radar_service::RadarStatus& status) {
  m_status.set_azimuth_alignment_error(status.azimuth_alignment_error());
  m_status.set_elevation_alignment_error(status.elevation_alignment_error());
  m_status.set_calibration_status(status.calibration_status());

  m_fault_reason.set_is_calibration_faulty(status.fault_reason().is_calibration_faulty());
  m_status.set_fault_reason(m_fault_reason);

  m_status2Received = true;
}

void RadarStatusData::SetTimeStamp(std::int64_t time_stamp) { m_scanTimeStamp = time_stamp; }

std::int64_t RadarStatusData::GetTimeStamp() const { return m_scanTimeStamp; }

bool RadarStatusData::IsStatusComplete() const { return m_valid && m_status1Received && m_status2Received; }

void RadarStatusData::GetStatus(radar_service::RadarStatus& status) const { status = m_status; }

zol::MonoClock::time_point RadarStatusData::GetInstantiationTime() const { return m_instantiationPoint; }

bool RadarStatusData::IsStatusValid() const { return m_valid; }
