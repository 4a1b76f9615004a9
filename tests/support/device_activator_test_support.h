// What the device activation tests share: clients created and connected, the requested-device queries read for
// one device, and the reset of both services around each test.
#ifndef FSRL_TEST_SUPPORT_DEVICE_ACTIVATOR_TEST_SUPPORT_H
#define FSRL_TEST_SUPPORT_DEVICE_ACTIVATOR_TEST_SUPPORT_H

#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "device_activator/device_activation_service.h"
#include "device_activator/device_activator.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/error_code.h"
#include "zol/signalcomm/service.h"

namespace fsrl_test {

inline const device_activator::DeviceName kFsrlDevice("FSRL");

inline device_activator::DeviceActivator CreateClient(const zol::afw::core::ContextualObject* parent) {
  auto created = device_activator::DeviceActivator::Create(parent);
  EXPECT_TRUE(created.ok());
  return std::move(created).value();
}

inline device_activator::DeviceActivator ConnectedClient(const zol::afw::core::ContextualObject* parent) {
  device_activator::DeviceActivator client = CreateClient(parent);
  EXPECT_EQ(client.Init(), zol::afw::core::ErrorCode::kSuccess);
  return client;
}

/// The errors @p client reports for @p device; a test failure when it reports none for it.
inline std::set<device_activator::DeviceErrorCode> ErrorsOf(const device_activator::DeviceActivator& client,
                                                            const char* device) {
  const auto errors = client.GetRequestedDeviceErrors();
  EXPECT_TRUE(errors.ok());
  const auto found = errors.value().find(device_activator::DeviceName(device));
  if (found == errors.value().end()) {
    ADD_FAILURE() << "no entry for " << device;
    return {};
  }
  return {found->second.begin(), found->second.end()};
}

/// Resets the device activation service and the signal service before and after each test.
class DeviceActivationTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetServices(); }
  void TearDown() override { ResetServices(); }

  static device_activator::DeviceActivationService& service() {
    return device_activator::DeviceActivationService::Instance();
  }

 private:
  static void ResetServices() {
    device_activator::DeviceActivationService::Instance().Reset();
    zol::signalcomm::Service::Instance().Reset();
  }
};

}  // namespace fsrl_test

#endif  // FSRL_TEST_SUPPORT_DEVICE_ACTIVATOR_TEST_SUPPORT_H
