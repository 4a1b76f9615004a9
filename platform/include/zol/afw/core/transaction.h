/// @file
/// @brief Process-wide transaction boundaries and the callbacks that wait for the next one.
#ifndef ZOL_AFW_CORE_TRANSACTION_H
#define ZOL_AFW_CORE_TRANSACTION_H

#include <cstddef>

#include "zol/afw/core/error_code.h"
#include "zol/memory/static_function.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Marks the start of a transaction: one unit of work of a dispatch queue.
///
/// Components that keep per-transaction state (a snapshot that must be taken once per transaction, for example)
/// register a callback that resets it; the callback runs once, when the next transaction begins, and has to be
/// registered again to run again. Every task a DispatchQueue runs is one transaction: the queue calls Begin()
/// right before the task's Execute().
///
/// The callbacks are process-wide and held in bounded inline storage, so registering never allocates.
/// All operations are thread-safe.
class Transaction {
 public:
  /// @brief A begin-transaction callback; held inline, never allocates.
  using Callback = zol::memory::StaticFunction<void(), 16>;

  /// @brief How many callbacks may wait for the next transaction.
  static constexpr std::size_t kMaxCallbacks = 256;

  Transaction() = delete;

  /// @brief Stores @p callback to run once when the next transaction begins.
  /// @return kSuccess; kBusy when kMaxCallbacks callbacks are already waiting; kBadArgument for an empty
  /// callback; or the code injected by FailNextRegistrations(). The callback is not stored on failure.
  static ErrorCode AddBeginTransactionCallback(Callback callback);

  /// @brief Begins a transaction: runs, in registration order, every callback registered before this call, and
  /// forgets them.
  ///
  /// The callbacks run on the calling thread without any lock held, so they may register callbacks themselves;
  /// those wait for the next Begin().
  static void Begin();

  /// @brief The number of callbacks waiting for the next transaction.
  static std::size_t pending_callbacks();

  /// @brief Test hook: the next @p count registrations fail with @p code and store nothing.
  static void FailNextRegistrations(std::size_t count, ErrorCode code);

  /// @brief Test hook: drops the waiting callbacks without running them and ends any injected failure.
  static void ResetForTesting();
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_TRANSACTION_H
