#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/replay_mcap.h"
#include "temp_dir.h"

namespace {

using ::testing::HasSubstr;

TEST(ReplayMcapSink, PublicationBefore1970IsLeftOutAndReported) {
  std::FILE* file = std::tmpfile();
  fsrl::ReplayMcapSink sink(file, fsrl::McapOptions{});
  sink.OnStatus(-1, radar_service::RadarStatus());
  sink.OnStatus(5, radar_service::RadarStatus());
  std::string error;
  EXPECT_FALSE(sink.Finish(error));
  EXPECT_THAT(error, HasSubstr("1 publication(s) stamped before 1970"));
  const std::string bytes = fsrl_test::ReadAll(file);
  std::fclose(file);
  EXPECT_EQ(bytes.substr(bytes.size() - 8), std::string("\x89MCAP0\r\n", 8)) << "the file is complete all the same";
}

TEST(ReplayMcapSink, UnpopulatedSlotsGiveNoPoints) {
  std::FILE* file = std::tmpfile();
  {
    fsrl::McapOptions options;
    options.compression = fsrl::McapCompression::kNone;
    fsrl::ReplayMcapSink sink(file, options);
    radar_service::CornerRadarDetections scan;
    auto detections = scan.detections();
    for (auto& detection : detections) {
      detection.set_quality_aggregated(radar_service::QualityAggregated::kUnknown);
    }
    detections[5].set_quality_aggregated(radar_service::QualityAggregated::kMid);
    detections[5].set_range(10.0F);
    scan.set_detections(detections);
    sink.OnDetections(1'000'000'000, scan);
    std::string error;
    ASSERT_TRUE(sink.Finish(error)) << error;
  }
  const std::string bytes = fsrl_test::ReadAll(file);
  std::fclose(file);
  // One point of 40 bytes is 56 characters of base64 (40 bytes: 13 full groups and a padded one).
  const std::size_t data = bytes.find("\"data\":\"");
  ASSERT_NE(data, std::string::npos);
  const std::size_t end = bytes.find('"', data + 8);
  EXPECT_EQ(end - (data + 8), 56U);
  EXPECT_NE(bytes.find("\"point_stride\":40"), std::string::npos);
  EXPECT_NE(bytes.find("\"child_frame_id\":\"fsrl_radar\""), std::string::npos);
}

}  // namespace
