#include "zol/afw/core/contextual_object.h"

namespace zol {
namespace afw {
namespace core {

ContextualObject::ContextualObject(const ContextualObject* parent, zol::string_view name)
    : parent_(parent), name_(name.data(), name.size()) {}

ContextualObject::~ContextualObject() = default;

// Walks up the parent chain, whose depth is that of the object tree an application builds: a handful.
// NOLINTNEXTLINE(misc-no-recursion)
std::string ContextualObject::qualified_name() const {
  std::string result = parent_ != nullptr ? parent_->qualified_name() + '.' : std::string();
  result.append(name_.data(), name_.size());
  return result;
}

// NOLINTNEXTLINE(misc-no-recursion): walks up the parent chain, as qualified_name() does
std::shared_ptr<ExecutionContext> ContextualObject::execution_context() const {
  // A plain contextual object has no execution context of its own; objects that own one override this.
  return parent_ != nullptr ? parent_->execution_context() : std::shared_ptr<ExecutionContext>();
}

}  // namespace core
}  // namespace afw
}  // namespace zol
