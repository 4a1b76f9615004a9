/// @file
/// @brief Running the real HAL over recorded radar frames in virtual time, as `fsrl replay` does.
///
/// The platform clock is switched to manual time and follows the recording: t0 is the first frame's time stamp,
/// cycle k (k = 1, 2, ...) runs at T_k = t0 + k * cycle. Before cycle k every frame stamped below T_k is handed to
/// the signal communication service in the order given, with the clock at the frame's time (never earlier than
/// the clock already is: the platform clock does not run backwards, so a frame stamped before one handed over
/// earlier arrives at the clock's current time). A frame stamped exactly T_k therefore belongs to cycle k + 1.
/// Each cycle sets the clock to T_k, delivers the signal service's notifications, runs the tasks they posted to
/// the owner's dispatch queue, begins a transaction and calls `ProcessFsrlInput`. The replay ends after the first
/// cycle whose T_k is at or beyond the latest frame time stamp plus one cycle.
#ifndef FSRL_REPLAY_H
#define FSRL_REPLAY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"

namespace fsrl {

/// Results of Replay and ReplaySession::Finish; the same values as the tool's exit statuses.
constexpr int kReplayOk = 0;
constexpr int kReplayFailed = 1;  ///< the HAL could not be set up, or the output could not be written

/// How to replay.
struct ReplayOptions {
  std::int64_t cycle_ns = 50'000'000;           ///< period of ProcessFsrlInput (`--cycle-ms`); must be positive
  std::int64_t alive_timeout_ns = 200'000'000;  ///< alive timeout of device "FSRL" (`--alive-timeout-ms`)
  FrameMap frame_map = FrameMap::Default();     ///< which frame carries which group (`--frame-map`)
  /// Show a progress line on the error stream while a replay runs for more than a second of wall-clock time
  /// (meant for a terminal: the line is rewritten in place with '\r' and cleared at the end).
  bool progress = false;
  /// Forward the HAL's own log messages to the error stream. Off, they are only counted (ReplaySummary::
  /// hal_log_lines): a damaged recording makes the HAL log every failed read, which the summary already counts.
  bool hal_log = false;
};

/// One detection notification: what GetFsrlDetections returned when it came.
struct PublishedDetections {
  std::int64_t t_ns;                  ///< T_k of the cycle, nanoseconds on the recording's time base
  std::uint8_t scan_id;               ///< info().scan_id()
  bool is_valid;                      ///< info().is_valid()
  std::int64_t mid_range_time_stamp;  ///< info().time_stamps().mid_range()
  std::size_t populated;              ///< detections whose quality is known (the radar marks unused slots unpopulated)
};

/// One status notification: what GetFsrlStatus returned when it came.
struct PublishedStatus {
  std::int64_t t_ns;         ///< T_k of the cycle
  std::uint8_t scan_id;      ///< scan_id()
  bool communication_fault;  ///< fault_reason().is_communication_faulty()
};

/// What a replay did.
struct ReplaySummary {
  std::uint64_t cycles = 0;            ///< ProcessFsrlInput calls
  std::uint64_t failed_cycles = 0;     ///< calls that returned a failure (kFailure)
  std::uint64_t lost_comm_cycles = 0;  ///< calls made while device "FSRL" reported an alive timeout
  std::array<std::uint64_t, kGroupCount> frames_per_group{};  ///< frames handed to the service, by group index
  std::uint64_t unmapped_frames = 0;            ///< data frames of an id the frame map does not know (not handed over)
  std::uint64_t malformed_lines = 0;            ///< left to the caller that reads the log: Replay never sees a line
  std::vector<PublishedDetections> detections;  ///< every detection notification, in order
  std::vector<PublishedStatus> statuses;        ///< every status notification, in order
  /// Each period of lost communication: T_k of its first lost cycle and T_k of the first cycle after it that
  /// communicated again (-1 when the replay ended while lost).
  std::vector<std::pair<std::int64_t, std::int64_t>> lost_comm_periods;
  std::vector<double> cycle_us;  ///< wall-clock time of each ProcessFsrlInput call, in microseconds

  // Added to the shared shape: the remaining counts of what was given, and the time line used.
  std::uint64_t frames = 0;           ///< frames given to the replay, whatever they carry
  std::uint64_t remote_frames = 0;    ///< remote requests (no data, not handed over)
  std::uint64_t error_frames = 0;     ///< error frames (not handed over)
  std::uint64_t hal_log_lines = 0;    ///< log messages the HAL wrote during the replay
  std::int64_t t0_ns = 0;             ///< the first frame's time stamp (0 without frames)
  std::int64_t cycle_ns = 0;          ///< the cycle period used
  std::int64_t alive_timeout_ns = 0;  ///< the alive timeout used

  /// Frames handed to the service, all groups together.
  std::uint64_t frames_handed_over() const;
  /// Median, 99th percentile (nearest rank) and maximum of cycle_us; 0 without cycles.
  double p50_us() const;
  double p99_us() const;
  double max_us() const;
};

/// @brief A replay fed one frame at a time, so that a long log is replayed while it is read, without holding it.
///
/// The HAL is set up when the first frame arrives (the clock has to start at its time stamp first), or by
/// Finish when no frame came. Process-wide platform state is taken over for the session's lifetime: the signal
/// communication service and the device activation service are reset, the clock is manual, and the log sink is
/// replaced. Only one session may exist at a time.
class ReplaySession {
 public:
  /// @param jsonl_out receives one JSON object per notification and line (may be null: nothing is written)
  /// @param err receives set-up and output errors, HAL log messages (ReplayOptions::hal_log) and progress
  /// @param summary receives the counts as they accumulate (may be null)
  ReplaySession(const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err, ReplaySummary* summary);
  ~ReplaySession();
  ReplaySession(const ReplaySession&) = delete;
  ReplaySession& operator=(const ReplaySession&) = delete;
  ReplaySession(ReplaySession&&) = delete;
  ReplaySession& operator=(ReplaySession&&) = delete;

  /// @brief Runs the cycles due before @p frame, then hands it over (or counts it as not for the HAL).
  /// @return false once the replay cannot go on (set-up or output failed); Finish then reports it.
  bool Feed(const CanFrame& frame);

  /// @brief Runs the remaining cycles, flushes the output and restores the platform clock and log sink.
  /// @return kReplayOk, or kReplayFailed (the reason is on the error stream)
  int Finish();

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// @brief Runs the real HAL (FrontSideRadarLeftHal::Create(&executable, "NoInstanceId")) over @p frames (in
/// their order) in virtual time.
///
/// @p jsonl_out (may be null) receives one JSON object per notification, exactly the `fsrl replay` output.
/// @return kReplayOk, or kReplayFailed when the HAL cannot be set up or the output cannot be written (message on
/// @p err)
int Replay(const std::vector<CanFrame>& frames, const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err,
           ReplaySummary* summary);

/// @brief Writes the `--summary-json` document of @p summary to @p out: one JSON object and a line feed.
void WriteSummaryJson(const ReplaySummary& summary, std::FILE* out);

}  // namespace fsrl

#endif  // FSRL_REPLAY_H
