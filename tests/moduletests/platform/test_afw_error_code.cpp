#include "zol/afw/core/error_code.h"

#include <cstdint>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using zol::afw::core::ErrorCode;

std::int32_t ValueOf(ErrorCode code) { return static_cast<std::int32_t>(code); }

TEST(ErrorCode, IsASigned32BitEnumeration) {
  EXPECT_TRUE((std::is_same<std::underlying_type<ErrorCode>::type, std::int32_t>::value));
  EXPECT_EQ(sizeof(ErrorCode), 4U);
}

TEST(ErrorCode, EnumeratorsHaveTheirFixedValues) {
  EXPECT_EQ(ValueOf(ErrorCode::kSuccess), 0);
  EXPECT_EQ(ValueOf(ErrorCode::kPending), 1);
  EXPECT_EQ(ValueOf(ErrorCode::kFailure), -1);
  EXPECT_EQ(ValueOf(ErrorCode::kBadArgument), -2);
  EXPECT_EQ(ValueOf(ErrorCode::kAccessDenied), -3);
  EXPECT_EQ(ValueOf(ErrorCode::kNotImplemented), -4);
  EXPECT_EQ(ValueOf(ErrorCode::kBusy), -5);
  EXPECT_EQ(ValueOf(ErrorCode::kNotSupported), -6);
  EXPECT_EQ(ValueOf(ErrorCode::kNotAvailable), -7);
  EXPECT_EQ(ValueOf(ErrorCode::kNotFound), -8);
  EXPECT_EQ(ValueOf(ErrorCode::kValueTooLarge), -9);
  EXPECT_EQ(ValueOf(ErrorCode::kBadState), -10);
  EXPECT_EQ(ValueOf(ErrorCode::kTimeout), -11);
}

TEST(ErrorCode, NegativeCodesAreFailuresAndTheOthersSuccesses) {
  EXPECT_TRUE(zol::afw::core::IsSuccess(ErrorCode::kSuccess));
  EXPECT_TRUE(zol::afw::core::IsSuccess(ErrorCode::kPending));
  EXPECT_FALSE(zol::afw::core::IsFailure(ErrorCode::kPending));
  EXPECT_TRUE(zol::afw::core::IsFailure(ErrorCode::kFailure));
  EXPECT_TRUE(zol::afw::core::IsFailure(ErrorCode::kTimeout));
  EXPECT_FALSE(zol::afw::core::IsSuccess(ErrorCode::kTimeout));
  EXPECT_TRUE(zol::afw::core::IsFailure(static_cast<ErrorCode>(-100)));
  // Usable in constant expressions, e.g. in static_asserts over tables of codes.
  static_assert(zol::afw::core::IsFailure(ErrorCode::kBusy), "kBusy is a failure");
  static_assert(zol::afw::core::IsSuccess(ErrorCode::kSuccess), "kSuccess is a success");
}

TEST(ErrorCode, ToStringNamesEveryEnumerator) {
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kSuccess), "kSuccess");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kPending), "kPending");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kFailure), "kFailure");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kBadArgument), "kBadArgument");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kAccessDenied), "kAccessDenied");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kNotImplemented), "kNotImplemented");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kBusy), "kBusy");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kNotSupported), "kNotSupported");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kNotAvailable), "kNotAvailable");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kNotFound), "kNotFound");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kValueTooLarge), "kValueTooLarge");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kBadState), "kBadState");
  EXPECT_STREQ(zol::afw::core::ToString(ErrorCode::kTimeout), "kTimeout");
}

TEST(ErrorCode, ToStringOfAValueWithoutANameIsUnknown) {
  EXPECT_STREQ(zol::afw::core::ToString(static_cast<ErrorCode>(-12)), "unknown");
  EXPECT_STREQ(zol::afw::core::ToString(static_cast<ErrorCode>(2)), "unknown");
}

}  // namespace
