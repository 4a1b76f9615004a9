#include "zol/afw/core/execution_context.h"

#include <utility>

namespace zol {
namespace afw {
namespace core {

ExecutionContext::ExecutionContext(zol::string_view name, std::size_t queue_capacity)
    : name_(name.data(), name.size()), dispatch_queue_(queue_capacity) {}

// The queue goes first (reverse declaration order): its thread is stopped before anything else of the context
// disappears.
ExecutionContext::~ExecutionContext() = default;

namespace {

TransactionCallbacks& StoreOf(const std::shared_ptr<ExecutionContext>& context) {
  return context ? context->dispatch_queue().transaction_callbacks() : Transaction::Current();
}

}  // namespace

ExecutionContextScope::ExecutionContextScope(std::shared_ptr<ExecutionContext> context)
    : context_(std::move(context)), scope_(StoreOf(context_)) {}

ExecutionContextScope::~ExecutionContextScope() = default;

}  // namespace core
}  // namespace afw
}  // namespace zol
