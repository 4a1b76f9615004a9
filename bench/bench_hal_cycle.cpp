// The HAL's input cycle and its detection getter, on the loaded HAL as an application creates it.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "bench_frames.h"
#include "frontsideradarlefthal.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/mono_clock.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using zol::afw::core::ErrorCode;
using Clock = std::chrono::steady_clock;

// The loaded HAL below an executable whose queue runs in step mode, with one subscriber on each of the detection and
// status notifiers. The platform clock is manual: it stands still unless a benchmark advances it.
class HalFixture {
 public:
  HalFixture() {
    fsrl_bench::ResetPlatform();
    frames_.Connect();
    executable_.execution_context()->dispatch_queue().SetStepMode(true);
    auto created = FrontSideRadarLeftHal::Create(&executable_, "NoInstanceId");
    if (created.ok()) {
      hal_ = std::move(created).value();
    }
    detections_ = hal_.SubscribeToFsrlDetections([this] { ++detection_notifications_; });
    status_ = hal_.SubscribeToFsrlStatus([this] { ++status_notifications_; });
  }
  ~HalFixture() {
    detections_.Cancel();
    status_.Cancel();
    hal_ = FrontSideRadarLeftHal();
    zol::afw::core::TransactionTesting::Reset();
  }
  HalFixture(const HalFixture&) = delete;
  HalFixture& operator=(const HalFixture&) = delete;

  // What the execution context does around the HAL's cycle task: a transaction begins, then the task runs.
  ErrorCode Cycle() {
    zol::afw::core::Transaction::Begin();
    return hal_.ProcessFsrlInput();
  }

  // Cycle, with the input cycle alone timed into @p times; true when it succeeded.
  bool TimedCycle(benchmark::State& state, fsrl_bench::IterationTimes& times) {
    zol::afw::core::Transaction::Begin();
    const Clock::time_point begin = Clock::now();
    const ErrorCode result = hal_.ProcessFsrlInput();
    const Clock::time_point end = Clock::now();
    benchmark::DoNotOptimize(result);
    times.Add(state, fsrl_bench::Seconds(begin, end));
    return result == ErrorCode::kSuccess;
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(20))};
  fsrl_bench::ScanFrames frames_;
  zol::afw::core::Executable executable_{"vehicle"};
  FrontSideRadarLeftHal hal_;
  std::int64_t detection_notifications_ = 0;
  std::int64_t status_notifications_ = 0;
  zol::afw::core::Subscription detections_;
  zol::afw::core::Subscription status_;
};

// One cycle in which all 42 groups the HAL reads carry a new scan: 42 typed reads, translation of 200 detections and
// both statuses, publication of the scan and one notification to each notifier's subscriber. Timed is the call of
// ProcessFsrlInput; the publishing of the payloads to the signal service (the radar's work) and the beginning of the
// transaction (the execution context's, before every task) are not. Argument: cycle period in ms; with 0 the
// clock stands still and the lost-communication evaluation (at most once per ms) is skipped as in a burst of cycles,
// with 50 every cycle evaluates it as an application running at 20 Hz does.
void BM_ProcessFsrlInput_FullScan(benchmark::State& state) {
  HalFixture fixture;
  const auto period = std::chrono::milliseconds(state.range(0));
  std::uint64_t k = 0;
  // Two scans first, so that everything made once per HAL exists.
  for (; k < 2U; ++k) {
    fixture.clock_.Advance(period);
    fixture.frames_.PublishCycle(k);
    if (fixture.Cycle() != ErrorCode::kSuccess) {
      state.SkipWithError("a warm-up cycle failed");
      return;
    }
  }
  const std::int64_t notified_before = fixture.detection_notifications_;
  std::int64_t failures = 0;
  fsrl_bench::IterationTimes times;
  for (auto _ : state) {
    fixture.clock_.Advance(period);
    fixture.frames_.PublishCycle(k++);
    failures += fixture.TimedCycle(state, times) ? 0 : 1;
  }
  times.Report(state);
  // Every cycle must have completed and published its scan, or the benchmark measured something else.
  if (failures != 0 || fixture.detection_notifications_ - notified_before != state.iterations()) {
    state.SkipWithError("a cycle failed or did not publish its scan");
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ProcessFsrlInput_FullScan)->ArgName("cycle_ms")->Arg(0)->Arg(50)->UseManualTime();

// A cycle in which nothing new arrived: 42 reads that find no new data (decoded all the same), the same records
// translated again, nothing published. The clock stands still; timed as the full cycle is.
void BM_ProcessFsrlInput_NoNewData(benchmark::State& state) {
  HalFixture fixture;
  fixture.frames_.PublishCycle(0U);
  if (fixture.Cycle() != ErrorCode::kSuccess) {
    state.SkipWithError("the first cycle failed");
    return;
  }
  const std::int64_t notified_before = fixture.detection_notifications_ + fixture.status_notifications_;
  std::int64_t failures = 0;
  fsrl_bench::IterationTimes times;
  for (auto _ : state) {
    failures += fixture.TimedCycle(state, times) ? 0 : 1;
  }
  times.Report(state);
  if (failures != 0 || fixture.detection_notifications_ + fixture.status_notifications_ != notified_before) {
    state.SkipWithError("a cycle failed or notified");
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ProcessFsrlInput_NoNewData)->UseManualTime();

// The detection getter after a scan was published: the full scan of 200 detections returned by value.
void BM_GetFsrlDetections(benchmark::State& state) {
  HalFixture fixture;
  fixture.frames_.PublishCycle(0U);
  if (fixture.Cycle() != ErrorCode::kSuccess || fixture.detection_notifications_ != 1) {
    state.SkipWithError("no scan was published");
    return;
  }
  for (auto _ : state) {
    auto detections = fixture.hal_.GetFsrlDetections();
    benchmark::DoNotOptimize(detections);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_GetFsrlDetections);

}  // namespace
