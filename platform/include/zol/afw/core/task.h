/// @file
/// @brief A unit of work for a dispatch queue.
#ifndef ZOL_AFW_CORE_TASK_H
#define ZOL_AFW_CORE_TASK_H

#include <memory>

#include "zol/afw/core/error_code.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace afw {
namespace core {

/// @brief Work handed to a DispatchQueue, which runs it once on its execution context and then destroys it.
///
/// Derive from it, allocate the derived object from a memory resource and hand it over as a TaskPtr:
/// @code
///   TaskPtr task = zol::pmr::MakeUniqueSized<MyTask>(zol::pmr::get_default_resource(), ...);
///   if (queue.AsyncTask(std::move(task)) != ErrorCode::kSuccess) { /* task is still ours; it dies here */ }
/// @endcode
class Task {
 public:
  virtual ~Task();

  /// @brief Does the work. Runs on the queue's execution context, inside a transaction of its own.
  virtual ErrorCode Execute() = 0;

 protected:
  Task() = default;
  Task(const Task&) = default;
  Task(Task&&) = default;
  Task& operator=(const Task&) = default;
  Task& operator=(Task&&) = default;
};

/// @brief Owning pointer to a task. The deleter knows the size and resource of the derived object actually
/// allocated, so whoever ends up destroying the task (the queue after running it, the queue's destructor, or the
/// poster when the queue refused it) returns its memory to where it came from.
using TaskPtr = std::unique_ptr<Task, zol::pmr::SizedAllocatorDeleter<zol::pmr::polymorphic_allocator<Task>>>;

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_TASK_H
