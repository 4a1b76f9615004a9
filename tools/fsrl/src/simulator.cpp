// Simulator concern: the run loop: scan after scan, the scene observed, encoded, faulted and sent as frames.
#include "fsrl/simulator.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <utility>

#include "simulator_encoding.h"
#include "simulator_faults.h"
#include "simulator_random.h"
#include "simulator_scene.h"

namespace fsrl {

using internal::Mix;
using internal::Random;

class Simulator::Impl {
 public:
  explicit Impl(const SimulationOptions& options)
      : options_(options),
        scene_(internal::MakeScene(options.seed)),
        slots_(internal::FindSlots()),
        order_(internal::SendOrder()) {
    std::string ignored;
    valid_ = ValidateSimulationOptions(options_, ignored);
    // Faults by scan, so that each scan looks only at its own; faults of one scan keep the order they were given.
    std::stable_sort(options_.faults.begin(), options_.faults.end(),
                     [](const Fault& a, const Fault& b) { return a.scan < b.scan; });
    counters_.fill(options_.start_counter);
    // The radar's clock: its own epoch, counting nanoseconds since it started; it keeps running through silences.
    sensor_start_ns_ = 8000000000ULL + (Mix(options_.seed) % 1000000ULL) * 1000ULL;
    faults_here_.reserve(8);
  }

  bool Next(SimulatedScan& scan, std::vector<CanFrame>& frames) {
    frames.clear();
    if (!valid_ || index_ >= options_.scans) {
      return false;
    }
    const std::uint32_t index = index_++;
    faults_here_.clear();
    while (next_fault_ < options_.faults.size() && options_.faults[next_fault_].scan == index) {
      faults_here_.push_back(&options_.faults[next_fault_++]);
    }
    for (const Fault* fault : faults_here_) {
      if (fault->kind == FaultKind::kSilence) {
        // Whole periods keep every later scan's frames on the same phase of the scan grid, so a replay with the
        // scan period still sees each scan in one cycle.
        const std::int64_t silence_ns = static_cast<std::int64_t>(fault->amount) * 1000000;
        delay_ns_ += (silence_ns + options_.period_ns - 1) / options_.period_ns * options_.period_ns;
      }
    }
    const std::int64_t scan_time_ns =
        options_.start_time_ns + static_cast<std::int64_t>(index) * options_.period_ns + delay_ns_;
    const double t_s = static_cast<double>(scan_time_ns - options_.start_time_ns) * 1e-9;
    const std::uint8_t scan_id = static_cast<std::uint8_t>(index & 0xFFU);
    // Each scan's noise comes from its own stream, so that a fault in one scan changes no other.
    Random random(Mix(options_.seed) ^ Mix(0xD1CE0000ULL + index));

    const std::uint64_t mid_ns = sensor_start_ns_ + static_cast<std::uint64_t>(scan_time_ns - options_.start_time_ns);
    const std::array<std::uint64_t, 4> stamps = {mid_ns - 9000000ULL, mid_ns - 4500000ULL, mid_ns, mid_ns + 4500000ULL};

    std::array<GroupPayloadBuilder, kGroupCount> builders = internal::MakeBuilders();
    internal::FillStatus(builders[kStatus1Group], builders[kStatus2Group], scan_id, stamps, random);
    internal::FillDetections(builders, slots_, internal::ObserveScene(scene_, t_s, random), scan_id);
    internal::FillObjects(builders, scene_, t_s, scan_id, index, random);

    for (const Fault* fault : faults_here_) {
      if (fault->kind == FaultKind::kCounterJump) {
        counters_[fault->group] = static_cast<std::uint8_t>(counters_[fault->group] + fault->amount);
      }
    }
    std::array<std::vector<std::uint8_t>, kGroupCount> payloads;
    for (std::size_t group = 0; group < kGroupCount; ++group) {
      payloads[group] = builders[group].Build(counters_[group]);
      counters_[group] = static_cast<std::uint8_t>(counters_[group] + 1U);
    }

    scan = SimulatedScan();
    scan.index = index;
    scan.scan_id = scan_id;
    scan.first_frame_ns = scan_time_ns;
    scan.time_stamps = stamps;
    internal::Expect(payloads, slots_, scan);

    for (std::size_t position = 0; position < kGroupCount; ++position) {
      const std::size_t group = order_[position];
      std::vector<std::uint8_t> payload = payloads[group];
      std::size_t length = payload.size();
      if (internal::ApplyFrameFaults(faults_here_, group, previous_[group], payload, length)) {
        frames.push_back(internal::MakeFrame(scan_time_ns + static_cast<std::int64_t>(position) * kFrameSpacingNs,
                                             group, payload, length));
      }
    }
    previous_ = std::move(payloads);
    return true;
  }

 private:
  SimulationOptions options_;
  bool valid_ = false;
  const internal::Scene scene_;
  const internal::Slots slots_;
  const std::array<std::size_t, kGroupCount> order_;
  std::array<std::uint8_t, kGroupCount> counters_{};
  std::array<std::vector<std::uint8_t>, kGroupCount> previous_;  // last intended payload per group
  std::uint64_t sensor_start_ns_ = 0;
  std::int64_t delay_ns_ = 0;  // added by silences so far
  std::uint32_t index_ = 0;
  std::size_t next_fault_ = 0;
  std::vector<const Fault*> faults_here_;
};

Simulator::Simulator(const SimulationOptions& options) : impl_(std::make_unique<Impl>(options)) {}
Simulator::~Simulator() = default;
bool Simulator::Next(SimulatedScan& scan, std::vector<CanFrame>& frames) { return impl_->Next(scan, frames); }

Simulation Simulate(const SimulationOptions& options) {
  Simulation simulation;
  std::string ignored;
  if (!ValidateSimulationOptions(options, ignored)) {
    return simulation;
  }
  simulation.frames.reserve(static_cast<std::size_t>(options.scans) * kGroupCount);
  simulation.scans.reserve(options.scans);
  Simulator simulator(options);
  SimulatedScan scan;
  std::vector<CanFrame> frames;
  while (simulator.Next(scan, frames)) {
    simulation.scans.push_back(scan);
    simulation.frames.insert(simulation.frames.end(), frames.begin(), frames.end());
  }
  return simulation;
}

}  // namespace fsrl
