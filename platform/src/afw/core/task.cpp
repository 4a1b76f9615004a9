#include "zol/afw/core/task.h"

namespace zol {
namespace afw {
namespace core {

// Out of line so that the vtable and type information live once, in the platform library.
Task::~Task() = default;

}  // namespace core
}  // namespace afw
}  // namespace zol
