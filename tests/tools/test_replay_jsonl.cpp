#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/replay_jsonl.h"

namespace {

using fsrl::ParseReplayLine;
using fsrl::ReplayLine;
using ::testing::HasSubstr;

std::string DetectionsLine(const std::string& t, int count, const std::string& first = {}) {
  std::string line = R"({"type": "detections", "t": )" + t +
                     R"(, "scan_id": 9, "is_valid": true, "time_stamps": {"short_range": -5, "near_range": 1, )"
                     R"("mid_range": 9223372036854775807, "long_range": 3}, "mounting": {"x_offset": 3.5994532, )"
                     R"("y_offset": 0.79985, "phi_offset": 0.87266463}, "detections": [)";
  for (int i = 0; i < count; ++i) {
    line += i == 0 ? "" : ", ";
    line += i == 0 && !first.empty()
                ? first
                : R"({"snr": 37.5, "rcs": 10.395, "azimuth": 0.666, "elevation": -0.004, "range": 8.74, )"
                  R"("range_rate": -0.225, "is_dynamic": true, "mode": "kMidRange", "quality_aggregated": "kHigh"})";
  }
  return line + "]}";
}

class Collect : public fsrl::ReplaySink {
 public:
  void OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& /*scan*/) override {
    times.push_back(t_ns);
  }
  void OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& /*status*/) override { times.push_back(-t_ns); }
  bool Finish(std::string& /*error*/) override { return true; }
  std::vector<std::int64_t> times;
};

TEST(ReplayJsonl, DetectionsLineReadsBackEveryValueExactly) {
  ReplayLine line;
  std::string error;
  ASSERT_TRUE(ParseReplayLine(DetectionsLine("1700000000.123456789", 200), line, error)) << error;
  ASSERT_EQ(line.kind, ReplayLine::Kind::kDetections);
  EXPECT_EQ(line.t_ns, 1'700'000'000'123'456'789);
  const radar_service::RadarDetectionsInfo& info = line.detections.info();
  EXPECT_EQ(info.scan_id(), 9);
  EXPECT_TRUE(info.is_valid());
  EXPECT_EQ(info.time_stamps().short_range(), -5);
  EXPECT_EQ(info.time_stamps().mid_range(), 9223372036854775807);
  EXPECT_EQ(info.mounting_information().x_offset(), 3.5994532F);
  const radar_service::RadarDetection& detection = line.detections.detections()[199];
  EXPECT_EQ(detection.rcs(), 10.395F);
  EXPECT_EQ(detection.range_rate(), -0.225F);
  EXPECT_TRUE(detection.is_dynamic());
  EXPECT_EQ(detection.mode(), radar_service::Mode::kMidRange);
  EXPECT_EQ(detection.quality_aggregated(), radar_service::QualityAggregated::kHigh);
}

TEST(ReplayJsonl, EnumerationWrittenAsIntegerAndNullFloatReadBack) {
  ReplayLine line;
  std::string error;
  const std::string first = R"({"snr": null, "rcs": 1, "azimuth": 0, "elevation": 0, "range": 1, "range_rate": 0, )"
                            R"("is_dynamic": false, "mode": 7, "quality_aggregated": "kUnknown"})";
  ASSERT_TRUE(ParseReplayLine(DetectionsLine("1.5", 200, first), line, error)) << error;
  EXPECT_EQ(line.t_ns, 1'500'000'000);
  EXPECT_EQ(static_cast<int>(line.detections.detections()[0].mode()), 7);
  EXPECT_TRUE(std::isnan(line.detections.detections()[0].snr()));
}

TEST(ReplayJsonl, WrongDetectionCountIsAnError) {
  ReplayLine line;
  std::string error;
  EXPECT_FALSE(ParseReplayLine(DetectionsLine("1.0", 199), line, error));
  EXPECT_THAT(error, HasSubstr("199 entries instead of 200"));
}

TEST(ReplayJsonl, MissingOrMistypedFieldIsNamed) {
  ReplayLine line;
  std::string error;
  std::string text = DetectionsLine("1.0", 200);
  text.replace(text.find("\"mid_range\""), 11, "\"middle\"");
  EXPECT_FALSE(ParseReplayLine(text, line, error));
  EXPECT_THAT(error, HasSubstr("missing field 'time_stamps.mid_range'"));
  EXPECT_FALSE(ParseReplayLine(R"({"type": "status", "t": "soon"})", line, error));
  EXPECT_THAT(error, HasSubstr("field 't' has the wrong type"));
  EXPECT_FALSE(ParseReplayLine(DetectionsLine("1.0", 200).replace(50, 12, "\"scan_id\": 300"), line, error));
}

TEST(ReplayJsonl, TimeWithMoreThanNineDecimalsIsRefused) {
  ReplayLine line;
  std::string error;
  EXPECT_FALSE(ParseReplayLine(DetectionsLine("1.0000000001", 200), line, error));
  EXPECT_THAT(error, HasSubstr("at most nine decimals"));
}

TEST(ReplayJsonl, FeedStopsAtTheFirstBadLineNamingIt) {
  Collect sink;
  std::string error;
  const std::string jsonl = DetectionsLine("2.0", 200) + "\n\n" + R"({"type": "summary"})" + "\n" +
                            "{\"type\": \"detections\", \"t\": 3\n" + DetectionsLine("4.0", 200) + "\n";
  EXPECT_FALSE(fsrl::FeedReplayJsonl(jsonl, "scans.jsonl", sink, error));
  EXPECT_THAT(error, HasSubstr("scans.jsonl:4: not JSON"));
  EXPECT_EQ(sink.times, (std::vector<std::int64_t>{2'000'000'000}));
}

}  // namespace
