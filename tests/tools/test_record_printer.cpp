#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fsrl/json_writer.h"
#include "fsrl/record_printer.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "json_test_parser.h"
#include "temp_dir.h"

namespace {

namespace types = initialfrontsideradarlefthal::types;
namespace meta = initialfrontsideradarlefthal::meta;

std::string Print(std::size_t group_index, const void* record) {
  std::FILE* file = std::tmpfile();
  {
    fsrl::OutputBuffer out(file);
    fsrl::JsonWriter json(out);
    fsrl::WriteRecord(json, group_index, record);
  }
  std::string text = fsrl_test::ReadAll(file);
  std::fclose(file);
  return text;
}

fsrl_test::JsonValue PrintAndParse(std::size_t group_index, const void* record) {
  const std::string text = Print(group_index, record);
  fsrl_test::JsonValue value;
  EXPECT_TRUE(fsrl_test::JsonParser::Parse(text, value)) << text;
  return value;
}

std::uint64_t Bits(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

TEST(RecordPrinter, WritesEveryStatusFieldInFieldOrderWithItsValue) {
  types::RSDS4SigSts1 record;
  record.rsds4sig_sts1counter = 0xFE;
  record.rsds4sig_sts1crc = 0xBEEF;
  record.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusNoBlockage;
  record.rsds4sig_sts1dtn_list_fault_reason = static_cast<types::RSDS4SigSts1DtnListFaultReasonEnum>(0x1234);
  record.rsds4sig_sts1scan_id = 200;
  record.rsds4sig_sts1time_stamp0 = 0xFFFFFFFFFFFFFFFFULL;
  record.rsds4sig_sts1time_stamp3 = 1700000000123456789ULL;
  record.rsds4sig_sts1xaxis_offs = static_cast<double>(-0.125f);
  record.rsds4sig_sts1zorient_ang = static_cast<double>(0.1f);
  record.rsds4sig_sts1phase_noise = static_cast<types::RSDS4SigSts1PhaseNoiseEnum>(5);  // no enumerator for 5

  const fsrl_test::JsonValue value = PrintAndParse(50, &record);
  const meta::GroupInfo& info = meta::kSignalGroups[50];
  ASSERT_EQ(value.kind, fsrl_test::JsonValue::Kind::kObject);
  ASSERT_EQ(value.members.size(), info.field_count);
  for (std::size_t i = 0; i < info.field_count; ++i) {
    EXPECT_EQ(value.members[i].first, info.fields[i].name) << i;
    EXPECT_EQ(value.members[i].second.kind, fsrl_test::JsonValue::Kind::kNumber) << i;
  }
  EXPECT_EQ(value["rsds4sig_sts1counter"].text, "254");
  EXPECT_EQ(value["rsds4sig_sts1crc"].text, "48879");
  EXPECT_EQ(value["rsds4sig_sts1blockage"].text, "2");
  EXPECT_EQ(value["rsds4sig_sts1dtn_list_fault_reason"].text, "4660");
  EXPECT_EQ(value["rsds4sig_sts1scan_id"].text, "200");
  EXPECT_EQ(value["rsds4sig_sts1time_stamp0"].text, "18446744073709551615");
  EXPECT_EQ(value["rsds4sig_sts1time_stamp1"].text, "0");
  EXPECT_EQ(value["rsds4sig_sts1time_stamp3"].text, "1700000000123456789");
  EXPECT_EQ(value["rsds4sig_sts1xaxis_offs"].text, "-0.125");
  EXPECT_EQ(Bits(value["rsds4sig_sts1zorient_ang"].number()), Bits(static_cast<double>(0.1f)));
  EXPECT_EQ(value["rsds4sig_sts1phase_noise"].text, "5");
}

TEST(RecordPrinter, WritesDetectionDoublesAsShortestRoundTripAndEnumerationsAsIntegers) {
  types::RSDS4Detn000To004 record;
  record.rsds4detn000to004range2 = static_cast<double>(static_cast<float>(12345 * 0.01));
  record.rsds4detn000to004rng_rt0 = -1.0 / 3.0;
  record.rsds4detn000to004quality3 = types::RSDS4Detn000To004Quality3Enum::Quality_DetectionUnpopulated;
  record.rsds4detn000to004mode0 = static_cast<types::RSDS4Detn000To004Mode0Enum>(250);
  record.rsds4detn000to004crc = 1;

  const fsrl_test::JsonValue value = PrintAndParse(0, &record);
  ASSERT_EQ(value.members.size(), 48U);
  EXPECT_EQ(value.members.front().first, "rsds4detn000to004range2");
  EXPECT_EQ(Bits(value["rsds4detn000to004range2"].number()), Bits(record.rsds4detn000to004range2));
  EXPECT_EQ(Bits(value["rsds4detn000to004rng_rt0"].number()), Bits(record.rsds4detn000to004rng_rt0));
  EXPECT_EQ(value["rsds4detn000to004quality3"].text, "3");
  EXPECT_EQ(value["rsds4detn000to004mode0"].text, "250");
  EXPECT_EQ(value["rsds4detn000to004crc"].text, "1");
  EXPECT_EQ(value["rsds4detn000to004range0"].text, "0");
}

TEST(RecordPrinter, PrintsEveryGroupsRecordWithAllItsFieldNames) {
  for (std::size_t group = 0; group < types::kSignalGroupCount; ++group) {
    const meta::GroupInfo& info = meta::kSignalGroups[group];
    // Zero bytes are a valid value of every record: all fields are arithmetic or enumerations.
    std::vector<std::uint64_t> storage((info.record_size + 7) / 8, 0U);
    const fsrl_test::JsonValue value = PrintAndParse(group, storage.data());
    ASSERT_EQ(value.members.size(), info.field_count) << info.name;
    for (std::size_t i = 0; i < info.field_count; ++i) {
      EXPECT_EQ(value.members[i].first, info.fields[i].name) << info.name;
      EXPECT_EQ(value.members[i].second.text, "0") << info.name << "." << info.fields[i].name;
    }
  }
}

TEST(RecordPrinter, WritesNullForAnUnknownGroup) {
  const types::RSDS4SigSts2 record{};
  EXPECT_EQ(Print(52, &record), "null");
  EXPECT_EQ(Print(0, nullptr), "null");
}

}  // namespace
