// Unit conversions shared by the scan data containers and the signal translation.
#ifndef FSRL_COMMON_UTILS_CONVERTERS_H
#define FSRL_COMMON_UTILS_CONVERTERS_H

/// Converts an angle from degrees to radians in single precision.
///
/// The product is formed before the division and both steps stay in float, so consumers comparing against
/// values computed the same way on the sensor side get bit-identical results (180 degrees gives 3.1415927f).
inline constexpr float ConvertToRadians(float angle) noexcept { return angle * 3.1415927F / 180.0F; }

#endif  // FSRL_COMMON_UTILS_CONVERTERS_H
