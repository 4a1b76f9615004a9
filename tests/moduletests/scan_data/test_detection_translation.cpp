// The translation of the 40 detection signal-group records into the detections of a scan, observed the way the HAL's
// consumers see it: through the published scan.
#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include "detection_group_records.h"
#include "frontsideradarlefthal_types.h"
#include "initialfrontsideradarlefthal_detection_groups.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "radarScanDataManager.h"
#include "zol/mono_clock.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
using radar_service::CornerRadarDetections;
using radar_service::Mode;
using radar_service::QualityAggregated;
using radar_service::RadarDetection;

using fsrl_test::DetectionGroup;
using fsrl_test::GroupDetections;
using RawDetection = fsrl_test::SensorDetection;
const auto& kGroups = fsrl_test::kDetectionGroups;

// Groups whose every field is checked; the others are checked by where their detections land.
constexpr std::array<std::size_t, 4> kFullyCheckedGroups{{0U, 19U, 20U, 39U}};

// Values that tell every detection of a scan apart: detection number k carries k in each of its physical values,
// each field scaled differently so that a mixed-up field shows as well.
RawDetection NumberedDetection(std::size_t k) {
  const auto number = static_cast<double>(k);
  return RawDetection{number + 0.25,
                      -(number + 0.5),
                      number * 0.125 - 12.0,
                      number * -0.0625,
                      number * 0.75 - 20.0,
                      number * 0.5 + 3.0,
                      static_cast<std::uint8_t>(k % 4U),
                      static_cast<std::uint8_t>(k % 2U),
                      static_cast<std::uint8_t>((k / 4U) % 4U)};
}

GroupDetections NumberedGroup(std::size_t group) {
  GroupDetections values{};
  for (std::size_t n = 0U; n < values.size(); ++n) {
    values[n] = NumberedDetection(group * 5U + n);
  }
  return values;
}

Mode ExpectedMode(std::uint8_t raw) {
  switch (raw) {
    case 1U:
      return Mode::kNearRange;
    case 2U:
      return Mode::kMidRange;
    case 3U:
      return Mode::kLongRange;
    default:
      return Mode::kShortRange;
  }
}

QualityAggregated ExpectedQuality(std::uint8_t raw) {
  switch (raw) {
    case 0U:
      return QualityAggregated::kLow;
    case 1U:
      return QualityAggregated::kMid;
    case 2U:
      return QualityAggregated::kHigh;
    default:
      return QualityAggregated::kUnknown;
  }
}

// The detection the translation has to make of `raw`: every value narrowed to float, nothing else changed.
RadarDetection ExpectedDetection(const RawDetection& raw) {
  return {static_cast<float>(raw.snr),
          static_cast<float>(raw.rcs),
          static_cast<float>(raw.azimuth),
          static_cast<float>(raw.elevation),
          static_cast<float>(raw.range),
          static_cast<float>(raw.range_rate),
          raw.dyn_pr_pty == 1U,
          ExpectedMode(raw.mode),
          ExpectedQuality(raw.quality)};
}

types::RSDS4SigSts1 StatusMessage1(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp) {
  types::RSDS4SigSts1 message{};
  message.rsds4sig_sts1scan_id = scan_id;
  message.rsds4sig_sts1time_stamp0 = mid_range_time_stamp - 2U;
  message.rsds4sig_sts1time_stamp1 = mid_range_time_stamp - 1U;
  message.rsds4sig_sts1time_stamp2 = mid_range_time_stamp;
  message.rsds4sig_sts1time_stamp3 = mid_range_time_stamp + 1U;
  message.rsds4sig_sts1xaxis_offs = 0.5;
  message.rsds4sig_sts1yaxis_offs = -0.25;
  message.rsds4sig_sts1zorient_ang = 45.0;
  return message;
}

class DetectionTranslationTest : public ::testing::Test {
 protected:
  // Starts the detection slot of `scan_id` and gives it what only status message 1 carries (time stamps and
  // mounting), each scan newer than the one before.
  void StartScan(std::uint8_t scan_id) {
    manager_->InitializeDetectionsData(scan_id);
    mid_range_time_stamp_ += 100U;
    manager_->TranslateAndStoreStatus(StatusMessage1(scan_id, mid_range_time_stamp_));
  }

  // Translates every group but `skipped_group` for `scan_id` with numbered values.
  void TranslateNumberedGroups(std::uint8_t scan_id, std::size_t skipped_group = kGroups.size()) {
    for (std::size_t group = 0U; group < kGroups.size(); ++group) {
      if (group != skipped_group) {
        kGroups[group].translate(*manager_, scan_id, NumberedGroup(group), 0U, 0U);
      }
    }
  }

  // Offers the scan for publication, which has to succeed, and returns what the HAL's consumers get.
  CornerRadarDetections PublishedScan(std::uint8_t scan_id) {
    EXPECT_TRUE(manager_->UpdateLatestCompleteDetections(scan_id));
    CornerRadarDetections detections = manager_->GetRadarScanDetections();
    EXPECT_EQ(detections.info().scan_id(), scan_id);
    return detections;
  }

  // A whole scan in which `group` carries `values` and every other group numbered values.
  CornerRadarDetections PublishWithGroup(std::size_t group, const GroupDetections& values, std::uint8_t scan_id = 7U) {
    StartScan(scan_id);
    kGroups[group].translate(*manager_, scan_id, values, 0U, 0U);
    TranslateNumberedGroups(scan_id, group);
    return PublishedScan(scan_id);
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point{std::chrono::seconds(50)}};
  // Two arrays of 256 scans: too large for the stack.
  std::unique_ptr<RadarScanDataManager> manager_ = std::make_unique<RadarScanDataManager>();
  std::uint64_t mid_range_time_stamp_{1000U};
};

TEST_F(DetectionTranslationTest, EveryGroupStoresItsFiveDetectionsAsItsOwnDetectionNumbers) {
  StartScan(7U);
  TranslateNumberedGroups(7U);
  const CornerRadarDetections scan = PublishedScan(7U);

  for (const DetectionGroup& group : kGroups) {
    SCOPED_TRACE(group.name);
    const std::size_t first = group.first_detection;
    const std::size_t last = first + 4U;
    // The range of a numbered detection is its number plus a quarter, so it tells where it came from.
    EXPECT_EQ(scan.detections()[first].range(), static_cast<float>(first) + 0.25F);
    EXPECT_EQ(scan.detections()[last].range(), static_cast<float>(last) + 0.25F);
    for (std::size_t k = first; k <= last; ++k) {
      EXPECT_EQ(scan.detections()[k].range(), static_cast<float>(k) + 0.25F) << "detection " << k;
    }
  }
}

TEST_F(DetectionTranslationTest, SomeGroupsCarryEveryFieldOfTheirDetectionsIntoThePublishedScan) {
  StartScan(7U);
  TranslateNumberedGroups(7U);
  const CornerRadarDetections scan = PublishedScan(7U);

  for (const std::size_t group : kFullyCheckedGroups) {
    SCOPED_TRACE(kGroups[group].name);
    for (std::size_t n = 0U; n < 5U; ++n) {
      const std::size_t k = kGroups[group].first_detection + n;
      const RadarDetection& detection = scan.detections()[k];
      const auto number = static_cast<double>(k);
      EXPECT_EQ(detection.range(), static_cast<float>(number + 0.25)) << "detection " << k;
      EXPECT_EQ(detection.range_rate(), static_cast<float>(-(number + 0.5))) << "detection " << k;
      EXPECT_EQ(detection.azimuth(), static_cast<float>(number * 0.125 - 12.0)) << "detection " << k;
      EXPECT_EQ(detection.elevation(), static_cast<float>(number * -0.0625)) << "detection " << k;
      EXPECT_EQ(detection.rcs(), static_cast<float>(number * 0.75 - 20.0)) << "detection " << k;
      EXPECT_EQ(detection.snr(), static_cast<float>(number * 0.5 + 3.0)) << "detection " << k;
      EXPECT_EQ(detection.is_dynamic(), k % 2U == 1U) << "detection " << k;
      EXPECT_EQ(detection.mode(), ExpectedMode(static_cast<std::uint8_t>((k / 4U) % 4U))) << "detection " << k;
      EXPECT_EQ(detection.quality_aggregated(), ExpectedQuality(static_cast<std::uint8_t>(k % 4U)))
          << "detection " << k;
    }
  }
}

TEST_F(DetectionTranslationTest, EveryGroupMapsModeQualityAndDynamicFlagAlike) {
  // Raw values outside the named ones as well: every group has enumeration types of its own.
  const std::array<std::uint8_t, 5> modes{{0U, 1U, 2U, 3U, 7U}};
  const std::array<std::uint8_t, 5> qualities{{0U, 1U, 2U, 3U, 200U}};
  const std::array<std::uint8_t, 5> dynamics{{0U, 1U, 2U, 1U, 0U}};
  const std::array<Mode, 5> expected_modes{
      {Mode::kShortRange, Mode::kNearRange, Mode::kMidRange, Mode::kLongRange, Mode::kShortRange}};
  const std::array<QualityAggregated, 5> expected_qualities{{QualityAggregated::kLow, QualityAggregated::kMid,
                                                             QualityAggregated::kHigh, QualityAggregated::kUnknown,
                                                             QualityAggregated::kUnknown}};
  const std::array<bool, 5> expected_dynamics{{false, true, false, true, false}};

  StartScan(7U);
  for (std::size_t group = 0U; group < kGroups.size(); ++group) {
    GroupDetections values = NumberedGroup(group);
    for (std::size_t n = 0U; n < 5U; ++n) {
      values[n].mode = modes[n];
      values[n].quality = qualities[n];
      values[n].dyn_pr_pty = dynamics[n];
    }
    kGroups[group].translate(*manager_, 7U, values, 0U, 0U);
  }
  const CornerRadarDetections scan = PublishedScan(7U);

  for (const DetectionGroup& group : kGroups) {
    SCOPED_TRACE(group.name);
    for (std::size_t n = 0U; n < 5U; ++n) {
      const RadarDetection& detection = scan.detections()[group.first_detection + n];
      EXPECT_EQ(detection.mode(), expected_modes[n]) << "detection " << n << " of the group";
      EXPECT_EQ(detection.quality_aggregated(), expected_qualities[n]) << "detection " << n << " of the group";
      EXPECT_EQ(detection.is_dynamic(), expected_dynamics[n]) << "detection " << n << " of the group";
    }
  }
}

TEST_F(DetectionTranslationTest, RawModeZeroAndRawModeSevenBothGiveShortRange) {
  GroupDetections values = NumberedGroup(3U);
  values[0].mode = 0U;
  values[1].mode = 7U;
  values[2].mode = 255U;
  const CornerRadarDetections scan = PublishWithGroup(3U, values);
  EXPECT_EQ(scan.detections()[15].mode(), Mode::kShortRange);
  EXPECT_EQ(scan.detections()[16].mode(), Mode::kShortRange);
  EXPECT_EQ(scan.detections()[17].mode(), Mode::kShortRange);
}

TEST_F(DetectionTranslationTest, RawModesOneTwoAndThreeGiveNearMidAndLongRange) {
  GroupDetections values = NumberedGroup(3U);
  values[0].mode = 1U;
  values[1].mode = 2U;
  values[2].mode = 3U;
  const CornerRadarDetections scan = PublishWithGroup(3U, values);
  EXPECT_EQ(scan.detections()[15].mode(), Mode::kNearRange);
  EXPECT_EQ(scan.detections()[16].mode(), Mode::kMidRange);
  EXPECT_EQ(scan.detections()[17].mode(), Mode::kLongRange);
}

TEST_F(DetectionTranslationTest, RawQualityThreeAnd200BothGiveUnknown) {
  GroupDetections values = NumberedGroup(12U);
  values[0].quality = 3U;
  values[1].quality = 200U;
  values[2].quality = 4U;
  const CornerRadarDetections scan = PublishWithGroup(12U, values);
  EXPECT_EQ(scan.detections()[60].quality_aggregated(), QualityAggregated::kUnknown);
  EXPECT_EQ(scan.detections()[61].quality_aggregated(), QualityAggregated::kUnknown);
  EXPECT_EQ(scan.detections()[62].quality_aggregated(), QualityAggregated::kUnknown);
}

TEST_F(DetectionTranslationTest, RawQualitiesZeroOneAndTwoGiveLowMidAndHigh) {
  GroupDetections values = NumberedGroup(12U);
  values[0].quality = 0U;
  values[1].quality = 1U;
  values[2].quality = 2U;
  const CornerRadarDetections scan = PublishWithGroup(12U, values);
  EXPECT_EQ(scan.detections()[60].quality_aggregated(), QualityAggregated::kLow);
  EXPECT_EQ(scan.detections()[61].quality_aggregated(), QualityAggregated::kMid);
  EXPECT_EQ(scan.detections()[62].quality_aggregated(), QualityAggregated::kHigh);
}

TEST_F(DetectionTranslationTest, AnUnpopulatedDetectionIsStoredLikeAnyOtherWithUnknownQuality) {
  GroupDetections values = NumberedGroup(12U);
  values[4] = RawDetection{12.5, -1.25, 3.0, -0.5, 7.0, 21.0, 3U, 1U, 2U};
  const CornerRadarDetections scan = PublishWithGroup(12U, values);
  EXPECT_EQ(scan.detections()[64], RadarDetection(21.0F, 7.0F, 3.0F, -0.5F, 12.5F, -1.25F, true, Mode::kMidRange,
                                                  QualityAggregated::kUnknown));
}

TEST_F(DetectionTranslationTest, RawDynamicPropertyTwoIsNotDynamic) {
  GroupDetections values = NumberedGroup(30U);
  values[0].dyn_pr_pty = 2U;
  values[1].dyn_pr_pty = 1U;
  values[2].dyn_pr_pty = 0U;
  values[3].dyn_pr_pty = 255U;
  const CornerRadarDetections scan = PublishWithGroup(30U, values);
  EXPECT_FALSE(scan.detections()[150].is_dynamic());
  EXPECT_TRUE(scan.detections()[151].is_dynamic());
  EXPECT_FALSE(scan.detections()[152].is_dynamic());
  EXPECT_FALSE(scan.detections()[153].is_dynamic());
}

TEST_F(DetectionTranslationTest, PhysicalValuesAreNarrowedToTheNearestFloatWithoutScalingOrClamping) {
  // Halfway and beyond between two floats: narrowing rounds to the nearest, it does not cut off.
  const double above_one = 1.0 + 0.75 * std::ldexp(1.0, -23);
  const double below_minus_two = -2.0 - 0.75 * std::ldexp(1.0, -22);
  GroupDetections values = NumberedGroup(25U);
  values[2] = RawDetection{above_one, below_minus_two, 0.1, -400.0, 1.0e-30, 123456.789, 1U, 0U, 1U};
  const CornerRadarDetections scan = PublishWithGroup(25U, values);

  const RadarDetection& detection = scan.detections()[127];
  EXPECT_EQ(detection.range(), std::nextafter(1.0F, 2.0F));
  EXPECT_EQ(detection.range_rate(), std::nextafter(-2.0F, -3.0F));
  EXPECT_EQ(detection.azimuth(), 0.1F);       // no unit conversion of the angle
  EXPECT_EQ(detection.elevation(), -400.0F);  // no clamping to a plausible range
  EXPECT_EQ(detection.rcs(), static_cast<float>(1.0e-30));
  EXPECT_EQ(detection.snr(), static_cast<float>(123456.789));
}

TEST_F(DetectionTranslationTest, AGroupArrivingTwiceForTheSameScanKeepsItsFirstValues) {
  StartScan(7U);
  GroupDetections first_values = NumberedGroup(8U);
  GroupDetections repeated_values = NumberedGroup(8U);
  for (RawDetection& value : repeated_values) {
    value.range += 1000.0;
    value.mode = 3U;
    value.quality = 2U;
    value.dyn_pr_pty = 1U;
  }
  kGroups[8].translate(*manager_, 7U, first_values, 1U, 0x1111U);
  kGroups[8].translate(*manager_, 7U, repeated_values, 2U, 0x2222U);
  TranslateNumberedGroups(7U, 8U);
  const CornerRadarDetections scan = PublishedScan(7U);

  for (std::size_t n = 0U; n < 5U; ++n) {
    EXPECT_EQ(scan.detections()[40U + n], ExpectedDetection(first_values[n])) << "detection " << 40U + n;
  }
}

TEST_F(DetectionTranslationTest, AGroupWithAnotherScanIdFillsTheSlotOfItsOwnScanId) {
  StartScan(7U);
  StartScan(9U);
  GroupDetections odd_values = NumberedGroup(17U);
  for (RawDetection& value : odd_values) {
    value.range = -value.range;
  }
  // Scan 7 gets every group but one; that one arrives tagged with scan 9.
  TranslateNumberedGroups(7U, 17U);
  kGroups[17].translate(*manager_, 9U, odd_values, 0U, 0U);

  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(7U));

  TranslateNumberedGroups(9U, 17U);
  const CornerRadarDetections scan = PublishedScan(9U);
  for (std::size_t n = 0U; n < 5U; ++n) {
    EXPECT_EQ(scan.detections()[85U + n], ExpectedDetection(odd_values[n])) << "detection " << 85U + n;
  }
}

TEST_F(DetectionTranslationTest, DetectionsTranslatedBeforeTheSlotIsStartedAreDroppedWhenItStarts) {
  GroupDetections early_values = NumberedGroup(0U);
  for (RawDetection& value : early_values) {
    value.snr = 99.0;
  }
  // Nothing stops the translation from writing into a slot that was never started ...
  kGroups[0].translate(*manager_, 7U, early_values, 0U, 0U);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(7U));

  // ... but starting the slot for the scan wipes it, so the scan's own values are not blocked by them.
  StartScan(7U);
  TranslateNumberedGroups(7U);
  const CornerRadarDetections scan = PublishedScan(7U);
  for (std::size_t k = 0U; k < 5U; ++k) {
    EXPECT_EQ(scan.detections()[k], ExpectedDetection(NumberedDetection(k))) << "detection " << k;
  }
}

TEST_F(DetectionTranslationTest, CounterAndCrcOfTheRecordsDoNotChangeTheDetections) {
  StartScan(7U);
  TranslateNumberedGroups(7U);
  const CornerRadarDetections with_zero_counters = PublishedScan(7U);

  StartScan(8U);
  for (std::size_t group = 0U; group < kGroups.size(); ++group) {
    kGroups[group].translate(*manager_, 8U, NumberedGroup(group), static_cast<std::uint8_t>(0xF0U + group % 16U),
                             static_cast<std::uint16_t>(0xBEEFU + group));
  }
  const CornerRadarDetections with_other_counters = PublishedScan(8U);

  EXPECT_EQ(with_other_counters.detections(), with_zero_counters.detections());
}

TEST_F(DetectionTranslationTest, DetectionsAloneNeverCompleteAScan) {
  // Time stamps and mounting come only with status message 1.
  manager_->InitializeDetectionsData(7U);
  TranslateNumberedGroups(7U);
  EXPECT_FALSE(manager_->UpdateLatestCompleteDetections(7U));
  EXPECT_EQ(manager_->GetRadarScanDetections(), CornerRadarDetections());
}

}  // namespace
