// Replay concern: the run loop: frames in, cycles on the time line, clock jumps, the summary's counts and the
// notifications out (to the JSON lines, the further sinks and the observer).
#include "fsrl/replay.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "frontsideradarlefthal_types.h"
#include "fsrl/json_writer.h"
#include "replay_hal.h"
#include "replay_json.h"
#include "replay_progress.h"
#include "replay_timeline.h"

namespace fsrl {
namespace {

using internal::Notifications;
using internal::SaturatingAdd;
using internal::SaturatingSub;

// The radar marks an unused slot with its "detection unpopulated" quality, which the HAL publishes as kUnknown.
std::size_t PopulatedDetections(const radar_service::CornerRadarDetections& scan) {
  return static_cast<std::size_t>(
      std::count_if(scan.detections().begin(), scan.detections().end(), [](const radar_service::RadarDetection& d) {
        return d.quality_aggregated() != radar_service::QualityAggregated::kUnknown;
      }));
}

}  // namespace

class ReplaySession::Impl {
 public:
  Impl(const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err, ReplaySummary* summary)
      : options_(options),
        err_(err),
        summary_(summary != nullptr ? summary : &own_summary_),
        hal_(err, options.hal_log),
        timeline_(options.cycle_ns),
        progress_(err, options.progress) {
    if (jsonl_out != nullptr) {
      output_.emplace(jsonl_out);
      json_.emplace(*output_);
    }
    summary_->cycle_ns = options_.cycle_ns;
    summary_->alive_timeout_ns = options_.alive_timeout_ns;
    // Below the alive timeout plus two cycles a leap would be cut before any cycle saw communication lost.
    jump_threshold_ns_ =
        std::max(options_.clock_jump_threshold_ns,
                 SaturatingAdd(options_.alive_timeout_ns, SaturatingAdd(options_.cycle_ns, options_.cycle_ns)));
    summary_->clock_jump_threshold_ns = jump_threshold_ns_;
  }

  bool Feed(const CanFrame& frame, std::uint64_t line) {
    if (stopped_) {
      return false;
    }
    if (!started_ && !Start(frame.timestamp_ns)) {
      return false;
    }
    ++summary_->frames;
    const std::int64_t stamp = frame.timestamp_ns;
    const std::int64_t step = SaturatingSub(stamp, latest_stamp_);
    if (step > jump_threshold_ns_) {
      // A leap forward: the silence is replayed up to the threshold, then the cycles resume at the frame.
      ReportJump(stamp, line);
      const std::int64_t silence_end = SaturatingAdd(timeline_.Virtual(latest_stamp_), jump_threshold_ns_);
      if (!RunCyclesWhile([&] { return timeline_.NextCycleTime() <= silence_end; })) {
        return false;
      }
      Rebase(stamp);
    } else if (step < -options_.cycle_ns) {
      // Frames a little out of order (up to a cycle) arrive at the clock's current time; a larger step back is a
      // new time base. The frames before it get the cycle they were due for, so that no scan merges into the next.
      ReportJump(stamp, line);
      if (!TimeExhausted() && !RunCycle()) {
        return false;
      }
      Rebase(stamp);
    }
    const std::int64_t at = timeline_.Virtual(stamp);
    if (!RunCyclesWhile([&] { return at >= timeline_.NextCycleTime(); })) {
      return false;
    }
    latest_stamp_ = std::max(latest_stamp_, stamp);
    latest_virtual_ = std::max(latest_virtual_, at);
    if (frame.remote) {
      ++summary_->remote_frames;
      return true;
    }
    if (frame.error) {
      ++summary_->error_frames;
      return true;
    }
    const int group_index = options_.frame_map.GroupOf(frame);
    if (group_index < 0) {
      ++summary_->unmapped_frames;
      return true;
    }
    const auto group = static_cast<std::size_t>(group_index);
    hal_.SetClock(std::max(hal_.clock_now(), at));
    hal_.Publish(group, frame);
    ++summary_->frames_per_group[group];
    return true;
  }

  int Finish() {
    if (!started_ && !stopped_) {
      // Without frames no cycle runs, but whether the HAL can be set up is still worth knowing.
      Start(0);
    }
    if (!stopped_ && summary_->frames > 0) {
      const std::int64_t end = SaturatingAdd(latest_virtual_, options_.cycle_ns);
      while (!TimeExhausted() && RunCycle() && last_cycle_time_ < end) {
      }
    }
    if (lost_) {
      summary_->lost_comm_ns += last_cycle_time_ - lost_since_;
    }
    progress_.Clear();
    if (output_ && !output_->Flush() && !output_failure_reported_) {
      ReportOutputFailure();
    }
    summary_->hal_log_lines = hal_.log_lines();
    return setup_failed_ || output_failure_reported_ ? kReplayFailed : kReplayOk;
  }

 private:
  bool Start(std::int64_t t0) {
    started_ = true;
    t0_ = t0;
    timeline_.Start(t0);
    latest_stamp_ = t0;
    latest_virtual_ = t0;
    summary_->t0_ns = t0;
    if (options_.cycle_ns <= 0) {
      Fail("the cycle period must be positive");
      return false;
    }
    const std::string failure = hal_.Start(t0, options_.alive_timeout_ns);
    if (!failure.empty()) {
      Fail(failure);
      return false;
    }
    return true;
  }

  void Fail(const std::string& reason) {
    if (err_ != nullptr) {
      std::fprintf(err_, "fsrl replay: %s\n", reason.c_str());
    }
    setup_failed_ = true;
    stopped_ = true;
  }

  // Whether the clock's range is used up: the last cycle ran at its very end, and no later cycle can follow.
  bool TimeExhausted() const {
    return summary_->cycles > 0 && last_cycle_time_ == std::numeric_limits<std::int64_t>::max();
  }

  // Runs cycles while @p due says so; false when the output failed.
  template <typename Due>
  bool RunCyclesWhile(Due due) {
    while (!TimeExhausted() && due()) {
      if (!RunCycle()) {
        return false;
      }
    }
    return true;
  }

  // The cycles start again from the frame stamped @p stamp, at the clock's current time.
  void Rebase(std::int64_t stamp) {
    timeline_.Rebase(stamp, hal_.clock_now());
    latest_stamp_ = stamp;
  }

  void ReportJump(std::int64_t stamp, std::uint64_t line) {
    const ClockJump jump{line, latest_stamp_, stamp};
    const double seconds = std::fabs(static_cast<double>(SaturatingSub(stamp, latest_stamp_))) / 1e9;
    progress_.Clear();
    if (jump.forward()) {
      ++summary_->clock_jumps_forward;
      if (err_ != nullptr) {
        std::fprintf(err_,
                     "%s:%llu: clock jump: the time stamp is %.6f s ahead of the latest one (more than %.3f s); "
                     "replayed %.3f s of silence, then resumed at this frame\n",
                     options_.source_name.c_str(), static_cast<unsigned long long>(line), seconds,
                     static_cast<double>(jump_threshold_ns_) / 1e9, static_cast<double>(jump_threshold_ns_) / 1e9);
      }
    } else {
      ++summary_->clock_jumps_backward;
      if (err_ != nullptr) {
        std::fprintf(err_,
                     "%s:%llu: clock step back: the time stamp is %.6f s behind the latest one; resumed at this "
                     "frame without turning the clock back\n",
                     options_.source_name.c_str(), static_cast<unsigned long long>(line), seconds);
      }
    }
    if (options_.observer != nullptr) {
      options_.observer->OnClockJump(jump);
    }
  }

  // One cycle at T_k; false when the output failed and the replay has to stop.
  bool RunCycle() {
    const std::int64_t t = timeline_.TakeNextCycle();
    hal_.SetClock(t);
    // Everything published so far has been announced and its tasks have run, as on a target whose queue keeps
    // up; the output then does not depend on the signal service's thread.
    hal_.DrainQueue();
    double wall_us = 0.0;
    const bool failed = hal_.ProcessInputFailed(wall_us);
    summary_->cycle_time.Record(wall_us);
    ++summary_->cycles;
    last_cycle_time_ = t;
    if (failed) {
      ++summary_->failed_cycles;
    }
    const std::int64_t recorded = timeline_.Recording(t);
    CountLostCommunication(t, recorded);
    WritePending(recorded);
    progress_.Update(static_cast<double>(t - t0_) / 1e9, *summary_);
    if (output_ && output_->failed()) {
      ReportOutputFailure();
      return false;
    }
    return true;
  }

  void CountLostCommunication(std::int64_t t, std::int64_t recorded) {
    const bool lost = hal_.IsCommunicationLost();
    if (lost) {
      ++summary_->lost_comm_cycles;
      if (!lost_) {
        lost_since_ = t;
        if (++summary_->lost_comm_period_count <= ReplaySummary::kLostCommPeriodsKept) {
          summary_->lost_comm_periods.push_back(LostCommPeriod{recorded, -1});
        }
      }
    } else if (lost_) {
      summary_->lost_comm_ns += t - lost_since_;
      if (summary_->lost_comm_period_count <= ReplaySummary::kLostCommPeriodsKept) {
        summary_->lost_comm_periods.back().until_ns = recorded;
      }
    }
    lost_ = lost;
  }

  void WritePending(std::int64_t t) {
    Notifications& pending = hal_.pending();
    std::size_t next_detections = 0;
    std::size_t next_status = 0;
    for (const Notifications::Kind kind : pending.order) {
      if (kind == Notifications::Kind::kDetections) {
        const radar_service::CornerRadarDetections& scan = pending.detections[next_detections++];
        ++summary_->detection_scans;
        if (options_.observer != nullptr) {
          options_.observer->OnDetections(PublishedDetections{t, scan.info().scan_id(), scan.info().is_valid(),
                                                              scan.info().time_stamps().mid_range(),
                                                              PopulatedDetections(scan)});
        }
        if (json_) {
          internal::WriteDetectionsLine(*json_, t, scan);
        }
        for (ReplaySink* sink : options_.sinks) {
          sink->OnDetections(t, scan);
        }
      } else {
        const radar_service::RadarStatus& status = pending.statuses[next_status++];
        ++summary_->status_publications;
        if (options_.observer != nullptr) {
          options_.observer->OnStatus(
              PublishedStatus{t, status.scan_id(), status.fault_reason().is_communication_faulty()});
        }
        if (json_) {
          internal::WriteStatusLine(*json_, t, status);
        }
        for (ReplaySink* sink : options_.sinks) {
          sink->OnStatus(t, status);
        }
      }
    }
    pending.clear();
  }

  void ReportOutputFailure() {
    progress_.Clear();
    if (err_ != nullptr) {
      std::fprintf(err_, "fsrl replay: cannot write the output: %s\n", std::strerror(output_->error_number()));
    }
    output_failure_reported_ = true;
    stopped_ = true;
  }

  ReplayOptions options_;
  std::FILE* err_;
  ReplaySummary own_summary_;
  ReplaySummary* summary_;
  std::optional<OutputBuffer> output_;
  std::optional<JsonWriter> json_;
  internal::ReplayHal hal_;
  internal::Timeline timeline_;

  bool started_ = false;
  bool stopped_ = false;
  bool setup_failed_ = false;
  bool output_failure_reported_ = false;
  bool lost_ = false;
  std::int64_t jump_threshold_ns_ = 0;
  std::int64_t t0_ = 0;
  std::int64_t latest_stamp_ = 0;  // on the recording's time base
  std::int64_t latest_virtual_ = 0;
  std::int64_t lost_since_ = 0;  // virtual time of the current lost period's first cycle
  std::int64_t last_cycle_time_ = 0;

  internal::ProgressLine progress_;
};

ReplaySession::ReplaySession(const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err, ReplaySummary* summary)
    : impl_(std::make_unique<Impl>(options, jsonl_out, err, summary)) {}

ReplaySession::~ReplaySession() = default;

bool ReplaySession::Feed(const CanFrame& frame, std::uint64_t line) { return impl_->Feed(frame, line); }

int ReplaySession::Finish() { return impl_->Finish(); }

int Replay(const std::vector<CanFrame>& frames, const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err,
           ReplaySummary* summary) {
  ReplaySession session(options, jsonl_out, err, summary);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!session.Feed(frames[i], i + 1)) {
      break;
    }
  }
  return session.Finish();
}

}  // namespace fsrl
