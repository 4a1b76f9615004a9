/// @file
/// @brief A std::function replacement that keeps the callable inline and never allocates.
#ifndef ZOL_MEMORY_STATIC_FUNCTION_H
#define ZOL_MEMORY_STATIC_FUNCTION_H

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "zol/detail/panic.h"

namespace zol {
namespace memory {

template <typename Signature, std::size_t Capacity = 16>
class StaticFunction;

namespace detail {

template <typename...>
struct FunctionVoid {
  using type = void;
};

// True when an lvalue F can be called with Args and its result converts to R (anything goes for void).
template <typename F, typename R, typename ArgList, typename = void>
struct IsCallableAs : std::false_type {};
template <typename F, typename R, typename... Args>
struct IsCallableAs<F, R, void(Args...),
                    typename FunctionVoid<decltype(std::declval<F&>()(std::declval<Args>()...))>::type>
    : std::integral_constant<bool,
                             std::is_void<R>::value ||
                                 std::is_convertible<decltype(std::declval<F&>()(std::declval<Args>()...)), R>::value> {
};

// Calls through the stored object; the void case discards whatever the callable returns.
template <typename R>
struct Invoker {
  template <typename F, typename... Args>
  static R Call(F& f, Args&&... args) {
    return f(std::forward<Args>(args)...);
  }
};
template <>
struct Invoker<void> {
  template <typename F, typename... Args>
  static void Call(F& f, Args&&... args) {
    f(std::forward<Args>(args)...);
  }
};

// A null function pointer makes an empty StaticFunction, as with std::function.
template <typename F>
constexpr bool IsNullCallable(const F& /*f*/, std::false_type /*maybe_null*/) noexcept {
  return false;
}
template <typename F>
constexpr bool IsNullCallable(const F& f, std::true_type /*maybe_null*/) noexcept {
  return f == nullptr;
}

}  // namespace detail

/// Type-erased callable with inline storage of @p Capacity bytes.
///
/// The callable is copied or moved into an internal buffer aligned for
/// std::max_align_t; a callable that is larger than @p Capacity or needs a
/// stricter alignment does not compile. Nothing is ever allocated, which makes
/// it usable on paths that must keep their memory fixed (notifier callbacks,
/// tasks on a dispatch queue).
///
/// Copying needs a copy-constructible callable. Moving moves the callable and
/// leaves the source empty. A callable whose move constructor throws
/// terminates the program when a StaticFunction holding it is moved, because
/// moves are noexcept here.
template <typename R, typename... Args, std::size_t Capacity>
class StaticFunction<R(Args...), Capacity> {
  static_assert(Capacity > 0, "StaticFunction needs at least one byte of storage");

 public:
  using result_type = R;

  /// Inline storage in bytes.
  static constexpr std::size_t kCapacity = Capacity;

  /// An empty function.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): storage_ is raw; a callable is built into it on demand
  StaticFunction() noexcept : ops_(nullptr) {}

  /// An empty function.
  StaticFunction(std::nullptr_t) noexcept : ops_(nullptr) {}  // NOLINT: implicit like std::function

  /// Stores a copy (or the moved value) of @p f.
  ///
  /// A null function pointer gives an empty function.
  template <typename F, typename D = typename std::decay<F>::type,
            typename = typename std::enable_if<!std::is_same<D, StaticFunction>::value &&
                                               detail::IsCallableAs<D, R, void(Args...)>::value>::type>
  StaticFunction(F&& f) : ops_(nullptr) {  // NOLINT: implicit like std::function
    static_assert(sizeof(D) <= Capacity, "callable is larger than the StaticFunction's inline storage");
    static_assert(alignof(D) <= alignof(std::max_align_t),
                  "callable needs a stricter alignment than the StaticFunction's inline storage");
    using MaybeNull = std::integral_constant<bool, std::is_pointer<D>::value || std::is_member_pointer<D>::value>;
    if (detail::IsNullCallable(f, MaybeNull())) {
      return;
    }
    ::new (static_cast<void*>(storage_)) D(std::forward<F>(f));
    ops_ = &OpsFor<D>::kOps;
  }

  /// Copies the other's callable.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): storage_ is raw; a callable is built into it on demand
  StaticFunction(const StaticFunction& other) : ops_(nullptr) {
    if (other.ops_ != nullptr) {
      other.ops_->copy(storage_, other.storage_);
      ops_ = other.ops_;
    }
  }

  /// Moves the other's callable over; @p other is empty afterwards.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): storage_ is raw; a callable is built into it on demand
  StaticFunction(StaticFunction&& other) noexcept : ops_(nullptr) { TakeFrom(other); }

  ~StaticFunction() { Reset(); }

  /// Copies the other's callable; on a throwing copy this one is unchanged.
  StaticFunction& operator=(const StaticFunction& other) {
    if (this != &other) {
      StaticFunction copy(other);
      Reset();
      TakeFrom(copy);
    }
    return *this;
  }

  /// Moves the other's callable over; @p other is empty afterwards.
  StaticFunction& operator=(StaticFunction&& other) noexcept {
    if (this != &other) {
      Reset();
      TakeFrom(other);
    }
    return *this;
  }

  /// Makes this function empty.
  StaticFunction& operator=(std::nullptr_t) noexcept {
    Reset();
    return *this;
  }

  /// Replaces the callable by @p f.
  template <typename F, typename D = typename std::decay<F>::type,
            typename = typename std::enable_if<!std::is_same<D, StaticFunction>::value &&
                                               detail::IsCallableAs<D, R, void(Args...)>::value>::type>
  StaticFunction& operator=(F&& f) {
    StaticFunction replacement(std::forward<F>(f));
    Reset();
    TakeFrom(replacement);
    return *this;
  }

  /// Destroys the callable; the function is empty afterwards.
  void Reset() noexcept {
    if (ops_ != nullptr) {
      const Ops* ops = ops_;
      ops_ = nullptr;
      ops->destroy(storage_);
    }
  }

  /// Exchanges the callables of two functions.
  void swap(StaticFunction& other) noexcept {
    if (this != &other) {
      StaticFunction temp(std::move(other));
      other.TakeFrom(*this);
      TakeFrom(temp);
    }
  }

  /// True when a callable is stored.
  explicit operator bool() const noexcept { return ops_ != nullptr; }

  /// Calls the stored callable. Calling an empty function is a caller error and aborts.
  R operator()(Args... args) const {
    if (ops_ == nullptr) {
      zol::detail::Panic("StaticFunction: call of an empty function");
    }
    return ops_->invoke(storage_, std::forward<Args>(args)...);
  }

  friend bool operator==(const StaticFunction& f, std::nullptr_t) noexcept { return !f; }
  friend bool operator==(std::nullptr_t, const StaticFunction& f) noexcept { return !f; }
  friend bool operator!=(const StaticFunction& f, std::nullptr_t) noexcept { return static_cast<bool>(f); }
  friend bool operator!=(std::nullptr_t, const StaticFunction& f) noexcept { return static_cast<bool>(f); }

 private:
  // One table per stored type instead of four pointers per object keeps the object small.
  struct Ops {
    R (*invoke)(void* storage, Args&&... args);
    void (*copy)(void* destination, const void* source);
    void (*move)(void* destination, void* source);  // also destroys the source object
    void (*destroy)(void* storage);
  };

  template <typename D>
  struct OpsFor {
    static R Invoke(void* storage, Args&&... args) {
      return detail::Invoker<R>::Call(*static_cast<D*>(storage), std::forward<Args>(args)...);
    }
    static void Copy(void* destination, const void* source) { ::new (destination) D(*static_cast<const D*>(source)); }
    static void Move(void* destination, void* source) {
      D* from = static_cast<D*>(source);
      ::new (destination) D(std::move(*from));
      from->~D();
    }
    static void Destroy(void* storage) { static_cast<D*>(storage)->~D(); }

    static constexpr Ops kOps{&Invoke, &Copy, &Move, &Destroy};
  };

  void TakeFrom(StaticFunction& other) noexcept {
    if (other.ops_ != nullptr) {
      other.ops_->move(storage_, other.storage_);
      ops_ = other.ops_;
      other.ops_ = nullptr;
    }
  }

  const Ops* ops_;
  // Mutable: operator() is const like std::function's, yet a stored mutable lambda may change its state.
  alignas(std::max_align_t) mutable unsigned char storage_[Capacity];
};

template <typename R, typename... Args, std::size_t Capacity>
constexpr std::size_t StaticFunction<R(Args...), Capacity>::kCapacity;

template <typename R, typename... Args, std::size_t Capacity>
template <typename D>
constexpr typename StaticFunction<R(Args...), Capacity>::Ops StaticFunction<R(Args...), Capacity>::OpsFor<D>::kOps;

/// Exchanges the callables of two functions.
template <typename Signature, std::size_t Capacity>
void swap(StaticFunction<Signature, Capacity>& a, StaticFunction<Signature, Capacity>& b) noexcept {
  a.swap(b);
}

}  // namespace memory
}  // namespace zol

#endif  // ZOL_MEMORY_STATIC_FUNCTION_H
