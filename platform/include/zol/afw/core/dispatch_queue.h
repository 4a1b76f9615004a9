/// @file
/// @brief The FIFO of tasks of one execution context, run on a thread of its own or stepped by the caller.
#ifndef ZOL_AFW_CORE_DISPATCH_QUEUE_H
#define ZOL_AFW_CORE_DISPATCH_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "zol/afw/core/error_code.h"
#include "zol/afw/core/task.h"
#include "zol/afw/core/transaction.h"
#include "zol/mono_clock.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Runs the tasks posted to one execution context, one at a time, in the order they were posted.
///
/// A queue executes in one of two ways:
/// - Start() runs the tasks on a thread of its own until Stop();
/// - in step mode (SetStepMode(true)) the queue accepts tasks and whoever drives the cycle (a test, a replay
///   tool) runs them on its own thread with RunPending() or RunOne().
/// While neither is the case the queue does not execute: AsyncTask() refuses new tasks, so that a poster can
/// tell that work posted now would never run. Tasks already queued stay queued.
///
/// Every task runs as one transaction of this queue: right before its Execute() the queue begins a transaction of
/// its own begin-transaction callbacks (transaction_callbacks()), and while the task runs that store is the
/// thread's current one, so callbacks the task registers wait for this queue's next task and never run on another
/// queue's thread. The task is destroyed right after Execute() returns, on the same thread and still inside its
/// transaction. Posting is thread-safe; the queue holds at most capacity() tasks, in storage reserved at
/// construction.
class DispatchQueue {
 public:
  /// @brief The capacity of a queue made without one.
  static constexpr std::size_t kDefaultCapacity = 1024;

  /// @brief A queue for at most @p capacity waiting tasks (at least one), stored on @p resource.
  explicit DispatchQueue(std::size_t capacity = kDefaultCapacity,
                         zol::pmr::memory_resource* resource = zol::pmr::get_default_resource());
  /// @brief Stops the thread (letting the running task finish) and destroys the tasks still queued, which
  /// returns their memory through their deleters.
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue(DispatchQueue&&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;
  DispatchQueue& operator=(DispatchQueue&&) = delete;

  /// @brief The platform's monotonic time, the time base of everything running on this queue.
  zol::MonoClock::time_point now() const;

  /// @brief True while tasks posted now will be run: the own thread is started, or step mode is on.
  bool IsExecuting() const;

  /// @brief Queues @p task to run after the tasks queued before it. Thread-safe.
  /// @return kSuccess, and the queue owns the task; otherwise the task stays with the caller (who destroys it):
  /// kBadState when the queue is not executing, kBusy when capacity() tasks are waiting, kBadArgument for a null
  /// task.
  ErrorCode AsyncTask(TaskPtr&& task);

  /// @brief Runs the tasks on a thread of the queue's own, in FIFO order, until Stop(). No effect when started.
  /// After RequestStop() it first waits for the old thread to end, so it must not then be called from a task.
  void Start();
  /// @brief Lets the running task finish, ends the own thread and waits for it. Queued tasks stay queued.
  /// No effect when not started. Must not be called from one of the queue's own tasks (see RequestStop()).
  void Stop();
  /// @brief Asks the own thread to end after the running task, without waiting for it; callable from a task of
  /// the queue. From then on the queue is not executing (unless in step mode) and queued tasks stay queued.
  /// Stop(), Start() or the destructor collects the thread.
  void RequestStop();
  /// @brief True between Start() and Stop() or RequestStop().
  bool IsStarted() const;

  /// @brief Switches step mode: while on, the queue counts as executing without a thread of its own, and the
  /// caller runs the tasks with RunPending() or RunOne().
  void SetStepMode(bool on);
  /// @brief True while step mode is on.
  bool IsStepMode() const;

  /// @brief Runs, on the calling thread, the tasks that were queued when the call began; tasks posted meanwhile
  /// (by those tasks, for example) wait for the next call, so a task that posts itself cannot make this loop.
  /// @return The number of tasks run; 0 while the own thread is started (the tasks belong to it then).
  /// Tasks left behind by RequestStop() or Stop() can be run this way.
  std::size_t RunPending();
  /// @brief Runs the first queued task on the calling thread.
  /// @return True when a task ran; false when none was queued, while the own thread is started, or while another
  /// task runs (tasks never overlap, and a task cannot step its own queue).
  bool RunOne();

  /// @brief The number of queued tasks, not counting a running one.
  std::size_t pending() const;
  /// @brief The most tasks the queue holds.
  std::size_t capacity() const { return capacity_; }

  /// @brief The begin-transaction callbacks waiting for this queue's next task; they die with the queue.
  TransactionCallbacks& transaction_callbacks() { return transaction_callbacks_; }

  /// @brief Blocks until the queue is empty and no task runs. Meant for tests with the own thread started;
  /// without it, returns as soon as no task runs (nobody would empty the queue). Must not be called from one of
  /// the queue's own tasks.
  void WaitIdle();

 private:
  // Runs a task claimed under the lock (task_running_ set), without the lock, then marks it finished.
  void RunClaimed(TaskPtr task);
  void FinishTask();
  // Takes the first task; the lock must be held and a task must be queued.
  TaskPtr PopLocked();
  void ThreadMain();
  bool IsStartedLocked() const { return thread_started_ && !stop_requested_; }
  bool IsExecutingLocked() const { return IsStartedLocked() || step_mode_; }
  // Waits for a thread whose end was requested; the control mutex must be held.
  void JoinThread();

  // The callbacks of this queue's transactions; dropped unrun when the queue goes.
  TransactionCallbacks transaction_callbacks_;
  const std::size_t capacity_;
  // A ring of capacity_ slots, head_ the oldest task.
  zol::pmr::vector<TaskPtr> ring_;
  std::size_t head_{0};
  std::size_t count_{0};

  // Serialises Start() and Stop(), which own thread_.
  std::mutex control_mutex_;
  mutable std::mutex mutex_;
  std::condition_variable work_available_;
  std::condition_variable idle_;
  // A thread exists (until joined) ...
  bool thread_started_{false};
  // ... and has been told to end after its running task.
  bool stop_requested_{false};
  bool step_mode_{false};
  bool task_running_{false};
  // The thread running the current task, to catch a task that waits for its own queue.
  std::thread::id runner_;
  std::thread thread_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_DISPATCH_QUEUE_H
