// `fsrl decode` end to end: logs written here run through the HAL's real signal adapter, in-process.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/csv_writer.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fsrl_cli.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "json_test_parser.h"
#include "tool_test_support.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/e2e/crc.h"
#include "zol/signalcomm/service.h"

namespace {

using fsrl_test::JsonValue;
using ::testing::HasSubstr;
using ::testing::Not;
using zol::afw::core::SignalPropertyStatusCode;

constexpr std::int64_t kT0 = 1700000000123456789;  // a time stamp with every nanosecond digit in use
constexpr std::int64_t kMs = 1000000;

std::size_t Slot(std::size_t group, const char* name) {
  const int slot = fsrl::FindSignalSlot(group, name);
  EXPECT_GE(slot, 0) << name;
  return static_cast<std::size_t>(slot);
}

// What the typed record holds for a float signal's raw value: scaled in double, kept in single precision.
double Physical(std::size_t group, const char* name, std::uint64_t raw) {
  const SignalAdapter_Signal* signal = fsrl::GroupSignal(group, Slot(group, name));
  const double value = static_cast<double>(raw) * signal->value_factor_offset.scale_factor.double_float +
                       signal->value_factor_offset.offset.double_float;
  return static_cast<double>(static_cast<float>(value));
}

std::uint64_t StatusCount(const fsrl::DecodeStats& stats, std::size_t group, SignalPropertyStatusCode code) {
  return stats.by_status[group][static_cast<std::size_t>(static_cast<int>(code) - fsrl::kMinStatusCode)];
}

// A candump line carrying @p payload for @p group on its default id: CAN FD padded with 0xA5 to a valid FD
// length (the padding must not reach the HAL), or classic (only the first 8 bytes fit).
std::string FrameLine(std::int64_t t_ns, std::size_t group, std::vector<std::uint8_t> payload, bool fd = true,
                      fsrl::CanId id = fsrl::CanId{0, false}) {
  if (id.id == 0) {
    id = fsrl::CanId{fsrl::FrameMap::kDefaultBaseId + static_cast<std::uint32_t>(group), false};
  }
  if (fd) {
    payload.resize(fsrl::CanFdLength(payload.size()), 0xA5);
  }
  return fsrl::FormatCandumpLine(t_ns, "can0", id, payload.data(), payload.size(), fd);
}

struct DecodeRun : fsrl_test::CommandRun {
  fsrl::DecodeStats stats;
  std::vector<JsonValue> records;  // one per output line
};

class FsrlDecode : public ::testing::Test {
 protected:
  void SetUp() override {
    zol::signalcomm::Service::Instance().Reset();
    ASSERT_TRUE(dir_.ok());
  }

  // Runs the command; with @p json_output every output line must be one JSON object.
  DecodeRun Decode(const std::vector<std::string>& args, bool json_output = true) {
    DecodeRun run;
    static_cast<fsrl_test::CommandRun&>(run) = fsrl_test::RunWithStreams(
        [&](std::FILE* out, std::FILE* err) { return fsrl::RunDecode(args, out, err, &run.stats); });
    if (json_output) {
      run.records = fsrl_test::ParseJsonLines(run.out);
    }
    return run;
  }

  std::string WriteLog(const std::string& name, const std::string& text) { return dir_.Write(name, text); }

  fsrl_test::TempDir dir_;
};

TEST_F(FsrlDecode, GoodFramesAreE2eOkAndCarryTheEncodedValues) {
  const std::size_t detn = 0;
  const std::size_t sts1 = 50;
  std::string log;
  for (std::uint8_t counter = 0; counter < 3; ++counter) {
    fsrl::GroupPayloadBuilder builder(detn);
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Range2", 12345U + counter));
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004RngRt0", 5000));
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Quality3", 3));
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004ScanID", 7));
    log += FrameLine(kT0 + counter * 50 * kMs, detn, builder.Build(counter));
  }
  fsrl::GroupPayloadBuilder status(sts1);
  ASSERT_TRUE(status.SetRaw("RSDS4SigSts1TimeStamp3", 0xFEDCBA9876543210ULL));
  ASSERT_TRUE(status.SetRaw("RSDS4SigSts1XOrientAng", 1234));
  ASSERT_TRUE(status.SetRaw("RSDS4SigSts1Blockage", 2));
  const std::vector<std::uint8_t> status_payload = status.Build(0);
  log += FrameLine(kT0 + 200 * kMs, sts1, status_payload);

  const DecodeRun run = Decode({WriteLog("good.log", log)});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 4U) << run.out;
  for (std::size_t i = 0; i < 3; ++i) {
    const JsonValue& line = run.records[i];
    EXPECT_EQ(line["group"].text, "RSDS4Detn000To004");
    EXPECT_EQ(line["result"].text, "0");
    EXPECT_EQ(line["status"].text, "kE2eOk");
    const JsonValue& record = line["record"];
    EXPECT_EQ(record.members.size(), 48U);
    EXPECT_EQ(record["rsds4detn000to004range2"].number(), Physical(detn, "RSDS4Detn000To004Range2", 12345U + i));
    EXPECT_EQ(record["rsds4detn000to004rng_rt0"].number(), Physical(detn, "RSDS4Detn000To004RngRt0", 5000));
    EXPECT_EQ(record["rsds4detn000to004quality3"].text, "3");
    EXPECT_EQ(record["rsds4detn000to004scan_id"].text, "7");
    EXPECT_EQ(record["rsds4detn000to004counter"].text, std::to_string(i));
    EXPECT_EQ(record["rsds4detn000to004range0"].number(), 0.0);
  }
  // The time stamp keeps every digit the log had.
  EXPECT_EQ(run.records[0]["t"].text, "1700000000.123456789");
  EXPECT_EQ(run.records[1]["t"].text, "1700000000.173456789");
  EXPECT_THAT(run.out, HasSubstr("{\"t\": 1700000000.123456789, \"group\": \"RSDS4Detn000To004\", \"result\": 0, "
                                 "\"status\": \"kE2eOk\", \"record\": {\"rsds4detn000to004range2\": "));

  const JsonValue& sts = run.records[3];
  EXPECT_EQ(sts["group"].text, "RSDS4SigSts1");
  EXPECT_EQ(sts["status"].text, "kE2eOk");
  EXPECT_EQ(sts["record"]["rsds4sig_sts1time_stamp3"].text, "18364758544493064720");
  EXPECT_EQ(sts["record"]["rsds4sig_sts1xorient_ang"].number(), Physical(sts1, "RSDS4SigSts1XOrientAng", 1234));
  EXPECT_EQ(sts["record"]["rsds4sig_sts1blockage"].text, "2");
  const std::uint16_t crc = static_cast<std::uint16_t>(status_payload[0] | (status_payload[1] << 8));
  EXPECT_EQ(sts["record"]["rsds4sig_sts1crc"].text, std::to_string(crc));

  EXPECT_EQ(run.stats.frames, 4U);
  EXPECT_EQ(run.stats.decoded, 4U);
  EXPECT_EQ(StatusCount(run.stats, detn, SignalPropertyStatusCode::kE2eOk), 3U);
  EXPECT_EQ(StatusCount(run.stats, sts1, SignalPropertyStatusCode::kE2eOk), 1U);
  EXPECT_THAT(run.err, HasSubstr("4 lines, 4 frames read, 4 decoded, 0 unmapped frames skipped"));
  EXPECT_THAT(run.err, HasSubstr("RSDS4Detn000To004: 3 kE2eOk"));
  EXPECT_THAT(run.err, HasSubstr("RSDS4SigSts1: 1 kE2eOk"));
}

TEST_F(FsrlDecode, CorruptedCrcIsWrongCrcWithResultMinusOneAndTheNextGoodFrameIsOkAgain) {
  const std::size_t group = 51;
  std::vector<std::uint8_t> corrupted = fsrl::EncodeGroupPayload(group, {}, 1);
  corrupted[10] ^= 0x01;  // a data bit, the CRC no longer matches
  const std::string log = FrameLine(kT0, group, fsrl::EncodeGroupPayload(group, {}, 0)) +
                          FrameLine(kT0 + kMs, group, corrupted) +
                          FrameLine(kT0 + 2 * kMs, group, fsrl::EncodeGroupPayload(group, {}, 2));
  const DecodeRun run = Decode({WriteLog("crc.log", log)});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 3U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["status"].text, "kE2eWrongCRC");
  EXPECT_EQ(run.records[1]["result"].text, "-1");
  EXPECT_EQ(run.records[2]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[2]["result"].text, "0");
  EXPECT_EQ(StatusCount(run.stats, group, SignalPropertyStatusCode::kE2eWrongCRC), 1U);
  EXPECT_THAT(run.err, HasSubstr("RSDS4SigSts2: 2 kE2eOk, 1 kE2eWrongCRC"));
  EXPECT_THAT(run.err, Not(HasSubstr("Failed to decode"))) << "the HAL's own log stays off stderr by default";
  EXPECT_THAT(run.err, HasSubstr("--hal-log shows them"));
}

// The CSV rows of the decode table, split at commas (no field of it holds one), without line ends.
std::vector<std::vector<std::string>> CsvRows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    EXPECT_NE(end, std::string::npos) << "every row ends with a line feed";
    const std::string row = text.substr(start, end == std::string::npos ? std::string::npos : end - start);
    rows.emplace_back();
    std::size_t field = 0;
    for (std::size_t comma = row.find(','); comma != std::string::npos; comma = row.find(',', field)) {
      rows.back().push_back(row.substr(field, comma - field));
      field = comma + 1;
    }
    rows.back().push_back(row.substr(field));
    start = end == std::string::npos ? text.size() : end + 1;
  }
  return rows;
}

TEST_F(FsrlDecode, CsvFormatWritesOneRowPerDecodedFrameWithTheValuesOfTheJsonLines) {
  const std::size_t detn = 0;
  const std::size_t sts2 = 51;
  std::string log;
  for (std::uint8_t counter = 0; counter < 3; ++counter) {
    fsrl::GroupPayloadBuilder builder(detn);
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Range2", 12345U + counter));
    ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004RngRt0", 5000));
    log += FrameLine(kT0 + counter * 50 * kMs, detn, builder.Build(counter));
  }
  std::vector<std::uint8_t> corrupted = fsrl::EncodeGroupPayload(sts2, {}, 0);
  corrupted[10] ^= 0x01;
  log += FrameLine(kT0 + 200 * kMs, sts2, corrupted);
  log += FrameLine(kT0 + 250 * kMs, 7, fsrl::EncodeGroupPayload(7, {}, 0), true, fsrl::CanId{0x7FF, false});
  const std::string path = WriteLog("mixed.log", log);

  const DecodeRun json = Decode({path});
  ASSERT_EQ(json.exit_code, fsrl::kExitOk) << json.err;
  zol::signalcomm::Service::Instance().Reset();
  const DecodeRun csv = Decode({"--format", "csv", path}, false);
  ASSERT_EQ(csv.exit_code, fsrl::kExitOk) << csv.err;
  EXPECT_EQ(csv.stats.decoded, json.stats.decoded);
  EXPECT_EQ(csv.stats.unmapped, 1U);

  const std::vector<std::vector<std::string>> rows = CsvRows(csv.out);
  ASSERT_EQ(rows.size(), 1U + json.records.size());
  ASSERT_EQ(json.records.size(), 4U);
  const std::vector<std::string>& header = rows[0];
  ASSERT_GE(header.size(), 9U);
  EXPECT_EQ(
      std::vector<std::string>(header.begin(), header.begin() + 9),
      (std::vector<std::string>{"t", "t_ns", "channel", "id", "extended", "group", "result", "status", "status_code"}));
  for (std::size_t i = 0; i < json.records.size(); ++i) {
    SCOPED_TRACE("frame " + std::to_string(i));
    const std::vector<std::string>& row = rows[1 + i];
    const JsonValue& line = json.records[i];
    ASSERT_EQ(row.size(), header.size());
    EXPECT_EQ(row[0], line["t"].text);
    EXPECT_EQ(row[5], line["group"].text);
    EXPECT_EQ(row[6], line["result"].text);
    EXPECT_EQ(row[7], line["status"].text);
    std::size_t filled = 0;
    for (std::size_t column = 9; column < header.size(); ++column) {
      filled += row[column].empty() ? 0U : 1U;
    }
    EXPECT_EQ(filled, line["record"].members.size()) << "a row fills its own group's columns only";
    for (const auto& member : line["record"].members) {
      const auto at = std::find(header.begin(), header.end(), member.first);
      ASSERT_NE(at, header.end()) << member.first;
      const std::string& field = row[static_cast<std::size_t>(at - header.begin())];
      EXPECT_EQ(std::strtod(field.c_str(), nullptr), member.second.number()) << member.first;
    }
  }
  EXPECT_EQ(rows[1][1], "1700000000123456789");
  EXPECT_EQ(rows[1][3], "1024");
  EXPECT_EQ(rows[4][7], "kE2eWrongCRC");
}

TEST_F(FsrlDecode, AnUnknownOutputFormatIsAUsageError) {
  const DecodeRun run = Decode({"--format", "xml", WriteLog("empty.log", "")}, false);
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(run.err, HasSubstr("--format: 'xml' is neither a recording format"));
  EXPECT_TRUE(run.out.empty());
  const DecodeRun empty = Decode({"--format=csv", WriteLog("empty.log", "")}, false);
  EXPECT_EQ(empty.exit_code, fsrl::kExitOk);
  EXPECT_EQ(CsvRows(empty.out).size(), 1U) << "the header row alone";
}

TEST_F(FsrlDecode, HalLogOptionShowsTheAdaptersMessages) {
  std::vector<std::uint8_t> corrupted = fsrl::EncodeGroupPayload(51, {}, 0);
  corrupted[5] ^= 0x80;
  const DecodeRun run = Decode({"--hal-log", WriteLog("crc.log", FrameLine(kT0, 51, corrupted))});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, HasSubstr("signal group 'RSDS4SigSts2'"));
  EXPECT_GE(run.stats.hal_log_lines, 1U);
  EXPECT_THAT(run.err, HasSubstr("[SAG]"));
}

TEST_F(FsrlDecode, RepeatedCounterIsRepeated) {
  const std::size_t group = 3;
  const std::vector<std::uint8_t> payload = fsrl::EncodeGroupPayload(group, {}, 4);
  const DecodeRun run =
      Decode({WriteLog("repeat.log", FrameLine(kT0, group, payload) + FrameLine(kT0 + kMs, group, payload))});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 2U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["status"].text, "kE2eRepeated");
  EXPECT_EQ(run.records[1]["result"].text, "-1");
  EXPECT_EQ(StatusCount(run.stats, group, SignalPropertyStatusCode::kE2eRepeated), 1U);
}

TEST_F(FsrlDecode, CounterJumpOfFourteenIsOkAndOfFifteenIsWrongSequence) {
  const std::size_t group = 40;
  const std::string log = FrameLine(kT0, group, fsrl::EncodeGroupPayload(group, {}, 0)) +
                          FrameLine(kT0 + kMs, group, fsrl::EncodeGroupPayload(group, {}, 14)) +
                          FrameLine(kT0 + 2 * kMs, group, fsrl::EncodeGroupPayload(group, {}, 29));
  const DecodeRun run = Decode({WriteLog("jump.log", log)});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 3U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["status"].text, "kE2eOk") << "some frames lost, within the allowed jump";
  EXPECT_EQ(run.records[2]["status"].text, "kE2eWrongSequence");
  EXPECT_EQ(run.records[2]["result"].text, "-1");
  EXPECT_EQ(run.records[2]["record"]["rsds4obj00to01counter"].text, "29");
}

TEST_F(FsrlDecode, E2eStateIsKeptPerGroupAcrossInterleavedFrames) {
  // Each group counts on its own: group 1 starting at 0 after group 0 reached 2 is no repetition.
  const std::string log = FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 1)) +
                          FrameLine(kT0 + 1, 1, fsrl::EncodeGroupPayload(1, {}, 0)) +
                          FrameLine(kT0 + 2, 0, fsrl::EncodeGroupPayload(0, {}, 2)) +
                          FrameLine(kT0 + 3, 1, fsrl::EncodeGroupPayload(1, {}, 0)) +
                          FrameLine(kT0 + 4, 0, fsrl::EncodeGroupPayload(0, {}, 3));
  const DecodeRun run = Decode({WriteLog("interleaved.log", log)});
  ASSERT_EQ(run.records.size(), 5U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[2]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[3]["status"].text, "kE2eRepeated");
  EXPECT_EQ(run.records[4]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["t"].text, "1700000000.12345679");
}

TEST_F(FsrlDecode, ShortFrameFailsTheCrcAndItsMissingBytesReadAsZero) {
  const std::size_t group = 0;
  fsrl::GroupPayloadBuilder builder(group);
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004ScanID", 9));      // byte 3
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Range0", 4321));   // bits 40..54
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Range2", 12345));  // bits 178..192, beyond 8 bytes
  ASSERT_TRUE(builder.SetRaw("RSDS4Detn000To004Quality4", 2));    // bits 366..367
  const std::vector<std::uint8_t> payload = builder.Build(0);
  // A classic frame carries the first 8 bytes only.
  const DecodeRun run = Decode({WriteLog("short.log", FrameLine(kT0, group, payload, false))});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 1U);
  const JsonValue& line = run.records[0];
  EXPECT_EQ(line["status"].text, "kE2eWrongCRC");
  EXPECT_EQ(line["result"].text, "-1");
  const JsonValue& record = line["record"];
  EXPECT_EQ(record["rsds4detn000to004scan_id"].text, "9");
  EXPECT_EQ(record["rsds4detn000to004range0"].number(), Physical(group, "RSDS4Detn000To004Range0", 4321));
  EXPECT_EQ(record["rsds4detn000to004range2"].number(), Physical(group, "RSDS4Detn000To004Range2", 0));
  EXPECT_EQ(record["rsds4detn000to004quality4"].text, "0");
}

TEST_F(FsrlDecode, PaddingOfALongerFrameIsIgnored) {
  // Group 40 has 50 bytes; its CAN FD frame has 64, the rest 0xA5 padding, and the CRC still matches.
  const DecodeRun run = Decode({WriteLog("pad.log", FrameLine(kT0, 40, fsrl::EncodeGroupPayload(40, {}, 0)))});
  ASSERT_EQ(run.records.size(), 1U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
}

TEST_F(FsrlDecode, MalformedLineIsReportedWithFileAndLineCountedAndSkipped) {
  const std::string path =
      WriteLog("bad.log", FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 0)) + "\n(1700000000.2) can0 400#ABC\n" +
                              FrameLine(kT0 + kMs, 0, fsrl::EncodeGroupPayload(0, {}, 1)));
  const DecodeRun run = Decode({path});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  ASSERT_EQ(run.records.size(), 2U);
  EXPECT_EQ(run.records[1]["status"].text, "kE2eOk");
  EXPECT_THAT(run.err, HasSubstr(path + ":3: odd number of hex digits in the frame data\n"));
  EXPECT_EQ(run.stats.malformed, 1U);
  EXPECT_EQ(run.stats.lines, 4U);
  EXPECT_THAT(run.err, HasSubstr(", 1 malformed lines"));
}

TEST_F(FsrlDecode, StrictStopsAtTheFirstMalformedLineWithExitStatusTwo) {
  const std::string path =
      WriteLog("bad.log", FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 0)) + "(1700000000.2) can0 400#ABC\n" +
                              FrameLine(kT0 + kMs, 0, fsrl::EncodeGroupPayload(0, {}, 1)) + "garbage\n");
  const DecodeRun run = Decode({"--strict", path});
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  ASSERT_EQ(run.records.size(), 1U) << "frames before the bad line are decoded, none after it";
  EXPECT_THAT(run.err, HasSubstr(path + ":2: odd number of hex digits"));
  EXPECT_THAT(run.err, Not(HasSubstr(path + ":4:")));
  EXPECT_EQ(run.stats.malformed, 1U);
  EXPECT_EQ(run.stats.decoded, 1U);
}

TEST_F(FsrlDecode, UnmappedIdsRemoteRequestsAndErrorFramesAreSkippedAndCounted) {
  const std::string log = FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 0), true, fsrl::CanId{0x500, false}) +
                          FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 0), true, fsrl::CanId{0x400, true}) +
                          "(1700000000.3) can0 400#R\n" + "(1700000000.4) can0 20000004#0000000000000000\n" +
                          FrameLine(kT0 + kMs, 0, fsrl::EncodeGroupPayload(0, {}, 0));
  const DecodeRun run = Decode({WriteLog("mixed.log", log)});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  ASSERT_EQ(run.records.size(), 1U);
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk") << "skipped frames never reached the E2E check";
  EXPECT_EQ(run.stats.frames, 5U);
  EXPECT_EQ(run.stats.unmapped, 2U);
  EXPECT_EQ(run.stats.remote, 1U);
  EXPECT_EQ(run.stats.error_frames, 1U);
  EXPECT_THAT(run.err, HasSubstr("5 frames read, 1 decoded, 2 unmapped frames skipped, 1 remote frames skipped, "
                                 "1 error frames skipped, 0 malformed lines"));
}

TEST_F(FsrlDecode, FrameMapFileMovesGroupsToOtherIds) {
  const std::string map = WriteLog("radar.map", "# test map\nRSDS4SigSts2, 18FF0051\nRSDS4Detn000To004,123\n");
  const std::string log = FrameLine(kT0, 51, fsrl::EncodeGroupPayload(51, {}, 0), true, fsrl::CanId{0x18FF0051, true}) +
                          FrameLine(kT0, 0, fsrl::EncodeGroupPayload(0, {}, 0), true, fsrl::CanId{0x123, false}) +
                          FrameLine(kT0, 1, fsrl::EncodeGroupPayload(1, {}, 0));  // default id, not in the map
  const DecodeRun run = Decode({"--frame-map", map, WriteLog("mapped.log", log)});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_EQ(run.records.size(), 2U);
  EXPECT_EQ(run.records[0]["group"].text, "RSDS4SigSts2");
  EXPECT_EQ(run.records[0]["status"].text, "kE2eOk");
  EXPECT_EQ(run.records[1]["group"].text, "RSDS4Detn000To004");
  EXPECT_EQ(run.stats.unmapped, 1U);
  const DecodeRun equals_form = Decode({"--frame-map=" + map, WriteLog("mapped2.log", log)});
  EXPECT_EQ(equals_form.records.size(), 2U);
}

TEST_F(FsrlDecode, InvalidFrameMapIsAUsageErrorWithFileAndLine) {
  const std::string map = WriteLog("bad.map", "RSDS4SigSts2,10\nRSDS4SigSts3,11\n");
  const DecodeRun run = Decode({"--frame-map", map, WriteLog("empty.log", "")});
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(run.err, HasSubstr(map + ":2: unknown signal group 'RSDS4SigSts3'"));
  EXPECT_TRUE(run.out.empty());
}

TEST_F(FsrlDecode, EmptyLogDecodesNothingAndSucceeds) {
  const DecodeRun run = Decode({WriteLog("empty.log", "")});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  EXPECT_TRUE(run.out.empty());
  EXPECT_THAT(run.err, HasSubstr("0 lines, 0 frames read, 0 decoded"));
}

TEST_F(FsrlDecode, DashReadsStandardInputAndNamesItInReports) {
  const std::string path = WriteLog("stdin.log", "oops\n" + FrameLine(kT0, 51, fsrl::EncodeGroupPayload(51, {}, 0)));
  const fsrl_test::StdinFromFile stdin_from(path);
  ASSERT_TRUE(stdin_from.ok());
  const DecodeRun run = Decode({"-"});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  ASSERT_EQ(run.records.size(), 1U);
  EXPECT_EQ(run.records[0]["group"].text, "RSDS4SigSts2");
  EXPECT_THAT(run.err, HasSubstr("<stdin>:1: expected '('"));
}

TEST_F(FsrlDecode, MissingLogFileIsAFailure) {
  const DecodeRun run = Decode({dir_.path() + "/missing.log"});
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("cannot open '" + dir_.path() + "/missing.log'"));
}

TEST_F(FsrlDecode, UsageErrorsExitWithStatusTwo) {
  const DecodeRun unknown = Decode({"--fast", "x.log"});
  EXPECT_EQ(unknown.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(unknown.err, HasSubstr("fsrl decode: unknown option '--fast'"));
  EXPECT_THAT(unknown.err, HasSubstr("Try 'fsrl decode --help'"));
  const DecodeRun missing = Decode({});
  EXPECT_EQ(missing.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(missing.err, HasSubstr("missing LOG argument"));
  const DecodeRun two = Decode({"a.log", "b.log"});
  EXPECT_EQ(two.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(two.err, HasSubstr("more than one LOG argument"));
  const DecodeRun no_map = Decode({"a.log", "--frame-map"});
  EXPECT_EQ(no_map.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(no_map.err, HasSubstr("--frame-map: needs a value (FILE)"));
}

TEST_F(FsrlDecode, HelpExplainsTheOutputAndEveryOption) {
  const DecodeRun run = Decode({"--help"}, false);
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  for (const char* part : {"Usage: fsrl decode", "--frame-map FILE", "--strict", "--hal-log", "\"t\"", "status",
                           "0x400 + i", "Exit status"}) {
    EXPECT_THAT(run.out, HasSubstr(part));
  }
}

TEST_F(FsrlDecode, ArgumentsAfterDoubleDashAreFileNames) {
  const DecodeRun run = Decode({"--", "--strict"});
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("cannot open '--strict'"));
}

class FsrlCommandLine : public ::testing::Test {
 protected:
  void SetUp() override { zol::signalcomm::Service::Instance().Reset(); }

  int Run(const std::vector<std::string>& args) {
    const fsrl_test::CommandRun run = fsrl_test::RunCommand(&fsrl::RunFsrl, args);
    out_ = run.out;
    err_ = run.err;
    return run.exit_code;
  }

  std::string out_;
  std::string err_;
};

TEST_F(FsrlCommandLine, HelpListsTheCommands) {
  EXPECT_EQ(Run({"--help"}), fsrl::kExitOk);
  EXPECT_THAT(out_, HasSubstr("decode"));
  EXPECT_EQ(Run({"help"}), fsrl::kExitOk);
  EXPECT_THAT(out_, HasSubstr("Commands:"));
  EXPECT_EQ(Run({"help", "decode"}), fsrl::kExitOk);
  EXPECT_THAT(out_, HasSubstr("Usage: fsrl decode"));
  EXPECT_EQ(Run({"decode", "--help"}), fsrl::kExitOk);
  EXPECT_THAT(out_, HasSubstr("Usage: fsrl decode"));
}

TEST_F(FsrlCommandLine, UnknownCommandsAndOptionsAreUsageErrors) {
  EXPECT_EQ(Run({"encode"}), fsrl::kExitUsage);
  EXPECT_THAT(err_, HasSubstr("fsrl: unknown command 'encode'"));
  EXPECT_EQ(Run({"--verbose"}), fsrl::kExitUsage);
  EXPECT_THAT(err_, HasSubstr("fsrl: unknown option '--verbose'"));
  EXPECT_EQ(Run({}), fsrl::kExitUsage);
  EXPECT_THAT(err_, HasSubstr("missing command"));
  EXPECT_EQ(Run({"help", "encode"}), fsrl::kExitUsage);
}

TEST_F(FsrlCommandLine, VersionIsTheProjectsVersion) {
  EXPECT_EQ(Run({"--version"}), fsrl::kExitOk);
  EXPECT_EQ(out_, std::string("fsrl ") + FSRL_EXPECTED_VERSION + "\n");
  EXPECT_EQ(err_, "");
}

TEST_F(FsrlCommandLine, EveryCommandAcceptsHelpShortAndLongAndRejectsAnUnknownOption) {
  for (const char* command : {"decode", "replay", "simulate", "plot", "dbc", "demo"}) {
    EXPECT_EQ(Run({command, "-h"}), fsrl::kExitOk) << command;
    const std::string short_help = out_;
    EXPECT_THAT(short_help, HasSubstr(std::string("Usage: fsrl ") + command)) << command;
    EXPECT_THAT(short_help, HasSubstr("  -h, --help")) << command;
    EXPECT_EQ(Run({command, "--help"}), fsrl::kExitOk) << command;
    EXPECT_EQ(out_, short_help) << command;
    EXPECT_EQ(Run({command, "--no-such-option"}), fsrl::kExitUsage) << command;
    EXPECT_EQ(err_, std::string("fsrl ") + command + ": unknown option '--no-such-option'\nTry 'fsrl " + command +
                        " --help' for more information.\n");
  }
}

TEST_F(FsrlDecode, OptionValuesMayBeJoinedWithAnEqualsSign) {
  const std::string map = WriteLog("moved.map", "RSDS4SigSts1,123\n");
  const DecodeRun run = Decode({"--frame-map=" + map, WriteLog("empty.log", "")});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  const DecodeRun bad = Decode({"--frame-map=" + dir_.path() + "/absent.map", WriteLog("empty2.log", "")});
  EXPECT_EQ(bad.exit_code, fsrl::kExitUsage) << "the joined value is the map that is read";
}

}  // namespace
