#include "zol/afw/core/transaction.h"

#include <mutex>
#include <new>
#include <type_traits>
#include <utility>

namespace zol {
namespace afw {
namespace core {

constexpr std::size_t Transaction::kMaxCallbacks;

namespace {

struct TransactionState {
  std::mutex mutex;
  Transaction::Callback callbacks[Transaction::kMaxCallbacks];
  std::size_t count{0};
  std::size_t failures_left{0};
  ErrorCode failure_code{ErrorCode::kSuccess};
};

// Never destroyed: dispatch queue threads of other libraries may still begin transactions while static objects
// are being torn down at process exit.
TransactionState& State() {
  static typename std::aligned_storage<sizeof(TransactionState), alignof(TransactionState)>::type storage;
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one process-wide store, behind its mutex
  static auto* const state = ::new (static_cast<void*>(&storage)) TransactionState();
  return *state;
}

}  // namespace

ErrorCode Transaction::AddBeginTransactionCallback(Callback callback) {
  if (!callback) {
    return ErrorCode::kBadArgument;
  }
  TransactionState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  if (state.failures_left > 0) {
    --state.failures_left;
    return state.failure_code;
  }
  if (state.count == kMaxCallbacks) {
    return ErrorCode::kBusy;
  }
  state.callbacks[state.count] = std::move(callback);
  ++state.count;
  return ErrorCode::kSuccess;
}

void Transaction::Begin() {
  TransactionState& state = State();
  // The callbacks move to this thread's stack, so that they run without the lock (a callback may register
  // again, and other threads may begin their own transactions meanwhile) and the storage is free at once. The
  // stack holds raw storage and only the callbacks due are constructed in it: usually one is due, and building
  // and destroying all kMaxCallbacks empty ones cost more than running it.
  typename std::aligned_storage<sizeof(Callback), alignof(Callback)>::type storage[kMaxCallbacks];
  Callback* const due = reinterpret_cast<Callback*>(&storage[0]);
  std::size_t due_count = 0;
  // Destroys what was moved here, also when a callback throws.
  struct DueGuard {
    Callback* due;
    const std::size_t& count;
    ~DueGuard() {
      for (std::size_t i = 0; i < count; ++i) {
        due[i].~Callback();
      }
    }
  } guard{due, due_count};
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    for (; due_count < state.count; ++due_count) {
      ::new (static_cast<void*>(due + due_count)) Callback(std::move(state.callbacks[due_count]));
    }
    state.count = 0;
  }
  for (std::size_t i = 0; i < due_count; ++i) {
    due[i]();
  }
}

std::size_t Transaction::pending_callbacks() {
  TransactionState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  return state.count;
}

void Transaction::FailNextRegistrations(std::size_t count, ErrorCode code) {
  TransactionState& state = State();
  std::lock_guard<std::mutex> lock(state.mutex);
  state.failures_left = count;
  state.failure_code = code;
}

void Transaction::ResetForTesting() {
  TransactionState& state = State();
  Callback dropped[kMaxCallbacks];
  {
    std::lock_guard<std::mutex> lock(state.mutex);
    for (std::size_t i = 0; i < state.count; ++i) {
      dropped[i] = std::move(state.callbacks[i]);
    }
    state.count = 0;
    state.failures_left = 0;
    state.failure_code = ErrorCode::kSuccess;
  }
  // The dropped callbacks are destroyed here, outside the lock.
}

}  // namespace core
}  // namespace afw
}  // namespace zol
