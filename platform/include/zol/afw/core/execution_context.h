/// @file
/// @brief Where a component's work runs: a named dispatch queue.
#ifndef ZOL_AFW_CORE_EXECUTION_CONTEXT_H
#define ZOL_AFW_CORE_EXECUTION_CONTEXT_H

#include <cstddef>

#include "zol/afw/core/dispatch_queue.h"
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

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_EXECUTION_CONTEXT_H
