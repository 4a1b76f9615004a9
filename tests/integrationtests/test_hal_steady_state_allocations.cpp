// What one input cycle of the loaded HAL allocates once it runs steadily, counted at the default memory resource:
// each typed signal-group read makes its value buffer and each notification with subscribers copies its subscriber
// list; the HAL core and the scan store allocate nothing of their own.
#include <chrono>
#include <cstddef>
#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "allocation_window.h"
#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "hal_test_platform.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "radar_frames.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/memory_resource.h"
#include "zol/signalcomm/service.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using fsrl_test::kDetectionGroupCount;
using fsrl_test::kStatus1Group;
using fsrl_test::kStatus2Group;
using fsrl_test::MakeSensorScan;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;

// The 42 groups the cycle reads, each read allocating one value buffer of its group's value storage.
constexpr std::size_t kReadsPerCycle = kDetectionGroupCount + 2U;

std::size_t ValueBufferBytesPerCycle() {
  std::size_t bytes = initialfrontsideradarlefthal_signal_groups[kStatus1Group].signal_values_storage_total_size +
                      initialfrontsideradarlefthal_signal_groups[kStatus2Group].signal_values_storage_total_size;
  for (std::size_t group = 0U; group < kDetectionGroupCount; ++group) {
    bytes += initialfrontsideradarlefthal_signal_groups[group].signal_values_storage_total_size;
  }
  return bytes;
}

using fsrl_test::AllocationWindow;

class SteadyStateAllocations : public ::testing::Test {
 protected:
  SteadyStateAllocations() {
    fsrl_test::ResetPlatformForHal(executable_);

    hal_ = fsrl_test::CreateHal(executable_);
    detections_ = hal_.SubscribeToFsrlDetections([this] { ++detection_calls_; });
    status_ = hal_.SubscribeToFsrlStatus([this] { ++status_calls_; });
    service_mode_ = hal_.SubscribeToServiceMode([this] { ++service_mode_calls_; });
  }

  ~SteadyStateAllocations() override {
    detections_.Cancel();
    status_.Cancel();
    service_mode_.Cancel();
    hal_ = FrontSideRadarLeftHal();
    // The signal adapter's pending begin-transaction callback holds a weak reference whose control block lives in
    // the counting resource: let it go while that resource still exists.
    zol::afw::core::TransactionTesting::Reset();
  }

  SteadyStateAllocations(const SteadyStateAllocations&) = delete;
  SteadyStateAllocations& operator=(const SteadyStateAllocations&) = delete;

  // Two whole scans, so that everything allocated once per HAL (caches, transaction bookkeeping) is done. The clock
  // stands still: every later cycle stays inside the millisecond in which lost communication was last evaluated.
  void WarmUp() {
    for (unsigned seed = 1U; seed <= 2U; ++seed) {
      sensor_.PublishScan(MakeSensorScan(static_cast<std::uint8_t>(seed), 1000000U * seed, seed));
      ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
    }
    ASSERT_EQ(detection_calls_, 2);
    ASSERT_EQ(status_calls_, 2);
  }

  ErrorCode Cycle() {
    zol::afw::core::Transaction::Begin();
    return hal_.ProcessFsrlInput();
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(20))};
  zol::pmr::CountingResource counting_;
  zol::pmr::ScopedDefaultResource scoped_default_{&counting_};
  zol::afw::core::Executable executable_{"vehicle"};
  fsrl_test::RadarFrameSource sensor_;
  FrontSideRadarLeftHal hal_;
  int detection_calls_ = 0;
  int status_calls_ = 0;
  int service_mode_calls_ = 0;
  Subscription detections_;
  Subscription status_;
  Subscription service_mode_;
};

TEST_F(SteadyStateAllocations, AFullCycleAllocatesOneValueBufferPerReadAndOneSubscriberListCopyPerNotification) {
  WarmUp();
  sensor_.PublishScan(MakeSensorScan(3U, 3000000U, 3U));

  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const AllocationWindow::Counts counts = window.Take();

  // One status and one detection notification, each to one subscriber.
  ASSERT_EQ(status_calls_, 3);
  ASSERT_EQ(detection_calls_, 3);
  EXPECT_EQ(service_mode_calls_, 0);
  const std::size_t subscriber_list_copies = 2U;
  EXPECT_EQ(counts.allocations, kReadsPerCycle + subscriber_list_copies);
  EXPECT_EQ(counts.bytes, ValueBufferBytesPerCycle() + subscriber_list_copies * sizeof(std::shared_ptr<void>));
  // All of it is temporary.
  EXPECT_EQ(counts.deallocations, counts.allocations);
  EXPECT_EQ(counts.outstanding_change, 0U);
  EXPECT_EQ(counting_.mismatched_deallocations(), 0U);
}

TEST_F(SteadyStateAllocations, ACycleWithoutSubscribersAllocatesOnlyTheValueBuffers) {
  WarmUp();
  detections_.Cancel();
  status_.Cancel();
  sensor_.PublishScan(MakeSensorScan(3U, 3000000U, 3U));

  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const AllocationWindow::Counts counts = window.Take();

  EXPECT_EQ(hal_.GetFsrlDetections().value().info().scan_id(), 3U);
  EXPECT_EQ(counts.allocations, kReadsPerCycle);
  EXPECT_EQ(counts.bytes, ValueBufferBytesPerCycle());
  EXPECT_EQ(counts.outstanding_change, 0U);
}

TEST_F(SteadyStateAllocations, ACycleWithoutNewDataAllocatesOnlyTheValueBuffers) {
  WarmUp();

  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const AllocationWindow::Counts counts = window.Take();

  EXPECT_EQ(detection_calls_, 2);
  EXPECT_EQ(counts.allocations, kReadsPerCycle);
  EXPECT_EQ(counts.outstanding_change, 0U);
}

// Lost communication is evaluated at most once per millisecond; the answer of the device activation service is a
// map the service builds for its caller. That is all the evaluation adds: the core itself allocates nothing for it.
TEST_F(SteadyStateAllocations, TheLostCommunicationCheckAddsOnlyWhatTheDeviceServiceAnswerAllocates) {
  WarmUp();
  const zol::afw::core::ContextualObject probe_parent(nullptr, "probe");
  auto created = device_activator::DeviceActivator::Create(&probe_parent);
  ASSERT_TRUE(created.ok());
  device_activator::DeviceActivator probe = std::move(created).value();
  ASSERT_EQ(probe.Init(), ErrorCode::kSuccess);
  std::size_t answer_allocations = 0U;
  {
    const AllocationWindow window(counting_);
    ASSERT_TRUE(probe.GetRequestedDeviceErrors().ok());
    answer_allocations = window.Take().allocations;
  }
  ASSERT_GT(answer_allocations, 0U);

  clock_.Advance(std::chrono::milliseconds(1));
  sensor_.PublishScan(MakeSensorScan(3U, 3000000U, 3U));
  const std::size_t queries = device_activator::DeviceActivationService::Instance().CallCount(
      device_activator::DeviceActivationService::Operation::kGetRequestedDeviceErrors);
  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const AllocationWindow::Counts counts = window.Take();

  EXPECT_EQ(device_activator::DeviceActivationService::Instance().CallCount(
                device_activator::DeviceActivationService::Operation::kGetRequestedDeviceErrors),
            queries + 1U);
  EXPECT_EQ(counts.allocations, kReadsPerCycle + 2U + answer_allocations);
  EXPECT_EQ(counts.outstanding_change, 0U);
}

}  // namespace
