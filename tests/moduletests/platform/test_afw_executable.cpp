#include "function_task.h"
#include "zol/afw/core/executable.h"

#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/execution_context.h"
#include "zol/afw/core/task.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/deleters.h"

namespace {

using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::Executable;
using zol::afw::core::ExecutionContext;
using zol::afw::core::Task;

using fsrl_test::CountingTask;

TEST(Executable, IsARootObjectWithAContextOfItsOwnNamedLikeIt) {
  const Executable executable("App");

  EXPECT_EQ(executable.parent(), nullptr);
  EXPECT_EQ(executable.name(), "App");
  EXPECT_EQ(executable.qualified_name(), "App");
  const std::shared_ptr<ExecutionContext> context = executable.execution_context();
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(context->name(), "App");
}

TEST(Executable, AlwaysAnswersTheSameContext) {
  const Executable executable("App");

  EXPECT_EQ(executable.execution_context(), executable.execution_context());
}

TEST(Executable, TwoExecutablesHaveDifferentContexts) {
  const Executable first("First");
  const Executable second("Second");

  EXPECT_NE(first.execution_context(), second.execution_context());
}

TEST(Executable, ComponentsBelowItGetItsContext) {
  const Executable executable("App");
  const ContextualObject child(&executable, "Hal");
  const ContextualObject grandchild(&child, "Adapter");

  EXPECT_EQ(child.execution_context(), executable.execution_context());
  EXPECT_EQ(grandchild.execution_context(), executable.execution_context());
  EXPECT_EQ(grandchild.qualified_name(), "App.Hal.Adapter");
}

TEST(Executable, ItsContextIsAllocatedFromTheDefaultResourceAndGivenBack) {
  zol::pmr::CountingResource resource;
  const zol::pmr::ScopedDefaultResource scoped(&resource);
  {
    const Executable executable("App");
    EXPECT_GT(resource.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
  EXPECT_EQ(resource.mismatched_deallocations(), 0U);
}

TEST(Executable, AComponentThatKeepsTheContextKeepsItAliveAfterTheExecutableIsGone) {
  std::shared_ptr<ExecutionContext> kept;
  {
    const Executable executable("App");
    kept = executable.execution_context();
  }

  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(kept->name(), "App");
  EXPECT_EQ(kept.use_count(), 1);
}

TEST(Executable, TasksPostedThroughAChildsContextRunOnTheExecutablesQueue) {
  const Executable executable("App");
  const ContextualObject child(&executable, "Hal");
  int runs = 0;
  executable.execution_context()->dispatch_queue().SetStepMode(true);

  ASSERT_EQ(child.execution_context()->dispatch_queue().AsyncTask(
                zol::pmr::MakeUniqueSized<CountingTask>(zol::pmr::get_default_resource(), &runs)),
            ErrorCode::kSuccess);
  EXPECT_EQ(executable.execution_context()->dispatch_queue().RunPending(), 1U);

  EXPECT_EQ(runs, 1);
}

}  // namespace
