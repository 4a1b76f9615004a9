#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "temp_dir.h"

namespace {

using fsrl::CandumpReader;
using fsrl::CanFrame;
using fsrl::LineKind;
using ::testing::HasSubstr;

struct Parsed {
  LineKind kind;
  CanFrame frame;  // frame.iface is not valid here: it pointed into the parsed line
  std::string iface;
  std::string reason;
};

Parsed Parse(const std::string& line) {
  Parsed parsed{LineKind::kBlank, CanFrame{}, std::string(), std::string()};
  const char* reason = nullptr;
  parsed.kind = fsrl::ParseCandumpLine(line.data(), line.data() + line.size(), parsed.frame, &reason);
  if (reason != nullptr) {
    parsed.reason = reason;
  }
  parsed.iface = std::string(parsed.frame.iface);
  parsed.frame.iface = std::string_view();
  return parsed;
}

std::vector<std::uint8_t> Data(const CanFrame& frame) {
  return std::vector<std::uint8_t>(frame.data, frame.data + frame.length);
}

// --- accepted forms -------------------------------------------------------------------------------------------

TEST(CandumpLine, ClassicFrameGivesIdDataInterfaceAndTime) {
  const Parsed p = Parse("(1700000000.123456) can0 123#DEADBEEF");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.timestamp_ns, 1700000000123456000);
  EXPECT_EQ(p.iface, "can0");
  EXPECT_EQ(p.frame.id, 0x123U);
  EXPECT_FALSE(p.frame.extended);
  EXPECT_FALSE(p.frame.fd);
  EXPECT_FALSE(p.frame.remote);
  EXPECT_FALSE(p.frame.error);
  EXPECT_EQ(p.frame.direction, '\0');
  EXPECT_EQ(Data(p.frame), (std::vector<std::uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
}

TEST(CandumpLine, ClassicFrameWithoutDataHasLengthZero) {
  const Parsed p = Parse("(1.000000) vcan0 7FF#");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.id, 0x7FFU);
  EXPECT_EQ(p.frame.length, 0U);
}

TEST(CandumpLine, ClassicFrameTakesEightBytesInLowerCaseHex) {
  const Parsed p = Parse("(1.000000) can0 1ab#0123456789abcdef");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.id, 0x1ABU);
  EXPECT_EQ(Data(p.frame), (std::vector<std::uint8_t>{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST(CandumpLine, EightHexDigitIdIsExtended) {
  const Parsed p = Parse("(1.000000) can0 1ABCDEF0#00");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.extended);
  EXPECT_EQ(p.frame.id, 0x1ABCDEF0U);
  EXPECT_FALSE(p.frame.error);
}

TEST(CandumpLine, ExtendedIdWrittenWithLeadingZerosStaysExtended) {
  const Parsed p = Parse("(1.000000) can0 00000400#00");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.extended);
  EXPECT_EQ(p.frame.id, 0x400U);
}

TEST(CandumpLine, ErrorFlagInAnExtendedIdMarksAnErrorFrame) {
  const Parsed p = Parse("(1.000000) can0 20000080#0000000000000000");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.error);
  EXPECT_EQ(p.frame.id, 0x80U);
}

TEST(CandumpLine, RemoteRequestIsAFrameWithoutData) {
  const Parsed p = Parse("(1.000000) can0 123#R");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.remote);
  EXPECT_EQ(p.frame.length, 0U);
  EXPECT_EQ(p.frame.remote_length, 0U);
}

TEST(CandumpLine, RemoteRequestMayCarryItsRequestedLength) {
  const Parsed p = Parse("(1.000000) can0 123#R5");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.remote);
  EXPECT_EQ(p.frame.length, 0U);
  EXPECT_EQ(p.frame.remote_length, 5U);
}

TEST(CandumpLine, CanFdFrameGivesFlagsAndUpToSixtyFourBytes) {
  std::string line = "(1.500000) can1 433##1";
  for (int i = 0; i < 64; ++i) {
    static const char kHex[] = "0123456789ABCDEF";
    line += kHex[(i >> 4) & 0xF];
    line += kHex[i & 0xF];
  }
  const Parsed p = Parse(line);
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.fd);
  EXPECT_EQ(p.frame.fd_flags, 1U);
  EXPECT_EQ(p.frame.id, 0x433U);
  ASSERT_EQ(p.frame.length, 64U);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(p.frame.data[i], i);
  }
}

TEST(CandumpLine, CanFdFrameMayHaveNoData) {
  const Parsed p = Parse("(1.500000) can1 433##F");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_TRUE(p.frame.fd);
  EXPECT_EQ(p.frame.fd_flags, 0xFU);
  EXPECT_EQ(p.frame.length, 0U);
}

TEST(CandumpLine, TrailingDirectionLetterIsReported) {
  const Parsed tx = Parse("(1.000000) can0 123#01 T");
  ASSERT_EQ(tx.kind, LineKind::kFrame) << tx.reason;
  EXPECT_EQ(tx.frame.direction, 'T');
  EXPECT_EQ(Data(tx.frame), std::vector<std::uint8_t>{0x01});
  const Parsed rx = Parse("(1.000000) can0 123##001 R");
  ASSERT_EQ(rx.kind, LineKind::kFrame) << rx.reason;
  EXPECT_EQ(rx.frame.direction, 'R');
  const Parsed remote = Parse("(1.000000) can0 123#R R");
  ASSERT_EQ(remote.kind, LineKind::kFrame) << remote.reason;
  EXPECT_TRUE(remote.frame.remote);
  EXPECT_EQ(remote.frame.direction, 'R');
}

TEST(CandumpLine, LengthCodeSuffixAfterEightBytesIsAccepted) {
  const Parsed p = Parse("(1.000000) can0 123#0011223344556677_C");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.length, 8U);
}

TEST(CandumpLine, BlanksBetweenFieldsAndACarriageReturnAreTolerated) {
  const Parsed p = Parse("(1.000000)\t can0   123#01  \r");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.iface, "can0");
  EXPECT_EQ(p.frame.length, 1U);
}

TEST(CandumpLine, LineOfBlanksIsBlank) {
  EXPECT_EQ(Parse("").kind, LineKind::kBlank);
  EXPECT_EQ(Parse("  \t \r").kind, LineKind::kBlank);
}

// --- time stamps ----------------------------------------------------------------------------------------------

TEST(CandumpTimeStamp, NineFractionalDigitsAreExactNanoseconds) {
  const Parsed p = Parse("(1700000000.123456789) can0 123#");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.timestamp_ns, 1700000000123456789);
}

TEST(CandumpTimeStamp, FewerFractionalDigitsAreScaledExactly) {
  EXPECT_EQ(Parse("(1.5) can0 123#").frame.timestamp_ns, 1500000000);
  EXPECT_EQ(Parse("(0.000001) can0 123#").frame.timestamp_ns, 1000);
  EXPECT_EQ(Parse("(0.000000001) can0 123#").frame.timestamp_ns, 1);
  EXPECT_EQ(Parse("(1700000000.1234567) can0 123#").frame.timestamp_ns, 1700000000123456700);
}

TEST(CandumpTimeStamp, LeadingZerosOfZeroPaddedSecondsAreIgnored) {
  EXPECT_EQ(Parse("(0000000012.000034) can0 123#").frame.timestamp_ns, 12000034000);
  EXPECT_EQ(Parse("(000000000000000000000001.000000) can0 123#").frame.timestamp_ns, 1000000000);
}

TEST(CandumpTimeStamp, LargestRepresentableTimeStampIsAccepted) {
  const Parsed p = Parse("(9223372036.854775807) can0 123#");
  ASSERT_EQ(p.kind, LineKind::kFrame) << p.reason;
  EXPECT_EQ(p.frame.timestamp_ns, std::numeric_limits<std::int64_t>::max());
}

TEST(CandumpTimeStamp, OneNanosecondPastTheLargestIsOutOfRange) {
  const Parsed p = Parse("(9223372036.854775808) can0 123#");
  EXPECT_EQ(p.kind, LineKind::kMalformed);
  EXPECT_THAT(p.reason, HasSubstr("out of range"));
}

TEST(CandumpTimeStamp, HugeSecondsAreOutOfRange) {
  const Parsed p = Parse("(99999999999999999999999999.000000) can0 123#");
  EXPECT_EQ(p.kind, LineKind::kMalformed);
  EXPECT_THAT(p.reason, HasSubstr("out of range"));
}

TEST(CandumpTimeStamp, TenFractionalDigitsAreRejectedRatherThanRounded) {
  const Parsed p = Parse("(1.1234567891) can0 123#");
  EXPECT_EQ(p.kind, LineKind::kMalformed);
  EXPECT_THAT(p.reason, HasSubstr("more than 9 fractional digits"));
}

TEST(FormatSeconds, KeepsEveryNanosecondDigitAndAtLeastSixFractionalDigits) {
  const auto format = [](std::int64_t ns) {
    char text[32];
    return std::string(text, fsrl::FormatSeconds(ns, text));
  };
  EXPECT_EQ(format(1700000000123456789), "1700000000.123456789");
  EXPECT_EQ(format(1700000000123456700), "1700000000.1234567");
  EXPECT_EQ(format(1700000000123456000), "1700000000.123456");
  EXPECT_EQ(format(1500000000), "1.500000");
  EXPECT_EQ(format(0), "0.000000");
  EXPECT_EQ(format(1), "0.000000001");
  EXPECT_EQ(format(-1500000000), "-1.500000");
  EXPECT_EQ(format(std::numeric_limits<std::int64_t>::max()), "9223372036.854775807");
  EXPECT_EQ(format(std::numeric_limits<std::int64_t>::min()), "-9223372036.854775808");
}

// --- malformed lines ------------------------------------------------------------------------------------------

struct MalformedCase {
  const char* line;
  const char* reason_part;
};

class CandumpMalformedLine : public ::testing::TestWithParam<MalformedCase> {};

TEST_P(CandumpMalformedLine, IsRejectedWithItsReason) {
  const Parsed p = Parse(GetParam().line);
  EXPECT_EQ(p.kind, LineKind::kMalformed) << GetParam().line;
  EXPECT_THAT(p.reason, HasSubstr(GetParam().reason_part)) << GetParam().line;
}

INSTANTIATE_TEST_SUITE_P(
    EveryKind, CandumpMalformedLine,
    ::testing::Values(
        MalformedCase{"1.000000 can0 123#00", "expected '('"}, MalformedCase{"(.5) can0 123#00", "no seconds"},
        MalformedCase{"(15) can0 123#00", "no '.'"}, MalformedCase{"(15.) can0 123#00", "no fractional digits"},
        MalformedCase{"(1.5x) can0 123#00", "expected ')'"}, MalformedCase{"(1.5 can0 123#00", "expected ')'"},
        MalformedCase{"(1.5)can0 123#00", "expected a blank"}, MalformedCase{"(1.5)   ", "missing interface"},
        MalformedCase{"(1.5) can0", "missing CAN frame"}, MalformedCase{"(1.5) can0   ", "missing CAN frame"},
        MalformedCase{"(1.5) can0 12G#00", "not hexadecimal"}, MalformedCase{"(1.5) can0 123", "expected '#'"},
        MalformedCase{"(1.5) can0 1234#00", "3 (standard) or 8 (extended)"},
        MalformedCase{"(1.5) can0 12#00", "3 (standard) or 8 (extended)"},
        MalformedCase{"(1.5) can0 #00", "3 (standard) or 8 (extended)"},
        MalformedCase{"(1.5) can0 800#00", "standard CAN id above 7FF"},
        MalformedCase{"(1.5) can0 40000000#00", "extended CAN id above 1FFFFFFF"},
        MalformedCase{"(1.5) can0 123#ABC", "odd number of hex digits"},
        MalformedCase{"(1.5) can0 123#A", "odd number of hex digits"},
        MalformedCase{"(1.5) can0 123#ZZ", "invalid character"},
        MalformedCase{"(1.5) can0 123#0Z", "invalid character"},
        MalformedCase{"(1.5) can0 123#00.11", "invalid character"},
        MalformedCase{"(1.5) can0 123#001122334455667788", "more than 8 data bytes"},
        MalformedCase{"(1.5) can0 123##", "missing CAN FD flags"},
        MalformedCase{"(1.5) can0 123##G00", "missing CAN FD flags"},
        MalformedCase{"(1.5) can0 123##1ABC", "odd number of hex digits"},
        MalformedCase{"(1.5) can0 123##00011_9", "only allowed on classic"},
        MalformedCase{"(1.5) can0 123#R9", "remote request length above 8"},
        MalformedCase{"(1.5) can0 123#RX", "unexpected text after a remote request"},
        MalformedCase{"(1.5) can0 123#0011_9", "invalid length code suffix"},
        MalformedCase{"(1.5) can0 123#0011223344556677_5", "invalid length code suffix"},
        MalformedCase{"(1.5) can0 123#0011223344556677_", "invalid length code suffix"},
        MalformedCase{"(1.5) can0 123#00 X", "unexpected text after the CAN frame"},
        MalformedCase{"(1.5) can0 123#00 T T", "unexpected text after the CAN frame"},
        MalformedCase{"(1.5) can0 123#00 Tx", "unexpected text after the CAN frame"},
        MalformedCase{"(1.5) can0 123#00 extra words", "unexpected text after the CAN frame"}));

TEST(CandumpLine, SixtyFiveBytesAreTooManyForCanFd) {
  const Parsed p = Parse("(1.5) can0 123##0" + std::string(130, 'A'));
  EXPECT_EQ(p.kind, LineKind::kMalformed);
  EXPECT_THAT(p.reason, HasSubstr("more than 64 data bytes"));
}

TEST(CandumpLine, BinaryGarbageIsRejectedWithoutReadingPastTheLine) {
  // The parser gets exactly the line's bytes in a buffer of that size; a sanitizer build would catch any read
  // past it.
  std::vector<std::string> lines = {
      std::string("(1.5) can0 123#\0\0", 17),
      std::string("\xff\xfe\x00\x01(1.5)", 9),
      std::string("(1.5) \x80\x81 123#00\x00", 16),
      std::string("(1", 2),
      std::string("(1.", 3),
      std::string("(1.5)", 5),
      std::string("(1.5) c", 7),
      std::string("(1.5) c 1", 9),
      std::string("(1.5) c 123#", 12).substr(0, 11),
      std::string("(1.5) c 123##", 13),
  };
  for (const std::string& line : lines) {
    std::vector<char> exact(line.begin(), line.end());
    CanFrame frame;
    const char* reason = nullptr;
    const char* begin = exact.empty() ? nullptr : exact.data();
    const LineKind kind = fsrl::ParseCandumpLine(begin, begin + exact.size(), frame, &reason);
    EXPECT_EQ(kind, LineKind::kMalformed) << "line of " << line.size() << " bytes";
    ASSERT_NE(reason, nullptr);
    EXPECT_GT(std::strlen(reason), 0U);
  }
}

// --- the reader -----------------------------------------------------------------------------------------------

struct Event {
  CandumpReader::Result result;
  std::uint64_t line;
  std::uint32_t id;
  std::string reason;
};

std::vector<Event> ReadAllEvents(int fd, std::size_t block_size = std::size_t{1} << 20) {
  CandumpReader reader(fd, block_size);
  std::vector<Event> events;
  CanFrame frame;
  for (;;) {
    const CandumpReader::Result result = reader.Next(frame);
    if (result == CandumpReader::Result::kEnd || result == CandumpReader::Result::kReadError) {
      events.push_back({result, reader.line_number(), 0, reader.reason()});
      return events;
    }
    events.push_back(
        {result, reader.line_number(), frame.id, result == CandumpReader::Result::kMalformed ? reader.reason() : ""});
  }
}

std::vector<Event> ReadFileEvents(const std::string& path, std::size_t block_size = std::size_t{1} << 20) {
  const int fd = ::open(path.c_str(), O_RDONLY);
  EXPECT_GE(fd, 0) << path;
  std::vector<Event> events = ReadAllEvents(fd, block_size);
  ::close(fd);
  return events;
}

TEST(CandumpReader, ReportsFramesAndMalformedLinesWithTheirLineNumbers) {
  fsrl_test::TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.Write("mixed.log",
                                     "(1.000000) can0 400#01\n"    // 1
                                     "\n"                          // 2: blank, skipped
                                     "(1.000001) can0 401#0\n"     // 3: odd digits
                                     "garbage\n"                   // 4
                                     "(1.000002) can0 402##100\n"  // 5
                                     "(1.0000000001) can0 403#\n"  // 6: too fine
                                     "(1.000003) can0 404#R\n");   // 7
  const std::vector<Event> events = ReadFileEvents(path);
  ASSERT_EQ(events.size(), 7U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[0].line, 1U);
  EXPECT_EQ(events[0].id, 0x400U);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kMalformed);
  EXPECT_EQ(events[1].line, 3U);
  EXPECT_THAT(events[1].reason, HasSubstr("odd number of hex digits"));
  EXPECT_EQ(events[2].result, CandumpReader::Result::kMalformed);
  EXPECT_EQ(events[2].line, 4U);
  EXPECT_EQ(events[3].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[3].line, 5U);
  EXPECT_EQ(events[4].result, CandumpReader::Result::kMalformed);
  EXPECT_EQ(events[4].line, 6U);
  EXPECT_THAT(events[4].reason, HasSubstr("more than 9 fractional digits"));
  EXPECT_EQ(events[5].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[5].line, 7U);
  EXPECT_EQ(events[6].result, CandumpReader::Result::kEnd);
}

TEST(CandumpReader, EmptyInputEndsAtOnce) {
  fsrl_test::TempDir dir;
  const std::vector<Event> events = ReadFileEvents(dir.Write("empty.log", ""));
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kEnd);
}

// The last line has no line end and is longer than what was read before it: the reader moves it to the start of its
// buffer while looking for more input, and must then parse it where it is now.
TEST(CandumpReader, ALastLineWithoutLineEndLongerThanTheLinesBeforeItIsReadWhole) {
  fsrl_test::TempDir dir;
  const std::string fd_data(64 * 2, 'a');
  const std::vector<Event> events =
      ReadFileEvents(dir.Write("tail.log", "(1.000000) c 400#01\n(1.000001) can0 401##1" + fd_data));
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kFrame) << events[1].reason;
  EXPECT_EQ(events[1].line, 2U);
  EXPECT_EQ(events[1].id, 0x401U);
  EXPECT_EQ(events[2].result, CandumpReader::Result::kEnd);
}

TEST(CandumpReader, CrLfLineEndsAreAccepted) {
  fsrl_test::TempDir dir;
  const std::vector<Event> events =
      ReadFileEvents(dir.Write("crlf.log", "(1.000000) can0 400#01 T\r\n(1.000001) can0 401##0\r\n\r\n"));
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[1].line, 2U);
  EXPECT_EQ(events[2].result, CandumpReader::Result::kEnd);
}

TEST(CandumpReader, LastLineWithoutLineEndIsRead) {
  fsrl_test::TempDir dir;
  const std::vector<Event> events = ReadFileEvents(dir.Write("tail.log", "(1.000000) can0 400#01\n(2.0) can0 401#"));
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[1].id, 0x401U);
  EXPECT_EQ(events[1].line, 2U);
}

TEST(CandumpReader, OverlongLineIsReportedAndSkippedAndReadingGoesOn) {
  fsrl_test::TempDir dir;
  const std::string log = "(1.000000) can0 400#01\n" + std::string(100000, 'x') + "\n(1.000001) can0 401#02\n";
  for (const std::size_t block : {std::size_t{1} << 20, CandumpReader::kMaxLineLength + 2}) {
    const std::vector<Event> events = ReadFileEvents(dir.Write("long.log", log), block);
    ASSERT_EQ(events.size(), 4U) << "block " << block;
    EXPECT_EQ(events[1].result, CandumpReader::Result::kMalformed);
    EXPECT_EQ(events[1].line, 2U);
    EXPECT_THAT(events[1].reason, HasSubstr("longer than 4096 bytes"));
    EXPECT_EQ(events[2].result, CandumpReader::Result::kFrame);
    EXPECT_EQ(events[2].line, 3U);
    EXPECT_EQ(events[2].id, 0x401U);
  }
}

TEST(CandumpReader, OverlongLastLineWithoutLineEndIsReported) {
  fsrl_test::TempDir dir;
  const std::vector<Event> events =
      ReadFileEvents(dir.Write("long_tail.log", "(1.000000) can0 400#01\n" + std::string(9000, '(')));
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kMalformed);
  EXPECT_EQ(events[1].line, 2U);
  EXPECT_THAT(events[1].reason, HasSubstr("longer than 4096 bytes"));
  EXPECT_EQ(events[2].result, CandumpReader::Result::kEnd);
}

TEST(CandumpReader, LineOfExactlyTheLimitIsParsedAndOneByteMoreIsNot) {
  fsrl_test::TempDir dir;
  std::string at_limit = "(1.000000) can0 400#01";
  at_limit.resize(CandumpReader::kMaxLineLength, ' ');  // trailing blanks are allowed
  const std::string over_limit = at_limit + " ";
  const std::vector<Event> events =
      ReadFileEvents(dir.Write("limit.log", at_limit + "\r\n" + over_limit + "\n" + at_limit));
  ASSERT_EQ(events.size(), 4U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[1].result, CandumpReader::Result::kMalformed);
  EXPECT_EQ(events[1].line, 2U);
  EXPECT_EQ(events[2].result, CandumpReader::Result::kFrame);
  EXPECT_EQ(events[2].line, 3U);
}

TEST(CandumpReader, SmallBlocksGiveTheSameResultAsLargeOnes) {
  fsrl_test::TempDir dir;
  std::string log;
  for (int i = 0; i < 5000; ++i) {
    log += "(1700000000." + std::to_string(100000 + i) + ") can0 4" + (i % 7 == 0 ? std::string("ZZ") : "00") + "##1" +
           std::string(96, 'A') + (i % 3 == 0 ? "\r\n" : "\n");
  }
  const std::string path = dir.Write("many.log", log);
  const std::vector<Event> large = ReadFileEvents(path);
  const std::vector<Event> small = ReadFileEvents(path, CandumpReader::kMaxLineLength + 2);
  ASSERT_EQ(large.size(), 5001U);
  ASSERT_EQ(small.size(), large.size());
  for (std::size_t i = 0; i < large.size(); ++i) {
    EXPECT_EQ(small[i].result, large[i].result) << i;
    EXPECT_EQ(small[i].line, large[i].line) << i;
    EXPECT_EQ(small[i].line, i < 5000 ? i + 1 : 5000U) << i;
    EXPECT_EQ(large[i].result, i == 5000    ? CandumpReader::Result::kEnd
                               : i % 7 == 0 ? CandumpReader::Result::kMalformed
                                            : CandumpReader::Result::kFrame)
        << i;
  }
}

TEST(CandumpReader, BinaryGarbageGivesMalformedLinesAndNoFrames) {
  fsrl_test::TempDir dir;
  std::string garbage;
  std::uint32_t state = 12345;
  for (int i = 0; i < 200000; ++i) {
    state = state * 1664525U + 1013904223U;
    garbage += static_cast<char>(state >> 24);
  }
  const std::vector<Event> events = ReadFileEvents(dir.Write("garbage.bin", garbage));
  ASSERT_FALSE(events.empty());
  EXPECT_EQ(events.back().result, CandumpReader::Result::kEnd);
  std::uint64_t previous_line = 0;
  for (std::size_t i = 0; i + 1 < events.size(); ++i) {
    EXPECT_EQ(events[i].result, CandumpReader::Result::kMalformed);
    EXPECT_GT(events[i].line, previous_line);
    previous_line = events[i].line;
  }
}

TEST(CandumpReader, ReadsFromAPipeAsFromAFile) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  const std::string log = "(1.000000) can0 400#01\n(1.000001) can0 401#02\n";
  ASSERT_EQ(::write(fds[1], log.data(), log.size()), static_cast<ssize_t>(log.size()));
  ::close(fds[1]);
  const std::vector<Event> events = ReadAllEvents(fds[0]);
  ::close(fds[0]);
  ASSERT_EQ(events.size(), 3U);
  EXPECT_EQ(events[0].id, 0x400U);
  EXPECT_EQ(events[1].id, 0x401U);
  EXPECT_EQ(events[2].result, CandumpReader::Result::kEnd);
}

TEST(CandumpReader, UnreadableDescriptorIsAReadError) {
  const std::vector<Event> events = ReadAllEvents(-1);
  ASSERT_EQ(events.size(), 1U);
  EXPECT_EQ(events[0].result, CandumpReader::Result::kReadError);
  EXPECT_FALSE(events[0].reason.empty());
}

}  // namespace
