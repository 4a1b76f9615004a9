#include "zol/afw/core/signal_property_status.h"

namespace zol {
namespace afw {
namespace core {

const char* ToString(SignalPropertyStatusCode code) {
  // No default, so that a new enumerator without a name here is a compiler warning.
  switch (code) {
    case SignalPropertyStatusCode::kNotAvailable:
      return "kNotAvailable";
    case SignalPropertyStatusCode::kE2eOk:
      return "kE2eOk";
    case SignalPropertyStatusCode::kE2eNoNewData:
      return "kE2eNoNewData";
    case SignalPropertyStatusCode::kNoNewData:
      return "kNoNewData";
    case SignalPropertyStatusCode::kDataUpdated:
      return "kDataUpdated";
    case SignalPropertyStatusCode::kDataModified:
      return "kDataModified";
    case SignalPropertyStatusCode::kE2eWrongCRC:
      return "kE2eWrongCRC";
    case SignalPropertyStatusCode::kE2eRepeated:
      return "kE2eRepeated";
    case SignalPropertyStatusCode::kE2eWrongSequence:
      return "kE2eWrongSequence";
    case SignalPropertyStatusCode::kLostComm:
      return "kLostComm";
  }
  return "unknown";
}

}  // namespace core
}  // namespace afw
}  // namespace zol
