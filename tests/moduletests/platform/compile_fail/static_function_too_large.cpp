// Checked by the build, not run: StaticFunction must refuse, at compile time,
// a callable that does not fit its inline storage. Each ZOL_CASE_* selects one
// translation unit; compile_fail.cmake compiles every case and checks that the
// compiler stops with the expected diagnostic, and that the fitting case
// compiles, so the file cannot fail for an unrelated reason.
#include <cstdint>

#include "zol/memory/static_function.h"

namespace {

struct SeventeenBytes {
  std::uint8_t bytes[17];
  void operator()() const {}
};

struct SixteenBytes {
  std::uint8_t bytes[16];
  void operator()() const {}
};

struct alignas(2 * alignof(std::max_align_t)) OverAligned {
  std::uint8_t byte;
  void operator()() const {}
};

}  // namespace

int main() {
#if defined(ZOL_CASE_TOO_LARGE)
  zol::memory::StaticFunction<void()> f(SeventeenBytes{});
#elif defined(ZOL_CASE_OVER_ALIGNED)
  zol::memory::StaticFunction<void(), 64> f(OverAligned{});
#else
  zol::memory::StaticFunction<void()> f(SixteenBytes{});
#endif
  f();
  return 0;
}
