#include "zol/afw/core/notifier.h"

#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zol/pmr/counting_resource.h"

namespace {

using zol::afw::core::Notifier;
using zol::afw::core::Subscription;
using VoidNotifier = Notifier<void()>;

// A callback that appends its id to a shared record: 16 bytes of capture, the most a callback may hold.
VoidNotifier::Callback Record(std::vector<int>* calls, int id) {
  return [calls, id] { calls->push_back(id); };
}

TEST(Notifier, StartsWithoutSubscribersAndNotBusy) {
  const VoidNotifier notifier;
  EXPECT_EQ(notifier.subscriber_count(), 0U);
  EXPECT_FALSE(notifier.is_notifying());
}

TEST(Notifier, SubscribingCallsNothingYet) {
  VoidNotifier notifier;
  std::vector<int> calls;

  const Subscription subscription = notifier.Subscribe(Record(&calls, 1));

  EXPECT_TRUE(calls.empty());
  EXPECT_TRUE(subscription.IsActive());
  EXPECT_EQ(notifier.subscriber_count(), 1U);
}

TEST(Notifier, NotifyCallsEverySubscriberOnceInSubscriptionOrder) {
  VoidNotifier notifier;
  std::vector<int> calls;
  const Subscription first = notifier.Subscribe(Record(&calls, 1));
  const Subscription second = notifier.Subscribe(Record(&calls, 2));
  const Subscription third = notifier.Subscribe(Record(&calls, 3));

  notifier.Notify();
  notifier.Notify();

  EXPECT_EQ(calls, (std::vector<int>{1, 2, 3, 1, 2, 3}));
}

TEST(Notifier, DestroyingASubscriptionCancelsIt) {
  VoidNotifier notifier;
  std::vector<int> calls;
  const Subscription kept = notifier.Subscribe(Record(&calls, 1));
  { const Subscription dropped = notifier.Subscribe(Record(&calls, 2)); }

  notifier.Notify();

  EXPECT_EQ(calls, std::vector<int>{1});
  EXPECT_EQ(notifier.subscriber_count(), 1U);
}

TEST(Notifier, CancelStopsCallsAndIsIdempotent) {
  VoidNotifier notifier;
  std::vector<int> calls;
  Subscription subscription = notifier.Subscribe(Record(&calls, 1));

  subscription.Cancel();
  subscription.Cancel();
  notifier.Notify();

  EXPECT_TRUE(calls.empty());
  EXPECT_FALSE(subscription.IsActive());
  EXPECT_EQ(notifier.subscriber_count(), 0U);
}

TEST(Notifier, DiscardedSubscriptionEndsAtOnce) {
  VoidNotifier notifier;
  std::vector<int> calls;

  static_cast<void>(notifier.Subscribe(Record(&calls, 1)));
  notifier.Notify();

  EXPECT_TRUE(calls.empty());
  EXPECT_EQ(notifier.subscriber_count(), 0U);
}

TEST(Notifier, SubscriberMayCancelItselfFromInsideItsCallback) {
  VoidNotifier notifier;
  std::vector<int> calls;
  Subscription self;
  self = notifier.Subscribe([&self, &calls] {
    calls.push_back(1);
    self.Cancel();
  });
  const Subscription after = notifier.Subscribe(Record(&calls, 2));

  notifier.Notify();
  notifier.Notify();

  EXPECT_EQ(calls, (std::vector<int>{1, 2, 2}));
  EXPECT_FALSE(self.IsActive());
}

TEST(Notifier, SubscriberMayDestroyItsOwnSubscriptionFromInsideItsCallback) {
  VoidNotifier notifier;
  int calls = 0;
  auto self = std::make_unique<Subscription>();
  *self = notifier.Subscribe([&self, &calls] {
    ++calls;
    self.reset();  // destroys the handle and with it the state's last outside reference
  });

  notifier.Notify();
  notifier.Notify();

  EXPECT_EQ(calls, 1);
  EXPECT_EQ(notifier.subscriber_count(), 0U);
}

TEST(Notifier, SkipsSubscriberCancelledByEarlierCallbackInSamePass) {
  VoidNotifier notifier;
  std::vector<int> calls;
  Subscription second;
  const Subscription first = notifier.Subscribe([&second, &calls] {
    calls.push_back(1);
    second.Cancel();
  });
  second = notifier.Subscribe(Record(&calls, 2));
  const Subscription third = notifier.Subscribe(Record(&calls, 3));

  notifier.Notify();

  EXPECT_EQ(calls, (std::vector<int>{1, 3}));
}

TEST(Notifier, SubscriberAddedDuringAPassIsFirstCalledOnTheNextPass) {
  // Bundled so that the callback captures a single pointer and fits the inline storage.
  struct Scene {
    VoidNotifier notifier;
    Subscription late;
    std::vector<int> calls;
  } scene;
  const Subscription adder = scene.notifier.Subscribe([&scene] {
    scene.calls.push_back(1);
    if (!scene.late.IsActive()) {
      scene.late = scene.notifier.Subscribe(Record(&scene.calls, 2));
    }
  });

  scene.notifier.Notify();
  EXPECT_EQ(scene.calls, std::vector<int>{1});

  scene.notifier.Notify();
  EXPECT_EQ(scene.calls, (std::vector<int>{1, 1, 2}));
}

TEST(Notifier, SubscriptionThatOutlivesItsNotifierIsInactiveAndSafeToCancelAndDestroy) {
  std::vector<int> calls;
  auto notifier = std::make_unique<VoidNotifier>();
  Subscription subscription = notifier->Subscribe(Record(&calls, 1));
  Subscription other = notifier->Subscribe(Record(&calls, 2));

  notifier.reset();

  EXPECT_FALSE(subscription.IsActive());
  subscription.Cancel();
  other = Subscription();  // move assignment cancels the detached state, which must be harmless
  EXPECT_TRUE(calls.empty());
}

TEST(Notifier, MovingASubscriptionKeepsItActiveAndLeavesTheSourceEmpty) {
  VoidNotifier notifier;
  std::vector<int> calls;
  Subscription source = notifier.Subscribe(Record(&calls, 1));

  Subscription target(std::move(source));
  notifier.Notify();

  EXPECT_FALSE(source.IsActive());  // NOLINT(bugprone-use-after-move): a moved-from handle is empty
  EXPECT_TRUE(target.IsActive());
  EXPECT_EQ(calls, std::vector<int>{1});
}

TEST(Notifier, MoveAssigningASubscriptionCancelsTheOneItHeld) {
  VoidNotifier notifier;
  std::vector<int> calls;
  Subscription held = notifier.Subscribe(Record(&calls, 1));
  Subscription incoming = notifier.Subscribe(Record(&calls, 2));

  held = std::move(incoming);
  notifier.Notify();

  EXPECT_EQ(calls, std::vector<int>{2});
  EXPECT_TRUE(held.IsActive());
  EXPECT_EQ(notifier.subscriber_count(), 1U);
}

TEST(Notifier, DefaultConstructedSubscriptionIsInactiveAndCancelsHarmlessly) {
  Subscription subscription;
  EXPECT_FALSE(subscription.IsActive());
  subscription.Cancel();
  EXPECT_FALSE(subscription.IsActive());
}

TEST(Notifier, BusyMarkIsSetOnlyWhileCallbacksRun) {
  VoidNotifier notifier;
  std::vector<bool> seen;
  const Subscription subscription = notifier.Subscribe([&notifier, &seen] { seen.push_back(notifier.is_notifying()); });

  notifier.Notify();

  EXPECT_EQ(seen, std::vector<bool>{true});
  EXPECT_FALSE(notifier.is_notifying());
}

TEST(Notifier, NestedNotifyKeepsTheBusyMarkOfTheOuterPass) {
  struct Scene {
    VoidNotifier notifier;
    int depth = 0;
    std::vector<bool> busy_after_inner;
  } scene;
  const Subscription subscription = scene.notifier.Subscribe([&scene] {
    if (++scene.depth == 1) {
      scene.notifier.Notify();
      scene.busy_after_inner.push_back(scene.notifier.is_notifying());
    }
  });

  scene.notifier.Notify();

  EXPECT_EQ(scene.depth, 2);
  EXPECT_EQ(scene.busy_after_inner, std::vector<bool>{true});
  EXPECT_FALSE(scene.notifier.is_notifying());
}

TEST(Notifier, FindBySubscriptionSeesOnlyStatesInTheList) {
  VoidNotifier notifier;
  std::vector<int> calls;
  auto state = std::make_shared<VoidNotifier::SubscriptionStateWrapper>(Record(&calls, 1), notifier);

  EXPECT_FALSE(notifier.FindBySubscription(state.get()));
  notifier.AddSubscriptionState(state);
  EXPECT_TRUE(notifier.FindBySubscription(state.get()));
  EXPECT_TRUE(state->IsActive());

  notifier.Notify();
  state->Cancel();

  EXPECT_FALSE(notifier.FindBySubscription(state.get()));
  EXPECT_FALSE(state->IsActive());
  EXPECT_EQ(calls, std::vector<int>{1});
}

TEST(Notifier, AddingANullStateChangesNothing) {
  VoidNotifier notifier;
  notifier.AddSubscriptionState(nullptr);
  EXPECT_EQ(notifier.subscriber_count(), 0U);
}

TEST(Notifier, StateNotifyCallsTheCallbackAndToleratesAnEmptyOne) {
  VoidNotifier notifier;
  std::vector<int> calls;
  VoidNotifier::SubscriptionStateWrapper with_callback(Record(&calls, 4), notifier);
  VoidNotifier::SubscriptionStateWrapper without_callback(nullptr, notifier);

  with_callback.Notify();
  without_callback.Notify();

  EXPECT_EQ(calls, std::vector<int>{4});
}

TEST(Notifier, NotifyWithoutSubscribersAllocatesNothing) {
  VoidNotifier notifier;
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);

  notifier.Notify();

  EXPECT_EQ(counting.allocation_count(), 0U);
}

TEST(Notifier, NotifyAllocatesExactlyOneListCopyFromTheDefaultResourceAndReleasesIt) {
  zol::pmr::CountingResource list_resource;
  VoidNotifier notifier(&list_resource);
  std::vector<int> calls;
  std::vector<Subscription> subscriptions;
  for (int i = 0; i < 5; ++i) {
    subscriptions.push_back(notifier.Subscribe(Record(&calls, i)));
  }
  const std::size_t list_allocations = list_resource.allocation_count();
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);

  notifier.Notify();

  EXPECT_EQ(calls.size(), 5U);
  EXPECT_EQ(counting.allocation_count(), 1U);
  EXPECT_EQ(counting.bytes_allocated(), 5 * sizeof(std::shared_ptr<VoidNotifier::SubscriptionStateWrapper>));
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
  EXPECT_EQ(list_resource.allocation_count(), list_allocations);
}

TEST(Notifier, SubscribeAllocatesTheStateFromTheDefaultResourceAndTheListFromItsOwn) {
  zol::pmr::CountingResource list_resource;
  VoidNotifier notifier(&list_resource);
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    Subscription subscription = notifier.Subscribe([] {});

    EXPECT_EQ(counting.allocation_count(), 1U);
    EXPECT_GE(counting.bytes_allocated(), sizeof(VoidNotifier::SubscriptionStateWrapper));
    EXPECT_EQ(list_resource.allocation_count(), 1U);

    subscription.Cancel();
    EXPECT_EQ(counting.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(Notifier, StateIsReleasedOnlyWhenBothNotifierAndSubscriptionLetGo) {
  zol::pmr::CountingResource counting;
  const zol::pmr::ScopedDefaultResource scoped(&counting);
  auto notifier = std::make_unique<VoidNotifier>(zol::pmr::new_delete_resource());
  Subscription subscription = notifier->Subscribe([] {});

  notifier.reset();
  EXPECT_EQ(counting.outstanding_allocations(), 1U);

  subscription = Subscription();
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

}  // namespace
