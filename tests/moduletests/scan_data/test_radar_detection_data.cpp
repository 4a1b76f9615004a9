#include "radarDetectionData.h"

#include <chrono>
#include <cstdint>

#include <gtest/gtest.h>

#include "converters.h"
#include "frontsideradarlefthal_types.h"
#include "zol/mono_clock.h"

namespace {

using radar_service::CornerRadarDetections;
using radar_service::Mode;
using radar_service::QualityAggregated;
using radar_service::RadarDetection;

const zol::MonoClock::time_point kStarted{std::chrono::milliseconds(250)};

RadarDetection DetectionWithRange(float range) {
  return RadarDetection(1.0F, 2.0F, 3.0F, 4.0F, range, 6.0F, true, Mode::kMidRange, QualityAggregated::kHigh);
}

void AddAllDetections(RadarDetectionData& data) {
  for (std::uint16_t i = 0; i < RadarDetectionData::m_detectionsPerCompletedScan; ++i) {
    data.AddDetection(DetectionWithRange(static_cast<float>(i)), i);
  }
}

// Everything a scan needs except the time stamps.
RadarDetectionData StartedScanWithDetectionsAndMounting(std::uint8_t scan_id) {
  RadarDetectionData data(kStarted, scan_id);
  AddAllDetections(data);
  data.SetMountingInfo(MountingInformation{1.0, 2.0, 90.0});
  return data;
}

CornerRadarDetections DetectionsOf(const RadarDetectionData& data) {
  CornerRadarDetections detections;
  data.GetDetections(detections);
  return detections;
}

TEST(RadarDetectionData, DefaultConstructedSlotIsEmptyAndInvalid) {
  const RadarDetectionData data;
  EXPECT_FALSE(data.AreDetectionsValid());
  EXPECT_FALSE(data.IsDetectionsComplete());
  EXPECT_EQ(data.GetInstantiationTime(), zol::MonoClock::time_point{});
  EXPECT_EQ(DetectionsOf(data), CornerRadarDetections());
}

TEST(RadarDetectionData, StartedSlotIsValidForItsScanIdWithDefaultDetections) {
  const RadarDetectionData data(kStarted, 77U);
  EXPECT_TRUE(data.AreDetectionsValid());
  EXPECT_FALSE(data.IsDetectionsComplete());
  EXPECT_EQ(data.GetInstantiationTime(), kStarted);
  const CornerRadarDetections detections = DetectionsOf(data);
  EXPECT_EQ(detections.info().scan_id(), 77U);
  EXPECT_TRUE(detections.info().is_valid());
  EXPECT_EQ(detections.info().time_stamps(), radar_service::ScanTimeStamp());
  EXPECT_EQ(detections.info().mounting_information(), radar_service::RadarMountingInformation());
  EXPECT_EQ(detections.detections(), CornerRadarDetections().detections());
}

TEST(RadarDetectionData, DetectionIsStoredAtItsIndex) {
  RadarDetectionData data(kStarted, 1U);
  data.AddDetection(DetectionWithRange(42.0F), 199U);
  const CornerRadarDetections detections = DetectionsOf(data);
  EXPECT_EQ(detections.detections()[199], DetectionWithRange(42.0F));
  EXPECT_EQ(detections.detections()[198], RadarDetection());
}

TEST(RadarDetectionData, IndexOf200OrAboveIsIgnored) {
  RadarDetectionData data(kStarted, 1U);
  data.AddDetection(DetectionWithRange(1.0F), 200U);
  data.AddDetection(DetectionWithRange(2.0F), 0xFFFFU);
  EXPECT_EQ(DetectionsOf(data), DetectionsOf(RadarDetectionData(kStarted, 1U)));
}

TEST(RadarDetectionData, IndexOf200DoesNotStandInForAMissingDetection) {
  RadarDetectionData data(kStarted, 1U);
  for (std::uint16_t i = 0; i < 199U; ++i) {
    data.AddDetection(DetectionWithRange(1.0F), i);
  }
  data.AddDetection(DetectionWithRange(1.0F), 200U);
  data.SetMountingInfo(MountingInformation{});
  data.SetTimeStamp(5, Mode::kMidRange);
  EXPECT_FALSE(data.IsDetectionsComplete());
  data.AddDetection(DetectionWithRange(1.0F), 199U);
  EXPECT_TRUE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, SecondDetectionForSameIndexIsDropped) {
  RadarDetectionData data(kStarted, 1U);
  data.AddDetection(DetectionWithRange(10.0F), 17U);
  data.AddDetection(DetectionWithRange(20.0F), 17U);
  EXPECT_EQ(DetectionsOf(data).detections()[17].range(), 10.0F);
}

TEST(RadarDetectionData, ScanWithDetectionsMountingAndMidRangeStampIsComplete) {
  RadarDetectionData data = StartedScanWithDetectionsAndMounting(3U);
  data.SetTimeStamp(1000, Mode::kMidRange);
  EXPECT_TRUE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, ScanWithoutMidRangeStampIsNotComplete) {
  RadarDetectionData data = StartedScanWithDetectionsAndMounting(3U);
  data.SetTimeStamp(1, Mode::kShortRange);
  data.SetTimeStamp(2, Mode::kNearRange);
  data.SetTimeStamp(4, Mode::kLongRange);
  EXPECT_FALSE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, ScanWithoutMountingInformationIsNotComplete) {
  RadarDetectionData data(kStarted, 3U);
  AddAllDetections(data);
  data.SetTimeStamp(1000, Mode::kMidRange);
  EXPECT_FALSE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, ScanMissingOneDetectionIsNotComplete) {
  RadarDetectionData data(kStarted, 3U);
  for (std::uint16_t i = 1; i < 200U; ++i) {
    data.AddDetection(DetectionWithRange(1.0F), i);
  }
  data.SetMountingInfo(MountingInformation{});
  data.SetTimeStamp(1000, Mode::kMidRange);
  EXPECT_FALSE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, DefaultConstructedContainerIsNeverCompleteEvenWithAllDataAdded) {
  RadarDetectionData data;
  AddAllDetections(data);
  data.SetMountingInfo(MountingInformation{1.0, 2.0, 3.0});
  data.SetTimeStamp(1, Mode::kShortRange);
  data.SetTimeStamp(2, Mode::kNearRange);
  data.SetTimeStamp(3, Mode::kMidRange);
  data.SetTimeStamp(4, Mode::kLongRange);
  EXPECT_FALSE(data.IsDetectionsComplete());
  EXPECT_FALSE(data.AreDetectionsValid());
  // The data is held all the same; only the validity is missing.
  EXPECT_EQ(DetectionsOf(data).detections()[5], DetectionWithRange(5.0F));
}

TEST(RadarDetectionData, EachModeWritesItsOwnTimeStamp) {
  RadarDetectionData data(kStarted, 3U);
  data.SetTimeStamp(11, Mode::kShortRange);
  data.SetTimeStamp(22, Mode::kNearRange);
  data.SetTimeStamp(-33, Mode::kMidRange);
  data.SetTimeStamp(44, Mode::kLongRange);
  EXPECT_EQ(data.GetTimeStamp(Mode::kShortRange), 11);
  EXPECT_EQ(data.GetTimeStamp(Mode::kNearRange), 22);
  EXPECT_EQ(data.GetTimeStamp(Mode::kMidRange), -33);
  EXPECT_EQ(data.GetTimeStamp(Mode::kLongRange), 44);
  EXPECT_EQ(DetectionsOf(data).info().time_stamps(), radar_service::ScanTimeStamp(11, 22, -33, 44));
}

TEST(RadarDetectionData, UnknownModeReadsAsZeroTimeStamp) {
  RadarDetectionData data(kStarted, 3U);
  data.SetTimeStamp(11, Mode::kShortRange);
  EXPECT_EQ(data.GetTimeStamp(static_cast<Mode>(4)), 0);
}

TEST(RadarDetectionData, ModeOutsideTheFourClearsAllStampsButKeepsAMidRangeStampCounted) {
  RadarDetectionData data = StartedScanWithDetectionsAndMounting(3U);
  data.SetTimeStamp(11, Mode::kShortRange);
  data.SetTimeStamp(22, Mode::kNearRange);
  data.SetTimeStamp(33, Mode::kMidRange);
  data.SetTimeStamp(44, Mode::kLongRange);
  data.SetTimeStamp(99, static_cast<Mode>(7));
  EXPECT_EQ(data.GetTimeStamp(Mode::kShortRange), 0);
  EXPECT_EQ(data.GetTimeStamp(Mode::kNearRange), 0);
  EXPECT_EQ(data.GetTimeStamp(Mode::kMidRange), 0);
  EXPECT_EQ(data.GetTimeStamp(Mode::kLongRange), 0);
  EXPECT_EQ(DetectionsOf(data).info().time_stamps(), radar_service::ScanTimeStamp());
  EXPECT_TRUE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, ModeOutsideTheFourDoesNotCountAsMidRangeStamp) {
  RadarDetectionData data = StartedScanWithDetectionsAndMounting(3U);
  data.SetTimeStamp(99, static_cast<Mode>(0xFFFFFFFFU));
  EXPECT_FALSE(data.IsDetectionsComplete());
}

TEST(RadarDetectionData, MountingInfoIsNarrowedToFloatWithYawInRadians) {
  RadarDetectionData data(kStarted, 3U);
  data.SetMountingInfo(MountingInformation{0.1, -2.75, 90.0});
  const radar_service::RadarMountingInformation mounting = DetectionsOf(data).info().mounting_information();
  EXPECT_EQ(mounting.x_offset(), static_cast<float>(0.1));
  EXPECT_EQ(mounting.y_offset(), -2.75F);
  EXPECT_EQ(mounting.phi_offset(), ConvertToRadians(90.0F));
}

TEST(RadarDetectionData, YawIsNarrowedToFloatBeforeConversion) {
  // 7 degrees is where float and double conversion paths round differently.
  RadarDetectionData data(kStarted, 3U);
  data.SetMountingInfo(MountingInformation{0.0, 0.0, 7.0});
  EXPECT_EQ(DetectionsOf(data).info().mounting_information().phi_offset(), ConvertToRadians(7.0F));
  EXPECT_NE(DetectionsOf(data).info().mounting_information().phi_offset(), static_cast<float>(7.0 * 3.1415927 / 180.0));
}

TEST(RadarDetectionData, LaterMountingInfoOverwritesTheEarlierOne) {
  RadarDetectionData data(kStarted, 3U);
  data.SetMountingInfo(MountingInformation{1.0, 1.0, 1.0});
  data.SetMountingInfo(MountingInformation{2.0, 3.0, 180.0});
  EXPECT_EQ(DetectionsOf(data).info().mounting_information(),
            radar_service::RadarMountingInformation(2.0F, 3.0F, 3.1415927F));
}

TEST(RadarDetectionData, TimeStampsAndMountingLeaveScanIdAndValidityIntact) {
  RadarDetectionData data(kStarted, 200U);
  data.SetMountingInfo(MountingInformation{1.0, 2.0, 3.0});
  data.SetTimeStamp(5, Mode::kMidRange);
  data.SetTimeStamp(6, static_cast<Mode>(9));
  const CornerRadarDetections detections = DetectionsOf(data);
  EXPECT_EQ(detections.info().scan_id(), 200U);
  EXPECT_TRUE(detections.info().is_valid());
  EXPECT_EQ(detections.info().mounting_information().y_offset(), 2.0F);
}

TEST(RadarDetectionData, CopiesCarryTheWholeCollectedScan) {
  RadarDetectionData data = StartedScanWithDetectionsAndMounting(9U);
  data.SetTimeStamp(1000, Mode::kMidRange);
  RadarDetectionData copy;
  copy = data;
  EXPECT_TRUE(copy.IsDetectionsComplete());
  EXPECT_EQ(copy.GetInstantiationTime(), kStarted);
  EXPECT_EQ(DetectionsOf(copy), DetectionsOf(data));
}

}  // namespace
