// The files every fsrl command reads and writes, and its candump log reading with malformed-line reports.
#include "fsrl/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tool_test_support.h"

namespace {

using ::testing::HasSubstr;

class InputFiles : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.ok()); }
  fsrl_test::TempDir dir_;
};

TEST_F(InputFiles, AMissingFileKeepsItsErrnoAndADashIsStandardInput) {
  const fsrl::InputFile missing(dir_.path() + "/missing.log");
  EXPECT_LT(missing.fd(), 0);
  EXPECT_EQ(missing.error(), ENOENT);
  EXPECT_EQ(missing.display_name(), dir_.path() + "/missing.log");
  const fsrl::InputFile standard_input("-");
  EXPECT_EQ(standard_input.fd(), STDIN_FILENO);
  EXPECT_EQ(standard_input.display_name(), "<stdin>");
}

TEST_F(InputFiles, TheReaderReportsEachMalformedLineWithFileAndLineAndGoesOn) {
  const std::string path =
      dir_.Write("mixed.log", "(1.000000) can0 400#11\nnot a frame\n\n(2.000000) can0 401#2\n(3.000000) can0 402#33\n");
  const fsrl::InputFile input(path);
  ASSERT_GE(input.fd(), 0);
  std::vector<std::uint32_t> ids;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    fsrl::LogFrameReader reader(input, err, "example");
    fsrl::CanFrame frame;
    for (;;) {
      const fsrl::LogFrameReader::Result result = reader.Next(frame);
      if (result == fsrl::LogFrameReader::Result::kEnd) {
        break;
      }
      if (result == fsrl::LogFrameReader::Result::kFrame) {
        ids.push_back(frame.id);
      }
    }
    EXPECT_EQ(reader.lines(), 5U);
    return static_cast<int>(reader.malformed());
  });
  EXPECT_EQ(run.exit_code, 2) << "two malformed lines";
  EXPECT_EQ(ids, (std::vector<std::uint32_t>{0x400, 0x402}));
  EXPECT_THAT(run.err, HasSubstr(path + ":2: "));
  EXPECT_THAT(run.err, HasSubstr(path + ":4: odd number of hex digits"));
}

TEST_F(InputFiles, TheHookRunsBeforeEachMalformedLineIsReported) {
  const std::string path = dir_.Write("bad.log", "garbage\n");
  const fsrl::InputFile input(path);
  std::string seen_before;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    fsrl::LogFrameReader reader(input, err, "example");
    reader.set_before_malformed_report([&] { seen_before = fsrl_test::ReadAll(err); });
    fsrl::CanFrame frame;
    return static_cast<int>(reader.Next(frame));
  });
  EXPECT_EQ(run.exit_code, static_cast<int>(fsrl::LogFrameReader::Result::kMalformed));
  EXPECT_EQ(seen_before, "");
  EXPECT_THAT(run.err, HasSubstr(path + ":1: "));
}

TEST_F(InputFiles, AReadErrorIsReportedWithTheCommandAndTheFile) {
  const fsrl::InputFile directory(dir_.path());  // opens, but cannot be read
  ASSERT_GE(directory.fd(), 0);
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    fsrl::LogFrameReader reader(directory, err, "example");
    fsrl::CanFrame frame;
    return static_cast<int>(reader.Next(frame));
  });
  EXPECT_EQ(run.exit_code, static_cast<int>(fsrl::LogFrameReader::Result::kReadError));
  EXPECT_THAT(run.err, HasSubstr("fsrl example: " + dir_.path() + ": read error: "));
}

TEST_F(InputFiles, TheReaderTellsTheFormatFromTheContentAndCountsWhatTheFilterDrops) {
  const std::string path = dir_.Write("long.txt",
                                      "  can0  400   [1]  11\n"
                                      "  can0  401   [1]  22\n"
                                      "  can0  402   [1]  3\n");
  const fsrl::InputFile input(path);
  fsrl::FrameFilter filter;
  ASSERT_TRUE(filter.AddIdFilter("401~7FF"));
  std::vector<std::uint32_t> ids;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    fsrl::LogFrameReader reader(input, err, "example", fsrl::LogFormat::kAuto, filter);
    EXPECT_EQ(reader.format(), fsrl::LogFormat::kCandumpLong);
    fsrl::CanFrame frame;
    for (fsrl::LogFrameReader::Result result; (result = reader.Next(frame)) != fsrl::LogFrameReader::Result::kEnd;) {
      if (result == fsrl::LogFrameReader::Result::kFrame) {
        ids.push_back(frame.id);
        EXPECT_EQ(reader.line_number(), 1U);
      }
    }
    EXPECT_EQ(reader.Extent(), "3 lines");
    EXPECT_EQ(reader.filtered(), 1U);
    return static_cast<int>(reader.malformed());
  });
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(ids, (std::vector<std::uint32_t>{0x400}));
  EXPECT_THAT(run.err, HasSubstr(path + ":3: "));
}

TEST_F(InputFiles, ANamedFormatOverridesWhatTheContentLooksLike) {
  const std::string path = dir_.Write("log.txt", "(1.000000) can0 400#11\n");
  const fsrl::InputFile input(path);
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE*, std::FILE* err) {
    fsrl::LogFrameReader reader(input, err, "example", fsrl::LogFormat::kBlf);
    fsrl::CanFrame frame;
    const fsrl::LogFrameReader::Result result = reader.Next(frame);
    EXPECT_TRUE(reader.position_is_offset());
    EXPECT_EQ(reader.Extent(), "1 objects");
    return static_cast<int>(result);
  });
  EXPECT_EQ(run.exit_code, static_cast<int>(fsrl::LogFrameReader::Result::kMalformed));
  EXPECT_THAT(run.err, HasSubstr(path + ":0: ")) << "a BLF problem names the byte offset";
}

TEST_F(InputFiles, WholeFilesRoundTripAndFailuresNameThePath) {
  std::string error;
  const std::string path = dir_.path() + "/out.txt";
  ASSERT_TRUE(fsrl::WriteWholeFile(path, nullptr, "hello\n", error)) << error;
  std::string text;
  ASSERT_TRUE(fsrl::ReadWholeFile(path, nullptr, text, error)) << error;
  EXPECT_EQ(text, "hello\n");

  EXPECT_FALSE(fsrl::ReadWholeFile(dir_.path() + "/absent", nullptr, text, error));
  EXPECT_EQ(error, "cannot open '" + dir_.path() + "/absent': No such file or directory");
  EXPECT_FALSE(fsrl::WriteWholeFile(dir_.path() + "/no/dir/x", nullptr, "x", error));
  EXPECT_THAT(error, HasSubstr("cannot open '" + dir_.path() + "/no/dir/x'"));
  EXPECT_FALSE(fsrl::WriteWholeFile("/dev/full", nullptr, "x", error)) << "the loss shows when the file is closed";
  EXPECT_EQ(error, "cannot write '/dev/full': No space left on device");
}

TEST_F(InputFiles, ADashWritesToTheGivenStreamAndLeavesItOpen) {
  std::string error;
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([&](std::FILE* out, std::FILE*) {
    const bool written = fsrl::WriteWholeFile("-", out, "to the stream\n", error);
    std::fputs("still open\n", out);
    return written ? 0 : 1;
  });
  EXPECT_EQ(run.exit_code, 0) << error;
  EXPECT_EQ(run.out, "to the stream\nstill open\n");
}

}  // namespace
