// The translation of the two status signal-group records into the radar status, and what status message 1 gives the
// detection scan of its scan id (time stamps and mounting).
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>

#include <gtest/gtest.h>

#include "converters.h"
#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "radarScanDataManager.h"
#include "radar_scan_data_manager_test_access.h"
#include "zol/mono_clock.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
using Access = RadarScanDataManagerTestAccess;
using radar_service::CalibrationStatus;
using radar_service::CornerRadarDetections;
using radar_service::FaultReason;
using radar_service::Interference;
using radar_service::Mode;
using radar_service::RadarMountingInformation;
using radar_service::RadarStatus;
using radar_service::ScanTimeStamp;
using radar_service::SensorBlockage;

constexpr std::uint8_t kScan = 4U;

// A status message 1 of a healthy, emitting, synchronised sensor without blockage or interference.
types::RSDS4SigSts1 HealthyMessage1(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp) {
  types::RSDS4SigSts1 message{};
  message.rsds4sig_sts1scan_id = scan_id;
  message.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusNoBlockage;
  message.rsds4sig_sts1interference = types::RSDS4SigSts1InterferenceEnum::RSDS4Interference_RSDS4NoInterferenceStatus;
  message.rsds4sig_sts1dtn_list_fault_reason = types::RSDS4SigSts1DtnListFaultReasonEnum::FltReason_NotApplicable;
  message.rsds4sig_sts1dtn_list_sys_sfty_failure_flag =
      types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum::DtnListSysSftyFailureFlag_Normal;
  message.rsds4sig_sts1rdr_emsn_sts = types::RSDS4SigSts1RdrEmsnStsEnum::RdrEmsnSts_Emmitting;
  message.rsds4sig_sts1rdr_sts_detn = types::RSDS4SigSts1RdrStsDetnEnum::RdrStsDetn_Active;
  message.rsds4sig_sts1time_stamp_status = types::RSDS4SigSts1TimeStampStatusEnum::TimeStampStatus_Ok;
  message.rsds4sig_sts1time_stamp0 = mid_range_time_stamp - 3U;
  message.rsds4sig_sts1time_stamp1 = mid_range_time_stamp - 2U;
  message.rsds4sig_sts1time_stamp2 = mid_range_time_stamp;
  message.rsds4sig_sts1time_stamp3 = mid_range_time_stamp + 1U;
  message.rsds4sig_sts1xaxis_offs = 0.5;
  message.rsds4sig_sts1yaxis_offs = -0.25;
  message.rsds4sig_sts1zorient_ang = 180.0;
  return message;
}

// A status message 2 of a sensor that finished its calibration without fault and is perfectly aligned.
types::RSDS4SigSts2 CalibratedMessage2(std::uint8_t scan_id) {
  types::RSDS4SigSts2 message{};
  message.rsds4sig_sts2scan_id = scan_id;
  message.rsds4sig_sts2cal_sts = types::RSDS4SigSts2CalStsEnum::CalibrationStatus_NotOngoing;
  message.rsds4sig_sts2cal_rlt_sts = types::RSDS4SigSts2CalRltStsEnum::RSDS4CalRltSts_OK;
  return message;
}

// The generated enumerations carry the raw field, named or not.
template <typename Enum, typename Value>
Enum Raw(Value raw) {
  return static_cast<Enum>(raw);
}

class StatusTranslationTest : public ::testing::Test {
 protected:
  // A fresh status message 1 of scan kScan, newer than every one before.
  types::RSDS4SigSts1 NextMessage1() {
    mid_range_time_stamp_ += 100U;
    return HealthyMessage1(kScan, mid_range_time_stamp_);
  }

  // Runs one status cycle of the two messages' scan and returns the published status; the publication has to
  // succeed.
  RadarStatus PublishedStatus(const types::RSDS4SigSts1& message1, const types::RSDS4SigSts2& message2) {
    manager_->InitializeStatusData(message1.rsds4sig_sts1scan_id);
    manager_->TranslateAndStoreStatus(message1);
    manager_->TranslateAndStoreStatus(message2);
    EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(message1.rsds4sig_sts1scan_id));
    return manager_->GetRadarScanStatus();
  }

  RadarStatus PublishedStatus(const types::RSDS4SigSts1& message1) {
    return PublishedStatus(message1, CalibratedMessage2(message1.rsds4sig_sts1scan_id));
  }

  RadarStatus PublishedStatus(const types::RSDS4SigSts2& message2) { return PublishedStatus(NextMessage1(), message2); }

  // Runs one detection cycle of scan 0 (the scan id of an all-default detection record) with `message1` and returns
  // the published scan; the publication has to succeed.
  CornerRadarDetections PublishedScanZero(const types::RSDS4SigSts1& message1) {
    manager_->InitializeDetectionsData(0U);
    manager_->TranslateAndStoreStatus(message1);
#define FSRL_TEST_TRANSLATE_DEFAULT_GROUP(suffix, record_type, first_detection, accessor) \
  manager_->TranslateAndStoreDetection##suffix(types::record_type{});
    FSRL_FOR_EACH_DETECTION_GROUP(FSRL_TEST_TRANSLATE_DEFAULT_GROUP)
#undef FSRL_TEST_TRANSLATE_DEFAULT_GROUP
    EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(0U));
    return manager_->GetRadarScanDetections();
  }

  types::RSDS4SigSts1 NextMessage1OfScanZero() {
    types::RSDS4SigSts1 message = NextMessage1();
    message.rsds4sig_sts1scan_id = 0U;
    return message;
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point{std::chrono::seconds(20)}};
  // Two arrays of 256 scans: too large for the stack.
  std::unique_ptr<RadarScanDataManager> manager_ = std::make_unique<RadarScanDataManager>();
  std::uint64_t mid_range_time_stamp_{1000U};
};

TEST_F(StatusTranslationTest, BothMessagesTogetherGiveTheWholeStatus) {
  types::RSDS4SigSts1 message1 = NextMessage1();
  message1.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusFullBlockage;
  message1.rsds4sig_sts1interference =
      types::RSDS4SigSts1InterferenceEnum::RSDS4Interference_RSDS4FullInterferenceStatus;
  message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(0x05U);
  message1.rsds4sig_sts1dtn_list_sys_sfty_failure_flag =
      types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum::DtnListSysSftyFailureFlag_Fault;
  types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
  message2.rsds4sig_sts2azi_mis_alnmnt_ang = 2.5;
  message2.rsds4sig_sts2ele_mis_alnmnt_ang = -1.25;
  message2.rsds4sig_sts2cal_sts = types::RSDS4SigSts2CalStsEnum::CalibrationStatus_Ongoing;
  message2.rsds4sig_sts2cal_rlt_sts = types::RSDS4SigSts2CalRltStsEnum::RSDS4CalRltSts_NotOK;

  const RadarStatus expected(kScan, 2.5F * 3.1415927F / 180.0F, -1.25F * 3.1415927F / 180.0F,
                             SensorBlockage::kFullBlockage, Interference::kFullInterference,
                             CalibrationStatus::kNotComplete, FaultReason(true, true, false, false, false, true), true,
                             true, true, true, 0.0F);
  EXPECT_EQ(PublishedStatus(message1, message2), expected);
}

TEST_F(StatusTranslationTest, BlockageOneAndTwoAreFullAndNoBlockageAndRawThreeIsUnknown) {
  const struct {
    std::uint8_t raw;
    SensorBlockage expected;
  } cases[] = {{0U, SensorBlockage::kBlockageUnknown},
               {1U, SensorBlockage::kFullBlockage},
               {2U, SensorBlockage::kNoBlockage},
               {3U, SensorBlockage::kBlockageUnknown},
               {255U, SensorBlockage::kBlockageUnknown}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1blockage = Raw<types::RSDS4SigSts1BlockageEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).blockage(), c.expected);
  }
}

TEST_F(StatusTranslationTest, InterferenceOneAndTwoAreFullAndNoInterferenceAndRawZeroIsUnknown) {
  const struct {
    std::uint8_t raw;
    Interference expected;
  } cases[] = {{0U, Interference::kInterferenceUnknown},
               {1U, Interference::kFullInterference},
               {2U, Interference::kNoInterference},
               {3U, Interference::kInterferenceUnknown},
               {255U, Interference::kInterferenceUnknown}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1interference = Raw<types::RSDS4SigSts1InterferenceEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).interference(), c.expected);
  }
}

TEST_F(StatusTranslationTest, FaultMask0x0FSetsCommunicationSoftwareHardwareAndSafetyFaults) {
  types::RSDS4SigSts1 message1 = NextMessage1();
  message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(0x0FU);
  EXPECT_EQ(PublishedStatus(message1).fault_reason(), FaultReason(true, true, true, false, true, false));
}

TEST_F(StatusTranslationTest, FaultMask0x10AndTheReservedBitsSetNoFault) {
  for (const std::uint16_t mask : {0x10U, 0x20U, 0x40U, 0x80U, 0xF0U}) {
    SCOPED_TRACE(mask);
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(mask);
    EXPECT_EQ(PublishedStatus(message1).fault_reason(), FaultReason());
  }
}

TEST_F(StatusTranslationTest, EachOfTheLowFourFaultBitsSetsOnlyItsOwnFault) {
  const struct {
    std::uint16_t mask;
    FaultReason expected;
  } cases[] = {{0x01U, FaultReason(true, false, false, false, false, false)},
               {0x02U, FaultReason(false, false, true, false, false, false)},
               {0x04U, FaultReason(false, true, false, false, false, false)},
               {0x08U, FaultReason(false, false, false, false, true, false)}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.mask);
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(c.mask);
    EXPECT_EQ(PublishedStatus(message1).fault_reason(), c.expected);
  }
}

TEST_F(StatusTranslationTest, OnlyTheLowByteOfTheFaultMaskIsRead) {
  types::RSDS4SigSts1 message1 = NextMessage1();
  message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(0xFF00U);
  EXPECT_EQ(PublishedStatus(message1).fault_reason(), FaultReason());

  message1 = NextMessage1();
  message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(0x0F02U);
  EXPECT_EQ(PublishedStatus(message1).fault_reason(), FaultReason(false, false, true, false, false, false));
}

TEST_F(StatusTranslationTest, NoMessageEverReportsACarConfigurationFaultOrATemperature) {
  types::RSDS4SigSts1 message1 = NextMessage1();
  message1.rsds4sig_sts1dtn_list_fault_reason = Raw<types::RSDS4SigSts1DtnListFaultReasonEnum>(0xFFFFU);
  types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
  message2.rsds4sig_sts2comm_flt_reason = Raw<types::RSDS4SigSts2CommFltReasonEnum>(0xFFFFU);
  message2.rsds4sig_sts2obj_list_fault_reason = Raw<types::RSDS4SigSts2ObjListFaultReasonEnum>(0xFFFFU);
  const RadarStatus status = PublishedStatus(message1, message2);
  EXPECT_FALSE(status.fault_reason().is_car_config_faulty());
  EXPECT_EQ(status.flr_temperature(), 0.0F);
}

TEST_F(StatusTranslationTest, RadarStatusOneMeansTheSensorIsOnAndFaultTwoMeansItIsOff) {
  const struct {
    std::uint8_t raw;
    bool expected;
  } cases[] = {{0U, false}, {1U, true}, {2U, false}, {3U, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1rdr_sts_detn = Raw<types::RSDS4SigSts1RdrStsDetnEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).is_sensor_status_on(), c.expected);
  }
}

TEST_F(StatusTranslationTest, AnyNonZeroEmissionStatusMeansTransmissionIsActivated) {
  const struct {
    std::uint8_t raw;
    bool expected;
  } cases[] = {{0U, false}, {1U, true}, {2U, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1rdr_emsn_sts = Raw<types::RSDS4SigSts1RdrEmsnStsEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).is_transmission_activated(), c.expected);
  }
}

TEST_F(StatusTranslationTest, AnyNonZeroSafetyFailureFlagMeansTheSystemIsFailing) {
  const struct {
    std::uint8_t raw;
    bool expected;
  } cases[] = {{0U, false}, {1U, true}, {2U, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1dtn_list_sys_sfty_failure_flag = Raw<types::RSDS4SigSts1DtnListSysSftyFailureFlagEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).is_system_failing(), c.expected);
  }
}

TEST_F(StatusTranslationTest, AnyNonZeroTimeStampStatusMeansTheTimeSyncIsOk) {
  const struct {
    std::uint8_t raw;
    bool expected;
  } cases[] = {{0U, false}, {1U, true}, {2U, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts1 message1 = NextMessage1();
    message1.rsds4sig_sts1time_stamp_status = Raw<types::RSDS4SigSts1TimeStampStatusEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message1).is_time_sync_ok(), c.expected);
  }
}

TEST_F(StatusTranslationTest, StatusesAreOrderedByTheMidRangeTimeStampOfMessage1) {
  types::RSDS4SigSts1 newer = HealthyMessage1(kScan, 5000U);
  newer.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusFullBlockage;
  PublishedStatus(newer);

  // Every other stamp of the older message is larger; only the mid-range one counts.
  types::RSDS4SigSts1 older = HealthyMessage1(kScan, 4000U);
  older.rsds4sig_sts1time_stamp0 = 9000U;
  older.rsds4sig_sts1time_stamp1 = 9000U;
  older.rsds4sig_sts1time_stamp3 = 9000U;
  manager_->InitializeStatusData(kScan);
  manager_->TranslateAndStoreStatus(older);
  manager_->TranslateAndStoreStatus(CalibratedMessage2(kScan));
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(kScan));
  EXPECT_EQ(manager_->GetRadarScanStatus().blockage(), SensorBlockage::kFullBlockage);
}

TEST_F(StatusTranslationTest, AMidRangeTimeStampWithTheTopBitSetCountsAsNegativeAndIsNeverPublished) {
  const types::RSDS4SigSts1 message1 = HealthyMessage1(kScan, 0x8000000000000010U);
  manager_->InitializeStatusData(kScan);
  manager_->TranslateAndStoreStatus(message1);
  manager_->TranslateAndStoreStatus(CalibratedMessage2(kScan));
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(kScan));
  EXPECT_EQ(manager_->GetRadarScanStatus(), RadarStatus());
}

TEST_F(StatusTranslationTest, Message1GivesTheDetectionScanItsFourTimeStampsInModeOrder) {
  types::RSDS4SigSts1 message1 = NextMessage1OfScanZero();
  message1.rsds4sig_sts1time_stamp0 = 11U;
  message1.rsds4sig_sts1time_stamp1 = 22U;
  message1.rsds4sig_sts1time_stamp2 = 33U;
  message1.rsds4sig_sts1time_stamp3 = 44U;
  EXPECT_EQ(PublishedScanZero(message1).info().time_stamps(), ScanTimeStamp(11, 22, 33, 44));
}

TEST_F(StatusTranslationTest, UnsignedTimeStampsAreTakenBitForBitAsSigned) {
  types::RSDS4SigSts1 message1 = NextMessage1OfScanZero();
  message1.rsds4sig_sts1time_stamp0 = std::numeric_limits<std::uint64_t>::max();
  message1.rsds4sig_sts1time_stamp1 = 0x8000000000000000U;
  message1.rsds4sig_sts1time_stamp2 = 0x7FFFFFFFFFFFFFFFU;
  message1.rsds4sig_sts1time_stamp3 = 0xFFFFFFFF00000000U;
  const ScanTimeStamp stamps = PublishedScanZero(message1).info().time_stamps();
  EXPECT_EQ(stamps.short_range(), -1);
  EXPECT_EQ(stamps.near_range(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(stamps.mid_range(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(stamps.long_range(), -4294967296);
}

TEST_F(StatusTranslationTest, Message1GivesTheDetectionScanItsMountingWithTheYawInRadians) {
  types::RSDS4SigSts1 message1 = NextMessage1OfScanZero();
  message1.rsds4sig_sts1xaxis_offs = 0.1;
  message1.rsds4sig_sts1yaxis_offs = -0.7;
  message1.rsds4sig_sts1zorient_ang = 90.1;
  EXPECT_EQ(PublishedScanZero(message1).info().mounting_information(),
            RadarMountingInformation(static_cast<float>(0.1), static_cast<float>(-0.7),
                                     static_cast<float>(90.1) * 3.1415927F / 180.0F));
}

TEST_F(StatusTranslationTest, Message1FillsTheDetectionSlotOfItsOwnScanId) {
  // The published scan cannot show a slot that has no detections; look at the slot itself.
  manager_->InitializeDetectionsData(9U);
  manager_->InitializeDetectionsData(10U);
  types::RSDS4SigSts1 message1 = HealthyMessage1(9U, 700U);
  message1.rsds4sig_sts1xaxis_offs = 3.0;
  manager_->TranslateAndStoreStatus(message1);

  const RadarDetectionData& own_slot = Access::DetectionSlot(*manager_, 9U);
  EXPECT_EQ(own_slot.GetTimeStamp(Mode::kShortRange), 697);
  EXPECT_EQ(own_slot.GetTimeStamp(Mode::kMidRange), 700);
  CornerRadarDetections own_scan;
  own_slot.GetDetections(own_scan);
  EXPECT_EQ(own_scan.info().mounting_information().x_offset(), 3.0F);

  const RadarDetectionData& other_slot = Access::DetectionSlot(*manager_, 10U);
  EXPECT_EQ(other_slot.GetTimeStamp(Mode::kMidRange), 0);
  CornerRadarDetections other_scan;
  other_slot.GetDetections(other_scan);
  EXPECT_EQ(other_scan.info().mounting_information(), RadarMountingInformation());
}

TEST_F(StatusTranslationTest, AMessage1WithMidRangeTimeStampZeroCompletesTheScanButItIsNeverPublished) {
  types::RSDS4SigSts1 message1 = HealthyMessage1(0U, 0U);
  message1.rsds4sig_sts1time_stamp0 = 5U;
  manager_->InitializeStatusData(0U);
  manager_->InitializeDetectionsData(0U);
  manager_->TranslateAndStoreStatus(message1);
  manager_->TranslateAndStoreStatus(CalibratedMessage2(0U));
#define FSRL_TEST_TRANSLATE_DEFAULT_GROUP(suffix, record_type, first_detection, accessor) \
  manager_->TranslateAndStoreDetection##suffix(types::record_type{});
  FSRL_FOR_EACH_DETECTION_GROUP(FSRL_TEST_TRANSLATE_DEFAULT_GROUP)
#undef FSRL_TEST_TRANSLATE_DEFAULT_GROUP

  // Complete is only visible on the slots themselves: publishing consumes them.
  EXPECT_TRUE(Access::DetectionSlot(*manager_, 0U).IsDetectionsComplete());
  EXPECT_TRUE(Access::StatusSlot(*manager_, 0U).IsStatusComplete());
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(0U));
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(0U));
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
  EXPECT_EQ(manager_->GetRadarScanStatus(), RadarStatus());
}

TEST_F(StatusTranslationTest, FieldsOfMessage1ThatCarryNoStatusChangeNothing) {
  const types::RSDS4SigSts1 plain = NextMessage1OfScanZero();
  const RadarStatus plain_status = PublishedStatus(plain);
  const CornerRadarDetections plain_scan = PublishedScanZero(plain);

  types::RSDS4SigSts1 busy = NextMessage1OfScanZero();
  busy.rsds4sig_sts1counter = 0xEEU;
  busy.rsds4sig_sts1crc = 0xBEEFU;
  busy.rsds4sig_sts1rspstatus_info = Raw<types::RSDS4SigSts1RSPStatusInfoEnum>(7U);
  busy.rsds4sig_sts1swvers_major = 9U;
  busy.rsds4sig_sts1swvers_minor = 8U;
  busy.rsds4sig_sts1if_vers_major = 7U;
  busy.rsds4sig_sts1if_vers_minor = 6U;
  busy.rsds4sig_sts1zaxis_offs = 1.5;
  busy.rsds4sig_sts1xorient_ang = 12.0;
  busy.rsds4sig_sts1yorient_ang = -7.0;
  busy.rsds4sig_sts1phase_noise = Raw<types::RSDS4SigSts1PhaseNoiseEnum>(15U);
  const RadarStatus busy_status = PublishedStatus(busy);
  const CornerRadarDetections busy_scan = PublishedScanZero(busy);

  EXPECT_EQ(busy_status, plain_status);
  EXPECT_EQ(busy_scan.info().mounting_information(), plain_scan.info().mounting_information());
  // Only the time stamps differ, and exactly by the distance between the two messages.
  EXPECT_EQ(busy_scan.info().time_stamps().mid_range() - plain_scan.info().time_stamps().mid_range(), 100);
}

TEST_F(StatusTranslationTest, Misalignment90DegreesBecomesExactlyHalfPiInSinglePrecision) {
  types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
  message2.rsds4sig_sts2azi_mis_alnmnt_ang = 90.0;
  message2.rsds4sig_sts2ele_mis_alnmnt_ang = -90.0;
  const RadarStatus status = PublishedStatus(message2);
  EXPECT_EQ(status.azimuth_alignment_error(), static_cast<float>(90) * 3.1415927F / 180.0F);
  EXPECT_EQ(status.elevation_alignment_error(), static_cast<float>(-90) * 3.1415927F / 180.0F);
}

TEST_F(StatusTranslationTest, MisalignmentIsNarrowedToFloatBeforeTheConversion) {
  types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
  message2.rsds4sig_sts2azi_mis_alnmnt_ang = 0.1;
  message2.rsds4sig_sts2ele_mis_alnmnt_ang = 1.0e-3;
  const RadarStatus status = PublishedStatus(message2);
  EXPECT_EQ(status.azimuth_alignment_error(), ConvertToRadians(0.1F));
  EXPECT_EQ(status.elevation_alignment_error(), ConvertToRadians(static_cast<float>(1.0e-3)));
}

TEST_F(StatusTranslationTest, CalibrationNotOngoingIsCompleteAndOngoingIsNotComplete) {
  const struct {
    std::uint8_t raw;
    CalibrationStatus expected;
  } cases[] = {{0U, CalibrationStatus::kNotStarted},
               {1U, CalibrationStatus::kComplete},
               {2U, CalibrationStatus::kNotComplete},
               {3U, CalibrationStatus::kNotStarted},
               {255U, CalibrationStatus::kNotStarted}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
    message2.rsds4sig_sts2cal_sts = Raw<types::RSDS4SigSts2CalStsEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message2).calibration_status(), c.expected);
  }
}

TEST_F(StatusTranslationTest, OnlyCalibrationResultOneIsACalibrationFault) {
  const struct {
    std::uint8_t raw;
    bool expected;
  } cases[] = {{0U, false}, {1U, true}, {2U, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.raw));
    types::RSDS4SigSts2 message2 = CalibratedMessage2(kScan);
    message2.rsds4sig_sts2cal_rlt_sts = Raw<types::RSDS4SigSts2CalRltStsEnum>(c.raw);
    EXPECT_EQ(PublishedStatus(message2).fault_reason(), FaultReason(false, false, false, false, false, c.expected));
  }
}

TEST_F(StatusTranslationTest, FieldsOfMessage2ThatCarryNoStatusChangeNeitherStatusNorScan) {
  const RadarStatus plain_status = PublishedStatus(CalibratedMessage2(kScan));

  types::RSDS4SigSts2 busy = CalibratedMessage2(kScan);
  busy.rsds4sig_sts2counter = 0xEEU;
  busy.rsds4sig_sts2crc = 0xBEEFU;
  busy.rsds4sig_sts2time_stamp_obj = 0xFFFFFFFFFFFFFFFFU;
  busy.rsds4sig_sts2interference_lev = 200U;
  busy.rsds4sig_sts2state_machine_status = Raw<types::RSDS4SigSts2StateMachineStatusEnum>(2U);
  busy.rsds4sig_sts2blockage_lev = 100U;
  busy.rsds4sig_sts2obj_sys_sfty_failure_flag = Raw<types::RSDS4SigSts2ObjSysSftyFailureFlagEnum>(1U);
  busy.rsds4sig_sts2comm_flt_reason = Raw<types::RSDS4SigSts2CommFltReasonEnum>(0xFFU);
  busy.rsds4sig_sts2sts_sys_sfty_failure_flag = Raw<types::RSDS4SigSts2StsSysSftyFailureFlagEnum>(1U);
  busy.rsds4sig_sts2cal_prgrs_sts = 50U;
  busy.rsds4sig_sts2obj_list_fault_reason = Raw<types::RSDS4SigSts2ObjListFaultReasonEnum>(0x0FU);
  busy.rsds4sig_sts2rdr_sts_obj = Raw<types::RSDS4SigSts2RdrStsObjEnum>(2U);
  busy.rsds4sig_sts2track_status_info = Raw<types::RSDS4SigSts2TrackStatusInfoEnum>(7U);
  busy.rsds4sig_sts2pcansync_status_info = Raw<types::RSDS4SigSts2PCANSyncStatusInfoEnum>(1U);
  EXPECT_EQ(PublishedStatus(busy), plain_status);

  // Nor does message 2 reach the detection scan: its object time stamp is no scan time stamp.
  const types::RSDS4SigSts1 message1 = NextMessage1OfScanZero();
  manager_->InitializeDetectionsData(0U);
  types::RSDS4SigSts2 busy_of_scan_zero = busy;
  busy_of_scan_zero.rsds4sig_sts2scan_id = 0U;
  manager_->TranslateAndStoreStatus(busy_of_scan_zero);
  const CornerRadarDetections scan = PublishedScanZero(message1);
  EXPECT_EQ(scan.info().time_stamps().mid_range(), static_cast<std::int64_t>(message1.rsds4sig_sts1time_stamp2));
}

TEST_F(StatusTranslationTest, Message2AloneNeverCompletesAScan) {
  manager_->InitializeStatusData(kScan);
  manager_->TranslateAndStoreStatus(CalibratedMessage2(kScan));
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(kScan));
  EXPECT_EQ(manager_->GetRadarScanStatus(), RadarStatus());
}

TEST_F(StatusTranslationTest, TwoMessagesWithDifferentScanIdsEachFillTheSlotOfTheirOwnScanId) {
  manager_->InitializeStatusData(3U);
  manager_->InitializeStatusData(4U);
  types::RSDS4SigSts1 message1 = HealthyMessage1(3U, 900U);
  message1.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusFullBlockage;
  types::RSDS4SigSts2 message2_of_scan_4 = CalibratedMessage2(4U);
  message2_of_scan_4.rsds4sig_sts2cal_sts = types::RSDS4SigSts2CalStsEnum::CalibrationStatus_Ongoing;
  manager_->TranslateAndStoreStatus(message1);
  manager_->TranslateAndStoreStatus(message2_of_scan_4);
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(3U));
  EXPECT_FALSE(manager_->UpdateLatestCompleteStatus(4U));

  types::RSDS4SigSts2 message2_of_scan_3 = CalibratedMessage2(3U);
  message2_of_scan_3.rsds4sig_sts2ele_mis_alnmnt_ang = 1.0;
  manager_->TranslateAndStoreStatus(message2_of_scan_3);
  EXPECT_TRUE(manager_->UpdateLatestCompleteStatus(3U));
  const RadarStatus status = manager_->GetRadarScanStatus();
  EXPECT_EQ(status.scan_id(), 3U);
  EXPECT_EQ(status.blockage(), SensorBlockage::kFullBlockage);
  EXPECT_EQ(status.calibration_status(), CalibrationStatus::kComplete);
  EXPECT_EQ(status.elevation_alignment_error(), ConvertToRadians(1.0F));
}

}  // namespace
