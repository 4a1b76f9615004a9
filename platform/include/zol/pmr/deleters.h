/// @file
/// @brief unique_ptr deleters that give memory back to where it came from.
#ifndef ZOL_PMR_DELETERS_H
#define ZOL_PMR_DELETERS_H

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "zol/detail/panic.h"
#include "zol/nodiscard.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace pmr {

/// Destroys one object and deallocates it through the allocator it was allocated with.
///
/// For objects held by their own type: the deallocated size is sizeof(value_type).
/// For an object held through a base pointer use SizedAllocatorDeleter.
template <typename Allocator>
class AllocationDeleter {
  using Traits = std::allocator_traits<Allocator>;

 public:
  using allocator_type = Allocator;
  using value_type = typename Traits::value_type;

  /// A deleter with a default-constructed allocator (for polymorphic_allocator: the current default resource).
  AllocationDeleter() = default;

  /// A deleter that deallocates through @p allocator.
  explicit AllocationDeleter(const Allocator& allocator) : allocator_(allocator) {}

  /// Destroys @p *p and deallocates its storage; null is ignored.
  void operator()(value_type* p) const {
    if (p != nullptr) {
      Traits::destroy(allocator_, p);
      Traits::deallocate(allocator_, p, 1);
    }
  }

  /// The allocator used for deallocation.
  Allocator get_allocator() const { return allocator_; }

 private:
  // Mutable: allocator_traits wants a non-const allocator, and unique_ptr may call a const deleter.
  mutable Allocator allocator_{};
};

namespace detail {

// The start of the complete object, which is what was allocated even when held through a base
// that is not the first one. Only a polymorphic type can tell. T may be const or volatile (a deleter of
// unique_ptr<const T>); the storage underneath was allocated as plain bytes, so giving it back without them is sound.
template <typename T>
void* CompleteObject(T* p, std::true_type /*polymorphic*/) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): see above; the bytes were never const
  return const_cast<void*>(dynamic_cast<const volatile void*>(p));
}
template <typename T>
void* CompleteObject(T* p, std::false_type /*polymorphic*/) noexcept {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): see above; the bytes were never const
  return const_cast<void*>(static_cast<const volatile void*>(p));
}

}  // namespace detail

template <typename Allocator>
class SizedAllocatorDeleter;

/// Destroys an object and returns exactly the bytes that were allocated for it to a memory resource.
///
/// Carries the size and alignment of the object actually allocated, so a
/// unique_ptr<Base> holding a Derived still deallocates sizeof(Derived) with
/// alignof(Derived). Only the resource of the Allocator is used; the allocator
/// type names the held type.
template <typename Allocator>
class SizedAllocatorDeleter {
 public:
  using allocator_type = Allocator;
  using value_type = typename std::allocator_traits<Allocator>::value_type;

  /// A deleter without a resource, for an empty unique_ptr; deleting an object with it aborts.
  SizedAllocatorDeleter() noexcept : resource_(nullptr), size_(0), alignment_(0) {}

  /// A deleter that returns @p size bytes aligned to @p alignment to @p resource.
  SizedAllocatorDeleter(memory_resource* resource, std::size_t size, std::size_t alignment) noexcept
      : resource_(resource), size_(size), alignment_(alignment) {}

  /// Takes over the deleter of a derived type, keeping the derived object's size and alignment,
  /// so that unique_ptr<Derived, ...> converts to unique_ptr<Base, ...>.
  template <typename U, typename = typename std::enable_if<std::is_convertible<U*, value_type*>::value>::type>
  SizedAllocatorDeleter(const SizedAllocatorDeleter<polymorphic_allocator<U>>& other) noexcept  // NOLINT: implicit
      : resource_(other.resource()), size_(other.size()), alignment_(other.alignment()) {
    static_assert(std::is_same<typename std::remove_cv<U>::type, typename std::remove_cv<value_type>::type>::value ||
                      std::has_virtual_destructor<value_type>::value,
                  "deleting a derived object through a base without a virtual destructor would skip its destructor");
  }

  /// Runs the (virtual) destructor of @p *p and deallocates size() bytes with alignment(); null is ignored.
  void operator()(value_type* p) const noexcept {
    if (p == nullptr) {
      return;
    }
    if (resource_ == nullptr) {
      zol::detail::Panic("SizedAllocatorDeleter: deleting an object without a memory resource");
    }
    void* complete = detail::CompleteObject(p, std::is_polymorphic<value_type>());
    p->~value_type();
    resource_->deallocate(complete, size_, alignment_);
  }

  /// The resource the object came from.
  ZOL_NODISCARD memory_resource* resource() const noexcept { return resource_; }
  /// Size in bytes of the object actually allocated.
  ZOL_NODISCARD std::size_t size() const noexcept { return size_; }
  /// Alignment of the object actually allocated.
  ZOL_NODISCARD std::size_t alignment() const noexcept { return alignment_; }

 private:
  memory_resource* resource_;
  std::size_t size_;
  std::size_t alignment_;
};

namespace detail {

// Gives raw storage back if the constructor throws.
class StorageGuard {
 public:
  StorageGuard(memory_resource* resource, void* p, std::size_t size, std::size_t alignment) noexcept
      : resource_(resource), p_(p), size_(size), alignment_(alignment) {}
  StorageGuard(const StorageGuard&) = delete;
  StorageGuard& operator=(const StorageGuard&) = delete;
  StorageGuard(StorageGuard&&) = delete;
  StorageGuard& operator=(StorageGuard&&) = delete;
  ~StorageGuard() {
    if (p_ != nullptr) {
      resource_->deallocate(p_, size_, alignment_);
    }
  }
  void Release() noexcept { p_ = nullptr; }

 private:
  memory_resource* resource_;
  void* p_;
  std::size_t size_;
  std::size_t alignment_;
};

}  // namespace detail

/// Allocates sizeof(T) bytes with alignof(T) from @p resource and constructs T from @p args.
///
/// The result converts to a unique_ptr of any base of T with a virtual
/// destructor and still deallocates the right size. If the constructor throws,
/// the storage goes back to @p resource and the exception propagates.
template <typename T, typename... A>
std::unique_ptr<T, SizedAllocatorDeleter<polymorphic_allocator<T>>> MakeUniqueSized(memory_resource* resource,
                                                                                    A&&... args) {
  if (resource == nullptr) {
    zol::detail::Panic("MakeUniqueSized: null memory resource");
  }
  void* storage = resource->allocate(sizeof(T), alignof(T));
  detail::StorageGuard guard(resource, storage, sizeof(T), alignof(T));
  T* object = ::new (storage) T(std::forward<A>(args)...);
  guard.Release();
  return std::unique_ptr<T, SizedAllocatorDeleter<polymorphic_allocator<T>>>(
      object, SizedAllocatorDeleter<polymorphic_allocator<T>>(resource, sizeof(T), alignof(T)));
}

/// Allocates one T through a polymorphic_allocator on @p resource and constructs it from @p args.
///
/// For objects that stay held by their own type. If the constructor throws,
/// the storage goes back to @p resource and the exception propagates.
template <typename T, typename... A>
std::unique_ptr<T, AllocationDeleter<polymorphic_allocator<T>>> MakeUniqueAllocated(memory_resource* resource,
                                                                                    A&&... args) {
  if (resource == nullptr) {
    zol::detail::Panic("MakeUniqueAllocated: null memory resource");
  }
  polymorphic_allocator<T> allocator(resource);
  T* storage = allocator.allocate(1);
  detail::StorageGuard guard(resource, storage, sizeof(T), alignof(T));
  T* object = ::new (static_cast<void*>(storage)) T(std::forward<A>(args)...);
  guard.Release();
  return std::unique_ptr<T, AllocationDeleter<polymorphic_allocator<T>>>(
      object, AllocationDeleter<polymorphic_allocator<T>>(allocator));
}

}  // namespace pmr
}  // namespace zol

#endif  // ZOL_PMR_DELETERS_H
