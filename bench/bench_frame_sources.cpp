// Frames per second of every frame source, against the candump `-l` reader the tools use today. All read the same
// simulated recording (CAN FD frames of up to 64 bytes), written here in each format to a file in the page cache.
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench_frames.h"
#include "fsrl/candump_reader.h"
#include "fsrl/frame_source.h"
#include "fsrl/simulator.h"

namespace {

// Uncompressed bytes per BLF container, the size common writers use (128 KiB).
constexpr std::size_t kContainerBytes = 131072;

const char kHex[] = "0123456789ABCDEF";

std::string CandumpLog(const std::vector<fsrl::CanFrame>& frames) {
  std::string text;
  char stamp[40];
  for (const fsrl::CanFrame& f : frames) {
    text += '(';
    text.append(stamp, fsrl::FormatSeconds(f.timestamp_ns, stamp));
    text += ") can0 ";
    std::snprintf(stamp, sizeof stamp, f.extended ? "%08X" : "%03X", f.id);
    text += stamp;
    text += f.fd ? "##0" : "#";
    for (std::size_t i = 0; i < f.length; ++i) {
      text += kHex[f.data[i] >> 4];
      text += kHex[f.data[i] & 15];
    }
    text += '\n';
  }
  return text;
}

std::string CandumpLong(const std::vector<fsrl::CanFrame>& frames) {
  std::string text;
  char buffer[64];
  for (const fsrl::CanFrame& f : frames) {
    text += '(';
    text.append(buffer, fsrl::FormatSeconds(f.timestamp_ns, buffer));
    std::snprintf(buffer, sizeof buffer, ")  can0  %03X  [%02u] ", f.id, static_cast<unsigned>(f.length));
    text += buffer;
    for (std::size_t i = 0; i < f.length; ++i) {
      text += ' ';
      text += kHex[f.data[i] >> 4];
      text += kHex[f.data[i] & 15];
    }
    text += '\n';
  }
  return text;
}

// The CAN FD line layout python-can writes.
std::string Asc(const std::vector<fsrl::CanFrame>& frames) {
  std::string text =
      "date Tue Nov 14 10:13:20.000 pm 2023\nbase hex  timestamps absolute\ninternal events logged\n"
      "Begin Triggerblock Tue Nov 14 10:13:20.000 pm 2023\n";
  char buffer[160];
  const std::int64_t start = frames.front().timestamp_ns;
  for (const fsrl::CanFrame& f : frames) {
    const std::int64_t offset_us = (f.timestamp_ns - start) / 1000;
    std::snprintf(buffer, sizeof buffer, "%lld.%06lld CANFD   1 Rx %8X  %32s 0 0 f %2u",
                  static_cast<long long>(offset_us / 1000000), static_cast<long long>(offset_us % 1000000), f.id, "",
                  static_cast<unsigned>(f.length));
    text += buffer;
    for (std::size_t i = 0; i < f.length; ++i) {
      text += ' ';
      text += kHex[f.data[i] >> 4];
      text += kHex[f.data[i] & 15];
    }
    text += "        0    0     1000        0        0        0        0        0\n";
  }
  return text + "End TriggerBlock\n";
}

void Put(std::string& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) {
    out += static_cast<char>((value >> (8 * i)) & 0xFFU);
  }
}

// CAN_FD_MESSAGE_64 objects in LOG_CONTAINERs, zlib-compressed or not.
std::string Blf(const std::vector<fsrl::CanFrame>& frames, bool compress) {
  std::string file = "LOGG";
  Put(file, 144, 4);
  file.resize(40, '\0');
  for (const int v : {2023, 11, 2, 14, 22, 13, 20, 0}) {
    Put(file, static_cast<std::uint64_t>(v), 2);
  }
  file.resize(144, '\0');
  std::string stream;
  const std::int64_t start = frames.front().timestamp_ns;
  auto flush = [&]() {
    std::string payload = stream;
    if (compress) {
      uLongf size = compressBound(static_cast<uLong>(stream.size()));
      payload.resize(size);
      compress2(reinterpret_cast<Bytef*>(&payload[0]), &size, reinterpret_cast<const Bytef*>(stream.data()),
                static_cast<uLong>(stream.size()), Z_DEFAULT_COMPRESSION);
      payload.resize(size);
    }
    const std::size_t size = 32 + payload.size();
    file += "LOBJ";
    Put(file, 16, 2);
    Put(file, 1, 2);
    Put(file, size, 4);
    Put(file, 10, 4);
    Put(file, compress ? 2 : 0, 2);
    Put(file, 0, 6);
    Put(file, stream.size(), 4);
    Put(file, 0, 4);
    file += payload;
    file.append(size % 4, '\0');
    stream.clear();
  };
  for (const fsrl::CanFrame& f : frames) {
    const std::size_t size = 32 + 40 + f.length;
    stream += "LOBJ";
    Put(stream, 32, 2);
    Put(stream, 1, 2);
    Put(stream, size, 4);
    Put(stream, 101, 4);
    Put(stream, 2, 4);  // time in ns
    Put(stream, 0, 4);
    Put(stream, static_cast<std::uint64_t>(f.timestamp_ns - start), 8);
    Put(stream, 1, 1);
    Put(stream, 15, 1);
    Put(stream, f.length, 1);
    Put(stream, 0, 1);
    Put(stream, f.id, 4);
    Put(stream, 0, 4);
    Put(stream, 0x1000, 4);
    Put(stream, 0, 24);
    stream.append(reinterpret_cast<const char*>(f.data), f.length);
    stream.append(size % 4, '\0');
    if (stream.size() >= kContainerBytes) {
      flush();
    }
  }
  if (!stream.empty()) {
    flush();
  }
  return file;
}

// The recording in one format, in a temporary file that lives as long as the process.
class Recording {
 public:
  explicit Recording(const std::string& content) : size_(content.size()) {
    char path[] = "/tmp/fsrl_bench_source_XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd < 0) {
      return;
    }
    path_ = path;
    ok_ = ::write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    ::close(fd);
  }
  ~Recording() {
    if (!path_.empty()) {
      ::unlink(path_.c_str());
    }
  }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;
  bool ok() const { return ok_; }
  const std::string& path() const { return path_; }
  std::size_t size() const { return size_; }

 private:
  std::string path_;
  std::size_t size_ = 0;
  bool ok_ = false;
};

using fsrl_bench::SimulatedFrames;

// The baseline: CandumpReader over the `-l` log, as `fsrl decode` reads it today.
void BM_CandumpReader_LogBaseline(benchmark::State& state) {
  static const Recording recording(CandumpLog(SimulatedFrames()));
  if (!recording.ok()) {
    state.SkipWithError("cannot write the recording");
    return;
  }
  std::int64_t frames = 0;
  for (auto _ : state) {
    std::FILE* file = std::fopen(recording.path().c_str(), "rb");
    fsrl::CandumpReader reader(::fileno(file));
    fsrl::CanFrame frame;
    while (reader.Next(frame) == fsrl::CandumpReader::Result::kFrame) {
      benchmark::DoNotOptimize(frame);
      ++frames;
    }
    std::fclose(file);
  }
  state.SetItemsProcessed(frames);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * recording.size()));
}
BENCHMARK(BM_CandumpReader_LogBaseline)->Unit(benchmark::kMillisecond);

void RunSource(benchmark::State& state, const Recording& recording, fsrl::LogFormat format) {
  if (!recording.ok()) {
    state.SkipWithError("cannot write the recording");
    return;
  }
  std::int64_t frames = 0;
  std::int64_t problems = 0;
  for (auto _ : state) {
    std::unique_ptr<fsrl::FrameSource> source = fsrl::OpenFrameSource(recording.path(), format);
    if (source == nullptr) {
      state.SkipWithError("cannot open the recording");
      return;
    }
    fsrl::CanFrame frame;
    for (;;) {
      const fsrl::ReadStatus status = source->Next(frame);
      if (status == fsrl::ReadStatus::kEnd) {
        break;
      }
      if (status != fsrl::ReadStatus::kFrame) {
        ++problems;
        if (status == fsrl::ReadStatus::kReadError) {
          break;
        }
        continue;
      }
      benchmark::DoNotOptimize(frame);
      ++frames;
    }
  }
  if (problems != 0 || frames != static_cast<std::int64_t>(state.iterations() * SimulatedFrames().size())) {
    state.SkipWithError("the recording did not read back whole");
  }
  // Frames per second is the measure; bytes per second shows how much of a difference is the format's size.
  state.SetItemsProcessed(frames);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * recording.size()));
}

void BM_FrameSource_CandumpLog(benchmark::State& state) {
  static const Recording recording(CandumpLog(SimulatedFrames()));
  RunSource(state, recording, fsrl::LogFormat::kAuto);
}
BENCHMARK(BM_FrameSource_CandumpLog)->Unit(benchmark::kMillisecond);

void BM_FrameSource_CandumpLong(benchmark::State& state) {
  static const Recording recording(CandumpLong(SimulatedFrames()));
  RunSource(state, recording, fsrl::LogFormat::kAuto);
}
BENCHMARK(BM_FrameSource_CandumpLong)->Unit(benchmark::kMillisecond);

void BM_FrameSource_Asc(benchmark::State& state) {
  static const Recording recording(Asc(SimulatedFrames()));
  RunSource(state, recording, fsrl::LogFormat::kAuto);
}
BENCHMARK(BM_FrameSource_Asc)->Unit(benchmark::kMillisecond);

void BM_FrameSource_BlfZlib(benchmark::State& state) {
  static const Recording recording(Blf(SimulatedFrames(), true));
  RunSource(state, recording, fsrl::LogFormat::kAuto);
}
BENCHMARK(BM_FrameSource_BlfZlib)->Unit(benchmark::kMillisecond);

void BM_FrameSource_BlfUncompressed(benchmark::State& state) {
  static const Recording recording(Blf(SimulatedFrames(), false));
  RunSource(state, recording, fsrl::LogFormat::kAuto);
}
BENCHMARK(BM_FrameSource_BlfUncompressed)->Unit(benchmark::kMillisecond);

}  // namespace
