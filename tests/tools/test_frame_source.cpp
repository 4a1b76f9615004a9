// OpenFrameSource, format detection, the candump sources and FrameFilter.
#include "fsrl/frame_source.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "temp_dir.h"

namespace {

using fsrl::CanFrame;
using fsrl::FrameFilter;
using fsrl::LogFormat;
using fsrl::ReadStatus;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kFixtures = FSRL_READER_FIXTURES;

constexpr std::int64_t kNs = 1000000000;

ReadResult ReadText(const std::string& text, LogFormat format = LogFormat::kAuto) {
  TempDir dir;
  return ReadPath(dir.Write("log.txt", text), format);
}

TEST(CandumpLogSource, ReadsEveryFrameAndNumbersInterfacesInTheOrderTheyAppear) {
  const ReadResult result = ReadPath(kFixtures + "/mixed.log");
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_EQ(result.format, LogFormat::kCandumpLog);
  EXPECT_TRUE(result.problems.empty());
  ASSERT_EQ(result.frames.size(), 8U);
  EXPECT_EQ(result.frames[0].time_ns, 1700000000 * kNs + 123456000);
  EXPECT_EQ(result.frames[0].iface, "can0");
  EXPECT_EQ(result.frames[0].channel, 1U);
  EXPECT_EQ(result.frames[2].iface, "can1");
  EXPECT_EQ(result.frames[2].channel, 2U);
  EXPECT_TRUE(result.frames[2].remote);
  EXPECT_EQ(result.frames[3].channel, 1U);
  EXPECT_TRUE(result.frames[3].fd);
  EXPECT_EQ(result.frames[3].fd_flags, fsrl::kFdFlagBrs | fsrl::kFdFlagEsi);
  EXPECT_EQ(result.frames[3].data.size(), 12U);
  EXPECT_TRUE(result.frames[6].error);
}

TEST(CandumpLogSource, ReadsTheLinesLookedAtToTellTheFormatAndThenTheRestInOrder) {
  // Far more lines than format detection looks at, so the reader starts with buffered bytes and goes on from the
  // descriptor; the last line has no line end.
  std::string text;
  std::vector<std::uint32_t> expected;
  for (std::uint32_t i = 0; i < 40; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "(1.%06u) can0 %03X#%02X\n", i, 0x400U + i, i);
    text += line;
    expected.push_back(0x400U + i);
  }
  text.pop_back();
  const ReadResult result = ReadText(text);
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_EQ(result.format, LogFormat::kCandumpLog);
  EXPECT_TRUE(result.problems.empty());
  std::vector<std::uint32_t> ids;
  for (const fsrl_test::ReadFrame& frame : result.frames) {
    ids.push_back(frame.id);
  }
  EXPECT_EQ(ids, expected);
}

TEST(CandumpLongSource, ReadsLog2longOutputAsTheSameFramesAsItsSourceLog) {
  const ReadResult original = ReadPath(kFixtures + "/mixed.log");
  const ReadResult long_form = ReadPath(kFixtures + "/mixed_log2long.txt");
  ASSERT_TRUE(long_form.opened) << long_form.open_error;
  EXPECT_EQ(long_form.format, LogFormat::kCandumpLong);
  EXPECT_TRUE(long_form.problems.empty()) << long_form.problems.front();
  ASSERT_EQ(long_form.frames.size(), original.frames.size());
  for (std::size_t i = 0; i < original.frames.size(); ++i) {
    const fsrl_test::ReadFrame& a = original.frames[i];
    const fsrl_test::ReadFrame& b = long_form.frames[i];
    EXPECT_EQ(b.time_ns, a.time_ns) << i;
    EXPECT_EQ(b.iface, a.iface) << i;
    EXPECT_EQ(b.channel, a.channel) << i;
    EXPECT_EQ(b.id, a.id) << i;
    EXPECT_EQ(b.extended, a.extended) << i;
    EXPECT_EQ(b.fd, a.fd) << i;
    EXPECT_EQ(b.remote, a.remote) << i;
    EXPECT_EQ(b.error, a.error) << i;
    EXPECT_EQ(b.data, a.data) << i;
  }
}

TEST(CandumpLongSource, AddsUpDeltaTimeStamps) {
  const ReadResult result = ReadText(
      " (000.000000)  can0  100   [1]  01\n"
      " (000.010000)  can0  100   [1]  02\n"
      " (000.010000)  can0  100   [1]  03\n"
      " (000.010000)  can0  100   [1]  04\n"
      " (000.002500)  can0  100   [1]  05\n");
  EXPECT_EQ(result.format, LogFormat::kCandumpLongDelta);
  ASSERT_EQ(result.frames.size(), 5U);
  EXPECT_EQ(result.frames[1].time_ns, 10000000);
  EXPECT_EQ(result.frames[3].time_ns, 30000000);
  EXPECT_EQ(result.frames[4].time_ns, 32500000);
}

TEST(CandumpLongSource, KeepsZeroBasedTimeStampsAsTheyAre) {
  const ReadResult result = ReadText(
      " (000.000000)  can0  100   [1]  01\n"
      " (000.010000)  can0  100   [1]  02\n"
      " (000.020000)  can0  100   [1]  03\n"
      " (000.030000)  can0  100   [1]  04\n");
  EXPECT_EQ(result.format, LogFormat::kCandumpLong);
  ASSERT_EQ(result.frames.size(), 4U);
  EXPECT_EQ(result.frames[3].time_ns, 30000000);
}

TEST(CandumpLongSource, ReadsDeltaTimesWhenTheFormatIsGivenEvenIfTheyLookZeroBased) {
  const ReadResult result = ReadText(
      " (000.000000)  can0  100   [1]  01\n"
      " (000.010000)  can0  100   [1]  02\n"
      " (000.020000)  can0  100   [1]  03\n",
      LogFormat::kCandumpLongDelta);
  ASSERT_EQ(result.frames.size(), 3U);
  EXPECT_EQ(result.frames[2].time_ns, 30000000);
}

TEST(CandumpLongSource, ReadsLinesWithoutTimeStampsAsTimeZero) {
  const ReadResult result = ReadText(
      "  vcan0  123   [2]  AB CD\n"
      "  vcan1  18FEF100   [8]  01 02 03 04 05 06 07 08\n");
  EXPECT_EQ(result.format, LogFormat::kCandumpLong);
  ASSERT_EQ(result.frames.size(), 2U);
  EXPECT_EQ(result.frames[0].time_ns, 0);
  EXPECT_EQ(result.frames[1].id, 0x18FEF100U);
  EXPECT_TRUE(result.frames[1].extended);
  EXPECT_EQ(result.frames[1].channel, 2U);
}

TEST(CandumpLongSource, ReadsTheDirectionAndFdFlagsOfExtraInfoLines) {
  const ReadResult result = ReadText(
      " (1700000000.000001)  can0  TX B -  123  [08]  01 02 03 04 05 06 07 08\n"
      " (1700000000.000002)  can0  RX - E  123  [12]  01 02 03 04 05 06 07 08 09 0A 0B 0C\n");
  ASSERT_EQ(result.frames.size(), 2U);
  EXPECT_TRUE(result.frames[0].fd);
  EXPECT_EQ(result.frames[0].fd_flags, fsrl::kFdFlagBrs);
  EXPECT_EQ(result.frames[1].fd_flags, fsrl::kFdFlagEsi);
  EXPECT_EQ(result.frames[1].data.size(), 12U);
}

TEST(CandumpLongSource, ReportsAMalformedLineWithFileAndLineAndGoesOn) {
  TempDir dir;
  const std::string path = dir.Write("bad.txt",
                                     "  can0  123   [2]  AB CD\n"
                                     "  can0  123   [3]  AB CD\n"
                                     "  can0  123   [9]  00\n"
                                     "  can0  124   [1]  EF\n");
  const ReadResult result = ReadPath(path, LogFormat::kCandumpLong);
  ASSERT_EQ(result.frames.size(), 2U);
  ASSERT_EQ(result.problems.size(), 2U);
  EXPECT_THAT(result.problems[0], HasSubstr(path + ":2: expected LENGTH data bytes"));
  EXPECT_THAT(result.problems[1], HasSubstr(path + ":3: more than 8 data bytes"));
}

TEST(OpenFrameSource, RefusesContentOfNoKnownFormatAndSaysSo) {
  const ReadResult result = ReadText("hello\nworld\n");
  EXPECT_FALSE(result.opened);
  EXPECT_THAT(result.open_error, HasSubstr("cannot tell the format"));
}

TEST(OpenFrameSource, ReportsAFileThatCannotBeOpened) {
  const ReadResult result = ReadPath("/nonexistent/log.blf");
  EXPECT_FALSE(result.opened);
  EXPECT_THAT(result.open_error, HasSubstr("/nonexistent/log.blf: "));
}

TEST(OpenFrameSource, UsesAnExplicitFormatOverTheContent) {
  const ReadResult result = ReadPath(kFixtures + "/mixed.log", LogFormat::kAsc);
  EXPECT_TRUE(result.frames.empty());
  EXPECT_EQ(result.problems.size(), 8U);
}

TEST(OpenFrameSource, StreamsAPipeWithoutWaitingForItsEnd) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  std::string lines;
  for (int i = 0; i < 20; ++i) {
    lines += "(1700000000.0000" + std::to_string(10 + i) + ") can0 123#0" + std::to_string(i % 10) + "\n";
  }
  ASSERT_EQ(::write(fds[1], lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
  // The write end stays open: a reader that waited for the end of input would block here.
  std::string error;
  std::unique_ptr<fsrl::FrameSource> source = fsrl::OpenFrameSource(fds[0], "<stdin>", LogFormat::kAuto, true, &error);
  ASSERT_NE(source, nullptr) << error;
  CanFrame frame;
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(source->Next(frame), ReadStatus::kFrame) << i;
    EXPECT_EQ(frame.data[0], i % 10);
  }
  ::close(fds[1]);
  EXPECT_EQ(source->Next(frame), ReadStatus::kEnd);
}

TEST(DetectLogFormat, RecognisesEachFormatByItsFirstLines) {
  EXPECT_EQ(fsrl::DetectLogFormat(std::string_view("LOGG\x90\0\0\0", 8)), LogFormat::kBlf);
  EXPECT_EQ(fsrl::DetectLogFormat("date Tue Nov 14 22:13:20 2023\nbase hex  timestamps absolute\n"), LogFormat::kAsc);
  EXPECT_EQ(fsrl::DetectLogFormat("// comment\nbase dec  timestamps relative\n"), LogFormat::kAsc);
  EXPECT_EQ(fsrl::DetectLogFormat("(1.000000) can0 123#00\n"), LogFormat::kCandumpLog);
  EXPECT_EQ(fsrl::DetectLogFormat("  can0  123   [1]  00\n"), LogFormat::kCandumpLong);
  EXPECT_EQ(fsrl::DetectLogFormat("garbage\n"), LogFormat::kAuto);
}

TEST(LogFormatName, ReadsBackEveryFormatName) {
  for (const LogFormat format : {LogFormat::kAuto, LogFormat::kCandumpLog, LogFormat::kCandumpLong,
                                 LogFormat::kCandumpLongDelta, LogFormat::kAsc, LogFormat::kBlf}) {
    LogFormat read = LogFormat::kAuto;
    ASSERT_TRUE(fsrl::ParseLogFormat(fsrl::LogFormatName(format), read));
    EXPECT_EQ(read, format);
  }
  LogFormat read = LogFormat::kAuto;
  EXPECT_FALSE(fsrl::ParseLogFormat("csv", read));
}

CanFrame MakeFrame(std::uint32_t id, bool extended, std::string_view iface, std::uint32_t channel,
                   std::int64_t time_ns = 0) {
  CanFrame frame;
  frame.id = id;
  frame.extended = extended;
  frame.iface = iface;
  frame.channel = channel;
  frame.timestamp_ns = time_ns;
  return frame;
}

TEST(FrameFilter, PassesEverythingWhenNothingIsSet) {
  const FrameFilter filter;
  EXPECT_TRUE(filter.Accepts(MakeFrame(0x123, false, "can0", 1)));
}

TEST(FrameFilter, SelectsAChannelByNumberOrByName) {
  FrameFilter by_number;
  ASSERT_TRUE(by_number.SetChannel("2"));
  EXPECT_FALSE(by_number.Accepts(MakeFrame(0x123, false, "can0", 1)));
  EXPECT_TRUE(by_number.Accepts(MakeFrame(0x123, false, "can1", 2)));
  FrameFilter by_name;
  ASSERT_TRUE(by_name.SetChannel("can0"));
  EXPECT_TRUE(by_name.Accepts(MakeFrame(0x123, false, "can0", 1)));
  EXPECT_FALSE(by_name.Accepts(MakeFrame(0x123, false, "can1", 2)));
  EXPECT_FALSE(FrameFilter().SetChannel(""));
}

TEST(FrameFilter, MatchesIdsUnderAMaskAndInvertsWithTilde) {
  FrameFilter filter;
  ASSERT_TRUE(filter.AddIdFilter("400:7C0"));
  EXPECT_TRUE(filter.Accepts(MakeFrame(0x400, false, "can0", 1)));
  EXPECT_TRUE(filter.Accepts(MakeFrame(0x433, false, "can0", 1)));
  EXPECT_FALSE(filter.Accepts(MakeFrame(0x440, false, "can0", 1)));
  FrameFilter inverse;
  ASSERT_TRUE(inverse.AddIdFilter("123~7FF"));
  EXPECT_FALSE(inverse.Accepts(MakeFrame(0x123, false, "can0", 1)));
  EXPECT_TRUE(inverse.Accepts(MakeFrame(0x124, false, "can0", 1)));
}

TEST(FrameFilter, TellsExtendedFromStandardOnlyWhenTheMaskHasTheExtendedBit) {
  FrameFilter both;
  ASSERT_TRUE(both.AddIdFilter("00000123:000007FF"));
  EXPECT_TRUE(both.Accepts(MakeFrame(0x123, false, "can0", 1)));
  EXPECT_TRUE(both.Accepts(MakeFrame(0x123, true, "can0", 1)));
  FrameFilter extended_only;
  ASSERT_TRUE(extended_only.AddIdFilter("00000123:800007FF"));
  EXPECT_FALSE(extended_only.Accepts(MakeFrame(0x123, false, "can0", 1)));
  EXPECT_TRUE(extended_only.Accepts(MakeFrame(0x123, true, "can0", 1)));
}

TEST(FrameFilter, PassesAFrameWhenAnyIdFilterDoes) {
  FrameFilter filter;
  ASSERT_TRUE(filter.AddIdFilter("100:7FF"));
  ASSERT_TRUE(filter.AddIdFilter("200:7FF"));
  EXPECT_TRUE(filter.Accepts(MakeFrame(0x200, false, "can0", 1)));
  EXPECT_FALSE(filter.Accepts(MakeFrame(0x300, false, "can0", 1)));
}

TEST(FrameFilter, RejectsBadFilterText) {
  FrameFilter filter;
  std::string error;
  EXPECT_FALSE(filter.AddIdFilter("123", &error));
  EXPECT_THAT(error, HasSubstr("ID:MASK"));
  EXPECT_FALSE(filter.AddIdFilter("12G:7FF", &error));
  EXPECT_FALSE(filter.AddIdFilter("123:", &error));
}

TEST(FrameFilter, KeepsTheTimeWindowFromInclusiveToExclusive) {
  FrameFilter filter;
  filter.SetTimeWindow(10, 20);
  EXPECT_FALSE(filter.Accepts(MakeFrame(1, false, "can0", 1, 9)));
  EXPECT_TRUE(filter.Accepts(MakeFrame(1, false, "can0", 1, 10)));
  EXPECT_TRUE(filter.Accepts(MakeFrame(1, false, "can0", 1, 19)));
  EXPECT_FALSE(filter.Accepts(MakeFrame(1, false, "can0", 1, 20)));
}

}  // namespace
