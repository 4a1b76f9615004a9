#ifndef ZOL_AFW_CORE_ERROR_CODE_H
#define ZOL_AFW_CORE_ERROR_CODE_H

#include <cstdint>

#include "zol/nodiscard.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Outcome of a framework operation.
///
/// Zero and positive values are successes (kPending: accepted, the result follows later); negative values are
/// failures. The numeric values are part of the binary interface and must never change.
///
/// A returned code must be looked at: a caller that drops one gets a warning (an error in -Werror builds). Where
/// the outcome really does not matter, cast it to void and say why.
enum class ZOL_NODISCARD ErrorCode : std::int32_t {
  kSuccess = 0,
  kPending = 1,
  kFailure = -1,
  kBadArgument = -2,
  kAccessDenied = -3,
  kNotImplemented = -4,
  kBusy = -5,
  kNotSupported = -6,
  kNotAvailable = -7,
  kNotFound = -8,
  kValueTooLarge = -9,
  kBadState = -10,
  kTimeout = -11,
};

/// @brief True for every negative code, including codes this version does not name.
constexpr bool IsFailure(ErrorCode code) { return static_cast<std::int32_t>(code) < 0; }

/// @brief True for zero and every positive code.
constexpr bool IsSuccess(ErrorCode code) { return !IsFailure(code); }

/// @brief The enumerator's name ("kSuccess", "kTimeout", ...), or "unknown" for a value without a name.
const char* ToString(ErrorCode code);

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_ERROR_CODE_H
