// `fsrl replay` end to end: logs of whole radar scans written here run through the real HAL, in-process, in
// virtual time.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "fsrl/csv_writer.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fsrl/replay.h"
#include "fsrl_cli.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "json_test_parser.h"
#include "tool_test_support.h"
#include "zol/signalcomm/service.h"

namespace {

using fsrl_test::JsonValue;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::int64_t kT0 = 1700000000123456789;  // a time stamp with every nanosecond digit in use
constexpr std::int64_t kMs = 1000000;
constexpr std::int64_t kUs = 1000;
constexpr std::size_t kDetectionGroups = 40;
constexpr std::size_t kStatus1 = 50;
constexpr std::size_t kStatus2 = 51;
constexpr std::int64_t kFrameSpacing = 100 * kUs;  // between the 42 frames of one scan

std::string Name(std::size_t group) { return std::string(fsrl::GroupName(group)); }

// What the HAL delivers for a raw value of a scaled signal: scaled in double, kept in single precision.
float Physical(std::size_t group, const std::string& signal_name, std::uint64_t raw) {
  const int slot = fsrl::FindSignalSlot(group, signal_name);
  EXPECT_GE(slot, 0) << signal_name;
  const SignalAdapter_Signal* signal = fsrl::GroupSignal(group, static_cast<std::size_t>(slot));
  return static_cast<float>(static_cast<double>(raw) * signal->value_factor_offset.scale_factor.double_float +
                            signal->value_factor_offset.offset.double_float);
}

// Degrees to radians in single precision, as the HAL converts mounting yaw and misalignment.
float Radians(float degrees) { return degrees * 3.1415927F / 180.0F; }

// Raw values of detection @p d (0..199) of a scan made with @p seed, inside every signal's limits.
struct DetectionRaw {
  std::uint64_t range, rng_rt, azi_ang, ele_ang, rcs, snr, quality, dyn, mode;
};
DetectionRaw RawDetection(std::size_t d, std::uint64_t seed) {
  return DetectionRaw{
      1000 + d * 97 + seed * 13U, 1000 + d * 31 + seed, 500 + d * 15 + seed, 10 + d + seed,     5 + d + seed,
      3 + (d + seed) % 120,       (d + seed) % 4,       (d / 3 + seed) % 2,  (d / 2 + seed) % 4};
}

struct ScanValues {
  std::uint8_t scan_id = 0;
  std::uint64_t mid_range = 0;  // the mid-range time stamp; the others lie around it
  unsigned seed = 0;
  std::uint64_t x_offs = 20000, y_offs = 15000, z_orient = 2500;  // raw mounting
  std::uint64_t azi_mis = 130, ele_mis = 120;                     // raw misalignment
};

ScanValues Scan(std::uint8_t scan_id, std::uint64_t mid_range, unsigned seed) {
  ScanValues scan;
  scan.scan_id = scan_id;
  scan.mid_range = mid_range;
  scan.seed = seed;
  scan.x_offs += seed;
  scan.z_orient += seed * 10UL;
  return scan;
}

// The sensor's side: protected payloads with one E2E counter per group, written as candump lines (CAN FD, padded
// to an FD length) on the default ids.
class RadarLog {
 public:
  std::vector<std::uint8_t> Status1(const ScanValues& scan) {
    fsrl::GroupPayloadBuilder b(kStatus1);
    Set(b, "ScanID", scan.scan_id);
    Set(b, "TimeStamp0", scan.mid_range - 30);
    Set(b, "TimeStamp1", scan.mid_range - 20);
    Set(b, "TimeStamp2", scan.mid_range);
    Set(b, "TimeStamp3", scan.mid_range + 10);
    Set(b, "Blockage", 2);
    Set(b, "Interference", 2);
    Set(b, "RdrStsDetn", 1);
    Set(b, "RdrEmsnSts", 1);
    Set(b, "TimeStampStatus", 1);
    Set(b, "XAxisOffs", scan.x_offs);
    Set(b, "YAxisOffs", scan.y_offs);
    Set(b, "ZOrientAng", scan.z_orient);
    return b.Build(counters_[kStatus1]++);
  }
  std::vector<std::uint8_t> Status2(const ScanValues& scan) {
    fsrl::GroupPayloadBuilder b(kStatus2);
    Set(b, "ScanID", scan.scan_id);
    Set(b, "AziMisAlnmntAng", scan.azi_mis);
    Set(b, "EleMisAlnmntAng", scan.ele_mis);
    Set(b, "CalSts", 1);
    return b.Build(counters_[kStatus2]++);
  }
  std::vector<std::uint8_t> Detections(std::size_t group, const ScanValues& scan) {
    fsrl::GroupPayloadBuilder b(group);
    Set(b, "ScanID", scan.scan_id);
    for (std::size_t i = 0; i < 5; ++i) {
      const DetectionRaw raw = RawDetection(group * 5 + i, scan.seed);
      const std::string digit = std::to_string(i);
      Set(b, "Range" + digit, raw.range);
      Set(b, "RngRt" + digit, raw.rng_rt);
      Set(b, "AziAng" + digit, raw.azi_ang);
      Set(b, "EleAng" + digit, raw.ele_ang);
      Set(b, "RCS" + digit, raw.rcs);
      Set(b, "SNR" + digit, raw.snr);
      Set(b, "Quality" + digit, raw.quality);
      Set(b, "DynPrPty" + digit, raw.dyn);
      Set(b, "Mode" + digit, raw.mode);
    }
    return b.Build(counters_[group]++);
  }

  // All 42 groups the HAL reads, as the sensor sends them: status 1, status 2, then the detection groups, the
  // first at @p t_ns and each next one kFrameSpacing later, the last one at @p last_t_ns when that is given.
  // @p corrupt_group gets a payload whose CRC fails.
  void AddScan(std::int64_t t_ns, const ScanValues& scan, int corrupt_group = -1, std::int64_t last_t_ns = -1) {
    std::vector<std::size_t> order = {kStatus1, kStatus2};
    for (std::size_t group = 0; group < kDetectionGroups; ++group) {
      order.push_back(group);
    }
    for (const std::size_t group : order) {
      std::vector<std::uint8_t> payload = group == kStatus1   ? Status1(scan)
                                          : group == kStatus2 ? Status2(scan)
                                                              : Detections(group, scan);
      if (static_cast<int>(group) == corrupt_group) {
        payload[10] ^= 0x01;
      }
      AddFrame(group == kDetectionGroups - 1 && last_t_ns >= 0 ? last_t_ns : t_ns, group, payload);
      t_ns += kFrameSpacing;
    }
  }

  void AddFrame(std::int64_t t_ns, std::size_t group, std::vector<std::uint8_t> payload) {
    payload.resize(fsrl::CanFdLength(payload.size()), 0xA5);
    fsrl::CanId id{fsrl::FrameMap::kDefaultBaseId + static_cast<std::uint32_t>(group), false};
    const auto moved = ids_.find(group);
    if (moved != ids_.end()) {
      id = moved->second;
    }
    text_ += fsrl::FormatCandumpLine(t_ns, "can0", id, payload.data(), payload.size(), true);
  }

  void AddLine(const std::string& line) { text_ += line; }
  // Sends @p group on @p id from now on.
  void MoveGroup(std::size_t group, fsrl::CanId id) { ids_[group] = id; }
  const std::string& text() const { return text_; }

 private:
  static void Set(fsrl::GroupPayloadBuilder& builder, const std::string& signal, std::uint64_t raw) {
    const std::string name = Name(builder.group_index()) + signal;
    EXPECT_TRUE(builder.SetRaw(name, raw)) << name;
  }

  std::array<std::uint8_t, fsrl::kGroupCount> counters_{};
  std::map<std::size_t, fsrl::CanId> ids_;
  std::string text_;
};

struct ReplayRun : fsrl_test::CommandRun {
  std::vector<JsonValue> lines;  // one per output line
};

using fsrl_test::ReadFile;

float FloatOf(const JsonValue& value) {
  EXPECT_EQ(value.kind, JsonValue::Kind::kNumber);
  return std::strtof(value.text.c_str(), nullptr);
}

std::string Seconds(std::int64_t ns) {
  char text[32];
  return std::string(text, fsrl::FormatSeconds(ns, text));
}

// Every value of a detections line against the raw values of the scan that was sent.
void ExpectDetectionsLine(const JsonValue& line, std::int64_t t_ns, const ScanValues& scan) {
  EXPECT_EQ(line["type"].text, "detections");
  EXPECT_EQ(line["t"].text, Seconds(t_ns));
  EXPECT_EQ(line["scan_id"].text, std::to_string(scan.scan_id));
  EXPECT_TRUE(line["is_valid"].boolean);
  EXPECT_EQ(line["time_stamps"]["short_range"].text, std::to_string(scan.mid_range - 30));
  EXPECT_EQ(line["time_stamps"]["near_range"].text, std::to_string(scan.mid_range - 20));
  EXPECT_EQ(line["time_stamps"]["mid_range"].text, std::to_string(scan.mid_range));
  EXPECT_EQ(line["time_stamps"]["long_range"].text, std::to_string(scan.mid_range + 10));
  const std::string sts1 = Name(kStatus1);
  EXPECT_EQ(FloatOf(line["mounting"]["x_offset"]), Physical(kStatus1, sts1 + "XAxisOffs", scan.x_offs));
  EXPECT_EQ(FloatOf(line["mounting"]["y_offset"]), Physical(kStatus1, sts1 + "YAxisOffs", scan.y_offs));
  EXPECT_EQ(FloatOf(line["mounting"]["phi_offset"]), Radians(Physical(kStatus1, sts1 + "ZOrientAng", scan.z_orient)));

  const JsonValue& detections = line["detections"];
  ASSERT_EQ(detections.items.size(), 200U);
  static const char* const kModes[] = {"kShortRange", "kNearRange", "kMidRange", "kLongRange"};
  static const char* const kQualities[] = {"kLow", "kMid", "kHigh", "kUnknown"};
  for (const std::size_t d : {0U, 1U, 2U, 3U, 57U, 123U, 198U, 199U}) {
    SCOPED_TRACE("detection " + std::to_string(d));
    const std::size_t group = d / 5;
    const std::string prefix = Name(group);
    const std::string digit = std::to_string(d % 5);
    const DetectionRaw raw = RawDetection(d, scan.seed);
    const JsonValue& detection = detections.items[d];
    EXPECT_EQ(detection.members.size(), 9U);
    EXPECT_EQ(FloatOf(detection["snr"]), Physical(group, prefix + "SNR" + digit, raw.snr));
    EXPECT_EQ(FloatOf(detection["rcs"]), Physical(group, prefix + "RCS" + digit, raw.rcs));
    EXPECT_EQ(FloatOf(detection["azimuth"]), Physical(group, prefix + "AziAng" + digit, raw.azi_ang));
    EXPECT_EQ(FloatOf(detection["elevation"]), Physical(group, prefix + "EleAng" + digit, raw.ele_ang));
    EXPECT_EQ(FloatOf(detection["range"]), Physical(group, prefix + "Range" + digit, raw.range));
    EXPECT_EQ(FloatOf(detection["range_rate"]), Physical(group, prefix + "RngRt" + digit, raw.rng_rt));
    EXPECT_EQ(detection["is_dynamic"].kind, JsonValue::Kind::kBool);
    EXPECT_EQ(detection["is_dynamic"].boolean, raw.dyn == 1);
    EXPECT_EQ(detection["mode"].text, kModes[raw.mode]);
    EXPECT_EQ(detection["quality_aggregated"].text, kQualities[raw.quality]);
  }
}

void ExpectStatusLine(const JsonValue& line, std::int64_t t_ns, const ScanValues& scan) {
  EXPECT_EQ(line["type"].text, "status");
  EXPECT_EQ(line["t"].text, Seconds(t_ns));
  EXPECT_EQ(line["scan_id"].text, std::to_string(scan.scan_id));
  const std::string sts2 = Name(kStatus2);
  EXPECT_EQ(FloatOf(line["azimuth_alignment_error"]),
            Radians(Physical(kStatus2, sts2 + "AziMisAlnmntAng", scan.azi_mis)));
  EXPECT_EQ(FloatOf(line["elevation_alignment_error"]),
            Radians(Physical(kStatus2, sts2 + "EleMisAlnmntAng", scan.ele_mis)));
  EXPECT_EQ(line["blockage"].text, "kNoBlockage");
  EXPECT_EQ(line["interference"].text, "kNoInterference");
  EXPECT_EQ(line["calibration_status"].text, "kComplete");
  const JsonValue& fault = line["fault_reason"];
  EXPECT_EQ(fault.members.size(), 6U);
  for (const auto& member : fault.members) {
    EXPECT_EQ(member.second.kind, JsonValue::Kind::kBool) << member.first;
    EXPECT_FALSE(member.second.boolean) << member.first;
  }
  EXPECT_TRUE(line["is_sensor_status_on"].boolean);
  EXPECT_TRUE(line["is_transmission_activated"].boolean);
  EXPECT_FALSE(line["is_system_failing"].boolean);
  EXPECT_TRUE(line["is_time_sync_ok"].boolean);
  EXPECT_EQ(line["flr_temperature"].text, "0");
}

// Every notification and clock jump, as the replay's observer hears of them.
struct Recorder : fsrl::ReplayObserver {
  std::vector<fsrl::PublishedDetections> detections;
  std::vector<fsrl::PublishedStatus> statuses;
  std::vector<fsrl::ClockJump> jumps;
  void OnDetections(const fsrl::PublishedDetections& published) override { detections.push_back(published); }
  void OnStatus(const fsrl::PublishedStatus& published) override { statuses.push_back(published); }
  void OnClockJump(const fsrl::ClockJump& jump) override { jumps.push_back(jump); }
};

class FsrlReplay : public ::testing::Test {
 protected:
  void SetUp() override {
    zol::signalcomm::Service::Instance().Reset();
    ASSERT_TRUE(dir_.ok());
  }

  ReplayRun Run(const std::vector<std::string>& args) {
    ReplayRun run;
    static_cast<fsrl_test::CommandRun&>(run) = fsrl_test::RunCommand(&fsrl::RunReplay, args);
    return run;
  }

  ReplayRun RunLog(const RadarLog& log, std::vector<std::string> options = {}) {
    options.push_back(dir_.Write("radar.log", log.text()));
    ReplayRun run = Run(options);
    run.lines = fsrl_test::ParseJsonLines(run.out);
    return run;
  }

  JsonValue Summary(const RadarLog& log, std::vector<std::string> options = {}) {
    const std::string path = dir_.path() + "/summary.json";
    options.insert(options.begin(), {"--summary-json", path});
    const ReplayRun run = RunLog(log, options);
    EXPECT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
    JsonValue summary;
    EXPECT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(path), summary));
    return summary;
  }

  fsrl_test::TempDir dir_;
};

std::vector<std::string> Types(const ReplayRun& run) {
  std::vector<std::string> types;
  for (const JsonValue& line : run.lines) {
    types.push_back(line["type"].text);
  }
  return types;
}

TEST_F(FsrlReplay, OneCleanScanGivesOneStatusLineAndOneDetectionsLineWithEveryValueAsSent) {
  RadarLog log;
  const ScanValues scan = Scan(17, 1000000, 1);
  log.AddScan(kT0, scan);
  const ReplayRun run = RunLog(log);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "detections")) << "status comes first within a cycle";
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, scan);
  ExpectDetectionsLine(run.lines[1], kT0 + 50 * kMs, scan);
  EXPECT_EQ(run.lines[0]["t"].text, "1700000000.173456789") << "the cycle time on the log's time base, exact";
  EXPECT_THAT(run.out, ::testing::StartsWith("{\"type\": \"status\", \"t\": 1700000000.173456789, \"scan_id\": 17, "));
}

TEST_F(FsrlReplay, TwoScansFiftyMillisecondsApartGiveTwoOfEachInOrder) {
  RadarLog log;
  const ScanValues first = Scan(200, 1000000, 1);
  const ScanValues second = Scan(201, 1050000, 2);
  log.AddScan(kT0, first);
  log.AddScan(kT0 + 50 * kMs, second);
  const ReplayRun run = RunLog(log);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "detections", "status", "detections"));
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, first);
  ExpectDetectionsLine(run.lines[1], kT0 + 50 * kMs, first);
  ExpectStatusLine(run.lines[2], kT0 + 100 * kMs, second);
  ExpectDetectionsLine(run.lines[3], kT0 + 100 * kMs, second);
}

TEST_F(FsrlReplay, AFrameStampedExactlyAtACycleTimeBelongsToTheNextCycle) {
  // The last detection group of the scan arrives exactly at T_1 = t0 + 50 ms: cycle 1 completes the status only,
  // cycle 2 the detections.
  RadarLog log;
  const ScanValues scan = Scan(9, 1000000, 3);
  log.AddScan(kT0, scan, -1, kT0 + 50 * kMs);
  const ReplayRun run = RunLog(log);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "detections"));
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, scan);
  ExpectDetectionsLine(run.lines[1], kT0 + 100 * kMs, scan);
}

TEST_F(FsrlReplay, AFrameStampedOneNanosecondBeforeACycleTimeIsInThatCycle) {
  RadarLog log;
  const ScanValues scan = Scan(9, 1000000, 3);
  log.AddScan(kT0, scan, -1, kT0 + 50 * kMs - 1);
  const ReplayRun run = RunLog(log);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "detections"));
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, scan);
  ExpectDetectionsLine(run.lines[1], kT0 + 50 * kMs, scan);
}

TEST_F(FsrlReplay, SilenceLongerThanTheAliveTimeoutReportsLostCommunicationEveryCycleUntilFramesReturn) {
  RadarLog log;
  const ScanValues first = Scan(1, 1000000, 1);
  const ScanValues after = Scan(2, 1500000, 2);
  log.AddScan(kT0, first);              // last frame at t0 + 4.1 ms
  log.AddScan(kT0 + 500 * kMs, after);  // handed over before the cycle at t0 + 550 ms
  const ReplayRun run = RunLog(log);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;

  // Cycles at t0 + 250 .. 500 ms are more than 200 ms after the last arrival: lost, one status each.
  std::vector<std::string> expected_types = {"status", "detections"};
  for (int k = 5; k <= 10; ++k) {
    expected_types.emplace_back("status");
  }
  expected_types.emplace_back("status");
  expected_types.emplace_back("detections");
  ASSERT_EQ(Types(run), expected_types);
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, first);
  for (int k = 5; k <= 10; ++k) {
    const JsonValue& lost = run.lines[static_cast<std::size_t>(k - 3)];
    SCOPED_TRACE("cycle " + std::to_string(k));
    EXPECT_EQ(lost["t"].text, Seconds(kT0 + k * (50 * kMs)));
    EXPECT_TRUE(lost["fault_reason"]["is_communication_faulty"].boolean);
    EXPECT_EQ(lost["scan_id"].text, "1") << "the last scan's status, marked";
    EXPECT_FALSE(lost["is_sensor_status_on"].boolean);
    EXPECT_EQ(lost["blockage"].text, "kBlockageUnknown");
  }
  // Recovery: the next scan's own status, without the fault.
  ExpectStatusLine(run.lines[8], kT0 + 550 * kMs, after);
  ExpectDetectionsLine(run.lines[9], kT0 + 550 * kMs, after);
  EXPECT_THAT(run.err, HasSubstr("12 cycles of 50 ms, 0 failed, 6 in lost communication in 1 period(s);"));
}

TEST_F(FsrlReplay, LostCommunicationIsCountedPerCycleAndAsAPeriod) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 + 500 * kMs, Scan(2, 1500000, 2));
  const JsonValue summary = Summary(log);
  EXPECT_EQ(summary["lost_comm_cycles"].text, "6");
  ASSERT_EQ(summary["lost_comm_periods"].items.size(), 1U);
  EXPECT_EQ(summary["lost_comm_periods"].items[0]["from"].text, Seconds(kT0 + 250 * kMs));
  EXPECT_EQ(summary["lost_comm_periods"].items[0]["until"].text, Seconds(kT0 + 550 * kMs));
  EXPECT_EQ(summary["status_publications"].text, "8");
  EXPECT_EQ(summary["failed_cycles"].text, "0");

  // A longer alive timeout shortens the lost period: lost only more than 300 ms after the last arrival.
  const JsonValue longer = Summary(log, {"--alive-timeout-ms", "300"});
  EXPECT_EQ(longer["lost_comm_cycles"].text, "4");
  EXPECT_EQ(longer["lost_comm_periods"].items[0]["from"].text, Seconds(kT0 + 350 * kMs));
  EXPECT_EQ(longer["alive_timeout_ms"].text, "300");
}

// ---------------------------------------------------------------------------------------------------------------
// Clock jumps.

constexpr std::int64_t kThreeYears = std::int64_t{3} * 365 * 24 * 3600 * 1000 * kMs;

TEST_F(FsrlReplay, AThreeYearJumpIsReportedOnceAndCostsAFewSecondsOfSilenceNotThreeYears) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));                           // lines 1..42
  log.AddScan(kT0 + kThreeYears, Scan(2, 1050000, 2));             // lines 43..84
  log.AddScan(kT0 + kThreeYears + 50 * kMs, Scan(3, 1100000, 3));  // lines 85..126
  const std::string summary_path = dir_.path() + "/summary.json";
  const ReplayRun run = RunLog(log, {"--summary-json", summary_path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  const std::string path = dir_.path() + "/radar.log";
  EXPECT_THAT(run.err, HasSubstr(path + ":43: clock jump: the time stamp is 94607999.995900 s ahead"))
      << "three years less the 4.1 ms of the first scan";
  EXPECT_THAT(run.err, HasSubstr("replayed 5.000 s of silence"));
  EXPECT_EQ(run.err.find("clock jump:"), run.err.rfind("clock jump:")) << "reported once";
  EXPECT_THAT(run.err, HasSubstr("1 clock jump(s) forward and 0 step(s) back bridged"));

  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(summary_path), summary));
  EXPECT_EQ(summary["clock_jumps_forward"].text, "1");
  EXPECT_EQ(summary["clock_jumps_backward"].text, "0");
  EXPECT_EQ(summary["clock_jump_ms"].text, "5000");
  // 5 s of silence after the first scan (100 cycles), then the two scans after the jump and one more cycle.
  EXPECT_LE(std::stoull(summary["cycles"].text), 105U);
  EXPECT_LE(run.lines.size(), 110U) << "output bounded by the recording, not by the jump";

  // Every scan is still published; those after the jump at T_k on the log's own time base.
  std::vector<std::string> detection_times;
  for (const JsonValue& line : run.lines) {
    if (line["type"].text == "detections") {
      detection_times.push_back(line["t"].text);
    }
  }
  EXPECT_THAT(detection_times, ::testing::ElementsAre(Seconds(kT0 + 50 * kMs), Seconds(kT0 + kThreeYears + 50 * kMs),
                                                      Seconds(kT0 + kThreeYears + 100 * kMs)));
  EXPECT_EQ(summary["detection_scans"].text, "3");
}

TEST_F(FsrlReplay, LostCommunicationIsReportedAcrossAJumpAndRecoversWithTheFirstScanAfterIt) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 + kThreeYears, Scan(2, 1050000, 2));
  const std::string summary_path = dir_.path() + "/summary.json";
  const ReplayRun run = RunLog(log, {"--summary-json", summary_path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  std::size_t lost_statuses = 0;
  for (const JsonValue& line : run.lines) {
    if (line["type"].text == "status" && line["fault_reason"]["is_communication_faulty"].boolean) {
      ++lost_statuses;
      EXPECT_EQ(line["scan_id"].text, "1");
    }
  }
  // Lost from the first cycle more than 200 ms after the last frame (t0 + 250 ms) to the end of the 5 s replayed.
  EXPECT_EQ(lost_statuses, 96U);
  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(summary_path), summary));
  EXPECT_EQ(summary["lost_comm_cycles"].text, "96");
  ASSERT_EQ(summary["lost_comm_periods"].items.size(), 1U);
  EXPECT_EQ(summary["lost_comm_periods"].items[0]["from"].text, Seconds(kT0 + 250 * kMs));
  EXPECT_EQ(summary["lost_comm_periods"].items[0]["until"].text, Seconds(kT0 + kThreeYears + 50 * kMs));
  EXPECT_EQ(summary["lost_comm_ms"].text, "4800") << "virtual time lost: 250 ms .. 5050 ms of the replay";
  ASSERT_FALSE(run.lines.empty());
  EXPECT_EQ(run.lines.back()["type"].text, "detections");
  EXPECT_EQ(run.lines.back()["scan_id"].text, "2");
}

TEST_F(FsrlReplay, AStepBackIsReportedCountedAndTheFramesAfterItAreStillReplayedInOrder) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 + 50 * kMs, Scan(2, 1050000, 2));
  log.AddScan(kT0 - 3600 * 1000 * kMs, Scan(3, 1100000, 3));  // the logger's clock set back an hour: line 85
  log.AddScan(kT0 - 3600 * 1000 * kMs + 50 * kMs, Scan(4, 1150000, 4));
  const std::string summary_path = dir_.path() + "/summary.json";
  const ReplayRun run = RunLog(log, {"--summary-json", summary_path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, HasSubstr(dir_.path() + "/radar.log:85: clock step back: the time stamp is 3600.054100 s "
                                               "behind the latest one"));
  EXPECT_THAT(run.err, HasSubstr("0 clock jump(s) forward and 1 step(s) back bridged"));
  // Scans are published once each, in the order of the file, each by its own cycle.
  std::vector<std::string> scan_ids;
  for (const JsonValue& line : run.lines) {
    if (line["type"].text == "detections") {
      scan_ids.push_back(line["scan_id"].text);
    }
  }
  EXPECT_THAT(scan_ids, ::testing::ElementsAre("1", "2", "3", "4"));
  EXPECT_EQ(run.lines.back()["t"].text, Seconds(kT0 - 3600 * 1000 * kMs + 100 * kMs)) << "the log's time base";
  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(summary_path), summary));
  EXPECT_EQ(summary["clock_jumps_backward"].text, "1");
  EXPECT_EQ(summary["lost_comm_cycles"].text, "0") << "no time passed: the radar never went quiet";
  EXPECT_EQ(summary["cycles"].text, "5");
}

TEST_F(FsrlReplay, FramesALittleOutOfOrderAreNoClockJump) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 - 10 * kMs, Scan(2, 1050000, 2));  // 14.1 ms back: less than a cycle
  const JsonValue summary = Summary(log);
  EXPECT_EQ(summary["clock_jumps_backward"].text, "0");
  EXPECT_EQ(summary["clock_jumps_forward"].text, "0");
}

TEST_F(FsrlReplay, TheClockJumpThresholdIsSetOnTheCommandLine) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 + 2000 * kMs, Scan(2, 1050000, 2));
  const JsonValue silence = Summary(log);
  EXPECT_EQ(silence["clock_jumps_forward"].text, "0") << "2 s is a silence under the default 5 s";
  EXPECT_EQ(silence["cycles"].text, "42");
  const JsonValue jump = Summary(log, {"--clock-jump-ms", "500"});
  EXPECT_EQ(jump["clock_jumps_forward"].text, "1");
  EXPECT_EQ(jump["clock_jump_ms"].text, "500");
  EXPECT_EQ(jump["cycles"].text, "12") << "10 cycles of silence, then the second scan's and one more";
  EXPECT_EQ(jump["detection_scans"].text, "2");
}

TEST_F(FsrlReplay, OnlyTheFirstHundredLostPeriodsAreListedButAllAreCountedAndTimed) {
  RadarLog log;
  for (std::uint8_t scan = 0; scan < 120; ++scan) {
    log.AddScan(kT0 + scan * 400 * kMs, Scan(scan, 1000000 + scan * 400000U, scan % 4U));
  }
  const JsonValue summary = Summary(log);
  // Each of the 119 gaps: lost at T + 250, 300, 350 and 400 ms, back at T + 450 ms.
  EXPECT_EQ(summary["lost_comm_period_count"].text, "119");
  EXPECT_EQ(summary["lost_comm_cycles"].text, "476");
  EXPECT_EQ(summary["lost_comm_ms"].text, "23800");
  ASSERT_EQ(summary["lost_comm_periods"].items.size(), fsrl::ReplaySummary::kLostCommPeriodsKept);
  EXPECT_EQ(summary["lost_comm_periods"].items[99]["from"].text, Seconds(kT0 + (99 * 400 + 250) * kMs));
  EXPECT_EQ(summary["lost_comm_periods"].items[99]["until"].text, Seconds(kT0 + (99 * 400 + 450) * kMs));
  EXPECT_EQ(summary["detection_scans"].text, "120");
}

TEST_F(FsrlReplay, AReplayEndingWhileLostLeavesThePeriodOpen) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddFrame(kT0 + 400 * kMs, 45, fsrl::EncodeGroupPayload(45, {}, 0));  // an object group, not read
  const JsonValue summary = Summary(log);
  // The object group's frame counts as an arrival: lost at 250, 300, 350 and 400 ms, back at 450 ms.
  EXPECT_EQ(summary["lost_comm_cycles"].text, "4");
  ASSERT_EQ(summary["lost_comm_periods"].items.size(), 1U);
  EXPECT_EQ(summary["lost_comm_periods"].items[0]["until"].text, Seconds(kT0 + 450 * kMs));

  RadarLog silent_end;
  silent_end.AddScan(kT0, Scan(1, 1000000, 1));
  silent_end.AddLine("(1700000000.923456789) can0 7FF#00\n");  // not a radar frame: only stretches the log
  const JsonValue open = Summary(silent_end);
  ASSERT_EQ(open["lost_comm_periods"].items.size(), 1U);
  EXPECT_EQ(open["lost_comm_periods"].items[0]["from"].text, Seconds(kT0 + 250 * kMs));
  EXPECT_EQ(open["lost_comm_periods"].items[0]["until"].kind, JsonValue::Kind::kNull);
  EXPECT_EQ(open["unmapped_frames"].text, "1");
}

TEST_F(FsrlReplay, ACorruptCrcInOneDetectionGroupFailsTheCycleAndThatScansDetectionsAreNotPublished) {
  RadarLog log;
  const ScanValues damaged = Scan(30, 1000000, 1);
  const ScanValues next = Scan(31, 1050000, 2);
  log.AddScan(kT0, damaged, 17);
  log.AddScan(kT0 + 50 * kMs, next);
  const std::string summary_path = dir_.path() + "/summary.json";
  const ReplayRun run = RunLog(log, {"--summary-json", summary_path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "status", "detections"));
  ExpectStatusLine(run.lines[0], kT0 + 50 * kMs, damaged);
  ExpectStatusLine(run.lines[1], kT0 + 100 * kMs, next);
  ExpectDetectionsLine(run.lines[2], kT0 + 100 * kMs, next);
  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(summary_path), summary));
  EXPECT_EQ(summary["failed_cycles"].text, "1");
  EXPECT_EQ(summary["cycles"].text, "3");
  EXPECT_EQ(summary["detection_scans"].text, "1");
  EXPECT_THAT(run.err, HasSubstr("3 cycles of 50 ms, 1 failed, 0 in lost communication; 1 detection scans and "
                                 "2 statuses written"));
  EXPECT_THAT(run.err, HasSubstr("--hal-log shows them"));
  EXPECT_THAT(run.err, Not(HasSubstr("Failed to read at least one property")));

  const ReplayRun shown = RunLog(log, {"--hal-log"});
  EXPECT_THAT(shown.err, HasSubstr("Failed to read at least one property from signal database"));
}

TEST_F(FsrlReplay, SummaryJsonCountsCyclesFramesPublicationsAndProcessingTime) {
  RadarLog log;
  log.AddScan(kT0, Scan(1, 1000000, 1));
  log.AddScan(kT0 + 50 * kMs, Scan(2, 1050000, 2));
  log.AddLine("(1700000000.200000000) can0 123#0102\n");  // unmapped
  log.AddLine("(1700000000.200000000) can0 400#R\n");     // remote request
  const JsonValue summary = Summary(log, {"--cycle-ms", "25"});
  // The last two lines are stamped t0 + 76.5 ms, the latest time of the log: cycles every 25 ms until
  // T_k >= 76.5 + 25 ms, that is at 25, 50, 75, 100 and 125 ms.
  EXPECT_EQ(summary["cycles"].text, "5");
  EXPECT_EQ(summary["cycle_ms"].text, "25");
  EXPECT_EQ(summary["failed_cycles"].text, "0");
  EXPECT_EQ(summary["lost_comm_cycles"].text, "0");
  EXPECT_EQ(summary["detection_scans"].text, "2");
  EXPECT_EQ(summary["status_publications"].text, "2");
  EXPECT_EQ(summary["frames"].text, "86");
  EXPECT_EQ(summary["frames_handed_over"].text, "84");
  EXPECT_EQ(summary["unmapped_frames"].text, "1");
  EXPECT_EQ(summary["remote_frames"].text, "1");
  EXPECT_EQ(summary["malformed_lines"].text, "0");
  EXPECT_EQ(summary["t0"].text, Seconds(kT0));
  const JsonValue& per_group = summary["frames_per_group"];
  ASSERT_EQ(per_group.members.size(), fsrl::kGroupCount);
  EXPECT_EQ(per_group["RSDS4Detn000To004"].text, "2");
  EXPECT_EQ(per_group["RSDS4Detn195To199"].text, "2");
  EXPECT_EQ(per_group["RSDS4SigSts1"].text, "2");
  EXPECT_EQ(per_group["RSDS4SigSts2"].text, "2");
  EXPECT_EQ(per_group["RSDS4Obj00To01"].text, "0");
  const JsonValue& times = summary["process_fsrl_input_us"];
  EXPECT_GT(times["p50"].number(), 0.0);
  EXPECT_LE(times["p50"].number(), times["p99"].number());
  EXPECT_LE(times["p99"].number(), times["max"].number());
}

TEST_F(FsrlReplay, TheScanIsCutAtTheCyclePeriodGivenOnTheCommandLine) {
  // With 1 ms cycles the 42 frames of a scan (4.1 ms) spread over five cycles; the scan still completes once.
  RadarLog log;
  log.AddScan(kT0, Scan(5, 1000000, 1));
  const ReplayRun run = RunLog(log, {"--cycle-ms=1"});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ASSERT_THAT(Types(run), ::testing::ElementsAre("status", "detections"));
  EXPECT_EQ(run.lines[0]["t"].text, Seconds(kT0 + 1 * kMs)) << "both status groups arrive in the first ms";
  EXPECT_EQ(run.lines[1]["t"].text, Seconds(kT0 + 5 * kMs)) << "the last detection group at 4.1 ms";
}

TEST_F(FsrlReplay, OutWritesTheLinesToTheFileAndNothingToStandardOutput) {
  RadarLog log;
  const ScanValues scan = Scan(3, 1000000, 1);
  log.AddScan(kT0, scan);
  const std::string out_path = dir_.path() + "/lines.jsonl";
  const ReplayRun run = RunLog(log, {"--out", out_path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_TRUE(run.out.empty());
  const std::vector<JsonValue> lines = fsrl_test::ParseJsonLines(ReadFile(out_path));
  ASSERT_EQ(lines.size(), 2U);
  ExpectStatusLine(lines[0], kT0 + 50 * kMs, scan);
  ExpectDetectionsLine(lines[1], kT0 + 50 * kMs, scan);
}

TEST_F(FsrlReplay, MalformedLineIsReportedWithFileAndLineAndSkipped) {
  RadarLog log;
  log.AddLine("(1700000000.100000000) can0 400#ABC\n");
  log.AddScan(kT0, Scan(3, 1000000, 1));
  log.AddLine("garbage\n");
  const std::string path = dir_.Write("radar.log", log.text());
  ReplayRun run = Run({path});
  run.lines = fsrl_test::ParseJsonLines(run.out);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, HasSubstr(path + ":1: odd number of hex digits in the frame data\n"));
  EXPECT_THAT(run.err, HasSubstr(path + ":44: expected '('"));
  EXPECT_THAT(run.err, HasSubstr("44 lines, 42 frames read, 42 handed to the HAL"));
  EXPECT_THAT(run.err, HasSubstr(", 2 malformed lines"));
  EXPECT_THAT(Types(run), ::testing::ElementsAre("status", "detections"));
}

TEST_F(FsrlReplay, BadArgumentsExitWithStatusTwo) {
  const std::string log = dir_.Write("empty.log", "");
  const struct {
    std::vector<std::string> args;
    const char* message;
  } kCases[] = {
      {{"--fast", log}, "unknown option '--fast'"},
      {{}, "missing LOG argument"},
      {{log, log}, "more than one LOG argument"},
      {{"--cycle-ms", "0", log}, "--cycle-ms: 0 is not in 1..86400000"},
      {{"--cycle-ms", "2.5", log}, "--cycle-ms: '2.5' is not a whole number in 1..86400000"},
      {{"--cycle-ms=-5", log}, "--cycle-ms: '-5' is not a whole number"},
      {{"--alive-timeout-ms", "x", log}, "--alive-timeout-ms: 'x' is not a whole number"},
      {{"--alive-timeout-ms", "86400001", log}, "--alive-timeout-ms: 86400001 is not in 1..86400000"},
      {{log, "--cycle-ms"}, "--cycle-ms: needs a value (N)"},
      {{log, "--out"}, "--out: needs a value (FILE)"},
      {{"--summary-json=", log}, "--summary-json: needs a value (FILE)"},
      {{log, "--frame-map"}, "--frame-map: needs a value (FILE)"},
      {{"--clock-jump-ms", "0", log}, "--clock-jump-ms: 0 is not in 1..86400000"},
      {{"--clock-jump-ms", "200", log}, "--clock-jump-ms: must exceed the alive timeout (200 ms)"},
      {{"--alive-timeout-ms", "900", "--clock-jump-ms", "800", log}, "must exceed the alive timeout (900 ms)"},
  };
  for (const auto& bad : kCases) {
    const ReplayRun run = Run(bad.args);
    EXPECT_EQ(run.exit_code, fsrl::kExitUsage) << bad.message;
    EXPECT_THAT(run.err, HasSubstr(bad.message));
    EXPECT_THAT(run.err, HasSubstr("Try 'fsrl replay --help'"));
    EXPECT_TRUE(run.out.empty());
  }
  const std::string map = dir_.Write("bad.map", "RSDS4SigSts9,10\n");
  const ReplayRun bad_map = Run({"--frame-map", map, log});
  EXPECT_EQ(bad_map.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(bad_map.err, HasSubstr(map + ":1: unknown signal group 'RSDS4SigSts9'"));
}

TEST_F(FsrlReplay, FilesThatCannotBeOpenedAreFailures) {
  const ReplayRun missing = Run({dir_.path() + "/missing.log"});
  EXPECT_EQ(missing.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(missing.err, HasSubstr("cannot open '" + dir_.path() + "/missing.log'"));
  const std::string log = dir_.Write("empty.log", "");
  const ReplayRun no_dir = Run({"--out", dir_.path() + "/no/such/dir.jsonl", log});
  EXPECT_EQ(no_dir.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(no_dir.err, HasSubstr("cannot open '" + dir_.path() + "/no/such/dir.jsonl' for writing"));
  const ReplayRun no_summary = Run({"--summary-json", dir_.path() + "/no/such/summary.json", log});
  EXPECT_EQ(no_summary.exit_code, fsrl::kExitFailure);
}

TEST_F(FsrlReplay, AnOutputThatCannotBeWrittenIsAFailureReportedOnce) {
  if (!fsrl_test::HasDevFull()) {
    GTEST_SKIP() << "no /dev/full";
  }
  RadarLog log;
  log.AddScan(kT0, Scan(3, 1000000, 1));
  const ReplayRun run = RunLog(log, {"--out", "/dev/full"});
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("fsrl replay: cannot write the output: No space left on device\n"));
  EXPECT_THAT(run.err, Not(HasSubstr("cannot write '/dev/full'")));
}

TEST_F(FsrlReplay, AnEmptyLogRunsNoCycleAndSucceeds) {
  const JsonValue summary = Summary(RadarLog());
  EXPECT_EQ(summary["cycles"].text, "0");
  EXPECT_EQ(summary["process_fsrl_input_us"]["max"].text, "0");
}

TEST_F(FsrlReplay, ALogStampedAtTheEndOfTheClocksRangeReplaysAndEnds) {
  // The largest time stamp a log can carry: the cycles after it would lie beyond the clock's range, so the replay
  // runs one last cycle at the range's end and stops instead of wrapping round into the past.
  const std::string path = dir_.Write("end_of_time.log", "(9223372036.854775807) can0 400#00\n");
  const std::string summary_path = dir_.path() + "/summary.json";
  const ReplayRun run = Run({"--summary-json", summary_path, path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(summary_path), summary));
  EXPECT_EQ(summary["cycles"].text, "1");
  EXPECT_EQ(summary["frames"].text, "1");
}

TEST_F(FsrlReplay, FrameMapMovesGroupsToOtherIds) {
  // Status group 1 travels on an extended id; the other groups keep their default ids.
  RadarLog log;
  log.MoveGroup(kStatus1, fsrl::CanId{0x18FF0050, true});
  const ScanValues scan = Scan(3, 1000000, 1);
  log.AddScan(kT0, scan);
  std::string map_text = "# status 1 moved\n";
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    char id[16];
    std::snprintf(id, sizeof id, "%X", group == kStatus1 ? 0x18FF0050U : 0x400U + static_cast<unsigned>(group));
    map_text += Name(group) + "," + id + "\n";
  }
  const ReplayRun mapped = RunLog(log, {"--frame-map", dir_.Write("radar.map", map_text)});
  ASSERT_EQ(mapped.exit_code, fsrl::kExitOk) << mapped.err;
  ASSERT_THAT(Types(mapped), ::testing::ElementsAre("status", "detections"));
  ExpectDetectionsLine(mapped.lines[1], kT0 + 50 * kMs, scan);

  // With the default map the moved group is no radar frame, and without status 1 nothing completes.
  const ReplayRun unmapped = RunLog(log);
  ASSERT_EQ(unmapped.exit_code, fsrl::kExitOk) << unmapped.err;
  EXPECT_TRUE(unmapped.lines.empty());
  EXPECT_THAT(unmapped.err, HasSubstr("42 frames read, 41 handed to the HAL, 1 unmapped frames skipped"));
}

TEST_F(FsrlReplay, HelpDocumentsTheTimeLineTheOutputAndEveryOption) {
  const ReplayRun run = Run({"--help"});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  for (const char* part : {"Usage: fsrl replay",
                           "--cycle-ms N",
                           "--alive-timeout-ms N",
                           "--clock-jump-ms N",
                           "Clock jumps",
                           "--frame-map FILE",
                           "--out FILE",
                           "--summary-json FILE",
                           "--hal-log",
                           "--output-format FMT",
                           "--status-out FILE",
                           ".status.csv",
                           "--mcap FILE",
                           "--mcap-compression zstd|none",
                           "foxglove.PointCloud",
                           "float_precision=\"round_trip\"",
                           "single-precision",
                           "T_k = t0 + k",
                           "exactly T_k",
                           "\"type\": \"detections\"",
                           "\"type\": \"status\"",
                           "kMidRange",
                           "kNoBlockage",
                           "kNotStarted",
                           "p50",
                           "lost_comm_cycles",
                           "FILE:LINE",
                           "Exit status"}) {
    EXPECT_THAT(run.out, HasSubstr(part));
  }
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  EXPECT_EQ(fsrl::RunFsrl({"help", "replay"}, out, err), fsrl::kExitOk);
  EXPECT_THAT(fsrl_test::ReadAll(out), HasSubstr("Usage: fsrl replay"));
  std::fclose(out);
  std::fclose(err);
}

// The shared function the demo uses, with frames in memory.
fsrl::CanFrame Frame(std::int64_t t_ns, std::size_t group, const std::vector<std::uint8_t>& payload) {
  fsrl::CanFrame frame;
  frame.timestamp_ns = t_ns;
  frame.id = fsrl::FrameMap::kDefaultBaseId + static_cast<std::uint32_t>(group);
  frame.fd = true;
  frame.length = static_cast<std::uint8_t>(payload.size());
  std::copy(payload.begin(), payload.end(), frame.data);
  return frame;
}

std::vector<fsrl::CanFrame> ScanFrames(RadarLog& sensor, std::int64_t t_ns, const ScanValues& scan) {
  std::vector<fsrl::CanFrame> frames;
  frames.push_back(Frame(t_ns, kStatus1, sensor.Status1(scan)));
  frames.push_back(Frame(t_ns + 1, kStatus2, sensor.Status2(scan)));
  for (std::size_t group = 0; group < kDetectionGroups; ++group) {
    frames.push_back(Frame(t_ns + 2 + static_cast<std::int64_t>(group), group, sensor.Detections(group, scan)));
  }
  return frames;
}

TEST_F(FsrlReplay, ReplayOfFramesInMemoryFillsTheSummaryAndWritesTheSameLines) {
  RadarLog sensor;
  std::vector<fsrl::CanFrame> frames = ScanFrames(sensor, kT0, Scan(7, 1000000, 1));
  const std::vector<fsrl::CanFrame> second = ScanFrames(sensor, kT0 + 400 * kMs, Scan(8, 1400000, 2));
  frames.insert(frames.end(), second.begin(), second.end());

  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  fsrl::ReplaySummary summary;
  Recorder published;
  fsrl::ReplayOptions options;
  options.alive_timeout_ns = 100 * kMs;
  options.observer = &published;
  EXPECT_EQ(fsrl::Replay(frames, options, out, err, &summary), fsrl::kReplayOk) << fsrl_test::ReadAll(err);
  const std::vector<JsonValue> lines = fsrl_test::ParseJsonLines(fsrl_test::ReadAll(out));
  std::fclose(out);
  std::fclose(err);

  ASSERT_EQ(published.detections.size(), 2U);
  EXPECT_EQ(summary.detection_scans, 2U);
  EXPECT_EQ(published.detections[0].t_ns, kT0 + 50 * kMs);
  EXPECT_EQ(published.detections[0].scan_id, 7U);
  EXPECT_TRUE(published.detections[0].is_valid);
  EXPECT_EQ(published.detections[0].mid_range_time_stamp, 1000000);
  // Quality runs through 0..3 over the detections; every fourth is raw 3, "unpopulated".
  EXPECT_EQ(published.detections[0].populated, 150U);
  EXPECT_EQ(published.detections[1].t_ns, kT0 + 450 * kMs);
  EXPECT_EQ(published.detections[1].scan_id, 8U);
  // Lost from 150 ms (more than 100 ms after the last arrival) to 400 ms: six status notifications.
  ASSERT_EQ(published.statuses.size(), 8U);
  EXPECT_EQ(summary.status_publications, 8U);
  EXPECT_FALSE(published.statuses[0].communication_fault);
  for (std::size_t i = 1; i <= 6; ++i) {
    EXPECT_TRUE(published.statuses[i].communication_fault);
    EXPECT_EQ(published.statuses[i].t_ns, kT0 + static_cast<std::int64_t>(100 + 50 * i) * kMs);
    EXPECT_EQ(published.statuses[i].scan_id, 7U);
  }
  EXPECT_FALSE(published.statuses[7].communication_fault);
  EXPECT_EQ(summary.lost_comm_cycles, 6U);
  ASSERT_EQ(summary.lost_comm_periods.size(), 1U);
  EXPECT_EQ(summary.lost_comm_periods[0].from_ns, kT0 + 150 * kMs);
  EXPECT_EQ(summary.lost_comm_periods[0].until_ns, kT0 + 450 * kMs);
  EXPECT_EQ(summary.lost_comm_period_count, 1U);
  EXPECT_EQ(summary.lost_comm_ns, 300 * kMs);
  EXPECT_EQ(summary.cycles, 10U);
  EXPECT_EQ(summary.cycle_time.count(), 10U);
  EXPECT_EQ(summary.frames_per_group[kStatus1], 2U);
  EXPECT_EQ(summary.frames_handed_over(), 84U);
  EXPECT_LE(summary.p50_us(), summary.p99_us());
  EXPECT_LE(summary.p99_us(), summary.max_us());
  EXPECT_EQ(lines.size(), 10U) << "one line per notification";
}

TEST_F(FsrlReplay, PercentilesUseTheNearestRankExactlyBelowTwoMicroseconds) {
  fsrl::ReplaySummary summary;
  for (int i = 100; i >= 1; --i) {
    summary.cycle_time.Record(static_cast<double>(i) / 1000.0);  // 1 .. 100 ns
  }
  EXPECT_DOUBLE_EQ(summary.p50_us(), 0.050);
  EXPECT_DOUBLE_EQ(summary.p99_us(), 0.099);
  EXPECT_DOUBLE_EQ(summary.max_us(), 0.100);
  fsrl::ReplaySummary single;
  single.cycle_time.Record(7.0);
  EXPECT_EQ(single.p50_us(), 7.0) << "kept inside the smallest and largest time";
  EXPECT_EQ(single.p99_us(), 7.0);
  EXPECT_EQ(fsrl::ReplaySummary().p99_us(), 0.0);
}

TEST_F(FsrlReplay, PercentilesOfLongerTimesAreWithinATenthOfAPercentAndTheMaximumIsExact) {
  fsrl::LatencyHistogram histogram;
  for (int i = 1000; i >= 1; --i) {
    histogram.Record(static_cast<double>(i) * 1.37);  // 1.37 us .. 1370 us
  }
  EXPECT_NEAR(histogram.Percentile(0.50), 500 * 1.37, 500 * 1.37 / 1000.0);
  EXPECT_NEAR(histogram.Percentile(0.99), 990 * 1.37, 990 * 1.37 / 1000.0);
  EXPECT_EQ(histogram.max_us(), 1000 * 1.37);
  EXPECT_EQ(histogram.count(), 1000U);
  histogram.Record(5.0e9);  // beyond the last bucket's start: still counted, still the maximum
  EXPECT_EQ(histogram.max_us(), 5.0e9);
  EXPECT_EQ(histogram.Percentile(1.0), 5.0e9);
}

TEST_F(FsrlReplay, InMemoryReplayTellsTheObserverOfEachJump) {
  RadarLog sensor;
  std::vector<fsrl::CanFrame> frames = ScanFrames(sensor, kT0, Scan(7, 1000000, 1));
  const std::vector<fsrl::CanFrame> later = ScanFrames(sensor, kT0 + kThreeYears, Scan(8, 1400000, 2));
  frames.insert(frames.end(), later.begin(), later.end());
  Recorder recorder;
  fsrl::ReplayOptions options;
  options.observer = &recorder;
  fsrl::ReplaySummary summary;
  std::FILE* err = std::tmpfile();
  EXPECT_EQ(fsrl::Replay(frames, options, nullptr, err, &summary), fsrl::kReplayOk);
  const std::string messages = fsrl_test::ReadAll(err);
  std::fclose(err);
  EXPECT_THAT(messages, HasSubstr("<frames>:43: clock jump"));
  ASSERT_EQ(recorder.jumps.size(), 1U);
  EXPECT_EQ(recorder.jumps[0].line, 43U);
  EXPECT_EQ(recorder.jumps[0].from_ns, kT0 + 2 + 39);
  EXPECT_EQ(recorder.jumps[0].to_ns, kT0 + kThreeYears);
  EXPECT_TRUE(recorder.jumps[0].forward());
  EXPECT_EQ(summary.clock_jumps_forward, 1U);
  ASSERT_EQ(recorder.detections.size(), 2U);
  EXPECT_EQ(recorder.detections[1].t_ns, kT0 + kThreeYears + 50 * kMs);
}

// The outputs besides the JSON lines: the sinks the replay feeds, and the options that make them.

// Every publication a sink is given, as (kind, time, scan id), in order.
struct SinkRecorder : fsrl::ReplaySink {
  struct Call {
    std::string type;
    std::int64_t t_ns;
    unsigned scan_id;
    bool operator==(const Call& other) const {
      return type == other.type && t_ns == other.t_ns && scan_id == other.scan_id;
    }
  };
  std::vector<Call> calls;
  bool finished = false;
  void OnDetections(std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) override {
    calls.push_back({"detections", t_ns, scan.info().scan_id()});
  }
  void OnStatus(std::int64_t t_ns, const radar_service::RadarStatus& status) override {
    calls.push_back({"status", t_ns, status.scan_id()});
  }
  bool Finish(std::string& /*error*/) override {
    finished = true;
    return true;
  }
};

// The rows of a CSV file without quoted fields (the replay's tables have none), split into fields.
std::vector<std::vector<std::string>> CsvRows(const std::string& text) {
  std::vector<std::vector<std::string>> rows;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    EXPECT_NE(end, std::string::npos) << "every row ends with a line feed";
    if (end == std::string::npos) {
      end = text.size();
    }
    std::vector<std::string> fields;
    std::size_t field_start = start;
    for (;;) {
      const std::size_t comma = text.find(',', field_start);
      if (comma == std::string::npos || comma > end) {
        fields.push_back(text.substr(field_start, end - field_start));
        break;
      }
      fields.push_back(text.substr(field_start, comma - field_start));
      field_start = comma + 1;
    }
    rows.push_back(fields);
    start = end + 1;
  }
  return rows;
}

std::size_t Column(const std::vector<std::string>& header, const std::string& name) {
  const auto at = std::find(header.begin(), header.end(), name);
  EXPECT_NE(at, header.end()) << name;
  return static_cast<std::size_t>(at - header.begin());
}

TEST_F(FsrlReplay, SinksHearEveryPublicationAtTheTimeAndInTheOrderOfTheJsonLines) {
  RadarLog sensor;
  std::vector<fsrl::CanFrame> frames = ScanFrames(sensor, kT0, Scan(7, 1000000, 1));
  const std::vector<fsrl::CanFrame> second = ScanFrames(sensor, kT0 + 400 * kMs, Scan(8, 1400000, 2));
  frames.insert(frames.end(), second.begin(), second.end());
  SinkRecorder first_sink;
  SinkRecorder second_sink;
  fsrl::ReplayOptions options;
  options.alive_timeout_ns = 100 * kMs;
  options.sinks = {&first_sink, &second_sink};

  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  ASSERT_EQ(fsrl::Replay(frames, options, out, err, nullptr), fsrl::kReplayOk) << fsrl_test::ReadAll(err);
  const std::vector<JsonValue> lines = fsrl_test::ParseJsonLines(fsrl_test::ReadAll(out));
  std::fclose(out);
  std::fclose(err);

  ASSERT_EQ(first_sink.calls.size(), lines.size());
  ASSERT_EQ(lines.size(), 10U) << "two scans, eight statuses of which six mark lost communication";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(first_sink.calls[i].type, lines[i]["type"].text) << i;
    EXPECT_EQ(Seconds(first_sink.calls[i].t_ns), lines[i]["t"].text) << i;
    EXPECT_EQ(std::to_string(first_sink.calls[i].scan_id), lines[i]["scan_id"].text) << i;
  }
  EXPECT_EQ(second_sink.calls, first_sink.calls);
  EXPECT_FALSE(first_sink.finished) << "a sink is finished by its owner, after the replay";

  // Without JSON lines the sinks hear the same.
  SinkRecorder alone;
  options.sinks = {&alone};
  zol::signalcomm::Service::Instance().Reset();
  ASSERT_EQ(fsrl::Replay(frames, options, nullptr, nullptr, nullptr), fsrl::kReplayOk);
  EXPECT_EQ(alone.calls, first_sink.calls);
}

TEST_F(FsrlReplay, CsvFormatWritesBothTablesWithTheValuesOfTheJsonLines) {
  RadarLog log;
  log.AddScan(kT0, Scan(3, 1000000, 1));
  log.AddScan(kT0 + 50 * kMs, Scan(4, 1050000, 2));
  const ReplayRun json = RunLog(log);
  ASSERT_EQ(json.exit_code, fsrl::kExitOk) << json.err;
  ASSERT_THAT(Types(json), ::testing::ElementsAre("status", "detections", "status", "detections"));

  const std::string detections_path = dir_.path() + "/scans.csv";
  const ReplayRun csv = RunLog(log, {"--format", "csv", "--out", detections_path});
  ASSERT_EQ(csv.exit_code, fsrl::kExitOk) << csv.err;
  EXPECT_TRUE(csv.out.empty());
  const std::vector<std::vector<std::string>> detections = CsvRows(ReadFile(detections_path));
  const std::vector<std::vector<std::string>> statuses = CsvRows(ReadFile(dir_.path() + "/scans.status.csv"));
  ASSERT_EQ(detections.size(), 1U + 2U * 200U);
  ASSERT_EQ(statuses.size(), 1U + 2U);
  EXPECT_EQ(detections[0], fsrl::ReplayCsvWriter::DetectionColumns());
  EXPECT_EQ(statuses[0], fsrl::ReplayCsvWriter::StatusColumns());

  const std::vector<std::string>& header = detections[0];
  for (std::size_t scan = 0; scan < 2; ++scan) {
    const JsonValue& line = json.lines[2 * scan + 1];
    for (std::size_t slot = 0; slot < 200; ++slot) {
      SCOPED_TRACE("scan " + std::to_string(scan) + " slot " + std::to_string(slot));
      const std::vector<std::string>& row = detections[1 + scan * 200 + slot];
      ASSERT_EQ(row.size(), header.size());
      const JsonValue& detection = line["detections"].items[slot];
      EXPECT_EQ(row[Column(header, "t")], line["t"].text);
      EXPECT_EQ(row[Column(header, "scan_id")], line["scan_id"].text);
      EXPECT_EQ(row[Column(header, "detection")], std::to_string(slot));
      EXPECT_EQ(row[Column(header, "time_stamp_mid_range")], line["time_stamps"]["mid_range"].text);
      EXPECT_EQ(std::strtof(row[Column(header, "mounting_phi_offset")].c_str(), nullptr),
                FloatOf(line["mounting"]["phi_offset"]));
      for (const char* key : {"snr", "rcs", "azimuth", "elevation", "range", "range_rate"}) {
        EXPECT_EQ(std::strtof(row[Column(header, key)].c_str(), nullptr), FloatOf(detection[key])) << key;
      }
      EXPECT_EQ(row[Column(header, "is_dynamic")], detection["is_dynamic"].boolean ? "true" : "false");
      EXPECT_EQ(row[Column(header, "mode")], detection["mode"].text);
      EXPECT_EQ(row[Column(header, "quality_aggregated")], detection["quality_aggregated"].text);
    }
    const std::vector<std::string>& status = statuses[1 + scan];
    const JsonValue& status_line = json.lines[2 * scan];
    EXPECT_EQ(status[Column(statuses[0], "t")], status_line["t"].text);
    EXPECT_EQ(status[Column(statuses[0], "scan_id")], status_line["scan_id"].text);
    EXPECT_EQ(status[Column(statuses[0], "blockage")], status_line["blockage"].text);
    EXPECT_EQ(std::strtof(status[Column(statuses[0], "azimuth_alignment_error")].c_str(), nullptr),
              FloatOf(status_line["azimuth_alignment_error"]));
  }
}

TEST_F(FsrlReplay, CsvStatusesGoWhereStatusOutSaysAndDetectionsToStandardOutputWithoutOut) {
  RadarLog log;
  log.AddScan(kT0, Scan(3, 1000000, 1));
  const std::string status_path = dir_.path() + "/statuses.csv";
  const ReplayRun run = Run({"--format=csv", "--status-out", status_path, dir_.Write("radar.log", log.text())});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_EQ(CsvRows(run.out).size(), 1U + 200U);
  EXPECT_EQ(CsvRows(ReadFile(status_path)).size(), 1U + 1U);

  // An --out without the .csv ending gets .status.csv appended.
  const ReplayRun plain = RunLog(log, {"--format", "csv", "--out", dir_.path() + "/scans"});
  ASSERT_EQ(plain.exit_code, fsrl::kExitOk) << plain.err;
  EXPECT_EQ(CsvRows(ReadFile(dir_.path() + "/scans.status.csv")).size(), 2U);
}

TEST_F(FsrlReplay, McapIsWrittenBesideUnchangedJsonLinesWithOrWithoutCompression) {
  RadarLog log;
  log.AddScan(kT0, Scan(3, 1000000, 1));
  log.AddScan(kT0 + 50 * kMs, Scan(4, 1050000, 2));
  const ReplayRun plain = RunLog(log);
  ASSERT_EQ(plain.exit_code, fsrl::kExitOk) << plain.err;
  const std::string zstd_path = dir_.path() + "/replay.mcap";
  const std::string none_path = dir_.path() + "/replay_none.mcap";
  const ReplayRun zstd = RunLog(log, {"--mcap", zstd_path});
  ASSERT_EQ(zstd.exit_code, fsrl::kExitOk) << zstd.err;
  EXPECT_EQ(zstd.out, plain.out);
  const ReplayRun none = RunLog(log, {"--mcap", none_path, "--mcap-compression", "none"});
  ASSERT_EQ(none.exit_code, fsrl::kExitOk) << none.err;

  const std::string magic("\x89MCAP0\r\n", 8);
  for (const std::string& path : {zstd_path, none_path}) {
    const std::string bytes = ReadFile(path);
    ASSERT_GT(bytes.size(), 16U) << path;
    EXPECT_EQ(bytes.substr(0, 8), magic) << path;
    EXPECT_EQ(bytes.substr(bytes.size() - 8), magic) << path;
  }
  // Uncompressed chunks show the messages as written: two point clouds, two statuses, and a transform for the
  // first scan and for each change of the mounting.
  std::size_t mountings = 0;
  std::string last_mounting;
  for (const JsonValue& line : plain.lines) {
    if (line["type"].text == "detections") {
      const JsonValue& mounting = line["mounting"];
      const std::string text =
          mounting["x_offset"].text + "," + mounting["y_offset"].text + "," + mounting["phi_offset"].text;
      mountings += text != last_mounting ? 1U : 0U;
      last_mounting = text;
    }
  }
  const std::string none_bytes = ReadFile(none_path);
  EXPECT_EQ(fsrl_test::Count(none_bytes, "\"point_stride\":40"), 2U);
  EXPECT_EQ(fsrl_test::Count(none_bytes, "\"child_frame_id\":\"fsrl_radar\""), mountings);
  EXPECT_EQ(fsrl_test::Count(none_bytes, "\"flr_temperature\":0"), 2U);
  EXPECT_LT(ReadFile(zstd_path).size(), none_bytes.size());

  // Beside CSV tables too.
  const std::string csv_mcap = dir_.path() + "/csv.mcap";
  const ReplayRun csv = RunLog(log, {"--format", "csv", "--out", dir_.path() + "/t.csv", "--mcap", csv_mcap});
  ASSERT_EQ(csv.exit_code, fsrl::kExitOk) << csv.err;
  EXPECT_EQ(ReadFile(csv_mcap), ReadFile(zstd_path));
}

TEST_F(FsrlReplay, OutputOptionsThatDoNotFitAreUsageErrors) {
  const std::string log = dir_.Write("empty.log", "");
  const struct {
    std::vector<std::string> args;
    const char* message;
  } kCases[] = {
      {{"--format", "xml", log}, "--format: 'xml' is neither a recording format"},
      {{"--status-out", "s.csv", log}, "--status-out: only with --format csv"},
      {{"--format", "csv", log}, "--format csv: the statuses need a file: give --out or --status-out"},
      {{"--mcap", "x.mcap", "--mcap-compression", "lz4", log}, "--mcap-compression: 'lz4' is neither zstd nor none"},
      {{"--mcap-compression", "none", log}, "--mcap-compression: only with --mcap FILE"},
      {{log, "--mcap"}, "--mcap: needs a value (FILE)"},
  };
  for (const auto& bad : kCases) {
    const ReplayRun run = Run(bad.args);
    EXPECT_EQ(run.exit_code, fsrl::kExitUsage) << bad.message;
    EXPECT_THAT(run.err, HasSubstr(bad.message));
    EXPECT_TRUE(run.out.empty());
  }
}

TEST_F(FsrlReplay, AnMcapOrCsvThatCannotBeWrittenIsAFailureNamingTheFile) {
  if (!fsrl_test::HasDevFull()) {
    GTEST_SKIP() << "no /dev/full";
  }
  RadarLog log;
  log.AddScan(kT0, Scan(3, 1000000, 1));
  const ReplayRun mcap = RunLog(log, {"--mcap", "/dev/full"});
  EXPECT_EQ(mcap.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(mcap.err, HasSubstr("fsrl replay: /dev/full: "));
  const ReplayRun csv = RunLog(log, {"--format", "csv", "--out", "/dev/full", "--status-out", dir_.path() + "/s.csv"});
  EXPECT_EQ(csv.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(csv.err, HasSubstr("cannot write the detections CSV: No space left on device (detections to /dev/full"));
  const ReplayRun no_dir = RunLog(log, {"--mcap", dir_.path() + "/no/such/dir.mcap"});
  EXPECT_EQ(no_dir.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(no_dir.err, HasSubstr("cannot open '" + dir_.path() + "/no/such/dir.mcap' for writing"));
}

}  // namespace
