#include "zol/afw/core/contextual_object.h"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "zol/pmr/counting_resource.h"

namespace {

using zol::afw::core::ContextualObject;
using zol::afw::core::ExecutionContext;

// ExecutionContext is only declared here; a handle that is never dereferenced is enough to see where a child's
// context comes from.
std::shared_ptr<ExecutionContext> MakeOpaqueContext(const std::shared_ptr<int>& owner) {
  return std::shared_ptr<ExecutionContext>(owner, reinterpret_cast<ExecutionContext*>(owner.get()));
}

// Stands for an object that owns an execution context, such as an executable's root component.
class ObjectWithContext : public ContextualObject {
 public:
  ObjectWithContext(zol::string_view name, std::shared_ptr<ExecutionContext> context)
      : ContextualObject(nullptr, name), context_(std::move(context)) {}
  std::shared_ptr<ExecutionContext> execution_context() const override { return context_; }

 private:
  std::shared_ptr<ExecutionContext> context_;
};

TEST(ContextualObject, RootHasNoParentAndItsNameIsItsQualifiedName) {
  const ContextualObject root(nullptr, "Root");

  EXPECT_EQ(root.parent(), nullptr);
  EXPECT_EQ(root.name(), "Root");
  EXPECT_EQ(root.qualified_name(), "Root");
}

TEST(ContextualObject, QualifiedNameJoinsTheNamesFromTheRootDownWithDots) {
  const ContextualObject root(nullptr, "App");
  const ContextualObject middle(&root, "InitialFrontSideRadarLeftHal");
  const ContextualObject leaf(&middle, "fsrl");

  EXPECT_EQ(leaf.parent(), &middle);
  EXPECT_EQ(leaf.name(), "fsrl");
  EXPECT_EQ(leaf.qualified_name(), "App.InitialFrontSideRadarLeftHal.fsrl");
  EXPECT_EQ(middle.qualified_name(), "App.InitialFrontSideRadarLeftHal");
}

TEST(ContextualObject, KeepsItsOwnCopyOfTheName) {
  std::string name = "Temporary";
  const ContextualObject object(nullptr, name);
  name.assign("Changed");

  EXPECT_EQ(object.name(), "Temporary");
}

TEST(ContextualObject, NameIsAllocatedFromTheDefaultResource) {
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    const ContextualObject object(nullptr, "A name too long for any small-string buffer");
    EXPECT_EQ(counting.allocation_count(), 1U);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(ContextualObject, HasNoExecutionContextWithoutOneOfItsOwnOrItsParents) {
  const ContextualObject root(nullptr, "Root");
  const ContextualObject child(&root, "Child");

  EXPECT_EQ(root.execution_context(), nullptr);
  EXPECT_EQ(child.execution_context(), nullptr);
}

TEST(ContextualObject, InheritsTheExecutionContextOfItsNearestAncestorThatHasOne) {
  const auto owner = std::make_shared<int>(0);
  const std::shared_ptr<ExecutionContext> context = MakeOpaqueContext(owner);
  const ObjectWithContext root("Root", context);
  const ContextualObject child(&root, "Child");
  const ContextualObject grandchild(&child, "Grandchild");

  EXPECT_EQ(child.execution_context(), context);
  EXPECT_EQ(grandchild.execution_context(), context);
}

}  // namespace
