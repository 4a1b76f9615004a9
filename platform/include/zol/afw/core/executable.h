/// @file
/// @brief The root of a component tree that owns an execution context.
#ifndef ZOL_AFW_CORE_EXECUTABLE_H
#define ZOL_AFW_CORE_EXECUTABLE_H

#include <memory>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/execution_context.h"
#include "zol/nodiscard.h"
#include "zol/string_view.h"

namespace zol {
namespace afw {
namespace core {

/// @brief A contextual object with an execution context of its own, named like the object.
///
/// Components created below it (directly or further down) run on this context, because a contextual object
/// without a context of its own uses its parent's. The context starts idle: start its queue's thread, or put the
/// queue in step mode, before expecting posted tasks to run. Set-up code that registers begin-transaction callbacks
/// for the context runs in an ExecutionContextScope of it, or as a task of its queue.
/// @code
///   zol::afw::core::Executable app("app");
///   app.execution_context()->dispatch_queue().Start();
///   auto hal = SomeComponent::Create(&app, "Initial");   // sees app's execution context
/// @endcode
class Executable : public ContextualObject {
 public:
  /// @brief A root object named @p name with a new execution context of the same name, allocated from the
  /// default memory resource.
  explicit Executable(zol::string_view name);
  ~Executable() override;
  Executable(const Executable&) = delete;
  Executable(Executable&&) = delete;
  Executable& operator=(const Executable&) = delete;
  Executable& operator=(Executable&&) = delete;

  /// @brief The executable's own context (never empty). Components keep it alive as long as they hold it.
  ZOL_NODISCARD std::shared_ptr<ExecutionContext> execution_context() const override;

 private:
  std::shared_ptr<ExecutionContext> execution_context_;
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_EXECUTABLE_H
