// The radar's side for the benchmarks: protected payloads of whole scans, made with the fsrl toolkit's frame
// builder, and the platform set-up that a HAL under test needs.
#ifndef FSRL_BENCH_BENCH_FRAMES_H
#define FSRL_BENCH_BENCH_FRAMES_H

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fsrl/simulator.h"
#include "zol/signalcomm/signal_comm.h"

namespace fsrl_bench {

constexpr std::size_t kDetectionGroupCount = 40U;
constexpr std::size_t kStatus1Group = 50U;
constexpr std::size_t kStatus2Group = 51U;
/// The groups one input cycle reads: 40 detection groups and the two status groups.
constexpr std::size_t kGroupsPerCycle = kDetectionGroupCount + 2U;

/// Sensor time between two scans, and the period of the application's cycle in the benchmarks that let time pass.
constexpr std::uint64_t kScanPeriodNs = 50000000U;

/// @brief Payloads of scan number k (k = 0, 1, ...) for every group: scan id and E2E counter k mod 256, mid-range
/// time stamp growing with k, so that each scan is complete, newer than the one before and passes the E2E check when
/// the scans are sent in order.
///
/// Detection, object and status-2 payloads depend on k only through k mod 256 and are made once; status 1 carries
/// the time stamps and is built per scan.
class ScanFrames {
 public:
  ScanFrames();

  /// The payload of @p group (0..51) in scan @p k.
  const std::vector<std::uint8_t>& Payload(std::size_t group, std::uint64_t k);

  /// Hands the 42 payloads the HAL reads of scan @p k to the signal service: status 1, status 2, detections.
  void PublishCycle(std::uint64_t k);
  /// Hands the 40 detection payloads of scan @p k to the signal service.
  void PublishDetections(std::uint64_t k);
  /// Hands one group's payload of scan @p k to the signal service.
  void Publish(std::size_t group, std::uint64_t k);

  /// Defines the radar's groups at the (reset) signal service and looks up their identities; call after every
  /// Service::Reset.
  void Connect();

 private:
  std::vector<std::vector<std::uint8_t>> by_scan_[fsrl::kGroupCount];  // [group][k mod 256]
  fsrl::GroupPayloadBuilder status1_;
  std::vector<std::uint8_t> status1_payload_;
  std::uint64_t status1_scan_ = ~std::uint64_t{0};
  std::array<SignalComm_Name_t, fsrl::kGroupCount> identities_{};
};

/// @brief One candump line per frame of scans 0 .. @p scans - 1, all 52 groups per scan in group order, CAN FD on
/// the default frame map, 100 us apart within a scan and @p period_ns from scan to scan.
std::string MakeCandumpLog(std::uint32_t scans, std::int64_t period_ns = static_cast<std::int64_t>(kScanPeriodNs));

/// @brief Resets the process-wide platform state a HAL under test uses: transactions, signal service, device
/// activation service.
void ResetPlatform();

/// @brief Wall-clock seconds between two steady-clock time points, for manually timed benchmarks.
inline double Seconds(std::chrono::steady_clock::time_point begin, std::chrono::steady_clock::time_point end) {
  return std::chrono::duration<double>(end - begin).count();
}

/// @brief The time of every iteration of a manually timed benchmark, for a statistic that preemption does not
/// distort: on a loaded machine a few iterations that lose the processor inflate the mean that Google Benchmark
/// reports, while the median iteration stays put. Reported as the counter "p50_ns" (and "p90_ns").
class IterationTimes {
 public:
  IterationTimes() { seconds_.reserve(1U << 20); }

  /// Records one iteration's time and hands it to the benchmark as the iteration's manual time.
  void Add(benchmark::State& state, double seconds) {
    if (seconds_.size() < seconds_.capacity()) {
      seconds_.push_back(seconds);
    }
    state.SetIterationTime(seconds);
  }

  /// Sets the counters; call after the loop.
  void Report(benchmark::State& state) {
    if (seconds_.empty()) {
      return;
    }
    state.counters["p50_ns"] = Quantile(0.5) * 1e9;
    state.counters["p90_ns"] = Quantile(0.9) * 1e9;
  }

 private:
  double Quantile(double q) {
    const auto at = seconds_.begin() + static_cast<std::ptrdiff_t>(q * static_cast<double>(seconds_.size() - 1U));
    std::nth_element(seconds_.begin(), at, seconds_.end());
    return *at;
  }

  std::vector<double> seconds_;
};

/// The frames of 400 simulated scans (20,800 frames, enough that opening and closing a file is noise), made once.
inline const std::vector<fsrl::CanFrame>& SimulatedFrames() {
  static const std::vector<fsrl::CanFrame> frames = [] {
    fsrl::SimulationOptions options;
    options.scans = 400;
    return fsrl::Simulate(options).frames;
  }();
  return frames;
}

}  // namespace fsrl_bench

#endif  // FSRL_BENCH_BENCH_FRAMES_H
