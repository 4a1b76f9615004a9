// libFuzzer entry point; the logic lives in frame_source_logic.cpp, where the regression tests reach it too.
#include <cstddef>
#include <cstdint>

#include "fuzz_targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fsrl_fuzz::RunCandumpLongReader(data, size);
  return 0;
}
