#include "zol/detail/panic.h"

#include <cstdio>
#include <cstdlib>

namespace zol {
namespace detail {

void Panic(const char* what) noexcept {
  // stdio rather than iostreams: this may run during static destruction or with a broken heap.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
  std::fprintf(stderr, "zol panic: %s\n", what != nullptr ? what : "(no reason given)");
  std::fflush(stderr);
  std::abort();
}

}  // namespace detail
}  // namespace zol
