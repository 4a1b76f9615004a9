/// @file
/// @brief Allocator that forwards to a memory_resource, and the containers that use it.
#ifndef ZOL_PMR_POLYMORPHIC_ALLOCATOR_H
#define ZOL_PMR_POLYMORPHIC_ALLOCATOR_H

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "zol/detail/panic.h"
#include "zol/nodiscard.h"
#include "zol/pmr/memory_resource.h"

namespace zol {
namespace pmr {

/// Standard allocator over a memory_resource (std::pmr::polymorphic_allocator shape).
///
/// Works with std::vector, std::basic_string, std::allocate_shared and other
/// allocator-aware code; rebinding goes through the converting constructor.
/// Containers do not pass
/// the allocator on when copy-assigned, move-assigned or swapped (the propagate
/// traits are false), and a copy-constructed container gets the default resource.
template <typename T>
class polymorphic_allocator {
 public:
  using value_type = T;

  /// Uses the default resource current at construction time.
  polymorphic_allocator() noexcept : resource_(get_default_resource()) {}

  /// Uses @p resource, which must not be null and must outlive every allocation.
  polymorphic_allocator(memory_resource* resource) noexcept  // NOLINT: implicit like std::pmr
      : resource_(resource) {
    if (resource_ == nullptr) {
      zol::detail::Panic("polymorphic_allocator: null memory resource");
    }
  }

  /// The same resource, for another value type (rebinding).
  template <typename U>
  polymorphic_allocator(const polymorphic_allocator<U>& other) noexcept  // NOLINT: implicit like std::pmr
      : resource_(other.resource()) {}

  /// Storage for @p n objects of T, aligned for T. Throws std::bad_alloc when it cannot be had.
  T* allocate(std::size_t n) {
    if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(resource_->allocate(n * sizeof(T), alignof(T)));
  }

  /// Returns storage for @p n objects obtained from allocate(n).
  void deallocate(T* p, std::size_t n) noexcept { resource_->deallocate(p, n * sizeof(T), alignof(T)); }

  /// Constructs a U at @p p, passing this allocator on to U when U uses one.
  ///
  /// Uses-allocator construction, as std::pmr does it: a U for which
  /// std::uses_allocator says yes gets the allocator, either after a leading
  /// std::allocator_arg or as the last argument, so that the elements of a
  /// pmr::vector<pmr::string> take their characters from the vector's resource.
  /// Other types are constructed from @p args alone. (std::pair members are not
  /// handed the allocator.)
  template <typename U, typename... A>
  void construct(U* p, A&&... args) {
    using Uses = std::uses_allocator<U, polymorphic_allocator>;
    using Leading = std::integral_constant<
        bool, Uses::value && std::is_constructible<U, std::allocator_arg_t, const polymorphic_allocator&, A...>::value>;
    using Trailing =
        std::integral_constant<bool, Uses::value && !Leading::value &&
                                         std::is_constructible<U, A..., const polymorphic_allocator&>::value>;
    Construct(p, Leading(), Trailing(), std::forward<A>(args)...);
  }

  /// Destroys the U at @p p.
  template <typename U>
  void destroy(U* p) noexcept {
    p->~U();
  }

  /// A copied container uses the default resource, not the source's, as std::pmr does.
  ZOL_NODISCARD polymorphic_allocator select_on_container_copy_construction() const noexcept {
    return polymorphic_allocator();
  }

  /// The resource allocations go to.
  ZOL_NODISCARD memory_resource* resource() const noexcept { return resource_; }

 private:
  template <typename U, typename... A>
  void Construct(U* p, std::true_type /*leading*/, std::false_type /*trailing*/, A&&... args) {
    ::new (static_cast<void*>(p)) U(std::allocator_arg, *this, std::forward<A>(args)...);
  }
  template <typename U, typename... A>
  void Construct(U* p, std::false_type /*leading*/, std::true_type /*trailing*/, A&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<A>(args)..., *this);
  }
  template <typename U, typename... A>
  void Construct(U* p, std::false_type /*leading*/, std::false_type /*trailing*/, A&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<A>(args)...);
  }

  memory_resource* resource_;
};

/// Allocators are equal when their resources are.
template <typename T, typename U>
bool operator==(const polymorphic_allocator<T>& a, const polymorphic_allocator<U>& b) noexcept {
  return a.resource()->is_equal(*b.resource());
}
template <typename T, typename U>
bool operator!=(const polymorphic_allocator<T>& a, const polymorphic_allocator<U>& b) noexcept {
  return !(a == b);
}

/// A string whose characters come from a memory resource.
using string = std::basic_string<char, std::char_traits<char>, polymorphic_allocator<char>>;

/// A vector whose elements come from a memory resource.
template <typename T>
using vector = std::vector<T, polymorphic_allocator<T>>;

}  // namespace pmr
}  // namespace zol

#endif  // ZOL_PMR_POLYMORPHIC_ALLOCATOR_H
