/// @file
/// @brief Non-owning view of a character sequence, for a C++14 code base.
#ifndef ZOL_STRING_VIEW_H
#define ZOL_STRING_VIEW_H

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>

#include "zol/detail/panic.h"
#include "zol/nodiscard.h"

namespace zol {

/// A pointer and a length into characters owned by someone else.
///
/// The subset of std::basic_string_view that the platform and its users need.
/// The viewed characters are not required to be NUL-terminated, and the view
/// must not outlive them.
template <typename CharT>
class basic_string_view {
 public:
  using traits_type = std::char_traits<CharT>;
  using value_type = CharT;
  using pointer = CharT*;
  using const_pointer = const CharT*;
  using reference = CharT&;
  using const_reference = const CharT&;
  using const_iterator = const CharT*;
  using iterator = const_iterator;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;

  /// "Until the end" for substr, and "not found" for find.
  static constexpr size_type npos = static_cast<size_type>(-1);

  /// An empty view.
  constexpr basic_string_view() noexcept : data_(nullptr), size_(0) {}

  /// A view of a NUL-terminated string, without its terminator.
  /// @param str NUL-terminated characters; null gives an empty view.
  constexpr basic_string_view(const CharT* str) noexcept  // NOLINT: implicit like std::string_view
      : data_(str), size_(str == nullptr ? 0 : Length(str)) {}

  /// A view of @p size characters starting at @p str.
  constexpr basic_string_view(const CharT* str, size_type size) noexcept : data_(str), size_(size) {}

  /// A view of the characters of @p str (valid until @p str changes).
  template <typename Traits, typename Alloc>
  basic_string_view(const std::basic_string<CharT, Traits, Alloc>& str) noexcept  // NOLINT: implicit like std
      : data_(str.data()), size_(str.size()) {}

  /// First character; not NUL-terminated in general.
  ZOL_NODISCARD constexpr const_pointer data() const noexcept { return data_; }
  /// Number of characters.
  ZOL_NODISCARD constexpr size_type size() const noexcept { return size_; }
  /// Number of characters.
  ZOL_NODISCARD constexpr size_type length() const noexcept { return size_; }
  /// True when the view has no characters.
  ZOL_NODISCARD constexpr bool empty() const noexcept { return size_ == 0; }

  ZOL_NODISCARD constexpr const_iterator begin() const noexcept { return data_; }
  ZOL_NODISCARD constexpr const_iterator end() const noexcept { return data_ + size_; }
  ZOL_NODISCARD constexpr const_iterator cbegin() const noexcept { return data_; }
  ZOL_NODISCARD constexpr const_iterator cend() const noexcept { return data_ + size_; }

  /// Character at @p pos; @p pos must be less than size() (not checked).
  constexpr const_reference operator[](size_type pos) const noexcept { return data_[pos]; }
  /// First character; the view must not be empty.
  ZOL_NODISCARD constexpr const_reference front() const noexcept { return data_[0]; }
  /// Last character; the view must not be empty.
  ZOL_NODISCARD constexpr const_reference back() const noexcept { return data_[size_ - 1]; }

  /// Drops the first @p n characters; @p n must not exceed size().
  constexpr void remove_prefix(size_type n) noexcept {
    if (n > size_) {
      detail::Panic("basic_string_view::remove_prefix beyond the end");
    }
    data_ += n;
    size_ -= n;
  }
  /// Drops the last @p n characters; @p n must not exceed size().
  constexpr void remove_suffix(size_type n) noexcept {
    if (n > size_) {
      detail::Panic("basic_string_view::remove_suffix beyond the end");
    }
    size_ -= n;
  }

  /// The view of at most @p n characters starting at @p pos.
  /// @p pos must not exceed size(); a position past the end is a caller error and aborts.
  ZOL_NODISCARD constexpr basic_string_view substr(size_type pos = 0, size_type n = npos) const noexcept {
    if (pos > size_) {
      detail::Panic("basic_string_view::substr position beyond the end");
    }
    return basic_string_view(data_ + pos, (n < size_ - pos) ? n : size_ - pos);
  }

  /// Lexicographic comparison: negative, zero or positive like std::string::compare.
  ZOL_NODISCARD constexpr int compare(basic_string_view other) const noexcept {
    const size_type common = size_ < other.size_ ? size_ : other.size_;
    for (size_type i = 0; i < common; ++i) {
      if (traits_type::lt(data_[i], other.data_[i])) {
        return -1;
      }
      if (traits_type::lt(other.data_[i], data_[i])) {
        return 1;
      }
    }
    if (size_ == other.size_) {
      return 0;
    }
    return size_ < other.size_ ? -1 : 1;
  }

  /// Position of the first @p ch at or after @p pos, or npos.
  ZOL_NODISCARD constexpr size_type find(CharT ch, size_type pos = 0) const noexcept {
    for (size_type i = pos; i < size_; ++i) {
      if (traits_type::eq(data_[i], ch)) {
        return i;
      }
    }
    return npos;
  }

  /// Position of the first occurrence of @p needle at or after @p pos, or npos.
  ZOL_NODISCARD constexpr size_type find(basic_string_view needle, size_type pos = 0) const noexcept {
    if (pos > size_ || needle.size_ > size_ - pos) {
      return npos;
    }
    for (size_type i = pos; i + needle.size_ <= size_; ++i) {
      if (basic_string_view(data_ + i, needle.size_).compare(needle) == 0) {
        return i;
      }
    }
    return npos;
  }

  /// True when the view begins with @p prefix.
  ZOL_NODISCARD constexpr bool starts_with(basic_string_view prefix) const noexcept {
    return size_ >= prefix.size_ && basic_string_view(data_, prefix.size_).compare(prefix) == 0;
  }

  /// An owning copy of the viewed characters.
  ZOL_NODISCARD std::basic_string<CharT> to_string() const { return std::basic_string<CharT>(data_, size_); }

  // Hidden friends, so that a string literal or a std::string on either side converts implicitly.
  friend constexpr bool operator==(basic_string_view a, basic_string_view b) noexcept {
    return a.size_ == b.size_ && a.compare(b) == 0;
  }
  friend constexpr bool operator!=(basic_string_view a, basic_string_view b) noexcept { return !(a == b); }
  friend constexpr bool operator<(basic_string_view a, basic_string_view b) noexcept { return a.compare(b) < 0; }
  friend constexpr bool operator<=(basic_string_view a, basic_string_view b) noexcept { return a.compare(b) <= 0; }
  friend constexpr bool operator>(basic_string_view a, basic_string_view b) noexcept { return a.compare(b) > 0; }
  friend constexpr bool operator>=(basic_string_view a, basic_string_view b) noexcept { return a.compare(b) >= 0; }

  /// Writes the viewed characters (no terminator needed).
  friend std::basic_ostream<CharT>& operator<<(std::basic_ostream<CharT>& os, basic_string_view sv) {
    return os.write(sv.data_, static_cast<std::streamsize>(sv.size_));
  }

 private:
  // std::char_traits::length is only constexpr from C++17 on.
  static constexpr size_type Length(const CharT* str) noexcept {
    size_type n = 0;
    while (!traits_type::eq(str[n], CharT())) {
      ++n;
    }
    return n;
  }

  const CharT* data_;
  size_type size_;
};

template <typename CharT>
constexpr typename basic_string_view<CharT>::size_type basic_string_view<CharT>::npos;

/// The view used throughout the platform.
using string_view = basic_string_view<char>;

}  // namespace zol

namespace std {

/// Hashes the viewed characters (FNV-1a), so that views can key unordered containers.
template <typename CharT>
struct hash<zol::basic_string_view<CharT>> {
  std::size_t operator()(zol::basic_string_view<CharT> sv) const noexcept {
    std::size_t h = sizeof(std::size_t) == 8 ? static_cast<std::size_t>(14695981039346656037ULL) : 2166136261U;
    const std::size_t prime = sizeof(std::size_t) == 8 ? static_cast<std::size_t>(1099511628211ULL) : 16777619U;
    for (CharT ch : sv) {
      h ^= static_cast<std::size_t>(ch);
      h *= prime;
    }
    return h;
  }
};

}  // namespace std

#endif  // ZOL_STRING_VIEW_H
