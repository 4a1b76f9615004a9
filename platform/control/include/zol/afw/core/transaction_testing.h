/// @file
/// @brief Test hooks of the transaction callback stores, for tests and tools only.
#ifndef ZOL_AFW_CORE_TRANSACTION_TESTING_H
#define ZOL_AFW_CORE_TRANSACTION_TESTING_H

#include <cstddef>

#include "zol/afw/core/error_code.h"
#include "zol/afw/core/transaction.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Reaches into the current store (Transaction::Current()): the store of the dispatch queue whose task the
/// calling thread runs, of the innermost scope, or the process's default store.
class TransactionTesting {
 public:
  /// @brief The next @p count registrations in the current store fail with @p code and store nothing.
  static void FailNextRegistrations(std::size_t count, ErrorCode code);

  /// @brief Drops the current store's waiting callbacks without running them and ends any injected failure
  /// there, so that a test starts from an empty store.
  static void Reset();
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_TRANSACTION_TESTING_H
