// `fsrl demo`: simulate with faults, replay through the HAL, summarise and draw, in one quick command.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl_cli.h"
#include "json_test_parser.h"
#include "tool_test_support.h"

namespace {

using fsrl_test::JsonValue;
using ::testing::HasSubstr;

using fsrl_test::CommandRun;
using fsrl_test::Count;
using fsrl_test::ReadFile;

CommandRun Demo(const std::vector<std::string>& args) { return fsrl_test::RunCommand(&fsrl::RunDemo, args); }

class FsrlDemo : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.ok()); }
  fsrl_test::TempDir dir_;
};

TEST_F(FsrlDemo, SummarisesWhatEachFaultCostAndWritesItsThreeFiles) {
  const std::string out_dir = dir_.path() + "/demo";
  const CommandRun run = Demo({"--out-dir", out_dir, "--scans", "60", "--seed", "2"});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;

  // Faults at 15, 30, 45, 55, 65 and 80 % of the run: scans 9, 18, 27, 33 and 39 lose data, 48 follows a silence.
  EXPECT_THAT(run.out, HasSubstr("Detection scans published: 55 of 60 (each once, in order)"));
  EXPECT_THAT(run.out, HasSubstr("Statuses published: 58 of 60, plus "));
  EXPECT_THAT(run.out, HasSubstr("Scans lost: 5\n"));
  EXPECT_THAT(run.out, HasSubstr("scan    9 (id   9): detections            lost; crc:9:RSDS4Detn045To049"));
  EXPECT_THAT(run.out, HasSubstr("scan   18 (id  18): detections and status lost; drop:18:RSDS4SigSts1"));
  EXPECT_THAT(run.out, HasSubstr("scan   27 (id  27): detections            lost; repeat:27:RSDS4Detn120To124"));
  EXPECT_THAT(run.out,
              HasSubstr("scan   33 (id  33): detections            lost; counterjump:33:RSDS4Detn000To004:20"));
  EXPECT_THAT(run.out, HasSubstr("scan   39 (id  39): detections and status lost; short:39:RSDS4SigSts2"));
  EXPECT_THAT(run.out, HasSubstr("Lost communication: 1 period(s)"));
  EXPECT_THAT(run.out, HasSubstr("ProcessFsrlInput: p50 "));
  EXPECT_THAT(run.out, HasSubstr(" us, p99 "));

  JsonValue summary;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(ReadFile(out_dir + "/summary.json"), summary));
  const JsonValue& demo = summary["demo"];
  EXPECT_EQ(demo["detection_scans_published"].text, "55");
  EXPECT_EQ(demo["statuses_published"].text, "58");
  EXPECT_TRUE(demo["detection_scans_in_order_once"].boolean);
  EXPECT_EQ(demo["faults"].items.size(), 6U);
  ASSERT_EQ(demo["lost_scans"].items.size(), 5U);
  const char* const lost_indexes[] = {"9", "18", "27", "33", "39"};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(demo["lost_scans"].items[i]["index"].text, lost_indexes[i]);
    EXPECT_EQ(demo["lost_scans"].items[i]["faults"].items.size(), 1U);
  }
  ASSERT_EQ(demo["lost_communication_periods_ms"].items.size(), 1U);
  EXPECT_GT(demo["lost_communication_periods_ms"].items[0]["until"].number(),
            demo["lost_communication_periods_ms"].items[0]["from"].number());
  EXPECT_EQ(summary["replay"]["detection_scans"].text, "55");
  // What the replay reports is written once, by the replay, under "replay".
  EXPECT_EQ(summary["replay"]["process_fsrl_input_us"]["p50"].kind, JsonValue::Kind::kNumber);
  EXPECT_EQ(demo.Find("process_fsrl_input_us"), nullptr);

  // scans.jsonl is the replay's output: one line per notification.
  const std::string jsonl = ReadFile(out_dir + "/scans.jsonl");
  std::size_t detection_lines = 0;
  std::size_t populated = 0;
  std::size_t start = 0;
  while (start < jsonl.size()) {
    const std::size_t end = jsonl.find('\n', start);
    JsonValue line;
    ASSERT_TRUE(fsrl_test::JsonParser::Parse(jsonl.substr(start, end - start), line));
    start = end + 1;
    if (line["type"].text == "detections") {
      ++detection_lines;
      for (const JsonValue& detection : line["detections"].items) {
        populated += detection["quality_aggregated"].text != "kUnknown" ? 1U : 0U;
      }
    }
  }
  EXPECT_EQ(detection_lines, 55U);

  // replay.mcap holds the same publications for a 3D viewer, and the printed line names it.
  EXPECT_THAT(run.out, HasSubstr(out_dir + "/bev.svg, " + out_dir + "/replay.mcap\n"));
  const std::string mcap = ReadFile(out_dir + "/replay.mcap");
  ASSERT_GT(mcap.size(), 16U);
  EXPECT_EQ(mcap.substr(0, 8), std::string("\x89MCAP0\r\n", 8));
  EXPECT_EQ(mcap.substr(mcap.size() - 8), std::string("\x89MCAP0\r\n", 8));

  // bev.svg draws every populated detection of every published scan.
  const std::string svg = ReadFile(out_dir + "/bev.svg");
  EXPECT_EQ(svg.rfind("<?xml", 0), 0U);
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
  EXPECT_EQ(Count(svg, "<circle class=\"det\""), populated);
}

TEST_F(FsrlDemo, SameSeedGivesTheSameScansAndPicture) {
  ASSERT_EQ(Demo({"--out-dir", dir_.path() + "/a", "--scans", "30", "--seed", "9"}).exit_code, fsrl::kExitOk);
  ASSERT_EQ(Demo({"--out-dir", dir_.path() + "/b", "--scans", "30", "--seed", "9"}).exit_code, fsrl::kExitOk);
  const std::string scans = ReadFile(dir_.path() + "/a/scans.jsonl");
  EXPECT_FALSE(scans.empty());
  EXPECT_EQ(scans, ReadFile(dir_.path() + "/b/scans.jsonl"));
  EXPECT_EQ(ReadFile(dir_.path() + "/a/bev.svg"), ReadFile(dir_.path() + "/b/bev.svg"));
  EXPECT_EQ(ReadFile(dir_.path() + "/a/replay.mcap"), ReadFile(dir_.path() + "/b/replay.mcap"));
}

TEST_F(FsrlDemo, DefaultRunFinishesWithinAFewSeconds) {
  const auto start = std::chrono::steady_clock::now();
  const CommandRun run = Demo({"--out-dir", dir_.path() + "/quick"});
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.out, HasSubstr("200 scans simulated"));
  // Well under a second in an optimised build; the bound leaves room for debug and sanitizer builds.
  EXPECT_LT(seconds, 15.0);
}

TEST_F(FsrlDemo, BadCommandLinesAreUsageErrorsAndAnUnwritableDirectoryAFailure) {
  const CommandRun few = Demo({"--scans", "5", "--out-dir", dir_.path()});
  EXPECT_EQ(few.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(few.err, HasSubstr("--scans: 5 is not in 20..100000"));
  EXPECT_EQ(Demo({"--frobnicate"}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Demo({"--seed"}).exit_code, fsrl::kExitUsage);
  const std::string file = dir_.Write("plain-file", "x");
  const CommandRun unwritable = Demo({"--out-dir", file + "/demo", "--scans", "20"});
  EXPECT_EQ(unwritable.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(unwritable.err, HasSubstr("cannot create"));
  const CommandRun help = Demo({"--help"});
  EXPECT_EQ(help.exit_code, fsrl::kExitOk);
  EXPECT_THAT(help.out, HasSubstr("summary.json"));
}

}  // namespace
