#include "zol/afw/core/transaction.h"

#include <cstddef>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::Transaction;

// The callbacks are process-wide; every test starts and ends without leftovers.
class TransactionTest : public ::testing::Test {
 protected:
  void SetUp() override { Transaction::ResetForTesting(); }
  void TearDown() override { Transaction::ResetForTesting(); }
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
  Transaction::FailNextRegistrations(2, ErrorCode::kFailure);

  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kFailure);
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 2)), ErrorCode::kFailure);
  EXPECT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 3)), ErrorCode::kSuccess);

  Transaction::Begin();
  EXPECT_EQ(calls, std::vector<int>{3});
}

TEST_F(TransactionTest, ResetForTestingDropsWaitingCallbacksAndEndsInjectedFailures) {
  std::vector<int> calls;
  ASSERT_EQ(Transaction::AddBeginTransactionCallback(Record(&calls, 1)), ErrorCode::kSuccess);
  Transaction::FailNextRegistrations(5, ErrorCode::kBusy);

  Transaction::ResetForTesting();
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

}  // namespace
