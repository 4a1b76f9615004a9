/// @file
/// @brief Where a component's work runs: a named dispatch queue.
#ifndef ZOL_AFW_CORE_EXECUTION_CONTEXT_H
#define ZOL_AFW_CORE_EXECUTION_CONTEXT_H

#include <cstddef>
#include <memory>

#include "zol/afw/core/dispatch_queue.h"
#include "zol/afw/core/transaction.h"
#include "zol/pmr/polymorphic_allocator.h"
#include "zol/string_view.h"

namespace zol {
namespace afw {
namespace core {

/// @brief A named execution context: the dispatch queue all components of one executable run on.
///
/// Shared (std::shared_ptr) between the executable that owns it and the components that post to it, so that
/// it outlives whichever of them goes last.
class ExecutionContext {
 public:
  /// @brief A context named @p name whose queue holds at most @p queue_capacity waiting tasks.
  explicit ExecutionContext(zol::string_view name, std::size_t queue_capacity = DispatchQueue::kDefaultCapacity);
  ~ExecutionContext();
  ExecutionContext(const ExecutionContext&) = delete;
  ExecutionContext(ExecutionContext&&) = delete;
  ExecutionContext& operator=(const ExecutionContext&) = delete;
  ExecutionContext& operator=(ExecutionContext&&) = delete;

  /// @brief The context's dispatch queue.
  DispatchQueue& dispatch_queue() { return dispatch_queue_; }
  /// @brief The context's dispatch queue.
  const DispatchQueue& dispatch_queue() const { return dispatch_queue_; }
  /// @brief The name given at construction.
  zol::string_view name() const { return {name_.data(), name_.size()}; }

 private:
  zol::pmr::string name_;
  DispatchQueue dispatch_queue_;
};

/// @brief Lets the calling thread act on an execution context outside the context's tasks, for the lifetime of the
/// object: begin-transaction callbacks registered meanwhile belong to the context, and Transaction::Begin() begins
/// the context's transaction.
///
/// For code that does a context's work on a thread of its own: setting up an executable's components before its
/// queue starts, or driving a queue in step mode and running the cycles between its tasks. It must not be used while
/// the context's queue runs tasks on another thread, or the cycle and the tasks would no longer run one at a time.
/// @code
///   zol::afw::core::Executable app("app");
///   app.execution_context()->dispatch_queue().SetStepMode(true);
///   const zol::afw::core::ExecutionContextScope on_app(app.execution_context());
///   for (;;) {
///     app.execution_context()->dispatch_queue().RunPending();
///     zol::afw::core::Transaction::Begin();   // the context's transaction
///     hal.ProcessFsrlInput();
///   }
/// @endcode
class ExecutionContextScope {
 public:
  /// @brief Makes @p context current on the calling thread and keeps it alive until the scope ends; an empty
  /// @p context leaves the thread's current store as it is.
  explicit ExecutionContextScope(std::shared_ptr<ExecutionContext> context);
  ~ExecutionContextScope();
  ExecutionContextScope(const ExecutionContextScope&) = delete;
  ExecutionContextScope(ExecutionContextScope&&) = delete;
  ExecutionContextScope& operator=(const ExecutionContextScope&) = delete;
  ExecutionContextScope& operator=(ExecutionContextScope&&) = delete;

 private:
  // Declared first, so that the context outlives the scope that points at its store.
  std::shared_ptr<ExecutionContext> context_;
  Transaction::Scope scope_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_EXECUTION_CONTEXT_H
