// Two executables, each with a signal adapter of its own, cycle at the same time on their own dispatch-queue threads
// while the signal service notifies both of them and a producer thread publishes. Each context's cycle reads every
// group of its adapter inside one transaction of its queue. The test checks that every transaction retrieves its
// adapter's cache exactly once (a payload the cycle publishes after its first read is not seen until the next
// transaction, and the service counts one retrieval per cycle in all), and that a begin-transaction callback a
// context registers runs only at the start of that context's next transaction, on its thread. Under
// ThreadSanitizer it also looks for the data race on the adapter's once-per-transaction flag that a callback run by
// the other context would cause. Every loop is bounded by a count.
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "function_task.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "zol/afw/core/dispatch_queue.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notification_configuration.h"
#include "zol/afw/core/property.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/afw/core/task.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/memory/span.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"
#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"
#include "zol/string_view.h"

namespace {

using initialfrontsideradarlefthal::SignalAdapter;
using zol::afw::core::DispatchQueue;
using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::Subscription;
using zol::afw::core::Transaction;
using zol::afw::core::TransactionTesting;
using When = zol::afw::core::NotificationConfiguration::When;
using RawBytes = zol::memory::span<const unsigned char>;

// The adapter's 52 groups in table order (initialfrontsideradarlefthal_signal_groups).
constexpr std::size_t kGroupCount = 52U;
// The object groups: the HAL never reads them, so each context can own one as its probe, published by that
// context's cycles alone. Both are 50 bytes long; the probe value fills the first 8.
constexpr std::array<std::size_t, 2> kProbeGroups = {{40U, 41U}};
constexpr std::size_t kProbeLength = 50U;
// The producer's traffic goes to the detection groups, 48 bytes each.
constexpr std::size_t kProducerGroups = 40U;
constexpr std::size_t kProducerLength = 48U;

// Cycles per context: enough for the two queues' threads to overlap thousands of times, few enough for a sanitised
// build on a shared machine.
constexpr std::uint64_t kCyclesPerContext = 1500U;
// The producer publishes at most this many payloads per finished cycle of either context, so that the invalidation
// tasks it causes never fill a queue (DispatchQueue::kDefaultCapacity) and crowd out a cycle.
constexpr std::uint64_t kPublishesPerCycle = 2U;

std::array<std::uint8_t, kProbeLength> ProbePayload(std::uint64_t value) {
  std::array<std::uint8_t, kProbeLength> payload{};
  for (std::size_t i = 0U; i < 8U; ++i) {
    payload[i] = static_cast<std::uint8_t>(value >> (8U * i));
  }
  return payload;
}

// The probe value of a raw read; a payload shorter than 8 bytes reads as a value no cycle publishes.
std::uint64_t ProbeValue(RawBytes bytes) {
  if (bytes.size() < 8U) {
    return ~std::uint64_t{0};
  }
  std::uint64_t value = 0U;
  for (std::size_t i = 0U; i < 8U; ++i) {
    value |= static_cast<std::uint64_t>(bytes[i]) << (8U * i);
  }
  return value;
}

// The service's identity of group `index` of the table.
SignalComm_Name_t IdentityOf(std::size_t index) {
  return zol::signalcomm::Service::Instance().IdentityOf(
      zol::string_view(reinterpret_cast<const char*>(initialfrontsideradarlefthal_signal_groups[index].name)));
}

int Publish(SignalComm_Name_t group, const std::uint8_t* data, std::size_t size) {
  return zol::signalcomm::Service::Instance().Publish(group, zol::memory::span<const std::uint8_t>(data, size));
}

using fsrl_test::Post;

// One executable with its adapter. Everything but the pacing counters is touched only by tasks of the context's
// queue, and by the test thread once that queue is idle or stopped.
struct Context {
  explicit Context(const char* name, std::size_t context_index)
      : executable(name), probe_group(kProbeGroups[context_index]), probe_identity(IdentityOf(probe_group)) {}

  DispatchQueue& queue() { return executable.execution_context()->dispatch_queue(); }

  zol::afw::core::Executable executable;
  const std::size_t probe_group;
  const SignalComm_Name_t probe_identity;
  SignalAdapter::Ptr adapter;
  // Raw read of each group, in table order.
  std::vector<std::function<ErrorCode(RawBytes&, SignalPropertyStatus*)>> read_raw;
  std::vector<Subscription> subscriptions;
  std::thread::id thread;

  std::uint64_t cycles{0U};
  std::uint64_t reads{0U};
  std::uint64_t failed_reads{0U};
  std::uint64_t invalidations{0U};
  // A cycle's first probe read saw another value than the one the previous cycle published: no fresh retrieval.
  std::uint64_t stale_snapshots{0U};
  // A cycle's last probe read saw the value the cycle itself published: the cache was retrieved again inside it.
  std::uint64_t second_retrievals{0U};
  std::uint64_t first_mismatch_cycle{0U};
  std::uint64_t first_mismatch_value{0U};
  // The test's own begin-transaction callbacks: how many ran, how many on a foreign thread, how many late.
  std::uint64_t callbacks_run{0U};
  std::uint64_t callbacks_on_foreign_thread{0U};
  std::uint64_t callbacks_missing_at_cycle_start{0U};
  bool chain_broken{false};
  std::promise<void> done;
};

class TransactionContextsStress : public ::testing::Test {
 protected:
  TransactionContextsStress() {
    TransactionTesting::Reset();
    auto& service = zol::signalcomm::Service::Instance();
    service.Reset();
    service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                               initialfrontsideradarlefthal_signal_group_count);
  }

  ~TransactionContextsStress() override {
    TransactionTesting::Reset();
    zol::signalcomm::Service::Instance().Reset();
  }

  TransactionContextsStress(const TransactionContextsStress&) = delete;
  TransactionContextsStress& operator=(const TransactionContextsStress&) = delete;

  // Runs on the context's own thread: the adapter is created, subscribed and later destroyed by its owner.
  static void SetUpContext(Context* context) {
    context->thread = std::this_thread::get_id();
    context->adapter = SignalAdapter::Create(&context->executable);
    if (!context->adapter) {
      return;
    }
    const SignalAdapter& adapter = *context->adapter;
    std::vector<std::shared_ptr<zol::afw::core::GenericPropertyBase>> properties;
#define FSRL_TX_STRESS_COLLECT(index, type, stem)                                                             \
  properties.push_back(adapter.stem());                                                                       \
  context->read_raw.emplace_back([property = adapter.stem()](RawBytes& bytes, SignalPropertyStatus* status) { \
    return property->get_raw(bytes, status);                                                                  \
  });
    FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_TX_STRESS_COLLECT)
#undef FSRL_TX_STRESS_COLLECT
    for (const auto& property : properties) {
      context->subscriptions.push_back(property->Subscribe([context] { ++context->invalidations; }));
      // Every arrival, so that each publication reaches both contexts as an invalidation task.
      property->ConfigureNotification(When::kOnWrite);
    }
  }

  static void TearDownContext(Context* context) {
    context->subscriptions.clear();
    context->read_raw.clear();
    context->adapter.reset();
  }

  // Checked when it runs: it must be the first thing of the context's next transaction, on the context's thread.
  static void RegisterCheck(Context* context) {
    const ErrorCode registered = Transaction::AddBeginTransactionCallback([context] {
      if (std::this_thread::get_id() != context->thread) {
        ++context->callbacks_on_foreign_thread;
      }
      ++context->callbacks_run;
    });
    EXPECT_EQ(registered, ErrorCode::kSuccess);
  }

  // One input cycle: everything it reads comes from one retrieval of the adapter's cache.
  void RunCycle(Context* context) {
    const std::uint64_t cycle = context->cycles;
    // The check registered by the previous cycle ran when this transaction began.
    if (context->callbacks_run != cycle) {
      ++context->callbacks_missing_at_cycle_start;
    }
    RawBytes bytes;
    SignalPropertyStatus status;
    auto& read_probe = context->read_raw[context->probe_group];
    ++context->reads;
    if (read_probe(bytes, &status) != ErrorCode::kSuccess) {
      ++context->failed_reads;
    }
    const std::uint64_t first = ProbeValue(bytes);
    if (first != cycle) {
      if (context->stale_snapshots++ == 0U) {
        context->first_mismatch_cycle = cycle;
        context->first_mismatch_value = first;
      }
    }
    // The next cycle must see this; this cycle must not.
    const auto next = ProbePayload(cycle + 1U);
    EXPECT_EQ(Publish(context->probe_identity, next.data(), next.size()), 0);
    for (std::size_t group = 0U; group < kGroupCount; ++group) {
      ++context->reads;
      if (context->read_raw[group](bytes, &status) != ErrorCode::kSuccess) {
        ++context->failed_reads;
      }
    }
    ++context->reads;
    if (read_probe(bytes, &status) != ErrorCode::kSuccess) {
      ++context->failed_reads;
    }
    if (ProbeValue(bytes) != first) {
      ++context->second_retrievals;
    }
    RegisterCheck(context);
    ++context->cycles;
    {
      const std::lock_guard<std::mutex> lock(pace_mutex_);
      ++cycles_finished_;
    }
    pace_cv_.notify_all();
  }

  // Each cycle posts the next when it is done, so that cycles and invalidation tasks interleave in the queue.
  void PostCycles(Context* context) {
    const ErrorCode posted = Post(context->queue(), [this, context] {
      RunCycle(context);
      if (context->cycles < kCyclesPerContext) {
        PostCycles(context);
      } else {
        context->done.set_value();
      }
    });
    if (posted != ErrorCode::kSuccess) {
      context->chain_broken = true;
      context->done.set_value();
    }
  }

  void Produce() {
    std::array<SignalComm_Name_t, kProducerGroups> identities{};
    for (std::size_t group = 0U; group < kProducerGroups; ++group) {
      identities[group] = IdentityOf(group);
    }
    std::array<std::uint8_t, kProducerLength> payload{};
    const std::uint64_t limit = kPublishesPerCycle * kCyclesPerContext * kProbeGroups.size();
    for (std::uint64_t n = 0U; n < limit; ++n) {
      {
        std::unique_lock<std::mutex> lock(pace_mutex_);
        pace_cv_.wait(lock, [this, n] { return stop_producer_ || cycles_finished_ * kPublishesPerCycle >= n; });
        if (stop_producer_) {
          return;
        }
      }
      payload[n % kProducerLength] = static_cast<std::uint8_t>(n);
      if (Publish(identities[n % kProducerGroups], payload.data(), payload.size()) == 0) {
        ++published_;
      }
    }
  }

  void StopProducer() {
    {
      const std::lock_guard<std::mutex> lock(pace_mutex_);
      stop_producer_ = true;
    }
    pace_cv_.notify_all();
  }

  std::mutex pace_mutex_;
  std::condition_variable pace_cv_;
  std::uint64_t cycles_finished_{0U};
  bool stop_producer_{false};
  std::uint64_t published_{0U};  // the producer's own, read after it is joined
};

TEST_F(TransactionContextsStress, TwoContextsCyclingAtOnceEachRetrieveTheirCacheOncePerTransactionOnTheirOwnThread) {
  std::array<std::unique_ptr<Context>, 2> contexts = {
      {std::make_unique<Context>("context_a", 0U), std::make_unique<Context>("context_b", 1U)}};
  for (auto& context : contexts) {
    context->queue().Start();
    Context* const raw = context.get();
    ASSERT_EQ(Post(context->queue(), [raw] { SetUpContext(raw); }), ErrorCode::kSuccess);
  }
  for (auto& context : contexts) {
    context->queue().WaitIdle();
    ASSERT_TRUE(context->adapter) << context->executable.name().to_string();
    ASSERT_EQ(context->read_raw.size(), kGroupCount);
    const auto first = ProbePayload(0U);
    ASSERT_EQ(Publish(context->probe_identity, first.data(), first.size()), 0);
  }
  auto& service = zol::signalcomm::Service::Instance();
  service.FlushNotifications();
  for (auto& context : contexts) {
    context->queue().WaitIdle();
  }
  const std::size_t retrieves_before = service.CallCount("SignalComm_SignalGroupCache_Retrieve");

  std::thread producer([this] { Produce(); });
  for (auto& context : contexts) {
    PostCycles(context.get());
  }
  for (auto& context : contexts) {
    context->done.get_future().wait();
  }
  StopProducer();
  producer.join();
  service.FlushNotifications();
  for (auto& context : contexts) {
    context->queue().WaitIdle();
  }
  const std::size_t retrieves = service.CallCount("SignalComm_SignalGroupCache_Retrieve") - retrieves_before;

  for (auto& context : contexts) {
    Context* const raw = context.get();
    ASSERT_EQ(Post(context->queue(), [raw] { TearDownContext(raw); }), ErrorCode::kSuccess);
    context->queue().WaitIdle();
    context->queue().Stop();
  }

  std::uint64_t cycles = 0U;
  for (const auto& context : contexts) {
    const std::string name = context->executable.name().to_string();
    SCOPED_TRACE(name);
    EXPECT_FALSE(context->chain_broken);
    EXPECT_EQ(context->cycles, kCyclesPerContext);
    EXPECT_EQ(context->reads, kCyclesPerContext * (kGroupCount + 2U));
    EXPECT_EQ(context->failed_reads, 0U);
    EXPECT_EQ(context->stale_snapshots, 0U)
        << "cycle " << context->first_mismatch_cycle << " read probe value " << context->first_mismatch_value;
    EXPECT_EQ(context->second_retrievals, 0U);
    EXPECT_EQ(context->callbacks_on_foreign_thread, 0U);
    EXPECT_EQ(context->callbacks_missing_at_cycle_start, 0U);
    // The last cycle's check ran when the tear-down task began.
    EXPECT_EQ(context->callbacks_run, kCyclesPerContext);
    EXPECT_GT(context->invalidations, 0U);
    cycles += context->cycles;
  }
  // One retrieval per transaction that read, whichever context it belonged to, and none for the invalidation tasks.
  EXPECT_EQ(retrieves, cycles);
  EXPECT_GT(published_, 0U);
  // Nothing was registered outside the contexts.
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
}

}  // namespace
