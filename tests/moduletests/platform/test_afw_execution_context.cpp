#include "function_task.h"
#include "zol/afw/core/execution_context.h"

#include <memory>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "zol/afw/core/task.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/deleters.h"

namespace {

using zol::afw::core::DispatchQueue;
using zol::afw::core::ErrorCode;
using zol::afw::core::ExecutionContext;
using zol::afw::core::Task;
using zol::afw::core::TaskPtr;

static_assert(!std::is_copy_constructible<ExecutionContext>::value, "a context is shared, never copied");
static_assert(
    std::is_same<decltype(std::declval<const ExecutionContext&>().dispatch_queue()), const DispatchQueue&>::value,
    "a const context gives a const queue");

using fsrl_test::CountingTask;

TEST(ExecutionContext, KeepsItsNameAndItsNameLivesOnTheDefaultResource) {
  zol::pmr::CountingResource resource;
  const zol::pmr::ScopedDefaultResource scoped(&resource);
  {
    const ExecutionContext context("a context name long enough to leave the inline buffer");
    EXPECT_EQ(context.name(), "a context name long enough to leave the inline buffer");
    EXPECT_GT(resource.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
}

TEST(ExecutionContext, ItsQueueStartsIdleWithTheRequestedCapacity) {
  ExecutionContext context("worker", 4);

  EXPECT_FALSE(context.dispatch_queue().IsExecuting());
  EXPECT_EQ(context.dispatch_queue().capacity(), 4U);
  EXPECT_EQ(ExecutionContext("default").dispatch_queue().capacity(), DispatchQueue::kDefaultCapacity);
}

TEST(ExecutionContext, TasksPostedToItsQueueRunThere) {
  ExecutionContext context("worker");
  int runs = 0;
  context.dispatch_queue().Start();

  TaskPtr task = zol::pmr::MakeUniqueSized<CountingTask>(zol::pmr::get_default_resource(), &runs);
  ASSERT_EQ(context.dispatch_queue().AsyncTask(std::move(task)), ErrorCode::kSuccess);
  context.dispatch_queue().WaitIdle();

  EXPECT_EQ(runs, 1);
}

TEST(ExecutionContext, DestroyingItStopsItsQueueAndFreesEveryTask) {
  zol::pmr::CountingResource resource;
  int runs = 0;
  {
    ExecutionContext context("worker");
    context.dispatch_queue().Start();
    for (int i = 0; i < 5; ++i) {
      ASSERT_EQ(context.dispatch_queue().AsyncTask(zol::pmr::MakeUniqueSized<CountingTask>(&resource, &runs)),
                ErrorCode::kSuccess);
    }
  }

  // The thread was joined (so its runs are visible) and the tasks it did not get to were destroyed unrun.
  EXPECT_LE(runs, 5);
  EXPECT_EQ(resource.allocation_count(), 5U);
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
}

}  // namespace
