// The loaded HAL end to end: radar frames encoded by the signal database and E2E-protected like the sensor sends
// them go into the signal communication service, and the facade created by instance id delivers scans and status.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "converters.h"
#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "hal_test_platform.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "radar_frames.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/signalcomm/service.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using fsrl_test::GroupStem;
using fsrl_test::kDetectionCount;
using fsrl_test::kDetectionsPerGroup;
using fsrl_test::kStatus1Group;
using fsrl_test::kStatus2Group;
using fsrl_test::MakeSensorScan;
using fsrl_test::PhysicalOf;
using fsrl_test::SensorScan;
using radar_service::CornerRadarDetections;
using radar_service::RadarStatus;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;

constexpr char kReadFailedMessage[] = "Failed to read at least one property from signal database";

radar_service::Mode ExpectedMode(std::uint64_t raw) {
  switch (raw) {
    case 1U:
      return radar_service::Mode::kNearRange;
    case 2U:
      return radar_service::Mode::kMidRange;
    case 3U:
      return radar_service::Mode::kLongRange;
    default:
      return radar_service::Mode::kShortRange;
  }
}

radar_service::QualityAggregated ExpectedQuality(std::uint64_t raw) {
  switch (raw) {
    case 0U:
      return radar_service::QualityAggregated::kLow;
    case 1U:
      return radar_service::QualityAggregated::kMid;
    case 2U:
      return radar_service::QualityAggregated::kHigh;
    default:
      return radar_service::QualityAggregated::kUnknown;
  }
}

// Every value of a published scan against the raw values the sensor encoded.
void ExpectDetectionsAsEncoded(const CornerRadarDetections& published, const SensorScan& scan) {
  const std::string status1 = GroupStem(kStatus1Group);
  EXPECT_EQ(published.info().scan_id(), scan.scan_id);
  EXPECT_TRUE(published.info().is_valid());
  EXPECT_EQ(published.info().time_stamps().short_range(), static_cast<std::int64_t>(scan.time_stamps[0]));
  EXPECT_EQ(published.info().time_stamps().near_range(), static_cast<std::int64_t>(scan.time_stamps[1]));
  EXPECT_EQ(published.info().time_stamps().mid_range(), static_cast<std::int64_t>(scan.time_stamps[2]));
  EXPECT_EQ(published.info().time_stamps().long_range(), static_cast<std::int64_t>(scan.time_stamps[3]));
  EXPECT_EQ(published.info().mounting_information().x_offset(),
            PhysicalOf(kStatus1Group, status1 + "xaxis_offs", scan.xaxis_offs));
  EXPECT_EQ(published.info().mounting_information().y_offset(),
            PhysicalOf(kStatus1Group, status1 + "yaxis_offs", scan.yaxis_offs));
  EXPECT_EQ(published.info().mounting_information().phi_offset(),
            ConvertToRadians(PhysicalOf(kStatus1Group, status1 + "zorient_ang", scan.zorient_ang)));

  for (std::size_t number = 0U; number < kDetectionCount; ++number) {
    SCOPED_TRACE("detection " + std::to_string(number));
    const std::size_t group = number / kDetectionsPerGroup;
    const std::string stem = GroupStem(group);
    const std::string digit = std::to_string(number % kDetectionsPerGroup);
    const fsrl_test::DetectionRaw& raw = scan.detections[number];
    const radar_service::RadarDetection& detection = published.detections()[number];
    EXPECT_EQ(detection.range(), PhysicalOf(group, stem + "range" + digit, raw.range));
    EXPECT_EQ(detection.range_rate(), PhysicalOf(group, stem + "rng_rt" + digit, raw.rng_rt));
    EXPECT_EQ(detection.azimuth(), PhysicalOf(group, stem + "azi_ang" + digit, raw.azi_ang));
    EXPECT_EQ(detection.elevation(), PhysicalOf(group, stem + "ele_ang" + digit, raw.ele_ang));
    EXPECT_EQ(detection.rcs(), PhysicalOf(group, stem + "rcs" + digit, raw.rcs));
    EXPECT_EQ(detection.snr(), PhysicalOf(group, stem + "snr" + digit, raw.snr));
    EXPECT_EQ(detection.is_dynamic(), raw.dyn_pr_pty == 1U);
    EXPECT_EQ(detection.mode(), ExpectedMode(raw.mode));
    EXPECT_EQ(detection.quality_aggregated(), ExpectedQuality(raw.quality));
  }
}

void ExpectStatusAsEncoded(const RadarStatus& status, const SensorScan& scan) {
  const std::string status2 = GroupStem(kStatus2Group);
  EXPECT_EQ(status.scan_id(), scan.scan_id);
  EXPECT_EQ(status.blockage(), scan.blockage == 1U   ? radar_service::SensorBlockage::kFullBlockage
                               : scan.blockage == 2U ? radar_service::SensorBlockage::kNoBlockage
                                                     : radar_service::SensorBlockage::kBlockageUnknown);
  EXPECT_EQ(status.interference(), scan.interference == 1U   ? radar_service::Interference::kFullInterference
                                   : scan.interference == 2U ? radar_service::Interference::kNoInterference
                                                             : radar_service::Interference::kInterferenceUnknown);
  EXPECT_EQ(status.fault_reason().is_communication_faulty(), (scan.fault_reason & 1U) != 0U);
  EXPECT_EQ(status.fault_reason().is_software_faulty(), (scan.fault_reason & 2U) != 0U);
  EXPECT_EQ(status.fault_reason().is_hardware_faulty(), (scan.fault_reason & 4U) != 0U);
  EXPECT_EQ(status.fault_reason().is_system_safety_faulty(), (scan.fault_reason & 8U) != 0U);
  EXPECT_FALSE(status.fault_reason().is_car_config_faulty());
  EXPECT_EQ(status.fault_reason().is_calibration_faulty(), scan.cal_rlt_sts == 1U);
  EXPECT_EQ(status.is_sensor_status_on(), scan.rdr_sts_detn == 1U);
  EXPECT_EQ(status.is_transmission_activated(), scan.rdr_emsn_sts != 0U);
  EXPECT_EQ(status.is_system_failing(), scan.sys_sfty_failure_flag != 0U);
  EXPECT_EQ(status.is_time_sync_ok(), scan.time_stamp_status != 0U);
  EXPECT_EQ(status.azimuth_alignment_error(),
            ConvertToRadians(PhysicalOf(kStatus2Group, status2 + "azi_mis_alnmnt_ang", scan.azi_mis_alnmnt_ang)));
  EXPECT_EQ(status.elevation_alignment_error(),
            ConvertToRadians(PhysicalOf(kStatus2Group, status2 + "ele_mis_alnmnt_ang", scan.ele_mis_alnmnt_ang)));
  EXPECT_EQ(status.calibration_status(), scan.cal_sts == 1U   ? radar_service::CalibrationStatus::kComplete
                                         : scan.cal_sts == 2U ? radar_service::CalibrationStatus::kNotComplete
                                                              : radar_service::CalibrationStatus::kNotStarted);
  EXPECT_EQ(status.flr_temperature(), 0.0F);
}

class HalEndToEnd : public ::testing::Test {
 protected:
  HalEndToEnd() {
    fsrl_test::ResetPlatformForHal(executable_);

    hal_ = fsrl_test::CreateHal(executable_);
    detection_subscription_ = hal_.SubscribeToFsrlDetections(
        [this] { detection_scan_ids_.push_back(hal_.GetFsrlDetections().value().info().scan_id()); });
    status_subscription_ = hal_.SubscribeToFsrlStatus([this] { ++status_notifications_; });
  }

  // One cycle as the owner runs it: a new transaction, then the input cycle. Each cycle is 10 ms after the last,
  // which keeps lost-communication evaluation in its normal once-per-millisecond rhythm.
  ErrorCode Cycle() {
    clock_.Advance(std::chrono::milliseconds(10));
    zol::afw::core::Transaction::Begin();
    const ErrorCode result = hal_.ProcessFsrlInput();
    // Whatever the signal service posted to the owner's queue runs between cycles, as it would on the target.
    executable_.execution_context()->dispatch_queue().RunPending();
    return result;
  }

  CornerRadarDetections Detections() const { return hal_.GetFsrlDetections().value(); }

  void PublishStatus(const SensorScan& scan) {
    sensor_.Publish(kStatus1Group, scan);
    sensor_.Publish(kStatus2Group, scan);
  }
  // The whole scan, with the CRC of detection group @p group broken.
  void PublishWithBadCrcIn(std::size_t group, const SensorScan& scan) {
    PublishStatus(scan);
    if (group > 0U) {
      sensor_.PublishDetectionGroups(0U, group - 1U, scan);
    }
    sensor_.PublishWithBadCrc(group, scan);
    if (group < 39U) {
      sensor_.PublishDetectionGroups(group + 1U, 39U, scan);
    }
  }

  struct ResentScan {
    SensorScan first;
    SensorScan resent;
  };
  // Scan 9's slot left half filled (the second half of the detection frames belongs to another scan), then, @p gap
  // later, the whole scan sent again with other detection values. The alive timeout is raised: the restart of a slot
  // needs more than a second without losing the sensor.
  ResentScan HalfFilledSlotResentAfter(std::chrono::milliseconds gap) {
    device_activator::DeviceActivationService::Instance().SetAliveTimeout(std::chrono::seconds(5));
    ResentScan scans{MakeSensorScan(9U, 8000000U, 1U), {}};
    SensorScan half = scans.first;
    for (std::size_t group = 20U; group < 40U; ++group) {
      half.detection_group_scan_ids[group] = 200U;
    }
    PublishStatus(scans.first);
    sensor_.PublishDetectionGroups(0U, 39U, half);
    EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
    EXPECT_TRUE(detection_scan_ids_.empty());

    clock_.Advance(gap);
    scans.resent = scans.first;
    scans.resent.detections = MakeSensorScan(9U, 8000000U, 2U).detections;
    sensor_.PublishDetectionGroups(0U, 39U, scans.resent);
    EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
    return scans;
  }

  RadarStatus Status() const { return hal_.GetFsrlStatus().value(); }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(100))};
  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  zol::afw::core::Executable executable_{"vehicle"};
  fsrl_test::RadarFrameSource sensor_;
  FrontSideRadarLeftHal hal_;
  std::vector<std::uint8_t> detection_scan_ids_;
  int status_notifications_ = 0;
  Subscription detection_subscription_;
  Subscription status_subscription_;
};

TEST_F(HalEndToEnd, AWholeScanIsDeliveredWithEveryValueAsTheSensorEncodedIt) {
  const SensorScan scan = MakeSensorScan(17U, 1000000U, 1U);
  sensor_.PublishScan(scan);

  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(17U));
  EXPECT_EQ(status_notifications_, 1);
  ExpectDetectionsAsEncoded(Detections(), scan);
  ExpectStatusAsEncoded(Status(), scan);
}

TEST_F(HalEndToEnd, ConsecutiveScansAreDeliveredOneAfterTheOtherWithTheirOwnValues) {
  const SensorScan first = MakeSensorScan(255U, 1000000U, 1U);
  SensorScan second = MakeSensorScan(0U, 1050000U, 2U);
  second.blockage = 1U;
  second.interference = 1U;
  second.fault_reason = 0x0FU;
  second.rdr_sts_detn = 2U;
  second.rdr_emsn_sts = 0U;
  second.sys_sfty_failure_flag = 1U;
  second.time_stamp_status = 0U;
  second.cal_sts = 2U;
  second.cal_rlt_sts = 1U;

  sensor_.PublishScan(first);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ExpectDetectionsAsEncoded(Detections(), first);
  ExpectStatusAsEncoded(Status(), first);

  sensor_.PublishScan(second);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(255U, 0U));
  EXPECT_EQ(status_notifications_, 2);
  ExpectDetectionsAsEncoded(Detections(), second);
  ExpectStatusAsEncoded(Status(), second);
}

TEST_F(HalEndToEnd, AScanSplitOverTwoCyclesIsDeliveredWhenItsSecondHalfArrives) {
  const SensorScan scan = MakeSensorScan(33U, 2000000U, 4U);
  PublishStatus(scan);
  sensor_.PublishDetectionGroups(0U, 19U, scan);

  // Group 20 has not arrived: the detection fetch stops there.
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_TRUE(detection_scan_ids_.empty());
  EXPECT_EQ(status_notifications_, 1);
  EXPECT_FALSE(Detections().info().is_valid());

  sensor_.PublishDetectionGroups(20U, 39U, scan);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(33U));
  EXPECT_EQ(status_notifications_, 1);
  ExpectDetectionsAsEncoded(Detections(), scan);
}

// The failed group ends the cycle's detection fetch, so the groups after it are not checked in that cycle either:
// the scan completes once the broken group and those after it are sent again intact.
TEST_F(HalEndToEnd, ABadCrcInOneDetectionGroupHoldsTheScanBackUntilTheGroupIsSentAgainIntact) {
  const SensorScan scan = MakeSensorScan(8U, 3000000U, 1U);
  PublishWithBadCrcIn(5U, scan);

  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_TRUE(detection_scan_ids_.empty());
  EXPECT_EQ(status_notifications_, 1);
  EXPECT_EQ(sink_.Count(kReadFailedMessage), 1U);

  sensor_.PublishDetectionGroups(5U, 39U, scan);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(8U));
  ExpectDetectionsAsEncoded(Detections(), scan);
}

// A read that finds no new payload does not check it again; the payload it holds was rejected, so the read fails
// however many cycles run before the sensor sends the group again. The scan is never completed from the rejected
// bytes, even though only the CRC of that frame was broken.
TEST_F(HalEndToEnd, CyclesWithoutNewDataAfterABadCrcNeverCompleteTheScanFromTheRejectedPayload) {
  const SensorScan scan = MakeSensorScan(8U, 3000000U, 1U);
  PublishWithBadCrcIn(5U, scan);
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);
  ASSERT_TRUE(detection_scan_ids_.empty());

  for (int cycle = 0; cycle < 5; ++cycle) {
    EXPECT_EQ(Cycle(), ErrorCode::kFailure) << cycle;
  }

  EXPECT_TRUE(detection_scan_ids_.empty());
  EXPECT_FALSE(Detections().info().is_valid());
}

// The HAL cycles five times per radar scan (10 ms cycle, 50 ms scan period), as it does in the vehicle, and in
// every third scan one detection frame arrives with a data bit flipped. The four cycles after an arrival find no
// new data; none of them may take up a rejected frame: every published scan is exactly what the radar sent for
// it, the damaged scans are never published, and every intact one is, once.
TEST_F(HalEndToEnd, CyclingFasterThanTheRadarNeverPublishesAValueFromARejectedFrame) {
  constexpr unsigned kScans = 24U;
  constexpr int kCyclesPerScan = 5;
  std::map<std::uint8_t, SensorScan> sent;
  std::set<std::uint8_t> damaged;
  std::size_t compared = 0U;
  for (unsigned n = 0U; n < kScans; ++n) {
    const auto scan_id = static_cast<std::uint8_t>(10U + n);
    const SensorScan scan = MakeSensorScan(scan_id, 1000000U + 50000U * n, n + 1U);
    sent.emplace(scan_id, scan);
    PublishStatus(scan);
    // A different group each time, the first and the last among them.
    const std::size_t broken_group = n % 3U == 1U ? (n * 13U) % 40U : 40U;
    for (std::size_t group = 0U; group < 40U; ++group) {
      if (group != broken_group) {
        sensor_.Publish(group, scan);
        continue;
      }
      std::vector<std::uint8_t> frame = sensor_.Build(group, scan);
      // The first byte after the E2E header (CRC and counter) carries detection data.
      const std::size_t data_byte = initialfrontsideradarlefthal_signal_groups[group].offset / 8U + 3U;
      frame[data_byte] = static_cast<std::uint8_t>(frame[data_byte] ^ 0x04U);
      ASSERT_EQ(zol::signalcomm::Service::Instance().Publish(
                    fsrl_test::GroupName(group), zol::memory::span<const std::uint8_t>(frame.data(), frame.size())),
                0);
      damaged.insert(scan_id);
    }
    for (int cycle = 0; cycle < kCyclesPerScan; ++cycle) {
      const std::size_t notified_before = detection_scan_ids_.size();
      // A cycle whose reads meet a rejected frame fails; what matters here is what it publishes.
      static_cast<void>(Cycle());
      if (detection_scan_ids_.size() > notified_before) {
        const CornerRadarDetections published = Detections();
        const auto it = sent.find(published.info().scan_id());
        ASSERT_NE(it, sent.end());
        ExpectDetectionsAsEncoded(published, it->second);
        ++compared;
      }
    }
  }

  std::vector<std::uint8_t> intact;
  for (const auto& entry : sent) {
    if (damaged.count(entry.first) == 0U) {
      intact.push_back(entry.first);
    }
  }
  EXPECT_EQ(damaged.size(), 8U);
  EXPECT_EQ(detection_scan_ids_, intact);
  EXPECT_EQ(compared, intact.size());
}

// When the sensor moves on instead, the scan with the broken group is never published; the next one is, whole.
TEST_F(HalEndToEnd, AfterABadCrcTheNextWholeScanIsDeliveredAndTheBrokenOneNever) {
  const SensorScan broken = MakeSensorScan(8U, 3000000U, 1U);
  PublishStatus(broken);
  sensor_.PublishDetectionGroups(0U, 4U, broken);
  sensor_.PublishWithBadCrc(5U, broken);
  sensor_.PublishDetectionGroups(6U, 39U, broken);
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);

  const SensorScan next = MakeSensorScan(9U, 3050000U, 2U);
  sensor_.PublishScan(next);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(9U));
  ExpectDetectionsAsEncoded(Detections(), next);
}

// Status group 1 opens a scan's slot only when both status groups were read; without group 2 the detections have
// nowhere to complete, so the scan and its status are both delivered once group 2 arrives.
TEST_F(HalEndToEnd, WithoutStatusGroup2TheScanAndItsStatusAreDeliveredOnlyOnceItArrives) {
  const SensorScan scan = MakeSensorScan(21U, 4000000U, 3U);
  sensor_.Publish(kStatus1Group, scan);
  sensor_.PublishDetectionGroups(0U, 39U, scan);

  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_TRUE(detection_scan_ids_.empty());
  EXPECT_EQ(status_notifications_, 0);
  EXPECT_EQ(Status().scan_id(), 0U);

  sensor_.Publish(kStatus2Group, scan);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(status_notifications_, 1);
  ExpectStatusAsEncoded(Status(), scan);
  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(21U));
  ExpectDetectionsAsEncoded(Detections(), scan);
}

TEST_F(HalEndToEnd, WithoutStatusGroup1NeitherTheScanNorItsStatusIsDelivered) {
  const SensorScan scan = MakeSensorScan(21U, 4000000U, 3U);
  sensor_.Publish(kStatus2Group, scan);
  sensor_.PublishDetectionGroups(0U, 39U, scan);

  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);

  EXPECT_TRUE(detection_scan_ids_.empty());
  EXPECT_EQ(status_notifications_, 0);

  // Group 2 was never read while group 1 was missing, so it takes its next frame to be checked.
  PublishStatus(scan);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(21U));
  EXPECT_EQ(status_notifications_, 1);
}

TEST_F(HalEndToEnd, ACounterJumpOfMoreThan14FailsThatGroupAndItsNextFrameIsAcceptedAgain) {
  sensor_.PublishScan(MakeSensorScan(1U, 5000000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  // The sensor loses 15 frames of group 10: the counter moves by 16, more than the allowed 14.
  const SensorScan jumped = MakeSensorScan(2U, 5050000U, 2U);
  sensor_.SkipCounters(10U, 15U);
  sensor_.PublishScan(jumped);
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(1U));
  EXPECT_EQ(Status().scan_id(), 2U);

  const SensorScan next = MakeSensorScan(3U, 5100000U, 3U);
  sensor_.PublishScan(next);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(1U, 3U));
  ExpectDetectionsAsEncoded(Detections(), next);
}

TEST_F(HalEndToEnd, ACounterJumpOf14IsStillAccepted) {
  sensor_.PublishScan(MakeSensorScan(1U, 5000000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  const SensorScan next = MakeSensorScan(2U, 5050000U, 2U);
  sensor_.SkipCounters(10U, 13U);
  sensor_.PublishScan(next);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(1U, 2U));
  ExpectDetectionsAsEncoded(Detections(), next);
}

TEST_F(HalEndToEnd, SilenceLongerThanTheAliveTimeoutMarksCommunicationLostUntilTheSensorIsBack) {
  const SensorScan first = MakeSensorScan(40U, 6000000U, 1U);
  sensor_.PublishScan(first);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_EQ(status_notifications_, 1);

  // Exactly 200 ms after the last arrival the sensor still counts as alive.
  clock_.Advance(std::chrono::milliseconds(180));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(status_notifications_, 1);
  EXPECT_FALSE(Status().fault_reason().is_communication_faulty());

  // From then on it does not: every cycle marks the status lost and notifies it again.
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(status_notifications_, 2);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(status_notifications_, 3);

  const RadarStatus lost = Status();
  EXPECT_TRUE(lost.fault_reason().is_communication_faulty());
  EXPECT_FALSE(lost.is_sensor_status_on());
  EXPECT_FALSE(lost.is_transmission_activated());
  EXPECT_EQ(lost.blockage(), radar_service::SensorBlockage::kBlockageUnknown);
  EXPECT_EQ(lost.interference(), radar_service::Interference::kInterferenceUnknown);
  EXPECT_EQ(lost.scan_id(), 40U);
  EXPECT_EQ(lost.calibration_status(), radar_service::CalibrationStatus::kComplete);
  ExpectDetectionsAsEncoded(Detections(), first);

  // The sensor is back: the next complete scan is delivered and notified as usual, its status without the fault.
  const SensorScan back = MakeSensorScan(41U, 6500000U, 2U);
  sensor_.PublishScan(back);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(status_notifications_, 4);
  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(40U, 41U));
  ExpectDetectionsAsEncoded(Detections(), back);
  ExpectStatusAsEncoded(Status(), back);
}

TEST_F(HalEndToEnd, TwoScansCompletingInOneCycleAreNotifiedInAscendingScanIdOrder) {
  const SensorScan three = MakeSensorScan(3U, 7000000U, 1U);
  const SensorScan seven = MakeSensorScan(7U, 7050000U, 2U);
  // Each cycle carries the first half of one scan and the second half of the other.
  const auto halves = [](const SensorScan& first_half, const SensorScan& second_half) {
    SensorScan mixed = first_half;
    for (std::size_t group = 20U; group < 40U; ++group) {
      mixed.detection_group_scan_ids[group] = second_half.scan_id;
      for (std::size_t i = 0U; i < kDetectionsPerGroup; ++i) {
        mixed.detections[group * kDetectionsPerGroup + i] = second_half.detections[group * kDetectionsPerGroup + i];
      }
    }
    return mixed;
  };
  PublishStatus(three);
  sensor_.PublishDetectionGroups(0U, 39U, halves(three, seven));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_TRUE(detection_scan_ids_.empty());

  PublishStatus(seven);
  sensor_.PublishDetectionGroups(0U, 39U, halves(seven, three));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(detection_scan_ids_, ::testing::ElementsAre(3U, 7U));
  ExpectDetectionsAsEncoded(Detections(), seven);
}

TEST_F(HalEndToEnd, AHalfFilledSlotKeepsItsDetectionsFor1000Milliseconds) {
  const ResentScan scans = HalfFilledSlotResentAfter(std::chrono::milliseconds(990));

  // Detections 0 to 99 are still those of the first cycle; 100 to 199 came with the second.
  ASSERT_THAT(detection_scan_ids_, ::testing::ElementsAre(9U));
  const CornerRadarDetections published = Detections();
  EXPECT_EQ(published.detections()[0].range(),
            PhysicalOf(0U, "rsds4detn000to004range0", scans.first.detections[0].range));
  EXPECT_EQ(published.detections()[99].range(),
            PhysicalOf(19U, GroupStem(19U) + "range4", scans.first.detections[99].range));
  EXPECT_EQ(published.detections()[100].range(),
            PhysicalOf(20U, GroupStem(20U) + "range0", scans.resent.detections[100].range));
}

TEST_F(HalEndToEnd, AHalfFilledSlotIsRestartedAfter1001Milliseconds) {
  const ResentScan scans = HalfFilledSlotResentAfter(std::chrono::milliseconds(991));

  // The old half is gone: the scan is made of the second cycle's detections only.
  ASSERT_THAT(detection_scan_ids_, ::testing::ElementsAre(9U));
  ExpectDetectionsAsEncoded(Detections(), scans.resent);
}

}  // namespace
