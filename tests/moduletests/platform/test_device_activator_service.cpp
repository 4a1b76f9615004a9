#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "device_activator_test_support.h"
#include "status_or_matchers.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/notifier.h"
#include "zol/log/logging.h"
#include "zol/memory/span.h"
#include "zol/mono_clock.h"
#include "zol/signalcomm/service.h"
#include "zol/string_view.h"

namespace {

using device_activator::DeviceActivationService;
using device_activator::DeviceActivator;
using device_activator::DeviceErrorCode;
using device_activator::DeviceName;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;
using Operation = DeviceActivationService::Operation;
using Errors = std::set<DeviceErrorCode>;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

using fsrl_test::ConnectedClient;

const DeviceName& kFsrl = fsrl_test::kFsrlDevice;
const Errors kNoErrors{};
const Errors kAliveTimeout{DeviceErrorCode::kAliveTimeoutExceeded};
constexpr zol::string_view kAliveGroup("FsrlAlive", 9);

class DeviceActivationServiceTest : public fsrl_test::DeviceActivationTest {
 protected:
  void SetUp() override {
    DeviceActivationTest::SetUp();
    zol::signalcomm::Service::Instance().DefineSignalGroup(kAliveGroup, 8);
    client_ = ConnectedClient(&tool_);
  }

  static void PublishAliveGroup() {
    const std::uint8_t payload[8] = {};
    ASSERT_EQ(zol::signalcomm::Service::Instance().Publish(kAliveGroup, zol::memory::span<const std::uint8_t>(payload)),
              SIGNALCOMM_OK);
  }

  Errors ErrorsOf(const char* device) const { return fsrl_test::ErrorsOf(client_, device); }

  bool Knows(const char* device) const {
    return client_.GetRequestedDeviceErrors().value().count(DeviceName(device)) != 0U;
  }

  // Constructed before SetUp: the signal service restarts at this manual time, which idle "FSRL" is measured from.
  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(10))};
  ContextualObject application_{nullptr, "application"};
  ContextualObject tool_{&application_, "tool"};
  DeviceActivator client_;
};

TEST_F(DeviceActivationServiceTest, IsOneObjectForTheWholeProcess) {
  EXPECT_EQ(&DeviceActivationService::Instance(), &DeviceActivationService::Instance());
}

TEST_F(DeviceActivationServiceTest, KnowsOnlyFsrlAfterReset) {
  const auto states = client_.GetRequestedDeviceStates();

  ASSERT_TRUE(states.ok());
  ASSERT_EQ(states.value().size(), 1U);
  EXPECT_EQ(states.value().begin()->first, kFsrl);
  EXPECT_FALSE(states.value().begin()->second);
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, FsrlIsAliveUntilTheTimeoutAfterTheSignalServiceStartedIsExceeded) {
  clock_.Advance(milliseconds(200));
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);

  clock_.Advance(nanoseconds(1));
  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
}

TEST_F(DeviceActivationServiceTest, AfterAnArrivalTheTimeoutIsMeasuredFromTheLastArrival) {
  clock_.Advance(milliseconds(150));
  PublishAliveGroup();

  clock_.Advance(milliseconds(200));
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);

  clock_.Advance(nanoseconds(1));
  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
}

TEST_F(DeviceActivationServiceTest, ANewArrivalEndsTheAliveTimeout) {
  clock_.Advance(milliseconds(300));
  ASSERT_EQ(ErrorsOf("FSRL"), kAliveTimeout);

  PublishAliveGroup();

  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, RestartingTheSignalServiceRestartsTheMeasurement) {
  clock_.Advance(milliseconds(300));
  ASSERT_EQ(ErrorsOf("FSRL"), kAliveTimeout);

  zol::signalcomm::Service::Instance().Reset();

  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, TheAliveTimeoutIsConfigurable) {
  service().SetAliveTimeout(milliseconds(50));
  clock_.Advance(milliseconds(50));
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
  clock_.Advance(nanoseconds(1));
  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);

  service().SetAliveTimeout(milliseconds(1000));
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, OnlyFsrlIsSupervised) {
  service().DefineDevice("FSRR");

  clock_.Advance(std::chrono::seconds(1));

  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
  EXPECT_EQ(ErrorsOf("FSRR"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, ARaisedSecOCFailureAppearsBesideTheAliveTimeout) {
  clock_.Advance(std::chrono::seconds(1));

  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);

  EXPECT_EQ(ErrorsOf("FSRL"), (Errors{DeviceErrorCode::kAliveTimeoutExceeded, DeviceErrorCode::kSecOCFailure}));
}

TEST_F(DeviceActivationServiceTest, RaisingAnErrorTwiceAndClearingItOnceClearsIt) {
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);

  service().ClearError("FSRL", DeviceErrorCode::kSecOCFailure);

  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, ARaisedAliveTimeoutAddsToTheSupervisionWithoutOverridingIt) {
  service().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
  service().ClearError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  EXPECT_EQ(ErrorsOf("FSRL"), kNoErrors);

  clock_.Advance(std::chrono::seconds(1));
  service().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  service().ClearError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);

  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
}

TEST_F(DeviceActivationServiceTest, RaisingAnErrorOfAnUnknownDeviceIsIgnoredAndLogged) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  service().RaiseError("FSRR", DeviceErrorCode::kSecOCFailure);

  EXPECT_FALSE(Knows("FSRR"));
  ASSERT_EQ(sink.lines().size(), 1U);
  EXPECT_EQ(sink.lines().front().level, zol::log::LoggingLevel::kWarn);
  EXPECT_EQ(sink.lines().front().context_id, "DACT");
}

TEST_F(DeviceActivationServiceTest, ADeviceNameMayHaveUpTo64Characters) {
  const std::string longest(device_activator::kMaxDeviceNameLength, 'x');
  const std::string too_long(device_activator::kMaxDeviceNameLength + 1, 'y');
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  service().DefineDevice(longest);
  service().DefineDevice(too_long);
  service().DefineDevice("");

  EXPECT_TRUE(Knows(longest.c_str()));
  EXPECT_FALSE(Knows(too_long.c_str()));
  EXPECT_EQ(client_.GetRequestedDeviceStates().value().size(), 2U);
  EXPECT_EQ(sink.lines().size(), 2U);
}

TEST_F(DeviceActivationServiceTest, DefiningAKnownDeviceAgainKeepsItsRequestsAndErrors) {
  ASSERT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);

  service().DefineDevice("FSRL");

  EXPECT_EQ(service().RequestCount("FSRL"), 1U);
  EXPECT_EQ(ErrorsOf("FSRL"), Errors{DeviceErrorCode::kSecOCFailure});
}

TEST_F(DeviceActivationServiceTest, RemovingADeviceForgetsItsRequestsAndErrors) {
  service().DefineDevice("FSRR");
  ASSERT_EQ(client_.RequestDeviceActive(DeviceName("FSRR")), ErrorCode::kSuccess);
  service().RaiseError("FSRR", DeviceErrorCode::kSecOCFailure);

  service().RemoveDevice("FSRR");
  service().DefineDevice("FSRR");

  EXPECT_EQ(service().RequestCount("FSRR"), 0U);
  EXPECT_EQ(ErrorsOf("FSRR"), kNoErrors);
}

TEST_F(DeviceActivationServiceTest, AServiceWithoutFsrlReportsNoEntryForIt) {
  service().RemoveDevice("FSRL");
  clock_.Advance(std::chrono::seconds(1));

  EXPECT_FALSE(Knows("FSRL"));
  EXPECT_TRUE(client_.GetRequestedDeviceStates().value().empty());
  EXPECT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kNotFound);
}

TEST_F(DeviceActivationServiceTest, CreateFailsWithAnInjectedCode) {
  service().InjectFailure(Operation::kCreate, 1, ErrorCode::kBusy);

  const auto failed = DeviceActivator::Create(&tool_);
  const auto next = DeviceActivator::Create(&tool_);

  EXPECT_FALSE(failed.has_value());
  EXPECT_EQ(failed.status(), ErrorCode::kBusy);
  EXPECT_TRUE(next.ok());
}

TEST_F(DeviceActivationServiceTest, InitFailsWithAnInjectedCodeAndLeavesTheClientUnconnected) {
  auto created = DeviceActivator::Create(&tool_);
  ASSERT_TRUE(created.ok());
  DeviceActivator client = std::move(created).value();
  service().InjectFailure(Operation::kInit, 1, ErrorCode::kTimeout);

  EXPECT_EQ(client.Init(), ErrorCode::kTimeout);
  EXPECT_EQ(client.GetRequestedDeviceStates().status(), ErrorCode::kBadState);

  EXPECT_EQ(client.Init(), ErrorCode::kSuccess);
  EXPECT_EQ(client.GetRequestedDeviceStates().status(), ErrorCode::kSuccess);
}

TEST_F(DeviceActivationServiceTest, EveryRequestAndQueryFailsWithAnInjectedCode) {
  service().InjectFailure(Operation::kRequestDeviceActive, 1, ErrorCode::kFailure);
  service().InjectFailure(Operation::kCancelDeviceActiveRequest, 1, ErrorCode::kBusy);
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kTimeout);
  service().InjectFailure(Operation::kGetRequestedDeviceErrors, 1, ErrorCode::kNotAvailable);
  service().InjectFailure(Operation::kGetRequestedDevicesAreActive, 1, ErrorCode::kAccessDenied);
  service().InjectFailure(Operation::kGetRequestedDevicesAreOk, 1, ErrorCode::kNotSupported);

  EXPECT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kFailure);
  EXPECT_EQ(client_.CancelDeviceActiveRequest(kFsrl), ErrorCode::kBusy);
  EXPECT_THAT(client_.GetRequestedDeviceStates(), fsrl_test::FailsWith(ErrorCode::kTimeout));
  EXPECT_THAT(client_.GetRequestedDeviceErrors(), fsrl_test::FailsWith(ErrorCode::kNotAvailable));
  EXPECT_THAT(client_.GetRequestedDevicesAreActive(), fsrl_test::FailsWith(ErrorCode::kAccessDenied));
  const auto ok = client_.GetRequestedDevicesAreOk();
  EXPECT_FALSE(ok.has_value());
  EXPECT_EQ(ok.status(), ErrorCode::kNotSupported);

  EXPECT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  EXPECT_EQ(client_.CancelDeviceActiveRequest(kFsrl), ErrorCode::kSuccess);
  EXPECT_TRUE(client_.GetRequestedDeviceStates().ok());
  EXPECT_TRUE(client_.GetRequestedDeviceErrors().ok());
  EXPECT_TRUE(client_.GetRequestedDevicesAreActive().ok());
  EXPECT_TRUE(client_.GetRequestedDevicesAreOk().ok());
}

TEST_F(DeviceActivationServiceTest, AnInjectedRequestChangesNothing) {
  service().InjectFailure(Operation::kRequestDeviceActive, 1, ErrorCode::kFailure);

  ASSERT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kFailure);

  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
}

TEST_F(DeviceActivationServiceTest, AnInjectionFiresAtTheNthCallFromNowOverAllClients) {
  ContextualObject other_component(&application_, "other");
  const DeviceActivator other = ConnectedClient(&other_component);
  (void)client_.GetRequestedDeviceErrors();
  service().InjectFailure(Operation::kGetRequestedDeviceErrors, 2, ErrorCode::kFailure);

  EXPECT_TRUE(client_.GetRequestedDeviceErrors().ok());
  EXPECT_EQ(other.GetRequestedDeviceErrors().status(), ErrorCode::kFailure);
  EXPECT_TRUE(client_.GetRequestedDeviceErrors().ok());
}

TEST_F(DeviceActivationServiceTest, InjectionsWithoutNegativeCodeOrWithCallZeroAreIgnoredAndLogged) {
  zol::log::CapturingSink sink;
  const zol::log::ScopedSink scoped(&sink);

  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kSuccess);
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kPending);
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 0, ErrorCode::kFailure);

  EXPECT_TRUE(client_.GetRequestedDeviceStates().ok());
  EXPECT_TRUE(client_.GetRequestedDeviceStates().ok());
  EXPECT_EQ(sink.lines().size(), 3U);
}

TEST_F(DeviceActivationServiceTest, ClearInjectionsDropsTheInjectionsThatHaveNotFired) {
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kFailure);
  service().InjectFailure(Operation::kCreate, 1, ErrorCode::kFailure);

  service().ClearInjections();

  EXPECT_TRUE(client_.GetRequestedDeviceStates().ok());
  EXPECT_TRUE(DeviceActivator::Create(&tool_).ok());
}

TEST_F(DeviceActivationServiceTest, CallCountCountsEveryCallThatReachedTheService) {
  auto created = DeviceActivator::Create(&tool_);
  ASSERT_TRUE(created.ok());
  const DeviceActivator unconnected = std::move(created).value();
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kFailure);

  (void)client_.GetRequestedDeviceStates();               // injected
  (void)unconnected.GetRequestedDeviceStates();           // bad state
  (void)client_.GetRequestedDeviceStates();               // success
  (void)client_.RequestDeviceActive(DeviceName("FSRR"));  // not found

  EXPECT_EQ(service().CallCount(Operation::kCreate), 2U);
  EXPECT_EQ(service().CallCount(Operation::kInit), 1U);
  EXPECT_EQ(service().CallCount(Operation::kGetRequestedDeviceStates), 3U);
  EXPECT_EQ(service().CallCount(Operation::kRequestDeviceActive), 1U);
  EXPECT_EQ(service().CallCount(Operation::kGetRequestedDevicesAreOk), 0U);
}

TEST_F(DeviceActivationServiceTest, RequestCountIsZeroForAnUnknownDevice) {
  EXPECT_EQ(service().RequestCount("FSRR"), 0U);
}

TEST_F(DeviceActivationServiceTest, NotifySubscribersTellsOfAnExpiredAliveTimeoutOnce) {
  ASSERT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  int errors_calls = 0;
  int ok_calls = 0;
  int states_calls = 0;
  const Subscription errors = client_.SubscribeToRequestedDeviceErrors([&errors_calls] { ++errors_calls; });
  const Subscription ok = client_.SubscribeToRequestedDevicesAreOk([&ok_calls] { ++ok_calls; });
  const Subscription states = client_.SubscribeToRequestedDeviceStates([&states_calls] { ++states_calls; });

  service().NotifySubscribers();
  EXPECT_EQ(errors_calls, 0);

  clock_.Advance(milliseconds(201));
  service().NotifySubscribers();
  service().NotifySubscribers();
  EXPECT_EQ(errors_calls, 1);
  EXPECT_EQ(ok_calls, 1);
  EXPECT_FALSE(client_.GetRequestedDevicesAreOk().value());

  PublishAliveGroup();
  service().NotifySubscribers();
  EXPECT_EQ(errors_calls, 2);
  EXPECT_EQ(ok_calls, 2);
  EXPECT_EQ(states_calls, 0);
}

TEST_F(DeviceActivationServiceTest, RaisedErrorsAndNewDevicesReachSubscribersOnNotifySubscribers) {
  int errors_calls = 0;
  int states_calls = 0;
  const Subscription errors = client_.SubscribeToRequestedDeviceErrors([&errors_calls] { ++errors_calls; });
  const Subscription states = client_.SubscribeToRequestedDeviceStates([&states_calls] { ++states_calls; });

  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  EXPECT_EQ(errors_calls, 0);
  service().NotifySubscribers();
  EXPECT_EQ(errors_calls, 1);
  EXPECT_EQ(states_calls, 0);

  service().DefineDevice("FSRR");
  service().NotifySubscribers();
  EXPECT_EQ(errors_calls, 2);
  EXPECT_EQ(states_calls, 1);
}

TEST_F(DeviceActivationServiceTest, ResetRestoresTheDefaults) {
  service().DefineDevice("FSRR");
  service().SetAliveTimeout(std::chrono::seconds(1));
  service().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  ASSERT_EQ(client_.RequestDeviceActive(kFsrl), ErrorCode::kSuccess);
  service().InjectFailure(Operation::kGetRequestedDeviceStates, 1, ErrorCode::kFailure);
  clock_.Advance(milliseconds(201));
  ASSERT_EQ(ErrorsOf("FSRL"), Errors{DeviceErrorCode::kSecOCFailure});

  service().Reset();

  EXPECT_EQ(service().CallCount(Operation::kGetRequestedDeviceErrors), 0U);
  const auto states = client_.GetRequestedDeviceStates();
  ASSERT_TRUE(states.ok());
  ASSERT_EQ(states.value().size(), 1U);
  EXPECT_EQ(states.value().begin()->first, kFsrl);
  EXPECT_FALSE(states.value().begin()->second);
  EXPECT_EQ(service().RequestCount("FSRL"), 0U);
  EXPECT_EQ(ErrorsOf("FSRL"), kAliveTimeout);
  EXPECT_TRUE(client_.GetRequestedDevicesAreActive().value());
}

}  // namespace
