// Choosing a writer by the output's name, its errors, and frames of every kind written in each format reading back
// as they were: through our own readers and through python-can, which nobody here wrote.
#include "fsrl/frame_writer.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame_source_test_util.h"
#include "frame_writer_test_util.h"
#include "temp_dir.h"
#include "tool_test_support.h"

namespace {

using fsrl::LogFormat;
using fsrl_test::MixedFrames;
using fsrl_test::ReadFrame;
using fsrl_test::ReadPath;
using fsrl_test::ReadResult;
using fsrl_test::ScopedUtc;
using fsrl_test::TempDir;
using fsrl_test::WriteFrames;
using ::testing::HasSubstr;
using ::testing::StartsWith;

LogFormat FormatOf(const std::string& path) {
  LogFormat format = LogFormat::kAuto;
  std::string error;
  EXPECT_TRUE(fsrl::FrameWriterFormatForPath(path, format, &error)) << error;
  return format;
}

TEST(FrameWriterFormat, ExtensionChoosesTheFormatInAnyLetterCase) {
  EXPECT_EQ(FormatOf("radar.log"), LogFormat::kCandumpLog);
  EXPECT_EQ(FormatOf("radar.asc"), LogFormat::kAsc);
  EXPECT_EQ(FormatOf("dir.v2/radar.ASC"), LogFormat::kAsc);
  EXPECT_EQ(FormatOf("/tmp/radar.blf"), LogFormat::kBlf);
  EXPECT_EQ(FormatOf("radar.Blf"), LogFormat::kBlf);
}

TEST(FrameWriterFormat, DashAndNamesWithoutExtensionAreCandump) {
  EXPECT_EQ(FormatOf("-"), LogFormat::kCandumpLog);
  EXPECT_EQ(FormatOf("/dev/null"), LogFormat::kCandumpLog);
  EXPECT_EQ(FormatOf("dir.d/fifo"), LogFormat::kCandumpLog);
}

TEST(FrameWriterFormat, UnknownExtensionIsRefusedWithTheChoices) {
  LogFormat format = LogFormat::kAuto;
  std::string error;
  EXPECT_FALSE(fsrl::FrameWriterFormatForPath("radar.txt", format, &error));
  EXPECT_THAT(error, HasSubstr("'.txt'"));
  EXPECT_THAT(error, HasSubstr(".log"));
  EXPECT_THAT(error, HasSubstr(".asc"));
  EXPECT_THAT(error, HasSubstr(".blf"));
}

TEST(OpenFrameWriter, UnknownExtensionNamesTheFileAndCreatesNothing) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  const std::string path = dir.path() + "/radar.bfl";
  std::string error;
  EXPECT_EQ(fsrl::OpenFrameWriter(path, &error), nullptr);
  EXPECT_THAT(error, StartsWith("cannot write '" + path + "': unknown log format '.bfl'"));
  EXPECT_EQ(std::fopen(path.c_str(), "rb"), nullptr);
}

TEST(OpenFrameWriter, FileThatCannotBeCreatedIsNamed) {
  TempDir dir;
  ASSERT_TRUE(dir.ok());
  for (const std::string name : {"/no/such/dir/radar.log", "/no/such/dir/radar.asc", "/no/such/dir/radar.blf"}) {
    const std::string path = dir.path() + name;
    std::string error;
    EXPECT_EQ(fsrl::OpenFrameWriter(path, &error), nullptr);
    EXPECT_EQ(error, "cannot open '" + path + "': No such file or directory");
  }
}

TEST(OpenFrameWriter, FullDiskIsReportedWithTheFileName) {
  std::string error;
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::OpenFrameWriter("/dev/full", &error);
  ASSERT_NE(writer, nullptr) << error;
  bool written = true;
  for (const fsrl::CanFrame& frame : MixedFrames()) {
    written = writer->Write(frame) && written;
  }
  written = writer->Finish() && written;
  EXPECT_FALSE(written);
  EXPECT_EQ(writer->error(), "cannot write '/dev/full': No space left on device");
}

TEST(OpenFrameWriter, EveryFormatReportsAFullDisk) {
  for (const LogFormat format : {LogFormat::kCandumpLog, LogFormat::kAsc, LogFormat::kBlf}) {
    std::FILE* full = std::fopen("/dev/full", "wb");
    ASSERT_NE(full, nullptr);
    std::unique_ptr<fsrl::FrameWriter> writer = fsrl::MakeFrameWriter(format, full);
    ASSERT_NE(writer, nullptr);
    bool written = true;
    for (const fsrl::CanFrame& frame : MixedFrames()) {
      written = writer->Write(frame) && written;
    }
    written = writer->Finish() && written;
    EXPECT_FALSE(written) << fsrl::LogFormatName(format);
    EXPECT_EQ(writer->errno_value(), ENOSPC) << fsrl::LogFormatName(format);
    std::fclose(full);
  }
}

TEST(OpenFrameWriter, DashWritesCandumpToTheGivenStream) {
  std::FILE* out = std::tmpfile();
  ASSERT_NE(out, nullptr);
  std::unique_ptr<fsrl::FrameWriter> writer = fsrl::OpenFrameWriter("-", nullptr, out);
  ASSERT_NE(writer, nullptr);
  ASSERT_TRUE(writer->Write(fsrl_test::MakeWriterFrame(1500000000, 0x123, false, {0xAB})));
  ASSERT_TRUE(writer->Finish());
  EXPECT_EQ(fsrl_test::ReadAll(out), "(1.500000) can0 123#AB\n");
  // Standard output stays open for whoever owns it.
  EXPECT_EQ(std::fputs("more", out) >= 0, true);
  std::fclose(out);
}

TEST(OpenFrameWriter, MakeFrameWriterRefusesFormatsItCannotWrite) {
  EXPECT_EQ(fsrl::MakeFrameWriter(LogFormat::kCandumpLong, stdout), nullptr);
  EXPECT_EQ(fsrl::MakeFrameWriter(LogFormat::kAuto, stdout), nullptr);
}

// ---------------------------------------------------------------------------------------------------------------
// Frames of every kind, written and read back.

struct FormatCase {
  const char* extension;
  LogFormat format;
  std::int64_t resolution_ns;  // what the format keeps of a time stamp
  bool keeps_direction;
};

class WrittenFrames : public ::testing::TestWithParam<FormatCase> {
 protected:
  // The time the format gives back for @p ns: ASC keeps microsecond offsets from the first frame's millisecond.
  std::int64_t Expected(std::int64_t ns) const {
    if (GetParam().resolution_ns == 1) {
      return ns;
    }
    const std::int64_t start = fsrl_test::kMixedStartNs - fsrl_test::kMixedStartNs % 1000000;
    const std::int64_t step = GetParam().resolution_ns;
    return start + (ns - start + step / 2) / step * step;
  }

  ScopedUtc utc_;
  TempDir dir_;
};

TEST_P(WrittenFrames, ReadBackByOurReadersAsTheyWere) {
  ASSERT_TRUE(dir_.ok());
  const std::string path = dir_.path() + "/mixed." + GetParam().extension;
  const std::vector<fsrl::CanFrame> frames = MixedFrames();
  ASSERT_EQ(WriteFrames(path, frames), "");
  const ReadResult read = ReadPath(path);
  ASSERT_TRUE(read.opened) << read.open_error;
  EXPECT_EQ(read.format, GetParam().format);
  EXPECT_TRUE(read.problems.empty()) << read.problems.front();
  ASSERT_EQ(read.frames.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const fsrl::CanFrame& a = frames[i];
    const ReadFrame& b = read.frames[i];
    EXPECT_EQ(b.time_ns, Expected(a.timestamp_ns)) << "frame " << i << ": " << b;
    EXPECT_EQ(b.id, a.id) << "frame " << i;
    EXPECT_EQ(b.extended, a.extended) << "frame " << i;
    EXPECT_EQ(b.fd, a.fd) << "frame " << i;
    EXPECT_EQ(b.fd_flags, a.fd_flags) << "frame " << i;
    EXPECT_EQ(b.remote, a.remote) << "frame " << i;
    EXPECT_EQ(b.remote_length, a.remote_length) << "frame " << i;
    EXPECT_EQ(b.data, std::vector<std::uint8_t>(a.data, a.data + a.length)) << "frame " << i;
    EXPECT_EQ(b.channel, a.channel) << "frame " << i;
    // ASC and BLF number channels, candump names interfaces.
    EXPECT_EQ(b.iface, GetParam().format == LogFormat::kCandumpLog ? std::string(a.iface) : std::to_string(a.channel))
        << "frame " << i;
  }
}

TEST_P(WrittenFrames, ErrorFramesAreKeptAsTheFormatKeepsThem) {
  ASSERT_TRUE(dir_.ok());
  const std::string path = dir_.path() + "/errors." + GetParam().extension;
  std::vector<fsrl::CanFrame> frames = MixedFrames();
  frames.resize(2);
  fsrl::CanFrame error =
      fsrl_test::MakeWriterFrame(frames.back().timestamp_ns + 1000, 0x4, true, {0, 0, 0x08, 0, 0, 0, 0, 0});
  error.error = true;
  frames.insert(frames.begin() + 1, error);
  ASSERT_EQ(WriteFrames(path, frames), "");
  const ReadResult read = ReadPath(path);
  EXPECT_TRUE(read.problems.empty()) << read.problems.front();
  if (GetParam().format == LogFormat::kCandumpLog) {
    // candump keeps the error frame itself, its class in the id and its details in the data.
    ASSERT_EQ(read.frames.size(), 3U);
    EXPECT_TRUE(read.frames[1].error);
    EXPECT_EQ(read.frames[1].id, 0x4U);
    EXPECT_EQ(read.frames[1].data, std::vector<std::uint8_t>(error.data, error.data + 8));
  } else {
    // ASC and BLF mark that an error frame was seen; the readers count it.
    ASSERT_EQ(read.frames.size(), 2U);
    EXPECT_EQ(read.skipped.error_frames, 1U);
  }
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, WrittenFrames,
                         ::testing::Values(FormatCase{"log", LogFormat::kCandumpLog, 1, false},
                                           FormatCase{"asc", LogFormat::kAsc, 1000, true},
                                           FormatCase{"blf", LogFormat::kBlf, 1, true}),
                         [](const ::testing::TestParamInfo<FormatCase>& info) {
                           return std::string(info.param.extension);
                         });

// ---------------------------------------------------------------------------------------------------------------
// The same frames through python-can.

using fsrl_test::PythonWithCan;
using fsrl_test::Shell;

// One message as python-can reads it.
struct PythonMessage {
  double timestamp = 0;
  std::uint32_t id = 0;
  int extended = 0;
  int fd = 0;
  int brs = 0;
  int esi = 0;
  int remote = 0;
  int rx = 0;
  std::string data;  // hex, lower case
};

class PythonCanReadsWrittenFrames : public WrittenFrames {
 protected:
  // Reads @p path with python-can's reader for its extension; ASC times absolute, as the other readers give them.
  std::vector<PythonMessage> ReadWithPythonCan(const std::string& path) {
    const std::string python = PythonWithCan();
    if (python.empty()) {
      return {};
    }
    const std::string script = dir_.Write(
        "dump.py",
        "import sys, can\n"
        "path = sys.argv[1]\n"
        "reader = can.ASCReader(path, relative_timestamp=False) if path.endswith('.asc') else can.LogReader(path)\n"
        "with open(sys.argv[2], 'w') as out:\n"
        "    for m in reader:\n"
        "        out.write('%.6f %x %d %d %d %d %d %d %s\\n' % (m.timestamp, m.arbitration_id, m.is_extended_id,\n"
        "                  m.is_fd, m.bitrate_switch, m.error_state_indicator, m.is_remote_frame, m.is_rx,\n"
        "                  m.data.hex() or '-'))\n");
    const std::string dump = dir_.path() + "/dump.txt";
    EXPECT_TRUE(Shell(python + " " + script + " " + path + " " + dump));
    std::vector<PythonMessage> messages;
    std::FILE* in = std::fopen(dump.c_str(), "r");
    if (in == nullptr) {
      return messages;
    }
    std::istringstream lines(fsrl_test::ReadAll(in));
    std::fclose(in);
    std::string line;
    while (std::getline(lines, line)) {
      std::istringstream fields(line);
      PythonMessage m;
      fields >> m.timestamp >> std::hex >> m.id >> std::dec >> m.extended >> m.fd >> m.brs >> m.esi >> m.remote >>
          m.rx >> m.data;
      messages.push_back(m);
    }
    return messages;
  }
};

std::string Hex(const std::uint8_t* data, std::size_t length) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < length; ++i) {
    text += kDigits[data[i] >> 4];
    text += kDigits[data[i] & 0xF];
  }
  return text.empty() ? "-" : text;
}

TEST_P(PythonCanReadsWrittenFrames, EveryFieldTheFormatCarries) {
  if (PythonWithCan().empty()) {
    GTEST_SKIP() << "python-can is not installed (scripts/bootstrap.sh installs python3-can)";
  }
  ASSERT_TRUE(dir_.ok());
  const std::string path = dir_.path() + "/mixed." + GetParam().extension;
  const std::vector<fsrl::CanFrame> frames = MixedFrames();
  ASSERT_EQ(WriteFrames(path, frames), "");
  const std::vector<PythonMessage> messages = ReadWithPythonCan(path);
  ASSERT_EQ(messages.size(), frames.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const fsrl::CanFrame& a = frames[i];
    const PythonMessage& m = messages[i];
    // python-can holds times as double seconds: about 0.24 us at today's dates, printed to the microsecond.
    EXPECT_NEAR(m.timestamp, static_cast<double>(Expected(a.timestamp_ns)) * 1e-9, 1.5e-6) << "frame " << i;
    EXPECT_EQ(m.id, a.id) << "frame " << i;
    EXPECT_EQ(m.extended, a.extended ? 1 : 0) << "frame " << i;
    EXPECT_EQ(m.fd, a.fd ? 1 : 0) << "frame " << i;
    EXPECT_EQ(m.brs, (a.fd_flags & fsrl::kFdFlagBrs) != 0 ? 1 : 0) << "frame " << i;
    EXPECT_EQ(m.esi, (a.fd_flags & fsrl::kFdFlagEsi) != 0 ? 1 : 0) << "frame " << i;
    // python-can 4.1 takes an ASC CAN FD line without data for a remote request, the lines it writes itself
    // included; our reader goes by the line's flags, which say EDL and no remote request.
    const bool python_can_quirk = GetParam().format == LogFormat::kAsc && a.fd && a.length == 0;
    if (!python_can_quirk) {
      EXPECT_EQ(m.remote, a.remote ? 1 : 0) << "frame " << i;
    }
    EXPECT_EQ(m.data, Hex(a.data, a.remote ? 0 : a.length)) << "frame " << i;
    if (GetParam().keeps_direction) {
      EXPECT_EQ(m.rx, a.direction == 'T' ? 0 : 1) << "frame " << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryFormat, PythonCanReadsWrittenFrames,
                         ::testing::Values(FormatCase{"log", LogFormat::kCandumpLog, 1, false},
                                           FormatCase{"asc", LogFormat::kAsc, 1000, true},
                                           FormatCase{"blf", LogFormat::kBlf, 1, true}),
                         [](const ::testing::TestParamInfo<FormatCase>& info) {
                           return std::string(info.param.extension);
                         });

}  // namespace
