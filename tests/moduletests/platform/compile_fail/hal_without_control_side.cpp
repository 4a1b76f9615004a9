// Built with the HAL library's include directories: the platform's control side (what only tests and tools
// use) must not be reachable from there. The control case includes what the HAL does use, and must compile.
#if defined(ZOL_CASE_SIGNAL_SERVICE)
#include "zol/signalcomm/service.h"
#elif defined(ZOL_CASE_E2E_TESTING)
#include "zol/e2e/e2e_protection_testing.h"
#elif defined(ZOL_CASE_DEVICE_SERVICE)
#include "device_activator/device_activation_service.h"
#elif defined(ZOL_CASE_TRANSACTION_TESTING)
#include "zol/afw/core/transaction_testing.h"
#endif

#include "device_activator/device_activator.h"
#include "zol/afw/core/transaction.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/signalcomm/signal_comm.h"

int main() { return 0; }
