// fsrl_example: creates the left front side radar HAL the way an application does and prints what it offers.
//
// The HAL is created with "NoInstanceId", which picks the implementation variant when exactly one is registered
// in the library. Without a variant there is nothing to create; the example then explains why and still counts as
// a successful run. Exit code 0 when the HAL behaved as documented, 1 otherwise.
#include <cstdint>
#include <iostream>
#include <string>
#include <utility>

#include "frontsideradarlefthal.h"
#include "zol/afw/core/component_descriptor.h"
#include "zol/afw/core/error_code.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using front_side_radar_left_hal::ServiceMode;
using zol::afw::core::ErrorCode;

constexpr char kComponentName[] = "frontsideradarlefthal";

std::string Describe(ErrorCode code) {
  return std::string(zol::afw::core::ToString(code)) + " (" + std::to_string(static_cast<std::int32_t>(code)) + ")";
}

const char* YesNo(bool value) { return value ? "yes" : "no"; }

const char* Describe(ServiceMode mode) {
  switch (mode) {
    case ServiceMode::kInactive:
      return "inactive";
    case ServiceMode::kActive:
      return "active";
  }
  return "unknown";
}

const char* Describe(radar_service::SensorBlockage blockage) {
  switch (blockage) {
    case radar_service::SensorBlockage::kBlockageUnknown:
      return "blockage unknown";
    case radar_service::SensorBlockage::kFullBlockage:
      return "fully blocked";
    case radar_service::SensorBlockage::kNoBlockage:
      return "not blocked";
  }
  return "blockage unknown";
}

// Create failed: say why, from what the component registry holds. Returns whether the failure was the expected one.
bool ExplainCreateFailure(ErrorCode status) {
  const auto instance_ids = zol::afw::core::ComponentDescriptorCollection::instance().instance_ids(kComponentName);
  std::cout << "FrontSideRadarLeftHal::Create(nullptr, \"NoInstanceId\") returned " << Describe(status)
            << " without a HAL.\n";
  std::cout << "Registered implementation variants of \"" << kComponentName << "\": " << instance_ids.size();
  for (const auto& id : instance_ids) {
    std::cout << " \"" << id << "\"";
  }
  std::cout << "\n";

  if (status == ErrorCode::kFailure && instance_ids.size() != 1U) {
    std::cout << "\"NoInstanceId\" selects a variant only when exactly one is registered, so there was nothing to "
                 "create. This is expected while the library registers no variant.\n";
    return true;
  }
  if (status == ErrorCode::kFailure) {
    std::cout << "The one registered variant \"" << instance_ids.front()
              << "\" is not a FrontSideRadarLeftHal variant.\n";
  } else {
    std::cout << "The variant failed to build its implementation.\n";
  }
  return false;
}

// Create succeeded: print what the HAL holds right after start-up.
bool ShowHal(const FrontSideRadarLeftHal& radar) {
  bool as_expected = true;

  const auto detections = radar.GetFsrlDetections();
  std::cout << "GetFsrlDetections: " << Describe(detections.status());
  if (detections.has_value()) {
    std::cout << ", scan id " << static_cast<unsigned>(detections->info().scan_id()) << ", valid "
              << YesNo(detections->info().is_valid()) << ", " << detections->detections().size() << " detection slots";
  } else {
    as_expected = false;
  }
  std::cout << "\n";

  const auto status = radar.GetFsrlStatus();
  std::cout << "GetFsrlStatus: " << Describe(status.status());
  if (status.has_value()) {
    std::cout << ", scan id " << static_cast<unsigned>(status->scan_id()) << ", sensor on "
              << YesNo(status->is_sensor_status_on()) << ", " << Describe(status->blockage())
              << ", communication fault " << YesNo(status->fault_reason().is_communication_faulty());
  } else {
    as_expected = false;
  }
  std::cout << "\n";

  const auto mode = radar.GetServiceMode();
  std::cout << "GetServiceMode: " << Describe(mode.status());
  if (mode.has_value()) {
    std::cout << ", " << Describe(*mode);
  }
  std::cout << "\n";

  std::cout << "No input cycle has run yet, so these are the values before the first complete scan.\n";
  return as_expected;
}

}  // namespace

int main() {
  std::cout << "Creating the left front side radar HAL (instance \"NoInstanceId\", no parent object).\n";
  // Without a parent the implementation has no execution context; fine for reading its initial state, which is
  // all this example does.
  auto created = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId");
  if (!created.has_value()) {
    return ExplainCreateFailure(created.status()) ? 0 : 1;
  }

  std::cout << "Create returned " << Describe(created.status()) << ".\n";
  const FrontSideRadarLeftHal radar = std::move(created).value();
  return ShowHal(radar) ? 0 : 1;
}
