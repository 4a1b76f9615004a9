// The HAL's threads against each other: the signal service's notification thread hands invalidation tasks to the
// owner's dispatch queue while that queue runs input cycles, a producer thread publishes radar frames, and HAL
// objects (and so their signal adapters) are created and destroyed over and over. Every loop is bounded by a count;
// the threads wait for each other through futures and condition variables only. Under ThreadSanitizer this looks for
// data races and lock-order inversions; in every build it checks that scans still come through whole, that no
// invalidation task is lost or runs for a notification it should have dropped, and that everything is given back.
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "function_task.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_p.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "radar_frames.h"
#include "zol/afw/core/component_descriptor.h"
#include "zol/afw/core/dispatch_queue.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notification_configuration.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/property.h"
#include "zol/afw/core/task.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/signal_codec.h"
#include "zol/e2e/signal_database.h"
#include "zol/log/logging.h"
#include "zol/memory/span.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/deleters.h"
#include "zol/signalcomm/service.h"

namespace front_side_radar_left_hal {

// The signal adapter behind a core: its properties are what the notification path invalidates.
class InitialFrontSideRadarLeftHalTestAccess {
 public:
  static const initialfrontsideradarlefthal::SignalAdapter* adapter(const InitialFrontSideRadarLeftHal::Impl& core) {
    return core.m_sig_adapter.get();
  }
};

}  // namespace front_side_radar_left_hal

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using front_side_radar_left_hal::InitialFrontSideRadarLeftHal;
using zol::afw::core::DispatchQueue;
using zol::afw::core::ErrorCode;
using zol::afw::core::GenericPropertyBase;
using zol::afw::core::Subscription;
using When = zol::afw::core::NotificationConfiguration::When;
using Access = front_side_radar_left_hal::InitialFrontSideRadarLeftHalTestAccess;

constexpr std::size_t kGroupCount = fsrl_test::kGroupCount;
// An object group: the core never reads it and the producer never sends it, so its property is invalidated only
// for the payloads the test itself publishes, and their count is known exactly.
constexpr std::size_t kProbeGroup = 40U;
constexpr std::size_t kObjectPayloadLength = 50U;
// The other object groups carry the producer's chatter.
constexpr std::size_t kFirstChatterGroup = 41U;
constexpr std::size_t kChatterGroupCount = 9U;

// The groups of one scan in the order the sensor sends them: both status groups, then the 40 detection groups.
constexpr std::array<std::size_t, fsrl_test::kDetectionGroupCount + 2U> kScanGroups = [] {
  std::array<std::size_t, fsrl_test::kDetectionGroupCount + 2U> groups{};
  groups[0] = fsrl_test::kStatus1Group;
  groups[1] = fsrl_test::kStatus2Group;
  for (std::size_t group = 0U; group < fsrl_test::kDetectionGroupCount; ++group) {
    groups[group + 2U] = group;
  }
  return groups;
}();

// Scan n carries the mid-range time stamp kFirstTimeStamp + n * kTimeStampStep, so a published scan tells which
// scan it was, and every scan is newer than the one before.
constexpr std::uint64_t kFirstTimeStamp = 1000000U;
constexpr std::uint64_t kTimeStampStep = 1000U;

// A new adapter meets E2E counters it has not seen: each group fails its first check of new data, and a cycle stops
// reading detections at the group that fails, so a new HAL may need up to one new scan per group (42) before it
// reads a whole one. A long round therefore runs until it has published a few scans, within a count of cycles that
// leaves room for a loaded machine; a short one runs only a few cycles.
constexpr std::size_t kShortRoundCycles = 4U;
constexpr std::uint64_t kScansPerLongRound = 3U;
constexpr std::size_t kMaxLongRoundCycles = 5000U;

const SignalAdapter_Signal& SignalNamed(std::size_t group_index, const std::string& field_name) {
  const initialfrontsideradarlefthal::meta::GroupInfo& info =
      initialfrontsideradarlefthal::meta::kSignalGroups[group_index];
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[group_index];
  for (std::uint16_t k = 0U; k < info.field_count; ++k) {
    if (field_name != info.fields[k].name) {
      continue;
    }
    for (std::uint32_t i = 0U; i < group.nbr_of_signals; ++i) {
      const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[group.signal_start_index + i];
      if (std::strcmp(reinterpret_cast<const char*>(signal.name), info.fields[k].signal_name) == 0) {
        return signal;
      }
    }
  }
  throw std::invalid_argument("no field " + field_name);
}

// The producer's payloads. Encoding a scan field by field takes milliseconds, far more under a sanitizer, and the
// producer has to keep up with the cycles: a few scans are encoded in full once, and scan n is variant n % kVariants
// with its scan id, time stamps, E2E counter and CRC written anew. 256 is a multiple of kVariants, so every scan
// with the same scan id carries the same detections.
class ScanPayloads {
 public:
  static constexpr std::size_t kVariants = 4U;

  ScanPayloads() {
    fsrl_test::RadarFrameSource source;
    for (std::size_t v = 0U; v < kVariants; ++v) {
      const fsrl_test::SensorScan scan = fsrl_test::MakeSensorScan(0U, kFirstTimeStamp, static_cast<unsigned>(v));
      for (const std::size_t group : kScanGroups) {
        variants_[v][group] = source.Build(group, scan);
      }
      for (std::size_t d = 0U; d < fsrl_test::kDetectionCount; ++d) {
        const std::size_t group = d / fsrl_test::kDetectionsPerGroup;
        ranges_[v][d] = fsrl_test::PhysicalOf(
            group, fsrl_test::GroupStem(group) + "range" + std::to_string(d % fsrl_test::kDetectionsPerGroup),
            scan.detections[d].range);
      }
    }
    for (const std::size_t group : kScanGroups) {
      scan_id_signals_[group] = &SignalNamed(group, fsrl_test::GroupStem(group) + "scan_id");
    }
    for (std::size_t mode = 0U; mode < time_stamp_signals_.size(); ++mode) {
      time_stamp_signals_[mode] =
          &SignalNamed(fsrl_test::kStatus1Group,
                       fsrl_test::GroupStem(fsrl_test::kStatus1Group) + "time_stamp" + std::to_string(mode));
    }
  }

  // The payload of `group` in scan `number`, protected with counter `number` (mod 256) like the sensor does.
  void Build(std::size_t group, std::uint64_t number, std::vector<std::uint8_t>& data) const {
    const SignalAdapter_SignalGroup& record = initialfrontsideradarlefthal_signal_groups[group];
    data = variants_[number % kVariants][group];
    zol::e2e::EncodeSignal(record, *scan_id_signals_[group], number % 256U, data.data(), data.size());
    if (group == fsrl_test::kStatus1Group) {
      // As MakeSensorScan spreads them around the mid-range one.
      const std::uint64_t mid_range = MidRangeTimeStamp(number);
      const std::array<std::uint64_t, 4> time_stamps = {{mid_range - 30U, mid_range - 20U, mid_range, mid_range + 10U}};
      for (std::size_t mode = 0U; mode < time_stamps.size(); ++mode) {
        zol::e2e::EncodeSignal(record, *time_stamp_signals_[mode], time_stamps[mode], data.data(), data.size());
      }
    }
    zol::e2e::ProtectProfile5(record.data_id, static_cast<std::uint8_t>(number % 256U), data.data(), data.size(),
                              record.offset / 8U);
  }

  static std::uint64_t MidRangeTimeStamp(std::uint64_t number) { return kFirstTimeStamp + number * kTimeStampStep; }

  // How a published scan differs from the scan whose mid-range time stamp it carries; empty when it is that scan,
  // whole.
  std::string DifferenceFromEncoded(const radar_service::CornerRadarDetections& published) const {
    const auto mid_range = static_cast<std::uint64_t>(published.info().time_stamps().mid_range());
    if (mid_range < kFirstTimeStamp || (mid_range - kFirstTimeStamp) % kTimeStampStep != 0U) {
      return "mid-range time stamp " + std::to_string(mid_range) + " of no scan";
    }
    const std::uint64_t number = (mid_range - kFirstTimeStamp) / kTimeStampStep;
    const std::string which = "scan " + std::to_string(number) + ": ";
    if (published.info().scan_id() != number % 256U) {
      return which + "scan id " + std::to_string(published.info().scan_id());
    }
    if (!published.info().is_valid()) {
      return which + "not valid";
    }
    const std::array<float, fsrl_test::kDetectionCount>& ranges = ranges_[number % kVariants];
    for (std::size_t d = 0U; d < fsrl_test::kDetectionCount; ++d) {
      if (published.detections()[d].range() != ranges[d]) {
        return which + "detection " + std::to_string(d) + " range " +
               std::to_string(published.detections()[d].range()) + ", encoded " + std::to_string(ranges[d]);
      }
    }
    return std::string();
  }

 private:
  std::array<std::array<std::vector<std::uint8_t>, kGroupCount>, kVariants> variants_;
  std::array<std::array<float, fsrl_test::kDetectionCount>, kVariants> ranges_{};
  std::array<const SignalAdapter_Signal*, kGroupCount> scan_id_signals_{};
  std::array<const SignalAdapter_Signal*, 4> time_stamp_signals_{};
};

using fsrl_test::Post;

// What one HAL object saw during its life and after it. Written on the thread that owns the HAL at the time, read by
// the test thread once that thread has handed over (future, join).
struct RoundRecord {
  std::uint64_t invalidations{0U};                    // calls of the round's property subscribers, all groups
  std::uint64_t invalidations_after_destruction{0U};  // by tasks that outlived the adapter
  std::uint64_t probe_invalidations{0U};
  std::uint64_t probe_invalidations_at_check{0U};  // counted by a task queued behind the probe's tasks
  std::uint64_t cycles{0U};
  std::uint64_t successful_cycles{0U};
  std::uint64_t scans_published{0U};
  std::uint64_t scans_not_as_encoded{0U};
  std::string first_difference;
  std::uint64_t status_published{0U};
  bool created{false};
  bool destroyed{false};
  bool all_subscribed{false};
  bool cycle_chain_broken{false};
};

// One HAL object and everything that hangs on it. Rounds are never moved: callbacks hold pointers into them.
struct Round {
  Round(bool is_long, const ScanPayloads* scan_payloads) : long_round(is_long), payloads(scan_payloads) {}

  // A long round cycles until it has published kScansPerLongRound scans; a short one runs kShortRoundCycles cycles.
  bool NeedsMoreCycles() const {
    if (!long_round) {
      return record.cycles < kShortRoundCycles;
    }
    return record.cycles < kMaxLongRoundCycles && record.scans_published < kScansPerLongRound;
  }

  // Ends every subscription on the HAL's properties and notifiers; called on the owner's context.
  void CancelSubscriptions() {
    property_subscriptions.clear();
    detections_subscription.Cancel();
    status_subscription.Cancel();
  }

  const bool long_round;
  const ScanPayloads* const payloads;
  RoundRecord record;
  FrontSideRadarLeftHal hal;
  std::vector<Subscription> property_subscriptions;
  Subscription detections_subscription;
  Subscription status_subscription;
  std::promise<void> created;
  std::promise<void> cycles_done;
  std::promise<void> probes_checked;
  std::promise<void> destroyed;
};

class NotificationStress : public ::testing::Test {
 protected:
  NotificationStress() {
    zol::afw::core::TransactionTesting::Reset();
    zol::signalcomm::Service::Instance().Reset();
    zol::signalcomm::Service::Instance().DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                                                            initialfrontsideradarlefthal_signal_group_count);
    device_activator::DeviceActivationService::Instance().Reset();
    // A round boundary or a slow sanitised cycle must not look like a silent sensor: that would stop the reads.
    device_activator::DeviceActivationService::Instance().SetAliveTimeout(std::chrono::hours(1));
    zol::MonoClock::UseSystem();
    probe_identity_ = zol::signalcomm::Service::Instance().IdentityOf(fsrl_test::GroupName(kProbeGroup));
  }

  ~NotificationStress() override {
    // A test that gave up half-way still lets its producer end before the fixture goes.
    if (producer_.joinable()) {
      StopProducer();
    }
    // Nothing from this test may outlive it in the process-wide services.
    zol::afw::core::TransactionTesting::Reset();
    zol::signalcomm::Service::Instance().Reset();
  }

  NotificationStress(const NotificationStress&) = delete;
  NotificationStress& operator=(const NotificationStress&) = delete;

  void MakeRounds(std::size_t count, std::size_t long_round_every) {
    rounds_.reserve(count);
    for (std::size_t r = 0U; r < count; ++r) {
      rounds_.push_back(std::make_unique<Round>(r % long_round_every == 0U, &payloads_));
    }
  }

  // Builds the HAL of `round` below `parent` through the registered variant, subscribes to every property of its
  // adapter and asks the service to report every arrival. Runs on the owner's execution context.
  static void CreateHal(Round* round, const zol::afw::core::ContextualObject* parent) {
    const auto* descriptor = dynamic_cast<const FrontSideRadarLeftHal::Descriptor*>(
        zol::afw::core::ComponentDescriptorCollection::instance().Find("frontsideradarlefthal", "Initial"));
    if (descriptor == nullptr) {
      return;
    }
    auto created = descriptor->Create(parent);
    if (!created.ok()) {
      return;
    }
    const auto* core = dynamic_cast<const InitialFrontSideRadarLeftHal::Impl*>(created.value().get());
    const initialfrontsideradarlefthal::SignalAdapter* adapter = core != nullptr ? Access::adapter(*core) : nullptr;
    round->hal = FrontSideRadarLeftHal(std::move(created).value());
    round->record.created = adapter != nullptr;
    if (adapter == nullptr) {
      return;
    }

    std::vector<std::shared_ptr<GenericPropertyBase>> properties;
#define FSRL_STRESS_COLLECT_PROPERTY(index, type, stem) properties.push_back(adapter->stem());
    FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_STRESS_COLLECT_PROPERTY)
#undef FSRL_STRESS_COLLECT_PROPERTY

    RoundRecord* record = &round->record;
    round->property_subscriptions.reserve(properties.size());
    for (std::size_t group = 0U; group < properties.size(); ++group) {
      GenericPropertyBase& property = *properties[group];
      // The first subscriber configures the group at the service (on change); every arrival is wanted instead.
      if (group == kProbeGroup) {
        round->property_subscriptions.push_back(property.Subscribe([record] {
          ++record->probe_invalidations;
          CountInvalidation(record);
        }));
      } else {
        round->property_subscriptions.push_back(property.Subscribe([record] { CountInvalidation(record); }));
      }
      property.ConfigureNotification(When::kOnWrite);
    }
    round->record.all_subscribed = properties.size() == kGroupCount;

    round->detections_subscription = round->hal.SubscribeToFsrlDetections([round] {
      ++round->record.scans_published;
      std::string difference = round->payloads->DifferenceFromEncoded(round->hal.GetFsrlDetections().value());
      if (!difference.empty() && round->record.scans_not_as_encoded++ == 0U) {
        round->record.first_difference = std::move(difference);
      }
    });
    round->status_subscription = round->hal.SubscribeToFsrlStatus([record] { ++record->status_published; });
  }

  static void CountInvalidation(RoundRecord* record) {
    ++record->invalidations;
    if (record->destroyed) {
      ++record->invalidations_after_destruction;
    }
  }

  // Odd rounds end their subscriptions before the HAL goes, even rounds keep them past it, so that invalidation
  // tasks still queued for the dead adapter reach live subscribers of properties whose adapter is gone.
  static void DestroyHal(Round* round, std::size_t index) {
    if (index % 2U == 1U) {
      round->CancelSubscriptions();
    }
    round->hal = FrontSideRadarLeftHal();
    round->record.destroyed = true;
  }

  // One input cycle as the owner runs it; the producer learns when a cycle that began after its last scan is over.
  void RunCycle(Round* round) {
    {
      const std::lock_guard<std::mutex> lock(pace_mutex_);
      ++cycles_started_;
    }
    ++round->record.cycles;
    // A HAL that could not be built is reported at the end; an empty facade would throw here.
    if (round->record.created && round->hal.ProcessFsrlInput() == ErrorCode::kSuccess) {
      ++round->record.successful_cycles;
    }
    {
      const std::lock_guard<std::mutex> lock(pace_mutex_);
      ++cycles_finished_;
    }
    pace_cv_.notify_all();
  }

  // Publishes @p probes probe frames while the round's cycles run; once the service has delivered them, a task queued
  // now runs after theirs and records how many of their invalidations the round's subscribers saw.
  void ProbeAndQueueTheCheck(DispatchQueue& queue, Round* round, std::uint64_t probes) {
    for (std::uint64_t p = 0U; p < probes; ++p) {
      PublishProbe();
    }
    zol::signalcomm::Service::Instance().FlushNotifications();
    ASSERT_EQ(Post(queue,
                   [round] {
                     round->record.probe_invalidations_at_check = round->record.probe_invalidations;
                     round->probes_checked.set_value();
                   }),
              ErrorCode::kSuccess);
  }

  // The round's cycles, each posting the next when it is done, so that a cycle never waits behind a long row of
  // cycles and the invalidation tasks that arrive meanwhile never pile up in the queue.
  void PostCycles(DispatchQueue& queue, Round* round) {
    const ErrorCode posted = Post(queue, [this, &queue, round] {
      RunCycle(round);
      if (round->NeedsMoreCycles()) {
        PostCycles(queue, round);
      } else {
        round->cycles_done.set_value();
      }
    });
    if (posted != ErrorCode::kSuccess) {
      round->record.cycle_chain_broken = true;
      round->cycles_done.set_value();
    }
  }

  // The sensor: whole scans, each one only once a cycle that began after the previous scan was complete has ended,
  // so that such a cycle reads every group of one scan and the E2E counters never run away from the reader.
  void Produce(std::uint64_t max_scans) {
    std::vector<std::uint8_t> payload;
    std::vector<std::uint8_t> chatter(kObjectPayloadLength, 0U);
    // Numbering starts at 1: a group that never arrived reads as zeros, scan id 0 included, and would make a first
    // scan 0 look complete before all of it was sent.
    for (std::uint64_t n = 1U; n <= max_scans; ++n) {
      // Status first, like the sensor; between the scan's groups the object groups the core does not read, which
      // keep the notification thread busy.
      for (std::size_t i = 0U; i < kScanGroups.size(); ++i) {
        payloads_.Build(kScanGroups[i], n, payload);
        EXPECT_EQ(zol::signalcomm::Service::Instance().Publish(
                      fsrl_test::GroupName(kScanGroups[i]),
                      zol::memory::span<const std::uint8_t>(payload.data(), payload.size())),
                  0);
        chatter[0] = static_cast<std::uint8_t>(chatter[0] + 1U);
        EXPECT_EQ(zol::signalcomm::Service::Instance().Publish(
                      fsrl_test::GroupName(kFirstChatterGroup + i % kChatterGroupCount),
                      zol::memory::span<const std::uint8_t>(chatter.data(), chatter.size())),
                  0);
      }
      std::unique_lock<std::mutex> lock(pace_mutex_);
      ++scans_sent_;
      const std::uint64_t target = cycles_started_ + 1U;
      pace_cv_.wait(lock, [this, target] { return cycles_finished_ >= target || rounds_over_; });
      if (rounds_over_) {
        return;
      }
    }
  }

  void StartProducer(std::uint64_t max_scans) {
    producer_ = std::thread([this, max_scans] { Produce(max_scans); });
  }

  void StopProducer() {
    {
      const std::lock_guard<std::mutex> lock(pace_mutex_);
      rounds_over_ = true;
    }
    pace_cv_.notify_all();
    producer_.join();
  }

  void PublishProbe() {
    std::vector<std::uint8_t> payload(kObjectPayloadLength, 0U);
    payload[0] = static_cast<std::uint8_t>(++probes_sent_);
    EXPECT_EQ(zol::signalcomm::Service::Instance().Publish(
                  probe_identity_, zol::memory::span<const std::uint8_t>(payload.data(), payload.size())),
              0);
  }

  std::uint64_t scans_sent() {
    const std::lock_guard<std::mutex> lock(pace_mutex_);
    return scans_sent_;
  }

  // What the rounds saw, checked once every thread that wrote to them has handed over.
  void ExpectRoundsOutcome(std::uint64_t probes_per_round, bool probes_after_stop_dropped) {
    std::uint64_t scans = 0U;
    std::uint64_t invalidations = 0U;
    std::uint64_t late_invalidations = 0U;
    std::uint64_t cycles = 0U;
    for (std::size_t r = 0U; r < rounds_.size(); ++r) {
      SCOPED_TRACE("round " + std::to_string(r));
      const RoundRecord& record = rounds_[r]->record;
      EXPECT_TRUE(record.created);
      EXPECT_TRUE(record.all_subscribed);
      EXPECT_FALSE(record.cycle_chain_broken);
      // Every probe payload was delivered before the check was queued, so each has had its task executed by then.
      EXPECT_EQ(record.probe_invalidations_at_check, probes_per_round);
      if (probes_after_stop_dropped) {
        EXPECT_EQ(record.probe_invalidations, probes_per_round);
      } else {
        EXPECT_GE(record.probe_invalidations, probes_per_round);
      }
      EXPECT_EQ(record.scans_not_as_encoded, 0U) << record.first_difference;
      if (rounds_[r]->long_round) {
        EXPECT_GE(record.scans_published, kScansPerLongRound) << "in " << record.cycles << " cycles";
        EXPECT_GE(record.status_published, 1U);
        EXPECT_GE(record.successful_cycles, 1U);
      } else {
        EXPECT_EQ(record.cycles, kShortRoundCycles);
      }
      scans += record.scans_published;
      invalidations += record.invalidations;
      late_invalidations += record.invalidations_after_destruction;
      cycles += record.cycles;
    }
    EXPECT_GT(invalidations, rounds_.size() * probes_per_round);
    // How much of the ground was covered, for whoever reads the log; timing decides, so nothing is asserted here.
    std::printf(
        "[ stress   ] %zu rounds, %llu cycles, %llu scans sent, %llu published, %llu invalidations (%llu after "
        "their adapter was gone)\n",
        rounds_.size(), static_cast<unsigned long long>(cycles), static_cast<unsigned long long>(scans_sent()),
        static_cast<unsigned long long>(scans), static_cast<unsigned long long>(invalidations),
        static_cast<unsigned long long>(late_invalidations));
  }

  // The service saw no misuse. The adapter reports an E2E failure only where a new adapter meets counters it has
  // not seen yet (once per group and HAL at most, and never a bad CRC) or waits for a payload that passes; the
  // paced producer never lets a reader that is in step fall behind.
  void ExpectNothingWentWrongInTheServices() const {
    std::size_t synchronisations = 0U;
    for (const zol::log::CapturingSink::Line& line : sink_.lines()) {
      EXPECT_NE(line.context_id, "SCOM") << line.message;
      if (line.message.find("Failed to decode and check E2E for signal group") == 0U &&
          (line.message.find("Extended: -3.") != std::string::npos ||
           line.message.find("Extended: -2.") != std::string::npos)) {
        ++synchronisations;
        continue;
      }
      if (line.message.find("Failed to decode and check E2E for signal group") == 0U &&
          line.message.find("Code: -7, Extended: 2.") != std::string::npos) {
        // A read between two arrivals whose held payload did not pass (or that nothing has arrived for since the
        // HAL was made) waits for the next frame; it is a reader catching up, not a fault.
        continue;
      }
      EXPECT_NE(line.level, zol::log::LoggingLevel::kError) << line.message;
      EXPECT_NE(line.level, zol::log::LoggingLevel::kFatal) << line.message;
    }
    EXPECT_LE(synchronisations, rounds_.size() * (fsrl_test::kDetectionGroupCount + 2U));
  }

  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  // Built before any thread starts; read-only afterwards.
  const ScanPayloads payloads_;
  SignalComm_Name_t probe_identity_{0U};
  std::vector<std::unique_ptr<Round>> rounds_;

  std::mutex pace_mutex_;
  std::condition_variable pace_cv_;
  std::uint64_t cycles_started_{0U};
  std::uint64_t cycles_finished_{0U};
  std::uint64_t scans_sent_{0U};
  bool rounds_over_{false};
  std::thread producer_;
  std::uint64_t probes_sent_{0U};
};

TEST_F(NotificationStress, InvalidationTasksInterleaveWithCyclesWhileHalsAreCreatedAndDestroyedOnTheRunningQueue) {
  constexpr std::size_t kRounds = 200U;
  constexpr std::size_t kLongRoundEvery = 20U;
  constexpr std::uint64_t kProbesPerRound = 3U;
  constexpr std::uint64_t kProbesDuringDestruction = 2U;
  constexpr std::uint64_t kMaxScans = 100000U;
  MakeRounds(kRounds, kLongRoundEvery);

  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped_resource(&counting);
    zol::afw::core::Executable executable("stress");
    DispatchQueue& queue = executable.execution_context()->dispatch_queue();
    queue.Start();
    StartProducer(kMaxScans);

    for (std::size_t r = 0U; r < kRounds; ++r) {
      Round* round = rounds_[r].get();
      Round* previous = r > 0U ? rounds_[r - 1U].get() : nullptr;
      ASSERT_EQ(Post(queue,
                     [round, previous, &executable] {
                       if (previous != nullptr) {
                         previous->CancelSubscriptions();
                       }
                       CreateHal(round, &executable);
                       round->created.set_value();
                     }),
                ErrorCode::kSuccess);
      round->created.get_future().wait();
      PostCycles(queue, round);

      ProbeAndQueueTheCheck(queue, round, kProbesPerRound);
      round->cycles_done.get_future().wait();

      // The HAL goes while the producer's last scan and more probes are still being delivered.
      ASSERT_EQ(Post(queue,
                     [round, r] {
                       DestroyHal(round, r);
                       round->destroyed.set_value();
                     }),
                ErrorCode::kSuccess);
      for (std::uint64_t p = 0U; p < kProbesDuringDestruction; ++p) {
        PublishProbe();
      }
      round->probes_checked.get_future().wait();
      round->destroyed.get_future().wait();
    }

    StopProducer();
    zol::signalcomm::Service::Instance().FlushNotifications();
    queue.WaitIdle();
    // The remaining subscriptions end on the owner's context; the task's transaction also lets go of the last
    // adapter's begin-transaction callback, whose weak reference holds the adapter's memory until then.
    ASSERT_EQ(Post(queue,
                   [this] {
                     for (const std::unique_ptr<Round>& round : rounds_) {
                       round->CancelSubscriptions();
                     }
                   }),
              ErrorCode::kSuccess);
    queue.WaitIdle();
    queue.Stop();
    EXPECT_EQ(queue.pending(), 0U);
    EXPECT_FALSE(queue.IsStarted());
  }

  ExpectRoundsOutcome(kProbesPerRound, false);
  ExpectNothingWentWrongInTheServices();
  // Tasks, vectors of properties, HALs, caches: all given back, each with the size it was taken with.
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(NotificationStress, HalsCreatedAndDestroyedWhileTheQueueIsStoppedLeaveQueuedTasksHarmlessAndDropLaterNews) {
  constexpr std::size_t kRounds = 100U;
  constexpr std::size_t kLongRoundEvery = 25U;
  constexpr std::uint64_t kProbesPerRound = 3U;
  constexpr std::uint64_t kProbesWhileStopped = 2U;
  constexpr std::uint64_t kMaxScans = 100000U;
  MakeRounds(kRounds, kLongRoundEvery);

  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped_resource(&counting);
    zol::afw::core::Executable executable("stress");
    DispatchQueue& queue = executable.execution_context()->dispatch_queue();
    StartProducer(kMaxScans);

    for (std::size_t r = 0U; r < kRounds; ++r) {
      Round* round = rounds_[r].get();
      // The queue's thread is joined: this thread is the owner's execution context until Start.
      CreateHal(round, &executable);
      queue.Start();
      PostCycles(queue, round);
      ProbeAndQueueTheCheck(queue, round, kProbesPerRound);
      round->probes_checked.get_future().wait();
      round->cycles_done.get_future().wait();

      // Stopped while the producer's last scan is being delivered: what got in waits for the next Start, what comes
      // later is dropped by the adapter, as are these probes.
      queue.Stop();
      for (std::uint64_t p = 0U; p < kProbesWhileStopped; ++p) {
        PublishProbe();
      }
      zol::signalcomm::Service::Instance().FlushNotifications();
      DestroyHal(round, r);
    }

    StopProducer();
    zol::signalcomm::Service::Instance().FlushNotifications();
    // The tasks left over from the last stop still run, against properties whose adapter is gone. One more task
    // begins one more transaction, which lets go of the last adapter's begin-transaction callback: its weak
    // reference holds the adapter's memory until then.
    queue.Start();
    ASSERT_EQ(Post(queue, [] {}), ErrorCode::kSuccess);
    queue.WaitIdle();
    queue.Stop();
    EXPECT_EQ(queue.pending(), 0U);
    for (const std::unique_ptr<Round>& round : rounds_) {
      round->CancelSubscriptions();
    }
  }

  ExpectRoundsOutcome(kProbesPerRound, true);
  ExpectNothingWentWrongInTheServices();
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

}  // namespace
