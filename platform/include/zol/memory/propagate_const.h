// Const-propagating wrapper around a pointer or pointer-like object.
#ifndef ZOL_MEMORY_PROPAGATE_CONST_H
#define ZOL_MEMORY_PROPAGATE_CONST_H

#include <cstddef>
#include <type_traits>
#include <utility>

#include "zol/nodiscard.h"

namespace zol {
namespace memory {

/// Wraps a pointer (raw or smart) so that a const wrapper only hands out pointers and references to const.
///
/// A class that hides its state behind an implementation pointer would otherwise let its const member functions
/// call non-const functions of the implementation: a plain `std::unique_ptr<T>` member stays a pointer to
/// non-const `T` inside a const object. Holding the pointer in a `PropagateConst` makes the compiler reject that.
///
/// `Pointer` is a raw object pointer or a class with `get()`, `operator*` and `operator bool` (such as
/// `std::unique_ptr` with any deleter). Like the pointer it wraps it is movable; unlike a raw pointer it is not
/// copyable, because copying a const wrapper would hand out a non-const copy of the pointer.
template <typename Pointer>
class PropagateConst {
 public:
  /// The pointee type, without const.
  using element_type = typename std::remove_reference<decltype(*std::declval<Pointer&>())>::type;

  static_assert(std::is_object<Pointer>::value && !std::is_array<Pointer>::value,
                "PropagateConst wraps an object pointer or a pointer-like class");

  /// Holds a value-initialised pointer (null).
  constexpr PropagateConst() : pointer_() {}

  /// Takes the given pointer (or anything `Pointer` can be built from, such as `nullptr`).
  template <typename U, typename = typename std::enable_if<
                            std::is_constructible<Pointer, U&&>::value &&
                            !std::is_same<typename std::decay<U>::type, PropagateConst>::value>::type>
  constexpr PropagateConst(U&& pointer)  // NOLINT(google-explicit-constructor): converts like the pointer would
      : pointer_(std::forward<U>(pointer)) {}

  PropagateConst(PropagateConst&&) noexcept(std::is_nothrow_move_constructible<Pointer>::value) = default;
  PropagateConst& operator=(PropagateConst&&) noexcept(std::is_nothrow_move_assignable<Pointer>::value) = default;
  PropagateConst(const PropagateConst&) = delete;
  PropagateConst& operator=(const PropagateConst&) = delete;
  ~PropagateConst() = default;

  /// Replaces the held pointer by the given one, with the assignment semantics of `Pointer`.
  template <typename U, typename = typename std::enable_if<
                            std::is_assignable<Pointer&, U&&>::value &&
                            !std::is_same<typename std::decay<U>::type, PropagateConst>::value>::type>
  PropagateConst& operator=(U&& pointer) {
    pointer_ = std::forward<U>(pointer);
    return *this;
  }

  /// The pointee, or null.
  element_type* get() { return GetRaw(pointer_); }
  /// The pointee as const, or null.
  ZOL_NODISCARD const element_type* get() const { return GetRaw(pointer_); }

  element_type& operator*() { return *get(); }
  const element_type& operator*() const { return *get(); }
  element_type* operator->() { return get(); }
  const element_type* operator->() const { return get(); }

  /// True when a pointee is held.
  explicit operator bool() const { return get() != nullptr; }

  /// The wrapped pointer itself, e.g. to reach a smart pointer's deleter or to `reset()` it.
  Pointer& underlying() { return pointer_; }
  /// The wrapped pointer itself, read-only.
  ZOL_NODISCARD const Pointer& underlying() const { return pointer_; }

  /// Exchanges the wrapped pointers.
  void swap(PropagateConst& other) noexcept(noexcept(std::swap(std::declval<Pointer&>(), std::declval<Pointer&>()))) {
    using std::swap;
    swap(pointer_, other.pointer_);
  }

 private:
  template <typename T>
  static T* GetRaw(T* pointer) {
    return pointer;
  }
  template <typename P>
  static auto GetRaw(const P& pointer) -> decltype(pointer.get()) {
    return pointer.get();
  }

  Pointer pointer_;
};

template <typename Pointer>
void swap(PropagateConst<Pointer>& lhs, PropagateConst<Pointer>& rhs) noexcept(noexcept(lhs.swap(rhs))) {
  lhs.swap(rhs);
}

template <typename Pointer>
bool operator==(const PropagateConst<Pointer>& pointer, std::nullptr_t) {
  return pointer.get() == nullptr;
}
template <typename Pointer>
bool operator==(std::nullptr_t, const PropagateConst<Pointer>& pointer) {
  return pointer.get() == nullptr;
}
template <typename Pointer>
bool operator!=(const PropagateConst<Pointer>& pointer, std::nullptr_t) {
  return pointer.get() != nullptr;
}
template <typename Pointer>
bool operator!=(std::nullptr_t, const PropagateConst<Pointer>& pointer) {
  return pointer.get() != nullptr;
}

}  // namespace memory
}  // namespace zol

#endif  // ZOL_MEMORY_PROPAGATE_CONST_H
