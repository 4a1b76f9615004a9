// The ASC reader, on files written by python-can and log2asc and on hand-written lines of newer layouts.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "fsrl/frame_source.h"
#include "temp_dir.h"

namespace {

using fsrl::LogFormat;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::ScopedUtc;
using fsrl_test::TempDir;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kFixtures = FSRL_READER_FIXTURES;
constexpr std::int64_t kNs = 1000000000;
constexpr std::int64_t kMs = 1000000;

ReadResult ReadAsc(const std::string& text) {
  TempDir dir;
  return ReadPath(dir.Write("log.asc", text));
}

// The frames of mixed.log apart from the time: what every ASC writer must have kept.
void ExpectMixedFrames(const ReadResult& result) {
  ASSERT_EQ(result.frames.size(), 7U);
  EXPECT_EQ(result.frames[0].id, 0x123U);
  EXPECT_THAT(result.frames[0].data, ElementsAre(0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88));
  EXPECT_EQ(result.frames[0].channel, 1U);
  EXPECT_EQ(result.frames[0].iface, "1");
  EXPECT_TRUE(result.frames[1].extended);
  EXPECT_EQ(result.frames[1].id, 0x12345678U);
  EXPECT_TRUE(result.frames[2].remote);
  EXPECT_EQ(result.frames[2].channel, 2U);
  EXPECT_TRUE(result.frames[3].fd);
  EXPECT_EQ(result.frames[3].fd_flags, fsrl::kFdFlagBrs | fsrl::kFdFlagEsi);
  EXPECT_EQ(result.frames[3].data.size(), 12U);
  EXPECT_TRUE(result.frames[4].data.empty());
  EXPECT_TRUE(result.frames[5].fd);
  EXPECT_TRUE(result.frames[5].extended);
  EXPECT_EQ(result.frames[5].fd_flags, fsrl::kFdFlagBrs);
  EXPECT_EQ(result.frames[5].data.size(), 64U);
  EXPECT_EQ(result.frames[5].data[63], 0xDF);
  EXPECT_EQ(result.frames[6].id, 0x7FFU);
  EXPECT_EQ(result.skipped.error_frames, 1U);
}

TEST(AscReader, ReadsPythonCanOutputWithTheTriggerblockDateAsStart) {
  const ScopedUtc utc;
  const ReadResult result = ReadPath(kFixtures + "/mixed_python_can.asc");
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_EQ(result.format, LogFormat::kAsc);
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ExpectMixedFrames(result);
  // Begin Triggerblock Tue Nov 14 10:13:20.123 PM 2023, the first frame at offset 0.
  EXPECT_EQ(result.frames[0].time_ns, 1700000000 * kNs + 123 * kMs);
  EXPECT_EQ(result.frames[6].time_ns, 1700000000 * kNs + 123 * kMs + 876545000);
  EXPECT_EQ(result.skipped.events, 1U);  // Start of measurement
}

TEST(AscReader, ReadsLog2ascOutputWithTheHeaderDateAsStart) {
  const ScopedUtc utc;
  const ReadResult result = ReadPath(kFixtures + "/mixed_log2asc.asc");
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ExpectMixedFrames(result);
  EXPECT_EQ(result.frames[0].time_ns, 1700000000 * kNs);
  EXPECT_EQ(result.frames[1].time_ns, 1700000000 * kNs + 100 * kMs);
}

TEST(AscReader, ReadsDecimalNumbersRelativeTimesSymbolicNamesAndSkipsEvents) {
  const ScopedUtc utc;
  const ReadResult result = ReadPath(kFixtures + "/handwritten_dec_relative_fd.asc");
  ASSERT_TRUE(result.opened) << result.open_error;
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ASSERT_EQ(result.frames.size(), 5U);
  const std::int64_t start = 1700000000 * kNs + 500 * kMs;
  EXPECT_EQ(result.frames[0].time_ns, start + 1 * kMs);
  EXPECT_EQ(result.frames[0].id, 291U);
  EXPECT_THAT(result.frames[0].data, ElementsAre(17, 34, 51, 68, 85, 102, 119, 136));
  EXPECT_EQ(result.frames[1].time_ns, start + 2 * kMs);
  EXPECT_EQ(result.frames[1].id, 305419896U);
  EXPECT_TRUE(result.frames[1].extended);
  EXPECT_EQ(result.frames[1].channel, 2U);
  EXPECT_EQ(result.frames[2].time_ns, start + 2500000);
  EXPECT_EQ(result.frames[2].id, 1025U);
  EXPECT_TRUE(result.frames[2].fd);
  EXPECT_EQ(result.frames[2].fd_flags, fsrl::kFdFlagBrs);
  ASSERT_EQ(result.frames[2].data.size(), 24U);
  EXPECT_EQ(result.frames[2].data[23], 23);
  EXPECT_TRUE(result.frames[3].extended);
  EXPECT_EQ(result.frames[3].fd_flags, fsrl::kFdFlagEsi);
  EXPECT_TRUE(result.frames[4].remote);
  EXPECT_EQ(result.frames[4].remote_length, 8U);
  EXPECT_EQ(result.frames[4].time_ns, start + 4500000);
  EXPECT_EQ(result.skipped.error_frames, 1U);
  EXPECT_EQ(result.skipped.events, 2U);  // Start of measurement, Statistic
}

TEST(AscReader, TakesClassicFramesWrittenInTheCanFdLayoutAsClassic) {
  const ReadResult result = ReadAsc(
      "base hex  timestamps absolute\n"
      "   0.300000 CANFD   1 Rx        123                                   0 0 8  8 11 22 33 44 55 66 77 88   "
      "130000  130        0 0 0 0 0 0\n"
      "   0.400000 CANFD   2 Rx        456                                   0 0 0  0   130000  130       10 0 0 0 "
      "0 0\n");
  EXPECT_TRUE(result.problems.empty()) << result.problems.front();
  ASSERT_EQ(result.frames.size(), 2U);
  EXPECT_FALSE(result.frames[0].fd);
  EXPECT_EQ(result.frames[0].data.size(), 8U);
  EXPECT_TRUE(result.frames[1].remote);
  EXPECT_EQ(result.frames[0].time_ns, 300 * kMs);
}

TEST(AscReader, ReportsMalformedLinesWithFileAndLineAndKeepsTheRest) {
  TempDir dir;
  const std::string path = dir.Write("bad.asc",
                                     "base hex  timestamps absolute\n"
                                     "   0.1 1  123  Rx   d 8 11 22\n"
                                     "   0.2 1  800  Rx   d 1 11\n"
                                     "   0.3 CANFD 1 Rx 123 1 0 f 65 00\n"
                                     "what is this\n"
                                     "   0.4 1  7FF  Rx   d 1 AA\n");
  const ReadResult result = ReadPath(path);
  ASSERT_EQ(result.frames.size(), 1U);
  EXPECT_EQ(result.frames[0].id, 0x7FFU);
  ASSERT_EQ(result.problems.size(), 4U);
  EXPECT_THAT(result.problems[0], HasSubstr(path + ":2: missing or invalid data byte"));
  EXPECT_THAT(result.problems[1], HasSubstr(path + ":3: invalid CAN id"));
  EXPECT_THAT(result.problems[2], HasSubstr(path + ":4: invalid data length"));
  EXPECT_THAT(result.problems[3], HasSubstr(path + ":5: neither a header line"));
}

TEST(AscReader, ReportsAnUnreadableDateAndReadsOffsetsOnly) {
  const ReadResult result = ReadAsc(
      "date someday\n"
      "base hex  timestamps absolute\n"
      "   1.5 1  123  Rx   d 1 11\n");
  ASSERT_EQ(result.problems.size(), 1U);
  EXPECT_THAT(result.problems[0], HasSubstr(":1: unreadable date"));
  ASSERT_EQ(result.frames.size(), 1U);
  EXPECT_EQ(result.frames[0].time_ns, 1500 * kMs);
}

}  // namespace
