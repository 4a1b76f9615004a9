// SOME/IP serialization and comparison of the radar data model.
#include "frontsideradarlefthal_types.h"

#include <type_traits>

namespace radar_service {

// The scan data manager copies scans whole and keeps hundreds of them in fixed arrays; the types must stay plain
// values that can be copied like raw memory.
static_assert(std::is_trivially_copyable<RadarDetection>::value, "RadarDetection must stay a plain value");
static_assert(std::is_trivially_copyable<CornerRadarDetections>::value,
              "CornerRadarDetections must stay a plain value");
static_assert(std::is_trivially_copyable<RadarStatus>::value, "RadarStatus must stay a plain value");
static_assert(sizeof(Mode) == 4U && sizeof(QualityAggregated) == 4U && sizeof(CalibrationStatus) == 4U &&
                  sizeof(SensorBlockage) == 4U && sizeof(Interference) == 4U,
              "the enumerations are 32-bit on the wire");

namespace {

using zol::someip_serialization::InputStream;
using zol::someip_serialization::OutputStream;
using zol::someip_serialization::Status;

// One field: numbers, flags and enumerations go straight to the stream, nested value types write themselves.
template <typename T>
Status WriteField(OutputStream& out, const T& value) {
  return out.Write(value);
}
Status WriteField(OutputStream& out, const ScanTimeStamp& value) { return value.Serialize(out); }
Status WriteField(OutputStream& out, const RadarMountingInformation& value) { return value.Serialize(out); }
Status WriteField(OutputStream& out, const RadarDetectionsInfo& value) { return value.Serialize(out); }
Status WriteField(OutputStream& out, const FaultReason& value) { return value.Serialize(out); }
Status WriteField(OutputStream& out, const CornerRadarDetections::DetectionArray& value) {
  for (const RadarDetection& detection : value) {
    const Status status = detection.Serialize(out);
    if (status != Status::kOk) {
      return status;
    }
  }
  return Status::kOk;
}

Status WriteFields(OutputStream& /*out*/) { return Status::kOk; }

template <typename T, typename... Rest>
Status WriteFields(OutputStream& out, const T& first, const Rest&... rest) {
  const Status status = WriteField(out, first);
  if (status != Status::kOk) {
    return status;
  }
  return WriteFields(out, rest...);
}

template <typename T>
Status ReadField(InputStream& in, T& value) {
  return in.Read(value);
}
Status ReadField(InputStream& in, ScanTimeStamp& value) { return value.Deserialize(in); }
Status ReadField(InputStream& in, RadarMountingInformation& value) { return value.Deserialize(in); }
Status ReadField(InputStream& in, RadarDetectionsInfo& value) { return value.Deserialize(in); }
Status ReadField(InputStream& in, FaultReason& value) { return value.Deserialize(in); }
Status ReadField(InputStream& in, CornerRadarDetections::DetectionArray& value) {
  for (RadarDetection& detection : value) {
    const Status status = detection.Deserialize(in);
    if (status != Status::kOk) {
      return status;
    }
  }
  return Status::kOk;
}

Status ReadFields(InputStream& /*in*/) { return Status::kOk; }

template <typename T, typename... Rest>
Status ReadFields(InputStream& in, T& first, Rest&... rest) {
  const Status status = ReadField(in, first);
  if (status != Status::kOk) {
    return status;
  }
  return ReadFields(in, rest...);
}

// Reads into a scratch copy and commits it only on success, so a truncated buffer never leaves a half-updated
// value behind.
template <typename T, typename ReadAll>
Status DeserializeInto(T& target, ReadAll read_all) {
  T scratch{};
  const Status status = read_all(scratch);
  if (status == Status::kOk) {
    target = scratch;
  }
  return status;
}

}  // namespace

Status RadarDetection::Serialize(OutputStream& out) const {
  return WriteFields(out, snr_, rcs_, azimuth_, elevation_, range_, range_rate_, is_dynamic_, mode_,
                     quality_aggregated_);
}

Status RadarDetection::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](RadarDetection& d) {
    return ReadFields(in, d.snr_, d.rcs_, d.azimuth_, d.elevation_, d.range_, d.range_rate_, d.is_dynamic_, d.mode_,
                      d.quality_aggregated_);
  });
}

Status RadarMountingInformation::Serialize(OutputStream& out) const {
  return WriteFields(out, x_offset_, y_offset_, phi_offset_);
}

Status RadarMountingInformation::Deserialize(InputStream& in) {
  return DeserializeInto(
      *this, [&in](RadarMountingInformation& m) { return ReadFields(in, m.x_offset_, m.y_offset_, m.phi_offset_); });
}

Status ScanTimeStamp::Serialize(OutputStream& out) const {
  return WriteFields(out, short_range_, near_range_, mid_range_, long_range_);
}

Status ScanTimeStamp::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](ScanTimeStamp& t) {
    return ReadFields(in, t.short_range_, t.near_range_, t.mid_range_, t.long_range_);
  });
}

Status RadarDetectionsInfo::Serialize(OutputStream& out) const {
  return WriteFields(out, time_stamps_, scan_id_, is_valid_, mounting_information_);
}

Status RadarDetectionsInfo::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](RadarDetectionsInfo& i) {
    return ReadFields(in, i.time_stamps_, i.scan_id_, i.is_valid_, i.mounting_information_);
  });
}

Status CornerRadarDetections::Serialize(OutputStream& out) const { return WriteFields(out, info_, detections_); }

Status CornerRadarDetections::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](CornerRadarDetections& c) { return ReadFields(in, c.info_, c.detections_); });
}

Status FaultReason::Serialize(OutputStream& out) const {
  return WriteFields(out, is_communication_faulty_, is_hardware_faulty_, is_software_faulty_, is_car_config_faulty_,
                     is_system_safety_faulty_, is_calibration_faulty_);
}

Status FaultReason::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](FaultReason& f) {
    return ReadFields(in, f.is_communication_faulty_, f.is_hardware_faulty_, f.is_software_faulty_,
                      f.is_car_config_faulty_, f.is_system_safety_faulty_, f.is_calibration_faulty_);
  });
}

Status RadarStatus::Serialize(OutputStream& out) const {
  return WriteFields(out, scan_id_, azimuth_alignment_error_, elevation_alignment_error_, blockage_, interference_,
                     calibration_status_, fault_reason_, is_sensor_status_on_, is_transmission_activated_,
                     is_system_failing_, is_time_sync_ok_, flr_temperature_);
}

Status RadarStatus::Deserialize(InputStream& in) {
  return DeserializeInto(*this, [&in](RadarStatus& s) {
    return ReadFields(in, s.scan_id_, s.azimuth_alignment_error_, s.elevation_alignment_error_, s.blockage_,
                      s.interference_, s.calibration_status_, s.fault_reason_, s.is_sensor_status_on_,
                      s.is_transmission_activated_, s.is_system_failing_, s.is_time_sync_ok_, s.flr_temperature_);
  });
}

bool operator==(const RadarDetection& lhs, const RadarDetection& rhs) {
  return lhs.snr() == rhs.snr() && lhs.rcs() == rhs.rcs() && lhs.azimuth() == rhs.azimuth() &&
         lhs.elevation() == rhs.elevation() && lhs.range() == rhs.range() && lhs.range_rate() == rhs.range_rate() &&
         lhs.is_dynamic() == rhs.is_dynamic() && lhs.mode() == rhs.mode() &&
         lhs.quality_aggregated() == rhs.quality_aggregated();
}

bool operator==(const RadarMountingInformation& lhs, const RadarMountingInformation& rhs) {
  return lhs.x_offset() == rhs.x_offset() && lhs.y_offset() == rhs.y_offset() && lhs.phi_offset() == rhs.phi_offset();
}

bool operator==(const ScanTimeStamp& lhs, const ScanTimeStamp& rhs) {
  return lhs.short_range() == rhs.short_range() && lhs.near_range() == rhs.near_range() &&
         lhs.mid_range() == rhs.mid_range() && lhs.long_range() == rhs.long_range();
}

bool operator==(const RadarDetectionsInfo& lhs, const RadarDetectionsInfo& rhs) {
  return lhs.time_stamps() == rhs.time_stamps() && lhs.scan_id() == rhs.scan_id() && lhs.is_valid() == rhs.is_valid() &&
         lhs.mounting_information() == rhs.mounting_information();
}

bool operator==(const CornerRadarDetections& lhs, const CornerRadarDetections& rhs) {
  return lhs.info() == rhs.info() && lhs.detections() == rhs.detections();
}

bool operator==(const FaultReason& lhs, const FaultReason& rhs) {
  return lhs.is_communication_faulty() == rhs.is_communication_faulty() &&
         lhs.is_hardware_faulty() == rhs.is_hardware_faulty() && lhs.is_software_faulty() == rhs.is_software_faulty() &&
         lhs.is_car_config_faulty() == rhs.is_car_config_faulty() &&
         lhs.is_system_safety_faulty() == rhs.is_system_safety_faulty() &&
         lhs.is_calibration_faulty() == rhs.is_calibration_faulty();
}

bool operator==(const RadarStatus& lhs, const RadarStatus& rhs) {
  return lhs.scan_id() == rhs.scan_id() && lhs.azimuth_alignment_error() == rhs.azimuth_alignment_error() &&
         lhs.elevation_alignment_error() == rhs.elevation_alignment_error() && lhs.blockage() == rhs.blockage() &&
         lhs.interference() == rhs.interference() && lhs.calibration_status() == rhs.calibration_status() &&
         lhs.fault_reason() == rhs.fault_reason() && lhs.is_sensor_status_on() == rhs.is_sensor_status_on() &&
         lhs.is_transmission_activated() == rhs.is_transmission_activated() &&
         lhs.is_system_failing() == rhs.is_system_failing() && lhs.is_time_sync_ok() == rhs.is_time_sync_ok() &&
         lhs.flr_temperature() == rhs.flr_temperature();
}

}  // namespace radar_service
