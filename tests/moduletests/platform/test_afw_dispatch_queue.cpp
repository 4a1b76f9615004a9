#include "zol/afw/core/dispatch_queue.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zol/afw/core/task.h"
#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/deleters.h"

namespace {

using zol::afw::core::DispatchQueue;
using zol::afw::core::ErrorCode;
using zol::afw::core::Task;
using zol::afw::core::TaskPtr;
using zol::afw::core::Transaction;
using zol::afw::core::TransactionTesting;
using zol::pmr::CountingResource;

// What tasks did, in the order they did it; shared between the queue's thread and the test.
class Journal {
 public:
  void Add(int id) {
    std::lock_guard<std::mutex> lock(mutex_);
    ids_.push_back(id);
    threads_.push_back(std::this_thread::get_id());
  }
  std::vector<int> ids() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return ids_;
  }
  std::vector<std::thread::id> threads() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<int> ids_;
  std::vector<std::thread::id> threads_;
};

class RecordingTask : public Task {
 public:
  RecordingTask(Journal* journal, int id, int* destroyed = nullptr)
      : journal_(journal), id_(id), destroyed_(destroyed) {}
  ~RecordingTask() override {
    if (destroyed_ != nullptr) {
      ++*destroyed_;
    }
  }
  ErrorCode Execute() override {
    journal_->Add(id_);
    return ErrorCode::kSuccess;
  }

 private:
  Journal* journal_;
  int id_;
  int* destroyed_;
};

// Much larger than a Task, so that giving back sizeof(Task) instead would show as a mismatch.
class BulkyTask : public RecordingTask {
 public:
  using RecordingTask::RecordingTask;

 private:
  // Never read: it is there for its size (clang would otherwise report an unused private field).
  [[maybe_unused]] std::uint8_t payload_[256] = {};
};

// A task that holds its queue's thread until released, so that the test knows what runs when.
class Gate {
 public:
  void Enter() {
    std::unique_lock<std::mutex> lock(mutex_);
    entered_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return released_; });
  }
  void WaitUntilEntered() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return entered_; });
  }
  void Release() {
    std::lock_guard<std::mutex> lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool entered_{false};
  bool released_{false};
};

class GateTask : public Task {
 public:
  GateTask(Gate* gate, Journal* journal, int id) : gate_(gate), journal_(journal), id_(id) {}
  ErrorCode Execute() override {
    gate_->Enter();
    journal_->Add(id_);
    return ErrorCode::kSuccess;
  }

 private:
  Gate* gate_;
  Journal* journal_;
  int id_;
};

// Runs any code as a task.
template <typename F>
class LambdaTask : public Task {
 public:
  explicit LambdaTask(F f) : f_(std::move(f)) {}
  ErrorCode Execute() override {
    f_();
    return ErrorCode::kSuccess;
  }

 private:
  F f_;
};

template <typename T, typename... A>
TaskPtr MakeTask(zol::pmr::memory_resource* resource, A&&... args) {
  return zol::pmr::MakeUniqueSized<T>(resource, std::forward<A>(args)...);
}

TaskPtr Recording(Journal* journal, int id) {
  return MakeTask<RecordingTask>(zol::pmr::get_default_resource(), journal, id);
}

template <typename F>
TaskPtr Lambda(F f) {
  return MakeTask<LambdaTask<F>>(zol::pmr::get_default_resource(), std::move(f));
}

class DispatchQueueTest : public ::testing::Test {
 protected:
  void SetUp() override { TransactionTesting::Reset(); }
  void TearDown() override { TransactionTesting::Reset(); }

  // Starts @p queue and returns once its first task, journalled as 1, has entered @p gate and waits there.
  static void StartWithTaskInsideGate(DispatchQueue& queue, Gate& gate, Journal& journal) {
    queue.Start();
    ASSERT_EQ(queue.AsyncTask(MakeTask<GateTask>(zol::pmr::get_default_resource(), &gate, &journal, 1)),
              ErrorCode::kSuccess);
    gate.WaitUntilEntered();
  }
};

TEST_F(DispatchQueueTest, ANewQueueIsNotExecutingAndRefusesTasksWithBadState) {
  CountingResource resource;
  DispatchQueue queue;
  int destroyed = 0;
  Journal journal;
  TaskPtr task = MakeTask<RecordingTask>(&resource, &journal, 1, &destroyed);

  EXPECT_FALSE(queue.IsExecuting());
  EXPECT_EQ(queue.AsyncTask(std::move(task)), ErrorCode::kBadState);

  // The refused task is still the caller's, and it gives its memory back where it came from.
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(queue.pending(), 0U);
  task.reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
  EXPECT_TRUE(journal.ids().empty());
}

TEST_F(DispatchQueueTest, ANullTaskIsABadArgument) {
  DispatchQueue queue;
  queue.SetStepMode(true);

  EXPECT_EQ(queue.AsyncTask(TaskPtr()), ErrorCode::kBadArgument);
  EXPECT_EQ(queue.pending(), 0U);
}

TEST_F(DispatchQueueTest, StepModeAcceptsTasksAndTheCallerRunsThemInOrderOnItsOwnThread) {
  DispatchQueue queue;
  Journal journal;
  queue.SetStepMode(true);
  EXPECT_TRUE(queue.IsExecuting());
  EXPECT_TRUE(queue.IsStepMode());
  EXPECT_FALSE(queue.IsStarted());

  for (int id = 1; id <= 3; ++id) {
    ASSERT_EQ(queue.AsyncTask(Recording(&journal, id)), ErrorCode::kSuccess);
  }
  EXPECT_EQ(queue.pending(), 3U);
  EXPECT_TRUE(journal.ids().empty());

  EXPECT_TRUE(queue.RunOne());
  EXPECT_EQ(journal.ids(), std::vector<int>{1});
  EXPECT_EQ(queue.RunPending(), 2U);
  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(journal.threads(), std::vector<std::thread::id>(3, std::this_thread::get_id()));
  EXPECT_EQ(queue.pending(), 0U);
  EXPECT_FALSE(queue.RunOne());
  EXPECT_EQ(queue.RunPending(), 0U);
}

TEST_F(DispatchQueueTest, LeavingStepModeRefusesNewTasksButKeepsTheQueuedOnes) {
  DispatchQueue queue;
  Journal journal;
  queue.SetStepMode(true);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 1)), ErrorCode::kSuccess);

  queue.SetStepMode(false);

  EXPECT_FALSE(queue.IsExecuting());
  EXPECT_EQ(queue.AsyncTask(Recording(&journal, 2)), ErrorCode::kBadState);
  EXPECT_EQ(queue.pending(), 1U);
  EXPECT_EQ(queue.RunPending(), 1U);
  EXPECT_EQ(journal.ids(), std::vector<int>{1});
}

TEST_F(DispatchQueueTest, RunPendingLeavesTasksPostedMeanwhileForTheNextCall) {
  DispatchQueue queue;
  Journal journal;
  queue.SetStepMode(true);
  DispatchQueue* target = &queue;
  Journal* log = &journal;
  ASSERT_EQ(queue.AsyncTask(Lambda([target, log] {
    log->Add(1);
    EXPECT_EQ(target->AsyncTask(Recording(log, 2)), ErrorCode::kSuccess);
  })),
            ErrorCode::kSuccess);

  EXPECT_EQ(queue.RunPending(), 1U);
  EXPECT_EQ(journal.ids(), std::vector<int>{1});
  EXPECT_EQ(queue.pending(), 1U);

  EXPECT_EQ(queue.RunPending(), 1U);
  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2}));
}

TEST_F(DispatchQueueTest, AFullQueueAnswersBusyAndTheTaskStaysWithTheCaller) {
  CountingResource resource;
  DispatchQueue queue(2);
  Journal journal;
  int destroyed = 0;
  queue.SetStepMode(true);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 1)), ErrorCode::kSuccess);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 2)), ErrorCode::kSuccess);
  TaskPtr third = MakeTask<RecordingTask>(&resource, &journal, 3, &destroyed);

  EXPECT_EQ(queue.AsyncTask(std::move(third)), ErrorCode::kBusy);

  ASSERT_NE(third, nullptr);
  EXPECT_EQ(queue.capacity(), 2U);
  EXPECT_EQ(queue.pending(), 2U);
  third.reset();
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);

  // Room again once a task has run; the ring wraps around without losing the order.
  EXPECT_TRUE(queue.RunOne());
  EXPECT_EQ(queue.AsyncTask(Recording(&journal, 4)), ErrorCode::kSuccess);
  EXPECT_EQ(queue.RunPending(), 2U);
  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2, 4}));
}

TEST_F(DispatchQueueTest, ARunTaskIsDestroyedAndItsMemoryGoesBackToItsOwnResource) {
  CountingResource resource;
  DispatchQueue queue;
  Journal journal;
  int destroyed = 0;
  queue.SetStepMode(true);
  ASSERT_EQ(queue.AsyncTask(MakeTask<BulkyTask>(&resource, &journal, 7, &destroyed)), ErrorCode::kSuccess);
  ASSERT_EQ(resource.outstanding_allocations(), 1U);

  ASSERT_TRUE(queue.RunOne());

  EXPECT_EQ(journal.ids(), std::vector<int>{7});
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.deallocation_count(), 1U);
  EXPECT_EQ(resource.bytes_deallocated(), sizeof(BulkyTask));
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
}

TEST_F(DispatchQueueTest, EveryTaskRunsInATransactionOfItsOwn) {
  DispatchQueue queue;
  queue.SetStepMode(true);
  int begun = 0;
  int outside_begun = 0;
  std::vector<int> seen;
  int* begun_count = &begun;
  std::vector<int>* seen_by_tasks = &seen;
  // Each task registers a callback and notes how many of the queue's transactions had begun when it ran.
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(queue.AsyncTask(Lambda([begun_count, seen_by_tasks] {
      seen_by_tasks->push_back(*begun_count);
      EXPECT_EQ(Transaction::AddBeginTransactionCallback([begun_count] { ++*begun_count; }), ErrorCode::kSuccess);
    })),
              ErrorCode::kSuccess);
  }
  // Registered outside every task: it belongs to the test's own transactions, not to the queue's.
  ASSERT_EQ(Transaction::AddBeginTransactionCallback([&outside_begun] { ++outside_begun; }), ErrorCode::kSuccess);

  EXPECT_EQ(queue.RunPending(), 3U);

  // Each task's callback ran before the next task; the test's callback did not run in any of them.
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(outside_begun, 0);
  EXPECT_EQ(queue.transaction_callbacks().pending(), 1U);
  EXPECT_EQ(Transaction::pending_callbacks(), 1U);
}

TEST_F(DispatchQueueTest, NowIsThePlatformClock) {
  const zol::ScopedManualClock clock(zol::MonoClock::time_point(std::chrono::seconds(3)));
  const DispatchQueue queue;

  EXPECT_EQ(queue.now(), zol::MonoClock::time_point(std::chrono::seconds(3)));
  zol::MonoClock::AdvanceManual(std::chrono::nanoseconds(999999));
  EXPECT_EQ(queue.now().time_since_epoch(), std::chrono::nanoseconds(3000999999));
}

TEST_F(DispatchQueueTest, AStartedQueueRunsTasksInPostingOrderOnAThreadOfItsOwn) {
  DispatchQueue queue;
  Journal journal;
  queue.Start();
  EXPECT_TRUE(queue.IsStarted());
  EXPECT_TRUE(queue.IsExecuting());

  std::vector<int> expected;
  for (int id = 0; id < 100; ++id) {
    ASSERT_EQ(queue.AsyncTask(Recording(&journal, id)), ErrorCode::kSuccess);
    expected.push_back(id);
  }
  queue.WaitIdle();

  EXPECT_EQ(journal.ids(), expected);
  EXPECT_EQ(queue.pending(), 0U);
  const std::vector<std::thread::id> threads = journal.threads();
  EXPECT_NE(threads.front(), std::this_thread::get_id());
  EXPECT_EQ(threads, std::vector<std::thread::id>(threads.size(), threads.front()));
}

TEST_F(DispatchQueueTest, TheCallerCannotRunTasksWhileTheOwnThreadIsStarted) {
  DispatchQueue queue;
  Journal journal;
  Gate gate;
  queue.Start();
  ASSERT_EQ(queue.AsyncTask(MakeTask<GateTask>(zol::pmr::get_default_resource(), &gate, &journal, 1)),
            ErrorCode::kSuccess);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 2)), ErrorCode::kSuccess);
  gate.WaitUntilEntered();

  EXPECT_FALSE(queue.RunOne());
  EXPECT_EQ(queue.RunPending(), 0U);
  EXPECT_EQ(queue.pending(), 1U);

  gate.Release();
  queue.WaitIdle();
  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2}));
}

TEST_F(DispatchQueueTest, ATaskPostedFromAnotherThreadWhileATaskRunsRunsAfterIt) {
  DispatchQueue queue;
  Journal journal;
  Gate gate;
  StartWithTaskInsideGate(queue, gate, journal);

  std::thread poster([&queue, &journal] { EXPECT_EQ(queue.AsyncTask(Recording(&journal, 2)), ErrorCode::kSuccess); });
  poster.join();
  gate.Release();
  queue.WaitIdle();

  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2}));
  EXPECT_NE(journal.threads()[1], std::this_thread::get_id());
}

TEST_F(DispatchQueueTest, TasksPostedFromSeveralThreadsAllRunAndKeepEachPostersOrder) {
  constexpr int kPosters = 4;
  constexpr int kPerPoster = 100;
  DispatchQueue queue;
  Journal journal;
  queue.Start();

  std::vector<std::thread> posters;
  for (int p = 0; p < kPosters; ++p) {
    posters.emplace_back([&queue, &journal, p] {
      for (int i = 0; i < kPerPoster; ++i) {
        EXPECT_EQ(queue.AsyncTask(Recording(&journal, p * kPerPoster + i)), ErrorCode::kSuccess);
      }
    });
  }
  for (std::thread& poster : posters) {
    poster.join();
  }
  queue.WaitIdle();

  const std::vector<int> ids = journal.ids();
  ASSERT_EQ(ids.size(), static_cast<std::size_t>(kPosters * kPerPoster));
  std::vector<int> last(kPosters, -1);
  for (const int id : ids) {
    const int poster = id / kPerPoster;
    EXPECT_LT(last[poster], id);
    last[poster] = id;
  }
}

TEST_F(DispatchQueueTest, StopWaitsForTheRunningTaskToFinish) {
  DispatchQueue queue;
  Journal journal;
  Gate gate;
  StartWithTaskInsideGate(queue, gate, journal);

  std::vector<int> done_when_stopped;
  std::thread stopper([&queue, &journal, &done_when_stopped] {
    queue.Stop();
    done_when_stopped = journal.ids();
  });
  gate.Release();
  stopper.join();

  EXPECT_EQ(done_when_stopped, std::vector<int>{1});
  EXPECT_FALSE(queue.IsStarted());
  EXPECT_FALSE(queue.IsExecuting());
}

TEST_F(DispatchQueueTest, StoppingLeavesQueuedTasksQueuedForLater) {
  DispatchQueue queue;
  Journal journal;
  DispatchQueue* target = &queue;
  Journal* log = &journal;
  // Filled in step mode so that both tasks are queued before the thread starts.
  queue.SetStepMode(true);
  ASSERT_EQ(queue.AsyncTask(Lambda([target, log] {
    target->RequestStop();
    EXPECT_FALSE(target->IsExecuting());
    log->Add(1);
  })),
            ErrorCode::kSuccess);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 2)), ErrorCode::kSuccess);
  queue.SetStepMode(false);

  queue.Start();
  queue.WaitIdle();
  queue.Stop();

  EXPECT_EQ(journal.ids(), std::vector<int>{1});
  EXPECT_EQ(queue.pending(), 1U);
  EXPECT_EQ(queue.AsyncTask(Recording(&journal, 3)), ErrorCode::kBadState);

  // Restarting picks up where the queue stopped.
  queue.Start();
  queue.WaitIdle();
  EXPECT_EQ(journal.ids(), (std::vector<int>{1, 2}));
}

TEST_F(DispatchQueueTest, TasksLeftByAStoppedThreadCanBeRunByTheCaller) {
  DispatchQueue queue;
  Journal journal;
  queue.SetStepMode(true);
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 1)), ErrorCode::kSuccess);
  queue.SetStepMode(false);
  queue.Start();
  queue.Stop();
  queue.WaitIdle();

  // Whether the thread got to the task before it stopped or not, the caller can finish the work.
  queue.RunPending();

  EXPECT_EQ(journal.ids(), std::vector<int>{1});
  EXPECT_EQ(queue.pending(), 0U);
}

TEST_F(DispatchQueueTest, StartAndStopAreIdempotent) {
  DispatchQueue queue;
  Journal journal;

  queue.Stop();
  queue.Start();
  queue.Start();
  ASSERT_EQ(queue.AsyncTask(Recording(&journal, 1)), ErrorCode::kSuccess);
  queue.WaitIdle();
  queue.Stop();
  queue.Stop();

  EXPECT_EQ(journal.ids(), std::vector<int>{1});
  EXPECT_FALSE(queue.IsExecuting());
}

TEST_F(DispatchQueueTest, StepModeAndTheOwnThreadEachMakeTheQueueExecute) {
  DispatchQueue queue;

  queue.SetStepMode(true);
  queue.Start();
  queue.SetStepMode(false);
  EXPECT_TRUE(queue.IsExecuting());
  queue.SetStepMode(true);
  queue.Stop();
  EXPECT_TRUE(queue.IsExecuting());
  queue.SetStepMode(false);
  EXPECT_FALSE(queue.IsExecuting());
}

TEST_F(DispatchQueueTest, WaitIdleReturnsAtOnceWhenNothingIsQueued) {
  DispatchQueue queue;
  queue.WaitIdle();
  queue.Start();
  queue.WaitIdle();

  EXPECT_EQ(queue.pending(), 0U);
}

TEST_F(DispatchQueueTest, WaitIdleAlsoWaitsForTheLastTaskToBeDestroyed) {
  DispatchQueue queue;
  Journal journal;
  int destroyed = 0;
  queue.Start();
  for (int id = 0; id < 10; ++id) {
    ASSERT_EQ(queue.AsyncTask(MakeTask<RecordingTask>(zol::pmr::get_default_resource(), &journal, id, &destroyed)),
              ErrorCode::kSuccess);
  }

  queue.WaitIdle();
  // Read under the queue's own synchronisation: WaitIdle returned after the destructors ran.
  EXPECT_EQ(destroyed, 10);
}

TEST_F(DispatchQueueTest, DestroyingTheQueueDestroysItsPendingTasksWithoutRunningThem) {
  CountingResource resource;
  Journal journal;
  int destroyed = 0;
  {
    DispatchQueue queue;
    queue.SetStepMode(true);
    for (int id = 0; id < 3; ++id) {
      ASSERT_EQ(queue.AsyncTask(MakeTask<BulkyTask>(&resource, &journal, id, &destroyed)), ErrorCode::kSuccess);
    }
    ASSERT_EQ(resource.outstanding_allocations(), 3U);
  }

  EXPECT_TRUE(journal.ids().empty());
  EXPECT_EQ(destroyed, 3);
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.bytes_deallocated(), 3 * sizeof(BulkyTask));
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
}

TEST_F(DispatchQueueTest, DestroyingAStartedQueueLetsTheRunningTaskFinishAndJoinsTheThread) {
  Journal journal;
  Gate gate;
  int destroyed = 0;
  std::vector<int> done_when_destroyed;
  {
    auto queue = std::make_unique<DispatchQueue>();
    queue->Start();
    ASSERT_EQ(queue->AsyncTask(MakeTask<GateTask>(zol::pmr::get_default_resource(), &gate, &journal, 1)),
              ErrorCode::kSuccess);
    ASSERT_EQ(queue->AsyncTask(MakeTask<RecordingTask>(zol::pmr::get_default_resource(), &journal, 2, &destroyed)),
              ErrorCode::kSuccess);
    gate.WaitUntilEntered();
    std::thread destroyer([&queue, &journal, &done_when_destroyed] {
      queue.reset();
      done_when_destroyed = journal.ids();
    });
    gate.Release();
    destroyer.join();
  }

  // The gate task finished before the queue was gone; the task behind it either ran or was destroyed unrun.
  ASSERT_FALSE(done_when_destroyed.empty());
  EXPECT_EQ(done_when_destroyed.front(), 1);
  EXPECT_EQ(destroyed, 1);
}

TEST_F(DispatchQueueTest, TheRingLivesOnTheGivenResource) {
  CountingResource resource;
  {
    const DispatchQueue queue(8, &resource);
    EXPECT_EQ(resource.outstanding_allocations(), 1U);
    EXPECT_EQ(queue.capacity(), 8U);
  }
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
}

}  // namespace
