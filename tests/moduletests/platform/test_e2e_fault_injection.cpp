#include <gtest/gtest.h>

#include <cstdint>

#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/e2e_protection_testing.h"
#include "zol/e2e/signal_group_context.h"

namespace {

using zol::e2e::E2eProtectionProfile5;
using zol::e2e::SignalGroupContext;

SignalAdapter_SignalGroup MakeGroup(std::uint16_t data_id) {
  SignalAdapter_SignalGroup group{};
  group.profile_name = SIGNAL_DB_E2E_PROFILE_05;
  group.data_id = data_id;
  group.data_length = 8 * 8;
  group.max_delta_counter = 14;
  return group;
}

bool Creatable(const SignalAdapter_SignalGroup& group) {
  SignalGroupContext context;
  context.signal_group_ = &group;
  return static_cast<bool>(E2eProtectionProfile5::Create(context));
}

class E2eFaultInjectionTest : public ::testing::Test {
 protected:
  void SetUp() override { zol::e2e::testing::ClearRejections(); }
  void TearDown() override { zol::e2e::testing::ClearRejections(); }
};

TEST_F(E2eFaultInjectionTest, RejectedDataIdMakesCreationFailForThatGroupOnly) {
  const SignalAdapter_SignalGroup rejected = MakeGroup(0x0A7D);
  const SignalAdapter_SignalGroup other = MakeGroup(0x0A7E);
  ASSERT_TRUE(Creatable(rejected));

  EXPECT_TRUE(zol::e2e::testing::RejectProfile5Creation(0x0A7D));

  EXPECT_FALSE(Creatable(rejected));
  EXPECT_TRUE(Creatable(other));
}

TEST_F(E2eFaultInjectionTest, ClearingRejectionsMakesCreationWorkAgain) {
  const SignalAdapter_SignalGroup group = MakeGroup(0x0A7D);
  ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(0x0A7D));
  ASSERT_FALSE(Creatable(group));

  zol::e2e::testing::ClearRejections();

  EXPECT_TRUE(Creatable(group));
}

TEST_F(E2eFaultInjectionTest, RejectionStaysInForceForEveryLaterCreation) {
  const SignalAdapter_SignalGroup group = MakeGroup(0x0100);
  ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(0x0100));

  EXPECT_FALSE(Creatable(group));
  EXPECT_FALSE(Creatable(group));
}

TEST_F(E2eFaultInjectionTest, RejectionsBeyondTheCapacityAreRefusedAndChangeNothing) {
  for (std::uint16_t id = 1; id <= zol::e2e::testing::kMaxRejectedDataIds; ++id) {
    ASSERT_TRUE(zol::e2e::testing::RejectProfile5Creation(id));
  }
  // Refusing an id that is refused already needs no room.
  EXPECT_TRUE(zol::e2e::testing::RejectProfile5Creation(1));

  const auto beyond = static_cast<std::uint16_t>(zol::e2e::testing::kMaxRejectedDataIds + 1U);
  EXPECT_FALSE(zol::e2e::testing::RejectProfile5Creation(beyond));
  EXPECT_TRUE(Creatable(MakeGroup(beyond)));
  EXPECT_FALSE(Creatable(MakeGroup(1)));
}

}  // namespace
