// The real HAL run for a long time over a simulated radar that misbehaves every few hundred scans, in virtual time
// (one scan per 50 ms cycle): once warmed up, the process's resident memory stays flat and nothing accumulates at the
// default memory resource, every scan the faults leave intact is published, and (in the asan build) LeakSanitizer
// finds nothing at exit.
//
// Not part of the default test run; scripts/soak-test.sh [CYCLES] builds and runs it. The number of cycles is the
// first argument after GoogleTest's own flags, else FSRL_SOAK_CYCLES from the environment, else 1,000,000.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/frame_map.h"
#include "fsrl/replay.h"
#include "fsrl/simulator.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/signal_codec.h"
#include "zol/pmr/counting_resource.h"
#include "zol/signalcomm/service.h"

#if defined(__SANITIZE_ADDRESS__)
#define FSRL_SOAK_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FSRL_SOAK_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(FSRL_SOAK_ADDRESS_SANITIZER)
// AddressSanitizer holds freed memory back (256 MiB by default) to catch late uses of it. Filling that up would look
// like the growth this test looks for, so the soak runs without it; leaks are still reported at exit, and late uses
// are the business of the test suite's own asan run. ASAN_OPTIONS from the environment still overrides this.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=0"; }
#endif

namespace {

constexpr std::uint64_t kDefaultCycles = 1000000;
constexpr std::uint64_t kMaxCycles = 100000000;
std::uint64_t g_cycles = kDefaultCycles;

// The radar is simulated a chunk at a time, so that the log never exists as a whole. A chunk is one full turn of the
// 8-bit scan id and of every group's 8-bit E2E counter, so each chunk starts both exactly where the last one ended.
constexpr std::uint32_t kScansPerChunk = 256;
constexpr std::int64_t kPeriodNs = 50000000;

// Where in its chunk a fault hits: one fault per chunk, kinds taking turns and the target walking through all groups.
constexpr std::uint32_t kFaultScan = 128;
// A counter jump is made twice per chunk, by amounts that add up to a whole turn: the group's counter is back in step
// with the chunk's start counter when the next chunk begins. Both steps are beyond what the receiver accepts.
constexpr std::array<std::uint32_t, 2> kCounterJumpScans = {64, 192};
constexpr std::array<std::uint32_t, 2> kCounterJumps = {100, 156};
// Longer than the replay's alive timeout of 200 ms: every silence is a period of lost communication.
constexpr std::uint32_t kSilenceMs = 500;

constexpr std::size_t kCheckpoints = 10;
// Resident memory may move by allocator noise, not by what a run of any length adds.
constexpr std::uint64_t kRssGrowthLimitBytes = 1U << 20U;

constexpr std::array<fsrl::FaultKind, 6> kFaultKinds = {fsrl::FaultKind::kCrc,    fsrl::FaultKind::kDrop,
                                                        fsrl::FaultKind::kRepeat, fsrl::FaultKind::kCounterJump,
                                                        fsrl::FaultKind::kShort,  fsrl::FaultKind::kSilence};

// Until every kind of fault has struck twice, the process is still touching memory for the first time.
constexpr std::uint32_t kWarmUpScans = 2U * kFaultKinds.size() * kScansPerChunk;

bool IsDetectionGroup(std::size_t group) {
  return group >= fsrl::kFirstDetectionGroup && group < fsrl::kFirstDetectionGroup + fsrl::kDetectionGroupCount;
}

// The faults of one chunk.
std::vector<fsrl::Fault> FaultsOfChunk(std::uint64_t chunk) {
  std::vector<fsrl::Fault> faults;
  fsrl::Fault fault;
  fault.kind = kFaultKinds[chunk % kFaultKinds.size()];
  fault.group = static_cast<std::size_t>((chunk / kFaultKinds.size()) % fsrl::kGroupCount);
  fault.scan = kFaultScan;
  if (fault.kind == fsrl::FaultKind::kSilence) {
    fault.amount = kSilenceMs;
  }
  if (fault.kind != fsrl::FaultKind::kCounterJump) {
    faults.push_back(fault);
    return faults;
  }
  for (std::size_t jump = 0; jump < kCounterJumps.size(); ++jump) {
    fault.scan = kCounterJumpScans[jump];
    fault.amount = kCounterJumps[jump];
    faults.push_back(fault);
  }
  return faults;
}

// Scans a fault keeps from being published.
struct Loss {
  std::uint64_t detections = 0;
  std::uint64_t statuses = 0;
};

Loss LossOf(const fsrl::Fault& fault) {
  if (fault.kind == fsrl::FaultKind::kSilence) {
    return {};  // the radar only pauses; every scan still comes
  }
  if (IsDetectionGroup(fault.group)) {
    return {1, 0};
  }
  if (fault.group == fsrl::kStatus1Group) {
    return {1, 1};  // status 1 carries the scan's time stamps: without it the detections cannot complete either
  }
  if (fault.group == fsrl::kStatus2Group) {
    // A missing status 2 leaves only the status without its second half. A broken one fails the cycle's status
    // read, so status 1's time stamps do not reach the scan either.
    return fault.kind == fsrl::FaultKind::kDrop ? Loss{0, 1} : Loss{1, 1};
  }
  return {};  // an object group: the HAL does not read it
}

// The radar's own clock restarts with every simulation. To let it run on over the whole soak (the HAL publishes a scan
// only when it is newer than the last one), the time stamps of the status frames are moved on and the frame is
// protected again with its own counter; a frame whose CRC was broken on purpose stays broken.
class SensorClock {
 public:
  SensorClock() {
    AddField(fsrl::kStatus1Group, "RSDS4SigSts1TimeStamp0");
    AddField(fsrl::kStatus1Group, "RSDS4SigSts1TimeStamp1");
    AddField(fsrl::kStatus1Group, "RSDS4SigSts1TimeStamp2");
    AddField(fsrl::kStatus1Group, "RSDS4SigSts1TimeStamp3");
    AddField(fsrl::kStatus2Group, "RSDS4SigSts2TimeStampObj");
  }

  void Shift(std::size_t group, std::uint64_t offset_ns, fsrl::CanFrame& frame) const {
    const SignalAdapter_SignalGroup& record = initialfrontsideradarlefthal_signal_groups[group];
    const std::size_t length = fsrl::GroupPayloadBytes(group, frame);
    if (length < fsrl::GroupPayloadLength(group)) {
      return;  // a frame cut short is refused for its length, whatever it carries
    }
    const std::size_t header = record.offset / 8U;
    const std::uint8_t counter = frame.data[header + 2U];
    std::array<std::uint8_t, sizeof(frame.data)> intact{};
    std::memcpy(intact.data(), frame.data, length);
    zol::e2e::ProtectProfile5(record.data_id, counter, intact.data(), length, header);
    const bool crc_broken = std::memcmp(intact.data(), frame.data, length) != 0;

    for (const Field& field : fields_) {
      if (field.group == group) {
        const std::uint64_t stamp = zol::e2e::DecodeSignal(record, *field.signal, frame.data, length).unsigned_int;
        zol::e2e::EncodeSignal(record, *field.signal, stamp + offset_ns, frame.data, length);
      }
    }
    zol::e2e::ProtectProfile5(record.data_id, counter, frame.data, length, header);
    if (crc_broken) {
      frame.data[header] = static_cast<std::uint8_t>(frame.data[header] ^ 0xFFU);
      frame.data[header + 1U] = static_cast<std::uint8_t>(frame.data[header + 1U] ^ 0xFFU);
    }
  }

  bool complete() const { return fields_.size() == 5U; }

 private:
  struct Field {
    std::size_t group;
    const SignalAdapter_Signal* signal;
  };

  void AddField(std::size_t group, const char* name) {
    const int slot = fsrl::FindSignalSlot(group, name);
    if (slot >= 0) {
      fields_.push_back(Field{group, fsrl::GroupSignal(group, static_cast<std::size_t>(slot))});
    }
  }

  std::vector<Field> fields_;
};

std::uint64_t ResidentBytes() {
  std::FILE* statm = std::fopen("/proc/self/statm", "r");
  if (statm == nullptr) {
    return 0;
  }
  unsigned long long size_pages = 0;
  unsigned long long resident_pages = 0;
  const int read = std::fscanf(statm, "%llu %llu", &size_pages, &resident_pages);
  std::fclose(statm);
  return read == 2 ? resident_pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) : 0;
}

double MiB(std::uint64_t bytes) { return static_cast<double>(bytes) / (1024.0 * 1024.0); }

// What the replay published, told as it happens: the summary keeps only counts.
struct Tally : fsrl::ReplayObserver {
  std::uint64_t detections = 0;
  std::uint64_t invalid_detections = 0;
  std::uint64_t detections_not_newer = 0;  // not newer than the scan published before them
  std::int64_t latest_mid_range = std::numeric_limits<std::int64_t>::min();
  std::uint64_t statuses = 0;
  std::uint64_t lost_comm_statuses = 0;

  void OnDetections(const fsrl::PublishedDetections& published) override {
    ++detections;
    if (!published.is_valid) {
      ++invalid_detections;
    }
    if (published.mid_range_time_stamp <= latest_mid_range) {
      ++detections_not_newer;
    }
    latest_mid_range = published.mid_range_time_stamp;
  }
  void OnStatus(const fsrl::PublishedStatus& published) override {
    ++(published.communication_fault ? lost_comm_statuses : statuses);
  }
};

struct Checkpoint {
  std::uint64_t scans = 0;
  std::uint64_t rss_bytes = 0;
  std::size_t outstanding_allocations = 0;
  std::size_t outstanding_bytes = 0;
};

TEST(HalSoak, ASimulatedRadarWithFaultsKeepsMemoryFlatAndEveryIntactScanPublished) {
  const std::uint64_t total_scans = g_cycles;
  const SensorClock sensor_clock;
  ASSERT_TRUE(sensor_clock.complete());
  std::printf("soak: %llu cycles, one simulated scan each, a fault every %u scans\n",
              static_cast<unsigned long long>(total_scans), kScansPerChunk);
  std::fflush(stdout);

  zol::afw::core::TransactionTesting::Reset();
  // Everything the platform and the HAL allocate goes through the default memory resource: counted here, what is
  // outstanding must not grow with the run, and nothing may be left once the HAL is gone.
  zol::pmr::CountingResource counting;
  std::size_t outstanding_after_teardown = 0;
  fsrl::ReplaySummary summary;
  Tally tally;
  Loss expected_loss;
  std::uint64_t silences = 0;
  std::uint64_t faults = 0;
  std::vector<Checkpoint> checkpoints;
  std::chrono::steady_clock::duration simulating{};
  std::chrono::steady_clock::duration replaying{};
  const auto wall_start = std::chrono::steady_clock::now();
  {
    const zol::pmr::ScopedDefaultResource scoped_default(&counting);
    {
      fsrl::ReplayOptions options;
      options.cycle_ns = kPeriodNs;
      options.observer = &tally;
      fsrl::ReplaySession session(options, nullptr, stderr, &summary);
      std::uint64_t fed = 0;

      std::uint64_t sent = 0;
      std::int64_t next_start_ns = fsrl::kDefaultStartTimeNs;
      std::uint64_t sensor_epoch_ns = 0;
      for (std::uint64_t chunk = 0; sent < total_scans; ++chunk) {
        // Every chunk is simulated whole, so that every chunk allocates alike; a run that ends within a chunk feeds
        // only its first scans.
        const std::uint64_t scans_to_feed = std::min<std::uint64_t>(kScansPerChunk, total_scans - sent);
        fsrl::SimulationOptions simulation_options;
        simulation_options.scans = kScansPerChunk;
        simulation_options.seed = chunk + 1U;
        simulation_options.period_ns = kPeriodNs;
        simulation_options.start_time_ns = next_start_ns;
        simulation_options.faults = FaultsOfChunk(chunk);
        std::string error;
        ASSERT_TRUE(fsrl::ValidateSimulationOptions(simulation_options, error)) << error;
        for (const fsrl::Fault& fault : simulation_options.faults) {
          if (fault.scan < scans_to_feed) {
            const Loss loss = LossOf(fault);
            expected_loss.detections += loss.detections;
            expected_loss.statuses += loss.statuses;
            silences += fault.kind == fsrl::FaultKind::kSilence ? 1U : 0U;
            ++faults;
          }
        }
        {
          const auto simulate_start = std::chrono::steady_clock::now();
          fsrl::Simulation simulation = fsrl::Simulate(simulation_options);
          const auto feed_start = std::chrono::steady_clock::now();
          simulating += feed_start - simulate_start;
          ASSERT_EQ(simulation.scans.size(), kScansPerChunk);
          const fsrl::SimulatedScan& first = simulation.scans.front();
          if (chunk == 0) {
            sensor_epoch_ns = first.time_stamps[2];
          }
          // The radar's clock keeps running from the first scan of the soak, silences included.
          const std::uint64_t offset_ns = sensor_epoch_ns +
                                          static_cast<std::uint64_t>(first.first_frame_ns - fsrl::kDefaultStartTimeNs) -
                                          first.time_stamps[2];
          const std::int64_t end_ns = scans_to_feed < kScansPerChunk ? simulation.scans[scans_to_feed].first_frame_ns
                                                                     : std::numeric_limits<std::int64_t>::max();
          for (fsrl::CanFrame& frame : simulation.frames) {
            if (frame.timestamp_ns >= end_ns) {
              break;
            }
            const int group = fsrl::FrameMap::Default().GroupOf(frame);
            if (group == static_cast<int>(fsrl::kStatus1Group) || group == static_cast<int>(fsrl::kStatus2Group)) {
              sensor_clock.Shift(static_cast<std::size_t>(group), offset_ns, frame);
            }
            ASSERT_TRUE(session.Feed(frame, ++fed));
          }
          next_start_ns = simulation.scans.back().first_frame_ns + kPeriodNs;
          replaying += std::chrono::steady_clock::now() - feed_start;
        }
        sent += scans_to_feed;

        if (sent * kCheckpoints >= (checkpoints.size() + 1U) * total_scans) {
          Checkpoint checkpoint;
          checkpoint.scans = sent;
          checkpoint.rss_bytes = ResidentBytes();
          checkpoint.outstanding_allocations = counting.outstanding_allocations();
          checkpoint.outstanding_bytes = counting.outstanding_bytes();
          const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_start).count();
          // The last scan sent is published by the cycle that follows it, which runs when more frames come.
          std::printf(
              "soak: %3llu%% %10llu scans %8.1f s  RSS %8.2f MiB  default resource: %zu allocations, %zu bytes "
              "outstanding  published %llu scans, %llu statuses (%llu while lost)\n",
              static_cast<unsigned long long>(sent * 100U / total_scans), static_cast<unsigned long long>(sent),
              seconds, MiB(checkpoint.rss_bytes), checkpoint.outstanding_allocations, checkpoint.outstanding_bytes,
              static_cast<unsigned long long>(tally.detections), static_cast<unsigned long long>(tally.statuses),
              static_cast<unsigned long long>(tally.lost_comm_statuses));
          std::fflush(stdout);
          // Once per checkpoint: the HAL is still publishing everything that it can.
          EXPECT_GE(tally.detections + expected_loss.detections + 1U, sent) << "after " << sent << " scans";
          EXPECT_LE(tally.detections + expected_loss.detections, sent) << "after " << sent << " scans";
          while (sent * kCheckpoints >= (checkpoints.size() + 1U) * total_scans) {
            checkpoints.push_back(checkpoint);
          }
        }
      }
      ASSERT_EQ(session.Finish(), fsrl::kReplayOk);
    }
    // Callbacks still waiting for a transaction, and the services' state, hold memory of the counting resource.
    zol::afw::core::TransactionTesting::Reset();
    zol::signalcomm::Service::Instance().Reset();
    outstanding_after_teardown = counting.outstanding_allocations();
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_start).count();
  std::printf(
      "soak: %llu scans, %llu cycles (%llu without communication), %llu faults in %.1f s: simulating %.1f s, "
      "replaying %.1f s; ProcessFsrlInput median %.1f us, max %.1f us\n",
      static_cast<unsigned long long>(total_scans), static_cast<unsigned long long>(summary.cycles),
      static_cast<unsigned long long>(summary.lost_comm_cycles), static_cast<unsigned long long>(faults), seconds,
      std::chrono::duration<double>(simulating).count(), std::chrono::duration<double>(replaying).count(),
      summary.p50_us(), summary.max_us());

  // Every scan is published once, in order, except those the faults cost; statuses likewise.
  EXPECT_EQ(tally.detections, total_scans - expected_loss.detections);
  EXPECT_EQ(tally.statuses, total_scans - expected_loss.statuses);
  EXPECT_EQ(tally.invalid_detections, 0U);
  EXPECT_EQ(tally.detections_not_newer, 0U);
  // Each silence is one period of lost communication, and every cycle in it tells the subscribers.
  EXPECT_EQ(summary.lost_comm_period_count, silences);
  EXPECT_EQ(tally.lost_comm_statuses, summary.lost_comm_cycles);
  EXPECT_EQ(summary.frames, summary.frames_handed_over());

  EXPECT_EQ(outstanding_after_teardown, 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);

  // Memory: flat from the end of the warm-up on, the first checkpoint at or after both a tenth of the run and
  // kWarmUpScans.
  ASSERT_EQ(checkpoints.size(), kCheckpoints);
  const auto warm = std::find_if(checkpoints.begin(), checkpoints.end(),
                                 [](const Checkpoint& checkpoint) { return checkpoint.scans >= kWarmUpScans; });
  if (warm == checkpoints.end() || warm->scans == checkpoints.back().scans) {
    std::printf("soak: too short to judge memory: the warm-up alone takes %u scans\n", kWarmUpScans);
    return;
  }
  for (auto later = warm; later != checkpoints.end(); ++later) {
    EXPECT_LT(later->rss_bytes, warm->rss_bytes + kRssGrowthLimitBytes)
        << "resident memory grew by " << MiB(later->rss_bytes - warm->rss_bytes) << " MiB from " << warm->scans
        << " to " << later->scans << " scans";
    EXPECT_EQ(later->outstanding_allocations, warm->outstanding_allocations) << "after " << later->scans << " scans";
    EXPECT_EQ(later->outstanding_bytes, warm->outstanding_bytes) << "after " << later->scans << " scans";
  }
  std::printf("soak: RSS %.2f MiB at %llu scans, %.2f MiB at %llu scans (%+.3f MiB)\n", MiB(warm->rss_bytes),
              static_cast<unsigned long long>(warm->scans), MiB(checkpoints.back().rss_bytes),
              static_cast<unsigned long long>(checkpoints.back().scans),
              MiB(checkpoints.back().rss_bytes) - MiB(warm->rss_bytes));
}

bool ParseCycles(const char* text, std::uint64_t& cycles) {
  if (text == nullptr || *text == '\0') {
    return false;
  }
  std::uint64_t value = 0;
  for (const char* c = text; *c != '\0'; ++c) {
    if (*c < '0' || *c > '9' || value > kMaxCycles) {
      return false;
    }
    value = value * 10U + static_cast<std::uint64_t>(*c - '0');
  }
  if (value == 0 || value > kMaxCycles) {
    return false;
  }
  cycles = value;
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const char* from_environment = std::getenv("FSRL_SOAK_CYCLES");
  const char* cycles_text = argc > 1 ? argv[1] : from_environment;
  if (cycles_text != nullptr && *cycles_text == '\0') {
    cycles_text = nullptr;
  }
  if (argc > 2 || (cycles_text != nullptr && !ParseCycles(cycles_text, g_cycles))) {
    std::fprintf(stderr,
                 "usage: %s [GoogleTest flags] [CYCLES]\n  CYCLES: 1..%llu (default: FSRL_SOAK_CYCLES, else %llu)\n",
                 argv[0], static_cast<unsigned long long>(kMaxCycles), static_cast<unsigned long long>(kDefaultCycles));
    return 2;
  }
  return RUN_ALL_TESTS();
}
