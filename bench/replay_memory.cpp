// Peak resident memory of a simulate + replay run against its length: a streamed simulation fed frame by frame
// into a replay session, the JSON lines written to /dev/null, as `fsrl simulate | fsrl replay -` runs them.
//
// Each run is a child process of its own, so that its peak (getrusage's ru_maxrss, as wait4 reports it for the
// child) is not hidden by an earlier, larger run. The memory must not grow with the recording: the program fails
// when the longest run's peak is more than 10 % above the shortest's.
//
//   replay_memory                 2,000 and 32,000 scans
//   replay_memory N [N...]        the given numbers of scans (the first is the reference)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fsrl/replay.h"
#include "fsrl/simulator.h"

namespace {

// Allowed growth of the peak from the shortest run to the longest: memory flat in the recording's length, with
// room for the allocator's and the kernel's page accounting noise.
constexpr double kAllowedGrowth = 0.10;

struct RunResult {
  long max_rss_kib = 0;  // peak resident set, KiB (Linux reports ru_maxrss in KiB)
  double seconds = 0.0;
  bool ok = false;
};

// What the child does: simulate @p scans with the demo's default options and replay them as they are made.
int SimulateAndReplay(std::uint32_t scans) {
  fsrl::SimulationOptions simulation;
  simulation.scans = scans;
  std::FILE* sink = std::fopen("/dev/null", "wb");
  if (sink == nullptr) {
    return 1;
  }
  fsrl::ReplayOptions options;
  options.cycle_ns = simulation.period_ns;
  fsrl::ReplaySummary summary;
  int result = fsrl::kReplayFailed;
  {
    fsrl::ReplaySession session(options, sink, stderr, &summary);
    fsrl::Simulator simulator(simulation);
    fsrl::SimulatedScan scan;
    std::vector<fsrl::CanFrame> frames;
    std::uint64_t line = 0;
    bool going = true;
    while (going && simulator.Next(scan, frames)) {
      for (const fsrl::CanFrame& frame : frames) {
        going = session.Feed(frame, ++line) && going;
      }
    }
    result = session.Finish();
  }
  std::fclose(sink);
  if (result != fsrl::kReplayOk || summary.detection_scans != scans) {
    std::fprintf(stderr, "replay_memory: %u scans gave %llu detection scans\n", scans,
                 static_cast<unsigned long long>(summary.detection_scans));
    return 1;
  }
  return 0;
}

RunResult RunInChild(std::uint32_t scans) {
  RunResult run;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = ::fork();
  if (child < 0) {
    std::perror("replay_memory: fork");
    return run;
  }
  if (child == 0) {
    std::_Exit(SimulateAndReplay(scans));
  }
  int status = 0;
  rusage usage{};
  if (::wait4(child, &status, 0, &usage) != child) {
    std::perror("replay_memory: wait4");
    return run;
  }
  run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  run.max_rss_kib = usage.ru_maxrss;
  run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return run;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::uint32_t> lengths;
  for (int i = 1; i < argc; ++i) {
    const unsigned long value = std::strtoul(argv[i], nullptr, 10);
    if (value == 0 || value > 10000000UL) {
      std::fprintf(stderr, "usage: replay_memory [SCANS...] (each 1..10000000)\n");
      return 2;
    }
    lengths.push_back(static_cast<std::uint32_t>(value));
  }
  if (lengths.empty()) {
    lengths = {2000, 32000};
  }
  std::printf("| Scans | Frames | Peak RSS (KiB) | Wall time (s) |\n|---:|---:|---:|---:|\n");
  std::vector<RunResult> runs;
  for (const std::uint32_t scans : lengths) {
    const RunResult run = RunInChild(scans);
    if (!run.ok) {
      std::fprintf(stderr, "replay_memory: the run of %u scans failed\n", scans);
      return 1;
    }
    std::printf("| %u | %llu | %ld | %.1f |\n", scans, static_cast<unsigned long long>(scans) * fsrl::kGroupCount,
                run.max_rss_kib, run.seconds);
    std::fflush(stdout);
    runs.push_back(run);
  }
  const double reference = static_cast<double>(runs.front().max_rss_kib);
  bool flat = true;
  for (const RunResult& run : runs) {
    const double growth = static_cast<double>(run.max_rss_kib) / reference - 1.0;
    flat = flat && growth <= kAllowedGrowth;
  }
  std::printf("peak memory %s within %.0f %% of the first run's\n", flat ? "stays" : "does NOT stay",
              kAllowedGrowth * 100.0);
  return flat ? 0 : 1;
}
