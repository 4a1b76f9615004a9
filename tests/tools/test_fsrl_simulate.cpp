// `fsrl simulate` on its own (the log it writes, its faults, its command line) and simulated logs replayed through
// the real HAL: what is published, and what each fault costs.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fsrl/replay.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "json_test_parser.h"
#include "tool_test_support.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/e2e/signal_codec.h"
#include "zol/signalcomm/service.h"

namespace {

using fsrl_test::JsonValue;
using ::testing::HasSubstr;
using zol::afw::core::SignalPropertyStatusCode;

using fsrl_test::CommandRun;
using fsrl_test::ReadFile;
using fsrl_test::RunCommand;

// A signal of a frame's payload as the decoder sees it.
SignalAdapter_SignalValue Signal(const fsrl::CanFrame& frame, std::size_t group, const std::string& suffix) {
  const int slot = fsrl::FindSignalSlot(group, std::string(fsrl::GroupName(group)) + suffix);
  EXPECT_GE(slot, 0) << fsrl::GroupName(group) << suffix;
  return zol::e2e::DecodeSignal(initialfrontsideradarlefthal_signal_groups[group],
                                *fsrl::GroupSignal(group, static_cast<std::size_t>(slot)), frame.data,
                                fsrl::GroupPayloadBytes(group, frame));
}

std::size_t GroupOf(const fsrl::CanFrame& frame) {
  return static_cast<std::size_t>(fsrl::FrameMap::Default().GroupOf(frame));
}

// The frames of one group, in log order.
std::vector<fsrl::CanFrame> FramesOf(const fsrl::Simulation& simulation, std::size_t group) {
  std::vector<fsrl::CanFrame> frames;
  for (const fsrl::CanFrame& frame : simulation.frames) {
    if (GroupOf(frame) == group) {
      frames.push_back(frame);
    }
  }
  return frames;
}

fsrl::SimulationOptions Options(std::uint32_t scans, std::vector<std::string> faults = {}) {
  fsrl::SimulationOptions options;
  options.scans = scans;
  for (const std::string& fault_text : faults) {
    fsrl::Fault fault;
    std::string error;
    EXPECT_TRUE(fsrl::ParseFault(fault_text, fault, error)) << error;
    options.faults.push_back(fault);
  }
  std::string error;
  EXPECT_TRUE(fsrl::ValidateSimulationOptions(options, error)) << error;
  return options;
}

// ---------------------------------------------------------------------------------------------------------------
// The log on its own.

class FsrlSimulate : public ::testing::Test {
 protected:
  void SetUp() override {
    zol::signalcomm::Service::Instance().Reset();
    ASSERT_TRUE(dir_.ok());
  }
  std::string Path(const std::string& name) const { return dir_.path() + "/" + name; }

  fsrl_test::TempDir dir_;
};

TEST_F(FsrlSimulate, EveryFrameOfASimulatedLogDecodesAsE2eOk) {
  const std::string log = Path("sim.log");
  const CommandRun simulate = RunCommand(&fsrl::RunSimulate, {"--scans", "12", "--out", log, "--seed", "3"});
  ASSERT_EQ(simulate.exit_code, fsrl::kExitOk) << simulate.err;

  fsrl::DecodeStats stats;
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  const int decoded = fsrl::RunDecode({log}, out, err, &stats);
  std::fclose(out);
  std::fclose(err);
  ASSERT_EQ(decoded, fsrl::kExitOk);
  EXPECT_EQ(stats.frames, 12U * fsrl::kGroupCount);
  EXPECT_EQ(stats.decoded, 12U * fsrl::kGroupCount);
  EXPECT_EQ(stats.malformed, 0U);
  EXPECT_EQ(stats.unmapped, 0U);
  const auto ok = static_cast<std::size_t>(static_cast<int>(SignalPropertyStatusCode::kE2eOk) - fsrl::kMinStatusCode);
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    EXPECT_EQ(stats.by_status[group][ok], 12U) << fsrl::GroupName(group);
  }
}

TEST_F(FsrlSimulate, WrittenLogReadsBackAsTheSimulatedCanFdFramesOnTheDefaultMap) {
  const std::string log = Path("sim.log");
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans", "5", "--out", log}).exit_code, fsrl::kExitOk);
  const fsrl::Simulation simulation = fsrl::Simulate(Options(5));

  const std::string text = ReadFile(log);
  std::vector<fsrl::CanFrame> read;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    ASSERT_NE(end, std::string::npos);
    fsrl::CanFrame frame;
    ASSERT_EQ(fsrl::ParseCandumpLine(text.data() + start, text.data() + end, frame, nullptr), fsrl::LineKind::kFrame);
    read.push_back(frame);
    start = end + 1;
  }
  ASSERT_EQ(read.size(), simulation.frames.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    const fsrl::CanFrame& expected = simulation.frames[i];
    EXPECT_EQ(read[i].timestamp_ns, expected.timestamp_ns);
    EXPECT_EQ(read[i].id, expected.id);
    EXPECT_TRUE(read[i].fd);
    EXPECT_FALSE(read[i].extended);
    const std::size_t group = GroupOf(read[i]);
    ASSERT_LT(group, fsrl::kGroupCount);
    // Padded to the next CAN FD length: 48 stays 48, 50 and 61 become 64, 21 becomes 24.
    EXPECT_EQ(read[i].length, fsrl::CanFdLength(fsrl::GroupPayloadLength(group)));
    EXPECT_TRUE(std::equal(read[i].data, read[i].data + read[i].length, expected.data));
  }
}

TEST_F(FsrlSimulate, SameSeedGivesTheSameBytesAndAnotherSeedAnotherLog) {
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans", "40", "--out", Path("a.log"), "--seed", "42"}).exit_code, 0);
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans", "40", "--out", Path("b.log"), "--seed", "42"}).exit_code, 0);
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans", "40", "--out", Path("c.log"), "--seed", "43"}).exit_code, 0);
  const std::string a = ReadFile(Path("a.log"));
  EXPECT_FALSE(a.empty());
  EXPECT_EQ(a, ReadFile(Path("b.log")));
  EXPECT_NE(a, ReadFile(Path("c.log")));
}

bool SameFrame(const fsrl::CanFrame& a, const fsrl::CanFrame& b) {
  return a.timestamp_ns == b.timestamp_ns && a.id == b.id && a.length == b.length &&
         std::equal(a.data, a.data + a.length, b.data);
}

TEST_F(FsrlSimulate, TheSimulatorStreamsScanByScanWhatSimulateKeepsAndThenStops) {
  const fsrl::SimulationOptions options =
      Options(12, {"crc:9:RSDS4Detn010To014", "silence:4:120", "counterjump:2:RSDS4SigSts1:7", "drop:9:3"});
  const fsrl::Simulation whole = fsrl::Simulate(options);
  fsrl::Simulator simulator(options);
  fsrl::SimulatedScan scan;
  std::vector<fsrl::CanFrame> frames;
  std::size_t next_frame = 0;
  std::uint32_t scans = 0;
  while (simulator.Next(scan, frames)) {
    ASSERT_LT(scans, whole.scans.size());
    EXPECT_EQ(scan.index, scans);
    EXPECT_EQ(scan.first_frame_ns, whole.scans[scans].first_frame_ns);
    EXPECT_EQ(scan.time_stamps, whole.scans[scans].time_stamps);
    EXPECT_EQ(frames.size(), scans == 9 ? fsrl::kGroupCount - 1 : fsrl::kGroupCount) << "scan " << scans;
    for (const fsrl::CanFrame& frame : frames) {
      ASSERT_LT(next_frame, whole.frames.size());
      EXPECT_TRUE(SameFrame(frame, whole.frames[next_frame++]));
    }
    ++scans;
  }
  EXPECT_EQ(scans, 12U);
  EXPECT_EQ(next_frame, whole.frames.size());
  EXPECT_TRUE(frames.empty());
  EXPECT_FALSE(simulator.Next(scan, frames)) << "stays at the end";
}

TEST_F(FsrlSimulate, FaultsGivenOutOfScanOrderActAsInScanOrder) {
  const fsrl::Simulation sorted =
      fsrl::Simulate(Options(10, {"silence:2:300", "crc:3:RSDS4SigSts1", "counterjump:3:RSDS4SigSts1:5", "drop:8:7"}));
  const fsrl::Simulation shuffled =
      fsrl::Simulate(Options(10, {"drop:8:7", "crc:3:RSDS4SigSts1", "silence:2:300", "counterjump:3:RSDS4SigSts1:5"}));
  ASSERT_EQ(sorted.frames.size(), shuffled.frames.size());
  for (std::size_t i = 0; i < sorted.frames.size(); ++i) {
    EXPECT_TRUE(SameFrame(sorted.frames[i], shuffled.frames[i])) << "frame " << i;
  }
}

TEST(FsrlSimulateStream, InvalidOptionsMakeNoScan) {
  fsrl::SimulationOptions options;
  options.scans = 0;
  fsrl::Simulator simulator(options);
  fsrl::SimulatedScan scan;
  std::vector<fsrl::CanFrame> frames(3);
  EXPECT_FALSE(simulator.Next(scan, frames));
  EXPECT_TRUE(frames.empty());
}

TEST_F(FsrlSimulate, FaultChangesOnlyTheFrameItTargets) {
  const fsrl::Simulation clean = fsrl::Simulate(Options(8));
  const fsrl::Simulation faulty = fsrl::Simulate(Options(8, {"crc:5:RSDS4Detn010To014"}));
  ASSERT_EQ(clean.frames.size(), faulty.frames.size());
  std::size_t differing = 0;
  for (std::size_t i = 0; i < clean.frames.size(); ++i) {
    if (!std::equal(clean.frames[i].data, clean.frames[i].data + 64, faulty.frames[i].data)) {
      ++differing;
      EXPECT_EQ(GroupOf(faulty.frames[i]), 2U);
      EXPECT_EQ(faulty.frames[i].timestamp_ns, clean.scans[5].first_frame_ns + 4 * fsrl::kFrameSpacingNs);
    }
  }
  EXPECT_EQ(differing, 1U);
}

TEST_F(FsrlSimulate, EachGroupCountsFromTheStartCounterAndWrapsAfter255) {
  const fsrl::Simulation simulation = [] {
    fsrl::SimulationOptions options = Options(10);
    options.start_counter = 250;
    return fsrl::Simulate(options);
  }();
  for (std::size_t group = 0; group < fsrl::kGroupCount; ++group) {
    const std::vector<fsrl::CanFrame> frames = FramesOf(simulation, group);
    ASSERT_EQ(frames.size(), 10U);
    for (std::size_t scan = 0; scan < frames.size(); ++scan) {
      EXPECT_EQ(Signal(frames[scan], group, "Counter").unsigned_int, (250U + scan) % 256U)
          << fsrl::GroupName(group) << " scan " << scan;
    }
  }
  // The same through the command line.
  ASSERT_EQ(
      RunCommand(&fsrl::RunSimulate, {"--scans", "3", "--out", Path("c.log"), "--start-counter", "254"}).exit_code, 0);
  const std::string text = ReadFile(Path("c.log"));
  // Status 1 goes first in every scan: its counter is the third payload byte.
  fsrl::CanFrame first;
  ASSERT_EQ(fsrl::ParseCandumpLine(text.data(), text.data() + text.find('\n'), first, nullptr), fsrl::LineKind::kFrame);
  EXPECT_EQ(GroupOf(first), fsrl::kStatus1Group);
  EXPECT_EQ(Signal(first, fsrl::kStatus1Group, "Counter").unsigned_int, 254U);
}

TEST_F(FsrlSimulate, ScanIdsCountUpFromZeroAndWrapAfter255InEveryGroup) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(260));
  ASSERT_EQ(simulation.scans.size(), 260U);
  std::vector<std::size_t> groups = {fsrl::kStatus1Group, fsrl::kStatus2Group, 0, 39, 40, 49};
  for (const std::size_t group : groups) {
    const std::vector<fsrl::CanFrame> frames = FramesOf(simulation, group);
    ASSERT_EQ(frames.size(), 260U);
    for (std::size_t scan = 0; scan < frames.size(); ++scan) {
      EXPECT_EQ(Signal(frames[scan], group, "ScanID").unsigned_int, scan % 256U) << fsrl::GroupName(group);
      EXPECT_EQ(simulation.scans[scan].scan_id, scan % 256U);
    }
  }
}

TEST_F(FsrlSimulate, ScanFramesGoOutInFixedOrderOverTheFirstMillisecondsOfEachPeriod) {
  fsrl::SimulationOptions options = Options(6);
  options.period_ns = 40000000;
  const fsrl::Simulation simulation = fsrl::Simulate(options);
  ASSERT_EQ(simulation.frames.size(), 6U * fsrl::kGroupCount);
  std::vector<std::size_t> order = {fsrl::kStatus1Group, fsrl::kStatus2Group};
  for (std::size_t group = 0; group < 50; ++group) {
    order.push_back(group);  // detection groups 0..39, then the object groups 40..49
  }
  for (std::size_t scan = 0; scan < 6; ++scan) {
    const std::int64_t start = options.start_time_ns + static_cast<std::int64_t>(scan) * options.period_ns;
    EXPECT_EQ(simulation.scans[scan].first_frame_ns, start);
    for (std::size_t position = 0; position < fsrl::kGroupCount; ++position) {
      const fsrl::CanFrame& frame = simulation.frames[scan * fsrl::kGroupCount + position];
      EXPECT_EQ(GroupOf(frame), order[position]);
      EXPECT_GE(frame.timestamp_ns, start);
      EXPECT_LT(frame.timestamp_ns, start + 6000000) << "within the first 6 ms of the period";
    }
  }
}

TEST_F(FsrlSimulate, UnusedDetectionSlotsAreUnpopulatedAndUsedOnesStayWithinTheSignalRanges) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(40));
  for (const fsrl::SimulatedScan& scan : simulation.scans) {
    EXPECT_GT(scan.populated, 20U) << "a street scene gives a few dozen detections";
    EXPECT_LT(scan.populated, fsrl::kDetectionsPerScan) << "and leaves slots unused";
    for (std::size_t d = 0; d < fsrl::kDetectionsPerScan; ++d) {
      const fsrl::SimulatedDetection& detection = scan.detections[d];
      // Used slots come first, nearest first.
      EXPECT_EQ(detection.quality == fsrl::kQualityUnpopulated, d >= scan.populated) << "slot " << d;
      if (d >= scan.populated) {
        continue;
      }
      if (d > 0) {
        EXPECT_GE(detection.range, scan.detections[d - 1].range);
      }
      EXPECT_GT(detection.range, 0.0F);
      EXPECT_LE(detection.range, fsrl::kMaxDetectionRange + 0.5);
      EXPECT_LE(std::fabs(detection.azimuth), fsrl::kFieldOfViewHalfAngle + 0.02);
      EXPECT_LE(std::fabs(detection.elevation), 0.5F);
      EXPECT_LE(std::fabs(detection.range_rate), 106.0F);
      EXPECT_GE(detection.rcs, -40.005F);
      EXPECT_LE(detection.rcs, 40.32F);
      EXPECT_GE(detection.snr, 0.0F);
      EXPECT_LE(detection.snr, 63.0F);
    }
  }
  // The frames say the same: the quality field of every unused slot holds 3.
  const fsrl::SimulatedScan& scan = simulation.scans[7];
  const std::vector<fsrl::CanFrame> last_group = FramesOf(simulation, 39);
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(Signal(last_group[7], 39, "Quality" + std::to_string(i)).unsigned_int, fsrl::kQualityUnpopulated);
  }
  const std::size_t used_group = (scan.populated - 1) / 5;
  const std::size_t used_index = (scan.populated - 1) % 5;
  EXPECT_NE(
      Signal(FramesOf(simulation, used_group)[7], used_group, "Quality" + std::to_string(used_index)).unsigned_int,
      fsrl::kQualityUnpopulated);
}

TEST_F(FsrlSimulate, DetectionsOfSuccessiveScansMoveConsistently) {
  // A detection shows up again one or two scans later where its range rate says it would be (a reflection is
  // seen with a probability below one, so one scan alone misses some).
  const fsrl::Simulation simulation = fsrl::Simulate(Options(40));
  const double period_s = 0.05;
  const auto seen_again = [&](const fsrl::SimulatedDetection& a, const fsrl::SimulatedScan& later, int scans) {
    const double predicted = a.range + a.range_rate * period_s * scans;
    for (std::size_t e = 0; e < later.populated; ++e) {
      const fsrl::SimulatedDetection& b = later.detections[e];
      if (std::fabs(b.range - predicted) < 0.5 && std::fabs(b.azimuth - a.azimuth) < 0.06 &&
          std::fabs(b.range_rate - a.range_rate) < 0.8 && b.dynamic == a.dynamic) {
        return true;
      }
    }
    return false;
  };
  // The share of strong detections seen again `offset` and `offset + 1` scans later where one and two scans of
  // motion would put them.
  const auto share_seen_again = [&](std::size_t offset) {
    std::size_t matched = 0;
    std::size_t total = 0;
    for (std::size_t s = 0; s + offset + 1 < simulation.scans.size(); ++s) {
      const fsrl::SimulatedScan& now = simulation.scans[s];
      for (std::size_t d = 0; d < now.populated; ++d) {
        const fsrl::SimulatedDetection& a = now.detections[d];
        if (a.rcs < -10.0F) {
          continue;  // clutter comes and goes
        }
        ++total;
        matched +=
            (seen_again(a, simulation.scans[s + offset], 1) || seen_again(a, simulation.scans[s + offset + 1], 2)) ? 1U
                                                                                                                   : 0U;
      }
    }
    EXPECT_GT(total, 500U);
    return static_cast<double>(matched) / static_cast<double>(total);
  };
  EXPECT_GT(share_seen_again(1), 0.8);
  // A second later the scene has moved on: the same test finds far fewer.
  EXPECT_LT(share_seen_again(20), 0.6);
}

TEST_F(FsrlSimulate, StatusCarriesRisingNanosecondTimeStampsAndALeftFrontCornerMounting) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(10));
  const std::vector<fsrl::CanFrame> status1 = FramesOf(simulation, fsrl::kStatus1Group);
  const std::vector<fsrl::CanFrame> status2 = FramesOf(simulation, fsrl::kStatus2Group);
  for (std::size_t scan = 0; scan < status1.size(); ++scan) {
    const std::uint64_t mid = Signal(status1[scan], fsrl::kStatus1Group, "TimeStamp2").unsigned_int;
    EXPECT_EQ(mid, simulation.scans[scan].time_stamps[2]);
    EXPECT_LT(Signal(status1[scan], fsrl::kStatus1Group, "TimeStamp0").unsigned_int, mid);
    EXPECT_LT(Signal(status1[scan], fsrl::kStatus1Group, "TimeStamp1").unsigned_int, mid);
    EXPECT_GT(Signal(status1[scan], fsrl::kStatus1Group, "TimeStamp3").unsigned_int, mid);
    if (scan > 0) {
      // One scan period later, in nanoseconds.
      EXPECT_EQ(mid - simulation.scans[scan - 1].time_stamps[2], 50000000U);
    }
    EXPECT_EQ(Signal(status2[scan], fsrl::kStatus2Group, "TimeStampObj").unsigned_int, mid);
    EXPECT_NEAR(Signal(status1[scan], fsrl::kStatus1Group, "XAxisOffs").double_float, 3.6, 0.002);
    EXPECT_NEAR(Signal(status1[scan], fsrl::kStatus1Group, "YAxisOffs").double_float, 0.8, 0.002);
    EXPECT_NEAR(Signal(status1[scan], fsrl::kStatus1Group, "ZOrientAng").double_float, 50.0, 0.05);
    EXPECT_EQ(Signal(status1[scan], fsrl::kStatus1Group, "RdrStsDetn").unsigned_int, 1U);  // active
    EXPECT_EQ(Signal(status1[scan], fsrl::kStatus1Group, "Blockage").unsigned_int, 2U);    // none
    EXPECT_EQ(Signal(status1[scan], fsrl::kStatus1Group, "DtnListFaultReason").unsigned_int, 0U);
    EXPECT_EQ(Signal(status2[scan], fsrl::kStatus2Group, "CalSts").unsigned_int, 1U);  // complete
  }
}

TEST_F(FsrlSimulate, FaultsShapeTheFramesTheyTarget) {
  const fsrl::Simulation clean = fsrl::Simulate(Options(6));
  const fsrl::Simulation faulty =
      fsrl::Simulate(Options(6, {"drop:2:RSDS4Detn000To004", "repeat:3:RSDS4Detn005To009",
                                 "counterjump:3:RSDS4SigSts2:5", "short:4:RSDS4SigSts1", "short:4:40"}));
  const std::vector<fsrl::CanFrame> dropped = FramesOf(faulty, 0);
  ASSERT_EQ(dropped.size(), 5U);
  EXPECT_EQ(Signal(dropped[2], 0, "ScanID").unsigned_int, 3U) << "scan 2's frame is missing";

  const std::vector<fsrl::CanFrame> repeated = FramesOf(faulty, 1);
  EXPECT_TRUE(std::equal(repeated[3].data, repeated[3].data + 64, repeated[2].data)) << "scan 2's frame again";
  EXPECT_EQ(Signal(repeated[4], 1, "Counter").unsigned_int, 4U) << "the counter goes on as before";

  const std::vector<fsrl::CanFrame> jumped = FramesOf(faulty, fsrl::kStatus2Group);
  EXPECT_EQ(Signal(jumped[2], fsrl::kStatus2Group, "Counter").unsigned_int, 2U);
  EXPECT_EQ(Signal(jumped[3], fsrl::kStatus2Group, "Counter").unsigned_int, 8U) << "five values skipped";
  EXPECT_EQ(Signal(jumped[4], fsrl::kStatus2Group, "Counter").unsigned_int, 9U) << "and on from there";

  EXPECT_EQ(FramesOf(faulty, fsrl::kStatus1Group)[4].length, 48U) << "61 bytes cut to the next shorter length";
  EXPECT_EQ(FramesOf(faulty, 40)[4].length, 48U) << "50 bytes cut to 48";
  EXPECT_EQ(FramesOf(clean, fsrl::kStatus1Group)[4].length, 64U);
}

TEST_F(FsrlSimulate, SilenceDelaysTheScanByWholePeriodsAndTheRadarClockRunsOn) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(6, {"silence:3:120"}));
  const std::vector<fsrl::SimulatedScan>& scans = simulation.scans;
  // 120 ms rounded up to three 50 ms periods.
  EXPECT_EQ(scans[3].first_frame_ns - scans[2].first_frame_ns, 50000000 + 150000000);
  EXPECT_EQ(scans[4].first_frame_ns - scans[3].first_frame_ns, 50000000);
  EXPECT_EQ(scans[3].time_stamps[2] - scans[2].time_stamps[2], 200000000U);
  std::int64_t last_before = 0;
  for (const fsrl::CanFrame& frame : simulation.frames) {
    if (frame.timestamp_ns < scans[3].first_frame_ns) {
      last_before = std::max(last_before, frame.timestamp_ns);
    }
  }
  EXPECT_GE(scans[3].first_frame_ns - last_before, 120000000) << "nothing sent for 120 ms before scan 3";
  EXPECT_EQ(simulation.frames.size(), 6U * fsrl::kGroupCount) << "no scan is lost by a silence";
}

TEST_F(FsrlSimulate, FaultsNameGroupsByNameInAnyCaseOrByIndex) {
  fsrl::Fault fault;
  std::string error;
  ASSERT_TRUE(fsrl::ParseFault("crc:3:rsds4detn005to009", fault, error)) << error;
  EXPECT_EQ(fault.kind, fsrl::FaultKind::kCrc);
  EXPECT_EQ(fault.scan, 3U);
  EXPECT_EQ(fault.group, 1U);
  ASSERT_TRUE(fsrl::ParseFault("counterjump:7:51:20", fault, error)) << error;
  EXPECT_EQ(fault.kind, fsrl::FaultKind::kCounterJump);
  EXPECT_EQ(fault.group, fsrl::kStatus2Group);
  EXPECT_EQ(fault.amount, 20U);
  EXPECT_EQ(fsrl::FormatFault(fault), "counterjump:7:RSDS4SigSts2:20");
  ASSERT_TRUE(fsrl::ParseFault("silence:9:750", fault, error)) << error;
  EXPECT_EQ(fault.kind, fsrl::FaultKind::kSilence);
  EXPECT_EQ(fault.amount, 750U);
  EXPECT_EQ(fsrl::FormatFault(fault), "silence:9:750");
  for (const char* fault_text : {"drop:0:RSDS4SigSts1", "repeat:1:RSDS4Obj18To19", "short:2:0"}) {
    ASSERT_TRUE(fsrl::ParseFault(fault_text, fault, error)) << fault_text << ": " << error;
  }
}

TEST_F(FsrlSimulate, MalformedFaultIsAUsageErrorThatSaysWhatIsWrong) {
  struct Case {
    const char* fault_text;
    const char* message;
  };
  const Case cases[] = {
      {"bogus:1:2", "unknown kind 'bogus'"},
      {"crc:1", "expected the form crc:SCAN:GROUP"},
      {"counterjump:1:2", "expected the form counterjump:SCAN:GROUP:N"},
      {"crc:x:1", "SCAN 'x' is not a scan index"},
      {"crc:1:NoSuchGroup", "GROUP 'NoSuchGroup' is neither a signal group name"},
      {"drop:1:52", "GROUP '52' is neither"},
      {"counterjump:1:2:0", "N '0' is not a number of counter values to skip"},
      {"silence:1:0", "MS '0' is not a duration"},
      {"crc:10:1", "scan 10 is not simulated"},
      {"repeat:0:3", "scan 0 has no previous frame to repeat"},
  };
  for (const Case& c : cases) {
    const CommandRun run =
        RunCommand(&fsrl::RunSimulate, {"--scans", "10", "--out", Path("never.log"), "--fault", c.fault_text});
    EXPECT_EQ(run.exit_code, fsrl::kExitUsage) << c.fault_text;
    EXPECT_THAT(run.err, HasSubstr(c.message)) << c.fault_text;
    EXPECT_THAT(run.err, HasSubstr("fsrl simulate: ")) << c.fault_text;
  }
  EXPECT_TRUE(ReadFile(Path("never.log")).empty()) << "nothing is written after a usage error";
}

TEST_F(FsrlSimulate, MissingOrBadOptionsAreUsageErrors) {
  EXPECT_THAT(RunCommand(&fsrl::RunSimulate, {"--out", Path("x.log")}).err, HasSubstr("missing option '--scans N'"));
  EXPECT_THAT(RunCommand(&fsrl::RunSimulate, {"--scans", "3"}).err, HasSubstr("missing option '--out LOG'"));
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"--scans", "0", "--out", "x"},
                                             {"--scans", "3", "--out", "x", "--period-ms", "5"},
                                             {"--scans", "3", "--out", "x", "--start-counter", "256"},
                                             {"--scans", "3", "--out", "x", "--seed", "-1"},
                                             {"--scans", "3", "--out", "x", "--frobnicate"},
                                             {"--scans"}}) {
    EXPECT_EQ(RunCommand(&fsrl::RunSimulate, args).exit_code, fsrl::kExitUsage) << args.back();
  }
  const CommandRun help = RunCommand(&fsrl::RunSimulate, {"--help"});
  EXPECT_EQ(help.exit_code, fsrl::kExitOk);
  EXPECT_THAT(help.out, HasSubstr("counterjump:SCAN:GROUP:N"));
  EXPECT_THAT(help.out, HasSubstr("silence:SCAN:MS"));
}

TEST_F(FsrlSimulate, JoinedAndSeparateOptionValuesWriteTheSameLog) {
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans", "3", "--out", Path("a.log"), "--seed", "9"}).exit_code,
            fsrl::kExitOk);
  ASSERT_EQ(RunCommand(&fsrl::RunSimulate, {"--scans=3", "--out=" + Path("b.log"), "--seed=9"}).exit_code,
            fsrl::kExitOk);
  EXPECT_FALSE(ReadFile(Path("a.log")).empty());
  EXPECT_EQ(ReadFile(Path("a.log")), ReadFile(Path("b.log")));
  const CommandRun range = RunCommand(&fsrl::RunSimulate, {"--scans=3", "--out=x", "--period-ms=5"});
  EXPECT_EQ(range.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(range.err, HasSubstr("fsrl simulate: --period-ms: 5 is not in 6..60000"));
}

TEST_F(FsrlSimulate, UnwritableLogIsAFailure) {
  const CommandRun run = RunCommand(&fsrl::RunSimulate, {"--scans", "2", "--out", Path("no/such/dir/x.log")});
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("cannot open"));
}

// ---------------------------------------------------------------------------------------------------------------
// Simulated logs replayed through the HAL.

// Every notification, as the replay's observer hears of it.
struct Recorder : fsrl::ReplayObserver {
  std::vector<fsrl::PublishedDetections> detections;
  std::vector<fsrl::PublishedStatus> statuses;
  void OnDetections(const fsrl::PublishedDetections& published) override { detections.push_back(published); }
  void OnStatus(const fsrl::PublishedStatus& published) override { statuses.push_back(published); }
};

struct Replayed {
  int result = -1;
  fsrl::ReplaySummary summary;
  Recorder published;
  std::vector<JsonValue> detections;  // the detection lines of the output
  std::vector<JsonValue> statuses;    // the status lines
};

Replayed ReplayThroughTheHal(const fsrl::Simulation& simulation) {
  Replayed replayed;
  std::FILE* jsonl = std::tmpfile();
  std::FILE* err = std::tmpfile();
  fsrl::ReplayOptions options;
  options.observer = &replayed.published;
  replayed.result = fsrl::Replay(simulation.frames, options, jsonl, err, &replayed.summary);
  const std::string text = fsrl_test::ReadAll(jsonl);
  std::fclose(jsonl);
  std::fclose(err);
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    JsonValue value;
    EXPECT_TRUE(fsrl_test::JsonParser::Parse(text.substr(start, end - start), value));
    (value["type"].text == "detections" ? replayed.detections : replayed.statuses).push_back(value);
    start = end + 1;
  }
  return replayed;
}

float FloatOf(const JsonValue& value) { return std::strtof(value.text.c_str(), nullptr); }

const char* QualityName(std::uint8_t raw) {
  static const char* const kNames[] = {"kLow", "kMid", "kHigh", "kUnknown"};
  return kNames[raw];
}

const char* ModeName(std::uint8_t raw) {
  static const char* const kNames[] = {"kShortRange", "kNearRange", "kMidRange", "kLongRange"};
  return kNames[raw];
}

// Indexes of the simulated scans whose detections (or statuses) were published, each as often as published.
std::vector<std::size_t> PublishedDetectionScans(const fsrl::Simulation& simulation, const Replayed& replayed) {
  std::vector<std::size_t> published;
  for (const fsrl::PublishedDetections& detections : replayed.published.detections) {
    for (std::size_t i = 0; i < simulation.scans.size(); ++i) {
      if (static_cast<std::int64_t>(simulation.scans[i].time_stamps[2]) == detections.mid_range_time_stamp) {
        published.push_back(i);
      }
    }
  }
  return published;
}

std::vector<std::size_t> AllBut(std::size_t count, std::set<std::size_t> missing) {
  std::vector<std::size_t> indexes;
  for (std::size_t i = 0; i < count; ++i) {
    if (missing.count(i) == 0) {
      indexes.push_back(i);
    }
  }
  return indexes;
}

std::vector<std::size_t> PublishedStatusScanIds(const Replayed& replayed) {
  std::vector<std::size_t> ids;
  for (const fsrl::PublishedStatus& status : replayed.published.statuses) {
    EXPECT_FALSE(status.communication_fault);
    ids.push_back(status.scan_id);
  }
  return ids;
}

TEST(FsrlSimulateReplay, EveryScanOfAFaultFreeSimulationIsPublishedOnceInOrderWithTheSimulatedValues) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(30));
  const Replayed replayed = ReplayThroughTheHal(simulation);
  ASSERT_EQ(replayed.result, fsrl::kReplayOk);
  EXPECT_EQ(replayed.summary.failed_cycles, 0U);
  EXPECT_TRUE(replayed.summary.lost_comm_periods.empty());
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(30, {}));
  EXPECT_EQ(PublishedStatusScanIds(replayed), AllBut(30, {}));
  ASSERT_EQ(replayed.detections.size(), 30U);

  for (std::size_t s = 0; s < 30; ++s) {
    const fsrl::SimulatedScan& scan = simulation.scans[s];
    const JsonValue& line = replayed.detections[s];
    // Each scan is published by the cycle that follows its frames.
    EXPECT_EQ(replayed.published.detections[s].t_ns, scan.first_frame_ns + 50000000);
    EXPECT_EQ(line["scan_id"].text, std::to_string(scan.scan_id));
    EXPECT_TRUE(line["is_valid"].boolean);
    EXPECT_EQ(line["time_stamps"]["short_range"].text, std::to_string(scan.time_stamps[0]));
    EXPECT_EQ(line["time_stamps"]["near_range"].text, std::to_string(scan.time_stamps[1]));
    EXPECT_EQ(line["time_stamps"]["mid_range"].text, std::to_string(scan.time_stamps[2]));
    EXPECT_EQ(line["time_stamps"]["long_range"].text, std::to_string(scan.time_stamps[3]));
    EXPECT_EQ(FloatOf(line["mounting"]["x_offset"]), scan.x_offset);
    EXPECT_EQ(FloatOf(line["mounting"]["y_offset"]), scan.y_offset);
    EXPECT_EQ(FloatOf(line["mounting"]["phi_offset"]), scan.z_orient_deg * 3.1415927F / 180.0F);
    const std::vector<JsonValue>& detections = line["detections"].items;
    ASSERT_EQ(detections.size(), fsrl::kDetectionsPerScan);
    for (std::size_t d = 0; d < fsrl::kDetectionsPerScan; ++d) {
      const fsrl::SimulatedDetection& expected = scan.detections[d];
      const JsonValue& got = detections[d];
      EXPECT_EQ(FloatOf(got["range"]), expected.range) << "scan " << s << " detection " << d;
      EXPECT_EQ(FloatOf(got["azimuth"]), expected.azimuth);
      EXPECT_EQ(FloatOf(got["elevation"]), expected.elevation);
      EXPECT_EQ(FloatOf(got["range_rate"]), expected.range_rate);
      EXPECT_EQ(FloatOf(got["rcs"]), expected.rcs);
      EXPECT_EQ(FloatOf(got["snr"]), expected.snr);
      EXPECT_EQ(got["is_dynamic"].boolean, expected.dynamic);
      EXPECT_EQ(got["mode"].text, ModeName(expected.mode));
      EXPECT_EQ(got["quality_aggregated"].text, QualityName(expected.quality));
    }
  }
}

TEST(FsrlSimulateReplay, StartCounterWithinReachOfTheReceiversInitialStateLosesNothing) {
  // A receiver starts from counter 255 and accepts a first step of up to 14.
  fsrl::SimulationOptions options = Options(12);
  options.start_counter = 5;
  const fsrl::Simulation simulation = fsrl::Simulate(options);
  const Replayed replayed = ReplayThroughTheHal(simulation);
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(12, {}));
  EXPECT_EQ(replayed.summary.failed_cycles, 0U);
}

TEST(FsrlSimulateReplay, StartCounterBeyondReachCostsTheFirstScansUntilEveryGroupWasCheckedOnce) {
  // From 249 each group's first frame is a wrong sequence, and a cycle stops reading at its first failed group:
  // cycle k checks detection group k for the first time, with counter 249 + k. Groups 0..5 are out of reach,
  // group 6 (counter 255) looks repeated, and from scan 7 on (counter 0) every group is in step.
  fsrl::SimulationOptions options = Options(12);
  options.start_counter = 249;
  const fsrl::Simulation simulation = fsrl::Simulate(options);
  const Replayed replayed = ReplayThroughTheHal(simulation);
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(12, {0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(replayed.summary.failed_cycles, 7U);
}

TEST(FsrlSimulateReplay, ScanIdsWrappingAfter255KeepEveryScanPublished) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(270));
  const Replayed replayed = ReplayThroughTheHal(simulation);
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(270, {}));
  ASSERT_EQ(replayed.published.detections.size(), 270U);
  EXPECT_EQ(replayed.published.detections[256].scan_id, 0U);
  EXPECT_EQ(replayed.published.detections[269].scan_id, 13U);
}

struct FaultOutcome {
  const char* name;   // the test's name: what happens
  const char* fault;  // at scan 10 of 20
  std::set<std::size_t> detections_lost;
  std::set<std::size_t> statuses_lost;
};

class FsrlSimulateReplayFault : public ::testing::TestWithParam<FaultOutcome> {};

TEST_P(FsrlSimulateReplayFault, LosesExactlyTheExpectedScans) {
  const FaultOutcome& outcome = GetParam();
  const fsrl::Simulation simulation = fsrl::Simulate(Options(20, {outcome.fault}));
  const Replayed replayed = ReplayThroughTheHal(simulation);
  ASSERT_EQ(replayed.result, fsrl::kReplayOk);
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(20, outcome.detections_lost));
  EXPECT_EQ(PublishedStatusScanIds(replayed), AllBut(20, outcome.statuses_lost));
  EXPECT_TRUE(replayed.summary.lost_comm_periods.empty());
  // A fault that costs a scan shows as a failed read in that cycle only.
  const bool lost = !outcome.detections_lost.empty() || !outcome.statuses_lost.empty();
  const bool silently_incomplete = std::string(outcome.fault).rfind("drop:", 0) == 0;
  EXPECT_EQ(replayed.summary.failed_cycles, lost && !silently_incomplete ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(
    EachFaultKind, FsrlSimulateReplayFault,
    ::testing::Values(
        FaultOutcome{"CrcOnADetectionGroupLosesThatScansDetectionsOnly", "crc:10:RSDS4Detn025To029", {10}, {}},
        FaultOutcome{"CrcOnStatus1LosesTheScanAndItsStatus", "crc:10:RSDS4SigSts1", {10}, {10}},
        FaultOutcome{"CrcOnStatus2LosesTheScanAndItsStatus", "crc:10:RSDS4SigSts2", {10}, {10}},
        FaultOutcome{"CrcOnAnObjectGroupLosesNothing", "crc:10:RSDS4Obj04To05", {}, {}},
        FaultOutcome{"DroppedDetectionFrameLeavesItsScanIncomplete", "drop:10:RSDS4Detn195To199", {10}, {}},
        FaultOutcome{"DroppedStatus1LeavesScanAndStatusIncomplete", "drop:10:RSDS4SigSts1", {10}, {10}},
        FaultOutcome{"DroppedStatus2LeavesOnlyTheStatusIncomplete", "drop:10:RSDS4SigSts2", {}, {10}},
        FaultOutcome{"RepeatedDetectionFrameLosesThatScansDetections", "repeat:10:RSDS4Detn000To004", {10}, {}},
        FaultOutcome{"RepeatedStatus1LosesTheScanAndItsStatus", "repeat:10:RSDS4SigSts1", {10}, {10}},
        FaultOutcome{"CounterJumpWithinTheAcceptedStepLosesNothing", "counterjump:10:RSDS4Detn100To104:13", {}, {}},
        FaultOutcome{"CounterJumpBeyondTheAcceptedStepLosesThatScan", "counterjump:10:RSDS4Detn100To104:14", {10}, {}},
        FaultOutcome{"ShortDetectionFrameLosesThatScansDetections", "short:10:RSDS4Detn050To054", {10}, {}},
        FaultOutcome{"ShortStatus2FrameLosesTheScanAndItsStatus", "short:10:RSDS4SigSts2", {10}, {10}}),
    [](const ::testing::TestParamInfo<FaultOutcome>& info) { return std::string(info.param.name); });

TEST(FsrlSimulateReplay, SilenceLosesCommunicationWhichRecoversWithTheNextScan) {
  const fsrl::Simulation simulation = fsrl::Simulate(Options(20, {"silence:10:500"}));
  const Replayed replayed = ReplayThroughTheHal(simulation);
  ASSERT_EQ(replayed.result, fsrl::kReplayOk);
  // The radar only paused: every scan is published, once, in order.
  EXPECT_EQ(PublishedDetectionScans(simulation, replayed), AllBut(20, {}));

  ASSERT_EQ(replayed.summary.lost_comm_periods.size(), 1U);
  const fsrl::LostCommPeriod period = replayed.summary.lost_comm_periods[0];
  const std::int64_t last_frame_before = simulation.scans[9].first_frame_ns + 51 * fsrl::kFrameSpacingNs;
  EXPECT_GT(period.from_ns - last_frame_before, 200000000) << "lost once the alive timeout has passed";
  EXPECT_LT(period.from_ns - last_frame_before, 250000000) << "and found by the next cycle";
  EXPECT_EQ(period.until_ns, simulation.scans[10].first_frame_ns + 50000000) << "back with scan 10's cycle";

  // While lost, every cycle publishes the last status marked with a communication fault; then scans 10.. follow.
  std::vector<std::size_t> normal;
  std::size_t faulty = 0;
  for (const fsrl::PublishedStatus& status : replayed.published.statuses) {
    if (status.communication_fault) {
      ++faulty;
      EXPECT_GE(status.t_ns, period.from_ns);
      EXPECT_LT(status.t_ns, period.until_ns);
      EXPECT_EQ(status.scan_id, 9U);
    } else {
      normal.push_back(status.scan_id);
    }
  }
  EXPECT_EQ(faulty, replayed.summary.lost_comm_cycles);
  EXPECT_GE(faulty, 5U);
  EXPECT_EQ(normal, AllBut(20, {}));
  EXPECT_EQ(replayed.published.detections[10].t_ns, period.until_ns);
}

}  // namespace
