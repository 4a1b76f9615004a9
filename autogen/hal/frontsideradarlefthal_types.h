// Public value types of the HAL (placeholder: the radar data model follows).
#ifndef FRONTSIDERADARLEFTHAL_TYPES_H
#define FRONTSIDERADARLEFTHAL_TYPES_H

#include <cstdint>

namespace front_side_radar_left_hal {

/// Whether the application asks for the radar to be active.
enum class ServiceMode : std::uint32_t {
  kInactive = 0,  ///< the sensor is not requested active (no service mode)
  kActive = 1,    ///< the sensor is requested active
};

}  // namespace front_side_radar_left_hal

#endif  // FRONTSIDERADARLEFTHAL_TYPES_H
