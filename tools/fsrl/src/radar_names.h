// Names of the radar data model's enumerators, as the replay's JSON lines spell them; shared by the CSV and MCAP
// outputs so that every format names a value alike.
#ifndef FSRL_SRC_RADAR_NAMES_H
#define FSRL_SRC_RADAR_NAMES_H

#include "frontsideradarlefthal_types.h"

namespace fsrl::internal {

// nullptr for a value without enumerator: the caller then writes the integer, so that nothing is lost.
inline const char* NameOf(radar_service::Mode value) {
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

inline const char* NameOf(radar_service::QualityAggregated value) {
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

inline const char* NameOf(radar_service::CalibrationStatus value) {
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

inline const char* NameOf(radar_service::SensorBlockage value) {
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

inline const char* NameOf(radar_service::Interference value) {
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

}  // namespace fsrl::internal

#endif  // FSRL_SRC_RADAR_NAMES_H
