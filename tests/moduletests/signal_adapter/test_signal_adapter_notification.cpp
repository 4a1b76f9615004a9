// Per-transaction cache retrieval, notifications turned into invalidation
// tasks on the dispatch queue, and the notification configuration of groups.
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "signal_adapter_test_support.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/execution_context.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/pmr/counting_resource.h"

namespace fsrl_test {
namespace {

using initialfrontsideradarlefthal::types::RSDS4Detn000To004;
using initialfrontsideradarlefthal::types::RSDS4SigSts1;
using zol::afw::core::NotificationConfiguration;
using zol::afw::core::Subscription;
using zol::afw::core::Transaction;
using zol::afw::core::TransactionTesting;
using When = NotificationConfiguration::When;

constexpr const char* kRetrieve = "SignalComm_SignalGroupCache_Retrieve";

SignalComm_Name_t IdentityOf(std::size_t index) {
  return Service::Instance().IdentityOf(zol::string_view(GroupName(index).c_str()));
}

// A parent whose execution context the test makes, so that its queue can be small.
class ContextOwner : public zol::afw::core::ContextualObject {
 public:
  explicit ContextOwner(std::shared_ptr<zol::afw::core::ExecutionContext> context)
      : ContextualObject(nullptr, "owner"), context_(std::move(context)) {}
  std::shared_ptr<zol::afw::core::ExecutionContext> execution_context() const override { return context_; }

 private:
  std::shared_ptr<zol::afw::core::ExecutionContext> context_;
};

class SignalAdapterNotificationTest : public SignalAdapterTest {
 protected:
  // Subscribes to every property; each invalidation appends the group's index to invalidated_.
  void SubscribeToAll(const Impl& impl) {
    for (std::size_t i = 0; i < kGroupCount; ++i) {
      std::vector<std::size_t>* invalidated = &invalidated_;
      subscriptions_.push_back(impl.property_at(i)->Subscribe([invalidated, i] { invalidated->push_back(i); }));
    }
  }

  std::vector<std::size_t> invalidated_;
  std::vector<Subscription> subscriptions_;
};

TEST_F(SignalAdapterNotificationTest, NotificationWithCountZeroStillPostsOneTaskWhichInvalidatesNothing) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  SubscribeToAll(*impl);
  queue().SetStepMode(true);
  const unsigned long names[1] = {IdentityOf(kSigSts1)};

  impl->OnSignalGroupNotification(names, 0);
  impl->OnSignalGroupNotification(nullptr, 0);

  EXPECT_EQ(queue().pending(), 2U);
  EXPECT_EQ(queue().RunPending(), 2U);
  EXPECT_TRUE(invalidated_.empty());
}

TEST_F(SignalAdapterNotificationTest, NotificationNamingSigSts1ThenDetn000To004InvalidatesSigSts1First) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  SubscribeToAll(*impl);
  queue().SetStepMode(true);
  const unsigned long names[2] = {IdentityOf(kSigSts1), IdentityOf(kDetn000To004)};

  Impl::OnSignalGroupNotification_(names, 2, impl.get());

  // Nothing happens on the notifying thread; one task does it all on the queue.
  EXPECT_TRUE(invalidated_.empty());
  ASSERT_EQ(queue().pending(), 1U);
  queue().RunPending();
  EXPECT_EQ(invalidated_, (std::vector<std::size_t>{kSigSts1, kDetn000To004}));
}

TEST_F(SignalAdapterNotificationTest, UnknownIdentityIsSkippedAndARepeatedIdentityIsInvalidatedTwice) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  SubscribeToAll(*impl);
  queue().SetStepMode(true);
  const unsigned long names[4] = {IdentityOf(kObj00To01), 0x7FFFFFFFUL, IdentityOf(kObj00To01), IdentityOf(kSigSts2)};

  impl->OnSignalGroupNotification(names, 4);

  ASSERT_EQ(queue().pending(), 1U);
  queue().RunPending();
  EXPECT_EQ(invalidated_, (std::vector<std::size_t>{kObj00To01, kObj00To01, kSigSts2}));
}

TEST_F(SignalAdapterNotificationTest, TaskInvalidatesItsPropertiesFirstToLast) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  const unsigned long names[2] = {IdentityOf(kSigSts2), IdentityOf(kDetn085To089)};
  initialfrontsideradarlefthal::InvalidatePropertiesTask::PropertyList list;
  ASSERT_TRUE(list.reserve(2));
  for (const unsigned long name : names) {
    for (std::size_t i = 0; i < kGroupCount; ++i) {
      if (impl->consumed_groups_info_[i]->name == name) {
        list.push_back(impl->property_at(i));
      }
    }
  }

  initialfrontsideradarlefthal::InvalidatePropertiesTask task(std::move(list));

  ASSERT_EQ(task.properties().size(), 2U);
  EXPECT_EQ(task.properties()[0].get(), impl->get_rsds4sig_sts2().get());
  EXPECT_EQ(task.properties()[1].get(), impl->get_rsds4detn085to089().get());
  SubscribeToAll(*impl);
  EXPECT_EQ(task.Execute(), ErrorCode::kSuccess);
  EXPECT_EQ(invalidated_, (std::vector<std::size_t>{kSigSts2, kDetn085To089}));
}

TEST_F(SignalAdapterNotificationTest, NotificationWithoutExecutionContextIsDroppedWithoutAllocating) {
  std::shared_ptr<Impl> impl = MakeImpl(nullptr);
  ASSERT_EQ(impl->Init(), ErrorCode::kSuccess);
  const unsigned long names[1] = {IdentityOf(kSigSts1)};
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);

  impl->OnSignalGroupNotification(names, 1);

  EXPECT_EQ(counting.allocation_count(), 0U);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterNotificationTest, NotificationWhileTheQueueIsNotExecutingIsDroppedWithoutAllocating) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  const unsigned long names[1] = {IdentityOf(kSigSts1)};
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    impl->OnSignalGroupNotification(names, 1);
  }

  EXPECT_EQ(counting.allocation_count(), 0U);
  queue().SetStepMode(true);
  EXPECT_EQ(queue().pending(), 0U);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterNotificationTest, TaskTheQueueRefusesIsDestroyedAndItsMemoryReturned) {
  auto context = std::make_shared<zol::afw::core::ExecutionContext>("small", 1U);
  context->dispatch_queue().SetStepMode(true);
  const ContextOwner owner(context);
  std::shared_ptr<Impl> impl = MakeImpl(&owner);
  ASSERT_EQ(impl->Init(), ErrorCode::kSuccess);
  const unsigned long names[1] = {IdentityOf(kSigSts1)};
  impl->OnSignalGroupNotification(names, 1);
  ASSERT_EQ(context->dispatch_queue().pending(), 1U);
  const long references = impl->get_rsds4sig_sts1().use_count();
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    impl->OnSignalGroupNotification(names, 1);
  }

  // The vector and the task were made, and both went back.
  EXPECT_EQ(counting.allocation_count(), 2U);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
  EXPECT_EQ(context->dispatch_queue().pending(), 1U);
  EXPECT_EQ(impl->get_rsds4sig_sts1().use_count(), references);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterNotificationTest, PublishedDataReachesASubscriberOnlyThroughTheDispatchQueue) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  queue().SetStepMode(true);
  const auto property = adapter->rsds4sig_sts1();
  int notified = 0;
  int* counter = &notified;
  // A frame that is there before anybody listens, so that the read below has data that passed its check.
  Publish(kSigSts1, PatternFrame(kSigSts1, 0));
  Service::Instance().FlushNotifications();
  // The first subscriber makes the property ask the service for notifications.
  const Subscription subscription = property->Subscribe([counter] { ++*counter; });
  RSDS4SigSts1 record{};
  ASSERT_EQ(property->get(&record), ErrorCode::kSuccess);
  ASSERT_TRUE(property->is_valid());

  Publish(kSigSts1, PatternFrame(kSigSts1, 1));
  Service::Instance().FlushNotifications();

  EXPECT_EQ(notified, 0);
  ASSERT_EQ(queue().pending(), 1U);
  queue().RunPending();
  EXPECT_EQ(notified, 1);
  EXPECT_FALSE(property->is_valid());
}

TEST_F(SignalAdapterNotificationTest, TaskStillQueuedWhenTheAdapterGoesInvalidatesItsPropertiesSafely) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  queue().SetStepMode(true);
  const auto property = adapter->rsds4detn000to004();
  int notified = 0;
  int* counter = &notified;
  const Subscription subscription = property->Subscribe([counter] { ++*counter; });
  Publish(kDetn000To004, PatternFrame(kDetn000To004, 0));
  Service::Instance().FlushNotifications();
  ASSERT_EQ(queue().pending(), 1U);

  adapter.reset();
  queue().RunPending();

  EXPECT_EQ(notified, 1);
}

TEST_F(SignalAdapterNotificationTest, ReadingFortyDetectionGroupsInOneTransactionRetrievesTheCacheOnce) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  for (std::size_t i = 0; i < 40; ++i) {
    Publish(i, PatternFrame(i, 0));
  }
  const std::size_t before = Calls(kRetrieve);

  for (std::size_t i = 0; i < 40; ++i) {
    WithGroup(*adapter, i, [](auto& property, auto& record) {
      SignalPropertyStatus status;
      EXPECT_EQ(property.get(&record, &status), ErrorCode::kSuccess);
      EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eOk);
    });
  }

  EXPECT_EQ(Calls(kRetrieve), before + 1U);
  EXPECT_EQ(Transaction::pending_callbacks(), 1U);

  Transaction::Begin();
  RSDS4Detn000To004 record{};
  EXPECT_EQ(adapter->rsds4detn000to004()->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(Calls(kRetrieve), before + 2U);
}

TEST_F(SignalAdapterNotificationTest, FailedRetrievalReadsThePreviousSnapshotAndTheNextReadRetries) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const auto property = adapter->rsds4sig_sts1();
  const std::vector<std::uint8_t> first = PatternFrame(kSigSts1, 0, 10);
  Publish(kSigSts1, first);
  RSDS4SigSts1 before{};
  ASSERT_EQ(property->get(&before), ErrorCode::kSuccess);
  Transaction::Begin();
  Publish(kSigSts1, PatternFrame(kSigSts1, 1, 20));
  Service::Instance().InjectFailure(kRetrieve, 1, SIGNALCOMM_E_BUSY);
  const std::size_t calls = Calls(kRetrieve);

  // The old snapshot still says "updated" with the old counter: the check calls it repeated.
  RSDS4SigSts1 stale{};
  SignalPropertyStatus status;
  EXPECT_EQ(property->get(&stale, &status), ErrorCode::kFailure);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eRepeated);
  EXPECT_EQ(stale.rsds4sig_sts1counter, 0U);
  EXPECT_EQ(stale.rsds4sig_sts1crc, before.rsds4sig_sts1crc);
  EXPECT_EQ(stale.rsds4sig_sts1time_stamp0, before.rsds4sig_sts1time_stamp0);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError,
                             "'InitialFrontSideRadarLeftHal' failed to retrieve signal group cache, error_code: -16"));
  EXPECT_EQ(Calls(kRetrieve), calls + 1U);

  RSDS4SigSts1 fresh{};
  EXPECT_EQ(property->get(&fresh, &status), ErrorCode::kSuccess);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eOk);
  EXPECT_EQ(fresh.rsds4sig_sts1counter, 1U);
  EXPECT_EQ(Calls(kRetrieve), calls + 2U);
}

TEST_F(SignalAdapterNotificationTest, RetrieveGroupCacheSucceedsEvenWhenTheServiceFails) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  Service::Instance().InjectFailure(kRetrieve, 1, SIGNALCOMM_E_INVALID);

  EXPECT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);

  EXPECT_FALSE(impl->has_retrieved_cache_);
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError,
                             "'InitialFrontSideRadarLeftHal' failed to retrieve signal group cache, error_code: -22"));
}

TEST_F(SignalAdapterNotificationTest, FailedCallbackRegistrationWarnsAndMakesEveryReadRetrieveUntilOneSucceeds) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  TransactionTesting::FailNextRegistrations(1, ErrorCode::kBusy);
  const std::size_t calls = Calls(kRetrieve);

  EXPECT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);
  EXPECT_TRUE(sink_.Contains(
      LoggingLevel::kWarn, "'InitialFrontSideRadarLeftHal' failed to add begin transaction callback, error_code: -5"));
  EXPECT_FALSE(impl->has_retrieved_cache_);

  EXPECT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);
  EXPECT_TRUE(impl->has_retrieved_cache_);
  EXPECT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);

  EXPECT_EQ(Calls(kRetrieve), calls + 2U);
}

TEST_F(SignalAdapterNotificationTest, BeginningATransactionReArmsTheRetrieval) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  ASSERT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);
  ASSERT_TRUE(impl->has_retrieved_cache_);

  Transaction::Begin();

  EXPECT_FALSE(impl->has_retrieved_cache_);
}

TEST_F(SignalAdapterNotificationTest, NotificationLeavesTheRetrievalFlagAlone) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  queue().SetStepMode(true);
  {
    // Read on the adapter's context, as its owner does: the re-arming callback belongs to that context.
    const zol::afw::core::ExecutionContextScope on_context(impl->execution_context_);
    ASSERT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);
  }
  const unsigned long names[1] = {IdentityOf(kSigSts1)};

  impl->OnSignalGroupNotification(names, 1);
  // A transaction of its own runs the task: only that re-arms the retrieval.
  EXPECT_TRUE(impl->has_retrieved_cache_);
  queue().RunPending();

  EXPECT_FALSE(impl->has_retrieved_cache_);
}

TEST_F(SignalAdapterNotificationTest, BeginTransactionCallbackThatOutlivesTheAdapterDoesNothing) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  ASSERT_EQ(impl->RetrieveGroupCache(), ErrorCode::kSuccess);
  const std::weak_ptr<Impl> weak = impl;
  ASSERT_EQ(Transaction::pending_callbacks(), 1U);

  impl.reset();
  ASSERT_TRUE(weak.expired());
  Transaction::Begin();

  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
}

TEST_F(SignalAdapterNotificationTest, WhenMapsToTheServicesNotificationSettings) {
  EXPECT_EQ(Impl::when_to_config(When::kDefault), SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED);
  EXPECT_EQ(static_cast<int>(Impl::when_to_config(When::kDefault)), 3);
  EXPECT_EQ(Impl::when_to_config(When::kOnChange), SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED);
  EXPECT_EQ(Impl::when_to_config(When::kOnWrite), SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  EXPECT_EQ(Impl::when_to_config(When::kNever), SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);
  EXPECT_EQ(Impl::when_to_config(static_cast<When>(42)), SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);
}

TEST_F(SignalAdapterNotificationTest, DefaultConfigurationMakesTheServiceNotifyOnlyWhenTheBytesChange) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  queue().SetStepMode(true);
  const auto property = impl->get_rsds4sig_sts2();
  const std::size_t calls = Calls("SignalComm_SetNotificationConfig");
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts2, 0);

  property->ConfigureNotification(When::kDefault);
  SubscribeToAll(*impl);
  Publish(kSigSts2, frame);
  Publish(kSigSts2, frame);
  Service::Instance().FlushNotifications();
  queue().RunPending();

  EXPECT_GE(Calls("SignalComm_SetNotificationConfig"), calls + 1U);
  EXPECT_EQ(invalidated_, (std::vector<std::size_t>{kSigSts2}));
}

TEST_F(SignalAdapterNotificationTest, OnWriteConfigurationNotifiesEveryArrivalAndNeverNone) {
  std::shared_ptr<Impl> impl = MakeInitializedImpl();
  queue().SetStepMode(true);
  SubscribeToAll(*impl);
  const auto property = impl->get_rsds4sig_sts2();
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts2, 0);

  property->ConfigureNotification(When::kOnWrite);
  Publish(kSigSts2, frame);
  Publish(kSigSts2, frame);
  Service::Instance().FlushNotifications();
  queue().RunPending();
  EXPECT_EQ(invalidated_, (std::vector<std::size_t>{kSigSts2, kSigSts2}));

  property->ConfigureNotification(When::kNever);
  Publish(kSigSts2, PatternFrame(kSigSts2, 1, 9));
  Service::Instance().FlushNotifications();
  EXPECT_EQ(queue().pending(), 0U);
}

TEST_F(SignalAdapterNotificationTest, ConfiguringAGroupTouchesOnlyThatGroup) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  queue().SetStepMode(true);

  adapter->rsds4obj00to01()->ConfigureNotification(When::kOnWrite);
  Publish(kObj00To01 + 1, PatternFrame(kObj00To01 + 1, 0));
  Service::Instance().FlushNotifications();
  EXPECT_EQ(queue().pending(), 0U);
  Publish(kObj00To01, PatternFrame(kObj00To01, 0));
  Service::Instance().FlushNotifications();
  EXPECT_EQ(queue().pending(), 1U);
}

TEST_F(SignalAdapterNotificationTest, FailedNotificationConfigurationIsIgnoredSilently) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  queue().SetStepMode(true);
  Service::Instance().InjectFailure("SignalComm_SetNotificationConfig", 1, SIGNALCOMM_E_INVALID);

  adapter->rsds4sig_sts2()->ConfigureNotification(When::kOnWrite);
  Publish(kSigSts2, PatternFrame(kSigSts2, 0));
  Service::Instance().FlushNotifications();

  EXPECT_EQ(queue().pending(), 0U);
  EXPECT_TRUE(sink_.lines().empty());
}

}  // namespace
}  // namespace fsrl_test
