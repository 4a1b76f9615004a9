#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "fuzz_targets.h"

namespace fsrl_fuzz {
namespace {

std::atomic<FailureHandler> g_handler{nullptr};

}  // namespace

void SetFailureHandler(FailureHandler handler) { g_handler.store(handler); }

void FuzzFail(const std::string& message) {
  const FailureHandler handler = g_handler.load();
  if (handler != nullptr) {
    handler(message);  // may throw, so that a test reports the input and goes on with the next one
  }
  std::fprintf(stderr, "fuzz invariant broken: %s\n", message.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace fsrl_fuzz
