// The call counting and failure injection that the signal service and the device activation service share.
#include "detail/failure_injector.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace {

enum class Op : std::size_t { kOpen, kRead };
using Injector = zol::detail::FailureInjector<Op, 2, int>;

TEST(FailureInjector, TheNthCallFromNowFailsOnceWithTheInjectedCode) {
  Injector injector;
  int code = 0;
  ASSERT_FALSE(injector.Intercept(Op::kRead, &code));
  ASSERT_TRUE(injector.Inject(Op::kRead, 2, -7));

  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
  EXPECT_TRUE(injector.Intercept(Op::kRead, &code));
  EXPECT_EQ(code, -7);
  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
  EXPECT_EQ(injector.calls(Op::kRead), 4U);
}

TEST(FailureInjector, InjectionsOfOneOperationLeaveTheOtherAlone) {
  Injector injector;
  int code = 0;
  ASSERT_TRUE(injector.Inject(Op::kOpen, 1, -1));

  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
  EXPECT_TRUE(injector.Intercept(Op::kOpen, &code));
  EXPECT_EQ(code, -1);
}

TEST(FailureInjector, TwoInjectionsForTheSameCallFireTheFirstAndLeaveNothingBehind) {
  Injector injector;
  int code = 0;
  ASSERT_TRUE(injector.Inject(Op::kRead, 1, -3));
  ASSERT_TRUE(injector.Inject(Op::kRead, 1, -4));

  EXPECT_TRUE(injector.Intercept(Op::kRead, &code));
  EXPECT_EQ(code, -3);
  for (int call = 0; call < 3; ++call) {
    EXPECT_FALSE(injector.Intercept(Op::kRead, &code)) << call;
  }
}

TEST(FailureInjector, ACallNumberOfZeroIsRefused) {
  Injector injector;
  int code = 0;
  EXPECT_FALSE(injector.Inject(Op::kRead, 0, -1));
  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
}

TEST(FailureInjector, ClearInjectionsKeepsTheCountsAndResetForgetsBoth) {
  Injector injector;
  int code = 0;
  ASSERT_TRUE(injector.Inject(Op::kRead, 2, -1));
  ASSERT_FALSE(injector.Intercept(Op::kRead, &code));

  injector.ClearInjections();
  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
  EXPECT_EQ(injector.calls(Op::kRead), 2U);

  ASSERT_TRUE(injector.Inject(Op::kRead, 1, -1));
  injector.Reset();
  EXPECT_EQ(injector.calls(Op::kRead), 0U);
  EXPECT_FALSE(injector.Intercept(Op::kRead, &code));
}

}  // namespace
