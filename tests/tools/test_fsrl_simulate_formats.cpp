// `fsrl simulate --out FILE` writes a candump log, an ASC log or a BLF log by FILE's extension; a short run with
// faults reads back through our own readers as the candump log's frames.
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "fsrl/frame_source.h"
#include "fsrl_cli.h"
#include "temp_dir.h"

namespace {

using fsrl::LogFormat;
using fsrl_test::ReadFrame;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::ScopedUtc;
using fsrl_test::TempDir;
using ::testing::HasSubstr;

constexpr std::size_t kScans = 6;
constexpr std::size_t kGroups = 52;

struct SimulateRun {
  int exit_code = 0;
  std::string out;
  std::string err;
};

SimulateRun Simulate(const std::string& out_path, const std::vector<std::string>& extra = {}) {
  std::vector<std::string> args = {"simulate", "--scans", std::to_string(kScans), "--seed", "11", "--out", out_path};
  // One fault of each kind; the drop makes the run one frame short.
  for (const char* fault :
       {"crc:1:3", "drop:2:10", "repeat:2:50", "short:3:45", "counterjump:4:7:3", "silence:4:120"}) {
    args.push_back("--fault");
    args.push_back(fault);
  }
  args.insert(args.end(), extra.begin(), extra.end());
  std::FILE* out = std::tmpfile();
  std::FILE* err = std::tmpfile();
  SimulateRun run;
  run.exit_code = fsrl::RunFsrl(args, out, err);
  run.out = fsrl_test::ReadAll(out);
  run.err = fsrl_test::ReadAll(err);
  std::fclose(out);
  std::fclose(err);
  return run;
}

class SimulateFormats : public ::testing::TestWithParam<const char*> {
 protected:
  ScopedUtc utc_;
  TempDir dir_;
};

TEST_P(SimulateFormats, RunWithFaultsReadsBackAsTheCandumpLog) {
  ASSERT_TRUE(dir_.ok());
  const std::string log = dir_.path() + "/radar.log";
  const std::string converted = dir_.path() + "/radar." + GetParam();
  ASSERT_EQ(Simulate(log).exit_code, fsrl::kExitOk);
  const SimulateRun run = Simulate(converted);
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_THAT(run.err, HasSubstr("written to " + converted));

  const ReadResult original = ReadPath(log);
  const ReadResult read = ReadPath(converted);
  ASSERT_TRUE(original.problems.empty()) << original.problems.front();
  ASSERT_TRUE(read.opened) << read.open_error;
  EXPECT_EQ(read.format, std::string(GetParam()) == "asc" ? LogFormat::kAsc : LogFormat::kBlf);
  EXPECT_TRUE(read.problems.empty()) << read.problems.front();
  ASSERT_EQ(original.frames.size(), kScans * kGroups - 1);
  ASSERT_EQ(read.frames.size(), original.frames.size());
  for (std::size_t i = 0; i < original.frames.size(); ++i) {
    const ReadFrame& a = original.frames[i];
    const ReadFrame& b = read.frames[i];
    // The simulation's times are whole microseconds: ASC's resolution, so both formats give them exactly.
    ASSERT_EQ(b.time_ns, a.time_ns) << "frame " << i << ": " << a << " vs " << b;
    ASSERT_EQ(b.id, a.id) << "frame " << i;
    ASSERT_EQ(b.extended, a.extended) << "frame " << i;
    ASSERT_EQ(b.fd, a.fd) << "frame " << i;
    ASSERT_EQ(b.fd_flags, a.fd_flags) << "frame " << i;
    ASSERT_EQ(b.data, a.data) << "frame " << i;
    ASSERT_EQ(b.channel, 1U) << "frame " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(AscAndBlf, SimulateFormats, ::testing::Values("asc", "blf"),
                         [](const ::testing::TestParamInfo<const char*>& info) { return std::string(info.param); });

TEST(SimulateFormat, UnknownExtensionIsAUsageErrorListingTheChoices) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const SimulateRun run = Simulate(dir.path() + "/radar.csv");
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(run.err, HasSubstr("--out: "));
  EXPECT_THAT(run.err, HasSubstr("unknown log format '.csv'"));
  EXPECT_FALSE(std::filesystem::exists(dir.path() + "/radar.csv"));
  EXPECT_THAT(run.err, HasSubstr(".log"));
  EXPECT_THAT(run.err, HasSubstr(".asc"));
  EXPECT_THAT(run.err, HasSubstr(".blf"));
}

TEST(SimulateFormat, DashStillWritesCandumpToStandardOutput) {
  const SimulateRun run = Simulate("-");
  ASSERT_EQ(run.exit_code, fsrl::kExitOk);
  EXPECT_EQ(run.out.rfind("(1700000000.000000) can0 432##0", 0), 0U) << run.out.substr(0, 80);
}

TEST(SimulateFormat, FullDiskIsAFailureNamingTheFile) {
  const SimulateRun run = Simulate("/dev/full");
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("cannot write '/dev/full': No space left on device"));
}

TEST(SimulateFormat, HelpNamesTheFormats) {
  const SimulateRun run = Simulate("x.log", {"--help"});
  EXPECT_THAT(run.out, HasSubstr(".asc Vector ASC"));
  EXPECT_THAT(run.out, HasSubstr(".blf Vector BLF"));
}

}  // namespace
