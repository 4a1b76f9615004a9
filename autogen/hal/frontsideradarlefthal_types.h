// Public value types of the HAL: the service mode and the radar data model
// (one scan of detections and the radar status) handed to consumers.
#ifndef FRONTSIDERADARLEFTHAL_TYPES_H
#define FRONTSIDERADARLEFTHAL_TYPES_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "zol/nodiscard.h"
#include "zol/someip_serialization/stream.h"

namespace front_side_radar_left_hal {

/// Whether the application asks for the radar to be active.
enum class ServiceMode : std::uint32_t {
  kInactive = 0,  ///< the sensor is not requested active (no service mode)
  kActive = 1,    ///< the sensor is requested active
};

}  // namespace front_side_radar_left_hal

/// Value types published by the radar HAL: detections of one scan and the radar status.
///
/// Every class is a plain value: private fields, accessors named like the field, `set_` setters, a default
/// constructor that zeroes everything (enumerations at their value 0), a constructor taking all fields in
/// declaration order, and SOME/IP serialization of the fields in declaration order (big-endian).
///
/// Nested values have copy and move setters as the service interface defines them; all types are trivially
/// copyable, so both overloads copy.
namespace radar_service {

/// Signal-to-noise ratio, as received.
using Snr = float;
/// Radar cross section, as received.
using Rcs = float;
/// Azimuth angle, as received.
using Azimuth = float;
/// Elevation angle, as received.
using Elevation = float;
/// Radial distance, as received.
using Range = float;
/// Radial speed, as received.
using RangeRate = float;
/// Mounting offset along one axis, as received.
using MountingPosition = float;
/// Mounting yaw angle in radians.
using MountingAngle = float;
/// Misalignment angle in radians.
using AngleAlignmentError = float;
/// Sensor temperature (not delivered by the radar, kept at 0).
using RadarTemperature = float;
/// Sensor time stamp; the radar's unsigned 64-bit time taken bit for bit.
using TimeStamp = std::int64_t;
/// Scan identifier, 0-255.
using ScanId = std::uint8_t;

/// Radar mode that produced a detection or a time stamp.
enum class Mode : std::uint32_t {
  kShortRange = 0,
  kNearRange = 1,
  kMidRange = 2,
  kLongRange = 3,
};

/// Aggregated quality of a detection.
enum class QualityAggregated : std::uint32_t {
  kLow = 0,
  kMid = 1,
  kHigh = 2,
  kUnknown = 3,
};

/// State of the sensor's self-calibration.
enum class CalibrationStatus : std::uint32_t {
  kNotStarted = 0,
  kNotComplete = 1,
  kComplete = 2,
};

/// Blockage of the radome as judged by the sensor.
enum class SensorBlockage : std::uint32_t {
  kBlockageUnknown = 0,
  kFullBlockage = 1,
  kNoBlockage = 2,
};

/// Interference from other emitters as judged by the sensor.
enum class Interference : std::uint32_t {
  kInterferenceUnknown = 0,
  kFullInterference = 1,
  kNoInterference = 2,
};

/// One radar reflection.
class RadarDetection {
 public:
  /// All values 0, not dynamic, `Mode::kShortRange`, `QualityAggregated::kLow`.
  RadarDetection() = default;
  /// Sets every field, in declaration order.
  RadarDetection(Snr snr, Rcs rcs, Azimuth azimuth, Elevation elevation, Range range, RangeRate range_rate,
                 bool is_dynamic, Mode mode, QualityAggregated quality_aggregated)
      : snr_(snr),
        rcs_(rcs),
        azimuth_(azimuth),
        elevation_(elevation),
        range_(range),
        range_rate_(range_rate),
        is_dynamic_(is_dynamic),
        mode_(mode),
        quality_aggregated_(quality_aggregated) {}
  RadarDetection(const RadarDetection&) = default;
  RadarDetection(RadarDetection&&) = default;
  RadarDetection& operator=(const RadarDetection&) = default;
  RadarDetection& operator=(RadarDetection&&) = default;
  ~RadarDetection() = default;

  /// Signal-to-noise ratio.
  ZOL_NODISCARD Snr snr() const { return snr_; }
  /// Sets the signal-to-noise ratio.
  void set_snr(Snr value) { snr_ = value; }
  /// Radar cross section.
  ZOL_NODISCARD Rcs rcs() const { return rcs_; }
  /// Sets the radar cross section.
  void set_rcs(Rcs value) { rcs_ = value; }
  /// Azimuth angle.
  ZOL_NODISCARD Azimuth azimuth() const { return azimuth_; }
  /// Sets the azimuth angle.
  void set_azimuth(Azimuth value) { azimuth_ = value; }
  /// Elevation angle.
  ZOL_NODISCARD Elevation elevation() const { return elevation_; }
  /// Sets the elevation angle.
  void set_elevation(Elevation value) { elevation_ = value; }
  /// Radial distance.
  ZOL_NODISCARD Range range() const { return range_; }
  /// Sets the radial distance.
  void set_range(Range value) { range_ = value; }
  /// Radial speed.
  ZOL_NODISCARD RangeRate range_rate() const { return range_rate_; }
  /// Sets the radial speed.
  void set_range_rate(RangeRate value) { range_rate_ = value; }
  /// True when the radar classed the reflection as moving.
  ZOL_NODISCARD bool is_dynamic() const { return is_dynamic_; }
  /// Sets whether the reflection is moving.
  void set_is_dynamic(bool value) { is_dynamic_ = value; }
  /// Radar mode that produced the detection.
  ZOL_NODISCARD Mode mode() const { return mode_; }
  /// Sets the radar mode.
  void set_mode(Mode value) { mode_ = value; }
  /// Aggregated quality.
  ZOL_NODISCARD QualityAggregated quality_aggregated() const { return quality_aggregated_; }
  /// Sets the aggregated quality.
  void set_quality_aggregated(QualityAggregated value) { quality_aggregated_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  Snr snr_{0.0F};
  Rcs rcs_{0.0F};
  Azimuth azimuth_{0.0F};
  Elevation elevation_{0.0F};
  Range range_{0.0F};
  RangeRate range_rate_{0.0F};
  bool is_dynamic_{false};
  Mode mode_{Mode::kShortRange};
  QualityAggregated quality_aggregated_{QualityAggregated::kLow};
};

/// Where and how the sensor is mounted.
class RadarMountingInformation {
 public:
  /// Offsets and angle 0.
  RadarMountingInformation() = default;
  /// Sets every field, in declaration order.
  RadarMountingInformation(MountingPosition x_offset, MountingPosition y_offset, MountingAngle phi_offset)
      : x_offset_(x_offset), y_offset_(y_offset), phi_offset_(phi_offset) {}
  RadarMountingInformation(const RadarMountingInformation&) = default;
  RadarMountingInformation(RadarMountingInformation&&) = default;
  RadarMountingInformation& operator=(const RadarMountingInformation&) = default;
  RadarMountingInformation& operator=(RadarMountingInformation&&) = default;
  ~RadarMountingInformation() = default;

  /// Mounting offset along x.
  ZOL_NODISCARD MountingPosition x_offset() const { return x_offset_; }
  /// Sets the mounting offset along x.
  void set_x_offset(MountingPosition value) { x_offset_ = value; }
  /// Mounting offset along y.
  ZOL_NODISCARD MountingPosition y_offset() const { return y_offset_; }
  /// Sets the mounting offset along y.
  void set_y_offset(MountingPosition value) { y_offset_ = value; }
  /// Mounting yaw angle in radians.
  ZOL_NODISCARD MountingAngle phi_offset() const { return phi_offset_; }
  /// Sets the mounting yaw angle in radians.
  void set_phi_offset(MountingAngle value) { phi_offset_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  MountingPosition x_offset_{0.0F};
  MountingPosition y_offset_{0.0F};
  MountingAngle phi_offset_{0.0F};
};

/// Sensor time stamps of one scan, one per radar mode.
class ScanTimeStamp {
 public:
  /// All time stamps 0.
  ScanTimeStamp() = default;
  /// Sets every field, in declaration order.
  ScanTimeStamp(TimeStamp short_range, TimeStamp near_range, TimeStamp mid_range, TimeStamp long_range)
      : short_range_(short_range), near_range_(near_range), mid_range_(mid_range), long_range_(long_range) {}
  ScanTimeStamp(const ScanTimeStamp&) = default;
  ScanTimeStamp(ScanTimeStamp&&) = default;
  ScanTimeStamp& operator=(const ScanTimeStamp&) = default;
  ScanTimeStamp& operator=(ScanTimeStamp&&) = default;
  ~ScanTimeStamp() = default;

  /// Time stamp of the short-range mode.
  ZOL_NODISCARD TimeStamp short_range() const { return short_range_; }
  /// Sets the time stamp of the short-range mode.
  void set_short_range(TimeStamp value) { short_range_ = value; }
  /// Time stamp of the near-range mode.
  ZOL_NODISCARD TimeStamp near_range() const { return near_range_; }
  /// Sets the time stamp of the near-range mode.
  void set_near_range(TimeStamp value) { near_range_ = value; }
  /// Time stamp of the mid-range mode; scans are ordered by it.
  ZOL_NODISCARD TimeStamp mid_range() const { return mid_range_; }
  /// Sets the time stamp of the mid-range mode.
  void set_mid_range(TimeStamp value) { mid_range_ = value; }
  /// Time stamp of the long-range mode.
  ZOL_NODISCARD TimeStamp long_range() const { return long_range_; }
  /// Sets the time stamp of the long-range mode.
  void set_long_range(TimeStamp value) { long_range_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  TimeStamp short_range_{0};
  TimeStamp near_range_{0};
  TimeStamp mid_range_{0};
  TimeStamp long_range_{0};
};

/// Scan-wide information accompanying the detections of one scan.
class RadarDetectionsInfo {
 public:
  /// Time stamps 0, scan id 0, not valid, mounting 0.
  RadarDetectionsInfo() = default;
  /// Sets every field, in declaration order.
  RadarDetectionsInfo(const ScanTimeStamp& time_stamps, ScanId scan_id, bool is_valid,
                      const RadarMountingInformation& mounting_information)
      : time_stamps_(time_stamps),
        scan_id_(scan_id),
        is_valid_(is_valid),
        mounting_information_(mounting_information) {}
  RadarDetectionsInfo(const RadarDetectionsInfo&) = default;
  RadarDetectionsInfo(RadarDetectionsInfo&&) = default;
  RadarDetectionsInfo& operator=(const RadarDetectionsInfo&) = default;
  RadarDetectionsInfo& operator=(RadarDetectionsInfo&&) = default;
  ~RadarDetectionsInfo() = default;

  /// Time stamps of the scan per radar mode.
  ZOL_NODISCARD const ScanTimeStamp& time_stamps() const { return time_stamps_; }
  /// Sets the time stamps (copy).
  void set_time_stamps(const ScanTimeStamp& value) { time_stamps_ = value; }
  /// Sets the time stamps (move).
  void set_time_stamps(ScanTimeStamp&& value) { time_stamps_ = value; }
  /// Scan identifier.
  ZOL_NODISCARD ScanId scan_id() const { return scan_id_; }
  /// Sets the scan identifier.
  void set_scan_id(ScanId value) { scan_id_ = value; }
  /// True when the scan holds data of a started scan.
  ZOL_NODISCARD bool is_valid() const { return is_valid_; }
  /// Sets the validity.
  void set_is_valid(bool value) { is_valid_ = value; }
  /// Mounting of the sensor during the scan.
  ZOL_NODISCARD const RadarMountingInformation& mounting_information() const { return mounting_information_; }
  /// Sets the mounting information (copy).
  void set_mounting_information(const RadarMountingInformation& value) { mounting_information_ = value; }
  /// Sets the mounting information (move).
  void set_mounting_information(RadarMountingInformation&& value) { mounting_information_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  ScanTimeStamp time_stamps_{};
  ScanId scan_id_{0U};
  bool is_valid_{false};
  RadarMountingInformation mounting_information_{};
};

namespace detail {

/// Holder of CornerRadarDetections::kDetectionCount.
///
/// A C++14 user that binds the constant to a reference (`std::max(n, kDetectionCount)`) needs a definition outside
/// the class. Defined in this header as the static member of a class template, it is emitted as a shared (COMDAT)
/// symbol by every translation unit that needs it, whatever the language level: a definition in the library's
/// source instead would collide, in a static link, with the inline variable a C++17 user emits.
template <typename Owner>
struct DetectionCountHolder {
  /// Detections of one scan: the radar sends 40 detection groups of 5 detections each.
  static constexpr std::size_t kDetectionCount = 200U;
};

#if __cplusplus < 201703L
// From C++17 on the member is an inline variable and this definition would be a deprecated redeclaration.
template <typename Owner>
constexpr std::size_t DetectionCountHolder<Owner>::kDetectionCount;
#endif

}  // namespace detail

class CornerRadarDetections;

/// One complete radar scan: its information and all 200 detections.
///
/// No count is kept: every entry is always present, and an entry the radar did not fill stays default.
/// `kDetectionCount` (std::size_t, 200) is the number of detections in one scan; it may be used by value and by
/// reference, from C++14 and later.
class CornerRadarDetections : private detail::DetectionCountHolder<CornerRadarDetections> {
 public:
  using detail::DetectionCountHolder<CornerRadarDetections>::kDetectionCount;
  /// The detections of one scan, indexed by detection number.
  using DetectionArray = std::array<RadarDetection, kDetectionCount>;

  /// Default information and 200 default detections.
  CornerRadarDetections() = default;
  /// Sets every field, in declaration order.
  CornerRadarDetections(const RadarDetectionsInfo& info, const DetectionArray& detections)
      : info_(info), detections_(detections) {}
  CornerRadarDetections(const CornerRadarDetections&) = default;
  CornerRadarDetections(CornerRadarDetections&&) = default;
  CornerRadarDetections& operator=(const CornerRadarDetections&) = default;
  CornerRadarDetections& operator=(CornerRadarDetections&&) = default;
  ~CornerRadarDetections() = default;

  /// Scan information.
  ZOL_NODISCARD const RadarDetectionsInfo& info() const { return info_; }
  /// Sets the scan information (copy).
  void set_info(const RadarDetectionsInfo& value) { info_ = value; }
  /// Sets the scan information (move).
  void set_info(RadarDetectionsInfo&& value) { info_ = value; }
  /// All 200 detections, indexed by detection number.
  ZOL_NODISCARD const DetectionArray& detections() const { return detections_; }
  /// Sets all detections (copy).
  void set_detections(const DetectionArray& value) { detections_ = value; }
  /// Sets all detections (move).
  void set_detections(DetectionArray&& value) { detections_ = value; }
  /// Sets the one detection with number `index`, leaving the others. An `index` of `kDetectionCount` or more names
  /// no detection and is ignored, like every other bad input to the scan data.
  ///
  /// Scans are assembled five detections at a time; replacing the whole array for each would copy it 200 times.
  void set_detection(std::size_t index, const RadarDetection& value) {
    if (index < detections_.size()) {
      detections_[index] = value;
    }
  }
  /// The detections for writing in place, field by field: a producer filling a scan this way avoids building each
  /// detection elsewhere and copying it in.
  DetectionArray& mutable_detections() { return detections_; }

  /// Writes the information, then the 200 detections in index order (fixed length, no length field).
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads what `Serialize` writes; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  RadarDetectionsInfo info_{};
  DetectionArray detections_{};
};

/// Which faults the sensor reports.
class FaultReason {
 public:
  /// No fault.
  FaultReason() = default;
  /// Sets every field, in declaration order.
  FaultReason(bool is_communication_faulty, bool is_hardware_faulty, bool is_software_faulty, bool is_car_config_faulty,
              bool is_system_safety_faulty, bool is_calibration_faulty)
      : is_communication_faulty_(is_communication_faulty),
        is_hardware_faulty_(is_hardware_faulty),
        is_software_faulty_(is_software_faulty),
        is_car_config_faulty_(is_car_config_faulty),
        is_system_safety_faulty_(is_system_safety_faulty),
        is_calibration_faulty_(is_calibration_faulty) {}
  FaultReason(const FaultReason&) = default;
  FaultReason(FaultReason&&) = default;
  FaultReason& operator=(const FaultReason&) = default;
  FaultReason& operator=(FaultReason&&) = default;
  ~FaultReason() = default;

  /// Communication with the sensor is faulty (also set by the HAL when communication is lost).
  ZOL_NODISCARD bool is_communication_faulty() const { return is_communication_faulty_; }
  /// Sets the communication fault.
  void set_is_communication_faulty(bool value) { is_communication_faulty_ = value; }
  /// Hardware fault.
  ZOL_NODISCARD bool is_hardware_faulty() const { return is_hardware_faulty_; }
  /// Sets the hardware fault.
  void set_is_hardware_faulty(bool value) { is_hardware_faulty_ = value; }
  /// Software fault.
  ZOL_NODISCARD bool is_software_faulty() const { return is_software_faulty_; }
  /// Sets the software fault.
  void set_is_software_faulty(bool value) { is_software_faulty_ = value; }
  /// Car configuration fault.
  ZOL_NODISCARD bool is_car_config_faulty() const { return is_car_config_faulty_; }
  /// Sets the car configuration fault.
  void set_is_car_config_faulty(bool value) { is_car_config_faulty_ = value; }
  /// System safety fault.
  ZOL_NODISCARD bool is_system_safety_faulty() const { return is_system_safety_faulty_; }
  /// Sets the system safety fault.
  void set_is_system_safety_faulty(bool value) { is_system_safety_faulty_ = value; }
  /// Calibration fault.
  ZOL_NODISCARD bool is_calibration_faulty() const { return is_calibration_faulty_; }
  /// Sets the calibration fault.
  void set_is_calibration_faulty(bool value) { is_calibration_faulty_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  bool is_communication_faulty_{false};
  bool is_hardware_faulty_{false};
  bool is_software_faulty_{false};
  bool is_car_config_faulty_{false};
  bool is_system_safety_faulty_{false};
  bool is_calibration_faulty_{false};
};

/// State of the radar sensor.
class RadarStatus {
 public:
  /// Scan id 0, no misalignment, blockage and interference unknown, calibration not started, no fault, all flags
  /// false, temperature 0.
  RadarStatus() = default;
  /// Sets every field, in declaration order.
  RadarStatus(ScanId scan_id, AngleAlignmentError azimuth_alignment_error,
              AngleAlignmentError elevation_alignment_error, SensorBlockage blockage, Interference interference,
              CalibrationStatus calibration_status, const FaultReason& fault_reason, bool is_sensor_status_on,
              bool is_transmission_activated, bool is_system_failing, bool is_time_sync_ok,
              RadarTemperature flr_temperature)
      : scan_id_(scan_id),
        azimuth_alignment_error_(azimuth_alignment_error),
        elevation_alignment_error_(elevation_alignment_error),
        blockage_(blockage),
        interference_(interference),
        calibration_status_(calibration_status),
        fault_reason_(fault_reason),
        is_sensor_status_on_(is_sensor_status_on),
        is_transmission_activated_(is_transmission_activated),
        is_system_failing_(is_system_failing),
        is_time_sync_ok_(is_time_sync_ok),
        flr_temperature_(flr_temperature) {}
  RadarStatus(const RadarStatus&) = default;
  RadarStatus(RadarStatus&&) = default;
  RadarStatus& operator=(const RadarStatus&) = default;
  RadarStatus& operator=(RadarStatus&&) = default;
  ~RadarStatus() = default;

  /// Scan identifier the status belongs to.
  ZOL_NODISCARD ScanId scan_id() const { return scan_id_; }
  /// Sets the scan identifier.
  void set_scan_id(ScanId value) { scan_id_ = value; }
  /// Azimuth misalignment in radians.
  ZOL_NODISCARD AngleAlignmentError azimuth_alignment_error() const { return azimuth_alignment_error_; }
  /// Sets the azimuth misalignment in radians.
  void set_azimuth_alignment_error(AngleAlignmentError value) { azimuth_alignment_error_ = value; }
  /// Elevation misalignment in radians.
  ZOL_NODISCARD AngleAlignmentError elevation_alignment_error() const { return elevation_alignment_error_; }
  /// Sets the elevation misalignment in radians.
  void set_elevation_alignment_error(AngleAlignmentError value) { elevation_alignment_error_ = value; }
  /// Blockage of the sensor.
  ZOL_NODISCARD SensorBlockage blockage() const { return blockage_; }
  /// Sets the blockage.
  void set_blockage(SensorBlockage value) { blockage_ = value; }
  /// Interference seen by the sensor.
  ZOL_NODISCARD Interference interference() const { return interference_; }
  /// Sets the interference.
  void set_interference(Interference value) { interference_ = value; }
  /// State of the self-calibration.
  ZOL_NODISCARD CalibrationStatus calibration_status() const { return calibration_status_; }
  /// Sets the state of the self-calibration.
  void set_calibration_status(CalibrationStatus value) { calibration_status_ = value; }
  /// Reported faults.
  ZOL_NODISCARD const FaultReason& fault_reason() const { return fault_reason_; }
  /// Sets the reported faults (copy).
  void set_fault_reason(const FaultReason& value) { fault_reason_ = value; }
  /// Sets the reported faults (move).
  void set_fault_reason(FaultReason&& value) { fault_reason_ = value; }
  /// True when the sensor reports itself active.
  ZOL_NODISCARD bool is_sensor_status_on() const { return is_sensor_status_on_; }
  /// Sets whether the sensor is active.
  void set_is_sensor_status_on(bool value) { is_sensor_status_on_ = value; }
  /// True when the sensor is emitting.
  ZOL_NODISCARD bool is_transmission_activated() const { return is_transmission_activated_; }
  /// Sets whether the sensor is emitting.
  void set_is_transmission_activated(bool value) { is_transmission_activated_ = value; }
  /// True when the sensor reports a system safety failure.
  ZOL_NODISCARD bool is_system_failing() const { return is_system_failing_; }
  /// Sets whether the system is failing.
  void set_is_system_failing(bool value) { is_system_failing_ = value; }
  /// True when the sensor's time base is synchronised.
  ZOL_NODISCARD bool is_time_sync_ok() const { return is_time_sync_ok_; }
  /// Sets whether the time base is synchronised.
  void set_is_time_sync_ok(bool value) { is_time_sync_ok_ = value; }
  /// Sensor temperature.
  ZOL_NODISCARD RadarTemperature flr_temperature() const { return flr_temperature_; }
  /// Sets the sensor temperature.
  void set_flr_temperature(RadarTemperature value) { flr_temperature_ = value; }

  /// Writes all fields in declaration order; stops at the first failed write.
  zol::someip_serialization::Status Serialize(zol::someip_serialization::OutputStream& out) const;
  /// Reads all fields in declaration order; the object changes only when every read succeeded.
  zol::someip_serialization::Status Deserialize(zol::someip_serialization::InputStream& in);

 private:
  ScanId scan_id_{0U};
  AngleAlignmentError azimuth_alignment_error_{0.0F};
  AngleAlignmentError elevation_alignment_error_{0.0F};
  SensorBlockage blockage_{SensorBlockage::kBlockageUnknown};
  Interference interference_{Interference::kInterferenceUnknown};
  CalibrationStatus calibration_status_{CalibrationStatus::kNotStarted};
  FaultReason fault_reason_{};
  bool is_sensor_status_on_{false};
  bool is_transmission_activated_{false};
  bool is_system_failing_{false};
  bool is_time_sync_ok_{false};
  RadarTemperature flr_temperature_{0.0F};
};

/// Field-wise equality (floats compared exactly).
bool operator==(const RadarDetection& lhs, const RadarDetection& rhs);
/// Field-wise inequality.
inline bool operator!=(const RadarDetection& lhs, const RadarDetection& rhs) { return !(lhs == rhs); }
/// Field-wise equality (floats compared exactly).
bool operator==(const RadarMountingInformation& lhs, const RadarMountingInformation& rhs);
/// Field-wise inequality.
inline bool operator!=(const RadarMountingInformation& lhs, const RadarMountingInformation& rhs) {
  return !(lhs == rhs);
}
/// Field-wise equality.
bool operator==(const ScanTimeStamp& lhs, const ScanTimeStamp& rhs);
/// Field-wise inequality.
inline bool operator!=(const ScanTimeStamp& lhs, const ScanTimeStamp& rhs) { return !(lhs == rhs); }
/// Field-wise equality.
bool operator==(const RadarDetectionsInfo& lhs, const RadarDetectionsInfo& rhs);
/// Field-wise inequality.
inline bool operator!=(const RadarDetectionsInfo& lhs, const RadarDetectionsInfo& rhs) { return !(lhs == rhs); }
/// Equal information and all 200 detections equal.
bool operator==(const CornerRadarDetections& lhs, const CornerRadarDetections& rhs);
/// Field-wise inequality.
inline bool operator!=(const CornerRadarDetections& lhs, const CornerRadarDetections& rhs) { return !(lhs == rhs); }
/// Field-wise equality.
bool operator==(const FaultReason& lhs, const FaultReason& rhs);
/// Field-wise inequality.
inline bool operator!=(const FaultReason& lhs, const FaultReason& rhs) { return !(lhs == rhs); }
/// Field-wise equality (floats compared exactly).
bool operator==(const RadarStatus& lhs, const RadarStatus& rhs);
/// Field-wise inequality.
inline bool operator!=(const RadarStatus& lhs, const RadarStatus& rhs) { return !(lhs == rhs); }

}  // namespace radar_service

#endif  // FRONTSIDERADARLEFTHAL_TYPES_H
