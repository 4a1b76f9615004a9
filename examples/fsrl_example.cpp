// fsrl_example: an application using the left front side radar HAL, start to finish.
//
// It does what an application on the vehicle does: its executable owns an execution context, the HAL is created
// with the executable as parent (so the HAL runs on that context), subscribers are registered, and
// ProcessFsrlInput runs once per cycle. On a workstation the platform substitute stands in for the vehicle: the
// signal service is told which signal groups the radar sends, which the vehicle's service knows from its own
// configuration. No radar is connected here, so the cycles see no data; `fsrl demo` feeds a simulated radar.
// Exit code 0 when the HAL behaved as documented, 1 otherwise.
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>

#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/transaction.h"
#include "zol/signalcomm/service.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using front_side_radar_left_hal::ServiceMode;
using zol::afw::core::ErrorCode;

std::string Describe(ErrorCode code) {
  return std::string(zol::afw::core::ToString(code)) + " (" + std::to_string(static_cast<std::int32_t>(code)) + ")";
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

const char* Describe(ServiceMode mode) { return mode == ServiceMode::kActive ? "active" : "inactive"; }

struct Counters {
  int detections = 0;
  int status = 0;
};

}  // namespace

int main() {
  // The signal groups the radar sends, as the platform's signal service must know them.
  zol::signalcomm::Service::Instance().DefineSignalGroups(
      initialfrontsideradarlefthal_signal_groups,
      sizeof(initialfrontsideradarlefthal_signal_groups) / sizeof(initialfrontsideradarlefthal_signal_groups[0]));

  zol::afw::core::Executable executable("fsrl_example");
  auto created = FrontSideRadarLeftHal::Create(&executable, "NoInstanceId");
  std::cout << "FrontSideRadarLeftHal::Create: " << Describe(created.status()) << "\n";
  if (!created.has_value()) {
    return 1;
  }
  FrontSideRadarLeftHal radar = std::move(created).value();

  Counters counters;
  Counters* const counted = &counters;
  const auto detection_subscription = radar.SubscribeToFsrlDetections([counted]() { ++counted->detections; });
  const auto status_subscription = radar.SubscribeToFsrlStatus([counted]() { ++counted->status; });

  bool as_expected = true;
  for (int cycle = 1; cycle <= 3; ++cycle) {
    zol::afw::core::Transaction::Begin();
    const ErrorCode result = radar.ProcessFsrlInput();
    std::cout << "cycle " << cycle << ": ProcessFsrlInput " << Describe(result) << "\n";
    as_expected = as_expected && result == ErrorCode::kSuccess;
  }
  std::cout << "notifications: " << counters.detections << " detection scans, " << counters.status
            << " status updates (no radar connected, so none)\n";

  const auto detections = radar.GetFsrlDetections();
  std::cout << "GetFsrlDetections: " << Describe(detections.status()) << ", scan id "
            << static_cast<unsigned>(detections->info().scan_id()) << ", valid " << YesNo(detections->info().is_valid())
            << ", " << detections->detections().size() << " detection slots\n";
  const auto status = radar.GetFsrlStatus();
  std::cout << "GetFsrlStatus: " << Describe(status.status()) << ", sensor on " << YesNo(status->is_sensor_status_on())
            << ", communication fault " << YesNo(status->fault_reason().is_communication_faulty()) << "\n";

  const ErrorCode requested = radar.RequestServiceMode(ServiceMode::kActive);
  const auto mode = radar.GetServiceMode();
  std::cout << "RequestServiceMode(kActive): " << Describe(requested) << "; GetServiceMode: " << Describe(mode.status())
            << ", " << (mode.has_value() ? Describe(*mode) : "none") << "\n";
  as_expected = as_expected && mode.has_value() && *mode == ServiceMode::kActive;

  // Requests outlive the HAL object on purpose; an application that is done with the radar says so.
  const ErrorCode released = radar.RequestServiceMode(ServiceMode::kInactive);
  std::cout << "RequestServiceMode(kInactive): " << Describe(released) << "\n";
  as_expected = as_expected && released == ErrorCode::kSuccess;
  std::cout << (as_expected ? "The HAL behaved as documented.\n" : "Unexpected behaviour, see above.\n");
  return as_expected ? 0 : 1;
}
