#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "device_activator_test_support.h"
#include "status_or_matchers.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notifier.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/signalcomm/service.h"

namespace {

using device_activator::DeviceActivationService;
using device_activator::DeviceActivator;
using device_activator::DeviceErrorCode;
using device_activator::DeviceName;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;
using Operation = DeviceActivationService::Operation;

using fsrl_test::ConnectedClient;
using fsrl_test::CreateClient;

const DeviceName& kFsrl = fsrl_test::kFsrlDevice;

bool RequestedActive(const DeviceActivator& client, const char* device) {
  const auto states = client.GetRequestedDeviceStates();
  EXPECT_TRUE(states.ok());
  const auto found = states.value().find(DeviceName(device));
  EXPECT_NE(found, states.value().end()) << device;
  return found != states.value().end() && found->second;
}

std::set<DeviceErrorCode> ErrorsOf(const DeviceActivator& client, const char* device) {
  return fsrl_test::ErrorsOf(client, device);
}

class DeviceActivatorClient : public fsrl_test::DeviceActivationTest {
 protected:
  // Constructed before SetUp, so that the signal service restarts at the manual time and "FSRL" is not idle.
  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(1))};
  ContextualObject application_{nullptr, "application"};
  ContextualObject hal_{&application_, "hal"};
  ContextualObject diagnosis_{&application_, "diagnosis"};
};

TEST_F(DeviceActivatorClient, ADefaultConstructedClientFailsEveryCallButTheErrorsQueryWithNotAvailable) {
  DeviceActivator client;

  EXPECT_EQ(client.Init(), ErrorCode::kNotAvailable);
  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kNotAvailable);
  EXPECT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kNotAvailable);
  EXPECT_THAT(client.GetRequestedDeviceStates(), fsrl_test::FailsWith(ErrorCode::kNotAvailable));
  EXPECT_THAT(client.GetRequestedDevicesAreActive(), fsrl_test::FailsWith(ErrorCode::kNotAvailable));
  EXPECT_THAT(client.GetRequestedDevicesAreOk(), fsrl_test::FailsWith(ErrorCode::kNotAvailable));
}

TEST_F(DeviceActivatorClient, ADefaultConstructedClientReachesNoService) {
  DeviceActivator client;

  (void)client.Init();
  (void)client.RequestDeviceActive(kFsrl);
  (void)client.GetRequestedDeviceErrors();

  EXPECT_EQ(service().CallCount(Operation::kInit), 0U);
  EXPECT_EQ(service().CallCount(Operation::kRequestDeviceActive), 0U);
  EXPECT_EQ(service().CallCount(Operation::kGetRequestedDeviceErrors), 0U);
  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivatorClient, ADefaultConstructedClientGivesInactiveSubscriptions) {
  DeviceActivator client;
  int calls = 0;

  const Subscription states = client.SubscribeToRequestedDeviceStates([&calls] { ++calls; });
  const Subscription errors = client.SubscribeToRequestedDeviceErrors([&calls] { ++calls; });
  const Subscription active = client.SubscribeToRequestedDevicesAreActive([&calls] { ++calls; });
  const Subscription ok = client.SubscribeToRequestedDevicesAreOk([&calls] { ++calls; });

  EXPECT_FALSE(states.IsActive());
  EXPECT_FALSE(errors.IsActive());
  EXPECT_FALSE(active.IsActive());
  EXPECT_FALSE(ok.IsActive());
}

TEST_F(DeviceActivatorClient, CreateSucceedsWithAndWithoutParent) {
  const auto with_parent = DeviceActivator::Create(&hal_);
  const auto without_parent = DeviceActivator::Create(nullptr);

  EXPECT_TRUE(with_parent.ok());
  EXPECT_TRUE(without_parent.ok());
  EXPECT_EQ(service().CallCount(Operation::kCreate), 2U);
}

TEST_F(DeviceActivatorClient, ACreatedClientFailsEveryOperationButTheErrorsQueryWithBadStateUntilInit) {
  DeviceActivator client = CreateClient(&hal_);

  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kBadState);
  EXPECT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kBadState);
  EXPECT_EQ(client.GetRequestedDeviceStates().status(), ErrorCode::kBadState);
  EXPECT_FALSE(client.GetRequestedDeviceStates().has_value());
  EXPECT_EQ(client.GetRequestedDevicesAreActive().status(), ErrorCode::kBadState);
  EXPECT_EQ(client.GetRequestedDevicesAreOk().status(), ErrorCode::kBadState);
  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivatorClient, ADefaultConstructedClientKnowsOfNoDeviceErrors) {
  DeviceActivator client;

  const auto errors = client.GetRequestedDeviceErrors();

  ASSERT_TRUE(errors.ok());
  EXPECT_TRUE(errors.value().empty());
}

TEST_F(DeviceActivatorClient, AnUninitialisedClientKnowsOfNoDeviceErrorsEvenWhileFsrlTimesOut) {
  DeviceActivator client = CreateClient(&hal_);
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  clock_.Advance(std::chrono::milliseconds(201));

  const auto errors = client.GetRequestedDeviceErrors();

  ASSERT_TRUE(errors.ok());
  EXPECT_TRUE(errors.value().empty());
  EXPECT_EQ(service().CallCount(Operation::kGetRequestedDeviceErrors), 1U);
  // Connected, the same client sees what the service knows.
  ASSERT_EQ(client.Init(), ErrorCode::kSuccess);
  EXPECT_EQ(ErrorsOf(client, "FSRL"),
            (std::set<DeviceErrorCode>{DeviceErrorCode::kAliveTimeoutExceeded, DeviceErrorCode::kSecOCFailure}));
}

TEST_F(DeviceActivatorClient, AClientWhoseInitFailedKnowsOfNoDeviceErrors) {
  DeviceActivator client = CreateClient(&hal_);
  service().InjectFailure(Operation::kInit, 1U, ErrorCode::kTimeout);
  ASSERT_EQ(client.Init(), ErrorCode::kTimeout);
  service().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);

  const auto errors = client.GetRequestedDeviceErrors();

  ASSERT_TRUE(errors.ok());
  EXPECT_TRUE(errors.value().empty());
}

TEST_F(DeviceActivatorClient, TheErrorsQueryOfAnUninitialisedClientStillFailsWithAnInjectedCode) {
  DeviceActivator client = CreateClient(&hal_);
  service().InjectFailure(Operation::kGetRequestedDeviceErrors, 1U, ErrorCode::kBusy);

  EXPECT_THAT(client.GetRequestedDeviceErrors(), fsrl_test::FailsWith(ErrorCode::kBusy));
}

TEST_F(DeviceActivatorClient, InitConnectsTheClientToTheService) {
  DeviceActivator client = CreateClient(&hal_);

  EXPECT_EQ(client.Init(), ErrorCode::kSuccess);

  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_TRUE(RequestedActive(client, "FSRL"));
}

TEST_F(DeviceActivatorClient, InitOfAConnectedClientSucceedsAgain) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_EQ(client.Init(), ErrorCode::kSuccess);
  EXPECT_EQ(client.GetRequestedDeviceStates().status(), ErrorCode::kSuccess);
}

TEST_F(DeviceActivatorClient, NothingIsRequestedAfterReset) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_FALSE(RequestedActive(client, "FSRL"));
  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivatorClient, ARequestMakesTheDeviceRequestedActive) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_TRUE(RequestedActive(client, "FSRL"));
  EXPECT_EQ(service().RequestCount("FSRL"), 1U);
}

TEST_F(DeviceActivatorClient, ADeviceStaysActiveWhileAnotherComponentStillRequestsIt) {
  DeviceActivator hal = ConnectedClient(&hal_);
  DeviceActivator diagnosis = ConnectedClient(&diagnosis_);
  ASSERT_EQ(hal.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(diagnosis.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(service().RequestCount("FSRL"), 2U);

  EXPECT_EQ(hal.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_TRUE(RequestedActive(hal, "FSRL"));
  EXPECT_EQ(service().RequestCount("FSRL"), 1U);
}

TEST_F(DeviceActivatorClient, ADeviceIsInactiveOnceEveryComponentCancelled) {
  DeviceActivator hal = ConnectedClient(&hal_);
  DeviceActivator diagnosis = ConnectedClient(&diagnosis_);
  ASSERT_EQ(hal.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(diagnosis.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(hal.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(diagnosis.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_FALSE(RequestedActive(hal, "FSRL"));
  EXPECT_FALSE(RequestedActive(diagnosis, "FSRL"));
  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivatorClient, AComponentRequestingTwiceCountsOnce) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(service().RequestCount("FSRL"), 1U);

  EXPECT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_FALSE(RequestedActive(client, "FSRL"));
}

TEST_F(DeviceActivatorClient, ClientsOfTheSameComponentShareItsRequest) {
  DeviceActivator first = ConnectedClient(&hal_);
  DeviceActivator second = ConnectedClient(&hal_);
  ASSERT_EQ(first.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(second.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(service().RequestCount("FSRL"), 1U);

  EXPECT_EQ(second.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_FALSE(RequestedActive(first, "FSRL"));
}

TEST_F(DeviceActivatorClient, ClientsWithoutParentShareTheEmptyComponentName) {
  DeviceActivator first = ConnectedClient(nullptr);
  DeviceActivator second = ConnectedClient(nullptr);
  ASSERT_EQ(first.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(second.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivatorClient, CancellingARequestThatDoesNotExistSucceeds) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_FALSE(RequestedActive(client, "FSRL"));
}

TEST_F(DeviceActivatorClient, AnUnknownDeviceIsNotFound) {
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_EQ(client.RequestDeviceActive(DeviceName("FSRR")), ErrorCode::kNotFound);
  EXPECT_EQ(client.CancelDeviceActiveRequest(DeviceName("FSRR")), ErrorCode::kNotFound);
  EXPECT_EQ(client.RequestDeviceActive(DeviceName("fsrl")), ErrorCode::kNotFound);
  EXPECT_EQ(client.RequestDeviceActive(DeviceName("")), ErrorCode::kNotFound);
  EXPECT_EQ(client.GetRequestedDeviceStates().value().count(DeviceName("FSRR")), 0U);
}

TEST_F(DeviceActivatorClient, TheStatesMapListsEveryKnownDeviceWithItsRequestedState) {
  service().DefineDevice("FSRR");
  service().DefineDevice("RSRL");
  DeviceActivator client = ConnectedClient(&hal_);
  ASSERT_EQ(client.RequestDeviceActive(DeviceName("RSRL")), ErrorCode::kSuccess);

  const auto states = client.GetRequestedDeviceStates();

  ASSERT_TRUE(states.ok());
  std::vector<std::pair<std::string, bool>> entries;
  for (const auto& entry : states.value()) {
    entries.emplace_back(std::string(entry.first.data(), entry.first.size()), entry.second);
  }
  const std::vector<std::pair<std::string, bool>> expected = {{"FSRL", false}, {"FSRR", false}, {"RSRL", true}};
  EXPECT_EQ(entries, expected);
}

TEST_F(DeviceActivatorClient, TheErrorsMapListsEveryKnownDeviceWithAnEmptySetWhenItHasNoErrors) {
  service().DefineDevice("FSRR");
  DeviceActivator client = ConnectedClient(&hal_);

  const auto errors = client.GetRequestedDeviceErrors();

  ASSERT_TRUE(errors.ok());
  ASSERT_EQ(errors.value().size(), 2U);
  EXPECT_TRUE(errors.value().at(DeviceName("FSRL")).empty());
  EXPECT_TRUE(errors.value().at(DeviceName("FSRR")).empty());
}

TEST_F(DeviceActivatorClient, TheErrorsMapCarriesARaisedSecOCFailure) {
  DeviceActivator client = ConnectedClient(&hal_);

  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);

  EXPECT_EQ(ErrorsOf(client, "FSRL"), std::set<DeviceErrorCode>{DeviceErrorCode::kSecOCFailure});
}

TEST_F(DeviceActivatorClient, ResultsComeFromTheDefaultMemoryResource) {
  DeviceActivator client = ConnectedClient(&hal_);
  service().DefineDevice("A device name too long for the small string buffer");
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    const auto states = client.GetRequestedDeviceStates();
    const auto errors = client.GetRequestedDeviceErrors();

    ASSERT_TRUE(states.ok());
    ASSERT_TRUE(errors.ok());
    EXPECT_EQ(states.value().get_allocator().resource(), &counting);
    EXPECT_EQ(errors.value().get_allocator().resource(), &counting);
    for (const auto& entry : errors.value()) {
      EXPECT_EQ(entry.first.get_allocator().resource(), &counting);
      EXPECT_EQ(entry.second.get_allocator().resource(), &counting);
    }
    EXPECT_GT(counting.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(DeviceActivatorClient, DevicesAreActiveAndOkWhenTheClientRequestsNone) {
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  DeviceActivator client = ConnectedClient(&hal_);

  EXPECT_TRUE(client.GetRequestedDevicesAreActive().value());
  EXPECT_TRUE(client.GetRequestedDevicesAreOk().value());
}

TEST_F(DeviceActivatorClient, DevicesAreActiveWhileTheClientsRequestsStand) {
  DeviceActivator client = ConnectedClient(&hal_);

  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_TRUE(client.GetRequestedDevicesAreActive().value());
}

TEST_F(DeviceActivatorClient, DevicesAreNotActiveOnceAnotherClientOfTheComponentCancels) {
  DeviceActivator first = ConnectedClient(&hal_);
  DeviceActivator second = ConnectedClient(&hal_);
  ASSERT_EQ(first.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  ASSERT_EQ(second.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_FALSE(first.GetRequestedDevicesAreActive().value());
  EXPECT_TRUE(second.GetRequestedDevicesAreActive().value());
}

TEST_F(DeviceActivatorClient, DevicesAreNotActiveOnceARequestedDeviceIsRemoved) {
  service().DefineDevice("FSRR");
  DeviceActivator client = ConnectedClient(&hal_);
  ASSERT_EQ(client.RequestDeviceActive(DeviceName("FSRR")), ErrorCode::kSuccess);

  service().RemoveDevice("FSRR");

  EXPECT_FALSE(client.GetRequestedDevicesAreActive().value());
}

TEST_F(DeviceActivatorClient, DevicesAreNotOkWhenARequestedDeviceHasAnError) {
  DeviceActivator client = ConnectedClient(&hal_);
  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  EXPECT_FALSE(client.GetRequestedDevicesAreOk().value());

  service().ClearError("FSRL", DeviceErrorCode::kSecOCFailure);
  EXPECT_TRUE(client.GetRequestedDevicesAreOk().value());
}

TEST_F(DeviceActivatorClient, AnErrorOfADeviceTheClientDoesNotRequestLeavesItOk) {
  service().DefineDevice("FSRR");
  DeviceActivator client = ConnectedClient(&hal_);
  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  service().RaiseError("FSRR", DeviceErrorCode::kSecOCFailure);

  EXPECT_TRUE(client.GetRequestedDevicesAreOk().value());
}

TEST_F(DeviceActivatorClient, DestroyingAClientKeepsItsComponentsRequest) {
  {
    DeviceActivator client = ConnectedClient(&hal_);
    ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  }

  EXPECT_EQ(service().RequestCount("FSRL"), 1U);
  DeviceActivator later = ConnectedClient(&diagnosis_);
  EXPECT_TRUE(RequestedActive(later, "FSRL"));
}

TEST_F(DeviceActivatorClient, AMovedClientKeepsItsConnectionAndTheSourceActsAsDefault) {
  DeviceActivator source = ConnectedClient(&hal_);

  DeviceActivator target(std::move(source));

  EXPECT_EQ(target.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(source.RequestDeviceActive(kFsrl), ErrorCode::kNotAvailable);  // NOLINT(bugprone-use-after-move)
}

TEST_F(DeviceActivatorClient, AStatesSubscriberIsCalledWhenARequestChangesTheStates) {
  DeviceActivator watcher = ConnectedClient(&diagnosis_);
  DeviceActivator hal = ConnectedClient(&hal_);
  int calls = 0;
  const Subscription subscription = watcher.SubscribeToRequestedDeviceStates([&calls] { ++calls; });

  ASSERT_EQ(hal.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(calls, 1);

  ASSERT_EQ(hal.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(watcher.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(calls, 1);

  ASSERT_EQ(hal.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(calls, 2);
}

TEST_F(DeviceActivatorClient, ARequestThatChangesOnlyTheStatesLeavesTheOtherSubscribersAlone) {
  DeviceActivator watcher = ConnectedClient(&diagnosis_);
  DeviceActivator hal = ConnectedClient(&hal_);
  int others = 0;
  const Subscription errors = watcher.SubscribeToRequestedDeviceErrors([&others] { ++others; });
  const Subscription active = watcher.SubscribeToRequestedDevicesAreActive([&others] { ++others; });
  const Subscription ok = watcher.SubscribeToRequestedDevicesAreOk([&others] { ++others; });

  ASSERT_EQ(hal.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(others, 0);
}

TEST_F(DeviceActivatorClient, AnAreActiveSubscriberIsCalledWhenAnotherClientOfTheComponentCancels) {
  DeviceActivator first = ConnectedClient(&hal_);
  DeviceActivator second = ConnectedClient(&hal_);
  ASSERT_EQ(first.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  int calls = 0;
  const Subscription subscription = first.SubscribeToRequestedDevicesAreActive([&calls] { ++calls; });

  ASSERT_EQ(second.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(first.GetRequestedDevicesAreActive().value());
}

TEST_F(DeviceActivatorClient, AnAreOkSubscriberIsCalledWhenTheClientRequestsAFaultyDevice) {
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  DeviceActivator client = ConnectedClient(&hal_);
  int calls = 0;
  const Subscription subscription = client.SubscribeToRequestedDevicesAreOk([&calls] { ++calls; });

  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(calls, 1);
}

TEST_F(DeviceActivatorClient, AnAreOkSubscriberIsCalledWhenTheClientJoinsItsComponentsRequestForAFaultyDevice) {
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  DeviceActivator first = ConnectedClient(&hal_);
  DeviceActivator second = ConnectedClient(&hal_);
  ASSERT_EQ(first.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  int calls = 0;
  const Subscription subscription = second.SubscribeToRequestedDevicesAreOk([&calls] { ++calls; });
  ASSERT_TRUE(second.GetRequestedDevicesAreOk().value());

  ASSERT_EQ(second.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(service().RequestCount("FSRL"), 1U);
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(second.GetRequestedDevicesAreOk().value());
}

TEST_F(DeviceActivatorClient, ASubscriptionMadeBeforeInitHearsOfChangesAfterIt) {
  DeviceActivator client = CreateClient(&hal_);
  int calls = 0;
  const Subscription subscription = client.SubscribeToRequestedDeviceStates([&calls] { ++calls; });
  EXPECT_TRUE(subscription.IsActive());

  ASSERT_EQ(client.Init(), ErrorCode::kSuccess);
  EXPECT_EQ(calls, 0);

  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(calls, 1);
}

TEST_F(DeviceActivatorClient, ACancelledSubscriptionIsNotCalled) {
  DeviceActivator client = ConnectedClient(&hal_);
  int calls = 0;
  Subscription subscription = client.SubscribeToRequestedDeviceStates([&calls] { ++calls; });

  subscription.Cancel();
  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_FALSE(subscription.IsActive());
  EXPECT_EQ(calls, 0);
}

TEST_F(DeviceActivatorClient, SubscriptionsEndWhenTheClientIsDestroyed) {
  std::optional<DeviceActivator> client(ConnectedClient(&hal_));
  DeviceActivator other = ConnectedClient(&diagnosis_);
  int calls = 0;
  const Subscription subscription = client->SubscribeToRequestedDeviceStates([&calls] { ++calls; });
  ASSERT_TRUE(subscription.IsActive());

  client.reset();
  ASSERT_EQ(other.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_FALSE(subscription.IsActive());
  EXPECT_EQ(calls, 0);
}

TEST_F(DeviceActivatorClient, MovingAClientOverAnotherEndsTheOverwrittenClientsSubscriptions) {
  DeviceActivator target = ConnectedClient(&hal_);
  const Subscription subscription = target.SubscribeToRequestedDeviceStates([] {});

  target = ConnectedClient(&diagnosis_);

  EXPECT_FALSE(subscription.IsActive());
  EXPECT_EQ(target.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
}

TEST_F(DeviceActivatorClient, ACallbackMayAskTheServiceForTheNewValue) {
  DeviceActivator client = ConnectedClient(&hal_);
  std::vector<bool> seen;
  struct Probe {
    DeviceActivator* client;
    std::vector<bool>* seen;
  };
  const Probe probe{&client, &seen};
  const Subscription subscription = client.SubscribeToRequestedDeviceStates(
      [probe] { probe.seen->push_back(probe.client->GetRequestedDeviceStates().value().at(DeviceName("FSRL"))); });

  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(client.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(seen, (std::vector<bool>{true, false}));
}

TEST_F(DeviceActivatorClient, NotificationsCausedByACallbackFollowItInsteadOfNestingInIt) {
  DeviceActivator client = ConnectedClient(&hal_);
  std::vector<std::string> events;
  struct Canceller {
    DeviceActivator* client;
    std::vector<std::string>* events;
  };
  const Canceller canceller{&client, &events};
  const Subscription subscription = client.SubscribeToRequestedDeviceStates([canceller] {
    canceller.events->push_back("enter");
    (void)canceller.client->CancelDeviceActiveRequest(kFsrl);
    canceller.events->push_back("leave");
  });

  ASSERT_EQ(client.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(events, (std::vector<std::string>{"enter", "leave", "enter", "leave"}));
  EXPECT_FALSE(RequestedActive(client, "FSRL"));
}

TEST_F(DeviceActivatorClient, ACallbackMayDestroyItsOwnClient) {
  std::optional<DeviceActivator> client(ConnectedClient(&hal_));
  DeviceActivator other = ConnectedClient(&diagnosis_);
  int calls = 0;
  struct Destroyer {
    std::optional<DeviceActivator>* client;
    int* calls;
  };
  const Destroyer destroyer{&client, &calls};
  const Subscription subscription = client->SubscribeToRequestedDeviceStates([destroyer] {
    ++*destroyer.calls;
    destroyer.client->reset();
  });

  ASSERT_EQ(other.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  ASSERT_EQ(other.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);

  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(client.has_value());
  EXPECT_FALSE(subscription.IsActive());
}

TEST_F(DeviceActivatorClient, ClientsOnManyThreadsCanRequestAtOnce) {
  constexpr int kThreads = 8;
  std::vector<std::unique_ptr<ContextualObject>> components;
  std::vector<DeviceActivator> clients;
  components.reserve(kThreads);
  clients.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    components.push_back(std::make_unique<ContextualObject>(&application_, "component" + std::to_string(i)));
    clients.push_back(ConnectedClient(components.back().get()));
  }
  // Callbacks of one client never run at the same time, so a plain counter will do.
  int notified = 0;
  const Subscription subscription = clients.front().SubscribeToRequestedDeviceStates([&notified] { ++notified; });

  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&clients, i] {
      for (int round = 0; round < 50; ++round) {
        (void)clients[static_cast<std::size_t>(i)].RequestDeviceActive(kFsrl);
        (void)clients[static_cast<std::size_t>(i)].GetRequestedDeviceErrors();
        (void)clients[static_cast<std::size_t>(i)].CancelDeviceActiveRequest(kFsrl);
      }
      (void)clients[static_cast<std::size_t>(i)].RequestDeviceActive(kFsrl);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(service().RequestCount("FSRL"), static_cast<std::size_t>(kThreads));
  EXPECT_TRUE(RequestedActive(clients.front(), "FSRL"));
  EXPECT_GE(notified, 1);
}

}  // namespace
