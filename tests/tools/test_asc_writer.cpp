// The ASC writer: its header, the layout of each kind of line, times, and frames it cannot hold.
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "frame_writer_test_util.h"
#include "fsrl/frame_writer.h"
#include "temp_dir.h"

namespace {

using fsrl::CanFrame;
using fsrl::LogFormat;
using fsrl_test::MakeWriterFrame;
using fsrl_test::ReadAll;
using fsrl_test::ScopedUtc;
using ::testing::HasSubstr;

constexpr std::int64_t kNs = 1000000000;
// 2023-11-14 22:13:20.123456789 UTC.
constexpr std::int64_t kStart = 1700000000123456789;

// Makes the C library read local times in @p zone (POSIX TZ form) for the life of the object.
class ScopedZone {
 public:
  explicit ScopedZone(const char* zone) {
    const char* old = std::getenv("TZ");
    had_ = old != nullptr;
    if (had_) {
      old_ = old;
    }
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~ScopedZone() {
    if (had_) {
      ::setenv("TZ", old_.c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  bool had_ = false;
  std::string old_;
};

// Everything the ASC writer makes of @p frames, and whether Finish succeeded.
std::string WriteAsc(const std::vector<CanFrame>& frames, bool* finished = nullptr, std::string* error = nullptr) {
  return fsrl_test::WriteToString(LogFormat::kAsc, frames, finished, error);
}

// The lines between the header and "End TriggerBlock".
std::vector<std::string> BodyLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  int line_number = 0;
  while (begin < text.size()) {
    const std::size_t end = text.find('\n', begin);
    const std::string line = text.substr(begin, end - begin);
    if (++line_number > 5 && line != "End TriggerBlock") {
      lines.push_back(line);
    }
    begin = end == std::string::npos ? text.size() : end + 1;
  }
  return lines;
}

TEST(AscWriter, HeaderDatesTheFirstFramesMillisecondInLocalTime) {
  ScopedUtc utc;
  const std::string text = WriteAsc({MakeWriterFrame(kStart, 0x123, false, {0x01, 0x02})});
  EXPECT_EQ(text,
            "date Tue Nov 14 10:13:20.123 PM 2023\n"
            "base hex  timestamps absolute\n"
            "internal events logged\n"
            "Begin Triggerblock Tue Nov 14 10:13:20.123 PM 2023\n"
            "   0.000000 Start of measurement\n"
            "   0.000457 1  123             Rx   d 2 01 02\n"
            "End TriggerBlock\n");
}

TEST(AscWriter, MidnightAndNoonAreTwelveAmAndPm) {
  ScopedUtc utc;
  // 2023-11-15 00:05:00 UTC and 12:00:00.5 UTC.
  EXPECT_THAT(WriteAsc({MakeWriterFrame(1700006700 * kNs, 0x1, false, {})}),
              HasSubstr("date Wed Nov 15 12:05:00.000 AM 2023\n"));
  EXPECT_THAT(WriteAsc({MakeWriterFrame(1700049600 * kNs + 500000000, 0x1, false, {})}),
              HasSubstr("date Wed Nov 15 12:00:00.500 PM 2023\n"));
}

TEST(AscWriter, DateIsTheLocalClockAndReadsBackAsTheSameInstant) {
  ScopedZone zone("EST5");  // five hours behind UTC all year
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.path() + "/zone.asc";
  ASSERT_EQ(fsrl_test::WriteFrames(path, {MakeWriterFrame(kStart, 0x123, false, {0x01})}), "");
  std::FILE* in = std::fopen(path.c_str(), "rb");
  ASSERT_NE(in, nullptr);
  EXPECT_THAT(ReadAll(in), HasSubstr("date Tue Nov 14 05:13:20.123 PM 2023\n"));
  std::fclose(in);
  const fsrl_test::ReadResult read = fsrl_test::ReadPath(path);
  ASSERT_EQ(read.frames.size(), 1U);
  EXPECT_EQ(read.frames[0].time_ns, kStart + 211);  // rounded to the microsecond
}

TEST(AscWriter, EveryKindOfFrameHasItsLine) {
  ScopedUtc utc;
  CanFrame extended = MakeWriterFrame(kStart, 0x12345678, true, {0xDE, 0xAD, 0xBE, 0xEF}, 2);
  extended.direction = 'T';
  CanFrame remote = MakeWriterFrame(kStart + 1000, 0x456, false, {});
  remote.remote = true;
  remote.remote_length = 4;
  CanFrame error = MakeWriterFrame(kStart + 2000, 0x4, true, {0, 0, 8, 0, 0, 0, 0, 0}, 3);
  error.error = true;
  CanFrame fd = MakeWriterFrame(kStart + 3000, 0x7FF, false, fsrl_test::Counting(12, 0xF0));
  fd.fd = true;
  fd.fd_flags = fsrl::kFdFlagBrs | fsrl::kFdFlagEsi;
  CanFrame fd_extended = MakeWriterFrame(kStart + 4000, 0x1ABCDEF0, true, {0xAA, 0xBB, 0xCC}, 2);
  fd_extended.fd = true;
  fd_extended.direction = 'T';
  const std::vector<std::string> lines = BodyLines(WriteAsc({extended, remote, error, fd, fd_extended}));
  EXPECT_THAT(lines, ::testing::ElementsAre(
                         "   0.000457 2  12345678x       Tx   d 4 DE AD BE EF",
                         "   0.000458 1  456             Rx   r 4", "   0.000459 3  ErrorFrame",
                         "   0.000460 CANFD   1 Rx         7FF                                    1 1 9 12 F0 F1 F2 F3 "
                         "F4 F5 F6 F7 F8 F9 FA FB        0    0     7000        0        0        0        0        0",
                         "   0.000461 CANFD   2 Tx   1ABCDEF0x                                    0 0 3 3 AA BB CC "
                         "       0    0     1000        0        0        0        0        0"));
}

TEST(AscWriter, FdLengthsBetweenTheCodesGetTheNextCode) {
  ScopedUtc utc;
  CanFrame fd = MakeWriterFrame(kStart, 0x100, false, fsrl_test::Counting(10));
  fd.fd = true;
  const std::vector<std::string> lines = BodyLines(WriteAsc({fd}));
  ASSERT_EQ(lines.size(), 1U);
  // Ten bytes need length code 9 (twelve bytes); the line says how many it carries.
  EXPECT_THAT(lines[0], HasSubstr(" 0 0 9 10 00 01 02 03 04 05 06 07 08 09 "));
}

TEST(AscWriter, LongOffsetsKeepEveryDigit) {
  ScopedUtc utc;
  const std::vector<std::string> lines = BodyLines(
      WriteAsc({MakeWriterFrame(kStart, 0x1, false, {}), MakeWriterFrame(kStart + 7200 * kNs + 500, 0x2, false, {})}));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[1], "7200.000457 1  2               Rx   d 0");
}

TEST(AscWriter, ChannelZeroIsWrittenAsTheFirstChannel) {
  ScopedUtc utc;
  CanFrame frame = MakeWriterFrame(kStart, 0x1, false, {});
  frame.channel = 0;
  const std::vector<std::string> lines = BodyLines(WriteAsc({frame}));
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0], "   0.000457 1  1               Rx   d 0");
}

TEST(AscWriter, FrameBeforeTheStartIsRefusedAndTheFramesBeforeItStay) {
  ScopedUtc utc;
  bool finished = true;
  std::string error;
  const std::string text =
      WriteAsc({MakeWriterFrame(kStart, 0x1, false, {}), MakeWriterFrame(kStart - 2000000, 0x2, false, {}),
                MakeWriterFrame(kStart + 1000, 0x3, false, {})},
               &finished, &error);
  EXPECT_FALSE(finished);
  EXPECT_THAT(error, HasSubstr("earlier than the start of measurement"));
  EXPECT_THAT(BodyLines(text), ::testing::ElementsAre("   0.000457 1  1               Rx   d 0"));
  EXPECT_THAT(text, ::testing::EndsWith("End TriggerBlock\n"));
}

TEST(AscWriter, EmptyLogIsAWholeFileDatedWhenItWasMade) {
  ScopedUtc utc;
  const std::time_t before = std::time(nullptr);
  const std::string text = WriteAsc({});
  std::tm tm{};
  gmtime_r(&before, &tm);
  char year[16];
  std::snprintf(year, sizeof year, " %d\n", tm.tm_year + 1900);
  EXPECT_THAT(text, ::testing::StartsWith("date "));
  EXPECT_THAT(text, HasSubstr(year));
  EXPECT_THAT(text, HasSubstr("Begin Triggerblock "));
  EXPECT_THAT(text, ::testing::EndsWith("   0.000000 Start of measurement\nEnd TriggerBlock\n"));
}

TEST(AscWriter, FinishTwiceWritesTheEndOnce) {
  ScopedUtc utc;
  std::FILE* out = std::tmpfile();
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::MakeFrameWriter(LogFormat::kAsc, out);
  ASSERT_TRUE(writer->Write(MakeWriterFrame(kStart, 0x1, false, {})));
  ASSERT_TRUE(writer->Finish());
  ASSERT_TRUE(writer->Finish());
  const std::string text = ReadAll(out);
  std::fclose(out);
  EXPECT_EQ(text.find("End TriggerBlock"), text.rfind("End TriggerBlock"));
}

}  // namespace
