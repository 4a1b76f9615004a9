// The signal adapter's typed read: cache retrieval, payload copy, E2E profile 5 check, decoding and the copy into
// the typed record, through the property as the HAL core reads it.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>

#include "bench_frames.h"
#include "initialfrontsideradarlefthal_signal_adapter.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/e2e/e2e_signal_group_property.h"
#include "zol/mono_clock.h"

namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;
using Clock = std::chrono::steady_clock;
namespace types = initialfrontsideradarlefthal::types;

// One group's property and a record of its type, read through one indirect call.
struct GroupRead {
  std::shared_ptr<void> property;
  std::shared_ptr<void> record;
  ErrorCode (*read)(const void* property, void* record, SignalPropertyStatus* status) = nullptr;

  ErrorCode operator()(SignalPropertyStatus* status) const { return read(property.get(), record.get(), status); }
};

template <typename Record>
ErrorCode ReadGroup(const void* property, void* record, SignalPropertyStatus* status) {
  return static_cast<const zol::e2e::E2ESignalGroupProperty<Record>*>(property)->get(static_cast<Record*>(record),
                                                                                     status);
}

// The adapter alone, below an executable, as the HAL core holds it; the clock stands still.
class AdapterFixture {
 public:
  AdapterFixture() {
    fsrl_bench::ResetPlatform();
    frames_.Connect();
    adapter_ = initialfrontsideradarlefthal::SignalAdapter::Create(&executable_);
    if (!adapter_) {
      return;
    }
#define FSRL_BENCH_GROUP_READ(index, Record, stem) \
  reads_[(index)] = GroupRead{adapter_->stem(), std::make_shared<types::Record>(), &ReadGroup<types::Record>};
    FSRL_FOR_EACH_SIGNAL_GROUP(FSRL_BENCH_GROUP_READ)
#undef FSRL_BENCH_GROUP_READ
  }
  ~AdapterFixture() {
    adapter_.reset();
    zol::afw::core::TransactionTesting::Reset();
  }
  AdapterFixture(const AdapterFixture&) = delete;
  AdapterFixture& operator=(const AdapterFixture&) = delete;

  // False, with the benchmark skipped, when the adapter could not be created.
  bool Ready(benchmark::State& state) const {
    if (!adapter_) {
      state.SkipWithError("no signal adapter");
    }
    return static_cast<bool>(adapter_);
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(20))};
  fsrl_bench::ScanFrames frames_;
  zol::afw::core::Executable executable_{"vehicle"};
  initialfrontsideradarlefthal::SignalAdapter::Ptr adapter_;
  std::array<GroupRead, fsrl::kGroupCount> reads_{};
};

// What a typed-read benchmark keeps across its iterations.
struct ReadRun {
  // One read's outcome: a read that did not pass the check is counted.
  void Check(ErrorCode result) {
    benchmark::DoNotOptimize(result);
    not_ok += status.status_code_ != SignalPropertyStatusCode::kE2eOk ? 1 : 0;
  }
  // Reports the timed reads; a benchmark in which a read did not pass the check measured something else.
  void Report(benchmark::State& state) {
    times.Report(state);
    if (not_ok != 0) {
      state.SkipWithError("a read did not report kE2eOk");
    }
    state.SetItemsProcessed(state.iterations());
  }

  std::uint64_t next_scan = 0;
  std::int64_t not_ok = 0;
  SignalPropertyStatus status;
  fsrl_bench::IterationTimes times;
};

// A typed read of a detection group (48 signals) with a new payload, as the input cycle makes it: the 40 detection
// groups get a new scan and a transaction begins (not timed), then all 40 are read, the first read retrieving the
// group cache. The time reported is that of one read: the 40 reads' time divided by 40.
void BM_TypedRead_DetectionGroup(benchmark::State& state) {
  AdapterFixture fixture;
  if (!fixture.Ready(state)) {
    return;
  }
  ReadRun run;
  for (auto _ : state) {
    fixture.frames_.PublishDetections(run.next_scan++);
    zol::afw::core::Transaction::Begin();
    const Clock::time_point begin = Clock::now();
    for (std::size_t group = 0; group < fsrl_bench::kDetectionGroupCount; ++group) {
      run.Check(fixture.reads_[group](&run.status));
    }
    const Clock::time_point end = Clock::now();
    run.times.Add(state, fsrl_bench::Seconds(begin, end) / static_cast<double>(fsrl_bench::kDetectionGroupCount));
  }
  run.Report(state);
}
BENCHMARK(BM_TypedRead_DetectionGroup)->UseManualTime();

// A typed read of status group 1 (26 signals, 61 bytes) with a new payload, alone in its transaction: publishing
// and the transaction's beginning are not timed, the read's retrieval of the group cache is.
void BM_TypedRead_Status1(benchmark::State& state) {
  AdapterFixture fixture;
  if (!fixture.Ready(state)) {
    return;
  }
  const GroupRead& read = fixture.reads_[fsrl_bench::kStatus1Group];
  ReadRun run;
  for (auto _ : state) {
    fixture.frames_.Publish(fsrl_bench::kStatus1Group, run.next_scan++);
    zol::afw::core::Transaction::Begin();
    const Clock::time_point begin = Clock::now();
    const ErrorCode result = read(&run.status);
    const Clock::time_point end = Clock::now();
    run.Check(result);
    run.times.Add(state, fsrl_bench::Seconds(begin, end));
  }
  run.Report(state);
}
BENCHMARK(BM_TypedRead_Status1)->UseManualTime();

}  // namespace
