#include "log/logging_wrapper.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zol/log/logging.h"

namespace {

using zol::log::LoggingLevel;

class LoggingWrapperTest : public ::testing::Test {
 protected:
  LoggingWrapperTest() : previous_default_level_(zol::log::DefaultLevel()) {
    zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  }
  ~LoggingWrapperTest() override { zol::log::SetDefaultLevel(previous_default_level_); }

  std::vector<std::string> Messages() const {
    std::vector<std::string> messages;
    for (const auto& line : sink_.lines()) {
      messages.push_back(line.message);
    }
    return messages;
  }

  LoggingLevel previous_default_level_;
  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  LoggingWrapper log_{"TST", "Logging wrapper under test"};
};

TEST_F(LoggingWrapperTest, ContextCarriesTheApplicationIdAndDescription) {
  EXPECT_EQ(log_.context().id(), zol::string_view("TST"));
  EXPECT_EQ(log_.context().description(), zol::string_view("Logging wrapper under test"));
}

TEST_F(LoggingWrapperTest, PlainMessagesAreLoggedAtTheirLevelUnderTheContextId) {
  log_.context().SetLevel(LoggingLevel::kDebug);
  log_.LogError("error line");
  log_.LogWarn("warning line");
  log_.LogDebug("debug line");
  const auto lines = sink_.lines();
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].level, LoggingLevel::kError);
  EXPECT_EQ(lines[0].message, "error line");
  EXPECT_EQ(lines[1].level, LoggingLevel::kWarn);
  EXPECT_EQ(lines[1].message, "warning line");
  EXPECT_EQ(lines[2].level, LoggingLevel::kDebug);
  EXPECT_EQ(lines[2].message, "debug line");
  for (const auto& line : lines) {
    EXPECT_EQ(line.context_id, "TST");
  }
}

TEST_F(LoggingWrapperTest, PlainMessageIsLoggedAsItIsWithoutPlaceholderProcessing) {
  log_.LogWarn("100% {} {{kept}}");
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, "100% {} {{kept}}"));
}

TEST_F(LoggingWrapperTest, FormattedMessageReplacesPlaceholdersInOrder) {
  log_.LogError("scan {} of {} valid {} ratio {}", std::uint8_t{7}, 256, true, 0.5);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, "scan 7 of 256 valid true ratio 0.5"));
}

TEST_F(LoggingWrapperTest, FormattedWarningAndDebugUseTheirLevels) {
  log_.context().SetLevel(LoggingLevel::kDebug);
  log_.LogWarn("warn {}", 1);
  log_.LogDebug("debug {}", 2);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, "warn 1"));
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "debug 2"));
}

TEST_F(LoggingWrapperTest, ArgumentWithoutPlaceholderIsLeftOut) {
  log_.context().SetLevel(LoggingLevel::kDebug);
  log_.LogDebug("Initialized detections for scan: ", std::size_t{5});
  EXPECT_EQ(Messages(), std::vector<std::string>{"Initialized detections for scan: "});
}

TEST_F(LoggingWrapperTest, DebugLinesAreDroppedAtTheDefaultInfoLevel) {
  EXPECT_FALSE(log_.CheckIsLogLevelEnabled(LoggingLevel::kDebug));
  EXPECT_TRUE(log_.CheckIsLogLevelEnabled(LoggingLevel::kWarn));
  log_.LogDebug("plain");
  log_.LogDebug("formatted {}", 1);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(LoggingWrapperTest, LevelCheckFollowsTheContextsOwnLevel) {
  log_.context().SetLevel(LoggingLevel::kError);
  EXPECT_TRUE(log_.CheckIsLogLevelEnabled(LoggingLevel::kError));
  EXPECT_FALSE(log_.CheckIsLogLevelEnabled(LoggingLevel::kWarn));
  log_.LogWarn("dropped {}", 1);
  log_.LogWarn("dropped");
  log_.LogError("kept {}", 1);
  EXPECT_EQ(Messages(), std::vector<std::string>{"kept 1"});
}

TEST_F(LoggingWrapperTest, LevelCheckFollowsTheDefaultLevelWithoutOwnLevel) {
  zol::log::SetDefaultLevel(LoggingLevel::kDebug);
  EXPECT_TRUE(log_.CheckIsLogLevelEnabled(LoggingLevel::kDebug));
  zol::log::SetDefaultLevel(LoggingLevel::kOff);
  EXPECT_FALSE(log_.CheckIsLogLevelEnabled(LoggingLevel::kError));
}

TEST_F(LoggingWrapperTest, OffIsNeverAnEnabledLevel) {
  log_.context().SetLevel(LoggingLevel::kVerbose);
  EXPECT_FALSE(log_.CheckIsLogLevelEnabled(LoggingLevel::kOff));
}

TEST_F(LoggingWrapperTest, FormattedLineIsCutAt511Characters) {
  log_.LogError("id {}", std::string(600U, 'x'));
  const std::vector<std::string> messages = Messages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].size(), LoggingWrapper::kMessageBufferSize - 1U);
  EXPECT_EQ(messages[0], "id " + std::string(508U, 'x'));
}

TEST_F(LoggingWrapperTest, FormattedLineOfExactly511CharactersIsKeptWhole) {
  const std::string text(511U, 'y');
  log_.LogError("{}", text);
  log_.LogError("{}", text + "z");
  EXPECT_EQ(Messages(), (std::vector<std::string>{text, text}));
}

// The start of a page that may not be read: formatting a string that points there faults.
const char* UnreadableText() {
  static void* const page =
      mmap(nullptr, static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return page == MAP_FAILED ? nullptr : static_cast<const char*>(page);
}

bool DidNotExitCleanly(int status) { return !(WIFEXITED(status) && WEXITSTATUS(status) == 0); }

TEST(LoggingWrapperDeathTest, DisabledLineNeverFormatsItsArguments) {
  const char* unreadable = UnreadableText();
  ASSERT_NE(unreadable, nullptr);
  LoggingWrapper log("TST", "Logging wrapper under test");
  log.context().SetLevel(LoggingLevel::kWarn);
  EXPECT_EXIT(
      {
        log.LogDebug("text {}", unreadable);
        std::_Exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

// Shows that the probe above is real: an enabled line reads its string argument and faults on it.
TEST(LoggingWrapperDeathTest, EnabledLineFormatsItsArguments) {
  const char* unreadable = UnreadableText();
  ASSERT_NE(unreadable, nullptr);
  LoggingWrapper log("TST", "Logging wrapper under test");
  log.context().SetLevel(LoggingLevel::kDebug);
  EXPECT_EXIT(
      {
        log.LogDebug("text {}", unreadable);
        std::_Exit(0);
      },
      DidNotExitCleanly, "");
}

}  // namespace
