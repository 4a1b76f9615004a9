// The platform state a test needs before it creates the HAL, as an application's start-up leaves it: no
// transaction, the signal service knowing the radar's groups, no device activations, and the executable's dispatch
// queue run step by step by the test.
#ifndef FSRL_TESTS_SUPPORT_HAL_TEST_PLATFORM_H
#define FSRL_TESTS_SUPPORT_HAL_TEST_PLATFORM_H

#include <utility>

#include <gtest/gtest.h>

#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/signalcomm/service.h"

namespace fsrl_test {

inline void ResetPlatformForHal(zol::afw::core::Executable& executable) {
  zol::afw::core::TransactionTesting::Reset();
  zol::signalcomm::Service::Instance().Reset();
  zol::signalcomm::Service::Instance().DefineSignalGroups(initialfrontsideradarlefthal_signal_groups,
                                                          initialfrontsideradarlefthal_signal_group_count);
  device_activator::DeviceActivationService::Instance().Reset();
  executable.execution_context()->dispatch_queue().SetStepMode(true);
}

/// The HAL created on @p executable with the default instance id; an empty facade, and a test failure, when it cannot
/// be.
inline front_side_radar_left_hal::FrontSideRadarLeftHal CreateHal(zol::afw::core::Executable& executable) {
  auto created = front_side_radar_left_hal::FrontSideRadarLeftHal::Create(&executable, "NoInstanceId");
  EXPECT_TRUE(created.ok());
  if (!created.ok()) {
    return front_side_radar_left_hal::FrontSideRadarLeftHal();
  }
  return std::move(created).value();
}

}  // namespace fsrl_test

#endif  // FSRL_TESTS_SUPPORT_HAL_TEST_PLATFORM_H
