#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"

#include <new>
#include <type_traits>
#include <utility>

namespace zol {
namespace afw {
namespace core {

constexpr std::size_t Transaction::kMaxCallbacks;

namespace {

// The store of the task (or Scope) the thread is in; null outside every context. A plain pointer without
// constructor, so that reading it costs a TLS access and nothing more.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): per thread, set and restored by Scope only
thread_local TransactionCallbacks* t_current = nullptr;

}  // namespace

Transaction::Scope::Scope(TransactionCallbacks& callbacks) noexcept : previous_(t_current) { t_current = &callbacks; }

Transaction::Scope::~Scope() { t_current = previous_; }

TransactionCallbacks& Transaction::ProcessDefault() noexcept {
  // Never destroyed: threads of other libraries may still begin transactions outside their contexts while static
  // objects are being torn down at process exit.
  static typename std::aligned_storage<sizeof(TransactionCallbacks), alignof(TransactionCallbacks)>::type storage;
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the one default store, behind its mutex
  static auto* const callbacks = ::new (static_cast<void*>(&storage)) TransactionCallbacks();
  return *callbacks;
}

TransactionCallbacks& Transaction::Current() noexcept {
  TransactionCallbacks* const current = t_current;
  return current != nullptr ? *current : ProcessDefault();
}

ErrorCode Transaction::AddBeginTransactionCallback(Callback callback) { return Current().Add(std::move(callback)); }

void Transaction::Begin() { Current().Begin(); }

std::size_t Transaction::pending_callbacks() { return Current().pending(); }

void TransactionTesting::FailNextRegistrations(std::size_t count, ErrorCode code) {
  Transaction::Current().FailNextRegistrations(count, code);
}

void TransactionTesting::Reset() { Transaction::Current().Reset(); }

ErrorCode TransactionCallbacks::Add(Transaction::Callback&& callback) {
  if (!callback) {
    return ErrorCode::kBadArgument;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  if (failures_left_ > 0) {
    --failures_left_;
    return failure_code_;
  }
  if (count_ == Transaction::kMaxCallbacks) {
    return ErrorCode::kBusy;
  }
  callbacks_[count_] = std::move(callback);
  ++count_;
  return ErrorCode::kSuccess;
}

void TransactionCallbacks::Begin() {
  using Callback = Transaction::Callback;
  constexpr std::size_t kMax = Transaction::kMaxCallbacks;
  // The callbacks move to this thread's stack, so that they run without the lock (a callback may register
  // again) and the storage is free at once. The stack holds raw storage and only the callbacks due are
  // constructed in it: usually one is due, and building and destroying all kMaxCallbacks empty ones cost more
  // than running it.
  typename std::aligned_storage<sizeof(Callback), alignof(Callback)>::type storage[kMax];
  auto* const due = reinterpret_cast<Callback*>(&storage[0]);
  std::size_t due_count = 0;
  // Destroys what was moved here, also when a callback throws.
  struct DueGuard {
    Callback* due;
    const std::size_t& count;
    DueGuard(const DueGuard&) = delete;
    DueGuard(DueGuard&&) = delete;
    DueGuard& operator=(const DueGuard&) = delete;
    DueGuard& operator=(DueGuard&&) = delete;
    ~DueGuard() {
      for (std::size_t i = 0; i < count; ++i) {
        due[i].~Callback();
      }
    }
  } guard{due, due_count};
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (; due_count < count_; ++due_count) {
      ::new (static_cast<void*>(due + due_count)) Callback(std::move(callbacks_[due_count]));
    }
    count_ = 0;
  }
  for (std::size_t i = 0; i < due_count; ++i) {
    due[i]();
  }
}

std::size_t TransactionCallbacks::pending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

void TransactionCallbacks::FailNextRegistrations(std::size_t count, ErrorCode code) {
  std::lock_guard<std::mutex> lock(mutex_);
  failures_left_ = count;
  failure_code_ = code;
}

void TransactionCallbacks::Reset() {
  Transaction::Callback dropped[Transaction::kMaxCallbacks];
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (std::size_t i = 0; i < count_; ++i) {
      dropped[i] = std::move(callbacks_[i]);
    }
    count_ = 0;
    failures_left_ = 0;
    failure_code_ = ErrorCode::kSuccess;
  }
  // The dropped callbacks are destroyed here, outside the lock.
}

}  // namespace core
}  // namespace afw
}  // namespace zol
