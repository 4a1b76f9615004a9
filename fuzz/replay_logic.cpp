// Fuzz logic of a whole replay: the real HAL run in virtual time over a bounded list of arbitrary frames.
//
// Byte 0 chooses the form of the rest of the input and the replay's timing:
//   bit 0      0: candump text, read by the log reader (malformed lines are skipped, as `fsrl replay` does)
//              1: binary frames (below), which reach the HAL far more often than mutated text does
//   bits 1..2  cycle period: 50, 10, 20 or 100 ms
//   bit 3      alive timeout: 200 ms, or 60 ms
// Binary form: 8 bytes little-endian time stamp of the first frame (top bit ignored), then per frame:
//   FLAGS      bit 0 extended, bit 1 CAN FD, bit 2 remote, bit 3 error frame, bit 4 radar id, bit 5 protected,
//              bits 6..7 time unit of the step (1 us, 1 ms, 10 ms, 100 ms)
//   ID         radar id: 1 byte, id 0x400 + byte % 64 (the 52 groups and a few ids of no group);
//              otherwise 4 bytes little-endian, cut to 11 or 29 bits
//   STEP       2 bytes little-endian, signed: time since the previous frame in the time unit (never below 0)
//   LENGTH     1 byte: data length (mod 65, at most 8 for classic frames); ignored when protected
//   COUNTER    protected frames only: the E2E counter
//   DATA       LENGTH bytes (missing bytes read as zero); a protected frame carries its group's whole payload,
//              protected with COUNTER as the radar does
// Frames are capped at kMaxFrames, and time stamps at kMaxCycles cycles after the first frame, so that every input
// runs in bounded time; the first frame's time stamp itself is free, up to the largest a log can hold.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"
#include "fsrl/replay.h"
#include "fuzz_support.h"
#include "fuzz_targets.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/e2e/crc.h"

namespace fsrl_fuzz {
namespace {

using fsrl::CanFrame;

constexpr std::size_t kMaxFrames = 128;
constexpr std::int64_t kMaxCycles = 32;
constexpr std::int64_t kMs = 1'000'000;

std::vector<CanFrame> FramesFromText(const std::uint8_t* data, std::size_t size) {
  std::vector<CanFrame> frames;
  InputFile file(data, size);
  fsrl::CandumpReader reader(file.fd());
  CanFrame frame;
  for (;;) {
    const fsrl::CandumpReader::Result result = reader.Next(frame);
    if (result == fsrl::CandumpReader::Result::kEnd || frames.size() == kMaxFrames) {
      break;
    }
    FuzzCheck(result != fsrl::CandumpReader::Result::kReadError, "the reader failed to read a memory file");
    if (result == fsrl::CandumpReader::Result::kFrame) {
      frame.iface = std::string_view();  // points into the reader's buffer; the replay does not look at it
      frames.push_back(frame);
    }
  }
  return frames;
}

std::vector<CanFrame> FramesFromBinary(const std::uint8_t* data, std::size_t size) {
  static const std::int64_t kUnits[] = {1'000, kMs, 10 * kMs, 100 * kMs};
  std::vector<CanFrame> frames;
  Cursor in(data, size);
  std::int64_t t = static_cast<std::int64_t>(in.Little(8) & static_cast<std::uint64_t>(INT64_MAX));
  bool first = true;
  while (!in.done() && frames.size() < kMaxFrames) {
    CanFrame frame;
    const std::uint8_t flags = in.Byte();
    int group = -1;
    if ((flags & 0x10U) != 0U) {
      const unsigned index = in.Byte() % 64U;
      frame.id = fsrl::FrameMap::kDefaultBaseId + index;
      group = index < fsrl::kGroupCount ? static_cast<int>(index) : -1;
    } else {
      frame.extended = (flags & 0x01U) != 0U;
      frame.id = static_cast<std::uint32_t>(in.Little(4)) & (frame.extended ? 0x1FFFFFFFU : 0x7FFU);
      frame.error = frame.extended && (flags & 0x08U) != 0U;
    }
    const auto step = static_cast<std::int16_t>(in.Little(2));
    if (!first) {
      const std::int64_t delta = step * kUnits[flags >> 6U];
      t = delta < 0 ? (t + delta < 0 ? 0 : t + delta) : (t > INT64_MAX - delta ? INT64_MAX : t + delta);
    }
    first = false;
    frame.timestamp_ns = t;
    frame.remote = (flags & 0x04U) != 0U && !frame.error;
    frame.fd = (flags & 0x02U) != 0U && !frame.remote;
    std::size_t length = in.Byte() % 65U;
    const bool protect = (flags & 0x20U) != 0U && group >= 0 && !frame.remote;
    std::uint8_t counter = 0;
    if (protect) {
      counter = in.Byte();
      length = fsrl::GroupPayloadLength(static_cast<std::size_t>(group));
      frame.fd = true;
    }
    if (frame.remote) {
      length = 0;
    } else if (!frame.fd && length > 8) {
      length = 8;
    }
    // Every length above fits the 64 data bytes of a frame (CAN FD's largest); bounded here once more so that the
    // copy visibly stays inside the frame whatever a group's payload length is.
    length = std::min(length, sizeof(frame.data));
    frame.length = static_cast<std::uint8_t>(length);
    in.Bytes(frame.data, length);
    if (protect) {
      const SignalAdapter_SignalGroup& record = initialfrontsideradarlefthal_signal_groups[group];
      zol::e2e::ProtectProfile5(record.data_id, counter, frame.data, length, record.offset / 8U);
    }
    frames.push_back(frame);
  }
  return frames;
}

// Keeps every time stamp within kMaxCycles cycles after the first frame's: the replay runs one cycle per period
// up to the latest time stamp, so one far-away stamp would otherwise cost billions of cycles.
void BoundTimeSpan(std::vector<CanFrame>& frames, std::int64_t cycle_ns) {
  if (frames.empty()) {
    return;
  }
  const std::int64_t t0 = frames.front().timestamp_ns;
  const std::int64_t span = kMaxCycles * cycle_ns;
  const std::int64_t limit = t0 > INT64_MAX - span ? INT64_MAX : t0 + span;
  for (CanFrame& frame : frames) {
    if (frame.timestamp_ns > limit) {
      frame.timestamp_ns = limit;
    }
  }
}

std::FILE* DevNull() {
  static std::FILE* const file = std::fopen("/dev/null", "w");
  return file;
}

// Every notification, as the replay's observer hears of them (the summary keeps only counts).
struct Recorder : fsrl::ReplayObserver {
  std::vector<fsrl::PublishedDetections> detections;
  std::vector<fsrl::PublishedStatus> statuses;
  void OnDetections(const fsrl::PublishedDetections& published) override { detections.push_back(published); }
  void OnStatus(const fsrl::PublishedStatus& published) override { statuses.push_back(published); }
};

void CheckSummary(const std::vector<CanFrame>& frames, const fsrl::ReplayOptions& options,
                  const fsrl::ReplaySummary& summary, const Recorder& published) {
  FuzzCheck(summary.frames == frames.size(), "the summary counts another number of frames than were given");
  FuzzCheck(summary.frames_handed_over() + summary.unmapped_frames + summary.remote_frames + summary.error_frames ==
                summary.frames,
            "frames handed over, unmapped, remote and error frames do not add up to the frames given");
  FuzzCheck(summary.cycle_ns == options.cycle_ns, "the summary gives another cycle period than was asked for");
  FuzzCheck(summary.cycle_time.count() == summary.cycles, "not every cycle has its time");
  FuzzCheck(summary.failed_cycles <= summary.cycles, "more failed cycles than cycles");
  FuzzCheck(summary.lost_comm_cycles <= summary.cycles, "more cycles in lost communication than cycles");
  FuzzCheck(summary.detection_scans == published.detections.size(), "detection notifications miscounted");
  FuzzCheck(summary.status_publications == published.statuses.size(), "status notifications miscounted");
  FuzzCheck(summary.lost_comm_periods.size() <= fsrl::ReplaySummary::kLostCommPeriodsKept &&
                summary.lost_comm_periods.size() <= summary.lost_comm_period_count,
            "more lost-communication periods kept than allowed or than counted");
  if (frames.empty()) {
    FuzzCheck(summary.cycles == 0, "cycles run without frames");
    return;
  }
  FuzzCheck(summary.t0_ns == frames.front().timestamp_ns, "t0 is not the first frame's time stamp");
  FuzzCheck(summary.cycles >= 1, "no cycle runs over a frame");
  const std::uint64_t jumps = summary.clock_jumps_forward + summary.clock_jumps_backward;
  if (jumps != 0) {
    // Time stamps that step back start the time line again, so the span no longer bounds the cycles; the gaps
    // between frames do: none is replayed longer than the clock jump threshold.
    const auto per_gap = static_cast<std::uint64_t>(summary.clock_jump_threshold_ns / options.cycle_ns) + 2;
    FuzzCheck(summary.cycles <= (frames.size() + 1) * per_gap, "more cycles than the frames' gaps need");
    return;  // the notifications' times follow the log's time base, which jumped
  }
  FuzzCheck(summary.cycles <= static_cast<std::uint64_t>(kMaxCycles) + 2, "more cycles than the time span needs");
  std::int64_t previous = summary.t0_ns;
  for (const fsrl::PublishedDetections& detections : published.detections) {
    FuzzCheck(detections.t_ns > summary.t0_ns && (detections.t_ns - summary.t0_ns) % options.cycle_ns == 0,
              "a detection notification is not stamped with a cycle time");
    FuzzCheck(detections.t_ns >= previous, "detection notifications go back in time");
    previous = detections.t_ns;
  }
  previous = summary.t0_ns;
  for (const fsrl::PublishedStatus& status : published.statuses) {
    FuzzCheck(status.t_ns > summary.t0_ns && (status.t_ns - summary.t0_ns) % options.cycle_ns == 0,
              "a status notification is not stamped with a cycle time");
    FuzzCheck(status.t_ns >= previous, "status notifications go back in time");
    previous = status.t_ns;
  }
  for (std::size_t i = 0; i < summary.lost_comm_periods.size(); ++i) {
    const fsrl::LostCommPeriod& period = summary.lost_comm_periods[i];
    const bool last = i + 1 == summary.lost_comm_periods.size();
    FuzzCheck(period.until_ns > period.from_ns || (last && period.until_ns == -1),
              "a period of lost communication ends before it begins, or is left open before the last");
    if (i != 0) {
      FuzzCheck(period.from_ns > summary.lost_comm_periods[i - 1].until_ns,
                "periods of lost communication overlap or are out of order");
    }
  }
}

}  // namespace

void RunReplay(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return;
  }
  SilenceLog();
  static const std::int64_t kCycles[] = {50 * kMs, 10 * kMs, 20 * kMs, 100 * kMs};
  fsrl::ReplayOptions options;
  options.cycle_ns = kCycles[(data[0] >> 1U) & 0x03U];
  options.alive_timeout_ns = (data[0] & 0x08U) != 0U ? 60 * kMs : 200 * kMs;

  std::vector<CanFrame> frames =
      (data[0] & 0x01U) == 0U ? FramesFromText(data + 1, size - 1) : FramesFromBinary(data + 1, size - 1);
  BoundTimeSpan(frames, options.cycle_ns);

  fsrl::ReplaySummary summary;
  Recorder published;
  options.observer = &published;
  const int result = fsrl::Replay(frames, options, DevNull(), DevNull(), &summary);
  // The replay reset the signal service: a client kept by another target is gone.
  ++SignalServiceGeneration();
  FuzzCheck(result == fsrl::kReplayOk, "the replay fails");
  CheckSummary(frames, options, summary, published);
  if (DevNull() != nullptr) {
    fsrl::WriteSummaryJson(summary, DevNull());
  }
}

}  // namespace fsrl_fuzz
