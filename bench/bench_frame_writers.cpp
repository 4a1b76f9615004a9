// Frames per second of every frame writer behind OpenFrameWriter: the same simulated recording (CAN FD frames of up
// to 64 bytes, as `fsrl simulate` makes them) written in each format to a file in the page cache.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_frames.h"
#include "fsrl/frame_writer.h"
#include "fsrl/simulator.h"

namespace {

using fsrl_bench::SimulatedFrames;

// A file name in the temporary directory with @p extension, removed when the process ends.
class OutputPath {
 public:
  explicit OutputPath(const char* extension) {
    char path[] = "/tmp/fsrl_bench_writer_XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd >= 0) {
      ::close(fd);
      ::unlink(path);
      path_ = std::string(path) + "." + extension;
    }
  }
  ~OutputPath() {
    if (!path_.empty()) {
      ::unlink(path_.c_str());
    }
  }
  OutputPath(const OutputPath&) = delete;
  OutputPath& operator=(const OutputPath&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Opens the output by its name as `fsrl simulate --out` does, writes every frame and finishes the file.
void WriteAll(benchmark::State& state, const char* extension) {
  static const std::vector<fsrl::CanFrame>& frames = SimulatedFrames();
  const OutputPath output(extension);
  if (output.path().empty()) {
    state.SkipWithError("no temporary file name");
    return;
  }
  long file_bytes = 0;
  for (auto _ : state) {
    std::string error;
    std::unique_ptr<fsrl::FrameWriter> writer = fsrl::OpenFrameWriter(output.path(), &error);
    if (writer == nullptr) {
      state.SkipWithError(error.c_str());
      return;
    }
    for (const fsrl::CanFrame& frame : frames) {
      writer->Write(frame);
    }
    if (!writer->Finish()) {
      state.SkipWithError(writer->error().c_str());
      return;
    }
    std::FILE* file = std::fopen(output.path().c_str(), "rb");
    if (file != nullptr) {
      std::fseek(file, 0, SEEK_END);
      file_bytes = std::ftell(file);
      std::fclose(file);
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frames.size()));
  state.SetBytesProcessed(state.iterations() * file_bytes);
  state.counters["file_bytes_per_frame"] = static_cast<double>(file_bytes) / static_cast<double>(frames.size());
}

void BM_FrameWriter_CandumpLog(benchmark::State& state) { WriteAll(state, "log"); }
BENCHMARK(BM_FrameWriter_CandumpLog)->Unit(benchmark::kMillisecond);

void BM_FrameWriter_Asc(benchmark::State& state) { WriteAll(state, "asc"); }
BENCHMARK(BM_FrameWriter_Asc)->Unit(benchmark::kMillisecond);

void BM_FrameWriter_Blf(benchmark::State& state) { WriteAll(state, "blf"); }
BENCHMARK(BM_FrameWriter_Blf)->Unit(benchmark::kMillisecond);

}  // namespace
