#include "radarScanDataManager.h"
#include "radar_scan_data_manager_test_access.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include "frontsideradarlefthal_types.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"

namespace {

using Access = RadarScanDataManagerTestAccess;
using radar_service::CalibrationStatus;
using radar_service::CornerRadarDetections;
using radar_service::FaultReason;
using radar_service::Interference;
using radar_service::Mode;
using radar_service::QualityAggregated;
using radar_service::RadarDetection;
using radar_service::RadarStatus;
using radar_service::SensorBlockage;
using zol::log::LoggingLevel;

const zol::MonoClock::time_point kStart{std::chrono::seconds(100)};
constexpr std::chrono::nanoseconds kStillTheSameScan{1000999999};
constexpr std::chrono::nanoseconds kOldScan{1001000000};

RadarDetection Detection(float range) {
  return RadarDetection(1.0F, 2.0F, 3.0F, 4.0F, range, 6.0F, false, Mode::kNearRange, QualityAggregated::kMid);
}

RadarStatus Message1() {
  return RadarStatus(0U, 0.0F, 0.0F, SensorBlockage::kNoBlockage, Interference::kNoInterference,
                     CalibrationStatus::kNotStarted, FaultReason(false, true, false, false, true, false), true, true,
                     true, true, 21.0F);
}

RadarStatus Message2() {
  return RadarStatus(0U, 0.125F, -0.0625F, SensorBlockage::kBlockageUnknown, Interference::kInterferenceUnknown,
                     CalibrationStatus::kComplete, FaultReason(false, false, false, false, false, true), false, false,
                     false, false, 0.0F);
}

class RadarScanDataManagerTest : public ::testing::Test {
 protected:
  RadarScanDataManagerTest() : previous_default_level_(zol::log::DefaultLevel()) {
    zol::log::SetDefaultLevel(LoggingLevel::kDebug);
  }
  ~RadarScanDataManagerTest() override { zol::log::SetDefaultLevel(previous_default_level_); }

  // Starts the detection slot of `scan_id` and fills it with a whole scan stamped `mid_range`; the detections'
  // ranges carry `range` so that scans can be told apart.
  void CollectCompleteScan(std::uint8_t scan_id, std::int64_t mid_range, float range = 1.0F) {
    manager_->InitializeDetectionsData(scan_id);
    RadarDetectionData& slot = Access::DetectionSlot(*manager_, scan_id);
    for (std::uint16_t i = 0; i < 200U; ++i) {
      slot.AddDetection(Detection(range), i);
    }
    slot.SetMountingInfo(MountingInformation{0.5, 1.5, 180.0});
    slot.SetTimeStamp(mid_range - 2, Mode::kShortRange);
    slot.SetTimeStamp(mid_range - 1, Mode::kNearRange);
    slot.SetTimeStamp(mid_range, Mode::kMidRange);
    slot.SetTimeStamp(mid_range + 1, Mode::kLongRange);
  }

  void CollectCompleteStatus(std::uint8_t scan_id, std::int64_t mid_range) {
    manager_->InitializeStatusData(scan_id);
    RadarStatusData& slot = Access::StatusSlot(*manager_, scan_id);
    slot.SetStatus1(Message1());
    slot.SetStatus2(Message2());
    slot.SetTimeStamp(mid_range);
  }

  LoggingLevel previous_default_level_;
  zol::ScopedManualClock clock_{kStart};
  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  // Two arrays of 256 scans: too large for the stack.
  std::unique_ptr<RadarScanDataManager> manager_ = std::make_unique<RadarScanDataManager>();
};

TEST_F(RadarScanDataManagerTest, LogsAsFldmWithItsDescription) {
  EXPECT_EQ(Access::Log(*manager_).context().id(), zol::string_view("FLDM"));
  EXPECT_EQ(Access::Log(*manager_).context().description(), zol::string_view("Front left side radar data manager"));
}

TEST_F(RadarScanDataManagerTest, ConstructionLeavesEverySlotEmptyAndLogsNothing) {
  sink_.Clear();
  auto fresh = std::make_unique<RadarScanDataManager>();
  EXPECT_TRUE(sink_.lines().empty());
  for (std::size_t id = 0; id < 256U; ++id) {
    EXPECT_FALSE(Access::DetectionSlot(*fresh, id).AreDetectionsValid());
    EXPECT_FALSE(Access::StatusSlot(*fresh, id).IsStatusValid());
  }
}

TEST_F(RadarScanDataManagerTest, GettersBeforeAnythingIsPublishedReturnDefaultsAndLogScanIdZero) {
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
  EXPECT_EQ(manager_->GetRadarScanStatus(), RadarStatus());
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Fetched scan detections on ID: 0"));
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Fetched scan status on ID: 0"));
  for (const auto& line : sink_.lines()) {
    EXPECT_EQ(line.context_id, "FLDM");
  }
}

TEST_F(RadarScanDataManagerTest, GettersLogNothingWhileDebugIsDisabled) {
  zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  static_cast<void>(manager_->GetRadarScanDetections());
  static_cast<void>(manager_->GetRadarScanStatus());
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(RadarScanDataManagerTest, InitializeDetectionsDataStartsTheSlotAndLogsTheTextWithoutTheId) {
  clock_.Advance(std::chrono::milliseconds(3));
  manager_->InitializeDetectionsData(5U);
  const RadarDetectionData& slot = Access::DetectionSlot(*manager_, 5U);
  EXPECT_TRUE(slot.AreDetectionsValid());
  EXPECT_EQ(slot.GetInstantiationTime(), kStart + std::chrono::milliseconds(3));
  CornerRadarDetections detections;
  slot.GetDetections(detections);
  EXPECT_EQ(detections.info().scan_id(), 5U);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Initialized detections for scan: "));
  EXPECT_EQ(sink_.Count("Initialized detections for scan: "), 1U);
}

TEST_F(RadarScanDataManagerTest, InitializeStatusDataStartsTheSlotAndLogsTheTextWithoutTheId) {
  manager_->InitializeStatusData(255U);
  const RadarStatusData& slot = Access::StatusSlot(*manager_, 255U);
  EXPECT_TRUE(slot.IsStatusValid());
  EXPECT_EQ(slot.GetInstantiationTime(), kStart);
  RadarStatus status;
  slot.GetStatus(status);
  EXPECT_EQ(status.scan_id(), 255U);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Initialized status for scan: "));
}

TEST_F(RadarScanDataManagerTest, InitializeDetectionsDataIgnoresIdsAbove255) {
  manager_->InitializeDetectionsData(256U);
  manager_->InitializeDetectionsData(std::numeric_limits<std::size_t>::max());
  EXPECT_TRUE(sink_.lines().empty());
  for (std::size_t id = 0; id < 256U; ++id) {
    EXPECT_FALSE(Access::DetectionSlot(*manager_, id).AreDetectionsValid()) << "slot " << id;
  }
}

TEST_F(RadarScanDataManagerTest, UpdateLatestCompleteDetectionsReturnsFalseForIdsAbove255) {
  CollectCompleteScan(44U, 10);  // 300 would wrap to 44 if the id were truncated
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(300U));
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(256U));
  EXPECT_TRUE(Access::DetectionSlot(*manager_, 44U).IsDetectionsComplete());
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
}

TEST_F(RadarScanDataManagerTest, RestartingDetectionsJustInsideTheLifetimeKeepsWhatWasCollected) {
  manager_->InitializeDetectionsData(5U);
  Access::DetectionSlot(*manager_, 5U).AddDetection(Detection(77.0F), 3U);
  clock_.Advance(kStillTheSameScan);
  manager_->InitializeDetectionsData(5U);
  const RadarDetectionData& slot = Access::DetectionSlot(*manager_, 5U);
  EXPECT_EQ(slot.GetInstantiationTime(), kStart);
  CornerRadarDetections detections;
  slot.GetDetections(detections);
  EXPECT_EQ(detections.detections()[3], Detection(77.0F));
  EXPECT_EQ(sink_.Count("Initialized detections for scan: "), 1U);
}

TEST_F(RadarScanDataManagerTest, RestartingDetections1001MsAfterTheStartGivesAnEmptySlot) {
  manager_->InitializeDetectionsData(5U);
  Access::DetectionSlot(*manager_, 5U).AddDetection(Detection(77.0F), 3U);
  clock_.Advance(kOldScan);
  manager_->InitializeDetectionsData(5U);
  const RadarDetectionData& slot = Access::DetectionSlot(*manager_, 5U);
  EXPECT_TRUE(slot.AreDetectionsValid());
  EXPECT_EQ(slot.GetInstantiationTime(), kStart + kOldScan);
  CornerRadarDetections detections;
  slot.GetDetections(detections);
  EXPECT_EQ(detections.detections()[3], RadarDetection());
  EXPECT_EQ(sink_.Count("Initialized detections for scan: "), 2U);
}

TEST_F(RadarScanDataManagerTest, RestartingStatusJustInsideTheLifetimeKeepsWhatWasCollected) {
  manager_->InitializeStatusData(9U);
  Access::StatusSlot(*manager_, 9U).SetStatus1(Message1());
  clock_.Advance(kStillTheSameScan);
  manager_->InitializeStatusData(9U);
  manager_->InitializeStatusData(9U);
  Access::StatusSlot(*manager_, 9U).SetStatus2(Message2());
  EXPECT_TRUE(Access::StatusSlot(*manager_, 9U).IsStatusComplete());
  EXPECT_EQ(Access::StatusSlot(*manager_, 9U).GetInstantiationTime(), kStart);
  EXPECT_EQ(sink_.Count("Initialized status for scan: "), 1U);
}

TEST_F(RadarScanDataManagerTest, RestartingStatus1001MsAfterTheStartGivesAnEmptySlot) {
  manager_->InitializeStatusData(9U);
  Access::StatusSlot(*manager_, 9U).SetStatus1(Message1());
  clock_.Advance(kOldScan);
  manager_->InitializeStatusData(9U);
  Access::StatusSlot(*manager_, 9U).SetStatus2(Message2());
  EXPECT_FALSE(Access::StatusSlot(*manager_, 9U).IsStatusComplete());
  EXPECT_EQ(Access::StatusSlot(*manager_, 9U).GetInstantiationTime(), kStart + kOldScan);
  EXPECT_EQ(sink_.Count("Initialized status for scan: "), 2U);
}

TEST_F(RadarScanDataManagerTest, DataExpiresAtExactly1001Ms) {
  EXPECT_FALSE(Access::HasExistingDataExpired(*manager_, kStart - kStillTheSameScan));
  EXPECT_TRUE(Access::HasExistingDataExpired(*manager_, kStart - kOldScan));
  EXPECT_FALSE(Access::HasExistingDataExpired(*manager_, kStart));
}

TEST_F(RadarScanDataManagerTest, CompleteNewerScanIsPublishedAndItsSlotConsumed) {
  CollectCompleteScan(7U, 500, 42.0F);
  CornerRadarDetections collected;
  Access::DetectionSlot(*manager_, 7U).GetDetections(collected);

  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(7U));

  EXPECT_FALSE(Access::DetectionSlot(*manager_, 7U).AreDetectionsValid());
  EXPECT_FALSE(Access::DetectionSlot(*manager_, 7U).IsDetectionsComplete());
  const CornerRadarDetections published = manager_->GetRadarScanDetections();
  EXPECT_EQ(published, collected);
  EXPECT_EQ(published.info().scan_id(), 7U);
  EXPECT_EQ(published.info().time_stamps().mid_range(), 500);
  EXPECT_EQ(published.detections()[199].range(), 42.0F);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Fetched scan detections on ID: 7"));
}

TEST_F(RadarScanDataManagerTest, ConsumedSlotIsRestartedAtOnce) {
  CollectCompleteScan(7U, 500);
  ASSERT_TRUE(manager_->UpdateLatestCompleteDetections(7U));
  clock_.Advance(std::chrono::milliseconds(1));
  manager_->InitializeDetectionsData(7U);
  EXPECT_TRUE(Access::DetectionSlot(*manager_, 7U).AreDetectionsValid());
  EXPECT_EQ(Access::DetectionSlot(*manager_, 7U).GetInstantiationTime(), kStart + std::chrono::milliseconds(1));
}

TEST_F(RadarScanDataManagerTest, IncompleteScanIsNotPublishedAndKeepsCollecting) {
  manager_->InitializeDetectionsData(7U);
  RadarDetectionData& slot = Access::DetectionSlot(*manager_, 7U);
  for (std::uint16_t i = 0; i < 200U; ++i) {
    slot.AddDetection(Detection(1.0F), i);
  }
  slot.SetMountingInfo(MountingInformation{});
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(7U));
  EXPECT_TRUE(slot.AreDetectionsValid());

  slot.SetTimeStamp(500, Mode::kMidRange);
  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(7U));
}

TEST_F(RadarScanDataManagerTest, CompleteScanWithTheSameStampAsThePublishedOneIsDiscarded) {
  CollectCompleteScan(1U, 500, 1.0F);
  ASSERT_TRUE(manager_->UpdateLatestCompleteDetections(1U));
  CollectCompleteScan(2U, 500, 2.0F);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(2U));
  EXPECT_FALSE(Access::DetectionSlot(*manager_, 2U).AreDetectionsValid());
  EXPECT_EQ(manager_->GetRadarScanDetections().info().scan_id(), 1U);
}

TEST_F(RadarScanDataManagerTest, OlderScanPublishedAfterANewerOneIsDroppedAndTheNewerStays) {
  CollectCompleteScan(11U, 2000, 11.0F);
  CollectCompleteScan(10U, 1000, 10.0F);
  EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(11U));
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(10U));
  EXPECT_FALSE(Access::DetectionSlot(*manager_, 10U).AreDetectionsValid());
  const CornerRadarDetections published = manager_->GetRadarScanDetections();
  EXPECT_EQ(published.info().scan_id(), 11U);
  EXPECT_EQ(published.detections()[0].range(), 11.0F);
}

TEST_F(RadarScanDataManagerTest, StampsAreComparedAsSignedNumbers) {
  CollectCompleteScan(1U, std::numeric_limits<std::int64_t>::max() - 1);
  ASSERT_TRUE(manager_->UpdateLatestCompleteDetections(1U));
  // An unsigned 64-bit sensor time with its top bit set reads as negative and so as older.
  CollectCompleteScan(2U, std::numeric_limits<std::int64_t>::min() + 5);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(2U));
  EXPECT_EQ(manager_->GetRadarScanDetections().info().scan_id(), 1U);
}

TEST_F(RadarScanDataManagerTest, ScanWithZeroOrNegativeMidRangeStampIsNeverPublished) {
  CollectCompleteScan(1U, 0);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(1U));
  CollectCompleteScan(2U, -5);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(2U));
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
}

TEST_F(RadarScanDataManagerTest, SlotsOfDifferentScanIdsDoNotMix) {
  CollectCompleteScan(3U, 100);
  manager_->InitializeDetectionsData(4U);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(4U));
  EXPECT_TRUE(Access::DetectionSlot(*manager_, 3U).IsDetectionsComplete());
}

TEST_F(RadarScanDataManagerTest, CompleteNewerStatusIsPublishedAndItsSlotConsumed) {
  CollectCompleteStatus(9U, 700);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(9U));
  EXPECT_FALSE(Access::StatusSlot(*manager_, 9U).IsStatusValid());

  RadarStatus expected = Message1();
  expected.set_scan_id(9U);
  expected.set_azimuth_alignment_error(0.125F);
  expected.set_elevation_alignment_error(-0.0625F);
  expected.set_calibration_status(CalibrationStatus::kComplete);
  expected.set_fault_reason(FaultReason(false, true, false, false, true, true));
  EXPECT_EQ(manager_->GetRadarScanStatus(), expected);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "Fetched scan status on ID: 9"));
}

TEST_F(RadarScanDataManagerTest, IncompleteStatusIsNotPublishedAndLeftAsItIs) {
  manager_->InitializeStatusData(9U);
  Access::StatusSlot(*manager_, 9U).SetStatus1(Message1());
  Access::StatusSlot(*manager_, 9U).SetTimeStamp(700);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(9U));
  EXPECT_TRUE(Access::StatusSlot(*manager_, 9U).IsStatusValid());
  Access::StatusSlot(*manager_, 9U).SetStatus2(Message2());
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(9U));
}

TEST_F(RadarScanDataManagerTest, StatusWithTheSameOrAnOlderStampIsDiscarded) {
  CollectCompleteStatus(1U, 700);
  ASSERT_TRUE(manager_->UpdateLatestCompleteStatus(1U));
  CollectCompleteStatus(2U, 700);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(2U));
  EXPECT_FALSE(Access::StatusSlot(*manager_, 2U).IsStatusValid());
  CollectCompleteStatus(3U, 699);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(3U));
  EXPECT_EQ(manager_->GetRadarScanStatus().scan_id(), 1U);
}

TEST_F(RadarScanDataManagerTest, StatusWithZeroStampIsNeverPublished) {
  CollectCompleteStatus(1U, 0);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(1U));
  EXPECT_EQ(manager_->GetRadarScanStatus(), RadarStatus());
}

TEST_F(RadarScanDataManagerTest, SetLostComBeforeAnyStatusWasPublishedShowsOnlyACommunicationFault) {
  manager_->SetLostCom();
  RadarStatus expected;
  expected.set_fault_reason(FaultReason(true, false, false, false, false, false));
  EXPECT_EQ(manager_->GetRadarScanStatus(), expected);
}

TEST_F(RadarScanDataManagerTest, SetLostComKeepsWhatStatusMessage2SaidAndClearsMessage1) {
  CollectCompleteStatus(9U, 700);
  ASSERT_TRUE(manager_->UpdateLatestCompleteStatus(9U));
  manager_->SetLostCom();

  const RadarStatus status = manager_->GetRadarScanStatus();
  EXPECT_EQ(status.scan_id(), 9U);
  EXPECT_EQ(status.azimuth_alignment_error(), 0.125F);
  EXPECT_EQ(status.elevation_alignment_error(), -0.0625F);
  EXPECT_EQ(status.calibration_status(), CalibrationStatus::kComplete);
  EXPECT_EQ(status.fault_reason(), FaultReason(true, false, false, false, false, true));
  EXPECT_EQ(status.blockage(), SensorBlockage::kBlockageUnknown);
  EXPECT_EQ(status.interference(), Interference::kInterferenceUnknown);
  EXPECT_FALSE(status.is_sensor_status_on());
  EXPECT_FALSE(status.is_transmission_activated());
  EXPECT_FALSE(status.is_system_failing());
  EXPECT_FALSE(status.is_time_sync_ok());
  EXPECT_EQ(status.flr_temperature(), 0.0F);
}

TEST_F(RadarScanDataManagerTest, SetLostComKeepsTheTimeStampSoOnlyANewerStatusReplacesIt) {
  CollectCompleteStatus(9U, 700);
  ASSERT_TRUE(manager_->UpdateLatestCompleteStatus(9U));
  manager_->SetLostCom();

  CollectCompleteStatus(10U, 700);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(10U));
  EXPECT_TRUE(manager_->GetRadarScanStatus().fault_reason().is_communication_faulty());

  CollectCompleteStatus(11U, 701);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(11U));
  const RadarStatus status = manager_->GetRadarScanStatus();
  EXPECT_EQ(status.scan_id(), 11U);
  EXPECT_FALSE(status.fault_reason().is_communication_faulty());
  EXPECT_TRUE(status.is_sensor_status_on());
}

TEST_F(RadarScanDataManagerTest, SetLostComLeavesThePublishedDetectionsAlone) {
  CollectCompleteScan(7U, 500);
  ASSERT_TRUE(manager_->UpdateLatestCompleteDetections(7U));
  const CornerRadarDetections before = manager_->GetRadarScanDetections();
  manager_->SetLostCom();
  EXPECT_EQ(manager_->GetRadarScanDetections(), before);
}

TEST_F(RadarScanDataManagerTest, InitializeLogsNothingWhileDebugIsDisabled) {
  zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  manager_->InitializeDetectionsData(1U);
  manager_->InitializeStatusData(1U);
  EXPECT_TRUE(sink_.lines().empty());
  EXPECT_TRUE(Access::DetectionSlot(*manager_, 1U).AreDetectionsValid());
}

TEST(RadarScanDataManager, DetectionNumbersRunFrom0To199) {
  EXPECT_EQ(RadarScanDataManager::DETECTION_NUMBER_000, 0U);
  EXPECT_EQ(RadarScanDataManager::DETECTION_NUMBER_004, 4U);
  EXPECT_EQ(RadarScanDataManager::DETECTION_NUMBER_100, 100U);
  EXPECT_EQ(RadarScanDataManager::DETECTION_NUMBER_195, 195U);
  EXPECT_EQ(RadarScanDataManager::DETECTION_NUMBER_199, 199U);
  static_assert(std::is_same<decltype(RadarScanDataManager::DETECTION_NUMBER_123), const std::uint8_t>::value,
                "detection numbers are unsigned 8-bit constants");
}

}  // namespace
