#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/csv_writer.h"
#include "fsrl/frame_map.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "temp_dir.h"

namespace {

using fsrl::CsvLineEnd;
using fsrl::CsvWriter;
using fsrl::OutputBuffer;
using ::testing::ElementsAre;

template <typename Write>
std::string Written(Write write, CsvLineEnd line_end = CsvLineEnd::kLf) {
  std::FILE* file = std::tmpfile();
  {
    OutputBuffer out(file);
    CsvWriter csv(out, line_end);
    write(csv);
  }
  std::string text = fsrl_test::ReadAll(file);
  std::fclose(file);
  return text;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream in(text);
  while (std::getline(in, part, separator)) {
    parts.push_back(part);
  }
  return parts;
}

TEST(CsvWriter, FieldsWithCommaQuoteOrLineBreakAreQuotedWithQuotesDoubled) {
  EXPECT_EQ(Written([](CsvWriter& csv) {
              csv.Text("plain");
              csv.Text("a,b");
              csv.Text("say \"hi\"");
              csv.Text("two\nlines");
              csv.Text("cr\r");
              csv.Text("");
              csv.EndRow();
            }),
            "plain,\"a,b\",\"say \"\"hi\"\"\",\"two\nlines\",\"cr\r\",\n");
}

TEST(CsvWriter, CrLfEndsEveryRowWhenAsked) {
  EXPECT_EQ(Written(
                [](CsvWriter& csv) {
                  csv.Int(-3);
                  csv.UInt(18364758544493064720ULL);
                  csv.EndRow();
                  csv.Bool(true);
                  csv.EndRow();
                },
                CsvLineEnd::kCrLf),
            "-3,18364758544493064720\r\ntrue\r\n");
}

TEST(CsvWriter, NumbersReadBackExactlyAndNonFiniteValuesAreEmpty) {
  const float floats[] = {0.1F, 3.5994532F, -1.0e-38F, std::numeric_limits<float>::max(), 1.0F / 3.0F};
  const double doubles[] = {0.1, 1.0 / 3.0, -2.5e-310, 1700000000.05};
  const std::string text = Written([&](CsvWriter& csv) {
    for (const float value : floats) {
      csv.Float(value);
    }
    for (const double value : doubles) {
      csv.Double(value);
    }
    csv.Float(std::numeric_limits<float>::quiet_NaN());
    csv.Double(std::numeric_limits<double>::infinity());
    csv.EndRow();
  });
  // getline drops an empty last field: the separator appended keeps it.
  const std::vector<std::string> fields = Split(text.substr(0, text.size() - 1) + ",", ',');
  ASSERT_EQ(fields.size(), 11U) << text;
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(std::strtof(fields[i].c_str(), nullptr), floats[i]) << fields[i];
  }
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(std::strtod(fields[5 + i].c_str(), nullptr), doubles[i]) << fields[5 + i];
  }
  EXPECT_EQ(fields[1], "3.5994532");
  EXPECT_EQ(fields[9], "");
  EXPECT_EQ(fields[10], "");
}

TEST(CsvWriter, SecondsAreExactToTheNanosecond) {
  EXPECT_EQ(Written([](CsvWriter& csv) {
              csv.Seconds(1'700'000'000'123'456'789);
              csv.EndRow();
            }),
            "1700000000.123456789\n");
}

TEST(DecodeCsvWriter, HeaderHasFixedColumnsThenEveryGroupsFields) {
  std::FILE* file = std::tmpfile();
  std::vector<std::string> columns;
  {
    fsrl::DecodeCsvWriter writer(file);
    columns = writer.columns();
    ASSERT_TRUE(writer.Flush());
  }
  const std::string text = fsrl_test::ReadAll(file);
  std::fclose(file);
  ASSERT_GE(columns.size(), 9U);
  EXPECT_THAT(std::vector<std::string>(columns.begin(), columns.begin() + 9),
              ElementsAre("t", "t_ns", "channel", "id", "extended", "group", "result", "status", "status_code"));
  std::size_t fields = 0;
  for (const auto& group : initialfrontsideradarlefthal::meta::kSignalGroups) {
    fields += group.field_count;
  }
  EXPECT_EQ(columns.size(), 9 + fields);
  EXPECT_EQ(text.substr(0, text.find('\n')).size() + 1, text.size()) << "only the header row";
  EXPECT_EQ(Split(text.substr(0, text.size() - 1), ',').size(), columns.size());
}

TEST(DecodeCsvWriter, RowFillsItsGroupsColumnsAndLeavesTheOthersEmpty) {
  namespace meta = initialfrontsideradarlefthal::meta;
  const std::size_t group = 0;
  const meta::GroupInfo& info = meta::kSignalGroups[group];
  std::vector<unsigned char> record(info.record_size, 0);
  // Every field set to a value of its own, to find it again in the row.
  for (std::size_t i = 0; i < info.field_count; ++i) {
    unsigned char* at = record.data() + info.fields[i].byte_offset;
    if (info.fields[i].kind == meta::FieldKind::kDouble) {
      const double value = 0.25 + static_cast<double>(i);
      std::memcpy(at, &value, sizeof value);
    } else {
      *at = static_cast<unsigned char>(i);
    }
  }
  std::FILE* file = std::tmpfile();
  std::vector<std::string> columns;
  {
    fsrl::DecodeCsvWriter writer(file);
    columns = writer.columns();
    fsrl::CanFrame frame;
    frame.timestamp_ns = 1'700'000'000'050'000'000;
    frame.id = 0x400;
    frame.channel = 2;
    writer.WriteFrame(frame, group, -1, zol::afw::core::SignalPropertyStatusCode::kE2eWrongCRC, record.data());
    ASSERT_TRUE(writer.Flush());
  }
  const std::string text = fsrl_test::ReadAll(file);
  std::fclose(file);
  const std::string row = text.substr(text.find('\n') + 1);
  ASSERT_EQ(row.back(), '\n');
  const std::vector<std::string> fields = Split(row.substr(0, row.size() - 1) + ",", ',');
  ASSERT_EQ(fields.size(), columns.size());
  EXPECT_THAT(std::vector<std::string>(fields.begin(), fields.begin() + 9),
              ElementsAre("1700000000.050000", "1700000000050000000", "2", "1024", "false", fsrl::GroupName(0), "-1",
                          "kE2eWrongCRC",
                          std::to_string(static_cast<int>(zol::afw::core::SignalPropertyStatusCode::kE2eWrongCRC))));
  std::size_t filled = 0;
  for (std::size_t column = 9; column < columns.size(); ++column) {
    if (!fields[column].empty()) {
      ++filled;
    }
  }
  EXPECT_EQ(filled, info.field_count);
  for (std::size_t i = 0; i < info.field_count; ++i) {
    const auto column =
        static_cast<std::size_t>(std::find(columns.begin(), columns.end(), info.fields[i].name) - columns.begin());
    ASSERT_LT(column, columns.size());
    const double expected =
        info.fields[i].kind == meta::FieldKind::kDouble ? 0.25 + static_cast<double>(i) : static_cast<double>(i);
    EXPECT_EQ(std::strtod(fields[column].c_str(), nullptr), expected) << info.fields[i].name;
  }
}

TEST(ReplayCsvWriter, ScanGivesARowPerDetectionSlotAndStatusARow) {
  std::FILE* detections_file = std::tmpfile();
  std::FILE* status_file = std::tmpfile();
  {
    fsrl::ReplayCsvWriter writer(detections_file, status_file);
    radar_service::CornerRadarDetections scan;
    radar_service::RadarDetectionsInfo info;
    info.set_scan_id(7);
    info.set_is_valid(true);
    scan.set_info(info);
    auto detections = scan.detections();
    detections[3].set_range(12.5F);
    detections[3].set_mode(radar_service::Mode::kLongRange);
    detections[3].set_quality_aggregated(radar_service::QualityAggregated::kHigh);
    scan.set_detections(detections);
    writer.OnDetections(1'000'000'000, scan);
    radar_service::RadarStatus status;
    radar_service::FaultReason fault;
    fault.set_is_communication_faulty(true);
    status.set_fault_reason(fault);
    writer.OnStatus(1'050'000'000, status);
    std::string error;
    ASSERT_TRUE(writer.Finish(error)) << error;
  }
  const std::vector<std::string> rows = Split(fsrl_test::ReadAll(detections_file), '\n');
  const std::vector<std::string> statuses = Split(fsrl_test::ReadAll(status_file), '\n');
  std::fclose(detections_file);
  std::fclose(status_file);
  ASSERT_EQ(rows.size(), 201U);
  EXPECT_EQ(Split(rows[0], ',').size(), fsrl::ReplayCsvWriter::DetectionColumns().size());
  EXPECT_EQ(rows[4], "1.000000,1000000000,7,true,0,0,0,0,0,0,0,3,0,0,0,0,12.5,0,false,kLongRange,kHigh");
  ASSERT_EQ(statuses.size(), 2U);
  EXPECT_EQ(statuses[1],
            "1.050000,1050000000,0,0,0,kBlockageUnknown,kInterferenceUnknown,kNotStarted,true,false,false,false,false,"
            "false,false,false,false,false,0");
}

TEST(ReplayCsvWriter, FailedWriteIsReportedByFinish) {
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.Write("read_only.csv", "");
  std::FILE* read_only = std::fopen(path.c_str(), "rb");
  ASSERT_NE(read_only, nullptr);
  std::string error;
  {
    fsrl::ReplayCsvWriter writer(nullptr, read_only);
    writer.OnStatus(0, radar_service::RadarStatus());
    EXPECT_FALSE(writer.Finish(error));
  }
  std::fclose(read_only);
  EXPECT_THAT(error, ::testing::HasSubstr("cannot write the status CSV"));
}

}  // namespace
