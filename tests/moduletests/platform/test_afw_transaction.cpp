#include "zol/afw/core/transaction.h"
#include "zol/afw/core/transaction_testing.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "function_task.h"
#include "zol/afw/core/dispatch_queue.h"
#include "zol/afw/core/execution_context.h"
#include "zol/afw/core/task.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"

namespace {

using zol::afw::core::DispatchQueue;
using zol::afw::core::ErrorCode;
using zol::afw::core::ExecutionContext;
using zol::afw::core::ExecutionContextScope;
using zol::afw::core::Transaction;
using zol::afw::core::TransactionCallbacks;
using zol::afw::core::TransactionTesting;

// The test thread runs outside every context, so its callbacks wait in the process's default store; every test
// starts and ends with that store empty.
class TransactionTest : public ::testing::Test {
 protected:
  void SetUp() override { TransactionTesting::Reset(); }
  void TearDown() override { TransactionTesting::Reset(); }
};

Transaction::Callback Record(std::vector<int>* calls, int id) {
  return [calls, id] { calls->push_back(id); };
}

TEST_F(TransactionTest, ACallbackWaitsForTheNextBeginAndRunsThereOnce) {
  std::vector<int> calls;

  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
  EXPECT_TRUE(calls.empty());
  EXPECT_EQ(Transaction::pending_callbacks(), 1U);

  Transaction::Begin();
  EXPECT_EQ(calls, std::vector<int>{1});
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);

  Transaction::Begin();
  EXPECT_EQ(calls, std::vector<int>{1});
}

TEST_F(TransactionTest, CallbacksRunInRegistrationOrder) {
  std::vector<int> calls;
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kSuccess);
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 3)), ErrorCode::kSuccess);

  Transaction::Begin();

  EXPECT_EQ(calls, (std::vector<int>{1, 2, 3}));
}

TEST_F(TransactionTest, BeginWithoutCallbacksDoesNothing) {
  Transaction::Begin();

  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
}

// A component re-arms its per-transaction state from inside its callback: the new registration belongs to the
// next transaction, not to the one beginning.
TEST_F(TransactionTest, ACallbackRegisteredWhileBeginRunsWaitsForTheNextBegin) {
  std::vector<int> calls;
  struct Rearm {
    std::vector<int>* calls;
    void operator()() const {
      calls->push_back(1);
      EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(calls, 2)), ErrorCode::kSuccess);
    }
  };
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Rearm{&calls}), ErrorCode::kSuccess);

  Transaction::Begin();
  EXPECT_EQ(calls, std::vector<int>{1});
  EXPECT_EQ(Transaction::pending_callbacks(), 1U);

  Transaction::Begin();
  EXPECT_EQ(calls, (std::vector<int>{1, 2}));
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
}

TEST_F(TransactionTest, StorageIsBoundedAndAFullStoreAnswersBusy) {
  int runs = 0;
  for (std::size_t i = 0; i < Transaction::kMaxCallbacks; ++i) {
    ASSERT_EQ(Transaction::AddBeginTransactionCallback([&runs] { ++runs; }), ErrorCode::kSuccess) << i;
  }

  EXPECT_EQ(Transaction::AddBeginTransactionCallback([&runs] { runs += 1000; }), ErrorCode::kBusy);
  EXPECT_EQ(Transaction::pending_callbacks(), Transaction::kMaxCallbacks);

  Transaction::Begin();
  EXPECT_EQ(runs, static_cast<int>(Transaction::kMaxCallbacks));
  EXPECT_EQ(Transaction::AddBeginTransactionCallback([&runs] { ++runs; }), ErrorCode::kSuccess);
}

TEST_F(TransactionTest, AnEmptyCallbackIsRefused) {
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(nullptr), ErrorCode::kBadArgument);
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
}

TEST_F(TransactionTest, InjectedFailuresRefuseTheNextRegistrationsWithTheGivenCode) {
  std::vector<int> calls;
  TransactionTesting::FailNextRegistrations(2, ErrorCode::kFailure);

  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kFailure);
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kFailure);
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 3)), ErrorCode::kSuccess);

  Transaction::Begin();
  EXPECT_EQ(calls, std::vector<int>{3});
}

TEST_F(TransactionTest, TheTestResetDropsWaitingCallbacksAndEndsInjectedFailures) {
  std::vector<int> calls;
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
  TransactionTesting::FailNextRegistrations(5, ErrorCode::kBusy);

  TransactionTesting::Reset();
  Transaction::Begin();

  EXPECT_TRUE(calls.empty());
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kSuccess);
}

TEST_F(TransactionTest, RegistrationsFromManyThreadsAreAllKept) {
  constexpr int kThreads = 4;
  constexpr int kPerThread = 50;
  int runs = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&runs] {
      for (int i = 0; i < kPerThread; ++i) {
        EXPECT_EQ(Transaction::AddBeginTransactionCallback([&runs] { ++runs; }), ErrorCode::kSuccess);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(Transaction::pending_callbacks(), static_cast<std::size_t>(kThreads * kPerThread));
  Transaction::Begin();
  EXPECT_EQ(runs, kThreads * kPerThread);
}

using fsrl_test::Post;

// Where and in whose transaction a callback ran; written on the queues' threads, read after WaitIdle().
struct CallbackRun {
  char queue;
  std::thread::id thread;
};

class RunLog {
 public:
  void Add(char queue) {
    const std::lock_guard<std::mutex> lock(mutex_);
    runs_.push_back(CallbackRun{queue, std::this_thread::get_id()});
  }
  std::vector<CallbackRun> runs() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return runs_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<CallbackRun> runs_;
};

// The queue whose task the calling thread runs, as its tasks note it; a callback reads it to tell whose
// transaction it runs in.
thread_local char t_running_queue = '-';

TEST_F(TransactionTest, ACallbackRegisteredInATaskRunsOnlyAtTheStartOfThatQueuesNextTaskOnItsThread) {
  ExecutionContext a("a");
  ExecutionContext b("b");
  a.dispatch_queue().Start();
  b.dispatch_queue().Start();
  RunLog log;
  std::thread::id a_thread;
  std::thread::id b_thread;

  ASSERT_EQ(Post(a.dispatch_queue(),
                 [&log, &a_thread] {
                   a_thread = std::this_thread::get_id();
                   EXPECT_EQ(Transaction::AddBeginTransactionCallback([&log] { log.Add(t_running_queue); }),
                             ErrorCode::kSuccess);
                   t_running_queue = 'a';
                 }),
            ErrorCode::kSuccess);
  a.dispatch_queue().WaitIdle();
  // Many transactions of the other context: none of them runs a's callback.
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(Post(b.dispatch_queue(),
                   [&b_thread] {
                     b_thread = std::this_thread::get_id();
                     t_running_queue = 'b';
                   }),
              ErrorCode::kSuccess);
  }
  b.dispatch_queue().WaitIdle();
  Transaction::Begin();
  EXPECT_TRUE(log.runs().empty());
  EXPECT_EQ(a.dispatch_queue().transaction_callbacks().pending(), 1U);
  EXPECT_EQ(b.dispatch_queue().transaction_callbacks().pending(), 0U);

  ASSERT_EQ(Post(a.dispatch_queue(), [] {}), ErrorCode::kSuccess);
  a.dispatch_queue().WaitIdle();

  const std::vector<CallbackRun> runs = log.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].queue, 'a');
  EXPECT_EQ(runs[0].thread, a_thread);
  EXPECT_NE(runs[0].thread, b_thread);
  EXPECT_EQ(a.dispatch_queue().transaction_callbacks().pending(), 0U);
}

TEST_F(TransactionTest, ACallbackRegisteredOutsideEveryContextWaitsForABeginOutsideEveryContext) {
  DispatchQueue queue;
  queue.SetStepMode(true);
  int runs = 0;
  ASSERT_EQ(Transaction::AddBeginTransactionCallback([&runs] { ++runs; }), ErrorCode::kSuccess);
  ASSERT_EQ(Post(queue, [] {}), ErrorCode::kSuccess);
  ASSERT_EQ(Post(queue, [] { Transaction::Begin(); }), ErrorCode::kSuccess);

  EXPECT_EQ(queue.RunPending(), 2U);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(Transaction::pending_callbacks(), 1U);
  EXPECT_EQ(&Transaction::Current(), &Transaction::ProcessDefault());

  Transaction::Begin();
  EXPECT_EQ(runs, 1);
}

TEST_F(TransactionTest, ATaskSteppedOnTheCallersThreadRegistersWithItsQueue) {
  DispatchQueue queue;
  queue.SetStepMode(true);
  int runs = 0;
  ASSERT_EQ(Post(queue,
                 [&runs] {
                   EXPECT_EQ(Transaction::AddBeginTransactionCallback([&runs] { ++runs; }), ErrorCode::kSuccess);
                   EXPECT_EQ(Transaction::pending_callbacks(), 1U);
                 }),
            ErrorCode::kSuccess);
  ASSERT_TRUE(queue.RunOne());

  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
  Transaction::Begin();
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(queue.transaction_callbacks().pending(), 1U);

  ASSERT_EQ(Post(queue, [] {}), ErrorCode::kSuccess);
  ASSERT_TRUE(queue.RunOne());
  EXPECT_EQ(runs, 1);
}

TEST_F(TransactionTest, AnExecutionContextScopeMakesTheCallingThreadsCallbacksAndBeginsTheContexts) {
  const auto context = std::make_shared<ExecutionContext>("set_up");
  context->dispatch_queue().SetStepMode(true);
  std::vector<int> calls;
  {
    const ExecutionContextScope scope(context);
    ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
    EXPECT_EQ(&Transaction::Current(), &context->dispatch_queue().transaction_callbacks());
  }
  EXPECT_EQ(Transaction::pending_callbacks(), 0U);
  Transaction::Begin();
  EXPECT_TRUE(calls.empty());

  // The context's first task begins with the callback registered during its set-up.
  ASSERT_EQ(Post(context->dispatch_queue(), [] {}), ErrorCode::kSuccess);
  ASSERT_TRUE(context->dispatch_queue().RunOne());
  EXPECT_EQ(calls, std::vector<int>{1});

  // A cycle driven in the scope begins the context's transaction.
  {
    const ExecutionContextScope scope(context);
    ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kSuccess);
    Transaction::Begin();
  }
  EXPECT_EQ(calls, (std::vector<int>{1, 2}));
}

TEST_F(TransactionTest, ScopesNestAndRestoreTheStoreThatWasCurrent) {
  TransactionCallbacks outer;
  TransactionCallbacks inner;
  {
    const Transaction::Scope outer_scope(outer);
    {
      const Transaction::Scope inner_scope(inner);
      EXPECT_EQ(&Transaction::Current(), &inner);
    }
    EXPECT_EQ(&Transaction::Current(), &outer);
    // A queue stepped from inside the scope has its own store while its task runs, and gives the scope's back.
    DispatchQueue queue;
    queue.SetStepMode(true);
    TransactionCallbacks* during_task = nullptr;
    ASSERT_EQ(Post(queue, [&during_task] { during_task = &Transaction::Current(); }), ErrorCode::kSuccess);
    ASSERT_TRUE(queue.RunOne());
    EXPECT_EQ(during_task, &queue.transaction_callbacks());
    EXPECT_EQ(&Transaction::Current(), &outer);
  }
  EXPECT_EQ(&Transaction::Current(), &Transaction::ProcessDefault());
  // An empty context leaves the current store as it is.
  const ExecutionContextScope no_context(nullptr);
  EXPECT_EQ(&Transaction::Current(), &Transaction::ProcessDefault());
}

TEST_F(TransactionTest, AContextsWaitingCallbacksDieWithItUnrun) {
  auto context = std::make_shared<ExecutionContext>("short_lived");
  context->dispatch_queue().SetStepMode(true);
  const auto held = std::make_shared<int>(0);
  {
    const ExecutionContextScope scope(context);
    // The callback counts its runs in the object it holds, which fills its 16 bytes.
    ASSERT_EQ(Transaction::AddBeginTransactionCallback([held] { ++*held; }), ErrorCode::kSuccess);
  }
  EXPECT_EQ(held.use_count(), 2);

  context.reset();

  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(*held, 0);
  Transaction::Begin();
  EXPECT_EQ(*held, 0);
}

TEST_F(TransactionTest, EachStoreCountsItsOwnInjectedFailures) {
  TransactionCallbacks own;
  std::vector<int> calls;
  TransactionTesting::FailNextRegistrations(1, ErrorCode::kFailure);
  {
    const Transaction::Scope scope(own);
    EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
  }
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kFailure);
  EXPECT_EQ(own.pending(), 1U);
  own.Begin();
  EXPECT_EQ(calls, std::vector<int>{1});
}

}  // namespace
