#include "zol/afw/core/executable.h"

#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace afw {
namespace core {

Executable::Executable(zol::string_view name)
    : ContextualObject(nullptr, name),
      execution_context_(std::allocate_shared<ExecutionContext>(
          zol::pmr::polymorphic_allocator<ExecutionContext>(zol::pmr::get_default_resource()), name)) {}

Executable::~Executable() = default;

std::shared_ptr<ExecutionContext> Executable::execution_context() const { return execution_context_; }

}  // namespace core
}  // namespace afw
}  // namespace zol
