// The HAL core of the "Initial" variant on the real signal adapter, the real signal communication service and the
// real device activation service: construction and wiring, the input cycle with lost communication, service mode.
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_p.h"
#include "radar_frames.h"
#include "status_or_matchers.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace front_side_radar_left_hal {

// Reads the members of a core that show which construction path it took and what its last cycle read.
class InitialFrontSideRadarLeftHalTestAccess {
 public:
  using Core = InitialFrontSideRadarLeftHal::Impl;

  static bool sig_adapter_nullptr(const Core& core) { return core.m_sig_adapter_nullptr; }
  static bool has_sig_adapter(const Core& core) { return core.m_sig_adapter != nullptr; }
  static bool loss_com(const Core& core) { return core.m_loss_com; }
  static zol::TimePoint last_lost_com_check(const Core& core) { return core.m_last_lost_com_check; }
  static std::uint8_t status1_scan_id(const Core& core) { return core.m_signal_status1.rsds4sig_sts1scan_id; }
  static std::uint8_t status2_scan_id(const Core& core) { return core.m_signal_status2.rsds4sig_sts2scan_id; }
  static std::uint8_t detections_080to084_scan_id(const Core& core) {
    return core.m_signal_detections_080To084.rsds4detn080to084scan_id;
  }
  static std::uint8_t detections_090to094_scan_id(const Core& core) {
    return core.m_signal_detections_090To094.rsds4detn090to094scan_id;
  }
  static std::uint8_t detections_195to199_scan_id(const Core& core) {
    return core.m_signal_detections_195To199.rsds4detn195to199scan_id;
  }
  static bool any_scan_id_flagged(const Core& core) {
    for (const bool flagged : core.m_fetched_detection_scan_ids) {
      if (flagged) {
        return true;
      }
    }
    return false;
  }
};

}  // namespace front_side_radar_left_hal

namespace {

using device_activator::DeviceActivationService;
using device_activator::DeviceErrorCode;
using front_side_radar_left_hal::InitialFrontSideRadarLeftHal;
using front_side_radar_left_hal::ServiceMode;
using fsrl_test::kStatus1Group;
using fsrl_test::kStatus2Group;
using fsrl_test::MakeSensorScan;
using fsrl_test::PhysicalOf;
using fsrl_test::SensorScan;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;
using zol::log::CapturingSink;
using zol::log::LoggingLevel;
using Access = front_side_radar_left_hal::InitialFrontSideRadarLeftHalTestAccess;
using Core = InitialFrontSideRadarLeftHal::Impl;
using Operation = DeviceActivationService::Operation;

constexpr char kNoParentMessage[] =
    "InitialFrontSideRadarLeftHal::Impl: context_parent contextual object was not present";
constexpr char kNoExecutionContextMessage[] =
    "InitialFrontSideRadarLeftHal::Impl: context_parent ExecutionContext not present at initialization. For the "
    "Component to get hold of its context_parent ExecutionContext, it should be created in Executable::OnWillStart.";
constexpr char kAdapterCreatedMessage[] = "HAL monitor Signal Adapter created";
constexpr char kNoAdapterMessage[] = "Error creating HAL monitor Signal Adapter";
constexpr char kInitFailedMessage[] = "Device Activator was not initialized successfully";
constexpr char kReadFailedMessage[] = "Failed to read at least one property from signal database";
constexpr char kDeviceErrorsUnreadableMessage[] = "Failed to read requested_device_errors from device_activator";
constexpr char kInvalidServiceModeMessage[] = "Invalid service_mode_state requested";
constexpr char kRetrieveFunction[] = "SignalComm_SignalGroupCache_Retrieve";

constexpr std::chrono::nanoseconds kJustUnderOneMillisecond(999999);
constexpr std::chrono::nanoseconds kOneMillisecond(1000000);

class InitialFrontSideRadarLeftHalCore : public ::testing::Test {
 protected:
  InitialFrontSideRadarLeftHalCore() {
    zol::log::SetDefaultLevel(LoggingLevel::kInfo);
    zol::afw::core::TransactionTesting::Reset();
    zol::signalcomm::Service::Instance().Reset();
    zol::signalcomm::Service::Instance().DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                                                            initialfrontsideradarlefthal_signal_group_count);
    DeviceActivationService::Instance().Reset();
    executable_.execution_context()->dispatch_queue().SetStepMode(true);
  }

  ~InitialFrontSideRadarLeftHalCore() override {
    core_.reset();
    zol::log::SetDefaultLevel(saved_level_);
  }

  InitialFrontSideRadarLeftHalCore(const InitialFrontSideRadarLeftHalCore&) = delete;
  InitialFrontSideRadarLeftHalCore& operator=(const InitialFrontSideRadarLeftHalCore&) = delete;

  Core& MakeCore(const zol::afw::core::ContextualObject* parent) {
    core_ = std::make_unique<Core>(parent);
    return *core_;
  }
  Core& MakeCore() { return MakeCore(&executable_); }

  // One processing cycle as the owner's dispatch queue runs it: a new transaction, then the input cycle.
  ErrorCode Cycle() {
    zol::afw::core::Transaction::Begin();
    return core_->ProcessFsrlInput();
  }

  // Lines logged by the core itself (log context "FLH").
  std::vector<CapturingSink::Line> CoreLines() const {
    std::vector<CapturingSink::Line> lines;
    for (const CapturingSink::Line& line : sink_.lines()) {
      if (line.context_id == "FLH") {
        lines.push_back(line);
      }
    }
    return lines;
  }

  static std::size_t DeviceCalls(Operation operation) {
    return DeviceActivationService::Instance().CallCount(operation);
  }
  static std::size_t Retrievals() { return zol::signalcomm::Service::Instance().CallCount(kRetrieveFunction); }

  const LoggingLevel saved_level_ = zol::log::DefaultLevel();
  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(10))};
  CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  zol::afw::core::Executable executable_{"exe"};
  fsrl_test::RadarFrameSource frames_;
  std::unique_ptr<Core> core_;
};

// ------------------------------------------------------------------------------------------------------------------
// Construction and wiring
// ------------------------------------------------------------------------------------------------------------------

TEST_F(InitialFrontSideRadarLeftHalCore, ANullParentLogsTheMissingContextualObjectAndLeavesAUsableCore) {
  Core& core = MakeCore(nullptr);

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kNoParentMessage));
  EXPECT_EQ(sink_.Count(kNoExecutionContextMessage), 0U);
  EXPECT_TRUE(Access::has_sig_adapter(core));
  EXPECT_FALSE(Access::sig_adapter_nullptr(core));

  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(core.GetFsrlDetections().value().info().scan_id(), 9U);
  EXPECT_TRUE(core.GetFsrlDetections().value().info().is_valid());
}

TEST_F(InitialFrontSideRadarLeftHalCore, AParentWithoutExecutionContextLogsAWarningAndConstructionCompletes) {
  const zol::afw::core::ContextualObject parent(nullptr, "plain");
  Core& core = MakeCore(&parent);

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, kNoExecutionContextMessage));
  EXPECT_EQ(sink_.Count(kNoParentMessage), 0U);
  EXPECT_TRUE(Access::has_sig_adapter(core));
  EXPECT_EQ(DeviceCalls(Operation::kInit), 1U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AParentWithAnExecutionContextGivesAReadyCoreWithoutAnyMessage) {
  Core& core = MakeCore();

  EXPECT_TRUE(CoreLines().empty());
  EXPECT_TRUE(Access::has_sig_adapter(core));
  EXPECT_FALSE(Access::sig_adapter_nullptr(core));
  EXPECT_EQ(DeviceCalls(Operation::kCreate), 1U);
  EXPECT_EQ(DeviceCalls(Operation::kInit), 1U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AnAdapterThatCannotBeCreatedIsLoggedSetsTheFlagAndSkipsInit) {
  zol::signalcomm::Service::Instance().InjectFailure("SignalComm_CreateContext", 1U, SIGNALCOMM_E_NO_MEMORY);
  Core& core = MakeCore();

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kNoAdapterMessage));
  EXPECT_FALSE(Access::has_sig_adapter(core));
  EXPECT_TRUE(Access::sig_adapter_nullptr(core));
  EXPECT_EQ(DeviceCalls(Operation::kCreate), 1U);
  EXPECT_EQ(DeviceCalls(Operation::kInit), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, ACoreWithoutAdapterFailsEveryCycleSilently) {
  zol::signalcomm::Service::Instance().InjectFailure("SignalComm_CreateContext", 1U, SIGNALCOMM_E_NO_MEMORY);
  MakeCore();
  sink_.Clear();

  // Each call a millisecond after the last, so that every one of them evaluates lost communication too.
  for (int call = 0; call < 3; ++call) {
    EXPECT_EQ(Cycle(), ErrorCode::kFailure);
    clock_.Advance(kOneMillisecond);
  }

  // The missing adapter was reported once, at construction; the cycles add nothing, and in particular do not
  // blame the device activation service, whose client was left unconnected on purpose.
  EXPECT_TRUE(sink_.lines().empty());
  EXPECT_EQ(sink_.Count(kDeviceErrorsUnreadableMessage), 0U);
  EXPECT_EQ(sink_.Count(kReadFailedMessage), 0U);
  EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), 3U);
  EXPECT_EQ(Retrievals(), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, ADeviceClientThatCannotBeCreatedLogsNothingAndLeavesTheFlagFalse) {
  DeviceActivationService::Instance().InjectFailure(Operation::kCreate, 1U, ErrorCode::kFailure);
  Core& core = MakeCore();

  EXPECT_TRUE(CoreLines().empty());
  EXPECT_TRUE(Access::has_sig_adapter(core));
  EXPECT_FALSE(Access::sig_adapter_nullptr(core));
  EXPECT_EQ(DeviceCalls(Operation::kInit), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, ADeviceClientThatCannotBeCreatedLeavesTheFlagFalseEvenWithoutAdapter) {
  zol::signalcomm::Service::Instance().InjectFailure("SignalComm_CreateContext", 1U, SIGNALCOMM_E_NO_MEMORY);
  DeviceActivationService::Instance().InjectFailure(Operation::kCreate, 1U, ErrorCode::kFailure);
  Core& core = MakeCore();

  EXPECT_TRUE(CoreLines().empty());
  EXPECT_FALSE(Access::has_sig_adapter(core));
  EXPECT_FALSE(Access::sig_adapter_nullptr(core));
  // Still no adapter to read from: the cycle fails without touching the signal service, and without a word.
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_EQ(Retrievals(), 0U);
  EXPECT_TRUE(CoreLines().empty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, ADeviceClientThatCannotBeCreatedMakesServiceModeCallsFailAsUnavailable) {
  DeviceActivationService::Instance().InjectFailure(Operation::kCreate, 1U, ErrorCode::kFailure);
  Core& core = MakeCore();

  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kNotAvailable);
  EXPECT_EQ(core.GetServiceMode().status(), ErrorCode::kFailure);
  EXPECT_EQ(DeviceCalls(Operation::kRequestDeviceActive), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, TheAdapterCreatedLineIsLoggedAtDebugLevelOnly) {
  MakeCore();
  EXPECT_EQ(sink_.Count(kAdapterCreatedMessage), 0U);

  core_.reset();
  zol::log::SetDefaultLevel(LoggingLevel::kDebug);
  MakeCore();
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, kAdapterCreatedMessage));
}

TEST_F(InitialFrontSideRadarLeftHalCore, AFailingInitIsLoggedAndConstructionCompletes) {
  DeviceActivationService::Instance().InjectFailure(Operation::kInit, 1U, ErrorCode::kTimeout);
  Core& core = MakeCore();

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, kInitFailedMessage));
  EXPECT_TRUE(Access::has_sig_adapter(core));
  EXPECT_FALSE(Access::sig_adapter_nullptr(core));

  // The client is left unconnected and knows of no device errors: communication counts as not lost, and the
  // cycles do not repeat what construction already reported.
  frames_.PublishScan(MakeSensorScan(4U, 7000U, 1U));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(sink_.Count(kDeviceErrorsUnreadableMessage), 0U);
  EXPECT_EQ(core.GetFsrlStatus().value().scan_id(), 4U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, DestroyingTheCoreDoesNotCancelAServiceModeRequest) {
  Core& core = MakeCore();
  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);

  core_.reset();

  EXPECT_EQ(DeviceActivationService::Instance().RequestCount("FSRL"), 1U);
  EXPECT_EQ(DeviceCalls(Operation::kCancelDeviceActiveRequest), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, SubscribingCallsNoCallbackEvenWhenDataIsThere) {
  Core& core = MakeCore();
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  int calls = 0;
  const Subscription detections = core.SubscribeToFsrlDetections([&calls] { ++calls; });
  const Subscription status = core.SubscribeToFsrlStatus([&calls] { ++calls; });
  const Subscription service_mode = core.SubscribeToServiceMode([&calls] { ++calls; });

  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(detections.IsActive());
  EXPECT_TRUE(status.IsActive());
  EXPECT_TRUE(service_mode.IsActive());
}

TEST_F(InitialFrontSideRadarLeftHalCore, ASubscriptionCancelledByAnEarlierCallbackIsSkippedInTheSamePass) {
  Core& core = MakeCore();
  int second_calls = 0;
  Subscription second;
  const Subscription first = core.SubscribeToFsrlStatus([&second] { second.Cancel(); });
  second = core.SubscribeToFsrlStatus([&second_calls] { ++second_calls; });

  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(second_calls, 0);
  EXPECT_FALSE(second.IsActive());
}

// ------------------------------------------------------------------------------------------------------------------
// Input cycle
// ------------------------------------------------------------------------------------------------------------------

TEST_F(InitialFrontSideRadarLeftHalCore, BeforeAnyDataTheGettersReturnTheDefaultsWithSuccess) {
  Core& core = MakeCore();

  const auto detections = core.GetFsrlDetections();
  const auto status = core.GetFsrlStatus();

  ASSERT_TRUE(detections.ok());
  ASSERT_TRUE(status.ok());
  EXPECT_EQ(detections.status(), ErrorCode::kSuccess);
  EXPECT_EQ(status.status(), ErrorCode::kSuccess);
  EXPECT_EQ(detections.value().info().scan_id(), 0U);
  EXPECT_FALSE(detections.value().info().is_valid());
  EXPECT_EQ(detections.value().info().time_stamps().mid_range(), 0);
  EXPECT_EQ(detections.value().detections()[0].range(), 0.0F);
  EXPECT_EQ(status.value().scan_id(), 0U);
  EXPECT_EQ(status.value().blockage(), radar_service::SensorBlockage::kBlockageUnknown);
  EXPECT_FALSE(status.value().fault_reason().is_communication_faulty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, CyclesBeforeAnyDataArrivesFailAndPublishNothing) {
  Core& core = MakeCore();
  int calls = 0;
  const Subscription detections = core.SubscribeToFsrlDetections([&calls] { ++calls; });
  const Subscription status = core.SubscribeToFsrlStatus([&calls] { ++calls; });

  // Bytes that never passed a check are no data: the reads fail until the radar has sent something.
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);

  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(core.GetFsrlDetections().value().info().is_valid());
}

TEST_F(InitialFrontSideRadarLeftHalCore, AWholeScanInOneCycleNotifiesStatusOnceThenDetectionsOnce) {
  Core& core = MakeCore();
  std::vector<std::string> events;
  const Subscription detections = core.SubscribeToFsrlDetections([&events] { events.emplace_back("detections"); });
  const Subscription status = core.SubscribeToFsrlStatus([&events] { events.emplace_back("status"); });
  const SensorScan scan = MakeSensorScan(42U, 123456U, 3U);
  frames_.PublishScan(scan);

  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(events, ::testing::ElementsAre("status", "detections"));
  const radar_service::CornerRadarDetections published = core.GetFsrlDetections().value();
  EXPECT_EQ(published.info().scan_id(), 42U);
  EXPECT_EQ(published.info().time_stamps().mid_range(), 123456);
  EXPECT_EQ(published.detections()[137].range(),
            PhysicalOf(27U, fsrl_test::GroupStem(27U) + "range2", scan.detections[137].range));
  EXPECT_EQ(core.GetFsrlStatus().value().scan_id(), 42U);
  EXPECT_FALSE(Access::any_scan_id_flagged(core));
}

TEST_F(InitialFrontSideRadarLeftHalCore, ASubscriberMayReadTheNewScanThroughTheGetters) {
  Core& core = MakeCore();
  std::uint8_t seen_scan_id = 0U;
  struct Reader {
    Core* core;
    std::uint8_t* seen;
    void operator()() const { *seen = core->GetFsrlDetections().value().info().scan_id(); }
  };
  const Subscription subscription = core.SubscribeToFsrlDetections(Reader{&core, &seen_scan_id});
  frames_.PublishScan(MakeSensorScan(77U, 9000U, 1U));

  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(seen_scan_id, 77U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, TwoCallsWithinOneMillisecondQueryTheDeviceServiceOnce) {
  MakeCore();
  frames_.PublishScan(MakeSensorScan(1U, 1000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), 1U);

  clock_.Advance(kJustUnderOneMillisecond);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), 1U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, ACallOneMillisecondAfterTheLastEvaluationQueriesAgain) {
  Core& core = MakeCore();
  frames_.PublishScan(MakeSensorScan(1U, 1000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const zol::TimePoint first_check = Access::last_lost_com_check(core);
  clock_.Advance(kJustUnderOneMillisecond);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);

  clock_.Advance(std::chrono::nanoseconds(1));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), 2U);
  EXPECT_EQ(Access::last_lost_com_check(core), first_check + kOneMillisecond);
}

TEST_F(InitialFrontSideRadarLeftHalCore,
       WhileTheAliveTimeoutIsReportedEveryCallSucceedsWithoutReadingAndNotifiesStatus) {
  Core& core = MakeCore();
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_EQ(core.GetFsrlStatus().value().scan_id(), 9U);
  int status_calls = 0;
  int detection_calls = 0;
  const Subscription status = core.SubscribeToFsrlStatus([&status_calls] { ++status_calls; });
  const Subscription detections = core.SubscribeToFsrlDetections([&detection_calls] { ++detection_calls; });
  DeviceActivationService::Instance().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  frames_.PublishScan(MakeSensorScan(10U, 6000U, 2U));
  clock_.Advance(kOneMillisecond);
  const std::size_t retrievals = Retrievals();
  const std::size_t queries = DeviceCalls(Operation::kGetRequestedDeviceErrors);

  for (int call = 1; call <= 3; ++call) {
    EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
    EXPECT_EQ(status_calls, call);
    EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), queries + static_cast<std::size_t>(call));
  }

  EXPECT_TRUE(Access::loss_com(core));
  EXPECT_EQ(Retrievals(), retrievals);
  EXPECT_EQ(detection_calls, 0);
  const radar_service::RadarStatus lost = core.GetFsrlStatus().value();
  EXPECT_TRUE(lost.fault_reason().is_communication_faulty());
  EXPECT_FALSE(lost.is_sensor_status_on());
  EXPECT_EQ(lost.blockage(), radar_service::SensorBlockage::kBlockageUnknown);
  EXPECT_EQ(lost.scan_id(), 9U);
  EXPECT_EQ(core.GetFsrlDetections().value().info().scan_id(), 9U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, WhenTheAliveTimeoutEndsTheNextCallReadsAgainWithoutANotificationOfItsOwn) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_TRUE(Access::loss_com(core));
  int status_calls = 0;
  const Subscription status = core.SubscribeToFsrlStatus([&status_calls] { ++status_calls; });
  DeviceActivationService::Instance().ClearError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  const std::size_t retrievals = Retrievals();

  // The call reads again; nothing has been received yet, so its reads find no data.
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_FALSE(Access::loss_com(core));
  EXPECT_EQ(Retrievals(), retrievals + 1U);
  EXPECT_EQ(status_calls, 0);

  frames_.PublishScan(MakeSensorScan(12U, 8000U, 1U));
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(status_calls, 1);
  EXPECT_FALSE(core.GetFsrlStatus().value().fault_reason().is_communication_faulty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, ASecOcFailureAloneIsNotLostCommunication) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().RaiseError("FSRL", DeviceErrorCode::kSecOCFailure);
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));

  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_FALSE(Access::loss_com(core));
  EXPECT_EQ(core.GetFsrlStatus().value().scan_id(), 9U);
  EXPECT_FALSE(core.GetFsrlStatus().value().fault_reason().is_communication_faulty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, AServiceWithoutAnFsrlEntryCountsAsCommunicating) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().RemoveDevice("FSRL");
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));

  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceErrors), 1U);
  EXPECT_FALSE(Access::loss_com(core));
  EXPECT_EQ(core.GetFsrlDetections().value().info().scan_id(), 9U);
  EXPECT_EQ(sink_.Count(kDeviceErrorsUnreadableMessage), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AFailingDeviceErrorQueryIsLoggedAndCountsAsCommunicating) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().RaiseError("FSRL", DeviceErrorCode::kAliveTimeoutExceeded);
  DeviceActivationService::Instance().InjectFailure(Operation::kGetRequestedDeviceErrors, 1U, ErrorCode::kBusy);
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));

  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, kDeviceErrorsUnreadableMessage));
  EXPECT_FALSE(Access::loss_com(core));
  EXPECT_EQ(core.GetFsrlDetections().value().info().scan_id(), 9U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AFailedStatusGroup1ReadSkipsGroup2ButDetectionsAreStillProcessed) {
  Core& core = MakeCore();
  const SensorScan first = MakeSensorScan(9U, 5000U, 1U);
  frames_.PublishWithBadCrc(kStatus1Group, first);
  frames_.Publish(kStatus2Group, first);
  frames_.PublishDetectionGroups(0U, 39U, first);
  int status_calls = 0;
  const Subscription status = core.SubscribeToFsrlStatus([&status_calls] { ++status_calls; });

  EXPECT_EQ(Cycle(), ErrorCode::kFailure);

  EXPECT_EQ(sink_.Count(kReadFailedMessage), 1U);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, kReadFailedMessage));
  EXPECT_EQ(Access::status2_scan_id(core), 0U);
  EXPECT_EQ(Access::detections_195to199_scan_id(core), 9U);
  EXPECT_FALSE(Access::any_scan_id_flagged(core));
  EXPECT_EQ(status_calls, 0);

  // The detections of the failed cycle are already in the scan's slot: status alone completes the scan, and the
  // detections sent again with other values do not replace the first ones.
  // Group 2's first frame was never checked (the failed group 1 ended the status fetch), so it is sent again too.
  const SensorScan again = MakeSensorScan(9U, 5000U, 2U);
  frames_.Publish(kStatus1Group, first);
  frames_.Publish(kStatus2Group, first);
  frames_.PublishDetectionGroups(0U, 39U, again);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  const radar_service::CornerRadarDetections published = core.GetFsrlDetections().value();
  EXPECT_EQ(published.info().scan_id(), 9U);
  EXPECT_EQ(published.detections()[0].range(), PhysicalOf(0U, "rsds4detn000to004range0", first.detections[0].range));
  EXPECT_NE(first.detections[0].range, again.detections[0].range);
  EXPECT_EQ(status_calls, 1);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AFailedDetectionGroup17StopsTheFetchAndTranslatesNothing) {
  Core& core = MakeCore();
  const SensorScan first = MakeSensorScan(9U, 5000U, 1U);
  frames_.Publish(kStatus1Group, first);
  frames_.Publish(kStatus2Group, first);
  frames_.PublishDetectionGroups(0U, 16U, first);
  frames_.PublishWithBadCrc(17U, first);
  frames_.PublishDetectionGroups(18U, 39U, first);
  int detection_calls = 0;
  int status_calls = 0;
  const Subscription detections = core.SubscribeToFsrlDetections([&detection_calls] { ++detection_calls; });
  const Subscription status = core.SubscribeToFsrlStatus([&status_calls] { ++status_calls; });

  EXPECT_EQ(Cycle(), ErrorCode::kFailure);

  EXPECT_EQ(sink_.Count(kReadFailedMessage), 1U);
  EXPECT_EQ(Access::detections_080to084_scan_id(core), 9U);
  EXPECT_EQ(Access::detections_090to094_scan_id(core), 0U);
  EXPECT_EQ(Access::detections_195to199_scan_id(core), 0U);
  EXPECT_FALSE(Access::any_scan_id_flagged(core));
  EXPECT_EQ(status_calls, 1);
  EXPECT_EQ(detection_calls, 0);

  // Had groups 0 to 16 been translated, their first values would have stayed in the slot.
  const SensorScan again = MakeSensorScan(9U, 5000U, 2U);
  frames_.PublishDetectionGroups(0U, 39U, again);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);
  EXPECT_EQ(detection_calls, 1);
  const radar_service::CornerRadarDetections published = core.GetFsrlDetections().value();
  EXPECT_EQ(published.info().scan_id(), 9U);
  EXPECT_EQ(published.detections()[0].range(), PhysicalOf(0U, "rsds4detn000to004range0", again.detections[0].range));
  EXPECT_EQ(published.detections()[84].range(),
            PhysicalOf(16U, fsrl_test::GroupStem(16U) + "range4", again.detections[84].range));
}

TEST_F(InitialFrontSideRadarLeftHalCore, StatusScanIds5And6ThatBothCompleteGiveTwoStatusNotifications) {
  Core& core = MakeCore();
  std::vector<std::uint8_t> notified_scan_ids;
  struct Recorder {
    Core* core;
    std::vector<std::uint8_t>* ids;
    void operator()() const { ids->push_back(core->GetFsrlStatus().value().scan_id()); }
  };
  const Subscription status = core.SubscribeToFsrlStatus(Recorder{&core, &notified_scan_ids});
  // First cycle: message 1 of scan 6 and message 2 of scan 5, neither scan complete yet.
  SensorScan six = MakeSensorScan(6U, 9000U, 1U);
  six.status2_scan_id = 5U;
  frames_.Publish(kStatus1Group, six);
  frames_.Publish(kStatus2Group, six);
  // No detection group has arrived, so each cycle fails; its status half is processed in full all the same.
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);
  ASSERT_TRUE(notified_scan_ids.empty());

  // Second cycle: message 1 of scan 5 and message 2 of scan 6 complete both.
  SensorScan five = MakeSensorScan(5U, 8000U, 1U);
  five.status2_scan_id = 6U;
  frames_.Publish(kStatus1Group, five);
  frames_.Publish(kStatus2Group, five);
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);

  EXPECT_THAT(notified_scan_ids, ::testing::ElementsAre(5U, 6U));
}

TEST_F(InitialFrontSideRadarLeftHalCore, StatusGroupsWithEqualScanIdsNotifyAtMostOncePerCycle) {
  Core& core = MakeCore();
  int status_calls = 0;
  const Subscription status = core.SubscribeToFsrlStatus([&status_calls] { ++status_calls; });
  const SensorScan scan = MakeSensorScan(5U, 8000U, 1U);
  frames_.Publish(kStatus1Group, scan);
  frames_.Publish(kStatus2Group, scan);

  // No detection group has arrived, so each cycle fails; its status half is processed in full all the same.
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_EQ(status_calls, 1);

  // The same messages read again complete the same scan again, which is not newer: no notification.
  EXPECT_EQ(Cycle(), ErrorCode::kFailure);
  EXPECT_EQ(status_calls, 1);
}

TEST_F(InitialFrontSideRadarLeftHalCore, DetectionGroupsOverTwoScanIdsFillBothSlotsAndNotifyInAscendingScanIdOrder) {
  Core& core = MakeCore();
  std::vector<std::uint8_t> notified_scan_ids;
  struct Recorder {
    Core* core;
    std::vector<std::uint8_t>* ids;
    void operator()() const { ids->push_back(core->GetFsrlDetections().value().info().scan_id()); }
  };
  const Subscription detections = core.SubscribeToFsrlDetections(Recorder{&core, &notified_scan_ids});
  const SensorScan three = MakeSensorScan(3U, 1000U, 1U);
  const SensorScan seven = MakeSensorScan(7U, 2000U, 2U);

  // First cycle: status of scan 3, the first half of scan 3 and the second half of scan 7.
  SensorScan mixed = three;
  for (std::size_t group = 20U; group < 40U; ++group) {
    mixed.detection_group_scan_ids[group] = 7U;
    for (std::size_t i = 0U; i < 5U; ++i) {
      mixed.detections[group * 5U + i] = seven.detections[group * 5U + i];
    }
  }
  frames_.Publish(kStatus1Group, three);
  frames_.Publish(kStatus2Group, three);
  frames_.PublishDetectionGroups(0U, 39U, mixed);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_TRUE(notified_scan_ids.empty());

  // Second cycle: status of scan 7, the first half of scan 7 and the second half of scan 3.
  mixed = seven;
  for (std::size_t group = 20U; group < 40U; ++group) {
    mixed.detection_group_scan_ids[group] = 3U;
    for (std::size_t i = 0U; i < 5U; ++i) {
      mixed.detections[group * 5U + i] = three.detections[group * 5U + i];
    }
  }
  frames_.Publish(kStatus1Group, seven);
  frames_.Publish(kStatus2Group, seven);
  frames_.PublishDetectionGroups(0U, 39U, mixed);
  EXPECT_EQ(Cycle(), ErrorCode::kSuccess);

  EXPECT_THAT(notified_scan_ids, ::testing::ElementsAre(3U, 7U));
  const radar_service::CornerRadarDetections published = core.GetFsrlDetections().value();
  EXPECT_EQ(published.info().scan_id(), 7U);
  EXPECT_EQ(published.detections()[0].range(), PhysicalOf(0U, "rsds4detn000to004range0", seven.detections[0].range));
  EXPECT_EQ(published.detections()[199].range(),
            PhysicalOf(39U, fsrl_test::GroupStem(39U) + "range4", seven.detections[199].range));
  EXPECT_FALSE(Access::any_scan_id_flagged(core));
}

// ------------------------------------------------------------------------------------------------------------------
// Service mode
// ------------------------------------------------------------------------------------------------------------------

TEST_F(InitialFrontSideRadarLeftHalCore, RequestingActiveSendsOneRequestForFsrl) {
  Core& core = MakeCore();

  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);

  EXPECT_EQ(DeviceCalls(Operation::kRequestDeviceActive), 1U);
  EXPECT_EQ(DeviceCalls(Operation::kCancelDeviceActiveRequest), 0U);
  EXPECT_EQ(DeviceActivationService::Instance().RequestCount("FSRL"), 1U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, RequestingActiveReturnsTheServiceCodeUnchangedAndLogsNoFailure) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().InjectFailure(Operation::kRequestDeviceActive, 1U, ErrorCode::kBusy);

  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kBusy);

  EXPECT_EQ(DeviceCalls(Operation::kRequestDeviceActive), 1U);
  EXPECT_TRUE(CoreLines().empty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, RequestingInactiveSendsOneCancelForFsrlAndReturnsItsCode) {
  Core& core = MakeCore();
  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);

  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);
  EXPECT_EQ(DeviceCalls(Operation::kCancelDeviceActiveRequest), 1U);
  EXPECT_EQ(DeviceActivationService::Instance().RequestCount("FSRL"), 0U);

  DeviceActivationService::Instance().InjectFailure(Operation::kCancelDeviceActiveRequest, 1U,
                                                    ErrorCode::kNotAvailable);
  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kNotAvailable);
  EXPECT_EQ(DeviceCalls(Operation::kRequestDeviceActive), 1U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AnInvalidServiceModeSendsNothingLogsAWarningAndFails) {
  Core& core = MakeCore();

  EXPECT_EQ(core.RequestServiceMode(static_cast<ServiceMode>(2)), ErrorCode::kFailure);

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kWarn, kInvalidServiceModeMessage));
  EXPECT_EQ(DeviceCalls(Operation::kRequestDeviceActive), 0U);
  EXPECT_EQ(DeviceCalls(Operation::kCancelDeviceActiveRequest), 0U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, ServiceModeRequestsAreTracedAtDebugLevelOnly) {
  Core& core = MakeCore();
  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);
  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);
  EXPECT_TRUE(CoreLines().empty());

  zol::log::SetDefaultLevel(LoggingLevel::kDebug);
  DeviceActivationService::Instance().InjectFailure(Operation::kRequestDeviceActive, 1U, ErrorCode::kBusy);
  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kBusy);
  EXPECT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);

  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "RequestDeviceActive called | Service Mode: 1 | DeviceID: FSRL"));
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kDebug, "CancelDeviceActiveRequest called"));
  EXPECT_EQ(CoreLines().size(), 2U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, TheServiceModeIsActiveWhileFsrlIsRequestedAndInactiveOtherwise) {
  Core& core = MakeCore();
  EXPECT_EQ(core.GetServiceMode().value(), ServiceMode::kInactive);

  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);
  const auto active = core.GetServiceMode();
  ASSERT_TRUE(active.ok());
  EXPECT_EQ(active.value(), ServiceMode::kActive);

  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);
  const auto inactive = core.GetServiceMode();
  ASSERT_TRUE(inactive.ok());
  EXPECT_EQ(inactive.value(), ServiceMode::kInactive);
  EXPECT_EQ(DeviceCalls(Operation::kGetRequestedDeviceStates), 3U);
}

TEST_F(InitialFrontSideRadarLeftHalCore, WithoutAnFsrlEntryTheServiceModeIsInactiveWithSuccess) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().RemoveDevice("FSRL");

  const auto mode = core.GetServiceMode();

  ASSERT_TRUE(mode.has_value());
  EXPECT_EQ(mode.status(), ErrorCode::kSuccess);
  EXPECT_EQ(mode.value(), ServiceMode::kInactive);
}

TEST_F(InitialFrontSideRadarLeftHalCore, AFailingServiceGivesTheServiceModeStatusFailureWithoutValue) {
  Core& core = MakeCore();
  DeviceActivationService::Instance().InjectFailure(Operation::kGetRequestedDeviceStates, 1U, ErrorCode::kTimeout);

  EXPECT_THAT(core.GetServiceMode(), fsrl_test::FailsWith(ErrorCode::kFailure));
  EXPECT_TRUE(CoreLines().empty());
}

TEST_F(InitialFrontSideRadarLeftHalCore, ServiceModeSubscribersAreNeverCalled) {
  Core& core = MakeCore();
  int calls = 0;
  const Subscription subscription = core.SubscribeToServiceMode([&calls] { ++calls; });

  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kActive), ErrorCode::kSuccess);
  DeviceActivationService::Instance().NotifySubscribers();
  frames_.PublishScan(MakeSensorScan(9U, 5000U, 1U));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_EQ(core.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);

  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(subscription.IsActive());
}

}  // namespace
