#include "zol/log/logging.h"

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using zol::log::CapturingSink;
using zol::log::Context;
using zol::log::LoggingLevel;
using zol::log::ScopedSink;

// Each test starts from default level kInfo with a capturing sink and leaves the process-wide state as it found it.
class LogContextTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_default_level_ = zol::log::DefaultLevel();
    zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  }
  void TearDown() override { zol::log::SetDefaultLevel(saved_default_level_); }

  CapturingSink sink_;
  ScopedSink scoped_sink_{&sink_};

 private:
  LoggingLevel saved_default_level_{LoggingLevel::kInfo};
};

TEST_F(LogContextTest, DefaultContextIsNamedDfltWithItsDescription) {
  const Context context;
  EXPECT_EQ(context.id(), "DFLT");
  EXPECT_EQ(context.description(), "Default context");
}

TEST_F(LogContextTest, KeepsItsOwnCopiesOfIdAndDescription) {
  std::string id = "FLH";
  std::string description = "Front side radar left hal";
  const Context context(id, description);
  id.assign("XXX");
  description.assign("overwritten");

  EXPECT_EQ(context.id(), "FLH");
  EXPECT_EQ(context.description(), "Front side radar left hal");
}

TEST_F(LogContextTest, WritesALineAtOrBelowItsLevelWithIdAndMessage) {
  const Context context("FLH", "Front side radar left hal");

  context.Log(LoggingLevel::kInfo, "info line");
  context.Log(LoggingLevel::kError, "error line");

  const std::vector<CapturingSink::Line> lines = sink_.lines();
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].level, LoggingLevel::kInfo);
  EXPECT_EQ(lines[0].context_id, "FLH");
  EXPECT_EQ(lines[0].message, "info line");
  EXPECT_EQ(lines[1].level, LoggingLevel::kError);
  EXPECT_EQ(lines[1].message, "error line");
}

TEST_F(LogContextTest, DoesNotWriteALineWhoseLevelIsDisabled) {
  const Context context("FLH", "");

  context.Log(LoggingLevel::kDebug, "debug line");
  context.Log(LoggingLevel::kVerbose, "verbose line");

  EXPECT_FALSE(context.IsEnabled(LoggingLevel::kDebug));
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(LogContextTest, OwnLevelOverridesTheDefaultLevelInBothDirections) {
  Context chatty("CHAT", "");
  Context quiet("QUIE", "");
  const Context follower("FOLL", "");
  chatty.SetLevel(LoggingLevel::kDebug);
  quiet.SetLevel(LoggingLevel::kError);

  chatty.Log(LoggingLevel::kDebug, "from chatty");
  quiet.Log(LoggingLevel::kWarn, "from quiet");
  follower.Log(LoggingLevel::kDebug, "from follower");

  EXPECT_EQ(chatty.level(), LoggingLevel::kDebug);
  EXPECT_EQ(quiet.level(), LoggingLevel::kError);
  EXPECT_EQ(follower.level(), LoggingLevel::kInfo);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "from chatty"));
  EXPECT_EQ(sink_.Count("from quiet"), 0U);
  EXPECT_EQ(sink_.Count("from follower"), 0U);
}

TEST_F(LogContextTest, ContextWithoutOwnLevelFollowsChangesOfTheDefaultLevel) {
  const Context context("FLH", "");

  zol::log::SetDefaultLevel(LoggingLevel::kVerbose);
  EXPECT_EQ(zol::log::DefaultLevel(), LoggingLevel::kVerbose);
  EXPECT_TRUE(context.IsEnabled(LoggingLevel::kVerbose));

  zol::log::SetDefaultLevel(LoggingLevel::kWarn);
  EXPECT_FALSE(context.IsEnabled(LoggingLevel::kInfo));
  EXPECT_TRUE(context.IsEnabled(LoggingLevel::kWarn));
}

TEST_F(LogContextTest, ClearLevelReturnsToTheDefaultLevel) {
  Context context("FLH", "");
  context.SetLevel(LoggingLevel::kVerbose);
  context.ClearLevel();

  context.Log(LoggingLevel::kDebug, "debug line");

  EXPECT_EQ(context.level(), LoggingLevel::kInfo);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(LogContextTest, OffIsNeverEnabledAndSilencesTheContext) {
  Context context("FLH", "");
  context.SetLevel(LoggingLevel::kVerbose);
  EXPECT_FALSE(context.IsEnabled(LoggingLevel::kOff));

  context.SetLevel(LoggingLevel::kOff);
  context.Log(LoggingLevel::kFatal, "fatal line");

  EXPECT_FALSE(context.IsEnabled(LoggingLevel::kFatal));
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(LogContextTest, CopyKeepsIdDescriptionAndOwnLevel) {
  Context original("FLDM", "Front left side radar data manager");
  original.SetLevel(LoggingLevel::kDebug);

  const Context copy(original);
  Context assigned;
  assigned = original;

  EXPECT_EQ(copy.id(), "FLDM");
  EXPECT_EQ(copy.description(), "Front left side radar data manager");
  EXPECT_EQ(copy.level(), LoggingLevel::kDebug);
  EXPECT_EQ(assigned.id(), "FLDM");
  EXPECT_EQ(assigned.level(), LoggingLevel::kDebug);
}

TEST_F(LogContextTest, CapturingSinkMatchesExactMessagesAtTheirLevel) {
  const Context context("FLH", "");
  context.Log(LoggingLevel::kWarn, "twice");
  context.Log(LoggingLevel::kError, "twice");
  context.Log(LoggingLevel::kWarn, "once more");

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, "twice"));
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, "twice"));
  EXPECT_FALSE(sink_.Contains(LoggingLevel::kError, "once more"));
  EXPECT_FALSE(sink_.Contains(LoggingLevel::kWarn, "once"));
  EXPECT_EQ(sink_.Count("twice"), 2U);
  EXPECT_EQ(sink_.Count("once more"), 1U);
  EXPECT_EQ(sink_.Count("twic"), 0U);

  sink_.Clear();
  EXPECT_TRUE(sink_.lines().empty());
  EXPECT_EQ(sink_.Count("twice"), 0U);
}

TEST_F(LogContextTest, LinesFromSeveralThreadsAreAllCaptured) {
  constexpr int kThreads = 4;
  constexpr int kLinesPerThread = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([] {
      const Context context("THRD", "");
      for (int i = 0; i < kLinesPerThread; ++i) {
        context.Log(LoggingLevel::kInfo, "line");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(sink_.Count("line"), static_cast<std::size_t>(kThreads * kLinesPerThread));
}

TEST_F(LogContextTest, SetSinkReturnsThePreviousSinkAndScopedSinkRestoresIt) {
  CapturingSink inner;
  {
    const ScopedSink scoped(&inner);
    CapturingSink other;
    EXPECT_EQ(zol::log::SetSink(&other), &inner);
    EXPECT_EQ(zol::log::SetSink(&inner), &other);
    Context("FLH", "").Log(LoggingLevel::kError, "to inner");
  }
  Context("FLH", "").Log(LoggingLevel::kError, "to outer");

  EXPECT_TRUE(inner.Contains(LoggingLevel::kError, "to inner"));
  EXPECT_EQ(inner.Count("to outer"), 0U);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, "to outer"));
  EXPECT_EQ(sink_.Count("to inner"), 0U);
}

TEST_F(LogContextTest, StderrSinkWritesOneLineWithContextIdLevelAndMessage) {
  const ScopedSink to_stderr(nullptr);
  const Context context("FLH", "Front side radar left hal");

  ::testing::internal::CaptureStderr();
  context.Log(LoggingLevel::kWarn, "no data");
  context.Log(LoggingLevel::kError, "lost {} groups");
  context.Log(LoggingLevel::kDebug, "not written");
  const std::string output = ::testing::internal::GetCapturedStderr();

  EXPECT_EQ(output, "[FLH] WARN: no data\n[FLH] ERROR: lost {} groups\n");
}

TEST_F(LogContextTest, NullSinkRestoresTheStderrSink) {
  CapturingSink other;
  const ScopedSink scoped(&other);

  EXPECT_EQ(zol::log::SetSink(nullptr), &other);
  zol::log::Sink* const stderr_sink = zol::log::SetSink(&other);

  ASSERT_NE(stderr_sink, nullptr);
  ::testing::internal::CaptureStderr();
  stderr_sink->Write(zol::log::LogRecord{LoggingLevel::kFatal, "DFLT", "direct"});
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "[DFLT] FATAL: direct\n");
}

TEST(LoggingLevel, HasItsFixedValuesAndNames) {
  EXPECT_EQ(static_cast<int>(LoggingLevel::kOff), 0);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kFatal), 1);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kError), 2);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kWarn), 3);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kInfo), 4);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kDebug), 5);
  EXPECT_EQ(static_cast<int>(LoggingLevel::kVerbose), 6);
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kOff), "kOff");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kFatal), "kFatal");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kError), "kError");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kWarn), "kWarn");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kInfo), "kInfo");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kDebug), "kDebug");
  EXPECT_STREQ(zol::log::ToString(LoggingLevel::kVerbose), "kVerbose");
  EXPECT_STREQ(zol::log::ToString(static_cast<LoggingLevel>(7)), "unknown");
}

TEST(LoggingLevel, ParsesNumbersAndNamesInAnySpelling) {
  LoggingLevel level = LoggingLevel::kOff;
  EXPECT_TRUE(zol::log::ParseLoggingLevel("5", &level));
  EXPECT_EQ(level, LoggingLevel::kDebug);
  EXPECT_TRUE(zol::log::ParseLoggingLevel("0", &level));
  EXPECT_EQ(level, LoggingLevel::kOff);
  EXPECT_TRUE(zol::log::ParseLoggingLevel("debug", &level));
  EXPECT_EQ(level, LoggingLevel::kDebug);
  EXPECT_TRUE(zol::log::ParseLoggingLevel("kError", &level));
  EXPECT_EQ(level, LoggingLevel::kError);
  EXPECT_TRUE(zol::log::ParseLoggingLevel("VERBOSE", &level));
  EXPECT_EQ(level, LoggingLevel::kVerbose);
  EXPECT_TRUE(zol::log::ParseLoggingLevel("warning", &level));
  EXPECT_EQ(level, LoggingLevel::kWarn);
}

TEST(LoggingLevel, RejectsTextThatIsNoLevelAndKeepsTheOldValue) {
  LoggingLevel level = LoggingLevel::kWarn;
  EXPECT_FALSE(zol::log::ParseLoggingLevel("7", &level));
  EXPECT_FALSE(zol::log::ParseLoggingLevel("-1", &level));
  EXPECT_FALSE(zol::log::ParseLoggingLevel("", &level));
  EXPECT_FALSE(zol::log::ParseLoggingLevel("debugging", &level));
  EXPECT_FALSE(zol::log::ParseLoggingLevel("deb", &level));
  EXPECT_FALSE(zol::log::ParseLoggingLevel("kdebug", &level));
  EXPECT_EQ(level, LoggingLevel::kWarn);
}

// The default level is read from the environment once per process, so these run in a fresh child process
// ("threadsafe" death tests re-execute the test binary, which inherits the environment).
class LogDefaultLevelFromEnvironmentDeathTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved_style_ = GTEST_FLAG_GET(death_test_style);
    GTEST_FLAG_SET(death_test_style, "threadsafe");
  }
  void TearDown() override {
    unsetenv("ZOL_LOG_LEVEL");
    GTEST_FLAG_SET(death_test_style, saved_style_);
  }

 private:
  std::string saved_style_;
};

TEST_F(LogDefaultLevelFromEnvironmentDeathTest, ANameSetsTheInitialDefaultLevel) {
  setenv("ZOL_LOG_LEVEL", "debug", 1);
  EXPECT_EXIT(std::exit(static_cast<int>(zol::log::DefaultLevel())), ::testing::ExitedWithCode(5), "");
}

TEST_F(LogDefaultLevelFromEnvironmentDeathTest, ANumberSetsTheInitialDefaultLevel) {
  setenv("ZOL_LOG_LEVEL", "2", 1);
  EXPECT_EXIT(std::exit(static_cast<int>(zol::log::DefaultLevel())), ::testing::ExitedWithCode(2), "");
}

TEST_F(LogDefaultLevelFromEnvironmentDeathTest, AnUnknownValueLeavesTheDefaultAtInfo) {
  setenv("ZOL_LOG_LEVEL", "loud", 1);
  EXPECT_EXIT(std::exit(static_cast<int>(zol::log::DefaultLevel())), ::testing::ExitedWithCode(4), "");
}

TEST_F(LogDefaultLevelFromEnvironmentDeathTest, WithoutTheVariableTheDefaultIsInfo) {
  unsetenv("ZOL_LOG_LEVEL");
  EXPECT_EXIT(std::exit(static_cast<int>(zol::log::DefaultLevel())), ::testing::ExitedWithCode(4), "");
}

}  // namespace
