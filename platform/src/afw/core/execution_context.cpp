#include "zol/afw/core/execution_context.h"

namespace zol {
namespace afw {
namespace core {

ExecutionContext::ExecutionContext(zol::string_view name, std::size_t queue_capacity)
    : name_(name.data(), name.size()), dispatch_queue_(queue_capacity) {}

// The queue goes first (reverse declaration order): its thread is stopped before anything else of the context
// disappears.
ExecutionContext::~ExecutionContext() = default;

}  // namespace core
}  // namespace afw
}  // namespace zol
