#include "signalcomm_test_support.h"
#include "zol/signalcomm/service.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "zol/e2e/signal_database.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/signalcomm/signal_comm.h"

namespace {

using zol::signalcomm::Service;
using Bytes = std::vector<std::uint8_t>;

using fsrl_test::IgnoreNotification;

SignalAdapter_SignalGroup GroupRecord(const char* name, std::uint16_t data_length_bits) {
  SignalAdapter_SignalGroup record{};
  std::strncpy(reinterpret_cast<char*>(record.name), name, SIGNAL_DB_NAME_SIZE - 1);
  record.data_length = data_length_bits;
  return record;
}

// Length of a group as the client side sees it.
std::uint32_t LengthOf(const char* name) {
  SignalComm_Context_t context = 0;
  EXPECT_EQ(SignalComm_CreateContext("Probe", "pr", &IgnoreNotification, nullptr, &context), SIGNALCOMM_OK);
  const SignalComm_SignalGroupInfo* info = nullptr;
  const int result = SignalComm_GetSignalGroupInfo(context, &name, 1, &info);
  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);
  return result == SIGNALCOMM_OK ? info->length : 0U;
}

class SignalCommService : public ::testing::Test {
 protected:
  void SetUp() override { Service::Instance().Reset(); }
  void TearDown() override { Service::Instance().Reset(); }

  struct AlphaClient {
    SignalComm_Name_t alpha = 0;
    SignalComm_Context_t context = 0;
    SignalComm_SignalGroupCache_t cache = 0;
  };
  // Group "Alpha" (4 bytes) defined, and a client context with a cache of it.
  static AlphaClient MakeAlphaClient() {
    AlphaClient client;
    Service::Instance().DefineSignalGroup("Alpha", 4);
    client.alpha = Service::Instance().IdentityOf("Alpha");
    EXPECT_EQ(SignalComm_CreateContext("Client", "cl", &IgnoreNotification, nullptr, &client.context), SIGNALCOMM_OK);
    EXPECT_EQ(SignalComm_SignalGroupCache_Create(client.context, nullptr, 0, &client.alpha, 1, &client.cache),
              SIGNALCOMM_OK);
    return client;
  }
};

TEST_F(SignalCommService, IsOneObjectForTheWholeProcess) { EXPECT_EQ(&Service::Instance(), &Service::Instance()); }

TEST_F(SignalCommService, EachDefinedGroupGetsADistinctNonZeroIdentity) {
  Service::Instance().DefineSignalGroup("Alpha", 4);
  Service::Instance().DefineSignalGroup("Beta", 8);
  Service::Instance().DefineSignalGroup("Gamma", 2);

  const std::set<SignalComm_Name_t> identities = {Service::Instance().IdentityOf("Alpha"),
                                                  Service::Instance().IdentityOf("Beta"),
                                                  Service::Instance().IdentityOf("Gamma")};
  EXPECT_EQ(identities.size(), 3U);
  EXPECT_EQ(identities.count(0), 0U);
}

TEST_F(SignalCommService, AnUnknownNameHasNoIdentity) {
  Service::Instance().DefineSignalGroup("Alpha", 4);

  EXPECT_EQ(Service::Instance().IdentityOf("Beta"), 0U);
  EXPECT_EQ(Service::Instance().IdentityOf(""), 0U);
}

TEST_F(SignalCommService, DefiningAKnownGroupAgainKeepsItsIdentityAndLength) {
  Service::Instance().DefineSignalGroup("Alpha", 4);
  const SignalComm_Name_t identity = Service::Instance().IdentityOf("Alpha");

  Service::Instance().DefineSignalGroup("Alpha", 4);

  EXPECT_EQ(Service::Instance().IdentityOf("Alpha"), identity);
  EXPECT_EQ(LengthOf("Alpha"), 4U);
}

TEST_F(SignalCommService, RedefiningAGroupWithAnotherLengthIsIgnoredAndLogged) {
  Service::Instance().DefineSignalGroup("Alpha", 4);
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  Service::Instance().DefineSignalGroup("Alpha", 6);

  EXPECT_EQ(LengthOf("Alpha"), 4U);
  EXPECT_TRUE(sink.Contains(zol::log::LoggingLevel::kWarn,
                            "DefineSignalGroup: 'Alpha' is already defined with length 4, not 6; ignored"));
}

TEST_F(SignalCommService, AGroupWithoutANameIsNotDefined) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  Service::Instance().DefineSignalGroup("", 4);

  EXPECT_EQ(Service::Instance().IdentityOf(""), 0U);
  EXPECT_TRUE(sink.Contains(zol::log::LoggingLevel::kWarn, "DefineSignalGroup: a signal group needs a name"));
}

TEST_F(SignalCommService, GroupsOfASignalDatabaseAreDefinedWithTheirLengthInBytes) {
  const SignalAdapter_SignalGroup records[] = {GroupRecord("RecordOne", 48 * 8), GroupRecord("RecordTwo", 21 * 8)};

  Service::Instance().DefineSignalGroups(records, 2);

  EXPECT_NE(Service::Instance().IdentityOf("RecordOne"), 0U);
  EXPECT_NE(Service::Instance().IdentityOf("RecordTwo"), 0U);
  EXPECT_EQ(LengthOf("RecordOne"), 48U);
  EXPECT_EQ(LengthOf("RecordTwo"), 21U);
}

TEST_F(SignalCommService, ADatabaseNameFillingTheWholeFieldIsReadUpToTheFieldsEnd) {
  SignalAdapter_SignalGroup record{};
  std::memset(record.name, 'N', SIGNAL_DB_NAME_SIZE);
  record.data_length = 16;

  Service::Instance().DefineSignalGroups(&record, 1);

  EXPECT_NE(Service::Instance().IdentityOf(std::string(SIGNAL_DB_NAME_SIZE, 'N')), 0U);
}

TEST_F(SignalCommService, ANullDatabaseDefinesNothing) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  Service::Instance().DefineSignalGroups(nullptr, 3);

  EXPECT_TRUE(sink.Contains(zol::log::LoggingLevel::kWarn, "DefineSignalGroups: null group table"));
}

TEST_F(SignalCommService, PublishingToAnUnknownGroupFailsWithNotFoundAndIsNoArrival) {
  const Bytes payload = {1, 2};

  EXPECT_EQ(Service::Instance().Publish("Nobody", payload), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_EQ(Service::Instance().Publish(SignalComm_Name_t{0}, payload), SIGNALCOMM_E_NOT_FOUND);
  EXPECT_FALSE(Service::Instance().has_arrivals());
  EXPECT_EQ(Service::Instance().arrival_count(), 0U);
}

TEST_F(SignalCommService, PublishingANullPayloadWithASizeIsInvalid) {
  Service::Instance().DefineSignalGroup("Alpha", 4);

  EXPECT_EQ(Service::Instance().Publish("Alpha", zol::memory::span<const std::uint8_t>(nullptr, 4)),
            SIGNALCOMM_E_INVALID);
  EXPECT_EQ(Service::Instance().arrival_count(), 0U);
}

TEST_F(SignalCommService, PublishingByIdentityStoresThePayloadLikePublishingByName) {
  const AlphaClient client = MakeAlphaClient();
  const SignalComm_Name_t alpha = client.alpha;
  const SignalComm_SignalGroupCache_t cache = client.cache;

  ASSERT_EQ(Service::Instance().Publish(alpha, Bytes{4, 3, 2, 1}), SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  const SignalComm_Signal signal{alpha, 0};
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(cache, &signal, &data, &size), SIGNALCOMM_OK);
  EXPECT_EQ(Bytes(data, data + size), (Bytes{4, 3, 2, 1}));
}

TEST_F(SignalCommService, ArrivalsAreTimedWithTheMonotonicClock) {
  zol::ScopedManualClock clock(zol::MonoClock::time_point(std::chrono::seconds(100)));
  Service::Instance().Reset();
  Service::Instance().DefineSignalGroup("Alpha", 4);
  Service::Instance().DefineSignalGroup("Beta", 8);

  EXPECT_EQ(Service::Instance().started_at(), zol::MonoClock::time_point(std::chrono::seconds(100)));
  EXPECT_FALSE(Service::Instance().has_arrivals());
  EXPECT_EQ(Service::Instance().last_arrival(), Service::Instance().started_at());
  EXPECT_EQ(Service::Instance().arrival_count(), 0U);

  clock.Advance(std::chrono::milliseconds(5));
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  EXPECT_TRUE(Service::Instance().has_arrivals());
  EXPECT_EQ(Service::Instance().last_arrival(),
            zol::MonoClock::time_point(std::chrono::seconds(100) + std::chrono::milliseconds(5)));
  EXPECT_EQ(Service::Instance().arrival_count(), 1U);

  clock.Advance(std::chrono::milliseconds(20));
  ASSERT_EQ(Service::Instance().Publish("Beta", Bytes{1}), SIGNALCOMM_OK);
  EXPECT_EQ(Service::Instance().last_arrival(),
            zol::MonoClock::time_point(std::chrono::seconds(100) + std::chrono::milliseconds(25)));
  EXPECT_EQ(Service::Instance().arrival_count(), 2U);
  EXPECT_EQ(Service::Instance().started_at(), zol::MonoClock::time_point(std::chrono::seconds(100)));
}

TEST_F(SignalCommService, ResetForgetsArrivalsAndRestartsTheClockOfTheStart) {
  zol::ScopedManualClock clock(zol::MonoClock::time_point(std::chrono::seconds(1)));
  Service::Instance().DefineSignalGroup("Alpha", 4);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  clock.Advance(std::chrono::seconds(3));

  Service::Instance().Reset();

  EXPECT_EQ(Service::Instance().started_at(), zol::MonoClock::time_point(std::chrono::seconds(4)));
  EXPECT_FALSE(Service::Instance().has_arrivals());
  EXPECT_EQ(Service::Instance().arrival_count(), 0U);
  EXPECT_EQ(Service::Instance().last_arrival(), Service::Instance().started_at());
}

TEST_F(SignalCommService, ResetForgetsGroupsContextsAndCaches) {
  const AlphaClient client = MakeAlphaClient();
  SignalComm_Context_t context = client.context;
  const SignalComm_SignalGroupCache_t cache = client.cache;

  Service::Instance().Reset();

  EXPECT_EQ(Service::Instance().IdentityOf("Alpha"), 0U);
  EXPECT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_E_INVALID);
  EXPECT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_E_INVALID);
}

TEST_F(SignalCommService, AGroupDefinedAgainAfterAResetStartsWithoutPayload) {
  Service::Instance().DefineSignalGroup("Alpha", 4);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  Service::Instance().Reset();
  const AlphaClient client = MakeAlphaClient();
  const SignalComm_SignalGroupCache_t cache = client.cache;

  ASSERT_EQ(SignalComm_SignalGroupCache_Retrieve(cache), SIGNALCOMM_OK);

  const SignalComm_SignalGroup* group = nullptr;
  ASSERT_EQ(SignalComm_SignalGroupCache_GetByIndex(cache, 0, &group), SIGNALCOMM_OK);
  EXPECT_EQ(group->status_flags, SIGNAL_GROUP_STATUS_VALUE_INITIAL);
}

TEST_F(SignalCommService, ResetReturnsTheMemoryOfCachesLeftOpen) {
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);
  MakeAlphaClient();
  ASSERT_GT(counting.outstanding_allocations(), 0U);

  Service::Instance().Reset();

  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(SignalCommService, ResetDropsTheNotificationsOfForgottenContexts) {
  Service::Instance().DefineSignalGroup("Alpha", 4);
  int calls = 0;
  SignalComm_Context_t context = 0;
  ASSERT_EQ(SignalComm_CreateContext(
                "Client", "cl", [](const unsigned long*, unsigned long, void* user) { ++*static_cast<int*>(user); },
                &calls, &context),
            SIGNALCOMM_OK);
  ASSERT_EQ(SignalComm_SetNotificationConfig(context, Service::Instance().IdentityOf("Alpha"),
                                             SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED),
            SIGNALCOMM_OK);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  Service::Instance().FlushNotifications();
  ASSERT_EQ(calls, 1);

  Service::Instance().Reset();
  Service::Instance().DefineSignalGroup("Alpha", 4);
  ASSERT_EQ(Service::Instance().Publish("Alpha", Bytes{1, 2, 3, 4}), SIGNALCOMM_OK);
  Service::Instance().FlushNotifications();

  EXPECT_EQ(calls, 1);
}

}  // namespace
