#include "frontsideradarlefthal_types.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zol/someip_serialization/stream.h"

namespace {

using radar_service::CalibrationStatus;
using radar_service::CornerRadarDetections;
using radar_service::FaultReason;
using radar_service::Interference;
using radar_service::Mode;
using radar_service::QualityAggregated;
using radar_service::RadarDetection;
using radar_service::RadarDetectionsInfo;
using radar_service::RadarMountingInformation;
using radar_service::RadarStatus;
using radar_service::ScanTimeStamp;
using radar_service::SensorBlockage;
using zol::someip_serialization::InputStream;
using zol::someip_serialization::OutputStream;
using zol::someip_serialization::Status;

// Bytes on the wire per type: 32-bit floats and enumerations, 64-bit stamps, one byte per bool and scan id.
constexpr std::size_t kDetectionWireSize = 6U * 4U + 1U + 4U + 4U;
constexpr std::size_t kTimeStampWireSize = 4U * 8U;
constexpr std::size_t kMountingWireSize = 3U * 4U;
constexpr std::size_t kInfoWireSize = kTimeStampWireSize + 1U + 1U + kMountingWireSize;
constexpr std::size_t kScanWireSize = kInfoWireSize + 200U * kDetectionWireSize;
constexpr std::size_t kFaultReasonWireSize = 6U;
constexpr std::size_t kStatusWireSize = 1U + 4U + 4U + 3U * 4U + kFaultReasonWireSize + 4U + 4U;

template <typename T>
std::vector<std::uint8_t> SerializeToBytes(const T& value, std::size_t capacity = 8192U) {
  std::vector<std::uint8_t> buffer(capacity);
  OutputStream out(zol::memory::span<std::uint8_t>(buffer.data(), buffer.size()));
  EXPECT_EQ(value.Serialize(out), Status::kOk);
  buffer.resize(out.size());
  return buffer;
}

template <typename T>
T DeserializeFromBytes(const std::vector<std::uint8_t>& bytes) {
  T value;
  InputStream in(zol::memory::span<const std::uint8_t>(bytes.data(), bytes.size()));
  EXPECT_EQ(value.Deserialize(in), Status::kOk);
  EXPECT_EQ(in.remaining(), 0U);
  return value;
}

RadarDetection SampleDetection(float seed) {
  return RadarDetection(seed, seed + 1.0F, seed + 2.0F, seed + 3.0F, seed + 4.0F, seed + 5.0F, true, Mode::kLongRange,
                        QualityAggregated::kHigh);
}

FaultReason SampleFaultReason() { return FaultReason(true, false, true, false, true, false); }

RadarStatus SampleStatus() {
  return RadarStatus(42U, 0.25F, -0.5F, SensorBlockage::kFullBlockage, Interference::kNoInterference,
                     CalibrationStatus::kComplete, SampleFaultReason(), true, false, true, false, 36.5F);
}

CornerRadarDetections SampleScan() {
  CornerRadarDetections scan;
  scan.set_info(RadarDetectionsInfo(ScanTimeStamp(1, 2, 3, 4), 9U, true, RadarMountingInformation(1.5F, -2.5F, 0.1F)));
  for (std::size_t i = 0; i < CornerRadarDetections::kDetectionCount; ++i) {
    scan.set_detection(i, SampleDetection(static_cast<float>(i)));
  }
  return scan;
}

TEST(RadarServiceEnumerations, AreThirtyTwoBitWithTheirWireValues) {
  EXPECT_EQ(sizeof(Mode), 4U);
  EXPECT_EQ(sizeof(QualityAggregated), 4U);
  EXPECT_EQ(sizeof(CalibrationStatus), 4U);
  EXPECT_EQ(sizeof(SensorBlockage), 4U);
  EXPECT_EQ(sizeof(Interference), 4U);
  EXPECT_EQ(static_cast<int>(Mode::kLongRange), 3);
  EXPECT_EQ(static_cast<int>(QualityAggregated::kUnknown), 3);
  EXPECT_EQ(static_cast<int>(CalibrationStatus::kComplete), 2);
  EXPECT_EQ(static_cast<int>(SensorBlockage::kNoBlockage), 2);
  EXPECT_EQ(static_cast<int>(Interference::kFullInterference), 1);
}

TEST(RadarServiceTypedefs, HaveTheWidthsTheWireExpects) {
  EXPECT_TRUE((std::is_same<radar_service::TimeStamp, std::int64_t>::value));
  EXPECT_TRUE((std::is_same<radar_service::ScanId, std::uint8_t>::value));
  EXPECT_TRUE((std::is_same<radar_service::Snr, float>::value));
  EXPECT_TRUE((std::is_same<radar_service::AngleAlignmentError, float>::value));
}

TEST(RadarServiceTypes, AreTriviallyCopyableValues) {
  EXPECT_TRUE(std::is_trivially_copyable<CornerRadarDetections>::value);
  EXPECT_TRUE(std::is_trivially_copyable<RadarStatus>::value);
  EXPECT_TRUE(std::is_nothrow_move_constructible<CornerRadarDetections>::value);
}

TEST(RadarDetection, DefaultIsZeroStaticShortRangeLowQuality) {
  const RadarDetection detection;
  EXPECT_EQ(detection.snr(), 0.0F);
  EXPECT_EQ(detection.rcs(), 0.0F);
  EXPECT_EQ(detection.azimuth(), 0.0F);
  EXPECT_EQ(detection.elevation(), 0.0F);
  EXPECT_EQ(detection.range(), 0.0F);
  EXPECT_EQ(detection.range_rate(), 0.0F);
  EXPECT_FALSE(detection.is_dynamic());
  EXPECT_EQ(detection.mode(), Mode::kShortRange);
  EXPECT_EQ(detection.quality_aggregated(), QualityAggregated::kLow);
}

TEST(RadarDetection, AllFieldsConstructorTakesFieldsInDeclarationOrder) {
  const RadarDetection detection(1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, true, Mode::kMidRange, QualityAggregated::kMid);
  EXPECT_EQ(detection.snr(), 1.0F);
  EXPECT_EQ(detection.rcs(), 2.0F);
  EXPECT_EQ(detection.azimuth(), 3.0F);
  EXPECT_EQ(detection.elevation(), 4.0F);
  EXPECT_EQ(detection.range(), 5.0F);
  EXPECT_EQ(detection.range_rate(), 6.0F);
  EXPECT_TRUE(detection.is_dynamic());
  EXPECT_EQ(detection.mode(), Mode::kMidRange);
  EXPECT_EQ(detection.quality_aggregated(), QualityAggregated::kMid);
}

TEST(RadarDetection, SettersWriteOnlyTheirField) {
  RadarDetection detection;
  detection.set_snr(1.0F);
  detection.set_rcs(2.0F);
  detection.set_azimuth(3.0F);
  detection.set_elevation(4.0F);
  detection.set_range(5.0F);
  detection.set_range_rate(6.0F);
  detection.set_is_dynamic(true);
  detection.set_mode(Mode::kNearRange);
  detection.set_quality_aggregated(QualityAggregated::kUnknown);
  EXPECT_EQ(detection,
            RadarDetection(1.0F, 2.0F, 3.0F, 4.0F, 5.0F, 6.0F, true, Mode::kNearRange, QualityAggregated::kUnknown));
}

TEST(RadarDetection, EqualityLooksAtEveryField) {
  const RadarDetection base = SampleDetection(1.0F);
  RadarDetection other = base;
  EXPECT_EQ(base, other);
  other.set_range_rate(-1.0F);
  EXPECT_NE(base, other);
  other = base;
  other.set_quality_aggregated(QualityAggregated::kLow);
  EXPECT_NE(base, other);
  other = base;
  other.set_is_dynamic(false);
  EXPECT_NE(base, other);
}

TEST(CornerRadarDetections, DefaultHasScanIdZeroNotValidZeroStampsAnd200ZeroDetections) {
  const CornerRadarDetections scan;
  EXPECT_EQ(scan.info().scan_id(), 0U);
  EXPECT_FALSE(scan.info().is_valid());
  EXPECT_EQ(scan.info().time_stamps(), ScanTimeStamp(0, 0, 0, 0));
  EXPECT_EQ(scan.info().mounting_information(), RadarMountingInformation(0.0F, 0.0F, 0.0F));
  ASSERT_EQ(scan.detections().size(), 200U);
  for (const RadarDetection& detection : scan.detections()) {
    EXPECT_EQ(detection,
              RadarDetection(0.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F, false, Mode::kShortRange, QualityAggregated::kLow));
  }
}

TEST(CornerRadarDetections, SetDetectionReplacesOnlyThatIndex) {
  CornerRadarDetections scan;
  scan.set_detection(199U, SampleDetection(7.0F));
  EXPECT_EQ(scan.detections()[199], SampleDetection(7.0F));
  EXPECT_EQ(scan.detections()[198], RadarDetection());
  EXPECT_EQ(scan.detections()[0], RadarDetection());
}

// A scan with detections right behind it in memory: a write past the scan's last detection lands in `behind`.
struct ScanFollowedByDetections {
  CornerRadarDetections scan;
  std::array<RadarDetection, 4> behind{};
};

TEST(CornerRadarDetections, SetDetectionWithAnIndexOf200OrMoreIsIgnored) {
  ScanFollowedByDetections memory;
  static_assert(offsetof(ScanFollowedByDetections, behind) == sizeof(CornerRadarDetections),
                "the guard must start where the scan ends");
  for (const std::size_t index :
       {std::size_t{200U}, std::size_t{201U}, std::size_t{1000U}, std::numeric_limits<std::size_t>::max()}) {
    memory.scan.set_detection(index, SampleDetection(9.0F));
  }
  EXPECT_EQ(memory.scan, CornerRadarDetections());
  for (const RadarDetection& detection : memory.behind) {
    EXPECT_EQ(detection, RadarDetection());
  }
}

TEST(CornerRadarDetections, DetectionCountIsA200SizeTThatBindsToAReference) {
  static_assert(std::is_same<decltype(CornerRadarDetections::kDetectionCount), const std::size_t>::value,
                "kDetectionCount keeps its type");
  const std::size_t& bound = CornerRadarDetections::kDetectionCount;
  EXPECT_EQ(bound, 200U);
  EXPECT_EQ(std::max(std::size_t{3U}, CornerRadarDetections::kDetectionCount), 200U);
  EXPECT_EQ(CornerRadarDetections().detections().size(), CornerRadarDetections::kDetectionCount);
}

TEST(CornerRadarDetections, CopyAndMoveSettersReplaceTheWholeArrayAndInfo) {
  CornerRadarDetections::DetectionArray detections{};
  detections[3] = SampleDetection(3.0F);
  CornerRadarDetections scan;
  scan.set_detections(detections);
  EXPECT_EQ(scan.detections(), detections);

  CornerRadarDetections::DetectionArray moved = detections;
  moved[4] = SampleDetection(4.0F);
  scan.set_detections(std::move(moved));
  EXPECT_EQ(scan.detections()[4], SampleDetection(4.0F));
  EXPECT_EQ(scan.detections()[3], SampleDetection(3.0F));

  RadarDetectionsInfo info(ScanTimeStamp(5, 6, 7, 8), 3U, true, RadarMountingInformation());
  scan.set_info(info);
  EXPECT_EQ(scan.info(), info);
  scan.set_info(RadarDetectionsInfo());
  EXPECT_EQ(scan.info(), RadarDetectionsInfo());
}

TEST(CornerRadarDetections, AllFieldsConstructorTakesInfoThenDetections) {
  const CornerRadarDetections sample = SampleScan();
  const CornerRadarDetections copy(sample.info(), sample.detections());
  EXPECT_EQ(copy, sample);
  CornerRadarDetections changed = sample;
  changed.set_detection(100U, RadarDetection());
  EXPECT_NE(changed, sample);
}

TEST(RadarDetectionsInfo, CopyAndMoveSettersOfTimeStampsAndMounting) {
  RadarDetectionsInfo info;
  const ScanTimeStamp stamps(10, 20, 30, 40);
  info.set_time_stamps(stamps);
  EXPECT_EQ(info.time_stamps().mid_range(), 30);
  info.set_time_stamps(ScanTimeStamp(1, 2, 3, 4));
  EXPECT_EQ(info.time_stamps().long_range(), 4);

  const RadarMountingInformation mounting(1.0F, 2.0F, 3.0F);
  info.set_mounting_information(mounting);
  EXPECT_EQ(info.mounting_information().phi_offset(), 3.0F);
  info.set_mounting_information(RadarMountingInformation(4.0F, 5.0F, 6.0F));
  EXPECT_EQ(info.mounting_information().x_offset(), 4.0F);

  info.set_scan_id(255U);
  info.set_is_valid(true);
  EXPECT_EQ(info,
            RadarDetectionsInfo(ScanTimeStamp(1, 2, 3, 4), 255U, true, RadarMountingInformation(4.0F, 5.0F, 6.0F)));
}

TEST(RadarStatus, DefaultReportsUnknownBlockageAndInterferenceNotStartedCalibrationAndNoFault) {
  const RadarStatus status;
  EXPECT_EQ(status.scan_id(), 0U);
  EXPECT_EQ(status.azimuth_alignment_error(), 0.0F);
  EXPECT_EQ(status.elevation_alignment_error(), 0.0F);
  EXPECT_EQ(status.blockage(), SensorBlockage::kBlockageUnknown);
  EXPECT_EQ(status.interference(), Interference::kInterferenceUnknown);
  EXPECT_EQ(status.calibration_status(), CalibrationStatus::kNotStarted);
  EXPECT_EQ(status.fault_reason(), FaultReason(false, false, false, false, false, false));
  EXPECT_FALSE(status.is_sensor_status_on());
  EXPECT_FALSE(status.is_transmission_activated());
  EXPECT_FALSE(status.is_system_failing());
  EXPECT_FALSE(status.is_time_sync_ok());
  EXPECT_EQ(status.flr_temperature(), 0.0F);
}

TEST(RadarStatus, AllFieldsConstructorTakesFieldsInDeclarationOrder) {
  const RadarStatus status = SampleStatus();
  EXPECT_EQ(status.scan_id(), 42U);
  EXPECT_EQ(status.azimuth_alignment_error(), 0.25F);
  EXPECT_EQ(status.elevation_alignment_error(), -0.5F);
  EXPECT_EQ(status.blockage(), SensorBlockage::kFullBlockage);
  EXPECT_EQ(status.interference(), Interference::kNoInterference);
  EXPECT_EQ(status.calibration_status(), CalibrationStatus::kComplete);
  EXPECT_EQ(status.fault_reason(), SampleFaultReason());
  EXPECT_TRUE(status.is_sensor_status_on());
  EXPECT_FALSE(status.is_transmission_activated());
  EXPECT_TRUE(status.is_system_failing());
  EXPECT_FALSE(status.is_time_sync_ok());
  EXPECT_EQ(status.flr_temperature(), 36.5F);
}

TEST(RadarStatus, SettersWriteOnlyTheirField) {
  RadarStatus status;
  status.set_scan_id(42U);
  status.set_azimuth_alignment_error(0.25F);
  status.set_elevation_alignment_error(-0.5F);
  status.set_blockage(SensorBlockage::kFullBlockage);
  status.set_interference(Interference::kNoInterference);
  status.set_calibration_status(CalibrationStatus::kComplete);
  const FaultReason faults = SampleFaultReason();
  status.set_fault_reason(faults);
  status.set_is_sensor_status_on(true);
  status.set_is_transmission_activated(false);
  status.set_is_system_failing(true);
  status.set_is_time_sync_ok(false);
  status.set_flr_temperature(36.5F);
  EXPECT_EQ(status, SampleStatus());
  status.set_fault_reason(FaultReason());
  EXPECT_EQ(status.fault_reason(), FaultReason());
  EXPECT_NE(status, SampleStatus());
}

TEST(FaultReason, AllFieldsConstructorAndSettersFollowDeclarationOrder) {
  const FaultReason faults(true, false, false, false, false, true);
  EXPECT_TRUE(faults.is_communication_faulty());
  EXPECT_FALSE(faults.is_hardware_faulty());
  EXPECT_TRUE(faults.is_calibration_faulty());
  FaultReason set;
  set.set_is_communication_faulty(true);
  set.set_is_calibration_faulty(true);
  EXPECT_EQ(set, faults);
  set.set_is_hardware_faulty(true);
  set.set_is_software_faulty(true);
  set.set_is_car_config_faulty(true);
  set.set_is_system_safety_faulty(true);
  EXPECT_EQ(set, FaultReason(true, true, true, true, true, true));
}

TEST(RadarDetectionSerialization, WritesFieldsBigEndianInDeclarationOrder) {
  // 1.0f is 0x3F800000; mode kLongRange (3) and quality kHigh (2) are 32-bit.
  const RadarDetection detection(1.0F, 0.0F, 0.0F, 0.0F, 0.0F, -2.0F, true, Mode::kLongRange, QualityAggregated::kHigh);
  const std::vector<std::uint8_t> bytes = SerializeToBytes(detection);
  ASSERT_EQ(bytes.size(), kDetectionWireSize);
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 4)),
            (std::vector<std::uint8_t>{0x3F, 0x80, 0x00, 0x00}));
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 20, bytes.begin() + 24)),
            (std::vector<std::uint8_t>{0xC0, 0x00, 0x00, 0x00}));
  EXPECT_EQ(bytes[24], 0x01);
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 25, bytes.end())),
            (std::vector<std::uint8_t>{0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x02}));
}

TEST(RadarDetectionSerialization, RoundTripRestoresEveryField) {
  const RadarDetection detection = SampleDetection(12.5F);
  EXPECT_EQ(DeserializeFromBytes<RadarDetection>(SerializeToBytes(detection)), detection);
}

TEST(ScanTimeStampSerialization, WritesSignedStampsBigEndianAndRoundTrips) {
  const ScanTimeStamp stamps(0x0102030405060708, -1, 0, 0x7FFFFFFFFFFFFFFF);
  const std::vector<std::uint8_t> bytes = SerializeToBytes(stamps);
  ASSERT_EQ(bytes.size(), kTimeStampWireSize);
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 8)),
            (std::vector<std::uint8_t>{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}));
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 8, bytes.begin() + 16)), (std::vector<std::uint8_t>(8U, 0xFF)));
  EXPECT_EQ(DeserializeFromBytes<ScanTimeStamp>(bytes), stamps);
}

TEST(RadarMountingInformationSerialization, RoundTripRestoresEveryField) {
  const RadarMountingInformation mounting(0.5F, -1.25F, 3.1415927F);
  const std::vector<std::uint8_t> bytes = SerializeToBytes(mounting);
  EXPECT_EQ(bytes.size(), kMountingWireSize);
  EXPECT_EQ(DeserializeFromBytes<RadarMountingInformation>(bytes), mounting);
}

TEST(RadarDetectionsInfoSerialization, PutsScanIdAndValidityBetweenStampsAndMounting) {
  const RadarDetectionsInfo info(ScanTimeStamp(1, 2, 3, 4), 0xAB, true, RadarMountingInformation(1.0F, 0.0F, 0.0F));
  const std::vector<std::uint8_t> bytes = SerializeToBytes(info);
  ASSERT_EQ(bytes.size(), kInfoWireSize);
  EXPECT_EQ(bytes[7], 0x01);   // last byte of the short-range stamp
  EXPECT_EQ(bytes[31], 0x04);  // last byte of the long-range stamp
  EXPECT_EQ(bytes[32], 0xAB);
  EXPECT_EQ(bytes[33], 0x01);
  EXPECT_EQ(bytes[34], 0x3F);
  EXPECT_EQ(DeserializeFromBytes<RadarDetectionsInfo>(bytes), info);
}

TEST(CornerRadarDetectionsSerialization, WritesInfoThenAll200DetectionsWithoutLengthField) {
  const CornerRadarDetections scan = SampleScan();
  const std::vector<std::uint8_t> bytes = SerializeToBytes(scan);
  ASSERT_EQ(bytes.size(), kScanWireSize);
  // Detection 1 starts right after detection 0; its snr is 1.0f.
  const std::size_t second = kInfoWireSize + kDetectionWireSize;
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + second, bytes.begin() + second + 4)),
            (std::vector<std::uint8_t>{0x3F, 0x80, 0x00, 0x00}));
  EXPECT_EQ(DeserializeFromBytes<CornerRadarDetections>(bytes), scan);
}

TEST(FaultReasonSerialization, WritesOneBytePerFlagInDeclarationOrder) {
  const std::vector<std::uint8_t> bytes = SerializeToBytes(FaultReason(true, false, false, false, false, true));
  EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 0, 0, 0, 0, 1}));
  EXPECT_EQ(DeserializeFromBytes<FaultReason>(bytes), FaultReason(true, false, false, false, false, true));
}

TEST(RadarStatusSerialization, WritesFieldsBigEndianInDeclarationOrderAndRoundTrips) {
  const RadarStatus status = SampleStatus();
  const std::vector<std::uint8_t> bytes = SerializeToBytes(status);
  ASSERT_EQ(bytes.size(), kStatusWireSize);
  EXPECT_EQ(bytes[0], 42U);
  // azimuth 0.25f = 0x3E800000
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 1, bytes.begin() + 5)),
            (std::vector<std::uint8_t>{0x3E, 0x80, 0x00, 0x00}));
  // blockage kFullBlockage (1) as 32-bit after both alignment errors
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 9, bytes.begin() + 13)),
            (std::vector<std::uint8_t>{0x00, 0x00, 0x00, 0x01}));
  // fault reason (six bytes) after the three enumerations
  EXPECT_EQ((std::vector<std::uint8_t>(bytes.begin() + 21, bytes.begin() + 27)),
            (std::vector<std::uint8_t>{1, 0, 1, 0, 1, 0}));
  EXPECT_EQ(DeserializeFromBytes<RadarStatus>(bytes), status);
}

TEST(RadarStatusSerialization, TooSmallBufferReportsNotEnoughSpace) {
  std::array<std::uint8_t, kStatusWireSize - 1U> buffer{};
  OutputStream out(zol::memory::span<std::uint8_t>(buffer.data(), buffer.size()));
  EXPECT_EQ(SampleStatus().Serialize(out), Status::kNotEnoughSpace);
}

TEST(RadarStatusSerialization, TruncatedInputLeavesTheTargetUnchanged) {
  std::vector<std::uint8_t> bytes = SerializeToBytes(SampleStatus());
  bytes.pop_back();
  RadarStatus target;
  target.set_scan_id(7U);
  InputStream in(zol::memory::span<const std::uint8_t>(bytes.data(), bytes.size()));
  EXPECT_EQ(target.Deserialize(in), Status::kNotEnoughData);
  RadarStatus expected;
  expected.set_scan_id(7U);
  EXPECT_EQ(target, expected);
}

TEST(CornerRadarDetectionsSerialization, TruncatedInputLeavesTheTargetUnchanged) {
  std::vector<std::uint8_t> bytes = SerializeToBytes(SampleScan());
  bytes.resize(bytes.size() - 3U);
  CornerRadarDetections target;
  InputStream in(zol::memory::span<const std::uint8_t>(bytes.data(), bytes.size()));
  EXPECT_EQ(target.Deserialize(in), Status::kNotEnoughData);
  EXPECT_EQ(target, CornerRadarDetections());
}

}  // namespace
