#include "zol/afw/core/signal_property_status.h"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;

std::int32_t ValueOf(SignalPropertyStatusCode code) { return static_cast<std::int32_t>(code); }

TEST(SignalPropertyStatusCode, IsASigned32BitEnumeration) {
  EXPECT_TRUE((std::is_same<std::underlying_type<SignalPropertyStatusCode>::type, std::int32_t>::value));
}

TEST(SignalPropertyStatusCode, EnumeratorsHaveTheirFixedValues) {
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kNotAvailable), 0);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kE2eOk), 1);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kE2eNoNewData), 2);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kNoNewData), 3);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kDataUpdated), 4);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kDataModified), 5);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kE2eWrongCRC), -1);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kE2eRepeated), -2);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kE2eWrongSequence), -3);
  EXPECT_EQ(ValueOf(SignalPropertyStatusCode::kLostComm), -4);
}

TEST(SignalPropertyStatus, StartsAsNotAvailable) {
  const SignalPropertyStatus status;
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kNotAvailable);
}

TEST(SignalPropertyStatusCode, ToStringNamesEveryEnumerator) {
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kNotAvailable), "kNotAvailable");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kE2eOk), "kE2eOk");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kE2eNoNewData), "kE2eNoNewData");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kNoNewData), "kNoNewData");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kDataUpdated), "kDataUpdated");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kDataModified), "kDataModified");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kE2eWrongCRC), "kE2eWrongCRC");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kE2eRepeated), "kE2eRepeated");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kE2eWrongSequence), "kE2eWrongSequence");
  EXPECT_STREQ(zol::afw::core::ToString(SignalPropertyStatusCode::kLostComm), "kLostComm");
  EXPECT_STREQ(zol::afw::core::ToString(static_cast<SignalPropertyStatusCode>(6)), "unknown");
}

}  // namespace
