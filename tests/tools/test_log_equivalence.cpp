// One simulated recording converted by tools nobody here wrote (python-can's ASC, BLF and candump writers,
// can-utils' log2asc and log2long) reads back as the frames of the original `candump -l` log.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "fsrl/frame_source.h"
#include "fsrl_cli.h"
#include "temp_dir.h"
#include "tool_test_support.h"

namespace {

using fsrl::LogFormat;
using fsrl_test::ReadFrame;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::TempDir;

using fsrl_test::PythonWithCan;
using fsrl_test::Shell;

class LogEquivalence : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.ok());
    original_path_ = dir_.path() + "/simulated.log";
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    ASSERT_EQ(fsrl::RunFsrl({"simulate", "--scans", "3", "--seed", "7", "--out", original_path_}, out, err), 0);
    std::fclose(out);
    std::fclose(err);
    original_ = ReadPath(original_path_);
    ASSERT_TRUE(original_.opened) << original_.open_error;
    ASSERT_TRUE(original_.problems.empty());
    ASSERT_EQ(original_.frames.size(), 3U * 52U);
  }

  // Compares @p converted with the original: same frames, times at @p resolution_ns, either absolute or (for
  // writers that keep only a coarser start date) relative to the first frame.
  void ExpectSameFrames(const std::string& path, LogFormat expected_format, std::int64_t resolution_ns,
                        bool absolute_times, bool has_fd_flags = true) {
    const ReadResult converted = ReadPath(path);
    ASSERT_TRUE(converted.opened) << converted.open_error;
    EXPECT_EQ(converted.format, expected_format);
    EXPECT_TRUE(converted.problems.empty()) << converted.problems.front();
    ASSERT_EQ(converted.frames.size(), original_.frames.size());
    const std::int64_t original_start = original_.frames.front().time_ns;
    const std::int64_t converted_start = converted.frames.front().time_ns;
    for (std::size_t i = 0; i < original_.frames.size(); ++i) {
      const ReadFrame& a = original_.frames[i];
      const ReadFrame& b = converted.frames[i];
      const std::int64_t ta = absolute_times ? a.time_ns : a.time_ns - original_start;
      const std::int64_t tb = absolute_times ? b.time_ns : b.time_ns - converted_start;
      ASSERT_LE(std::llabs(ta - tb), resolution_ns) << "frame " << i << ": " << a << " vs " << b;
      ASSERT_EQ(b.id, a.id) << "frame " << i;
      ASSERT_EQ(b.extended, a.extended) << "frame " << i;
      ASSERT_EQ(b.fd, a.fd) << "frame " << i;
      if (has_fd_flags) {
        ASSERT_EQ(b.fd_flags, a.fd_flags & (fsrl::kFdFlagBrs | fsrl::kFdFlagEsi)) << "frame " << i;
      }
      ASSERT_EQ(b.data, a.data) << "frame " << i;
      ASSERT_EQ(b.channel, 1U) << "frame " << i;
    }
  }

  void WriteWithPythonCan(const std::string& extension) {
    const std::string python = PythonWithCan();
    if (python.empty()) {
      GTEST_SKIP() << "python-can is not installed (scripts/bootstrap.sh installs python3-can)";
    }
    const std::string script = dir_.Write("convert.py",
                                          "import sys, can\n"
                                          "with can.Logger(sys.argv[2]) as out:\n"
                                          "    for message in can.LogReader(sys.argv[1]):\n"
                                          "        out.on_message_received(message)\n");
    ASSERT_TRUE(Shell(python + " " + script + " " + original_path_ + " " + Converted(extension)));
  }

  std::string Converted(const std::string& extension) const { return dir_.path() + "/converted." + extension; }

  TempDir dir_;
  std::string original_path_;
  ReadResult original_;
};

// Every time stamp of the simulation is a whole microsecond; ASC and the candump writers print microseconds.
constexpr std::int64_t kMicrosecond = 1000;

TEST_F(LogEquivalence, PythonCanAscReadsAsTheOriginalFrames) {
  WriteWithPythonCan("asc");
  if (IsSkipped()) {
    return;
  }
  ExpectSameFrames(Converted("asc"), LogFormat::kAsc, 0, false);
}

TEST_F(LogEquivalence, PythonCanBlfReadsAsTheOriginalFrames) {
  WriteWithPythonCan("blf");
  if (IsSkipped()) {
    return;
  }
  // python-can computes offsets in double seconds, which at 1.7e9 s resolve about 0.24 us.
  ExpectSameFrames(Converted("blf"), LogFormat::kBlf, kMicrosecond, false);
}

TEST_F(LogEquivalence, PythonCanCandumpLogReadsAsTheOriginalFrames) {
  WriteWithPythonCan("log");
  if (IsSkipped()) {
    return;
  }
  ExpectSameFrames(Converted("log"), LogFormat::kCandumpLog, kMicrosecond, true);
}

TEST_F(LogEquivalence, Log2ascOutputReadsAsTheOriginalFrames) {
  if (!Shell("command -v log2asc")) {
    GTEST_SKIP() << "log2asc is not installed (scripts/bootstrap.sh installs can-utils)";
  }
  ASSERT_TRUE(Shell("log2asc -I " + original_path_ + " -O " + Converted("asc") + " can0"));
  ExpectSameFrames(Converted("asc"), LogFormat::kAsc, 0, false);
}

TEST_F(LogEquivalence, Log2longOutputReadsAsTheOriginalFrames) {
  if (!Shell("command -v log2long")) {
    GTEST_SKIP() << "log2long is not installed (scripts/bootstrap.sh installs can-utils)";
  }
  ASSERT_TRUE(Shell("log2long < " + original_path_ + " > " + Converted("txt")));
  // The long form shows the CAN FD flags only with candump -x, which log2long does not write.
  ExpectSameFrames(Converted("txt"), LogFormat::kCandumpLong, 0, true, false);
}

}  // namespace
