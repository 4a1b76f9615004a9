// A radar scan assembled from its 42 decoded signal-group records in the order of the HAL's input cycle, and what the
// scan data manager then publishes.
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include "detection_group_records.h"
#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "radarScanDataManager.h"
#include "zol/mono_clock.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
using radar_service::CalibrationStatus;
using radar_service::CornerRadarDetections;
using radar_service::FaultReason;
using radar_service::Interference;
using radar_service::Mode;
using radar_service::QualityAggregated;
using radar_service::RadarDetection;
using radar_service::RadarStatus;
using radar_service::SensorBlockage;

constexpr std::size_t kGroupCount = 40U;
constexpr std::size_t kDetectionsPerGroup = 5U;

using fsrl_test::SensorDetection;

// Everything the sensor sends about one scan.
struct SensorScan {
  std::uint8_t scan_id;
  std::uint64_t time_stamps[4];  // short, near, mid and long range
  double x_offset;
  double y_offset;
  double yaw_degrees;
  double azimuth_misalignment_degrees;
  double elevation_misalignment_degrees;
  std::array<SensorDetection, kGroupCount * kDetectionsPerGroup> detections;
};

// Values that differ for every detection, every field and every seed. The raw enumerations run through all their
// named values.
SensorScan MakeSensorScan(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp, double seed) {
  SensorScan scan{};
  scan.scan_id = scan_id;
  scan.time_stamps[0] = mid_range_time_stamp - 30U;
  scan.time_stamps[1] = mid_range_time_stamp - 20U;
  scan.time_stamps[2] = mid_range_time_stamp;
  scan.time_stamps[3] = mid_range_time_stamp + 10U;
  scan.x_offset = 0.35 + seed;
  scan.y_offset = -0.8 - seed;
  scan.yaw_degrees = 75.3 + seed;
  scan.azimuth_misalignment_degrees = 1.7 + seed;
  scan.elevation_misalignment_degrees = -0.9 - seed;
  for (std::size_t k = 0U; k < scan.detections.size(); ++k) {
    const double number = static_cast<double>(k) + seed;
    scan.detections[k] = SensorDetection{0.1 + number * 0.7,
                                         -50.3 + number * 0.31,
                                         -60.05 + number * 0.6,
                                         -10.2 + number * 0.1,
                                         -20.7 + number * 0.27,
                                         3.3 + number * 0.21,
                                         static_cast<std::uint8_t>(k % 4U),
                                         static_cast<std::uint8_t>((k / 3U) % 2U),
                                         static_cast<std::uint8_t>((k / 2U) % 4U)};
  }
  return scan;
}

// Builds the group's record of the scan and translates it.
void TranslateGroup(RadarScanDataManager& manager, const SensorScan& scan, std::size_t group) {
  fsrl_test::GroupDetections values{};
  for (std::size_t n = 0U; n < kDetectionsPerGroup; ++n) {
    values[n] = scan.detections[group * kDetectionsPerGroup + n];
  }
  fsrl_test::kDetectionGroups[group].translate(manager, scan.scan_id, values, 9U, 0xABCDU);
}

types::RSDS4SigSts1 StatusMessage1(const SensorScan& scan) {
  types::RSDS4SigSts1 message{};
  message.rsds4sig_sts1counter = 3U;
  message.rsds4sig_sts1crc = 0x1234U;
  message.rsds4sig_sts1scan_id = scan.scan_id;
  message.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusNoBlockage;
  message.rsds4sig_sts1interference =
      types::RSDS4SigSts1InterferenceEnum::RSDS4Interference_RSDS4FullInterferenceStatus;
  // Software and safety fault, plus an environment fault that the data model has no place for.
  message.rsds4sig_sts1dtn_list_fault_reason = static_cast<types::RSDS4SigSts1DtnListFaultReasonEnum>(0x1AU);
  message.rsds4sig_sts1dtn_list_sys_sfty_failure_flag =
      types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum::DtnListSysSftyFailureFlag_Normal;
  message.rsds4sig_sts1rdr_emsn_sts = types::RSDS4SigSts1RdrEmsnStsEnum::RdrEmsnSts_Emmitting;
  message.rsds4sig_sts1rdr_sts_detn = types::RSDS4SigSts1RdrStsDetnEnum::RdrStsDetn_Active;
  message.rsds4sig_sts1rspstatus_info = types::RSDS4SigSts1RSPStatusInfoEnum::RSPStatusInfo_ValidityValid;
  message.rsds4sig_sts1time_stamp0 = scan.time_stamps[0];
  message.rsds4sig_sts1time_stamp1 = scan.time_stamps[1];
  message.rsds4sig_sts1time_stamp2 = scan.time_stamps[2];
  message.rsds4sig_sts1time_stamp3 = scan.time_stamps[3];
  message.rsds4sig_sts1time_stamp_status = types::RSDS4SigSts1TimeStampStatusEnum::TimeStampStatus_Ok;
  message.rsds4sig_sts1swvers_major = 4U;
  message.rsds4sig_sts1swvers_minor = 2U;
  message.rsds4sig_sts1if_vers_major = 1U;
  message.rsds4sig_sts1if_vers_minor = 7U;
  message.rsds4sig_sts1xaxis_offs = scan.x_offset;
  message.rsds4sig_sts1yaxis_offs = scan.y_offset;
  message.rsds4sig_sts1zaxis_offs = 0.45;
  message.rsds4sig_sts1xorient_ang = 0.5;
  message.rsds4sig_sts1yorient_ang = -1.5;
  message.rsds4sig_sts1zorient_ang = scan.yaw_degrees;
  message.rsds4sig_sts1phase_noise = types::RSDS4SigSts1PhaseNoiseEnum::PhaseNoise_PhaseNoiseNotDetected;
  return message;
}

types::RSDS4SigSts2 StatusMessage2(const SensorScan& scan) {
  types::RSDS4SigSts2 message{};
  message.rsds4sig_sts2counter = 5U;
  message.rsds4sig_sts2crc = 0x4321U;
  message.rsds4sig_sts2scan_id = scan.scan_id;
  message.rsds4sig_sts2time_stamp_obj = scan.time_stamps[2] + 5U;
  message.rsds4sig_sts2interference_lev = 12U;
  message.rsds4sig_sts2state_machine_status = types::RSDS4SigSts2StateMachineStatusEnum::StateMachineStatus_Normal;
  message.rsds4sig_sts2azi_mis_alnmnt_ang = scan.azimuth_misalignment_degrees;
  message.rsds4sig_sts2ele_mis_alnmnt_ang = scan.elevation_misalignment_degrees;
  message.rsds4sig_sts2blockage_lev = 3U;
  message.rsds4sig_sts2cal_rlt_sts = types::RSDS4SigSts2CalRltStsEnum::RSDS4CalRltSts_NotOK;
  message.rsds4sig_sts2cal_sts = types::RSDS4SigSts2CalStsEnum::CalibrationStatus_NotOngoing;
  message.rsds4sig_sts2cal_prgrs_sts = 100U;
  message.rsds4sig_sts2rdr_sts_obj = types::RSDS4SigSts2RdrStsObjEnum::RdrStsDetn_Active;
  message.rsds4sig_sts2track_status_info = types::RSDS4SigSts2TrackStatusInfoEnum::TrackStatusInfo_TraActive;
  message.rsds4sig_sts2pcansync_status_info =
      types::RSDS4SigSts2PCANSyncStatusInfoEnum::PCANSyncStatusInfo_Synchronized;
  return message;
}

constexpr std::array<Mode, 4> kModeOfRawMode{{Mode::kShortRange, Mode::kNearRange, Mode::kMidRange, Mode::kLongRange}};
constexpr std::array<QualityAggregated, 4> kQualityOfRawQuality{
    {QualityAggregated::kLow, QualityAggregated::kMid, QualityAggregated::kHigh, QualityAggregated::kUnknown}};

float Radians(double degrees) { return static_cast<float>(degrees) * 3.1415927F / 180.0F; }

// Checks every value of the published scan against what the sensor sent.
void ExpectPublishedScan(const CornerRadarDetections& published, const SensorScan& sent) {
  EXPECT_EQ(published.info().scan_id(), sent.scan_id);
  EXPECT_TRUE(published.info().is_valid());
  EXPECT_EQ(published.info().time_stamps().short_range(), static_cast<std::int64_t>(sent.time_stamps[0]));
  EXPECT_EQ(published.info().time_stamps().near_range(), static_cast<std::int64_t>(sent.time_stamps[1]));
  EXPECT_EQ(published.info().time_stamps().mid_range(), static_cast<std::int64_t>(sent.time_stamps[2]));
  EXPECT_EQ(published.info().time_stamps().long_range(), static_cast<std::int64_t>(sent.time_stamps[3]));
  EXPECT_EQ(published.info().mounting_information().x_offset(), static_cast<float>(sent.x_offset));
  EXPECT_EQ(published.info().mounting_information().y_offset(), static_cast<float>(sent.y_offset));
  EXPECT_EQ(published.info().mounting_information().phi_offset(), Radians(sent.yaw_degrees));

  for (std::size_t k = 0U; k < sent.detections.size(); ++k) {
    SCOPED_TRACE(testing::Message() << "detection " << k);
    const SensorDetection& raw = sent.detections[k];
    const RadarDetection& detection = published.detections()[k];
    EXPECT_EQ(detection.range(), static_cast<float>(raw.range));
    EXPECT_EQ(detection.range_rate(), static_cast<float>(raw.range_rate));
    EXPECT_EQ(detection.azimuth(), static_cast<float>(raw.azimuth));
    EXPECT_EQ(detection.elevation(), static_cast<float>(raw.elevation));
    EXPECT_EQ(detection.rcs(), static_cast<float>(raw.rcs));
    EXPECT_EQ(detection.snr(), static_cast<float>(raw.snr));
    EXPECT_EQ(detection.is_dynamic(), raw.dyn_pr_pty == 1U);
    EXPECT_EQ(detection.mode(), kModeOfRawMode[raw.mode]);
    EXPECT_EQ(detection.quality_aggregated(), kQualityOfRawQuality[raw.quality]);
  }
}

void ExpectPublishedStatus(const RadarStatus& published, const SensorScan& sent) {
  EXPECT_EQ(published.scan_id(), sent.scan_id);
  EXPECT_EQ(published.azimuth_alignment_error(), Radians(sent.azimuth_misalignment_degrees));
  EXPECT_EQ(published.elevation_alignment_error(), Radians(sent.elevation_misalignment_degrees));
  EXPECT_EQ(published.blockage(), SensorBlockage::kNoBlockage);
  EXPECT_EQ(published.interference(), Interference::kFullInterference);
  EXPECT_EQ(published.calibration_status(), CalibrationStatus::kComplete);
  EXPECT_EQ(published.fault_reason(), FaultReason(false, false, true, false, true, true));
  EXPECT_TRUE(published.is_sensor_status_on());
  EXPECT_TRUE(published.is_transmission_activated());
  EXPECT_FALSE(published.is_system_failing());
  EXPECT_TRUE(published.is_time_sync_ok());
  EXPECT_EQ(published.flr_temperature(), 0.0F);
}

class ScanAssemblyTest : public ::testing::Test {
 protected:
  // One input cycle of the HAL for a scan whose records all arrive together: start the slots, translate status
  // messages 1 and 2, then the detection groups in ascending order (all but `missing_group`).
  void RunCycle(const SensorScan& scan, std::size_t missing_group = kGroupCount) {
    manager_->InitializeStatusData(scan.scan_id);
    manager_->InitializeDetectionsData(scan.scan_id);
    manager_->TranslateAndStoreStatus(StatusMessage1(scan));
    manager_->TranslateAndStoreStatus(StatusMessage2(scan));
    for (std::size_t group = 0U; group < kGroupCount; ++group) {
      if (group != missing_group) {
        TranslateGroup(*manager_, scan, group);
      }
    }
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point{std::chrono::seconds(3)}};
  // Two arrays of 256 scans: too large for the stack.
  std::unique_ptr<RadarScanDataManager> manager_ = std::make_unique<RadarScanDataManager>();
};

TEST_F(ScanAssemblyTest, AScanFedWithAllItsRecordsBecomesThePublishedScanWithEveryValue) {
  const SensorScan scan = MakeSensorScan(42U, 123456789U, 0.0);
  RunCycle(scan);

  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(scan.scan_id));
  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(scan.scan_id));
  // Publishing consumes the slots: the same scan is announced once only.
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(scan.scan_id));
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(scan.scan_id));

  ExpectPublishedScan(manager_->GetRadarScanDetections(), scan);
  ExpectPublishedStatus(manager_->GetRadarScanStatus(), scan);
}

TEST_F(ScanAssemblyTest, AScanMissingOneDetectionGroupIsNotPublished) {
  const SensorScan scan = MakeSensorScan(42U, 5000U, 0.0);
  RunCycle(scan, 23U);

  // The status is whole and goes out; the detections wait for the missing group.
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(scan.scan_id));
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(scan.scan_id));
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
  ExpectPublishedStatus(manager_->GetRadarScanStatus(), scan);
}

TEST_F(ScanAssemblyTest, TheMissingGroupArrivingInALaterCycleOfTheSameScanCompletesIt) {
  const SensorScan scan = MakeSensorScan(42U, 5000U, 0.0);
  RunCycle(scan, 23U);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(scan.scan_id));
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(scan.scan_id));

  // The next cycle, 50 ms later, reads every group again; the ones already stored keep their values.
  clock_.Advance(std::chrono::milliseconds(50));
  SensorScan repeated = scan;
  for (SensorDetection& detection : repeated.detections) {
    detection.range += 1.0;
  }
  for (std::size_t k = 115U; k < 120U; ++k) {
    repeated.detections[k] = scan.detections[k];
  }
  RunCycle(repeated);

  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(scan.scan_id));
  ExpectPublishedScan(manager_->GetRadarScanDetections(), scan);
}

TEST_F(ScanAssemblyTest, ASecondNewerScanReplacesTheFirst) {
  const SensorScan first = MakeSensorScan(42U, 5000U, 0.0);
  RunCycle(first);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(first.scan_id));
  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(first.scan_id));

  clock_.Advance(std::chrono::milliseconds(50));
  const SensorScan second = MakeSensorScan(43U, 5060U, 0.5);
  RunCycle(second);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(second.scan_id));
  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(second.scan_id));

  ExpectPublishedScan(manager_->GetRadarScanDetections(), second);
  ExpectPublishedStatus(manager_->GetRadarScanStatus(), second);
}

}  // namespace
