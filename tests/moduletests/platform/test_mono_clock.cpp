#include "zol/mono_clock.h"

#include <chrono>
#include <cstdint>
#include <ratio>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using zol::MonoClock;

// Every test leaves the process-wide clock in system mode, whatever happens inside.
class MonoClockTest : public ::testing::Test {
 protected:
  void TearDown() override { MonoClock::UseSystem(); }
};

TEST_F(MonoClockTest, CountsSigned64BitNanosecondsAndIsSteady) {
  EXPECT_TRUE((std::is_same<MonoClock::rep, std::int64_t>::value));
  EXPECT_TRUE((std::is_same<MonoClock::period, std::nano>::value));
  EXPECT_TRUE((std::is_same<MonoClock::duration, nanoseconds>::value));
  EXPECT_TRUE((std::is_same<zol::TimePoint, MonoClock::time_point>::value));
  EXPECT_TRUE(MonoClock::is_steady);
}

TEST_F(MonoClockTest, ManualModeStartsAtTheGivenTimeAndStandsStill) {
  MonoClock::UseManual(MonoClock::time_point{seconds(5)});

  EXPECT_TRUE(MonoClock::IsManual());
  EXPECT_EQ(MonoClock::now(), MonoClock::time_point{seconds(5)});
  EXPECT_EQ(MonoClock::now(), MonoClock::time_point{seconds(5)});
}

TEST_F(MonoClockTest, SetManualPutsTheTimeWhereverTold) {
  MonoClock::UseManual(MonoClock::time_point{});

  MonoClock::SetManual(MonoClock::time_point{nanoseconds(123456789)});
  EXPECT_EQ(MonoClock::now().time_since_epoch().count(), 123456789);

  MonoClock::SetManual(MonoClock::time_point{nanoseconds(42)});
  EXPECT_EQ(MonoClock::now().time_since_epoch().count(), 42);
}

TEST_F(MonoClockTest, AdvanceManualAddsToTheCurrentManualTime) {
  MonoClock::UseManual(MonoClock::time_point{milliseconds(10)});

  MonoClock::AdvanceManual(milliseconds(1));
  MonoClock::AdvanceManual(nanoseconds(7));

  EXPECT_EQ(MonoClock::now(), MonoClock::time_point{milliseconds(11) + nanoseconds(7)});
}

TEST_F(MonoClockTest, UseSystemSwitchesBackToTheSteadyClock) {
  MonoClock::UseManual(MonoClock::time_point{});
  MonoClock::UseSystem();

  const auto before = std::chrono::steady_clock::now().time_since_epoch();
  const auto now = MonoClock::now().time_since_epoch();
  const auto after = std::chrono::steady_clock::now().time_since_epoch();

  EXPECT_FALSE(MonoClock::IsManual());
  EXPECT_GE(now, before);
  EXPECT_LE(now, after);
  EXPECT_GT(now.count(), 0);
}

TEST_F(MonoClockTest, SystemTimeNeverGoesBackwards) {
  MonoClock::time_point previous = MonoClock::now();
  for (int i = 0; i < 10000; ++i) {
    const MonoClock::time_point current = MonoClock::now();
    ASSERT_GE(current, previous);
    previous = current;
  }
}

TEST_F(MonoClockTest, ScopedManualClockControlsTimeAndRestoresTheSystemClock) {
  {
    zol::ScopedManualClock clock(MonoClock::time_point{seconds(1)});
    EXPECT_TRUE(MonoClock::IsManual());
    EXPECT_EQ(clock.now(), MonoClock::time_point{seconds(1)});

    clock.Advance(milliseconds(250));
    EXPECT_EQ(MonoClock::now(), MonoClock::time_point{milliseconds(1250)});

    clock.Set(MonoClock::time_point{seconds(3)});
    EXPECT_EQ(MonoClock::now(), MonoClock::time_point{seconds(3)});
  }
  EXPECT_FALSE(MonoClock::IsManual());
}

TEST_F(MonoClockTest, ScopedManualClockStartsAtZeroByDefault) {
  const zol::ScopedManualClock clock;
  EXPECT_EQ(MonoClock::now().time_since_epoch().count(), 0);
}

}  // namespace
