#ifndef ZOL_AFW_CORE_CONTEXTUAL_OBJECT_H
#define ZOL_AFW_CORE_CONTEXTUAL_OBJECT_H

#include <memory>
#include <string>

#include "zol/nodiscard.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace zol {
namespace afw {
namespace core {

class ExecutionContext;

/// @brief A named object in a tree of components, which inherits its execution context from its parent.
///
/// Components are created with their parent; the tree gives each object a dotted name for diagnostics and
/// tells it on which execution context (thread and dispatch queue) it runs. The parent must outlive the child.
class ContextualObject {
 public:
  /// @brief An object named @p name below @p parent (null for a root). The name is copied.
  ContextualObject(const ContextualObject* parent, zol::string_view name);
  virtual ~ContextualObject();
  ContextualObject(const ContextualObject&) = delete;
  ContextualObject(ContextualObject&&) = delete;
  ContextualObject& operator=(const ContextualObject&) = delete;
  ContextualObject& operator=(ContextualObject&&) = delete;

  /// @brief The parent given at construction, or null.
  ZOL_NODISCARD const ContextualObject* parent() const { return parent_; }
  /// @brief The object's own name.
  ZOL_NODISCARD zol::string_view name() const { return {name_.data(), name_.size()}; }
  /// @brief The names from the root down to this object, joined by '.'.
  ZOL_NODISCARD std::string qualified_name() const;

  /// @brief The execution context this object runs on: its own if it has one, else its parent's; empty
  /// without either.
  ZOL_NODISCARD virtual std::shared_ptr<ExecutionContext> execution_context() const;

 private:
  const ContextualObject* parent_;
  // On the default resource like everything a component builds, so that a component's memory is accounted
  // for where it was created.
  zol::pmr::string name_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_CONTEXTUAL_OBJECT_H
