#include "zol/afw/core/dispatch_queue.h"

#include <utility>

#include "zol/afw/core/transaction.h"
#include "zol/detail/panic.h"

namespace zol {
namespace afw {
namespace core {

constexpr std::size_t DispatchQueue::kDefaultCapacity;

DispatchQueue::DispatchQueue(std::size_t capacity, zol::pmr::memory_resource* resource)
    : capacity_(capacity > 0 ? capacity : 1), ring_(capacity_, zol::pmr::polymorphic_allocator<TaskPtr>(resource)) {}

DispatchQueue::~DispatchQueue() {
  Stop();
  std::unique_lock<std::mutex> lock(mutex_);
  // Not executing any more: a task destructor that posts here is refused instead of refilling the queue.
  step_mode_ = false;
  while (count_ > 0) {
    TaskPtr task = PopLocked();
    lock.unlock();
    task.reset();
    lock.lock();
  }
}

// A member, not static: the time base belongs to the queue, and a platform may give each context its own clock.
zol::MonoClock::time_point DispatchQueue::now() const {  // NOLINT(readability-convert-member-functions-to-static)
  return zol::MonoClock::now();
}

bool DispatchQueue::IsExecuting() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return IsExecutingLocked();
}

ErrorCode DispatchQueue::AsyncTask(TaskPtr&& task) {
  if (!task) {
    return ErrorCode::kBadArgument;
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!IsExecutingLocked()) {
      return ErrorCode::kBadState;
    }
    if (count_ == capacity_) {
      return ErrorCode::kBusy;
    }
    ring_[(head_ + count_) % capacity_] = std::move(task);
    ++count_;
  }
  work_available_.notify_one();
  return ErrorCode::kSuccess;
}

void DispatchQueue::Start() {
  std::lock_guard<std::mutex> control(control_mutex_);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (IsStartedLocked()) {
      return;
    }
  }
  // A thread told to end by RequestStop() is collected before its successor starts.
  JoinThread();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    thread_started_ = true;
    stop_requested_ = false;
  }
  try {
    thread_ = std::thread(&DispatchQueue::ThreadMain, this);
  } catch (...) {
    std::lock_guard<std::mutex> lock(mutex_);
    thread_started_ = false;
    throw;
  }
}

void DispatchQueue::Stop() {
  std::lock_guard<std::mutex> control(control_mutex_);
  RequestStop();
  JoinThread();
}

void DispatchQueue::RequestStop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!thread_started_) {
      return;
    }
    stop_requested_ = true;
  }
  work_available_.notify_all();
  // Waiters of WaitIdle() must not wait for tasks that no thread will run any more.
  idle_.notify_all();
}

void DispatchQueue::JoinThread() {
  if (!thread_.joinable()) {
    return;
  }
  if (thread_.get_id() == std::this_thread::get_id()) {
    zol::detail::Panic("DispatchQueue: a task of the queue waits for the queue's own thread to end");
  }
  thread_.join();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    thread_started_ = false;
    stop_requested_ = false;
  }
  idle_.notify_all();
}

bool DispatchQueue::IsStarted() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return IsStartedLocked();
}

void DispatchQueue::SetStepMode(bool on) {
  std::lock_guard<std::mutex> lock(mutex_);
  step_mode_ = on;
}

bool DispatchQueue::IsStepMode() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return step_mode_;
}

std::size_t DispatchQueue::RunPending() {
  std::size_t due = 0;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    due = count_;
  }
  std::size_t ran = 0;
  while (ran < due && RunOne()) {
    ++ran;
  }
  return ran;
}

bool DispatchQueue::RunOne() {
  TaskPtr task;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (IsStartedLocked() || task_running_ || count_ == 0) {
      return false;
    }
    task = PopLocked();
    task_running_ = true;
    runner_ = std::this_thread::get_id();
  }
  RunClaimed(std::move(task));
  return true;
}

std::size_t DispatchQueue::pending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return count_;
}

void DispatchQueue::WaitIdle() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (task_running_ && runner_ == std::this_thread::get_id()) {
    zol::detail::Panic("DispatchQueue::WaitIdle called from a task of the same queue; it would wait for itself");
  }
  idle_.wait(lock, [this] { return !task_running_ && (count_ == 0 || !IsStartedLocked()); });
}

void DispatchQueue::RunClaimed(TaskPtr task) {
  // Clears the running mark however the task ends, so that the queue does not stay blocked.
  class FinishGuard {
   public:
    explicit FinishGuard(DispatchQueue* queue) : queue_(queue) {}
    FinishGuard(const FinishGuard&) = delete;
    FinishGuard(FinishGuard&&) = delete;
    FinishGuard& operator=(const FinishGuard&) = delete;
    FinishGuard& operator=(FinishGuard&&) = delete;
    ~FinishGuard() { queue_->FinishTask(); }

   private:
    DispatchQueue* queue_;
  } finish(this);
  // Everything the task does, its destruction included, belongs to this queue's transaction.
  const Transaction::Scope scope(transaction_callbacks_);
  transaction_callbacks_.Begin();
  static_cast<void>(task->Execute());
  // Destroyed before the task counts as finished, so that WaitIdle() also waits for what its destructor does.
  task.reset();
}

void DispatchQueue::FinishTask() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    task_running_ = false;
    runner_ = std::thread::id();
  }
  idle_.notify_all();
  // The own thread may have been started while a stepped task ran; it waits for that task to finish.
  work_available_.notify_one();
}

TaskPtr DispatchQueue::PopLocked() {
  TaskPtr task = std::move(ring_[head_]);
  head_ = (head_ + 1) % capacity_;
  --count_;
  return task;
}

void DispatchQueue::ThreadMain() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    work_available_.wait(lock, [this] { return stop_requested_ || (count_ > 0 && !task_running_); });
    if (stop_requested_) {
      return;
    }
    TaskPtr task = PopLocked();
    task_running_ = true;
    runner_ = std::this_thread::get_id();
    lock.unlock();
    RunClaimed(std::move(task));
    lock.lock();
  }
}

}  // namespace core
}  // namespace afw
}  // namespace zol
