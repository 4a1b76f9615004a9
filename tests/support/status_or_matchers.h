// gmock matchers for zol::afw::core::StatusOr.
#ifndef FSRL_TEST_SUPPORT_STATUS_OR_MATCHERS_H
#define FSRL_TEST_SUPPORT_STATUS_OR_MATCHERS_H

#include <gmock/gmock.h>

namespace fsrl_test {

/// A StatusOr that holds no value and carries the error @p code.
MATCHER_P(FailsWith, code, std::string("holds no value and carries error ") + ::testing::PrintToString(code)) {
  if (arg.has_value()) {
    *result_listener << "holds a value";
    return false;
  }
  *result_listener << "carries error " << ::testing::PrintToString(arg.status());
  return arg.status() == code;
}

}  // namespace fsrl_test

#endif  // FSRL_TEST_SUPPORT_STATUS_OR_MATCHERS_H
