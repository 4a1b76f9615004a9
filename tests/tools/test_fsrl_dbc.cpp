// `fsrl dbc` end to end: the DBC text for the default frame map and for a map that moves groups, in-process.
#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/frame_map.h"
#include "fsrl_cli.h"
#include "tool_test_support.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class FsrlDbc : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.ok()); }

  static fsrl_test::CommandRun Dbc(const std::vector<std::string>& args) {
    return fsrl_test::RunCommand(&fsrl::RunDbc, args);
  }

  fsrl_test::TempDir dir_;
};

TEST_F(FsrlDbc, TheDefaultMapGivesTheCheckedInFileByteForByteOnStandardOutput) {
  const std::string checked_in = fsrl_test::ReadFile(FSRL_CHECKED_IN_DBC);
  ASSERT_GT(checked_in.size(), 100000U) << FSRL_CHECKED_IN_DBC;
  const fsrl_test::CommandRun run = Dbc({});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_TRUE(run.out == checked_in) << "fsrl dbc differs from " << FSRL_CHECKED_IN_DBC;
  EXPECT_TRUE(run.err.empty()) << run.err;
}

TEST_F(FsrlDbc, OutputOptionWritesTheSameTextToTheFile) {
  const std::string path = dir_.path() + "/radar.dbc";
  const fsrl_test::CommandRun run = Dbc({"-o", path});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  EXPECT_TRUE(run.out.empty());
  EXPECT_TRUE(fsrl_test::ReadFile(path) == fsrl_test::ReadFile(FSRL_CHECKED_IN_DBC));
  const std::string long_path = dir_.path() + "/long.dbc";
  ASSERT_EQ(Dbc({"--output=" + long_path}).exit_code, fsrl::kExitOk);
  EXPECT_TRUE(fsrl_test::ReadFile(long_path) == fsrl_test::ReadFile(path));
}

TEST_F(FsrlDbc, AnotherMapMovesTheIdsAndLeavesUnlistedGroupsOut) {
  // Status 2 on an extended id, the first detection group on a low standard id, nothing else.
  const std::string map = dir_.Write("moved.map", "RSDS4SigSts2,18FF0051\nRSDS4Detn000To004,123\n");
  const fsrl_test::CommandRun run = Dbc({"--frame-map", map});
  ASSERT_EQ(run.exit_code, fsrl::kExitOk) << run.err;
  // DBC writes an extended id with bit 31 set: 0x18FF0051 | 0x80000000 = 0x98FF0051 = 2566848593.
  EXPECT_THAT(run.out, HasSubstr("\nBO_ 2566848593 RSDS4SigSts2: 24 FSRL\n"));
  EXPECT_THAT(run.out, HasSubstr("\nBO_ 291 RSDS4Detn000To004: 48 FSRL\n"));
  EXPECT_EQ(fsrl_test::Count(run.out, "\nBO_ "), 2U);
  EXPECT_THAT(run.out, Not(HasSubstr("\nBO_ 1024 ")));
  EXPECT_THAT(run.out, Not(HasSubstr("RSDS4SigSts1")));
  EXPECT_THAT(run.out, HasSubstr("BA_ \"VFrameFormat\" BO_ 2566848593 15;"));  // ExtendedCAN_FD
  EXPECT_TRUE(run.out != fsrl_test::ReadFile(FSRL_CHECKED_IN_DBC));
}

TEST_F(FsrlDbc, AnInvalidMapIsAUsageErrorNamingFileAndLine) {
  const std::string map = dir_.Write("bad.map", "RSDS4SigSts2,10\nRSDS4SigSts3,11\n");
  const fsrl_test::CommandRun run = Dbc({"--frame-map", map});
  EXPECT_EQ(run.exit_code, fsrl::kExitUsage);
  EXPECT_THAT(run.err, HasSubstr("fsrl dbc: " + map + ":2: unknown signal group 'RSDS4SigSts3'"));
  EXPECT_TRUE(run.out.empty());
}

TEST_F(FsrlDbc, AFileThatCannotBeWrittenIsAFailureNamingIt) {
  const std::string path = dir_.path() + "/no/such/dir.dbc";
  const fsrl_test::CommandRun run = Dbc({"-o", path});
  EXPECT_EQ(run.exit_code, fsrl::kExitFailure);
  EXPECT_THAT(run.err, HasSubstr("fsrl dbc: " + path + ": cannot open for writing"));
}

TEST_F(FsrlDbc, ArgumentsAreUsageErrorsAndTheCommandIsListed) {
  const fsrl_test::CommandRun extra = Dbc({"radar.log"});
  EXPECT_EQ(extra.exit_code, fsrl::kExitUsage);
  const fsrl_test::CommandRun help =
      fsrl_test::RunWithStreams([](std::FILE* out, std::FILE* err) { return fsrl::RunFsrl({"help"}, out, err); });
  EXPECT_THAT(help.out, HasSubstr("  dbc "));
  const fsrl_test::CommandRun dbc_help = Dbc({"--help"});
  EXPECT_THAT(dbc_help.out, HasSubstr("Usage: fsrl dbc [--frame-map FILE] [-o FILE]"));
  EXPECT_THAT(dbc_help.out, HasSubstr("byte for byte"));
}

}  // namespace
