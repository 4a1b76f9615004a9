// `fsrl decode` and `fsrl replay` read every recording format: one simulated recording written as candump -l,
// ASC and BLF (by fsrl simulate, by python-can, by can-utils' log2asc and log2long) decodes and replays to the
// same JSON lines as the original candump -l log; and the input options select what is read.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/exit_status.h"
#include "fsrl/frame_map.h"
#include "fsrl_cli.h"
#include "tool_test_support.h"

namespace {

using fsrl_test::CommandRun;
using fsrl_test::TempDir;
using ::testing::HasSubstr;
using ::testing::Not;

using fsrl_test::PythonWithCan;
using fsrl_test::Shell;

// One output line with its time stamp ("t") taken out: the nanoseconds, and the rest of the line as written.
struct TimedLine {
  std::int64_t t_ns = 0;
  std::string rest;
};

// "1700000000.000100" to nanoseconds, exactly.
std::int64_t SecondsToNs(const std::string& text) {
  const std::size_t dot = text.find('.');
  std::int64_t ns = std::stoll(text.substr(0, dot)) * 1000000000;
  if (dot != std::string::npos) {
    std::string fraction = text.substr(dot + 1);
    fraction.resize(9, '0');
    ns += std::stoll(fraction);
  }
  return ns;
}

std::vector<TimedLine> SplitTimes(const std::string& jsonl) {
  std::vector<TimedLine> lines;
  std::size_t start = 0;
  while (start < jsonl.size()) {
    std::size_t end = jsonl.find('\n', start);
    end = end == std::string::npos ? jsonl.size() : end;
    std::string line = jsonl.substr(start, end - start);
    start = end + 1;
    TimedLine timed;
    const std::string key = "\"t\": ";
    const std::size_t at = line.find(key);
    if (at != std::string::npos) {
      const std::size_t value = at + key.size();
      const std::size_t value_end = line.find_first_of(",}", value);
      timed.t_ns = SecondsToNs(line.substr(value, value_end - value));
      line.replace(value, value_end - value, "T");
    }
    timed.rest = line;
    lines.push_back(timed);
  }
  return lines;
}

// Both outputs hold the same lines; their time stamps agree within @p resolution_ns, either absolutely or (for
// writers that keep the start only to the second) relative to the first line.
void ExpectSameOutput(const std::string& expected, const std::string& actual, std::int64_t resolution_ns,
                      bool absolute_times) {
  const std::vector<TimedLine> a = SplitTimes(expected);
  const std::vector<TimedLine> b = SplitTimes(actual);
  ASSERT_FALSE(a.empty());
  ASSERT_EQ(a.size(), b.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    ASSERT_EQ(b[i].rest, a[i].rest) << "line " << i + 1;
    const std::int64_t ta = absolute_times ? a[i].t_ns : a[i].t_ns - a.front().t_ns;
    const std::int64_t tb = absolute_times ? b[i].t_ns : b[i].t_ns - b.front().t_ns;
    ASSERT_LE(std::llabs(ta - tb), resolution_ns) << "line " << i + 1;
  }
}

// Every time stamp of the simulation is a whole microsecond; ASC and the candump writers print microseconds.
constexpr std::int64_t kMicrosecond = 1000;

class FsrlInputs : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.ok());
    original_ = Simulated("log");
    decoded_ = Decode({original_});
    ASSERT_EQ(decoded_.exit_code, fsrl::kExitOk) << decoded_.err;
    ASSERT_EQ(fsrl_test::Count(decoded_.out, "\n"), 3U * 52U);
    replayed_ = Replay({original_});
    ASSERT_EQ(replayed_.exit_code, fsrl::kExitOk) << replayed_.err;
    ASSERT_GT(fsrl_test::Count(replayed_.out, "\"type\": \"detections\""), 0U);
  }

  // The simulated recording in the format of @p extension, written by fsrl simulate.
  std::string Simulated(const std::string& extension) {
    const std::string path = dir_.path() + "/simulated." + extension;
    const CommandRun run = fsrl_test::RunCommand(fsrl::RunSimulate, {"--scans", "3", "--seed", "7", "--out", path});
    EXPECT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
    return path;
  }

  static CommandRun Decode(const std::vector<std::string>& args) {
    return fsrl_test::RunWithStreams([&](std::FILE* out, std::FILE* err) { return fsrl::RunDecode(args, out, err); });
  }
  static CommandRun Replay(const std::vector<std::string>& args) {
    return fsrl_test::RunCommand(fsrl::RunReplay, args);
  }

  // Decode and replay of @p path give the original's output; the replay with @p replay_options on both.
  void ExpectSameAsOriginal(const std::string& path, std::int64_t resolution_ns, bool absolute_times,
                            std::vector<std::string> replay_options = {}) {
    const CommandRun decoded = Decode({path});
    ASSERT_EQ(decoded.exit_code, fsrl::kExitOk) << decoded.err;
    EXPECT_THAT(decoded.err, HasSubstr(" 0 malformed lines"));
    ExpectSameOutput(decoded_.out, decoded.out, resolution_ns, absolute_times);
    const CommandRun original_replay = replay_options.empty() ? replayed_ : [&] {
      std::vector<std::string> args = replay_options;
      args.push_back(original_);
      return Replay(args);
    }();
    replay_options.push_back(path);
    const CommandRun replayed = Replay(replay_options);
    ASSERT_EQ(replayed.exit_code, fsrl::kExitOk) << replayed.err;
    ExpectSameOutput(original_replay.out, replayed.out, resolution_ns, absolute_times);
  }

  std::string WriteWithPythonCan(const std::string& extension) {
    const std::string python = PythonWithCan();
    if (python.empty()) {
      return {};
    }
    const std::string script = dir_.Write("convert.py",
                                          "import sys, can\n"
                                          "with can.Logger(sys.argv[2]) as out:\n"
                                          "    for message in can.LogReader(sys.argv[1]):\n"
                                          "        out.on_message_received(message)\n");
    const std::string converted = dir_.path() + "/python_can." + extension;
    EXPECT_TRUE(Shell(python + " " + script + " " + original_ + " " + converted));
    return converted;
  }

  // The frames of the original log, one line each, without the line ends.
  std::vector<std::string> OriginalLines() const {
    std::vector<std::string> lines;
    const std::string text = fsrl_test::ReadFile(original_);
    std::size_t start = 0;
    while (start < text.size()) {
      const std::size_t end = text.find('\n', start);
      lines.push_back(text.substr(start, end - start));
      start = end == std::string::npos ? text.size() : end + 1;
    }
    return lines;
  }

  TempDir dir_;
  std::string original_;
  CommandRun decoded_;
  CommandRun replayed_;
};

// ---- one recording, every format ------------------------------------------------------------------------------

TEST_F(FsrlInputs, FsrlSimulatesAscDecodesAndReplaysAsTheCandumpLog) {
  ExpectSameAsOriginal(Simulated("asc"), 0, false);
}

TEST_F(FsrlInputs, FsrlSimulatesBlfDecodesAndReplaysAsTheCandumpLog) {
  ExpectSameAsOriginal(Simulated("blf"), 0, false);
}

TEST_F(FsrlInputs, PythonCanAscDecodesAndReplaysAsTheCandumpLog) {
  const std::string path = WriteWithPythonCan("asc");
  if (path.empty()) {
    GTEST_SKIP() << "python-can is not installed (scripts/bootstrap.sh installs python3-can)";
  }
  ExpectSameAsOriginal(path, 0, false);
}

TEST_F(FsrlInputs, PythonCanBlfDecodesAndReplaysAsTheCandumpLog) {
  const std::string path = WriteWithPythonCan("blf");
  if (path.empty()) {
    GTEST_SKIP() << "python-can is not installed (scripts/bootstrap.sh installs python3-can)";
  }
  // python-can computes offsets in double seconds, which at 1.7e9 s resolve about 0.24 us. Each simulated scan
  // starts on a 50 ms boundary of the replay's cycles, where a stamp a fraction of a microsecond early falls into
  // the cycle before: the replay compares with 40 ms cycles, whose boundaries lie between the scans.
  ExpectSameAsOriginal(path, kMicrosecond, false, {"--cycle-ms", "40"});
}

TEST_F(FsrlInputs, PythonCanCandumpLogDecodesAndReplaysAsTheCandumpLog) {
  const std::string path = WriteWithPythonCan("log");
  if (path.empty()) {
    GTEST_SKIP() << "python-can is not installed (scripts/bootstrap.sh installs python3-can)";
  }
  ExpectSameAsOriginal(path, kMicrosecond, true);
}

TEST_F(FsrlInputs, Log2ascOutputDecodesAndReplaysAsTheCandumpLog) {
  if (!Shell("command -v log2asc")) {
    GTEST_SKIP() << "log2asc is not installed (scripts/bootstrap.sh installs can-utils)";
  }
  const std::string path = dir_.path() + "/log2asc.asc";
  ASSERT_TRUE(Shell("log2asc -I " + original_ + " -O " + path + " can0"));
  ExpectSameAsOriginal(path, 0, false);
}

TEST_F(FsrlInputs, Log2longOutputDecodesAndReplaysAsTheCandumpLog) {
  if (!Shell("command -v log2long")) {
    GTEST_SKIP() << "log2long is not installed (scripts/bootstrap.sh installs can-utils)";
  }
  const std::string path = dir_.path() + "/log2long.txt";
  ASSERT_TRUE(Shell("log2long < " + original_ + " > " + path));
  ExpectSameAsOriginal(path, 0, true);
}

TEST_F(FsrlInputs, StandardInputIsReadInAnyFormat) {
  const std::string path = Simulated("blf");
  const fsrl_test::StdinFromFile stdin_from(path);
  ASSERT_TRUE(stdin_from.ok());
  const CommandRun run = Decode({"-"});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  ExpectSameOutput(decoded_.out, run.out, 0, false);
}

// ---- damaged recordings ---------------------------------------------------------------------------------------

TEST_F(FsrlInputs, ATruncatedBlfDecodesEveryFrameBeforeTheCutAndNamesTheOffset) {
  const std::string blf = fsrl_test::ReadFile(Simulated("blf"));
  ASSERT_GT(blf.size(), 2000U);
  const std::string path = dir_.Write("truncated.blf", blf.substr(0, blf.size() / 2));
  const CommandRun run = Decode({path});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, ::testing::MatchesRegex("(.|\n)*" + path + ":[0-9]+: truncated(.|\n)*"));
  EXPECT_THAT(run.err, HasSubstr(", 1 malformed lines"));
  ASSERT_FALSE(run.out.empty()) << "the frames before the cut are decoded";
  EXPECT_EQ(decoded_.out.compare(0, run.out.size(), run.out), 0) << "the output so far is the original's start";
  const CommandRun strict = Decode({"--strict", path});
  EXPECT_EQ(strict.exit_code, fsrl::kExitUsage);
  EXPECT_EQ(strict.out, run.out);
}

TEST_F(FsrlInputs, AMalformedAscLineIsReportedWithFileAndLineAndSkipped) {
  std::string asc = fsrl_test::ReadFile(Simulated("asc"));
  // The first data byte of the first frame, as a hex digit pair no reader takes.
  const std::size_t at = asc.find(" 64 ", asc.find("CANFD"));
  ASSERT_NE(at, std::string::npos);
  const std::size_t line = static_cast<std::size_t>(fsrl_test::Count(asc.substr(0, at), "\n")) + 1;
  asc.replace(at + 4, 2, "ZZ");
  const std::string path = dir_.Write("bad.asc", asc);
  const CommandRun run = Decode({path});
  EXPECT_EQ(run.exit_code, fsrl::kExitOk);
  EXPECT_THAT(run.err, HasSubstr(path + ":" + std::to_string(line) + ": "));
  EXPECT_EQ(fsrl_test::Count(run.out, "\n"), 3U * 52U - 1U);
}

// ---- selecting frames -----------------------------------------------------------------------------------------

TEST_F(FsrlInputs, ChannelSelectsOneBusByNameOrNumberAndCountsTheRestAsFiltered) {
  // The radar on can0, and on can1 the same ids with their payload bytes changed.
  std::string two_buses;
  for (std::string line : OriginalLines()) {
    two_buses += line + "\n";
    line.replace(line.find("can0"), 4, "can1");
    line.back() = line.back() == '0' ? '1' : '0';
    two_buses += line + "\n";
  }
  const std::string path = dir_.Write("two_buses.log", two_buses);
  for (const char* channel : {"can0", "1"}) {
    const CommandRun run = Decode({"--channel", channel, path});
    ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
    EXPECT_EQ(run.out, decoded_.out) << "--channel " << channel;
    EXPECT_THAT(run.err, HasSubstr("156 frames read, 156 decoded"));
    EXPECT_THAT(run.err, HasSubstr(", 156 frames filtered out\n"));
  }
  const CommandRun other = Decode({"--channel", "2", path});
  EXPECT_NE(other.out, decoded_.out);
  EXPECT_EQ(fsrl_test::Count(other.out, "\n"), 156U);
  const CommandRun replay = Replay({"--channel", "can0", path});
  EXPECT_EQ(replay.out, replayed_.out);
  EXPECT_THAT(replay.err, HasSubstr(", 156 frames filtered out\n"));
}

TEST_F(FsrlInputs, AFrameMapLineWithAChannelMapsTheIdOnThatBusOnly) {
  std::string two_buses;
  for (std::string line : OriginalLines()) {
    two_buses += line + "\n";
    line.replace(line.find("can0"), 4, "can1");
    two_buses += line + "\n";
  }
  const std::string path = dir_.Write("two_buses.log", two_buses);
  // Every group on its default id on can0, the first detection group's id on can1 only.
  std::string map = "RSDS4Detn000To004,400,can1\n";
  for (std::size_t group = 1; group < 52; ++group) {
    char line[64];
    std::snprintf(line, sizeof line, "%s,%X,1\n", std::string(fsrl::GroupName(group)).c_str(),
                  static_cast<unsigned>(0x400 + group));
    map += line;
  }
  const std::string map_path = dir_.Write("channels.map", map);
  const CommandRun run = Decode({"--frame-map", map_path, path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, HasSubstr("312 frames read, 156 decoded, 156 unmapped frames skipped"));
  EXPECT_EQ(fsrl_test::Count(run.out, "RSDS4Detn000To004"), 3U);
  const CommandRun replay = Replay({"--frame-map", map_path, path});
  EXPECT_EQ(replay.out, replayed_.out) << "each group arrives once per scan, from its own bus";
}

TEST_F(FsrlInputs, FilterKeepsTheMatchingIdsOrWithATildeTheOthers) {
  const CommandRun only = Decode({"--filter", "400:7FF", original_});
  ASSERT_EQ(only.exit_code, fsrl::kExitOk) << only.err;
  EXPECT_EQ(fsrl_test::Count(only.out, "\n"), 3U);
  EXPECT_EQ(fsrl_test::Count(only.out, "\"group\": \"RSDS4Detn000To004\""), 3U);
  EXPECT_THAT(only.err, HasSubstr(", 153 frames filtered out"));
  const CommandRun both = Decode({"--filter", "400:7FF", "--filter", "401:7FF", original_});
  EXPECT_EQ(fsrl_test::Count(both.out, "\n"), 6U) << "a frame passes when any filter passes it";
  const CommandRun others = Decode({"--filter", "400~7FF", original_});
  EXPECT_EQ(fsrl_test::Count(others.out, "\n"), 153U);
  EXPECT_EQ(fsrl_test::Count(others.out, "RSDS4Detn000To004"), 0U);
  const CommandRun bad = Decode({"--filter", "40G:7FF", original_});
  EXPECT_EQ(bad.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(bad.err, HasSubstr("fsrl decode: --filter: invalid filter '40G:7FF'"));
}

TEST_F(FsrlInputs, FromAndToKeepTheFramesOfTheTimeWindow) {
  const std::vector<TimedLine> all = SplitTimes(decoded_.out);
  ASSERT_EQ(all.size(), 156U);
  // The second scan: frames 52 up to (not including) 104.
  auto seconds = [](std::int64_t ns) {
    return std::to_string(ns / 1000000000) + "." + std::to_string(1000000000 + ns % 1000000000).substr(1);
  };
  const CommandRun run = Decode({"--from", seconds(all[52].t_ns), "--to", seconds(all[104].t_ns), original_});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  const std::vector<TimedLine> window = SplitTimes(run.out);
  ASSERT_EQ(window.size(), 52U);
  EXPECT_EQ(window.front().t_ns, all[52].t_ns);
  EXPECT_EQ(window.back().t_ns, all[103].t_ns);
  EXPECT_THAT(run.err, HasSubstr(", 104 frames filtered out"));

  const std::string summary = dir_.path() + "/summary.json";
  const CommandRun replay = Replay({"--from", seconds(all[52].t_ns), "--summary-json", summary, original_});
  ASSERT_EQ(replay.exit_code, fsrl::kExitOk) << replay.err;
  fsrl_test::JsonValue json;
  ASSERT_TRUE(fsrl_test::JsonParser::Parse(fsrl_test::ReadFile(summary), json));
  EXPECT_EQ(json["filtered_frames"].text, "52");
  EXPECT_EQ(json["frames"].text, "104");

  EXPECT_EQ(Decode({"--from", "2", "--to", "1", original_}).exit_code, fsrl::kExitUsage);
  EXPECT_EQ(Decode({"--from", "1.5s", original_}).exit_code, fsrl::kExitUsage);
}

// ---- naming the formats ---------------------------------------------------------------------------------------

TEST_F(FsrlInputs, FormatTakesARecordingFormatAndAnOutputFormatOnOneCommandLine) {
  const std::string blf = Simulated("blf");
  const CommandRun both = Decode({"--format", "jsonl", "--format", "blf", blf});
  ASSERT_EQ(both.exit_code, fsrl::kExitOk) << both.err;
  ExpectSameOutput(decoded_.out, both.out, 0, false);
  const CommandRun input_only = Decode({"--input-format", "blf", blf});
  EXPECT_EQ(input_only.out, both.out);

  // A named format is read as that format, whatever the content.
  const CommandRun forced = Decode({"--format", "asc", original_});
  EXPECT_EQ(forced.exit_code, fsrl::kExitOk);
  EXPECT_TRUE(forced.out.empty());
  EXPECT_THAT(forced.err, HasSubstr(original_ + ":1: "));

  const CommandRun unknown = Decode({"--format", "xml", original_});
  EXPECT_EQ(unknown.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(unknown.err, HasSubstr("'xml' is neither a recording format"));
  const CommandRun two_inputs = Replay({"--format", "asc", "--format", "blf", original_});
  EXPECT_EQ(two_inputs.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(two_inputs.err, HasSubstr("two recording formats given ('asc' and 'blf')"));
}

TEST_F(FsrlInputs, TheHelpNamesTheInputOptionsAndTheFormatRouting) {
  for (const auto command : {fsrl::RunReplay}) {
    const CommandRun help = fsrl_test::RunCommand(command, {"--help"});
    EXPECT_THAT(help.out, HasSubstr("--input-format FMT"));
    EXPECT_THAT(help.out, HasSubstr("--channel NAME|N"));
    EXPECT_THAT(help.out, HasSubstr("--filter ID:MASK"));
    EXPECT_THAT(help.out, HasSubstr("give it twice to name both"));
    EXPECT_THAT(help.out, Not(HasSubstr("a `candump -l` log ('-'")));
  }
  const CommandRun decode_help = Decode({"--help"});
  EXPECT_THAT(decode_help.out, HasSubstr("--from SECONDS"));
  EXPECT_THAT(decode_help.out, HasSubstr("ASC and BLF files, told from the content"));
}

}  // namespace
