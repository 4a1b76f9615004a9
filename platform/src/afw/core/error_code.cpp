#include "zol/afw/core/error_code.h"

namespace zol {
namespace afw {
namespace core {

const char* ToString(ErrorCode code) {
  // No default: the compiler then warns when an enumerator is added without a name here. Values outside the
  // enumerators (a code from a newer peer, a cast integer) fall through to "unknown".
  switch (code) {
    case ErrorCode::kSuccess:
      return "kSuccess";
    case ErrorCode::kPending:
      return "kPending";
    case ErrorCode::kFailure:
      return "kFailure";
    case ErrorCode::kBadArgument:
      return "kBadArgument";
    case ErrorCode::kAccessDenied:
      return "kAccessDenied";
    case ErrorCode::kNotImplemented:
      return "kNotImplemented";
    case ErrorCode::kBusy:
      return "kBusy";
    case ErrorCode::kNotSupported:
      return "kNotSupported";
    case ErrorCode::kNotAvailable:
      return "kNotAvailable";
    case ErrorCode::kNotFound:
      return "kNotFound";
    case ErrorCode::kValueTooLarge:
      return "kValueTooLarge";
    case ErrorCode::kBadState:
      return "kBadState";
    case ErrorCode::kTimeout:
      return "kTimeout";
  }
  return "unknown";
}

}  // namespace core
}  // namespace afw
}  // namespace zol
