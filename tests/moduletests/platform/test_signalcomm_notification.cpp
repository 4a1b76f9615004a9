#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "signalcomm_test_support.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace {

using zol::signalcomm::Service;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<SignalComm_Name_t>;

// Records every call it receives.
class Recorder {
 public:
  struct Call {
    Names names;
    std::thread::id thread;
  };

  static void Callback(const unsigned long* names, unsigned long count, void* user) {
    static_cast<Recorder*>(user)->Record(names, count);
  }

  std::vector<Call> calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

  // Every identity received, over all calls, in order.
  Names names() const {
    Names all;
    for (const Call& call : calls()) {
      all.insert(all.end(), call.names.begin(), call.names.end());
    }
    return all;
  }

 private:
  void Record(const unsigned long* names, unsigned long count) {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(Call{Names(names, names + count), std::this_thread::get_id()});
  }

  mutable std::mutex mutex_;
  std::vector<Call> calls_;
};

// Records like Recorder, but its first call holds the notification thread until Release().
class Gate {
 public:
  static void Callback(const unsigned long* names, unsigned long count, void* user) {
    static_cast<Gate*>(user)->Enter(names, count);
  }

  void WaitUntilEntered() {
    std::unique_lock<std::mutex> lock(mutex_);
    cv_.wait(lock, [this] { return entered_; });
  }

  void Release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    cv_.notify_all();
  }

  bool returned() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return returned_;
  }

  std::vector<Names> calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

 private:
  void Enter(const unsigned long* names, unsigned long count) {
    std::unique_lock<std::mutex> lock(mutex_);
    calls_.emplace_back(names, names + count);
    entered_ = true;
    cv_.notify_all();
    cv_.wait(lock, [this] { return released_; });
    returned_ = true;
  }

  mutable std::mutex mutex_;
  std::condition_variable cv_;
  bool entered_ = false;
  bool released_ = false;
  bool returned_ = false;
  std::vector<Names> calls_;
};

class SignalCommNotification : public fsrl_test::ThreeSignalGroups {
 protected:
  static SignalComm_Context_t Open(SignalComm_NotificationCallback callback, void* user) {
    SignalComm_Context_t context = 0;
    EXPECT_EQ(SignalComm_CreateContext("Client", "cl", callback, user, &context), SIGNALCOMM_OK);
    return context;
  }

  // A context notifying @p listener, with @p group set to @p config.
  template <typename Listener>
  static SignalComm_Context_t OpenConfigured(Listener& listener, SignalComm_Name_t group,
                                             SignalComm_SignalGroupNotificationConfig config) {
    const SignalComm_Context_t context = Open(&Listener::Callback, &listener);
    Configure(context, group, config);
    return context;
  }

  static void Configure(SignalComm_Context_t context, SignalComm_Name_t group,
                        SignalComm_SignalGroupNotificationConfig config) {
    ASSERT_EQ(SignalComm_SetNotificationConfig(context, group, config), SIGNALCOMM_OK);
  }

  static void Publish(const char* group, const Bytes& payload) {
    ASSERT_EQ(Service::Instance().Publish(group, payload), SIGNALCOMM_OK);
  }
};

TEST_F(SignalCommNotification, NothingIsDeliveredWhileNotificationsAreDisabledAsTheyAreInitially) {
  Recorder recorder;
  OpenConfigured(recorder, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);

  Publish("Alpha", {1, 2, 3, 4});
  Publish("Beta", Bytes(8, 1));
  Service::Instance().FlushNotifications();

  EXPECT_TRUE(recorder.calls().empty());
}

TEST_F(SignalCommNotification, UpdatedNotifiesEveryArrivalEvenWithUnchangedBytes) {
  Recorder recorder;
  OpenConfigured(recorder, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  Publish("Alpha", {1, 2, 3, 4});
  Publish("Alpha", {1, 2, 3, 4});
  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names(), (Names{alpha_, alpha_, alpha_}));
}

TEST_F(SignalCommNotification, CallbacksRunOnAThreadOfTheServiceNotOnThePublisher) {
  Recorder recorder;
  OpenConfigured(recorder, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();

  const std::vector<Recorder::Call> calls = recorder.calls();
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_NE(calls[0].thread, std::this_thread::get_id());
}

TEST_F(SignalCommNotification, ModifiedNotifiesOnlyArrivalsWhoseBytesChanged) {
  Recorder recorder;
  OpenConfigured(recorder, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED);

  Publish("Alpha", {1, 2, 3, 4});  // first payload: a change
  Publish("Alpha", {1, 2, 3, 4});
  Publish("Alpha", {1, 2, 3, 5});  // change
  Publish("Alpha", {1, 2, 3, 5});
  Publish("Alpha", {1, 2, 3});  // shorter: a change
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names(), (Names{alpha_, alpha_, alpha_}));
}

TEST_F(SignalCommNotification, ModifiedNotifiesTheFirstArrivalEvenWhenItIsAllZeros) {
  Recorder recorder;
  OpenConfigured(recorder, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED);

  Publish("Alpha", Bytes(4, 0));
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names(), (Names{alpha_}));
}

TEST_F(SignalCommNotification, DisablingAGroupStopsItsNotifications) {
  Recorder recorder;
  const SignalComm_Context_t context = OpenConfigured(recorder, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();

  Configure(context, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);
  Publish("Alpha", {5, 6, 7, 8});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names(), (Names{alpha_}));
}

TEST_F(SignalCommNotification, OnlyTheConfiguredGroupsOfAContextAreNotified) {
  Recorder recorder;
  OpenConfigured(recorder, gamma_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  Publish("Alpha", {1, 2, 3, 4});
  Publish("Beta", Bytes(8, 1));
  Publish("Gamma", {1, 2});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names(), (Names{gamma_}));
}

TEST_F(SignalCommNotification, EachContextIsNotifiedPerItsOwnConfigurationWithItsOwnUserPointer) {
  Recorder on_update;
  Recorder on_change;
  const SignalComm_Context_t first = Open(&Recorder::Callback, &on_update);
  const SignalComm_Context_t second = Open(&Recorder::Callback, &on_change);
  Configure(first, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Configure(second, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_MODIFIED);

  Publish("Alpha", {1, 2, 3, 4});
  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(on_update.names(), (Names{alpha_, alpha_}));
  EXPECT_EQ(on_change.names(), (Names{alpha_}));
}

TEST_F(SignalCommNotification, ArrivalsQueuedWhileACallbackRunsReachTheContextInOneCall) {
  Gate gate;
  const SignalComm_Context_t context = OpenConfigured(gate, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Configure(context, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Publish("Alpha", {1, 2, 3, 4});
  gate.WaitUntilEntered();

  Publish("Beta", Bytes(8, 1));
  Publish("Alpha", {5, 6, 7, 8});
  gate.Release();
  Service::Instance().FlushNotifications();

  EXPECT_EQ(gate.calls(), (std::vector<Names>{{alpha_}, {beta_, alpha_}}));
}

TEST_F(SignalCommNotification, FlushReturnsAtOnceWhenNothingWasQueued) {
  Service::Instance().FlushNotifications();

  Recorder recorder;
  Open(&Recorder::Callback, &recorder);
  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();

  EXPECT_TRUE(recorder.calls().empty());
}

TEST_F(SignalCommNotification, FlushReturnsOnlyAfterTheRunningCallbackHasReturned) {
  Gate gate;
  OpenConfigured(gate, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Publish("Alpha", {1, 2, 3, 4});
  gate.WaitUntilEntered();

  std::thread releaser([&gate] { gate.Release(); });
  Service::Instance().FlushNotifications();

  EXPECT_TRUE(gate.returned());
  releaser.join();
}

TEST_F(SignalCommNotification, FlushDeliversEveryEarlierArrival) {
  Recorder recorder;
  OpenConfigured(recorder, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  for (std::uint8_t i = 0; i < 200; ++i) {
    Publish("Beta", Bytes(8, i));
  }
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.names().size(), 200U);
}

// The callback holds the notification thread until the destroying thread has entered DestroyContext; the
// destroying thread then must not come back before the callback has returned.
struct DestroyProbe {
  std::mutex mutex;
  std::condition_variable cv;
  bool entered = false;
  std::atomic<bool> destroy_returned{false};
  std::atomic<bool> callback_finished{false};
  bool destroy_returned_while_callback_ran = false;

  static void Callback(const unsigned long* /*names*/, unsigned long /*count*/, void* user) {
    auto* probe = static_cast<DestroyProbe*>(user);
    {
      const std::lock_guard<std::mutex> lock(probe->mutex);
      probe->entered = true;
      probe->cv.notify_all();
    }
    // The call count rises under the service's lock that DestroyContext keeps until it waits, so once it
    // shows, the destroyer is inside DestroyContext and waiting for this callback.
    while (Service::Instance().CallCount("SignalComm_DestroyContext") == 0) {
      std::this_thread::yield();
    }
    probe->destroy_returned_while_callback_ran = probe->destroy_returned.load();
    probe->callback_finished = true;
  }
};

TEST_F(SignalCommNotification, DestroyContextWaitsForARunningCallbackOfThatContext) {
  DestroyProbe probe;
  SignalComm_Context_t context = Open(&DestroyProbe::Callback, &probe);
  Configure(context, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Publish("Alpha", {1, 2, 3, 4});
  {
    std::unique_lock<std::mutex> lock(probe.mutex);
    probe.cv.wait(lock, [&probe] { return probe.entered; });
  }

  bool callback_finished_when_destroy_returned = false;
  int result = SIGNALCOMM_E_BUSY;
  std::thread destroyer([&] {
    result = SignalComm_DestroyContext(&context);
    callback_finished_when_destroy_returned = probe.callback_finished.load();
    probe.destroy_returned = true;
  });
  destroyer.join();

  EXPECT_EQ(result, SIGNALCOMM_OK);
  EXPECT_TRUE(callback_finished_when_destroy_returned);
  EXPECT_FALSE(probe.destroy_returned_while_callback_ran);
}

struct SelfDestroyer {
  SignalComm_Context_t context = 0;
  int result = SIGNALCOMM_E_BUSY;
  int calls = 0;

  static void Callback(const unsigned long* /*names*/, unsigned long /*count*/, void* user) {
    auto* self = static_cast<SelfDestroyer*>(user);
    ++self->calls;
    self->result = SignalComm_DestroyContext(&self->context);
  }
};

TEST_F(SignalCommNotification, DestroyContextFromInsideItsOwnCallbackReturnsWithoutWaiting) {
  SelfDestroyer self;
  self.context = Open(&SelfDestroyer::Callback, &self);
  Configure(self.context, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();
  Publish("Alpha", {5, 6, 7, 8});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(self.result, SIGNALCOMM_OK);
  EXPECT_EQ(self.context, 0U);
  EXPECT_EQ(self.calls, 1);
}

TEST_F(SignalCommNotification, NoCallbackRunsAfterDestroyContextHasReturned) {
  Recorder recorder;
  SignalComm_Context_t context = Open(&Recorder::Callback, &recorder);
  Configure(context, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  for (std::uint8_t i = 0; i < 100; ++i) {
    Publish("Beta", Bytes(8, i));
  }

  ASSERT_EQ(SignalComm_DestroyContext(&context), SIGNALCOMM_OK);
  const std::size_t calls_at_destruction = recorder.calls().size();
  Publish("Beta", Bytes(8, 0xFF));
  Service::Instance().FlushNotifications();

  EXPECT_EQ(recorder.calls().size(), calls_at_destruction);
}

TEST_F(SignalCommNotification, NotificationsQueuedForAContextDestroyedMeanwhileAreDropped) {
  Gate gate;
  Recorder recorder;
  const SignalComm_Context_t gated = Open(&Gate::Callback, &gate);
  SignalComm_Context_t dropped = Open(&Recorder::Callback, &recorder);
  Configure(gated, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Configure(dropped, beta_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);
  Publish("Alpha", {1, 2, 3, 4});
  gate.WaitUntilEntered();
  Publish("Beta", Bytes(8, 1));

  ASSERT_EQ(SignalComm_DestroyContext(&dropped), SIGNALCOMM_OK);
  gate.Release();
  Service::Instance().FlushNotifications();

  EXPECT_TRUE(recorder.calls().empty());
}

struct Reconfigurer {
  SignalComm_Context_t context = 0;
  SignalComm_Name_t group = 0;
  int result = SIGNALCOMM_E_BUSY;
  int calls = 0;

  static void Callback(const unsigned long* /*names*/, unsigned long /*count*/, void* user) {
    auto* self = static_cast<Reconfigurer*>(user);
    ++self->calls;
    self->result =
        SignalComm_SetNotificationConfig(self->context, self->group, SIGNAL_GROUP_NOTIFICATION_CONFIG_DISABLED);
  }
};

TEST_F(SignalCommNotification, ACallbackMayCallTheServiceBecauseItRunsWithoutTheServiceLock) {
  Reconfigurer self;
  self.group = alpha_;
  self.context = Open(&Reconfigurer::Callback, &self);
  Configure(self.context, alpha_, SIGNAL_GROUP_NOTIFICATION_CONFIG_UPDATED);

  Publish("Alpha", {1, 2, 3, 4});
  Service::Instance().FlushNotifications();
  Publish("Alpha", {5, 6, 7, 8});
  Service::Instance().FlushNotifications();

  EXPECT_EQ(self.result, SIGNALCOMM_OK);
  EXPECT_EQ(self.calls, 1);
}

}  // namespace
