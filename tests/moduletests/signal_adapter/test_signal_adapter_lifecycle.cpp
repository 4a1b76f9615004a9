// SignalAdapter::Create, the Impl's construction, set-up and destruction, and
// the properties the adapter hands out.
#include <gtest/gtest.h>

#include <cctype>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "signal_adapter_test_support.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/pmr/counting_resource.h"

namespace fsrl_test {
namespace {

using initialfrontsideradarlefthal::types::RSDS4SigSts1;

constexpr const char* kSetupFailed = "InitialFrontSideRadarLeftHal Failed to setup signal data, error_code: -1";

// The name every property must carry: client name, a dot, the group name in lower case.
std::string ExpectedPropertyName(std::size_t index) {
  std::string name = GroupName(index);
  for (char& c : name) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return "InitialFrontSideRadarLeftHal." + name;
}

using SignalAdapterLifecycleTest = SignalAdapterTest;

TEST_F(SignalAdapterLifecycleTest, CreateWithAParentHandsOutAllFiftyTwoPropertiesWithoutLogging) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);

  ASSERT_TRUE(adapter);
  std::vector<std::string> names;
#define FSRL_COLLECT_NAME(index, Record, stem) \
  ASSERT_TRUE(adapter->stem()) << #stem;       \
  names.push_back(adapter->stem()->name().to_string());
  FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_COLLECT_NAME)
#undef FSRL_COLLECT_NAME
  ASSERT_EQ(names.size(), kGroupCount);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(names[i], ExpectedPropertyName(i));
  }
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterLifecycleTest, CreateConnectsAsOneClientWithOneCacheOfAllGroupsInTableOrder) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();

  EXPECT_EQ(Calls("SignalComm_CreateContext"), 1U);
  EXPECT_EQ(Calls("SignalComm_GetSignalGroupInfo"), 1U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Create"), 1U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_GetByIndex"), kGroupCount);
  EXPECT_TRUE(impl->context_created_);
  EXPECT_TRUE(impl->consumed_group_cache_created_);
  EXPECT_NE(impl->sig_ctx_, 0U);
  EXPECT_NE(impl->consumed_group_cache_, 0U);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const SignalComm_Name_t identity = Service::Instance().IdentityOf(zol::string_view(GroupName(i).c_str()));
    ASSERT_NE(impl->consumed_groups_info_[i], nullptr) << i;
    EXPECT_EQ(impl->consumed_groups_info_[i]->name, identity) << i;
    EXPECT_EQ(std::string(impl->consumed_groups_info_[i]->group_name), GroupName(i));
    ASSERT_NE(impl->consumed_groups_[i], nullptr) << i;
    EXPECT_EQ(impl->consumed_groups_[i]->name, identity) << i;
  }
  EXPECT_FALSE(impl->has_retrieved_cache_);
}

TEST_F(SignalAdapterLifecycleTest, ConstructionContactsNoServiceAndStartsWithEmptyHandles) {
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  EXPECT_EQ(Calls("SignalComm_CreateContext"), 0U);
  EXPECT_EQ(impl->sig_ctx_, 0U);
  EXPECT_EQ(impl->consumed_group_cache_, 0U);
  EXPECT_FALSE(impl->context_created_);
  EXPECT_FALSE(impl->consumed_group_cache_created_);
  EXPECT_FALSE(impl->has_retrieved_cache_);
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(impl->consumed_groups_info_[i], nullptr);
    EXPECT_EQ(impl->consumed_groups_[i], nullptr);
  }
  EXPECT_FALSE(impl->rsds4detn000to004_);
  EXPECT_FALSE(impl->rsds4sig_sts2_);
  EXPECT_EQ(impl->log_context_.id().to_string(), "SAG");
  EXPECT_TRUE(impl->log_context_.description().empty());
}

TEST_F(SignalAdapterLifecycleTest, NullParentYieldsNoExecutionContextAnEmptyParentNameAndUnchangedPropertyNames) {
  std::shared_ptr<Impl> impl = MakeImpl(nullptr);

  EXPECT_FALSE(impl->execution_context_);
  EXPECT_TRUE(impl->parent_name_.empty());
  ASSERT_EQ(impl->Init(), ErrorCode::kSuccess);
  EXPECT_EQ(impl->get_rsds4detn000to004()->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4detn000to004");
  EXPECT_EQ(impl->get_rsds4sig_sts2()->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4sigsts2");
  EXPECT_TRUE(SignalAdapter::Create(nullptr));
}

TEST_F(SignalAdapterLifecycleTest, ParentGivesItsExecutionContextAndQualifiedNameButNotThePropertyNames) {
  const zol::afw::core::ContextualObject hal(&app_, "hal");

  std::shared_ptr<Impl> impl = MakeImpl(&hal);

  EXPECT_EQ(impl->execution_context_, app_.execution_context());
  EXPECT_EQ(std::string(impl->parent_name_.c_str()), "app.hal");
  ASSERT_EQ(impl->Init(), ErrorCode::kSuccess);
  EXPECT_EQ(impl->get_rsds4obj00to01()->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4obj00to01");
}

TEST_F(SignalAdapterLifecycleTest, RejectedThirtiethCacheLookupFailsCreateWithCodeMinusOneAndUndoesTheSetUp) {
  Service::Instance().InjectFailure("SignalComm_SignalGroupCache_GetByIndex", 30, SIGNALCOMM_E_BUSY);

  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);

  EXPECT_FALSE(adapter);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kSetupFailed));
  EXPECT_EQ(sink_.Count("InitialFrontSideRadarLeftHal Failed to setup signal data, error_code: -16"), 0U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_GetByIndex"), 30U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 1U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterLifecycleTest, RejectedCacheLookupLeavesTheRemainingSlotsEmptyAndNoProtectionMade) {
  Service::Instance().InjectFailure("SignalComm_SignalGroupCache_GetByIndex", 30, SIGNALCOMM_E_BUSY);
  std::shared_ptr<Impl> impl = MakeImpl(&app_);

  EXPECT_EQ(impl->Init(), ErrorCode::kFailure);

  for (std::size_t i = 0; i < 29; ++i) {
    EXPECT_NE(impl->consumed_groups_[i], nullptr) << i;
  }
  for (std::size_t i = 29; i < kGroupCount; ++i) {
    EXPECT_EQ(impl->consumed_groups_[i], nullptr) << i;
  }
  EXPECT_FALSE(impl->rsds4detn000to004_e2e_protection_);
  EXPECT_FALSE(impl->rsds4detn000to004_);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 0U);

  impl.reset();

  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 1U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterLifecycleTest, FailedContextCreationDestroysNeitherCacheNorContext) {
  Service::Instance().InjectFailure("SignalComm_CreateContext", 1, SIGNALCOMM_E_NO_MEMORY);

  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);

  EXPECT_FALSE(adapter);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kSetupFailed));
  EXPECT_EQ(Calls("SignalComm_GetSignalGroupInfo"), 0U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Create"), 0U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 0U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 0U);
}

TEST_F(SignalAdapterLifecycleTest, FailedGroupInfoLookupDestroysOnlyTheContext) {
  Service::Instance().InjectFailure("SignalComm_GetSignalGroupInfo", 1, SIGNALCOMM_E_NOT_FOUND);

  EXPECT_FALSE(SignalAdapter::Create(&app_));

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kSetupFailed));
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Create"), 0U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 0U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterLifecycleTest, FailedCacheCreationDestroysOnlyTheContext) {
  Service::Instance().InjectFailure("SignalComm_SignalGroupCache_Create", 1, SIGNALCOMM_E_NO_MEMORY);

  EXPECT_FALSE(SignalAdapter::Create(&app_));

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kSetupFailed));
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_GetByIndex"), 0U);
  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 0U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterLifecycleTest, DestroyingAnAdapterReleasesCacheAndContextOnce) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);

  adapter.reset();

  EXPECT_EQ(Calls("SignalComm_SignalGroupCache_Destroy"), 1U);
  EXPECT_EQ(Calls("SignalComm_DestroyContext"), 1U);
}

TEST_F(SignalAdapterLifecycleTest, TwoCallsToAnAccessorReturnTheSamePropertyAndOneMoreReference) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);

  const auto first = adapter->rsds4detn085to089();
  const long references = first.use_count();
  const auto second = adapter->rsds4detn085to089();

  EXPECT_EQ(first.get(), second.get());
  EXPECT_EQ(first.use_count(), references + 1);
}

TEST_F(SignalAdapterLifecycleTest, PropertyKeptAfterTheAdapterIsGoneStillExistsButItsValueGetterIsEmpty) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  Publish(kSigSts1, PatternFrame(kSigSts1, 0));
  std::shared_ptr<zol::e2e::E2ESignalGroupProperty<RSDS4SigSts1>> property = adapter->rsds4sig_sts1();
  RSDS4SigSts1 record{};
  ASSERT_EQ(property->get(&record), ErrorCode::kSuccess);

  adapter.reset();

  ASSERT_TRUE(property);
  EXPECT_EQ(property->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4sigsts1");
  EXPECT_EQ(property->get(&record), ErrorCode::kNotImplemented);
  zol::memory::span<const unsigned char> bytes;
  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kNotImplemented);
}

TEST_F(SignalAdapterLifecycleTest, EveryPropertyIsDisconnectedWhenTheAdapterIsDestroyed) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  std::vector<std::shared_ptr<zol::afw::core::GenericPropertyBase>> kept;
  std::vector<std::function<ErrorCode()>> reads;
#define FSRL_KEEP(index, Record, stem)                      \
  {                                                         \
    const auto property = adapter->stem();                  \
    kept.push_back(property);                               \
    reads.push_back([property] {                            \
      initialfrontsideradarlefthal::types::Record record{}; \
      return property->get(&record);                        \
    });                                                     \
  }
  FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_KEEP)
#undef FSRL_KEEP
  ASSERT_EQ(reads.size(), kGroupCount);
  // Connected, a read reaches the E2E check, which finds nothing received yet.
  EXPECT_EQ(reads.front()(), ErrorCode::kNotAvailable);
  const std::size_t config_calls = Calls("SignalComm_SetNotificationConfig");

  adapter.reset();

  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(reads[i](), ErrorCode::kNotImplemented) << i;
    // The notification configurator is gone too: configuring reaches no service.
    kept[i]->ConfigureNotification(zol::afw::core::NotificationConfiguration::When::kOnWrite);
  }
  EXPECT_EQ(Calls("SignalComm_SetNotificationConfig"), config_calls);
}

TEST_F(SignalAdapterLifecycleTest, StatusGroupPropertiesAreNamedWithoutTheAccessorsUnderscore) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);

  EXPECT_EQ(adapter->rsds4sig_sts1()->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4sigsts1");
  EXPECT_EQ(adapter->rsds4sig_sts2()->name().to_string(), "InitialFrontSideRadarLeftHal.rsds4sigsts2");
}

TEST_F(SignalAdapterLifecycleTest, PropertiesAreReceiveOnlyWithoutParentAndNotifyOnInvalidation) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const auto property = adapter->rsds4sig_sts2();
  const initialfrontsideradarlefthal::types::RSDS4SigSts2 record{};
  const unsigned char bytes[21] = {};

  EXPECT_EQ(property->set(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->set_raw(zol::memory::span<const unsigned char>(bytes)), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->parent(), nullptr);
  EXPECT_TRUE(property->notify_on_invalidate());
  EXPECT_TRUE(property->IsAvailable());
}

TEST_F(SignalAdapterLifecycleTest, EverythingTheAdapterAllocatesComesFromTheDefaultResourceAndGoesBack) {
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
    ASSERT_TRUE(adapter);
    EXPECT_GT(counting.allocation_count(), kGroupCount);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(SignalAdapterLifecycleTest, FailedCreateReturnsEverythingItAllocated) {
  Service::Instance().InjectFailure("SignalComm_SignalGroupCache_GetByIndex", 30, SIGNALCOMM_E_BUSY);
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    EXPECT_FALSE(SignalAdapter::Create(&app_));
  }
  EXPECT_GT(counting.allocation_count(), 0U);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

}  // namespace
}  // namespace fsrl_test
