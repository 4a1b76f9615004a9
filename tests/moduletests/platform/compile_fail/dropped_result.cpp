// Checked by the build, not run: a caller that drops a returned ErrorCode or StatusOr must not compile in library
// code (C++14, -Werror). Each ZOL_CASE_* selects one translation unit; compile_fail.cmake compiles every case with
// each compiler the builds use and checks the diagnostic. The control case reads every result or casts it away on
// purpose and must compile, so that the file cannot fail for an unrelated reason.
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/status_or.h"

namespace {

zol::afw::core::ErrorCode Send() { return zol::afw::core::ErrorCode::kBusy; }

zol::afw::core::StatusOr<int> Read() { return 42; }

struct Client {
  zol::afw::core::ErrorCode Init() const { return zol::afw::core::ErrorCode::kSuccess; }
};

}  // namespace

int main() {
  int failures = 0;
#if defined(ZOL_CASE_DROPPED_ERROR_CODE)
  Send();
#elif defined(ZOL_CASE_DROPPED_STATUS_OR)
  Read();
#elif defined(ZOL_CASE_DROPPED_MEMBER_RESULT)
  const Client client;
  client.Init();
#else
  if (zol::afw::core::IsFailure(Send())) {
    ++failures;
  }
  const zol::afw::core::StatusOr<int> read = Read();
  if (!read.ok()) {
    ++failures;
  }
  const Client client;
  // Cast away on purpose: the control case shows that an explicit cast is the way to say so.
  static_cast<void>(client.Init());
  (void)Read();
#endif
  return failures;
}
