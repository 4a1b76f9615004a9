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
///
/// Recordings are not always that tidy: a logger's clock steps, a stamp is corrupt. A time stamp that leaps
/// further ahead than ReplayOptions::clock_jump_threshold_ns is a clock jump: the silence is replayed up to the
/// threshold (so the HAL sees lost communication as it would), then the cycles start again from the frame as
/// from a new t0. A time stamp more than a cycle behind the latest one is a step back: the cycles start again
/// from the frame, the platform clock standing still instead of running backwards. The work and output of a
/// replay are thus bounded by the recording's length, never by the size of a jump; notifications carry T_k on
/// the recording's time base (the time base of the frames that came before the cycle).
#ifndef FSRL_REPLAY_H
#define FSRL_REPLAY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"
#include "fsrl/replay_sink.h"

namespace fsrl {

/// Results of Replay and ReplaySession::Finish; the same values as the tool's exit statuses.
constexpr int kReplayOk = 0;
constexpr int kReplayFailed = 1;  ///< the HAL could not be set up, or the output could not be written

/// The longest silence a replay runs cycle by cycle when the log's time stamps leap forward (`--clock-jump-ms`).
/// Five seconds lie far beyond the default alive timeout (200 ms), so the HAL sees the silence, reports lost
/// communication and publishes its lost-communication statuses as it would in the car, and real silences in
/// recordings (a radar restarting takes one to two seconds) are still replayed as time; yet a leap of any size
/// costs at most 100 cycles at the default 50 ms period. The threshold is used as at least the alive timeout plus
/// two cycles, so that lost communication is always seen across a leap.
constexpr std::int64_t kDefaultClockJumpThresholdNs = 5'000'000'000;

class ReplayObserver;

/// How to replay.
struct ReplayOptions {
  std::int64_t cycle_ns = 50'000'000;           ///< period of ProcessFsrlInput (`--cycle-ms`); must be positive
  std::int64_t alive_timeout_ns = 200'000'000;  ///< alive timeout of device "FSRL" (`--alive-timeout-ms`)
  /// A time stamp further than this ahead of the latest one is a clock jump (`--clock-jump-ms`): the silence is
  /// replayed up to this long, then the cycles resume just before the frame, on its time base. A time stamp more
  /// than one cycle behind the latest one is a clock step back: the cycles resume from the frame without the
  /// platform clock running backwards. Either is reported once on the error stream and counted.
  std::int64_t clock_jump_threshold_ns = kDefaultClockJumpThresholdNs;
  FrameMap frame_map = FrameMap::Default();  ///< which frame carries which group (`--frame-map`)
  /// Show a progress line on the error stream while a replay runs for more than a second of wall-clock time
  /// (meant for a terminal: the line is rewritten in place with '\r' and cleared at the end).
  bool progress = false;
  /// Forward the HAL's own log messages to the error stream. Off, they are only counted (ReplaySummary::
  /// hal_log_lines): a damaged recording makes the HAL log every failed read, which the summary already counts.
  bool hal_log = false;
  /// Names the frames' source in clock jump messages (`FILE:LINE: ...`); Replay numbers frames from 1 instead
  /// of lines.
  std::string source_name = "<frames>";
  /// Told of every notification and clock jump as it happens (may be null); the summary keeps only counts.
  ReplayObserver* observer = nullptr;
  /// Further outputs (CSV tables, an MCAP recording): each is given every scan and status the JSON lines are
  /// written from, with the same time and in the same order, whether or not JSON lines are written. Not owned;
  /// their owner calls ReplaySink::Finish once the replay's Finish has returned.
  std::vector<ReplaySink*> sinks;
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

/// One clock jump or step back of the log's time stamps.
struct ClockJump {
  std::uint64_t line;    ///< source line (or frame number) of the frame after the jump
  std::int64_t from_ns;  ///< the latest time stamp before it
  std::int64_t to_ns;    ///< the frame's time stamp
  bool forward() const { return to_ns > from_ns; }
};

/// @brief Receives what a replay publishes, one event at a time, for callers that need more than the counts.
class ReplayObserver {
 public:
  virtual ~ReplayObserver() = default;
  virtual void OnDetections(const PublishedDetections& /*detections*/) {}
  virtual void OnStatus(const PublishedStatus& /*status*/) {}
  virtual void OnClockJump(const ClockJump& /*jump*/) {}
};

/// @brief Wall-clock times in fixed memory: nearest-rank percentiles within 0.1 % and the exact maximum.
///
/// Times are kept in nanoseconds. Below 2048 ns each nanosecond has its own bucket; above, every power of two is
/// cut into 1024 buckets, so a bucket is never wider than 1/1024 of its values (0.05 us at 50 us, far below the
/// 0.1 us the summary prints). Times from 2^40 ns (18 minutes) up share the last bucket.
class LatencyHistogram {
 public:
  void Record(double us);
  /// Nearest rank: the smallest recorded time with at least @p fraction of all times at or below it (the middle
  /// of its bucket, kept inside the smallest and largest time recorded); 0 when empty.
  double Percentile(double fraction) const;
  double max_us() const { return max_us_; }
  std::uint64_t count() const { return count_; }

 private:
  static constexpr unsigned kSubBits = 10;      // 1024 buckets per power of two
  static constexpr unsigned kTopExponent = 40;  // 2^40 ns and more share the last bucket
  static constexpr std::size_t kBuckets =
      (std::size_t{2} << kSubBits) + (kTopExponent - kSubBits - 1) * (std::size_t{1} << kSubBits);
  static std::size_t BucketOf(std::uint64_t ns);
  static double MiddleOf(std::size_t bucket);
  std::vector<std::uint64_t> counts_;  // kBuckets, allocated by the first Record
  std::uint64_t count_ = 0;
  double min_us_ = 0.0;
  double max_us_ = 0.0;
};

/// A period of lost communication: T_k of its first lost cycle and T_k of the first cycle after it that
/// communicated again (-1 when the replay ended while lost), on the recording's time base.
struct LostCommPeriod {
  std::int64_t from_ns;
  std::int64_t until_ns;
};

/// What a replay did, in memory that does not grow with the recording.
struct ReplaySummary {
  /// Lost-communication periods kept one by one; later ones are only counted (lost_comm_period_count).
  static constexpr std::size_t kLostCommPeriodsKept = 100;

  std::uint64_t cycles = 0;            ///< ProcessFsrlInput calls
  std::uint64_t failed_cycles = 0;     ///< calls that returned a failure (kFailure)
  std::uint64_t lost_comm_cycles = 0;  ///< calls made while device "FSRL" reported an alive timeout
  std::array<std::uint64_t, kGroupCount> frames_per_group{};  ///< frames handed to the service, by group index
  std::uint64_t unmapped_frames = 0;         ///< data frames of an id the frame map does not know (not handed over)
  std::uint64_t malformed_lines = 0;         ///< left to the caller that reads the log: Replay never sees a line
  std::uint64_t filtered_frames = 0;         ///< left to the caller too: frames its filter kept from the replay
  std::uint64_t detection_scans = 0;         ///< detection notifications
  std::uint64_t status_publications = 0;     ///< status notifications
  std::uint64_t lost_comm_period_count = 0;  ///< periods of lost communication, all of them
  std::vector<LostCommPeriod> lost_comm_periods;  ///< the first kLostCommPeriodsKept of them, in order
  /// Virtual time spent in lost communication: each period from its first lost cycle to the cycle that
  /// communicated again (to the last cycle for a period still open).
  std::int64_t lost_comm_ns = 0;
  std::uint64_t clock_jumps_forward = 0;   ///< time stamps that leapt ahead by more than the threshold
  std::uint64_t clock_jumps_backward = 0;  ///< time stamps that stepped back by more than a cycle
  LatencyHistogram cycle_time;             ///< wall-clock time of each ProcessFsrlInput call

  // Added to the shared shape: the remaining counts of what was given, and the time line used.
  std::uint64_t frames = 0;                  ///< frames given to the replay, whatever they carry
  std::uint64_t remote_frames = 0;           ///< remote requests (no data, not handed over)
  std::uint64_t error_frames = 0;            ///< error frames (not handed over)
  std::uint64_t hal_log_lines = 0;           ///< log messages the HAL wrote during the replay
  std::int64_t t0_ns = 0;                    ///< the first frame's time stamp (0 without frames)
  std::int64_t cycle_ns = 0;                 ///< the cycle period used
  std::int64_t alive_timeout_ns = 0;         ///< the alive timeout used
  std::int64_t clock_jump_threshold_ns = 0;  ///< the clock jump threshold used

  /// Frames handed to the service, all groups together.
  std::uint64_t frames_handed_over() const;
  /// Median, 99th percentile (nearest rank) and maximum of the ProcessFsrlInput times; 0 without cycles.
  double p50_us() const { return cycle_time.Percentile(0.50); }
  double p99_us() const { return cycle_time.Percentile(0.99); }
  double max_us() const { return cycle_time.max_us(); }
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
  /// @param line where the frame came from (its line in ReplayOptions::source_name), for clock jump messages
  /// @return false once the replay cannot go on (set-up or output failed); Finish then reports it.
  bool Feed(const CanFrame& frame, std::uint64_t line);

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
