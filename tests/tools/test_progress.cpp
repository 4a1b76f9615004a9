// The one progress rule of the fsrl commands, and the progress line.
#include "fsrl/progress.h"

#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tool_test_support.h"

namespace {

TEST(Progress, IsNotWantedWhenTheErrorStreamIsNotATerminal) {
  std::FILE* err = std::tmpfile();
  std::FILE* out = std::tmpfile();
  EXPECT_FALSE(fsrl::ProgressWanted(err, out, false));
  EXPECT_FALSE(fsrl::ProgressWanted(err, out, true));
  EXPECT_FALSE(fsrl::ProgressWanted(nullptr, out, true));
  std::fclose(err);
  std::fclose(out);
}

TEST(Progress, ADisabledLineWritesNothingEvenAfterTheDelay) {
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([](std::FILE*, std::FILE* err) {
    fsrl::ProgressLine line(err, false);
    std::this_thread::sleep_for(fsrl::ProgressLine::kDelay + std::chrono::milliseconds(50));
    const bool due = line.Due();
    line.Show("fsrl example: 1 of 2");
    return due ? 1 : 0;
  });
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "");
}

TEST(Progress, NothingIsDueBeforeTheDelaySoShortRunsStayQuiet) {
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([](std::FILE*, std::FILE* err) {
    fsrl::ProgressLine line(err, true);
    return line.Due() ? 1 : 0;
  });
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "");
}

TEST(Progress, AnEnabledLineIsRewrittenInPlaceAndClearedAtTheEnd) {
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([](std::FILE*, std::FILE* err) {
    {
      fsrl::ProgressLine line(err, true);
      std::this_thread::sleep_for(fsrl::ProgressLine::kDelay + std::chrono::milliseconds(50));
      if (!line.Due()) {
        return 1;
      }
      line.Show("long text");
      line.Show("short");
      if (line.Due()) {
        return 2;  // not again within the interval
      }
    }
    return 0;
  });
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "\rlong text\rshort    \r         \r");
}

TEST(Progress, ATickerShowsTheElapsedSecondsOfAStepThatCannotReportItselfAndClearsAfter) {
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([](std::FILE*, std::FILE* err) {
    fsrl::ProgressLine line(err, true);
    {
      const fsrl::ProgressTicker ticker(line, "fsrl example: working");
      std::this_thread::sleep_for(fsrl::ProgressLine::kDelay + 2 * fsrl::ProgressLine::kInterval);
    }
    std::fputs("after\n", err);
    return 0;
  });
  EXPECT_EQ(run.err.rfind("\rfsrl example: working (1 s)", 0), 0U) << run.err;
  const std::size_t cleared = run.err.rfind('\r');
  ASSERT_NE(cleared, std::string::npos);
  EXPECT_EQ(run.err.substr(cleared), "\rafter\n") << "the line is gone before anything else is written";
}

TEST(Progress, ATickerOnADisabledLineWritesNothing) {
  const fsrl_test::CommandRun run = fsrl_test::RunWithStreams([](std::FILE*, std::FILE* err) {
    fsrl::ProgressLine line(err, false);
    const fsrl::ProgressTicker ticker(line, "fsrl example: working");
    std::this_thread::sleep_for(fsrl::ProgressLine::kDelay + fsrl::ProgressLine::kInterval);
    return 0;
  });
  EXPECT_EQ(run.err, "");
}

}  // namespace
