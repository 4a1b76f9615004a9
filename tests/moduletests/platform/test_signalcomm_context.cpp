#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "signalcomm_test_support.h"
#include "zol/log/logging.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace {

using zol::signalcomm::Service;

using fsrl_test::IgnoreNotification;

class SignalCommContext : public fsrl_test::ThreeSignalGroups {
 protected:
  static SignalComm_Context_t Open() {
    SignalComm_Context_t context = 0;
    EXPECT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, nullptr, &context), SIGNALCOMM_OK);
    return context;
  }
};

TEST_F(SignalCommContext, CreateGivesDistinctNonZeroHandles) {
  const SignalComm_Context_t first = Open();
  const SignalComm_Context_t second = Open();

  EXPECT_NE(first, 0U);
  EXPECT_NE(second, 0U);
  EXPECT_NE(first, second);
}

TEST_F(SignalCommContext, CreateAcceptsANullUserPointer) {
  SignalComm_Context_t context = 0;

  EXPECT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, nullptr, &context), SIGNALCOMM_OK);
  EXPECT_NE(context, 0U);
}

TEST_F(SignalCommContext, CreateRejectsEveryNullArgumentAndLeavesTheHandleUntouched) {
  int user = 0;
  SignalComm_Context_t context = 77;

  EXPECT_EQ(SignalComm_CreateContext(nullptr, "cl", &IgnoreNotification, &user, &context), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_CreateContext("Client", nullptr, &IgnoreNotification, &user, &context), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_CreateContext("Client", "cl", nullptr, &user, &context), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, &user, nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(context, 77U);
}

TEST_F(SignalCommContext, DestroySetsTheHandleToZeroAndTheOldHandleIsRejectedAfterwards) {
  SignalComm_Context_t context = Open();
  const SignalComm_Context_t old = context;

  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);
  EXPECT_EQ(context, 0U);

  context = old;
  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(context, old);
  EXPECT_EQ(SignalComm_SetNotificationConfig(old, Service::Instance().IdentityOf("Alpha"),
                                             SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, DestroyRejectsANullPointerAndAZeroHandle) {
  SignalComm_Context_t none = 0;

  EXPECT_EQ(SignalComm_DestroyContext(nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_DestroyContext(&none), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, GroupInfoDescribesEachNamedGroupInTheOrderAsked) {
  const SignalComm_Context_t context = Open();
  const char* const names[] = {"Gamma", "Alpha", "Beta"};
  const SignalComm_SignalGroupInfo* infos[3] = {};

  ASSERT_EQ(SignalComm_GetSignalGroupInfo(context, names, 3, infos), SIGNALCOMM_OK);

  ASSERT_NE(infos[0], nullptr);
  ASSERT_NE(infos[1], nullptr);
  ASSERT_NE(infos[2], nullptr);
  EXPECT_STREQ(infos[0]->group_name, "Gamma");
  EXPECT_EQ(infos[0]->length, 2U);
  EXPECT_EQ(infos[0]->name, Service::Instance().IdentityOf("Gamma"));
  EXPECT_STREQ(infos[1]->group_name, "Alpha");
  EXPECT_EQ(infos[1]->length, 4U);
  EXPECT_EQ(infos[1]->name, Service::Instance().IdentityOf("Alpha"));
  EXPECT_STREQ(infos[2]->group_name, "Beta");
  EXPECT_EQ(infos[2]->length, 8U);
  EXPECT_EQ(infos[2]->name, Service::Instance().IdentityOf("Beta"));
}

TEST_F(SignalCommContext, GroupInfoRecordsStayInPlaceWhenMoreGroupsAreDefined) {
  const SignalComm_Context_t context = Open();
  const char* const names[] = {"Alpha"};
  const SignalComm_SignalGroupInfo* before[1] = {};
  ASSERT_EQ(SignalComm_GetSignalGroupInfo(context, names, 1, before), SIGNALCOMM_OK);

  for (int i = 0; i < 100; ++i) {
    Service::Instance().DefineSignalGroup("Extra" + std::to_string(i), 16);
  }
  const SignalComm_SignalGroupInfo* after[1] = {};
  ASSERT_EQ(SignalComm_GetSignalGroupInfo(context, names, 1, after), SIGNALCOMM_OK);

  EXPECT_EQ(after[0], before[0]);
  EXPECT_STREQ(before[0]->group_name, "Alpha");
  EXPECT_EQ(before[0]->length, 4U);
}

TEST_F(SignalCommContext, GroupInfoOfAnUnknownNameFailsWithNotFoundAndWritesNothing) {
  const SignalComm_Context_t context = Open();
  const char* const names[] = {"Alpha", "Delta"};
  const SignalComm_SignalGroupInfo sentinel{};
  const SignalComm_SignalGroupInfo* infos[2] = {&sentinel, &sentinel};

  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, names, 2, infos), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(infos[0], &sentinel);
  EXPECT_EQ(infos[1], &sentinel);
}

TEST_F(SignalCommContext, GroupInfoNamesAreCaseSensitive) {
  const SignalComm_Context_t context = Open();
  const char* const names[] = {"alpha"};
  const SignalComm_SignalGroupInfo* infos[1] = {};

  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, names, 1, infos), SIGNALCOMM_E_NOT_FOUND);
}

TEST_F(SignalCommContext, GroupInfoRejectsNullArraysANullNameAndAnUnknownContext) {
  const SignalComm_Context_t context = Open();
  const char* const names[] = {"Alpha"};
  const char* const null_name[] = {nullptr};
  const SignalComm_SignalGroupInfo* infos[1] = {};

  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, nullptr, 1, infos), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, names, 1, nullptr), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, null_name, 1, infos), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_GetSignalGroupInfo(0, names, 1, infos), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context + 1000, names, 1, infos), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, GroupInfoOfNoGroupsSucceedsWithNullArrays) {
  const SignalComm_Context_t context = Open();

  EXPECT_EQ(SignalComm_GetSignalGroupInfo(context, nullptr, 0, nullptr), SIGNALCOMM_OK);
}

TEST_F(SignalCommContext, NotificationConfigAcceptsDisabledUpdatedAndModified) {
  const SignalComm_Context_t context = Open();
  const SignalComm_Name_t alpha = Service::Instance().IdentityOf("Alpha");

  EXPECT_EQ(SignalComm_SetNotificationConfig(context, alpha, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_SetNotificationConfig(context, alpha, SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED), SIGNALCOMM_OK);
  EXPECT_EQ(SignalComm_SetNotificationConfig(context, alpha, SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED), SIGNALCOMM_OK);
}

TEST_F(SignalCommContext, NotificationConfigRejectsValuesThatAreNoSetting) {
  const SignalComm_Context_t context = Open();
  const SignalComm_Name_t alpha = Service::Instance().IdentityOf("Alpha");

  EXPECT_EQ(SignalComm_SetNotificationConfig(context, alpha, SIGNAL_GROUP_NOTIFICATION_CONFIG_MASK),
            SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_SetNotificationConfig(context, alpha, static_cast<SignalComm_SignalGroupNotificationConfig>(2)),
            SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, NotificationConfigOfAnUnknownGroupIsNotFoundAndOfAnUnknownContextInvalid) {
  const SignalComm_Context_t context = Open();

  EXPECT_EQ(SignalComm_SetNotificationConfig(context, 0, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(SignalComm_SetNotificationConfig(context, Service::Instance().IdentityOf("Gamma") + 1,
                                             SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(SignalComm_SetNotificationConfig(0, Service::Instance().IdentityOf("Alpha"),
                                             SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, AContextHandleIsNotAcceptedAsACacheHandle) {
  const SignalComm_Context_t context = Open();

  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(context), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommContext, ANormalSessionLogsNothing) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  SignalComm_Context_t context = Open();
  const char* const names[] = {"Alpha", "Beta"};
  const SignalComm_SignalGroupInfo* infos[2] = {};
  ASSERT_EQ(SignalComm_GetSignalGroupInfo(context, names, 2, infos), SIGNALCOMM_OK);
  const SignalComm_Name_t consumed[] = {infos[0]->name, infos[1]->name};
  SignalComm_SignalGroupCache_t cache = 0;
  ASSERT_EQ(SignalComm_SignalGroupCache_Create(context, nullptr, 0, consumed, 2, &cache), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SetNotificationConfig(context, consumed[0], SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED),
            SIGNALCOMM_OK);
  const std::vector<std::uint8_t> payload = {1, 2, 3, 4};
  ASSERT_EQ(Service::Instance().Publish("Alpha", payload), SIGNALCOMM_OK);
  Service::Instance().FlushNotifications();
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);
  const SignalComm_SignalGroup* group = nullptr;
  ASSERT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 0, &group), SIGNALCOMM_OK);
  std::uint8_t buffer[4] = {};
  std::size_t written = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArray(cache, group->signals_p, sizeof(buffer), buffer, &written), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SignalGroupCache_Destroy(&cache), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);

  EXPECT_TRUE(sink.lines().empty());
}

TEST_F(SignalCommContext, MisuseIsLoggedAsAWarningOfTheServiceContext) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  EXPECT_EQ(SignalComm_DestroyContext(nullptr), SIGNALCOMM_E_INVALID);

  const std::vector<zol::log::CapturingSink::Line> lines = sink.lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].context_id, "SCOM");
  EXPECT_EQ(lines[0].level, zol::log::LoggingLevel::kWarn);
  EXPECT_EQ(lines[0].message, "SignalComm_DestroyContext: null argument");
}

}  // namespace
