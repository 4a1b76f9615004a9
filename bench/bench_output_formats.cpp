// Write speed and size of a replay's output in each format: the publications of a 2,000-scan replay (simulated,
// replayed once in the set-up and read back from its JSON lines, exactly) written again and again as JSON Lines
// (the replay's own writer), CSV (two tables), MCAP with zstd chunks and MCAP with uncompressed chunks. Each
// iteration writes the whole run to a temporary file; items are scans, so items_per_second is scans/s, and the
// counter bytes is the size of the file one run gives.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "../tools/fsrl/src/replay_json.h"
#include "fsrl/csv_writer.h"
#include "fsrl/replay.h"
#include "fsrl/replay_jsonl.h"
#include "fsrl/replay_mcap.h"
#include "fsrl/simulator.h"

namespace {

constexpr int kScans = 2000;

struct Run {
  std::vector<fsrl::ReplayLine> lines;
  std::size_t scans = 0;
};

// Simulated frames -> replay -> JSON lines -> the published values, once per process.
const Run& TheRun() {
  static const Run run = [] {
    Run result;
    fsrl::SimulationOptions simulation;
    simulation.scans = kScans;
    fsrl::ReplayOptions options;
    options.cycle_ns = simulation.period_ns;
    std::FILE* jsonl = std::tmpfile();
    fsrl::ReplaySummary summary;
    {
      fsrl::ReplaySession session(options, jsonl, stderr, &summary);
      fsrl::Simulator simulator(simulation);
      fsrl::SimulatedScan scan;
      std::vector<fsrl::CanFrame> frames;
      std::uint64_t frame_number = 0;
      while (simulator.Next(scan, frames)) {
        for (const fsrl::CanFrame& frame : frames) {
          session.Feed(frame, ++frame_number);
        }
      }
      if (session.Finish() != fsrl::kReplayOk) {
        std::abort();
      }
    }
    std::string error;
    std::fflush(jsonl);
    std::rewind(jsonl);
    char buffer[1 << 16];
    std::string line;
    while (std::fgets(buffer, sizeof buffer, jsonl) != nullptr) {
      line += buffer;
      if (line.back() != '\n') {
        continue;
      }
      line.pop_back();
      fsrl::ReplayLine parsed;
      if (!fsrl::ParseReplayLine(line, parsed, error)) {
        std::fprintf(stderr, "replay output: %s\n", error.c_str());
        std::abort();
      }
      result.scans += parsed.kind == fsrl::ReplayLine::Kind::kDetections ? 1 : 0;
      result.lines.push_back(std::move(parsed));
      line.clear();
    }
    std::fclose(jsonl);
    return result;
  }();
  return run;
}

void Feed(const Run& run, fsrl::ReplaySink& sink) {
  for (const fsrl::ReplayLine& line : run.lines) {
    if (line.kind == fsrl::ReplayLine::Kind::kDetections) {
      sink.OnDetections(line.t_ns, line.detections);
    } else if (line.kind == fsrl::ReplayLine::Kind::kStatus) {
      sink.OnStatus(line.t_ns, line.status);
    }
  }
}

long FileSize(std::FILE* file) {
  std::fflush(file);
  std::fseek(file, 0, SEEK_END);
  return std::ftell(file);
}

void Finish(benchmark::State& state, const Run& run, long bytes) {
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(run.scans));
  state.counters["bytes"] = static_cast<double>(bytes);
  state.counters["bytes_per_scan"] = static_cast<double>(bytes) / static_cast<double>(run.scans);
}

void BM_WriteReplay_Jsonl(benchmark::State& state) {
  const Run& run = TheRun();
  long bytes = 0;
  for (auto _ : state) {
    std::FILE* file = std::tmpfile();
    {
      fsrl::OutputBuffer out(file);
      fsrl::JsonWriter json(out);
      for (const fsrl::ReplayLine& line : run.lines) {
        if (line.kind == fsrl::ReplayLine::Kind::kDetections) {
          fsrl::internal::WriteDetectionsLine(json, line.t_ns, line.detections);
        } else if (line.kind == fsrl::ReplayLine::Kind::kStatus) {
          fsrl::internal::WriteStatusLine(json, line.t_ns, line.status);
        }
      }
      out.Flush();
    }
    bytes = FileSize(file);
    std::fclose(file);
  }
  Finish(state, run, bytes);
}
BENCHMARK(BM_WriteReplay_Jsonl)->Unit(benchmark::kMillisecond);

void BM_WriteReplay_Csv(benchmark::State& state) {
  const Run& run = TheRun();
  long bytes = 0;
  for (auto _ : state) {
    std::FILE* detections = std::tmpfile();
    std::FILE* statuses = std::tmpfile();
    {
      fsrl::ReplayCsvWriter csv(detections, statuses);
      Feed(run, csv);
      std::string error;
      csv.Finish(error);
    }
    bytes = FileSize(detections) + FileSize(statuses);
    std::fclose(detections);
    std::fclose(statuses);
  }
  Finish(state, run, bytes);
}
BENCHMARK(BM_WriteReplay_Csv)->Unit(benchmark::kMillisecond);

void WriteMcap(benchmark::State& state, fsrl::McapCompression compression) {
  const Run& run = TheRun();
  long bytes = 0;
  for (auto _ : state) {
    std::FILE* file = std::tmpfile();
    {
      fsrl::McapOptions options;
      options.compression = compression;
      fsrl::ReplayMcapSink mcap(file, options);
      Feed(run, mcap);
      std::string error;
      mcap.Finish(error);
    }
    bytes = FileSize(file);
    std::fclose(file);
  }
  Finish(state, run, bytes);
}

void BM_WriteReplay_McapZstd(benchmark::State& state) { WriteMcap(state, fsrl::McapCompression::kZstd); }
BENCHMARK(BM_WriteReplay_McapZstd)->Unit(benchmark::kMillisecond);

void BM_WriteReplay_McapUncompressed(benchmark::State& state) { WriteMcap(state, fsrl::McapCompression::kNone); }
BENCHMARK(BM_WriteReplay_McapUncompressed)->Unit(benchmark::kMillisecond);

}  // namespace
