/// @file
/// @brief Transaction boundaries of each execution context and the callbacks that wait for the next one.
#ifndef ZOL_AFW_CORE_TRANSACTION_H
#define ZOL_AFW_CORE_TRANSACTION_H

#include <cstddef>
#include <mutex>

#include "zol/afw/core/error_code.h"
#include "zol/memory/static_function.h"

namespace zol {
namespace afw {
namespace core {

class TransactionCallbacks;

/// @brief Marks the start of a transaction: one unit of work of an execution context.
///
/// Components that keep per-transaction state (a snapshot that must be taken once per transaction, for example)
/// register a callback that resets it; the callback runs once, when the next transaction begins, and has to be
/// registered again to run again.
///
/// Callbacks belong to where they were registered. Every dispatch queue (and so every execution context) holds a
/// store of its own: while the queue runs a task, on whichever thread, that store is the thread's current one, so
/// callbacks registered by the task, or by anything it calls, wait there and run only at the start of one of that
/// queue's later tasks, on the thread that runs it. Code outside every task can make a context's store current
/// with Transaction::Scope (ExecutionContextScope does it for a context), for example while it sets up the
/// components of an executable or drives a queue in step mode. A thread that has no current store uses the
/// process's default store; only Begin() called outside every context runs it. That is the path of code that runs
/// its cycles on its own thread rather than in tasks (tests, tools stepping a queue between cycles); a component
/// must therefore do its reads and its Begin() consistently on one side.
///
/// All operations are thread-safe; registering never allocates.
class Transaction {
 public:
  /// @brief A begin-transaction callback; held inline, never allocates.
  using Callback = zol::memory::StaticFunction<void(), 16>;

  /// @brief How many callbacks may wait in one store for its next transaction.
  static constexpr std::size_t kMaxCallbacks = 256;

  /// @brief Makes a store the calling thread's current one for the lifetime of the object, and then restores the
  /// one that was current before. Scopes nest; the store must outlive the scope.
  class Scope {
   public:
    explicit Scope(TransactionCallbacks& callbacks) noexcept;
    ~Scope();
    Scope(const Scope&) = delete;
    Scope(Scope&&) = delete;
    Scope& operator=(const Scope&) = delete;
    Scope& operator=(Scope&&) = delete;

   private:
    TransactionCallbacks* previous_;
  };

  Transaction() = delete;

  /// @brief Stores @p callback in the current store (see Current()) to run once when its next transaction begins.
  /// @return kSuccess; kBusy when kMaxCallbacks callbacks are already waiting there; kBadArgument for an empty
  /// callback; or the code injected by FailNextRegistrations(). The callback is not stored on failure.
  static ErrorCode AddBeginTransactionCallback(Callback callback);

  /// @brief Begins a transaction of the current store: runs, in registration order, every callback registered
  /// there before this call, and forgets them. A dispatch queue begins its own store's transactions itself.
  ///
  /// The callbacks run on the calling thread without any lock held, so they may register callbacks themselves;
  /// those wait for the next Begin().
  static void Begin();

  /// @brief The number of callbacks waiting in the current store.
  static std::size_t pending_callbacks();

  /// @brief The calling thread's current store: that of the dispatch queue whose task it runs, or of the
  /// innermost Scope; otherwise the process's default store.
  static TransactionCallbacks& Current() noexcept;

  /// @brief The store of code that runs outside every execution context. Never destroyed.
  static TransactionCallbacks& ProcessDefault() noexcept;
};

/// @brief The callbacks waiting for the next transaction of one execution context (or of the process's code
/// outside every context), in bounded inline storage. Destroying the store drops its callbacks unrun.
class TransactionCallbacks {
 public:
  TransactionCallbacks() = default;
  ~TransactionCallbacks() = default;
  TransactionCallbacks(const TransactionCallbacks&) = delete;
  TransactionCallbacks(TransactionCallbacks&&) = delete;
  TransactionCallbacks& operator=(const TransactionCallbacks&) = delete;
  TransactionCallbacks& operator=(TransactionCallbacks&&) = delete;

  /// @brief See Transaction::AddBeginTransactionCallback(). Taken by reference, so that a registration through
  /// Transaction moves the callback once; it is left as it was on failure.
  ErrorCode Add(Transaction::Callback&& callback);
  /// @brief See Transaction::Begin(); runs this store's callbacks on the calling thread.
  void Begin();
  /// @brief The number of callbacks waiting here.
  std::size_t pending() const;

 private:
  // The test hooks below are reached through TransactionTesting, which only tests and tools see.
  friend class TransactionTesting;
  // The next @p count registrations fail with @p code and store nothing.
  void FailNextRegistrations(std::size_t count, ErrorCode code);
  // Drops the waiting callbacks without running them and ends any injected failure.
  void Reset();

  // Only ever contended by code that registers in a context's store from outside its tasks (a Scope on another
  // thread); a context's own tasks run one at a time.
  mutable std::mutex mutex_;
  Transaction::Callback callbacks_[Transaction::kMaxCallbacks];
  std::size_t count_{0};
  std::size_t failures_left_{0};
  ErrorCode failure_code_{ErrorCode::kSuccess};
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_TRANSACTION_H
