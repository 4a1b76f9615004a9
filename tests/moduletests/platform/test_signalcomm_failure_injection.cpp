#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "signalcomm_test_support.h"
#include "zol/log/logging.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace {

using zol::signalcomm::Service;
using Bytes = std::vector<std::uint8_t>;

using fsrl_test::IgnoreNotification;

constexpr const char* kGetByIndex = "SignalComm_SignalGroupCache_GetByIndex";
constexpr const char* kRetrieve = "SignalComm_SignalGroupCache_Retrieve";

class SignalCommFailureInjection : public ::testing::Test {
 protected:
  void SetUp() override {
    Service::Instance().Reset();
    Service::Instance().DefineSignalGroup("Alpha", 4);
    Service::Instance().DefineSignalGroup("Beta", 8);
    alpha_ = Service::Instance().IdentityOf("Alpha");
    beta_ = Service::Instance().IdentityOf("Beta");
    ASSERT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, nullptr, &context_), SIGNALCOMM_OK);
    const SignalComm_Name_t consumed[] = {alpha_, beta_};
    ASSERT_EQ(SignalComm_SignalGroupCache_Create(context_, nullptr, 0, consumed, 2, &cache_), SIGNALCOMM_OK);
  }
  void TearDown() override { Service::Instance().Reset(); }

  int GetByIndex(std::size_t index, const SignalComm_SignalGroup** group) const {
    return SignalComm_SignalGroupCache_GetByIndex(cache_, index, group);
  }

  SignalComm_Context_t context_ = 0;
  SignalComm_SignalGroupCache_t cache_ = 0;
  SignalComm_Name_t alpha_ = 0;
  SignalComm_Name_t beta_ = 0;
};

TEST_F(SignalCommFailureInjection, TheNthCallFailsWithTheInjectedCodeAndTheOthersSucceed) {
  Service::Instance().InjectFailure(kGetByIndex, 2, SIGNALCOMM_E_BUSY);
  const SignalComm_SignalGroup* group = nullptr;

  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(GetByIndex(1, &group), SIGNALCOMM_E_BUSY);
  EXPECT_EQ(GetByIndex(1, &group), SIGNALCOMM_OK);
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
}

TEST_F(SignalCommFailureInjection, AnInjectedCallWritesNothing) {
  Service::Instance().InjectFailure(kGetByIndex, 1, SIGNALCOMM_E_NO_MEMORY);
  const SignalComm_SignalGroup* group = nullptr;

  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_E_NO_MEMORY);
  EXPECT_EQ(group, nullptr);
}

TEST_F(SignalCommFailureInjection, CallsAreCountedFromTheInjection) {
  const SignalComm_SignalGroup* group = nullptr;
  ASSERT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  ASSERT_EQ(GetByIndex(1, &group), SIGNALCOMM_OK);

  Service::Instance().InjectFailure(kGetByIndex, 1, -5);

  EXPECT_EQ(GetByIndex(0, &group), -5);
  EXPECT_EQ(Service::Instance().CallCount(kGetByIndex), 3U);
}

TEST_F(SignalCommFailureInjection, SeveralInjectionsForOneFunctionEachFireOnce) {
  Service::Instance().InjectFailure(kGetByIndex, 1, -1);
  Service::Instance().InjectFailure(kGetByIndex, 3, -3);
  const SignalComm_SignalGroup* group = nullptr;

  EXPECT_EQ(GetByIndex(0, &group), -1);
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(GetByIndex(0, &group), -3);
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
}

TEST_F(SignalCommFailureInjection, AnInjectionOnlyAffectsItsOwnFunction) {
  Service::Instance().InjectFailure(kRetrieve, 1, SIGNALCOMM_E_BUSY);
  const SignalComm_SignalGroup* group = nullptr;

  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache_), SIGNALCOMM_E_BUSY);
}

TEST_F(SignalCommFailureInjection, AnInjectedCallDoesNotCheckItsArguments) {
  Service::Instance().InjectFailure(kGetByIndex, 1, SIGNALCOMM_E_NOT_FOUND);

  EXPECT_EQ(SignalComm_SignalGroupCache_GetByIndex(0, 99, nullptr), SIGNALCOMM_E_NOT_FOUND);
}

TEST_F(SignalCommFailureInjection, AnInjectedRetrieveLeavesTheSnapshotAsItWas) {
  const SignalComm_SignalGroup* group = nullptr;
  ASSERT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache_), SIGNALCOMM_OK);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{5, 6, 7, 8}), SIGNALCOMM_OK);
  Service::Instance().InjectFailure(kRetrieve, 1, SIGNALCOMM_E_BUSY);

  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache_), SIGNALCOMM_E_BUSY);

  EXPECT_EQ(group->status_flags, SIGNAL_GROUP_STATUS_VALUE_UPDATED | SIGNAL_GROUP_STATUS_VALUE_MODIFIED);
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache_, group->signals_p, &data, &size), SIGNALCOMM_OK);
  EXPECT_EQ(Bytes(data, data + size), (Bytes{1, 2, 3, 4}));
  // The arrival is still new to the next retrieval that succeeds.
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache_), SIGNALCOMM_OK);
  EXPECT_EQ(group->status_flags, SIGNAL_GROUP_STATUS_VALUE_UPDATED | SIGNAL_GROUP_STATUS_VALUE_MODIFIED);
}

TEST_F(SignalCommFailureInjection, AnInjectedCreateContextCreatesNothing) {
  Service::Instance().InjectFailure("SignalComm_CreateContext", 1, SIGNALCOMM_E_NO_MEMORY);
  SignalComm_Context_t context = 0;

  EXPECT_EQ(SignalComm_CreateContext("Other", "ot", &IgnoreNotification, nullptr, &context), SIGNALCOMM_E_NO_MEMORY);
  EXPECT_EQ(context, 0U);
}

TEST_F(SignalCommFailureInjection, AnInjectedDestroyKeepsTheContextAlive) {
  Service::Instance().InjectFailure("SignalComm_DestroyContext", 1, SIGNALCOMM_E_BUSY);
  SignalComm_Context_t context = context_;

  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_E_BUSY);
  EXPECT_EQ(context, context_);
  EXPECT_EQ(SignalComm_SetNotificationConfig(context_, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);
}

TEST_F(SignalCommFailureInjection, ClearInjectionsDropsTheInjectionsThatHaveNotFired) {
  Service::Instance().InjectFailure(kGetByIndex, 1, -1);
  Service::Instance().InjectFailure(kRetrieve, 1, -1);

  Service::Instance().ClearInjections();

  const SignalComm_SignalGroup* group = nullptr;
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache_), SIGNALCOMM_OK);
}

TEST_F(SignalCommFailureInjection, ResetDropsInjectionsAndCallCounts) {
  Service::Instance().InjectFailure("SignalComm_CreateContext", 1, -1);
  ASSERT_EQ(Service::Instance().CallCount("SignalComm_CreateContext"), 1U);

  Service::Instance().Reset();

  EXPECT_EQ(Service::Instance().CallCount("SignalComm_CreateContext"), 0U);
  SignalComm_Context_t context = 0;
  EXPECT_EQ(SignalComm_CreateContext("Other", "ot", &IgnoreNotification, nullptr, &context), SIGNALCOMM_OK);
}

TEST_F(SignalCommFailureInjection, CallCountCountsEveryCallOfEachFunctionFailedOnesIncluded) {
  Service::Instance().InjectFailure(kRetrieve, 1, -1);
  SignalComm_Context_t context = 0;
  ASSERT_EQ(SignalComm_CreateContext("Other", "ot", &IgnoreNotification, nullptr, &context), SIGNALCOMM_OK);
  const char* const names[] = {"Beta"};
  const SignalComm_SignalGroupInfo* infos[1] = {};
  ASSERT_EQ(SignalComm_GetSignalGroupInfo(context, names, 1, infos), SIGNALCOMM_OK);
  SignalComm_SignalGroupCache_t cache = 0;
  ASSERT_EQ(SignalComm_SignalGroupCache_Create(context, nullptr, 0, &beta_, 1, &cache), SIGNALCOMM_OK);
  const SignalComm_SignalGroup* group = nullptr;
  ASSERT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), -1);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SetNotificationConfig(context, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED), SIGNALCOMM_OK);
  std::uint8_t buffer[8] = {};
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, sizeof(buffer), buffer, &written), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_Signal_GetByteArray(cache, nullptr, sizeof(buffer), buffer, &written), SIGNALCOMM_E_INVALID);
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, group->signals_p, &data, &size), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);

  // The fixture created one context and one cache before.
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_CreateContext"), 2U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_DestroyContext"), 1U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_GetSignalGroupInfo"), 1U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_SignalGroupCache_Create"), 2U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_SignalGroupCache_Destroy"), 1U);
  EXPECT_EQ(Service::Instance().CallCount(kGetByIndex), 1U);
  EXPECT_EQ(Service::Instance().CallCount(kRetrieve), 2U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_SetNotificationConfig"), 1U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_Signal_GetByteArray"), 2U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_Signal_GetByteArrayBuffer"), 1U);
  EXPECT_EQ(Service::Instance().CallCount("SignalComm_NoSuchFunction"), 0U);
}

TEST_F(SignalCommFailureInjection, InjectionsThatCannotFireAreIgnoredAndLogged) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  Service::Instance().InjectFailure("SignalComm_NoSuchFunction", 1, -1);
  Service::Instance().InjectFailure(kGetByIndex, 0, -1);
  Service::Instance().InjectFailure(kGetByIndex, 1, 0);
  Service::Instance().InjectFailure(kGetByIndex, 1, 3);

  const SignalComm_SignalGroup* group = nullptr;
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_OK);
  const std::vector<zol::log::CapturingSink::Line> lines = sink.lines();
  ASSERT_EQ(lines.size(), 4U);
  for (const auto& line : lines) {
    EXPECT_EQ(line.context_id, "SCOM");
    EXPECT_EQ(line.level, zol::log::LoggingLevel::kWarn);
  }
}

TEST_F(SignalCommFailureInjection, AnInjectedCallLogsNothing) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);
  Service::Instance().InjectFailure(kGetByIndex, 1, SIGNALCOMM_E_BUSY);

  const SignalComm_SignalGroup* group = nullptr;
  EXPECT_EQ(GetByIndex(0, &group), SIGNALCOMM_E_BUSY);

  EXPECT_TRUE(sink.lines().empty());
}

}  // namespace
