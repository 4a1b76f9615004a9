#ifndef ZOL_AFW_CORE_STATUS_OR_H
#define ZOL_AFW_CORE_STATUS_OR_H

#include <new>
#include <type_traits>
#include <utility>

#include "zol/afw/core/error_code.h"
#include "zol/detail/panic.h"
#include "zol/nodiscard.h"

namespace zol {
namespace afw {
namespace core {

namespace detail {

// Holds the value in a union so that T needs no default constructor and an empty StatusOr constructs no T.
// Copy and move are written out here; StatusOr then defaults them, and CopyControl deletes the copy operations
// for a T that cannot be copied, so that type traits (and std::vector's choice between copy and move) see the
// truth instead of a copy constructor that fails to instantiate.
struct InPlace {};

template <typename T>
class StatusOrStorage {
  static constexpr bool kNothrowMoveAssign =
      std::is_nothrow_move_constructible<T>::value && std::is_nothrow_move_assignable<T>::value;

 public:
  explicit StatusOrStorage(ErrorCode status) noexcept : status_(status), has_value_(false) {}

  template <typename... Args>
  StatusOrStorage(InPlace /*tag*/, ErrorCode status, Args&&... args) : status_(status), has_value_(false) {
    ::new (static_cast<void*>(&value_)) T(std::forward<Args>(args)...);
    // Only once the value's constructor has returned: a throwing one leaves nothing to destroy.
    has_value_ = true;  // NOLINT(cppcoreguidelines-prefer-member-initializer)
  }

  StatusOrStorage(const StatusOrStorage& other) : status_(other.status_), has_value_(false) {
    if (other.has_value_) {
      ::new (static_cast<void*>(&value_)) T(other.value_);
      has_value_ = true;
    }
  }

  StatusOrStorage(StatusOrStorage&& other) noexcept(std::is_nothrow_move_constructible<T>::value)
      : status_(other.status_), has_value_(false) {
    if (other.has_value_) {
      ::new (static_cast<void*>(&value_)) T(std::move(other.value_));
      has_value_ = true;
    }
  }

  StatusOrStorage& operator=(const StatusOrStorage& other) {
    if (this != &other) {
      if (other.has_value_) {
        AssignValue(other.value_);
      } else {
        DestroyValue();
      }
      status_ = other.status_;
    }
    return *this;
  }

  StatusOrStorage& operator=(StatusOrStorage&& other) noexcept(kNothrowMoveAssign) {
    if (this != &other) {
      if (other.has_value_) {
        AssignValue(std::move(other.value_));
      } else {
        DestroyValue();
      }
      status_ = other.status_;
    }
    return *this;
  }

  ~StatusOrStorage() { DestroyValue(); }

 protected:
  template <typename U>
  void AssignValue(U&& value) {
    if (has_value_) {
      value_ = std::forward<U>(value);
    } else {
      ::new (static_cast<void*>(&value_)) T(std::forward<U>(value));
      has_value_ = true;
    }
  }

  void DestroyValue() noexcept {
    if (has_value_) {
      value_.~T();
      has_value_ = false;
    }
  }

  ErrorCode status_;
  // Set by every constructor itself, next to the value it does or does not construct.
  bool has_value_;  // NOLINT(modernize-use-default-member-init)
  union {
    T value_;
  };
};

template <bool kCopyable>
struct CopyControl {};

template <>
struct CopyControl<false> {
  CopyControl() = default;
  CopyControl(const CopyControl&) = delete;
  CopyControl(CopyControl&&) = default;
  CopyControl& operator=(const CopyControl&) = delete;
  CopyControl& operator=(CopyControl&&) = default;
  ~CopyControl() = default;
};

}  // namespace detail

/// @brief Either a value together with a status, or a status without a value.
///
/// The framework's way of returning a result that may be missing. A value normally comes with kSuccess, but
/// a value may also carry another status (for example stale data with a warning code). Reading the value of a
/// StatusOr that has none is a broken precondition and aborts the process. Like ErrorCode, a returned StatusOr
/// must not be dropped (ZOL_NODISCARD).
///
/// @code
///   StatusOr<int> Parse(zol::string_view text);
///   auto result = Parse("42");
///   if (result.ok()) { Use(*result); } else { Report(result.status()); }
/// @endcode
template <typename T>
class ZOL_NODISCARD StatusOr
    : private detail::StatusOrStorage<T>,
      private detail::CopyControl<std::is_copy_constructible<T>::value && std::is_copy_assignable<T>::value> {
  using Storage = detail::StatusOrStorage<T>;

  static_assert(!std::is_reference<T>::value, "StatusOr cannot hold a reference");
  static_assert(!std::is_same<typename std::decay<T>::type, ErrorCode>::value,
                "StatusOr<ErrorCode> would be ambiguous; return the ErrorCode itself");

 public:
  using value_type = T;

  // The single-argument constructors are implicit on purpose: `return ErrorCode::kFailure;` and `return value;`
  // are how functions returning a StatusOr read best.

  /// @brief No value, only @p status.
  StatusOr(ErrorCode status) noexcept : Storage(status) {}
  /// @brief A copy of @p value with status kSuccess.
  StatusOr(const T& value) : Storage(detail::InPlace{}, ErrorCode::kSuccess, value) {}
  /// @brief @p value, moved in, with status kSuccess.
  StatusOr(T&& value) : Storage(detail::InPlace{}, ErrorCode::kSuccess, std::move(value)) {}
  /// @brief A value of another type that converts to T (a unique_ptr to a derived class, say), status kSuccess.
  template <typename U,
            typename = typename std::enable_if<!std::is_same<typename std::decay<U>::type, StatusOr>::value &&
                                               !std::is_same<typename std::decay<U>::type, T>::value &&
                                               !std::is_same<typename std::decay<U>::type, ErrorCode>::value &&
                                               std::is_convertible<U&&, T>::value>::type>
  StatusOr(U&& value) : Storage(detail::InPlace{}, ErrorCode::kSuccess, std::forward<U>(value)) {}
  /// @brief A copy of @p value with @p status.
  StatusOr(const T& value, ErrorCode status) : Storage(detail::InPlace{}, status, value) {}
  /// @brief @p value, moved in, with @p status.
  StatusOr(T&& value, ErrorCode status) : Storage(detail::InPlace{}, status, std::move(value)) {}

  StatusOr(const StatusOr&) = default;
  // Defaulted: noexcept exactly when the storage's move is, which follows T's.
  StatusOr(StatusOr&&) = default;  // NOLINT(performance-noexcept-move-constructor)
  StatusOr& operator=(const StatusOr&) = default;
  StatusOr& operator=(StatusOr&&) = default;  // NOLINT(performance-noexcept-move-constructor)
  ~StatusOr() = default;

  /// @brief True when a value is held, whatever the status.
  ZOL_NODISCARD bool has_value() const noexcept { return this->has_value_; }
  /// @brief The status, with or without a value.
  ErrorCode status() const noexcept { return this->status_; }
  /// @brief True when a value is held and the status is not a failure.
  ZOL_NODISCARD bool ok() const noexcept { return this->has_value_ && IsSuccess(this->status_); }

  /// @brief The value; aborts when there is none.
  T& value() & {
    CheckHasValue();
    return this->value_;
  }
  /// @brief The value; aborts when there is none.
  ZOL_NODISCARD const T& value() const& {
    CheckHasValue();
    return this->value_;
  }
  /// @brief The value, moved out (the StatusOr keeps a moved-from value); aborts when there is none.
  T&& value() && {
    CheckHasValue();
    return std::move(this->value_);
  }

  /// @brief Same as value().
  T& operator*() & { return value(); }
  /// @brief Same as value().
  const T& operator*() const& { return value(); }
  /// @brief Same as std::move(*this).value().
  T&& operator*() && { return std::move(*this).value(); }
  /// @brief Member access to the value; aborts when there is none.
  T* operator->() { return &value(); }
  /// @brief Member access to the value; aborts when there is none.
  const T* operator->() const { return &value(); }

 private:
  void CheckHasValue() const {
    if (!this->has_value_) {
      ::zol::detail::Panic("StatusOr: value read from a StatusOr that holds no value");
    }
  }
};

}  // namespace core
}  // namespace afw
}  // namespace zol

#endif  // ZOL_AFW_CORE_STATUS_OR_H
