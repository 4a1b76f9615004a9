/// @file
/// @brief Polymorphic memory resources and the process-wide default resource.
#ifndef ZOL_PMR_MEMORY_RESOURCE_H
#define ZOL_PMR_MEMORY_RESOURCE_H

#include <cstddef>

#include "zol/nodiscard.h"

namespace zol {
namespace pmr {

/// Source of raw memory behind polymorphic allocators (std::pmr::memory_resource shape).
///
/// Every deallocation must name the size and alignment that were passed to the
/// matching allocation; resources may rely on it.
class memory_resource {
 public:
  memory_resource() = default;
  memory_resource(const memory_resource&) = default;
  memory_resource(memory_resource&&) = default;
  memory_resource& operator=(const memory_resource&) = default;
  memory_resource& operator=(memory_resource&&) = default;
  virtual ~memory_resource();

  /// At least @p bytes bytes aligned to @p alignment (a power of two).
  /// Throws std::bad_alloc when the memory cannot be provided.
  void* allocate(std::size_t bytes, std::size_t alignment = alignof(std::max_align_t)) {
    return do_allocate(bytes, alignment);
  }

  /// Returns memory obtained from allocate() with the same @p bytes and @p alignment.
  void deallocate(void* p, std::size_t bytes, std::size_t alignment = alignof(std::max_align_t)) {
    do_deallocate(p, bytes, alignment);
  }

  /// True when memory allocated from one may be deallocated through the other.
  ZOL_NODISCARD bool is_equal(const memory_resource& other) const noexcept {
    return this == &other || do_is_equal(other);
  }

 private:
  virtual void* do_allocate(std::size_t bytes, std::size_t alignment) = 0;
  virtual void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) = 0;
  ZOL_NODISCARD virtual bool do_is_equal(const memory_resource& other) const noexcept = 0;
};

/// Resources are equal when memory from one may be returned to the other.
inline bool operator==(const memory_resource& a, const memory_resource& b) noexcept { return a.is_equal(b); }
inline bool operator!=(const memory_resource& a, const memory_resource& b) noexcept { return !a.is_equal(b); }

/// The resource that uses global operator new/delete, over-aligning by hand where asked to.
/// It exists for the whole life of the process, static destruction included.
memory_resource* new_delete_resource() noexcept;

/// The process-wide default resource (initially new_delete_resource()). Thread-safe.
memory_resource* get_default_resource() noexcept;

/// Installs @p r as the process-wide default resource and returns the previous one.
/// Null restores new_delete_resource(). Thread-safe; the caller keeps @p r alive while installed.
memory_resource* set_default_resource(memory_resource* r) noexcept;

}  // namespace pmr
}  // namespace zol

#endif  // ZOL_PMR_MEMORY_RESOURCE_H
