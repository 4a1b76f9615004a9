// Replay concern: the HAL under replay: its set-up on the platform, the hand-over of frames, one input cycle and
// the notifications it brings, and the lost-communication question.
#ifndef FSRL_SRC_REPLAY_HAL_H
#define FSRL_SRC_REPLAY_HAL_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "frontsideradarlefthal_types.h"
#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"
#include "fsrl/hal_log_sink.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/signalcomm/service.h"

namespace fsrl::internal {

// The notifications of one cycle, in the order they came. They are collected inside ProcessFsrlInput and written
// after it, so that the measured time is the HAL's and not the output's.
struct Notifications {
  enum class Kind { kDetections, kStatus };
  std::vector<Kind> order;
  std::vector<radar_service::CornerRadarDetections> detections;
  std::vector<radar_service::RadarStatus> statuses;
  void clear() {
    order.clear();
    detections.clear();
    statuses.clear();
  }
};

// The real HAL as an application creates it, on process-wide platform state that this object takes over (the
// signal communication and device activation services are reset, the clock is manual, the log sink replaced)
// and gives back when it goes.
class ReplayHal {
 public:
  ReplayHal(std::FILE* err, bool forward_log);
  ~ReplayHal();
  ReplayHal(const ReplayHal&) = delete;
  ReplayHal& operator=(const ReplayHal&) = delete;
  ReplayHal(ReplayHal&&) = delete;
  ReplayHal& operator=(ReplayHal&&) = delete;

  // Sets everything up with the clock at @p t0; an empty string, or why it failed.
  std::string Start(std::int64_t t0, std::int64_t alive_timeout_ns);
  void SetClock(std::int64_t ns);
  std::int64_t clock_now() const { return clock_now_; }
  // Hands @p frame over as group @p group's payload.
  void Publish(std::size_t group, const CanFrame& frame);
  // Announces everything published and runs the tasks that posted.
  void DrainQueue();
  // Begins a transaction and calls ProcessFsrlInput; @p wall_us receives the call's wall-clock time.
  bool ProcessInputFailed(double& wall_us);
  bool IsCommunicationLost() const;
  Notifications& pending() { return pending_; }
  std::uint64_t log_lines() const { return log_sink_.count(); }

 private:
  HalLogSink log_sink_;
  zol::log::ScopedSink scoped_sink_;
  std::optional<zol::ScopedManualClock> clock_;
  std::optional<zol::afw::core::Executable> executable_;
  device_activator::DeviceActivator activator_;
  front_side_radar_left_hal::FrontSideRadarLeftHal hal_;
  zol::afw::core::Subscription detection_subscription_;
  zol::afw::core::Subscription status_subscription_;
  std::array<SignalComm_Name_t, kGroupCount> identities_{};
  std::int64_t clock_now_ = 0;
  std::uint64_t frames_since_drain_ = 0;
  Notifications pending_;
};

}  // namespace fsrl::internal

#endif  // FSRL_SRC_REPLAY_HAL_H
