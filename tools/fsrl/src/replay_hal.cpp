// Replay concern: the HAL under replay: its set-up on the platform, the hand-over of frames, one input cycle and
// the notifications it brings, and the lost-communication question.
#include "replay_hal.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "device_activator/device_activation_service.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/transaction.h"
#include "zol/memory/span.h"

namespace fsrl::internal {
namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using zol::afw::core::ErrorCode;

// Handing over more frames than the owner's queue holds tasks, without running them, would make the queue refuse
// the adapter's invalidation tasks; a long stretch of frames between two cycles is drained every this many.
constexpr std::uint64_t kFramesPerDrain = 256;

}  // namespace

ReplayHal::ReplayHal(std::FILE* err, bool forward_log) : log_sink_(err, forward_log), scoped_sink_(&log_sink_) {
  // A cycle normally brings one or two notifications of each kind.
  pending_.order.reserve(8);
  pending_.detections.reserve(4);
  pending_.statuses.reserve(4);
}

ReplayHal::~ReplayHal() {
  // Subscriptions and the HAL go before the executable whose context they use, and all of them before the clock
  // returns to system time.
  detection_subscription_.Cancel();
  status_subscription_.Cancel();
  hal_ = FrontSideRadarLeftHal();
  activator_ = device_activator::DeviceActivator();
  executable_.reset();
  clock_.reset();
}

std::string ReplayHal::Start(std::int64_t t0, std::int64_t alive_timeout_ns) {
  clock_now_ = t0;
  // The clock goes first: the signal service measures alive supervision from its start time, which must be t0.
  clock_.emplace(zol::MonoClock::time_point(std::chrono::nanoseconds(t0)));
  auto& service = zol::signalcomm::Service::Instance();
  service.Reset();
  service.DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                             initialfrontsideradarlefthal_signal_group_count);
  auto& activation = device_activator::DeviceActivationService::Instance();
  activation.Reset();
  activation.SetAliveTimeout(std::chrono::nanoseconds(alive_timeout_ns));

  executable_.emplace("fsrl_replay");
  // Step mode: the queue accepts the adapter's invalidation tasks and the replay runs them between cycles.
  executable_->execution_context()->dispatch_queue().SetStepMode(true);
  auto created = FrontSideRadarLeftHal::Create(&*executable_, "NoInstanceId");
  if (!created.ok()) {
    return std::string("the HAL could not be created (") + zol::afw::core::ToString(created.status()) + ")";
  }
  hal_ = std::move(created).value();
  detection_subscription_ = hal_.SubscribeToFsrlDetections([this] {
    pending_.detections.push_back(hal_.GetFsrlDetections().value());
    pending_.order.push_back(Notifications::Kind::kDetections);
  });
  status_subscription_ = hal_.SubscribeToFsrlStatus([this] {
    pending_.statuses.push_back(hal_.GetFsrlStatus().value());
    pending_.order.push_back(Notifications::Kind::kStatus);
  });

  // A client of our own asks the device activation service what the HAL asks it in each cycle, to count the
  // cycles spent in lost communication without looking into the HAL.
  auto activator = device_activator::DeviceActivator::Create(&*executable_);
  if (activator.ok()) {
    activator_ = std::move(activator).value();
    if (zol::afw::core::IsFailure(activator_.Init())) {
      return "the device activation client did not connect; cycles in lost communication cannot be counted";
    }
  }
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    const std::string_view name = GroupName(group);
    identities_[group] = service.IdentityOf(zol::string_view(name.data(), name.size()));
  }
  return {};
}

void ReplayHal::SetClock(std::int64_t ns) {
  clock_now_ = ns;
  clock_->Set(zol::MonoClock::time_point(std::chrono::nanoseconds(ns)));
}

void ReplayHal::Publish(std::size_t group, const CanFrame& frame) {
  zol::signalcomm::Service::Instance().Publish(
      identities_[group], zol::memory::span<const std::uint8_t>(frame.data, GroupPayloadBytes(group, frame)));
  if (++frames_since_drain_ >= kFramesPerDrain) {
    DrainQueue();
  }
}

void ReplayHal::DrainQueue() {
  frames_since_drain_ = 0;
  zol::signalcomm::Service::Instance().FlushNotifications();
  executable_->execution_context()->dispatch_queue().RunPending();
}

bool ReplayHal::ProcessInputFailed(double& wall_us) {
  zol::afw::core::Transaction::Begin();
  const auto begin = std::chrono::steady_clock::now();
  const ErrorCode result = hal_.ProcessFsrlInput();
  const auto end = std::chrono::steady_clock::now();
  wall_us = std::chrono::duration<double, std::micro>(end - begin).count();
  return zol::afw::core::IsFailure(result);
}

bool ReplayHal::IsCommunicationLost() const {
  const auto errors = activator_.GetRequestedDeviceErrors();
  if (!errors.ok()) {
    return false;  // the HAL counts an unreadable service as communicating, too
  }
  const auto device = errors.value().find(device_activator::DeviceName("FSRL"));
  return device != errors.value().end() &&
         device->second.count(device_activator::DeviceErrorCode::kAliveTimeoutExceeded) != 0;
}

}  // namespace fsrl::internal
