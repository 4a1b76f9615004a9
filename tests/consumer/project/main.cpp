// Uses the installed HAL through its public header only, and exits non-zero if anything it relies on is off.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "frontsideradarlefthal.h"

int main() {
  using front_side_radar_left_hal::FrontSideRadarLeftHal;

  int failures = 0;

  // An empty facade must report the misuse through the documented exception.
  FrontSideRadarLeftHal hal;
  try {
    // Throws: there is no result to look at.
    static_cast<void>(hal.ProcessFsrlInput());
    std::fprintf(stderr, "ProcessFsrlInput on an empty facade did not throw\n");
    ++failures;
  } catch (const std::logic_error& error) {
    if (std::string(error.what()) != "Function called on default constructed FrontSideRadarLeftHal") {
      std::fprintf(stderr, "unexpected message: %s\n", error.what());
      ++failures;
    }
  }

  // The data model comes with the package and behaves as a plain value type.
  radar_service::CornerRadarDetections detections;
  radar_service::RadarDetectionsInfo info = detections.info();
  info.set_scan_id(17U);
  info.set_is_valid(true);
  detections.set_info(info);
  if (detections.info().scan_id() != 17U || !detections.info().is_valid() || detections.detections().size() != 200U) {
    std::fprintf(stderr, "radar_service::CornerRadarDetections does not hold what was set\n");
    ++failures;
  }

  // The detection count is usable as a C++14 program uses constants: std::max takes it by reference, which needs a
  // definition to link against.
  const std::size_t& count = std::max(std::size_t{1U}, radar_service::CornerRadarDetections::kDetectionCount);
  if (count != 200U || &count != &radar_service::CornerRadarDetections::kDetectionCount) {
    std::fprintf(stderr, "CornerRadarDetections::kDetectionCount is not the one definition of 200\n");
    ++failures;
  }

  // Create is exported and answers with a status, whatever variants the installed library registers.
  const auto created = FrontSideRadarLeftHal::Create(nullptr, "ConsumerTestUnknownInstance");
  if (created.has_value() || created.status() != zol::afw::core::ErrorCode::kFailure) {
    std::fprintf(stderr, "Create with an unknown instance id did not fail with kFailure\n");
    ++failures;
  }

  if (failures == 0) {
    std::printf("consumer: the installed HAL package works\n");
  }
  return failures == 0 ? 0 : 1;
}
