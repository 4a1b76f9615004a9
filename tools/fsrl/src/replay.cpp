#include "fsrl/replay.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "frontsideradarlefthal_types.h"
#include "fsrl/hal_log_sink.h"
#include "fsrl/json_writer.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/transaction.h"
#include "zol/log/logging.h"
#include "zol/memory/span.h"
#include "zol/mono_clock.h"
#include "zol/signalcomm/service.h"

namespace fsrl {
namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using zol::afw::core::ErrorCode;

// Handing over more frames than the owner's queue holds tasks, without running them, would make the queue refuse
// the adapter's invalidation tasks; a long stretch of frames between two cycles is drained every this many.
constexpr std::uint64_t kFramesPerDrain = 256;

// A progress line appears only once a replay has taken this long, and is rewritten at most this often.
constexpr std::chrono::milliseconds kProgressDelay{1000};
constexpr std::chrono::milliseconds kProgressInterval{250};

// Enumerator names as the data model spells them; nullptr for a value without enumerator, which is then written
// as its integer so that nothing is lost.
const char* NameOf(radar_service::Mode value) {
  switch (value) {
    case radar_service::Mode::kShortRange:
      return "kShortRange";
    case radar_service::Mode::kNearRange:
      return "kNearRange";
    case radar_service::Mode::kMidRange:
      return "kMidRange";
    case radar_service::Mode::kLongRange:
      return "kLongRange";
  }
  return nullptr;
}

const char* NameOf(radar_service::QualityAggregated value) {
  switch (value) {
    case radar_service::QualityAggregated::kLow:
      return "kLow";
    case radar_service::QualityAggregated::kMid:
      return "kMid";
    case radar_service::QualityAggregated::kHigh:
      return "kHigh";
    case radar_service::QualityAggregated::kUnknown:
      return "kUnknown";
  }
  return nullptr;
}

const char* NameOf(radar_service::CalibrationStatus value) {
  switch (value) {
    case radar_service::CalibrationStatus::kNotStarted:
      return "kNotStarted";
    case radar_service::CalibrationStatus::kNotComplete:
      return "kNotComplete";
    case radar_service::CalibrationStatus::kComplete:
      return "kComplete";
  }
  return nullptr;
}

const char* NameOf(radar_service::SensorBlockage value) {
  switch (value) {
    case radar_service::SensorBlockage::kBlockageUnknown:
      return "kBlockageUnknown";
    case radar_service::SensorBlockage::kFullBlockage:
      return "kFullBlockage";
    case radar_service::SensorBlockage::kNoBlockage:
      return "kNoBlockage";
  }
  return nullptr;
}

const char* NameOf(radar_service::Interference value) {
  switch (value) {
    case radar_service::Interference::kInterferenceUnknown:
      return "kInterferenceUnknown";
    case radar_service::Interference::kFullInterference:
      return "kFullInterference";
    case radar_service::Interference::kNoInterference:
      return "kNoInterference";
  }
  return nullptr;
}

template <typename Enum>
void WriteEnum(JsonWriter& json, Enum value) {
  const char* name = NameOf(value);
  if (name != nullptr) {
    json.String(name);
  } else {
    json.UInt(static_cast<std::uint64_t>(value));
  }
}

void WriteTime(JsonWriter& json, std::int64_t ns) {
  char text[32];
  json.RawNumber(std::string_view(text, FormatSeconds(ns, text)));
}

double Percentile(std::vector<double> values, double fraction) {
  if (values.empty()) {
    return 0.0;
  }
  // Nearest rank: the smallest value with at least that fraction of all values at or below it.
  auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(values.size())));
  rank = std::clamp<std::size_t>(rank, 1, values.size());
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(rank - 1), values.end());
  return values[rank - 1];
}

// Keys are written millions of times on a long log; they are prepared once.
#define FSRL_KEY(name) "\"" #name "\": "
constexpr std::string_view kKeySnr = FSRL_KEY(snr);
constexpr std::string_view kKeyRcs = FSRL_KEY(rcs);
constexpr std::string_view kKeyAzimuth = FSRL_KEY(azimuth);
constexpr std::string_view kKeyElevation = FSRL_KEY(elevation);
constexpr std::string_view kKeyRange = FSRL_KEY(range);
constexpr std::string_view kKeyRangeRate = FSRL_KEY(range_rate);
constexpr std::string_view kKeyIsDynamic = FSRL_KEY(is_dynamic);
constexpr std::string_view kKeyMode = FSRL_KEY(mode);
constexpr std::string_view kKeyQuality = FSRL_KEY(quality_aggregated);
#undef FSRL_KEY

void WriteDetectionsLine(JsonWriter& json, std::int64_t t_ns, const radar_service::CornerRadarDetections& scan) {
  const radar_service::RadarDetectionsInfo& info = scan.info();
  json.BeginObject();
  json.Key("type");
  json.String("detections");
  json.Key("t");
  WriteTime(json, t_ns);
  json.Key("scan_id");
  json.UInt(info.scan_id());
  json.Key("is_valid");
  json.Bool(info.is_valid());
  json.Key("time_stamps");
  json.BeginObject();
  json.Key("short_range");
  json.Int(info.time_stamps().short_range());
  json.Key("near_range");
  json.Int(info.time_stamps().near_range());
  json.Key("mid_range");
  json.Int(info.time_stamps().mid_range());
  json.Key("long_range");
  json.Int(info.time_stamps().long_range());
  json.EndObject();
  json.Key("mounting");
  json.BeginObject();
  json.Key("x_offset");
  json.Float(info.mounting_information().x_offset());
  json.Key("y_offset");
  json.Float(info.mounting_information().y_offset());
  json.Key("phi_offset");
  json.Float(info.mounting_information().phi_offset());
  json.EndObject();
  json.Key("detections");
  json.BeginArray();
  for (const radar_service::RadarDetection& detection : scan.detections()) {
    json.BeginObject();
    json.PreparedKey(kKeySnr);
    json.Float(detection.snr());
    json.PreparedKey(kKeyRcs);
    json.Float(detection.rcs());
    json.PreparedKey(kKeyAzimuth);
    json.Float(detection.azimuth());
    json.PreparedKey(kKeyElevation);
    json.Float(detection.elevation());
    json.PreparedKey(kKeyRange);
    json.Float(detection.range());
    json.PreparedKey(kKeyRangeRate);
    json.Float(detection.range_rate());
    json.PreparedKey(kKeyIsDynamic);
    json.Bool(detection.is_dynamic());
    json.PreparedKey(kKeyMode);
    WriteEnum(json, detection.mode());
    json.PreparedKey(kKeyQuality);
    WriteEnum(json, detection.quality_aggregated());
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  json.EndLine();
}

void WriteStatusLine(JsonWriter& json, std::int64_t t_ns, const radar_service::RadarStatus& status) {
  json.BeginObject();
  json.Key("type");
  json.String("status");
  json.Key("t");
  WriteTime(json, t_ns);
  json.Key("scan_id");
  json.UInt(status.scan_id());
  json.Key("azimuth_alignment_error");
  json.Float(status.azimuth_alignment_error());
  json.Key("elevation_alignment_error");
  json.Float(status.elevation_alignment_error());
  json.Key("blockage");
  WriteEnum(json, status.blockage());
  json.Key("interference");
  WriteEnum(json, status.interference());
  json.Key("calibration_status");
  WriteEnum(json, status.calibration_status());
  json.Key("fault_reason");
  const radar_service::FaultReason& fault = status.fault_reason();
  json.BeginObject();
  json.Key("is_communication_faulty");
  json.Bool(fault.is_communication_faulty());
  json.Key("is_hardware_faulty");
  json.Bool(fault.is_hardware_faulty());
  json.Key("is_software_faulty");
  json.Bool(fault.is_software_faulty());
  json.Key("is_car_config_faulty");
  json.Bool(fault.is_car_config_faulty());
  json.Key("is_system_safety_faulty");
  json.Bool(fault.is_system_safety_faulty());
  json.Key("is_calibration_faulty");
  json.Bool(fault.is_calibration_faulty());
  json.EndObject();
  json.Key("is_sensor_status_on");
  json.Bool(status.is_sensor_status_on());
  json.Key("is_transmission_activated");
  json.Bool(status.is_transmission_activated());
  json.Key("is_system_failing");
  json.Bool(status.is_system_failing());
  json.Key("is_time_sync_ok");
  json.Bool(status.is_time_sync_ok());
  json.Key("flr_temperature");
  json.Float(status.flr_temperature());
  json.EndObject();
  json.EndLine();
}

// The radar marks an unused slot with its "detection unpopulated" quality, which the HAL publishes as kUnknown.
std::size_t PopulatedDetections(const radar_service::CornerRadarDetections& scan) {
  return static_cast<std::size_t>(std::count_if(
      scan.detections().begin(), scan.detections().end(), [](const radar_service::RadarDetection& d) {
        return d.quality_aggregated() != radar_service::QualityAggregated::kUnknown;
      }));
}

}  // namespace

std::uint64_t ReplaySummary::frames_handed_over() const {
  std::uint64_t total = 0;
  for (const std::uint64_t count : frames_per_group) {
    total += count;
  }
  return total;
}

double ReplaySummary::p50_us() const { return Percentile(cycle_us, 0.50); }
double ReplaySummary::p99_us() const { return Percentile(cycle_us, 0.99); }
double ReplaySummary::max_us() const {
  return cycle_us.empty() ? 0.0 : *std::max_element(cycle_us.begin(), cycle_us.end());
}

class ReplaySession::Impl {
 public:
  Impl(const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err, ReplaySummary* summary)
      : options_(options),
        err_(err),
        summary_(summary != nullptr ? summary : &own_summary_),
        log_sink_(err, options.hal_log),
        scoped_sink_(&log_sink_) {
    if (jsonl_out != nullptr) {
      output_.emplace(jsonl_out);
      json_.emplace(*output_);
    }
    summary_->cycle_ns = options_.cycle_ns;
    summary_->alive_timeout_ns = options_.alive_timeout_ns;
    // The notifications of one cycle are collected inside ProcessFsrlInput and written after it, so that the
    // measured time is the HAL's and not the output's; a cycle normally brings one or two of each.
    pending_.reserve(8);
    pending_detections_.reserve(4);
    pending_statuses_.reserve(4);
    wall_start_ = std::chrono::steady_clock::now();
    next_progress_ = wall_start_ + kProgressDelay;
  }

  ~Impl() {
    // Subscriptions and the HAL go before the executable whose context they use, and all of them before the
    // clock returns to system time.
    detection_subscription_.Cancel();
    status_subscription_.Cancel();
    hal_ = FrontSideRadarLeftHal();
    activator_ = device_activator::DeviceActivator();
    executable_.reset();
    clock_.reset();
  }

  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;
  Impl(Impl&&) = delete;
  Impl& operator=(Impl&&) = delete;

  bool Feed(const CanFrame& frame) {
    if (stopped_) {
      return false;
    }
    if (!started_ && !Start(frame.timestamp_ns)) {
      return false;
    }
    ++summary_->frames;
    while (!TimeExhausted() && frame.timestamp_ns >= CycleTime(next_cycle_)) {
      if (!RunCycle()) {
        return false;
      }
    }
    latest_stamp_ = std::max(latest_stamp_, frame.timestamp_ns);
    if (frame.remote) {
      ++summary_->remote_frames;
      return true;
    }
    if (frame.error) {
      ++summary_->error_frames;
      return true;
    }
    const int group_index = options_.frame_map.GroupOf(frame.id, frame.extended);
    if (group_index < 0) {
      ++summary_->unmapped_frames;
      return true;
    }
    const auto group = static_cast<std::size_t>(group_index);
    SetClock(std::max(clock_now_, frame.timestamp_ns));
    zol::signalcomm::Service::Instance().Publish(
        identities_[group], zol::memory::span<const std::uint8_t>(frame.data, GroupPayloadBytes(group, frame)));
    ++summary_->frames_per_group[group];
    if (++frames_since_drain_ >= kFramesPerDrain) {
      DrainQueue();
    }
    return true;
  }

  int Finish() {
    if (!started_ && !stopped_) {
      // Without frames no cycle runs, but whether the HAL can be set up is still worth knowing.
      Start(0);
    }
    if (!stopped_ && summary_->frames > 0) {
      const std::int64_t end = latest_stamp_ > std::numeric_limits<std::int64_t>::max() - options_.cycle_ns
                                   ? std::numeric_limits<std::int64_t>::max()
                                   : latest_stamp_ + options_.cycle_ns;
      while (!TimeExhausted() && RunCycle() && last_cycle_time_ < end) {
      }
    }
    ClearProgress();
    if (output_ && !output_->Flush() && !output_failure_reported_) {
      ReportOutputFailure();
    }
    summary_->hal_log_lines = log_sink_.count();
    return setup_failed_ || output_failure_reported_ ? kReplayFailed : kReplayOk;
  }

 private:
  enum class Kind { kDetections, kStatus };

  // t0 + k x period, held at the end of the clock's range: a log may carry time stamps up to the largest one the
  // clock can show, and the cycles after it must not wrap round into the past.
  std::int64_t CycleTime(std::uint64_t k) const {
    const std::uint64_t room = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() - t0_);
    const std::uint64_t period = static_cast<std::uint64_t>(options_.cycle_ns);
    if (k > room / period) {
      return std::numeric_limits<std::int64_t>::max();
    }
    return t0_ + static_cast<std::int64_t>(k * period);
  }

  // Whether the clock's range is used up: the last cycle ran at its very end, and no later cycle can follow.
  bool TimeExhausted() const {
    return summary_->cycles > 0 && last_cycle_time_ == std::numeric_limits<std::int64_t>::max();
  }

  void SetClock(std::int64_t ns) {
    clock_now_ = ns;
    clock_->Set(zol::MonoClock::time_point(std::chrono::nanoseconds(ns)));
  }

  bool Start(std::int64_t t0) {
    started_ = true;
    t0_ = t0;
    clock_now_ = t0;
    latest_stamp_ = t0;
    summary_->t0_ns = t0;
    if (options_.cycle_ns <= 0) {
      Fail("the cycle period must be positive");
      return false;
    }
    // The clock goes first: the signal service measures alive supervision from its start time, which must be t0.
    clock_.emplace(zol::MonoClock::time_point(std::chrono::nanoseconds(t0)));
    auto& service = zol::signalcomm::Service::Instance();
    service.Reset();
    service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                               initialfrontsideradarlefthal_signal_group_count);
    auto& activation = device_activator::DeviceActivationService::Instance();
    activation.Reset();
    activation.SetAliveTimeout(std::chrono::nanoseconds(options_.alive_timeout_ns));

    executable_.emplace("fsrl_replay");
    // Step mode: the queue accepts the adapter's invalidation tasks and the replay runs them between cycles.
    executable_->execution_context()->dispatch_queue().SetStepMode(true);
    auto created = FrontSideRadarLeftHal::Create(&*executable_, "NoInstanceId");
    if (!created.ok()) {
      Fail(std::string("the HAL could not be created (") + zol::afw::core::ToString(created.status()) + ")");
      return false;
    }
    hal_ = std::move(created).value();
    detection_subscription_ = hal_.SubscribeToFsrlDetections([this] { OnDetections(); });
    status_subscription_ = hal_.SubscribeToFsrlStatus([this] { OnStatus(); });

    // A client of our own asks the device activation service what the HAL asks it in each cycle, to count the
    // cycles spent in lost communication without looking into the HAL.
    auto activator = device_activator::DeviceActivator::Create(&*executable_);
    if (activator.ok()) {
      activator_ = std::move(activator).value();
      activator_.Init();
    }
    for (std::size_t group = 0; group < kGroupCount; ++group) {
      const std::string_view name = GroupName(group);
      identities_[group] = service.IdentityOf(zol::string_view(name.data(), name.size()));
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

  void DrainQueue() {
    frames_since_drain_ = 0;
    zol::signalcomm::Service::Instance().FlushNotifications();
    executable_->execution_context()->dispatch_queue().RunPending();
  }

  bool IsCommunicationLost() const {
    const auto errors = activator_.GetRequestedDeviceErrors();
    if (!errors.ok()) {
      return false;  // the HAL counts an unreadable service as communicating, too
    }
    const auto device = errors.value().find(device_activator::DeviceName("FSRL"));
    return device != errors.value().end() &&
           device->second.count(device_activator::DeviceErrorCode::kAliveTimeoutExceeded) != 0;
  }

  // One cycle at T_k; false when the output failed and the replay has to stop.
  bool RunCycle() {
    const std::int64_t t = CycleTime(next_cycle_);
    ++next_cycle_;
    SetClock(t);
    // Everything published so far has been announced and its tasks have run, as on a target whose queue keeps
    // up; the output then does not depend on the signal service's thread.
    DrainQueue();
    zol::afw::core::Transaction::Begin();
    const auto begin = std::chrono::steady_clock::now();
    const ErrorCode result = hal_.ProcessFsrlInput();
    const auto end = std::chrono::steady_clock::now();
    summary_->cycle_us.push_back(std::chrono::duration<double, std::micro>(end - begin).count());
    ++summary_->cycles;
    last_cycle_time_ = t;
    if (zol::afw::core::IsFailure(result)) {
      ++summary_->failed_cycles;
    }
    const bool lost = IsCommunicationLost();
    if (lost) {
      ++summary_->lost_comm_cycles;
      if (!lost_) {
        summary_->lost_comm_periods.emplace_back(t, -1);
      }
    } else if (lost_) {
      summary_->lost_comm_periods.back().second = t;
    }
    lost_ = lost;
    WritePending(t);
    if (options_.progress && end >= next_progress_) {
      ShowProgress(t, end);
    }
    if (output_ && output_->failed()) {
      ReportOutputFailure();
      return false;
    }
    return true;
  }

  void OnDetections() {
    pending_detections_.push_back(hal_.GetFsrlDetections().value());
    pending_.push_back(Kind::kDetections);
  }

  void OnStatus() {
    pending_statuses_.push_back(hal_.GetFsrlStatus().value());
    pending_.push_back(Kind::kStatus);
  }

  void WritePending(std::int64_t t) {
    std::size_t next_detections = 0;
    std::size_t next_status = 0;
    for (const Kind kind : pending_) {
      if (kind == Kind::kDetections) {
        const radar_service::CornerRadarDetections& scan = pending_detections_[next_detections++];
        summary_->detections.push_back(PublishedDetections{t, scan.info().scan_id(), scan.info().is_valid(),
                                                           scan.info().time_stamps().mid_range(),
                                                           PopulatedDetections(scan)});
        if (json_) {
          WriteDetectionsLine(*json_, t, scan);
        }
      } else {
        const radar_service::RadarStatus& status = pending_statuses_[next_status++];
        summary_->statuses.push_back(
            PublishedStatus{t, status.scan_id(), status.fault_reason().is_communication_faulty()});
        if (json_) {
          WriteStatusLine(*json_, t, status);
        }
      }
    }
    pending_.clear();
    pending_detections_.clear();
    pending_statuses_.clear();
  }

  void ShowProgress(std::int64_t t, std::chrono::steady_clock::time_point now) {
    next_progress_ = now + kProgressInterval;
    if (err_ == nullptr) {
      return;
    }
    const double log_seconds = static_cast<double>(t - t0_) / 1e9;
    const int width = std::fprintf(err_, "\rfsrl replay: %.1f s of log, %llu cycles, %zu detection scans, %zu statuses",
                                   log_seconds, static_cast<unsigned long long>(summary_->cycles),
                                   summary_->detections.size(), summary_->statuses.size());
    std::fflush(err_);
    progress_width_ = std::max(progress_width_, width);
  }

  void ClearProgress() {
    if (progress_width_ > 0 && err_ != nullptr) {
      std::fprintf(err_, "\r%*s\r", progress_width_, "");
      std::fflush(err_);
      progress_width_ = 0;
    }
  }

  void ReportOutputFailure() {
    ClearProgress();
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
  HalLogSink log_sink_;
  zol::log::ScopedSink scoped_sink_;
  std::optional<zol::ScopedManualClock> clock_;
  std::optional<zol::afw::core::Executable> executable_;
  device_activator::DeviceActivator activator_;
  FrontSideRadarLeftHal hal_;
  zol::afw::core::Subscription detection_subscription_;
  zol::afw::core::Subscription status_subscription_;
  std::array<SignalComm_Name_t, kGroupCount> identities_{};

  bool started_ = false;
  bool stopped_ = false;
  bool setup_failed_ = false;
  bool output_failure_reported_ = false;
  bool lost_ = false;
  std::int64_t t0_ = 0;
  std::int64_t clock_now_ = 0;
  std::int64_t latest_stamp_ = 0;
  std::int64_t last_cycle_time_ = 0;
  std::uint64_t next_cycle_ = 1;
  std::uint64_t frames_since_drain_ = 0;

  std::vector<Kind> pending_;
  std::vector<radar_service::CornerRadarDetections> pending_detections_;
  std::vector<radar_service::RadarStatus> pending_statuses_;

  std::chrono::steady_clock::time_point wall_start_;
  std::chrono::steady_clock::time_point next_progress_;
  int progress_width_ = 0;
};

ReplaySession::ReplaySession(const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err, ReplaySummary* summary)
    : impl_(std::make_unique<Impl>(options, jsonl_out, err, summary)) {}

ReplaySession::~ReplaySession() = default;

bool ReplaySession::Feed(const CanFrame& frame) { return impl_->Feed(frame); }

int ReplaySession::Finish() { return impl_->Finish(); }

int Replay(const std::vector<CanFrame>& frames, const ReplayOptions& options, std::FILE* jsonl_out, std::FILE* err,
           ReplaySummary* summary) {
  ReplaySession session(options, jsonl_out, err, summary);
  for (const CanFrame& frame : frames) {
    if (!session.Feed(frame)) {
      break;
    }
  }
  return session.Finish();
}

void WriteSummaryJson(const ReplaySummary& summary, std::FILE* out) {
  OutputBuffer output(out, std::size_t{1} << 14);
  JsonWriter json(output);
  json.BeginObject();
  json.Key("cycles");
  json.UInt(summary.cycles);
  json.Key("failed_cycles");
  json.UInt(summary.failed_cycles);
  json.Key("lost_comm_cycles");
  json.UInt(summary.lost_comm_cycles);
  json.Key("detection_scans");
  json.UInt(summary.detections.size());
  json.Key("status_publications");
  json.UInt(summary.statuses.size());
  json.Key("frames");
  json.UInt(summary.frames);
  json.Key("frames_handed_over");
  json.UInt(summary.frames_handed_over());
  json.Key("frames_per_group");
  json.BeginObject();
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    json.Key(GroupName(group));
    json.UInt(summary.frames_per_group[group]);
  }
  json.EndObject();
  json.Key("unmapped_frames");
  json.UInt(summary.unmapped_frames);
  json.Key("remote_frames");
  json.UInt(summary.remote_frames);
  json.Key("error_frames");
  json.UInt(summary.error_frames);
  json.Key("malformed_lines");
  json.UInt(summary.malformed_lines);
  json.Key("lost_comm_periods");
  json.BeginArray();
  for (const auto& period : summary.lost_comm_periods) {
    json.BeginObject();
    json.Key("from");
    WriteTime(json, period.first);
    json.Key("until");
    if (period.second < 0) {
      json.Null();
    } else {
      WriteTime(json, period.second);
    }
    json.EndObject();
  }
  json.EndArray();
  json.Key("process_fsrl_input_us");
  json.BeginObject();
  json.Key("p50");
  json.Double(summary.p50_us());
  json.Key("p99");
  json.Double(summary.p99_us());
  json.Key("max");
  json.Double(summary.max_us());
  json.EndObject();
  json.Key("t0");
  WriteTime(json, summary.t0_ns);
  json.Key("cycle_ms");
  json.Double(static_cast<double>(summary.cycle_ns) / 1e6);
  json.Key("alive_timeout_ms");
  json.Double(static_cast<double>(summary.alive_timeout_ns) / 1e6);
  json.Key("hal_log_lines");
  json.UInt(summary.hal_log_lines);
  json.EndObject();
  json.EndLine();
  output.Flush();
}

}  // namespace fsrl
