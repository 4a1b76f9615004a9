// The signal service as the platform's signal tests set it up: reset around each test, with three groups defined.
#ifndef FSRL_TEST_SUPPORT_SIGNALCOMM_TEST_SUPPORT_H
#define FSRL_TEST_SUPPORT_SIGNALCOMM_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include "zol/signalcomm/service.h"
#include "zol/signalcomm/signal_comm.h"

namespace fsrl_test {

/// A notification callback for contexts whose notifications a test does not look at.
inline void IgnoreNotification(const unsigned long* /*names*/, unsigned long /*count*/, void* /*user*/) {}

/// Resets the signal service before and after each test and defines "Alpha" (4 bytes), "Beta" (8) and "Gamma" (2).
class ThreeSignalGroups : public ::testing::Test {
 protected:
  void SetUp() override {
    zol::signalcomm::Service& service = zol::signalcomm::Service::Instance();
    service.Reset();
    service.DefineSignalGroup("Alpha", 4);
    service.DefineSignalGroup("Beta", 8);
    service.DefineSignalGroup("Gamma", 2);
    alpha_ = service.IdentityOf("Alpha");
    beta_ = service.IdentityOf("Beta");
    gamma_ = service.IdentityOf("Gamma");
  }
  void TearDown() override { zol::signalcomm::Service::Instance().Reset(); }

  SignalComm_Name_t alpha_ = 0;
  SignalComm_Name_t beta_ = 0;
  SignalComm_Name_t gamma_ = 0;
};

}  // namespace fsrl_test

#endif  // FSRL_TEST_SUPPORT_SIGNALCOMM_TEST_SUPPORT_H
