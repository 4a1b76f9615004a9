#include "zol/afw/core/notification_configuration.h"

#include <cstdint>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

using When = zol::afw::core::NotificationConfiguration::When;

std::int32_t ValueOf(When when) { return static_cast<std::int32_t>(when); }

TEST(NotificationConfigurationWhen, IsASigned32BitEnumeration) {
  EXPECT_TRUE((std::is_same<std::underlying_type<When>::type, std::int32_t>::value));
}

TEST(NotificationConfigurationWhen, EnumeratorsHaveTheirFixedValues) {
  EXPECT_EQ(ValueOf(When::kNever), 0);
  EXPECT_EQ(ValueOf(When::kOnWrite), 1);
  EXPECT_EQ(ValueOf(When::kOnChange), 2);
  EXPECT_EQ(ValueOf(When::kDefault), 2);
}

TEST(NotificationConfigurationWhen, DefaultIsOnChange) { EXPECT_EQ(When::kDefault, When::kOnChange); }

}  // namespace
