/// @file
/// @brief Non-owning view of a contiguous sequence of objects.
#ifndef ZOL_MEMORY_SPAN_H
#define ZOL_MEMORY_SPAN_H

#include <cstddef>
#include <type_traits>
#include <utility>

#include "zol/detail/panic.h"
#include "zol/nodiscard.h"

namespace zol {
namespace memory {

template <typename T>
class span;

namespace detail {

template <typename T>
struct IsSpan : std::false_type {};
template <typename T>
struct IsSpan<span<T>> : std::true_type {};

template <typename...>
struct SpanVoid {
  using type = void;
};

// A container qualifies when data() yields a pointer whose elements may be viewed as T (same type
// up to added const) and size() exists. Spans and built-in arrays have their own constructors.
template <typename C, typename T, typename = void>
struct IsCompatibleContainer : std::false_type {};
template <typename C, typename T>
struct IsCompatibleContainer<
    C, T, typename SpanVoid<decltype(std::declval<C&>().data()), decltype(std::declval<C&>().size())>::type>
    : std::integral_constant<
          bool, !IsSpan<typename std::remove_cv<C>::type>::value && !std::is_array<C>::value &&
                    std::is_convertible<typename std::remove_pointer<decltype(std::declval<C&>().data())>::type (*)[],
                                        T (*)[]>::value> {};

}  // namespace detail

/// A pointer and an element count into objects owned by someone else.
///
/// The subset of std::span (dynamic extent only) the platform needs. Copying a
/// span copies the view, never the elements.
template <typename T>
class span {
 public:
  using element_type = T;
  using value_type = typename std::remove_cv<T>::type;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using pointer = T*;
  using const_pointer = const T*;
  using reference = T&;
  using const_reference = const T&;
  using iterator = T*;
  using const_iterator = const T*;

  /// "Up to the end" for subspan.
  static constexpr size_type npos = static_cast<size_type>(-1);

  /// An empty span.
  constexpr span() noexcept : data_(nullptr), size_(0) {}

  /// A view of @p size objects starting at @p data.
  constexpr span(T* data, size_type size) noexcept : data_(data), size_(size) {}

  /// A view of a whole built-in array.
  template <std::size_t N>
  constexpr span(T (&array)[N]) noexcept : data_(array), size_(N) {}  // NOLINT: implicit like std::span

  /// span<const T> from span<T> (and other qualification-adding conversions).
  template <typename U, typename = typename std::enable_if<std::is_convertible<U (*)[], T (*)[]>::value>::type>
  constexpr span(const span<U>& other) noexcept  // NOLINT: implicit like std::span
      : data_(other.data()), size_(other.size()) {}

  /// A view of any contiguous container with data() and size() (std::vector, std::array, std::string, ...).
  template <typename Container,
            typename = typename std::enable_if<detail::IsCompatibleContainer<Container, T>::value>::type>
  constexpr span(Container& container) noexcept  // NOLINT: implicit like std::span
      : data_(container.data()), size_(container.size()) {}

  /// A view of a const container; only for spans of const elements.
  template <typename Container,
            typename = typename std::enable_if<detail::IsCompatibleContainer<const Container, T>::value>::type>
  constexpr span(const Container& container) noexcept  // NOLINT: implicit like std::span
      : data_(container.data()), size_(container.size()) {}

  /// First element (null for a default-constructed span).
  ZOL_NODISCARD constexpr T* data() const noexcept { return data_; }
  /// Number of elements.
  ZOL_NODISCARD constexpr size_type size() const noexcept { return size_; }
  /// Number of bytes covered by the elements.
  ZOL_NODISCARD constexpr size_type size_bytes() const noexcept { return size_ * sizeof(T); }
  /// True when the span has no elements.
  ZOL_NODISCARD constexpr bool empty() const noexcept { return size_ == 0; }

  ZOL_NODISCARD constexpr iterator begin() const noexcept { return data_; }
  ZOL_NODISCARD constexpr iterator end() const noexcept { return data_ + size_; }

  /// Element @p index; @p index must be less than size() (not checked, as for arrays).
  constexpr T& operator[](size_type index) const noexcept { return data_[index]; }

  /// The @p count elements starting at @p offset; npos means "to the end".
  /// @p offset must not exceed size() and @p count must fit; a broken bound aborts.
  ZOL_NODISCARD constexpr span subspan(size_type offset, size_type count = npos) const noexcept {
    if (offset > size_) {
      zol::detail::Panic("span::subspan offset beyond the end");
    }
    if (count == npos) {
      count = size_ - offset;
    } else if (count > size_ - offset) {
      zol::detail::Panic("span::subspan count beyond the end");
    }
    return span(data_ + offset, count);
  }

  /// The first @p count elements; @p count must not exceed size().
  ZOL_NODISCARD constexpr span first(size_type count) const noexcept {
    if (count > size_) {
      zol::detail::Panic("span::first count beyond the end");
    }
    return span(data_, count);
  }

  /// The last @p count elements; @p count must not exceed size().
  ZOL_NODISCARD constexpr span last(size_type count) const noexcept {
    if (count > size_) {
      zol::detail::Panic("span::last count beyond the end");
    }
    return span(data_ + (size_ - count), count);
  }

 private:
  T* data_;
  size_type size_;
};

template <typename T>
constexpr typename span<T>::size_type span<T>::npos;

}  // namespace memory
}  // namespace zol

#endif  // ZOL_MEMORY_SPAN_H
