// The `fsrl` tool: parsing candump lines, and the throughput of `fsrl decode` and `fsrl replay` over a long log of
// the radar's frames, run in-process exactly as the executable runs them.
#include <benchmark/benchmark.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_frames.h"
#include "fsrl/candump_reader.h"
#include "fsrl/simulator.h"
#include "fsrl_cli.h"

namespace {

// Scans in the logs of the throughput benchmarks: 52 frames each, 50 ms apart (100 s of recording).
constexpr std::uint32_t kLogScans = 2000U;

// The log the throughput benchmarks run over: the file named by the environment variable FSRL_BENCH_LOG if it is
// set (so that two builds can be compared on the very same log), else the simulated radar's log of kLogScans scans
// (the `fsrl simulate` scene, seed 1) in a temporary file, removed at the end. Its physical values vary from scan
// to scan as a real recording's do.
class BenchLog {
 public:
  BenchLog() {
    const char* given = std::getenv("FSRL_BENCH_LOG");
    if (given != nullptr && *given != '\0') {
      path_ = given;
      std::FILE* file = std::fopen(given, "r");
      ok_ = file != nullptr;
      if (file != nullptr) {
        std::fclose(file);
      }
      owned_ = false;
      return;
    }
    char path[] = "/tmp/fsrl_bench_XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd < 0) {
      return;
    }
    path_ = path;
    std::FILE* file = ::fdopen(fd, "w");
    if (file == nullptr) {
      ::close(fd);
      return;
    }
    fsrl::SimulationOptions options;
    options.scans = kLogScans;
    const fsrl::Simulation simulation = fsrl::Simulate(options);
    const bool written = fsrl::WriteCandumpLog(simulation.frames, file);
    ok_ = (std::fclose(file) == 0) && written && simulation.frames.size() == kLogScans * fsrl::kGroupCount;
  }
  ~BenchLog() {
    if (owned_ && !path_.empty()) {
      ::unlink(path_.c_str());
    }
  }
  BenchLog(const BenchLog&) = delete;
  BenchLog& operator=(const BenchLog&) = delete;

  bool ok() const { return ok_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool ok_ = false;
  bool owned_ = true;
};

// One scan's 52 log lines, parsed over and over.
void BM_CandumpParse(benchmark::State& state) {
  const std::string log = fsrl_bench::MakeCandumpLog(1U);
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < log.size();) {
    const std::size_t end = log.find('\n', begin);
    lines.push_back(log.substr(begin, end - begin));
    begin = end + 1;
  }
  fsrl::CanFrame frame;
  std::size_t i = 0;
  std::int64_t bytes = 0;
  std::int64_t malformed = 0;
  for (auto _ : state) {
    const std::string& line = lines[i];
    i = i + 1 == lines.size() ? 0 : i + 1;
    const fsrl::LineKind kind = fsrl::ParseCandumpLine(line.data(), line.data() + line.size(), frame, nullptr);
    benchmark::DoNotOptimize(kind);
    benchmark::DoNotOptimize(frame);
    malformed += kind != fsrl::LineKind::kFrame ? 1 : 0;
    bytes += static_cast<std::int64_t>(line.size()) + 1;
  }
  if (malformed != 0) {
    state.SkipWithError("a line did not parse");
  }
  state.SetItemsProcessed(state.iterations());
  state.SetBytesProcessed(bytes);
}
BENCHMARK(BM_CandumpParse);

// /dev/null for a command's output; null, with the benchmark skipped, when it or the log is missing.
std::FILE* OpenSink(benchmark::State& state, const BenchLog& log) {
  std::FILE* sink = std::fopen("/dev/null", "w");
  if (log.ok() && sink != nullptr) {
    return sink;
  }
  state.SkipWithError("cannot write the log or open /dev/null");
  if (sink != nullptr) {
    std::fclose(sink);
  }
  return nullptr;
}

// `fsrl decode LOG` over the simulated log with standard output and error going to /dev/null: every frame
// published, read through the adapter's typed read and written as one line of JSON. Items are decoded frames, per
// second of the process's CPU time: the command is single-threaded, so on an idle machine that is its wall-clock
// rate, and on a loaded one it is not distorted by the time the process waits for a processor.
void BM_FsrlDecode_Throughput(benchmark::State& state) {
  const BenchLog log;
  std::FILE* sink = OpenSink(state, log);
  if (sink == nullptr) {
    return;
  }
  std::int64_t frames = 0;
  bool failed = false;
  for (auto _ : state) {
    fsrl::DecodeStats stats;
    failed |= fsrl::RunDecode({log.path()}, sink, sink, &stats) != fsrl::kExitOk;
    failed |= stats.decoded == 0U || stats.malformed != 0U;
    frames += static_cast<std::int64_t>(stats.decoded);
  }
  std::fclose(sink);
  if (failed) {
    state.SkipWithError("fsrl decode failed or decoded fewer frames than the log holds");
  }
  state.SetItemsProcessed(frames);
}
BENCHMARK(BM_FsrlDecode_Throughput)->Unit(benchmark::kMillisecond);

#if defined(FSRL_BENCH_WITH_REPLAY)
// `fsrl replay LOG` over the simulated log at the default 50 ms cycle with its output going to /dev/null: the log read,
// every frame handed to the signal service in virtual time, the HAL's input cycle run and every notification written as
// JSON. Items are the log's scans, per second of CPU time as for the decode benchmark.
void BM_FsrlReplay_Throughput(benchmark::State& state) {
  const BenchLog log;
  std::FILE* sink = OpenSink(state, log);
  if (sink == nullptr) {
    return;
  }
  // The scans of the log: one status 1 frame each (standard id 0x432 on the default frame map).
  std::int64_t scans = 0;
  if (std::FILE* file = std::fopen(log.path().c_str(), "r")) {
    char line[512];
    while (std::fgets(line, sizeof line, file) != nullptr) {
      scans += std::strstr(line, " 432#") != nullptr ? 1 : 0;
    }
    std::fclose(file);
  }
  bool failed = scans == 0;
  for (auto _ : state) {
    failed |= fsrl::RunReplay({log.path()}, sink, sink) != fsrl::kExitOk;
  }
  std::fclose(sink);
  if (failed) {
    state.SkipWithError("fsrl replay failed or the log holds no scan");
  }
  state.SetItemsProcessed(state.iterations() * scans);
}
BENCHMARK(BM_FsrlReplay_Throughput)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
