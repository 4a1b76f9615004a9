// After construction the HAL core and its scan store allocate nothing of their own, on every path of the input cycle:
// a cycle allocates one value buffer per signal-group read it makes and one subscriber-list copy per notification
// with subscribers, whether its reads all succeed, fail part way or are skipped because communication is lost; the
// getters and the scan store's own operations allocate nothing at all.
//
// Counted twice: at the default memory resource, and at the global operator new for anything that goes around that
// resource (a container with the standard allocator, a std::function, make_shared), which the resource cannot see.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include <gtest/gtest.h>

#include "allocation_window.h"
#include "detection_group_records.h"
#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "frontsideradarlefthal_types.h"
#include "hal_test_platform.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_groups.h"
#include "radarScanDataManager.h"
#include "radar_frames.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/memory_resource.h"
#include "zol/signalcomm/service.h"

namespace {

// Calls of the global operator new on this thread that were not made on behalf of the default memory resource.
thread_local std::size_t t_allocations_around_the_resource = 0;
// Non-zero while this thread is inside the default memory resource.
thread_local int t_inside_the_resource = 0;

void CountOperatorNew() {
  if (t_inside_the_resource == 0) {
    ++t_allocations_around_the_resource;
  }
}

}  // namespace

// The global allocation functions of this test program, counting. The array and nothrow forms of the standard
// library call these.
void* operator new(std::size_t size) {
  CountOperatorNew();
  void* const memory = std::malloc(size == 0U ? 1U : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  CountOperatorNew();
  void* memory = nullptr;
  const std::size_t align = std::max(static_cast<std::size_t>(alignment), sizeof(void*));
  if (posix_memalign(&memory, align, size == 0U ? 1U : size) != 0) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept { std::free(memory); }

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using fsrl_test::kDetectionGroupCount;
using fsrl_test::kStatus1Group;
using fsrl_test::kStatus2Group;
using fsrl_test::MakeSensorScan;
using zol::afw::core::ErrorCode;
using zol::afw::core::Subscription;
namespace types = initialfrontsideradarlefthal::types;

// The default memory resource of these tests: forwards to the counting resource and marks the thread meanwhile, so
// that what the counting resource and its upstream allocate for a block is not taken for an allocation around it.
class MarkingResource final : public zol::pmr::memory_resource {
 public:
  explicit MarkingResource(zol::pmr::memory_resource* upstream) : upstream_(upstream) {}

 private:
  struct Inside {
    Inside() { ++t_inside_the_resource; }
    ~Inside() { --t_inside_the_resource; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
  };

  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    const Inside inside;
    return upstream_->allocate(bytes, alignment);
  }
  void do_deallocate(void* memory, std::size_t bytes, std::size_t alignment) override {
    const Inside inside;
    upstream_->deallocate(memory, bytes, alignment);
  }
  bool do_is_equal(const zol::pmr::memory_resource& other) const noexcept override { return this == &other; }

  zol::pmr::memory_resource* upstream_;
};

// Takes log lines without keeping them: a sink that stores text would allocate in the middle of a counted cycle.
class CountingSink final : public zol::log::Sink {
 public:
  void Write(const zol::log::LogRecord& /*record*/) override { ++lines_; }
  std::size_t lines() const { return lines_; }

 private:
  std::size_t lines_ = 0;
};

// Allocations outside the default memory resource are counted by this file's operator new, on this thread.
class AllocationWindow : public fsrl_test::AllocationWindow {
 public:
  explicit AllocationWindow(const zol::pmr::CountingResource& resource)
      : fsrl_test::AllocationWindow(resource, &t_allocations_around_the_resource) {}
};

// The reads of a whole cycle: both status groups, then the 40 detection groups.
constexpr std::size_t kReadsPerCycle = kDetectionGroupCount + 2U;

std::size_t ValueBufferBytes(std::size_t group) {
  return initialfrontsideradarlefthal_signal_groups[group].signal_values_storage_total_size;
}

// Value buffer bytes of the first `detection_reads` detection groups.
std::size_t DetectionBufferBytes(std::size_t detection_reads) {
  std::size_t bytes = 0U;
  for (std::size_t group = 0U; group < detection_reads; ++group) {
    bytes += ValueBufferBytes(group);
  }
  return bytes;
}

std::size_t FullCycleBufferBytes() {
  return ValueBufferBytes(kStatus1Group) + ValueBufferBytes(kStatus2Group) + DetectionBufferBytes(kDetectionGroupCount);
}

constexpr std::size_t kSubscriberListCopyBytes = sizeof(std::shared_ptr<void>);

class CoreAllocations : public ::testing::Test {
 protected:
  CoreAllocations() {
    fsrl_test::ResetPlatformForHal(executable_);
    device_activator::DeviceActivationService::Instance().SetAliveTimeout(std::chrono::milliseconds(200));

    hal_ = fsrl_test::CreateHal(executable_);
    detections_ = hal_.SubscribeToFsrlDetections([this] { ++detection_calls_; });
    status_ = hal_.SubscribeToFsrlStatus([this] { ++status_calls_; });
  }

  ~CoreAllocations() override {
    detections_.Cancel();
    status_.Cancel();
    hal_ = FrontSideRadarLeftHal();
    // Callbacks waiting for the next transaction hold memory of the counting resource: let them go while it exists.
    zol::afw::core::TransactionTesting::Reset();
  }

  CoreAllocations(const CoreAllocations&) = delete;
  CoreAllocations& operator=(const CoreAllocations&) = delete;

  // Scan `n` of a run: its id wraps after 255, its mid-range time stamp rises by 50 ms per scan.
  static fsrl_test::SensorScan Scan(unsigned n) {
    return MakeSensorScan(static_cast<std::uint8_t>(n & 0xFFU), 1000000000ULL + 50000000ULL * n, n);
  }

  // Whatever the signal service still has to announce is announced, and the tasks it posted to the owner's queue
  // have run: nothing of the sensor's side is left to happen inside a counted window.
  void SettleTheSensorSide() {
    zol::signalcomm::Service::Instance().FlushNotifications();
    executable_.execution_context()->dispatch_queue().RunPending();
  }

  void PublishScan(unsigned n) {
    sensor_.PublishScan(Scan(n));
    SettleTheSensorSide();
  }

  ErrorCode Cycle() {
    zol::afw::core::Transaction::Begin();
    return hal_.ProcessFsrlInput();
  }

  // Two whole scans, so that everything allocated once per HAL (caches, transaction bookkeeping) is done.
  void WarmUp() {
    for (unsigned n = 1U; n <= 2U; ++n) {
      PublishScan(n);
      ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
    }
    ASSERT_EQ(detection_calls_, 2);
    ASSERT_EQ(status_calls_, 2);
  }

  // What one answer of the device activation service to the question the core asks allocates, in the current state.
  AllocationWindow::Counts DeviceServiceAnswer() {
    const zol::afw::core::ContextualObject probe_parent(nullptr, "probe");
    auto created = device_activator::DeviceActivator::Create(&probe_parent);
    EXPECT_TRUE(created.ok());
    device_activator::DeviceActivator probe = std::move(created).value();
    EXPECT_EQ(probe.Init(), ErrorCode::kSuccess);
    const AllocationWindow window(counting_);
    EXPECT_TRUE(probe.GetRequestedDeviceErrors().ok());
    return window.Take();
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(20))};
  zol::pmr::CountingResource counting_;
  MarkingResource marking_{&counting_};
  zol::pmr::ScopedDefaultResource scoped_default_{&marking_};
  CountingSink log_;
  zol::log::ScopedSink scoped_log_{&log_};
  zol::afw::core::Executable executable_{"vehicle"};
  fsrl_test::RadarFrameSource sensor_;
  FrontSideRadarLeftHal hal_;
  int detection_calls_ = 0;
  int status_calls_ = 0;
  Subscription detections_;
  Subscription status_;
};

// The clock stands still here: every cycle stays inside the millisecond in which lost communication was last
// evaluated, so the device activation service is not asked and the cycle is the core's alone.
TEST_F(CoreAllocations, CycleAfterCycleWithoutSubscribersAllocatesExactlyTheFortyTwoValueBuffers) {
  WarmUp();
  detections_.Cancel();
  status_.Cancel();

  // More than two turns of the scan id: every slot of the scan store is started, filled, published and reused.
  constexpr unsigned kScans = 600U;
  for (unsigned n = 3U; n < 3U + kScans; ++n) {
    PublishScan(n);
    const AllocationWindow window(counting_);
    ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
    const AllocationWindow::Counts counts = window.Take();

    ASSERT_EQ(hal_.GetFsrlDetections().value().info().scan_id(), n & 0xFFU);
    ASSERT_EQ(counts.allocations, kReadsPerCycle) << "scan " << n;
    ASSERT_EQ(counts.bytes, FullCycleBufferBytes()) << "scan " << n;
    ASSERT_EQ(counts.deallocations, kReadsPerCycle) << "scan " << n;
    ASSERT_EQ(counts.outstanding_change, 0U) << "scan " << n;
    ASSERT_EQ(counts.around_the_resource, 0U) << "scan " << n;
  }
  EXPECT_EQ(log_.lines(), 0U);
}

// In the rhythm of a vehicle (a scan every 50 ms, lost communication evaluated in every cycle) the device
// activation service's answer is all that comes on top, and it is the same answer every time.
TEST_F(CoreAllocations, CycleAfterCycleInRealTimeAddsOnlyTheDeviceServiceAnswerToTheReadsAndNotifications) {
  WarmUp();
  const AllocationWindow::Counts answer = DeviceServiceAnswer();
  ASSERT_GT(answer.allocations, 0U);

  constexpr unsigned kScans = 600U;  // 30 s: slots older than a second are started afresh when their id recurs
  for (unsigned n = 3U; n < 3U + kScans; ++n) {
    clock_.Advance(std::chrono::milliseconds(50));
    PublishScan(n);
    const AllocationWindow window(counting_);
    ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
    const AllocationWindow::Counts counts = window.Take();

    ASSERT_EQ(detection_calls_, static_cast<int>(n)) << "scan " << n;
    ASSERT_EQ(status_calls_, static_cast<int>(n)) << "scan " << n;
    ASSERT_EQ(counts.allocations, kReadsPerCycle + 2U + answer.allocations) << "scan " << n;
    ASSERT_EQ(counts.bytes, FullCycleBufferBytes() + 2U * kSubscriberListCopyBytes + answer.bytes) << "scan " << n;
    ASSERT_EQ(counts.outstanding_change, 0U) << "scan " << n;
    ASSERT_EQ(counts.around_the_resource, answer.around_the_resource) << "scan " << n;
  }
}

TEST_F(CoreAllocations, ACycleWhoseStatusReadFailsAllocatesOnlyTheBuffersOfTheReadsItMade) {
  WarmUp();
  const fsrl_test::SensorScan scan = Scan(3U);
  sensor_.PublishWithBadCrc(kStatus1Group, scan);
  sensor_.Publish(kStatus2Group, scan);
  sensor_.PublishDetectionGroups(0U, kDetectionGroupCount - 1U, scan);
  SettleTheSensorSide();

  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);
  const AllocationWindow::Counts counts = window.Take();

  // Status 1 failed, so status 2 was not read; the 40 detection groups were, but without status 1 nothing
  // completed and nobody was told.
  EXPECT_EQ(status_calls_, 2);
  EXPECT_EQ(detection_calls_, 2);
  EXPECT_EQ(counts.allocations, 1U + kDetectionGroupCount);
  EXPECT_EQ(counts.bytes, ValueBufferBytes(kStatus1Group) + DetectionBufferBytes(kDetectionGroupCount));
  EXPECT_EQ(counts.outstanding_change, 0U);
  EXPECT_EQ(counts.around_the_resource, 0U);
  // The failed read was reported, and the report, formatted on the stack, allocated nothing either.
  EXPECT_GE(log_.lines(), 1U);
}

TEST_F(CoreAllocations, ACycleWhoseDetectionReadFailsPartWayAllocatesOnlyTheBuffersOfTheReadsItMade) {
  WarmUp();
  constexpr std::size_t kBrokenGroup = 10U;
  const fsrl_test::SensorScan scan = Scan(3U);
  sensor_.Publish(kStatus1Group, scan);
  sensor_.Publish(kStatus2Group, scan);
  sensor_.PublishDetectionGroups(0U, kBrokenGroup - 1U, scan);
  sensor_.PublishWithBadCrc(kBrokenGroup, scan);
  sensor_.PublishDetectionGroups(kBrokenGroup + 1U, kDetectionGroupCount - 1U, scan);
  SettleTheSensorSide();

  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kFailure);
  const AllocationWindow::Counts counts = window.Take();

  // Both status groups and detection groups 0..10 were read; the status completed and was notified.
  EXPECT_EQ(status_calls_, 3);
  EXPECT_EQ(detection_calls_, 2);
  EXPECT_EQ(counts.allocations, 2U + kBrokenGroup + 1U + 1U);
  EXPECT_EQ(counts.bytes, ValueBufferBytes(kStatus1Group) + ValueBufferBytes(kStatus2Group) +
                              DetectionBufferBytes(kBrokenGroup + 1U) + kSubscriberListCopyBytes);
  EXPECT_EQ(counts.outstanding_change, 0U);
  EXPECT_EQ(counts.around_the_resource, 0U);
}

TEST_F(CoreAllocations, CyclesWithoutCommunicationAllocateOnlyTheDeviceServiceAnswerAndTheStatusNotification) {
  WarmUp();
  // The sensor falls silent for longer than the alive timeout.
  clock_.Advance(std::chrono::milliseconds(250));
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  ASSERT_EQ(status_calls_, 3);
  ASSERT_TRUE(hal_.GetFsrlStatus().value().fault_reason().is_communication_faulty());
  const AllocationWindow::Counts answer = DeviceServiceAnswer();
  ASSERT_GT(answer.allocations, 0U);

  for (int cycle = 1; cycle <= 20; ++cycle) {
    clock_.Advance(std::chrono::milliseconds(50));
    const AllocationWindow window(counting_);
    ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
    const AllocationWindow::Counts counts = window.Take();

    // No group is read while the sensor is gone; the status is marked lost and announced again.
    ASSERT_EQ(status_calls_, 3 + cycle);
    ASSERT_EQ(counts.allocations, answer.allocations + 1U) << "cycle " << cycle;
    ASSERT_EQ(counts.bytes, answer.bytes + kSubscriberListCopyBytes) << "cycle " << cycle;
    ASSERT_EQ(counts.outstanding_change, 0U) << "cycle " << cycle;
    ASSERT_EQ(counts.around_the_resource, answer.around_the_resource) << "cycle " << cycle;
  }
  EXPECT_EQ(detection_calls_, 2);

  // The sensor is back: the first cycle reads the whole scan again, and nothing else is added.
  clock_.Advance(std::chrono::milliseconds(50));
  PublishScan(3U);
  const AllocationWindow::Counts communicating = DeviceServiceAnswer();
  const AllocationWindow window(counting_);
  ASSERT_EQ(Cycle(), ErrorCode::kSuccess);
  const AllocationWindow::Counts counts = window.Take();
  EXPECT_EQ(detection_calls_, 3);
  EXPECT_FALSE(hal_.GetFsrlStatus().value().fault_reason().is_communication_faulty());
  EXPECT_EQ(counts.allocations, kReadsPerCycle + 2U + communicating.allocations);
  EXPECT_EQ(counts.outstanding_change, 0U);
  EXPECT_EQ(counts.around_the_resource, communicating.around_the_resource);
}

TEST_F(CoreAllocations, TheGettersAllocateNothing) {
  WarmUp();

  const AllocationWindow window(counting_);
  for (int call = 0; call < 100; ++call) {
    ASSERT_EQ(hal_.GetFsrlDetections().value().info().scan_id(), 2U);
    ASSERT_EQ(hal_.GetFsrlStatus().value().scan_id(), 2U);
  }
  const AllocationWindow::Counts counts = window.Take();

  EXPECT_EQ(counts.allocations, 0U);
  EXPECT_EQ(counts.around_the_resource, 0U);
}

// ---------------------------------------------------------------------------------------------------------------------
// The scan store on its own: it takes no memory resource, so only the count at the global operator new can see it.

types::RSDS4SigSts1 Status1(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp) {
  types::RSDS4SigSts1 message{};
  message.rsds4sig_sts1scan_id = scan_id;
  message.rsds4sig_sts1blockage = types::RSDS4SigSts1BlockageEnum::RSDS4Blockage_StatusNoBlockage;
  message.rsds4sig_sts1rdr_sts_detn = types::RSDS4SigSts1RdrStsDetnEnum::RdrStsDetn_Active;
  message.rsds4sig_sts1time_stamp0 = mid_range_time_stamp - 20U;
  message.rsds4sig_sts1time_stamp1 = mid_range_time_stamp - 10U;
  message.rsds4sig_sts1time_stamp2 = mid_range_time_stamp;
  message.rsds4sig_sts1time_stamp3 = mid_range_time_stamp + 10U;
  message.rsds4sig_sts1xaxis_offs = 0.5;
  message.rsds4sig_sts1zorient_ang = 50.0;
  return message;
}

types::RSDS4SigSts2 Status2(std::uint8_t scan_id) {
  types::RSDS4SigSts2 message{};
  message.rsds4sig_sts2scan_id = scan_id;
  message.rsds4sig_sts2azi_mis_alnmnt_ang = 0.25;
  message.rsds4sig_sts2cal_sts = types::RSDS4SigSts2CalStsEnum::CalibrationStatus_NotOngoing;
  return message;
}

fsrl_test::GroupDetections GroupValues(std::size_t group) {
  fsrl_test::GroupDetections values{};
  for (std::size_t n = 0U; n < values.size(); ++n) {
    const double number = static_cast<double>(group * values.size() + n);
    values[n] = fsrl_test::SensorDetection{1.0 + number * 0.5,
                                           -3.0 + number * 0.02,
                                           -0.5 + number * 0.004,
                                           0.01 * number,
                                           -5.0 + number * 0.1,
                                           10.0 + number * 0.05,
                                           static_cast<std::uint8_t>(n % 4U),
                                           static_cast<std::uint8_t>(n % 2U),
                                           static_cast<std::uint8_t>(n % 4U)};
  }
  return values;
}

// One scan as the core feeds it to the store in a cycle; true when the scan was published.
bool StoreScan(RadarScanDataManager& store, const types::RSDS4SigSts1& status1, const types::RSDS4SigSts2& status2,
               const std::array<fsrl_test::GroupDetections, kDetectionGroupCount>& groups) {
  const std::uint8_t scan_id = status1.rsds4sig_sts1scan_id;
  store.InitializeStatusData(scan_id);
  store.InitializeDetectionsData(scan_id);
  store.TranslateAndStoreStatus(status1);
  store.TranslateAndStoreStatus(status2);
  const bool status_published = store.UpdateLatestCompleteStatus(scan_id);
  for (std::size_t group = 0U; group < kDetectionGroupCount; ++group) {
    fsrl_test::kDetectionGroups[group].translate(store, scan_id, groups[group], 0U, 0U);
  }
  const bool detections_published = store.UpdateLatestCompleteDetections(scan_id);
  return status_published && detections_published;
}

TEST(ScanStoreAllocations, AWholeRunOfScansThroughTheStoreAllocatesNothing) {
  zol::ScopedManualClock clock(zol::MonoClock::time_point(std::chrono::seconds(20)));
  zol::pmr::CountingResource counting;
  MarkingResource marking(&counting);
  const zol::pmr::ScopedDefaultResource scoped_default(&marking);
  // The store is large (two arrays of 256 scans); it lives on the heap, built before counting starts.
  const auto store = std::make_unique<RadarScanDataManager>();
  std::array<fsrl_test::GroupDetections, kDetectionGroupCount> groups{};
  for (std::size_t group = 0U; group < kDetectionGroupCount; ++group) {
    groups[group] = GroupValues(group);
  }

  std::size_t published = 0U;
  const AllocationWindow window(counting);
  // Three turns of the scan id over 30 s: slots are started, filled, published, consumed, and restarted once their
  // id recurs more than a second later.
  for (unsigned n = 0U; n < 600U; ++n) {
    clock.Advance(std::chrono::milliseconds(50));
    const auto scan_id = static_cast<std::uint8_t>(n & 0xFFU);
    const std::uint64_t mid_range = 1000000000ULL + 50000000ULL * n;
    published += StoreScan(*store, Status1(scan_id, mid_range), Status2(scan_id), groups) ? 1U : 0U;
    static_cast<void>(store->GetRadarScanDetections());
    static_cast<void>(store->GetRadarScanStatus());
  }
  // A complete scan that is not newer than the published one is consumed without being published.
  const bool stale_published = StoreScan(*store, Status1(7U, 1000U), Status2(7U), groups);
  // Losing the sensor rewrites the published status in place.
  store->SetLostCom();
  const radar_service::RadarStatus lost = store->GetRadarScanStatus();
  const AllocationWindow::Counts counts = window.Take();

  EXPECT_EQ(published, 600U);
  EXPECT_FALSE(stale_published);
  EXPECT_TRUE(lost.fault_reason().is_communication_faulty());
  EXPECT_EQ(store->GetRadarScanDetections().info().scan_id(), 599U & 0xFFU);
  EXPECT_EQ(counts.allocations, 0U);
  EXPECT_EQ(counts.around_the_resource, 0U);
}

}  // namespace
