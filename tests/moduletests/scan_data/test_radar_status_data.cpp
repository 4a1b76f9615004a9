#include "radarStatusData.h"

#include <chrono>

#include <gtest/gtest.h>

#include "frontsideradarlefthal_types.h"
#include "zol/mono_clock.h"

namespace {

using radar_service::CalibrationStatus;
using radar_service::FaultReason;
using radar_service::Interference;
using radar_service::RadarStatus;
using radar_service::SensorBlockage;

const zol::MonoClock::time_point kStarted{std::chrono::seconds(3)};

// A status with every field set away from its default, so that what a message must not copy is visible.
RadarStatus EverythingSet(radar_service::ScanId scan_id) {
  return RadarStatus(scan_id, 0.5F, -0.25F, SensorBlockage::kFullBlockage, Interference::kFullInterference,
                     CalibrationStatus::kComplete, FaultReason(true, true, true, true, true, true), true, true, true,
                     true, 55.0F);
}

RadarStatus StatusOf(const RadarStatusData& data) {
  RadarStatus status;
  data.GetStatus(status);
  return status;
}

TEST(RadarStatusData, DefaultConstructedSlotIsEmptyAndInvalid) {
  const RadarStatusData data;
  EXPECT_FALSE(data.IsStatusValid());
  EXPECT_FALSE(data.IsStatusComplete());
  EXPECT_EQ(data.GetTimeStamp(), 0);
  EXPECT_EQ(data.GetInstantiationTime(), zol::MonoClock::time_point{});
  EXPECT_EQ(StatusOf(data), RadarStatus());
}

TEST(RadarStatusData, StartedSlotIsValidForItsScanIdOnly) {
  const RadarStatusData data(kStarted, 201U);
  EXPECT_TRUE(data.IsStatusValid());
  EXPECT_FALSE(data.IsStatusComplete());
  EXPECT_EQ(data.GetInstantiationTime(), kStarted);
  EXPECT_EQ(data.GetTimeStamp(), 0);
  RadarStatus expected;
  expected.set_scan_id(201U);
  EXPECT_EQ(StatusOf(data), expected);
}

TEST(RadarStatusData, OnlyStatus1IsNotComplete) {
  RadarStatusData data(kStarted, 1U);
  data.SetStatus1(EverythingSet(1U));
  EXPECT_FALSE(data.IsStatusComplete());
}

TEST(RadarStatusData, OnlyStatus2IsNotComplete) {
  RadarStatusData data(kStarted, 1U);
  data.SetStatus2(EverythingSet(1U));
  EXPECT_FALSE(data.IsStatusComplete());
}

TEST(RadarStatusData, BothMessagesInEitherOrderMakeItComplete) {
  RadarStatusData first_one(kStarted, 1U);
  first_one.SetStatus1(EverythingSet(1U));
  first_one.SetStatus2(EverythingSet(1U));
  EXPECT_TRUE(first_one.IsStatusComplete());

  RadarStatusData first_two(kStarted, 1U);
  first_two.SetStatus2(EverythingSet(1U));
  first_two.SetStatus1(EverythingSet(1U));
  EXPECT_TRUE(first_two.IsStatusComplete());
  EXPECT_EQ(StatusOf(first_one), StatusOf(first_two));
}

TEST(RadarStatusData, DefaultConstructedSlotIsNeverCompleteEvenWithBothMessages) {
  RadarStatusData data;
  data.SetStatus1(EverythingSet(1U));
  data.SetStatus2(EverythingSet(1U));
  EXPECT_FALSE(data.IsStatusComplete());
}

TEST(RadarStatusData, Status1TakesBlockageInterferenceTemperatureFlagsAndFirstFiveFaults) {
  RadarStatusData data(kStarted, 8U);
  data.SetStatus1(EverythingSet(99U));
  const RadarStatus status = StatusOf(data);
  EXPECT_EQ(status.blockage(), SensorBlockage::kFullBlockage);
  EXPECT_EQ(status.interference(), Interference::kFullInterference);
  EXPECT_EQ(status.flr_temperature(), 55.0F);
  EXPECT_TRUE(status.is_sensor_status_on());
  EXPECT_TRUE(status.is_transmission_activated());
  EXPECT_TRUE(status.is_system_failing());
  EXPECT_TRUE(status.is_time_sync_ok());
  EXPECT_EQ(status.fault_reason(), FaultReason(true, true, true, true, true, false));
  // Left alone: the slot's scan id and everything message 2 carries.
  EXPECT_EQ(status.scan_id(), 8U);
  EXPECT_EQ(status.azimuth_alignment_error(), 0.0F);
  EXPECT_EQ(status.elevation_alignment_error(), 0.0F);
  EXPECT_EQ(status.calibration_status(), CalibrationStatus::kNotStarted);
}

TEST(RadarStatusData, Status2TakesAlignmentCalibrationAndCalibrationFaultOnly) {
  RadarStatusData data(kStarted, 8U);
  data.SetStatus2(EverythingSet(99U));
  RadarStatus expected;
  expected.set_scan_id(8U);
  expected.set_azimuth_alignment_error(0.5F);
  expected.set_elevation_alignment_error(-0.25F);
  expected.set_calibration_status(CalibrationStatus::kComplete);
  expected.set_fault_reason(FaultReason(false, false, false, false, false, true));
  EXPECT_EQ(StatusOf(data), expected);
}

TEST(RadarStatusData, Status1AfterStatus2KeepsTheCalibrationFault) {
  RadarStatusData data(kStarted, 8U);
  data.SetStatus2(EverythingSet(8U));
  RadarStatus message1;
  message1.set_fault_reason(FaultReason(false, true, false, false, false, false));
  data.SetStatus1(message1);
  EXPECT_EQ(StatusOf(data).fault_reason(), FaultReason(false, true, false, false, false, true));
}

TEST(RadarStatusData, Status2AfterStatus1KeepsTheFirstFiveFaults) {
  RadarStatusData data(kStarted, 8U);
  data.SetStatus1(EverythingSet(8U));
  data.SetStatus2(RadarStatus());
  EXPECT_EQ(StatusOf(data).fault_reason(), FaultReason(true, true, true, true, true, false));
}

TEST(RadarStatusData, LaterStatus1ClearsFaultsItNoLongerReports) {
  RadarStatusData data(kStarted, 8U);
  data.SetStatus1(EverythingSet(8U));
  data.SetStatus1(RadarStatus());
  EXPECT_EQ(StatusOf(data).fault_reason(), FaultReason());
  EXPECT_EQ(StatusOf(data).blockage(), SensorBlockage::kBlockageUnknown);
}

TEST(RadarStatusData, TimeStampIsStoredAsGiven) {
  RadarStatusData data(kStarted, 8U);
  data.SetTimeStamp(-123456789012345);
  EXPECT_EQ(data.GetTimeStamp(), -123456789012345);
}

}  // namespace
